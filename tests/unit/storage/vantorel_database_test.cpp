#include "storage/vantorel_database.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <thread>

#include <condition_variable>
#include <mutex>
#include <set>

#include "support/faulty_file_layer.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::TempDir;
using testing::WriteFile;

class DatabaseTest : public ::testing::Test {
protected:
    std::filesystem::path MakeDatabase(const std::string& name) {
        const auto folder = dir / name;
        std::filesystem::create_directories(folder / "Test Cases");
        WriteFile(folder / "VantorelDatabase.vdb", EncodeVersionRecord({"V3.2", 1000}));
        return folder;
    }

    TempDir dir;
    RecordingPort port;
    VantorelDatabase db{port};
};

TEST(VersionRecord, IsTwelveBytesWithTheBuildLittleEndian) {
    const std::string record = EncodeVersionRecord({"V3.2", 1000});
    EXPECT_EQ(record, std::string("V3.2\0\0\0\0\xE8\x03\0\0", 12));
    EXPECT_EQ(DecodeVersionRecord(record), (DatabaseVersion{"V3.2", 1000}));
    EXPECT_FALSE(DecodeVersionRecord("V3.2"));
}

TEST_F(DatabaseTest, CreateNewAsksToMakeTheFolderAndOpensTheDatabase) {
    const auto folder = dir / "new" / "db";
    port.ScriptAnswers({true});
    ASSERT_TRUE(db.CreateNew(folder));
    ASSERT_EQ(port.questions.size(), 1u);  // to make the folder
    for (std::string_view sub : kDatabaseFolders)
        EXPECT_TRUE(std::filesystem::is_directory(folder / sub)) << sub;
    EXPECT_EQ(ReadFile(folder / "VantorelDatabase.vdb"), EncodeVersionRecord({"V3.2", 1000}));
    ASSERT_EQ(port.notices.size(), 1u);  // made
    EXPECT_TRUE(db.IsOpen());
    EXPECT_EQ(db.Directory(), folder);
    EXPECT_TRUE(db.Watching());
}

TEST_F(DatabaseTest, CreateNewStopsWhenDeclinedOrKeepsTheItemsOfADatabaseItReplaces) {
    EXPECT_FALSE(db.CreateNew(dir / "declined"));
    EXPECT_FALSE(std::filesystem::exists(dir / "declined"));

    const auto existing = MakeDatabase("existing");
    EXPECT_FALSE(db.CreateNew(existing));
    EXPECT_EQ(port.questions.size(), 2u);
    EXPECT_FALSE(std::filesystem::exists(existing / "Projects"));

    WriteFile(existing / "Test Cases" / "TC1.vtl", "item");
    WriteFile(existing / "VantorelDatabase.vdb", EncodeVersionRecord({"V2.0", 7}));
    port.ScriptAnswers({true});
    ASSERT_TRUE(db.CreateNew(existing));
    EXPECT_EQ(ReadFile(existing / "Test Cases" / "TC1.vtl"), "item");
    EXPECT_EQ(db.Version(), (DatabaseVersion{"V3.2", 1000}));

    // A folder that can't be made is told.
    WriteFile(dir / "file", "x");
    port.ScriptAnswers({true});
    const std::size_t told = port.notices.size();
    EXPECT_FALSE(db.CreateNew(dir / "file" / "db"));
    EXPECT_EQ(port.notices.size(), told + 1);
}

TEST_F(DatabaseTest, OpenRefusesAMissingMarkerOrAFolderWithoutTestCasesAndTakesAnyOtherMarker) {
    EXPECT_FALSE(db.Open(dir / "nowhere" / "VantorelDatabase.vdb"));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(testing::Has(port.notices[0].text, (dir / "nowhere").string()));

    WriteFile(dir / "VantorelDatabase.vdb", "");
    EXPECT_FALSE(db.Open(dir / "VantorelDatabase.vdb"));
    EXPECT_TRUE(testing::Has(port.notices[1].text, (dir / "VantorelDatabase.vdb").string()));
    EXPECT_FALSE(db.IsOpen());

    const auto folder = MakeDatabase("db");
    WriteFile(folder / "other.name", "");
    ASSERT_TRUE(db.Open(folder / "other.name"));
    EXPECT_EQ(db.MarkerName(), "VantorelDatabase.vdb");
    EXPECT_EQ(db.Version(), (DatabaseVersion{"V3.2", 1000}));

    WriteFile(folder / "Mine.vdb", "");
    ASSERT_TRUE(db.Open(folder / "Mine.vdb"));
    EXPECT_EQ(db.MarkerName(), "Mine.vdb");
    EXPECT_FALSE(db.Version()) << "an empty marker holds no version";

    ASSERT_TRUE(db.Open(folder));
    EXPECT_EQ(db.MarkerPath(), folder / "VantorelDatabase.vdb");
}

