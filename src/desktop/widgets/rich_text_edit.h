#pragma once
// The rich-text field of the item dialogs: the stored HTML edited with bold, italic, underline,
// bulleted and numbered lists and links, the text edit's own right-click commands (undo, cut,
// copy, paste, delete, select all). What it hands back, and what a paste brings in, is reduced
// to what the item pages show: paragraphs as line breaks, <b>, <i>, <u>, <a href>, <ul>, <ol>
// and <li>; fonts, colours, tables, pictures and styles are dropped.

#include <QTextEdit>

class QTextDocument;

namespace vantorel {

// The document's text in that subset, each paragraph ended by a line feed except the last and
// those of lists (a list is a block of its own on the page).
QString SimpleHtml(const QTextDocument& document);

class RichTextEdit : public QTextEdit {
    Q_OBJECT
public:
    explicit RichTextEdit(QWidget* parent = nullptr);

    // Shows a control's text: the stored HTML with its line breaks as line feeds.
    void ShowStored(const QString& text);
    // The text in the control's form; only meaningful once the user changed it.
    QString Edited() const { return SimpleHtml(*document()); }
    bool Changed() const;

    void ToggleBold();
    void ToggleItalic();
    void ToggleUnderline();
    void MakeList(bool numbered);
    // Makes the selection a link to href; an empty href removes the link.
    void SetLink(const QString& href);

protected:
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    // Wraps at word boundaries unless the text holds a word too long to lay out quickly.
    void FitWrapping();
};

// The rich-text edit with its row of formatting buttons.
class RichTextField : public QWidget {
    Q_OBJECT
public:
    explicit RichTextField(QWidget* parent = nullptr);
    RichTextEdit& Editor() { return *m_edit; }

private:
    RichTextEdit* m_edit;
};

}  // namespace vantorel
