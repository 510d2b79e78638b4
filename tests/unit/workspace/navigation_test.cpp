#include "workspace/navigation.h"

#include <gtest/gtest.h>

#include "storage/locks.h"
#include "support/tree_fixture.h"
#include "workspace/commands.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

class NavigationTest : public TreeTest {
protected:
    const fs::path project = db / "Projects" / "Alpha";
};

TEST_F(NavigationTest, KindsFollowThePlaceInTheTree) {
    const fs::path ptc = project / "Project Test Cases";
    const fs::path reports = project / "Project Reports";
    EXPECT_EQ(NodeKindOf(db, db), TV_NONE);
    EXPECT_EQ(NodeKindOf(db, db / "Test Cases"), TV_TEST_ROOT);
    EXPECT_EQ(NodeKindOf(db, db / "Test Cases" / "Login" / "Deep"), TV_TEST_SUITE_FLD);
    EXPECT_EQ(NodeKindOf(db, db / "Test Cases" / "Login" / "TC1.vtl"), TV_TEST_TEST_DOC);
    EXPECT_EQ(NodeKindOf(db, db / "Projects"), TV_PRJ_ROOT);
    EXPECT_EQ(NodeKindOf(db, project), TV_PRJ_PRJ_FLD);
    EXPECT_EQ(NodeKindOf(db, ptc), TV_PRJ_TEST_FLD);
    EXPECT_EQ(NodeKindOf(db, ptc / "Smoke"), TV_PRJ_SUITE_FLD);
    EXPECT_EQ(NodeKindOf(db, ptc / "Smoke" / "P1.vtl"), TV_PRJ_TEST_DOC);
    EXPECT_EQ(NodeKindOf(db, reports), TV_PRJ_RPTS_FLD);
    EXPECT_EQ(NodeKindOf(db, reports / "Status Reports"), TV_RPT_FLD);
    EXPECT_EQ(NodeKindOf(db, reports / "Status Reports" / "r.vtl"), TV_RPT_DOC);
    EXPECT_EQ(NodeKindOf(db, db / "Testers" / "dana.vtl"), TV_TESTER_DOC);
    EXPECT_EQ(NodeKindOf(db, db / "Filters"), TV_FILTER_ROOT);
    EXPECT_EQ(NodeKindOf(db, db / "Testers" / "nested" / "x.vtl"), TV_NONE);
    EXPECT_EQ(NodeKindOf(db, db / ".." / "elsewhere"), TV_NONE);

    // Every command of every menu runs an operation.
    for (NodeKind kind = TV_TEST_ROOT; kind <= TV_FILTER_DOC; kind = NodeKind(kind + 1))
        for (const ContextMenuItem& item : ContextMenu(kind))
            EXPECT_TRUE(item.command == 0 || OperationOf(item.command) != Operation::None)
                << item.label;
}

TEST_F(NavigationTest, ChildrenAreReadOnExpansionWithoutBookkeepingFiles) {
    fs::create_directories(project / "Project Reports");
    fs::create_directories(project / "Project Test Cases");
    fs::create_directories(project / "zeta");
    const fs::path suite = Suite(db / "Test Cases" / "login");
    Doc(suite, "b-case");
    Doc(suite, "A-case");
    Suite(suite / "Sub");
    WriteFile(suite / "A-case.vtl.lck", "");
    WriteFile(suite / "TC009.tmp", "");
    WriteFile(suite / ".vtsave-123", "");
    fs::create_directories(suite / ".vtsave-copy-1-0");

    const auto top = TopLevelNodes(db);
    ASSERT_EQ(top.size(), 6u);
    EXPECT_EQ(top[1].label, "Projects");
    EXPECT_EQ(top[5].kind, TV_FILTER_ROOT);

    std::vector<std::string> labels;
    for (const TreeNode& child : ChildNodes(db, Node(suite)))
        labels.push_back(child.label);
    EXPECT_EQ(labels, (std::vector<std::string>{"Sub", "A-case", "b-case"}));
    // A project shows its fixed folders in their own order; a stray folder is no item.
    const auto inProject = ChildNodes(db, Node(project));
    ASSERT_EQ(inProject.size(), 2u);
    EXPECT_EQ(inProject[0].kind, TV_PRJ_TEST_FLD);
    EXPECT_EQ(inProject[1].kind, TV_PRJ_RPTS_FLD);
    EXPECT_TRUE(ChildNodes(db, Node(db / "Test Cases" / "missing")).empty());

    // Of what the watcher tells, locks and reservations change nothing any view shows; a
    // folder of any name does.
    EXPECT_FALSE(ChangeShows(suite / "A-case.vtl.lck"));
    EXPECT_FALSE(ChangeShows(suite / "TC009.tmp"));
    EXPECT_FALSE(ChangeShows(suite / "gone.vtl.lck"));
    EXPECT_TRUE(ChangeShows(suite / "A-case.vtl"));
    EXPECT_TRUE(ChangeShows(suite / "gone.vtl"));
    EXPECT_TRUE(ChangeShows(db / "Test Cases" / "login.tgp"));
    fs::create_directories(suite / "Data.tmp");
    EXPECT_TRUE(ChangeShows(suite / "Data.tmp"));

    EXPECT_EQ(ReselectPath(db, suite / "gone.vtl"), suite);
    EXPECT_EQ(ReselectPath(db, suite / "A-case.vtl"), suite / "A-case.vtl");
}

