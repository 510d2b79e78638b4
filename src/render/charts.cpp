#include "render/charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "documents/custom_cfg.h"
#include "platform/clock_text.h"
#include "storage/field_values.h"

namespace vantorel {

std::uint32_t RgbOf(std::uint32_t reportColour) {
    return (reportColour & 0xFF) << 16 | (reportColour & 0xFF00) | (reportColour >> 16 & 0xFF);
}

std::string HoursAndMinutes(std::int64_t minutes) {
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(minutes / 60),
                  static_cast<long long>(minutes % 60));
    return text;
}

std::vector<double> AxisTicks(double largest, bool countAxis) {
    constexpr int kTicksMax = 6;
    if (!(largest > 0))
        largest = 1;
    double magnitude = std::pow(10.0, std::floor(std::log10(largest / kTicksMax)));
    for (;; magnitude *= 10)
        for (double factor : {1.0, 2.0, 5.0}) {
            const double step = factor * magnitude;
            if ((countAxis && step < 1) || step * kTicksMax < largest)
                continue;
            std::vector<double> ticks;
            for (int tick = 0; ticks.empty() || ticks.back() < largest; ++tick)
                ticks.push_back(step * tick);
            return ticks;
        }
}

std::string TickText(double value, double step) {
    // As many decimals as the step needs: 0.5 gives one, 0.05 two, 2 none.
    const int decimals = std::clamp(static_cast<int>(-std::floor(std::log10(step) + 1e-9)), 0, 6);
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::size_t LabelStride(std::size_t count, double span, double widest, double gap) {
    if (count < 2)
        return 1;
    const double spacing = span / static_cast<double>(count - 1);
    std::size_t stride = 1;
    while (stride < count && spacing * static_cast<double>(stride) < widest + gap)
        ++stride;
    return stride;
}

Chart StatusPieChart(const StatusReportData& report) {
    Chart chart{ChartKind::Pie, "Tests by status", "Tests", {}, {}};
    for (std::size_t status = 0; status < report.statuses.size(); ++status)
        chart.series.push_back(
            {report.statuses[status],
             RgbOf(status < report.colours.size() ? report.colours[status] : 0x808080),
             {static_cast<double>(status < report.counts.size() ? report.counts[status] : 0)}});
    return chart;
}

std::string ValueText(const Chart& chart, double value) {
    if (chart.hours)
        return HoursAndMinutes(std::llround(value * 60));
    char text[32];
    if (std::fabs(value - std::round(value)) < 1e-9)
        std::snprintf(text, sizeof text, "%lld", std::llround(value));
    else
        std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string ChartText(const Chart& chart) {
    std::string text = chart.title;
    const bool lines = chart.kind == ChartKind::Lines;
    if (lines && !chart.labels.empty())
        text += ", " + chart.labels.front() + " to " + chart.labels.back();
    const char* separator = ": ";
    for (const ChartSeries& series : chart.series) {
        if (series.values.empty())
            continue;
        text += separator + series.name + " " + ValueText(chart, series.values.front());
        if (lines && series.values.size() > 1)
            text += " to " + ValueText(chart, series.values.back());
        separator = ", ";
    }
    return text;
}

Chart TimeFiguresChart(const StatusReportData& report, const CustomCfg& custom) {
    Chart chart{ChartKind::Columns, "Time figures", "Hours", {}, {}, false, true};
    const std::pair<int, std::int64_t> figures[] = {
        {RS_TOTAL_PLAN_TIME, report.totalTestTime},
        {RS_EXTRAPOLATED_TIME, report.predictedTime},
        {RS_PLANNED_PASSED_TIME, report.expectedPassedTime},
        {RS_ACTUAL_PASSED_TIME, report.expendedTime},
        {RS_FAILED_TIME, report.failedTime},
        {RS_ATTEMPTED_TIME, report.totalAttemptedTime},
    };
    for (const auto& [slot, minutes] : figures)
        chart.series.push_back({custom.ReportString(static_cast<std::size_t>(slot)),
                                RgbOf(custom.ReportColourOf(static_cast<std::size_t>(slot))),
                                {static_cast<double>(minutes) / 60.0}});
    return chart;
}

Chart ProgressLineChart(const ProgressReportData& report) {
    Chart chart{ChartKind::Lines, "Progress", "Tests", {}, {}};
    const std::size_t shown = std::min<std::size_t>(
        report.periodDates.size(),
        static_cast<std::size_t>(std::max<std::int64_t>(0, report.lastDataIndex)) + 1);
    for (std::size_t period = 0; period < shown; ++period) {
        const std::optional<CalendarDate> date = ParseStoredDate(report.periodDates[period]);
        chart.labels.push_back(date ? DisplayDate(date->year, date->month, date->day)
                                    : report.periodDates[period]);
    }
    for (std::size_t status = 0; status < report.statuses.size(); ++status) {
        ChartSeries line{report.statuses[status],
                         RgbOf(status < report.colours.size() ? report.colours[status] : 0x808080),
                         {}};
        if (status < report.series.size())
            for (std::size_t period = 0; period < shown && period < report.series[status].size();
                 ++period)
                line.values.push_back(static_cast<double>(report.series[status][period]));
        chart.series.push_back(std::move(line));
    }
    return chart;
}

}  // namespace vantorel
