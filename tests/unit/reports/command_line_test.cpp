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
    // Each line is refused, starts no run, and its notice says what of it is wrong.
    void ExpectRefused(const std::vector<std::pair<std::vector<std::string>, std::string>>& lines) {
        for (const auto& [arguments, named] : lines) {
            const std::size_t told = port.notices.size();
            const CommandLine line = Parse(arguments);
            EXPECT_TRUE(line.refused) << named;
            EXPECT_FALSE(line.reportMode || line.webMode || line.csvMode || line.csvImportMode ||
                         line.junitMode)
                << named;
            ASSERT_EQ(port.notices.size(), told + 1) << named;
            EXPECT_TRUE(Has(port.notices.back().text, named)) << port.notices.back().text;
        }
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

    ExpectRefused({{{"/r", "status", "/d", "db", "/p", "A", "/c", "x"}, "for report generation"},
                   {{"/w", "/d", "db", "/p", "A"}, "for web export"}});
    EXPECT_EQ(port.notices.back().caption, "Vantorel Command Line Error");
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

    ExpectRefused({
        {{"/x", "out.csv", "/d", "db"}, "for CSV export"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/l", "Login"}, "for CSV export"},
        {{"/x", "out.csv", "/d", "db", "/l", "Login", "/t", "Cart"}, "needs its project (/p)"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/t", "../Other"}, "\"../Other\" is not a suite"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/r", "status"}, "same run as a report"},
        {{"/d", "db", "/p", "A", "/x"}, "after /x"},
        {{"/x", "out.csv", "/d", "db", "/p", "A", "/t", "Cart", "-i", "weekly"}, "without /t"},
        {{"/x", "out.csv", "/d", "db", "/l", "Login", "/i", "weekly"}, "without /t or /l"},
    });
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

    ExpectRefused({
        {{"/m", "new.csv", "/d", "db"}, "for CSV import"},
        {{"/m", "new.csv", "/d", "db", "/l", "../x"}, "\"../x\" is not a suite"},
        {{"/j", "r.xml", "/d", "db"}, "for JUnit results import"},
        {{"/j", "r.xml", "/d", "db", "/p", "A", "/k", "name"}, "\"name\" is not a rule"},
        {{"/j", "r.xml", "/d", "db", "/p", "A", "/m", "x.csv"}, "can't be combined"},
        {{"/d", "db", "/p", "A", "/j"}, "after /j"},
    });
}

TEST_F(CommandLineTest, MissingValuesAreNamed) {
    for (const std::string flag : {"/d", "/p", "/r", "/s", "/o", "/n", "/c", "/e"})
        ExpectRefused({{{"/r", "status", flag}, "after " + flag + " parameter"}});
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
        EXPECT_TRUE(Has(port.notices.back().text, "holds a control character"))
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
    // Each run makes no report and says why, naming what it could not take.
    void ExpectNoReport(const std::vector<std::pair<std::vector<std::string>, std::string>>& runs) {
        for (const auto& [arguments, named] : runs) {
            EXPECT_EQ(Run(arguments), 1) << named;
            EXPECT_EQ(port.notices.back().text.rfind("Report was not created - ", 0), 0u);
            EXPECT_TRUE(Has(port.notices.back().text, named)) << port.notices.back().text;
        }
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
    const std::string alpha[] = {"/r", "status", "/d", db.string(), "/p", "Alpha"};
    const auto with = [&](std::vector<std::string> more) {
        more.insert(more.begin(), std::begin(alpha), std::end(alpha));
        return more;
    };
    ExpectNoReport({
        {{"/r", "status", "/d", (db / "nowhere").string(), "/p", "Alpha"}, "database could not"},
        {{"/r", "status", "/d", db.string(), "/p", "Beta"}, "project \"Beta\" was not found"},
        {with({"/n", std::string(65, 'n')}), "greater than 64 characters"},
        {{"/r", "weekly", "/d", db.string(), "/p", "Alpha"}, "\"weekly\" is not a kind"},
        {with({"/f", "Nope"}), "filter \"Nope\" could not be read"},
    });
    EXPECT_EQ(Run(with({"/n", std::string(64, 'n')})), 0);

    // Names from the command line never lead out of their folder.
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
    ExpectNoReport({
        {{"/r", "status", "/d", db.string(), "/p", ".."}, "\"..\" is not a project name"},
        {{"/r", "status", "/d", db.string(), "/p", outside.string()}, "is not a project name"},
        {{"/r", "status", "/d", db.string(), "/p", "Linked"}, "\"Linked\" was not found"},
        {with({"/f", "../../outfilter"}), "\"../../outfilter\" is not a filter name"},
    });
    for (const std::string line :
         {"../../outside", "Login/../../..", "/etc", "\\etc", "Login/./Deep"})
        ExpectNoReport({{with({"/s", suites(line)}), "is not a suite of the project"}});
    EXPECT_FALSE(std::filesystem::exists(outside / "Project Reports"));

    std::ofstream(db / "VantorelDatabase.vdb", std::ios::binary)
        << EncodeVersionRecord({"V2.0", 900});
    ExpectNoReport({{with({}), "version out of date"}});
}

}  // namespace
}  // namespace vantorel::testing
