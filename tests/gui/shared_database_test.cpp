// Two testers on one database, the second through a FUSE mount of its folder (bindfs), where
// only polling sees what the first does: test cases the first makes, renames and deletes show
// in the second's tree within two poll intervals, a project test case the first edits is
// refused to the second with the first's name until the first closes it, and the page the
// second shows follows the first's save.

#include <QLineEdit>

#include "desktop/widgets/rich_text_edit.h"
#include "gui_test.h"
#include "support/fuse_mount.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// One tester's program: a window of its own, with its own data folder and identity.
struct Tester {
    Tester(const fs::path& root, const fs::path& database, const UserIdentity& identity)
        : window(port, gui_test::FoldersBelow(root), identity) {
        Shell& shell = window.TheShell();
        shell.Start({}, true);
        shell.Configuration().Settings().showStartupDialog = false;
        window.resize(900, 600);
        window.show();
        shell.OpenDatabase(database);
    }
    // Expands folder and the folders above it, as the user clicking their arrows.
    void Expand(const fs::path& folder) {
        const QModelIndex index = window.Model().IndexOf(folder);
        for (QModelIndex above = index.parent(); above.isValid(); above = above.parent())
            window.Tree().expand(above);
        window.Tree().expand(index);
    }
    // Whether the tree has a row for path, without reading any folder to find out.
    bool Shows(const fs::path& path) { return window.Model().IndexOf(path).isValid(); }

    RecordingPort port;
    MainWindow window;
};

QLineEdit* LineOf(QDialog& dialog, const char* name) {
    return dialog.findChild<QWidget*>(name)->findChild<QLineEdit*>();
}

}  // namespace

class SharedDatabaseTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void TwoTestersOneThroughAFuseMountSeeEachOthersWork() {
        if (const std::string missing = testing::FuseMissing(); !missing.empty())
            QSKIP(missing.c_str());
        const fs::path rootPath = Root();
        const fs::path database = CopyDatabase(rootPath / "server");
        const testing::FuseMount mount(database, rootPath / "mount");
        if (!mount.Mounted())
            QSKIP("bindfs can't mount here");
        const fs::path mounted = rootPath / "mount";

        // Alice works on the folder itself (inotify), Bob through the mount (polling).
        Tester alice(rootPath / "alice", database, {"PC-ALICE", "alice"});
        Tester bob(rootPath / "bob", mounted, {"PC-BOB", "bob"});
        ChangeWatcher& bobsWatcher = bob.window.TheShell().Database().Watcher();
        QCOMPARE(bobsWatcher.Method(), WatchMethod::Polling);
        QVERIFY(!bob.window.TheShell().ReadOnly());
        const int twoIntervals = 2 * bob.window.TheShell().Configuration().Settings().pollInterval;
        QVERIFY(twoIntervals > 0);

        const fs::path login = fs::path("Test Cases") / "Login";
        alice.Expand(database / login);
        bob.Expand(mounted / login);
        QVERIFY(bob.Shows(mounted / login / "LOG-002.vtl"));

        // A test case Alice makes appears in Bob's tree.
        alice.window.SelectPath(database / login);
        WhenModalOpens([](QDialog& dialog) {
            LineOf(dialog, "id")->setText("LOG-100");
            LineOf(dialog, "test_title")->setText("Sign in with a passkey");
            dialog.accept();
        });
        alice.window.RunCommand(ID_CREATE_TEST_CASE);
        QVERIFY(fs::exists(database / login / "LOG-100.vtl"));
        QTRY_VERIFY_WITH_TIMEOUT(bob.Shows(mounted / login / "LOG-100.vtl"), twoIntervals);

        // One she renames changes its name there.
        const QModelIndex renamed = alice.window.Model().IndexOf(database / login / "LOG-002.vtl");
        alice.window.Model().setData(renamed, "LOG-200", Qt::EditRole);
        QTRY_VERIFY(fs::exists(database / login / "LOG-200.vtl"));
        QTRY_VERIFY_WITH_TIMEOUT(bob.Shows(mounted / login / "LOG-200.vtl") &&
                                     !bob.Shows(mounted / login / "LOG-002.vtl"),
                                 twoIntervals);

