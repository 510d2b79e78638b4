#include "reports/progress_report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "documents/history.h"
#include "documents/test_group.h"
#include "platform/debug_log.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace {

// Dates in project documents and creation dates are read as "%4d%2d%2d".
std::optional<CalendarDate> ReadDate(std::string_view text) {
    CalendarDate date;
    const std::string copy(text);
    if (std::sscanf(copy.c_str(), "%4d%2d%2d", &date.year, &date.month, &date.day) != 3 ||
        date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31)
        return std::nullopt;
    return date;
}

std::string CompactDate(const CalendarDate& date) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d%02d%02d", date.year, date.month, date.day);
    return text;
}

class ProgressTally : public DocumentTally {
public:
    ProgressTally(const CustomCfg& custom, const ProgressSpan& span)
        : m_custom(custom),
          m_span(span),
          m_changes(custom.StatusCount() * static_cast<std::size_t>(span.periods), 0) {
        for (std::size_t i = 0; i < custom.StatusCount() && !m_notAttempted; ++i)
            if (custom.MeaningAt(i) == SM_NOT_YET_ATTEMPTED)
                m_notAttempted = i;
    }

    bool Take(const XMLParse& document, std::size_t, const std::filesystem::path&,
              std::string_view) override {
        const std::vector<HistoryBlock> blocks =
            LoadHistoryBlocks(document, HistoryDetail::Statuses);
        bool counted = false;
        if (blocks.empty() || blocks.front().update) {
            // Without a creation block the test case enters from its creation date, in the
            // status its first change started from (its current status when it has no history),
            // so that the first change moves it correctly.
            std::string value;
            document.GetTag("<create_date>", value);
            const CalendarDate created = ReadDate(value).value_or(m_span.start);
            std::string status;
            if (blocks.empty()) {
                document.GetTag("<test_status>", status);
                Unescape(status);
            } else {
                status = blocks.front().oldStatus;
            }
            Apply(created, false, {}, status, counted);
        }
        for (const HistoryBlock& block : blocks)
            Apply(block.when.date, block.update, block.oldStatus, block.newStatus, counted);
        return true;
    }

    void Merge(DocumentTally& other) override {
        const ProgressTally& more = static_cast<ProgressTally&>(other);
        for (std::size_t i = 0; i < m_changes.size(); ++i)
            m_changes[i] += more.m_changes[i];
        lastDataIndex = std::max(lastDataIndex, more.lastDataIndex);
    }

    // The counts per status and period: the changes summed from the first period on.
    std::vector<std::vector<std::int64_t>> Series() const {
        std::vector<std::vector<std::int64_t>> series(m_custom.StatusCount());
        for (std::size_t status = 0; status < series.size(); ++status) {
            std::int64_t running = 0;
            for (std::int64_t period = 0; period < m_span.periods; ++period) {
                running += m_changes[Cell(status, period)];
                series[status].push_back(running);
            }
        }
        return series;
    }

    std::int64_t lastDataIndex = 0;

private:
    std::size_t Cell(std::size_t status, std::int64_t period) const {
        return status * static_cast<std::size_t>(m_span.periods) + static_cast<std::size_t>(period);
    }

    // Counts a test case in a status from period on, to the last period.
    void Enter(std::optional<std::size_t> status, std::int64_t period, int by) {
        if (status)
            m_changes[Cell(*status, period)] += by;
    }

    void Apply(const CalendarDate& date, bool update, const std::string& oldStatus,
               const std::string& newStatus, bool& counted) {
        const std::int64_t period = m_span.PeriodOf(date);
        if (period > m_span.periods - 1) {
            // Created after the report's end: shown as not attempted throughout.
            if (!update && m_notAttempted) {
                Enter(m_notAttempted, 0, 1);
                counted = true;
            }
            return;
        }
        lastDataIndex = std::max(lastDataIndex, period);
        if (!update) {
            const auto status = m_custom.ResolveStatus(newStatus);
            Enter(status, period, 1);
            counted = counted || status.has_value();
            return;
        }
        if (oldStatus == newStatus)
            return;
        const auto status = m_custom.ResolveStatus(newStatus);
        Enter(status, period, 1);
        if (counted)
            Enter(m_custom.ResolveStatus(oldStatus), period, -1);
        counted = counted || status.has_value();
    }

    const CustomCfg& m_custom;
    ProgressSpan m_span;
    std::optional<std::size_t> m_notAttempted;
    std::vector<std::int64_t> m_changes;  // status-major, one cell per period
};

}  // namespace

