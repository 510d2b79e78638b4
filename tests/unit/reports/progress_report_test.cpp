#include "reports/progress_report.h"

#include <limits>

#include "render/report_pages.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

using Series = std::vector<std::vector<std::int64_t>>;

class ProgressReportTest : public ProjectTest {
protected:
    // The series of a report over Alpha, which runs from 1 to 11 October: ten periods of a
    // day and the last one.
    Series Replay() {
        SetProjectDates("20261001", "", "20261011");
        const auto file = Make(ReportKind::Progress, WholeProject());
        if (!file)
            return {};
        const auto data = ReadProgressReport(*file);
        return data ? data->series : Series{};
    }

    // One status's counts over the eleven periods: 0 before the period from, count after.
    static std::vector<std::int64_t> From(std::int64_t from, std::int64_t count = 1) {
        std::vector<std::int64_t> counts(11, 0);
        for (std::int64_t period = from; period < 11; ++period)
            counts[period] = count;
        return counts;
    }
};

TEST_F(ProgressReportTest, DividesTheSpanIntoAtMostAHundredPeriods) {
    auto span = [](int days) {
        return SpanBetween({2026, 1, 1}, DateOfDayNumber(DayNumber({2026, 1, 1}) + days));
    };
    EXPECT_EQ(span(99)->periodDays, 1);
    EXPECT_EQ(span(99)->periods, 100);
    EXPECT_EQ(span(100)->periodDays, 2);
    EXPECT_EQ(span(100)->periods, 51);
    EXPECT_EQ(span(250)->periodDays, 3);
    EXPECT_EQ(span(250)->periods, 84);
    EXPECT_FALSE(span(0));
    // Whole days across the change of clocks at the end of October and over a leap day.
    EXPECT_EQ(DayNumber({2026, 10, 26}) - DayNumber({2026, 10, 24}), 2);
    EXPECT_EQ(DateOfDayNumber(DayNumber({2028, 2, 28}) + 1), (CalendarDate{2028, 2, 29}));
    // A hand-edited history may hold any numbers for a date; they order, never wrap.
    const int most = std::numeric_limits<int>::max();
    EXPECT_GT(DayNumber({2026, 999999996, 1}), DayNumber({2026, 12, 31}));
    EXPECT_GT(DayNumber({most, most, most}), DayNumber({2026, 12, 31}));
    EXPECT_LT(DayNumber({-most, -most, -most}), DayNumber({2026, 1, 1}));
}

TEST_F(ProgressReportTest, ReplaysEachHistoryIntoOneSeriesPerPeriod) {
    // Created before the start: counted from the first period; passes on 4 October.
    AddCase("S/early.vtl", {{"<create_date>", "20260915"}},
            Block("15-09-2026", false, "Not yet attempted", "Not yet attempted") +
                Block("04-10-2026", true, "Not yet attempted", "Pass"));
    // An update that keeps the text changes nothing; one in other letter case moves the test
    // case out of and back into the same series.
    AddCase("S/same.vtl", {},
            Block("02-10-2026", false, "Fail", "Fail") + Block("05-10-2026", true, "Fail", "Fail") +
                Block("06-10-2026", true, "Fail", "FAIL"));
    // Created after the end: not attempted throughout.
    AddCase("S/late.vtl", {}, Block("20-11-2026", false, "Pass", "Pass"));
    // No creation block: enters on its creation date with the status its first change left.
    AddCase("S/seeded.vtl", {{"<create_date>", "20261003"}},
            Block("08-10-2026", true, "Other", "Postponed"));
    // A change to an unknown status still takes the test case out of its old series.
    AddCase("S/unknown.vtl", {},
            Block("01-10-2026", false, "Not yet attempted", "Not yet attempted") +
                Block("09-10-2026", true, "Not yet attempted", "Mystery"));

    const Series series = Replay();
    ASSERT_EQ(series.size(), 5u);
    std::vector<std::int64_t> notAttempted = From(0, 3);  // early, late, unknown
    for (std::int64_t period = 3; period < 11; ++period)
        --notAttempted[period];  // early passes
    for (std::int64_t period = 8; period < 11; ++period)
        --notAttempted[period];  // unknown leaves for a status of no series
    EXPECT_EQ(series[0], notAttempted);
    EXPECT_EQ(series[1], From(1));  // same.vtl, from 2 October
    EXPECT_EQ(series[2], From(3));  // early.vtl, from 4 October
    std::vector<std::int64_t> other = From(2);
    for (std::int64_t period = 7; period < 11; ++period)
        other[period] = 0;
    EXPECT_EQ(series[3], other);
    EXPECT_EQ(series[4], From(7));
}

TEST_F(ProgressReportTest, WritesAReportTheChartsCanReadBack) {
    AddCase("S/a.vtl", {}, Block("03-10-2026", false, "Pass", "Pass"));
    SetProjectDates("20260901", "20261001", "");  // no end yet: up to today
    const auto file = Make(ReportKind::Progress, WholeProject());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->filename(), "Progress report - 2026-11-21-1.vtl");
    const auto data = ReadProgressReport(*file);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->header.reportType, "Progress");
    EXPECT_EQ(data->startDate, "20261001");
    EXPECT_EQ(data->periods, 52);  // 51 days
    ASSERT_EQ(data->periodDates.size(), 52u);
    EXPECT_EQ(data->periodDates[1], "20261002");
    EXPECT_EQ(data->periodDates.back(), "20261121");
    EXPECT_EQ(data->lastDataIndex, 2);
    EXPECT_EQ(data->series[2].front(), 0);
    EXPECT_EQ(data->series[2].back(), 1);
    EXPECT_EQ(data->statuses.size(), data->colours.size());
}

// A page shows the counts as stored, even ones no chart value holds exactly.
TEST_F(ProgressReportTest, ThePageShowsEveryStoredCountExactly) {
    AddCase("S/a.vtl", {}, Block("03-10-2026", false, "Pass", "Pass"));
    SetProjectDates("20261001", "", "20261003");
    const auto file = Make(ReportKind::Progress, WholeProject());
    ASSERT_TRUE(file);
    std::string text = ReadFile(*file);
    const std::size_t series = text.find("<series0>");
    ASSERT_NE(series, std::string::npos);
    text.insert(series + 9, "9223372036854775807,");
    WriteFile(*file, text);

    const auto page = RenderReportPage(*file, custom, "progress");
    ASSERT_TRUE(page);
    EXPECT_TRUE(Has(page->body, ">9223372036854775807</td>"));
}

TEST_F(ProgressReportTest, NeedsAFinishLaterThanTheStart) {
    AddCase("S/a.vtl", {}, Block("03-10-2026", false, "Pass", "Pass"));
    SetProjectDates("20261001", "", "20261001");
    EXPECT_FALSE(Make(ReportKind::Progress, WholeProject()));
    EXPECT_EQ(port.notices.back().caption, "Error");

    std::filesystem::remove(db / "Projects" / "Alpha.tgp");
    EXPECT_FALSE(Make(ReportKind::Progress, WholeProject()));
    EXPECT_EQ(port.notices.back().caption, "Error");
    EXPECT_TRUE(std::filesystem::is_empty(project / "Project Reports" / "Progress Reports"));
}

}  // namespace
}  // namespace vantorel::testing
