#include "desktop/widgets/rich_text_edit.h"

#include <QHBoxLayout>
#include <QInputDialog>
#include <QMimeData>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QToolButton>
#include <QVBoxLayout>

namespace vantorel {
namespace {

QString FragmentHtml(const QTextFragment& fragment) {
    QString text = fragment.text().toHtmlEscaped();
    // A line break inside a paragraph (Shift+Enter) is a break on the page too.
    text.replace(QChar::LineSeparator, "\n");
    text.replace(QChar::Nbsp, " ");
    const QTextCharFormat format = fragment.charFormat();
    if (format.fontUnderline() && !format.isAnchor())
        text = "<u>" + text + "</u>";
    if (format.fontItalic())
        text = "<i>" + text + "</i>";
    if (format.fontWeight() >= QFont::Bold)
        text = "<b>" + text + "</b>";
    if (format.isAnchor() && !format.anchorHref().isEmpty())
        text = "<a href=\"" + format.anchorHref().toHtmlEscaped() + "\">" + text + "</a>";
    return text;
}

QString BlockHtml(const QTextBlock& block) {
    QString html;
    for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment)
        html += FragmentHtml(fragment.fragment());
    return html;
}

}  // namespace

QString SimpleHtml(const QTextDocument& document) {
    QString html;
    const QTextList* openList = nullptr;
    bool lineOpen = false;  // a paragraph was written and wants its line end before the next
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QTextList* list = block.textList();
        if (openList && list != openList) {
            html += openList->format().style() == QTextListFormat::ListDecimal ? "</ol>" : "</ul>";
            openList = nullptr;
        }
        if (list) {
            if (list != openList) {
                if (lineOpen)
                    lineOpen = false;  // the list starts a block of its own
                html += list->format().style() == QTextListFormat::ListDecimal ? "<ol>" : "<ul>";
                openList = list;
            }
            html += "<li>" + BlockHtml(block) + "</li>";
            continue;
        }
        if (lineOpen)
            html += "\n";
        html += BlockHtml(block);
        lineOpen = true;
    }
    if (openList)
        html += openList->format().style() == QTextListFormat::ListDecimal ? "</ol>" : "</ul>";
    return html;
}

namespace {

// Qt's wrapping at word boundaries, falling back to anywhere, lays out an unbroken word in a
// time that grows with the square of its length: a 250,000-character one held the window for
// seconds. A text holding a word longer than this wraps anywhere instead.
constexpr qsizetype kLongestWordWrapped = 2000;

bool HoldsOverlongWord(const QString& text) {
    qsizetype run = 0;
    for (const QChar c : text) {
        run = c.isSpace() ? 0 : run + 1;
        if (run > kLongestWordWrapped)
            return true;
    }
    return false;
}

}  // namespace

void RichTextEdit::FitWrapping() {
    setWordWrapMode(HoldsOverlongWord(document()->toPlainText())
                        ? QTextOption::WrapAnywhere
                        : QTextOption::WrapAtWordBoundaryOrAnywhere);
}

RichTextEdit::RichTextEdit(QWidget* parent) : QTextEdit(parent) {
    setAcceptRichText(true);
    setTabChangesFocus(true);
}

void RichTextEdit::ShowStored(const QString& text) {
    QString html = text;
    html.replace("\n", "<br>");
    setHtml(html);
    document()->setModified(false);
    FitWrapping();
}

bool RichTextEdit::Changed() const {
    return document()->isModified();
}

void RichTextEdit::ToggleBold() {
    QTextCharFormat format;
    format.setFontWeight(fontWeight() >= QFont::Bold ? QFont::Normal : QFont::Bold);
    mergeCurrentCharFormat(format);
}

void RichTextEdit::ToggleItalic() {
    QTextCharFormat format;
    format.setFontItalic(!fontItalic());
    mergeCurrentCharFormat(format);
}

void RichTextEdit::ToggleUnderline() {
    QTextCharFormat format;
    format.setFontUnderline(!fontUnderline());
    mergeCurrentCharFormat(format);
}

void RichTextEdit::MakeList(bool numbered) {
    QTextCursor cursor = textCursor();
    const QTextListFormat::Style style =
        numbered ? QTextListFormat::ListDecimal : QTextListFormat::ListDisc;
    if (QTextList* list = cursor.currentList(); list && list->format().style() == style) {
        // The same button again takes the paragraph out of its list.
        QTextBlockFormat plain;
        plain.setObjectIndex(-1);
        list->remove(cursor.block());
        cursor.setBlockFormat(plain);
        return;
    }
    cursor.createList(style);
}

void RichTextEdit::SetLink(const QString& href) {
    QTextCursor cursor = textCursor();
    if (!cursor.hasSelection())
        cursor.select(QTextCursor::WordUnderCursor);
    QTextCharFormat format;
    format.setAnchor(!href.isEmpty());
    format.setAnchorHref(href);
    format.setFontUnderline(!href.isEmpty());
    format.setForeground(href.isEmpty() ? palette().text() : palette().link());
    cursor.mergeCharFormat(format);
}

bool RichTextEdit::canInsertFromMimeData(const QMimeData* source) const {
    return source->hasHtml() || source->hasText();
}

void RichTextEdit::insertFromMimeData(const QMimeData* source) {
    if (!source->hasHtml()) {
        insertPlainText(source->text());
    } else {
        QTextDocument pasted;
        pasted.setHtml(source->html());
        QString html = SimpleHtml(pasted);
        html.replace("\n", "<br>");
        textCursor().insertHtml(html);
    }
    FitWrapping();
}

RichTextField::RichTextField(QWidget* parent) : QWidget(parent), m_edit(new RichTextEdit) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(2);
    auto addButton = [&](const QString& text, const QString& tip, auto action) {
        auto* button = new QToolButton;
        button->setText(text);
        button->setToolTip(tip);
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QToolButton::clicked, m_edit, action);
        buttons->addWidget(button);
        return button;
    };
    QFont font = addButton("B", "Bold (Ctrl+B)", [this] { m_edit->ToggleBold(); })->font();
    font.setBold(true);
    buttons->itemAt(0)->widget()->setFont(font);
    addButton("I", "Italic (Ctrl+I)", [this] { m_edit->ToggleItalic(); });
    addButton("U", "Underline (Ctrl+U)", [this] { m_edit->ToggleUnderline(); });
    addButton("\u2022 List", "Bulleted list", [this] { m_edit->MakeList(false); });
    addButton("1. List", "Numbered list", [this] { m_edit->MakeList(true); });
    addButton("Link...", "Make the selection a link", [this] {
        bool ok = false;
        const QString href = QInputDialog::getText(
            this, "Link", "Address of the link (empty removes it):", QLineEdit::Normal,
            m_edit->currentCharFormat().anchorHref(), &ok);
        if (ok)
            m_edit->SetLink(href.trimmed());
    });
    buttons->addStretch();
    layout->addLayout(buttons);
    layout->addWidget(m_edit);

    auto shortcut = [this](QKeySequence key, auto action) {
        auto* command = new QAction(m_edit);
        command->setShortcut(key);
        command->setShortcutContext(Qt::WidgetShortcut);
        connect(command, &QAction::triggered, m_edit, action);
        m_edit->addAction(command);
    };
    shortcut(QKeySequence::Bold, [this] { m_edit->ToggleBold(); });
    shortcut(QKeySequence::Italic, [this] { m_edit->ToggleItalic(); });
    shortcut(QKeySequence::Underline, [this] { m_edit->ToggleUnderline(); });
}

}  // namespace vantorel
