#include "reports/command_line.h"

#include <sys/stat.h>

#include <fstream>

#include "reports/status_report.h"
#include "storage/vantorel_database.h"
#include "support/project_fixture.h"
#include "support/recording_port.h"

namespace vantorel::testing {
namespace {

class CommandLineTest : public ::testing::Test {
protected:
    CommandLine Parse(std::vector<std::string> arguments) {
        return ParseCommandLine(arguments, port);
    }
    RecordingPort port;
    TempDir dir;
};

TEST_F(CommandLineTest, SwitchesAreOneLetterInEitherCase) {
    const CommandLine line = Parse({"/R", "status", "/Database", "/srv/db", "/project", "Alpha",
                                    "/f", "Failed", "/N", "Weekly", "/DEBUG"});
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(line.reportMode);
    EXPECT_FALSE(line.refused);
    EXPECT_TRUE(line.debug);
    EXPECT_EQ(line.reportKeyword, "status");
    EXPECT_EQ(line.database, "/srv/db");  // a value may look like a path
    EXPECT_EQ(line.project, "Alpha");
    EXPECT_EQ(line.filter, "Failed");
    EXPECT_EQ(line.reportName, "Weekly");

    const CommandLine gnu = Parse({"--report=list", "--database", "db", "--project=Alpha",
                                   "--columns", "101", "/home/me/db/VantorelDatabase.vdb"});
    EXPECT_TRUE(gnu.reportMode);
    EXPECT_EQ(gnu.reportKeyword, "list");
    EXPECT_EQ(gnu.databaseMarker, "/home/me/db/VantorelDatabase.vdb");
    EXPECT_TRUE(gnu.columnsChosen);
    EXPECT_EQ(gnu.columns[0], true);
    EXPECT_EQ(gnu.columns[1], false);
    EXPECT_EQ(gnu.columns[2], true);
    EXPECT_EQ(gnu.columns[15], true);  // beyond the string: kept
    EXPECT_TRUE(Parse({"/helpme"}).help == false);
    EXPECT_TRUE(Parse({"/r", "status", "/HELP", "/nonsense"}).help);
}

TEST_F(CommandLineTest, EachModeNeedsExactlyItsSwitches) {
    EXPECT_TRUE(Parse({"/w", "/d", "db", "/p", "A", "/c", "style", "/e", "out"}).webMode);
    EXPECT_TRUE(port.notices.empty());

    const CommandLine withTemplate = Parse({"/r", "status", "/d", "db", "/p", "A", "/c", "x"});
    EXPECT_FALSE(withTemplate.reportMode);
    EXPECT_TRUE(withTemplate.refused);
    EXPECT_EQ(port.notices.back().caption, "Vantorel Command Line Error");
    Parse({"/w", "/d", "db", "/p", "A"});
    EXPECT_EQ(port.notices.back().text,
              "Command line missing some required parameters (/p,/d,/c or /e) for web export\n");
}

TEST_F(CommandLineTest, CsvExportNamesItsFileAndEitherAProjectOrALibrarySuite) {
    const CommandLine project =
        Parse({"--csv=out.csv", "-d", "db", "--project", "A", "/t", "Cart/Deep", "/HTML"});
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(project.csvMode);
    EXPECT_EQ(project.csvFile, "out.csv");
    EXPECT_EQ(project.projectSuite, "Cart/Deep");
    EXPECT_FALSE(project.librarySuite);
    EXPECT_TRUE(project.csvHtml);
    EXPECT_EQ(Parse({"-x", "out.csv", "/d", "db", "/p", "A", "-i", "weekly"}).listReport, "weekly");
    EXPECT_FALSE(project.csvLatin1);

    // "/latin1" is a word of its own, not the library's "/l".
    const CommandLine library = Parse({"/x", "out.csv", "/d", "db", "/latin1", "--library", ""});
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(library.csvMode);
    EXPECT_EQ(library.librarySuite, "");
    EXPECT_TRUE(library.csvLatin1);
    // A switch given twice is taken for no other switch.
    EXPECT_TRUE(Parse({"/x", "out.csv", "/d", "db", "/d", "db", "/l", "Login"}).csvMode);
    EXPECT_TRUE(port.notices.empty());

    const std::vector<std::pair<std::vector<std::string>, std::string>> refused{
        {{"/x", "out.csv", "/d", "db"},
         "Command line missing some required parameters (/d and either /p or /l) for CSV "
         "export\n"},

        {{"/x", "out.csv", "/d", "db", "/p", "A", "/l", "Login"},
         "Command line missing some required parameters (/d and either /p or /l) for CSV "
         "export\n"},
        {{"/x", "out.csv", "/d", "db", "/l", "Login", "/t", "Cart"},
         "A project suite (/t) needs its project (/p) for CSV export\n"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/t", "../Other"},
         "\"../Other\" is not a suite: name it as Parent/Child below the project's test cases "
         "or the library\n"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/r", "status"},
         "A CSV export (/x) can't be made in the same run as a report or a web export\n"},
        {{"/d", "db", "/p", "A", "/x"}, "No file after /x parameter.\n"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/t", "Cart", "--list-report", "weekly"},
         "A list report (/i) is exported whole from its project (/p), without /t or /l\n"},
        {{"/x", "out.csv", "/d", "db", "/l", "Login", "/i", "weekly"},
         "A list report (/i) is exported whole from its project (/p), without /t or /l\n"},
    };
    for (const auto& [arguments, message] : refused) {
        const CommandLine line = Parse(arguments);
        EXPECT_FALSE(line.csvMode) << message;
        EXPECT_TRUE(line.refused) << message;
        ASSERT_FALSE(port.notices.empty());
        EXPECT_EQ(port.notices.back().text, message);
    }
}

TEST_F(CommandLineTest, ImportsNameTheirFileAndWhereItGoes) {
    const CommandLine csv =
        Parse({"--import-csv=new.csv", "-d", "db", "-p", "A", "/t", "Cart", "/GoodRows", "/html"});
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(csv.csvImportMode);
    EXPECT_FALSE(csv.csvMode);
    EXPECT_EQ(csv.csvImportFile, "new.csv");
    EXPECT_TRUE(csv.goodRowsOnly);
    EXPECT_TRUE(csv.csvHtml);
    EXPECT_TRUE(Parse({"/m", "new.csv", "/d", "db", "--library", "Login"}).csvImportMode);

    // "/dryrun" is a word of its own, not the database's "/d"; "/b" is not "/again".
    const CommandLine junit = Parse({"-j", "report.xml", "/d", "db", "/p", "A", "/dryrun", "-k",
                                     "title", "--tested-version", "2.0", "/b", "417", "--again"});
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(junit.junitMode);
    EXPECT_EQ(junit.database, "db");
    EXPECT_TRUE(junit.dryRun);
    EXPECT_TRUE(junit.importAgain);
    EXPECT_EQ(junit.matchRule, "title");
    EXPECT_EQ(junit.testedVersion, "2.0");
    EXPECT_EQ(junit.testedBuild, "417");
    EXPECT_EQ(Parse({"/j", "r.xml", "/d", "db", "/p", "A"}).matchRule, "id");

    const std::vector<std::pair<std::vector<std::string>, std::string>> refused{
        {{"/m", "new.csv", "/d", "db"},
         "Command line missing some required parameters (/d and either /p or /l) for CSV "
         "import\n"},
        {{"/m", "new.csv", "/d", "db", "/l", "../x"},
         "\"../x\" is not a suite: name it as Parent/Child below the project's test cases or "
         "the library\n"},
        {{"/j", "r.xml", "/d", "db"},
         "Command line missing some required parameters (/d and /p) for JUnit results import\n"},
        {{"/j", "r.xml", "/d", "db", "/p", "A", "/k", "name"},
         "\"name\" is not a rule after /k: use id, requirement or title\n"},
        {{"/j", "r.xml", "/d", "db", "/p", "A", "/m", "x.csv"},
         "A run makes one report, export or import: /r, /w, /x, /m and /j can't be combined\n"},
        {{"/d", "db", "/p", "A", "/j"}, "No file after /j parameter.\n"},
    };
    for (const auto& [arguments, message] : refused) {
        const CommandLine line = Parse(arguments);
        EXPECT_FALSE(line.csvImportMode || line.junitMode) << message;
        EXPECT_TRUE(line.refused) << message;
        ASSERT_FALSE(port.notices.empty());
        EXPECT_EQ(port.notices.back().text, message);
    }
}

TEST_F(CommandLineTest, MissingValuesAreNamed) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"/d", "No database provided after /d parameter.\n"},
        {"/p", "No project provided after /p parameter.\n"},
        {"/r", "No report type after /r parameter.\n"},
        {"/s", "No file after /s parameter.\n"},
        {"/o", "No columns string after /o parameter.\n"},
        {"/n", "No name provided after /n parameter.\n"},
        {"/c", "No template directory after /c parameter.\n"},
        {"/e", "No export directory after /e parameter.\n"},
    };
    for (const auto& [flag, message] : cases) {
        const CommandLine line = Parse({"/r", "status", flag});
        EXPECT_FALSE(line.reportMode) << flag;
        EXPECT_EQ(port.notices.back().text, message);
    }
    const std::size_t told = port.notices.size();
    EXPECT_FALSE(Parse({"/d", "db", "/p", "A", "/r", "status", "/f"}).refused);
    EXPECT_EQ(port.notices.size(), told);  // a filter switch without a value is ignored

    Parse({"/s", (dir.path() / "missing.txt").string()});
    EXPECT_EQ(port.notices.back().text, "Cannot open file after /s parameter.\n");
    Parse({std::string(257, 'x')});
    EXPECT_EQ(port.notices.back().caption, "Database path is too long");
    Parse({"--colour"});
    EXPECT_EQ(port.notices.back().text, "Unknown option --colour.\n");
}

