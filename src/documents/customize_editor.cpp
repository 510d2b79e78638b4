#include "documents/customize_editor.h"

#include <strings.h>
#include <algorithm>
#include <cstdio>

#include "documents/field_dialog.h"
#include "documents/item_editor.h"
#include "documents/reference_items.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

// The texts of one list page.
struct ListTexts {
    std::size_t capacity;  // 0: unbounded
    std::size_t width;
    std::string_view fullCaption, fullText;
    std::string_view tooLongCaption, tooLongText;  // empty: over-long entries are cut
    std::string_view existsCaption, existsText;
    std::string_view emptyText;
};

const ListTexts& TextsOf(CustomList list) {
    static const ListTexts kTypes{kMaxTypes,
                                  kListEntryWidth,
                                  "Too many test types",
                                  "Too many Test Types entered, maximum allowed is 20",
                                  {},
                                  {},
                                  "Type already exists",
                                  "Test Type already exists in list",
                                  "Please enter a Test Type to add"};
    static const ListTexts kPhases{kMaxPhases,
                                   kListEntryWidth,
                                   "Too many test phases",
                                   "Too many Test Phases entered, maximum allowed is 20",
                                   {},
                                   {},
                                   "Phase already exists",
                                   "Test Phase already exists in list",
                                   "Please enter a Test Phase to add"};
    static const ListTexts kVersions{
        0,
        kVersionWidth,
        {},
        {},
        "Version too long",
        // Two blanks before 25, as the text has always been.
        "Version entered is too long, maximum length is  25 characters.",
        "Version already exists",
        "Version already exists in list",
        "Please enter a Version to add"};
    static const ListTexts kBuilds{0,
                                   kVersionWidth,
                                   {},
                                   {},
                                   "Build too long",
                                   "Build entered is too long, maximum length is 25 characters.",
                                   "Build exists",
                                   "Build already exists in list",
                                   "Please enter a build to add"};
    switch (list) {
        case CustomList::Types:
            return kTypes;
        case CustomList::Phases:
            return kPhases;
        case CustomList::Versions:
            return kVersions;
        case CustomList::Builds:
            break;
    }
    return kBuilds;
}

bool AllDigits(const std::string& text) {
    return !text.empty() && text.size() <= 9 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string ColourText(ReportColour colour) {
    char text[16];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", colour & 0xFF, (colour >> 8) & 0xFF,
                  (colour >> 16) & 0xFF);
    return text;
}

// Entries named in a message: the first ten, quoted, and how many more.
std::string Quoted(const std::vector<std::string>& entries) {
    constexpr std::size_t kNamed = 10;
    std::string text;
    for (std::size_t i = 0; i < entries.size() && i < kNamed; ++i)
        text += (i ? ", \"" : "\"") + Latin1ToUtf8(entries[i]) + "\"";
    if (entries.size() > kNamed)
        text += " and " + std::to_string(entries.size() - kNamed) + " more";
    return text;
}

// Before anything writes custom.dat: when the last reading found more than the tables hold,
// says what the save will leave out or change and asks goOn. True when nothing will be lost
// or the user agrees.
bool AcceptReadLosses(const CustomReadLosses& losses, std::string_view goOn, UserPort& port) {
    if (losses.NothingLost())
        return true;
    std::string text = "custom.dat holds more than the customization can keep. Saving it will:\n";
    const auto leaveOut = [&text](const std::vector<std::string>& entries, std::string_view one,
                                  std::string_view several, std::size_t kept) {
        if (entries.empty())
            return;
        text += "- leave out " + std::to_string(entries.size()) + " " +
                std::string(entries.size() == 1 ? one : several) + " after the first " +
                std::to_string(kept) + ": " + Quoted(entries) + "\n";
    };
    leaveOut(losses.types, "test type", "test types", kMaxTypes);
    leaveOut(losses.phases, "test phase", "test phases", kMaxPhases);
    leaveOut(losses.statuses, "status", "statuses", kMaxStatuses);
    for (const auto& [status, meaning] : losses.meanings)
        text += "- save status \"" + Latin1ToUtf8(status) + "\" with the meaning " +
                std::string(MeaningName(SM_NOT_YET_ATTEMPTED)) + ": its meaning in the file, \"" +
                Latin1ToUtf8(meaning) + "\", is none of the five\n";
    if (losses.currentUsers)
        text += "- forget the current user of " + std::to_string(losses.currentUsers) +
                " more computers after the first " + std::to_string(kMaxCurrentUsers) + "\n";
    return port.ask(
        {text + "\n" + std::string(goOn), "custom.dat will lose entries", Icon::Question});
}

}  // namespace

