#include "exchange/testlink_import.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

// The columns of the table, named as the CSV import's mapping names fields.
enum Column {
    kSuite,
    kId,
    kTitle,
    kDescription,
    kPrerequisites,
    kResults,
    kPriority,
    kType,
    kDuration,
    kRequirement,
    kNotes,
    kNotes2,
    kPhase,
    kLink,
    kConfigurations,
    kResources,
    kColumns
};
constexpr std::string_view kHeader[kColumns] = {
    "suite",         "id",       "test_title", "test_description", "prerequisites",
    "test_result",   "priority", "test_type",  "test_duration",    "requirement",
    "notes1",        "notes2",   "test_phase", "external_link",    "rec_test_configs",
    "test_resources"};

// Minutes as "H:MM"; empty for a value that is no number of minutes.
std::string Duration(std::string_view minutesText) {
    const std::string text = Trimmed(minutesText);
    if (text.empty())
        return {};
    char* end = nullptr;
    const double minutes = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !(minutes >= 0) || minutes > 999 * 60 + 59)
        return {};
    const long whole = std::lround(minutes);
    return std::to_string(whole / 60) + ":" + (whole % 60 < 10 ? "0" : "") +
           std::to_string(whole % 60);
}

// The column a custom field fills when it is named as one of the fields the export writes as
// custom fields.
std::optional<Column> CustomFieldColumn(std::string_view name) {
    for (const std::string_view tag : kTestLinkCustomFieldTags)
        if (LowerCase(TestLinkCustomFieldName(tag)) == LowerCase(name))
            for (int column = 0; column < kColumns; ++column)
                if (tag.substr(1, tag.size() - 2) == kHeader[column])
                    return static_cast<Column>(column);
    return std::nullopt;
}

class TableMaker {
public:
    TableMaker(const CustomCfg& custom, const TestLinkOptions& options)
        : m_custom(custom), m_options(options) {
        m_cases.table.header.assign(std::begin(kHeader), std::end(kHeader));
    }

    void Suite(const XmlElement& suite, const std::string& path) {
        if (const std::string details = RichTextSubset(suite.ChildText("details"));
            !path.empty() && !details.empty())
            m_cases.suiteDescriptions[path] = details;
        for (const XmlElement& child : suite.children) {
            if (child.name == "testsuite") {
                const std::string name = child.Attribute("name");
                Suite(child, path.empty() ? name : name.empty() ? path : path + "/" + name);
            } else if (child.name == "testcase") {
                Case(child, path);
            }
        }
    }