        // One she deletes goes. She sees its page first, as a user does before answering the
        // question: a page still being read when the document goes would be told as unreadable.
        alice.window.SelectPath(database / login / "LOG-003.vtl");
        QTRY_VERIFY_WITH_TIMEOUT(gui_test::PageText(alice.window.Page()).contains("LOG-003"),
                                 20000);
        alice.port.ScriptAnswers({true});
        alice.window.RunCommand(ID_EDIT_DELETE);
        QTRY_VERIFY(!fs::exists(database / login / "LOG-003.vtl"));
        QTRY_VERIFY_WITH_TIMEOUT(!bob.Shows(mounted / login / "LOG-003.vtl"), twoIntervals);

        // And what Bob makes through the mount reaches Alice.
        bob.window.SelectPath(mounted / login);
        WhenModalOpens([](QDialog& dialog) {
            LineOf(dialog, "id")->setText("LOG-101");
            LineOf(dialog, "test_title")->setText("Sign in from a second device");
            dialog.accept();
        });
        bob.window.RunCommand(ID_CREATE_TEST_CASE);
        QTRY_VERIFY_WITH_TIMEOUT(alice.Shows(database / login / "LOG-101.vtl"), twoIntervals);

        // Bob looks at a project test case Alice opens for editing: he is refused with her
        // name while she has it, and his page shows what she saved.
        const fs::path checkout =
            fs::path("Projects") / "Mobile launch" / "Project Test Cases" / "Checkout";
        const fs::path item = checkout / "CHK-001.vtl";
        // His tree may not have read that folder through the mount yet: selected once it has.
        // The page through the mount sometimes stays on the one before (under investigation):
        // he clicks the folder and the item again, as a user would.
        QString shown;
        bool pageShown = false;
        for (int attempt = 0; attempt < 3 && !pageShown; ++attempt) {
            bob.window.SelectPath(mounted / checkout);
            QTRY_VERIFY_WITH_TIMEOUT((bob.window.SelectPath(mounted / item),
                                      bob.window.CurrentNode()->path == mounted / item),
                                     20000);
            pageShown = QTest::qWaitFor(
                [&] { return (shown = gui_test::PageText(bob.window.Page())).contains("CHK-001"); },
                10000);
        }
        QVERIFY2(pageShown, qPrintable(bob.window.Page().url().toString() + "\n" + shown));
        QVERIFY(!gui_test::PageText(bob.window.Page()).contains("Declined by the bank"));
        alice.window.SelectPath(database / item);

        std::string refusal;
        bool bobsDialogOpened = false;
        WhenModalOpens([&](QDialog& dialog) {
            bob.port.ScriptAnswers({false});  // no forced unlock
            const std::size_t asked = bob.port.questions.size();
            bob.window.RunCommand(ID_EDIT_PROPERTIES);
            if (bob.port.questions.size() == asked + 1)
                refusal = bob.port.questions.back().text;
            bobsDialogOpened = QApplication::activeModalWidget() != &dialog;
            QTest::keyClicks(dialog.findChild<QWidget*>("result_notes")->findChild<RichTextEdit*>(),
                             "Declined by the bank");
            dialog.accept();
        });
        alice.window.RunCommand(ID_EDIT_PROPERTIES);
        QVERIFY2(refusal.starts_with("Unable to open file for editing. File was locked by"),
                 refusal.c_str());
        QVERIFY2(testing::Has(refusal, "alice \non PC-ALICE"), refusal.c_str());
        QVERIFY(!bobsDialogOpened);
        QVERIFY(!fs::exists(database / (item.string() + ".lck")));
        QTRY_VERIFY_WITH_TIMEOUT(
            gui_test::PageText(bob.window.Page()).contains("Declined by the bank"), twoIntervals);

        // Alice closed her editor: Bob may edit now, under his own lock.
        std::string bobsLock;
        WhenModalOpens([&](QDialog& dialog) {
            bobsLock = testing::ReadFile(database / (item.string() + ".lck")).substr(0, 10);
            dialog.reject();
        });
        bob.window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(bobsLock, std::string("PC-BOB\nbob"));
        QVERIFY(!fs::exists(database / (item.string() + ".lck")));
        QVERIFY2(alice.port.notices.empty(),
                 alice.port.notices.empty() ? "" : alice.port.notices.front().text.c_str());
        QVERIFY(bob.port.notices.empty());
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::SharedDatabaseTest);
#include "shared_database_test.moc"
