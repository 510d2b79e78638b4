// The right pane's pages: an item's page made by the core and served to the web view, links
// between items that select them in the tree, and nothing followed that a page shouldn't.

#include <QPrinter>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <optional>

#include "documents/test_case.h"
#include "gui_test.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

class PageViewTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void LinksAreFollowedOnlyWhereTheyBelong() {
        const QUrl page("vtpage:/Test%20Cases/Login/LOG-001.vtl");
        QCOMPARE(ActionForLink(page, LinkOrigin::Program), LinkAction::Follow);
        // A refresh or redirect in a value moves nothing, not even to another item's page.
        QCOMPARE(ActionForLink(page, LinkOrigin::Page), LinkAction::Refuse);
        QCOMPARE(ActionForLink(QUrl("vantorel:///Test%20Cases/Login"), LinkOrigin::Clicked),
                 LinkAction::SelectItem);
        QCOMPARE(ActionForLink(QUrl("vantorel:///Test%20Cases/Login"), LinkOrigin::Page),
                 LinkAction::Refuse);
        QCOMPARE(ActionForLink(QUrl("https://example.org/bug/12"), LinkOrigin::Clicked),
                 LinkAction::OpenOutside);
        // A page never sends the user anywhere by itself.
        QCOMPARE(ActionForLink(QUrl("https://example.org/bug/12"), LinkOrigin::Page),
                 LinkAction::Refuse);
        QCOMPARE(ActionForLink(QUrl("javascript:alert(1)"), LinkOrigin::Clicked),
                 LinkAction::Refuse);
        QCOMPARE(ActionForLink(QUrl("data:text/html,<b>x</b>"), LinkOrigin::Clicked),
                 LinkAction::Refuse);
    }

    void SelectingAnItemShowsItsPageAndBackReturnsToIt() {
        auto open = Open();
        MainWindow& window = *open->window;
        PageView& page = window.Page();
        const fs::path testCase = open->database / "Test Cases" / "Login" / "LOG-001.vtl";
        QVERIFY(fs::exists(testCase));

        QSignalSpy loaded(&page, &QWebEngineView::loadFinished);
        window.SelectPath(testCase);
        QCOMPARE(window.CurrentNode()->path, testCase);
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        QVERIFY(loaded.last().at(0).toBool());
        QVERIFY(gui_test::PageText(page).contains("LOG-001"));

        const fs::path project = open->database / "Projects" / "Release 2.0";
        window.SelectPath(project);
        QTRY_COMPARE(page.url(), page.UrlOf(project));

        // Back returns to the test case, and the tree follows the page.
        loaded.clear();
        window.RunCommand(ID_EDIT_BACK);
        QTRY_COMPARE(window.CurrentNode()->path, testCase);

        // Zoom keys act on the page while it has the focus.
        page.setFocus();
        QTest::keyClick(&page, Qt::Key_Plus, Qt::ControlModifier);
        QTRY_VERIFY(page.zoomFactor() > 1.2);
        QTest::keyClick(&page, Qt::Key_0, Qt::ControlModifier);
        QTRY_COMPARE(page.zoomFactor(), 1.0);

        // The view tells a page's address some time after its load was asked for: the address
        // of a page the tree has moved on from is no Back, and takes the selection nowhere.
        const fs::path login = testCase.parent_path();
        window.SelectPath(login / "LOG-005.vtl");
        window.SelectPath(login / "LOG-002.vtl");
        QSignalSpy requested(&page, &PageView::itemRequested);
        emit page.urlChanged(page.UrlOf(login / "LOG-005.vtl"));
        QVERIFY(requested.isEmpty());
        QCOMPARE(window.CurrentNode()->path, login / "LOG-002.vtl");
        // An address nobody asked for is the history's: the tree follows it.
        emit page.urlChanged(page.UrlOf(login / "LOG-003.vtl"));
        QCOMPARE(requested.size(), 1);
        QTRY_COMPARE(window.CurrentNode()->path, login / "LOG-003.vtl");

        // Closing the database leaves a blank pane.
        window.RunCommand(ID_FILE_CLOSE_DB);
        QTRY_COMPARE(page.url(), QUrl("about:blank"));
    }

    void ClickedLinksSelectTheirItems() {
        auto open = Open();
        MainWindow& window = *open->window;
        PageView& page = window.Page();
        const fs::path login = open->database / "Test Cases" / "Login";
        // The middle of the first link whose text is text, once the shown page has one.
        const auto linkCentre = [&page](const QString& text) -> std::optional<QPoint> {
            const QVariantList xy =
                gui_test::PageScript(
                    page,
                    "(function() { const link = Array.from(document.querySelectorAll('a')).find("
                    " a => a.textContent.trim() === '" +
                        text +
                        "');"
                        " if (!link) return null; link.scrollIntoView({block: 'center'});"
                        " const box = link.getBoundingClientRect();"
                        " return [box.left + box.width / 2, box.top + box.height / 2]; })()")
                    .toList();
            if (xy.size() != 2)
                return std::nullopt;
            return QPoint(xy[0].toInt(), xy[1].toInt());
        };
        // Clicked as a user clicks: on the widget the engine draws into.
        const auto click = [&](const QString& text) {
            std::optional<QPoint> centre;
            if (!QTest::qWaitFor([&] { return (centre = linkCentre(text)).has_value(); }, 20000))
                return false;
            QWindow* shown = page.window()->windowHandle();
            const QPoint at = page.focusProxy()->mapTo(page.window(), *centre);
            QTest::mouseMove(shown, at);
            QTest::mouseClick(shown, Qt::LeftButton, {}, at);
            return true;
        };

        // The engine takes clicks once it has drawn the page, which it doesn't tell: a link is
        // clicked again until its item is selected.
        const auto clickSelects = [&](const QString& text, const fs::path& item) {
            for (int attempt = 0; attempt < 10; ++attempt)
                if (click(text) &&
                    QTest::qWaitFor([&] { return window.CurrentNode()->path == item; }, 1000))
                    return true;
            return false;
        };

        // A link in a rich-text value selects its item.
        {
            WindowThreadMayRead writing(gui_test::kTestReads);
            auto editor =
                TestCase::Edit(login / "LOG-001.vtl", {open->port, window.TheShell().Custom()});
            QVERIFY(editor);
            editor->Control("<test_description>").text =
                "See also <a href=\"vantorel:///Test%20Cases/Login/LOG-003.vtl\">the lockout</a>.";
            QVERIFY(!editor->Save());
        }
        window.SelectPath(login / "LOG-001.vtl");
        QVERIFY(clickSelects("the lockout", login / "LOG-003.vtl"));
        // A breadcrumb selects the suite.
        QVERIFY(clickSelects("Login", login));

        // A project test case's "Add Bug", once the options hold the command that records one,
        // starts it for that test case.
        const fs::path bug = Root() / "bug-Release 2.0";
        window.TheShell().Configuration().Settings().addBugPath =
            "touch \"" + (Root() / "bug-%VT_PROJECT%").string() + "\"";
        window.ApplyOptions();
        window.SelectPath(open->database / "Projects" / "Release 2.0" / "Project Test Cases" /
                          "Login" / "LOG-001.vtl");
        bool started = false;
        for (int attempt = 0; attempt < 10 && !started; ++attempt)
            started = click("Add Bug") && QTest::qWaitFor([&] { return fs::exists(bug); }, 1000);
        QVERIFY(started);
    }

    void RichTextStaysInsideItsBox() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        // A value styled to cover the whole page stays in its own box, below the breadcrumbs.
        auto open = Open();
        const fs::path testCase = open->database / "Test Cases" / "Login" / "LOG-001.vtl";
        {
            auto editor = TestCase::Edit(testCase, {open->port, open->window->TheShell().Custom()});
            QVERIFY(editor);
            editor->Control("<test_description>").text =
                "<div style=\"position:fixed;top:0;left:0;width:3000px;height:3000px\">"
                "Every test passed</div>";
            QVERIFY(!editor->Save());
        }
        PageView& page = open->window->Page();
        open->window->SelectPath(testCase);
        // Asked again until the value's page is the one shown: null before.
        const auto below = [&page] {
            return gui_test::PageScript(
                page,
                "(function() { const value = document.querySelector('.RichText div[style]');"
                " const crumbs = document.querySelector('.Breadcrumbs');"
                " return value && crumbs ? value.getBoundingClientRect().top >="
                " crumbs.getBoundingClientRect().bottom : null; })()");
        };
        QVariant answer;
        QTRY_VERIFY_WITH_TIMEOUT((answer = below()).isValid(), 20000);
        QVERIFY(answer.toBool());
    }

    void AWindowDeletedWhileItsPageReloadsReadsNothingFreed() {
        // Deleting the page view's engine serves the requests still pending: a project test
        // case's page, whose first read is the customisation's status list, must find it
        // whole as the window goes (AddressSanitizer ends the run at a read of freed memory).
        for (int round = 0; round < 5; ++round) {
            auto open = Open(std::to_string(round));
            PageView& page = open->window->Page();
            const fs::path testCase = open->database / "Projects" / "Release 2.0" /
                                      "Project Test Cases" / "Login" / "LOG-001.vtl";
            QSignalSpy loaded(&page, &QWebEngineView::loadFinished);
            open->window->SelectPath(testCase);
            QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
            QSignalSpy started(&page, &QWebEngineView::loadStarted);
            page.Reshow();
            // Some rounds go before the reload reached the engine, the others once it started.
            if (round % 2 == 1)
                QTRY_VERIFY(!started.isEmpty());
            open->window.reset();
        }
    }

    // The user is told too, unless the window moved on to an item whose page comes later:
    // the document may be one the user has just deleted.
    void ADocumentThatCantBeReadStillGetsAPageThatSaysSo() {
        auto open = Open();
        // A link to nothing under a document's name: the tree lists it, nothing reads it.
        const fs::path login = open->database / "Test Cases" / "Login";
        for (const char* name : {"LOG-002.vtl", "LOG-003.vtl"}) {
            fs::remove(login / name);
            fs::create_symlink(Root() / "nothing.vtl", login / name);
        }
        PageView& page = open->window->Page();
        open->window->SelectPath(login / "LOG-001.vtl");
        QTRY_COMPARE_WITH_TIMEOUT(page.url(), page.UrlOf(login / "LOG-001.vtl"), 20000);
        page.Show({login / "LOG-003.vtl", TV_TEST_TEST_DOC, "LOG-003"});
        page.ShowLater();
        // The notice would come as the page is handed over, before the view reports it.
        QTRY_COMPARE_WITH_TIMEOUT(page.url(), page.UrlOf(login / "LOG-003.vtl"), 20000);
        QCOMPARE(open->port.notices.size(), 0u);

        const fs::path testCase = login / "LOG-002.vtl";
        QSignalSpy loaded(&open->window->Page(), &QWebEngineView::loadFinished);
        const QModelIndex index = open->window->Model().IndexOf(testCase);
        QVERIFY(index.isValid());
        open->window->Tree().setCurrentIndex(index);
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        QTRY_VERIFY(!open->port.notices.empty());
        // The notice comes as the page is handed over; the view draws it a moment later.
        QString text;
        QTRY_VERIFY2((text = gui_test::PageText(open->window->Page()))
                         .contains("Unable to open the test case"),
                     qPrintable(text));
    }

    // Several items print in one job, each page on sheets of its own, and the shown page comes
    // back after; the footer is there only when the options ask for it.
    void PrintedPagesCarryTheFooterOnlyWhenTheOptionsAskForItAndThePageComesBack() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path login = open->database / "Test Cases" / "Login";
        window.SelectPath(login / "LOG-003.vtl");
        QTRY_COMPARE(window.Page().url(), window.Page().UrlOf(login / "LOG-003.vtl"));
        const std::vector<TreeNode> two{{login / "LOG-001.vtl", TV_TEST_TEST_DOC, "LOG-001"},
                                        {login / "LOG-002.vtl", TV_TEST_TEST_DOC, "LOG-002"}};
        for (bool footer : {true, false}) {
            window.TheShell().Configuration().Settings().printFooter = footer;
            const QString pdf = RootFile(footer ? "footer.pdf" : "plain.pdf");
            auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
            printer->setOutputFormat(QPrinter::PdfFormat);
            printer->setOutputFileName(pdf);
            QSignalSpy printed(&window.Page(), &QWebEngineView::printFinished);
            window.PrintPages(footer ? window.SelectedNodes() : two, std::move(printer));
            QTRY_VERIFY_WITH_TIMEOUT(!printed.isEmpty(), 30000);
            QVERIFY(printed.first().at(0).toBool());
            QTRY_COMPARE(window.Page().url(), window.Page().UrlOf(login / "LOG-003.vtl"));
            QProcess text;
            text.start("pdftotext", {"-layout", pdf, "-"});
            QVERIFY(text.waitForFinished(20000));
            const QString sheets = QString::fromUtf8(text.readAllStandardOutput());
            QCOMPARE(sheets.count('\f'), footer ? 1 : 2);
            QCOMPARE(sheets.contains("Test Cases/Login/LOG-003 - "), footer);
            QCOMPARE(sheets.contains(" - Page 1 of 1"), footer);
        }
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::PageViewTest);
#include "page_view_test.moc"
