#include "filters/filter.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"
#include "platform/clock_text.h"
#include "platform/debug_log.h"
#include "storage/atomic_save.h"
#include "storage/identifiers.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace {

constexpr std::array<FilterCondition, kFilterConditionCount> kConditions{{
    {"Status", 1, FilterKind::List, false, 7, -1},
    {"Test Phase", 1, FilterKind::List, false, 4, 4},
    {"Test Type", 1, FilterKind::List, false, 3, 3},
    {"Resource IDs required", 1, FilterKind::List, false, 6, 12},
    {"Recommended config. IDs", 1, FilterKind::List, false, 5, 11},
    {"Testers", 1, FilterKind::List, false, 12, -1},
    {"Last attempt", 2, FilterKind::Date, true, 9, -1},
    {"Created", 2, FilterKind::Date, true, 21, 5},
    {"Last Update Date", 2, FilterKind::Date, true, 23, 7},
    {"Test attempts", 2, FilterKind::Number, true, 8, -1},
    {"Expected duration", 2, FilterKind::Duration, true, 2, 2},
    {"Actual duration", 2, FilterKind::Duration, true, 11, -1},
    {"Created by", 2, FilterKind::List, false, 25, 9},
    {"Last update by", 2, FilterKind::List, false, 26, 10},
    {"Actual duration is", 2, FilterKind::ActualAgainstExpected, true, 11, -1},
    {"Version tested", 2, FilterKind::List, false, 16, -1},
    {"Fault report ID", 2, FilterKind::Text, false, 13, -1},
    {"Build Tested", 2, FilterKind::List, false, 17, -1},
    {"Priority", 2, FilterKind::Priority, true, 33, 19},
    {"Notes 1", 2, FilterKind::Text, false, 30, 16},
    {"Notes 2", 2, FilterKind::Text, false, 31, 17},
    {"Requirements", 2, FilterKind::Text, false, 20, 20},
}};

constexpr const char* kHeading = "Filter::Compare";

// The field's text as a user typed it; an empty element is an empty value, a missing or broken
// one can't be read.
std::optional<std::string> FieldText(const XMLParse& document, const FieldDescriptor& field) {
    std::string value;
    const int code = document.GetTag(field.tag, value);
    if (code == 6)
        return std::string();
    if (code != 0)
        return std::nullopt;
    if (field.type == FT_RICH_TEXT) {
        StripCData(value);
        BreaksToNewlines(value);
    } else {
        Unescape(value);
    }
    return value;
}

// Fields holding several identifiers keep them as "a, b, c".
bool IsMultiValued(std::string_view tag) {
    return tag == "<rec_test_configs>" || tag == "<test_resources>" || tag == "<testers>";
}

std::vector<std::string_view> SplitEntries(std::string_view value) {
    std::vector<std::string_view> entries;
    std::size_t begin = 0;
    for (;;) {
        std::size_t comma = value.find(',', begin);
        std::string_view entry = value.substr(begin, comma - begin);
        while (!entry.empty() && entry.front() == ' ')
            entry.remove_prefix(1);
        entries.push_back(entry);
        if (comma == std::string_view::npos)
            return entries;
        begin = comma + 1;
    }
}

bool ContainsIgnoringCase(std::string_view haystack, std::string_view needle) {
    return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(),
                       [](char a, char b) {
                           return std::tolower(static_cast<unsigned char>(a)) ==
                                  std::tolower(static_cast<unsigned char>(b));
                       }) != haystack.end();
}

bool Holds(int match, long long documentValue, long long filterValue) {
    switch (match) {
        case FO_LESS_THAN:
            return documentValue < filterValue;
        case FO_EQUAL_TO:
            return documentValue == filterValue;
        case FO_GREATER_THAN:
            return documentValue > filterValue;
        case FO_NOT_EQUAL_TO:
            return documentValue != filterValue;
        default:
            return false;
    }
}

std::optional<int> PriorityPosition(std::string_view text) {
    for (std::size_t i = 0; i < std::size(kPriorities); ++i)
        if (text.size() == kPriorities[i].size() &&
            strncasecmp(text.data(), kPriorities[i].data(), text.size()) == 0)
            return static_cast<int>(i);
    return std::nullopt;
}

enum class Outcome { Pass, Fail, Unreadable };