std::string StatusDialogColourText(ReportColour colour) {
    char text[16];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", colour & 0xFF, (colour >> 8) & 0xFF,
                  (colour >> 16) & 0xFF);
    return text;
}

std::vector<std::size_t> EditableReportSlots() {
    std::vector<std::size_t> slots;
    for (std::size_t slot = 0; slot < static_cast<std::size_t>(kMeaningCount); ++slot)
        slots.push_back(slot);
    for (std::size_t slot = RS_TOTAL_PLAN_TIME; slot < kReportSlots; ++slot)
        slots.push_back(slot);
    return slots;
}

std::unique_ptr<CustomizeEditor> CustomizeEditor::Open(const std::filesystem::path* databaseDir,
                                                       CustomCfg& custom, UserPort& port,
                                                       const UserIdentity& identity) {
    if (!databaseDir) {
        port.tell({"A database must be open before Customizing can be done", "No DB open",
                   Icon::Warning});
        return nullptr;
    }
    // The message has always named the file "config.dat".
    auto lock =
        EditLock::Acquire(*databaseDir / kCustomFileName, port, identity,
                          {"Customization file (config.dat) is locked.\n", Icon::Information});
    if (!lock || !AcceptReadLosses(custom.ReadLosses(), "Open the customization anyway?", port))
        return nullptr;
    return std::unique_ptr<CustomizeEditor>(
        new CustomizeEditor(*databaseDir, custom, port, std::move(lock)));
}

CustomizeEditor::CustomizeEditor(std::filesystem::path databaseDir, CustomCfg& custom,
                                 UserPort& port, std::unique_ptr<EditLock> lock)
    : m_databaseDir(std::move(databaseDir)),
      m_custom(custom),
      m_port(port),
      m_lock(std::move(lock)),
      m_draft(custom.Tables()) {
    notes = m_draft.notesCaptions;
    const DefaultValues& values = m_draft.defaults;
    defaults = {values.expectedDuration, std::to_string(values.autoDigits),
                std::to_string(values.autoStep), values.version, values.build};
}

bool CustomizeEditor::TypedFits(std::string_view fieldCaption, std::string_view utf8) {
    if (const std::optional<Notice> notice = UnholdableTextNotice(fieldCaption, utf8)) {
        m_port.tell(*notice);
        return false;
    }
    return true;
}

std::vector<std::string> CustomTables::*CustomizeEditor::ListMember(CustomList list) {
    switch (list) {
        case CustomList::Types:
            return &CustomTables::types;
        case CustomList::Phases:
            return &CustomTables::phases;
        case CustomList::Versions:
            return &CustomTables::versions;
        case CustomList::Builds:
            break;
    }
    return &CustomTables::builds;
}

std::vector<std::string>& CustomizeEditor::MutableList(CustomList list) {
    return m_draft.*ListMember(list);
}

const std::vector<std::string>& CustomizeEditor::List(CustomList list) const {
    return m_draft.*ListMember(list);
}

std::vector<std::string> CustomizeEditor::DefaultChoices(CustomList list) const {
    std::vector<std::string> choices{std::string(kNoDefault)};
    const std::vector<std::string>& entries = List(list);
    choices.insert(choices.end(), entries.begin(), entries.end());
    return choices;
}

