#include "desktop/dialogs/text_tools.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <algorithm>

#include "desktop/qt_text.h"
#include "desktop/widgets/html_editor_bridge.h"
#include "desktop/widgets/rich_text_edit.h"
#include "desktop/widgets/spelling.h"
#include "workspace/config.h"
#include "workspace/html_editor.h"
#include "workspace/startup.h"

namespace vantorel {
namespace {

std::u16string_view View(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())};
}

}  // namespace

DialogTextTools::DialogTextTools(QWidget& dialog, const ConfigSettings& settings,
                                 const ShellFolders& folders, UserPort& port)
    : QObject(&dialog),
      m_dialog(dialog),
      m_settings(settings),
      m_port(port),
      m_checker(SharedSpellChecker(folders.data, settings.spelling)),
      m_htmlEditor(new HtmlEditorBridge(folders.EditorWorkFile(), port, this)) {}

void DialogTextTools::Attach(QWidget* editor, const std::string& caption,
                             std::function<void()> reveal) {
    FieldSpelling* spelling = nullptr;
    if (m_checker) {
        spelling = new FieldSpelling(editor, *m_checker, m_settings.useSpellChecker, m_port);
        connect(spelling, &FieldSpelling::dictionaryChanged, this, [this] {
            for (const Field& field : m_fields)
                field.spelling->Recheck();
        });
    }
    m_fields.push_back({editor, caption, std::move(reveal), spelling});
    editor->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(editor, &QWidget::customContextMenuRequested, this, [this, editor](QPoint position) {
        QMenu* menu = ContextMenu(editor, position);
        auto* text = qobject_cast<QTextEdit*>(editor);
        menu->exec((text ? text->viewport() : editor)->mapToGlobal(position));
        delete menu;
    });
}

QMenu* DialogTextTools::ContextMenu(QWidget* editor, QPoint position) {
    auto* line = qobject_cast<QLineEdit*>(editor);
    auto* rich = qobject_cast<RichTextEdit*>(editor);
    QMenu* menu =
        line ? line->createStandardContextMenu() : rich->createStandardContextMenu(position);
    menu->setToolTipsVisible(true);
    auto field = std::find_if(m_fields.begin(), m_fields.end(),
                              [editor](const Field& each) { return each.editor == editor; });
    if (field == m_fields.end())
        return menu;
    if (field->spelling)
        field->spelling->AddToMenu(*menu, position);
    if (rich) {
        menu->addSeparator();
        QAction* edit = menu->addAction(Text(kEditInHtmlEditor));
        edit->setObjectName("editInHtmlEditor");
        const QString command = Text(HtmlEditorCommand(m_settings));
        edit->setEnabled(!command.isEmpty() && !m_htmlEditor->Editing() && !rich->isReadOnly());
        if (command.isEmpty())
            edit->setToolTip(Text(kUnsetHtmlEditorHint));
        connect(edit, &QAction::triggered, this, [this, rich, command, caption = field->caption] {
            m_htmlEditor->Edit(*rich, caption, command);
        });
    }
    return menu;
}

void DialogTextTools::CheckSpelling(bool onOpen) {
    if (!m_checker && onOpen)
        return;
    if (!m_checker) {
        m_port.tell(NoDictionaryNotice());
        return;
    }
    std::vector<FieldSpelling*> fields;
    std::vector<std::function<void()>> reveals;
    for (const Field& field : m_fields) {
        // A field that can't be changed has nothing to correct.
        auto* line = qobject_cast<QLineEdit*>(field.editor);
        auto* text = qobject_cast<QTextEdit*>(field.editor);
        if ((line && line->isReadOnly()) || (text && text->isReadOnly()))
            continue;
        fields.push_back(field.spelling);
        reveals.push_back(field.reveal);
    }
    // A dialog that opens on right words goes straight to the user.
    if (onOpen && std::none_of(fields.begin(), fields.end(), [](FieldSpelling* field) {
            const QString text = field->Text();
            return field->Checker().NextMisspelt(View(text), 0).has_value();
        }))
        return;
    SpellingDialog dialog(std::move(fields), std::move(reveals), m_port, &m_dialog);
    if (dialog.Start())
        dialog.exec();
    // Words added or ignored there change what the fields underline.
    for (const Field& field : m_fields)
        field.spelling->Recheck();
}

