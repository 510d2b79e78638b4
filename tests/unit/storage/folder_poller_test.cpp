#include "storage/folder_poller.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "storage/change_watcher.h"
#include "support/fuse_mount.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;
using testing::TempDir;
using testing::WriteFile;
using Change = std::pair<std::string, int>;

TEST(ShownFolders, AFolderInsideACollapsedOneIsNotShownButKeepsItsExpansion) {
    ShownFolders shown;
    const fs::path root = "/db";
    shown.Reset(root);
    EXPECT_EQ(shown.Folders(), std::set<fs::path>{root});

    shown.Expanded(root / "Test Cases");
    shown.Expanded(root / "Test Cases" / "Login");
    shown.Expanded(root / "Test Cases" / "Login" / "Smoke");
    shown.Showing(root / "Projects" / "Alpha");
    EXPECT_EQ(
        shown.Folders(),
        (std::set<fs::path>{root, root / "Test Cases", root / "Test Cases" / "Login",
                            root / "Test Cases" / "Login" / "Smoke", root / "Projects" / "Alpha"}));

    shown.Collapsed(root / "Test Cases");
    EXPECT_EQ(shown.Folders(), (std::set<fs::path>{root, root / "Projects" / "Alpha"}));
    shown.Expanded(root / "Test Cases");
    EXPECT_EQ(shown.Folders().count(root / "Test Cases" / "Login" / "Smoke"), 1u);

    shown.Expanded("/elsewhere/folder");
    EXPECT_EQ(shown.Folders().count("/elsewhere/folder"), 0u);
}

class FolderPollerTest : public ::testing::Test {
protected:
    FolderPollerTest() {
        fs::create_directories(suite);
        fs::create_directories(other);
        WriteFile(suite / "TC1.vtl", "first");
        WriteFile(suite / "TC2.vtl", "second");
    }

    std::vector<Change> Poll(const std::set<fs::path>& shown) {
        std::vector<Change> changes;
        poller.Poll(dir.path(), shown, [&changes](const std::string& path, int code) {
            changes.emplace_back(path, code);
        });
        return changes;
    }

    TempDir dir;
    const fs::path suite = dir / "Test Cases" / "Login";
    const fs::path other = dir / "Test Cases" / "Logout";
    // No grace: what the fixture just wrote is not a change.
    FolderPoller poller{std::chrono::milliseconds(0)};
};

TEST_F(FolderPollerTest, TellsWhatWasAddedChangedAndRemoved) {
    EXPECT_TRUE(Poll({dir.path(), suite}).empty());  // the first listing is only remembered
    WriteFile(suite / "TC3.vtl", "new");
    WriteFile(suite / "TC1.vtl", "first, edited");
    fs::remove(suite / "TC2.vtl");
    // A save replaces the document by rename: same size, a new inode.
    WriteFile(suite / "TC4.tmp", "new");
    EXPECT_EQ(Poll({dir.path(), suite}),
              (std::vector<Change>{{(suite / "TC1.vtl").string(), kChangeModified},
                                   {(suite / "TC2.vtl").string(), kChangeRemoved},
                                   {(suite / "TC3.vtl").string(), kChangeAdded},
                                   {(suite / "TC4.tmp").string(), kChangeAdded}}));
    fs::rename(suite / "TC4.tmp", suite / "TC3.vtl");
    EXPECT_EQ(Poll({dir.path(), suite}),
              (std::vector<Change>{{(suite / "TC3.vtl").string(), kChangeModified},
                                   {(suite / "TC4.tmp").string(), kChangeRemoved}}));
    EXPECT_TRUE(Poll({dir.path(), suite}).empty());
}

TEST_F(FolderPollerTest, AFolderNotShownIsNotComparedUntilItIsShownAgain) {
    Poll({dir.path(), suite, other});
    WriteFile(other / "TC9.vtl", "made while shown");
    WriteFile(suite / "TC8.vtl", "made while hidden");
    EXPECT_EQ(Poll({dir.path(), other}),
              (std::vector<Change>{{(other / "TC9.vtl").string(), kChangeAdded}}));
    // Shown again: what changed meanwhile is told, since the tree still shows the old listing.
    EXPECT_EQ(Poll({dir.path(), suite}),
              (std::vector<Change>{{(suite / "TC8.vtl").string(), kChangeAdded}}));
}

TEST_F(FolderPollerTest, AChangeJustBeforeTheFirstListingIsTold) {
    // The window read the folder, then said it shows it; a save in between must still arrive.
    FolderPoller graceful{std::chrono::seconds(60)};
    std::vector<Change> changes;
    graceful.Poll(dir.path(), {suite}, [&changes](const std::string& path, int code) {
        changes.emplace_back(path, code);
    });
    EXPECT_EQ(changes, (std::vector<Change>{{(suite / "TC1.vtl").string(), kChangeAdded},
                                            {(suite / "TC2.vtl").string(), kChangeAdded}}));
}