TEST_F(DatabaseTest, OpeningSweepsUnfinishedSavesAndCopiesInTheBackground) {
    namespace fs = std::filesystem;
    const auto folder = MakeDatabase("db");
    const auto leftover = folder / "Test Cases" / ".vtsave-123-0-42";
    const auto halfCopy = folder / "Test Cases" / ".vtsave-copy-7-1";
    const auto recent = folder / "Test Cases" / ".vtsave-copy-7-2";
    WriteFile(leftover, "half");
    fs::create_directories(halfCopy / "Sub");
    fs::create_directories(recent);
    for (const auto& old : {leftover, halfCopy})
        fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::hours(1));
    ASSERT_TRUE(db.Open(folder));
    // The sweep runs beside the user's work; wait for it, however long a slow machine takes.
    for (int wait = 0; wait < 500 && (fs::exists(leftover) || fs::exists(halfCopy)); ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_FALSE(fs::exists(halfCopy));
    EXPECT_TRUE(fs::exists(recent));  // may belong to a copy still running elsewhere
}

TEST_F(DatabaseTest, OpeningFindsAFileServerWhoseLocksCantHold) {
    const auto folder = MakeDatabase("db");
    ASSERT_TRUE(db.Open(folder));
    EXPECT_TRUE(db.LocksHold());
    testing::NonExclusiveFiles sloppyServer;
    ASSERT_TRUE(db.Open(folder, OpenMode::Interactive, sloppyServer));
    EXPECT_FALSE(db.LocksHold());
    // A command-line run only reads, and doesn't probe.
    ASSERT_TRUE(db.Open(folder, OpenMode::ReadOnly, sloppyServer));
    EXPECT_TRUE(db.LocksHold());
}

TEST_F(DatabaseTest, WriteVersionReportsAFailure) {
    const auto folder = MakeDatabase("db");
    ASSERT_TRUE(db.Open(folder));
    ASSERT_TRUE(db.WriteVersion());
    std::filesystem::remove_all(folder);
    EXPECT_FALSE(db.WriteVersion());
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Error: unable to write version");
    EXPECT_TRUE(port.notices[0].text.starts_with("Unable to write version to database file " +
                                                 (folder / "VantorelDatabase.vdb").string() +
                                                 " ["));
}

class WatcherTest : public DatabaseTest {
protected:
    // The handler touches this fixture, so the watcher must end before the fixture does.
    void TearDown() override { db.Close(); }

    // The watcher sets up on its own thread: write fresh probe files until one is seen.
    bool WaitUntilWatching(const std::filesystem::path& folder) {
        for (int i = 0; i < 100; ++i) {
            const auto probe = folder / ("probe" + std::to_string(i));
            WriteFile(probe, "x");
            if (WaitFor(probe.string(), kChangeAdded, std::chrono::milliseconds(100)))
                return true;
        }
        return false;
    }

    void Record(const std::string& path, int code) {
        std::lock_guard lock(mutex);
        changes.insert({path, code});
        changed.notify_all();
    }
    bool WaitFor(const std::string& path, int code,
                 std::chrono::milliseconds patience = std::chrono::seconds(5)) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, [&] { return changes.count({path, code}) > 0; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::pair<std::string, int>> changes;
};

TEST_F(WatcherTest, ReportsChangesAnywhereInTheTreeIncludingNewFolders) {
    const auto folder = MakeDatabase("db");
    db.SetChangeHandler([this](const std::string& path, int code) { Record(path, code); });
    ASSERT_TRUE(db.Open(folder));
    ASSERT_TRUE(WaitUntilWatching(folder));

    const auto suite = folder / "Test Cases" / "Login";
    std::filesystem::create_directory(suite);
    ASSERT_TRUE(WaitFor(suite.string(), kChangeAdded));
    WriteFile(suite / "TC1.vtl", "x");
    EXPECT_TRUE(WaitFor((suite / "TC1.vtl").string(), kChangeAdded));
    std::filesystem::remove(suite / "TC1.vtl");
    EXPECT_TRUE(WaitFor((suite / "TC1.vtl").string(), kChangeRemoved));
}

TEST_F(WatcherTest, TheRootMovedAwayIsToldAsRemoved) {
    const auto folder = MakeDatabase("db");
    db.SetChangeHandler([this](const std::string& path, int code) { Record(path, code); });
    ASSERT_TRUE(db.Open(folder));
    ASSERT_TRUE(WaitUntilWatching(folder));
    std::filesystem::rename(folder, dir / "elsewhere");
    EXPECT_TRUE(WaitFor(db.Directory().string(), kChangeRemoved));
}

TEST_F(WatcherTest, OpeningAnotherDatabaseMovesTheWatch) {
    const auto first = MakeDatabase("first");
    const auto second = MakeDatabase("second");
    db.SetChangeHandler([this](const std::string& path, int code) { Record(path, code); });
    ASSERT_TRUE(db.Open(first));
    ASSERT_TRUE(db.Open(second));
    ASSERT_TRUE(WaitUntilWatching(second));
    WriteFile(first / "ignored", "x");
    WriteFile(second / "seen", "x");
    ASSERT_TRUE(WaitFor((second / "seen").string(), kChangeAdded));
    {
        // Released before Close: the watcher may still be handing over the write's later
        // events, and Close waits for it.
        std::lock_guard lock(mutex);
        EXPECT_EQ(changes.count({(first / "ignored").string(), kChangeAdded}), 0u);
    }
    db.Close();
    EXPECT_FALSE(db.Watching());
}

}  // namespace
}  // namespace vantorel
