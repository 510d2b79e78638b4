// The reports in the window: the wizard driven page by page makes each kind and the report
// opens in the right pane; the status window shows the document's figures; printing, the
// chart on the clipboard and in files; a cancelled generation and an unreadable report.

#include <QAbstractButton>
#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPainter>
#include <QPrintPreviewWidget>
#include <QProcess>
#include <QRadioButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTableView>
#include <QTableWidget>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QTextTable>
#include <QTreeWidget>
#include <fstream>
#include <thread>

#include "charts/chart_painter.h"
#include "desktop/reports/chart_view.h"
#include "desktop/reports/report_printing.h"
#include "desktop/reports/report_wizard_dialog.h"
#include "desktop/tree/tree_actions.h"
#include "gui_test.h"
#include "render/report_pages.h"
#include "reports/list_reports.h"
#include "reports/status_report.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// Opens the wizard on the project and waits for what it does at its start.
ReportWizardDialog* OpenWizard(MainWindow& window, int command) {
    window.SelectPath(window.TheShell().Database().Directory() / "Projects" /
                      gui_test::kSampleProject);
    window.RunCommand(command);
    auto* wizard = window.findChild<ReportWizardDialog*>();
    return wizard && QTest::qWaitFor([wizard] { return !wizard->Busy(); }, 20000) ? wizard
                                                                                  : nullptr;
}

// Next, and the wait for the model's step on the worker; false when it never ends.
bool Next(ReportWizardDialog& wizard) {
    wizard.next();
    return QTest::qWaitFor([&wizard] { return !wizard.Busy(); }, 20000);
}

// From the introduction to the filter page, with kind chosen; false when a step never ends.
bool ToFilterPage(ReportWizardDialog& wizard, ReportKind kind) {
    if (!Next(wizard) || !Next(wizard))
        return false;
    wizard.findChild<QRadioButton*>(QString("wizardKind%1").arg(static_cast<int>(kind)))->click();
    return Next(wizard) && wizard.currentId() == static_cast<int>(WizardPage::Filter);
}

// Clicks the last page's Next and waits for the generation to end; true when it wrote one.
bool GenerateOnLastPage(ReportWizardDialog& wizard) {
    QSignalSpy ended(&wizard, &ReportWizardDialog::generationEnded);
    wizard.button(QWizard::CustomButton1)->click();
    if (!QTest::qWaitFor([&] { return ended.count() == 1; }, 20000))
        return false;
    return ended.first().first().toBool();
}

}  // namespace

class ReportWindowTest : public gui_test::WindowTest {
    Q_OBJECT

    // Drives the wizard from its introduction to Finish for kind and gives the report shown.
    void MakeWithWizard(MainWindow& window, ReportKind kind, const QString& name, fs::path& made) {
        ReportWizardDialog* wizard = OpenWizard(window, ID_REPORT_WIZARD);
        QVERIFY(wizard);
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Intro));
        QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
        QVERIFY(Next(*wizard));
        // The project selected in the tree is chosen.
        QCOMPARE(wizard->findChild<QListWidget*>("wizardProjects")->currentItem()->text(),
                 QString(gui_test::kSampleProject));
        QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
        QVERIFY(Next(*wizard));
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::ReportType));
        QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
        wizard->findChild<QRadioButton*>(QString("wizardKind%1").arg(static_cast<int>(kind)))
            ->click();
        QVERIFY(Next(*wizard));
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Filter));
        QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
        QVERIFY(Next(*wizard));
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Suites));
        QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
        QVERIFY(wizard->button(QWizard::NextButton)->isVisible());
        QVERIFY(!wizard->button(QWizard::CustomButton1)->isVisible());
        QVERIFY(Next(*wizard));
        if (kind == ReportKind::List) {
            QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Columns));
            QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
            wizard->findChild<QCheckBox*>("wizardColumn2")->setChecked(false);
            QVERIFY(Next(*wizard));
        }
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Generate));
        QCOMPARE(gui_test::TabStopFaults(*wizard), QString());
        // One Next on each page: the last page's generates.
        QVERIFY(wizard->button(QWizard::CustomButton1)->isVisible());
        QVERIFY(!wizard->button(QWizard::NextButton)->isVisible());
        QVERIFY(!wizard->button(QWizard::FinishButton)->isEnabled());
        auto* nameBox = wizard->findChild<QLineEdit*>("wizardReportName");
        nameBox->setText(name);
        // Enter after the name generates, as the page's Next does.
        QSignalSpy ended(wizard, &ReportWizardDialog::generationEnded);
        QTest::keyClick(nameBox, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 20000);
        QVERIFY(ended.first().first().toBool());
        made = *wizard->Report();
        QVERIFY(wizard->button(QWizard::FinishButton)->isEnabled());
        QVERIFY(!wizard->button(QWizard::BackButton)->isEnabled());
        wizard->button(QWizard::FinishButton)->click();
        QTRY_VERIFY(!window.findChild<ReportWizardDialog*>());  // closed and gone
        QCOMPARE(window.CurrentNode()->path, made);
        QCOMPARE(window.Reports().Report(), made);
        QTRY_VERIFY(window.Reports().Readable());
        QCOMPARE(window.findChild<QStackedWidget*>()->currentWidget(), &window.Reports());
        // The charts laid out in the pane, as a user sees them.
        for (ChartView* chart : window.Reports().Charts())
            QTRY_VERIFY(chart->isVisible());
    }

