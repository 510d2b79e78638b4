#include "workspace/commands.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace vantorel {
namespace {

constexpr MenuCommand kMainMenu[] = {
    {"File", "New Database...", ID_FILE_NEW_DB},
    {"File", "Open Database...", ID_FILE_OPEN_DB},
    {"File", "Close Database", ID_FILE_CLOSE_DB},
    {"File / Import", "Import Project Test Case", ID_FILE_IMPORT_PTC},
    {"File / Import", "Import Test Case", ID_FILE_IMPORT_TC},
    {"File / Import", "Import JUnit Results...", ID_FILE_IMPORT_JUNIT},
    {"File / Import", "Import from TestLink...", ID_FILE_IMPORT_TESTLINK},
    {"File / Export to CSV...", "Export Project Test Cases", ID_FILE_EXPORT_PRJ_CSV},
    {"File / Export to CSV...", "Export Test Cases", ID_FILE_EXPORT_TC_CSV},
    {"File / Export to CSV...", "Export Test List Report", ID_FILE_EXPORT_LIST_CSV},
    {"File", "Export to TestLink...", ID_FILE_EXPORT_TESTLINK},
    {"File", "Export Project to web...", ID_FILE_EXPORT_WEB},
    {"File", "Refresh", ID_FILE_REFRESH},
    {"File", "Print...\tCtrl-P", ID_FILE_PRINT},
    {"File", "Exit", ID_FILE_EXIT},
    {"Edit", "Copy\tCtrl+C", ID_EDIT_COPY},
    {"Edit", "Paste\tCtrl+V", ID_EDIT_PASTE},
    {"Edit", "Rename\tF2", ID_EDIT_RENAME},
    {"Edit", "Duplicate\tCtrl+D", ID_EDIT_DUPLICATE},
    {"Edit", "Delete\tDel", ID_EDIT_DELETE},
    {"Edit", "Deleted Items...", ID_EDIT_DELETED_ITEMS},
    {"Edit", "Find...\tCtrl+F", ID_EDIT_FIND},
    {"Edit", "Find && Replace...", ID_EDIT_FIND_REPLACE},
    {"Edit", "View", ID_EDIT_VIEW},
    {"Edit", "Properties...", ID_EDIT_PROPERTIES},
    {"Edit", "Display Style...", ID_EDIT_DISPLAY_STYLE},
    {"Edit", "Back", ID_EDIT_BACK},
    {"Edit", "Forward", ID_EDIT_FORWARD},
    {"Create", "Project...\tCtrl+J", ID_CREATE_PROJECT},
    {"Create", "Test Suite...\tCtrl+Y", ID_CREATE_SUITE},
    {"Create", "Test Case...\tCtrl+T", ID_CREATE_TEST_CASE},
    {"Create", "Tester...\tCtrl+U", ID_CREATE_TESTER},
    {"Create", "Test Resource...\tCtrl+R", ID_CREATE_RESOURCE},
    {"Create", "Test Configuration...\tCtrl+E", ID_CREATE_CONFIGURATION},
    {"Report", "Report Wizard...", ID_REPORT_WIZARD},
    {"Report", "Status Report - All", 40401},
    {"Report", "Status Report - Filtered", 40402},
    {"Report", "Progress Report - All", 40403},
    {"Report", "Progress Report - Filtered", 40404},
    {"Report", "Test List Report - All", 40405},
    {"Report", "Test List Report - Filtered", 40406},
    {"Report", "Test Case Report - All", 40407},
    {"Report", "Test Case Report - Filtered", 40408},
    {"Filter", "Create New Filter...", ID_FILTER_CREATE},
    {"Filter", "-- No Filter --", ID_FILTER_NONE},
    {"Settings", "Customize Fields...", ID_SETTINGS_CUSTOMIZE},
    {"Settings", "Options...", ID_SETTINGS_OPTIONS},
    {"Settings", "Spelling...", ID_SETTINGS_SPELLING},
    {"Settings", "Set User...", ID_SETTINGS_SET_USER},
    {"Settings", "Install Web Access Licence...", ID_SETTINGS_WEB_LICENCE},
    {"Settings", "Install Vantorel Key", ID_SETTINGS_KEY},
    {"Help", "Help - Overview", ID_HELP_OVERVIEW},
    {"Help", "Vantorel Homepage", ID_HELP_HOMEPAGE},
    {"Help", "Purchase Software", ID_HELP_PURCHASE},
    {"Help", "Check For Updates...", ID_HELP_CHECK_UPDATES},
    {"Help", "About", ID_HELP_ABOUT},
};

constexpr Accelerator kAccelerators[] = {
    {"Ctrl+J", ID_CREATE_PROJECT},
    {"Ctrl+T", ID_CREATE_TEST_CASE},
    {"Ctrl+E", ID_CREATE_CONFIGURATION},
    {"Ctrl+U", ID_CREATE_TESTER},
    {"Ctrl+R", ID_CREATE_RESOURCE},
    {"Ctrl+Y", ID_CREATE_SUITE},
    {"Ctrl+C", ID_EDIT_COPY},
    {"Del", ID_EDIT_DELETE},
    {"Ctrl+D", ID_EDIT_DUPLICATE},
    {"Ctrl+F", ID_EDIT_FIND},
    {"Ctrl+V", ID_EDIT_PASTE},
    // No menu shows it: a cut and a paste move items as dragging them would.
    {"Ctrl+X", ID_EDIT_CUT},
    {"Enter", ID_EDIT_PROPERTIES},
    {"F2", ID_EDIT_RENAME},
    {"Ctrl+A", ID_SELECT_ALL},
    {"F5", ID_REFRESH_KEY},
    {"Ctrl+P", ID_FILE_PRINT},
    // A dialog's own F1 opens its page; the window's opens the overview.
    {"F1", ID_HELP_OVERVIEW},
};

struct CommandOperation {
    int id;
    Operation operation;
};

// Commands that several menus share go to one operation each.
constexpr CommandOperation kOperations[] = {
    {ID_FILE_NEW_DB, Operation::NewDatabase},
    {ID_FILE_OPEN_DB, Operation::OpenDatabase},
    {ID_FILE_CLOSE_DB, Operation::CloseDatabase},
    {ID_FILE_IMPORT_PTC, Operation::ImportProjectTestCases},
    {ID_FILE_IMPORT_TC, Operation::ImportTestCases},
    {ID_FILE_IMPORT_JUNIT, Operation::ImportJUnitResults},
    {ID_FILE_IMPORT_TESTLINK, Operation::ImportTestLink},
    {ID_FILE_EXPORT_TESTLINK, Operation::ExportTestLink},
    {ID_FILE_EXPORT_PRJ_CSV, Operation::ExportProjectTestCasesCsv},
    {ID_FILE_EXPORT_TC_CSV, Operation::ExportTestCasesCsv},
    {ID_FILE_EXPORT_LIST_CSV, Operation::ExportTestListReportCsv},
    {ID_FILE_EXPORT_WEB, Operation::ExportWeb},
    {ID_FILE_REFRESH, Operation::Refresh},
    {ID_REFRESH_KEY, Operation::Refresh},
    {ID_FILE_EXIT, Operation::Exit},
    {ID_EDIT_COPY, Operation::Copy},
    {ID_EDIT_CUT, Operation::Cut},
    {ID_EDIT_PASTE, Operation::Paste},
    {ID_EDIT_DELETED_ITEMS, Operation::DeletedItems},
    {ID_EDIT_FIND, Operation::Find},
    {ID_EDIT_FIND_REPLACE, Operation::FindReplace},
    {ID_EDIT_PROPERTIES, Operation::Properties},
    {ID_EDIT_DISPLAY_STYLE, Operation::DisplayStyle},
    {ID_EDIT_BACK, Operation::Back},
    {ID_EDIT_FORWARD, Operation::Forward},
    {ID_SELECT_ALL, Operation::SelectAll},
    {ID_CREATE_TESTER, Operation::NewTester},
    {ID_CREATE_RESOURCE, Operation::NewTestResource},
    {ID_CREATE_CONFIGURATION, Operation::NewTestConfiguration},
    {ID_INSERT_TEST_CASE, Operation::InsertNewTestCase},
    {ID_NEW_FILTER, Operation::NewFilter},
    {ID_FILTER_CREATE, Operation::NewFilter},
    {ID_EDIT_FILTER, Operation::EditFilter},
    {ID_FILTER_NONE, Operation::ClearFilter},
    {ID_SETTINGS_CUSTOMIZE, Operation::CustomizeFields},
    {ID_SETTINGS_OPTIONS, Operation::Options},
    {ID_SETTINGS_SPELLING, Operation::SpellingOptions},
    {ID_SETTINGS_SET_USER, Operation::SetUser},
    {ID_SET_AS_CURRENT_USER, Operation::SetAsCurrentUser},
    {ID_SETTINGS_WEB_LICENCE, Operation::InstallWebLicence},
    {ID_SETTINGS_KEY, Operation::InstallKey},
    {ID_HELP_OVERVIEW, Operation::HelpOverview},
    {ID_HELP_HOMEPAGE, Operation::Homepage},
    {ID_HELP_PURCHASE, Operation::Purchase},
    {ID_HELP_CHECK_UPDATES, Operation::CheckForUpdates},
    {ID_HELP_ABOUT, Operation::About},
    {ID_UNLOCK_ALL, Operation::UnlockAllFiles},
    {ID_SET_TOTAL_DURATION, Operation::SetTotalExpectedDuration},
    {ID_NEW_REPORT, Operation::ReportWizard},
    {ID_RICH_UNDO, Operation::RichEditUndo},
    {ID_RICH_CUT, Operation::RichEditCut},
    {ID_RICH_COPY, Operation::RichEditCopy},
    {ID_RICH_PASTE, Operation::RichEditPaste},
    {ID_RICH_DELETE, Operation::RichEditDelete},
    {ID_RICH_SELECT_ALL, Operation::RichEditSelectAll},
};

struct SharedCommands {
    std::array<int, 9> ids;
    Operation operation;
};

// The context menus' own identifiers for the shared commands (0 ends a list).
constexpr SharedCommands kShared[] = {
    {{40112, 40119, 40121, 40126, 40151, 40215}, Operation::Print},
    {{40109, 40117, 40125, 40153, 40176, 40217}, Operation::Rename},
    {{40118, 40120, 40127, 40154, 40178, 40216}, Operation::Delete},
    {{40122, 40167, 40169, 40170, 40218}, Operation::Duplicate},
    {{40100, 40123, 40163}, Operation::View},
    {{40105, 40158, 40172, 40267}, Operation::NewTestSuite},
    {{40101, 40162}, Operation::NewTestCase},
    {{40103, 40157}, Operation::NewProject},
    {{40128, 40173, 40221}, Operation::ReportWizard},
    {{40180, 40182, 40183, 40184, 40185, 40186, 40187, 40188}, Operation::Expand},
};

}  // namespace