bool CustomizeEditor::Add(CustomList list, std::string text) {
    const ListTexts& texts = TextsOf(list);
    std::vector<std::string>& entries = MutableList(list);
    if (text.empty()) {
        m_port.tell({std::string(texts.emptyText), "Nothing to add", Icon::Warning});
        return false;
    }
    if (text.size() > texts.width) {
        if (!texts.tooLongText.empty()) {
            m_port.tell(
                {std::string(texts.tooLongText), std::string(texts.tooLongCaption), Icon::Warning});
            return false;
        }
        text.resize(texts.width);
    }
    if (std::find(entries.begin(), entries.end(), text) != entries.end()) {
        m_port.tell(
            {std::string(texts.existsText), std::string(texts.existsCaption), Icon::Warning});
        return false;
    }
    if (texts.capacity && entries.size() >= texts.capacity) {
        m_port.tell({std::string(texts.fullText), std::string(texts.fullCaption), Icon::Warning});
        return false;
    }
    entries.push_back(std::move(text));
    return true;
}

bool CustomizeEditor::Remove(CustomList list, std::vector<std::size_t> selection) {
    std::vector<std::string>& entries = MutableList(list);
    std::sort(selection.rbegin(), selection.rend());
    for (std::size_t index : selection)
        if (index < entries.size())
            entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index));
    return !selection.empty();
}

bool CustomizeEditor::MoveSelected(std::size_t count, const std::vector<std::size_t>& selection,
                                   bool up,
                                   const std::function<void(std::size_t, std::size_t)>& swap) {
    if (selection.size() > 1) {
        m_port.tell({"You can only move 1 item at time, please select 1 item.",
                     "Too many items selected", Icon::Warning});
        return false;
    }
    if (selection.empty())
        return false;
    const std::size_t index = selection.front();
    if (index >= count || (up && index == 0) || (!up && index + 1 >= count))
        return false;
    swap(index, up ? index - 1 : index + 1);
    return true;
}

bool CustomizeEditor::Move(CustomList list, const std::vector<std::size_t>& selection, bool up) {
    std::vector<std::string>& entries = MutableList(list);
    return MoveSelected(entries.size(), selection, up,
                        [&](std::size_t a, std::size_t b) { std::swap(entries[a], entries[b]); });
}

bool CustomizeEditor::UpdateReportString(std::optional<std::size_t> slot, const std::string& text) {
    if (!slot || *slot >= kReportSlots) {
        m_port.tell({"Please select a report string to change from the drop down list.",
                     "No string selected", Icon::Warning});
        return false;
    }
    if (text.empty()) {
        m_port.tell(
            {"Please enter a new string in the edit box before clicking the update "
             "button.",
             "Nothing to add", Icon::Warning});
        return false;
    }
    if (text.size() > kReportStringWidth) {
        m_port.tell({FillMessage("New string is too long, please limit to %d characters.",
                                 {std::to_string(kReportStringWidth)}),
                     "String is too long", Icon::Warning});
        return false;
    }
    m_draft.reportStrings[*slot] = text;
    return true;
}

void CustomizeEditor::SetReportColour(std::size_t slot, ReportColour colour) {
    if (slot < kReportSlots)
        m_draft.reportColours[slot] = colour & 0xFFFFFF;
}

std::vector<StatusRow> CustomizeEditor::StatusRows() const {
    std::vector<StatusRow> rows;
    for (const StatusEntry& status : m_draft.statuses) {
        const int slot = MeaningSlot(status.meaning);
        rows.push_back({status.text, std::string(MeaningName(status.meaning)),
                        m_draft.reportStrings[slot], ColourText(m_draft.reportColours[slot]),
                        status.meaning, m_draft.reportColours[slot]});
    }
    return rows;
}

bool CustomizeEditor::CanAddStatus() {
    if (m_draft.statuses.size() < kMaxStatuses)
        return true;
    m_port.tell(
        {"The status list is full.\nPlease edit an existing status or delete one before "
         "adding another.",
         "List is full", Icon::Warning});
    return false;
}

StatusDraft CustomizeEditor::NewStatus() const {
    return WithMeaning({}, SM_NOT_YET_ATTEMPTED);
}

StatusDraft CustomizeEditor::WithMeaning(StatusDraft draft, int meaning) const {
    draft.meaning = meaning;
    const int slot = MeaningSlot(meaning);
    draft.reportString = m_draft.reportStrings[slot];
    draft.colour = m_draft.reportColours[slot];
    return draft;
}

