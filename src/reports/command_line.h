#pragma once
// The command line: a plain argument opens a database; the switches make one report, one web
// export or one CSV export without a window. Switches are "/" and one letter in either case
// (the rest of the argument is ignored), "/debug", "/help", "/latin1", "/html", "/goodrows",
// "/dryrun" and "/again" whole; on Linux
// an argument that begins with
// "/" and holds another "/" is a path, and GNU long options are aliases of the switches.

#include <array>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/user_port.h"
#include "reports/report_base.h"

namespace vantorel {

// What "/help" prints, byte for byte (ISO-8859-1).
extern const char kUsageText[];
// What "--help" and "-h" print: the help of a Linux program (UTF-8).
extern const char kLinuxHelpText[];
// What "--version" and "-V" print.
std::string VersionText();

inline constexpr std::size_t kCommandLinePathMax = 256;
inline constexpr std::size_t kCommandLineValueMax = 516;
inline constexpr std::size_t kReportKeywordMax = 49;
inline constexpr std::size_t kSuiteLineMax = 1023;

struct CommandLine {
    std::string databaseMarker;  // the plain argument
    bool debug = false;
    bool help = false;       // "/help"
    bool linuxHelp = false;  // "--help", "-h"
    bool version = false;    // "--version", "-V"
    bool reportMode = false;
    bool webMode = false;
    bool refused = false;  // a message was shown and every mode was cleared

    std::string reportKeyword;
    std::string project;
    std::string database;
    std::string filter;
    std::vector<std::string> suites;
    ListColumnFlags columns = kAllListColumns;
    bool columnsChosen = false;
    std::string reportName;
    std::string templateName;
    std::string exportDirectory;

    // A CSV export ("/x"): the test cases of the project, of one of its suites or of a suite
    // of the library, or one of the project's list reports.
    bool csvMode = false;
    std::string csvFile;                      // "/x"
    std::string projectSuite;                 // "/t", below the project's "Project Test Cases"
    std::optional<std::string> librarySuite;  // "/l", below "Test Cases"; empty: all of it
    std::string listReport;                   // "/i", a list report of the project, instead
    bool csvLatin1 = false;                   // "/latin1"
    bool csvHtml = false;                     // "/html"

    // A CSV import ("/m FILE"): test cases into a suite of the library ("/l") or of a project
    // ("/p", "/t"); "/html" reads rich text as HTML.
    bool csvImportMode = false;
    std::string csvImportFile;  // "/m"
    bool goodRowsOnly = false;  // "/goodrows"
    std::string csvPreset;      // "/preset": another test manager's columns ("testrail")

    // A JUnit results import ("/j FILE") into the project of "/p".
    bool junitMode = false;
    std::string junitFile;         // "/j"
    std::string matchRule = "id";  // "/k": id, requirement or title
    std::string testedVersion;     // "/v"
    std::string testedBuild;       // "/b"
    bool dryRun = false;           // "/dryrun", also for a TestLink import
    bool importAgain = false;      // "/again": a file imported before is imported again

    // A TestLink XML import ("/testlink FILE") into a suite of the library ("/l"), the IDs
    // prefixed by "/prefix"; "/goodrows" and "/dryrun" as for the other imports.
    bool testlinkMode = false;
    std::string testlinkFile;  // "/testlink"
    std::string idPrefix;      // "/prefix"

    // A TestLink XML export ("/exporttestlink FILE") of a suite of the library ("/l").
    bool testlinkExportMode = false;
    std::string testlinkExportFile;  // "/exporttestlink"
};

// Parses the arguments that follow the program's name. Every refusal is told through port
// under "Vantorel Command Line Error" and clears every mode; "/help", "--help", "-h",
// "--version" and "-V" stop the parsing.
CommandLine ParseCommandLine(const std::vector<std::string>& arguments, UserPort& port);

// The project folder below "Projects": the name as given, else the one that matches it
// ignoring letter case, as on the systems the databases are shared with.
std::optional<std::filesystem::path> FindProject(const std::filesystem::path& databaseDir,
                                                 const std::string& project);

// The report run of a command line in report mode: opens the database, reads its
// customisation, finds the project and generates the report. 0 when the report was written;
// every failure has been told through port. A stop ends it as a cancelled report.
int RunCommandLineReport(const CommandLine& commandLine, UserPort& port, unsigned threads = 0,
                         std::stop_token stop = {});

}  // namespace vantorel
