#include "workspace/startup.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <tuple>

#include "platform/clock_text.h"
#include "platform/debug_log.h"
#include "storage/edit_lock.h"
#include "support/child_process.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"
#include "workspace/commands.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

// A window that records what the shell made it show and answers its dialogs from the test.
class RecordingView : public ShellView {
public:
    void SetCaption(const std::string& title) override { captions.push_back(title); }
    void RebuildTree() override { ++treeBuilds; }
    void ShowNewCustomisation() override {}
    void ClearRightPane() override { ++paneClears; }
    void ShowCurrentUser(const std::string& text) override { currentUser = text; }
    void ShowProgress(const std::string& text) override { progressTexts.push_back(text); }
    void RunSetUserDialog() override { ++setUserDialogs; }
    StartupAnswer AskStartupOptions(const std::string& lastName) override {
        askedWithName = lastName;
        return startup;
    }
    std::optional<fs::path> AskDatabaseFile() override { return databaseFile; }
    std::optional<fs::path> AskNewDatabaseFolder() override { return newFolder; }

    std::vector<std::string> captions, progressTexts;
    int treeBuilds = 0, paneClears = 0, setUserDialogs = 0;
    std::string currentUser, askedWithName;
    StartupAnswer startup{StartupChoice::LoadLast, true};
    std::optional<fs::path> databaseFile, newFolder;
};

class StartupTest : public ::testing::Test {
protected:
    StartupTest() {
        folders.program = dir / "bin";
        folders.programData = dir / "share" / "vantorel";
        folders.data = dir / "data";
        folders.config = dir / "config";
        folders.temp = dir / "cache";
        fs::create_directories(folders.data);
        // The sample database that ships with the program.
        for (const char* folder :
             {"Test Cases", "Projects", "Resources", "Test Configurations", "Testers", "Filters"})
            fs::create_directories(folders.ShippedSampleDatabase() / folder);
        WriteFile(folders.ShippedSampleDatabase() / "VantorelDatabase.vdb",
                  EncodeVersionRecord({"V3.2", 1000}));
    }
    ~StartupTest() override { DebugLog::Stop(); }

    TempDir dir;
    ShellFolders folders;
    RecordingPort port;
    RecordingView view;
    UserIdentity identity{"bench-7", "dana"};
};

TEST_F(StartupTest, FirstStartCopiesTheSampleDatabaseAndOpensIt) {
    Shell shell(port, view, folders, identity);
    shell.Start({"/DeBuG"});
    EXPECT_TRUE(fs::exists(folders.data / "SampleDB" / "VantorelDatabase.vdb"));
    EXPECT_TRUE(fs::exists(folders.config / "Vantorel.cfg"));
    EXPECT_TRUE(fs::is_directory(folders.temp));
    EXPECT_EQ(shell.Configuration().Settings().lastDbPath, (folders.data / "SampleDB").string());

    shell.OpenAtStartup();
    ASSERT_TRUE(shell.Database().IsOpen());
    EXPECT_EQ(view.askedWithName, "SampleDB");
    EXPECT_EQ(view.captions.front(), "Vantorel V3.2 [No database selected]");
    EXPECT_EQ(view.captions.back(), "Vantorel V3.2 [" + (folders.data / "SampleDB").string() + "]");
    EXPECT_EQ(view.treeBuilds, 1);
    EXPECT_EQ(view.currentUser, "Current user: none (Settings, Set User...)");
    // The opening's count is shown while it runs, and not left behind.
    EXPECT_NE(std::ranges::find(view.progressTexts, "6 / 6 processed"), view.progressTexts.end());
    EXPECT_EQ(view.progressTexts.back(), "");
    EXPECT_FALSE(shell.ReadOnly());
    // Numbers a copy reports through the port reach the status bar, and a total of 0 clears it.
    shell.ReportProgress(3, 40);
    EXPECT_EQ(view.progressTexts.back(), "3 / 40 processed");
    EXPECT_TRUE(shell.Progress().Active());
    shell.ReportProgress(0, 0);
    EXPECT_EQ(view.progressTexts.back(), "");
    EXPECT_EQ(shell.Configuration().Settings().recentDatabases[0],
              (folders.data / "SampleDB").string());
    EXPECT_TRUE(port.notices.empty()) << port.notices[0].text;

    const std::string log = ReadFile(folders.data / "VantorelDebug.txt");
    for (const char* line :
         {"Startup => Begin startup\n", "Startup => Read config\n", "Startup => show dialog\n",
          "Startup => DB opened\n", "Startup => Tree built\n"})
        EXPECT_TRUE(Has(log, line)) << line;

    // The sample database is copied once; the user's changes to it stay.
    WriteFile(folders.data / "SampleDB" / "Testers" / "mine.vtl", "x");
    Shell again(port, view, folders, identity);
    again.Start({});
    EXPECT_TRUE(fs::exists(folders.data / "SampleDB" / "Testers" / "mine.vtl"));
}