TEST_F(CommandLineTest, SuiteFileListsOneSuiteALine) {
    const auto list = dir.path() / "suites.txt";
    std::ofstream(list, std::ios::binary) << "Login\r\nCheckout/Cards\n\n"
                                          << std::string(1100, 's');
    const CommandLine line = Parse({"/s", list.string()});
    ASSERT_EQ(line.suites.size(), 3u);
    EXPECT_EQ(line.suites[0], "Login");
    EXPECT_EQ(line.suites[1], "Checkout/Cards");
    EXPECT_EQ(line.suites[2].size(), 1023u);
}

TEST_F(CommandLineTest, SuiteFileThatIsNoTextIsRefused) {
    const auto nul = dir.path() / "nul.txt";
    std::ofstream(nul, std::ios::binary) << std::string("Login\n\0Login\n", 13);
    // UTF-16 without a byte-order mark: every other byte a NUL.
    const auto wide = dir.path() / "wide.txt";
    std::ofstream(wide, std::ios::binary) << std::string("L\0o\0g\0i\0n\0\n\0", 12);
    for (const auto& file : {nul, wide}) {
        const CommandLine line =
            Parse({"/r", "status", "/d", "db", "/p", "A", "/s", file.string()});
        EXPECT_TRUE(line.refused);
        EXPECT_FALSE(line.reportMode);
        EXPECT_TRUE(port.notices.back().text.find("holds a control character") != std::string::npos)
            << port.notices.back().text;
    }
    EXPECT_EQ(port.notices.front().text.substr(0, 7), "Line 2 ");

    // A FIFO would block a plain read for ever; a folder can't be read at all.
    const auto fifo = dir.path() / "fifo.txt";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const auto& file : {fifo, dir.path()}) {
        EXPECT_TRUE(Parse({"/s", file.string()}).refused);
        EXPECT_EQ(port.notices.back().text, "Cannot open file after /s parameter.\n");
    }
}

