#include "desktop/widgets/spelling.h"

#include <QCoreApplication>
#include <QInputMethodEvent>
#include <QMenu>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QThreadPool>
#include <memory>
#include <mutex>

namespace vantorel {
namespace {

std::u16string_view View(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())};
}

QString FromView(std::u16string_view text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

std::optional<WordSpan> WordAround(const SpellChecker& checker, std::u16string_view text,
                                   std::size_t position) {
    for (const WordSpan& word : checker.Words(text))
        if (position >= word.start && position <= word.start + word.length)
            return word;
    return std::nullopt;
}

}  // namespace

std::shared_ptr<SpellChecker> SharedSpellChecker(const std::filesystem::path& dataFolder,
                                                 const SpellingOptions& options) {
    // Opened again only when the data folder (each window test has its own) or the chosen
    // language changes; the dialogs still open keep the checker they were given. A dialog that
    // comes while PrepareSpellChecker's worker opens it waits for that.
    static std::mutex opening;
    static std::shared_ptr<SpellChecker> checker;
    static std::optional<std::pair<std::filesystem::path, std::string>> openedFor;
    std::lock_guard lock(opening);
    const std::filesystem::path list = dataFolder / kPersonalWordListName;
    if (openedFor != std::pair(list, options.language)) {
        openedFor = {list, options.language};
        const auto dictionary = ChooseDictionary(options, DictionaryFolders());
        checker = dictionary ? SpellChecker::Open(*dictionary, list) : nullptr;
    }
    // Set only when they change: the dialogs read them on the window's thread.
    if (checker && checker->Options() != options)
        checker->SetOptions(options);
    return checker;
}

void PrepareSpellChecker(const std::filesystem::path& dataFolder, const SpellingOptions& options) {
    QThreadPool::globalInstance()->start(
        [dataFolder, options] { SharedSpellChecker(dataFolder, options); });
}

QTextCharFormat MisspeltFormat() {
    QTextCharFormat format;
    format.setUnderlineStyle(QTextCharFormat::SpellCheckUnderline);
    format.setUnderlineColor(Qt::red);
    return format;
}

namespace {

// What a block was when it was last checked.
struct CheckedBlock : QTextBlockUserData {
    QString text;
    std::vector<WordSpan> misspelt;
    int generation = 0;
};

// Blocks shorter than this are checked whole: it costs less than comparing.
constexpr qsizetype kEditedFrom = 2000;

}  // namespace

SpellHighlighter::SpellHighlighter(QTextDocument* document, SpellChecker& checker)
    : QSyntaxHighlighter(document), m_checker(checker) {}

void SpellHighlighter::Refresh() {
    ++m_generation;
    rehighlight();
}

std::vector<WordSpan> SpellHighlighter::MisspeltAfterEdit(
    const QString& text, const QString& before, const std::vector<WordSpan>& misspeltBefore) {
    const qsizetype size = text.size(), oldSize = before.size();
    const qsizetype shorter = std::min(size, oldSize);
    qsizetype prefix = 0;
    while (prefix < shorter && text[prefix] == before[prefix])
        ++prefix;
    qsizetype suffix = 0;
    while (suffix < shorter - prefix && text[size - 1 - suffix] == before[oldSize - 1 - suffix])
        ++suffix;
    // The changed part, widened to the white space around it.
    const std::u16string_view view = View(text);
    std::size_t from = static_cast<std::size_t>(prefix);
    while (from > 0 && !IsWhiteSpace(view[from - 1]))
        --from;
    std::size_t to = static_cast<std::size_t>(size - suffix);
    while (to < view.size() && !IsWhiteSpace(view[to]))
        ++to;
    const auto shift = static_cast<std::ptrdiff_t>(size - oldSize);
    const std::size_t oldTo = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(to) - shift);

    std::vector<WordSpan> misspelt;
    for (const WordSpan& word : misspeltBefore)
        if (word.start + word.length <= from)
            misspelt.push_back(word);
    for (WordSpan word : m_checker.Misspelt(view.substr(from, to - from))) {
        word.start += from;
        misspelt.push_back(word);
    }
    for (WordSpan word : misspeltBefore)
        if (word.start >= oldTo) {
            word.start = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(word.start) + shift);
            misspelt.push_back(word);
        }
    return misspelt;
}

void SpellHighlighter::highlightBlock(const QString& text) {
    auto* checked = static_cast<CheckedBlock*>(currentBlockUserData());
    std::vector<WordSpan> misspelt =
        checked && checked->generation == m_generation && text.size() >= kEditedFrom
            ? MisspeltAfterEdit(text, checked->text, checked->misspelt)
            : m_checker.Misspelt(View(text));
    const QTextCharFormat format = MisspeltFormat();
    for (const WordSpan& word : misspelt)
        setFormat(static_cast<int>(word.start), static_cast<int>(word.length), format);
    if (!checked) {
        checked = new CheckedBlock;
        setCurrentBlockUserData(checked);
    }
    checked->text = text;
    checked->misspelt = std::move(misspelt);
    checked->generation = m_generation;
}

