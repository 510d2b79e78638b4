#include "reports/command_line.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>
#include <optional>

#include "documents/custom_cfg.h"
#include "documents/test_group.h"
#include "platform/identity.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/vantorel_database.h"

namespace vantorel {

// The usage text keeps its own quirks: no line break after "Export project to web", two
// blanks in "the column  in", and a non-breaking space (0xA0) before "for report".
const char kUsageText[] =
    "Report Generation:\n"
    "\n"
    "/r - Keyword for type of report to generate: progress, status, list or details\n"
    "/p - Project name\n"
    "/d - Path to the database\n"
    "/f - Filter name\n"
    "/s - Full file path of a file containing a list of suites to use. See help for details.\n"
    "/o - Used for list report, which columns to use\xA0"
    "for report, 16 digits either 1\n"
    "     or 0. 1 includes the column  in the report while a 0 does not (default\n"
    "     will use all columns)\n"
    "/n - Name for the report, will overwrite any existing report with the same name\n"
    "     (default will use unique name created by Vantorel)\n"
    "\n"
    "\n"
    "Web Export\n"
    "\n"
    "/w - Export project to web/d - Path to the database\n"
    "/p - Project name\n"
    "/c - Template name to use\n"
    "/e - Directory to put create exported files in\n"
    "\n"
    "\n"
    "Other Paramaters\n"
    "\n"
    "/debug - Enable debug mode for Vantorel, which will create a log file called\n"
    "         VantorelDebug.txt.\n"
    "/help - Display the list of parameters Vantorel accepts\n"
    "\n"
    "To open a database using the command line just include the path of the \".vdb\"\n"
    "file of the database you want to open\n"
    "   eg \"c:\\vantorel\\vantorel.exe c:\\newdb\\VantorelDatabase.vdb\".\n";

const char kLinuxHelpText[] =
    "Usage: vantorel [DATABASE]\n"
    "       vantorel --report KIND --database DATABASE --project PROJECT [OPTION]...\n"
    "       vantorel --web --database DATABASE --project PROJECT --template STYLE\n"
    "                --export-dir FOLDER\n"
    "       vantorel --csv FILE --database DATABASE (--project PROJECT [--suite SUITE\n"
    "                | --list-report NAME] | --library SUITE) [--latin1] [--html]\n"
    "       vantorel --import-csv FILE --database DATABASE (--project PROJECT\n"
    "                [--suite SUITE] | --library SUITE) [--html] [--good-rows]\n"
    "                [--preset TOOL]\n"
    "       vantorel --junit FILE --database DATABASE --project PROJECT [--match RULE]\n"
    "                [--tested-version V] [--tested-build B] [--dry-run] [--again]\n"
    "       vantorel --import-testlink FILE --database DATABASE --library SUITE\n"
    "                [--prefix PREFIX] [--good-rows] [--dry-run]\n"
    "       vantorel --export-testlink FILE --database DATABASE --library SUITE\n"
    "\n"
    "Vantorel keeps test cases, test projects and their executions. Without options it\n"
    "opens DATABASE (a database folder or its VantorelDatabase.vdb), else the last\n"
    "database used. With --report, --web, --csv, --import-csv, --junit,\n"
    "--import-testlink or --export-testlink it makes one report, export or import\n"
    "without a window; every message goes to stderr and to\n"
    "error_log.txt in the data folder ($VANTOREL_DATA_DIR, else\n"
    "~/.local/share/Corvanta/Vantorel).\n"
    "\n"
    "Reports and web export:\n"
    "  -r, --report KIND      make a report: status, progress, list or details\n"
    "  -d, --database PATH    the database folder, or its VantorelDatabase.vdb\n"
    "  -p, --project NAME     the project, as named below the database's Projects\n"
    "  -f, --filter NAME      keep only the test cases that pass this filter\n"
    "  -s, --suites FILE      only these suites: one a line, nested ones as Parent/Child\n"
    "  -o, --columns FLAGS    list report columns: up to 16 digits, 1 shows a column\n"
    "  -n, --name NAME        the report's name (an earlier report of that name is\n"
    "                         replaced); otherwise a new name of the day\n"
    "  -w, --web              export the project as a static web site\n"
    "  -c, --template STYLE   the display style of the site: default or night\n"
    "  -e, --export-dir DIR   the folder the site is written into\n"
    "\n"
    "CSV export (UTF-8 with a byte-order mark, one row per test case):\n"
    "  -x, --csv FILE         write the test cases of --project or --library to FILE\n"
    "  -t, --suite SUITE      only this suite of the project and the suites below it\n"
    "  -l, --library SUITE    a suite of the library (\"\" for all of it) instead\n"
    "  -i, --list-report NAME the project's list report of that name instead\n"
    "      --latin1           write ISO-8859-1 without a byte-order mark\n"
    "      --html             write rich-text fields as their HTML, not as plain text\n"
    "\n"
    "CSV import (UTF-8 with or without a byte-order mark, or ISO-8859-1; comma,\n"
    "semicolon or tab; columns matched to fields by their captions):\n"
    "  -m, --import-csv FILE  add the rows of FILE as test cases of --library SUITE or\n"
    "                         of --project PROJECT (below its --suite SUITE); suites\n"
    "                         named in a Suite column are made as needed\n"
    "      --html             read rich-text cells as HTML, not as plain text\n"
    "      --good-rows        import the rows that pass when others are refused;\n"
    "                         otherwise a single refused row imports nothing\n"
    "      --preset TOOL      the columns another test manager's export carries:\n"
    "                         testrail, kiwi or xray (steps on rows of their own\n"
    "                         become numbered steps)\n"
    "\n"
    "JUnit results import (pytest, CTest, GoogleTest, Maven, Gradle):\n"
    "  -j, --junit FILE       record each result as an execution of the project's test\n"
    "                         case it matches: passed Pass, failure or error Fail,\n"
    "                         skipped Postponed; one more attempt, its time, a history\n"
    "                         entry\n"
    "  -k, --match RULE       id: the test's name holds the test case's ID (default);\n"
    "                         requirement: the Requirements field is the test's name;\n"
    "                         title: the title is the name (test_log_in: Log in)\n"
    "      --tested-version V the version tested, recorded with each execution\n"
    "  -b, --tested-build B   the build tested\n"
    "      --dry-run          print what would change and write nothing\n"
    "      --again            import a file that was imported into the project before\n"
    "\n"
    "TestLink import (its XML export of test suites and test cases):\n"
    "      --import-testlink FILE\n"
    "                         add its suites and test cases below --library SUITE\n"
    "                         (empty for the library itself)\n"
    "      --prefix PREFIX    IDs as PREFIX-<external id>; without it, automatic IDs\n"
    "      --dry-run          check every test case and say what would be made\n"
    "      --export-testlink FILE\n"
    "                         write --library SUITE (\"\" for all of it) as XML that\n"
    "                         TestLink imports\n"
    "\n"
    "Other options:\n"
    "      --debug            write a debug log, VantorelDebug.txt, in the data folder\n"
    "  -h, --help             show this help and exit\n"
    "  -V, --version          show the version and exit\n"
    "      /help              show the switches in the program's own form\n"
    "\n"
    "Each option has a slash form too: /r, /d, /p, /f, /s, /o, /n, /w, /c, /e, /x, /t,\n"
    "/l, /i, /latin1, /html, /m, /goodrows, /j, /k, /v, /b, /dryrun, /again, /testlink,\n"
    "/prefix, /exporttestlink, /preset, /debug.\n"
    "\n"
    "Examples:\n"
    "  vantorel ~/qa/shop-db\n"
    "  vantorel --report status --database ~/qa/shop-db --project \"Release 2.0\"\n"
    "  vantorel /r list /d ~/qa/shop-db /p \"Release 2.0\" /o 1011000000000000 /n weekly\n"
    "  vantorel --web -d ~/qa/shop-db -p \"Release 2.0\" -c night -e ~/public_html\n"
    "  vantorel --csv cart.csv -d ~/qa/shop-db -p \"Release 2.0\" --suite Cart\n"
    "  vantorel --import-csv new.csv -d ~/qa/shop-db --library Login\n"
    "  vantorel --junit report.xml -d ~/qa/shop-db -p \"Release 2.0\" --tested-build 417\n"
    "  vantorel --import-testlink shop.xml -d ~/qa/shop-db --library \"\" --prefix SHOP\n"
    "  vantorel --export-testlink login.xml -d ~/qa/shop-db --library Login\n"
    "\n"
    "Ctrl-C stops a report or export between two documents: no half-written report\n"
    "is left, and an earlier export stays as it was. A second Ctrl-C ends at once.\n"
    "\n"
    "Exit status: 0 when the report or export was made, or every row or matched result\n"
    "was imported; 1 when it was not (a refused row, a test case open for editing); 2\n"
    "when the command line was refused. Results that match no test case are listed\n"
    "and leave the status 0.\n";

std::string VersionText() {
    return "vantorel " + std::string(kProductVersion.substr(1)) + " (build " +
           std::to_string(kProductBuild) + ")\n";
}

namespace {

constexpr const char* kParseCaption = "Vantorel Command Line Error";

// GNU long options and the switch each stands for.
struct LongOption {
    std::string_view name;
    std::string_view switchText;
};
constexpr LongOption kLongOptions[] = {
    {"report", "/r"},
    {"project", "/p"},
    {"database", "/d"},
    {"filter", "/f"},
    {"suites", "/s"},
    {"columns", "/o"},
    {"name", "/n"},
    {"web", "/w"},
    {"template", "/c"},
    {"export-dir", "/e"},
    {"debug", "/debug"},
    {"csv", "/x"},
    {"suite", "/t"},
    {"library", "/l"},
    {"latin1", "/latin1"},
    {"html", "/html"},
    {"list-report", "/i"},
    {"import-csv", "/m"},
    {"good-rows", "/goodrows"},
    {"junit", "/j"},
    {"match", "/k"},
    {"tested-version", "/v"},
    {"tested-build", "/b"},
    {"dry-run", "/dryrun"},
    {"again", "/again"},
    {"import-testlink", "/testlink"},
    {"prefix", "/prefix"},
    {"export-testlink", "/exporttestlink"},
    {"preset", "/preset"},
};

// The weights of the switches a report or a web export needs; each mode needs exactly its
// own set.
enum SwitchWeight {
    kDatabaseWeight = 1,
    kProjectWeight = 2,
    kTemplateWeight = 4,
    kExportWeight = 8
};
constexpr int kReportWeights = kDatabaseWeight + kProjectWeight;
constexpr int kWebWeights = kDatabaseWeight + kProjectWeight + kTemplateWeight + kExportWeight;

bool IsSwitch(std::string_view argument) {
    return argument.size() >= 2 && argument[0] == '/' &&
           argument.find('/', 1) == std::string_view::npos;
}

// Rewrites "--name value", "--name=value" and "-x value" into the switch and its value.
std::optional<std::vector<std::string>> WithSlashSwitches(const std::vector<std::string>& arguments,
                                                          std::string& unknown) {
    std::vector<std::string> rewritten;
    for (const std::string& argument : arguments) {
        if (argument.size() == 2 && argument[0] == '-' &&
            std::string_view("rdpfsonwcextlimjkb").find(argument[1]) != std::string_view::npos) {
            rewritten.push_back("/" + argument.substr(1));
            continue;
        }
        if (argument.rfind("--", 0) != 0 || argument.size() == 2) {
            rewritten.push_back(argument);
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string_view name = std::string_view(argument).substr(
            2, equals == std::string::npos ? std::string::npos : equals - 2);
        const auto option = std::find_if(std::begin(kLongOptions), std::end(kLongOptions),
                                         [name](const LongOption& o) { return o.name == name; });
        if (option == std::end(kLongOptions)) {
            unknown = argument;
            return std::nullopt;
        }
        rewritten.emplace_back(option->switchText);
        if (equals != std::string::npos)
            rewritten.push_back(argument.substr(equals + 1));
    }
    return rewritten;
}

// A suite list is a short text; a longer file, a FIFO or a device given by mistake is refused
// rather than read, so it can't hold the run.
constexpr std::size_t kSuiteListMax = 16 * 1024 * 1024;

enum class SuiteListProblem { None, CannotOpen, NotText };

// One suite a line, the line break (LF or CR LF) removed, each cut at kSuiteLineMax. A line
// holding a control character (a NUL of a UTF-16 file, say) can't be a suite's name, and
// would name another folder than the one the user sees; the whole list is refused then.
SuiteListProblem ReadSuiteList(const std::string& file, std::vector<std::string>& suites,
                               std::size_t& badLine) {
    std::string text;
    if (ReadRegularFile(file, text, kSuiteListMax) != 0)
        return SuiteListProblem::CannotOpen;
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size(); ++number) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos)
            end = text.size();
        std::string_view line(text.data() + begin, end - begin);
        begin = end + 1;
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (std::ranges::any_of(
                line, [](char c) { return std::iscntrl(static_cast<unsigned char>(c)); })) {
            badLine = number + 1;
            return SuiteListProblem::NotText;
        }
        if (!line.empty())
            suites.emplace_back(line.substr(0, kSuiteLineMax));
    }
    return SuiteListProblem::None;
}

