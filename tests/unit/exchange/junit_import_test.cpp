#include "exchange/junit_import.h"

#include <gtest/gtest.h>

#include <thread>

#include "documents/prj_test_case.h"
#include "exchange/csv_import.h"
#include "exchange/junit_results.h"
#include "storage/locks.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kSamples = fs::path(VANTOREL_TEST_DATA) / "junit";

std::vector<JUnitResult> Results(const fs::path& file) {
    auto parsed = ParseJUnit(ReadFile(file));
    if (const XmlFault* fault = std::get_if<XmlFault>(&parsed))
        ADD_FAILURE() << XmlFaultText(*fault);
    return std::holds_alternative<XmlFault>(parsed) ? std::vector<JUnitResult>{}
                                                    : std::get<std::vector<JUnitResult>>(parsed);
}

XmlFault Fault(std::string_view text) {
    auto parsed = ParseJUnit(text);
    EXPECT_TRUE(std::holds_alternative<XmlFault>(parsed));
    return std::holds_alternative<XmlFault>(parsed) ? std::get<XmlFault>(parsed) : XmlFault{};
}

TEST(JUnitResultsTest, ReadsWhatTheRunnersWrite) {
    const auto gtest = Results(kSamples / "gtest_results.xml");
    ASSERT_EQ(gtest.size(), 4u);
    EXPECT_EQ(gtest[0].className, "Cart");
    EXPECT_EQ(gtest[0].outcome, JUnitOutcome::Passed);
    EXPECT_EQ(gtest[1].outcome, JUnitOutcome::Failed);
    EXPECT_TRUE(gtest[1].message.ends_with("basket still holds the item"));
    EXPECT_EQ(gtest[2].outcome, JUnitOutcome::Skipped);
    EXPECT_EQ(gtest[2].line, 15u);

    const auto ctest = Results(kSamples / "ctest_results.xml");
    ASSERT_EQ(ctest.size(), 4u);
    EXPECT_EQ(ctest[1].message, "basket still holds the item");  // from what it printed
    EXPECT_NEAR(ctest[2].seconds, 1.06147, 1e-9);
    EXPECT_EQ(ctest[3].outcome, JUnitOutcome::Skipped);

    const auto pytest = Results(kSamples / "pytest_results.xml");
    ASSERT_EQ(pytest.size(), 6u);
    EXPECT_EQ(pytest[5].outcome, JUnitOutcome::Failed);
    EXPECT_TRUE(pytest[5].message.starts_with("RuntimeError: coupon service <unreachable> & down"));
    EXPECT_TRUE(Has(pytest[1].message, "Caf\xC3\xA9 cr\xC3\xA8me"));
}

TEST(JUnitResultsTest, RefusesWhatIsNotXmlOrNotTheDialectWithLineAndColumn) {
    const XmlFault text = Fault("name,status\nlogin,pass\n");
    EXPECT_EQ(std::pair(text.line, text.column), std::pair(std::size_t{1}, std::size_t{1}));
    const XmlFault unclosed =
        Fault("<testsuites>\n  <testsuite name=\"a\">\n    <testcase name=\"x\">\n</testsuites>");
    EXPECT_EQ(std::pair(unclosed.line, unclosed.column), std::pair(std::size_t{4}, std::size_t{3}));
    const XmlFault html = Fault("<?xml version=\"1.0\"?>\n<html><body/></html>");
    EXPECT_EQ(std::pair(html.line, html.column), std::pair(std::size_t{2}, std::size_t{1}));
    EXPECT_TRUE(Has(Fault("<!DOCTYPE x [<!ENTITY a \"b\">]><testsuite/>").reason, "entit"));
    std::string deep;
    for (int i = 0; i < 100; ++i)
        deep += "<testsuite>";
    EXPECT_TRUE(Has(Fault(deep).reason, "nested"));
}

class JUnitImportTest : public ProjectTest {
protected:
    JUnitImportTest() {
        const std::pair<const char*, const char*> titles[] = {{"TC001", "Add to basket"},
                                                              {"TC002", "Remove from basket"},
                                                              {"TC003", "Pay by card"},
                                                              {"TC004", "Checkout total"},
                                                              {"TC005", "Coupon code"}};
        for (const auto& [id, title] : titles)
            AddCase(std::string(id < std::string("TC003") ? "Cart/" : "Checkout/") + id + ".vtl",
                    {{"<id>", id},
                     {"<test_title>", title},
                     {"<test_phase>", "Functionality"},
                     {"<test_status>", "Not yet attempted"},
                     {"<test_attempts>", "0"},
                     {"<results_obtained>", "Seen by Ana"},
                     {"<requirement>", std::string("REQ-") + id}},
                    Block("01-11-2026", false, "Not yet attempted", "Not yet attempted"));
        request.projectFolder = project;
        request.version = "2.0";
        request.build = "417";
    }

