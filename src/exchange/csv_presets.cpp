#include "exchange/csv_presets.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <vector>

#include "documents/field_tables.h"

namespace vantorel {
namespace {

using enum CsvCellRule;

// TestRail's export of cases, one row a case or one row a step ("Steps (Step)").
constexpr CsvPresetColumn kTestRailColumns[] = {
    {"ID", "id"},
    {"Title", "test_title"},
    {"Section Hierarchy", "suite", SuitePath},
    {"Section", "suite", SuitePath},
    {"Type", "test_type", Listed},
    {"Priority", "priority", Listed},
    {"Estimate", "test_duration", Duration},
    {"References", "requirement"},
    {"Preconditions", "prerequisites"},
    {"Steps", "test_description"},
    {"Expected Result", "test_result"},
    {"Steps (Step)", "", StepAction},
    {"Steps (Additional Info)", "", StepData},
    {"Steps (Expected Result)", "", StepExpected},
};
constexpr std::string_view kTestRailCase[] = {"ID", "Title"};

// Kiwi TCMS's test cases, as its search page and its API name their fields ("_" and blanks
// are the same to a caption).
constexpr CsvPresetColumn kKiwiColumns[] = {
    {"ID", "id"},
    {"Summary", "test_title"},
    {"Category", "suite", SuitePath},
    {"Priority", "priority", Listed},
    {"Is automated", "test_type", Listed},
    {"Expected duration", "test_duration", Duration},
    {"Testing duration", "test_duration", Duration},
    {"Requirement", "requirement"},
    {"Text", "test_description"},
    {"Notes", "notes2"},
    {"Extra link", "external_link"},
};
constexpr std::string_view kKiwiCase[] = {"ID", "Summary"};

// Xray's test case CSV, a row for each step carrying the test's ID again.
constexpr CsvPresetColumn kXrayColumns[] = {
    {"Test ID", "id"},
    {"Issue Id", "id"},
    {"TCID", "id"},
    {"Summary", "test_title"},
    {"Test Repository Path", "suite", SuitePath},
    {"Repository Path", "suite", SuitePath},
    {"Test Repo Path", "suite", SuitePath},
    {"Description", "test_description"},
    {"Test Type", "test_type", Listed},
    {"Priority", "priority", Listed},
    {"Precondition", "prerequisites"},
    {"Requirement", "requirement"},
    {"Action", "", StepAction},
    {"Data", "", StepData},
    {"Expected Result", "", StepExpected},
    {"Result", "", StepExpected},
};
constexpr std::string_view kXrayCase[] = {"Test ID", "Issue Id", "TCID", "Summary"};

constexpr CsvPreset kPresets[] = {
    {"testrail", "TestRail", kTestRailColumns, kTestRailCase, " > "},
    {"kiwi", "Kiwi TCMS", kKiwiColumns, kKiwiCase, "/"},
    {"xray", "Xray", kXrayColumns, kXrayCase, "/"},
};

// Captions ignoring case, blanks at either end, and "_" for a blank.
bool SameColumnName(std::string_view a, std::string_view b) {
    const auto key = [](std::string_view text) {
        while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
            text.remove_prefix(1);
        while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
            text.remove_suffix(1);
        std::string made(text);
        std::ranges::replace(made, '_', ' ');
        return made;
    };
    return strcasecmp(key(a).c_str(), key(b).c_str()) == 0;
}

// Plain text in a rich-text field: what HTML reads as markup written as entities, line breaks
// as breaks.
std::string PlainAsHtml(std::string_view text) {
    const std::string escaped = PlainTextAsRichText(text);
    std::string html;
    for (std::size_t at = 0; at < escaped.size(); ++at) {
        const char c = escaped[at];
        if (c == '\r' && at + 1 < escaped.size() && escaped[at + 1] == '\n')
            continue;
        if (c == '\r' || c == '\n')
            html += "<br>";
        else
            html += c;
    }
    return html;
}

bool IsRichField(std::string_view field) {
    const FieldDescriptor* descriptor = FindField(TestCaseFields(), "<" + std::string(field) + ">");
    return descriptor && descriptor->type == FT_RICH_TEXT;
}

struct Step {
    std::string action, data, expected;
};

// One case of the new table, as its rows are read.
struct Case {
    std::size_t line = 0;
    std::map<std::string, std::string> cells;  // field -> value (rich ones in HTML)
    std::vector<Step> steps;
    std::vector<std::string> notes;
};

class Converter {
public:
    Converter(const CsvTable& table, const CsvPreset& preset, const CustomCfg& custom)
        : m_table(table), m_preset(preset), m_custom(custom), m_columnOf(table.header.size()) {
        // Each of the file's columns: the preset's column it is. Where several go to one
        // field, the one the preset names first takes it.
        std::map<std::string_view, const CsvPresetColumn*> fieldTakenBy;
        for (std::size_t column = 0; column < table.header.size(); ++column)
            for (const CsvPresetColumn& known : preset.columns)
                if (SameColumnName(table.header[column], known.caption)) {
                    m_columnOf[column] = &known;
                    m_known.insert(column);
                    const CsvPresetColumn*& taker = fieldTakenBy[known.field];
                    if (!known.field.empty() && (!taker || &known < taker))
                        taker = &known;
                    break;
                }
        for (const CsvPresetColumn*& known : m_columnOf)
            if (known && !known->field.empty() && fieldTakenBy[known->field] != known)
                known = nullptr;
        for (const std::string_view caption : preset.caseColumns)
            for (std::size_t column = 0; column < table.header.size() && !m_caseColumn; ++column)
                if (SameColumnName(table.header[column], caption))
                    m_caseColumn = column;
    }

