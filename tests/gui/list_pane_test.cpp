// The list pane: a folder's items as a table, sorted, filtered by the toolbar's filter,
// following the disk, and the selection commands on its rows.

#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QSignalSpy>
#include <QSpinBox>

#include "desktop/tree/tree_actions.h"
#include "desktop/widgets/field_widgets.h"
#include "gui_test.h"
#include "storage/locks.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

class ListPaneTest : public gui_test::WindowTest {
    Q_OBJECT

    // Selects the folder below the database and waits for its rows and totals.
    static ListPaneView& ShowFolder(gui_test::OpenWindow<RecordingPort>& open,
                                    const fs::path& relative) {
        MainWindow& window = *open.window;
        window.SelectPath(open.database / relative);
        ListPaneView& list = window.List();
        [&] {
            QVERIFY(list.isVisible());
            QTRY_VERIFY(!list.Reading());
        }();
        return list;
    }

    static QStringList Column(ListPaneView& list, int column) {
        QStringList cells;
        for (int row = 0; row < list.Model().rowCount(); ++row)
            cells << list.Model().index(row, column).data().toString();
        return cells;
    }

    static QString StatusText(MainWindow& window) {
        return window.findChild<QLabel*>("stateText")->text();
    }

private slots:
    void SortsByAColumnAndTheFilterHidesWhatFailsIt() {
        auto open = Open();
        MainWindow& window = *open->window;
        ListPaneView& list = ShowFolder(*open, "Projects/Release 2.0/Project Test Cases/Checkout");
        QCOMPARE(StatusText(window),
                 QString("3 displayed (0 filtered out) - 0 suites - 3 test cases"));
        list.sortByColumn(0, Qt::DescendingOrder);
        QCOMPARE(Column(list, 0), (QStringList{"CHK-006", "CHK-002", "CHK-001"}));

        window.Commands().ChooseFilter("Failed");
        QTRY_COMPARE(StatusText(window),
                     QString("1 displayed (2 filtered out) - 0 suites - 1 test cases"));
        QCOMPARE(Column(list, 2), QStringList{"Fail"});
        // Suites stay, and their totals count only what passes the filter.
        ShowFolder(*open, "Projects/Release 2.0/Project Test Cases");
        QTRY_COMPARE(Column(list, 3), (QStringList{"0", "1", "0", "0"}));
        // A folder's page follows its first rows, and an empty folder's comes all the same.
        QTRY_COMPARE(window.Page().url(), window.Page().UrlOf(list.Folder()->path));
        const fs::path empty = list.Folder()->path / "Empty";
        fs::create_directory(empty);
        QTRY_VERIFY(window.Model().IndexOf(empty).isValid());
        ShowFolder(*open, empty);
        QTRY_COMPARE(window.Page().url(), window.Page().UrlOf(empty));
        QVERIFY(open->port.notices.empty());
    }

    void DeleteActsOnEverySelectedRowAndNamesTheOneThatStayed() {
        auto open = Open();
        const fs::path suite = open->database / "Projects/Release 2.0/Project Test Cases/Cart";
        ListPaneView& list = ShowFolder(*open, suite.lexically_relative(open->database));
        QVERIFY(gui_test::TestReads([&] { return createLockFile(suite / "CART-002.vtl"); }) == 0);
        list.setFocus();
        list.selectAll();
        QCOMPARE(open->window->SelectedNodes().size(), std::size_t{3});
        open->port.ScriptAnswers({true});
        // The key acts on the list's rows, as it does on the tree's.
        open->window->activateWindow();
        QTest::keyClick(&list, Qt::Key_Delete);
        QTRY_COMPARE(list.Model().rowCount(), 1);
        QVERIFY(open->port.questions.front().text.ends_with("[3 test cases]"));
        QTRY_VERIFY(!open->port.notices.empty());
        QString told;
        for (const Notice& notice : open->port.notices)
            told += QString::fromStdString(notice.caption + ": " + notice.text + "\n");
        QVERIFY2(open->port.notices.size() == 1, qPrintable(told));
        QVERIFY(open->port.notices[0].text.starts_with("2 of the 3 test cases were deleted"));
        QCOMPARE(list.Model().RowAt(0)->node.label, std::string("CART-002"));
        // The tree stays on the suite.
        QCOMPARE(open->window->CurrentNode()->path, suite);
    }