std::string WithMnemonic(std::string_view caption, std::string& taken) {
    auto isFree = [&](std::size_t at) {
        const auto c = static_cast<unsigned char>(caption[at]);
        return std::isalnum(c) &&
               taken.find(static_cast<char>(std::tolower(c))) == std::string::npos;
    };
    for (const bool wordStartsOnly : {true, false}) {
        for (std::size_t at = 0; at < caption.size(); ++at) {
            if (caption[at] == '&') {
                ++at;  // "&&" is a literal ampersand
                continue;
            }
            if (wordStartsOnly && at > 0 && caption[at - 1] != ' ')
                continue;
            if (!isFree(at))
                continue;
            taken += static_cast<char>(std::tolower(static_cast<unsigned char>(caption[at])));
            return std::string(caption.substr(0, at)) + "&" + std::string(caption.substr(at));
        }
    }
    return std::string(caption);
}

std::span<const MenuCommand> MainMenu() {
    return kMainMenu;
}

std::span<const Accelerator> Accelerators() {
    return kAccelerators;
}

bool ShownInMenus(int command) {
    switch (command) {
        case ID_SETTINGS_WEB_LICENCE:
        case ID_SETTINGS_KEY:
        case ID_HELP_HOMEPAGE:
        case ID_HELP_PURCHASE:
        case ID_HELP_CHECK_UPDATES:
            return false;
        default:
            return true;
    }
}

