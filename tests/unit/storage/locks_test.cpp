#include "storage/locks.h"

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "storage/atomic_save.h"
#include "storage/edit_lock.h"
#include "storage/file_layer.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"
#include "support/child_process.h"
#include "support/faulty_file_layer.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::FaultyFileLayer;
using testing::GiveToOrdinaryUser;
using testing::Has;
using testing::KillChildren;
using testing::ReadFile;
using testing::RunAsOrdinaryUser;
using testing::TempDir;
using testing::WaitForChildren;
using testing::WriteFile;

const UserIdentity kAlice{"PC-ALICE", "alice"};
const UserIdentity kBob{"PC-BOB", "bob"};

int EntriesIn(const std::filesystem::path& folder) {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

class LockTest : public ::testing::Test {
protected:
    void SetUp() override { WriteFile(item, "<id>TC1</id>"); }

    TempDir dir;
    std::filesystem::path item = dir / "TC1.vtl";
};

TEST_F(LockTest, ALockHoldsComputerAndUserPaddedToTheBlockSizeAndASecondOneFails) {
    ASSERT_EQ(createLockFile(item, kAlice), 0);
    const std::string content = ReadFile(dir / "TC1.vtl.lck");
    struct statvfs info {};
    ASSERT_EQ(::statvfs(dir.path().c_str(), &info), 0);
    const std::size_t block = info.f_bsize;
    EXPECT_EQ(content.size(), (258 + block - 1) / block * block);
    // Readers of the two lines stop at the first NUL; the run that made the lock follows it.
    EXPECT_EQ(content.substr(0, 15), std::string("PC-ALICE\nalice\0", 15));
    EXPECT_EQ(content.back(), '\0');
    LockHolder holder;
    ASSERT_EQ(ReadLockHolder(item, holder), 0);
    EXPECT_EQ(holder.user, "alice");
    EXPECT_EQ(holder.process, ThisProcess());
    EXPECT_TRUE(IsLocked(item));

    // A second lock fails, even for the same user.
    EXPECT_EQ(createLockFile(item, kAlice), EEXIST);
    EXPECT_EQ(createLockFile(item, kBob), EEXIST);
    EXPECT_EQ(ReadFile(LockPath(item)).substr(0, 14), "PC-ALICE\nalice");
    EXPECT_EQ(EntriesIn(dir.path()), 2) << "a refused taker leaves its written lock behind";
}

TEST_F(LockTest, OnlyTheOwnerRemovesALockUnlessForcedOrAllAreDeleted) {
    ASSERT_EQ(createLockFile(item, kAlice), 0);
    deleteLockFile(item, false, kBob);
    EXPECT_TRUE(IsLocked(item));
    deleteLockFile(item, false, UserIdentity{"other PC", "ALICE"});
    EXPECT_FALSE(IsLocked(item)) << "user names compare ignoring case";

    ASSERT_EQ(createLockFile(item, kAlice), 0);
    deleteLockFile(item, true, kBob);
    EXPECT_FALSE(IsLocked(item));

    // Deleting all locks walks the whole tree.
    std::filesystem::create_directories(dir / "a" / "b");
    WriteFile(dir / "a" / "b" / "x.vtl.lck", "x");
    WriteFile(dir / "a" / "keep.vtl", "x");
    ASSERT_EQ(createLockFile(item, kAlice), 0);
    EXPECT_EQ(DeleteAllLocks(dir.path()), 2);
    EXPECT_FALSE(IsLocked(item));
    EXPECT_TRUE(std::filesystem::exists(dir / "a" / "keep.vtl"));
}

TEST_F(LockTest, AnUnreadableLockIsLeftByANormalDelete) {
    // The user may remove files from the folder but not read the lock, so a delete that took an
    // unreadable lock for its own would get through. Root reads everything: the delete runs as
    // an ordinary user who owns the folder.
    ASSERT_EQ(createLockFile(item, kAlice), 0);
    const auto lock = LockPath(item);
    ASSERT_EQ(::chmod(lock.c_str(), 0), 0);
    ASSERT_TRUE(GiveToOrdinaryUser(dir.path()));
    EXPECT_EQ(RunAsOrdinaryUser([&]() -> std::string {
                  if (::access(dir.path().c_str(), W_OK | X_OK) != 0)
                      return std::string("the folder is out of reach: ") + std::strerror(errno);
                  if (::access(lock.c_str(), R_OK) == 0)
                      return "the lock is readable";
                  deleteLockFile(item, false, kAlice);
                  return "";
              }),
              "");
    EXPECT_TRUE(std::filesystem::exists(lock));
}

TEST_F(LockTest, ALockThatCannotBeWrittenWholeIsNotLeftBehind) {
    // A lock that exists but says nobody would hold the item for everyone until a forced unlock.
    for (auto step : {FaultyFileLayer::kCreate, FaultyFileLayer::kWrite, FaultyFileLayer::kSync,
                      FaultyFileLayer::kClose, FaultyFileLayer::kRename}) {
        FaultyFileLayer files;
        files.FailAt(step, 1, ENOSPC);
        EXPECT_EQ(createLockFile(item, kAlice, files), ENOSPC) << "step " << step;
        EXPECT_EQ(files.Calls(step), 1) << "step " << step << " bypasses the file layer";
        EXPECT_FALSE(std::filesystem::exists(LockPath(item))) << "step " << step;
        EXPECT_EQ(EntriesIn(dir.path()), 1) << "step " << step << " left its temporary file";
    }
    FaultyFileLayer files;
    EXPECT_EQ(createLockFile(item, kAlice, files), 0);
    EXPECT_EQ(files.Calls(FaultyFileLayer::kRemove), 0);
    EXPECT_EQ(ReadFile(LockPath(item)).substr(0, 14), "PC-ALICE\nalice");
}

// The file system, except that the process dies (SIGKILL, as a crash or a tester's kill)
// at the chosen call, having done the call when it comes after it.
class DiesAt : public FileLayer {
public:
    enum Moment { kAtCreate, kMidWrite, kAtSync, kAtClose, kAtMove, kAfterMove, kMoments };
    explicit DiesAt(Moment moment) : m_moment(moment) {}

    int CreateExclusive(const std::filesystem::path& path, int& fd) override {
        const int error = SystemFiles().CreateExclusive(path, fd);
        DieIf(kAtCreate);
        return error;
    }
    int WriteAll(int fd, std::string_view data) override {
        if (m_moment == kMidWrite)
            (void)SystemFiles().WriteAll(fd, data.substr(0, data.size() / 2));
        DieIf(kMidWrite);
        return SystemFiles().WriteAll(fd, data);
    }
    int Sync(int fd) override {
        DieIf(kAtSync);
        return SystemFiles().Sync(fd);
    }
    int Close(int fd) override {
        DieIf(kAtClose);
        return SystemFiles().Close(fd);
    }
    int Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return SystemFiles().Rename(from, to);
    }
    int RenameNoReplace(const std::filesystem::path& from,
                        const std::filesystem::path& to) override {
        DieIf(kAtMove);
        const int error = SystemFiles().RenameNoReplace(from, to);
        DieIf(kAfterMove);
        return error;
    }
    int Remove(const std::filesystem::path& path) override { return SystemFiles().Remove(path); }
    int MakeFolder(const std::filesystem::path& path) override {
        return SystemFiles().MakeFolder(path);
    }
    int RemoveFolder(const std::filesystem::path& path) override {
        return SystemFiles().RemoveFolder(path);
    }
    int SyncDirectory(const std::filesystem::path& directory) override {
        return SystemFiles().SyncDirectory(directory);
    }

private:
    void DieIf(Moment moment) const {
        if (moment == m_moment)
            ::raise(SIGKILL);
    }
    Moment m_moment;
};

