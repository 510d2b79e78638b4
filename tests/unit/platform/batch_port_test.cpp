#include "platform/batch_port.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/debug_log.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::TempDir;

TEST(BatchPort, WritesOneLinePerNoticeToTheLogAndStderrAndAnswersQuestionsSafely) {
    struct tm when {};
    when.tm_year = 2026 - 1900;
    when.tm_mon = 2;
    when.tm_mday = 3;
    when.tm_hour = 4;
    when.tm_min = 5;
    when.tm_sec = 6;
    EXPECT_EQ(BatchPort::FormatLine("Unable to open\nthe file\n", when),
              "3-Mar-2026 04:05:06 Unable to open the file\n");

    TempDir dir;
    std::ostringstream err;
    BatchPort port(dir / "error_log.txt", err);
    port.tell({"first", "Caption", Icon::Warning});
    EXPECT_FALSE(port.ask({"Overwrite?", "Question", Icon::Question}));
    const std::string log = ReadFile(dir / "error_log.txt");
    EXPECT_EQ(log, err.str());
    EXPECT_TRUE(testing::Has(log, " first\n"));
    EXPECT_TRUE(log.ends_with(" Overwrite?\n"));

    BatchPort yes(dir / "error_log.txt", err, true);
    EXPECT_TRUE(yes.ask({"Overwrite?", "Question", Icon::Question}));
}

TEST(BatchPort, ALogPastItsSizeIsMovedAsideKeepingThePreviousOne) {
    TempDir dir;
    std::ostringstream err;
    BatchPort port(dir / "error_log.txt", err, false, 100);
    for (int line = 0; line < 9; ++line)
        port.tell({"line " + std::to_string(line), "Caption", Icon::Warning});
    // Lines of about thirty bytes: a log takes four before it passes 100 bytes.
    const std::string current = ReadFile(dir / "error_log.txt");
    const std::string previous = ReadFile(dir / "error_log.txt.old");
    EXPECT_LE(current.size(), 130u);
    EXPECT_TRUE(testing::Has(current, " line 8\n"));
    EXPECT_TRUE(testing::Has(previous, " line 7\n"));
    EXPECT_FALSE(testing::Has(previous, " line 0\n")) << "only one earlier log is kept";
}

TEST(DebugLog, HeaderThenTimestampedEntriesOnlyWhileStarted) {
    TempDir dir;
    const auto file = dir / "VantorelDebug.txt";
    DebugLog::Write("Before", "not written\n");
    DebugLog::Start(file);
    DebugLog::Write("Startup", "value %d\n", 42);
    DebugLog::Stop();
    DebugLog::Write("After", "not written\n");

    const std::string log = ReadFile(file);
    const std::string header = std::string(78, '-') + "\nVantorel V3.2 1000\n";
    ASSERT_EQ(log.substr(0, header.size()), header);
    const std::string entry = log.substr(header.size());
    // "21-11-2026 19:31:20 Startup => value 42\n"
    ASSERT_EQ(entry.size(), 20 + std::string("Startup => value 42\n").size()) << entry;
    EXPECT_EQ(entry[2], '-');
    EXPECT_EQ(entry[5], '-');
    EXPECT_EQ(entry[13], ':');
    EXPECT_EQ(entry.substr(20), "Startup => value 42\n");
}

}  // namespace
}  // namespace vantorel
