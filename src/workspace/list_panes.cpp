#include "workspace/list_panes.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "documents/test_group.h"
#include "reports/status_report.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "workspace/exchange_targets.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

using enum SuiteFigure;
constexpr CellOrder kNumber = CellOrder::Number;

constexpr PaneColumn kName{"ID"};
constexpr PaneColumn FigureColumn(std::string_view caption, SuiteFigure figure) {
    return {caption, {}, {}, FT_TEXT, kNumber, figure};
}
constexpr PaneColumn DateColumn(std::string_view caption, std::string_view tag) {
    return {caption, tag, {}, FT_DATE, kNumber};
}
constexpr PaneColumn ChoiceColumn(std::string_view caption, std::string_view tag) {
    return {caption, tag, {}, FT_LIST_TEXT};
}
constexpr PaneColumn kPriority{"Priority", "<priority>", {},    FT_LIST_TEXT,
                               kNumber,    None,         false, true};

// The library's suites and test cases: a suite row sums its test cases' expected durations.
constexpr PaneColumn kLibrarySuite[] = {
    kName,
    {"Title", "<test_title>", "<suite_title>"},
    {"Expected Duration", "<test_duration>", {}, FT_PLAIN_TEXT, kNumber, ExpectedMinutes, true},
    ChoiceColumn("Type", "<test_type>"),
    ChoiceColumn("Phase", "<test_phase>"),
    kPriority,
    {"Author", "<create_user_id>"},
    DateColumn("Created Date", "<create_date>"),
    {"Update By", "<update_user_id>"},
    DateColumn("Updated Date", "<update_date>"),
    {"Requirements", "<requirement>"},
    {"Configurations", "<rec_test_configs>"},
    {"Resources", "<test_resources>"},
    FigureColumn("Test Cases", TestCases),
};

// The library's top: its suites.
constexpr PaneColumn kLibrary[] = {
    kName,
    {"Title", {}, "<suite_title>"},
    FigureColumn("Test Cases", TestCases),
    {"Expected Duration", {}, {}, FT_TEXT, kNumber, ExpectedMinutes, true},
};

// A project's suites and test cases: a suite row counts its test cases by what their status
// means, as a status report over the suite does.
constexpr PaneColumn kProjectSuite[] = {
    kName,
    {"Title", "<test_title>", "<suite_title>"},
    ChoiceColumn("Status", "<test_status>"),
    kPriority,
    {"Testers", "<testers>"},
    {"Attempts", "<test_attempts>", {}, FT_PLAIN_TEXT, kNumber},
    DateColumn("Last Attempt Date", "<last_attempt_date>"),
    {"Hours Expected", "<test_duration>", {}, FT_PLAIN_TEXT, kNumber, ExpectedMinutes, true},
    {"Actual Hours", "<actual_duration>", {}, FT_PLAIN_TEXT, kNumber, ActualMinutes, true},
    {"Version", "<version_tested>"},
    {"Build", "<build_tested>"},
    FigureColumn("Test Cases", TestCases),
    FigureColumn("Pass", Pass),
    FigureColumn("Fail", Fail),
    FigureColumn("Not Yet Attempted", NotYetAttempted),
    ChoiceColumn("Type", "<test_type>"),
    ChoiceColumn("Phase", "<test_phase>"),
    {"Faults", "<fault_report_id>"},
    {"Requirements", "<requirement>"},
    DateColumn("Updated Date", "<update_date>"),
};

constexpr PaneColumn kProjectTestCases[] = {
    kName,
    {"Title", "<test_title>", "<suite_title>"},
    ChoiceColumn("Status", "<test_status>"),
    FigureColumn("Test Cases", TestCases),
    FigureColumn("Pass", Pass),
    FigureColumn("Fail", Fail),
    FigureColumn("Not Yet Attempted", NotYetAttempted),
    FigureColumn("Postponed", Postponed),
    FigureColumn("Other", Other),
    {"Hours Expected", "<test_duration>", {}, FT_PLAIN_TEXT, kNumber, ExpectedMinutes, true},
    {"Actual Hours", "<actual_duration>", {}, FT_PLAIN_TEXT, kNumber, ActualMinutes, true},
    {"Testers", "<testers>"},
};