    std::unique_ptr<PrjTestCase> Case(const std::string& relative) {
        return PrjTestCase::Edit(cases / relative, Context());
    }

    JUnitImportRequest request;
};

TEST_F(JUnitImportTest, GoogleTestResultsAreRecordedAsTheDialogRecordsAnExecution) {
    request.resultsFile = kSamples / "gtest_results.xml";
    const auto report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    ASSERT_EQ(report->changes.size(), 3u);
    EXPECT_EQ(report->unmatched, (std::vector<std::string>{"Checkout.Unlisted (line 19)"}));

    auto failed = Case("Cart/TC002.vtl");
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->Control("<test_status>").text, "Fail");
    EXPECT_EQ(failed->Control("<test_attempts>").text, "1");
    EXPECT_EQ(failed->Control("<actual_duration>").text, "00:00");
    EXPECT_EQ(failed->Control("<version_tested>").text, "2.0");
    EXPECT_EQ(failed->Control("<build_tested>").text, "417");
    EXPECT_EQ(failed->Control("<last_attempt_date>").date, (CalendarDate{2026, 11, 24}));
    EXPECT_EQ(failed->Control("<last_attempt_time>").time, (ClockTime{23, 46, 9}));
    EXPECT_TRUE(
        failed->Control("<results_obtained>").text.ends_with("basket still holds the item"));
    ASSERT_EQ(failed->History().size(), 2u);
    const HistoryBlock& update = failed->History()[1];
    EXPECT_TRUE(update.update);
    EXPECT_EQ(update.oldStatus, "Not yet attempted");
    EXPECT_EQ(update.newStatus, "Fail");
    EXPECT_EQ(update.tries, 1);
    EXPECT_EQ(update.version, "2.0");
    EXPECT_EQ(update.build, "417");
    const auto passed = Case("Cart/TC001.vtl");
    EXPECT_EQ(passed->Control("<test_status>").text, "Pass");
    // A pass keeps what the tester wrote, the import's line under it.
    EXPECT_EQ(passed->Control("<results_obtained>").text,
              "Seen by Ana\n24-Nov-2026, 23:46:09 - Pass (gtest_results.xml)");
    EXPECT_EQ(Case("Checkout/TC003.vtl")->Control("<test_status>").text, "Postponed");
    EXPECT_EQ(Case("Checkout/TC004.vtl")->History().size(), 1u);  // no result, no change
}

TEST_F(JUnitImportTest, ParametrisedPytestResultsMakeOneExecutionAndCTestTimesAreKept) {
    request.resultsFile = kSamples / "pytest_results.xml";
    auto report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    ASSERT_EQ(report->changes.size(), 5u);
    EXPECT_EQ(report->changes[3].id, "TC004");
    EXPECT_EQ(report->changes[3].results, 2u);
    EXPECT_EQ(Case("Checkout/TC005.vtl")->Control("<test_status>").text, "Fail");
    EXPECT_TRUE(
        Has(Case("Cart/TC002.vtl")->Control("<results_obtained>").text, "Caf\xE9 cr\xE8me"));

    request.resultsFile = kSamples / "ctest_results.xml";
    port.ScriptAnswers({});
    report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    auto total = Case("Checkout/TC004.vtl");
    EXPECT_EQ(total->Control("<test_attempts>").text, "2");
    EXPECT_EQ(total->Control("<actual_duration>").text, DurationOfSeconds(1.06147));
    EXPECT_EQ(total->History().size(), 3u);  // creation, then one block per import
    EXPECT_EQ(DurationOfSeconds(90 * 60 + 29), "01:30");
    EXPECT_EQ(DurationOfSeconds(2e9), "999:59");
}

