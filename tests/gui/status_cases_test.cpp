// The test cases behind a status: a click on a row of the status table or on a slice of the
// pie lists them in a window of their own, as many as the report counted, and a test case
// chosen there is selected in the tree with its page shown.

#include <QHeaderView>
#include <QLabel>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTreeWidget>

#include "charts/chart_painter.h"
#include "desktop/reports/status_cases_dialog.h"
#include "gui_test.h"
#include "reports/status_report.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// A point of the chart view inside the slice of series; none when it draws no slice.
std::optional<QPoint> PointInSlice(const ChartView& view, std::size_t series) {
    for (int y = 0; y < view.height(); y += 3)
        for (int x = 0; x < view.width() / 2; x += 3)
            if (PieSliceAt(view.TheChart(), view.rect(), view.font(), QPointF(x, y)) == series)
                return QPoint(x, y);
    return std::nullopt;
}

}  // namespace

class StatusCasesTest : public gui_test::WindowTest {
    Q_OBJECT

private slots:
    void AClickedStatusListsItsTestCasesAndOneOpensItsPage() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        MainWindow& window = *open->window;
        ReportRequest request;
        request.projectFolder = open->database / "Projects" / gui_test::kSampleProject;
        const std::optional<fs::path> report =
            MakeReport(ReportKind::Status, {open->port, window.TheShell().Custom()})
                ->create(request);
        QVERIFY(report);
        const std::optional<StatusReportData> counted = ReadStatusReport(*report);
        QVERIFY(counted);
        window.RunCommand(ID_FILE_REFRESH);
        window.SelectPath(*report);
        ReportView& view = window.Reports();
        QTRY_VERIFY(view.Readable());

        // A row of the table: the status with the most test cases.
        std::size_t row = 0;
        for (std::size_t status = 1; status < counted->counts.size(); ++status)
            if (counted->counts[status] > counted->counts[row])
                row = status;
        QVERIFY(counted->counts[row] > 0);
        auto* table = view.findChild<QTableWidget*>("statusTable");
        QVERIFY(table);
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualItemRect(table->item(static_cast<int>(row), 0)).center());
        QTRY_VERIFY(view.StatusCases());
        StatusCasesDialog& list = *view.StatusCases();
        QTRY_VERIFY(!list.Listing());
        QTRY_COMPARE(list.Cases().topLevelItemCount(), static_cast<int>(counted->counts[row]));
        QVERIFY(list.isVisible());
        QCOMPARE(gui_test::TabStopFaults(list), QString());
        QCOMPARE(list.findChild<QLabel*>("statusCasesCaption")->text().toStdString(),
                 StatusCasesCaption(counted->statuses[row],
                                    static_cast<std::size_t>(counted->counts[row])));

        // In the core's order (by suite, then identifier) until the user sorts a column.
        const std::optional<std::vector<StatusCase>> core =
            ListStatusCases(*report, row, {open->port, window.TheShell().Custom()});
        QVERIFY(core);
        for (int item = 0; item < list.Cases().topLevelItemCount(); ++item)
            QCOMPARE(list.Cases().topLevelItem(item)->text(0).toStdString(),
                     (*core)[static_cast<std::size_t>(item)].id);

        // A click on a heading sorts by that column.
        QHeaderView* heading = list.Cases().header();
        QTest::mouseClick(heading->viewport(), Qt::LeftButton, {},
                          QPoint(heading->sectionViewportPosition(1) + 5, heading->height() / 2));
        QCOMPARE(heading->sortIndicatorSection(), 1);
        for (int item = 1; item < list.Cases().topLevelItemCount(); ++item)
            QVERIFY(list.Cases().topLevelItem(item - 1)->text(1).compare(
                        list.Cases().topLevelItem(item)->text(1), Qt::CaseInsensitive) *
                        (heading->sortIndicatorOrder() == Qt::AscendingOrder ? 1 : -1) <=
                    0);

        // A slice of the pie: another status, listed in the same window.
        std::size_t other = row == 0 ? 1 : 0;
        while (other < counted->counts.size() && (other == row || counted->counts[other] == 0))
            ++other;
        QVERIFY(other < counted->counts.size());
        ChartView& pie = *view.Charts().front();
        const std::optional<QPoint> inSlice = PointInSlice(pie, other);
        QVERIFY(inSlice);
        QSignalSpy listed(&list, &StatusCasesDialog::listed);
        QTest::mouseClick(&pie, Qt::LeftButton, {}, *inSlice);
        QTRY_COMPARE(listed.count(), 1);
        QCOMPARE(listed.first().first().toBool(), true);
        QCOMPARE(list.Cases().topLevelItemCount(), static_cast<int>(counted->counts[other]));
        QCOMPARE(list.windowTitle(),
                 "Test cases: " + QString::fromLatin1(counted->statuses[other].c_str()));
        // The first test case of the list opens its page.
        QTreeWidgetItem* first = list.Cases().topLevelItem(0);
        list.Cases().setCurrentItem(first);
        emit list.Cases().itemActivated(first, 0);
        const std::optional<TreeNode> shown = window.CurrentNode();
        QVERIFY(shown);
        QCOMPARE(QString::fromStdString(shown->path.stem().string()), first->text(0));
        QCOMPARE(shown->kind, TV_PRJ_TEST_DOC);
        QVERIFY(list.isVisible());  // still there for the next one

        // Closing the database closes the list.
        window.TheShell().OnCloseDatabase();
        QTRY_VERIFY(!view.StatusCases());
    }
};

VANTOREL_GUI_TEST(StatusCasesTest);

}  // namespace vantorel

#include "status_cases_test.moc"
