#include "reports/status_report.h"

#include <fstream>
#include <limits>

#include "support/child_process.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

class StatusReportTest : public ProjectTest {
protected:
    // A project with every awkward case a walk meets.
    void AddAwkwardCases() {
        AddCase("Login/A.vtl", {{"<test_duration>", "01:00"},
                                {"<test_status>", "pass"},
                                {"<actual_duration>", "00:50"}});
        AddCase(
            "Login/B.vtl",
            {{"<test_duration>", "00:30"}, {"<test_status>", "Pass"}, {"<actual_duration>", ""}});
        AddCase("Login/C.vtl", {{"<test_duration>", "02:00"},
                                {"<test_status>", "Fail"},
                                {"<actual_duration>", "03:00"}});
        AddCase("Login/D.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Other"}});
        AddCase("Login/E.vtl", {{"<test_duration>", "00:10"},
                                {"<test_status>", "Postponed"},
                                {"<actual_duration>", "00:20"}});
        AddCase("Login/F.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Mystery"}});
        AddCase("Login/G.vtl",
                {{"<test_duration>", "0:45"}, {"<test_status>", "Not yet attempted"}});
        AddCase("Login/Deep/J.vtl", {{"<test_duration>", "1:00"},
                                     {"<test_status>", "Pass"},
                                     {"<actual_duration>", "1:30"}});
        // Never counted: reports inside a suite, other extensions.
        AddCase("Login/Project Reports/X.vtl", {{"<test_status>", "Pass"}});
        AddCase("Login/H.VTL", {{"<test_status>", "Pass"}});
        AddCase("Login/I.tgp", {{"<test_status>", "Pass"}});
        // Locks as editors make them and as older programs made them; F's status resolves to
        // nothing, so its lock is not looked at.
        for (const char* lock : {"Login/A.vtl.lck", "Login/C.lck", "Login/F.vtl.lck"})
            std::ofstream(cases / lock) << "bench-7\ndana";
    }
};

TEST_F(StatusReportTest, CountsEveryFigureOfAnAwkwardProject) {
    AddAwkwardCases();
    ReportRequest request = WholeProject();
    const auto file = Make(ReportKind::Status, request);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->filename(), "Status report - 2026-11-21-1.vtl");

    const auto data = ReadStatusReport(*file);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->header.id, "Status report - 2026-11-21-1");
    EXPECT_EQ(data->header.createDate, "20261121");
    EXPECT_EQ(data->header.createTime, "10:30:00");
    EXPECT_EQ(data->statuses, (std::vector<std::string>{"Not yet attempted", "Fail", "Pass",
                                                        "Other", "Postponed"}));
    EXPECT_EQ(data->counts, (std::vector<std::int64_t>{1, 1, 3, 1, 1}));
    EXPECT_EQ(data->totalTests, 8);
    EXPECT_EQ(data->totalTestTime, 445);
    EXPECT_EQ(data->expectedPassedTime, 150);
    EXPECT_EQ(data->expendedTime, 170);  // a pass without actual time takes its expected time
    EXPECT_EQ(data->failedTime, 180);
    EXPECT_EQ(data->totalAttemptedTime, 370);  // "Other" without actual time is not attempted
    EXPECT_EQ(data->predictedTime, 588);       // 370 / 280 * 445, truncated
    EXPECT_EQ(data->averagePerAttemptedTest, 74);
    EXPECT_EQ(data->averagePerPlannedTest, 55);
    EXPECT_EQ(data->perCentComplete, "37.50");
    EXPECT_EQ(data->perCentTimeUsed, "83.15");

    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(port.notices[0].text.starts_with("2 test cases were open for editing"));
}

TEST_F(StatusReportTest, DerivedFiguresFollowTheirGuards) {
    StatusSums notAttempted;
    notAttempted.totalTests = 4;
    notAttempted.totalTestTime = 400;
    notAttempted.perMeaning[SM_NOT_YET_ATTEMPTED] = 4;
    const StatusFigures idle = DeriveStatusFigures(notAttempted);
    EXPECT_EQ(idle.predictedTime, 400);
    EXPECT_EQ(idle.perCentComplete, 0.0f);
    EXPECT_EQ(idle.perCentTimeUsed, 0.0f);
    EXPECT_EQ(idle.averagePerAttemptedTest, 0);

    // Failed minutes but no passed minutes: the guard keeps the plan.
    StatusSums onlyFailed = notAttempted;
    onlyFailed.failedTime = 90;
    onlyFailed.attemptedExpectedTime = 60;
    onlyFailed.attemptedCount = 1;
    EXPECT_EQ(DeriveStatusFigures(onlyFailed).predictedTime, 400);

    // Negative hand-edited durations that cancel the divisor out, or a prediction past any
    // int64, give a figure rather than a crash.
    StatusSums cancelled = onlyFailed;
    cancelled.expectedPassedTime = 60;
    cancelled.attemptedExpectedTime = 0;
    EXPECT_EQ(DeriveStatusFigures(cancelled).predictedTime, 400);
    StatusSums huge = onlyFailed;
    huge.expectedPassedTime = 1;
    huge.attemptedExpectedTime = 1;
    huge.failedTime = std::numeric_limits<std::int64_t>::max() / 2;
    huge.totalTestTime = std::numeric_limits<std::int64_t>::max() / 2;
    EXPECT_GT(DeriveStatusFigures(huge).predictedTime, 0);

    EXPECT_EQ(DeriveStatusFigures({}).averagePerPlannedTest, 0);
}

