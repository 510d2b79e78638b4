#pragma once
// The dialog of one item: a view over its editor model. It shows one widget per row of the
// kind's field table, asks the model to check what was typed, hands the values to the model on
// OK and shows nothing of its own: every refusal is the model's, told through the port, after
// which the focus goes to the field at fault and the dialog stays open with what was typed.
// The project test case is a sheet of three pages (execution, description, history with its
// date editor and Reset). The launch button of an external link opens what the core names,
// the requirement and fault report buttons run the commands the options hold. Text fields are
// spell checked and rich texts can go to the HTML editor (DialogTextTools). The
// model, and with it the item's lock, goes when the dialog closes, whichever way it closes.

#include <QDialog>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "documents/field_dialog.h"
#include "documents/item_editor.h"
#include "workspace/linked_commands.h"

class QTableWidget;
class QDateTimeEdit;
class QTabWidget;

namespace vantorel {

class CustomCfg;
struct ConfigSettings;
struct ShellFolders;
class DialogTextTools;
class FieldWidget;
class PrjTestCase;
class PasswordField;

// Runs the command the options hold for item (its placeholders filled): an address in the
// browser, anything else as a program; told through port when it can't be started.
void RunLinkedCommand(const ConfigSettings& settings, LinkedCommand command,
                      const std::filesystem::path& item, UserPort& port);

class ItemDialog : public QDialog {
    Q_OBJECT
public:
    // choices holds the entries of the drop-downs, read with the editor; settings the commands
    // of the requirement and fault report buttons, the HTML editor's and the spelling options;
    // folders the personal word list's and the HTML editor's working file's. The dialog saves
    // and lets its lock go away from the window's thread.
    ItemDialog(std::unique_ptr<ItemEditor> editor, const CustomCfg& custom,
               const FieldChoiceLists& choices, const ConfigSettings& settings,
               const ShellFolders& folders, UserPort& port, QWidget* parent = nullptr);
    ~ItemDialog() override;

    // The document OK saved, once it has.
    const std::optional<std::filesystem::path>& SavedPath() const { return m_savedPath; }

    void accept() override;
    void reject() override;
    void done(int result) override;

private:
    QWidget* FieldPage(const std::vector<FieldDescriptor>& rows, const CustomCfg& custom,
                       const FieldChoiceLists& choices);
    QWidget* HistoryPage();
    void ShowControls();
    void TakeControls();
    // Asks the model about every typed text; false, with the focus on the field, when one is
    // refused.
    bool TypedTextFits();
    void FocusRow(std::size_t row);
    void ShowHistory();
    void ResetExecution();
    // A status chosen in a project test case's list: the model stamps a result as an attempt.
    void StatusChosen();
    // The row of the field tag in the kind's table.
    std::size_t RowOf(std::string_view tag) const;
    void SetHistoryDate();
    // The launch button of an external link: the core says what to open, the system opens it.
    void Launch(const QString& link);
    // The buttons a field's row carries for the options' requirement and fault report commands.
    QWidget* WithCommandButtons(const FieldDescriptor& row, FieldWidget* widget);
    void RunLinkedCommand(LinkedCommand command) const;

    std::unique_ptr<ItemEditor> m_editor;
    const ConfigSettings& m_settings;
    UserPort& m_port;
    DialogTextTools* m_textTools;
    PrjTestCase* m_prjTestCase = nullptr;
    std::map<std::size_t, FieldWidget*> m_fields;  // by row of the kind's table
    std::map<FieldWidget*, QTabWidget*> m_richTabs;
    PasswordField* m_password = nullptr;
    QTabWidget* m_pages = nullptr;
    QTableWidget* m_history = nullptr;
    QDateTimeEdit* m_historyDate = nullptr;
    std::optional<std::filesystem::path> m_savedPath;
    // The keyboard letters the dialog's rows have taken; OK, Cancel and Check Spelling first.
    std::string m_mnemonics = "ocs";
};

}  // namespace vantorel
