#include "documents/item_editor.h"

#include <strings.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>

#include "documents/custom_cfg.h"
#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "storage/digest.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/password.h"

namespace vantorel {
namespace {

const std::string kLimit = std::to_string(kIdentifierMax);

bool IsDurationTag(std::string_view tag) {
    return tag == "<test_duration>" || tag == "<actual_duration>";
}

bool SameControl(const FieldDescriptor& row, const FieldControl& a, const FieldControl& b) {
    switch (row.type) {
        case FT_DATE:
            return a.date == b.date;
        case FT_TIME:
            return a.time == b.time;
        case FT_YES_NO:
            return a.checked == b.checked;
        case FT_PLAIN_TEXT:
            if (IsDurationTag(row.tag)) {
                auto first = ParseDuration(a.text), second = ParseDuration(b.text);
                if (first && second)
                    return StoredDuration(*first) == StoredDuration(*second);
            }
            return a.text == b.text;
        default:
            return a.text == b.text;
    }
}

}  // namespace

std::string EditorContext::UserName() const {
    std::string name = custom.CurrentUser(identity.computer);
    return name.empty() ? identity.user : name;
}

std::optional<Duration> ParseDuration(std::string_view text) {
    auto colon = text.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    auto number = [](std::string_view digits, int most) -> std::optional<int> {
        if (digits.empty() || digits.size() > 3 ||
            !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
            return std::nullopt;
        int value = std::stoi(std::string(digits));
        return value <= most ? std::optional<int>(value) : std::nullopt;
    };
    auto hours = number(text.substr(0, colon), 999);
    auto minutes = number(text.substr(colon + 1), 59);
    if (!hours || !minutes)
        return std::nullopt;
    return Duration{*hours, *minutes};
}

std::string DurationFormatMessage(std::string_view fieldName) {
    return FillMessage(
        "Invalid data in the '%s' field.\nDuration must be in the following format\n\nHHH:MM\n\n"
        "   HHH is the number of hours (0 - 999)\n   MM is the number of minutes (0 -  59)\n",
        {fieldName});
}

std::string StoredDuration(const Duration& duration) {
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d", duration.hours, duration.minutes);
    return text;
}

std::string Counted(std::size_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string FillMessage(std::string_view pattern, std::initializer_list<std::string_view> values) {
    std::string text;
    auto value = values.begin();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '%' && i + 1 < pattern.size() &&
            (pattern[i + 1] == 's' || pattern[i + 1] == 'd') && value != values.end()) {
            text += *value++;
            ++i;
        } else {
            text += pattern[i];
        }
    }
    return text;
}

std::optional<Notice> NewItemsRefusal(const std::filesystem::path& folder, int probeError) {
    if (probeError != 0)
        return Notice{
            "Unable to create new file. Access is denied.\nPlease check read, write and "
            "create permissions for database",
            "Access Denied", Icon::Warning};
    if (folder.string().size() >= kPathMax)
        return Notice{
            "The current path is longer than the Windows limit of 260 characters. No "
            "new files can be created in this folder",
            "Path length exceeds limit", Icon::Warning};
    return std::nullopt;
}

bool CanCreateIn(const std::filesystem::path& folder, UserPort& port) {
    const std::optional<Notice> refusal = NewItemsRefusal(folder, TestWritePermissions(folder));
    if (refusal)
        port.tell(*refusal);
    return !refusal;
}

Notice SaveFailure(const IoResult& result) {
    return {result.message + "\nCode: " + std::to_string(result.code), "Unable to save file",
            Icon::Warning};
}

ItemEditor::ItemEditor(const ItemKind& kind, EditorContext context)
    : controls(FieldRows(kind.fields).size()), m_kind(kind), m_context(std::move(context)) {}

std::size_t ItemEditor::Row(std::string_view tag) const {
    const FieldDescriptor* row = FindField(m_kind.fields, tag);
    if (!row)
        throw std::logic_error("no field " + std::string(tag));
    return static_cast<std::size_t>(row->controlId);
}

FieldControl& ItemEditor::Control(std::string_view tag) {
    return controls[Row(tag)];
}

const FieldControl& ItemEditor::Control(std::string_view tag) const {
    return controls[Row(tag)];
}

std::filesystem::path ItemEditor::Path() const {
    return m_path ? *m_path : m_folder / (controls[0].text + ".vtl");
}

std::string ItemEditor::WindowTitle(bool editing) const {
    const std::string& title = controls[m_kind.titleRow].text;
    std::string text =
        "Vantorel - " + std::string(m_kind.windowNoun) + " - " + (editing ? "Edit" : "View");
    if (!title.empty())
        text += " [" + title.substr(0, 75) + "]";
    return text;
}

std::string ItemEditor::SheetTitle() const {
    return m_kind.sheetCaption.empty() ? WindowTitle(true) : std::string(m_kind.sheetCaption);
}

bool ItemEditor::OpenExisting(const std::filesystem::path& path) {
    m_lock = EditLock::Acquire(path, m_context.port, m_context.identity);
    if (!m_lock)
        return false;
    if (!ReadDocument(path)) {
        m_context.port.tell({FillMessage(m_kind.texts.openFailure, {path.string()}),
                             "Cannot open file", Icon::Warning});
        m_lock.reset();
        return false;
    }
    m_path = path;
    m_folder = path.parent_path();
    LoadControls();

    if (controls[0].text.size() > kIdentifierMax && !m_kind.texts.openIdTooLong.empty()) {
        m_context.port.tell({FillMessage(m_kind.texts.openIdTooLong, {kLimit, kLimit}),
                             std::string(m_kind.texts.openIdTooLongCaption), Icon::Warning});
        m_idEditable = m_kind.texts.openEnablesId;
    }
    return true;
}

bool ItemEditor::ReadDocument(const std::filesystem::path& path) {
    if (m_doc.OpenRead(path) != 0 || m_doc.Load() != 0)
        return false;
    std::string text = m_doc.Text();
    m_doc.Close();  // the text is all an editor needs; the file stays free for others
    m_readDigest = ContentDigest(text);
    m_doc.LoadText(std::move(text));
    return true;
}

std::optional<std::string> ItemEditor::ChangedSinceRead() const {
    if (!m_path || m_path->extension() != kItemExtension)
        return std::nullopt;
    // One that can't be read now (removed, its folder moved) is left to the save, which says
    // what the disk says.
    std::string now;
    if (ReadRegularFile(*m_path, now) != 0)
        return std::nullopt;
    if (ContentDigest(now) == m_readDigest) {
        // Unchanged, but someone may have taken the item over and be about to save it.
        const std::optional<std::string> lost = m_lock ? m_lock->Lost() : std::nullopt;
        if (!lost)
            return std::nullopt;
        return FillMessage("%s is no longer locked by you since you opened it: %s.",
                           {m_path->stem().string(), *lost});
    }
    std::error_code timeError;
    const auto written = std::filesystem::last_write_time(*m_path, timeError);
    std::string when;
    if (!timeError) {
        const std::time_t seconds =
            std::chrono::system_clock::to_time_t(std::chrono::file_clock::to_sys(written));
        char text[32];
        if (std::strftime(text, sizeof text, "%d-%b-%Y %H:%M:%S", std::localtime(&seconds)))
            when = text;
    }
    return FillMessage("%s was changed by someone else since you opened it (written %s).",
                       {m_path->stem().string(), when.empty() ? "at an unknown time" : when});
}

std::optional<SaveRefusal> ItemEditor::KeepOthersChange() {
    const std::optional<std::string> changed = ChangedSinceRead();
    if (!changed)
        return std::nullopt;
    // Nothing another tester saved is overwritten without consent: the user's version goes
    // beside it under a new identifier, or replaces it after a second question, or waits.
    const std::string id = controls[kIdRow].text;
    std::string copy;
    for (int n = 1; copy.empty() || IdentifierTaken(m_folder, copy); ++n)
        copy = id + "-copy" + (n == 1 ? std::string() : std::to_string(n));
    if (m_context.port.ask(
            {*changed + "\n\nSave your version beside it as " + copy + ", keeping both?",
             "Changed by someone else", Icon::Question})) {
        // A new item: the one on disk is neither replaced nor removed.
        m_path.reset();
        controls[kIdRow].text = copy;
        return std::nullopt;
    }
    if (m_context.port.ask({*changed + "\n\nReplace it with your version? What was saved there "
                                       "since you opened it will be lost.",
                            "Replace the other version", Icon::Question}))
        return std::nullopt;
    return Refuse({"Nothing was saved. Your changes are still in the dialog: copy what you need, "
                   "then close it and open the item again to see the other version.",
                   "Not saved", Icon::Information},
                  std::nullopt);
}

void ItemEditor::LoadControls() {
    std::span<const FieldDescriptor> rows = FieldRows(m_kind.fields);
    for (std::size_t i = 0; i < rows.size(); ++i)
        m_doc.LoadField(rows[i], controls[i], LoadMode::Fill);
    m_loaded = controls;
}

bool ItemEditor::StartNew(const std::filesystem::path& folder, bool automaticId) {
    if (!m_context.folderChecked && !CanCreateIn(folder, m_context.port))
        return false;
    m_folder = folder;
    m_idEditable = true;
    if (automaticId) {
        m_reservation = GetIncrementalID(folder, m_kind.idPrefix, m_context.port, SystemFiles(),
                                         m_context.knownIds);
        if (!m_reservation)
            return false;
        controls[0].text = m_reservation->Id();
    }
    m_loaded = controls;
    return true;
}

bool ItemEditor::UpdateRequired() const {
    std::span<const FieldDescriptor> rows = FieldRows(m_kind.fields);
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (!SameControl(rows[i], controls[i], m_loaded[i]))
            return true;
    return false;
}

bool ItemEditor::ConfirmClose() {
    if (!m_kind.texts.asksBeforeDiscard || !UpdateRequired())
        return true;
    return m_context.port.ask(
        {"Close test case without saving changes?", "Close without saving", Icon::Question});
}

std::optional<SaveRefusal> ItemEditor::CheckTyped(std::size_t row, std::string_view utf8) {
    const std::optional<Notice> notice =
        UnholdableTextNotice(DialogCaption(FieldRows(m_kind.fields)[row], m_context.custom), utf8);
    if (!notice)
        return std::nullopt;
    return Refuse(*notice, row);
}

SaveRefusal ItemEditor::Refuse(Notice notice, std::optional<std::size_t> row) {
    return TellRefusal(m_context.port, std::move(notice), row);
}

std::optional<SaveRefusal> ItemEditor::CheckPathRoom(const std::string& id) {
    if (ItemPathFits(m_folder, id, ".vtl"))
        return std::nullopt;
    if (IsNew() && !m_kind.texts.newPathTooLong.empty())
        return Refuse(
            {std::string(m_kind.texts.newPathTooLong), "Path exceeds limit", Icon::Warning},
            kIdRow);
    return Refuse({std::string(m_kind.texts.pathTooLong), "Exceeds path length", Icon::Warning},
                  kIdRow);
}

std::optional<SaveRefusal> ItemEditor::CheckIdentifierFree(const std::string& id) {
    const std::string current = m_path ? m_path->stem().string() : std::string();
    if (strcasecmp(id.c_str(), current.c_str()) == 0 || !IdentifierTaken(m_folder, id))
        return std::nullopt;
    return Refuse({std::string(m_kind.texts.idExists), "ID already exists", Icon::Warning}, kIdRow);
}

std::optional<SaveRefusal> ItemEditor::ValidateIdentifier() {
    if (auto refusal = CheckIdentifierText())
        return refusal;
    const std::string& id = controls[kIdRow].text;
    if (m_kind.texts.pathBeforeExists) {
        if (auto refusal = CheckPathRoom(id))
            return refusal;
        return CheckIdentifierFree(id);
    }
    if (auto refusal = CheckIdentifierFree(id))
        return refusal;
    return CheckPathRoom(id);
}

std::optional<SaveRefusal> ItemEditor::CheckIdentifierText() {
    const ItemTexts& texts = m_kind.texts;
    switch (CheckIdentifier(controls[kIdRow].text)) {
        case IdentifierProblem::Empty:
            return Refuse({FillMessage(texts.idMandatory, {kLimit}), std::string(texts.idCaption),
                           Icon::Warning},
                          kIdRow);
        case IdentifierProblem::TooLong:
            return Refuse({FillMessage(texts.idTooLong, {kLimit}), std::string(texts.idCaption),
                           Icon::Warning},
                          kIdRow);
        case IdentifierProblem::InvalidCharacters:
            return Refuse(
                {std::string(texts.idInvalid), std::string(texts.idCaption), Icon::Warning},
                kIdRow);
        case IdentifierProblem::None:
            break;
    }
    return std::nullopt;
}

std::optional<SaveRefusal> ItemEditor::CheckDuration(std::string_view tag,
                                                     std::string_view fieldName,
                                                     std::string_view caption) {
    FieldControl& control = Control(tag);
    if (control.text.empty())
        return std::nullopt;  // not measured yet
    if (auto duration = ParseDuration(control.text)) {
        control.text = StoredDuration(*duration);
        return std::nullopt;
    }
    return Refuse(
        {FillMessage("Invalid data in the '%s' field.\nPlease ensure a valid number, 0-59, is "
                     "entered in the minutes (Mins) field\nand that a valid number, 0-999, is "
                     "entered in the hours (Hrs) field\n\n",
                     {fieldName}),
         std::string(caption), Icon::Warning},
        Row(tag));
}

void ItemEditor::StampAutomaticFields(const LocalMoment& now) {
    const std::string user = m_context.UserName();
    if (IsNew()) {
        FieldControl& date = Control("<create_date>");
        FieldControl& time = Control("<create_time>");
        if (!m_keepGivenCreation || !date.date)
            date.date = now.date;
        if (!m_keepGivenCreation || !time.time)
            time.time = now.time;
        if (Control("<create_user_id>").text.empty())
            Control("<create_user_id>").text = user;
    }
    const std::size_t date = Row("<update_date>"), time = Row("<update_time>"),
                      by = Row("<update_user_id>");
    if (controls[date].date == m_loaded[date].date && controls[time].time == m_loaded[time].time) {
        controls[date].date = now.date;
        controls[time].time = now.time;
    }
    if (controls[by].text == m_loaded[by].text)
        controls[by].text = user;
}

std::optional<SaveRefusal> ItemEditor::CheckFieldWidths() {
    const std::span<const FieldDescriptor> rows = FieldRows(m_kind.fields);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const FieldDescriptor& field = rows[row];
        const bool text = field.type == FT_TEXT || field.type == FT_RICH_TEXT ||
                          field.type == FT_PLAIN_TEXT || field.type == FT_LIST_TEXT;
        // The identifier and the durations have checks of their own that name their limits.
        if (!text || row == kIdRow || IsDurationField(field))
            continue;
        const std::size_t length = controls[row].text.size();
        if (length <= FieldWidth(field))
            continue;
        // A value longer than its field (a hand edit, another tool) is shown whole and never
        // cut without a word: the user shortens it.
        return Refuse({FillMessage("%s holds %s characters; it can keep at most %s. Shorten it "
                                   "before saving, or nothing of it is saved.",
                                   {DialogCaption(field, m_context.custom), std::to_string(length),
                                    std::to_string(FieldWidth(field))}),
                       "Field too long", Icon::Warning},
                      row);
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> TestCaseIdScope(const std::filesystem::path& folder,
                                                     bool projectTestCase) {
    // The highest library folder: a suite may be called "Test Cases" too.
    std::optional<std::filesystem::path> scope;
    for (std::filesystem::path at = folder; at.has_relative_path(); at = at.parent_path()) {
        if (projectTestCase && at.filename() == "Project Test Cases" &&
            at.parent_path().parent_path().filename() == "Projects")
            return at;
        if (!projectTestCase && at.filename() == "Test Cases")
            scope = at;
    }
    return scope;
}

bool KeepIdsUsedElsewhere(const std::filesystem::path& scope, const std::vector<PlacedId>& ids,
                          UserPort& port) {
    if (ids.empty())
        return true;
    // One walk of the scope finds, for each ID, another folder that holds it.
    std::map<std::string, std::vector<const PlacedId*>> wanted;
    for (const PlacedId& placed : ids)
        wanted[placed.id + std::string(kItemExtension)].push_back(&placed);
    std::map<const PlacedId*, std::filesystem::path> others;
    // Folders compared whole, with or without a separator or "." at their end.
    auto normal = [](const std::filesystem::path& folder) {
        return (folder / "").lexically_normal();
    };
    WalkItems(scope, [&](const std::filesystem::path& listed, ItemListing& listing) {
        const std::filesystem::path folder = normal(listed);
        for (const FolderEntry& entry : listing.documents) {
            const auto found = wanted.find(entry.name);
            if (found == wanted.end())
                continue;
            for (const PlacedId* placed : found->second)
                if (normal(placed->folder) != folder)
                    others.try_emplace(placed, listed / placed->id);
        }
        return others.size() < ids.size();
    });
    if (others.empty())
        return true;
    auto place = [&scope](const std::filesystem::path& other) {
        return other.lexically_relative(scope.parent_path()).string();
    };
    constexpr std::string_view kWhy =
        "Two test cases with one ID are easily taken for each other, in reports and in "
        "imported results.";
    if (others.size() == 1) {
        const auto& [placed, other] = *others.begin();
        return port.ask({FillMessage("The ID %s is already used by another test case:\n%s\n%s "
                                     "Keep this ID?",
                                     {placed->id, place(other), kWhy}),
                         "ID used elsewhere", Icon::Question});
    }
    constexpr std::size_t kListed = 10;
    std::string list;
    std::size_t listed = 0;
    for (const PlacedId& placed : ids) {
        const auto other = others.find(&placed);
        if (other != others.end() && listed++ < kListed)
            list += "\n" + placed.id + ": " + place(other->second);
    }
    if (others.size() > kListed)
        list += "\nand " + std::to_string(others.size() - kListed) + " more";
    return port.ask({FillMessage("%s IDs are already used by other test cases:%s\n%s Keep these "
                                 "IDs?",
                                 {std::to_string(others.size()), list, kWhy}),
                     "IDs used elsewhere", Icon::Question});
}

bool KeepIdUsedElsewhere(const std::filesystem::path& scope, const std::filesystem::path& folder,
                         const std::string& id, UserPort& port) {
    return KeepIdsUsedElsewhere(scope, {{id, folder}}, port);
}

std::optional<SaveRefusal> ItemEditor::ConfirmIdentifierElsewhere() {
    const std::string& id = controls[kIdRow].text;
    if (!IsNew() && !m_loaded.empty() && id == m_loaded[kIdRow].text)
        return std::nullopt;
    const std::optional<std::filesystem::path> scope = IdentifierScope();
    if (!scope || KeepIdUsedElsewhere(*scope, m_folder, id, m_context.port))
        return std::nullopt;
    return SaveRefusal{{}, kIdRow};  // the user said No: the ID is to be changed
}

std::optional<SaveRefusal> ItemEditor::Save() {
    if (auto refusal = ValidateIdentifier())
        return refusal;
    if (auto refusal = ConfirmIdentifierElsewhere())
        return refusal;
    if (auto refusal = ValidateFields())
        return refusal;
    if (auto refusal = CheckFieldWidths())
        return refusal;
    return WriteDocument(m_folder / (controls[kIdRow].text + ".vtl"));
}

std::optional<SaveRefusal> ItemEditor::SaveCheckedIdentifier() {
    if (auto refusal = CheckIdentifierText())
        return refusal;
    if (auto refusal = CheckPathRoom(controls[kIdRow].text))
        return refusal;
    if (auto refusal = ValidateFields())
        return refusal;
    if (auto refusal = CheckFieldWidths())
        return refusal;
    return WriteDocument(m_folder / (controls[kIdRow].text + ".vtl"));
}

std::optional<SaveRefusal> ItemEditor::WriteDocument(const std::filesystem::path& target) {
    const bool wasOpen = m_path.has_value();
    if (auto refusal = KeepOthersChange())
        return refusal;
    if (wasOpen && !m_path)  // the user's version goes beside the other, as a new item
        return WriteDocument(m_folder / (controls[kIdRow].text + std::string(kItemExtension)));
    const bool renamed = m_path && *m_path != target;
    const bool clashCounts = !m_kind.texts.renameClashCaption.empty();
    auto refuseClash = [this] {
        return Refuse({FillMessage("%s already exists in this directory. Please choose another ID",
                                   {controls[kIdRow].text}),
                       std::string(m_kind.texts.renameClashCaption), Icon::Warning},
                      kIdRow);
    };
    std::error_code error;
    if ((renamed || IsNew()) && std::filesystem::exists(target, error) && clashCounts)
        return refuseClash();

    std::vector<FieldControl> typed = controls;
    PrepareSave(m_context.now());
    m_doc.OpenWrite(target);
    m_doc.WriteHeader();
    m_doc.WriteOpenTag(m_kind.rootTag);
    for (const FieldDescriptor& row : FieldRows(m_kind.fields))
        m_doc.SaveField(row, controls[static_cast<std::size_t>(row.controlId)], HashPassword);
    WriteTail(m_doc);
    m_doc.WriteCloseTag(m_kind.rootTag);
    // A new name must still be free when the document takes it: another user may have made
    // an item of that name since it was checked.
    IoResult result =
        m_doc.Commit(renamed || IsNew() ? SavePlacement::NewOnly : SavePlacement::Replace);
    if (!result.ok()) {
        controls = std::move(typed);
        if (result.code == EEXIST && clashCounts)
            return refuseClash();
        return Refuse(SaveFailure(result), std::nullopt);
    }
    if (renamed) {
        std::error_code ignored;
        std::filesystem::remove(*m_path, ignored);
    }
    m_path = target;
    m_reservation.reset();
    // What is now on disk is what later changes are measured against.
    if (ReadDocument(target))
        LoadControls();
    Saved();
    return std::nullopt;
}

}  // namespace vantorel
