#pragma once
// What an item dialog offers on its text fields beyond typing: spell checking as the user types
// with suggestions in the context menu, the "Check Spelling" walk over every field, and "Edit
// in HTML editor" on the rich-text fields. The options decide what is on: "Check spelling while
// typing" the underline and the menu's suggestions, the editor command whether the HTML editor
// can be opened (greyed, saying where to set it, when none is set).

#include <QDialog>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/user_port.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;

namespace vantorel {

struct ConfigSettings;
struct ShellFolders;
class FieldSpelling;
class HtmlEditorBridge;
class SpellChecker;
struct FieldWord;

class DialogTextTools : public QObject {
    Q_OBJECT
public:
    // The personal word list is in folders' data folder, the HTML editor's working file in its
    // temporary folder.
    DialogTextTools(QWidget& dialog, const ConfigSettings& settings, const ShellFolders& folders,
                    UserPort& port);

    // Gives a field's editor (a QLineEdit or a RichTextEdit) its spelling and context menu.
    // reveal brings the field into sight (its page, its tab) before a word of it is selected.
    void Attach(QWidget* editor, const std::string& caption, std::function<void()> reveal);
    // The context menu of editor at position (in the editor); the caller owns it.
    QMenu* ContextMenu(QWidget* editor, QPoint position);
    // "Check Spelling": each misspelt word of the fields in turn, in the spelling dialog; the
    // user is told when the check is done (or that there is no dictionary). onOpen, as the
    // dialog opens, right fields and a missing dictionary say nothing.
    void CheckSpelling(bool onOpen = false);
    HtmlEditorBridge& HtmlEditor() { return *m_htmlEditor; }

private:
    struct Field {
        QWidget* editor;
        std::string caption;
        std::function<void()> reveal;
        FieldSpelling* spelling;
    };

    QWidget& m_dialog;
    const ConfigSettings& m_settings;
    UserPort& m_port;
    std::shared_ptr<SpellChecker> m_checker;  // shared by the dialogs of one data folder
    HtmlEditorBridge* m_htmlEditor;
    std::vector<Field> m_fields;
};

// The dialog of "Check Spelling": the word not found, proposals to change it to, and Ignore,
// Ignore All, Add to dictionary, Change. Each answer moves on to the next misspelt word of the
// fields; the dialog closes (accepted) after the last.
class SpellingDialog : public QDialog {
    Q_OBJECT
public:
    SpellingDialog(std::vector<FieldSpelling*> fields, std::vector<std::function<void()>> reveals,
                   UserPort& port, QWidget* parent = nullptr);
    // Finds the first misspelt word; false when there is none.
    bool Start();

private:
    bool ShowNext();
    void Change();

    std::vector<FieldSpelling*> m_fields;
    std::vector<std::function<void()>> m_reveals;
    UserPort& m_port;
    std::size_t m_field = 0;
    int m_position = 0;
    QString m_word;
    int m_wordStart = 0;
    QLabel* m_notFound;
    QLineEdit* m_changeTo;
    QListWidget* m_suggestions;
};

}  // namespace vantorel
