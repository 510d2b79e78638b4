#pragma once
// Spell checking in the text fields of the dialogs, over the core's SpellChecker: misspelt
// words underlined as the user types (a QSyntaxHighlighter for rich text, the line edit's own
// text layout for a line), and the suggestions, "Add to dictionary" and "Ignore All" of the
// word under the pointer for the field's context menu.
//
// Typing stays quick in a field of 250,000 characters: the highlighter sees only the blocks an
// edit touched, and the checker keeps its answer for every word it has seen, so a block checked
// again costs a look-up per word.

#include <QLineEdit>
#include <QSyntaxHighlighter>
#include <QTextEdit>
#include <QTextLayout>
#include <optional>

#include "documents/spelling.h"

class QMenu;

namespace vantorel {

// The checker of this run for the options' language, with the personal word list of dataFolder
// and the options' words to pass over; opened at first use. Null when no dictionary is
// installed.
std::shared_ptr<SpellChecker> SharedSpellChecker(const std::filesystem::path& dataFolder,
                                                 const SpellingOptions& options = {});
// Opens that checker on a worker, so the first dialog doesn't wait a quarter of a second for
// the dictionary; the program calls it once its window shows.
void PrepareSpellChecker(const std::filesystem::path& dataFolder,
                         const SpellingOptions& options = {});

// The underline of a misspelt word.
QTextCharFormat MisspeltFormat();

// Each block keeps its text and misspelt words from its last check, so an edit of a long
// paragraph checks again only the words around the change and moves the others along.
class SpellHighlighter : public QSyntaxHighlighter {
    Q_OBJECT
public:
    SpellHighlighter(QTextDocument* document, SpellChecker& checker);
    // Checks every block whole again (after the dictionary changed).
    void Refresh();

protected:
    void highlightBlock(const QString& text) override;

private:
    std::vector<WordSpan> MisspeltAfterEdit(const QString& text, const QString& before,
                                            const std::vector<WordSpan>& misspeltBefore);

    SpellChecker& m_checker;
    int m_generation = 0;  // the dictionary's state the kept words were checked against
};

// A word of a field and where it stands in the field's text.
struct FieldWord {
    int start = 0;
    QString word;
};

// Spell checking of one line edit or text edit: the underline while typing and the spelling
// part of its context menu, both only when underline is set ("Check spelling while typing");
// "Check Spelling" finds and replaces words through it either way.
class FieldSpelling : public QObject {
    Q_OBJECT
public:
    FieldSpelling(QWidget* editor, SpellChecker& checker, bool underline, UserPort& port);

    // Adds the suggestions for the misspelt word at position (in the widget), "Add to
    // dictionary" and "Ignore All" at the top of menu; nothing when the word is right.
    void AddToMenu(QMenu& menu, QPoint position);
    // The misspelt word at a place in the field's text, if there is one.
    std::optional<FieldWord> MisspeltAt(int textPosition) const;
    // The field's text, its paragraphs as line feeds: a place in it is a place in the field.
    QString Text() const;
    // Selects word and scrolls to it.
    void Select(const FieldWord& word);
    // Puts replacement in place of word.
    void Replace(const FieldWord& word, const QString& replacement);
    SpellChecker& Checker() { return m_checker; }
    // Checks the field again (after a word was added or ignored).
    void Recheck();
    // The words underlined in a line edit now; for the tests of what the user sees.
    const QList<QTextLayout::FormatRange>& LineUnderlines() const { return m_lineUnderlines; }

signals:
    // A word was added or ignored: every field of the dialog checks again.
    void dictionaryChanged();

private:
    void UnderlineLine();

    QWidget* m_editor;
    QLineEdit* m_line = nullptr;
    QTextEdit* m_text = nullptr;
    SpellChecker& m_checker;
    UserPort& m_port;
    SpellHighlighter* m_highlighter = nullptr;
    bool m_underline;
    QList<QTextLayout::FormatRange> m_lineUnderlines;
};

}  // namespace vantorel
