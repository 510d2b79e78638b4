#include "platform/folders.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace vantorel::testing {
namespace {
namespace fs = std::filesystem;

TEST(FoldersTest, TheProgramsDataIsBesideItInABuildAndInShareWhenInstalled) {
    TempDir dir;
    const fs::path build = dir.path() / "build";
    fs::create_directories(build / "Templates");
    EXPECT_EQ(ProgramDataFolderOf(build), build);

    const fs::path installed = dir.path() / "usr" / "bin";
    fs::create_directories(installed);
    EXPECT_EQ(ProgramDataFolderOf(installed), dir.path() / "usr" / "share" / "vantorel");
}

}  // namespace
}  // namespace vantorel::testing
