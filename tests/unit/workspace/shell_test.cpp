#include "workspace/shell.h"

#include <gtest/gtest.h>

namespace vantorel::testing {
namespace {

TEST(Shell, TitleNamesTheOpenDatabase) {
    EXPECT_EQ(MakeTitle(std::nullopt), "Vantorel V3.2 [No database selected]");
    EXPECT_EQ(MakeTitle(std::filesystem::path("/srv/db")), "Vantorel V3.2 [/srv/db]");
    EXPECT_EQ(MakeTitle(std::filesystem::path("/srv/db"), true),
              "Vantorel V3.2 Evaluation version  [/srv/db]");
    EXPECT_EQ(MakeTitle(std::filesystem::path(std::string(400, 'd'))).size(), 309u);
}

TEST(Shell, ProgressCountsUpToItsTotal) {
    StatusProgress progress;
    progress.StartProgress(2);
    EXPECT_EQ(progress.Text(), "0 / 2 processed");
    progress.StepProgress();
    progress.StepProgress();
    EXPECT_EQ(progress.Text(), "2 / 2 processed");
    EXPECT_FALSE(progress.Active());
    progress.StepProgress();  // finished: no more counting
    EXPECT_EQ(progress.Text(), "2 / 2 processed");
    progress.StartProgress(0);
    EXPECT_FALSE(progress.Active());
    progress.ResetProgress();
    EXPECT_EQ(progress.Text(), "");
}

TEST(Shell, RecentMenuSkipsEmptySlotsAndKeepsSlotCommands) {
    ConfigSettings settings;
    settings.recentDatabases = {"/a", "", "/c", "", ""};
    EXPECT_EQ(RecentDatabaseMenu(settings), (std::vector<MenuEntry>{{40245, "/a"}, {40247, "/c"}}));
    settings.recentDatabases = {"/1", "/2", "/3", "/4", "/5"};
    EXPECT_EQ(RecentDatabaseMenu(settings).back(), (MenuEntry{40249, "/5"}));
}

TEST(Shell, StartupOptionsChooseWhatToOpen) {
    ConfigSettings settings;
    settings.lastDbPath = "/srv/team/TestDB";
    const std::filesystem::path data = "/home/me/.local/share/Corvanta/Vantorel";
    EXPECT_EQ(LastDatabaseName(settings), "TestDB");
    EXPECT_EQ(ChooseStartup(StartupChoice::LoadLast, true, settings, data).path,
              "/srv/team/TestDB");
    EXPECT_EQ(ChooseStartup(StartupChoice::CreateNew, true, settings, data).path,
              "__CREATE_NEW_DB__");
    EXPECT_EQ(ChooseStartup(StartupChoice::SampleDatabase, true, settings, data).path,
              (data / "SampleDB").string());
    EXPECT_TRUE(ChooseStartup(StartupChoice::Browse, true, settings, data).browse);
    EXPECT_TRUE(settings.showStartupDialog);
    EXPECT_EQ(ChooseStartup(StartupChoice::NoDatabase, false, settings, data).path, "");
    EXPECT_FALSE(settings.showStartupDialog);

    settings.showStartupDialog = true;
    EXPECT_EQ(ChooseStartup(StartupChoice::Cancel, false, settings, data).path, "");
    EXPECT_TRUE(settings.showStartupDialog);  // cancel changes nothing
}

}  // namespace
}  // namespace vantorel::testing
