#include "storage/atomic_save.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "storage/tagged_document.h"
#include "support/child_process.h"
#include "support/faulty_file_layer.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::FaultyFileLayer;
using testing::GiveToOrdinaryUser;
using testing::ReadFile;
using testing::RunAsOrdinaryUser;
using testing::TempDir;
using testing::WriteFile;

int EntriesIn(const std::filesystem::path& folder) {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

// Makes everything beside keep ten minutes old, as if left by a save killed long ago.
void AgeEverythingBut(const std::filesystem::path& keep) {
    for (const auto& entry : std::filesystem::directory_iterator(keep.parent_path())) {
        if (entry.path() != keep)
            std::filesystem::last_write_time(
                entry.path(),
                std::filesystem::file_time_type::clock::now() - std::chrono::minutes(10));
    }
}

// A document large enough that a save takes a noticeable moment, with a recognisable body.
std::string Document(char fill, std::size_t size) {
    return std::string(kDocumentDeclaration) + "<test_case>\r\n<notes1>" + std::string(size, fill) +
           "</notes1>\r\n</test_case>\r\n";
}

TEST(SaveWholeFile, ReplacesTheDocumentAndLeavesNothingElse) {
    TempDir dir;
    WriteFile(dir / "a.vtl", "old");
    ::chmod((dir / "a.vtl").c_str(), 0640);
    ASSERT_TRUE(SaveWholeFile(dir / "a.vtl", "new").ok());
    EXPECT_EQ(ReadFile(dir / "a.vtl"), "new");
    EXPECT_EQ(EntriesIn(dir.path()), 1);
    struct stat info {};
    ::stat((dir / "a.vtl").c_str(), &info);
    EXPECT_EQ(info.st_mode & 0777, 0640u) << "the old document's permissions are kept";
}

TEST(SaveWholeFile, FailureAtAnyStepLeavesTheOldDocumentAndNoTemporaryFile) {
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    const std::string old = Document('o', 5000), replacement = Document('n', 9000);
    for (auto step : {FaultyFileLayer::kCreate, FaultyFileLayer::kWrite, FaultyFileLayer::kSync,
                      FaultyFileLayer::kClose, FaultyFileLayer::kRename}) {
        for (int error : {EIO, ENOSPC, EACCES}) {
            WriteFile(path, old);
            FaultyFileLayer files;
            files.FailAt(step, 1, error);
            IoResult result = SaveWholeFile(path, replacement, files);
            EXPECT_EQ(files.Calls(step), 1) << "step " << step << " was never reached";
            EXPECT_EQ(result.code, error) << "step " << step;
            EXPECT_TRUE(testing::Has(result.message, path.string())) << result.message;
            EXPECT_EQ(ReadFile(path), old) << "step " << step;
            EXPECT_EQ(EntriesIn(dir.path()), 1) << "step " << step;
        }
    }
}

TEST(PiecewiseSave, PiecesMakeTheDocumentOnlyAtCommit) {
    TempDir dir;
    const auto path = dir / "report.vtl";
    WriteFile(path, "old");
    {
        PiecewiseSave dropped(path);
        dropped.Write("never ");
        dropped.Write("committed");
    }
    EXPECT_EQ(ReadFile(path), "old");
    EXPECT_EQ(EntriesIn(dir.path()), 1) << "a dropped save leaves no temporary file";

    PiecewiseSave save(path);
    save.Write("head ");
    save.Write("body ");
    EXPECT_EQ(ReadFile(path), "old");
    save.Write("end");
    ASSERT_TRUE(save.Commit().ok());
    EXPECT_EQ(ReadFile(path), "head body end");

    // A failed copy into the file fails the whole save.
    PiecewiseSave failed(path);
    failed.Write("partial");
    failed.Fail(EIO);
    failed.Write(" more");
    EXPECT_EQ(failed.Commit().code, EIO);
    EXPECT_EQ(ReadFile(path), "head body end");
    EXPECT_EQ(EntriesIn(dir.path()), 1);
}

TEST(SaveWholeFile, AFailedFolderSyncStillReportsTheSavedDocument) {
    // The new document is in place by then: a failure would tell the user the old one was kept.
    TempDir dir;
    WriteFile(dir / "a.vtl", "old");
    FaultyFileLayer files;
    files.FailAt(FaultyFileLayer::kSyncDirectory, 1);
    EXPECT_TRUE(SaveWholeFile(dir / "a.vtl", "new", files).ok());
    EXPECT_EQ(files.Calls(FaultyFileLayer::kSyncDirectory), 1);
    EXPECT_EQ(ReadFile(dir / "a.vtl"), "new");
    EXPECT_EQ(EntriesIn(dir.path()), 1);
}

TEST(SaveWholeFile, ATemporaryFileThatCannotBeRemovedIsLeftForTheSweep) {
    TempDir dir;
    const auto path = dir / "a.vtl";
    WriteFile(path, "old");
    FaultyFileLayer files;
    files.FailAt(FaultyFileLayer::kRename, 1, EIO);
    files.FailAt(FaultyFileLayer::kRemove, 1, EPERM);
    IoResult result = SaveWholeFile(path, "new", files);
    EXPECT_EQ(result.code, EIO) << "the user hears why the save failed, not why the tidying did";
    EXPECT_EQ(files.Calls(FaultyFileLayer::kRemove), 1);
    EXPECT_EQ(ReadFile(path), "old");
    ASSERT_EQ(EntriesIn(dir.path()), 2);
    AgeEverythingBut(path);
    EXPECT_EQ(SweepStaleSaves(dir.path()), 1);
    EXPECT_EQ(EntriesIn(dir.path()), 1);
}

TEST(SaveWholeFile, EveryCallOfTheTaggedDocumentWriterIsCovered) {
    // A clean commit shows which calls a save makes; then the failure walks through each of
    // them in turn. A commit that went around the given file layer would make none.
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    const std::string old = Document('o', 100);
    auto commit = [&](FaultyFileLayer& files) {
        WriteFile(path, old);
        XMLParse doc(files);
        doc.OpenWrite(path);
        doc.WriteHeader();
        doc.WriteTag("<id>", "TC1");
        return doc.Commit();
    };
    FaultyFileLayer clean;
    ASSERT_TRUE(commit(clean).ok());
    const std::string written = ReadFile(path);
    for (auto step :
         {FaultyFileLayer::kCreate, FaultyFileLayer::kWrite, FaultyFileLayer::kSync,
          FaultyFileLayer::kClose, FaultyFileLayer::kRename, FaultyFileLayer::kSyncDirectory}) {
        EXPECT_GE(clean.Calls(step), 1) << "step " << step << " bypasses the file layer";
        for (int nth = 1; nth <= clean.Calls(step); ++nth) {
            FaultyFileLayer files;
            files.FailAt(step, nth);
            IoResult result = commit(files);
            EXPECT_GE(files.Calls(step), nth) << "step " << step << " call " << nth;
            // Only the folder sync comes after the document is in place.
            const bool replaced = step == FaultyFileLayer::kSyncDirectory;
            EXPECT_EQ(result.ok(), replaced) << "step " << step << " call " << nth;
            EXPECT_EQ(ReadFile(path), replaced ? written : old) << "step " << step;
            EXPECT_EQ(EntriesIn(dir.path()), 1) << "step " << step << " call " << nth;
        }
    }
}

TEST(SaveWholeFile, ReadOnlyFolderReportsTheFailureAndChangesNothing) {
    // The user may write the document but not create files beside it, so a save that fell back
    // to writing in place would get through. Root writes anywhere: the save runs as an ordinary
    // user who owns both.
    TempDir dir;
    const auto path = dir / "a.vtl";
    WriteFile(path, "old");
    ASSERT_TRUE(GiveToOrdinaryUser(path));
    ASSERT_TRUE(GiveToOrdinaryUser(dir.path()));
    ASSERT_EQ(::chmod(dir.path().c_str(), 0555), 0);
    EXPECT_EQ(RunAsOrdinaryUser([&]() -> std::string {
                  if (::access(path.c_str(), W_OK) != 0)
                      return std::string("the document is out of reach: ") + std::strerror(errno);
                  if (::access(dir.path().c_str(), W_OK) == 0)
                      return "the folder is writable";
                  IoResult result = SaveWholeFile(path, "new");
                  if (result.code != EACCES)
                      return "the save ended with " + std::to_string(result.code);
                  if (!testing::Has(result.message, path.string()))
                      return "the message does not name the document: " + result.message;
                  return "";
              }),
              "");
    EXPECT_EQ(ReadFile(path), "old");
    EXPECT_EQ(EntriesIn(dir.path()), 1);
}

// How long a save of content takes here and now: the middle one of five.
std::chrono::microseconds MeasuredSave(const std::filesystem::path& path,
                                       const std::string& content) {
    std::vector<std::chrono::microseconds> times;
    for (int i = 0; i < 5; ++i) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(SaveWholeFile(path, content).ok());
        times.push_back(std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - start));
    }
    std::nth_element(times.begin(), times.begin() + 2, times.end());
    return times[2];
}

