// The help: "Help - Overview" and F1 in the main window open the overview in the program's own
// help window; F1 or the Help button of a dialog opens the dialog's page in a help window of
// the dialog's, usable while the dialog waits. The Help menu has no items that need a network.

#include <QDialogButtonBox>
#include <QPushButton>
#include <QWebEngineView>
#include <QWizard>

#include "desktop/help/help_window.h"
#include "gui_test.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

HelpWindow* HelpOf(QWidget& window) {
    return window.findChild<HelpWindow*>(QString(), Qt::FindDirectChildrenOnly);
}

// The page the help window of window shows once it has loaded, by file name; empty when none
// comes.
QString ShownPage(QWidget& window) {
    const bool loaded = QTest::qWaitFor(
        [&] {
            HelpWindow* help = HelpOf(window);
            // Until the page's own title comes, the view names the file.
            const QString title = help ? help->View().title() : QString();
            return help && help->isVisible() && !title.isEmpty() && !title.endsWith(".htm") &&
                   !title.startsWith("file:");
        },
        15000);  // the web view's first page, beside other test programs, can take a while
    HelpWindow* help = HelpOf(window);
    return loaded ? help->View().url().fileName() : QString();
}

void PressF1(QWidget& window) {
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(&window, Qt::Key_F1);
}

}  // namespace

class HelpWindowTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void HelpOverviewAndF1OpenTheOverviewOrTheDialogsPage() {
        auto open = Open();
        MainWindow& window = *open->window;
        window.Commands().Action(ID_HELP_OVERVIEW)->trigger();
        QCOMPARE(ShownPage(window), QString("overview.htm"));
        HelpWindow& shown = *HelpOf(window);
        QCOMPARE(shown.View().title(), QString("Overview"));
        QTRY_COMPARE(shown.windowTitle(), QString("Vantorel Help - Overview"));
        // A link to another page is followed inside the window.
        shown.View().setUrl(shown.View().url().resolved(QUrl("Filters.htm")));
        QTRY_COMPARE(shown.View().title(), QString("Filters"));
        shown.close();
        QTRY_VERIFY(!HelpOf(window));

        PressF1(window);
        QCOMPARE(ShownPage(window), QString("overview.htm"));
        HelpOf(window)->close();
        QTRY_VERIFY(!HelpOf(window));

        // In a dialog, F1 and the Help button open the dialog's own page.
        QString sheetPage;
        WhenModalOpens([&](QDialog& sheet) {
            PressF1(sheet);
            sheetPage = ShownPage(sheet);
            sheet.reject();
        });
        window.RunCommand(ID_SETTINGS_CUSTOMIZE);
        QCOMPARE(sheetPage, QString("customisation.htm"));

        QString itemPage;
        bool modalWhileHelpShows = false;
        window.SelectPath(open->database / "Test Cases" / "Login" / "LOG-001.vtl");
        WhenModalOpens([&](QDialog& dialog) {
            QPushButton* button =
                dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Help);
            button->click();
            itemPage = ShownPage(dialog);
            modalWhileHelpShows = QApplication::activeModalWidget() == &dialog;
            dialog.reject();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(itemPage, QString("Test_Cases.htm"));
        QVERIFY(modalWhileHelpShows);

        window.SelectPath(open->database / "Projects" / "Release 2.0");
        window.RunCommand(ID_REPORT_WIZARD);
        auto* wizard = window.findChild<QWizard*>("reportWizard");
        QVERIFY(wizard);
        QTRY_VERIFY(wizard->button(QWizard::HelpButton)->isVisible());
        wizard->button(QWizard::HelpButton)->click();
        QCOMPARE(ShownPage(*wizard), QString("Using_the_Report_Wizard.htm"));
        wizard->reject();
        QVERIFY(open->port.notices.empty());
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::HelpWindowTest);
#include "help_window_test.moc"