TEST_F(FolderPollerTest, TheRootGoneIsToldOnceAsRemoved) {
    Poll({dir.path()});
    const fs::path moved = dir.path().string() + "-moved";
    fs::rename(dir.path(), moved);
    const std::vector<Change> gone{{dir.path().string(), kChangeRemoved}};
    EXPECT_EQ(Poll({dir.path()}), gone);
    EXPECT_TRUE(Poll({dir.path()}).empty());
    fs::rename(moved, dir.path());
}

// The watcher's polling thread, driven by PollNow instead of waiting for its interval.
class PollingWatcherTest : public ::testing::Test {
protected:
    void TearDown() override { watcher.Stop(); }

    void Start(const fs::path& root, std::chrono::milliseconds interval = std::chrono::hours(1),
               WatchMethod method = WatchMethod::Polling) {
        ASSERT_TRUE(watcher.Start(root,
                                  [this](const std::string& path, int code) {
                                      std::lock_guard lock(mutex);
                                      changes.insert({path, code});
                                      arrived.notify_all();
                                  },
                                  {method, interval}));
    }
    bool Seen(const fs::path& path, int code) {
        std::lock_guard lock(mutex);
        return changes.count({path.string(), code}) > 0;
    }
    // inotify sets its watches up on the watcher's thread: fresh files are written until one
    // is told.
    bool Watching(const fs::path& folder) {
        for (int i = 0; i < 100; ++i) {
            const fs::path probe = folder / ("probe" + std::to_string(probes++));
            WriteFile(probe, "x");
            watcher.PollNow();
            if (WaitFor(probe, kChangeAdded, std::chrono::milliseconds(100)))
                return true;
        }
        return false;
    }
    bool WaitFor(const fs::path& path, int code, std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex);
        return arrived.wait_for(lock, patience, [&] {
            return changes.count({path.string(), code}) > 0;
        });
    }

    TempDir dir;
    ChangeWatcher watcher;
    int probes = 0;
    std::mutex mutex;
    std::condition_variable arrived;
    std::set<Change> changes;
};

TEST_F(PollingWatcherTest, ChangesInShownFoldersReachTheHandlerAndHiddenOnesWait) {
    const fs::path cases = dir / "Test Cases";
    const fs::path suite = cases / "Login";
    fs::create_directories(suite);
    Start(dir.path());
    EXPECT_EQ(watcher.Method(), WatchMethod::Polling);
    watcher.FolderExpanded(cases);
    watcher.FolderExpanded(suite);
    ASSERT_TRUE(watcher.PollNow());

    WriteFile(suite / "TC1.vtl", "x");
    ASSERT_TRUE(watcher.PollNow());
    EXPECT_TRUE(Seen(suite / "TC1.vtl", kChangeAdded));
    WriteFile(suite / "TC1.vtl", "longer");
    ASSERT_TRUE(watcher.PollNow());
    EXPECT_TRUE(Seen(suite / "TC1.vtl", kChangeModified));
    fs::remove(suite / "TC1.vtl");
    ASSERT_TRUE(watcher.PollNow());
    EXPECT_TRUE(Seen(suite / "TC1.vtl", kChangeRemoved));

    watcher.FolderCollapsed(cases);
    ASSERT_TRUE(watcher.PollNow());
    WriteFile(suite / "TC2.vtl", "x");
    ASSERT_TRUE(watcher.PollNow());
    EXPECT_FALSE(Seen(suite / "TC2.vtl", kChangeAdded));
    watcher.FolderExpanded(cases);
    ASSERT_TRUE(watcher.PollNow());
    EXPECT_TRUE(Seen(suite / "TC2.vtl", kChangeAdded));
}

TEST_F(PollingWatcherTest, TheShownItemsFolderIsPolledWithoutExpansion) {
    const fs::path project = dir / "Projects" / "Alpha";
    fs::create_directories(project);
    Start(dir.path());
    watcher.ShowingFolder(project);
    ASSERT_TRUE(watcher.PollNow());
    WriteFile(project / "Alpha-TC1.vtl", "x");
    ASSERT_TRUE(watcher.PollNow());
    EXPECT_TRUE(Seen(project / "Alpha-TC1.vtl", kChangeAdded));
}

