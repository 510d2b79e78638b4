// The requirement and fault report commands of the options, as the dialogs' buttons run them.
#include <gtest/gtest.h>

#include "documents/prj_test_case.h"
#include "workspace/config.h"
#include "workspace/linked_commands.h"

namespace vantorel {
namespace {

TEST(LinkedCommandsTest, PlaceholdersAreFilledAndAddressesGoToTheBrowser) {
    const std::filesystem::path testCase =
        "/db/Projects/Release 2.0/Project Test Cases/Login/LOG-001.vtl";
    ASSERT_EQ(ProjectOf(testCase), "Release 2.0");
    EXPECT_FALSE(ProjectOf("/db/Test Cases/Login/LOG-001.vtl"));

    const CommandLaunch program = PlanCommandLaunch(
        "bugtool --new --project \"%VT_PROJECT%\" \"%TESTCASE_PATH%\"", "Release 2.0", testCase);
    EXPECT_FALSE(program.isUrl);
    EXPECT_EQ(program.target,
              "bugtool --new --project \"Release 2.0\" \"" + testCase.string() + "\"");
    EXPECT_EQ(CommandLaunchFailure(program).caption, "Error opening application");
    EXPECT_NE(CommandLaunchFailure(program).text.find(program.target), std::string::npos);

    const CommandLaunch address =
        PlanCommandLaunch("www.bugs.test/new?p=%VT_PROJECT%", "Alpha", testCase);
    EXPECT_TRUE(address.isUrl);
    EXPECT_EQ(address.target, "http://www.bugs.test/new?p=Alpha");
    EXPECT_EQ(CommandLaunchFailure(address).caption, "Error opening browser");
    EXPECT_TRUE(PlanCommandLaunch("https://req.test/%VT_PROJECT%", "", testCase).isUrl);

    ConfigSettings settings;
    settings.viewBugPath = "https://bugs.test/view";
    EXPECT_EQ(CommandOf(settings, LinkedCommand::ViewFaultReport), settings.viewBugPath);
    EXPECT_TRUE(CommandOf(settings, LinkedCommand::AddFaultReport).empty());
    EXPECT_NE(UnsetCommandHint(LinkedCommand::AddFaultReport).find("Settings / Options"),
              std::string_view::npos);
}

}  // namespace
}  // namespace vantorel
