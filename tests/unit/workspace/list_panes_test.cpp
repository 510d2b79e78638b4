#include "workspace/list_panes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "reports/status_report.h"
#include "storage/locks.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

class ListPanesTest : public ProjectTest {
protected:
    ListPanesTest() {
        AddCase("Login/TC2.vtl", {{"<test_title>", "Second"},
                                  {"<priority>", "Low"},
                                  {"<test_status>", "Pass"},
                                  {"<test_duration>", "0:50"},
                                  {"<actual_duration>", "0:45"},
                                  {"<last_attempt_date>", "20261103"}});
        AddCase("Login/TC10.vtl", {{"<test_title>", "Tenth"},
                                   {"<priority>", "High"},
                                   {"<test_status>", "Fail"},
                                   {"<test_duration>", "2:05"},
                                   {"<last_attempt_date>", "20250930"}});
        AddCase("Login/TC3.vtl", {{"<test_title>", "Third"},
                                  {"<priority>", "Highest"},
                                  {"<test_status>", "Pass"},
                                  {"<test_duration>", "10:00"},
                                  {"<last_attempt_date>", "20261101"}});
        AddCase("Login/Deep/TC4.vtl", {{"<test_status>", "Not yet attempted"},
                                       {"<test_duration>", "1:00"},
                                       {"<actual_duration>", "0:30"}});
        std::filesystem::create_directories(cases / "Login/Empty");
    }

    ListRequest Request(const std::filesystem::path& folder) {
        return {db,
                {folder, NodeKindOf(db, folder), folder.filename().string()},
                std::make_shared<const CustomCfg>(custom)};
    }

    // Every row of the folder and the filtered-out count, as the pane receives them.
    std::pair<std::vector<ListRow>, std::size_t> Rows(const ListRequest& request) {
        std::vector<ListRow> rows;
        std::size_t filteredOut = 0;
        EXPECT_TRUE(ReadListRows(request, [&](ListBatch batch) {
            std::ranges::move(batch.rows, std::back_inserter(rows));
            filteredOut += batch.filteredOut;
        }));
        return {std::move(rows), filteredOut};
    }

    static int Column(ListPane pane, std::string_view caption) {
        const auto columns = PaneColumns(pane);
        const auto found = std::ranges::find(columns, caption, &PaneColumn::caption);
        EXPECT_NE(found, columns.end()) << caption;
        return static_cast<int>(found - columns.begin());
    }

    // The row labels after sorting by the column with caption, ascending.
    static std::vector<std::string> SortedBy(std::vector<ListRow> rows, ListPane pane,
                                             std::string_view caption) {
        const int column = Column(pane, caption);
        std::ranges::stable_sort(rows, [&](const ListRow& a, const ListRow& b) {
            return CellBefore(PaneColumns(pane)[column], a.cells[column], b.cells[column]);
        });
        std::vector<std::string> labels;
        for (const ListRow& row : rows)
            labels.push_back(row.node.label);
        return labels;
    }
};

TEST_F(ListPanesTest, SortsDurationsByMinutesDatesByDateAndNamesByTheirNumbers) {
    const auto [rows, filteredOut] = Rows(Request(cases / "Login"));
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(filteredOut, 0u);
    // Folders first, then documents by name ignoring case, as the tree has them.
    EXPECT_EQ(rows[0].node.label, "Deep");
    EXPECT_EQ(rows[2].node.label, "TC10");
    const ListPane pane = LP_PRJ_TEST_CASES_LIST;
    // As text "10:00" would come before "2:05", and "0:50" first.
    EXPECT_EQ(SortedBy(rows, pane, "Hours Expected"),
              (std::vector<std::string>{"Deep", "Empty", "TC2", "TC10", "TC3"}));
    // As text "1-Nov-2026" would come before "3-Nov-2026" and "30-Sep-2025".
    EXPECT_EQ(SortedBy(rows, pane, "Last Attempt Date"),
              (std::vector<std::string>{"Deep", "Empty", "TC10", "TC3", "TC2"}));
    EXPECT_EQ(SortedBy(rows, pane, "ID"),
              (std::vector<std::string>{"Deep", "Empty", "TC2", "TC3", "TC10"}));
    // By rank: as text "High" would come before "Highest".
    EXPECT_EQ(SortedBy(rows, pane, "Priority"),
              (std::vector<std::string>{"Deep", "Empty", "TC3", "TC10", "TC2"}));
    EXPECT_EQ(rows[3].statusIcon, 1);  // TC2 passed
    EXPECT_EQ(rows[2].statusIcon, 2);  // TC10 failed
}

TEST_F(ListPanesTest, AFilterHidesExactlyTheFailingRowsAndTheTextCountsThem) {
    ListRequest request = Request(cases / "Login");
    request.filter = Filter(FilterDocument{"F", "Passed", {{0, {"Pass"}, FO_EQUAL_TO}}});
    const auto [rows, filteredOut] = Rows(request);
    std::vector<std::string> labels;
    for (const ListRow& row : rows)
        labels.push_back(row.node.label);
    // Suites stay; of the test cases only those that pass the filter.
    EXPECT_EQ(labels, (std::vector<std::string>{"Deep", "Empty", "TC2", "TC3"}));
    EXPECT_EQ(filteredOut, 1u);
    EXPECT_EQ(ListStatusText({4, 1, 2, 2}),
              "4 displayed (1 filtered out) - 2 suites - 2 test cases");
}