std::int64_t DayNumber(const CalendarDate& date) {
    // Days from the civil calendar, valid for every year of the proleptic Gregorian calendar.
    // A history block may hold any numbers for a date; they are computed in 64 bits, where
    // none can overflow, and such a date falls outside every report's periods.
    const std::int64_t month = date.month, day = date.day;
    const std::int64_t year = month <= 2 ? std::int64_t{date.year} - 1 : date.year;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

CalendarDate DateOfDayNumber(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    const int day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    const int month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    const int year = static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
    return {year, month, day};
}

std::int64_t ProgressSpan::PeriodOf(const CalendarDate& date) const {
    const std::int64_t days = DayNumber(date) - DayNumber(start);
    return days < 0 ? 0 : days / periodDays;
}

CalendarDate ProgressSpan::PeriodStart(std::int64_t period) const {
    return DateOfDayNumber(DayNumber(start) + period * periodDays);
}

std::optional<ProgressSpan> SpanBetween(const CalendarDate& start, const CalendarDate& end) {
    const std::int64_t days = DayNumber(end) - DayNumber(start);
    if (days <= 0)
        return std::nullopt;
    ProgressSpan span;
    span.start = start;
    span.periodDays = days / 100 + 1;
    span.periods = days / span.periodDays + 1;
    return span;
}

ProgressReport::ProgressReport(ReportContext context)
    : ReportBaseClass(ReportKind::Progress, std::move(context)) {}

std::optional<Notice> ProgressReport::InitStats() {
    XMLParse project;
    const std::filesystem::path description = GroupDocumentPath(Request().projectFolder);
    std::optional<CalendarDate> start, end;
    if (project.OpenFastRead(description) == 0 && project.Load() == 0) {
        auto dateText = [&project](std::string_view tag) {
            std::string value;
            project.GetTag(tag, value);
            return value;
        };
        const std::string actualStart = dateText("<actual_start_date>");
        start = ReadDate(actualStart.size() >= 6 ? actualStart : dateText("<planned_start_date>"));
        const std::string actualEnd = dateText("<actual_end_date>");
        end = actualEnd.size() >= 6 ? ReadDate(actualEnd) : Context().now().date;
    }
    if (!start || !end) {
        const std::string text = "The project description " + description.string() +
                                 " could not be read or holds no start date, so the progress "
                                 "report can't be generated.";
        return KindNotice(text, "Progress Report - " + text, "Error", Icon::Warning);
    }
    m_span = SpanBetween(*start, *end);
    if (!m_span) {
        const std::string text =
            "There is no time data to generate report. The finish date for the project is the "
            "same as or earlier than the start date.";
        return KindNotice(text, "Progress Report - " + text, "Error", Icon::Information);
    }
    DebugLog::Write("ProgressReport::InitStats", "%lld periods of %lld days from %s\n",
                    static_cast<long long>(m_span->periods),
                    static_cast<long long>(m_span->periodDays), CompactDate(m_span->start).c_str());
    return std::nullopt;
}

std::unique_ptr<DocumentTally> ProgressReport::NewTally() const {
    return std::make_unique<ProgressTally>(Context().custom, *m_span);
}

void ProgressReport::FinishStats(std::unique_ptr<DocumentTally> tally) {
    const auto& progress = static_cast<ProgressTally&>(*tally);
    m_series = progress.Series();
    m_lastDataIndex = progress.lastDataIndex;
}

void ProgressReport::WriteReport(XMLParse& document) const {
    const CustomCfg& custom = Context().custom;
    document.WriteTag("<num_periods>", std::to_string(m_span->periods));
    document.WriteTag("<start_report_time>", CompactDate(m_span->start));
    document.WriteTag("<num_series>", std::to_string(custom.StatusCount()));
    for (std::size_t i = 0; i < custom.StatusCount(); ++i) {
        std::string text = custom.Status(i).text.substr(0, kStatusTextWidth);
        Escape(text);
        document.WriteTag("<report_string>", text);
        document.WriteTag("<report_colours>",
                          std::to_string(custom.ReportColourOf(MeaningSlot(custom.MeaningAt(i)))));
    }
    for (std::size_t status = 0; status < m_series.size(); ++status) {
        std::string counts;
        for (std::int64_t count : m_series[status]) {
            if (!counts.empty())
                counts += ',';
            counts += std::to_string(count);
        }
        document.WriteTag("<series" + std::to_string(status) + ">", counts);
    }
    for (std::int64_t period = 0; period < m_span->periods; ++period)
        document.WriteTag("<period_date>", CompactDate(m_span->PeriodStart(period)));
    document.WriteTag("<last_data_index>", std::to_string(m_lastDataIndex));
}

std::optional<ProgressReportData> ReadProgressReport(const std::filesystem::path& path) {
    XMLParse document;
    ProgressReportData data;
    if (!LoadReportDocument(path, ReportKind::Progress, document, data.header))
        return std::nullopt;
    std::string value;
    document.GetTag("<num_periods>", value);
    data.periods = std::atoll(value.c_str());
    document.GetTag("<start_report_time>", data.startDate);
    ReadSeriesCaptions(document, data.statuses, data.colours);
    for (std::size_t status = 0; status < data.statuses.size(); ++status) {
        std::vector<std::int64_t> counts;
        document.GetTag("<series" + std::to_string(status) + ">", value);
        for (std::size_t begin = 0; begin < value.size();) {
            const std::size_t comma = std::min(value.find(',', begin), value.size());
            counts.push_back(std::atoll(value.substr(begin, comma - begin).c_str()));
            begin = comma + 1;
        }
        data.series.push_back(std::move(counts));
    }
    data.periodDates = ReadRepeated(document, "<period_date>");
    document.GetTag("<last_data_index>", value);
    data.lastDataIndex = std::atoll(value.c_str());
    return data;
}

}  // namespace vantorel
