// Opening an item for editing from the window: Edit, Enter and a double-click open the item's
// editor, Edit is offered only where a dialog exists, and a lock someone else holds brings the
// unlock dialog, whose "Unlock File" takes the lock over.

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <fstream>

#include "desktop/qt_port.h"
#include "gui_test.h"
#include "storage/edit_lock.h"
#include "storage/locks.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

class EditingTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void EditOpensTheDialogOfItsKindAndUnlockFileTakesAHeldLockOver() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open<QtPort>();
        MainWindow& window = *open->window;
        QtPort& port = open->port;
        const fs::path& database = open->database;

        // The testers' folder has no dialog: its Edit stays greyed; a test case has one.
        window.SelectPath(database / "Testers");
        QAction* edit = window.Commands().Action(ID_EDIT_PROPERTIES);
        QVERIFY(!edit->isEnabled());
        const fs::path testCase = database / "Test Cases" / "Login" / "LOG-001.vtl";
        window.SelectPath(testCase);
        QVERIFY(edit->isEnabled());

        // In place of the test case's dialog, one whose model only takes the item's lock, as
        // every item dialog's model does.
        const UserIdentity alice{"PC-ALICE", "alice"};
        std::unique_ptr<EditLock> opened;
        window.Editors().Register(TV_TEST_TEST_DOC, [&](QWidget*, const TreeNode& node) {
            opened = EditLock::Acquire(node.path, port, alice);
        });

        QCOMPARE(createLockFile(testCase, {"PC-BOB", "bob"}), 0);
        QString lockText;
        WhenModalOpens([&](QDialog& dialog) {
            auto& box = static_cast<QMessageBox&>(dialog);
            lockText = box.text();
            WhenModalOpens([](QDialog& confirm) {
                static_cast<QMessageBox&>(confirm).button(QMessageBox::Yes)->click();
            });
            box.checkBox()->setChecked(true);
            box.button(QMessageBox::Ok)->click();
        });
        edit->trigger();
        QVERIFY(lockText.contains("bob"));
        QVERIFY(opened);
        std::ifstream lock(testCase.string() + ".lck");
        std::string holder;
        std::getline(lock, holder);
        QCOMPARE(holder, std::string("PC-ALICE"));
    }

    void EnterAndADoubleClickOpenTheSelectedItemsEditor() {
        auto open = Open();
        MainWindow& window = *open->window;
        std::vector<fs::path> opened;
        window.Editors().Register(
            TV_TEST_TEST_DOC, [&](QWidget*, const TreeNode& node) { opened.push_back(node.path); });
        const fs::path testCase = open->database / "Test Cases" / "Login" / "LOG-001.vtl";
        window.SelectPath(testCase);
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTreeView& tree = window.Tree();
        tree.setFocus();
        QTest::keyClick(&tree, Qt::Key_Return);
        QCOMPARE(opened, std::vector<fs::path>{testCase});
        const QRect row = tree.visualRect(tree.currentIndex());
        QVERIFY(row.isValid());
        // A double-click comes after the click of its first press.
        QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, row.center());
        QTest::mouseDClick(tree.viewport(), Qt::LeftButton, {}, row.center());
        QCOMPARE(opened, (std::vector<fs::path>{testCase, testCase}));
        // A folder opens on a double-click; it is not edited.
        window.SelectPath(testCase.parent_path());
        const QPoint folder = tree.visualRect(tree.currentIndex()).center();
        QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, folder);
        QTest::mouseDClick(tree.viewport(), Qt::LeftButton, {}, folder);
        QCOMPARE(opened.size(), std::size_t{2});
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::EditingTest);
#include "editing_test.moc"