TEST_F(LockTest, AProcessKilledWhileLockingLeavesNoLockOrAWholeOne) {
    for (int moment = 0; moment < DiesAt::kMoments; ++moment) {
        SCOPED_TRACE("killed at moment " + std::to_string(moment));
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            DiesAt files(static_cast<DiesAt::Moment>(moment));
            (void)createLockFile(item, kAlice, files);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the child was not killed inside the locking";

        if (moment == DiesAt::kAfterMove) {
            EXPECT_EQ(ReadFile(LockPath(item)).substr(0, 14), "PC-ALICE\nalice");
            deleteLockFile(item, false, kAlice);
        } else {
            EXPECT_FALSE(std::filesystem::exists(LockPath(item)));
        }
        // What a killed locking leaves is hidden from every listing, and the next taker gets
        // the item.
        ItemListing listing;
        ASSERT_EQ(ListItems(dir.path(), listing), 0);
        EXPECT_EQ(listing.documents.size(), 1u);
        EXPECT_TRUE(listing.locks.empty());
        ASSERT_EQ(createLockFile(item, kBob), 0);
        deleteLockFile(item, false, kBob);
    }
    // Each killed locking left its temporary file, which the sweep takes once it is old enough
    // to belong to nobody.
    EXPECT_EQ(EntriesIn(dir.path()), 1 + DiesAt::kMoments - 1);
    EXPECT_EQ(SweepStaleSaves(dir.path()), 0);
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.path() != item)
            std::filesystem::last_write_time(
                entry.path(),
                std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_EQ(SweepStaleSaves(dir.path()), DiesAt::kMoments - 1);
    EXPECT_EQ(EntriesIn(dir.path()), 1);
}