TEST_F(JUnitImportTest, TheSameFileAgainIsAskedAboutAndADryRunWritesNothing) {
    request.resultsFile = kSamples / "gtest_results.xml";
    request.dryRun = true;
    const std::string before = ReadFile(cases / "Cart" / "TC002.vtl");
    auto report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    EXPECT_EQ(report->changes.size(), 3u);
    EXPECT_EQ(report->changes[1].oldStatus, "Not yet attempted");
    EXPECT_EQ(report->changes[1].newStatus, "Fail");
    EXPECT_EQ(report->changes[1].attempts, 1);
    EXPECT_EQ(ReadFile(cases / "Cart" / "TC002.vtl"), before);
    EXPECT_FALSE(fs::exists(project / "junit_imports.dat"));
    EXPECT_FALSE(report->importedBefore);

    request.dryRun = false;
    ASSERT_TRUE(ImportJUnitResults(request, Context()));
    EXPECT_TRUE(port.questions.empty());
    // A dry run of the same file warns, and asks nothing.
    request.dryRun = true;
    report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report && report->importedBefore);
    EXPECT_TRUE(port.questions.empty());
    EXPECT_NE(JUnitReportText(*report, true)
                  .find("this file was imported into the project before, on " +
                        *report->importedBefore + ": importing it again counts every attempt"),
              std::string::npos);
    request.dryRun = false;
    port.ScriptAnswers({false, true});
    EXPECT_FALSE(ImportJUnitResults(request, Context()));
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_EQ(port.questions[0].caption, "Results already imported");
    EXPECT_EQ(Case("Cart/TC002.vtl")->Control("<test_attempts>").text, "1");
    ASSERT_TRUE(ImportJUnitResults(request, Context()));
    EXPECT_EQ(Case("Cart/TC002.vtl")->Control("<test_attempts>").text, "2");
    // A script says so beforehand, and is not asked.
    request.importAgain = true;
    ASSERT_TRUE(ImportJUnitResults(request, Context()));
    EXPECT_EQ(port.questions.size(), 2u);
    EXPECT_EQ(Case("Cart/TC002.vtl")->Control("<test_attempts>").text, "3");
}

TEST_F(JUnitImportTest, LockedTestCasesAreSkippedAndListed) {
    ASSERT_EQ(createLockFile(cases / "Cart" / "TC002.vtl", {"other-pc", "sam"}), 0);
    request.resultsFile = kSamples / "gtest_results.xml";
    const auto report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    EXPECT_EQ(report->locked, (std::vector<std::string>{"TC002"}));
    EXPECT_EQ(report->changes.size(), 2u);
    EXPECT_EQ(Case("Cart/TC001.vtl")->Control("<test_status>").text, "Pass");
}

TEST_F(JUnitImportTest, RequirementAndTitleRulesMatchTheirFields) {
    const fs::path file = dir / "results.xml";
    WriteFile(file,
              "<testsuite name=\"s\" timestamp=\"2026-11-20T08:00:00\">"
              "<testcase classname=\"shop\" name=\"REQ-TC004\" time=\"61\"/>"
              "<testcase classname=\"x\" name=\"test_coupon_code\"><error message=\"boom\"/>"
              "</testcase></testsuite>");
    request.resultsFile = file;
    request.match = JUnitMatch::Requirement;
    auto report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    ASSERT_EQ(report->changes.size(), 1u);
    EXPECT_EQ(report->changes[0].id, "TC004");
    EXPECT_EQ(report->changes[0].duration, "00:01");

    fs::remove(project / "junit_imports.dat");
    request.match = JUnitMatch::Title;
    report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    ASSERT_EQ(report->changes.size(), 1u);
    EXPECT_EQ(report->changes[0].id, "TC005");
    const std::string results = Case("Checkout/TC005.vtl")->Control("<results_obtained>").text;
    EXPECT_TRUE(results.starts_with("Seen by Ana\n20-Nov-2026")) << results;
    EXPECT_TRUE(results.ends_with(" - Fail (results.xml)\nboom")) << results;
}

TEST_F(JUnitImportTest, AnIdMatchesAsAWordWithHyphensWrittenAsUnderscores) {
    AddCase("Cart/CART-009.vtl", {{"<id>", "CART-009"}, {"<test_status>", "Not yet attempted"}});
    AddCase("Cart/CART-0091.vtl", {{"<id>", "CART-0091"}, {"<test_status>", "Not yet attempted"}});
    const fs::path file = dir / "results.xml";
    WriteFile(file,
              "<testsuite><testcase classname=\"tests.cart\" name=\"test_cart_009_add\"/>"
              "<testcase classname=\"t\" name=\"testTC0011\"/>\n"
              "<testcase classname=\"tests.CART-009\" time=\"3\"/></testsuite>");
    request.resultsFile = file;
    const auto report = ImportJUnitResults(request, Context());
    ASSERT_TRUE(report);
    ASSERT_EQ(report->changes.size(), 1u);
    EXPECT_EQ(report->changes[0].id, "CART-009");
    EXPECT_EQ(report->changes[0].results, 1u);  // not the nameless one beside its ID
    EXPECT_EQ(report->unmatched,
              (std::vector<std::string>{"t.testTC0011 (line 1)",
                                        "a <testcase> without a name (line 2)"}));

    // The same ID in another suite: the dry run names both and nothing would be recorded.
    AddCase("Checkout/CART-009.vtl",
            {{"<id>", "CART-009"}, {"<test_status>", "Not yet attempted"}});
    fs::remove(project / "junit_imports.dat");
    request.dryRun = true;
    const auto dry = ImportJUnitResults(request, Context());
    ASSERT_TRUE(dry);
    EXPECT_TRUE(dry->changes.empty());
    ASSERT_EQ(dry->ambiguous.size(), 1u);
    for (const char* named :
         {"tests.cart.test_cart_009_add (line 1): ", " Cart/CART-009", " Checkout/CART-009"})
        EXPECT_TRUE(Has(dry->ambiguous[0], named)) << named;
    EXPECT_TRUE(
        Has(JUnitReportText(*dry, true), "matches several test cases, skipped: tests.cart"));
}

