// The tree's operations in the window over a copy of the sample database: rename by F2, drag
// and drop, paste on the transfer worker and its cancelling, context menus, and the tree kept
// up to date with changes made behind its back.

#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>

#include <fstream>

#include "desktop/tree/tree_actions.h"
#include "gui_test.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// Every name below folder, so a test can tell that nothing changed.
std::vector<std::string> NamesBelow(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        names.push_back(entry.path().lexically_relative(folder).string());
    std::ranges::sort(names);
    return names;
}

// A copy in progress is a hidden folder or file beside the items until it is whole.
bool HoldsUnfinishedCopies(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename().string().starts_with(".vtsave"))
            return true;
    return false;
}

void AppendLine(const fs::path& file) {
    std::ofstream(file, std::ios::app) << "\n";
}

// A window with the library's suites shown.
struct LibraryWindow {
    explicit LibraryWindow(std::unique_ptr<gui_test::OpenWindow<RecordingPort>> opened)
        : open(std::move(opened)),
          window(*open->window),
          model(window.Model()),
          tree(window.Tree()),
          library(open->database / "Test Cases"),
          login(library / "Login"),
          search(library / "Search") {}

    QModelIndex Shown(const fs::path& path) {
        const QModelIndex index = model.IndexOf(path);
        for (QModelIndex above = index.parent(); above.isValid(); above = above.parent())
            tree.expand(above);
        return index;
    }
    void MakeCurrent(const fs::path& path) { tree.setCurrentIndex(Shown(path)); }
    fs::path CurrentPath() const { return model.NodeAt(tree.currentIndex())->path; }
    // Drops the item at path on the folder, as the view does when the mouse is released.
    bool Drop(const fs::path& path, const fs::path& folder, Qt::DropAction action) {
        const std::unique_ptr<QMimeData> data(model.mimeData({Shown(path)}));
        const QModelIndex target = Shown(folder);
        if (!model.canDropMimeData(data.get(), action, -1, -1, target))
            return false;
        model.dropMimeData(data.get(), action, -1, -1, target);
        return true;
    }
    // A suite of count test cases, made behind the window's back before the library is read.
    fs::path BulkSuite(int count) {
        const fs::path bulk = library / "Bulk";
        fs::create_directory(bulk);
        fs::copy_file(library / "Login.tgp", library / "Bulk.tgp");
        for (int n = 0; n < count; ++n)
            fs::copy_file(login / "LOG-001.vtl", bulk / ("BULK-" + std::to_string(n) + ".vtl"));
        return bulk;
    }
    void PasteBulkIntoSearch() {
        MakeCurrent(library / "Bulk");
        window.RunCommand(ID_EDIT_COPY);
        MakeCurrent(search);
        open->port.ScriptAnswers({true});  // the copies keep their originals' IDs
        window.RunCommand(ID_EDIT_PASTE);
    }

    std::unique_ptr<gui_test::OpenWindow<RecordingPort>> open;
    MainWindow& window;
    NavigationModel& model;
    QTreeView& tree;
    const fs::path library, login, search;
};

const Notice kCopyCancelled{
    "The copy was cancelled. The items already in place stay; nothing half-copied is left.",
    "Copy cancelled", Icon::Information};

}  // namespace

class TreeActionsTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void F2RenamesAndDelDeletesOnceTheUserAgrees() {
        LibraryWindow w(Open());
        // The user renames what they see: a page asked for after the rename would find no
        // document, and say so.
        QSignalSpy loaded(&w.window.Page(), &QWebEngineView::loadFinished);
        w.MakeCurrent(w.login / "LOG-001.vtl");
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        w.window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&w.window));
        w.tree.setFocus();
        QTest::keyClick(&w.tree, Qt::Key_F2);
        QLineEdit* editor = nullptr;
        QTRY_VERIFY((editor = w.tree.findChild<QLineEdit*>()) && editor->isVisible());
        editor->setText("LOG-101");
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(fs::exists(w.login / "LOG-101.vtl"));
        QVERIFY(!fs::exists(w.login / "LOG-001.vtl"));
        QTRY_COMPARE(w.CurrentPath(), w.login / "LOG-101.vtl");
        QCOMPARE(w.model.NodeAt(w.tree.currentIndex())->label, std::string("LOG-101"));
        QVERIFY(!w.model.IndexOf(w.login / "LOG-001.vtl").isValid());
        QVERIFY(w.open->port.notices.empty());

        // A name the core refuses changes nothing and says why.
        const auto before = NamesBelow(w.library);
        w.model.setData(w.tree.currentIndex(), "LOG/7", Qt::EditRole);
        QTRY_COMPARE(w.open->port.notices.size(), std::size_t{1});
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QCOMPARE(NamesBelow(w.library), before);
        // So is a character the documents can't hold, named.
        w.model.setData(w.tree.currentIndex(), "LOG-\u20ac", Qt::EditRole);
        QTRY_COMPARE(w.open->port.notices.size(), std::size_t{2});
        QVERIFY(testing::Has(w.open->port.notices[1].text, "\"\u20ac\""));
        QCOMPARE(NamesBelow(w.library), before);

        // Del: No keeps the item; Yes deletes it and its row. The question comes from the
        // worker, which counts what a folder takes with it.
        const fs::path doomed = w.login / "LOG-002.vtl";
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        w.MakeCurrent(doomed);
        // Its page is read before the question is answered, as a user sees it first: a page
        // still being read when the document goes is told as unreadable.
        QTRY_VERIFY_WITH_TIMEOUT(gui_test::PageText(w.window.Page()).contains("LOG-002"), 20000);
        w.window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&w.window));
        w.tree.setFocus();
        w.open->port.ScriptAnswers({false});
        QTest::keyClick(&w.tree, Qt::Key_Delete);
        QTRY_COMPARE(w.open->port.questions.size(), std::size_t{1});
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QVERIFY(fs::exists(doomed));
        QCOMPARE(w.CurrentPath(), doomed);
        w.open->port.ScriptAnswers({true});
        QTest::keyClick(&w.tree, Qt::Key_Delete);
        QTRY_VERIFY(!fs::exists(doomed));
        QTRY_VERIFY(!w.model.IndexOf(doomed).isValid());
        QCOMPARE(w.open->port.notices.size(), std::size_t{2});
    }

    void InsertNewTestCaseRenumbersAndOpensTheNewOne() {
        LibraryWindow w(Open());
        w.MakeCurrent(w.login / "LOG-002.vtl");
        QString title;
        WhenModalOpens([&](QDialog& dialog) {
            title = dialog.windowTitle();
            dialog.reject();
        });
        w.window.RunCommand(ID_INSERT_TEST_CASE);
        QTRY_VERIFY(!title.isEmpty());
        QVERIFY(title.startsWith("Vantorel - Test Case"));
        QVERIFY(fs::exists(w.login / "LOG-007.vtl"));
        QVERIFY(testing::Has(testing::ReadFile(w.login / "LOG-004.vtl"), "<id>LOG-004</id>"));
        QCOMPARE(NamesBelow(w.login).size(), std::size_t{7});
        QCOMPARE(w.CurrentPath(), w.login / "LOG-003.vtl");
    }

    void DropsMoveOrCopyAndTheTreeFollowsOrAreRefused() {
        LibraryWindow w(Open());
        QVERIFY(w.Drop(w.login / "LOG-002.vtl", w.search, Qt::MoveAction));
        QTRY_VERIFY(fs::exists(w.search / "LOG-002.vtl"));
        QVERIFY(!fs::exists(w.login / "LOG-002.vtl"));
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QVERIFY(w.model.IndexOf(w.search / "LOG-002.vtl").isValid());
        QVERIFY(!w.model.IndexOf(w.login / "LOG-002.vtl").isValid());
        QCOMPARE(w.CurrentPath(), w.search / "LOG-002.vtl");

        // Ctrl held: a copy, the original stays, after the question about the ID they share.
        w.open->port.ScriptAnswers({true});
        QVERIFY(w.Drop(w.login / "LOG-003.vtl", w.search, Qt::CopyAction));
        QTRY_VERIFY(!w.window.Actions().TransferRunning() &&
                    w.model.IndexOf(w.search / "LOG-003.vtl").isValid());
        QCOMPARE(w.open->port.questions.size(), std::size_t{1});
        QVERIFY(fs::exists(w.login / "LOG-003.vtl"));
        QVERIFY(w.model.IndexOf(w.login / "LOG-003.vtl").isValid());
        QVERIFY(w.open->port.notices.empty());

        // A refused drop changes nothing and says why.
        fs::create_directory(w.login / "Sub");
        fs::copy_file(w.library / "Login.tgp", w.login / "Sub.tgp");
        w.model.RefreshFolder(w.login);
        const auto before = NamesBelow(w.open->database);
        QVERIFY(w.Drop(w.login, w.login / "Sub", Qt::MoveAction));
        QTRY_COMPARE(w.open->port.notices.size(), std::size_t{1});
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QCOMPARE(NamesBelow(w.open->database), before);
        QVERIFY(w.model.IndexOf(w.login / "Sub").isValid());
        // Where the core takes no such item, the tree takes no drop.
        QVERIFY(!w.Drop(w.login / "LOG-001.vtl", w.open->database / "Testers", Qt::MoveAction));

        // Without the mouse: Ctrl+X, then Ctrl+V on a folder moves as a drop would, once; a
        // folder that takes no such item says so and the items stay cut.
        w.MakeCurrent(w.login / "LOG-001.vtl");
        w.window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&w.window));
        w.tree.setFocus();
        QTest::keyClick(&w.tree, Qt::Key_X, Qt::ControlModifier);
        w.MakeCurrent(w.open->database / "Testers");
        QTest::keyClick(&w.tree, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(w.open->port.notices.size(), std::size_t{2});
        QVERIFY(fs::exists(w.login / "LOG-001.vtl"));
        w.MakeCurrent(w.search);
        QTest::keyClick(&w.tree, Qt::Key_V, Qt::ControlModifier);
        QTRY_VERIFY(!w.window.Actions().TransferRunning() &&
                    w.model.IndexOf(w.search / "LOG-001.vtl").isValid());
        QVERIFY(!fs::exists(w.login / "LOG-001.vtl"));
        QVERIFY(w.window.TheShell().ItemClipboard().Empty());
    }

    void PasteRunsWithProgressAndSelectsWhatItWrote() {
        LibraryWindow w(Open());
        w.MakeCurrent(w.login);
        w.window.RunCommand(ID_EDIT_COPY);
        QCOMPARE(w.window.TheShell().ItemClipboard().Entries().size(), std::size_t{1});
        // Pasted with a document current: into the document's suite, after one question
        // about the IDs the copies share with their originals.
        w.MakeCurrent(w.search / "SRCH-001.vtl");
        w.open->port.ScriptAnswers({true});
        w.window.RunCommand(ID_EDIT_PASTE);
        auto* cancel = w.window.findChild<QPushButton*>("cancelTransfer");
        QVERIFY(cancel->isVisible());
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QVERIFY(!cancel->isVisible());

        QCOMPARE(NamesBelow(w.search / "Login"), NamesBelow(w.login));
        QVERIFY(fs::exists(w.search / "Login.tgp"));
        QCOMPARE(w.CurrentPath(), w.search / "Login");
        const auto& steps = w.open->port.progressSteps;
        QCOMPARE(steps.front(), std::make_pair(0, 7));  // six test cases and the description
        QVERIFY(std::ranges::find(steps, std::make_pair(7, 7)) != steps.end());
        QCOMPARE(steps.back(), std::make_pair(0, 0));
        QVERIFY(w.open->port.notices.empty());

        // Pasting again asks before replacing; No leaves everything as it is.
        w.MakeCurrent(w.search);
        const auto before = NamesBelow(w.search);
        w.open->port.ScriptAnswers({false});
        w.window.RunCommand(ID_EDIT_PASTE);
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QCOMPARE(w.open->port.questions.size(), std::size_t{2});
        QVERIFY(w.open->port.questions[0].text.starts_with("6 IDs are already used"));
        QCOMPARE(NamesBelow(w.search), before);
    }

    void ALibrarySuiteDroppedOrPastedOnAProjectIsConvertedOnTheWorker() {
        LibraryWindow w(Open());
        const fs::path cases = w.open->database / "Projects" / "Release 2.0" / "Project Test Cases";
        fs::remove_all(cases / "Login");
        fs::remove(cases / "Login.tgp");
        w.model.RefreshFolder(cases);
        QVERIFY(w.Drop(w.login, cases, Qt::CopyAction));
        // The drop runs when the view is done with it; the tree shows the suite at the end.
        QTRY_VERIFY(!w.window.Actions().TransferRunning() &&
                    w.model.IndexOf(cases / "Login").isValid());
        QCOMPARE(NamesBelow(cases / "Login"), NamesBelow(w.login));
        QVERIFY(testing::Has(testing::ReadFile(cases / "Login" / "LOG-001.vtl"),
                             "<project_test_case>"));
        QCOMPARE(w.CurrentPath(), cases / "Login");
        const auto& steps = w.open->port.progressSteps;
        QVERIFY(std::ranges::find(steps, std::make_pair(6, 6)) != steps.end());
        QCOMPARE(steps.back(), std::make_pair(0, 0));
        QVERIFY(w.open->port.notices.empty());
        // The pane shows what the tree selected.
        QTRY_VERIFY_WITH_TIMEOUT(gui_test::PageText(w.window.Page()).contains("Login"), 20000);

        // A paste converts as the drop does.
        fs::remove(cases / "Login" / "LOG-002.vtl");
        w.MakeCurrent(w.login / "LOG-002.vtl");
        w.window.RunCommand(ID_EDIT_COPY);
        w.MakeCurrent(cases / "Login");
        w.window.RunCommand(ID_EDIT_PASTE);
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QVERIFY(testing::Has(testing::ReadFile(cases / "Login" / "LOG-002.vtl"),
                             "<project_test_case>"));
        QVERIFY(w.open->port.notices.empty());

        // Dropped on the project's own node: into its "Project Test Cases".
        QVERIFY(w.Drop(w.login / "LOG-003.vtl", cases.parent_path(), Qt::CopyAction));
        QTRY_VERIFY(!w.window.Actions().TransferRunning() &&
                    w.model.IndexOf(cases / "LOG-003.vtl").isValid());
        QVERIFY(testing::ReadFile(cases / "LOG-003.vtl").find("<project_test_case>") !=
                std::string::npos);
    }

    void CancellingALongPasteOrDuplicateLeavesNoHalfCopy() {
        LibraryWindow w(Open());
        w.BulkSuite(400);
        w.PasteBulkIntoSearch();
        QVERIFY(w.window.Actions().TransferRunning());
        // A second paste while the first runs is refused, not queued.
        w.window.RunCommand(ID_EDIT_PASTE);
        QCOMPARE(w.open->port.notices.back(), TransferBusyNotice());
        QTRY_VERIFY(HoldsUnfinishedCopies(w.search));
        w.window.findChild<QPushButton*>("cancelTransfer")->click();
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QCOMPARE(w.open->port.notices.back(), kCopyCancelled);
        QVERIFY(!HoldsUnfinishedCopies(w.search));
        QVERIFY(!fs::exists(w.search / "Bulk"));
        QVERIFY(!w.model.IndexOf(w.search / "Bulk").isValid());

        // Duplicate and delete of a suite read or write every file of a suite of any size: the
        // window's thread only starts them, and a cancelled duplicate leaves nothing of its
        // copy.
        const fs::path copy = w.library / "copy of Bulk";
        w.MakeCurrent(w.library / "Bulk");
        w.window.RunCommand(ID_EDIT_DUPLICATE);
        QVERIFY(w.window.Actions().TransferRunning());
        QTRY_VERIFY(HoldsUnfinishedCopies(w.library));
        w.window.findChild<QPushButton*>("cancelTransfer")->click();
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QCOMPARE(w.open->port.notices.back(), kCopyCancelled);
        QVERIFY(!HoldsUnfinishedCopies(w.library));
        QVERIFY(!fs::exists(copy));

        w.window.RunCommand(ID_EDIT_DUPLICATE);
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QCOMPARE(w.CurrentPath(), copy);
        QCOMPARE(NamesBelow(copy).size(), std::size_t{400});

        w.open->port.ScriptAnswers({true});
        w.window.RunCommand(ID_EDIT_DELETE);
        QVERIFY(w.window.Actions().TransferRunning());
        QTRY_VERIFY(!w.window.Actions().TransferRunning());
        QVERIFY(!fs::exists(copy));
        QVERIFY(!w.model.IndexOf(copy).isValid());
    }

    void ClosingTheDatabaseOrTheWindowStopsATransferBetweenFiles() {
        for (const bool closeWindow : {false, true}) {
            LibraryWindow w(Open(closeWindow ? "closing the window" : "closing the database"));
            w.BulkSuite(400);
            w.PasteBulkIntoSearch();
            QTRY_VERIFY(HoldsUnfinishedCopies(w.search));
            if (closeWindow)
                w.window.close();
            else
                w.window.RunCommand(ID_FILE_CLOSE_DB);
            // Stopped before the call returned: nothing of the copy remains.
            QVERIFY(!w.window.Actions().TransferRunning());
            QVERIFY(!HoldsUnfinishedCopies(w.search));
            QVERIFY(!fs::exists(w.search / "Bulk"));
            QCOMPARE(w.open->port.notices.back(), kCopyCancelled);
        }
    }

    void ChangesMadeElsewhereShowWithoutARefresh() {
        LibraryWindow w(Open());
        w.MakeCurrent(w.search / "SRCH-001.vtl");
        QSignalSpy shownChanged(&w.window.Actions(), &TreeActions::shownItemChanged);

        // The watcher starts on a thread of its own: the other program writes until it is seen.
        const fs::path added = w.search / "SRCH-900.vtl";
        fs::copy_file(w.search / "SRCH-001.vtl", added);
        bool seen = false;
        for (int attempt = 0; attempt < 10 && !seen; ++attempt) {
            AppendLine(added);
            seen = QTest::qWaitFor([&] { return w.model.IndexOf(added).isValid(); }, 500);
        }
        QVERIFY(seen);
        QCOMPARE(w.CurrentPath(), w.search / "SRCH-001.vtl");

        fs::remove(w.search / "SRCH-002.vtl");
        QTRY_VERIFY(!w.model.IndexOf(w.search / "SRCH-002.vtl").isValid());
        QVERIFY(shownChanged.isEmpty());
        AppendLine(w.search / "SRCH-001.vtl");
        QTRY_VERIFY(!shownChanged.isEmpty());

        // The database's folder taken away: the database is closed, with a word why; the same
        // when another folder is put in its place, which the watcher of the old one never hears
        // of.
        const fs::path moved = Root() / "Moved";
        fs::rename(w.open->database, moved);
        QTRY_VERIFY(!w.window.TheShell().Database().IsOpen());
        QCOMPARE(w.open->port.notices.back().caption, std::string("Database no longer available"));
        QCOMPARE(w.model.rowCount({}), 0);
        QVERIFY(w.window.findChild<QWidget*>("blankPane")->isVisible());

        QVERIFY(w.window.TheShell().OpenDatabase(moved));
        const fs::path replacement = Root() / "Replacement";
        fs::copy(moved, replacement, fs::copy_options::recursive);
        fs::rename(moved, Root() / "Old");
        fs::rename(replacement, moved);
        QTRY_VERIFY(!w.window.TheShell().Database().IsOpen());
        QCOMPARE(w.open->port.notices.back().caption, std::string("Database replaced"));
    }

    void ContextMenusListTheCoreItems() {
        LibraryWindow w(Open());
        for (const fs::path& path : {w.login / "LOG-004.vtl", w.login}) {
            const QModelIndex index = w.Shown(path);
            w.tree.scrollTo(index);
            emit w.tree.customContextMenuRequested(w.tree.visualRect(index).center());
            QMenu* menu = nullptr;
            QTRY_VERIFY((menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())));
            QCOMPARE(w.CurrentPath(), path);

            const std::vector<ContextMenuItem> items = ContextMenu(w.model.NodeAt(index)->kind);
            const QList<QAction*> actions = menu->actions();
            QCOMPARE(actions.size(), static_cast<qsizetype>(items.size()));
            for (std::size_t n = 0; n < items.size(); ++n) {
                QAction* action = actions[static_cast<qsizetype>(n)];
                const ContextMenuItem& item = items[n];
                QCOMPARE(action->isSeparator(), item.label.empty());
                if (item.label.empty())
                    continue;
                QCOMPARE(action->text().toStdString(), std::string(item.label));
                // The run-time submenu holds the bulk updates; a command is as this program
                // can run it, Edit because test cases and suites have their dialogs.
                QCOMPARE(action->menu() != nullptr, item.command == 0);
                const Operation operation = OperationOf(item.command);
                QCOMPARE(action->isEnabled(), item.command == 0 ||
                                                  CommandActions::Available(operation) ||
                                                  operation == Operation::Properties);
                if (action->menu())
                    QCOMPARE(action->menu()->actions().size(), 10);
            }

            // Copy from the menu takes the clicked item.
            const auto copy = std::ranges::find_if(actions, [](QAction* action) {
                return OperationOf(action->data().toInt()) == Operation::Copy;
            });
            QVERIFY(copy != actions.end());
            (*copy)->trigger();
            menu->close();
            QCOMPARE(w.window.TheShell().ItemClipboard().Entries().front().path, path);
        }
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::TreeActionsTest);
#include "tree_actions_test.moc"
