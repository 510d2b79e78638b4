#include "storage/atomic_save.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <random>

#include "storage/tagged_document.h"
#include "support/faulty_file_layer.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::FaultyFileLayer;
using testing::ReadFile;
using testing::TempDir;
using testing::WriteFile;

int EntriesIn(const std::filesystem::path& folder) {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
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
    int injected = 0;
    for (auto step : {FaultyFileLayer::kCreate, FaultyFileLayer::kWrite, FaultyFileLayer::kSync,
                      FaultyFileLayer::kClose, FaultyFileLayer::kRename}) {
        for (int error : {EIO, ENOSPC, EACCES}) {
            WriteFile(path, old);
            FaultyFileLayer files;
            files.FailAt(step, 1, error);
            IoResult result = SaveWholeFile(path, replacement, files);
            ++injected;
            EXPECT_EQ(result.code, error) << "step " << step;
            EXPECT_NE(result.message.find(path.string()), std::string::npos) << result.message;
            EXPECT_EQ(ReadFile(path), old) << "step " << step;
            EXPECT_EQ(EntriesIn(dir.path()), 1) << "step " << step;
        }
    }
    EXPECT_EQ(injected, 15);
}

TEST(SaveWholeFile, EveryCallOfTheTaggedDocumentWriterIsCovered) {
    // Walk the failure through each file-layer call a document commit makes, one at a time,
    // until a run makes no more calls than the one that failed.
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    const std::string old = Document('o', 100);
    for (auto step : {FaultyFileLayer::kCreate, FaultyFileLayer::kWrite, FaultyFileLayer::kSync,
                      FaultyFileLayer::kClose, FaultyFileLayer::kRename}) {
        for (int nth = 1;; ++nth) {
            WriteFile(path, old);
            FaultyFileLayer files;
            files.FailAt(step, nth);
            XMLParse doc(files);
            doc.OpenWrite(path);
            doc.WriteHeader();
            doc.WriteTag("<id>", "TC1");
            IoResult result = doc.Commit();
            if (files.Calls(step) < nth) {
                EXPECT_TRUE(result.ok());
                break;
            }
            EXPECT_FALSE(result.ok());
            EXPECT_EQ(ReadFile(path), old);
            EXPECT_EQ(EntriesIn(dir.path()), 1);
        }
    }
}

TEST(SaveWholeFile, ReadOnlyFolderReportsTheFailureAndChangesNothing) {
    TempDir dir;
    const auto folder = dir / "share";
    std::filesystem::create_directory(folder);
    WriteFile(folder / "a.vtl", "old");
    ::chmod(folder.c_str(), 0555);

    // root writes anywhere, so the save runs as an ordinary user where the test has the power
    // to become one.
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::geteuid() == 0 && ::setuid(65534) != 0)
            _exit(3);
        IoResult result = SaveWholeFile(folder / "a.vtl", "new");
        bool named = result.message.find("a.vtl") != std::string::npos;
        _exit(result.code == EACCES && named ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(ReadFile(folder / "a.vtl"), "old");
    EXPECT_EQ(EntriesIn(folder), 1);
}

TEST(SaveWholeFile, ASaveKilledAtAnyMomentLeavesTheOldOrTheNewDocument) {
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    const std::string versions[2] = {Document('a', 64 * 1024), Document('b', 96 * 1024)};
    WriteFile(path, versions[0]);
    std::mt19937 random(20261121);
    int sawOld = 0, sawNew = 0;
    constexpr int kTrials = 1000;
    for (int trial = 0; trial < kTrials; ++trial) {
        const std::string& next = versions[(trial + 1) % 2];
        const std::string before = ReadFile(path);
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            (void)SaveWholeFile(path, next);
            _exit(0);
        }
        ::usleep(random() % 1500);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const std::string after = ReadFile(path);
        ASSERT_TRUE(after == before || after == next) << "trial " << trial << " tore the document";
        (after == before ? sawOld : sawNew)++;
        if (after != next)
            WriteFile(path, next);  // keep alternating
    }
    // Both outcomes must have happened, or the kills did not land inside saves.
    RecordProperty("kept_old", sawOld);
    RecordProperty("got_new", sawNew);
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);

    // Leftovers of killed saves are swept when they are old enough to belong to nobody.
    int leftovers = EntriesIn(dir.path()) - 1;
    EXPECT_EQ(SweepStaleSaves(dir.path()), 0) << "young temporary files may be a live save";
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        if (entry.path() != path)
            std::filesystem::last_write_time(
                entry.path(),
                std::filesystem::file_time_type::clock::now() - std::chrono::minutes(10));
    }
    EXPECT_EQ(SweepStaleSaves(dir.path()), leftovers);
    EXPECT_EQ(EntriesIn(dir.path()), 1);
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