    TestLinkCases Take() { return std::move(m_cases); }

private:
    void Case(const XmlElement& testCase, const std::string& suite) {
        CsvRecord& row = m_cases.table.rows.emplace_back();
        row.line = testCase.line;
        row.cells.resize(kColumns);
        row.cells[kSuite] = suite;
        const std::string full = Trimmed(testCase.ChildText("fullexternalid"));
        const std::string external = Trimmed(testCase.ChildText("externalid"));
        row.cells[kId] = !full.empty() ? full
                         : !m_options.prefix.empty() && !external.empty()
                             ? m_options.prefix + "-" + external
                             : std::string();
        row.cells[kTitle] = Trimmed(testCase.Attribute("name"));
        row.cells[kPrerequisites] = RichTextSubset(testCase.ChildText("preconditions"));

        std::string actions, results;
        if (const XmlElement* steps = testCase.Child("steps")) {
            std::vector<const XmlElement*> ordered;
            for (const XmlElement& step : steps->children)
                if (step.name == "step")
                    ordered.push_back(&step);
            std::ranges::stable_sort(ordered, {}, [](const XmlElement* step) {
                return std::atoi(step->ChildText("step_number").c_str());
            });
            bool anyAction = false, anyResult = false;
            for (const XmlElement* step : ordered) {
                const std::string action = RichTextSubset(step->ChildText("actions"));
                const std::string result = RichTextSubset(step->ChildText("expectedresults"));
                anyAction |= !action.empty();
                anyResult |= !result.empty();
                actions += "<li>" + action + "</li>";
                results += "<li>" + result + "</li>";
            }
            // A lone step with no action holds the expected results of the whole case.
            if (ordered.size() == 1 && !anyAction)
                results = RichTextSubset(ordered.front()->ChildText("expectedresults"));
            else if (anyResult)
                results = "<ol>" + results + "</ol>";
            else
                results.clear();
            actions = anyAction ? "<ol>" + actions + "</ol>" : std::string();
        }
        row.cells[kDescription] = RichTextSubset(testCase.ChildText("summary")) + actions;
        row.cells[kResults] = results;

        std::vector<std::string> notes;
        const std::string importance = Trimmed(testCase.ChildText("importance"));
        const std::string_view priority = importance == "3"   ? "High"
                                          : importance == "2" ? "Medium"
                                          : importance == "1" ? "Low"
                                                              : "";
        if (!priority.empty()) {
            row.cells[kPriority] = ListedEntry("<priority>", priority, m_custom).value_or("");
            if (row.cells[kPriority].empty())
                notes.push_back("Importance: " + std::string(priority));
        }
        const std::string execution = Trimmed(testCase.ChildText("execution_type"));
        const std::string_view type = execution == "1"   ? "Manual"
                                      : execution == "2" ? "Automated"
                                                         : "";
        if (!type.empty()) {
            row.cells[kType] = ListedEntry("<test_type>", type, m_custom).value_or("");
            if (row.cells[kType].empty())
                notes.push_back("Execution: " + std::string(type));
        }
        row.cells[kDuration] = Duration(testCase.ChildText("estimated_exec_duration"));

        std::string requirements;
        if (const XmlElement* list = testCase.Child("requirements"))
            for (const XmlElement& requirement : list->children)
                if (const std::string id = Trimmed(requirement.ChildText("doc_id")); !id.empty())
                    requirements += (requirements.empty() ? "" : ", ") + id;
        row.cells[kRequirement] = requirements;

        std::string keywords;
        if (const XmlElement* list = testCase.Child("keywords"))
            for (const XmlElement& keyword : list->children)
                if (const std::string name = Trimmed(keyword.Attribute("name")); !name.empty())
                    keywords += (keywords.empty() ? "" : ", ") + name;
        if (!keywords.empty())
            notes.push_back("Keywords: " + keywords);
        if (const XmlElement* list = testCase.Child("custom_fields"))
            for (const XmlElement& field : list->children) {
                const std::string name = Trimmed(field.ChildText("name"));
                const std::string value = Trimmed(field.ChildText("value"));
                if (value.empty())
                    continue;
                if (const std::optional<Column> column = CustomFieldColumn(name))
                    row.cells[*column] = IsRichText(*column) ? RichTextSubset(value) : value;
                else
                    notes.push_back(name + ": " + value);
            }
        std::string joined = row.cells[kNotes];
        for (const std::string& note : notes)
            joined += (joined.empty() ? "" : "<br>") + HtmlEscaped(note);
        row.cells[kNotes] = joined;
    }

    static bool IsRichText(Column column) { return column == kNotes || column == kNotes2; }

    const CustomCfg& m_custom;
    const TestLinkOptions& m_options;
    TestLinkCases m_cases;
};

}  // namespace

std::variant<TestLinkCases, std::string> TestLinkTable(const XmlElement& root,
                                                       const CustomCfg& custom,
                                                       const TestLinkOptions& options) {
    TableMaker maker(custom, options);
    if (root.name == "testsuite")
        maker.Suite(root, Trimmed(root.Attribute("name")));
    else if (root.name == "testcases")
        maker.Suite(root, {});
    else
        return "it is no TestLink export: its root element is <" + root.name +
               ">, where TestLink writes <testsuite> or <testcases>";
    return maker.Take();
}