TEST_F(NavigationTest, RenameRefusesBadNamesAndOpenFilesBeforeTouchingTheDisk) {
    const fs::path suite = Suite(db / "Test Cases" / "login");
    const fs::path doc = Doc(suite, "TC1");
    Doc(suite, "Taken");

    EXPECT_FALSE(RenameItem(Node(doc), "  ", "", port));
    EXPECT_FALSE(RenameItem(Node(doc), std::string(65, 'n'), "", port));
    EXPECT_FALSE(RenameItem(Node(doc), "a:b", "", port));
    EXPECT_FALSE(RenameItem(Node(doc), "taken", "", port));
    // Latin-1 letters are names like any other; the euro sign and Greek are beyond documents.
    EXPECT_FALSE(RenameItem(Node(doc), "Prix \xe2\x82\xac", "", port));
    EXPECT_FALSE(RenameItem(Node(doc), "\xce\xa9mega", "", port));
    ASSERT_EQ(port.notices.size(), 6u);
    EXPECT_TRUE(Has(port.notices[4].text, "\"\xe2\x82\xac\""));
    EXPECT_TRUE(Has(port.notices[5].text, "\"\xce\xa9\""));
    EXPECT_TRUE(RenameItem(Node(doc), "Caf\xc3\xa9", "", port));
    EXPECT_TRUE(fs::exists(suite / "Caf\xc3\xa9.vtl"));
    // The file's name is UTF-8, its document's identifier ISO-8859-1.
    EXPECT_TRUE(Has(ReadFile(suite / "Caf\xc3\xa9.vtl"), "<id>Caf\xe9</id>"));
    ASSERT_TRUE(RenameItem(Node(suite / "Caf\xc3\xa9.vtl"), "TC1", "", port));

    ASSERT_EQ(createLockFile(doc), 0);
    EXPECT_FALSE(RenameItem(Node(doc), "TC2", "", port));
    EXPECT_EQ(port.notices.back().caption, "Unable to rename");
    EXPECT_FALSE(RenameItem(Node(suite), "logout", "", port));
    EXPECT_TRUE(fs::exists(doc));
    EXPECT_TRUE(fs::exists(suite));

    // A suite whose test cases would pass the path limit keeps its name.
    deleteLockFile(doc, true);
    const fs::path deep = Doc(suite / std::string(60, 'a') / std::string(60, 'b'),
                              std::string(255 - (suite / "a/b/.vtl").string().size() - 120, 'c'));
    ASSERT_LE(deep.string().size(), kPathMax);
    EXPECT_FALSE(RenameItem(Node(suite), "login-with-a-longer-name", "", port));
    EXPECT_EQ(port.notices.back().caption, "Path too long");
    EXPECT_TRUE(fs::exists(deep));
}

TEST_F(NavigationTest, RenameTrimsMovesTheDescriptionAndTheIdFollows) {
    const fs::path suite = Suite(db / "Test Cases" / "login");
    const fs::path doc = Doc(suite, "TC1");

    auto renamed = RenameItem(Node(doc), " .TC-64" + std::string(58, 'x') + ".", "", port);
    ASSERT_TRUE(renamed);
    const std::string id = "TC-64" + std::string(58, 'x');
    EXPECT_EQ(renamed->newPath, suite / (id + ".vtl"));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Characters removed");
    EXPECT_TRUE(port.notices[0].text.ends_with("New ID is " + id));
    EXPECT_EQ(IdOf(renamed->newPath), id);
    EXPECT_FALSE(fs::exists(doc));
    // 64 characters are accepted.
    EXPECT_TRUE(RenameItem(Node(renamed->newPath), std::string(64, 'k'), "", port));

    auto folder = RenameItem(Node(suite), "signin", "", port);
    ASSERT_TRUE(folder);
    EXPECT_TRUE(fs::is_directory(db / "Test Cases" / "signin"));
    EXPECT_TRUE(fs::exists(db / "Test Cases" / "signin.tgp"));
    EXPECT_FALSE(fs::exists(db / "Test Cases" / "login.tgp"));
    EXPECT_EQ(IdOf(db / "Test Cases" / "signin.tgp"), "signin");
    // Letter case alone may change.
    EXPECT_TRUE(RenameItem(Node(db / "Test Cases" / "signin"), "SignIn", "", port));

    const fs::path tester = Doc(db / "Testers", "dana");
    port.ScriptAnswers({true});
    auto testerRenamed = RenameItem(Node(tester), "dana-k", "dana", port);
    ASSERT_TRUE(testerRenamed);
    EXPECT_TRUE(testerRenamed->chooseNewUser);
    EXPECT_EQ(port.questions.back().caption, "Vantorel - Tester Missing");

    // An ID another suite of the library uses is taken only when the user keeps it.
    const fs::path twin = Doc(Suite(db / "Test Cases" / "cart"), "CART-1");
    const fs::path mine = Doc(db / "Test Cases" / "SignIn", "S-1");
    port.ScriptAnswers({false, true});
    EXPECT_FALSE(RenameItem(Node(mine), "CART-1", "", port));
    EXPECT_TRUE(fs::exists(mine));
    EXPECT_TRUE(Has(port.questions.back().text, "Test Cases/cart/CART-1"));
    EXPECT_TRUE(RenameItem(Node(mine), "CART-1", "", port));
    EXPECT_TRUE(fs::exists(twin));
}

