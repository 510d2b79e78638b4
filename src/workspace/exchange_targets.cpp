#include "workspace/exchange_targets.h"

#include <algorithm>

#include "documents/test_group.h"
#include "storage/identifiers.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;

bool Below(const fs::path& item, const fs::path& folder) {
    const fs::path relative = item.lexically_relative(folder);
    return !relative.empty() && *relative.begin() != ".." && relative != ".";
}

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

// The selected test cases and suites the export writes: those inside root, of the kinds
// given, without any that lies in another selected suite (it would be written twice).
std::vector<fs::path> SelectedItems(const std::vector<TreeNode>& selection, const fs::path& root,
                                    NodeKind suiteKind, NodeKind documentKind) {
    std::vector<fs::path> items;
    for (const TreeNode& node : selection)
        if ((node.kind == suiteKind || node.kind == documentKind) && Below(node.path, root))
            items.push_back(node.path);
    std::erase_if(items, [&items](const fs::path& item) {
        return std::ranges::any_of(items,
                                   [&item](const fs::path& other) { return Below(item, other); });
    });
    std::sort(items.begin(), items.end());
    items.erase(std::unique(items.begin(), items.end()), items.end());
    return items;
}

// One suite is a suite's export; anything else writes the selected items below root.
CsvExportScope SelectionScope(const std::vector<fs::path>& items, const fs::path& root) {
    CsvExportScope scope;
    scope.folder = root;
    if (items.size() == 1 && items.front().extension().string() != kItemExtension) {
        scope.caption = "Suite " + Quoted(items.front().filename().string());
        scope.folder = items.front();
        scope.fileName = items.front().filename().string() + ".csv";
        return scope;
    }
    scope.items = items;
    scope.caption = items.size() == 1 ? "Test case " + Quoted(items.front().stem().string())
                                      : "The " + std::to_string(items.size()) + " selected items";
    scope.fileName =
        (items.size() == 1 ? items.front().stem().string() : "Selected test cases") + ".csv";
    return scope;
}

}  // namespace

std::optional<fs::path> ProjectOf(const fs::path& databaseDir, const fs::path& node) {
    const fs::path projects = databaseDir / "Projects";
    if (!Below(node, projects))
        return std::nullopt;
    return projects / *node.lexically_relative(projects).begin();
}

Notice ExchangeBusyNotice() {
    return {
        "An import or export is still running. Wait until it has ended, or cancel it with "
        "the Cancel button of the status bar.",
        "Import and export", Icon::Warning};
}

std::variant<ExchangeTarget, Notice> ExchangeTargetOf(Operation operation,
                                                      const std::vector<TreeNode>& selection,
                                                      const fs::path& databaseDir) {
    const TreeNode current = selection.empty() ? TreeNode{} : selection.front();
    const std::optional<fs::path> project = ProjectOf(databaseDir, current.path);
    const fs::path library = databaseDir / "Test Cases";
    ExchangeTarget target;
    switch (operation) {
        case Operation::ImportTestCases:
        case Operation::ImportTestLink:
            if (current.kind == TV_TEST_SUITE_FLD ||
                (operation == Operation::ImportTestLink && current.kind == TV_TEST_ROOT))
                target.folder = current.path;
            else if (current.kind == TV_TEST_TEST_DOC)
                target.folder = current.path.parent_path();
            else
                return Notice{
                    "Please select the test suite of the library to import the test "
                    "cases into",
                    "No test suite selected", Icon::Warning};
            return target;
        case Operation::ImportProjectTestCases:
            if (current.kind == TV_PRJ_PRJ_FLD)
                target.folder = current.path / std::string(kProjectTestCasesFolder);
            else if (current.kind == TV_PRJ_TEST_FLD || current.kind == TV_PRJ_SUITE_FLD)
                target.folder = current.path;
            else if (current.kind == TV_PRJ_TEST_DOC)
                target.folder = current.path.parent_path();
            else
                return Notice{
                    "Please select a project, or a test suite of a project, to import "
                    "the test cases into",
                    "No project selected", Icon::Warning};
            return target;
        case Operation::ImportJUnitResults:
            if (!project)
                return Notice{"Please select the project to import the results into",
                              "No project selected", Icon::Warning};
            target.folder = *project;
            return target;
        case Operation::ExportTestCasesCsv: {
            const std::vector<fs::path> items =
                SelectedItems(selection, library, TV_TEST_SUITE_FLD, TV_TEST_TEST_DOC);
            if (items.empty() && current.kind != TV_TEST_ROOT)
                return Notice{"Please select the test suites or test cases to export",
                              "No test cases selected", Icon::Warning};
            if (!items.empty())
                target.scopes.push_back(SelectionScope(items, library));
            target.scopes.push_back(
                {"All test cases of the library", library, {}, "Test Cases.csv"});
            return target;
        }
        case Operation::ExportTestLink: {
            // TestLink takes suites whole: the suite the selection lies in, or the library.
            fs::path suite =
                current.kind == TV_TEST_TEST_DOC ? current.path.parent_path() : current.path;
            if ((current.kind == TV_TEST_SUITE_FLD || current.kind == TV_TEST_TEST_DOC) &&
                suite != library)
                target.scopes.push_back({"Suite " + Quoted(suite.filename().string()),
                                         suite,
                                         {},
                                         suite.filename().string() + ".xml"});
            target.scopes.push_back(
                {"All test cases of the library", library, {}, "Test Cases.xml"});
            return target;
        }
        case Operation::ExportProjectTestCasesCsv: {
            if (!project)
                return Notice{"Please select a project to export", "No project selected",
                              Icon::Warning};
            const fs::path projectCases = *project / std::string(kProjectTestCasesFolder);
            const std::vector<fs::path> items =
                SelectedItems(selection, projectCases, TV_PRJ_SUITE_FLD, TV_PRJ_TEST_DOC);
            if (!items.empty())
                target.scopes.push_back(SelectionScope(items, projectCases));
            const std::string name = project->filename().string();
            target.scopes.push_back({"Project " + Quoted(name), projectCases, {}, name + ".csv"});
            return target;
        }
        case Operation::ExportTestListReportCsv:
            if (current.kind != TV_RPT_DOC)
                return Notice{"Please select the test list report to export", "No report selected",
                              Icon::Warning};
            target.folder = current.path;
            target.scopes.push_back({"Report " + Quoted(current.path.stem().string()),
                                     current.path,
                                     {},
                                     current.path.stem().string() + ".csv"});
            return target;
        default:
            return Notice{"This command neither imports nor exports", "Import and export",
                          Icon::Warning};
    }
}

}  // namespace vantorel
