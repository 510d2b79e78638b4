// The walk of a report over a hostile tree: whatever stands in the project, a report ends,
// counts what it can't read, and never leaves the project.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <stdexcept>

#include "reports/list_reports.h"
#include "reports/status_report.h"
#include "storage/file_reading.h"
#include "support/child_process.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

class ReportWalkTest : public ProjectTest {
protected:
    // A sparse file larger than any document: no memory is spent making it.
    static void MakeHugeFile(const std::filesystem::path& file) {
        const int fd = ::open(file.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::ftruncate(fd, static_cast<off_t>(kDocumentSizeMax) + 1), 0);
        ::close(fd);
    }
};

TEST_F(ReportWalkTest, LinksFifosAndHugeFilesNeitherHoldNorMisleadTheWalk) {
    AddCase("Login/A.vtl", {{"<test_status>", "Pass"}});
    // A long document, its status beyond the first 64 KiB a batched read takes at once.
    AddCase("Login/Long.vtl",
            {{"<notes1>", std::string(100 * 1024, 'x')}, {"<test_status>", "Fail"}});
    const std::filesystem::path outside = dir.path() / "outside";
    std::filesystem::create_directories(outside);
    std::ofstream(outside / "Stolen.vtl") << "<project_test_case><test_status>Fail</test_status>";
    // Links to the suite itself, to its parent and out of the database; a linked document.
    std::filesystem::create_directory_symlink(".", cases / "Login" / "Self");
    std::filesystem::create_directory_symlink("..", cases / "Login" / "Up");
    std::filesystem::create_directory_symlink(outside, cases / "Login" / "Out");
    std::filesystem::create_symlink(outside / "Stolen.vtl", cases / "Login" / "Stolen.vtl");
    ASSERT_EQ(::mkfifo((cases / "Login" / "Pipe.vtl").c_str(), 0600), 0);
    MakeHugeFile(cases / "Login" / "Huge.vtl");

    const auto file = Make(ReportKind::Status, WholeProject());
    ASSERT_TRUE(file);
    const auto report = ReadStatusReport(*file);
    ASSERT_TRUE(report);
    // Each counts, A and Long alone with figures: the linked document was not read through its
    // link.
    EXPECT_EQ(report->totalTests, 5);
    EXPECT_EQ(std::accumulate(report->counts.begin(), report->counts.end(), std::int64_t{0}), 2);
    const auto notice = std::ranges::find(port.notices, "Unreadable test cases", &Notice::caption);
    ASSERT_NE(notice, port.notices.end());
    EXPECT_TRUE(notice->text.starts_with("3 test cases could not be read")) << notice->text;
}

TEST_F(ReportWalkTest, AFolderReachedAgainUnderAnotherNameIsNotEnteredTwice) {
    AddCase("Top.vtl", {{"<test_status>", "Pass"}});
    AddCase("Login/A.vtl", {{"<test_status>", "Pass"}});
    // The system cuts a path at a NUL, so this suite names "Project Test Cases" itself, and
    // each sub-folder below it names the same folder again: the walk takes Top once and ends.
    ReportRequest request = WholeProject();
    request.wholeProject = false;
    request.suites = {{cases / std::string("\0Login", 6), true}};
    const auto file = Make(ReportKind::Status, request);
    ASSERT_TRUE(file);
    EXPECT_EQ(ReadStatusReport(*file)->totalTests, 1);
}

TEST_F(ReportWalkTest, DeepSuitesNeedOneOpenFolderAtATime) {
    std::string relative;
    for (int level = 0; level < 200; ++level)
        relative += "d/";
    AddCase(relative + "Deep.vtl", {{"<id>", "Deep"}, {"<test_status>", "Pass"}});
    AddCase("Top.vtl", {{"<id>", "Top"}, {"<test_status>", "Fail"}});

    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit tight = saved;
    tight.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    ReportRequest request = WholeProject();
    request.threads = 2;
    const auto file = Make(ReportKind::List, request);
    ::setrlimit(RLIMIT_NOFILE, &saved);
    ASSERT_TRUE(file);
    const std::string text = ReadFile(*file);
    EXPECT_TRUE(Has(text, "Deep.vtl"));
    EXPECT_TRUE(Has(text, "Top.vtl"));
}

TEST_F(ReportWalkTest, AMissingReportFolderOfAProjectIsMadeAgain) {
    AddCase("Login/A.vtl", {{"<test_status>", "Pass"}});
    std::filesystem::remove_all(project / "Project Reports");
    EXPECT_TRUE(Make(ReportKind::Progress, WholeProject()));
    EXPECT_TRUE(std::filesystem::is_directory(project / "Project Reports" / "Progress Reports"));
}

// A kind whose statistics fail on the walk's threads.
class FailingReport : public ReportBaseClass {
public:
    explicit FailingReport(ReportContext context)
        : ReportBaseClass(ReportKind::Status, std::move(context)) {}

protected:
    struct Tally : DocumentTally {
        bool Take(const XMLParse&, std::size_t, const std::filesystem::path&,
                  std::string_view) override {
            throw std::runtime_error("no room left for figures");
        }
        void Merge(DocumentTally&) override {}
    };
    void WriteReport(XMLParse&) const override {}
    std::unique_ptr<DocumentTally> NewTally() const override { return std::make_unique<Tally>(); }
    void FinishStats(std::unique_ptr<DocumentTally>) override {}
};