bool CustomizeEditor::ValidStatus(const StatusDraft& draft, std::optional<std::size_t> editing) {
    if (draft.text.empty()) {
        m_port.tell({"Status is empty. Please enter some text for the status.", "No status text",
                     Icon::Warning});
        return false;
    }
    // The stated widths are accepted in full: "longer than" is the test.
    if (draft.text.size() > kStatusTextWidth) {
        m_port.tell({"Status text is too long. Please restrict the status to 32 characters.",
                     "Too many charachters", Icon::Warning});
        return false;
    }
    if (draft.reportString.empty()) {
        m_port.tell({"Report string is empty. Please enter some text for the report string.",
                     "No report string text", Icon::Warning});
        return false;
    }
    if (draft.reportString.size() > kReportStringWidth + 1) {
        m_port.tell(
            {"Report string is too long. Please restrict the report string to 64 "
             "characters.",
             "Too many charachters", Icon::Warning});
        return false;
    }
    for (std::size_t i = 0; i < m_draft.statuses.size(); ++i) {
        // Reports match status texts ignoring case, so two may not differ by case alone.
        if (i != editing && strcasecmp(m_draft.statuses[i].text.c_str(), draft.text.c_str()) == 0) {
            m_port.tell({"Status already exists in list.\nPlease change the name of the status.",
                         "Status exists", Icon::Warning});
            return false;
        }
    }
    return draft.meaning >= 0 && draft.meaning < kMeaningCount;
}

void CustomizeEditor::StoreStatusSlot(const StatusDraft& draft) {
    // The caption and colour belong to the meaning, so every status of it shares them.
    const int slot = MeaningSlot(draft.meaning);
    m_draft.reportStrings[slot] = draft.reportString;
    m_draft.reportColours[slot] = draft.colour & 0xFFFFFF;
}

bool CustomizeEditor::AddStatus(const StatusDraft& draft) {
    if (!CanAddStatus() || !ValidStatus(draft, std::nullopt))
        return false;
    m_draft.statuses.push_back({draft.text, draft.meaning});
    StoreStatusSlot(draft);
    return true;
}

bool CustomizeEditor::SingleSelection(const std::vector<std::size_t>& selection) {
    if (selection.empty()) {
        m_port.tell(
            {"Please select an item from the list to edit.", "No items selected", Icon::Warning});
        return false;
    }
    if (selection.size() > 1) {
        m_port.tell(
            {"Only one item at a time can be edited.", "Too many items selected", Icon::Warning});
        return false;
    }
    return selection.front() < m_draft.statuses.size();
}

std::optional<StatusDraft> CustomizeEditor::StatusForEdit(
    const std::vector<std::size_t>& selection) {
    if (!SingleSelection(selection))
        return std::nullopt;
    const StatusEntry& status = m_draft.statuses[selection.front()];
    const int slot = MeaningSlot(status.meaning);
    return StatusDraft{status.text, status.meaning, m_draft.reportStrings[slot],
                       m_draft.reportColours[slot]};
}

bool CustomizeEditor::EditStatus(std::size_t index, const StatusDraft& draft) {
    if (index >= m_draft.statuses.size() || !ValidStatus(draft, index))
        return false;
    m_draft.statuses[index] = {draft.text, draft.meaning};
    StoreStatusSlot(draft);
    return true;
}

bool CustomizeEditor::RemoveStatuses(std::vector<std::size_t> selection) {
    if (selection.empty()) {
        m_port.tell(
            {"Please select an item from the list to remove.", "No items selected", Icon::Warning});
        return false;
    }
    std::sort(selection.begin(), selection.end());
    selection.erase(std::unique(selection.begin(), selection.end()), selection.end());
    if (selection.size() >= m_draft.statuses.size()) {
        m_port.tell({"There must be at least one status for the database.", "Cannot delete",
                     Icon::Warning});
        return false;
    }
    for (auto index = selection.rbegin(); index != selection.rend(); ++index)
        if (*index < m_draft.statuses.size())
            m_draft.statuses.erase(m_draft.statuses.begin() + static_cast<std::ptrdiff_t>(*index));
    return true;
}

bool CustomizeEditor::MoveStatus(const std::vector<std::size_t>& selection, bool up) {
    auto& statuses = m_draft.statuses;
    return MoveSelected(statuses.size(), selection, up,
                        [&](std::size_t a, std::size_t b) { std::swap(statuses[a], statuses[b]); });
}

