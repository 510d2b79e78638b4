#pragma once
// The filter dialog: a view over FilterEditor. The ID and name above two pages of conditions,
// "Filter Options" (the lists of the execution and the library) and "More Options" (dates,
// counts, durations, people, versions, priority and texts), each condition with the box that
// switches it on, its operator where it has one and its value: the entries of a list ticked
// in any number, a date from a calendar. The model checks what was typed and decides OK; every
// refusal is its own, told through the port, after which the focus goes to the condition at
// fault and the dialog stays open with what was typed. The model, and with it the filter's
// lock, goes when the dialog closes, whichever way it closes.

#include <QDialog>
#include <array>
#include <filesystem>
#include <memory>
#include <optional>

#include "filters/filter_editor.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLineEdit;
class QListWidget;
class QTabWidget;

namespace vantorel {

class CustomCfg;

class FilterDialog : public QDialog {
    Q_OBJECT
public:
    FilterDialog(std::unique_ptr<FilterEditor> editor, const CustomCfg& custom,
                 const std::filesystem::path& databaseDir, QWidget* parent = nullptr);
    ~FilterDialog() override;

    // The document OK saved, once it has.
    const std::optional<std::filesystem::path>& SavedPath() const { return m_savedPath; }

    void accept() override;
    void done(int result) override;

private:
    // The controls of one condition; which of the value widgets it has depends on its kind.
    struct ConditionControls {
        QCheckBox* switchedOn = nullptr;
        QComboBox* op = nullptr;
        QListWidget* list = nullptr;
        QLineEdit* text = nullptr;
        QDateEdit* date = nullptr;
        QComboBox* priority = nullptr;
    };

    // The conditions of page 1 or 2: the single values in rows, the lists beside them.
    QWidget* ConditionsPage(int page);
    // The switch, operator and value of condition, their object names numbered by it.
    void MakeControls(std::size_t condition, const CustomCfg& custom,
                      const std::filesystem::path& databaseDir);
    void ShowSettings();
    void TakeSettings();
    // Asks the model about every typed text; false, with the focus on the field, when one is
    // refused.
    bool TypedTextFits();
    void FocusField(std::size_t field);

    std::unique_ptr<FilterEditor> m_editor;
    QLineEdit* m_id = nullptr;
    QLineEdit* m_name = nullptr;
    QTabWidget* m_pages = nullptr;
    std::array<ConditionControls, kFilterConditionCount> m_conditions;
    std::optional<std::filesystem::path> m_savedPath;
};

}  // namespace vantorel