SpellingDialog::SpellingDialog(std::vector<FieldSpelling*> fields,
                               std::vector<std::function<void()>> reveals, UserPort& port,
                               QWidget* parent)
    : QDialog(parent),
      m_fields(std::move(fields)),
      m_reveals(std::move(reveals)),
      m_port(port),
      m_notFound(new QLabel),
      m_changeTo(new QLineEdit),
      m_suggestions(new QListWidget) {
    setObjectName("spellingDialog");
    setWindowTitle(Text(kCheckSpellingCaption));
    m_notFound->setObjectName("notFound");
    m_changeTo->setObjectName("changeTo");
    m_suggestions->setObjectName("suggestions");
    auto* layout = new QGridLayout(this);
    layout->addWidget(new QLabel("Not in dictionary:"), 0, 0);
    layout->addWidget(m_notFound, 0, 1);
    layout->addWidget(new QLabel("Change to:"), 1, 0);
    layout->addWidget(m_changeTo, 1, 1);
    layout->addWidget(new QLabel("Suggestions:"), 2, 0, Qt::AlignTop);
    layout->addWidget(m_suggestions, 2, 1);

    auto* buttons = new QDialogButtonBox(Qt::Vertical);
    auto button = [&](const QString& label, const char* name, auto action) {
        QPushButton* push = buttons->addButton(label, QDialogButtonBox::ActionRole);
        push->setObjectName(name);
        push->setAutoDefault(false);
        connect(push, &QPushButton::clicked, this, action);
        return push;
    };
    button("&Ignore", "ignore", [this] {
        m_position = m_wordStart + static_cast<int>(m_word.size());
        ShowNext();
    });
    button("I&gnore All", "ignoreAll", [this] {
        m_fields[m_field]->Checker().Ignore(View(m_word));
        ShowNext();
    });
    button("&Add to dictionary", "addToDictionary", [this] {
        m_fields[m_field]->Checker().AddToDictionary(View(m_word), m_port);
        ShowNext();
    });
    button("&Change", "change", [this] { Change(); })->setDefault(true);
    buttons->addButton(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons, 0, 2, 3, 1);

    connect(m_suggestions, &QListWidget::currentTextChanged, m_changeTo, &QLineEdit::setText);
    connect(m_suggestions, &QListWidget::itemDoubleClicked, this, [this] { Change(); });
}

bool SpellingDialog::Start() {
    m_field = 0;
    m_position = 0;
    return ShowNext();
}

bool SpellingDialog::ShowNext() {
    for (; m_field < m_fields.size(); ++m_field, m_position = 0) {
        FieldSpelling& field = *m_fields[m_field];
        const QString text = field.Text();
        const auto word =
            field.Checker().NextMisspelt(View(text), static_cast<std::size_t>(m_position));
        if (!word)
            continue;
        m_wordStart = static_cast<int>(word->start);
        m_word = text.mid(m_wordStart, static_cast<qsizetype>(word->length));
        m_position = m_wordStart;
        m_reveals[m_field]();
        field.Select({m_wordStart, m_word});
        m_notFound->setText("<b>" + m_word.toHtmlEscaped() + "</b>");
        m_suggestions->clear();
        for (const std::u16string& suggestion : field.Checker().Suggest(View(m_word)))
            m_suggestions->addItem(
                QString::fromUtf16(suggestion.data(), static_cast<qsizetype>(suggestion.size())));
        if (m_suggestions->count() > 0)
            m_suggestions->setCurrentRow(0);
        else
            m_changeTo->setText(m_word);
        return true;
    }
    m_port.tell(SpellingCheckComplete());
    if (isVisible())
        accept();
    return false;
}

void SpellingDialog::Change() {
    const QString replacement = m_changeTo->text();
    m_fields[m_field]->Replace({m_wordStart, m_word}, replacement);
    m_position = m_wordStart + static_cast<int>(replacement.size());
    ShowNext();
}

}  // namespace vantorel