std::optional<SaveRefusal> CustomizeEditor::Commit() {
    static constexpr std::string_view kNotesRefusals[] = {
        "Please enter a name for the notes 1 field", "Please enter a name for the notes 2 field",
        "Please enter a name for the result notes field"};
    static constexpr CustomizeField kNotesFields[] = {kNotes1NameField, kNotes2NameField,
                                                      kResultNotesNameField};
    for (std::size_t i = 0; i < notes.size(); ++i)
        if (notes[i].empty())
            return TellRefusal(m_port, {std::string(kNotesRefusals[i]), "No name", Icon::Warning},
                               kNotesFields[i]);
    if (!ParseDuration(defaults.expected))
        return TellRefusal(m_port,
                           {DurationFormatMessage("Expected Duration"), "Invalid Expected Duration",
                            Icon::Warning},
                           kExpectedDurationField);
    const unsigned long digits = AllDigits(defaults.digits) ? std::stoul(defaults.digits) : 0;
    if (digits < 1 || digits > 6)
        return TellRefusal(
            m_port,
            {"Invalid data in the 'Number of auto-increment digits'. Please enter a value "
             "between 1 and 6",
             "Invalid number of digits", Icon::Warning},
            kAutoIncrementDigitsField);
    unsigned long largest = 1;
    for (unsigned long i = 0; i < digits; ++i)
        largest *= 10;
    const unsigned long step = AllDigits(defaults.step) ? std::stoul(defaults.step) : 0;
    if (step < 1 || step >= largest)
        return TellRefusal(
            m_port,
            {"Invalid data in the 'Auto-increment step size'. Please enter a value in the "
             "range of the number of auto-increment digits",
             "Invalid step size", Icon::Warning},
            kAutoIncrementStepField);

    for (std::size_t i = 0; i < notes.size(); ++i)
        m_draft.notesCaptions[i] = notes[i].substr(0, kNotesCaptionWidth);
    const auto chosen = [](const std::string& value) {
        return value == kNoDefault ? std::string() : value.substr(0, kVersionWidth);
    };
    m_draft.defaults = {defaults.expected, digits, step, chosen(defaults.version),
                        chosen(defaults.build)};
    // The current user may have been set while the dialog was open; keep the live pairs.
    m_draft.currentUsers = m_custom.Tables().currentUsers;
    // Written before it is used, so a failed write leaves the customisation in use as it is.
    CustomCfg written;
    written.Replace(m_draft);
    IoResult result = written.Write(m_databaseDir);
    if (!result.ok())
        return TellRefusal(m_port, SaveFailure(result), std::nullopt);
    m_custom.Replace(m_draft);
    return std::nullopt;
}

std::vector<std::string> TesterChoices(const std::filesystem::path& databaseDir) {
    std::vector<std::string> rows;
    for (const TesterEntry& tester : ListTesters(databaseDir))
        rows.push_back(tester.id + " : " + tester.name);
    return rows;
}

bool ChooseCurrentUser(const std::filesystem::path& databaseDir, CustomCfg& custom,
                       std::string_view computer, const std::vector<std::string>& rows,
                       std::optional<std::size_t> selected, UserPort& port) {
    if (rows.empty()) {
        port.tell(
            {"There are no testers available!\nThe current user is selected from the list "
             "of testers in the database.\nPlease create some testers before setting the "
             "current user.",
             "No testers available", Icon::Warning});
        return false;
    }
    if (!selected || *selected >= rows.size()) {
        port.tell({"Please select a user name!", "No user name selected", Icon::Warning});
        return false;
    }
    std::string identity = rows[*selected].substr(0, rows[*selected].find(':'));
    while (!identity.empty() && identity.back() == ' ')
        identity.pop_back();
    if (!AcceptReadLosses(custom.ReadLosses(), "Set the current user anyway?", port))
        return false;
    IoResult result = custom.SetCurrentUser(databaseDir, computer, identity);
    if (!result.ok()) {
        port.tell(SaveFailure(result));
        return false;
    }
    return true;
}

}  // namespace vantorel
