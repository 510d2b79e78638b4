#include "platform/programs.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/temp_dir.h"

namespace vantorel {
namespace {

using Words = std::vector<std::string>;

TEST(SplitCommandLine, QuotesKeepSpacesAndThreeQuotesMakeOne) {
    EXPECT_EQ(SplitCommandLine("  bugtool   --new\t-x "), (Words{"bugtool", "--new", "-x"}));
    EXPECT_EQ(SplitCommandLine("\"/opt/bug tool/run\" --project \"Mobile launch\""),
              (Words{"/opt/bug tool/run", "--project", "Mobile launch"}));
    EXPECT_EQ(SplitCommandLine("say \"\"\"hi\"\"\" a\"b c\"d"), (Words{"say", "\"hi\"", "ab cd"}));
    EXPECT_TRUE(SplitCommandLine("   ").empty());
    EXPECT_EQ(SplitCommandLine("x \"\" y"), (Words{"x", "y"}));
}

TEST(StartDetachedProgram, StartsAProgramOnThePathAndTellsOneThatIsMissing) {
    EXPECT_FALSE(StartDetachedProgram({}));
    EXPECT_FALSE(StartDetachedProgram({"/nowhere/bugtool", "--project", "x"}));
    EXPECT_FALSE(StartDetachedProgram({"vantorel-no-such-program-on-the-path"}));

    testing::TempDir dir;
    const std::filesystem::path mark = dir.path() / "started";
    ASSERT_TRUE(
        StartDetachedProgram({"sh", "-c", "echo \"$1\" > \"$2\"", "sh", "hi", mark.string()}));
    // The program runs on its own: wait for its mark, with a bound in case it never comes.
    for (int tries = 0; tries < 500 && !std::filesystem::exists(mark); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(std::filesystem::exists(mark));
}

}  // namespace
}  // namespace vantorel
