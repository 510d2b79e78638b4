#include "reports/report_wizard.h"

#include "support/project_fixture.h"
#include "support/recording_port.h"

namespace vantorel::testing {
namespace {

class ReportWizardTest : public ProjectTest {
protected:
    ReportWizard wizard{db, Reporting()};

    std::string LastCaption() const {
        return port.notices.empty() ? std::string() : port.notices.back().caption;
    }
};

TEST_F(ReportWizardTest, ChecksEachPageBeforeMovingOn) {
    ASSERT_TRUE(wizard.Next());  // the introduction
    EXPECT_EQ(ReportWizard::Title(wizard.Page()), "Select a Project");
    EXPECT_EQ(wizard.Projects(), std::vector<std::string>{"Alpha"});
    wizard.project = "Alpha";
    EXPECT_FALSE(wizard.Next());
    EXPECT_EQ(LastCaption(), "Empty Project");

    AddCase("Login/Deep/A.vtl", {{"<test_status>", "Pass"}});
    ASSERT_TRUE(wizard.Next());
    EXPECT_FALSE(wizard.Next());
    EXPECT_EQ(LastCaption(), "No report selection");
    wizard.kind = ReportKind::List;
    ASSERT_TRUE(wizard.Next());

    ASSERT_TRUE(wizard.Next());

    EXPECT_EQ(wizard.Suites(), (std::vector<std::string>{"Login", "Login/Deep"}));
    EXPECT_FALSE(wizard.Next());
    EXPECT_EQ(LastCaption(), "No Suites Selected");
    wizard.suites = {{"Login", true}};
    ASSERT_TRUE(wizard.Next());
    EXPECT_EQ(wizard.Page(), WizardPage::Columns);  // the list report chooses its columns
    ASSERT_TRUE(wizard.Next());
    EXPECT_EQ(wizard.PageText(), "Click the \"Next\" button to generate report");

    wizard.name = std::string(65, 'n');
    EXPECT_FALSE(wizard.Next());
    EXPECT_TRUE(Has(port.notices.back().text, "64 characters"));
    wizard.name = "a<b";
    EXPECT_FALSE(wizard.Next());

    wizard.name = std::string(64, 'n');
    ASSERT_TRUE(wizard.Next());
    EXPECT_EQ(wizard.Report()->filename(), std::string(64, 'n') + ".vtl");
}

TEST(ReportWizardSuitesTest, WholeSuitesAreOneChoiceAndPartlyTickedOnesGoAlone) {
    using Choices = std::vector<std::pair<std::string, bool>>;
    // Sorted as the page lists them: "A B" falls between "A" and its sub-suites.
    const std::vector<std::string> suites{"A", "A B", "A/B", "A/B/C", "A/D", "E", "E/F"};
    EXPECT_EQ(ReportWizard::SuiteChoices(suites, suites),
              (Choices{{"A", true}, {"A B", true}, {"E", true}}));
    EXPECT_EQ(ReportWizard::SuiteChoices(suites, {"A", "A B", "A/B", "A/D", "E/F"}),
              (Choices{{"A", false}, {"A B", true}, {"A/B", false}, {"A/D", true}, {"E/F", true}}));
    EXPECT_EQ(ReportWizard::SuiteChoices(suites, {"A/B", "A/B/C"}), (Choices{{"A/B", true}}));
    EXPECT_TRUE(ReportWizard::SuiteChoices(suites, {}).empty());
}

TEST_F(ReportWizardTest, TellsWhenGenerationFails) {
    AddCase("Login/A.vtl", {{"<test_status>", "Pass"}});
    // A missing report folder is made again; a file in its place can't be.
    std::filesystem::remove_all(project / "Project Reports" / "Status Reports");
    std::ofstream(project / "Project Reports" / "Status Reports") << "not a folder";
    wizard.project = "Alpha";
    wizard.kind = ReportKind::Status;
    wizard.suites = {{"Login", false}};
    for (int page = 0; page < 5; ++page)
        ASSERT_TRUE(wizard.Next());
    EXPECT_EQ(wizard.Page(), WizardPage::Generate);
    EXPECT_FALSE(wizard.Next());
    EXPECT_EQ(wizard.PageText(), "Error! Report has not been created.");
    EXPECT_EQ(LastCaption(), "Invalid Directory Name");
    wizard.Back();  // the status report has no columns page
    EXPECT_EQ(wizard.Page(), WizardPage::Suites);

    // A project renamed while the wizard was open is not looked for any more.
    std::filesystem::rename(project, project.parent_path() / "Beta");
    ASSERT_TRUE(wizard.Next());
    EXPECT_FALSE(wizard.Next());
    EXPECT_TRUE(Has(port.notices.back().text, "\"Alpha\" is no longer in the database"));
    EXPECT_EQ(wizard.PageText(), "Error! Report has not been created.");
    EXPECT_FALSE(std::filesystem::exists(project));
}

// The user who clicks Cancel while the wizard generates.
class CancellingPort : public RecordingPort {
public:
    void progress(int processed, int total) override {
        RecordingPort::progress(processed, total);
        if (processed >= 64 && wizard)
            wizard->Cancel();
    }
    ReportWizard* wizard = nullptr;
};

TEST_F(ReportWizardTest, AGenerationCancelledHalfWayWritesNoReport) {
    for (int n = 0; n < 500; ++n)
        AddCase("Login/T" + std::to_string(n) + ".vtl", {{"<test_status>", "Pass"}});
    CancellingPort cancelling;
    ReportWizard generating(db, {cancelling, custom, [this] { return clock; }});
    cancelling.wizard = &generating;
    generating.project = "Alpha";
    generating.kind = ReportKind::Details;
    generating.suites = {{"Login", true}};
    for (int page = 0; page < 5; ++page)
        ASSERT_TRUE(generating.Next());
    EXPECT_FALSE(generating.Next());
    EXPECT_EQ(generating.PageText(), "Cancelled! Report has not been created.");
    EXPECT_TRUE(std::filesystem::is_empty(project / "Project Reports" / "Test Case Reports"));

    // The stop stays asked for until the wizard is made ready again; then it generates.
    cancelling.wizard = nullptr;
    EXPECT_FALSE(generating.Next());
    generating.ReadyToGenerate();
    EXPECT_TRUE(generating.GeneratingText().ends_with("\nTest Case Details Report"));
    ASSERT_TRUE(generating.Next());
    EXPECT_EQ(generating.Report()->parent_path(),
              project / "Project Reports" / "Test Case Reports");
}

TEST_F(ReportWizardTest, AReportMadeAtOnceNeverReplacesAnEarlierOneAndNeedsItsFilter) {
    AddCase("Login/TC1.vtl", {{"<test_status>", "Pass"}});
    const auto first = MakeReportNow(db, project, ReportKind::Status, false, "", Reporting(), {});
    const auto second = MakeReportNow(db, project, ReportKind::Status, false, "", Reporting(), {});
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->filename(), "Status Report 2026-11-21 10.30.00.vtl");
    EXPECT_EQ(second->filename(), "Status Report 2026-11-21 10.30.00 2.vtl");
    EXPECT_TRUE(port.questions.empty());

    EXPECT_EQ(MakeReportNow(db, project, ReportKind::Progress, true, "", Reporting(), {}),
              std::nullopt);
    EXPECT_EQ(LastCaption(), "No Filter");
}

}  // namespace
}  // namespace vantorel::testing
