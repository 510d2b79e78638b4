#pragma once
// Charts as data: what a report shows as a picture, independent of how it is drawn. The core
// builds them from report documents; a ChartPainter (the Qt charts target) draws them, so the
// core never needs a graphics library of its own.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "reports/progress_report.h"
#include "reports/status_report.h"
#include "storage/io_result.h"

namespace vantorel {

class CustomCfg;

enum class ChartKind {
    Pie,      // one slice per series, its first value
    Columns,  // one column per series, its first value
    Lines,    // one line per series over the labels
};

struct ChartSeries {
    std::string name;
    std::uint32_t colour = 0;  // 0xRRGGBB
    std::vector<double> values;
};

struct Chart {
    ChartKind kind = ChartKind::Pie;
    std::string title;
    std::string valueAxis;            // what a column or line value counts
    std::vector<std::string> labels;  // the line chart's points, dates as "d-MMM-yyyy"
    std::vector<ChartSeries> series;
    bool countAxis = true;  // the values are counts: the axis has whole-number ticks
    bool hours = false;     // the values are hours, shown as h:mm where they are written out
};

// A value as a legend or a table writes it: hours as "h:mm", as the report's tables do; a count
// whole; anything else with one decimal.
std::string ValueText(const Chart& chart, double value);

// The chart in words, for a screen reader: its title, then each series with its value (a pie
// or columns), or with its first and last values over the first and last labels (lines).
std::string ChartText(const Chart& chart);

// The ticks of a value axis: from 0 in equal round steps (1, 2 or 5 times a power of ten), at
// most six of them past 0, the last at or above largest; a count axis steps by whole numbers.
std::vector<double> AxisTicks(double largest, bool countAxis);
// The text of a tick of an axis stepping by step: as many decimals as the step has.
std::string TickText(double value, double step);
// Every how many of count labels, centred at even spaces over span pixels (from the first
// label's centre to the last's), one is shown so that none of them, each at most widest
// pixels wide, comes nearer the next than gap. The first label is always shown.
std::size_t LabelStride(std::size_t count, double span, double widest, double gap);

class ChartPainter {
public:
    virtual ~ChartPainter() = default;
    // Draws chart into a GIF file of the given size.
    virtual IoResult WriteGif(const Chart& chart, const std::filesystem::path& file, int width,
                              int height) = 0;
};

// A report colour (0x00BBGGRR) as 0xRRGGBB.
std::uint32_t RgbOf(std::uint32_t reportColour);

// The status report's pie chart of tests per status.
Chart StatusPieChart(const StatusReportData& report);
// Its column chart of the time figures, captioned and coloured by the report slots.
Chart TimeFiguresChart(const StatusReportData& report, const CustomCfg& custom);
// The progress report's line chart: one line per status over the periods reported so far.
Chart ProgressLineChart(const ProgressReportData& report);

// "HHH:MM" of a number of minutes.
std::string HoursAndMinutes(std::int64_t minutes);

}  // namespace vantorel