TEST(SaveWholeFile, ASaveKilledAtAnyMomentLeavesTheOldOrTheNewDocument) {
    TempDir dir;
    const auto folder = dir / "items";
    std::filesystem::create_directory(folder);
    const auto path = folder / "TC1.vtl";
    const auto calibration = dir / "calibration.vtl";

    // The kills are spread over the time a save takes on this machine under its present load,
    // measured again every hundred trials. Where syncing costs nothing (a folder in memory) the
    // document grows until a save lasts long enough for kills to land inside it.
    std::size_t size = 64 * 1024;
    auto saveTime = MeasuredSave(calibration, Document('c', size));
    for (; saveTime < std::chrono::milliseconds(2) && size < 16 * 1024 * 1024; size *= 2)
        saveTime = MeasuredSave(calibration, Document('c', 2 * size));
    const std::string versions[2] = {Document('a', size), Document('b', size * 3 / 2)};
    RecordProperty("document_bytes", static_cast<int>(size));

    WriteFile(path, versions[0]);
    std::mt19937 random(20261121);
    int sawOld = 0, sawNew = 0;
    constexpr int kTrials = 1000;
    for (int trial = 0; trial < kTrials; ++trial) {
        const std::string& next = versions[(trial + 1) % 2];
        if (trial % 100 == 0)
            saveTime = MeasuredSave(calibration, next);
        const auto delay = std::chrono::microseconds(
            std::uniform_int_distribution<long>(0, 2 * saveTime.count())(random));
        const std::string before = ReadFile(path);
        int started[2];
        ASSERT_EQ(::pipe(started), 0);
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(started[0]);
            const bool told = ::write(started[1], "s", 1) == 1;
            (void)SaveWholeFile(path, next);
            _exit(told ? 0 : 1);
        }
        ::close(started[1]);
        // The delay counts from the start of the save, so no time the child takes to come to
        // life is counted in it.
        char signal = 0;
        const bool childStarted = ::read(started[0], &signal, 1) == 1;
        ::close(started[0]);
        std::this_thread::sleep_for(delay);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ASSERT_TRUE(childStarted) << "trial " << trial << ": the child never began to save";
        const std::string after = ReadFile(path);
        ASSERT_TRUE(after == before || after == next) << "trial " << trial << " tore the document";
        (after == before ? sawOld : sawNew)++;
        if (after != next)
            WriteFile(path, next);  // keep alternating
    }
    // A killed save that had made its temporary file but not renamed it leaves the file behind:
    // proof that kills landed inside saves, not only before or after them.
    const int leftovers = EntriesIn(folder) - 1;
    RecordProperty("kept_old", sawOld);
    RecordProperty("got_new", sawNew);
    RecordProperty("killed_inside", leftovers);
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
    EXPECT_GT(leftovers, 0);

    // Leftovers of killed saves are swept when they are old enough to belong to nobody.
    EXPECT_EQ(SweepStaleSaves(folder), 0) << "young temporary files may be a live save";
    AgeEverythingBut(path);
    EXPECT_EQ(SweepStaleSaves(folder), leftovers);
    EXPECT_EQ(EntriesIn(folder), 1);
}