Operation OperationOf(int command) {
    if (command >= ID_FILE_RECENT_FIRST && command <= ID_FILE_RECENT_LAST)
        return Operation::OpenRecentDatabase;
    if (command >= ID_REPORT_FIRST && command <= ID_REPORT_LAST)
        return Operation::Report;
    if (command >= ID_BULK_UPDATE_FIRST && command <= ID_BULK_UPDATE_LAST)
        return Operation::BulkUpdate;
    for (const CommandOperation& entry : kOperations)
        if (entry.id == command)
            return entry.operation;
    for (const SharedCommands& shared : kShared)
        if (std::ranges::find(shared.ids, command) != shared.ids.end())
            return shared.operation;
    return Operation::None;
}

std::optional<ReportShortcut> ReportShortcutOf(int command) {
    if (command < ID_REPORT_FIRST || command > ID_REPORT_LAST)
        return std::nullopt;
    // In menu order: status, progress, test list, test case details; each All, then Filtered.
    constexpr ReportKind kKinds[] = {ReportKind::Status, ReportKind::Progress, ReportKind::List,
                                     ReportKind::Details};
    const int offset = command - ID_REPORT_FIRST;
    return ReportShortcut{kKinds[offset / 2], offset % 2 == 1};
}

std::optional<Notice> CommandRefusal(Operation operation, const CommandState& state) {
    const Notice noDatabase{"A database needs to be opened before attempting this operation.",
                            "No database open", Icon::Warning};
    switch (operation) {
        case Operation::None:
        case Operation::NewDatabase:
        case Operation::OpenDatabase:
        case Operation::OpenRecentDatabase:
        case Operation::Exit:
        case Operation::Options:
        case Operation::SpellingOptions:
        case Operation::DisplayStyle:
        case Operation::Back:
        case Operation::Forward:
        case Operation::SelectAll:
        case Operation::HelpOverview:
        case Operation::Homepage:
        case Operation::Purchase:
        case Operation::CheckForUpdates:
        case Operation::About:
        case Operation::InstallWebLicence:
        case Operation::InstallKey:
        case Operation::RichEditUndo:
        case Operation::RichEditCut:
        case Operation::RichEditCopy:
        case Operation::RichEditPaste:
        case Operation::RichEditDelete:
        case Operation::RichEditSelectAll:
        // The customisation editor refuses without a database in words of its own.
        case Operation::CustomizeFields:
            return std::nullopt;
        case Operation::ImportProjectTestCases:
        case Operation::ImportTestCases:
        case Operation::ImportJUnitResults:
        case Operation::ImportTestLink:
            if (!state.databaseOpen)
                return Notice{"A database must be loaded before an import can take place.",
                              "Warning", Icon::Warning};
            if (operation == Operation::ImportJUnitResults && !state.insideProject)
                return Notice{"Please select the project to import the results into",
                              "No project selected", Icon::Warning};
            return std::nullopt;
        case Operation::ExportProjectTestCasesCsv:
        case Operation::ExportTestCasesCsv:
        case Operation::ExportTestListReportCsv:
        case Operation::ExportTestLink:
            if (!state.databaseOpen)
                return Notice{"A database must be loaded before an export can take place.",
                              "Warning", Icon::Warning};
            return std::nullopt;
        case Operation::ExportWeb:
            if (!state.databaseOpen)
                return Notice{"A database must be loaded before an export can take place.",
                              "Warning", Icon::Warning};
            if (!state.projectSelected)
                return Notice{"Please select a project to export", "No project selected",
                              Icon::Warning};
            return std::nullopt;
        case Operation::NewFilter:
            if (!state.databaseOpen)
                return Notice{"A database must be open before attempting to create a filter",
                              "No database open", Icon::Warning};
            return std::nullopt;
        case Operation::ReportWizard:
        case Operation::Report:
            if (!state.databaseOpen)
                return noDatabase;
            if (!state.anyProject)
                return Notice{
                    "There are no projects to generate reports from! At least one project must "
                    "be created\nand some test cases added before you can create a report.",
                    "No projects", Icon::Warning};
            if (operation == Operation::Report && !state.projectReportsSelected)
                return Notice{
                    "Please select a project or the project reports directory of a "
                    "project",
                    "No project selected", Icon::Warning};
            return std::nullopt;
        case Operation::SetUser:
        case Operation::SetAsCurrentUser:
            if (!state.databaseOpen)
                return noDatabase;
            if (state.testersSelected > 1)
                return Notice{"Only a single Tester can be set as the current user",
                              "Set User Error", Icon::Warning};
            return std::nullopt;
        default:
            if (!state.databaseOpen)
                return noDatabase;
            return std::nullopt;
    }
}

}  // namespace vantorel