TEST_F(StartupTest, StartupChoicesAndTheDebugSwitch) {
    EXPECT_TRUE(DebugSwitchGiven({"x", "/DEBUG"}));
    EXPECT_FALSE(DebugSwitchGiven({"debug", "-debug", "/debugx"}));

    Shell shell(port, view, folders, identity);
    shell.Start({"debug"}, true);
    EXPECT_FALSE(fs::exists(folders.data / "VantorelDebug.txt"));
    EXPECT_FALSE(fs::exists(folders.data / "SampleDB")) << "a named database, and no other";

    view.startup = {StartupChoice::NoDatabase, false};
    shell.OpenAtStartup();
    EXPECT_FALSE(shell.Database().IsOpen());
    EXPECT_EQ(view.treeBuilds, 0);
    EXPECT_FALSE(shell.Configuration().Settings().showStartupDialog);
    // The unticked box is kept: the next start asks nothing.
    Shell next(port, view, folders, identity);
    next.Start({});
    EXPECT_FALSE(next.Configuration().Settings().showStartupDialog);

    view.startup = {StartupChoice::CreateNew, true};
    next.Configuration().Settings().showStartupDialog = true;
    view.newFolder = dir / "NewDB";
    port.ScriptAnswers({true});  // make the folder
    next.OpenAtStartup();
    ASSERT_TRUE(next.Database().IsOpen());
    EXPECT_EQ(next.Database().Directory(), dir / "NewDB");
    EXPECT_EQ(next.CurrentUser(), "bench-7");
    EXPECT_EQ(port.notices.back().caption, "Vantorel");
    EXPECT_EQ(next.Configuration().Settings().lastDbPath, (dir / "NewDB").string());
}

TEST_F(StartupTest, ClosingOldAndGoneDatabases) {
    Shell shell(port, view, folders, identity);
    shell.Start({});
    ASSERT_TRUE(shell.OpenDatabase(folders.data / "SampleDB"));
    shell.ItemClipboard().Copy({{folders.data / "SampleDB" / "Testers", TV_TESTER_ROOT, "T"}},
                               port);
    shell.OnCloseDatabase();
    EXPECT_FALSE(shell.Database().IsOpen());
    EXPECT_TRUE(shell.ItemClipboard().Empty());
    EXPECT_EQ(view.paneClears, 1);
    EXPECT_EQ(view.captions.back(), "Vantorel V3.2 [No database selected]");
    EXPECT_EQ(view.currentUser, "");

    // An older database is converted when the user agrees, else closed again.
    const fs::path marker = folders.data / "SampleDB" / "VantorelDatabase.vdb";
    WriteFile(marker, EncodeVersionRecord({"V2.0", 900}));
    port.ScriptAnswers({false});
    EXPECT_FALSE(shell.OpenDatabase(marker));
    EXPECT_FALSE(shell.Database().IsOpen());
    EXPECT_EQ(port.questions.back().caption, "Vantorel - Convert Database");
    port.ScriptAnswers({true});
    EXPECT_TRUE(shell.OpenDatabase(marker));
    EXPECT_EQ(DecodeVersionRecord(ReadFile(marker))->version, "V3.2");

    EXPECT_FALSE(shell.OpenDatabase(dir / "nowhere"));
    EXPECT_EQ(port.notices.back().caption, "Error: unable to open database");
    EXPECT_FALSE(shell.Database().IsOpen());

    // A database whose folder went away, or was replaced, is closed with a message.
    EXPECT_FALSE(shell.DatabaseGone());
    const fs::path database = folders.data / "SampleDB";
    ASSERT_TRUE(shell.OpenDatabase(database));
    EXPECT_FALSE(shell.DatabaseGone());
    fs::rename(database, folders.data / "Moved");
    ASSERT_TRUE(shell.DatabaseGone());
    shell.CloseGoneDatabase();
    EXPECT_FALSE(shell.Database().IsOpen());
    EXPECT_TRUE(Has(port.notices.back().text, database.string()));
    EXPECT_EQ(view.captions.back(), "Vantorel V3.2 [No database selected]");

    // Another folder put at its path (a restore, a sync tool) is not taken for it.
    ASSERT_TRUE(shell.OpenDatabase(folders.data / "Moved"));
    fs::rename(folders.data / "Moved", folders.data / "Old");
    fs::copy(folders.data / "Old", folders.data / "Moved", fs::copy_options::recursive);
    ASSERT_TRUE(shell.DatabaseGone());
    shell.CloseGoneDatabase();
    EXPECT_FALSE(shell.Database().IsOpen());
    EXPECT_EQ(port.notices.back().caption, "Database replaced");
}

