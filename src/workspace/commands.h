#pragma once
// Every command of the main menu, the accelerators and the context menus, as data the window
// builds its menus from, mapped to the operation it runs; and the checks that refuse a
// command when there is no database, no project or more than one tester to act on.

#include <optional>
#include <span>
#include <string_view>

#include "platform/user_port.h"
#include "reports/report_base.h"

namespace vantorel {

enum class Operation {
    None,
    NewDatabase,
    OpenDatabase,
    CloseDatabase,
    OpenRecentDatabase,
    ImportProjectTestCases,
    ImportTestCases,
    ImportJUnitResults,
    ImportTestLink,
    ExportTestLink,
    ExportProjectTestCasesCsv,
    ExportTestCasesCsv,
    ExportTestListReportCsv,
    ExportWeb,
    Refresh,
    Print,
    Exit,
    Copy,
    Cut,
    Paste,
    Rename,
    Duplicate,
    Delete,
    DeletedItems,
    Find,
    FindReplace,
    View,
    Properties,
    DisplayStyle,
    Back,
    Forward,
    SelectAll,
    Expand,
    NewProject,
    NewTestSuite,
    NewTestCase,
    InsertNewTestCase,
    NewTester,
    NewTestResource,
    NewTestConfiguration,
    ReportWizard,
    Report,
    NewFilter,
    EditFilter,
    ClearFilter,
    CustomizeFields,
    Options,
    SpellingOptions,
    SetUser,
    SetAsCurrentUser,
    InstallWebLicence,
    InstallKey,
    HelpOverview,
    Homepage,
    Purchase,
    CheckForUpdates,
    About,
    UnlockAllFiles,
    SetTotalExpectedDuration,
    BulkUpdate,
    RichEditUndo,
    RichEditCut,
    RichEditCopy,
    RichEditPaste,
    RichEditDelete,
    RichEditSelectAll,
};

// The command identifiers the menus are built from.
enum CommandId : int {
    ID_FILE_EXIT = 40013,
    ID_HELP_ABOUT = 40017,
    ID_EDIT_COPY = 40060,
    ID_HELP_OVERVIEW = 40067,
    ID_HELP_HOMEPAGE = 40077,
    ID_HELP_PURCHASE = 40078,
    ID_VIEW_DOC = 40100,
    ID_NEW_TEST_CASE_DOC = 40101,
    ID_NEW_PROJECT_ROOT = 40103,
    ID_NEW_SUITE_ROOT = 40105,
    ID_FILE_OPEN_DB = 40106,
    ID_FILE_CLOSE_DB = 40107,
    ID_FILE_NEW_DB = 40108,
    ID_RENAME_DOC = 40109,
    ID_FILE_PRINT = 40112,
    ID_RENAME_SUITE = 40117,
    ID_DELETE_SUITE = 40118,
    ID_PRINT_SUITE = 40119,
    ID_DELETE_DOC = 40120,
    ID_PRINT_DOC = 40121,
    ID_DUPLICATE_DOC = 40122,
    ID_VIEW_SUITE = 40123,
    ID_RENAME_PRJ = 40125,
    ID_PRINT_PRJ = 40126,
    ID_DELETE_PRJ = 40127,
    ID_REPORT_WIZARD_PRJ = 40128,
    ID_PRINT_REPORT = 40151,
    ID_EDIT_RENAME = 40153,
    ID_EDIT_DELETE = 40154,
    ID_CREATE_PROJECT = 40157,
    ID_CREATE_SUITE = 40158,
    ID_CREATE_RESOURCE = 40159,
    ID_CREATE_TESTER = 40160,
    ID_CREATE_CONFIGURATION = 40161,
    ID_CREATE_TEST_CASE = 40162,
    ID_EDIT_VIEW = 40163,
    ID_EDIT_PROPERTIES = 40166,
    ID_EDIT_DUPLICATE = 40167,
    ID_EDIT_PASTE = 40168,
    ID_DUPLICATE_SUITE = 40169,
    ID_DUPLICATE_PRJ = 40170,
    ID_NEW_SUITE_IN_SUITE = 40172,
    ID_REPORT_WIZARD_RPTS = 40173,
    ID_RENAME_REPORT = 40176,
    ID_DELETE_REPORT = 40178,
    ID_EXPAND = 40180,
    ID_EXPAND_LAST = 40188,
    ID_FILE_EXPORT_PRJ_CSV = 40209,
    ID_FILE_EXPORT_WEB = 40208,
    ID_NEW_FILTER = 40213,
    ID_EDIT_FILTER = 40214,
    ID_PRINT_ITEM = 40215,
    ID_DELETE_ITEM = 40216,
    ID_RENAME_ITEM = 40217,
    ID_DUPLICATE_ITEM = 40218,
    ID_FILTER_CREATE = 40219,
    ID_FILTER_NONE = 40220,
    ID_REPORT_WIZARD = 40221,
    ID_EDIT_DISPLAY_STYLE = 40224,
    ID_RICH_COPY = 40230,
    ID_RICH_PASTE = 40231,
    ID_RICH_CUT = 40232,
    ID_RICH_DELETE = 40233,
    ID_RICH_UNDO = 40234,
    ID_RICH_SELECT_ALL = 40235,
    ID_FILE_REFRESH = 40236,
    ID_FILE_RECENT_FIRST = 40245,
    ID_FILE_RECENT_LAST = 40249,
    ID_FILE_EXPORT_TC_CSV = 40251,
    ID_FILE_IMPORT_PTC = 40252,
    ID_FILE_IMPORT_TC = 40253,
    ID_EDIT_FIND = 40257,
    ID_FILE_EXPORT_LIST_CSV = 40258,
    ID_REFRESH_KEY = 40259,
    ID_SETTINGS_SET_USER = 40260,
    ID_SETTINGS_CUSTOMIZE = 40261,
    ID_SETTINGS_OPTIONS = 40264,
    ID_EDIT_FIND_REPLACE = 40265,
    ID_NEW_SUITE_PRJ = 40267,
    ID_SELECT_ALL = 40272,
    ID_HELP_CHECK_UPDATES = 40273,
    ID_INSERT_TEST_CASE = 40288,
    ID_SET_TOTAL_DURATION = 40289,
    ID_SET_AS_CURRENT_USER = 40290,
    ID_NEW_REPORT = 40291,
    ID_FILE_IMPORT_JUNIT = 40292,
    ID_FILE_IMPORT_TESTLINK = 40293,
    ID_FILE_EXPORT_TESTLINK = 40294,
    ID_SETTINGS_WEB_LICENCE = 40367,
    ID_EDIT_BACK = 40370,
    ID_EDIT_FORWARD = 40371,
    ID_UNLOCK_ALL = 40374,
    ID_BULK_UPDATE_FIRST = 40376,
    ID_BULK_UPDATE_LAST = 40385,
    ID_SETTINGS_KEY = 40391,
    ID_EDIT_DELETED_ITEMS = 40395,  // ours: the bin of the database
    ID_SETTINGS_SPELLING = 40396,   // ours: the spelling check's options
    ID_EDIT_CUT = 40397,            // ours, a key only: the keyboard's drag and drop
    ID_REPORT_FIRST = 40401,        // "Status Report - All"; the eight run in pairs All/Filtered
    ID_REPORT_LAST = 40408,
};

struct MenuCommand {
    std::string_view menu;   // "File", "File / Import", ...
    std::string_view label;  // as shown, with its accelerator after a tab
    int id;
};
// The main menu in order; the recent databases are added at run time.
std::span<const MenuCommand> MainMenu();

// The caption with a keyboard letter marked ("&File", "F&ilter"), the letter kept in taken so
// that no two captions of one menu share one: the first letter of a word not taken yet, else
// any letter or digit not taken; none when every one is. "&&" stays a literal ampersand.
std::string WithMnemonic(std::string_view caption, std::string& taken);

struct Accelerator {
    std::string_view key;  // "Ctrl+J", "Del", "F5"
    int id;
};
std::span<const Accelerator> Accelerators();

// False for the commands of licences, purchase, the home page and the online version check: this
// program is free and works without a network (its help is installed with it), so its menus
// leave them out.
bool ShownInMenus(int command);

// The operation a command identifier runs, from any menu, accelerator or context menu.
Operation OperationOf(int command);

// The report commands of the menus ("Status Report - All" ... "Test Case Report - Filtered"):
// the wizard, started on the kind, needing a filter for a filtered one.
struct ReportShortcut {
    ReportKind kind = ReportKind::Status;
    bool filtered = false;
};
std::optional<ReportShortcut> ReportShortcutOf(int command);

// What a refusal depends on, as the window knows it when the command comes.
struct CommandState {
    bool databaseOpen = false;
    bool projectSelected = false;         // a project folder is selected
    bool projectReportsSelected = false;  // a project or one of its report folders
    bool anyProject = false;              // the database holds a project
    bool insideProject = false;           // the current node is a project or lies in one
    std::size_t testersSelected = 0;      // testers among the selected items
};
// The message that refuses the command in this state; none when it may run.
std::optional<Notice> CommandRefusal(Operation operation, const CommandState& state);

}  // namespace vantorel
