// One folder full of what is not an item, seen by every walk and listing: the tree, the
// wizard, a report, a copy and the automatic identifiers must all agree on what the items are.

#include <algorithm>

#include "reports/report_wizard.h"
#include "reports/status_report.h"
#include "storage/identifiers.h"
#include "support/project_fixture.h"
#include "workspace/item_transfer.h"
#include "workspace/navigation.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

class ItemRuleTest : public ProjectTest {
protected:
    ItemRuleTest() {
        AddCase("Login/TC007.vtl", {{"<test_status>", "Pass"}});
        AddCase("Login/Deep/TC002.vtl", {{"<test_status>", "Fail"}});
        std::ofstream(cases / "Login" / "Deep.tgp") << "<test_suite><id>Deep</id></test_suite>";
        // The bookkeeping of editors, reservations, unfinished saves and copies, and names
        // that only look like documents.
        std::ofstream(cases / "Login" / "TC007.vtl.lck") << "bench-7\ndana";
        std::ofstream(cases / "Login" / "TC009.tmp");
        AddCase("Login/.vtsave-copy-1-0/TC050.vtl", {{"<test_status>", "Pass"}});
        AddCase("Login/.vtsave-TC051.vtl", {{"<test_status>", "Pass"}});
        AddCase("Login/TC060.VTL", {{"<test_status>", "Pass"}});
        AddCase("Login/TC061.vtl~", {{"<test_status>", "Pass"}});
        AddCase("Login/.vtl", {{"<test_status>", "Pass"}});
    }

    static std::vector<std::string> Labels(const std::vector<TreeNode>& nodes) {
        std::vector<std::string> labels;
        for (const TreeNode& node : nodes)
            labels.push_back(node.label);
        return labels;
    }
};

TEST_F(ItemRuleTest, EveryWalkSeesTheSameItems) {
    const TreeNode login{cases / "Login", TV_PRJ_SUITE_FLD, "Login"};
    EXPECT_EQ(Labels(ChildNodes(db, login)), (std::vector<std::string>{"Deep", "TC007"}));

    ReportWizard wizard(db, Reporting());
    wizard.project = "Alpha";
    EXPECT_EQ(wizard.Suites(), (std::vector<std::string>{"Login", "Login/Deep"}));

    const auto report = Make(ReportKind::Status, WholeProject());
    ASSERT_TRUE(report);
    EXPECT_EQ(ReadStatusReport(*report)->totalTests, 2);

    EXPECT_EQ(countAllFilesDisk(cases / "Login"), 3);  // two documents and Deep's description
    const fs::path copy = cases / "Copy";
    fs::create_directory(copy);
    TransferPlan plan;
    plan.steps.push_back({TransferStep::Action::Copy, cases / "Login", copy / "Login", true});
    EXPECT_TRUE(RunTransfer(plan, {}).failures.empty());
    std::vector<std::string> copied;
    for (const auto& entry : fs::recursive_directory_iterator(copy))
        copied.push_back(entry.path().lexically_relative(copy).generic_string());
    std::ranges::sort(copied);
    EXPECT_EQ(copied, (std::vector<std::string>{"Login", "Login/Deep", "Login/Deep.tgp",
                                                "Login/Deep/TC002.vtl", "Login/TC007.vtl"}));
}

TEST_F(ItemRuleTest, AutomaticIdentifiersContinueAfterDocumentsAndReservations) {
    const auto reservation = GetIncrementalID(cases / "Login", "TC", port);
    ASSERT_TRUE(reservation);
    EXPECT_EQ(reservation->Id(), "TC010");  // after TC009's reservation; look-alikes ignored
}

}  // namespace
}  // namespace vantorel::testing
