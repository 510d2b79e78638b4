// Edit / "Deleted Items...": a suite deleted from the tree waits in the database's bin, out of
// the reports' reach, and comes back from the dialog as it was.

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTreeView>
#include <QTreeWidget>

#include <map>
#include <numeric>

#include "desktop/dialogs/deleted_items_dialog.h"
#include "desktop/tree/tree_actions.h"
#include "gui_test.h"
#include "reports/status_report.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// Every file below folder with its bytes.
std::map<std::string, std::string> FilesBelow(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        files[entry.path().lexically_relative(folder).string()] =
            entry.is_regular_file() ? testing::ReadFile(entry.path()) : "";
    return files;
}

}  // namespace

class DeletedItemsTest : public gui_test::WindowTest {
    Q_OBJECT

private slots:
    void DeleteThenRestoreOfASuiteGivesItBackAndTheReportsCountItAgain() {
        auto open = Open<gui_test::GatedPort>();
        MainWindow& window = *open->window;
        const fs::path project = open->database / "Projects" / "Release 2.0";
        const fs::path testCases = project / "Project Test Cases";
        const fs::path cart = testCases / "Cart";
        auto counted = [&] {
            return gui_test::TestReads([&]() -> std::int64_t {
                ReportRequest request;
                request.projectFolder = project;
                const std::optional<fs::path> report =
                    MakeReport(ReportKind::Status, {open->port, window.TheShell().Custom()})
                        ->create(request);
                const std::optional<StatusReportData> data =
                    report ? ReadStatusReport(*report) : std::nullopt;
                return data ? std::accumulate(data->counts.begin(), data->counts.end(),
                                              std::int64_t{0})
                            : -1;
            });
        };
        const auto before = gui_test::TestReads([&] { return FilesBelow(testCases); });
        const std::int64_t all = counted();
        QVERIFY(all > 3);

        // While the question is shown, the suite stays selected; once agreed, the tree leaves it.
        window.SelectPath(cart);
        open->port.ScriptAnswers({true});
        open->port.Hold();
        window.RunCommand(ID_EDIT_DELETE);
        QTRY_VERIFY(open->port.held);
        QCOMPARE(window.CurrentNode()->path, cart);
        open->port.Open();
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QCOMPARE(window.CurrentNode()->path, testCases);
        QVERIFY(open->port.questions.back().text.ends_with("[Cart: 3 test cases]"));
        QVERIFY(gui_test::TestReads([&] { return !fs::exists(cart); }));
        QTRY_VERIFY(!window.Model().IndexOf(cart).isValid());
        QCOMPARE(counted(), all - 3);

        window.RunCommand(ID_EDIT_DELETED_ITEMS);
        auto* dialog = window.findChild<DeletedItemsDialog*>("deletedItemsDialog");
        QVERIFY(dialog);
        auto* list = dialog->findChild<QTreeWidget*>("deletedItems");
        QCOMPARE(list->topLevelItemCount(), 1);
        QCOMPARE(gui_test::TabStopFaults(*dialog), QString());
        QCOMPARE(list->topLevelItem(0)->text(2).toStdString(),
                 std::string("Projects/Release 2.0/Project Test Cases"));
        list->topLevelItem(0)->setSelected(true);
        dialog->findChild<QPushButton*>("restoreDeleted")->click();
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QTRY_COMPARE(list->topLevelItemCount(), 0);
        QTRY_VERIFY(window.Model().IndexOf(cart).isValid());

        QVERIFY(gui_test::TestReads([&] { return FilesBelow(testCases); }) == before);
        QCOMPARE(counted(), all);
        dialog->close();
    }

    void AnItemWhoseSuiteIsGoneGoesToTheFolderTheUserPicks() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path library = open->database / "Test Cases";
        for (const fs::path& item : {library / "Login" / "LOG-002.vtl", library / "Login"}) {
            window.SelectPath(item);
            open->port.ScriptAnswers({true});
            window.RunCommand(ID_EDIT_DELETE);
            QTRY_VERIFY(!window.Actions().TransferRunning());
        }

        window.RunCommand(ID_EDIT_DELETED_ITEMS);
        auto* dialog = window.findChild<DeletedItemsDialog*>("deletedItemsDialog");
        auto* list = dialog->findChild<QTreeWidget*>("deletedItems");
        QCOMPARE(list->topLevelItemCount(), 2);
        QVERIFY(list->topLevelItem(1)->text(0).startsWith("LOG-002"));
        list->topLevelItem(1)->setSelected(true);
        dialog->findChild<QPushButton*>("restoreDeleted")->click();
        QDialog* chooser = nullptr;
        QTRY_VERIFY((chooser = dialog->findChild<QDialog*>("restoreFolderChooser")));
        auto* folders = chooser->findChild<QTreeView*>("restoreFolderTree");
        auto* ok = chooser->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
        QCOMPARE(gui_test::TabStopFaults(*chooser), QString());
        folders->setCurrentIndex(window.Model().IndexOf(open->database / "Testers"));
        QVERIFY(!ok->isEnabled());
        folders->setCurrentIndex(window.Model().IndexOf(library / "Search"));
        QVERIFY(ok->isEnabled());
        ok->click();
        QTRY_COMPARE(list->topLevelItemCount(), 1);
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QVERIFY(
            gui_test::TestReads([&] { return fs::exists(library / "Search" / "LOG-002.vtl"); }));
        dialog->close();
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::DeletedItemsTest);
#include "deleted_items_test.moc"