TEST_F(StartupTest, AReadOnlyDatabaseOpensForReadingSaysSoAndRefusesEdits) {
    const fs::path database = dir / "Shared";
    fs::copy(folders.ShippedSampleDatabase(), database, fs::copy_options::recursive);
    const fs::path testCase = database / "Test Cases" / "TC1.vtl";
    WriteFile(testCase, "<test_case><id>TC1</id></test_case>");
    // The superuser writes everywhere: the database is opened by an ordinary user who owns the
    // tree and may not write into its folders.
    for (const auto& entry : fs::recursive_directory_iterator(dir.path()))
        ASSERT_TRUE(GiveToOrdinaryUser(entry.path()));
    ASSERT_TRUE(GiveToOrdinaryUser(dir.path()));
    for (const fs::path& folder : {database, database / "Test Cases"})
        fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(RunAsOrdinaryUser([&]() -> std::string {
                  Shell shell(port, view, folders, identity);
                  shell.Start({}, true);
                  if (shell.StateText() != "Ready")
                      return shell.StateText();
                  if (!shell.OpenDatabase(database))
                      return "not opened";
                  if (!shell.ReadOnly())
                      return "not read-only";
                  if (shell.StateText() != "Read only: this database can't be changed from here")
                      return shell.StateText();
                  if (EditLock::Acquire(testCase, port, identity))
                      return "locked for editing";
                  return port.notices.back().text;
              }),
              "Unable to open file for editing.\nPermission denied\nPlease check read, write and "
              "create permissions for database.");
}

TEST(Commands, EveryMenuCommandRunsAnOperationAndRefusalsFollowTheState) {
    for (const MenuCommand& command : MainMenu())
        EXPECT_NE(OperationOf(command.id), Operation::None) << command.label;
    std::set<std::string_view> keys;
    for (const Accelerator& key : Accelerators()) {
        EXPECT_NE(OperationOf(key.id), Operation::None) << key.key;
        EXPECT_TRUE(keys.insert(key.key).second) << key.key << " runs two commands";
    }
    EXPECT_EQ(OperationOf(12345), Operation::None);
    // A free program without a network leaves out what needs one.
    EXPECT_FALSE(ShownInMenus(ID_HELP_CHECK_UPDATES));
    EXPECT_FALSE(ShownInMenus(ID_HELP_HOMEPAGE));
    EXPECT_TRUE(ShownInMenus(ID_HELP_OVERVIEW));

    // Each row: an operation, the state it is asked in, and whether it is refused there.
    const CommandState none{}, open{.databaseOpen = true},
        project{.databaseOpen = true, .anyProject = true},
        inside{.databaseOpen = true, .anyProject = true, .insideProject = true},
        twoTesters{.databaseOpen = true, .testersSelected = 2};
    const std::tuple<Operation, CommandState, bool> rows[] = {
        {Operation::Paste, none, true},
        {Operation::ImportTestCases, none, true},
        {Operation::OpenDatabase, none, false},
        {Operation::CustomizeFields, none, false},  // its editor says why itself
        {Operation::ExportWeb, open, true},
        {Operation::Report, open, true},
        {Operation::Report, project, true},  // wants a project selected
        {Operation::ReportWizard, project, false},
        {Operation::ImportJUnitResults, project, true},
        {Operation::ImportJUnitResults, inside, false},
        {Operation::SetAsCurrentUser, twoTesters, true},
    };
    for (const auto& [operation, state, refused] : rows)
        EXPECT_EQ(CommandRefusal(operation, state).has_value(), refused)
            << static_cast<int>(operation);
    // The report commands: the kinds in menu order, All then Filtered.
    EXPECT_FALSE(ReportShortcutOf(ID_REPORT_WIZARD));
    EXPECT_EQ(ReportShortcutOf(ID_REPORT_FIRST)->kind, ReportKind::Status);
    EXPECT_FALSE(ReportShortcutOf(ID_REPORT_FIRST)->filtered);
    EXPECT_EQ(ReportShortcutOf(ID_REPORT_LAST)->kind, ReportKind::Details);
    EXPECT_TRUE(ReportShortcutOf(ID_REPORT_LAST)->filtered);
    EXPECT_FALSE(ReportShortcutOf(ID_REPORT_LAST + 1));
}

TEST(MonthNames, LocaleNamesAreKeptInLatin1AndFourCharacters) {
    EXPECT_EQ(MonthAbbreviationFromLocale("M\xC3\xA4r", "UTF-8"), "M\xE4r");
    EXPECT_EQ(MonthAbbreviationFromLocale("sept.", "UTF-8"), "sept");
    EXPECT_EQ(MonthAbbreviationFromLocale("\xE4\xB8\x80\xE6\x9C\x88", "UTF-8"), "");
    EXPECT_EQ(MonthAbbreviationFromLocale("Jan", "KOI8-R"), "");
    EXPECT_EQ(DisplayDate(2026, 3, 5), "5-Mar-2026");  // the C locale of the tests
}

}  // namespace
}  // namespace vantorel::testing
