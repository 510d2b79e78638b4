#include "reports/status_cases.h"

#include <fstream>

#include "filters/filter.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPassRow = 2;  // "Not yet attempted", "Fail", "Pass", "Other", "Postponed"

class StatusCasesTest : public ProjectTest {
protected:
    StatusCasesTest() {
        AddCase("Login/A.vtl", {{"<test_title>", "Sign in &amp; out"},
                                {"<test_status>", "Pass"},
                                {"<testers>", "sam"}});
        AddCase("Login/B.vtl", {{"<test_status>", "Fail"}, {"<testers>", "lee"}});
        AddCase("Login/Deep/C.vtl", {{"<test_status>", "pass"}, {"<testers>", "lee"}});
        AddCase("Other/D.vtl", {{"<test_status>", "Pass"}, {"<testers>", "sam"}});
        EXPECT_TRUE(WriteFilterDocument(db / "Filters" / "By sam.vtl",
                                        {"By sam", "Sam's tests", {{5, {"sam"}, FO_EQUAL_TO}}})
                        .ok());
    }

    fs::path Report(ReportRequest request) {
        const std::optional<fs::path> report = Make(ReportKind::Status, request);
        EXPECT_TRUE(report);
        return report.value_or(fs::path());
    }

    // The identifiers listed for row of report.
    std::vector<std::string> Ids(const fs::path& report, std::size_t row) {
        std::vector<std::string> ids;
        if (const auto listed = ListStatusCases(report, row, Reporting()))
            for (const StatusCase& testCase : *listed)
                ids.push_back(testCase.id);
        return ids;
    }

    ReportRequest Suites(std::initializer_list<SuiteChoice> suites) {
        ReportRequest request = WholeProject();
        request.wholeProject = false;
        request.suites = suites;
        return request;
    }
};

TEST_F(StatusCasesTest, ListsWhatTheReportCountedUnderTheStatusAsItIsNow) {
    const fs::path report = Report(WholeProject());
    const auto listed = ListStatusCases(report, kPassRow, Reporting());
    ASSERT_TRUE(listed);
    // By suite and identifier; the status is matched as the report resolves it (ignoring case).
    ASSERT_EQ(listed->size(), 3u);
    EXPECT_EQ((*listed)[0].id, "A");
    EXPECT_EQ((*listed)[0].title, "Sign in & out");
    EXPECT_EQ((*listed)[0].suite, "Login");
    EXPECT_EQ((*listed)[0].document, cases / "Login" / "A.vtl");
    EXPECT_EQ((*listed)[1].id, "C");
    EXPECT_EQ((*listed)[1].suite, "Login/Deep");
    EXPECT_EQ((*listed)[2].id, "D");
    EXPECT_EQ(Ids(report, 1), (std::vector<std::string>{"B"}));
    EXPECT_TRUE(Ids(report, 4).empty());
    EXPECT_TRUE(port.notices.empty());

    // Test cases are listed under their status of now.
    AddCase("Login/B.vtl", {{"<test_status>", "Pass"}});
    EXPECT_EQ(Ids(report, kPassRow), (std::vector<std::string>{"A", "B", "C", "D"}));
    EXPECT_TRUE(Ids(report, 1).empty());
}

TEST_F(StatusCasesTest, KeepsTheReportsSuitesAndFilter) {
    EXPECT_EQ(Ids(Report(Suites({{cases / "Login", true}})), kPassRow),
              (std::vector<std::string>{"A", "C"}));
    EXPECT_EQ(Ids(Report(Suites({{cases / "Login", false}, {cases / "Other", true}})), kPassRow),
              (std::vector<std::string>{"A", "D"}));

    ReportRequest filtered = Suites({{cases / "Login", true}});
    filtered.filter = Filter::Load(db / "Filters" / "By sam.vtl");
    ASSERT_TRUE(filtered.filter);
    const fs::path report = Report(filtered);
    EXPECT_EQ(Ids(report, kPassRow), (std::vector<std::string>{"A"}));

    // A filter removed since can't choose the test cases again: the user is told.
    fs::remove(db / "Filters" / "By sam.vtl");
    EXPECT_FALSE(ListStatusCases(report, kPassRow, Reporting()));
    ASSERT_FALSE(port.notices.empty());
    EXPECT_EQ(port.notices.back().caption, "Filter not found");
}

TEST_F(StatusCasesTest, ASummaryReportsRowIsAMeaning) {
    CustomTables tables = custom.Tables();
    tables.statuses.push_back({"Passed on retry", SM_PASS});
    custom.Replace(tables);
    AddCase("Other/E.vtl", {{"<test_status>", "Passed on retry"}});
    const fs::path report = project / "Project Reports" / "Status Reports" / "Old.vtl";
    std::ofstream(report, std::ios::binary)
        << "<status_report>\r\n<id>Old</id>\r\n<create_date>20200101</create_date>\r\n"
           "<tests_passed>4</tests_passed>\r\n<tests_failed>1</tests_failed>\r\n"
           "<tests_not_yet_attempt>0</tests_not_yet_attempt>\r\n<tests_other_state>0"
           "</tests_other_state>\r\n<tests_postponed>0</tests_postponed>\r\n</status_report>\r\n";
    EXPECT_EQ(Ids(report, SM_PASS), (std::vector<std::string>{"A", "C", "D", "E"}));
    EXPECT_EQ(Ids(report, SM_FAIL), (std::vector<std::string>{"B"}));
}

TEST_F(StatusCasesTest, RefusesWhatCantBeListed) {
    const fs::path report = Report(WholeProject());
    EXPECT_FALSE(ListStatusCases(report, 5, Reporting()));  // no such row
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0], UnreadableReport(report));

    // A stop ends the walk without a word: the user has moved on.
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(ListStatusCases(report, kPassRow, Reporting(), stop.get_token()));
    EXPECT_EQ(port.notices.size(), 1u);

    fs::remove_all(project / "Project Test Cases");
    EXPECT_FALSE(ListStatusCases(report, kPassRow, Reporting()));
    EXPECT_EQ(port.notices.back().caption, "Project not found");
}

TEST(StatusCasesCaption, CountsInWords) {
    EXPECT_EQ(StatusCasesCaption("Fail", 0), "No test case has the status Fail now");
    EXPECT_EQ(StatusCasesCaption("Fail", 1), "1 test case has the status Fail now");
    EXPECT_EQ(StatusCasesCaption("Fail", 12), "12 test cases have the status Fail now");
}

}  // namespace
}  // namespace vantorel::testing