class CommandLineRunTest : public ProjectTest {
protected:
    CommandLineRunTest() {
        std::ofstream(db / "VantorelDatabase.vdb", std::ios::binary)
            << EncodeVersionRecord({"V3.2", 1000});
        AddCase("Login/A.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Pass"}});
        AddCase("Cart/B.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Fail"}});
    }
    int Run(std::vector<std::string> arguments) {
        const CommandLine line = ParseCommandLine(arguments, port);
        return RunCommandLineReport(line, port, 1);
    }
};

TEST_F(CommandLineRunTest, MakesTheReportOfTheNamedProject) {
    EXPECT_EQ(Run({"/r", "status", "/d", db.string(), "/p", "alpha", "/n", "Nightly"}), 0);
    const auto data = ReadStatusReport(project / "Project Reports/Status Reports/Nightly.vtl");
    ASSERT_TRUE(data);
    EXPECT_EQ(data->totalTests, 2);

    const auto suites = dir.path() / "suites.txt";
    std::ofstream(suites) << "Cart\n";
    EXPECT_EQ(Run({"/r", "status", "/d", db.string(), "/p", "Alpha", "/s", suites.string(), "/n",
                   "Cart only"}),
              0);
    EXPECT_EQ(
        ReadStatusReport(project / "Project Reports/Status Reports/Cart only.vtl")->totalTests, 1);
}

