#include "reports/list_reports.h"

#include <algorithm>

#include "documents/field_tables.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace {

constexpr std::array<ListColumn, kListColumnCount> kColumns{{
    {"ID", "<id>"},
    {"Suite", ""},
    {"Title", "<test_title>"},
    {"Status", "<test_status>"},
    {"Priority", "<priority>"},
    {"Type", "<test_type>"},
    {"Phase", "<test_phase>"},
    {"Testers", "<testers>"},
    {"Attempts", "<test_attempts>"},
    {"Last Attempt", "<last_attempt_date>"},
    {"Expected Duration", "<test_duration>"},
    {"Actual Duration", "<actual_duration>"},
    {"Version Tested", "<version_tested>"},
    {"Build Tested", "<build_tested>"},
    {"Fault Reports", "<fault_report_id>"},
    {"Requirements", "<requirement>"},
}};

// Where a document lies below the project folder, "/" separated.
std::string RelativePath(const std::filesystem::path& file, const std::filesystem::path& project) {
    return file.lexically_relative(project).generic_string();
}

// Keeps what a kind takes of each document, with the document's place in the walk, and puts
// the threads' rows back into walk order.
class RowTally : public DocumentTally {
public:
    using Extract = std::vector<std::string> (*)(const XMLParse&, const std::string& path);

    RowTally(std::filesystem::path project, Extract extract)
        : m_project(std::move(project)), m_extract(extract) {}

    bool Take(const XMLParse& document, std::size_t order, const std::filesystem::path& folder,
              std::string_view name) override {
        std::string path = RelativePath(folder / name, m_project);
        std::vector<std::string> values = m_extract(document, path);
        rows.push_back({order, std::move(path), std::move(values)});
        return true;
    }

    void Merge(DocumentTally& other) override {
        auto& more = static_cast<RowTally&>(other).rows;
        rows.insert(rows.end(), std::make_move_iterator(more.begin()),
                    std::make_move_iterator(more.end()));
    }

    std::vector<ReportedTestCase> InWalkOrder() {
        std::sort(
            rows.begin(), rows.end(),
            [](const ReportedTestCase& a, const ReportedTestCase& b) { return a.order < b.order; });
        return std::move(rows);
    }

    std::vector<ReportedTestCase> rows;

private:
    std::filesystem::path m_project;
    Extract m_extract;
};

std::string StoredValue(const XMLParse& document, std::string_view tag) {
    std::string value;
    document.GetTag(tag, value);
    return value;
}

std::vector<std::string> ListCells(const XMLParse& document, const std::string& path) {
    std::vector<std::string> cells;
    for (const ListColumn& column : kColumns) {
        if (!column.tag.empty()) {
            cells.push_back(StoredValue(document, column.tag));
        } else {
            // The suite: the folders between "Project Test Cases" and the document.
            const auto first = path.find('/'), last = path.rfind('/');
            cells.push_back(first < last ? Escaped(path.substr(first + 1, last - first - 1))
                                         : std::string());
        }
    }
    return cells;
}

std::vector<std::string> DetailsValues(const XMLParse& document, const std::string&) {
    std::vector<std::string> values;
    for (const FieldDescriptor& field : FieldRows(PrjTestCaseFields()))
        values.push_back(StoredValue(document, field.tag));
    for (std::string& block : ReadRepeated(document, "<history_entry>"))
        values.push_back(std::move(block));
    return values;
}

// The details report holds values as their documents store them: rich text in CDATA, list
// text as typed, whole history blocks. Any of them may hold what reads as a tag, so each is
// escaped as a whole, without a length limit, and no value can end its element or its test
// case early; the reader unescapes it back to exactly what was written.
std::string KeptForm(std::string value) {
    Escape(value, std::string::npos);
    return value;
}

// Every occurrence of tag, each read whole: a test case, and an escaped rich text in it, may
// be far longer than any one field.
std::vector<std::string> WholeElements(const XMLParse& document, std::string_view tag) {
    std::vector<std::string> elements;
    try {
        for (auto match = document.FindNextTag(tag, 0, std::string::npos); match;
             match = document.FindNextTag(tag, match->end, std::string::npos))
            elements.push_back(std::move(match->value));
    } catch (const TagError&) {
    }
    return elements;
}

// A value as it was before KeptForm.
std::string FromKeptForm(std::string value) {
    Unescape(value, std::string::npos);
    return value;
}

}  // namespace