constexpr PaneColumn kProjects[] = {
    kName,
    {"Title", {}, "<project_title>"},
    {"Manager", {}, "<manager>"},
    FigureColumn("Test Cases", TestCases),
    FigureColumn("Pass", Pass),
    FigureColumn("Fail", Fail),
    FigureColumn("Not Yet Attempted", NotYetAttempted),
    {"Hours Expected", {}, {}, FT_TEXT, kNumber, ExpectedMinutes, true},
    {"Actual Hours", {}, {}, FT_TEXT, kNumber, ActualMinutes, true},
    {"Planned Start", {}, "<planned_start_date>", FT_DATE, kNumber},
    {"Planned End", {}, "<planned_end_date>", FT_DATE, kNumber},
    {"Actual End", {}, "<actual_end_date>", FT_DATE, kNumber},
};

constexpr PaneColumn kReportFolderColumns[] = {{"Name"}, FigureColumn("Reports", Reports)};

constexpr PaneColumn kReportColumns[] = {
    {"Name"},
    {"Type", "<report_type>"},
    DateColumn("Created Date", "<create_date>"),
    {"Created Time", "<create_time>", {}, FT_TIME},
    {"Filter", "<filter_name>"},
};

constexpr PaneColumn kConfigurations[] = {
    kName, {"Name", "<testcfg_title>"}, {"Location", "<testcfg_loc>"}};
constexpr PaneColumn kResources[] = {
    kName, {"Name", "<testres_title>"}, {"Location", "<testres_loc>"}};
constexpr PaneColumn kTesters[] = {
    kName,
    {"Name", "<tester_name>"},
    {"Location", "<tester_loc>"},
    {"Remote Access", "<remote_user>", {}, FT_YES_NO},
};
constexpr PaneColumn kFilters[] = {kName, {"Name", "<name>"}};

// Each pane's columns fit its slots in the configuration.
static_assert(std::size(kLibrarySuite) <= 20 && std::size(kProjectSuite) <= 20 &&
              std::size(kReportColumns) <= 20);
static_assert(std::size(kLibrary) <= 12 && std::size(kProjectTestCases) <= 12 &&
              std::size(kProjects) <= 12 && std::size(kTesters) <= 12);

// Runs of digits compare as numbers ("TC2" before "TC10"), the rest ignoring letter case.
int CompareNatural(std::string_view a, std::string_view b) {
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const auto ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
        if (std::isdigit(ca) && std::isdigit(cb)) {
            const std::size_t startA = i, startB = j;
            while (i < a.size() && std::isdigit(static_cast<unsigned char>(a[i])))
                ++i;
            while (j < b.size() && std::isdigit(static_cast<unsigned char>(b[j])))
                ++j;
            std::string_view runA = a.substr(startA, i - startA),
                             runB = b.substr(startB, j - startB);
            while (runA.size() > 1 && runA.front() == '0')
                runA.remove_prefix(1);
            while (runB.size() > 1 && runB.front() == '0')
                runB.remove_prefix(1);
            if (runA.size() != runB.size())
                return runA.size() < runB.size() ? -1 : 1;
            if (const int order = runA.compare(runB); order != 0)
                return order;
            continue;
        }
        const int la = std::tolower(ca), lb = std::tolower(cb);
        if (la != lb)
            return la < lb ? -1 : 1;
        ++i;
        ++j;
    }
    return (i < a.size()) - (j < b.size());
}

std::string HoursText(std::int64_t minutes) {
    const char* sign = minutes < 0 ? "-" : "";
    const std::int64_t whole = minutes < 0 ? -minutes : minutes;
    const std::int64_t rest = whole % 60;
    return sign + std::to_string(whole / 60) + (rest < 10 ? ":0" : ":") + std::to_string(rest);
}

ListCell FigureCell(const PaneColumn& column, std::int64_t value) {
    return {column.duration ? HoursText(value) : std::to_string(value), value};
}

// The cell of a stored value: shown as pages show it, with its sort key.
ListCell StoredCell(const PaneColumn& column, std::string_view stored) {
    ListCell cell{DisplayValue(column.type, stored)};
    if (column.order != kNumber)
        return cell;
    if (column.type == FT_DATE) {
        if (const std::optional<CalendarDate> date = ParseStoredDate(stored))
            cell.number = date->year * 10000 + date->month * 100 + date->day;
    } else if (column.duration) {
        cell.number = DurationMinutes(stored);
    } else if (column.priority) {
        // An unknown priority after the five.
        const auto rank = std::ranges::find_if(kPriorities, [&](std::string_view name) {
            return strncasecmp(name.data(), stored.data(), name.size()) == 0 &&
                   name.size() == stored.size();
        });
        cell.number = rank - std::begin(kPriorities);
    } else {
        std::from_chars(stored.data(), stored.data() + stored.size(), cell.number);
    }
    return cell;
}

