#pragma once
// The status report: a snapshot of a project's test execution. It counts the chosen project
// test cases in each status and sums their planned and spent minutes; the report window
// shows the counts as a pie chart and the minutes as a table of time figures.

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "documents/custom_cfg.h"
#include "reports/report_base.h"

namespace vantorel {

// The sums a walk collects. Minutes and counts are kept in 64 bits so that no database can
// make them wrap.
struct StatusSums {
    std::vector<std::int64_t> perStatus;  // status list order
    std::array<std::int64_t, kMeaningCount> perMeaning{};
    std::int64_t totalTests = 0;
    std::int64_t totalTestTime = 0;
    std::int64_t expectedPassedTime = 0;  // expected minutes of the passed tests
    std::int64_t expendedTime = 0;        // minutes spent on passed tests
    std::int64_t failedTime = 0;
    std::int64_t otherTime = 0;  // actual minutes of Other and Postponed tests
    std::int64_t attemptedExpectedTime = 0;
    std::int64_t attemptedCount = 0;
};

// The figures of the report, derived once after the walk.
struct StatusFigures {
    StatusSums sums;
    std::int64_t totalAttemptedTime = 0;
    std::int64_t predictedTime = 0;
    std::int64_t averagePerAttemptedTest = 0;
    std::int64_t averagePerPlannedTest = 0;
    float perCentComplete = 0;
    float perCentTimeUsed = 0;
};

// Integer division truncates; the predicted time is worked out in floating point and
// truncated; the per cents are single precision.
StatusFigures DeriveStatusFigures(const StatusSums& sums);

class StatusReport : public ReportBaseClass {
public:
    explicit StatusReport(ReportContext context);
    const StatusFigures& Figures() const { return m_figures; }

protected:
    void WriteReport(XMLParse& document) const override;
    std::unique_ptr<DocumentTally> NewTally() const override;
    void FinishStats(std::unique_ptr<DocumentTally> tally) override;

private:
    StatusFigures m_figures;
};

// A suite a status report was made over: its path below "Project Test Cases" ("Parent/Child")
// and whether its sub-suites counted too.
struct ReportSuite {
    std::string path;
    bool includeSubSuites = true;
};

// A status report document read back.
struct StatusReportData {
    ReportHeader header;
    std::vector<std::string> statuses;  // <report_string>
    std::vector<ReportColour> colours;
    std::vector<std::int64_t> counts;  // <series_value>
    std::int64_t totalTestTime = 0, expendedTime = 0, expectedPassedTime = 0, predictedTime = 0,
                 failedTime = 0, totalAttemptedTime = 0, totalTests = 0,
                 averagePerAttemptedTest = 0, averagePerPlannedTest = 0;
    std::string perCentComplete, perCentTimeUsed;  // as written, "%0.2f"
    // The summary form: one count per meaning (Pass, Fail, Not yet attempted, Other,
    // Postponed) instead of one per status, and no colours of its own.
    bool summaryForm = false;
    // The suites it was made over, in order (<report_suite>, each followed by
    // <report_sub_suites> "Yes" or "No"); none for the whole project, as older reports have it.
    std::vector<ReportSuite> suites;
};
std::optional<StatusReportData> ReadStatusReport(const std::filesystem::path& path);

}  // namespace vantorel