TEST_F(LockTest, AReaderNeverSeesALockWithoutItsHolder) {
    // One process takes and releases the lock over and over while this one reads it whenever it
    // is there: a lock made first and written after would be seen empty now and then.
    auto* done = static_cast<std::atomic<int>*>(::mmap(nullptr, sizeof(std::atomic<int>),
                                                       PROT_READ | PROT_WRITE,
                                                       MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(done, MAP_FAILED);
    new (done) std::atomic<int>(0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (int round = 0; round < 2000; ++round) {
            if (createLockFile(item, kAlice) != 0)
                _exit(2);
            deleteLockFile(item, false, kAlice);
        }
        done->store(1);
        _exit(0);
    }
    int seen = 0, nameless = 0;
    while (done->load() == 0) {
        std::string content;
        if (ReadRegularFile(LockPath(item), content) != 0)
            continue;
        ++seen;
        nameless += !content.starts_with("PC-ALICE\nalice");
    }
    const std::string end = WaitForChildren({child}, std::chrono::minutes(1));
    ::munmap(done, sizeof(std::atomic<int>));
    ASSERT_EQ(end, "");
    RecordProperty("locks_seen", seen);
    EXPECT_GT(seen, 0);
    EXPECT_EQ(nameless, 0);
}

TEST_F(LockTest, LockMessageNamesHolderAndTimeAndEmptyNamesForAShortLock) {
    EXPECT_EQ(GetLockMessage(item), "");
    ASSERT_EQ(createLockFile(item, kBob), 0);
    const std::string head = "locked by\n \nbob \non PC-BOB\nat ";
    const std::string message = GetLockMessage(item);
    ASSERT_TRUE(Has(message, head)) << message;
    EXPECT_EQ(message.size() - message.find(head) - head.size(), 24u) << message;
    WriteFile(dir / "TC1.vtl.lck", "");
    EXPECT_TRUE(Has(GetLockMessage(item), "locked by\n \n \non \nat "));
}

TEST_F(LockTest, WriteProbeLeavesNothingBehind) {
    EXPECT_EQ(TestWritePermissions(dir.path()), 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
    EXPECT_EQ(TestWritePermissions(dir / "missing"), ENOENT);

    // A held probe answers at once and removes its file when it ends.
    {
        const WriteProbe probe(dir.path());
        EXPECT_EQ(probe.Error(), 0);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

// Memory shared by the racing processes: a barrier that lines them up before every round,
// and the number of winners of each round.
struct RaceBoard {
    static constexpr int kProcesses = 16, kRounds = 2000;
    std::atomic<int> arrived{0};
    std::atomic<int> generation{0};
    std::atomic<int> winners[kRounds];

    void Barrier() {
        const int mine = generation.load();
        if (arrived.fetch_add(1) + 1 == kProcesses) {
            arrived.store(0);
            generation.fetch_add(1);
            return;
        }
        while (generation.load() == mine)
            sched_yield();
    }
};

TEST(LockRace, SixteenProcessesProduceExactlyOneWinnerEveryRound) {
    TempDir dir;
    void* shared = ::mmap(nullptr, sizeof(RaceBoard), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto* board = new (shared) RaceBoard();

    std::vector<pid_t> children;
    for (int p = 0; p < RaceBoard::kProcesses; ++p) {
        pid_t child = ::fork();
        if (child < 0) {
            const int error = errno;
            KillChildren(children);
            ::munmap(shared, sizeof(RaceBoard));
            FAIL() << "fork: " << std::strerror(error);
        }
        if (child == 0) {
            const UserIdentity me{"PC" + std::to_string(p), "user" + std::to_string(p)};
            for (int round = 0; round < RaceBoard::kRounds; ++round) {
                board->Barrier();
                const int result =
                    createLockFile(dir / ("item" + std::to_string(round) + ".vtl"), me);
                if (result == 0)
                    board->winners[round]++;
                else if (result != EEXIST)
                    _exit(2);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    // The others would wait at the barrier for ever for a child that crashed: its end, or the
    // time limit, ends them all and fails the test.
    const std::string failure = WaitForChildren(children, std::chrono::minutes(2));
    int roundsWithOneWinner = 0;
    for (const auto& winners : board->winners)
        roundsWithOneWinner += winners.load() == 1;
    ::munmap(shared, sizeof(RaceBoard));
    ASSERT_EQ(failure, "") << "a child that fails to create a lock exits with status 2";
    EXPECT_EQ(roundsWithOneWinner, RaceBoard::kRounds);
}

class EditLockTest : public LockTest {
protected:
    RecordingPort port;
};

TEST_F(EditLockTest, TakesTheLockAndReleasesItWhenTheEditorCloses) {
    {
        auto lock = EditLock::Acquire(item, port, kAlice);
        ASSERT_TRUE(lock);
        EXPECT_TRUE(IsLocked(item));
    }
    EXPECT_FALSE(IsLocked(item));
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(port.questions.empty());
}

TEST_F(EditLockTest, HeldLockOffersUnlockAndTakesItOverOnlyWhenConfirmed) {
    ASSERT_EQ(createLockFile(item, kBob), 0);
    port.ScriptAnswers({false});
    EXPECT_FALSE(EditLock::Acquire(item, port, kAlice));
    ASSERT_EQ(port.questions.size(), 1u);
    const std::string& text = port.questions[0].text;
    EXPECT_EQ(text.substr(0, 51), "Unable to open file for editing. File was locked by");
    EXPECT_TRUE(Has(text, "bob \non PC-BOB"));
    EXPECT_TRUE(text.ends_with(kUnlockAdvice));
    EXPECT_EQ(port.questions[0].tick, "Unlock File");

    port.ScriptAnswers({true, false});
    EXPECT_FALSE(EditLock::Acquire(item, port, kAlice));
    EXPECT_EQ(port.questions.back().caption, "Confirm file unlock");
    EXPECT_EQ(ReadFile(dir / "TC1.vtl.lck").substr(0, 10), "PC-BOB\nbob");

    port.ScriptAnswers({true, true});
    const auto taken = EditLock::Acquire(item, port, kAlice);
    ASSERT_TRUE(taken);
    EXPECT_EQ(ReadFile(dir / "TC1.vtl.lck").substr(0, 14), "PC-ALICE\nalice");
    EXPECT_EQ(port.unscriptedQuestions, 0);
}

TEST_F(EditLockTest, UnwritableFolderSaysSoWithTheSystemReason) {
    const auto missing = dir / "gone" / "TC9.vtl";
    EXPECT_FALSE(EditLock::Acquire(missing, port, kAlice));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Cannot open file");
    EXPECT_EQ(port.notices[0].text,
              "Unable to open file for editing.\nNo such file or directory\nPlease check read, "
              "write and create permissions for database.");
}

// The lock a run of the program leaves when it ends without releasing it (a crash, a kill).
void LockInARunThatEnds(const std::filesystem::path& item, const UserIdentity& identity) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(createLockFile(item, identity) == 0 ? 0 : 1);
    ASSERT_EQ(WaitForChildren({child}, std::chrono::seconds(30)), "");
}

TEST_F(EditLockTest, OnlyTheUsersOwnLeftLockIsTakenOverWithoutTheUnlockDialog) {
    // A live window of the same user, in this run or another, is a holder like any other.
    int holding[2];
    ASSERT_EQ(::pipe(holding), 0);
    const pid_t holder = ::fork();
    ASSERT_GE(holder, 0);
    if (holder == 0) {
        char done;
        const int made = createLockFile(dir / "held.vtl", kAlice);
        ::close(holding[1]);
        _exit(made == 0 && ::read(holding[0], &done, 1) == 0 ? 0 : 1);
    }
    ::close(holding[0]);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!IsLocked(dir / "held.vtl") && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::unique_ptr<EditLock> heldHere;

    struct Case {
        const char* what;
        std::function<void()> lockIt;
        UserIdentity taker;
        bool takenOver;
    };
    const Case cases[] = {
        {"alice's run ended", [&] { LockInARunThatEnds(item, kAlice); }, kAlice, true},
        {"released by this run but left", [&] { ASSERT_EQ(createLockFile(item, kAlice), 0); },
         kAlice, true},
        {"user name in other letter case",
         [&] { LockInARunThatEnds(item, kAlice); },
         {"PC-ALICE", "Alice"},
         true},
        {"bob's run ended", [&] { LockInARunThatEnds(item, kBob); }, kAlice, false},
        {"alice on another computer",
         [&] { LockInARunThatEnds(item, kAlice); },
         {"PC-ALICE-2", "alice"},
         false},
        {"another program's lock, naming no run",
         [&] { WriteFile(LockPath(item), "PC-ALICE\nalice"); }, kAlice, false},
        {"alice's other window in this run",
         [&] { heldHere = EditLock::Acquire(item, port, kAlice); }, kAlice, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        c.lockIt();
        ASSERT_TRUE(IsLocked(item));
        port.notices.clear();
        port.questions.clear();
        auto lock = EditLock::Acquire(item, port, c.taker);
        EXPECT_EQ(lock != nullptr, c.takenOver);
        if (c.takenOver) {
            EXPECT_TRUE(port.questions.empty());
            ASSERT_EQ(port.notices.size(), 1u);
            EXPECT_EQ(port.notices[0].caption, "Own lock taken over");
            EXPECT_TRUE(port.notices[0].text.starts_with("TC1.vtl was still locked by you"));
            LockHolder now;
            ASSERT_EQ(ReadLockHolder(item, now), 0);
            EXPECT_EQ(now.process, ThisProcess());
        } else {
            ASSERT_EQ(port.questions.size(), 1u) << "the unlock dialog";
            EXPECT_EQ(port.questions[0].tick, "Unlock File");
            EXPECT_TRUE(port.notices.empty());
        }
        lock.reset();
        heldHere.reset();
        (void)deleteLockFile(item, true);
    }
    port.notices.clear();
    EXPECT_FALSE(EditLock::Acquire(dir / "held.vtl", port, kAlice));
    EXPECT_EQ(port.questions.back().tick, "Unlock File");
    ::close(holding[1]);
    EXPECT_EQ(WaitForChildren({holder}, std::chrono::seconds(30)), "");
}

TEST_F(EditLockTest, ALockThatCannotBeReleasedIsNamedToTheUser) {
    FaultyFileLayer readOnly;
    readOnly.FailAt(FaultyFileLayer::kRemove, 1, EROFS);
    EditLock::Acquire(item, port, kAlice, {}, readOnly).reset();
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Lock left behind");
    EXPECT_TRUE(Has(port.notices[0].text, LockPath(item).string() + "\nRead-only file system"));
    EXPECT_TRUE(IsLocked(item));
    // Opened again once the folder can be written, it is taken over as the user's own.
    port.notices.clear();
    auto again = EditLock::Acquire(item, port, kAlice);
    ASSERT_TRUE(again);
    EXPECT_EQ(port.notices.at(0).caption, "Own lock taken over");
    port.notices.clear();
    again.reset();
    EXPECT_FALSE(IsLocked(item));
    EXPECT_TRUE(port.notices.empty());

    // Its suite renamed under the open dialog, the lock went along and still names the user.
    std::filesystem::create_directory(dir / "Suite");
    WriteFile(dir / "Suite" / "TC2.vtl", "<id>TC2</id>");
    auto moved = EditLock::Acquire(dir / "Suite" / "TC2.vtl", port, kAlice);
    std::filesystem::rename(dir / "Suite", dir / "Renamed");
    moved.reset();
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(
        Has(port.notices[0].text, "no longer at\n" + (dir / "Suite" / "TC2.vtl.lck").string()));

    // A lock someone removed while the item was open leaves nothing to tell.
    port.notices.clear();
    auto unlocked = EditLock::Acquire(item, port, kAlice);
    ASSERT_EQ(deleteLockFile(item, true), 0);
    unlocked.reset();
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(LockTest, TheExclusiveCreateProbeTellsAServerThatIgnoresIt) {
    EXPECT_EQ(ProbeExclusiveCreate(dir.path()), ExclusiveCreate::Holds);
    testing::NonExclusiveFiles sloppyServer;
    EXPECT_EQ(ProbeExclusiveCreate(dir.path(), sloppyServer), ExclusiveCreate::Broken);
    // Locks are put in place by a move that must find the name free: a server whose moves
    // replace what is there can't keep them apart either.
    class ReplacingMoves : public FaultyFileLayer {
        int RenameNoReplace(const std::filesystem::path& from,
                            const std::filesystem::path& to) override {
            return Rename(from, to);
        }
    } replacingMoves;
    EXPECT_EQ(ProbeExclusiveCreate(dir.path(), replacingMoves), ExclusiveCreate::Broken);
    FaultyFileLayer readOnly;
    readOnly.FailAt(FaultyFileLayer::kCreate, 1, EROFS);
    EXPECT_EQ(ProbeExclusiveCreate(dir.path(), readOnly), ExclusiveCreate::CannotCreate);
    // The probe leaves nothing behind.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST_F(EditLockTest, ADatabaseWhoseLocksCantHoldRefusesEveryWriteAndKeepsItsDocuments) {
    // The server can't keep two people's locks apart, so nothing in the database is written
    // from here: no lock, no save, no rename or removal. A folder beside it whose name begins
    // the same is another folder, and is written as ever.
    const std::filesystem::path database = dir / "db";
    const std::filesystem::path document = database / "TC2.vtl";
    std::filesystem::create_directory(database);
    WriteFile(document, "<id>TC2</id>");
    ProtectFromWrites(database);
    EXPECT_FALSE(EditLock::Acquire(document, port, kAlice));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(Has(port.notices[0].text, "Read-only file system"));
    EXPECT_FALSE(SaveWholeFile(document, "<id>changed</id>").ok());
    FileLayer& files = SystemFiles();
    EXPECT_EQ(files.Rename(document, dir / "moved.vtl"), EROFS);
    EXPECT_EQ(files.Rename(item, database / "TC1.vtl"), EROFS);
    EXPECT_EQ(files.Remove(document), EROFS);
    EXPECT_EQ(files.MakeFolder(database / "Suite"), EROFS);
    EXPECT_EQ(files.MakeFolder(database / ".." / "db" / "Suite"), EROFS);
    EXPECT_EQ(ReadFile(document), "<id>TC2</id>");
    EXPECT_EQ(files.MakeFolder(dir / "db2"), 0);
    EXPECT_TRUE(SaveWholeFile(dir / "db2" / "TC3.vtl", "<id>TC3</id>").ok());
    // Another window's database protected and released again leaves this one protected.
    ProtectFromWrites(dir / "db2");
    EndWriteProtection(dir / "db2");
    EXPECT_EQ(files.Remove(document), EROFS);

    EndWriteProtection(database);
    EXPECT_TRUE(EditLock::Acquire(document, port, kAlice));
}
}  // namespace
}  // namespace vantorel
