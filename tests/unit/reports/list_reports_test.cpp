#include "reports/list_reports.h"

#include <algorithm>

#include "documents/field_tables.h"
#include "documents/history.h"
#include "render/report_pages.h"
#include "reports/status_report.h"
#include "storage/tagged_document.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

class ListReportsTest : public ProjectTest {};

TEST_F(ListReportsTest, ListShowsTheChosenColumnsAsStored) {
    AddCase("Login/A.vtl", {{"<id>", "A"},
                            {"<test_status>", "Pass"},
                            {"<test_title>", "R&amp;D"},
                            {"<last_attempt_date>", "20261006"}});
    AddCase("Login/Deep/B.vtl", {{"<id>", "B"}, {"<test_status>", "Fail"}});
    ReportRequest request = WholeProject();
    request.listColumns.fill(true);
    request.listColumns[1] = false;  // no suite column
    request.threads = 3;
    const auto file = Make(ReportKind::List, request);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->filename(), "List report - 2026-11-21-1.vtl");

    const auto data = ReadListReport(*file);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->header.reportType, "List");
    EXPECT_EQ(data->columns, "1011111111111111");
    ASSERT_EQ(data->headings.size(), 15u);
    EXPECT_EQ(data->headings[0], "ID");
    EXPECT_EQ(data->headings[1], "Title");
    ASSERT_EQ(data->rows.size(), 2u);
    // The order is the walk's, held by RowsComeInWalkOrderWhateverTheThreads; here, what a row
    // keeps.
    const auto a =
        std::ranges::find(data->rows, "Project Test Cases/Login/A.vtl", &ReportedTestCase::path);
    ASSERT_NE(a, data->rows.end());
    ASSERT_EQ(a->values.size(), 15u);
    EXPECT_EQ(a->values[0], "A");
    EXPECT_EQ(a->values[1], "R&amp;D");  // cells keep the stored form
    EXPECT_EQ(a->values[2], "Pass");
    // The page shows dates in their display form, keeps identifiers on one line and lets only
    // titles and free text wrap, inside a box of its own that scrolls.
    const auto page = RenderReportPage(*file, custom, "list");
    ASSERT_TRUE(page);
    EXPECT_TRUE(Has(page->body, "<div class=TableScroll><table class=\"List Wide\">"));
    EXPECT_TRUE(Has(page->body, ">6-Oct-2026</td>")) << page->body;
    EXPECT_TRUE(Has(page->body, " Wraps\">R&amp;D</td>"));
    EXPECT_TRUE(Has(page->body, "\">A</td>"));
}

TEST_F(ListReportsTest, RowsComeInWalkOrderWhateverTheThreads) {
    // More test cases than one chunk of the walk, in several folders, so that threads finish
    // chunks out of order and the report must put them back.
    for (int suite = 0; suite < 5; ++suite)
        for (int n = 0; n < 150; ++n)
            AddCase("S" + std::to_string(suite) + "/T" + std::to_string(n) + ".vtl",
                    {{"<id>", "T" + std::to_string(n)}, {"<test_status>", "Pass"}});
    std::vector<std::vector<std::string>> paths;
    for (unsigned threads : {1u, 4u})
        for (ReportKind kind : {ReportKind::List, ReportKind::Details}) {
            ReportRequest request = WholeProject();
            request.threads = threads;
            request.name = "threads-" + std::to_string(threads);
            const auto file = Make(kind, request);
            ASSERT_TRUE(file);
            std::vector<ReportedTestCase> rows = kind == ReportKind::List
                                                     ? ReadListReport(*file)->rows
                                                     : ReadDetailsReport(*file)->testCases;
            ASSERT_EQ(rows.size(), 750u);
            paths.emplace_back();
            for (const ReportedTestCase& row : rows)
                paths.back().push_back(row.path);
        }
    EXPECT_EQ(paths[0], paths[1]);
    EXPECT_EQ(paths[0], paths[2]);
    EXPECT_EQ(paths[0], paths[3]);
}