TEST_F(NavigationTest, DeleteAsksAndRefusesOpenFiles) {
    const fs::path suite = Suite(db / "Test Cases" / "login");
    const fs::path doc = Doc(suite, "TC1");

    port.ScriptAnswers({false});
    EXPECT_FALSE(DeleteItem(db, Node(doc), "", port).deleted);
    EXPECT_TRUE(Has(port.questions.back().text, "[TC1]"));
    ASSERT_EQ(createLockFile(doc), 0);
    port.ScriptAnswers({true, true});
    EXPECT_FALSE(DeleteItem(db, Node(doc), "", port).deleted);
    EXPECT_EQ(port.notices.back().caption, "Unable to delete");
    EXPECT_FALSE(DeleteItem(db, Node(suite), "", port).deleted);
    EXPECT_EQ(port.notices.back().caption, "Unable to delete folder");
    EXPECT_TRUE(fs::exists(doc));

    port.ScriptAnswers({false});
    EXPECT_EQ(UnlockAllFiles(db / "Test Cases", port), 0);
    EXPECT_EQ(port.questions.back().caption, "Delete confirmation");
    port.ScriptAnswers({true});
    EXPECT_EQ(UnlockAllFiles(db / "Test Cases", port), 1);
    port.ScriptAnswers({true});
    EXPECT_TRUE(DeleteItem(db, Node(suite), "", port).deleted);
    EXPECT_TRUE(port.questions.back().text.ends_with("[login: 1 test case]"));
    EXPECT_FALSE(fs::exists(suite));
    EXPECT_FALSE(fs::exists(db / "Test Cases" / "login.tgp"));

    fs::create_directories(project);
    port.ScriptAnswers({false});
    DeleteItem(db, Node(project), "", port);
    EXPECT_TRUE(port.questions.back().text.ends_with("[Alpha: 0 test cases, 0 suites, 0 reports]"));
    EXPECT_TRUE(fs::exists(project));
}

TEST_F(NavigationTest, NewItemsAndStatusIcons) {
    EXPECT_FALSE(NewTestCaseFolder(Node(db / "Test Cases"), port));
    EXPECT_EQ(port.notices.back().caption, "Select a test suite first");
    const fs::path suite = Suite(db / "Test Cases" / "login");
    EXPECT_EQ(NewTestCaseFolder(Node(Doc(suite, "TC1")), port), suite);
    // A suite goes into the library, a project's test cases or a suite; a project takes it into
    // its test cases and a document into its own suite; elsewhere it is refused.
    EXPECT_EQ(NewSuiteFolder(Node(db / "Test Cases"), port), db / "Test Cases");
    EXPECT_EQ(NewSuiteFolder(Node(Doc(suite, "TC1")), port), suite);
    fs::create_directories(project / "Project Test Cases");
    EXPECT_EQ(NewSuiteFolder(Node(project), port), project / "Project Test Cases");
    const std::size_t told = port.notices.size();
    EXPECT_FALSE(NewSuiteFolder(Node(db / "Testers"), port));
    ASSERT_EQ(port.notices.size(), told + 1);
    EXPECT_EQ(port.notices.back().caption, "Select a test suite first");

    fs::remove_all(db / "Filters");
    EXPECT_FALSE(NewFilterFolder(db, false, port));
    EXPECT_EQ(NewFilterFolder(db, true, port), db / "Filters");
    EXPECT_TRUE(fs::is_directory(db / "Filters"));

    const fs::path cases = project / "Project Test Cases";
    const std::pair<std::string, int> expected[] = {
        {"pass", 1},  {"Fail", 2},      {"Not yet attempted", 3},
        {"Other", 0}, {"Postponed", 4}, {"Bogus", 0}};
    for (const auto& [text, icon] : expected) {
        EXPECT_EQ(StatusIconOf(Doc(cases, "P-" + text, text), custom), icon) << text;
    }
    EXPECT_EQ(StatusIconOf(cases / "missing.vtl", custom), 0);
}

}  // namespace
}  // namespace vantorel::testing
