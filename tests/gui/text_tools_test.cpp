// Spell checking and the HTML editor in an item dialog: a misspelt word typed into a field is
// underlined and a suggestion of its menu replaces it, "Check Spelling" walks the fields, and a
// rich text goes to an external editor (a script here) and comes back when the user agrees.

#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTextBlock>
#include <QTextLayout>
#include <algorithm>
#include <fstream>
#include <sstream>

#include "desktop/dialogs/item_dialog.h"
#include "desktop/dialogs/text_tools.h"
#include "desktop/widgets/html_editor_bridge.h"
#include "desktop/widgets/rich_text_edit.h"
#include "desktop/widgets/spelling.h"
#include "documents/custom_cfg.h"
#include "documents/test_case.h"
#include "gui_test.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"
#include "window_fixture.h"
#include "workspace/config.h"
#include "workspace/startup.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

// A library test case's dialog over a copy of the sample database, shown.
struct OpenDialog {
    // The test opens the dialog's model itself.
    WindowThreadMayRead checking{gui_test::kTestReads};
    // edits, each a text of the document and its replacement, are made before the dialog opens.
    using Edits = std::vector<std::pair<std::string, std::string>>;
    OpenDialog(const fs::path& root, const fs::path& database, ConfigSettings options = {},
               const Edits& edits = {})
        : settings(std::move(options)), folders(gui_test::FoldersBelow(root)) {
        fs::create_directories(folders.temp);
        (void)custom.Read(database, port, CurrentIdentity().computer);
        port.notices.clear();
        port.questions.clear();
        testCase = database / "Test Cases" / "Login" / "LOG-003.vtl";
        if (!edits.empty()) {
            std::string document = testing::ReadFile(testCase);
            for (const auto& [old, replacement] : edits)
                document.replace(document.find(old), old.size(), replacement);
            std::ofstream(testCase, std::ios::binary | std::ios::trunc) << document;
        }
        dialog = std::make_unique<ItemDialog>(TestCase::Edit(testCase, {port, custom}), custom,
                                              FieldChoiceLists{}, settings, folders, port);
        dialog->show();
    }
    // The steps' field, its tab brought to the front.
    RichTextEdit* Steps() {
        QWidget* field = dialog->findChild<QWidget*>("test_description");
        dialog->findChild<QTabWidget*>("richTexts")->setCurrentWidget(field);
        return field->findChild<RichTextEdit*>();
    }
    QLineEdit* Title() {
        return dialog->findChild<QWidget*>("test_title")->findChild<QLineEdit*>();
    }
    DialogTextTools& Tools() { return *dialog->findChild<DialogTextTools*>(); }

    RecordingPort port;
    CustomCfg custom;
    ConfigSettings settings;
    ShellFolders folders;
    fs::path testCase;
    std::unique_ptr<ItemDialog> dialog;
};

// The place of a text's first character, in the viewport of edit.
QPoint PointOf(RichTextEdit& edit, const QString& text) {
    QTextCursor cursor(edit.document());
    cursor.setPosition(static_cast<int>(edit.toPlainText().indexOf(text)) + 1);
    return edit.cursorRect(cursor).center();
}

bool Underlined(const QTextBlock& block, int start, int length) {
    for (const QTextLayout::FormatRange& range : block.layout()->formats())
        if (range.start == start && range.length == length &&
            range.format.underlineStyle() == QTextCharFormat::SpellCheckUnderline)
            return true;
    return false;
}

QAction* ActionNamed(QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions())
        if (action->text() == text || action->objectName() == text)
            return action;
    return nullptr;
}

}  // namespace

