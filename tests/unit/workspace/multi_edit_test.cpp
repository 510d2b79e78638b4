#include "workspace/multi_edit.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "documents/test_case.h"
#include "storage/locks.h"
#include "support/project_fixture.h"
#include "workspace/commands.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

std::size_t Blocks(const fs::path& item) {
    const std::string text = ReadFile(item);
    std::size_t count = 0;
    for (std::size_t at = text.find("<history_entry>"); at != std::string::npos;
         at = text.find("<history_entry>", at + 1))
        ++count;
    return count;
}

FieldChange Set(std::string_view tag, std::string text) {
    FieldChange change{std::string(tag), {}};
    change.value.text = std::move(text);
    return change;
}

class MultiEditTest : public ProjectTest {};

TEST_F(MultiEditTest, ChangesEveryFreeItemOnceAndLeavesTheHeldOnesAsTheyWere) {
    std::vector<TreeNode> selected;
    for (int n = 0; n < 50; ++n) {
        const std::string id = "TC" + std::to_string(n);
        selected.push_back(
            {AddCase("Suite/" + id + ".vtl",
                     {{"<id>", id}, {"<test_status>", "Fail"}, {"<build_tested>", "1.0"}},
                     Block("01-10-2026", false, "Not yet attempted", "Fail")),
             TV_PRJ_TEST_DOC, id});
    }
    for (int n : {3, 4, 5})
        ASSERT_EQ(createLockFile(selected[static_cast<std::size_t>(n)].path, {"desk-2", "lee"}), 0);
    const std::optional<MultiEditSet> set = MultiEditSelection(selected, port);
    ASSERT_TRUE(set);
    EXPECT_EQ(set->items.size(), 47u);
    EXPECT_NE(port.notices.back().text.find("3 test cases were not added"), std::string::npos);
    // Taken by someone between the selection and OK: skipped and named.
    ASSERT_EQ(createLockFile(selected[10].path, {"desk-2", "lee"}), 0);
    const std::string held = ReadFile(selected[10].path);

    // The build is execution data: each changed item gets one block; the requirement is not.
    const std::vector<FieldChange> changes = {Set("<build_tested>", "2.0"),
                                              Set("<requirement>", "REQ-9")};
    int steps = 0;
    const MultiEditOutcome outcome = ApplyMultiEdit(*set, changes, Context(), {}, [&] { ++steps; });
    EXPECT_EQ(outcome.changed, 46u);
    EXPECT_EQ(steps, 47);
    ASSERT_EQ(outcome.skipped.size(), 1u);
    EXPECT_EQ(outcome.skipped[0], "TC10: open for editing by someone else");
    EXPECT_EQ(ReadFile(selected[10].path), held);
    for (int n : {0, 49}) {
        const fs::path& item = selected[static_cast<std::size_t>(n)].path;
        EXPECT_NE(ReadFile(item).find("<build_tested>2.0</build_tested>"), std::string::npos);
        EXPECT_NE(ReadFile(item).find("<requirement>REQ-9</requirement>"), std::string::npos);
        EXPECT_EQ(Blocks(item), 2u);
        EXPECT_FALSE(IsLocked(item));
    }
    EXPECT_EQ(Blocks(selected[3].path), 1u);
    const Notice summary = MultiEditSummary(outcome);
    EXPECT_TRUE(summary.text.starts_with("46 test cases changed."));
    EXPECT_NE(summary.text.find("\nTC10: "), std::string::npos);

    // Again: every item already holds the values, and nothing is written.
    const std::string before = ReadFile(selected[0].path);
    const MultiEditOutcome again = ApplyMultiEdit(*set, changes, Context(), {}, {});
    EXPECT_EQ(again.changed, 0u);
    EXPECT_EQ(again.unchanged, 46u);
    EXPECT_EQ(ReadFile(selected[0].path), before);
}