TEST(SaveWholeFile, AReaderNeverSeesAPartialDocument) {
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    const std::string versions[2] = {Document('a', 20000), Document('b', 30000)};
    WriteFile(path, versions[0]);
    auto* done = static_cast<volatile int*>(
        ::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *done = 0;
    constexpr int kSaves = 5000;
    pid_t writer = ::fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
        int failures = 0;
        for (int i = 0; i < kSaves; ++i)
            failures += !SaveWholeFile(path, versions[i % 2]).ok();
        *done = 1;
        _exit(failures == 0 ? 0 : 1);
    }
    int reads = 0, torn = 0;
    while (!*done) {
        XMLParse doc;
        ASSERT_EQ(doc.OpenFastRead(path), 0);
        ASSERT_EQ(doc.Load(), 0);
        torn += doc.Text() != versions[0] && doc.Text() != versions[1];
        ++reads;
    }
    int status = 0;
    ::waitpid(writer, &status, 0);
    ::munmap(const_cast<int*>(done), sizeof(int));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a save failed";
    EXPECT_EQ(torn, 0) << "of " << reads << " reads";
    EXPECT_GT(reads, 0);
    RecordProperty("reads", reads);
}

TEST(RewriteWithRetries, GivesUpQuietlyAfterFiftyAttempts) {
    TempDir dir;
    WriteFile(dir / "a.vtl", "old");
    FaultyFileLayer files;
    files.FailAt(FaultyFileLayer::kRename, 3);
    EXPECT_TRUE(RewriteWithRetries(dir / "a.vtl", "new", files)) << "a passing failure is retried";
    EXPECT_EQ(ReadFile(dir / "a.vtl"), "new");

    class AlwaysBusy : public FaultyFileLayer {
    public:
        int Rename(const std::filesystem::path&, const std::filesystem::path&) override {
            ++renames;
            return EBUSY;
        }
        int renames = 0;
    } busy;
    EXPECT_FALSE(RewriteWithRetries(dir / "a.vtl", "newer", busy));
    EXPECT_EQ(busy.renames, 50);
    EXPECT_EQ(ReadFile(dir / "a.vtl"), "new");
    EXPECT_EQ(EntriesIn(dir.path()), 1);
}

}  // namespace
}  // namespace vantorel