TEST_F(PollingWatcherTest, TheProgramsHiddenFilesAreNeverTold) {
    // A lock is written beside its place under a hidden name, and a save or a copy likewise:
    // the tree must hear of the lock and the document, never of the files that make them.
    const fs::path suite = dir / "Test Cases" / "Login";
    fs::create_directories(suite);
    for (WatchMethod method : {WatchMethod::Polling, WatchMethod::Inotify}) {
        Start(dir.path(), std::chrono::hours(1), method);
        watcher.FolderExpanded(dir / "Test Cases");
        watcher.FolderExpanded(suite);
        ASSERT_TRUE(Watching(suite));
        const fs::path lock = suite / ("TC" + std::to_string(static_cast<int>(method)) + ".lck");
        fs::create_directories(suite / ".vtsave-copy-1-0");
        WriteFile(suite / ".vtsave-copy-1-0" / "TC9.vtl", "x");
        WriteFile(suite / ".vtsave-lock-1-2-3", "PC\nuser");
        fs::rename(suite / ".vtsave-lock-1-2-3", lock);
        watcher.PollNow();
        EXPECT_TRUE(WaitFor(lock, method == WatchMethod::Inotify ? kChangeRenamedTo : kChangeAdded,
                            std::chrono::seconds(5)));
        watcher.Stop();
        std::lock_guard guard(mutex);
        for (const Change& change : changes)
            EXPECT_FALSE(testing::Has(change.first, "/.")) << change.first;
        fs::remove_all(suite / ".vtsave-copy-1-0");
    }
}

TEST_F(PollingWatcherTest, ALocalDiskKeepsInotify) {
    Start(dir.path(), std::chrono::seconds(2), WatchMethod::ByFileSystem);
    if (FileSystemKindOf(dir.path()).shared)
        GTEST_SKIP() << "the temporary folder is on a shared file system";
    EXPECT_EQ(watcher.Method(), WatchMethod::Inotify);
    EXPECT_FALSE(watcher.PollNow());
}

TEST(FileSystemKind, NetworkAndUserSpaceFileSystemsAreShared) {
    EXPECT_EQ(FileSystemKindOfType(0x6969).name, "NFS");
    EXPECT_TRUE(FileSystemKindOfType(0xFE534D42).shared);   // SMB2
    EXPECT_TRUE(FileSystemKindOfType(0x65735546).shared);   // FUSE
    EXPECT_TRUE(FileSystemKindOfType(0x01021997).shared);   // 9p
    EXPECT_FALSE(FileSystemKindOfType(0xEF53).shared);      // ext4
    EXPECT_FALSE(FileSystemKindOfType(0x01021994).shared);  // tmpfs
}

// A FUSE mount of a folder (bindfs): what another computer would do is done through the
// folder behind the mount, which the mount's inotify never hears of.
class FuseMountTest : public PollingWatcherTest {
protected:
    void SetUp() override {
        if (const std::string missing = testing::FuseMissing(); !missing.empty())
            GTEST_SKIP() << missing;
        fs::create_directories(backing);
        fuse.emplace(backing, mount);
        if (!fuse->Mounted())
            GTEST_SKIP() << "bindfs can't mount here";
    }
    void TearDown() override { watcher.Stop(); }

    const fs::path backing = dir / "backing";
    const fs::path mount = dir / "mount";
    std::optional<testing::FuseMount> fuse;
};

TEST_F(FuseMountTest, ChangesThroughTheBackingFolderAreSeenWithinTwoIntervals) {
    // The default interval: the mount's attribute cache (a second) delays what a listing sees,
    // as a file server's does, and the two together stay within two intervals.
    const std::chrono::milliseconds kInterval = WatchSettings{}.pollInterval;
    fs::create_directories(backing / "Test Cases" / "Login");
    Start(mount, kInterval, WatchMethod::ByFileSystem);
    ASSERT_EQ(watcher.Method(), WatchMethod::Polling);
    EXPECT_EQ(watcher.FileSystem().name, "FUSE");
    const fs::path suite = mount / "Test Cases" / "Login";
    watcher.FolderExpanded(mount / "Test Cases");
    watcher.FolderExpanded(suite);
    ASSERT_TRUE(watcher.PollNow());

    WriteFile(backing / "Test Cases" / "Login" / "TC1.vtl", "x");
    EXPECT_TRUE(WaitFor(suite / "TC1.vtl", kChangeAdded, 2 * kInterval));
    WriteFile(backing / "Test Cases" / "Login" / "TC1.vtl", "edited elsewhere");
    EXPECT_TRUE(WaitFor(suite / "TC1.vtl", kChangeModified, 2 * kInterval));
    fs::remove(backing / "Test Cases" / "Login" / "TC1.vtl");
    EXPECT_TRUE(WaitFor(suite / "TC1.vtl", kChangeRemoved, 2 * kInterval));
}

}  // namespace
}  // namespace vantorel