class TextToolsTest : public gui_test::WindowTest {
    Q_OBJECT
    RecordingPort port;

private slots:
    void AMisspeltWordIsUnderlinedAndASuggestionReplacesItWhileTheCheckerIsOn() {
        for (const bool on : {false, true}) {
            ConfigSettings options;
            options.useSpellChecker = on;
            const fs::path root = Root() / (on ? "on" : "off");
            OpenDialog open(root, CopyDatabase(root), options);
            QVERIFY(SharedSpellChecker(open.folders.data));
            RichTextEdit& steps = *open.Steps();
            steps.clear();
            QTest::keyClicks(&steps, "The tester recieved an error");
            const QTextBlock block = steps.document()->firstBlock();
            QCOMPARE(Underlined(block, 11, 8), on);
            QVERIFY(!Underlined(block, 4, 6));
            std::unique_ptr<QMenu> menu(
                open.Tools().ContextMenu(&steps, PointOf(steps, "recieved")));
            QAction* suggestion = ActionNamed(*menu, "received");
            QCOMPARE(suggestion != nullptr, on);
            if (!on) {
                open.dialog->reject();
                continue;
            }
            QVERIFY(ActionNamed(*menu, "addToDictionary"));
            // No HTML editor is set: its item is there, greyed, and says why.
            QAction* htmlEditor = ActionNamed(*menu, "editInHtmlEditor");
            QVERIFY(htmlEditor && !htmlEditor->isEnabled() && !htmlEditor->toolTip().isEmpty());
            suggestion->trigger();
            QCOMPARE(steps.toPlainText(), QString("The tester received an error"));
            QVERIFY(!Underlined(steps.document()->firstBlock(), 11, 8));

            // A line is underlined too; a word added to the dictionary is right from then on, in
            // every field, and kept in the data folder.
            QTest::keyClicks(open.Title(), " Vantorelish");
            auto* titleSpelling = open.Title()->findChild<FieldSpelling*>();
            QVERIFY(titleSpelling);
            QCOMPARE(titleSpelling->LineUnderlines().size(), qsizetype(1));
            const int at = static_cast<int>(open.Title()->text().indexOf("Vantorelish"));
            QCOMPARE(titleSpelling->LineUnderlines()[0].start, at);
            open.Title()->setCursorPosition(at + 3);
            const QPoint inWord =
                open.Title()->inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
            std::unique_ptr<QMenu> lineMenu(open.Tools().ContextMenu(open.Title(), inWord));
            QAction* add = ActionNamed(*lineMenu, "addToDictionary");
            QVERIFY(add);
            add->trigger();
            QVERIFY(titleSpelling->LineUnderlines().isEmpty());
            QVERIFY(testing::Has(testing::ReadFile(open.folders.data / "userdic.txt"),
                                 "Vantorelish\n"));
            QVERIFY(open.port.notices.empty());
            open.dialog->reject();
        }
    }

