#pragma once
// The model behind the two-page filter dialog: one setting per condition of the table, the
// choices its lists offer, and the checks of OK, each refusal told through the port.

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "documents/save_refusal.h"
#include "filters/filter.h"
#include "platform/identity.h"
#include "platform/user_port.h"
#include "storage/edit_lock.h"
#include "storage/field_values.h"

namespace vantorel {

class CustomCfg;

// What one condition's controls hold.
struct ConditionSetting {
    bool enabled = false;
    std::vector<std::string> selections;  // list conditions
    std::string text;                     // number, duration and text conditions
    CalendarDate date;                    // date conditions
    int priority = 0;                     // position in the priority list
    int op = FO_EQUAL_TO;                 // position in OperatorChoices
};

// The entries a list condition offers: statuses, phases, types, versions and builds from the
// customisation; resource, configuration and tester identifiers from their folders. The
// priority condition offers the priorities, a setting's priority being a position among them.
std::vector<std::string> ConditionChoices(std::size_t condition,
                                          const std::filesystem::path& databaseDir,
                                          const CustomCfg& custom);

// The fields a refused Save names: the ID, then each condition's controls, in the order of
// FilterConditions().
inline constexpr std::size_t kFilterIdField = 0;
constexpr std::size_t FilterConditionField(std::size_t condition) {
    return kFilterIdField + 1 + condition;
}
inline constexpr std::size_t kFilterNameField = FilterConditionField(kFilterConditionCount);
// What a refusal calls the field: "ID", "Name", or the condition's caption.
std::string_view FilterFieldCaption(std::size_t field);

class FilterEditor {
public:
    // A new filter in the database's "Filters" folder.
    static std::unique_ptr<FilterEditor> New(const std::filesystem::path& databaseDir,
                                             UserPort& port);
    // Locks and loads the filter at path; null after telling the user.
    static std::unique_ptr<FilterEditor> Edit(const std::filesystem::path& path, UserPort& port,
                                              const UserIdentity& identity = CurrentIdentity());

    std::string id;
    std::string name;
    std::array<ConditionSetting, kFilterConditionCount> conditions;

    bool IsNew() const { return !m_path; }
    // The filter's document: the one being edited, or the one saved; none for a new filter
    // not saved yet.
    const std::optional<std::filesystem::path>& Path() const { return m_path; }
    // "Vantorel - Filter - New", or "Vantorel - Filter - Edit [<id>]".
    std::string WindowTitle() const;
    // Text typed for field, as UTF-8, before it becomes a setting's ISO-8859-1 text: refused,
    // naming the character and the field, when a document can't hold it.
    [[nodiscard]] std::optional<SaveRefusal> CheckTyped(std::size_t field, std::string_view utf8);
    // The dialog's OK: checks the settings in the dialog's order and writes the filter. None
    // when written; else the refusal the user was told, when something is refused or the file
    // can't be written.
    [[nodiscard]] std::optional<SaveRefusal> Save();
    // The document the settings stand for.
    FilterDocument ToDocument() const;

private:
    FilterEditor(std::filesystem::path folder, UserPort& port)
        : m_folder(std::move(folder)), m_port(port) {}
    std::optional<SaveRefusal> Check();
    // True when the filter being edited keeps its file: the ID is its own, in any letter case.
    bool KeepsItsName() const;
    SaveRefusal RefuseTakenId();
    void Load(const FilterDocument& document);

    std::filesystem::path m_folder;
    UserPort& m_port;
    std::optional<std::filesystem::path> m_path;  // the filter being edited
    std::unique_ptr<EditLock> m_lock;
};

}  // namespace vantorel