    bool KnowsAnyColumn() const { return !m_known.empty(); }

    CsvTable Convert() {
        std::vector<Case> cases;
        std::string lastKey;
        for (const CsvRecord& row : m_table.rows) {
            const std::string key = m_caseColumn ? row.cells[*m_caseColumn] : std::string();
            // A step row leaves the case's own columns empty, or repeats its ID.
            const bool continues =
                !cases.empty() && m_caseColumn && (key.empty() || key == lastKey);
            if (!continues) {
                cases.emplace_back().line = row.line;
                lastKey = key;
            }
            Read(row, cases.back(), continues);
        }
        std::vector<std::string> fields = {"suite"};
        for (const Case& made : cases)
            for (const auto& [field, value] : made.cells)
                if (std::ranges::find(fields, field) == fields.end())
                    fields.push_back(field);
        for (const char* always : {"test_description", "test_result", "notes1"})
            if (std::ranges::find(fields, always) == fields.end())
                fields.push_back(always);
        CsvTable converted;
        converted.encoding = m_table.encoding;
        converted.separator = m_table.separator;
        converted.header = fields;
        for (Case& made : cases) {
            Finish(made);
            CsvRecord& record = converted.rows.emplace_back();
            record.line = made.line;
            for (const std::string& field : fields)
                record.cells.push_back(made.cells[field]);
        }
        return converted;
    }

private:
    void Read(const CsvRecord& row, Case& into, bool continues) {
        Step step;
        for (std::size_t column = 0; column < row.cells.size(); ++column) {
            const std::string& cell = row.cells[column];
            if (cell.empty())
                continue;
            const CsvPresetColumn* known = m_columnOf[column];
            if (!known) {
                // A column the preset doesn't know is kept as a note; a second one for a field
                // (TestRail's "Section" beside its "Section Hierarchy") says nothing more.
                if (!continues && !m_known.contains(column))
                    into.notes.push_back(m_table.header[column] + ": " + cell);
                continue;
            }
            switch (known->rule) {
                case StepAction:
                    step.action = cell;
                    continue;
                case StepData:
                    step.data = cell;
                    continue;
                case StepExpected:
                    step.expected = cell;
                    continue;
                default:
                    break;
            }
            if (continues)
                continue;  // the case's own fields are on its first row
            const std::string field(known->field);
            switch (known->rule) {
                case SuitePath:
                    into.cells[field] = SuiteOf(cell);
                    break;
                case Duration:
                    if (const auto duration = DurationOfText(cell))
                        into.cells[field] = *duration;
                    else
                        into.notes.push_back(m_table.header[column] + ": " + cell);
                    break;
                case Listed:
                    if (ListedEntry("<" + field + ">", cell, m_custom))
                        into.cells[field] = cell;
                    else
                        into.notes.push_back(m_table.header[column] + ": " + cell);
                    break;
                default:
                    into.cells[field] = IsRichField(field) ? PlainAsHtml(cell) : cell;
            }
        }
        if (!step.action.empty() || !step.data.empty() || !step.expected.empty())
            into.steps.push_back(std::move(step));
    }

    std::string SuiteOf(std::string_view cell) const {
        std::string path;
        for (std::size_t from = 0; from <= cell.size();) {
            std::size_t split = cell.find(m_preset.suiteSeparator, from);
            if (split == std::string_view::npos)
                split = cell.size();
            std::string_view level = cell.substr(from, split - from);
            while (!level.empty() && level.front() == ' ')
                level.remove_prefix(1);
            while (!level.empty() && level.back() == ' ')
                level.remove_suffix(1);
            if (!level.empty())
                path += (path.empty() ? "" : "/") + std::string(level);
            from = split + m_preset.suiteSeparator.size();
        }
        return path;
    }

    static void Finish(Case& made) {
        std::string actions, results;
        bool anyExpected = false;
        for (const Step& step : made.steps) {
            std::string action = PlainAsHtml(step.action);
            if (!step.data.empty())
                action += (action.empty() ? "" : "<br>") + PlainAsHtml(step.data);
            actions += "<li>" + action + "</li>";
            results += "<li>" + PlainAsHtml(step.expected) + "</li>";
            anyExpected |= !step.expected.empty();
        }
        if (!made.steps.empty())
            made.cells["test_description"] += "<ol>" + actions + "</ol>";
        if (anyExpected)
            made.cells["test_result"] += "<ol>" + results + "</ol>";
        std::string& notes = made.cells["notes1"];
        for (const std::string& note : made.notes)
            notes += (notes.empty() ? "" : "<br>") + PlainAsHtml(note);
    }

