// Opening an item for editing from the window: Edit is offered only where a dialog exists, and
// a lock someone else holds brings the unlock dialog, whose "Unlock File" takes the lock over.

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <fstream>

#include "desktop/qt_port.h"
#include "gui_test.h"
#include "storage/edit_lock.h"
#include "storage/locks.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

class EditingTest : public QObject {
    Q_OBJECT
private slots:
    void EditOpensTheDialogOfItsKindAndUnlockFileTakesAHeldLockOver() {
        QTemporaryDir root;
        const fs::path rootPath = root.path().toStdString();
        const fs::path database = gui_test::CopySampleDatabase(rootPath);
        QtPort port;
        MainWindow window(port, gui_test::FoldersBelow(rootPath));
        port.SetWindow(&window);
        window.TheShell().Start({}, true);
        window.show();
        window.TheShell().OpenDatabase(database);

        const fs::path testCase = database / "Test Cases" / "Login" / "LOG-001.vtl";
        window.SelectPath(testCase);
        QAction* edit = window.Commands().Action(ID_EDIT_PROPERTIES);
        QVERIFY(!edit->isEnabled());

        // A dialog of the kind that, like every item dialog's model, takes the item's lock.
        const UserIdentity alice{"PC-ALICE", "alice"};
        std::unique_ptr<EditLock> opened;
        window.Editors().Register(TV_TEST_TEST_DOC, [&](QWidget*, const TreeNode& node) {
            opened = EditLock::Acquire(node.path, port, alice);
        });
        window.SelectPath(testCase.parent_path());
        window.SelectPath(testCase);
        QVERIFY(edit->isEnabled());

        QCOMPARE(createLockFile(testCase, {"PC-BOB", "bob"}), 0);
        QString lockText;
        gui_test::WhenModalOpens([&](QDialog& dialog) {
            auto& box = static_cast<QMessageBox&>(dialog);
            lockText = box.text();
            gui_test::WhenModalOpens([](QDialog& confirm) {
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
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::EditingTest);
#include "editing_test.moc"
