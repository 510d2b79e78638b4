#include "storage/identifiers.h"

#include <gtest/gtest.h>

#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::TempDir;
using testing::WriteFile;

TEST(CheckIdentifier, LengthAndForbiddenCharacters) {
    EXPECT_EQ(CheckIdentifier(""), IdentifierProblem::Empty);
    EXPECT_EQ(CheckIdentifier(std::string(64, 'x')), IdentifierProblem::None);
    EXPECT_EQ(CheckIdentifier(std::string(65, 'x')), IdentifierProblem::TooLong);
    for (char forbidden : std::string("\\/:*?\"<>|"))
        EXPECT_EQ(CheckIdentifier(std::string("TC") + forbidden),
                  IdentifierProblem::InvalidCharacters)
            << forbidden;
    EXPECT_EQ(CheckIdentifier("Login test (new) & more"), IdentifierProblem::None);
}

TEST(ItemPath, CountsFolderSeparatorIdAndExtension) {
    const std::filesystem::path folder = "/" + std::string(250, 'f');  // 251 characters
    EXPECT_EQ(ItemPathLength(folder, "abcd", ".vtl"), 260u);
    EXPECT_TRUE(ItemPathFits(folder, "abcd", ".vtl"));
    EXPECT_FALSE(ItemPathFits(folder, "abcde", ".vtl"));
}

TEST(IdentifierTaken, IgnoresLetterCase) {
    TempDir dir;
    WriteFile(dir / "Login.vtl", "");
    EXPECT_TRUE(IdentifierTaken(dir.path(), "LOGIN"));
    EXPECT_FALSE(IdentifierTaken(dir.path(), "Logout"));
}

class IncrementalIdTest : public ::testing::Test {
protected:
    TempDir dir;
    RecordingPort port;
};

TEST_F(IncrementalIdTest, ContinuesTheHighestNumberWithItsWidthOrOutgrowsIt) {
    WriteFile(dir / "TC0009.vtl", "");
    WriteFile(dir / "TC0041.vtl", "");
    WriteFile(dir / "Login.vtl", "");
    WriteFile(dir / "TC0100.vtl.lck", "");
    auto reserved = GetIncrementalID(dir.path(), "TC", port);
    ASSERT_TRUE(reserved);
    EXPECT_EQ(reserved->Id(), "TC0042");
    EXPECT_TRUE(std::filesystem::exists(dir / "TC0042.tmp"));

    TempDir other;
    WriteFile(other / "R99.vtl", "");
    reserved = GetIncrementalID(other.path(), "TC", port);
    ASSERT_TRUE(reserved);
    EXPECT_EQ(reserved->Id(), "R100");
}

TEST_F(IncrementalIdTest, ReservationsKeepTwoNewItemsApartAndGoAwayAndNeedAWritableFolder) {
    auto first = GetIncrementalID(dir.path(), "TC", port);
    auto second = GetIncrementalID(dir.path(), "TC", port);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->Id(), "TC001");
    EXPECT_EQ(second->Id(), "TC002");
    first.reset();
    EXPECT_FALSE(std::filesystem::exists(dir / "TC001.tmp"));
    // An unwritable folder reserves nothing and is told to the user.
    EXPECT_FALSE(GetIncrementalID(dir / "missing", "TC", port));
    EXPECT_EQ(port.notices.size(), 1u);
}

TEST_F(IncrementalIdTest, AnImportContinuesWithoutListingAgainYetSkipsWhatOthersMade) {
    WriteFile(dir / "TC0041.vtl", "");
    KnownIds known;
    auto next = [&] {
        auto reserved = GetIncrementalID(dir.path(), "TC", port, SystemFiles(), &known);
        return reserved ? reserved->Id() : std::string("none");
    };
    EXPECT_EQ(next(), "TC0042");
    // Known, the folder is not listed again: a file of a higher number stays unseen...
    WriteFile(dir / "TC0090.vtl", "");
    EXPECT_EQ(next(), "TC0043");
    // ...but the name about to be handed out is looked for, and the folder listed again.
    WriteFile(dir / "TC0044.vtl", "");
    EXPECT_EQ(next(), "TC0091");
}

}  // namespace
}  // namespace vantorel
