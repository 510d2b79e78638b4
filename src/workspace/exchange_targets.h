#pragma once
// What the import and export commands of the File menu act on, from the tree's selection: the
// suite CSV rows are imported into, the project JUnit results are recorded in, the test cases
// or the list report a CSV export writes, and the file name it offers. A selection that fits
// none of them is refused in the words the user sees. Reads nothing from the disk.

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/user_port.h"
#include "workspace/commands.h"
#include "workspace/navigation.h"

namespace vantorel {

// One choice of what a CSV export of test cases writes.
struct CsvExportScope {
    std::string caption;           // "Suite \"Login\"", "Project \"Release 2.0\"", ...
    std::filesystem::path folder;  // the suite column is relative to it
    // Only these test cases and suites below folder; all of folder when empty.
    std::vector<std::filesystem::path> items;
    std::string fileName;  // the file offered in the export folder
    bool operator==(const CsvExportScope&) const = default;
};

struct ExchangeTarget {
    // Imports: the suite or "Project Test Cases" the rows go into, or the project results are
    // recorded in. The list report's export: the report.
    std::filesystem::path folder;
    // The test cases' exports: what they can write, the narrowest (the selection) first.
    std::vector<CsvExportScope> scopes;
};

// The target of an import or export command (operation) on the tree's selection, the current
// node first; or the refusal to show.
std::variant<ExchangeTarget, Notice> ExchangeTargetOf(Operation operation,
                                                      const std::vector<TreeNode>& selection,
                                                      const std::filesystem::path& databaseDir);

// The project folder node lies in (or is), if any.
std::optional<std::filesystem::path> ProjectOf(const std::filesystem::path& databaseDir,
                                               const std::filesystem::path& node);

// Said when an import or export is asked for while another still runs.
Notice ExchangeBusyNotice();

}  // namespace vantorel