    const CsvTable& m_table;
    const CsvPreset& m_preset;
    const CustomCfg& m_custom;
    std::vector<const CsvPresetColumn*> m_columnOf;  // by the file's column
    std::set<std::size_t> m_known;                   // the file's columns the preset names
    std::optional<std::size_t> m_caseColumn;
};

}  // namespace

std::span<const CsvPreset> CsvPresets() {
    return kPresets;
}

const CsvPreset* FindCsvPreset(std::string_view key) {
    for (const CsvPreset& preset : kPresets)
        if (SameColumnName(preset.key, key))
            return &preset;
    return nullptr;
}

std::string CsvPresetKeys() {
    std::string keys;
    for (std::size_t i = 0; i < std::size(kPresets); ++i)
        keys += std::string(i == 0                         ? ""
                            : i + 1 == std::size(kPresets) ? " or "
                                                           : ", ") +
                std::string(kPresets[i].key);
    return keys;
}

std::optional<std::string> DurationOfText(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    if (text.empty())
        return std::nullopt;
    double seconds = 0;
    const std::string value(text);
    if (value.find(':') != std::string::npos) {
        // "H:MM" or "H:MM:SS"
        double parts[3] = {};
        int count = 0;
        const char* at = value.c_str();
        for (; count < 3; ++count) {
            char* end = nullptr;
            parts[count] = std::strtod(at, &end);
            if (end == at || parts[count] < 0)
                return std::nullopt;
            at = end;
            if (*at != ':')
                break;
            ++at;
        }
        if (*at != '\0' || count == 0 || count > 2)
            return std::nullopt;
        seconds = parts[0] * 3600 + parts[1] * 60 + (count == 2 ? parts[2] : 0);
    } else {
        // "1h 30m 10s"; a number alone is minutes.
        const char* at = value.c_str();
        bool any = false;
        while (*at != '\0') {
            while (*at == ' ')
                ++at;
            if (*at == '\0')
                break;
            char* end = nullptr;
            const double amount = std::strtod(at, &end);
            if (end == at || amount < 0)
                return std::nullopt;
            at = end;
            while (*at == ' ')
                ++at;
            const char unit = static_cast<char>(*at | 0x20);
            if (unit == 'h' || unit == 'm' || unit == 's') {
                seconds += amount * (unit == 'h' ? 3600 : unit == 'm' ? 60 : 1);
                while (*at != '\0' && *at != ' ' && !(*at >= '0' && *at <= '9'))
                    ++at;
            } else if (*at == '\0' && !any) {
                seconds = amount * 60;
            } else {
                return std::nullopt;
            }
            any = true;
        }
    }
    const long minutes = std::lround(std::ceil(seconds / 60 - 1e-9));
    if (!(seconds >= 0) || minutes > 999 * 60 + 59)
        return std::nullopt;
    return std::to_string(minutes / 60) + ":" + (minutes % 60 < 10 ? "0" : "") +
           std::to_string(minutes % 60);
}

std::variant<CsvTable, std::string> PresetTable(const CsvTable& table, const CsvPreset& preset,
                                                const CustomCfg& custom) {
    Converter converter(table, preset, custom);
    if (!converter.KnowsAnyColumn())
        return "none of its columns is one that " + std::string(preset.name) + " writes";
    return converter.Convert();
}

std::optional<CsvImport> OpenCsvImportWithPreset(const std::filesystem::path& file,
                                                 const CsvPreset& preset, CsvSource source,
                                                 const std::filesystem::path& databaseDir,
                                                 const CustomCfg& custom, UserPort& port) {
    const std::string refused = "The file \"" + file.string() + "\" can't be imported: ";
    auto read = ReadCsvFile(file);
    if (const CsvFault* fault = std::get_if<CsvFault>(&read)) {
        port.tell({refused + (fault->line > 0 ? "line " + std::to_string(fault->line) + ": " : "") +
                       fault->reason + ". Nothing has been imported.",
                   std::string(kCsvImportCaption), Icon::Warning});
        return std::nullopt;
    }
    auto converted = PresetTable(std::get<CsvTable>(read), preset, custom);
    if (const std::string* reason = std::get_if<std::string>(&converted)) {
        port.tell({refused + *reason + ". Nothing has been imported.",
                   std::string(kCsvImportCaption), Icon::Warning});
        return std::nullopt;
    }
    CsvImport import =
        CsvImport::OfFields(std::move(std::get<CsvTable>(converted)), source, databaseDir, custom);
    import.richText = CsvRichText::Html;
    return import;
}

}  // namespace vantorel