TEST_F(ListReportsTest, AReportCutShortShowsTheTestCasesBeforeTheCut) {
    for (const char* name : {"A", "B", "C"})
        AddCase(std::string("S/") + name + ".vtl", {{"<id>", name}, {"<test_status>", "Pass"}});
    ReportRequest request = WholeProject();
    request.threads = 1;
    const auto file = Make(ReportKind::Details, request);
    ASSERT_TRUE(file);
    const std::string whole = ReadFile(*file);
    const std::size_t third = whole.rfind("<test_case>");
    WriteFile(*file, whole.substr(0, third + 40));

    const auto data = ReadDetailsReport(*file);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->testCases.size(), 2u);
    const auto page = RenderReportPage(*file, custom, "cut");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->body.find("<h2>", page->body.find("<h2>", page->body.find("<h2>") + 1) + 1),
              std::string::npos);
    // What is no report of its kind has no rows.
    EXPECT_FALSE(ReadListReport(*file));
    WriteFile(*file, "<details_report>\r\n<report_type>Full</report_type>\r\n<test_case><path>");
    ASSERT_TRUE(ReadDetailsReport(*file));
    EXPECT_TRUE(ReadDetailsReport(*file)->testCases.empty());
}

// Details hold every field and the history, and give back any value as it was written, so
// that none forges an entry.
TEST_F(ListReportsTest, DetailsHoldEveryFieldAndTheHistoryAndGiveBackAnyValue) {
    const std::string forged = "</test_case>\r\n<test_case>\r\n<path>evil</path><id>X</id>";
    AddCase("Login/A.vtl",
            {{"<id>", "A"},
             {"<test_type>", "Manual " + forged},
             {"<test_status>", "Pass"},
             {"<test_description>", "<![CDATA[Step " + forged + " &amp; &#x0A; done]]>"}},
            Block("01-10-2026", false, "Not yet attempted", "Not yet attempted") +
                Block("02-10-2026", true, "Not yet attempted", "Pass"));
    const auto file = Make(ReportKind::Details, WholeProject());
    ASSERT_TRUE(file);
    EXPECT_EQ(ReadReportKind(*file), ReportKind::Details);
    EXPECT_EQ(ReadStatusReport(*file), std::nullopt);

    const auto data = ReadDetailsReport(*file);
    ASSERT_TRUE(data);
    ASSERT_EQ(data->testCases.size(), 1u);
    const ReportedTestCase& kept = data->testCases[0];
    EXPECT_EQ(kept.path, "Project Test Cases/Login/A.vtl");
    const auto fields = FieldRows(PrjTestCaseFields());
    ASSERT_EQ(kept.values.size(), fields.size() + 2);
    auto value = [&](std::string_view tag) {
        for (std::size_t i = 0; i < fields.size(); ++i)
            if (fields[i].tag == tag)
                return kept.values[i];
        return std::string("no such field");
    };
    EXPECT_EQ(kept.values[7], "Pass");  // <test_status>
    EXPECT_EQ(value("<test_type>"), "Manual " + forged);
    EXPECT_EQ(value("<test_description>"), "<![CDATA[Step " + forged + " &amp; &#x0A; done]]>");
    XMLParse lastBlock;
    lastBlock.LoadText("<history_entry>" + kept.values[fields.size() + 1] + "</history_entry>");
    const auto history = LoadHistoryBlocks(lastBlock);
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].newStatus, "Pass");

    // The list report keeps its cells the same way.
    const auto list = Make(ReportKind::List, WholeProject());
    ASSERT_TRUE(list);
    const auto rows = ReadListReport(*list);
    ASSERT_TRUE(rows);
    ASSERT_EQ(rows->rows.size(), 1u);
    EXPECT_EQ(rows->rows[0].values[5], "Manual " + forged);

    // Its page shows the one test case, headed by its identifier with its suite beneath, and
    // the texts as they were written.
    const auto page = RenderReportPage(*file, custom, "details");
    ASSERT_TRUE(page);
    EXPECT_TRUE(Has(page->body, "<h2>A</h2>\n<p class=Meaning>Suite Login</p>")) << page->body;
    EXPECT_EQ(page->body.find("<h2>", page->body.find("<h2>") + 1), std::string::npos);
    EXPECT_FALSE(Has(page->body, "evil</h2>"));
    EXPECT_TRUE(Has(page->body, "<td>Step " + forged + " &amp; &#x0A; done</td>")) << page->body;
    EXPECT_TRUE(Has(page->body, "<td>Manual &lt;/test_case&gt;"));
}

}  // namespace
}  // namespace vantorel::testing
