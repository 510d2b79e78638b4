#include "documents/field_dialog.h"

#include "documents/custom_cfg.h"
#include "documents/history.h"
#include "documents/item_editor.h"
#include "documents/reference_items.h"
#include "storage/identifiers.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

struct SectionCaption {
    std::string_view tag;
    std::string_view caption;
};

// The rich-text sections name what they hold rather than the field.
constexpr SectionCaption kSections[] = {
    {"<prerequisites>", "Prerequisites and Initial Condition"},
    {"<test_description>", "Test Description and Steps"},
    {"<test_result>", "Expected Results"},
    {"<overview>", "Overview & Scope"},
    {"<resources>", "Resources & Staff Required"},
    {"<risks>", "Risks & Minimisation Actions"},
    {"<notes>", "Additional Project Notes"},
    {"<refereces>", "References to Other Documents"},
};

}  // namespace

std::string DialogCaption(const FieldDescriptor& row, const CustomCfg& custom) {
    const auto& notes = custom.Tables().notesCaptions;
    if (row.tag == "<notes1>")
        return notes[0];
    if (row.tag == "<notes2>")
        return notes[1];
    if (row.tag == "<result_notes>")
        return notes[2];
    for (const SectionCaption& section : kSections)
        if (section.tag == row.tag)
            return std::string(section.caption);
    if (row.tag == "<id>")
        return "ID";
    if (row.type == FT_PASSWORD)
        return "Password";
    return std::string(row.longHeading);
}

std::size_t FieldWidth(const FieldDescriptor& row) {
    if (row.tag == "<version_tested>" || row.tag == "<build_tested>")
        return kVersionWidth;
    if (row.tag == "<test_status>")
        return kHistoryStatusWidth;
    if (row.tag == "<test_phase>")
        return kHistoryPhaseWidth;
    if (row.tag == "<test_attempts>")
        return 9;  // any count a 32-bit number holds
    if (IsDurationField(row))
        return 7;  // "999:59"
    return kFieldValueMax - 1;
}

bool MomentMayBeUnset(const FieldDescriptor& row) {
    return (row.type == FT_DATE || row.type == FT_TIME) && !row.tag.starts_with("<create_") &&
           !row.tag.starts_with("<update_");
}

bool IsDurationField(const FieldDescriptor& row) {
    return row.tag == "<test_duration>" || row.tag == "<actual_duration>";
}

std::vector<std::string> CustomChoices(std::string_view tag, const CustomCfg& custom) {
    const CustomTables& tables = custom.Tables();
    if (tag == "<test_type>")
        return tables.types;
    if (tag == "<test_phase>")
        return tables.phases;
    if (tag == "<priority>")
        return {std::begin(kPriorities), std::end(kPriorities)};
    if (tag == "<test_status>") {
        std::vector<std::string> statuses;
        for (const StatusEntry& status : tables.statuses)
            statuses.push_back(status.text);
        return statuses;
    }
    return {};
}

std::vector<std::string> FieldChoices(std::string_view tag, const CustomCfg& custom,
                                      const std::filesystem::path& databaseDir) {
    if (tag == "<version_tested>")
        return custom.Tables().versions;
    if (tag == "<build_tested>")
        return custom.Tables().builds;
    if (tag == "<testers>") {
        // Testers are named by identity, as the current user and "Created by" are, so a
        // filter on a tester finds the executions recorded by that tester.
        std::vector<std::string> ids;
        for (const TesterEntry& tester : ListTesters(databaseDir))
            ids.push_back(tester.id);
        return ids;
    }
    if (tag == "<rec_test_configs>")
        return ItemIdsIn(databaseDir / "Test Configurations");
    if (tag == "<test_resources>")
        return ItemIdsIn(databaseDir / "Resources");
    return CustomChoices(tag, custom);
}

FieldChoiceLists ChoicesOfFields(std::span<const FieldDescriptor> rows, const CustomCfg& custom,
                                 const std::filesystem::path& databaseDir) {
    FieldChoiceLists lists;
    for (const FieldDescriptor& row : rows)
        if (!lists.contains(row.tag))
            lists.emplace(row.tag, FieldChoices(row.tag, custom, databaseDir));
    return lists;
}

bool ChoiceIsTyped(std::string_view tag) {
    return tag == "<version_tested>" || tag == "<build_tested>" || tag == "<testers>" ||
           tag == "<rec_test_configs>" || tag == "<test_resources>";
}

std::string_view EmptyChoicesText(std::string_view tag) {
    return tag == "<testers>" ? "No testers defined" : "";
}

std::optional<Notice> UnholdableTextNotice(std::string_view fieldCaption, std::string_view utf8) {
    const std::string character = FirstCharacterLatin1CantHold(utf8);
    if (character.empty())
        return std::nullopt;
    return Notice{FillMessage("The '%s' field holds the character \"%s\", which can't be "
                              "saved: documents are kept in ISO-8859-1, which has no such "
                              "character.\nPlease remove or replace it.",
                              {fieldCaption, character}),
                  "Invalid character", Icon::Warning};
}

}  // namespace vantorel
