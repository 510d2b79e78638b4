#pragma once
// The test list report (a table of the chosen project test cases, sixteen columns that the
// wizard or "/o" switch on and off) and the test case details report (every field and the
// history of each chosen project test case). Both keep the walk's order of the test cases.

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "reports/report_base.h"
#include "storage/tagged_document.h"

namespace vantorel {

struct ListColumn {
    std::string_view heading;
    std::string_view tag;  // the field shown; empty for the suite the test case is in
};
// The columns in their fixed order; "/o" position n switches column n.
const std::array<ListColumn, kListColumnCount>& ListColumns();

// One chosen project test case as a report gives it back: where it lies below the project
// folder ("/" separated) and the values the report keeps of it, as stored in the document.
struct ReportedTestCase {
    std::size_t order = 0;  // place in the report
    std::string path;
    std::vector<std::string> values;
};

// The suite of a test case at path below the project ("Project Test Cases/Parent/Child/X.vtl"):
// the folders between "Project Test Cases" and the document, "/" separated; empty at the top.
std::string SuiteOfPath(const std::string& path);

class RowSpool;

// One document as a row reads it: the fields the report keeps, found in a single pass over its
// text, and what a row writes, escaped in a buffer kept from one document to the next.
class RowSource {
public:
    explicit RowSource(std::span<const std::string_view> tags);
    void Scan(const XMLParse& document);
    const XMLParse& Document() const { return *m_document; }
    // The value stored under tags[which], as GetTag gives it; empty when there is none.
    std::string_view Stored(std::size_t which) const { return m_index.Stored(which); }
    // Writes tag with value in the form a report keeps values in: escaped whole, without a
    // length limit.
    void WriteKept(XMLParse& out, std::string_view tag, std::string_view value);

private:
    TagIndex m_index;
    const XMLParse* m_document = nullptr;
    std::string m_kept;
};

// What the list and details reports share: each thread writes the elements of the test cases
// it reads, the elements are put back into walk order as chunks finish and go to an unnamed
// file beside the report, and the report document is written from that file. However large
// the project, a report holds no more than a few chunks of test cases.
class RowReport : public ReportBaseClass {
public:
    ~RowReport() override;

protected:
    RowReport(ReportKind kind, ReportContext context);

    std::optional<Notice> InitStats() override;
    void FinishStats(std::unique_ptr<DocumentTally> tally) override;
    void WriteBody(PiecewiseSave& save) const override;
    // The number of test cases the walk gave the report.
    std::size_t RowCount() const;
    // The tags of the fields a row holds, by the place RowSource::Stored knows them by.
    virtual std::vector<std::string_view> RowTags() const = 0;
    // Writes the <test_case> element of one document lying at path below the project.
    virtual void WriteRow(RowSource& document, const std::string& path, XMLParse& out) const = 0;

private:
    std::unique_ptr<DocumentTally> NewTally() const override;

    std::shared_ptr<RowSpool> m_spool;
};

class TCListReport : public RowReport {
public:
    explicit TCListReport(ReportContext context);

protected:
    void WriteReport(XMLParse& document) const override;
    std::vector<std::string_view> RowTags() const override;
    void WriteRow(RowSource& document, const std::string& path, XMLParse& out) const override;
};

class TCFullReport : public RowReport {
public:
    explicit TCFullReport(ReportContext context);

protected:
    void WriteReport(XMLParse& document) const override;
    std::vector<std::string_view> RowTags() const override;
    void WriteRow(RowSource& document, const std::string& path, XMLParse& out) const override;
};

// Reads a list or details report from start to end a test case at a time, so that a report
// of any size is shown holding one test case.
class ReportRowReader {
public:
    ReportRowReader() = default;
    ~ReportRowReader();
    ReportRowReader(const ReportRowReader&) = delete;
    ReportRowReader& operator=(const ReportRowReader&) = delete;

    // Opens the report at path when it is a report of kind, reading what comes before its
    // first test case.
    bool Open(const std::filesystem::path& path, ReportKind kind);
    const ReportHeader& Header() const { return m_header; }
    // The tags before the first test case.
    const XMLParse& Head() const { return m_head; }
    // The next test case; false at the end of the report, or where it is cut short.
    bool Next(ReportedTestCase& testCase);

private:
    // Reads on; false at the end of the file or on a read failure.
    bool ReadMore();

    ReportKind m_kind = ReportKind::List;
    int m_fd = -1;
    bool m_atEnd = false;
    std::string m_buffer;
    std::size_t m_at = 0;
    std::size_t m_rows = 0;
    XMLParse m_head;
    ReportHeader m_header;
};

// A list report read back: the headings of the columns shown and one row of cells (stored
// form) per test case.
struct ListReportData {
    ReportHeader header;
    std::string columns;  // the sixteen "1"/"0" flags
    std::vector<std::string> headings;
    std::vector<ReportedTestCase> rows;
};
std::optional<ListReportData> ReadListReport(const std::filesystem::path& path);

// A details report read back: per test case its path and, exactly as the report was given
// them, the stored value of every field of the project test case table in table order, then
// its history blocks.
struct DetailsReportData {
    ReportHeader header;
    std::vector<ReportedTestCase> testCases;
};
std::optional<DetailsReportData> ReadDetailsReport(const std::filesystem::path& path);

}  // namespace vantorel