// A suite line names a folder below "Project Test Cases", nested suites as "Parent/Child":
// never an absolute path, and no part of it "." or "..".
bool IsSuitePath(const std::string& suite) {
    if (suite.starts_with('/'))
        return false;
    for (const std::filesystem::path& part : std::filesystem::path(suite))
        if (part == "." || part == "..")
            return false;
    return true;
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& arguments, UserPort& port) {
    CommandLine line;
    auto refuse = [&line, &port](std::string text) {
        port.tell({std::move(text), kParseCaption, Icon::Warning});
        line.reportMode = line.webMode = line.csvMode = line.csvImportMode = line.junitMode =
            line.testlinkMode = line.testlinkExportMode = false;
        line.refused = true;
        return line;
    };
    for (const std::string& argument : arguments) {
        if (argument == "--help" || argument == "-h") {
            line.linuxHelp = true;
            return line;
        }
        if (argument == "--version" || argument == "-V") {
            line.version = true;
            return line;
        }
    }
    std::string unknown;
    const std::optional<std::vector<std::string>> args = WithSlashSwitches(arguments, unknown);
    if (!args)
        return refuse("Unknown option " + unknown + ".\n");

    int weights = 0;
    for (std::size_t i = 0; i < args->size(); ++i) {
        const std::string& argument = (*args)[i];
        if (!IsSwitch(argument)) {
            if (argument.size() > kCommandLinePathMax)
                port.tell({"Database path provided in command line is too long (max BUF_256 chars)",
                           "Database path is too long", Icon::Warning});
            else
                line.databaseMarker = argument;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/debug") == 0) {
            line.debug = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/help") == 0) {
            line.help = true;
            return line;
        }
        if (strcasecmp(argument.c_str(), "/latin1") == 0) {
            line.csvLatin1 = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/html") == 0) {
            line.csvHtml = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/goodrows") == 0) {
            line.goodRowsOnly = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/dryrun") == 0) {
            line.dryRun = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/again") == 0) {
            line.importAgain = true;
            continue;
        }
        const char letter =
            static_cast<char>(std::toupper(static_cast<unsigned char>(argument[1])));
        if (letter == 'W') {
            line.webMode = true;
            continue;
        }
        const bool hasValue = i + 1 < args->size();
        const std::string value = hasValue ? (*args)[i + 1] : std::string();
        // Takes the next argument as the switch's value, cut at width.
        auto take = [&](std::string& into, std::size_t width) {
            if (!hasValue)
                return false;
            into = value.substr(0, width);
            ++i;
            return true;
        };
        // Whole words first: their first letters are switches of their own.
        if (strcasecmp(argument.c_str(), "/testlink") == 0) {
            if (!take(line.testlinkFile, kCommandLineValueMax))
                return refuse("No file after /testlink parameter.\n");
            line.testlinkMode = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/exporttestlink") == 0) {
            if (!take(line.testlinkExportFile, kCommandLineValueMax))
                return refuse("No file after /exporttestlink parameter.\n");
            line.testlinkExportMode = true;
            continue;
        }
        if (strcasecmp(argument.c_str(), "/preset") == 0) {
            if (!take(line.csvPreset, kCommandLineValueMax))
                return refuse("No preset after /preset parameter.\n");
            continue;
        }
        if (strcasecmp(argument.c_str(), "/prefix") == 0) {
            if (!take(line.idPrefix, kCommandLineValueMax))
                return refuse("No prefix after /prefix parameter.\n");
            continue;
        }
        switch (letter) {
            case 'R':
                if (!take(line.reportKeyword, kReportKeywordMax))
                    return refuse("No report type after /r parameter.\n");
                line.reportMode = true;
                break;
            case 'P':
                if (!take(line.project, kCommandLineValueMax))
                    return refuse("No project provided after /p parameter.\n");
                weights += kProjectWeight;
                break;
            case 'D':
                if (!take(line.database, kCommandLineValueMax))
                    return refuse("No database provided after /d parameter.\n");
                weights += kDatabaseWeight;
                break;
            case 'F':
                take(line.filter, kCommandLineValueMax);  // without a value: no filter
                break;
            case 'S': {
                std::string file;
                if (!take(file, kCommandLineValueMax))
                    return refuse("No file after /s parameter.\n");
                std::size_t badLine = 0;
                switch (ReadSuiteList(file, line.suites, badLine)) {
                    case SuiteListProblem::CannotOpen:
                        return refuse("Cannot open file after /s parameter.\n");
                    case SuiteListProblem::NotText:
                        return refuse("Line " + std::to_string(badLine) +
                                      " of the file after /s parameter holds a control "
                                      "character; the file must list one suite name a line as "
                                      "plain text.\n");
                    case SuiteListProblem::None:
                        break;
                }
                break;
            }
            case 'O': {
                std::string columns;
                if (!take(columns, kListColumnCount))
                    return refuse("No columns string after /o parameter.\n");
                for (std::size_t column = 0; column < columns.size(); ++column)
                    line.columns[column] = columns[column] == '1';
                line.columnsChosen = true;
                break;
            }
            case 'N':
                if (!take(line.reportName, kCommandLineValueMax))
                    return refuse("No name provided after /n parameter.\n");
                break;
            case 'C':
                if (!take(line.templateName, kCommandLineValueMax))
                    return refuse("No template directory after /c parameter.\n");
                weights += kTemplateWeight;
                break;
            case 'E':
                if (!take(line.exportDirectory, kCommandLineValueMax))
                    return refuse("No export directory after /e parameter.\n");
                weights += kExportWeight;
                break;
            case 'X':
                if (!take(line.csvFile, kCommandLineValueMax))
                    return refuse("No file after /x parameter.\n");
                line.csvMode = true;
                break;
            case 'T':
                if (!take(line.projectSuite, kCommandLineValueMax))
                    return refuse("No suite after /t parameter.\n");
                break;
            case 'L':
                if (!take(line.librarySuite.emplace(), kCommandLineValueMax))
                    return refuse("No suite after /l parameter.\n");
                break;
            case 'I':
                if (!take(line.listReport, kCommandLineValueMax))
                    return refuse("No report name after /i parameter.\n");
                break;
            case 'M':
                if (!take(line.csvImportFile, kCommandLineValueMax))
                    return refuse("No file after /m parameter.\n");
                line.csvImportMode = true;
                break;
            case 'J':
                if (!take(line.junitFile, kCommandLineValueMax))
                    return refuse("No file after /j parameter.\n");
                line.junitMode = true;
                break;
            case 'K':
                if (!take(line.matchRule, kCommandLineValueMax))
                    return refuse("No rule after /k parameter.\n");
                break;
            case 'V':
                if (!take(line.testedVersion, kCommandLineValueMax))
                    return refuse("No version after /v parameter.\n");
                break;
            case 'B':
                if (!take(line.testedBuild, kCommandLineValueMax))
                    return refuse("No build after /b parameter.\n");
                break;
            default:
                break;  // not a switch of ours
        }
    }
    if ((line.csvImportMode || line.junitMode || line.testlinkMode || line.testlinkExportMode) &&
        line.csvImportMode + line.junitMode + line.testlinkMode + line.testlinkExportMode +
                line.csvMode + (line.reportMode || line.webMode) >
            1)
        return refuse(
            "A run makes one report, export or import: /r, /w, /x, /m, /j, /testlink and "
            "/exporttestlink can't be combined\n");
    if (line.testlinkMode || line.testlinkExportMode) {
        if (line.database.empty() || !line.librarySuite)
            return refuse(std::string("Command line missing some required parameters (/d and "
                                      "/l) for TestLink ") +
                          (line.testlinkMode ? "import\n" : "export\n"));
        if (!IsSuitePath(*line.librarySuite))
            return refuse("\"" + *line.librarySuite +
                          "\" is not a suite: name it as Parent/Child below the library\n");
        return line;
    }
    if (!line.csvPreset.empty() && !line.csvImportMode)
        return refuse("A preset (/preset) is only for a CSV import (/m)\n");
    if (line.csvImportMode) {
        const bool project = !line.project.empty();
        if (line.database.empty() || project == line.librarySuite.has_value())
            return refuse(
                "Command line missing some required parameters (/d and either /p or /l) for "
                "CSV import\n");
        if (!line.projectSuite.empty() && !project)
            return refuse("A project suite (/t) needs its project (/p) for CSV import\n");
        for (const std::string& suite : {line.projectSuite, line.librarySuite.value_or("")})
            if (!IsSuitePath(suite))
                return refuse("\"" + suite +
                              "\" is not a suite: name it as Parent/Child below the project's "
                              "test cases or the library\n");
        return line;
    }
    if (line.junitMode) {
        if (line.database.empty() || line.project.empty())
            return refuse(
                "Command line missing some required parameters (/d and /p) for JUnit results "
                "import\n");
        if (line.matchRule != "id" && line.matchRule != "requirement" && line.matchRule != "title")
            return refuse("\"" + line.matchRule +
                          "\" is not a rule after /k: use id, requirement or title\n");
        return line;
    }
    if (line.csvMode) {
        if (line.reportMode || line.webMode)
            return refuse(
                "A CSV export (/x) can't be made in the same run as a report or a web "
                "export\n");
        const bool project = !line.project.empty();
        if (line.database.empty() || project == line.librarySuite.has_value())
            return refuse(
                "Command line missing some required parameters (/d and either /p or /l) for "
                "CSV export\n");
        if (!line.projectSuite.empty() && !project)
            return refuse("A project suite (/t) needs its project (/p) for CSV export\n");
        if (!line.listReport.empty() && (!project || !line.projectSuite.empty()))
            return refuse(
                "A list report (/i) is exported whole from its project (/p), without /t or /l\n");
        for (const std::string& suite : {line.projectSuite, line.librarySuite.value_or("")})
            if (!IsSuitePath(suite))
                return refuse("\"" + suite +
                              "\" is not a suite: name it as Parent/Child below the project's "
                              "test cases or the library\n");
        return line;
    }
    if (line.reportMode && weights != kReportWeights)
        return refuse(
            "Command line missing some required parameters (/p or /d) for report "
            "generation\n");
    if (line.webMode && !line.reportMode && weights != kWebWeights)
        return refuse(
            "Command line missing some required parameters (/p,/d,/c or /e) for web "
            "export\n");
    return line;
}

