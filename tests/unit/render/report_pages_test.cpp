#include "render/report_pages.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

class ReportPagesTest : public ProjectTest {};

// What the report window shows of a status report is what its page shows: the rows and the
// figures come from one place.
TEST_F(ReportPagesTest, StatusRowsAndFiguresAreThoseOfTheReportPage) {
    AddCase("S/A.vtl", {{"<test_status>", "Pass"}, {"<test_duration>", "2:00"}});
    AddCase("S/B.vtl", {{"<test_status>", "Pass"}, {"<test_duration>", "1:30"}});
    AddCase("S/C.vtl", {{"<test_status>", "Fail"}, {"<test_duration>", "0:30"}});
    const std::filesystem::path report = *Make(ReportKind::Status, WholeProject());
    const std::optional<StatusReportData> data = ReadShownStatusReport(report, custom);
    ASSERT_TRUE(data);

    const std::vector<ReportStatusRow> rows = StatusRows(*data);
    ASSERT_EQ(rows.size(), data->statuses.size());
    std::int64_t total = 0;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        EXPECT_EQ(rows[row].status, data->statuses[row]);
        EXPECT_EQ(rows[row].colour, data->colours[row]);
        total += rows[row].count;
    }
    EXPECT_EQ(total, 3);
    const auto pass = std::ranges::find(rows, std::string("Pass"), &ReportStatusRow::status);
    ASSERT_NE(pass, rows.end());
    EXPECT_EQ(pass->count, 2);
    EXPECT_EQ(pass->share, "66.7 %");

    const std::vector<FigureRow> figures = TimeFigureRows(*data, custom);
    ASSERT_EQ(figures.size(), 10u);
    EXPECT_EQ(figures[0].caption, custom.ReportString(RS_TOTAL_PLAN_TIME));
    EXPECT_EQ(figures[0].value, HoursAndMinutes(240));
    EXPECT_EQ(figures[8].value, data->perCentComplete + " %");

    const std::optional<ReportPage> page = RenderReportPage(report, custom, "r");
    ASSERT_TRUE(page);
    for (const ReportStatusRow& row : rows)
        EXPECT_TRUE(Has(page->body, ">" + row.share + "<")) << row.status;
    for (const FigureRow& figure : figures)
        EXPECT_TRUE(Has(page->body, figure.caption));
}

TEST_F(ReportPagesTest, PrintedReportsNameProjectReportAndDate) {
    ReportHeader header;
    header.createDate = "20261105";
    header.createTime = "09:15:00";
    const std::filesystem::path report =
        project / "Project Reports" / "Status Reports" / "Week <45>.vtl";
    const PrintHeading heading = PrintHeadingOf(report, header);
    EXPECT_EQ(heading.project, "Alpha");
    EXPECT_EQ(heading.report, "Week <45>");
    EXPECT_EQ(heading.created, "5-Nov-2026 09:15:00");
    const std::string html = PrintHeadingHtml(heading);
    EXPECT_TRUE(Has(html, "Week &lt;45&gt;"));
    EXPECT_FALSE(Has(html, "<45>"));
    EXPECT_EQ(PrintFooterText(heading, 2, 7), "Alpha - Week <45> - Page 2 of 7");
    EXPECT_EQ(ReportNotPrinted(heading).caption, "Print error");
}

TEST_F(ReportPagesTest, AReportThatCantBeReadIsNamedInItsMessage) {
    const std::filesystem::path broken = project / "Project Reports" / "Status Reports" / "X.vtl";
    WriteFile(broken, "<status_report><id>X</id>");
    EXPECT_FALSE(ReadReportKind(broken));
    const Notice notice = UnreadableReport(broken);
    EXPECT_EQ(notice.caption, "Error displaying report");
    EXPECT_TRUE(Has(notice.text, "\"X\""));
    EXPECT_TRUE(Has(notice.text, broken.string()));
    EXPECT_EQ(notice.icon, Icon::Warning);
}

}  // namespace
}  // namespace vantorel::testing