FieldSpelling::FieldSpelling(QWidget* editor, SpellChecker& checker, bool underline, UserPort& port)
    : QObject(editor),
      m_editor(editor),
      m_line(qobject_cast<QLineEdit*>(editor)),
      m_text(qobject_cast<QTextEdit*>(editor)),
      m_checker(checker),
      m_port(port),
      m_underline(underline) {
    if (!m_underline)
        return;
    if (m_text)
        m_highlighter = new SpellHighlighter(m_text->document(), m_checker);
    if (m_line)
        connect(m_line, &QLineEdit::textChanged, this, &FieldSpelling::UnderlineLine);
}

QString FieldSpelling::Text() const {
    return m_line ? m_line->text() : m_text->toPlainText();
}

void FieldSpelling::UnderlineLine() {
    m_lineUnderlines.clear();
    const QString text = m_line->text();
    const QTextCharFormat format = MisspeltFormat();
    for (const WordSpan& word : m_checker.Misspelt(View(text))) {
        QTextLayout::FormatRange range;
        range.start = static_cast<int>(word.start);
        range.length = static_cast<int>(word.length);
        range.format = format;
        m_lineUnderlines.append(range);
    }
    // A line edit takes extra formats only the way an input method gives them: as attributes
    // placed from the cursor, with nothing typed.
    QList<QInputMethodEvent::Attribute> attributes;
    for (const QTextLayout::FormatRange& range : m_lineUnderlines)
        attributes.append({QInputMethodEvent::TextFormat, range.start - m_line->cursorPosition(),
                           range.length, range.format});
    QInputMethodEvent event(QString(), attributes);
    QCoreApplication::sendEvent(m_line, &event);
}

void FieldSpelling::Recheck() {
    if (m_highlighter)
        m_highlighter->Refresh();
    if (m_line && m_underline)
        UnderlineLine();
}

std::optional<FieldWord> FieldSpelling::MisspeltAt(int textPosition) const {
    QString text = Text();
    int offset = 0;
    if (m_text) {
        const QTextBlock block = m_text->document()->findBlock(textPosition);
        text = block.text();
        offset = block.position();
    }
    const std::u16string_view view = View(text);
    const auto span = WordAround(m_checker, view, static_cast<std::size_t>(textPosition - offset));
    if (!span || m_checker.Check(view.substr(span->start, span->length)))
        return std::nullopt;
    return FieldWord{
        offset + static_cast<int>(span->start),
        text.mid(static_cast<qsizetype>(span->start), static_cast<qsizetype>(span->length))};
}

void FieldSpelling::Select(const FieldWord& word) {
    const int end = word.start + static_cast<int>(word.word.size());
    if (m_line) {
        m_line->setSelection(word.start, end - word.start);
        return;
    }
    QTextCursor cursor(m_text->document());
    cursor.setPosition(word.start);
    cursor.setPosition(end, QTextCursor::KeepAnchor);
    m_text->setTextCursor(cursor);
    m_text->ensureCursorVisible();
}

void FieldSpelling::Replace(const FieldWord& word, const QString& replacement) {
    if (m_line) {
        m_line->setSelection(word.start, static_cast<int>(word.word.size()));
        m_line->insert(replacement);
        return;
    }
    QTextCursor cursor(m_text->document());
    cursor.setPosition(word.start);
    cursor.setPosition(word.start + static_cast<int>(word.word.size()), QTextCursor::KeepAnchor);
    // The replacement keeps the word's own format (bold stays bold).
    cursor.insertText(replacement);
}

void FieldSpelling::AddToMenu(QMenu& menu, QPoint position) {
    if (!m_underline)
        return;  // the checker is off while typing: the menu has no spelling part either
    const int textPosition = m_line ? m_line->cursorPositionAt(position)
                                    : m_text->cursorForPosition(position).position();
    const std::optional<FieldWord> word = MisspeltAt(textPosition);
    if (!word)
        return;
    QAction* first = menu.actions().isEmpty() ? nullptr : menu.actions().first();
    auto add = [&](const QString& label, auto action) {
        auto* item = new QAction(label, &menu);
        connect(item, &QAction::triggered, this, action);
        menu.insertAction(first, item);
        return item;
    };
    const std::vector<std::u16string> suggestions = m_checker.Suggest(View(word->word));
    for (const std::u16string& suggestion : suggestions) {
        QAction* item =
            add(FromView(suggestion),
                [this, word = *word, text = FromView(suggestion)] { Replace(word, text); });
        QFont font = item->font();
        font.setBold(true);
        item->setFont(font);
    }
    if (suggestions.empty())
        add("(No suggestions)", [] {})->setEnabled(false);
    add("Add to dictionary", [this, text = word->word] {
        m_checker.AddToDictionary(View(text), m_port);
        emit dictionaryChanged();
    })->setObjectName("addToDictionary");
    add("Ignore All", [this, text = word->word] {
        m_checker.Ignore(View(text));
        emit dictionaryChanged();
    })->setObjectName("ignoreAll");
    if (first)
        menu.insertSeparator(first);
}

}  // namespace vantorel