    void SelectedRowsAreEditedAtOnceAndASuiteUpdatesAllItsTestCases() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path suite = open->database / "Projects/Release 2.0/Project Test Cases/Checkout";
        ListPaneView& list = ShowFolder(*open, suite.lexically_relative(open->database));
        list.selectAll();
        window.FocusList();
        // The build is set on the three; the untouched fields keep each item's own value.
        WhenModalOpens([](QDialog& dialog) {
            FieldControl build;
            build.text = "7.1";
            dialog.findChild<FieldWidget*>("build_tested")->Show(build);
            dialog.findChild<QCheckBox*>("tick_build_tested")->setChecked(true);
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QVERIFY(open->port.notices.back().text.starts_with("3 test cases changed."));
        const std::string chk6 = testing::ReadFile(suite / "CHK-006.vtl");
        QVERIFY(chk6.find("<build_tested>7.1</build_tested>") != std::string::npos);
        QVERIFY(chk6.find("<test_status>Fail</test_status>") != std::string::npos);

        // "Update all test cases" of a library suite: its one field on every test case.
        const fs::path login = open->database / "Test Cases" / "Login";
        window.SelectPath(login);
        WhenModalOpens([](QDialog& dialog) {
            FieldControl priority;
            priority.text = "Lowest";
            dialog.findChild<FieldWidget*>("priority")->Show(priority);
            dialog.accept();
        });
        window.RunCommand(ID_BULK_UPDATE_FIRST + 2);
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QVERIFY(open->port.notices.back().text.starts_with("6 test cases changed."));
        QVERIFY(testing::ReadFile(login / "LOG-004.vtl").find("<priority>Lowest</priority>") !=
                std::string::npos);

        // An hour shared out among the suite's six test cases, two of which took ten minutes
        // already.
        WhenModalOpens([](QDialog& dialog) {
            dialog.findChild<QSpinBox*>("totalHours")->setValue(1);
            dialog.accept();
        });
        window.RunCommand(ID_SET_TOTAL_DURATION);
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QCOMPARE(open->port.notices.back().text,
                 std::string("4 test cases changed, 2 already held the values."));
        QVERIFY(testing::ReadFile(login / "LOG-006.vtl").find("<test_duration>00:10<") !=
                std::string::npos);
    }

    void ARowsContextMenuActsOnTheListsSelectionAndTheListFollowsTheDisk() {
        auto open = Open();
        ListPaneView& list = ShowFolder(*open, "Projects/Release 2.0/Project Test Cases/Checkout");
        list.selectRow(0);
        list.selectionModel()->select(list.Model().index(1, 0),
                                      QItemSelectionModel::Select | QItemSelectionModel::Rows);
        // A right click inside the selection keeps it; the row's own menu opens.
        emit list.customContextMenuRequested(list.visualRect(list.Model().index(1, 0)).center());
        auto* menu = list.findChild<QMenu*>("itemContextMenu");
        QVERIFY(menu);
        QCOMPARE(list.SelectedNodes().size(), std::size_t{2});
        QAction* duplicate = nullptr;
        for (QAction* action : menu->actions())
            if (action->text() == "Duplicate")
                duplicate = action;
        QVERIFY(duplicate && duplicate->isEnabled());
        open->port.ScriptAnswers({false});
        duplicate->trigger();
        QTRY_VERIFY(!open->window->Actions().TransferRunning());
        QVERIFY(open->port.questions.back().text.ends_with("[2 test cases]"));
        menu->close();

        // The list follows the disk, and keeps the selection: another tester adds a test case.
        const fs::path suite = open->database / "Projects/Release 2.0/Project Test Cases/Login";
        ShowFolder(*open, suite.lexically_relative(open->database));
        list.selectRow(1);
        const TreeNode selected = *list.CurrentRowNode();
        fs::copy_file(suite / "LOG-001.vtl", suite / "LOG-000.vtl");
        QTRY_COMPARE(list.Model().rowCount(), 4);
        QTRY_VERIFY(!list.Reading());
        QCOMPARE(list.CurrentRowNode()->path, selected.path);
        QCOMPARE(list.SelectedNodes().size(), std::size_t{1});
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::ListPaneTest);
#include "list_pane_test.moc"
