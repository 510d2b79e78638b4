#include "render/charts.h"

#include <gtest/gtest.h>

#include <cmath>

#include "documents/custom_cfg.h"

namespace vantorel {
namespace {

TEST(AxisTicks, RoundStepsFromZeroPastTheLargestValueEachLabelledWithItsValue) {
    EXPECT_EQ(AxisTicks(2, false), (std::vector<double>{0, 0.5, 1, 1.5, 2}));
    EXPECT_EQ(AxisTicks(10, true), (std::vector<double>{0, 2, 4, 6, 8, 10}));
    EXPECT_EQ(AxisTicks(7, true), (std::vector<double>{0, 2, 4, 6, 8}));
    EXPECT_EQ(AxisTicks(0, true), (std::vector<double>{0, 1}));
    // Counts never step by less than one, whatever the range.
    EXPECT_EQ(AxisTicks(3, true), (std::vector<double>{0, 1, 2, 3}));
    EXPECT_EQ(AxisTicks(1, true), (std::vector<double>{0, 1}));
    for (bool counts : {true, false})
        for (double largest : {0.3, 1.0, 2.5, 7.5, 13.0, 99.0, 101.0, 12345.0, 987654.0}) {
            const std::vector<double> ticks = AxisTicks(largest, counts);
            ASSERT_GE(ticks.size(), 2u) << largest;
            EXPECT_EQ(ticks.front(), 0);
            EXPECT_GE(ticks.back(), largest);
            EXPECT_LE(ticks.size(), 7u) << largest;
            const double step = ticks[1];
            const double mantissa = step / std::pow(10.0, std::floor(std::log10(step)));
            EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 ||
                        std::fabs(mantissa - 5) < 1e-9)
                << largest << ": step " << step;
            if (counts) {
                EXPECT_EQ(step, std::round(step)) << largest;
            }
        }

    // Each label of an axis shows its value, unlike the others: 1.5 is not shown as "2".
    const std::vector<double> hours = AxisTicks(2, false);
    std::vector<std::string> labels;
    for (double tick : hours)
        labels.push_back(TickText(tick, hours[1]));
    EXPECT_EQ(labels, (std::vector<std::string>{"0.0", "0.5", "1.0", "1.5", "2.0"}));
    EXPECT_EQ(TickText(0.15, 0.05), "0.15");
    EXPECT_EQ(TickText(40, 20), "40");
}

TEST(ValueText, TheTimeFiguresLegendWritesWhatTheTablesWrite) {
    StatusReportData report;
    report.totalTestTime = 130;  // minutes
    report.failedTime = 59;
    CustomCfg custom;
    const Chart chart = TimeFiguresChart(report, custom);
    EXPECT_EQ(ValueText(chart, chart.series[0].values[0]), HoursAndMinutes(130));
    EXPECT_EQ(ValueText(chart, chart.series[4].values[0]), HoursAndMinutes(59));
    const Chart pie = StatusPieChart(report);
    EXPECT_EQ(ValueText(pie, 4), "4");
}

// What a screen reader reads for a chart: every series that has values, a line from its first
// point to its last.
TEST(ChartText, ReadsEachSeriesAndALineFromItsFirstToItsLastPoint) {
    const Chart lines{ChartKind::Lines,
                      "Progress",
                      "Tests",
                      {"1-Mar-2026", "8-Mar-2026", "15-Mar-2026"},
                      {{"Pass", 0, {1, 4, 9}}, {"Fail", 0, {}}, {"Postponed", 0, {2}}}};
    EXPECT_EQ(ChartText(lines), "Progress, 1-Mar-2026 to 15-Mar-2026: Pass 1 to 9, Postponed 2");
    const Chart columns{ChartKind::Columns,      "Time figures", "Hours", {},
                        {{"Planned", 0, {2.5}}}, false,          true};
    EXPECT_EQ(ChartText(columns), "Time figures: Planned " + HoursAndMinutes(150));
}

TEST(LabelStride, DatesNeverTouchAndTheFirstIsAlwaysShown) {
    EXPECT_EQ(LabelStride(1, 500, 80, 12), 1u);
    EXPECT_EQ(LabelStride(5, 400, 80, 12), 1u);  // 100 pixels apart
    // Thirty dates of 80 pixels over 400: one in every seven shown, each 96.6 pixels apart.
    const std::size_t stride = LabelStride(30, 400, 80, 12);
    EXPECT_EQ(stride, 7u);
    EXPECT_GE(400.0 / 29 * static_cast<double>(stride), 92.0);
    EXPECT_LT(400.0 / 29 * static_cast<double>(stride - 1), 92.0) << "no more thinned than needed";
    // Too narrow for two: only the first.
    EXPECT_EQ(LabelStride(10, 50, 80, 12), 10u);
}

}  // namespace
}  // namespace vantorel
