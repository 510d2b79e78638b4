#pragma once
// The customisation editor: the eight pages of the customisation dialog as one model over a
// copy of the tables. Every refusal is told through the port and leaves the copy as it was;
// OK stores the copy and writes custom.dat once. custom.dat stays locked while it is open.
// Nothing custom.dat held is dropped without the user's word.
// Also the choice of the current user among the database's testers.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "documents/custom_cfg.h"
#include "documents/save_refusal.h"
#include "platform/identity.h"
#include "storage/edit_lock.h"

namespace vantorel {

enum class CustomList { Types, Phases, Versions, Builds };

// What the default-version and default-build drop-downs show for no default.
inline constexpr std::string_view kNoDefault = "--None--";

// The status dialog: a status and the report caption and colour of its meaning.
struct StatusDraft {
    std::string text;
    int meaning = SM_NOT_YET_ATTEMPTED;
    std::string reportString;
    ReportColour colour = 0;
};

// The colour of a status dialog, as it shows it ("#rrggbb").
std::string StatusDialogColourText(ReportColour colour);

// The report slots the report page offers: the five meanings' and the six time figures'; the
// reserved slots between them caption nothing.
std::vector<std::size_t> EditableReportSlots();

// A row of the status page.
struct StatusRow {
    std::string text, meaning, reportString, colour;  // colour as "#RRGGBB"
    int meaningCode = SM_NOT_YET_ATTEMPTED;           // for the row's icon and swatch
    ReportColour colourValue = 0;
};

// The default-values page as typed.
struct DefaultsDraft {
    std::string expected, digits, step, version, build;
};

// The fields a refused Commit names: the three notes names in their order, then the default
// values that are checked.
enum CustomizeField : std::size_t {
    kNotes1NameField,
    kNotes2NameField,
    kResultNotesNameField,
    kExpectedDurationField,
    kAutoIncrementDigitsField,
    kAutoIncrementStepField,
};

class CustomizeEditor {
public:
    // Opens the editor on the database at databaseDir (none when no database is open), taking
    // the lock of custom.dat. When custom.dat held more than custom's tables keep, says what
    // saving will leave out or change and asks whether to go on. Null after telling the user,
    // or when they chose not to.
    static std::unique_ptr<CustomizeEditor> Open(const std::filesystem::path* databaseDir,
                                                 CustomCfg& custom, UserPort& port,
                                                 const UserIdentity& identity = CurrentIdentity());

    // Text typed into the field captioned fieldCaption, as UTF-8: false, after telling the
    // user, when custom.dat can't hold a character of it.
    bool TypedFits(std::string_view fieldCaption, std::string_view utf8);

    // The list pages: types, phases, versions, builds.
    const std::vector<std::string>& List(CustomList list) const;
    bool Add(CustomList list, std::string text);
    bool Remove(CustomList list, std::vector<std::size_t> selection);
    bool Move(CustomList list, const std::vector<std::size_t>& selection, bool up);

    // The notes page: notes 1, notes 2, result notes.
    std::array<std::string, 3> notes;
    // The default-values page.
    DefaultsDraft defaults;
    // The entries of the default-version (Versions) or default-build (Builds) drop-down: no
    // default, then the list as it stands now.
    std::vector<std::string> DefaultChoices(CustomList list) const;

    // The report page.
    const std::string& ReportString(std::size_t slot) const { return m_draft.reportStrings[slot]; }
    ReportColour ReportColourOf(std::size_t slot) const { return m_draft.reportColours[slot]; }
    bool UpdateReportString(std::optional<std::size_t> slot, const std::string& text);
    void SetReportColour(std::size_t slot, ReportColour colour);

    // The status page.
    std::vector<StatusRow> StatusRows() const;
    // Whether the status dialog may open to add one; the list holds at most 10.
    bool CanAddStatus();
    // The status dialog's content for a new status: no text, the first meaning of the list
    // ("Not yet attempted") with its report caption and colour.
    StatusDraft NewStatus() const;
    // The status dialog's content when its meaning is changed to meaning: the caption and
    // colour shown become that meaning's.
    StatusDraft WithMeaning(StatusDraft draft, int meaning) const;
    bool AddStatus(const StatusDraft& draft);
    // The status dialog's content for the selected row, if exactly one is selected.
    std::optional<StatusDraft> StatusForEdit(const std::vector<std::size_t>& selection);
    bool EditStatus(std::size_t index, const StatusDraft& draft);
    bool RemoveStatuses(std::vector<std::size_t> selection);
    bool MoveStatus(const std::vector<std::size_t>& selection, bool up);

    // OK: checks the notes and default pages, writes custom.dat and then stores everything.
    // None when written; else the refusal the user was told, naming a CustomizeField, and the
    // customisation in use is as it was.
    [[nodiscard]] std::optional<SaveRefusal> Commit();

private:
    CustomizeEditor(std::filesystem::path databaseDir, CustomCfg& custom, UserPort& port,
                    std::unique_ptr<EditLock> lock);
    static std::vector<std::string> CustomTables::*ListMember(CustomList list);
    std::vector<std::string>& MutableList(CustomList list);
    // Moves the one selected row up or down through swap; refuses a selection of several.
    bool MoveSelected(std::size_t count, const std::vector<std::size_t>& selection, bool up,
                      const std::function<void(std::size_t, std::size_t)>& swap);
    bool ValidStatus(const StatusDraft& draft, std::optional<std::size_t> editing);
    void StoreStatusSlot(const StatusDraft& draft);
    bool SingleSelection(const std::vector<std::size_t>& selection);

    std::filesystem::path m_databaseDir;
    CustomCfg& m_custom;
    UserPort& m_port;
    std::unique_ptr<EditLock> m_lock;
    CustomTables m_draft;
};

// The set-user dialog: one row "identity : name" per tester of the database.
std::vector<std::string> TesterChoices(const std::filesystem::path& databaseDir);
// OK in the set-user dialog: the chosen row's identity becomes the current user of computer
// and custom.dat is written, once the user agrees to lose what it held beyond the tables.
// False after telling the user, or when they did not agree.
bool ChooseCurrentUser(const std::filesystem::path& databaseDir, CustomCfg& custom,
                       std::string_view computer, const std::vector<std::string>& rows,
                       std::optional<std::size_t> selected, UserPort& port);

}  // namespace vantorel
