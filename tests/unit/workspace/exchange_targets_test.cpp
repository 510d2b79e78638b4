#include "workspace/exchange_targets.h"

#include <gtest/gtest.h>

#include <tuple>

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kDb = "/db";
const fs::path kLibrary = kDb / "Test Cases";
const fs::path kProject = kDb / "Projects" / "Release";
const fs::path kCases = kProject / "Project Test Cases";

TreeNode Node(const fs::path& path, NodeKind kind) {
    return {path, kind, path.stem().string()};
}

ExchangeTarget TargetOf(Operation operation, const std::vector<TreeNode>& selection) {
    auto target = ExchangeTargetOf(operation, selection, kDb);
    EXPECT_TRUE(std::holds_alternative<ExchangeTarget>(target));
    return std::holds_alternative<ExchangeTarget>(target) ? std::get<ExchangeTarget>(target)
                                                          : ExchangeTarget{};
}

Notice RefusalOf(Operation operation, const std::vector<TreeNode>& selection) {
    auto target = ExchangeTargetOf(operation, selection, kDb);
    EXPECT_TRUE(std::holds_alternative<Notice>(target));
    return std::holds_alternative<Notice>(target) ? std::get<Notice>(target) : Notice{};
}

TEST(ExchangeTargetsTest, ImportsGoIntoTheSelectedSuiteOrTheSuiteOfTheSelectedTestCase) {
    const std::tuple<Operation, TreeNode, fs::path> imports[] = {
        {Operation::ImportTestCases, Node(kLibrary / "Login", TV_TEST_SUITE_FLD),
         kLibrary / "Login"},
        {Operation::ImportTestCases, Node(kLibrary / "Login" / "A.vtl", TV_TEST_TEST_DOC),
         kLibrary / "Login"},
        {Operation::ImportProjectTestCases, Node(kProject, TV_PRJ_PRJ_FLD), kCases},
        {Operation::ImportProjectTestCases, Node(kCases / "Cart" / "C.vtl", TV_PRJ_TEST_DOC),
         kCases / "Cart"},
        {Operation::ImportJUnitResults, Node(kProject / "Project Reports", TV_PRJ_RPTS_FLD),
         kProject},
    };
    for (const auto& [operation, node, folder] : imports)
        EXPECT_EQ(TargetOf(operation, {node}).folder, folder) << node.path;
}

TEST(ExchangeTargetsTest, ExportsOfferTheSelectionFirstThenTheWhole) {
    const auto suite =
        TargetOf(Operation::ExportProjectTestCasesCsv, {Node(kCases / "Cart", TV_PRJ_SUITE_FLD)})
            .scopes;
    ASSERT_EQ(suite.size(), 2u);
    EXPECT_EQ(suite[0], (CsvExportScope{"Suite \"Cart\"", kCases / "Cart", {}, "Cart.csv"}));
    EXPECT_EQ(suite[1], (CsvExportScope{"Project \"Release\"", kCases, {}, "Release.csv"}));

    // A test case inside a selected suite is written once, with its suite; other kinds are
    // left out of the selection.
    const auto mixed = TargetOf(Operation::ExportProjectTestCasesCsv,
                                {Node(kCases / "Login" / "L.vtl", TV_PRJ_TEST_DOC),
                                 Node(kCases / "Cart" / "C.vtl", TV_PRJ_TEST_DOC),
                                 Node(kCases / "Login", TV_PRJ_SUITE_FLD),
                                 Node(kProject / "Project Reports", TV_PRJ_RPTS_FLD)})
                           .scopes;
    ASSERT_EQ(mixed.size(), 2u);
    EXPECT_EQ(mixed[0].caption, "The 2 selected items");
    EXPECT_EQ(mixed[0].folder, kCases);
    EXPECT_EQ(mixed[0].items, (std::vector<fs::path>{kCases / "Cart" / "C.vtl", kCases / "Login"}));

    const auto project =
        TargetOf(Operation::ExportProjectTestCasesCsv, {Node(kProject, TV_PRJ_PRJ_FLD)}).scopes;
    ASSERT_EQ(project.size(), 1u);
    EXPECT_EQ(project[0].folder, kCases);

    const auto library = TargetOf(Operation::ExportTestCasesCsv,
                                  {Node(kLibrary / "Login" / "A.vtl", TV_TEST_TEST_DOC)})
                             .scopes;
    ASSERT_EQ(library.size(), 2u);
    EXPECT_EQ(
        library[0],
        (CsvExportScope{"Test case \"A\"", kLibrary, {kLibrary / "Login" / "A.vtl"}, "A.csv"}));
    EXPECT_EQ(library[1].folder, kLibrary);
    EXPECT_EQ(TargetOf(Operation::ExportTestCasesCsv, {Node(kLibrary, TV_TEST_ROOT)}).scopes.size(),
              1u);

    const fs::path report = kProject / "Project Reports" / "Test List Reports" / "Week.vtl";
    EXPECT_EQ(TargetOf(Operation::ExportTestListReportCsv, {Node(report, TV_RPT_DOC)}).folder,
              report);
}

TEST(ExchangeTargetsTest, ATargetOfAnotherKindIsRefused) {
    // A project suite is no library suite, and the other way round; an export needs its kind.
    const std::pair<Operation, TreeNode> refused[] = {
        {Operation::ImportTestCases, Node(kCases, TV_PRJ_TEST_FLD)},
        {Operation::ImportProjectTestCases, Node(kLibrary / "Login", TV_TEST_SUITE_FLD)},
        {Operation::ExportProjectTestCasesCsv, Node(kLibrary / "Login", TV_TEST_SUITE_FLD)},
        {Operation::ExportTestCasesCsv, Node(kCases, TV_PRJ_TEST_FLD)},
        {Operation::ExportTestListReportCsv, Node(kProject, TV_PRJ_PRJ_FLD)},
    };
    for (const auto& [operation, node] : refused)
        EXPECT_FALSE(RefusalOf(operation, {node}).text.empty()) << node.path;
}

TEST(ExchangeTargetsTest, TheProjectOfANodeIsTheFolderBelowProjects) {
    EXPECT_EQ(ProjectOf(kDb, kCases / "Cart" / "C.vtl"), kProject);
    EXPECT_EQ(ProjectOf(kDb, kProject), kProject);
    EXPECT_FALSE(ProjectOf(kDb, kDb / "Projects"));
    EXPECT_FALSE(ProjectOf(kDb, kLibrary / "Login"));
}

}  // namespace
}  // namespace vantorel::testing
