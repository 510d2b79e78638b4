#include "storage/thread_guard.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "storage/file_reading.h"

namespace vantorel {
namespace {

// Each case runs in a child process (a death test), so the thread it marks is its own.
TEST(WindowThreadGuardDeathTest, AReadOnTheMarkedThreadStopsNamingWhatWasRead) {
    const std::filesystem::path file = VANTOREL_SAMPLE_DB "/custom.dat";
    EXPECT_DEATH(
        {
            MarkWindowThread(true);
            std::string text;
            ReadRegularFile(file, text);
        },
        "The window's thread reads .*custom.dat");
    EXPECT_DEATH(
        {
            MarkWindowThread(true);
            std::vector<FolderEntry> entries;
            ListFolder(VANTOREL_SAMPLE_DB, entries);
        },
        "The window's thread lists");
    // Allowed where it says why, on other threads, and where the guard is off.
    EXPECT_EXIT(
        {
            MarkWindowThread(true);
            std::string text;
            int failures = 0;
            {
                WindowThreadMayRead opening("opening");
                failures += ReadRegularFile(file, text) != 0;
            }
            std::thread([&] { failures += ReadRegularFile(file, text) != 0; }).join();
            MarkWindowThread(false);
            failures += ReadRegularFile(file, text) != 0;
            std::exit(failures);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vantorel