bool IsProjectTestCase(NodeKind kind) {
    return kind == TV_PRJ_TEST_DOC;
}

// Reads the rows of one folder: its documents through one index of the pane's tags, its
// folders from their descriptions.
class RowReader {
public:
    RowReader(const ListRequest& request, std::span<const PaneColumn> columns)
        : m_request(request), m_columns(columns) {
        // The status gives a project test case its icon; each column with a field reads its tag.
        m_tags.push_back("<test_status>");
        for (const PaneColumn& column : columns) {
            m_slotOf.push_back(column.documentTag.empty() ? 0 : m_tags.size());
            if (!column.documentTag.empty())
                m_tags.push_back(column.documentTag);
        }
        m_index.emplace(m_tags);
        m_folderFd = open(request.folder.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    ~RowReader() {
        if (m_folderFd >= 0)
            close(m_folderFd);
    }
    RowReader(const RowReader&) = delete;
    RowReader& operator=(const RowReader&) = delete;

    // The node's row; none when a filter leaves it out.
    std::optional<ListRow> Read(const TreeNode& node) {
        ListRow row{node, std::vector<ListCell>(m_columns.size())};
        if (IsFolderKind(node.kind)) {
            ReadFolder(row);
            return row;
        }
        XMLParse document;
        const std::string name = node.path.filename().string();
        if (m_folderFd < 0 || document.OpenFastRead(m_folderFd, name.c_str()) != 0 ||
            document.Load() != 0) {
            row.unreadable = true;
            NameCells(row);
            return row;
        }
        if (IsProjectTestCase(node.kind) && m_request.filter &&
            !m_request.filter->Passes(document, kProjectTestCaseDocument))
            return std::nullopt;
        m_index->Scan(document.Text());
        NameCells(row);
        for (std::size_t c = 0; c < m_columns.size(); ++c) {
            std::string_view stored;
            if (m_slotOf[c] != 0 && m_index->Value(m_slotOf[c], stored) == 0)
                row.cells[c] = StoredCell(m_columns[c], stored);
        }
        std::string_view status;
        if (IsProjectTestCase(node.kind) && m_index->Value(0, status) == 0)
            row.statusIcon = StatusIcon(status, *m_request.custom);
        return row;
    }

private:
    static bool IsNameColumn(const PaneColumn& column) {
        return column.folderTag.empty() && column.figure == None;
    }
    void NameCells(ListRow& row) const {
        for (std::size_t c = 0; c < m_columns.size(); ++c)
            if (m_columns[c].documentTag.empty() && IsNameColumn(m_columns[c]))
                row.cells[c] = {row.node.label};
    }
    void ReadFolder(ListRow& row) const {
        NameCells(row);
        XMLParse description;
        const bool read = description.OpenFastRead(DescriptionPathBeside(row.node.path)) == 0 &&
                          description.Load() == 0;
        if (!read)
            return;
        for (std::size_t c = 0; c < m_columns.size(); ++c) {
            std::string stored;
            if (!m_columns[c].folderTag.empty() &&
                description.GetTag(m_columns[c].folderTag, stored) == 0)
                row.cells[c] = StoredCell(m_columns[c], stored);
        }
    }

    const ListRequest& m_request;
    std::span<const PaneColumn> m_columns;
    std::vector<std::string_view> m_tags;
    std::vector<std::size_t> m_slotOf;  // by column: its tag's place in m_tags, 0 for none
    std::optional<TagIndex> m_index;
    int m_folderFd = -1;
};

struct Totals {
    std::int64_t testCases = 0, expected = 0, actual = 0, reports = 0;
    std::array<std::int64_t, kMeaningCount> perMeaning{};
};

std::optional<Totals> ProjectTotals(const ListRequest& request, const TreeNode& folder) {
    // A list's totals never speak to the user; an unreadable document is simply not counted.
    KeepingPort quiet;
    StatusReport report({quiet, *request.custom});
    ReportRequest walk;
    walk.filter = request.filter;
    walk.stop = request.stop;
    walk.threads = 1;
    if (folder.kind == TV_PRJ_PRJ_FLD) {
        walk.projectFolder = folder.path;
    } else {
        const std::optional<fs::path> project = ProjectOf(request.databaseDir, folder.path);
        if (!project)
            return std::nullopt;
        walk.projectFolder = *project;
        walk.wholeProject = false;
        walk.suites.push_back({folder.path, true});
    }
    if (!report.Measure(walk))
        return std::nullopt;
    const StatusFigures& figures = report.Figures();
    Totals totals;
    totals.testCases = figures.sums.totalTests;
    totals.perMeaning = figures.sums.perMeaning;
    totals.expected = figures.sums.totalTestTime;
    totals.actual = figures.totalAttemptedTime;
    return totals;
}

Totals LibraryTotals(const ListRequest& request, const fs::path& suite) {
    Totals totals;
    std::string duration;
    WalkItems(suite, [&](const fs::path& folder, ItemListing& listing) {
        for (const FolderEntry& entry : listing.documents) {
            XMLParse document;
            ++totals.testCases;
            if (document.OpenFastRead(folder / entry.name) == 0 && document.Load() == 0 &&
                document.GetTag("<test_duration>", duration) == 0)
                totals.expected += DurationMinutes(duration);
        }
        return !request.stop.stop_requested();
    });
    return totals;
}

std::int64_t FigureOf(const Totals& totals, SuiteFigure figure) {
    switch (figure) {
        case TestCases:
            return totals.testCases;
        case Pass:
            return totals.perMeaning[SM_PASS];
        case Fail:
            return totals.perMeaning[SM_FAIL];
        case NotYetAttempted:
            return totals.perMeaning[SM_NOT_YET_ATTEMPTED];
        case Postponed:
            return totals.perMeaning[SM_POSTPONED];
        case Other:
            return totals.perMeaning[SM_OTHER];
        case ExpectedMinutes:
            return totals.expected;
        case ActualMinutes:
            return totals.actual;
        case Reports:
            return totals.reports;
        case None:
            break;
    }
    return 0;
}

}  // namespace

std::optional<ListPane> PaneOfFolder(NodeKind kind) {
    switch (kind) {
        case TV_TEST_ROOT:
            return LP_TEST_CASES_ROOT;
        case TV_TEST_SUITE_FLD:
            return LP_TEST_CASES_LIST;
        case TV_PRJ_ROOT:
            return LP_PROJECT_ROOT;
        case TV_PRJ_TEST_FLD:
            return LP_PRJ_TEST_CASES_ROOT;
        case TV_PRJ_SUITE_FLD:
            return LP_PRJ_TEST_CASES_LIST;
        case TV_PRJ_RPTS_FLD:
            return LP_PROJECT_REPORTS;
        case TV_RPT_FLD:
            return LP_TEST_LIST_REPORTS;
        case TV_CFG_ROOT:
            return LP_TEST_CONFIGS;
        case TV_RES_ROOT:
            return LP_RESOURCES;
        case TV_TESTER_ROOT:
            return LP_TESTERS;
        case TV_FILTER_ROOT:
            return LP_FILTERS;
        default:
            return std::nullopt;
    }
}

std::span<const PaneColumn> PaneColumns(ListPane pane) {
    switch (pane) {
        case LP_PROJECT_ROOT:
            return kProjects;
        case LP_PROJECT_REPORTS:
            return kReportFolderColumns;
        case LP_TEST_LIST_REPORTS:
            return kReportColumns;
        case LP_PRJ_TEST_CASES_ROOT:
            return kProjectTestCases;
        case LP_PRJ_TEST_CASES_LIST:
            return kProjectSuite;
        case LP_TEST_CASES_ROOT:
            return kLibrary;
        case LP_TEST_CASES_LIST:
            return kLibrarySuite;
        case LP_TEST_CONFIGS:
            return kConfigurations;
        case LP_RESOURCES:
            return kResources;
        case LP_TESTERS:
            return kTesters;
        case LP_FILTERS:
            return kFilters;
    }
    return {};
}

std::vector<int> ShownColumns(ListPane pane, const ColumnLayout& layout) {
    const int count = static_cast<int>(PaneColumns(pane).size());
    std::vector<int> shown;
    if (LayoutFits(pane, layout)) {
        for (int column : layout.order)
            if (column < count)
                shown.push_back(column);
    } else {
        for (int column = 0; column < count; ++column)
            shown.push_back(column);
    }
    return shown;
}

ColumnLayout ArrangedLayout(ListPane pane, const ColumnLayout& before,
                            const std::vector<int>& shown, const std::vector<int>& widths) {
    ColumnLayout layout = LayoutFits(pane, before) ? before : DefaultSettings({}).columns[pane];
    const int count = static_cast<int>(PaneColumns(pane).size());
    std::vector<int> order;
    for (int column : shown)
        if (column >= 0 && column < count && std::ranges::find(order, column) == order.end())
            order.push_back(column);
    for (int column : layout.order)
        if (std::ranges::find(order, column) == order.end())
            order.push_back(column);
    layout.order = std::move(order);
    for (std::size_t column = 0; column < widths.size() && column < layout.widths.size(); ++column)
        layout.widths[column] = std::clamp(widths[column], 10, 4000);
    return layout;
}

bool CellBefore(const PaneColumn& column, const ListCell& a, const ListCell& b) {
    if (a.text.empty() != b.text.empty())
        return a.text.empty();
    if (column.order == kNumber && a.number != b.number)
        return a.number < b.number;
    return CompareNatural(a.text, b.text) < 0;
}

std::string ListStatusText(const ListCounts& counts) {
    std::string text = std::to_string(counts.displayed) + " displayed (" +
                       std::to_string(counts.filteredOut) + " filtered out) - " +
                       std::to_string(counts.suites) + " suites - " +
                       std::to_string(counts.testCases) + " test cases";
    if (counts.unreadable > 0)
        text += " - " + std::to_string(counts.unreadable) + " unreadable";
    return text;
}

bool ReadListRows(const ListRequest& request, const std::function<void(ListBatch)>& deliver) {
    const std::optional<ListPane> pane = PaneOfFolder(request.folder.kind);
    std::error_code error;
    if (!pane || !fs::is_directory(request.folder.path, error))
        return false;
    const std::vector<TreeNode> nodes = ChildNodes(request.databaseDir, request.folder);
    RowReader reader(request, PaneColumns(*pane));
    // The first batch is small so that the table fills at once; later ones are larger, so a
    // suite of thousands doesn't repaint the table for every few rows.
    std::size_t batchSize = 100;
    ListBatch batch;
    for (const TreeNode& node : nodes) {
        if (request.stop.stop_requested())
            return true;
        if (std::optional<ListRow> row = reader.Read(node))
            batch.rows.push_back(std::move(*row));
        else
            ++batch.filteredOut;
        if (batch.rows.size() + batch.filteredOut >= batchSize) {
            deliver(std::exchange(batch, {}));
            batchSize = 2000;
        }
    }
    deliver(std::move(batch));
    return true;
}

void ReadSuiteFigures(const ListRequest& request, const std::vector<TreeNode>& folders,
                      const std::function<void(FolderFigures)>& deliver) {
    const std::optional<ListPane> pane = PaneOfFolder(request.folder.kind);
    if (!pane || !request.suiteFigures)
        return;
    const std::span<const PaneColumn> columns = PaneColumns(*pane);
    for (const TreeNode& folder : folders) {
        if (request.stop.stop_requested())
            return;
        std::optional<Totals> totals;
        if (folder.kind == TV_PRJ_SUITE_FLD || folder.kind == TV_PRJ_PRJ_FLD) {
            totals = ProjectTotals(request, folder);
        } else if (folder.kind == TV_TEST_SUITE_FLD) {
            totals = LibraryTotals(request, folder.path);
        } else if (folder.kind == TV_RPT_FLD) {
            ItemListing listing;
            if (ListItems(folder.path, listing) == 0)
                totals = Totals{.reports = static_cast<std::int64_t>(listing.documents.size())};
        }
        if (!totals || request.stop.stop_requested())
            continue;
        FolderFigures figures{folder.path, {}};
        for (std::size_t c = 0; c < columns.size(); ++c)
            if (columns[c].figure != None)
                figures.cells.emplace_back(
                    static_cast<int>(c),
                    FigureCell(columns[c], FigureOf(*totals, columns[c].figure)));
        deliver(std::move(figures));
    }
}

}  // namespace vantorel
