#include "workspace/insert_test_case.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "storage/locks.h"
#include "support/document_fixture.h"
#include "support/faulty_file_layer.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

TEST(PlanInsertTest, RenumbersOnlyTheRunThatFollowsLastFirst) {
    const std::vector<std::string> ids = {"TC001", "tc002", "TC003", "TC005", "Other7", "TC099"};
    const auto plan = PlanInsert(ids, "TC001");
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->newId, "TC002");
    const std::vector<std::pair<std::string, std::string>> renames = {{"TC003", "TC004"},
                                                                      {"tc002", "TC003"}};
    EXPECT_EQ(plan->renames, renames);
    EXPECT_TRUE(PlanInsert(ids, "TC003")->renames.empty());  // TC004 is free
    EXPECT_EQ(PlanInsert({"A9", "A10"}, "A9")->renames.size(), 1u);
    EXPECT_FALSE(PlanInsert(ids, "Login"));
}

class InsertTestCaseTest : public DocumentTest {
protected:
    void SetUp() override {
        fs::create_directories(suite);
        for (const char* id : {"TC001", "TC002", "TC003", "TC004", "TC006"})
            std::ofstream(suite / (std::string(id) + ".vtl"), std::ios::binary)
                << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<test_case>\r\n<id>" << id
                << "</id>\r\n<test_title>Step " << id << "</test_title>\r\n</test_case>\r\n";
    }
    // Every document of the suite by name; hidden files and locks apart.
    std::map<std::string, std::string> Documents() const {
        std::map<std::string, std::string> documents;
        for (const auto& entry : fs::directory_iterator(suite))
            if (entry.path().extension() == ".vtl")
                documents[entry.path().filename()] = ReadFile(entry.path());
        return documents;
    }
    TreeNode Selected(const std::string& id) const {
        return {suite / (id + ".vtl"), TV_TEST_TEST_DOC, id};
    }
    const fs::path suite = db / "Test Cases" / "Login";
};

TEST_F(InsertTestCaseTest, RenumbersTheFollowersAndRefusesWhenOneIsHeld) {
    ASSERT_EQ(createLockFile(suite / "TC003.vtl", {"desk-2", "lee"}), 0);
    const auto before = Documents();
    EXPECT_FALSE(InsertTestCase(Selected("TC001"), Context()));
    EXPECT_EQ(port.notices.back().text,
              "Unable to insert test case as some files that need to be renamed are locked.");
    EXPECT_EQ(Documents(), before);

    ASSERT_EQ(deleteLockFile(suite / "TC003.vtl", true), 0);
    const auto made = InsertTestCase(Selected("TC001"), Context());
    ASSERT_EQ(made, suite / "TC002.vtl");
    const auto after = Documents();
    EXPECT_EQ(after.size(), 6u);
    EXPECT_NE(after.at("TC003.vtl").find("<id>TC003</id>\r\n<test_title>Step TC002"),
              std::string::npos);
    EXPECT_NE(after.at("TC005.vtl").find("<id>TC005</id>\r\n<test_title>Step TC004"),
              std::string::npos);
    EXPECT_NE(after.at("TC006.vtl").find("Step TC006"), std::string::npos);  // after the gap
    EXPECT_NE(after.at("TC002.vtl").find("<id>TC002</id>"), std::string::npos);
    for (const char* id : {"TC002", "TC003", "TC004", "TC005"})
        EXPECT_FALSE(IsLocked(suite / (std::string(id) + ".vtl"))) << id;
}

TEST_F(InsertTestCaseTest, AFailureAtAnyCallLeavesTheSuiteAsBeforeOrAsAfter) {
    const auto before = Documents();
    const fs::path copy = dir.path() / "pristine";
    fs::copy(suite, copy);
    ASSERT_TRUE(InsertTestCase(Selected("TC002"), Context()));
    const auto after = Documents();
    for (int step = 0; step < FaultyFileLayer::kStepCount; ++step)
        for (int nth = 1;; ++nth) {
            fs::remove_all(suite);
            fs::copy(copy, suite);
            FaultyFileLayer files;
            files.FailAt(static_cast<FaultyFileLayer::Step>(step), nth);
            (void)InsertTestCase(Selected("TC002"), Context(), files);
            if (files.Calls(static_cast<FaultyFileLayer::Step>(step)) < nth)
                break;
            SCOPED_TRACE("failing call " + std::to_string(nth) + " of kind " +
                         std::to_string(step));
            const auto now = Documents();
            EXPECT_TRUE(now == before || now == after);
            // A journal left by a failed removal changes nothing when the next insert finishes it.
            if (now == after && fs::exists(suite / ".vtinsert.journal")) {
                ASSERT_TRUE(InsertTestCase(Selected("TC006"), Context()));
                EXPECT_EQ(Documents().size(), after.size() + 1);
            }
        }
}

TEST_F(InsertTestCaseTest, AnInsertCutShortIsFinishedByTheNextOne) {
    // Killed after its first rename: TC004 went to TC005, TC003 still waits.
    std::ofstream(suite / ".vtinsert.journal") << "TC003\nTC004\tTC005\nTC003\tTC004\n";
    fs::rename(suite / "TC004.vtl", suite / "TC005.vtl");
    ASSERT_EQ(createLockFile(suite / "TC003.vtl", Context().identity), 0);
    ASSERT_TRUE(InsertTestCase(Selected("TC006"), Context()));
    const auto now = Documents();
    EXPECT_NE(now.at("TC004.vtl").find("<id>TC004</id>\r\n<test_title>Step TC003"),
              std::string::npos);
    EXPECT_NE(now.at("TC005.vtl").find("<id>TC005</id>"), std::string::npos);
    EXPECT_TRUE(now.contains("TC007.vtl"));
    EXPECT_FALSE(fs::exists(suite / ".vtinsert.journal"));
    EXPECT_FALSE(IsLocked(suite / "TC003.vtl"));
}

}  // namespace
}  // namespace vantorel::testing