TEST_F(StatusReportTest, TenStatusesGiveTenSeries) {
    CustomTables tables = custom.Tables();
    for (int i = 0; i < 5; ++i)
        tables.statuses.push_back({"Extra " + std::to_string(i), SM_OTHER});
    custom.Replace(tables);
    AddCase("S/A.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "extra 3"}});
    const auto data = ReadStatusReport(*Make(ReportKind::Status, WholeProject()));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->counts.size(), 10u);
    EXPECT_EQ(data->counts[8], 1);
    EXPECT_EQ(data->colours.size(), 10u);
}

TEST_F(StatusReportTest, StatusWithABadMeaningInCustomDatCountsAsNotAttempted) {
    WriteFile(db / "custom.dat",
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<status_vals>\r\n"
              "<status_text>Pass</status_text><status>0</status>\r\n"
              "<status_text>Blocked</status_text><status>5</status>\r\n"
              "<status_text>Lost</status_text><status>100000000</status>\r\n</status_vals>\r\n");
    custom.Read(db, port, "bench-7");
    AddCase("S/A.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Pass"}});
    AddCase("S/B.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Blocked"}});
    AddCase("S/C.vtl", {{"<test_duration>", "01:00"}, {"<test_status>", "Lost"}});
    for (ReportKind kind : {ReportKind::Status, ReportKind::Progress})
        ASSERT_TRUE(Make(kind, WholeProject()));
    const auto data = ReadStatusReport(project / "Project Reports" / "Status Reports" /
                                       "Status report - 2026-11-21-1.vtl");
    ASSERT_TRUE(data);
    EXPECT_EQ(data->counts, (std::vector<std::int64_t>{1, 1, 1}));
    EXPECT_EQ(data->totalTests, 3);
    EXPECT_EQ(data->totalAttemptedTime, 60);
    EXPECT_EQ(data->perCentComplete, "33.33");
    // Not yet attempted statuses take that meaning's colour.
    EXPECT_EQ(data->colours,
              (std::vector<ReportColour>{custom.ReportColourOf(2), custom.ReportColourOf(0),
                                         custom.ReportColourOf(0)}));
}

TEST_F(StatusReportTest, RefusesWithoutDocumentsOrWhenTheFilterPassesNone) {
    std::filesystem::create_directories(cases / "Empty suite");
    EXPECT_FALSE(Make(ReportKind::Status, WholeProject()));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].text, "There are no test cases from which a report can be generated");

    AddCase("S/A.vtl", {{"<test_status>", "Pass"}});
    ReportRequest filtered = WholeProject();
    filtered.filter = Filter({"Failed", "Tests that failed", {{0, {"Fail"}, FO_EQUAL_TO}}});
    EXPECT_FALSE(Make(ReportKind::Status, filtered));
    EXPECT_TRUE(Has(port.notices.back().text, "passed the filter"));

    filtered.commandLine = true;
    EXPECT_FALSE(Make(ReportKind::Progress, filtered));
    EXPECT_TRUE(port.notices.back().text.starts_with("Progress Report - "));
    EXPECT_TRUE(std::filesystem::is_empty(project / "Project Reports" / "Status Reports"));
}

TEST_F(StatusReportTest, NamesReportsAndAsksBeforeReplacingOne) {
    AddCase("S/A.vtl", {{"<test_status>", "Pass"}});
    EXPECT_EQ(Make(ReportKind::Status, WholeProject())->filename(),
              "Status report - 2026-11-21-1.vtl");
    EXPECT_EQ(Make(ReportKind::Status, WholeProject())->filename(),
              "Status report - 2026-11-21-2.vtl");

    ReportRequest named = WholeProject();
    named.name = "Weekly";
    const auto first = Make(ReportKind::Status, named);
    ASSERT_TRUE(first);
    port.ScriptAnswers({false});
    EXPECT_FALSE(Make(ReportKind::Status, named));
    named.commandLine = true;  // "/n" replaces without asking
    EXPECT_EQ(Make(ReportKind::Status, named), first);
    EXPECT_EQ(port.questions.size(), 1u);
}