const std::array<ListColumn, kListColumnCount>& ListColumns() {
    return kColumns;
}

TCListReport::TCListReport(ReportContext context)
    : ReportBaseClass(ReportKind::List, std::move(context)) {}

std::unique_ptr<DocumentTally> TCListReport::NewTally() const {
    return std::make_unique<RowTally>(Request().projectFolder, ListCells);
}

void TCListReport::FinishStats(std::unique_ptr<DocumentTally> tally) {
    m_rows = static_cast<RowTally&>(*tally).InWalkOrder();
}

void TCListReport::WriteReport(XMLParse& document) const {
    const auto& shown = Request().listColumns;
    std::string flags;
    for (bool on : shown)
        flags += on ? '1' : '0';
    document.WriteTag("<columns>", flags);
    for (std::size_t column = 0; column < kListColumnCount; ++column)
        if (shown[column])
            document.WriteTag("<column_heading>", kColumns[column].heading);
    document.WriteTag("<num_test_cases>", std::to_string(m_rows.size()));
    for (const ReportedTestCase& row : m_rows) {
        document.WriteOpenTag("<test_case>");
        document.WriteTag("<path>", Escaped(row.path));
        for (std::size_t column = 0; column < kListColumnCount; ++column)
            if (shown[column])
                document.WriteTag("<cell>", row.values[column]);
        document.WriteCloseTag("<test_case>");
    }
}

TCFullReport::TCFullReport(ReportContext context)
    : ReportBaseClass(ReportKind::Details, std::move(context)) {}

std::unique_ptr<DocumentTally> TCFullReport::NewTally() const {
    return std::make_unique<RowTally>(Request().projectFolder, DetailsValues);
}

void TCFullReport::FinishStats(std::unique_ptr<DocumentTally> tally) {
    m_testCases = static_cast<RowTally&>(*tally).InWalkOrder();
}

void TCFullReport::WriteReport(XMLParse& document) const {
    const auto fields = FieldRows(PrjTestCaseFields());
    document.WriteTag("<num_test_cases>", std::to_string(m_testCases.size()));
    for (const ReportedTestCase& testCase : m_testCases) {
        document.WriteOpenTag("<test_case>");
        document.WriteTag("<path>", KeptForm(testCase.path));
        for (std::size_t i = 0; i < testCase.values.size(); ++i)
            document.WriteTag(i < fields.size() ? fields[i].tag : "<history_entry>",
                              KeptForm(testCase.values[i]));
        document.WriteCloseTag("<test_case>");
    }
}

std::optional<ListReportData> ReadListReport(const std::filesystem::path& path) {
    ListReportData data;
    XMLParse document;
    if (!LoadReportDocument(path, ReportKind::List, document, data.header))
        return std::nullopt;
    document.GetTag("<columns>", data.columns);
    for (std::string& heading : ReadRepeated(document, "<column_heading>"))
        data.headings.push_back(std::move(heading));
    std::size_t order = 0;
    for (std::string& text : ReadRepeated(document, "<test_case>")) {
        XMLParse row;
        row.LoadText(std::move(text));
        ReportedTestCase testCase{order++, StoredValue(row, "<path>"), ReadRepeated(row, "<cell>")};
        Unescape(testCase.path);
        data.rows.push_back(std::move(testCase));
    }
    return data;
}

std::optional<DetailsReportData> ReadDetailsReport(const std::filesystem::path& path) {
    DetailsReportData data;
    XMLParse document;
    if (!LoadReportDocument(path, ReportKind::Details, document, data.header))
        return std::nullopt;
    for (std::string& text : WholeElements(document, "<test_case>")) {
        XMLParse testCase;
        testCase.LoadText(std::move(text));
        // Each tag is there once: no value holds a "<" of its own.
        auto first = [&testCase](std::string_view tag) {
            std::vector<std::string> found = WholeElements(testCase, tag);
            return found.empty() ? std::string() : FromKeptForm(std::move(found.front()));
        };
        ReportedTestCase kept{data.testCases.size(), first("<path>"), {}};
        for (const FieldDescriptor& field : FieldRows(PrjTestCaseFields()))
            kept.values.push_back(first(field.tag));
        for (std::string& block : WholeElements(testCase, "<history_entry>"))
            kept.values.push_back(FromKeptForm(std::move(block)));
        data.testCases.push_back(std::move(kept));
    }
    return data;
}

}  // namespace vantorel
