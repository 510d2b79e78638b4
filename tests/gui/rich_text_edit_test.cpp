// The rich-text field: what it hands back, and what a paste brings in, is the subset the item
// pages show, and a stored text shown and handed back unchanged comes back as it was.

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTextCursor>
#include <QTextDocument>

#include "desktop/widgets/rich_text_edit.h"
#include "gui_test.h"
#include "window_fixture.h"

namespace vantorel {

class RichTextEditTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void FormattingComesBackInThePagesSubset() {
        RichTextEdit edit;
        edit.ShowStored(
            "Intro\n<b>bold</b> <i>it</i> <u>under</u> <a href=\"https://x.test/a?b=1&amp;c=2\">"
            "link</a><ul><li>one</li><li>two</li></ul><ol><li>first</li></ol>Last");
        QVERIFY(!edit.Changed());
        QCOMPARE(
            edit.Edited(),
            QString("Intro\n<b>bold</b> <i>it</i> <u>under</u> <a "
                    "href=\"https://x.test/a?b=1&amp;c=2\">link</a><ul><li>one</li><li>two</li>"
                    "</ul><ol><li>first</li></ol>Last"));

        // Typed with the buttons' commands.
        edit.clear();
        QTest::keyClicks(&edit, "Plain ");
        edit.ToggleItalic();
        QTest::keyClicks(&edit, "slanted");
        edit.ToggleItalic();
        QTest::keyClick(&edit, Qt::Key_Return);
        edit.MakeList(false);
        QTest::keyClicks(&edit, "item");
        QTextCursor cursor = edit.textCursor();
        cursor.movePosition(QTextCursor::StartOfBlock);
        cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
        edit.setTextCursor(cursor);
        edit.SetLink("vantorel:///Test%20Cases/Login");
        QVERIFY(edit.Changed());
        QCOMPARE(edit.Edited(),
                 QString("Plain <i>slanted</i><ul><li><a "
                         "href=\"vantorel:///Test%20Cases/Login\">item</a></li></ul>"));
    }

    void APasteIsReducedToWhatPagesShow() {
        RichTextEdit edit;
        auto* pasted = new QMimeData;
        pasted->setHtml(
            "<html><body><h1 style=\"color:red\">Title</h1>"
            "<p><span style=\"font-family:Comic Sans MS; font-weight:700\">Loud</span>"
            " &lt;tag&gt; <img src=\"x.png\"></p>"
            "<table><tr><td>cell</td></tr></table></body></html>");
        QGuiApplication::clipboard()->setMimeData(pasted);
        edit.paste();
        const QString html = edit.Edited();
        QVERIFY2(!html.contains("style") && !html.contains("img") && !html.contains("table") &&
                     !html.contains("h1") && !html.contains("span"),
                 qPrintable(html));
        QVERIFY2(html.contains("<b>Loud</b> &lt;tag&gt;"), qPrintable(html));
        QVERIFY2(html.contains("Title") && html.contains("cell"), qPrintable(html));

        // Plain text comes in as text, not as markup.
        RichTextEdit plain;
        QGuiApplication::clipboard()->setText("<b>not bold</b>");
        plain.paste();
        QCOMPARE(plain.Edited(), QString("&lt;b&gt;not bold&lt;/b&gt;"));
    }

    void AnUnbrokenWordOfAQuarterMillionCharactersWrapsAnywhere() {
        // Wrapping it at word boundaries held the window for seconds; prose still wraps there.
        const QString word(250000, 'x');
        RichTextEdit edit;
        edit.ShowStored("Short words " + word);
        QCOMPARE(edit.wordWrapMode(), QTextOption::WrapAnywhere);
        edit.ShowStored("Short words only");
        QCOMPARE(edit.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);
        QGuiApplication::clipboard()->setText(word);
        edit.paste();
        QCOMPARE(edit.wordWrapMode(), QTextOption::WrapAnywhere);
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::RichTextEditTest);
#include "rich_text_edit_test.moc"
