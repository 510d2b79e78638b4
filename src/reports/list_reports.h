#pragma once
// The test list report (a table of the chosen project test cases, sixteen columns that the
// wizard or "/o" switch on and off) and the test case details report (every field and the
// history of each chosen project test case). Both keep the walk's order of the test cases.

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reports/report_base.h"

namespace vantorel {

struct ListColumn {
    std::string_view heading;
    std::string_view tag;  // the field shown; empty for the suite the test case is in
};
// The columns in their fixed order; "/o" position n switches column n.
const std::array<ListColumn, kListColumnCount>& ListColumns();

// One chosen project test case: where it lies below the project folder ("/" separated) and
// what the report keeps of it, as stored in the document.
struct ReportedTestCase {
    std::size_t order = 0;  // place in the walk
    std::string path;
    std::vector<std::string> values;
};

class TCListReport : public ReportBaseClass {
public:
    explicit TCListReport(ReportContext context);
    const std::vector<ReportedTestCase>& Rows() const { return m_rows; }

protected:
    void WriteReport(XMLParse& document) const override;
    std::unique_ptr<DocumentTally> NewTally() const override;
    void FinishStats(std::unique_ptr<DocumentTally> tally) override;

private:
    std::vector<ReportedTestCase> m_rows;
};

class TCFullReport : public ReportBaseClass {
public:
    explicit TCFullReport(ReportContext context);
    const std::vector<ReportedTestCase>& TestCases() const { return m_testCases; }

protected:
    void WriteReport(XMLParse& document) const override;
    std::unique_ptr<DocumentTally> NewTally() const override;
    void FinishStats(std::unique_ptr<DocumentTally> tally) override;

private:
    std::vector<ReportedTestCase> m_testCases;
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
