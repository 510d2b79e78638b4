#include "filters/filter_editor.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "documents/custom_cfg.h"
#include "documents/field_dialog.h"
#include "documents/item_editor.h"
#include "documents/reference_items.h"
#include "storage/atomic_save.h"
#include "storage/identifiers.h"

namespace vantorel {
namespace {

bool IsWholeNumber(const std::string& text) {
    return !text.empty() && text.size() <= 9 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::vector<std::string> ConditionChoices(std::size_t condition,
                                          const std::filesystem::path& databaseDir,
                                          const CustomCfg& custom) {
    const CustomTables& tables = custom.Tables();
    switch (condition) {
        case 0: {
            std::vector<std::string> statuses;
            for (const StatusEntry& status : tables.statuses)
                statuses.push_back(status.text);
            return statuses;
        }
        case 1:
            return tables.phases;
        case 2:
            return tables.types;
        case 3:
            return ItemIdsIn(databaseDir / "Resources");
        case 4:
            return ItemIdsIn(databaseDir / "Test Configurations");
        case 5:
        case 12:
        case 13:
            return FieldChoices("<testers>", custom, databaseDir);
        case 15:
            return tables.versions;
        case 17:
            return tables.builds;
        case 18:
            return {std::begin(kPriorities), std::end(kPriorities)};
        default:
            return {};
    }
}

std::string_view FilterFieldCaption(std::size_t field) {
    if (field == kFilterIdField)
        return "ID";
    if (field == kFilterNameField)
        return "Name";
    return FilterConditions().at(field - FilterConditionField(0)).caption;
}

std::unique_ptr<FilterEditor> FilterEditor::New(const std::filesystem::path& databaseDir,
                                                UserPort& port) {
    return std::unique_ptr<FilterEditor>(
        new FilterEditor(databaseDir / std::string(kFiltersFolder), port));
}

std::unique_ptr<FilterEditor> FilterEditor::Edit(const std::filesystem::path& path, UserPort& port,
                                                 const UserIdentity& identity) {
    std::unique_ptr<EditLock> lock = EditLock::Acquire(path, port, identity);
    if (!lock)
        return nullptr;
    std::optional<FilterDocument> document = ReadFilterDocument(path);
    if (!document) {
        port.tell({"Unable to open the filter " + path.string() +
                       ".\nThe file could not be read or is not a filter.",
                   "Cannot open file", Icon::Warning});
        return nullptr;
    }
    std::unique_ptr<FilterEditor> editor(new FilterEditor(path.parent_path(), port));
    editor->m_path = path;
    editor->m_lock = std::move(lock);
    editor->Load(*document);
    return editor;
}

void FilterEditor::Load(const FilterDocument& document) {
    id = document.id;
    name = document.name;
    for (const FilterClause& clause : document.clauses) {
        const FilterCondition& condition = FilterConditions()[clause.condition];
        ConditionSetting& setting = conditions[clause.condition];
        setting.enabled = true;
        setting.op = clause.match;
        const std::string first = clause.data.empty() ? std::string() : clause.data.front();
        switch (condition.kind) {
            case FilterKind::List:
                setting.selections = clause.data;
                break;
            case FilterKind::Date:
                if (auto date = ParseStoredDate(first))
                    setting.date = *date;
                break;
            case FilterKind::Priority:
                setting.priority = std::atoi(first.c_str());
                break;
            case FilterKind::ActualAgainstExpected:
                break;
            default:
                setting.text = first;
        }
    }
}

FilterDocument FilterEditor::ToDocument() const {
    FilterDocument document{id, name, {}};
    for (std::size_t index = 0; index < kFilterConditionCount; ++index) {
        const ConditionSetting& setting = conditions[index];
        if (!setting.enabled)
            continue;
        const FilterCondition& condition = FilterConditions()[index];
        FilterClause clause{static_cast<int>(index), {}, setting.op};
        switch (condition.kind) {
            case FilterKind::List:
                clause.data = setting.selections;
                clause.match = FO_EQUAL_TO;
                break;
            case FilterKind::Date:
                clause.data.push_back(StoredDate(setting.date));
                break;
            case FilterKind::Priority:
                clause.data.push_back(std::to_string(setting.priority));
                break;
            case FilterKind::ActualAgainstExpected: {
                // Nothing is typed here; the operator's caption keeps the document readable.
                const auto operators = OperatorChoices(condition);
                if (setting.op >= 0 && setting.op < static_cast<int>(operators.size()))
                    clause.data.emplace_back(operators[setting.op]);
                break;
            }
            case FilterKind::Text:
                clause.data.push_back(setting.text);
                clause.match = FO_CONTAINS;
                break;
            default:
                clause.data.push_back(setting.text);
        }
        document.clauses.push_back(std::move(clause));
    }
    return document;
}

std::string FilterEditor::WindowTitle() const {
    return IsNew() ? "Vantorel - Filter - New" : "Vantorel - Filter - Edit [" + id + "]";
}

std::optional<SaveRefusal> FilterEditor::CheckTyped(std::size_t field, std::string_view utf8) {
    const std::optional<Notice> notice = UnholdableTextNotice(FilterFieldCaption(field), utf8);
    if (!notice)
        return std::nullopt;
    return TellRefusal(m_port, *notice, field);
}

std::optional<SaveRefusal> FilterEditor::Check() {
    auto refuse = [this](std::string text, std::string caption, std::optional<std::size_t> field) {
        return TellRefusal(m_port, {std::move(text), std::move(caption), Icon::Warning}, field);
    };
    if (id.empty())
        return refuse("Please enter an ID for this filter", "Error: No ID", kFilterIdField);
    if (id.find_first_of(kForbiddenIdCharacters) != std::string::npos)
        return refuse("The ID for this filter contains illegal characters",
                      "Error: Illegal characters in ID", kFilterIdField);
    if (!ItemPathFits(m_folder, id, ".vtl"))
        return refuse(
            "Error: The combined path and filename for this filter will exceed the windows limit "
            "of 260.\nPlease decrease the ID length or path length to the database.\n",
            "Exceeds path length", kFilterIdField);
    if (!KeepsItsName() && IdentifierTaken(m_folder, id))
        return RefuseTakenId();
    // No condition is more at fault than another.
    if (std::none_of(conditions.begin(), conditions.end(),
                     [](const ConditionSetting& setting) { return setting.enabled; }))
        return refuse(
            "Error: There are no condtions set. Please select at least one condtion to use for "
            "filter!",
            "Error: No conditions set", std::nullopt);

    for (std::size_t index = 0; index < kFilterConditionCount; ++index) {
        const ConditionSetting& setting = conditions[index];
        const FilterCondition& condition = FilterConditions()[index];
        if (!setting.enabled)
            continue;
        const bool typed = condition.kind == FilterKind::Number ||
                           condition.kind == FilterKind::Duration ||
                           condition.kind == FilterKind::Text;
        const std::size_t field = FilterConditionField(index);
        if (condition.kind == FilterKind::List && setting.selections.empty())
            return refuse(FillMessage("You have checked \"%s\" but you have not made any "
                                      "selections in the \"%s\" list",
                                      {condition.caption, condition.caption}),
                          "Error: No selections", field);
        if (typed && setting.text.empty())
            return refuse(FillMessage("You have checked \"%s\" but you have not entered any data "
                                      "for it",
                                      {condition.caption}),
                          "Error: No data entered", field);
        if (condition.kind == FilterKind::Duration && !ParseDuration(setting.text))
            return refuse(DurationFormatMessage(condition.caption), "Error: Invalid data entered",
                          field);
        if (condition.kind == FilterKind::Number && !IsWholeNumber(setting.text))
            return refuse(FillMessage("Invalid data in the '%s' field.\nPlease enter a whole "
                                      "number of 0 or more.",
                                      {condition.caption}),
                          "Error: Invalid data entered", field);
    }
    return std::nullopt;
}

bool FilterEditor::KeepsItsName() const {
    return m_path && strcasecmp(m_path->stem().c_str(), id.c_str()) == 0;
}

SaveRefusal FilterEditor::RefuseTakenId() {
    return TellRefusal(m_port,
                       {"Another filter with the same ID already exists, please enter a different "
                        "ID",
                        "Error: Existing filter with same ID", Icon::Warning},
                       kFilterIdField);
}

std::optional<SaveRefusal> FilterEditor::Save() {
    if (auto refusal = Check())
        return refusal;
    const std::filesystem::path target = m_folder / (id + ".vtl");
    std::error_code error;
    // A change of letter case alone, on a disk that ignores case, names the same file.
    const bool sameFile =
        m_path && (*m_path == target || std::filesystem::equivalent(*m_path, target, error));
    // A new name must still be free when the document takes it: another user may have saved a
    // filter of that name since it was checked.
    const IoResult written =
        SaveWholeFile(target, FilterDocumentText(ToDocument()), SystemFiles(),
                      sameFile ? SavePlacement::Replace : SavePlacement::NewOnly);
    if (!written.ok()) {
        if (written.code == EEXIST)
            return RefuseTakenId();
        return TellRefusal(m_port, {"Error: unable to create file!", "Error", Icon::Warning},
                           std::nullopt);
    }
    if (m_path && !sameFile) {
        // The identifier changed: the new document is in place, so the old one and its lock
        // can go. OK closes the dialog, so nothing is edited under the new name.
        std::filesystem::remove(*m_path, error);
        m_lock.reset();
    }
    m_path = target;
    return std::nullopt;
}

}  // namespace vantorel