TEST_F(CommandLineRunTest, SaysWhyNoReportWasMade) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"/r", "status", "/d", (db / "nowhere").string(), "/p", "Alpha"},
         "Report was not created - database could not be opened"},
        {{"/r", "status", "/d", db.string(), "/p", "Beta"},
         "Report was not created - project \"Beta\" was not found in the database"},
        {{"/r", "status", "/d", db.string(), "/p", "Alpha", "/n", std::string(65, 'n')},
         "Report was not created - report name is greater than 64 characters"},
        {{"/r", "weekly", "/d", db.string(), "/p", "Alpha"},
         "Report was not created - \"weekly\" is not a kind of report: status, progress, list or "
         "details"},
        {{"/r", "status", "/d", db.string(), "/p", "Alpha", "/f", "Nope"},
         "Report was not created - filter \"Nope\" could not be read"},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_EQ(Run(arguments), 1) << message;
        EXPECT_EQ(port.notices.back().text, message);
    }
    EXPECT_EQ(Run({"/r", "status", "/d", db.string(), "/p", "Alpha", "/n", std::string(64, 'n')}),
              0);

    // Names from the command line never lead out of their folder.
    const std::string notAProject =
        "\" is not a project name. A name is one folder or item of the database: 1 to 64 "
        "characters, none of \\ / : * ? \" < > |, and not \".\" or \"..\"";
    const std::filesystem::path outside = dir.path() / "outside";
    std::filesystem::create_directories(outside / "Project Test Cases" / "S");
    std::filesystem::create_directory_symlink(outside, db / "Projects" / "Linked");
    std::ofstream(dir.path() / "outfilter.vtl") << "<filter><id>x</id></filter>";
    std::filesystem::create_directories(project / "Project Test Cases" / "Login" / "Deep");
    const auto suites = [this](const std::string& line) {
        const auto file = dir.path() / "suites.txt";
        std::ofstream(file, std::ios::trunc) << line << "\n";
        return file.string();
    };
    const std::vector<std::pair<std::vector<std::string>, std::string>> hostile{
        {{"/r", "status", "/d", db.string(), "/p", ".."},
         "Report was not created - \".." + notAProject},
        {{"/r", "status", "/d", db.string(), "/p", outside.string()},
         "Report was not created - \"" + outside.string() + notAProject},
        {{"/r", "status", "/d", db.string(), "/p", "Linked"},
         "Report was not created - project \"Linked\" was not found in the database"},
        {{"/r", "status", "/d", db.string(), "/p", "Alpha", "/f", "../../outfilter"},
         "Report was not created - \"../../outfilter\" is not a filter name. A name is one "
         "folder or item of the database: 1 to 64 characters, none of \\ / : * ? \" < > |, and "
         "not \".\" or \"..\""},
    };
    for (const auto& [arguments, message] : hostile) {
        EXPECT_EQ(Run(arguments), 1) << message;
        EXPECT_EQ(port.notices.back().text, message);
    }
    for (const std::string line :
         {"../../outside", "Login/../../..", "/etc", "\\etc", "Login/./Deep"}) {
        EXPECT_EQ(Run({"/r", "status", "/d", db.string(), "/p", "Alpha", "/s", suites(line)}), 1)
            << line;
        EXPECT_TRUE(port.notices.back().text.find("is not a suite of the project") !=
                    std::string::npos)
            << port.notices.back().text;
    }
    EXPECT_FALSE(std::filesystem::exists(outside / "Project Reports"));

    std::ofstream(db / "VantorelDatabase.vdb", std::ios::binary)
        << EncodeVersionRecord({"V2.0", 900});
    EXPECT_EQ(Run({"/r", "status", "/d", db.string(), "/p", "Alpha"}), 1);
    EXPECT_EQ(port.notices.back().text, "Report was not created - Vantorel version out of date");
}

}  // namespace
}  // namespace vantorel::testing
