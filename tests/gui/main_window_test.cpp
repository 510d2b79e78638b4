// The main window over the sample database: start-up, the tree read as it is expanded, the
// menus built from the command table, the shell's dialogs, and a database that goes away.

#include <QAbstractItemModelTester>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTimer>

#include "desktop/help/help_window.h"
#include "gui_test.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

class MainWindowTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void FreshStartShowsTheSampleDatabase() {
        RecordingPort port;
        MainWindow window(port, gui_test::FoldersBelow(Root()));
        window.TheShell().Start({});
        window.show();
        WhenModalOpens([&](QDialog& dialog) {
            QCOMPARE(dialog.windowTitle(), QString("Load Database"));
            dialog.accept();
        });
        window.TheShell().OpenAtStartup();
        QVERIFY(window.windowTitle().endsWith("SampleDB]"));
        QCOMPARE(window.Model().rowCount({}), 6);
        QCOMPARE(window.Model().index(0, 0, {}).data().toString(), QString("Test Cases"));
        QVERIFY(window.findChild<QLabel*>("currentUser")->text().startsWith("Current user: "));
        // The opening's count is not left behind.
        QCOMPARE(window.findChild<QLabel*>("progress")->text(), QString());
        // A first start's window takes most of the screen, not the layout's least.
        const QRect screen = window.screen()->availableGeometry();
        QVERIFY(window.width() >= screen.width() / 2 && window.height() >= screen.height() / 2);
        QVERIFY(screen.contains(window.geometry()));
        // With no width kept yet, the tree takes a third of the window.
        const int treeWidth = window.findChild<QSplitter*>("splitter")->sizes().value(0);
        QVERIFY2(std::abs(treeWidth - window.width() / 3) <= 8, QByteArray::number(treeWidth));
        QVERIFY(port.notices.empty());
    }

    void ExpandingAFolderReadsItsChildren() {
        auto open = Open();
        NavigationModel& model = open->window->Model();
        const QModelIndex library = model.index(0, 0, {});
        QVERIFY(model.hasChildren(library));
        QCOMPARE(model.rowCount(library), 0);
        // The tester reads the whole model as a view may, and checks every change after.
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        open->window->Tree().expand(library);
        QTRY_VERIFY(model.rowCount(library) > 0);
        const QModelIndex suite = model.index(0, 0, library);
        QCOMPARE(model.NodeAt(suite)->kind, TV_TEST_SUITE_FLD);
        open->window->Tree().expand(suite);
        QTRY_VERIFY(model.rowCount(suite) > 0);
        QCOMPARE(model.NodeAt(model.index(0, 0, suite))->kind, TV_TEST_TEST_DOC);

        // A document made by someone else appears when its folder is read again, and the
        // rows already there stay the same nodes.
        const TreeNode first = *model.NodeAt(model.index(0, 0, suite));
        const fs::path added = model.NodeAt(suite)->path / "ZZZ-999.vtl";
        fs::copy_file(first.path, added);
        const int before = model.rowCount(suite);
        model.RefreshFolder(model.NodeAt(suite)->path);
        QCOMPARE(model.rowCount(suite), before + 1);
        QCOMPARE(model.IndexOf(added).row(), before);
        QCOMPARE(*model.NodeAt(model.index(0, 0, suite)), first);

        // Changes made elsewhere are listed on the model's reader and shown as runs of rows:
        // three neighbours gone, new rows before, between and after the kept ones. The rows
        // are then the listing's, and a kept row is the same node.
        const fs::path folder = model.NodeAt(suite)->path;
        QVERIFY(model.rowCount(suite) >= 6);
        for (int row : {1, 2, 3})
            fs::remove(model.NodeAt(model.index(row, 0, suite))->path);
        const TreeNode* kept = model.NodeAt(model.index(4, 0, suite));
        for (const char* name : {"AAA-001.vtl", "AAA-002.vtl", "ZZZ-997.vtl", "ZZZ-998.vtl"})
            fs::copy_file(first.path, folder / name);
        fs::copy_file(first.path, folder / (kept->path.stem().string() + "0.vtl"));
        QSignalSpy listed(&model, &NavigationModel::foldersListed);
        model.RefreshFoldersLater({folder});
        QVERIFY(listed.wait());
        const std::vector<TreeNode> listing = gui_test::TestReads(
            [&] { return ChildNodes(model.DatabaseDir(), *model.NodeAt(suite)); });
        QCOMPARE(model.ChildrenOf(folder), listing);
        QCOMPARE(model.NodeAt(model.IndexOf(kept->path)), kept);
    }

    void MenusComeFromTheCommandTableAndEachRunsRefusesOrIsGreyed() {
        auto open = Open();
        MainWindow& window = *open->window;
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        for (QAction* menu : window.menuBar()->actions()) {
            // Each menu opens from a letter of its own.
            const QKeySequence letter = QKeySequence::mnemonic(menu->text());
            QVERIFY2(!letter.isEmpty(), qPrintable(menu->text()));
            QTest::keySequence(&window, letter);
            QTRY_VERIFY2(menu->menu()->isVisible(), qPrintable(menu->text()));
            menu->menu()->close();
            QTRY_VERIFY(!menu->menu()->isVisible());
        }
        QTest::keyClick(&window, Qt::Key_F10);
        QCOMPARE(window.menuBar()->activeAction(), window.menuBar()->actions().value(0));
        QTest::keyClick(window.menuBar(), Qt::Key_Escape);
        for (const MenuCommand& command : MainMenu()) {
            QAction* action = window.Commands().Action(command.id);
            if (!ShownInMenus(command.id)) {
                QVERIFY2(!action, command.label.data());
                continue;
            }
            QVERIFY2(action, command.label.data());
            // Greyed exactly when this program has no window for it yet.
            QCOMPARE(action->isEnabled(), CommandActions::Available(OperationOf(command.id)));
        }
        QCOMPARE(window.Commands().Action(ID_EDIT_RENAME)->shortcut(), QKeySequence(Qt::Key_F2));
        // The imports and exports have their dialogs: without a database they refuse.
        for (const int command :
             {ID_FILE_IMPORT_TC, ID_FILE_IMPORT_PTC, ID_FILE_IMPORT_JUNIT, ID_FILE_EXPORT_TC_CSV,
              ID_FILE_EXPORT_PRJ_CSV, ID_FILE_EXPORT_LIST_CSV})
            QVERIFY(window.Commands().Action(command)->isEnabled());

        // Once the database is closed, every menu item runs, shows its refusal or is greyed.
        window.RunCommand(ID_FILE_CLOSE_DB);
        QCOMPARE(window.Model().rowCount({}), 0);
        // Whatever dialog a command opens is closed again, and counted.
        int dialogs = 0;
        QTimer closer;
        connect(&closer, &QTimer::timeout, [&] {
            if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
                ++dialogs;
                dialog->reject();
            }
        });
        closer.start(10);
        for (const MenuCommand& command : MainMenu()) {
            QAction* action = window.Commands().Action(command.id);
            const Operation operation = OperationOf(command.id);
            if (!action || !action->isEnabled() || operation == Operation::Exit)
                continue;
            const std::size_t notices = open->port.notices.size();
            const int dialogsBefore = dialogs;
            action->trigger();
            const std::optional<Notice> refusal = CommandRefusal(operation, {});
            if (refusal) {
                QCOMPARE(open->port.notices.size(), notices + 1);
                QCOMPARE(open->port.notices.back(), *refusal);
                continue;
            }
            // What needs no database runs: each of these shows its dialog.
            switch (operation) {
                case Operation::NewDatabase:
                case Operation::OpenDatabase:
                case Operation::Options:
                case Operation::SpellingOptions:
                case Operation::DisplayStyle:
                case Operation::About:
                    QTRY_COMPARE(dialogs, dialogsBefore + 1);
                    break;
                case Operation::HelpOverview:
                    // The help is a window of its own, not a dialog, and needs no database.
                    QTRY_VERIFY(window.findChild<HelpWindow*>());
                    QCOMPARE(open->port.notices.size(), notices);
                    break;
                case Operation::CustomizeFields:
                    // The customisation's own editor says why it needs a database.
                    QCOMPARE(open->port.notices.size(), notices + 1);
                    QCOMPARE(open->port.notices.back().caption, std::string("No DB open"));
                    break;
                default:
                    QCOMPARE(open->port.notices.size(), notices);
            }
        }
        QCOMPARE(window.windowTitle(), QString("Vantorel V3.2 [No database selected]"));
        window.Commands().Action(ID_FILE_EXIT)->trigger();
        QVERIFY(!window.isVisible());
    }

    void SetUserNamesTheTesterAndNewDatabaseOpensTheNewOne() {
        auto open = Open();
        MainWindow& window = *open->window;
        QStringList offered;
        WhenModalOpens([&](QDialog& dialog) {
            auto* testers = dialog.findChild<QListWidget*>("testers");
            for (int row = 0; row < testers->count(); ++row)
                offered << testers->item(row)->text();
            testers->setCurrentRow(1);
            dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
        });
        window.RunCommand(ID_SETTINGS_SET_USER);
        QCOMPARE(offered.size(), 3);
        const QString chosen = offered[1].section(" : ", 0, 0);
        QCOMPARE(window.findChild<QLabel*>("currentUser")->text(), "Current user: " + chosen);
        QCOMPARE(window.TheShell().CurrentUser(), chosen.toStdString());

        // New Database makes the folder and opens it.
        const QString folder = RootFile("NewDB");
        WhenModalOpens([&](QDialog& dialog) {
            QCOMPARE(dialog.windowTitle(), QString("New Database"));
            dialog.findChild<QLineEdit*>("folder")->setText(folder);
            dialog.accept();
        });
        open->port.ScriptAnswers({true});  // make the folder
        window.RunCommand(ID_FILE_NEW_DB);
        QVERIFY(fs::exists(folder.toStdString() + "/VantorelDatabase.vdb"));
        QCOMPARE(window.windowTitle(), "Vantorel V3.2 [" + folder + "]");
        QCOMPARE(window.Model().rowCount({}), 6);
    }

    void WindowRectangleTreeWidthAndListColumnsAreKept() {
        auto open = Open();
        open->window->findChild<QSplitter*>("splitter")->setSizes({230, 770});
        const fs::path suite = open->database / "Projects/Release 2.0/Project Test Cases/Cart";
        open->window->SelectPath(suite);
        QHeaderView* header = open->window->List().horizontalHeader();
        QTRY_COMPARE(open->window->List().Model().rowCount(), 3);
        header->moveSection(header->visualIndex(2), 0);  // Status first
        header->resizeSection(1, 321);
        open->window->close();
        open->window.reset();
        Config config(Root() / "config", Root(), open->port);
        QCOMPARE(config.Settings().treeWidth, 230);
        QVERIFY(config.Settings().width >= 1000);

        MainWindow again(open->port, gui_test::FoldersBelow(Root()));
        again.TheShell().Start({}, true);
        again.show();
        QCOMPARE(again.findChild<QSplitter*>("splitter")->sizes().value(0), 230);
        again.TheShell().OpenDatabase(open->database);
        again.SelectPath(suite);
        QTRY_COMPARE(again.List().Model().rowCount(), 3);
        QCOMPARE(again.List().horizontalHeader()->logicalIndex(0), 2);
        QCOMPARE(again.List().horizontalHeader()->sectionSize(1), 321);
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::MainWindowTest);
#include "main_window_test.moc"
