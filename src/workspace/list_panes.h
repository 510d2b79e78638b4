#pragma once
// The list panes: a folder of the tree shown as a table of its items. Which pane a folder
// takes, its columns, the rows read from the folder's documents (in batches, so a large suite
// shows its first rows at once), the totals of the suites among them (read by a walk of their
// own, after the rows), the order of a sorted column and the status text all live here; the
// window only shows them.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "documents/custom_cfg.h"
#include "filters/filter.h"
#include "storage/field_values.h"
#include "workspace/config.h"
#include "workspace/navigation.h"

namespace vantorel {

// How a column sorts: text ignoring letter case with runs of digits as numbers, or by a number
// (attempts and counts, dates as yyyymmdd, durations in minutes).
enum class CellOrder { Text, Number };

// A total of a suite (or project, or report folder) that the statistics walk fills in.
enum class SuiteFigure {
    None,
    TestCases,
    Pass,
    Fail,
    NotYetAttempted,
    Postponed,
    Other,
    ExpectedMinutes,
    ActualMinutes,
    Reports,
};

struct PaneColumn {
    std::string_view caption;
    // The field read from a row's document, and from a folder row's description; a column
    // with neither and no figure shows the item's name.
    std::string_view documentTag = {};
    std::string_view folderTag = {};
    FieldType type = FT_TEXT;
    CellOrder order = CellOrder::Text;
    SuiteFigure figure = SuiteFigure::None;
    bool duration = false;  // an "H:MM" value, sorted by minutes
    bool priority = false;  // "Highest" to "Lowest", sorted by rank
};

// The pane a folder of that kind shows its items in; none for documents.
std::optional<ListPane> PaneOfFolder(NodeKind kind);
// The pane's columns in their own order; never more than the configuration has slots for.
std::span<const PaneColumn> PaneColumns(ListPane pane);
// The columns to show, by their index in PaneColumns, in the order the layout keeps. A
// layout that is no permutation of the pane's slots gives the pane's own order.
std::vector<int> ShownColumns(ListPane pane, const ColumnLayout& layout);

// The layout to keep after the user moved or sized the pane's columns: shown holds the pane's
// columns (PaneColumns) in their order on screen, widths their widths by column. The slots the
// pane doesn't use keep their place after the shown ones, and their widths.
ColumnLayout ArrangedLayout(ListPane pane, const ColumnLayout& before,
                            const std::vector<int>& shown, const std::vector<int>& widths);

struct ListCell {
    std::string text;
    std::int64_t number = 0;  // the sort key of a CellOrder::Number column
    bool operator==(const ListCell&) const = default;
};

struct ListRow {
    TreeNode node;
    std::vector<ListCell> cells;  // one per column of PaneColumns
    int statusIcon = 0;           // as StatusIconOf: 0 none, 1-4 Pass, Fail, Not yet, Postponed
    bool unreadable = false;      // the document could not be read; only its name is shown
};

// Whether a row's cell comes before another's in column's order (ascending); empty cells
// first.
bool CellBefore(const PaneColumn& column, const ListCell& a, const ListCell& b);

struct ListCounts {
    std::size_t displayed = 0, filteredOut = 0, suites = 0, testCases = 0, unreadable = 0;
};
// "%d displayed (%d filtered out) - %d suites - %d test cases", and the unreadable ones when
// there are any.
std::string ListStatusText(const ListCounts& counts);

struct ListRequest {
    std::filesystem::path databaseDir;
    TreeNode folder;
    CustomSnapshot custom;
    // Project test cases that fail it are left out of rows and totals, and counted.
    std::optional<Filter> filter = {};
    bool suiteFigures = true;  // <ShowExtraTSInfo>
    std::stop_token stop = {};
};

struct ListBatch {
    std::vector<ListRow> rows;
    std::size_t filteredOut = 0;
};
// Reads the folder's items into rows, in the tree's order, handing them over a batch at a time
// (the first soon, so a large folder shows at once). False when the folder can't be listed.
bool ReadListRows(const ListRequest& request, const std::function<void(ListBatch)>& deliver);

// The figures of one folder row: for each column with a figure, its cell.
struct FolderFigures {
    std::filesystem::path folder;
    std::vector<std::pair<int, ListCell>> cells;  // column index, cell
};
// Walks each folder row's items for the pane's figures, one folder after another, handing
// each over when it is done; a project suite's counts are those of a status report over it
// (through the same filter). Ends early when stop is requested.
void ReadSuiteFigures(const ListRequest& request, const std::vector<TreeNode>& folders,
                      const std::function<void(FolderFigures)>& deliver);

}  // namespace vantorel