    void EditsOfALongParagraphUnderlineWhatACheckOfTheWholeDoes() {
        const std::shared_ptr<SpellChecker> checker = SharedSpellChecker(Root());
        QVERIFY(checker);
        RichTextEdit edit;
        new FieldSpelling(&edit, *checker, true, port);
        QString text;
        for (int i = 0; i < 300; ++i)
            text += i % 7 == 0 ? "a recieved word, " : "a checked word, ";
        edit.setPlainText(text);
        auto underlines = [&edit] {
            QList<std::pair<int, int>> ranges;
            for (const QTextLayout::FormatRange& range :
                 edit.document()->firstBlock().layout()->formats())
                ranges.append({range.start, range.length});
            std::sort(ranges.begin(), ranges.end());
            return ranges;
        };
        auto whole = [&] {
            const QString now = edit.toPlainText();
            QList<std::pair<int, int>> ranges;
            for (const WordSpan& word :
                 checker->Misspelt({reinterpret_cast<const char16_t*>(now.utf16()),
                                    static_cast<std::size_t>(now.size())}))
                ranges.append({static_cast<int>(word.start), static_cast<int>(word.length)});
            return ranges;
        };
        QCOMPARE(underlines(), whole());
        QTextCursor cursor(edit.document());
        // A word typed in the middle, a misspelt word split and joined again, text taken out.
        cursor.setPosition(1000);
        cursor.insertText("teh ");
        QCOMPARE(underlines(), whole());
        const int inWord = static_cast<int>(edit.toPlainText().indexOf("recieved", 2000)) + 3;
        cursor.setPosition(inWord);
        cursor.insertText(" ");
        QCOMPARE(underlines(), whole());
        cursor.setPosition(inWord);
        cursor.deleteChar();
        QCOMPARE(underlines(), whole());
        cursor.setPosition(500);
        cursor.setPosition(2500, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
        QCOMPARE(underlines(), whole());
        QVERIFY(!whole().isEmpty());
    }

    void CheckSpellingWalksTheFieldsAndSaysWhenDone() {
        OpenDialog open(Root(), CopyDatabase(Root()));
        open.Title()->setText("Log in with a pasword");
        open.Steps()->setPlainText("Open the page\nThe tester recieved it");
        // Each word found, and what the dialog offers for it, until the dialog closes.
        QStringList seen;
        WhenModalOpens([&](QDialog& spelling) {
            for (int word = 0; word < 10 && spelling.isVisible(); ++word) {
                seen << spelling.findChild<QLabel*>("notFound")->text() + " " +
                            spelling.findChild<QLineEdit*>("changeTo")->text();
                spelling.findChild<QPushButton*>("change")->click();
            }
        });
        open.dialog->findChild<QPushButton*>("checkSpelling")->click();
        QVERIFY(seen.contains("<b>pasword</b> password"));
        QVERIFY(seen.contains("<b>recieved</b> received"));
        QVERIFY(seen.indexOf("<b>pasword</b> password") < seen.indexOf("<b>recieved</b> received"));
        QCOMPARE(open.Title()->text(), QString("Log in with a password"));
        QCOMPARE(open.Steps()->toPlainText(), QString("Open the page\nThe tester received it"));
        QCOMPARE(open.port.notices.size(), std::size_t(1));  // the check's end
        open.dialog->reject();
    }

    void CheckOnLoadFindsAWordOfTheOpenedItem() {
        ConfigSettings onLoad;
        onLoad.autoSpellOnLoad = true;
        QString found;
        WhenModalOpens([&](QDialog& spelling) {
            found = spelling.findChild<QLabel*>("notFound")->text();
            spelling.reject();
        });
        OpenDialog open(Root(), CopyDatabase(Root()), onLoad,
                        {{"Lock the account after five failures", "Lock the acount"}});
        QTRY_COMPARE(found, QString("<b>acount</b>"));
        QVERIFY(open.port.notices.empty());
        open.dialog->reject();

        // Right words say nothing as the dialog opens (the sample's British spelling is not
        // American).
        OpenDialog clean(Root() / "clean", CopyDatabase(Root() / "clean"), onLoad,
                         {{"catalogue", "catalog"}});
        QTest::qWait(0);
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(clean.port.notices.empty());
        clean.dialog->reject();
    }

    void TheHtmlEditorsTextComesBackWhenTheUserAgreesAndAMissingEditorIsTold() {
        const fs::path editor = Root() / "fake editor.sh";
        {
            // Saves by writing a new file over the old, as many editors do.
            std::ofstream script(editor);
            script << "#!/bin/sh\nsed 's/the page/the <b>new<\\/b> page/' \"$1\" > \"$1.new\"\n"
                      "mv \"$1.new\" \"$1\"\n";
        }
        fs::permissions(editor, fs::perms::owner_all);
        for (const bool present : {true, false}) {
            ConfigSettings options;
            options.htmlEditorPath =
                present ? "\"" + editor.string() + "\"" : (Root() / "no-editor").string();
            const fs::path root = Root() / (present ? "present" : "missing");
            OpenDialog open(root, CopyDatabase(root), options);
            open.port.ScriptAnswers({true});
            RichTextEdit& steps = *open.Steps();
            steps.ShowStored("Open the page\nLog in");

            std::unique_ptr<QMenu> menu(open.Tools().ContextMenu(&steps, {5, 5}));
            QAction* edit = ActionNamed(*menu, "editInHtmlEditor");
            QVERIFY(edit && edit->isEnabled());
            edit->trigger();
            // A missing editor is told, and the text stays.
            QTRY_COMPARE(open.port.notices.size(), std::size_t(present ? 0 : 1));
            QTRY_COMPARE(steps.Edited(), present ? QString("Open the <b>new</b> page\nLog in")
                                                 : QString("Open the page\nLog in"));
            QTRY_VERIFY(!open.Tools().HtmlEditor().Editing());
            QVERIFY(!fs::exists(open.folders.EditorWorkFile()));
            QCOMPARE(open.port.questions.size(), std::size_t(present ? 1 : 0));
            QCOMPARE(open.port.notices.size(), std::size_t(present ? 0 : 1));
            if (!present) {
                open.dialog->reject();
                continue;
            }
            open.dialog->accept();
            QVERIFY(testing::Has(testing::ReadFile(open.testCase),
                                 "Open the <b>new</b> page<br>Log in"));
        }
    }
};

VANTOREL_GUI_TEST(TextToolsTest);

}  // namespace vantorel

#include "text_tools_test.moc"