TEST_F(ListPanesTest, SuiteFiguresEqualAStatusReportOverTheSameSuite) {
    AddCase("Other/TC9.vtl", {{"<test_status>", "Fail"}, {"<test_duration>", "9:00"}});
    ListRequest request = Request(cases);
    request.filter = Filter(
        FilterDocument{"F", "Not failed", {{0, {"Pass", "Not yet attempted"}, FO_EQUAL_TO}}});
    const auto [rows, filteredOut] = Rows(request);
    std::vector<TreeNode> folders;
    for (const ListRow& row : rows)
        folders.push_back(row.node);
    std::vector<FolderFigures> figures;
    ReadSuiteFigures(request, folders, [&](FolderFigures f) { figures.push_back(std::move(f)); });
    ASSERT_EQ(figures.size(), 2u);
    ASSERT_EQ(figures[0].folder, cases / "Login");

    ReportRequest report = WholeProject();
    report.filter = request.filter;
    report.wholeProject = false;
    report.suites.push_back({cases / "Login", true});
    const auto file = Make(ReportKind::Status, report);
    ASSERT_TRUE(file);
    const StatusReportData data = *ReadStatusReport(*file);
    auto figure = [&](std::string_view caption) {
        const int column = Column(LP_PRJ_TEST_CASES_ROOT, caption);
        for (const auto& [index, cell] : figures[0].cells)
            if (index == column)
                return cell.text;
        return std::string("missing");
    };
    EXPECT_EQ(figure("Test Cases"), std::to_string(data.totalTests));
    EXPECT_EQ(figure("Test Cases"), "3");
    EXPECT_EQ(figure("Pass"), "2");
    EXPECT_EQ(figure("Not Yet Attempted"), "1");
    EXPECT_EQ(figure("Hours Expected"), "11:50");
    EXPECT_EQ(figure("Hours Expected"), std::to_string(data.totalTestTime / 60) + ":50");
    EXPECT_EQ(data.totalAttemptedTime, 10 * 60 + 45);
    EXPECT_EQ(figure("Actual Hours"), "10:45");
}

TEST_F(ListPanesTest, UnreadableDocumentsAreRowsWithTheirNameOnly) {
    std::ofstream(cases / "Login/Broken.vtl", std::ios::binary) << std::string("\0\1\2", 3);
    std::filesystem::create_directories(cases / "Login/Dir.vtl");
    const auto [rows, filteredOut] = Rows(Request(cases / "Login"));
    const auto broken =
        std::ranges::find(rows, "Broken", [](const ListRow& r) { return r.node.label; });
    ASSERT_NE(broken, rows.end());
    EXPECT_EQ(broken->cells[0].text, "Broken");
    EXPECT_TRUE(broken->cells[1].text.empty());
    // A folder that vanished is no list at all, not a crash.
    EXPECT_FALSE(ReadListRows(Request(cases / "Gone"), [](ListBatch) {}));
}

TEST_F(ListPanesTest, DeletingFiveSelectedOfWhichOneIsLockedDeletesFourAndNamesTheFifth) {
    std::vector<TreeNode> selected;
    for (const char* name : {"A1", "A2", "A3", "A4", "A5"}) {
        const auto file =
            AddCase(std::string("Batch/") + name + ".vtl", {{"<test_status>", "Pass"}});
        selected.push_back({file, TV_PRJ_TEST_DOC, name});
    }
    ASSERT_EQ(createLockFile(cases / "Batch/A3.vtl", {"other-pc", "erin"}), 0);
    port.ScriptAnswers({true});
    EXPECT_TRUE(DeleteItems(db, selected, "dana", port).deleted);
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_EQ(port.questions[0].text,
              "Are you sure you want to delete the 5 selected items?\n[5 test cases]");
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(Has(port.notices[0].text, "4 of the 5 test cases were deleted"));
    EXPECT_TRUE(
        Has(port.notices[0].text, "A3: This file cannot be deleted as it is open for editing"));
    EXPECT_TRUE(std::filesystem::exists(cases / "Batch/A3.vtl"));
    EXPECT_FALSE(std::filesystem::exists(cases / "Batch/A1.vtl"));
    EXPECT_FALSE(std::filesystem::exists(cases / "Batch/A5.vtl"));
}

TEST_F(ListPanesTest, ItemsInsideASelectedSuiteGoWithIt) {
    const TreeNode suite{cases / "Login", TV_PRJ_SUITE_FLD, "Login"};
    const TreeNode inside{cases / "Login/TC2.vtl", TV_PRJ_TEST_DOC, "TC2"};
    const TreeNode other{AddCase("Solo.vtl", {}), TV_PRJ_TEST_DOC, "Solo"};
    port.ScriptAnswers({true});
    EXPECT_TRUE(DeleteItems(db, {inside, suite, other}, "dana", port).deleted);
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_EQ(port.questions[0].text,
              "Are you sure you want to delete the 2 selected items?\n[1 suite and 1 test case]");
    EXPECT_TRUE(port.notices.empty());
    EXPECT_FALSE(std::filesystem::exists(cases / "Login"));
}

}  // namespace
}  // namespace vantorel::testing