TEST_F(JUnitImportTest, AFileThatIsNotJUnitIsRefusedWithTheParsersLineAndColumn) {
    const fs::path file = dir / "results.xml";
    WriteFile(file, "<testsuites>\n<testsuite><testcase name='a'></testsuite>");
    request.resultsFile = file;
    EXPECT_FALSE(ImportJUnitResults(request, Context()));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(port.notices[0].text.starts_with("The results file \"" + file.string() +
                                                 "\" can't be imported: line 2, column 33: "))
        << port.notices[0].text;
    EXPECT_TRUE(port.notices[0].text.ends_with(". Nothing has been recorded."));
}

// Run under ThreadSanitizer: the window hands each import a snapshot of the customisation
// and goes on replacing its own (the customisation sheet's OK, Set User writing custom.dat);
// nothing the imports read may be what the window changes.
TEST_F(JUnitImportTest, ImportsReadTheirSnapshotWhileTheWindowReplacesTheCustomisation) {
    auto current = std::make_shared<const CustomCfg>(custom);
    const CustomSnapshot forJUnit = current, forCsv = current;
    WriteFile(dir / "in.csv", "Test Title,Test Status\r\nImported,Fail\r\n");
    auto csv = CsvImport::Open(dir / "in.csv", CsvSource::ProjectTestCases, db, *forCsv, port);
    ASSERT_TRUE(csv);
    request.resultsFile = kSamples / "gtest_results.xml";
    std::optional<JUnitImportReport> junit;
    std::optional<CsvImportOutcome> imported;
    std::thread junitJob([&] {
        junit = ImportJUnitResults(request, {port, *forJUnit, {"bench-7", "dana"}});
    });
    std::thread csvJob([&] {
        imported = csv->Import({.folder = cases / "Cart"}, {port, *forCsv});
    });
    for (int change = 0; change < 20; ++change) {
        // Set User changes a copy and writes it; the sheet's OK reads the file it wrote.
        CustomCfg changed = *current;
        ASSERT_TRUE(changed.SetCurrentUser(db, "bench-7", "tester " + std::to_string(change)).ok());
        current = std::make_shared<const CustomCfg>(std::move(changed));
        CustomCfg reread;
        (void)reread.Read(db, port, "bench-7");
        current = std::make_shared<const CustomCfg>(std::move(reread));
    }
    junitJob.join();
    csvJob.join();
    ASSERT_TRUE(junit && imported);
    EXPECT_EQ(junit->changes.size(), 3u);
    EXPECT_EQ(imported->written, 1u);
    EXPECT_EQ(Case("Cart/TC002.vtl")->Control("<test_status>").text, "Fail");
}

TEST(JUnitImportDoneTest, TheSummaryListsAFewUnmatchedAndLockedAndWarnsOfLockedOnes) {
    JUnitImportReport report;
    report.changes.resize(2);
    EXPECT_TRUE(Has(JUnitImportDoneNotice(report).text, "2 test cases recorded, 0 results"));
    for (int i = 0; i < 12; ++i)
        report.unmatched.push_back("t" + std::to_string(i));
    report.locked = {"LOG-1"};
    const Notice notice = JUnitImportDoneNotice(report);
    EXPECT_EQ(notice.icon, Icon::Warning);
    EXPECT_TRUE(Has(notice.text, "\n\nUnmatched:\nt0\n"));
    EXPECT_TRUE(Has(notice.text, "\nt9\nand 2 more\n\nOpen for editing, not recorded:\nLOG-1"));
    EXPECT_FALSE(Has(notice.text, "t10"));
}
}  // namespace
}  // namespace vantorel::testing