Outcome Test(const FilterClause& clause, const FilterCondition& condition, const XMLParse& document,
             std::span<const FieldDescriptor> table, int fieldRow) {
    const std::optional<std::string> value = FieldText(document, table[fieldRow]);
    if (!value)
        return Outcome::Unreadable;
    const std::string first = clause.data.empty() ? std::string() : clause.data.front();
    auto verdict = [](bool passes) { return passes ? Outcome::Pass : Outcome::Fail; };

    switch (condition.kind) {
        case FilterKind::List: {
            std::vector<std::string_view> entries;
            if (IsMultiValued(table[fieldRow].tag))
                entries = SplitEntries(*value);
            else
                entries.push_back(*value);
            for (const std::string& wanted : clause.data)
                if (std::find(entries.begin(), entries.end(), wanted) != entries.end())
                    return Outcome::Pass;
            return Outcome::Fail;
        }
        case FilterKind::Text:
            return verdict(ContainsIgnoringCase(*value, first));
        case FilterKind::Number:
        case FilterKind::Date:
            return verdict(
                Holds(clause.match, std::atoll(value->c_str()), std::atoll(first.c_str())));
        case FilterKind::Duration:
            return verdict(Holds(clause.match, DurationMinutes(*value), DurationMinutes(first)));
        case FilterKind::ActualAgainstExpected: {
            const FieldDescriptor* expectedField = FindField(table, "<test_duration>");
            const std::optional<std::string> expected =
                expectedField ? FieldText(document, *expectedField) : std::nullopt;
            if (!expected)
                return Outcome::Unreadable;
            return verdict(
                Holds(clause.match, DurationMinutes(*value), DurationMinutes(*expected)));
        }
        case FilterKind::Priority: {
            const std::optional<int> fromDocument = PriorityPosition(*value);
            const int fromFilter = std::atoi(first.c_str());
            DebugLog::Write(kHeading, "priority from file %s - prority from filter %s\n",
                            value->c_str(), first.c_str());
            if (!fromDocument)
                return Outcome::Unreadable;
            DebugLog::Write(kHeading, "converted priority %d - %d\n", *fromDocument, fromFilter);
            return verdict(Holds(clause.match, *fromDocument, fromFilter));
        }
    }
    return Outcome::Unreadable;
}

std::string ClauseValueHtml(const FilterCondition& condition, const std::string& value) {
    if (condition.kind == FilterKind::Date) {
        if (auto date = ParseStoredDate(value))
            return DisplayDate(date->year, date->month, date->day);
    }
    if (condition.kind == FilterKind::Priority) {
        const int position = std::atoi(value.c_str());
        if (position >= 0 && position < static_cast<int>(std::size(kPriorities)))
            return std::string(kPriorities[position]);
    }
    return Escaped(value);
}

}  // namespace

const std::array<FilterCondition, kFilterConditionCount>& FilterConditions() {
    return kConditions;
}

std::vector<std::string_view> OperatorChoices(const FilterCondition& condition) {
    if (!condition.hasOperator)
        return {};
    if (condition.kind == FilterKind::Date)
        return {"Before", "Equal to", "After"};
    return {"Less than", "Equal to", "Greater than", "Not Equal to"};
}

int DurationMinutes(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return 0;
    const std::string hours(text.substr(0, colon)), minutes(text.substr(colon + 1));
    // A hand-edited duration may hold any number; it is read as far as an int of minutes goes
    // rather than wrapping round into a negative figure.
    static constexpr long long kIntMax = std::numeric_limits<int>::max();
    auto number = [](const std::string& digits) {
        return std::clamp<long long>(std::strtol(digits.c_str(), nullptr, 10), -kIntMax, kIntMax);
    };
    return static_cast<int>(std::clamp(number(hours) * 60 + number(minutes), -kIntMax, kIntMax));
}

std::string FilterDocumentText(const FilterDocument& filter) {
    std::string text(kDocumentDeclaration);
    auto element = [&text](std::string_view tag, const std::string& value) {
        text += "<";
        text += tag;
        text += ">";
        text += value;
        text += "</";
        text += tag;
        text += ">\r\n";
    };
    text += "<filter>\r\n";
    element("id", Escaped(filter.id));
    element("name", Escaped(filter.name));
    for (const FilterClause& clause : filter.clauses) {
        text += "<conditional>\r\n";
        element("CBMapIndex", std::to_string(clause.condition));
        for (const std::string& value : clause.data)
            element("data", Escaped(value));
        element("match", std::to_string(clause.match));
        text += "</conditional>\r\n";
    }
    text += "</filter>\r\n";
    return text;
}