std::optional<CsvImport> OpenTestLinkImport(const fs::path& file, const fs::path& databaseDir,
                                            const CustomCfg& custom, const TestLinkOptions& options,
                                            UserPort& port) {
    const std::string refused = "The file \"" + file.string() + "\" can't be imported: ";
    auto read = ReadXmlFile(file);
    if (const XmlFault* fault = std::get_if<XmlFault>(&read)) {
        port.tell({refused + XmlFaultText(*fault) + ". Nothing has been imported.",
                   std::string(kTestLinkImportCaption), Icon::Warning});
        return std::nullopt;
    }
    auto cases = TestLinkTable(std::get<XmlElement>(read), custom, options);
    if (const std::string* reason = std::get_if<std::string>(&cases)) {
        port.tell({refused + *reason + ". Nothing has been imported.",
                   std::string(kTestLinkImportCaption), Icon::Warning});
        return std::nullopt;
    }
    TestLinkCases& made = std::get<TestLinkCases>(cases);
    CsvImport import = CsvImport::OfFields(std::move(made.table), CsvSource::LibraryTestCases,
                                           databaseDir, custom);
    import.richText = CsvRichText::Html;
    import.suiteDescriptions = std::move(made.suiteDescriptions);
    return import;
}

std::string TestLinkCustomFieldName(std::string_view tag) {
    const FieldDescriptor* field = FindField(TestCaseFields(), tag);
    return field ? std::string(field->longHeading) : std::string();
}

std::string RichTextSubset(std::string_view html) {
    static constexpr std::string_view kKept[] = {"b", "i", "u", "ul", "ol", "li", "br"};
    std::string out;
    bool linkOpen = false;
    for (std::size_t at = 0; at < html.size();) {
        const char c = html[at];
        if (c != '<') {
            out += (c == '\r' || c == '\n' || c == '\t') ? ' ' : c;
            ++at;
            continue;
        }
        const std::size_t close = html.find('>', at);
        if (close == std::string_view::npos) {
            out += "&lt;";
            ++at;
            continue;
        }
        const std::string_view tag = html.substr(at + 1, close - at - 1);
        at = close + 1;
        const bool closing = !tag.empty() && tag[0] == '/';
        const std::string_view body = closing ? tag.substr(1) : tag;
        const std::size_t nameEnd = body.find_first_of(" \t\r\n/");
        std::string name = LowerCase(body.substr(0, nameEnd));
        if (name == "strong")
            name = "b";
        else if (name == "em")
            name = "i";
        if (!closing && (name == "script" || name == "style")) {
            // Its content is no text: dropped up to its end tag, or to the end.
            const std::size_t end = LowerCase(html.substr(at)).find("</" + name);
            at = end == std::string::npos ? html.size() : at + end;
            continue;
        }
        if (std::ranges::find(kKept, name) != std::end(kKept)) {
            out += closing ? "</" + name + ">" : "<" + name + ">";
        } else if ((name == "p" || name == "div") && closing) {
            out += "<br>";
        } else if (name == "a" && closing && linkOpen) {
            out += "</a>";
            linkOpen = false;
        } else if (name == "a" && !closing && !linkOpen) {
            const std::string lower = LowerCase(body);
            const std::size_t href = lower.find("href=\"");
            if (href != std::string::npos) {
                const std::size_t from = href + 6, to = body.find('"', from);
                const std::string link(
                    body.substr(from, to == std::string_view::npos ? 0 : to - from));
                const std::string lowerLink = LowerCase(link);
                if (lowerLink.starts_with("http://") || lowerLink.starts_with("https://")) {
                    out += "<a href=\"" + link + "\">";
                    linkOpen = true;
                }
            }
        }
    }
    if (linkOpen)
        out += "</a>";
    while (out.ends_with("<br>"))
        out.resize(out.size() - 4);
    return Trimmed(out);
}

}  // namespace vantorel
