#pragma once
// The progress report: period by period from the project's start to its end (or to today),
// how many of the chosen project test cases stood in each status. Each test case's history
// is replayed: it enters the series of its status in the period it was created, and every
// change of status moves it from the old series to the new one from that period on.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "documents/custom_cfg.h"
#include "reports/report_base.h"
#include "storage/field_values.h"

namespace vantorel {

// Days counted from 1 January 1970, so that dates subtract as whole days whatever the clock
// changes between them.
std::int64_t DayNumber(const CalendarDate& date);
CalendarDate DateOfDayNumber(std::int64_t days);

// The report's periods: at most about a hundred, of whole days.
struct ProgressSpan {
    CalendarDate start;
    std::int64_t periodDays = 1;
    std::int64_t periods = 1;

    // The period a date falls into; dates before the start fall into the first. May be past
    // the last period.
    std::int64_t PeriodOf(const CalendarDate& date) const;
    CalendarDate PeriodStart(std::int64_t period) const;
};
// The span from start to end; none when end is not later than start.
std::optional<ProgressSpan> SpanBetween(const CalendarDate& start, const CalendarDate& end);

class ProgressReport : public ReportBaseClass {
public:
    explicit ProgressReport(ReportContext context);

    const std::optional<ProgressSpan>& Span() const { return m_span; }
    // Count per status (list order) and period.
    const std::vector<std::vector<std::int64_t>>& Series() const { return m_series; }
    std::int64_t LastDataIndex() const { return m_lastDataIndex; }

protected:
    std::optional<Notice> InitStats() override;
    void WriteReport(XMLParse& document) const override;
    std::unique_ptr<DocumentTally> NewTally() const override;
    void FinishStats(std::unique_ptr<DocumentTally> tally) override;

private:
    std::optional<ProgressSpan> m_span;
    std::vector<std::vector<std::int64_t>> m_series;
    std::int64_t m_lastDataIndex = 0;
};

// A progress report document read back.
struct ProgressReportData {
    ReportHeader header;
    std::int64_t periods = 0;
    std::string startDate;  // <start_report_time>, "%04d%02d%02d"
    std::vector<std::string> statuses;
    std::vector<ReportColour> colours;
    std::vector<std::vector<std::int64_t>> series;
    std::vector<std::string> periodDates;  // "%04d%02d%02d"
    std::int64_t lastDataIndex = 0;
};
std::optional<ProgressReportData> ReadProgressReport(const std::filesystem::path& path);

}  // namespace vantorel