private slots:
    void TheWizardMakesEachKindAndTheReportOpens() {
        auto open = Open();
        MainWindow& window = *open->window;

        fs::path status;
        MakeWithWizard(window, ReportKind::Status, "Weekly status", status);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(status.filename().string(), std::string("Weekly status.vtl"));
        QCOMPARE(status.parent_path().filename().string(), std::string("Status Reports"));
        // The window's figures are the document's.
        const std::optional<StatusReportData> document =
            gui_test::TestReads([&] { return ReadStatusReport(status); });
        QVERIFY(document);
        auto* table = window.Reports().findChild<QTableWidget*>("statusTable");
        QCOMPARE(table->rowCount(), static_cast<int>(document->statuses.size()));
        std::int64_t shown = 0;
        for (int row = 0; row < table->rowCount(); ++row) {
            const auto at = static_cast<std::size_t>(row);
            QCOMPARE(table->item(row, 0)->text().toStdString(), document->statuses[at]);
            QCOMPARE(table->item(row, 1)->text().toLongLong(), document->counts[at]);
            QVERIFY(!table->item(row, 0)->icon().isNull());  // its colour swatch
            shown += table->item(row, 1)->text().toLongLong();
        }
        QCOMPARE(shown, document->totalTests);
        auto* figures = window.Reports().findChild<QTableWidget*>("timeTable");
        QCOMPARE(figures->item(8, 1)->text().toStdString(), document->perCentComplete + " %");
        QCOMPARE(window.Reports().Charts().size(), std::size_t{2});
        QCOMPARE(window.Reports().Charts().front()->TheChart().series.size(),
                 document->statuses.size());

        fs::path progress;
        MakeWithWizard(window, ReportKind::Progress, "", progress);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(progress.parent_path().filename().string(), std::string("Progress Reports"));
        const std::optional<ProgressReportData> periods =
            gui_test::TestReads([&] { return ReadProgressReport(progress); });
        QVERIFY(periods);
        auto* periodTable = window.Reports().findChild<QTableWidget*>("periodTable");
        QCOMPARE(periodTable->columnCount(), static_cast<int>(periods->statuses.size()) + 1);
        QCOMPARE(periodTable->rowCount(),
                 static_cast<int>(window.Reports().Charts().front()->TheChart().labels.size()));
        QVERIFY(periodTable->rowCount() > 0);
        // A click on a status in the legend switches its line off, a second one on again.
        ChartView& lines = *window.Reports().Charts().front();
        const QRect legend = LegendBoxes(lines.TheChart(), lines.rect(), lines.font()).front();
        QTest::mouseClick(&lines, Qt::LeftButton, {}, legend.center());
        QVERIFY(!lines.SeriesShown(0));
        QVERIFY(lines.ShownChart().series[0].values.empty());
        QCOMPARE(lines.ShownChart().series[1].values, lines.TheChart().series[1].values);
        QTest::mouseClick(&lines, Qt::LeftButton, {}, legend.center());
        QVERIFY(lines.SeriesShown(0));
        QTest::mouseClick(&lines, Qt::LeftButton, {}, QPoint(4, 4));  // off the legend
        QVERIFY(lines.SeriesShown(0));
        // Over the plot, the tooltip gives the period's date and the counts of its statuses.
        lines.repaint();
        const ChartPoints& points = lines.Points();
        QCOMPARE(points.xs.size(), lines.TheChart().labels.size());
        const QString tip = lines.PointText(
            QPoint(static_cast<int>(std::lround(points.xs.back())), points.plot.center().y()));
        const std::size_t at = points.xs.size() - 1;
        QVERIFY(tip.startsWith(QString::fromStdString(lines.TheChart().labels.back())));
        QVERIFY(tip.contains(QString("\n%1: %2")
                                 .arg(QString::fromStdString(periods->statuses[0]))
                                 .arg(periods->series[0][at])));
        QVERIFY(lines.PointText(QPoint(2, 2)).isEmpty());

        fs::path list;
        MakeWithWizard(window, ReportKind::List, "All cases", list);
        if (QTest::currentTestFailed())
            return;
        const std::optional<ListReportData> rows =
            gui_test::TestReads([&] { return ReadListReport(list); });
        QVERIFY(rows);
        auto* listTable = window.Reports().findChild<QTableView*>("listTable");
        QCOMPARE(listTable->model()->rowCount(), static_cast<int>(rows->rows.size()));
        // The column switched off on the columns page is not in the report.
        QCOMPARE(listTable->model()->columnCount(), static_cast<int>(kListColumnCount) - 1);
        QCOMPARE(rows->columns.substr(0, 3), std::string("110"));
        QVERIFY(window.Reports().Charts().empty());
        // Sorting by the first column (the suite) puts the rows in its order.
        listTable->sortByColumn(0, Qt::DescendingOrder);
        const QString first = listTable->model()->index(0, 0).data().toString();
        const QString last =
            listTable->model()->index(listTable->model()->rowCount() - 1, 0).data().toString();
        QVERIFY(first.toLower() >= last.toLower());

        fs::path details;
        MakeWithWizard(window, ReportKind::Details, "Every detail", details);
        if (QTest::currentTestFailed())
            return;
        auto* text = window.Reports().findChild<QTextBrowser*>("detailsText");
        QVERIFY(text->toPlainText().contains("LOG-001"));
        // Searching finds a test case and selects it.
        QVERIFY(text->find("CHK-002"));
        QCOMPARE(text->textCursor().selectedText(), QString("CHK-002"));
        QVERIFY(open->port.notices.empty());
    }

    void AReportCommandMakesItsReportAtOnceAndShowsIt() {
        auto open = Open();
        MainWindow& window = *open->window;
        window.SelectPath(open->database / "Projects" / gui_test::kSampleProject);
        // "Progress Report - Filtered" with no filter chosen is refused.
        window.RunCommand(ID_REPORT_FIRST + 3);
        QTRY_COMPARE(open->port.notices.size(), std::size_t{1});
        QCOMPARE(open->port.notices.back().caption, std::string("No Filter"));
        QTRY_VERIFY(!window.Actions().TransferRunning());
        // "Status Report - Filtered": through the toolbar's filter, then shown.
        window.Commands().ChooseFilter("Failed");
        window.RunCommand(ID_REPORT_FIRST + 1);
        QTRY_COMPARE(window.findChild<QStackedWidget*>()->currentWidget(), &window.Reports());
        const fs::path report = window.CurrentNode()->path;
        QCOMPARE(report.parent_path(), open->database / "Projects" / gui_test::kSampleProject /
                                           "Project Reports" / "Status Reports");
        QVERIFY(report.filename().string().starts_with("Status Report 20"));
        QVERIFY(gui_test::TestReads([&] { return ReadStatusReport(report); })->totalTests == 1);
        // The report names the filter it went through.
        QTRY_VERIFY(window.Reports()
                        .findChild<QLabel*>("reportHeading")
                        ->text()
                        .contains("filter Failed - "));
        QCOMPARE(open->port.notices.size(), std::size_t{1});
        window.SelectPath(open->database / "Projects" / gui_test::kSampleProject);

        // Without a project in the database every report command is refused.
        for (const fs::directory_entry& project :
             fs::directory_iterator(open->database / "Projects"))
            fs::remove_all(project.path());
        open->window->RefreshBelow(open->database / "Projects");
        open->window->RunCommand(ID_REPORT_WIZARD);
        QCOMPARE(open->port.notices.back().caption, std::string("No projects"));
    }

    void CancellingAGenerationWritesNoReport() {
        auto open = Open<gui_test::GatedPort>();
        MainWindow& window = *open->window;
        gui_test::GatedPort& port = open->port;
        const fs::path& database = open->database;
        // A test case report, on to its last page.
        ReportWizardDialog* wizard = OpenWizard(window, ID_REPORT_WIZARD);
        QVERIFY(wizard);
        QVERIFY(ToFilterPage(*wizard, ReportKind::Details));
        QVERIFY(Next(*wizard));
        // No suite ticked: the check that refuses runs off the window's thread, as every step
        // of the model does.
        auto* suites = wizard->findChild<QTreeWidget*>("wizardSuites");
        for (int top = 0; top < suites->topLevelItemCount(); ++top)
            suites->topLevelItem(top)->setCheckState(0, Qt::Unchecked);
        QVERIFY(Next(*wizard));
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Suites));
        QCOMPARE(port.notices.back().caption, std::string("No Suites Selected"));
        QVERIFY(port.toldOn.back() != std::this_thread::get_id());
        suites->topLevelItem(0)->setCheckState(0, Qt::Checked);
        QVERIFY(Next(*wizard));
        QCOMPARE(wizard->currentId(), static_cast<int>(WizardPage::Generate));
        QSignalSpy ended(wizard, &ReportWizardDialog::generationEnded);
        port.Hold();
        wizard->button(QWizard::CustomButton1)->click();
        QTRY_VERIFY(port.held);
        QVERIFY(wizard->Generating());
        wizard->reject();  // Cancel: the wizard stays to say so
        port.Open();
        QTRY_COMPARE(ended.count(), 1);
        QCOMPARE(ended.first().first().toBool(), false);
        QVERIFY(wizard->isVisible());
        QCOMPARE(wizard->findChild<QLabel*>("wizardGenerateText")->text().toStdString(),
                 wizard->Model().PageText());  // the cancel, as the model says it
        QVERIFY(!wizard->button(QWizard::FinishButton)->isEnabled());
        const fs::path reports =
            database / "Projects" / gui_test::kSampleProject / "Project Reports";
        QVERIFY(fs::is_empty(reports / "Test Case Reports"));
        // A second try runs to its end.
        QVERIFY(GenerateOnLastPage(*wizard));
        QCOMPARE(wizard->Report()->parent_path(), reports / "Test Case Reports");
    }

    void AnUnreadableReportGivesNoReport() {
        auto open = Open();
        const fs::path broken = open->database / "Projects" / gui_test::kSampleProject /
                                "Project Reports" / "Status Reports" / "Broken.vtl";
        std::ofstream(broken) << "<?xml version=\"1.0\"?>\r\n<status_report><id>x</id>";
        open->window->SelectPath(broken);
        ReportView& view = open->window->Reports();
        QCOMPARE(view.Report(), broken);
        QTRY_VERIFY(!view.Reading());
        QVERIFY(!view.Readable());
        QVERIFY(view.Charts().empty());
        QCOMPARE(view.findChild<QLabel*>("reportUnreadable")->text().toStdString(),
                 UnreadableReport(broken).text);
        QCOMPARE(open->port.notices.back(), UnreadableReport(broken));
        QPrinter printer;
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(RootFile("broken.pdf"));
        QVERIFY(!view.PrintTo(printer));
    }

    void AStatusReportPrintsAndItsChartGoesToTheClipboardAndToFiles() {
        auto open = Open();
        fs::path status;
        MakeWithWizard(*open->window, ReportKind::Status, "Printed", status);
        if (QTest::currentTestFailed())
            return;
        const QString pdf = RootFile("status.pdf");
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(pdf);
        QVERIFY(open->window->Reports().PrintTo(printer));
        QProcess text;
        text.start("pdftotext", {"-layout", pdf, "-"});
        QVERIFY2(text.waitForFinished(20000), "pdftotext (poppler-utils) must be installed");
        const QString printed = QString::fromUtf8(text.readAllStandardOutput());
        QVERIFY(printed.contains(gui_test::kSampleProject));
        QVERIFY(printed.contains("Printed"));
        const std::optional<StatusReportData> document =
            gui_test::TestReads([&] { return ReadStatusReport(status); });
        QVERIFY(document);
        for (const std::string& name : document->statuses)
            QVERIFY2(printed.contains(QString::fromLatin1(name.c_str())), name.c_str());
        QVERIFY(
            printed.contains(QString("%1 - Printed - Page 1 of ").arg(gui_test::kSampleProject)));

        // The preview lays out the same pages; the window's Print goes to the report's dialog.
        int previewPages = 0;
        WhenModalOpens([&](QDialog& dialog) {
            if (auto* preview = dialog.findChild<QPrintPreviewWidget*>())
                previewPages = preview->pageCount();
            dialog.reject();
        });
        open->window->Reports().PrintPreview();
        QVERIFY(previewPages >= 1);
        QString printDialog;
        WhenModalOpens([&](QDialog& dialog) {
            printDialog = dialog.metaObject()->className();
            dialog.reject();
        });
        open->window->RunCommand(ID_FILE_PRINT);
        QCOMPARE(printDialog, QString("QPrintDialog"));

        // Without the footer option, no page numbers.
        open->window->TheShell().Configuration().Settings().printFooter = false;
        open->window->RunCommand(ID_FILE_REFRESH);
        QTRY_VERIFY(open->window->Reports().Readable());
        QVERIFY(open->window->Reports().PrintTo(printer));
        text.start("pdftotext", {"-layout", pdf, "-"});
        QVERIFY(text.waitForFinished(20000));
        QVERIFY(!QString::fromUtf8(text.readAllStandardOutput()).contains("Page 1 of"));

        // A printer that refuses is told.
        printer.setOutputFileName(RootFile("missing/folder/status.pdf"));
        QVERIFY(!open->window->Reports().PrintTo(printer));
        QCOMPARE(open->port.notices.back().caption, std::string("Print error"));

        // The chart goes to the clipboard and to files.
        ReportView& view = open->window->Reports();
        QApplication::clipboard()->clear();
        view.CopyChart();
        const QMimeData* copied = QApplication::clipboard()->mimeData();
        QVERIFY(copied->hasFormat("image/png"));
        QVERIFY(copied->hasFormat("image/svg+xml"));
        QVERIFY(!QImage::fromData(copied->data("image/png"), "PNG").isNull());
        QVERIFY(copied->data("image/svg+xml").contains("<svg"));

        const ChartView& chart = *view.Charts().front();
        QVERIFY(view.SaveChartTo(chart, RootFile("pie.svg")));
        QVERIFY(view.SaveChartTo(chart, RootFile("pie.png")));
        QFile svg(RootFile("pie.svg"));
        QVERIFY(svg.open(QIODevice::ReadOnly));
        QVERIFY(svg.readAll().contains("<svg"));
        const QImage png(RootFile("pie.png"));
        QVERIFY(!png.isNull());
        QCOMPARE(png.size(), chart.FileSize() * 2);  // drawn at twice its size, sharp
        QVERIFY(!view.SaveChartTo(chart, RootFile("missing/pie.png")));
        QCOMPARE(open->port.notices.back().caption, std::string("Save error"));
    }

    void AChartIsDrawnAtTheScreensOwnPixels() {
        Chart chart;
        chart.kind = ChartKind::Lines;
        chart.title = "Progress";
        chart.valueAxis = "Test cases";
        chart.labels = {"6-Oct-2026", "13-Oct-2026", "20-Oct-2026"};
        chart.series = {{"Pass", 0x2E7D32, {1, 4, 9}}, {"Fail", 0xC62828, {3, 2, 1}}};
        ChartView view(chart);
        view.resize(420, 280);
        // What the renderer draws at twice the pixels, as on a screen of pixel ratio 2.
        QImage expected(view.size() * 2, QImage::Format_ARGB32_Premultiplied);
        expected.setDevicePixelRatio(2);
        expected.fill(Qt::white);
        {
            QPainter painter(&expected);
            painter.setFont(view.font());
            painter.setRenderHint(QPainter::Antialiasing);
            PaintChart(painter, chart, view.rect());
        }
        QImage shown(view.size() * 2, QImage::Format_ARGB32_Premultiplied);
        shown.setDevicePixelRatio(2);
        shown.fill(Qt::black);
        view.render(&shown);
        // The view draws each of the device's pixels itself, not a picture of its size blown
        // up.
        QCOMPARE(shown, expected);
    }

    void APrintedHeadingNeverEndsAPage() {
        // Whatever amount of text comes before it, a heading lands on the page of the table
        // it heads, and a table running onto another page repeats its heading row there.
        QString rows;
        for (int row = 0; row < 30; ++row)
            rows += QString("<tr><td>row %1</td></tr>").arg(row);
        int moved = 0;
        for (int lines = 0; lines < 40; ++lines) {
            QTextDocument document;
            document.setPageSize(QSizeF(300, 240));
            document.setHtml(QString("<p>text</p>").repeated(lines + 1) +
                             "<h2>Heading</h2><table><tr><td>Status</td></tr>" + rows + "</table>");
            QTextBlock heading = document.begin();
            while (heading.blockFormat().headingLevel() == 0)
                heading = heading.next();
            QAbstractTextDocumentLayout* layout = document.documentLayout();
            auto pageOf = [&](const QTextBlock& block) {
                return static_cast<int>(layout->blockBoundingRect(block).top() / 240);
            };
            const bool alone = pageOf(heading) != pageOf(heading.next());
            KeepHeadingsWithNext(document);
            QCOMPARE(pageOf(heading), pageOf(heading.next()));
            moved += alone;
            auto* table = qobject_cast<QTextTable*>(document.rootFrame()->childFrames().value(0));
            QCOMPARE(table->format().headerRowCount(), 1);
        }
        QVERIFY(moved > 0);  // some amounts of text did leave the heading alone
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::ReportWindowTest);
#include "report_window_test.moc"