std::optional<std::filesystem::path> FindProject(const std::filesystem::path& databaseDir,
                                                 const std::string& project) {
    if (!IsItemName(project))
        return std::nullopt;
    const std::filesystem::path projects = databaseDir / "Projects";
    std::optional<std::filesystem::path> found;
    std::error_code error;
    if (std::filesystem::is_directory(projects / project, error)) {
        found = projects / project;
    } else {
        ItemListing items;
        ListItems(projects, items);
        for (const std::string& name : items.folders)
            if (strcasecmp(name.c_str(), project.c_str()) == 0)
                found = projects / name;
    }
    if (found && !LiesInside(projects, *found))
        return std::nullopt;
    return found;
}

int RunCommandLineReport(const CommandLine& commandLine, UserPort& port, unsigned threads,
                         std::stop_token stop) {
    auto fail = [&port](std::string reason) {
        port.tell({"Report was not created" + reason, "Report", Icon::Warning});
        return 1;
    };
    VantorelDatabase database(port);
    if (!database.Open(commandLine.database, OpenMode::ReadOnly))
        return fail(" - database could not be opened");
    if (database.Version() != DatabaseVersion{std::string(kProductVersion), kProductBuild})
        return fail(" - Vantorel version out of date");
    CustomCfg custom;
    if (!custom.Read(database.Directory(), port, CurrentIdentity().computer).read)
        return fail(" - database could not be opened");

    const std::optional<std::filesystem::path> project =
        FindProject(database.Directory(), commandLine.project);
    if (!IsItemName(commandLine.project))
        return fail(" - \"" + commandLine.project + "\" is not a project name. " +
                    std::string(kItemNameRule));
    if (!project)
        return fail(" - project \"" + commandLine.project + "\" was not found in the database");
    if (commandLine.reportName.size() > kReportNameMax)
        return fail(" - report name is greater than 64 characters");
    if (commandLine.reportName.find_first_of(kForbiddenIdCharacters) != std::string::npos)
        return fail(" - report name contains invalid characters");
    // The kind is a word like the switches: any letter case.
    std::string keyword = commandLine.reportKeyword;
    std::ranges::transform(keyword, keyword.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::optional<ReportKind> kind = ReportKindFromKeyword(keyword);
    if (!kind)
        return fail(" - \"" + commandLine.reportKeyword +
                    "\" is not a kind of report: status, progress, list or details");

    ReportRequest request;
    request.projectFolder = *project;
    request.name = commandLine.reportName;
    request.commandLine = true;
    request.threads = threads;
    request.stop = stop;
    request.listColumns = commandLine.columns;
    if (!commandLine.filter.empty()) {
        if (!IsItemName(commandLine.filter))
            return fail(" - \"" + commandLine.filter + "\" is not a filter name. " +
                        std::string(kItemNameRule));
        request.filter = Filter::Load(database.Directory() / std::string(kFiltersFolder) /
                                      (commandLine.filter + ".vtl"));
        if (!request.filter)
            return fail(" - filter \"" + commandLine.filter + "\" could not be read");
    }
    request.wholeProject = commandLine.suites.empty();
    for (std::string suite : commandLine.suites) {
        std::replace(suite.begin(), suite.end(), '\\', '/');
        if (!IsSuitePath(suite))
            return fail(" - \"" + suite +
                        "\" is not a suite of the project: a suite line names a suite below "
                        "\"Project Test Cases\", nested suites as Parent/Child, never \".\" "
                        "or \"..\" and never from the root of the disk");
        const std::filesystem::path cases = *project / std::string(kProjectTestCasesFolder);
        const std::filesystem::path folder = cases / suite;
        std::error_code error;
        if (!std::filesystem::is_directory(folder, error) || !LiesInside(cases, folder))
            return fail(" - suite \"" + suite + "\" was not found in the project");
        request.suites.push_back({folder, true});
    }

    const std::optional<std::filesystem::path> written =
        MakeReport(*kind, {port, custom})->create(request);
    if (!written)
        return 1;
    std::cout << written->string() << "\n";
    return 0;
}

}  // namespace vantorel