TEST_F(MultiEditTest, ABulkUpdateReachesEveryTestCaseOfTheSuiteAndAStopEndsBetweenItems) {
    const fs::path suite = db / "Test Cases" / "Login";
    fs::create_directories(suite / "Deep");
    for (const fs::path& folder : {suite, suite / "Deep"})
        for (const char* id : {"A", "B"}) {
            std::unique_ptr<vantorel::TestCase> editor =
                vantorel::TestCase::New(folder, Context(), false);
            ASSERT_TRUE(editor);
            editor->Control("<id>").text = folder.filename().string() + id;
            ASSERT_FALSE(editor->Save());
        }
    const std::optional<FieldDescriptor> priority = BulkUpdateField(ID_BULK_UPDATE_FIRST + 2);
    ASSERT_TRUE(priority && !BulkUpdateField(ID_BULK_UPDATE_LAST + 1));
    const MultiEditSet set = SuiteTestCases({suite, TV_TEST_SUITE_FLD, "Login"});
    ASSERT_EQ(set.items.size(), 4u);
    const MultiEditOutcome outcome =
        ApplyMultiEdit(set, {Set(priority->tag, "Highest")}, Context(), {}, {});
    EXPECT_EQ(outcome.changed, 4u);
    EXPECT_NE(ReadFile(suite / "Deep" / "DeepB.vtl").find("<priority>Highest</priority>"),
              std::string::npos);

    std::stop_source stop;
    const MultiEditOutcome stopped = ApplyMultiEdit(set, {Set(priority->tag, "Low")}, Context(),
                                                    stop.get_token(), [&] { stop.request_stop(); });
    EXPECT_TRUE(stopped.stopped);
    EXPECT_EQ(stopped.changed, 1u);

    // A total of 2:05 over the four: 32 minutes for the first, 31 for the others.
    const std::vector<std::string> durations = ExpectedDurations(125, set.items.size(), true);
    EXPECT_EQ(durations, (std::vector<std::string>{"00:32", "00:31", "00:31", "00:31"}));
    EXPECT_EQ(ExpectedDurations(125, 2, false), (std::vector<std::string>{"02:05", "02:05"}));
    const MultiEditOutcome spread = ApplyMultiEdit(
        set, [&](std::size_t item) { return std::vector{Set("<test_duration>", durations[item])}; },
        Context(), {}, {});
    EXPECT_EQ(spread.changed, 4u);
    EXPECT_NE(ReadFile(set.items[0]).find("<test_duration>00:32</test_duration>"),
              std::string::npos);
}

TEST_F(MultiEditTest, AKillInTheMiddleLeavesEachTestCaseOldOrNewNeverTorn) {
    MultiEditSet set{TV_PRJ_TEST_DOC, {}};
    std::vector<std::string> before;
    for (int n = 0; n < 300; ++n) {
        const std::string id = "TC" + std::to_string(n);
        set.items.push_back(
            AddCase("Suite/" + id + ".vtl", {{"<id>", id},
                                             {"<test_status>", "Fail"},
                                             {"<build_tested>", "1.0"},
                                             {"<result_notes>", std::string(4000, 'x')}}));
        before.push_back(ReadFile(set.items.back()));
    }
    int steps[2];
    ASSERT_EQ(::pipe(steps), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(steps[0]);
        (void)ApplyMultiEdit(set, {Set("<build_tested>", "2.0")}, Context(), {},
                             [&] { (void)!::write(steps[1], "s", 1); });
        ::_exit(0);
    }
    ::close(steps[1]);
    char step = 0;
    for (int done = 0; done < 20; ++done)  // well inside the run
        ASSERT_EQ(::read(steps[0], &step, 1), 1);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(steps[0]);
    std::size_t changed = 0;
    for (std::size_t item = 0; item < set.items.size(); ++item) {
        const std::string now = ReadFile(set.items[item]);
        if (now == before[item])
            continue;
        ++changed;
        EXPECT_NE(now.find("<build_tested>2.0</build_tested>"), std::string::npos) << item;
        EXPECT_NE(now.find(std::string(4000, 'x')), std::string::npos) << item;
        EXPECT_TRUE(now.ends_with("</project_test_case>\r\n")) << item;
    }
    EXPECT_GE(changed, 20u);
    EXPECT_LT(changed, set.items.size());
}

}  // namespace
}  // namespace vantorel::testing