TEST_F(ReportWalkTest, AFailureOnAWalkThreadIsToldNotThrown) {
    for (int n = 0; n < 200; ++n)
        AddCase("S/T" + std::to_string(n) + ".vtl", {{"<test_status>", "Pass"}});
    ReportRequest request = WholeProject();
    request.commandLine = true;
    request.threads = 4;
    FailingReport report(Reporting());
    EXPECT_FALSE(report.create(request));
    EXPECT_EQ(port.notices.back().caption, "Report error");
    EXPECT_TRUE(std::filesystem::is_empty(project / "Project Reports" / "Status Reports"));
}

// A kind that asks for the stop itself after a number of documents, and counts the documents
// it was still handed once the stop had been asked for.
class CancelledReport : public ReportBaseClass {
public:
    CancelledReport(ReportContext context, std::stop_source& stop, int stopAfter)
        : ReportBaseClass(ReportKind::Status, std::move(context)),
          m_stop(stop),
          m_stopAfter(stopAfter) {}

    std::atomic<int> taken{0};
    std::atomic<int> takenAfterStop{0};

protected:
    struct Tally : DocumentTally {
        explicit Tally(CancelledReport& report) : report(report) {}
        bool Take(const XMLParse&, std::size_t, const std::filesystem::path&,
                  std::string_view) override {
            if (report.m_stop.stop_requested())
                ++report.takenAfterStop;
            if (++report.taken == report.m_stopAfter)
                report.m_stop.request_stop();
            return true;
        }
        void Merge(DocumentTally&) override {}
        CancelledReport& report;
    };
    void WriteReport(XMLParse&) const override {}
    std::unique_ptr<DocumentTally> NewTally() const override {
        return std::make_unique<Tally>(const_cast<CancelledReport&>(*this));
    }
    void FinishStats(std::unique_ptr<DocumentTally>) override {}

private:
    std::stop_source& m_stop;
    const int m_stopAfter;
};

TEST_F(ReportWalkTest, ACancelledWalkStopsBetweenDocuments) {
    for (int n = 0; n < 600; ++n)
        AddCase("S" + std::to_string(n % 6) + "/T" + std::to_string(n) + ".vtl", {});
    std::stop_source stop;
    ReportRequest request = WholeProject();
    request.threads = 4;
    request.stop = stop.get_token();
    CancelledReport report(Reporting(), stop, 100);
    EXPECT_FALSE(report.create(request));
    // Each thread finishes at most the document in its hands. (The count of all documents
    // taken has no bound: the thread that asks for the stop may be held up before it does.)
    EXPECT_GE(report.taken, 100);
    EXPECT_LE(report.takenAfterStop, 4 - 1);
    EXPECT_EQ(port.notices.back().caption, "Status Report");
}

TEST_F(ReportWalkTest, EveryKindCancelledHalfWayLeavesNoReportBehind) {
    for (int n = 0; n < 1000; ++n)
        AddCase("S" + std::to_string(n % 10) + "/T" + std::to_string(n) + ".vtl",
                {{"<test_status>", "Pass"}, {"<title>", "case " + std::to_string(n)}},
                Block("02-10-2026", false, "", "Pass"));
    for (ReportKind kind :
         {ReportKind::Status, ReportKind::Progress, ReportKind::List, ReportKind::Details}) {
        SCOPED_TRACE(KindInfo(kind).title);
        std::stop_source stop;
        port.CancelAtProgress(64, stop);
        ReportRequest request = WholeProject();
        request.commandLine = true;
        request.threads = 4;
        request.stop = stop.get_token();
        EXPECT_FALSE(Make(kind, request));
        EXPECT_EQ(port.notices.back().text, std::string(KindInfo(kind).title) +
                                                " - The report was cancelled; no report was "
                                                "written.");
        // Neither a report nor its temporary file, nor a spool of rows.
        EXPECT_TRUE(std::filesystem::is_empty(project / "Project Reports" /
                                              std::string(KindInfo(kind).folder)));
    }
}

TEST_F(ReportWalkTest, UnreadableDocumentsAndFoldersAreCountedAndTold) {
    AddCase("Login/A.vtl", {{"<test_status>", "Pass"}});
    AddCase("Login/Locked.vtl", {{"<test_status>", "Pass"}});
    AddCase("Hidden/B.vtl", {{"<test_status>", "Fail"}});
    // The superuser reads everything: the report runs as an ordinary user who owns the tree
    // but may read neither the folder nor the document.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path()))
        ASSERT_TRUE(GiveToOrdinaryUser(entry.path()));
    ASSERT_TRUE(GiveToOrdinaryUser(dir.path()));
    std::filesystem::permissions(cases / "Hidden", std::filesystem::perms::none);
    std::filesystem::permissions(cases / "Login" / "Locked.vtl", std::filesystem::perms::none);
    EXPECT_EQ(RunAsOrdinaryUser([&]() -> std::string {
                  ReportRequest request = WholeProject();
                  request.commandLine = true;
                  const auto file = Make(ReportKind::Status, request);
                  if (!file)
                      return "no report";
                  const auto notice =
                      std::ranges::find(port.notices, "Unreadable test cases", &Notice::caption);
                  if (notice == port.notices.end())
                      return "nobody was told";
                  const auto report = ReadStatusReport(*file);
                  if (!report || report->totalTests != 2)
                      return "the unreadable test case is not counted";
                  return notice->text.substr(0, 52);
              }),
              "Status Report - 1 test cases and 1 folders could not");
    std::filesystem::permissions(cases / "Hidden", std::filesystem::perms::owner_all);
}

}  // namespace
}  // namespace vantorel::testing