std::optional<FilterDocument> ReadFilterDocument(const std::filesystem::path& path) {
    XMLParse document;
    if (document.OpenFastRead(path) != 0 || document.Load() != 0)
        return std::nullopt;
    std::string value;
    if (document.GetTag("<filter>", value) != 0)
        return std::nullopt;

    FilterDocument filter;
    auto text = [&document](std::string_view tag) {
        std::string found;
        document.GetTag(tag, found);
        Unescape(found);
        return found;
    };
    filter.id = text("<id>");
    filter.name = text("<name>");
    try {
        for (auto block = document.FindNextTag("<conditional>", 0); block;
             block = document.FindNextTag("<conditional>", block->end)) {
            XMLParse conditional;
            conditional.LoadText(block->value);
            FilterClause clause;
            if (conditional.GetTag("<CBMapIndex>", value) != 0)
                continue;
            clause.condition = std::atoi(value.c_str());
            if (clause.condition < 0 || clause.condition >= static_cast<int>(kFilterConditionCount))
                continue;
            for (auto data = conditional.FindNextTag("<data>", 0); data;
                 data = conditional.FindNextTag("<data>", data->end)) {
                Unescape(data->value);
                clause.data.push_back(std::move(data->value));
            }
            if (conditional.GetTag("<match>", value) == 0)
                clause.match = std::atoi(value.c_str());
            filter.clauses.push_back(std::move(clause));
        }
    } catch (const TagError&) {
        // A block cut short ends the conditions; those read so far still apply.
    }
    return filter;
}

IoResult WriteFilterDocument(const std::filesystem::path& path, const FilterDocument& filter) {
    return SaveWholeFile(path, FilterDocumentText(filter));
}

std::string FilterConditionsHtml(const FilterDocument& filter) {
    std::string html;
    for (const FilterClause& clause : filter.clauses) {
        const FilterCondition& condition = kConditions[clause.condition];
        if (!html.empty())
            html += "<br><br>and<br>";
        html += Escaped(std::string(condition.caption));
        const std::vector<std::string_view> operators = OperatorChoices(condition);
        if (clause.match >= 0 && clause.match < static_cast<int>(operators.size()))
            html += " " + std::string(operators[clause.match]);
        else if (condition.kind == FilterKind::Text)
            html += " contains";
        if (condition.kind == FilterKind::ActualAgainstExpected) {
            html += " the expected duration";
            continue;
        }
        html += " ";
        for (std::size_t i = 0; i < clause.data.size(); ++i) {
            if (i > 0)
                html += "<br>or<br>";
            html += ClauseValueHtml(condition, clause.data[i]);
        }
    }
    return html;
}

std::optional<Filter> Filter::Load(const std::filesystem::path& path) {
    std::optional<FilterDocument> document = ReadFilterDocument(path);
    if (!document)
        return std::nullopt;
    return Filter(std::move(*document));
}

bool Filter::Compare(const std::filesystem::path& documentPath, int documentKind) const {
    XMLParse document;
    if (document.OpenFastRead(documentPath) != 0 || document.Load() != 0) {
        DebugLog::Write(kHeading, "Failed to open file\n");
        return false;
    }
    return Passes(document, documentKind);
}

bool Filter::Passes(const XMLParse& document, int documentKind) const {
    const bool project = documentKind == kProjectTestCaseDocument;
    const std::span<const FieldDescriptor> table = project ? PrjTestCaseFields() : TestCaseFields();
    for (const FilterClause& clause : m_document.clauses) {
        const FilterCondition& condition = kConditions[clause.condition];
        const int row = project ? condition.projectField : condition.libraryField;
        if (row < 0)
            continue;
        switch (Test(clause, condition, document, table, row)) {
            case Outcome::Pass:
                break;
            case Outcome::Unreadable:
                DebugLog::Write(kHeading, "Couldn't match condition, use anyway\n");
                break;
            case Outcome::Fail:
                DebugLog::Write(kHeading, "didn't pass\n");
                return false;
        }
    }
    return true;
}

std::string Filter::Caption() const {
    return m_document.id + " - " + m_document.name;
}

std::vector<FilterChoice> FilterChoices(const std::filesystem::path& filtersFolder,
                                        const std::vector<std::string>& ids) {
    std::vector<FilterChoice> choices;
    for (const std::string& id : ids) {
        const std::optional<Filter> filter =
            Filter::Load(filtersFolder / (id + std::string(kItemExtension)));
        choices.push_back({id, filter && !filter->Document().name.empty()
                                   ? id + " - " + filter->Document().name
                                   : id});
    }
    return choices;
}

}  // namespace vantorel