TEST_F(StatusReportTest, TellsWhyTheReportFolderCannotBeUsed) {
    AddCase("S/A.vtl", {{"<test_status>", "Pass"}});
    // A missing report folder is made again; a file in its place can't be.
    std::filesystem::remove_all(project / "Project Reports" / "Status Reports");
    std::ofstream(project / "Project Reports" / "Status Reports") << "not a folder";
    EXPECT_FALSE(Make(ReportKind::Status, WholeProject()));
    EXPECT_TRUE(Has(port.notices.back().text, "\"Project Reports/Status Reports\""));

    // A folder the user may not write to: the superuser writes everywhere, so the report is
    // made by an ordinary user who owns the tree.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path()))
        ASSERT_TRUE(GiveToOrdinaryUser(entry.path()));
    ASSERT_TRUE(GiveToOrdinaryUser(dir.path()));
    const auto folder = project / "Project Reports" / "Progress Reports";
    std::filesystem::permissions(
        folder, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(RunAsOrdinaryUser([&]() -> std::string {
                  if (Make(ReportKind::Progress, WholeProject()))
                      return "a report was made";
                  return port.notices.back().caption;
              }),
              "Access Denied");
}

TEST_F(StatusReportTest, ChosenSuitesAndThreadsChangeNothingButTheirScope) {
    AddAwkwardCases();
    AddCase("Other suite/K.vtl", {{"<test_duration>", "05:00"}, {"<test_status>", "Fail"}});
    ReportRequest suites = WholeProject();
    suites.wholeProject = false;
    suites.suites = {{cases / "Login", false}};
    auto flat = MakeReport(ReportKind::Status, Reporting());
    ASSERT_TRUE(flat->create(suites));
    EXPECT_EQ(flat->Candidates(), 7u);  // J lies in a sub-suite

    // A suite listed again, or below one taken with its sub-suites, adds nothing.
    suites.suites = {{cases / "Login" / "Deep", true},
                     {cases / "Login", false},
                     {cases / "Login" / "Deep", false},
                     {cases / "Login" / ".", true}};
    auto overlapping = MakeReport(ReportKind::Status, Reporting());
    ASSERT_TRUE(overlapping->create(suites));
    EXPECT_EQ(overlapping->Candidates(), 8u);

    suites.suites = {{cases / "Login", true}, {cases / "Other suite", true}};
    std::vector<std::string> documents;
    for (unsigned threads : {1u, 2u, 5u}) {
        suites.threads = threads;
        suites.name = "threads";
        suites.commandLine = true;
        const auto file = Make(ReportKind::Status, suites);
        ASSERT_TRUE(file);
        std::ifstream in(*file, std::ios::binary);
        documents.emplace_back(std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>());
    }
    EXPECT_EQ(documents[0], documents[1]);
    EXPECT_EQ(documents[0], documents[2]);
    EXPECT_TRUE(Has(documents[0], "<total_number_tests>9</total_number_tests>"));
}

TEST_F(StatusReportTest, TheSummaryFormReadsAsOneCountPerMeaning) {
    const auto file = project / "Project Reports" / "Status Reports" / "summary.vtl";
    WriteFile(
        file,
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<status_report>\r\n<id>summary</id>"
        "<create_date>20261120</create_date><filter_name></filter_name>"
        "<tests_passed>4</tests_passed><tests_failed>2</tests_failed>"
        "<tests_not_yet_attempt>3</tests_not_yet_attempt><tests_other_state>0"
        "</tests_other_state><tests_postponed>1</tests_postponed>"
        "<total_test_time>600</total_test_time><per_tests_complete>40.00"
        "</per_tests_complete></status_report>\r\n");
    EXPECT_EQ(ReadReportKind(file), ReportKind::Status);
    const auto report = ReadStatusReport(file);
    ASSERT_TRUE(report);
    EXPECT_TRUE(report->summaryForm);
    EXPECT_EQ(report->statuses, (std::vector<std::string>{"Pass", "Fail", "Not yet attempted",
                                                          "Other", "Postponed"}));
    EXPECT_EQ(report->counts, (std::vector<std::int64_t>{4, 2, 3, 0, 1}));
    EXPECT_EQ(report->totalTestTime, 600);
    EXPECT_EQ(report->perCentComplete, "40.00");
    EXPECT_EQ(report->header.createTime, "00:00:00");
}

}  // namespace
}  // namespace vantorel::testing
