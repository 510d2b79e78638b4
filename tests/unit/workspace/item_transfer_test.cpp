#include "workspace/item_transfer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <future>

#include "storage/locks.h"
#include "support/tree_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

class TransferTest : public TreeTest {
protected:
    // Every name below folder, so a test can tell that nothing was touched.
    std::vector<std::string> Tree(const fs::path& folder) {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(folder))
            names.push_back(entry.path().lexically_relative(folder).string());
        std::ranges::sort(names);
        return names;
    }

    const fs::path library = db / "Test Cases";
};

TEST_F(TransferTest, DuplicateNamesCopiesBesideTheItem) {
    const fs::path suite = Suite(library / "login");
    const fs::path doc = Doc(suite, "TC1", "Pass", "original");

    auto first = Duplicate(db, Node(doc), false, port);
    auto second = Duplicate(db, Node(doc), false, port);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->path, suite / "copy of TC1.vtl");
    EXPECT_EQ(second->path, suite / "copy(2) of TC1.vtl");
    EXPECT_EQ(second->label, "copy(2) of TC1");
    EXPECT_EQ(second->kind, TV_TEST_TEST_DOC);
    EXPECT_EQ(IdOf(second->path), "copy(2) of TC1");
    EXPECT_TRUE(Has(ReadFile(second->path), "original"));

    Doc(suite, "TC007");
    auto automatic = Duplicate(db, Node(doc), true, port);
    ASSERT_TRUE(automatic);
    EXPECT_EQ(automatic->path, suite / "TC008.vtl");
    EXPECT_EQ(IdOf(automatic->path), "TC008");

    auto folder = Duplicate(db, Node(suite), false, port);
    ASSERT_TRUE(folder);
    EXPECT_EQ(folder->path, library / "copy of login");
    EXPECT_EQ(folder->kind, TV_TEST_SUITE_FLD);
    EXPECT_EQ(IdOf(library / "copy of login.tgp"), "copy of login");
    EXPECT_EQ(Tree(folder->path), Tree(suite));
    // Fixed folders are not duplicated.
    EXPECT_EQ(Duplicate(db, Node(library), false, port)->path, library);
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(TransferTest, PasteCopiesWholeItemsAndAsksBeforeReplacing) {
    const fs::path from = Suite(library / "login");
    const fs::path doc = Doc(from, "TC1", "Pass", "new text");
    const fs::path sub = Suite(from / "Sub");
    Doc(sub, "TC2");
    ASSERT_EQ(createLockFile(sub / "TC2.vtl"), 0);
    const fs::path to = Suite(library / "checkout");
    Doc(to, "TC1", "Pass", "old text");

    Clipboard clipboard;
    clipboard.Copy({Node(doc), Node(sub)}, port);
    // The sub-suite's TC2 keeps an ID its original holds: No to that question pastes nothing.
    port.ScriptAnswers({false, false});
    EXPECT_FALSE(PlanPaste(clipboard, Node(to), port));
    EXPECT_TRUE(Has(port.questions[0].text, "TC1"));
    EXPECT_TRUE(Has(port.questions[1].text,
                    "TC2 is already used by another test case:\nTest "
                    "Cases/login/Sub/TC2\n"));
    port.ScriptAnswers({false, true});
    auto plan = PlanPaste(clipboard, Node(to), port);
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->files, 2);  // the sub-suite's test case and its description
    int steps = 0;
    auto written = RunTransferNow(*plan, port, [&] { ++steps; });
    EXPECT_EQ(written, (std::vector<fs::path>{to / "Sub"}));
    EXPECT_EQ(steps, 2);
    EXPECT_TRUE(Has(ReadFile(to / "TC1.vtl"), "old text"));
    EXPECT_TRUE(fs::exists(to / "Sub" / "TC2.vtl"));
    EXPECT_TRUE(fs::exists(to / "Sub.tgp"));
    EXPECT_FALSE(fs::exists(to / "Sub" / "TC2.vtl.lck"));  // a copy is not being edited

    // Both IDs are held in login too (not counting the target's own TC1): one question.
    port.ScriptAnswers({true, true, true});
    plan = PlanPaste(clipboard, Node(to), port);
    ASSERT_TRUE(plan);
    EXPECT_EQ(port.questions.back().caption, "IDs used elsewhere");
    EXPECT_TRUE(Has(port.questions.back().text,
                    "2 IDs are already used by other test cases:\nTC1: "
                    "Test Cases/login/TC1\nTC2: Test "
                    "Cases/login/Sub/TC2\n"))
        << port.questions.back().text;
    RunTransferNow(*plan, port);
    EXPECT_TRUE(Has(ReadFile(to / "TC1.vtl"), "new text"));
    EXPECT_TRUE(fs::exists(to / "Sub" / "TC2.vtl"));
    EXPECT_TRUE(port.notices.empty());
    for (const auto& entry : fs::directory_iterator(to))
        EXPECT_FALSE(entry.path().filename().string().starts_with(".vtsave")) << entry.path();

    // Into its own folder: asked for each item; into its own sub-folder: refused.
    const std::size_t asked = port.questions.size();
    EXPECT_FALSE(PlanPaste(clipboard, Node(from), port));
    EXPECT_EQ(port.questions.size(), asked + 2);
    clipboard.Copy({Node(from)}, port);
    EXPECT_FALSE(PlanPaste(clipboard, Node(sub), port));
    EXPECT_EQ(port.notices.back().caption, "Unable to paste file");
    // A test case can't go into the testers.
    clipboard.Copy({Node(doc)}, port);
    EXPECT_FALSE(PlanPaste(clipboard, Node(db / "Testers"), port));
}

TEST_F(TransferTest, MoveRefusalsComeBeforeAnythingIsTouched) {
    const fs::path suite = Suite(library / "login");
    const fs::path child = Suite(suite / "Child");
    const fs::path doc = Doc(child, "TC1");
    const fs::path other = Suite(library / "other");
    const auto before = Tree(db);

    EXPECT_FALSE(PlanMove(Node(suite), Node(child), port));
    EXPECT_FALSE(PlanMove(Node(suite), Node(suite), port));
    ASSERT_EQ(port.notices.size(), 2u);
    EXPECT_EQ(port.notices[0].caption, "Unable to move");

    ASSERT_EQ(createLockFile(doc), 0);
    EXPECT_FALSE(PlanMove(Node(doc), Node(other), port));
    EXPECT_EQ(port.notices.back().caption, "Unable to copy");
    EXPECT_FALSE(PlanMove(Node(suite), Node(other), port));
    deleteLockFile(doc, true);

    Suite(other / "Child");
    port.ScriptAnswers({false});
    EXPECT_FALSE(PlanMove(Node(child), Node(other), port));
    EXPECT_TRUE(Has(port.questions.back().text, "name Child"));
    Doc(other, "TC1");
    port.ScriptAnswers({false});
    EXPECT_FALSE(PlanMove(Node(doc), Node(other), port));
    EXPECT_TRUE(Has(port.questions.back().text, "name TC1"));

    // Test cases that would pass the path limit stay where they are.
    const fs::path deep = Suite(other / std::string(60, 'd') / std::string(60, 'e'));
    const fs::path longDoc = Doc(suite, std::string(255 - (suite / ".vtl").string().size(), 'f'));
    ASSERT_LE(longDoc.string().size(), kPathMax);
    EXPECT_FALSE(PlanMove(Node(longDoc), Node(deep), port));
    EXPECT_EQ(port.notices.back().caption, "Path too long");
    fs::remove(longDoc);
    fs::remove_all(other / std::string(60, 'd'));
    fs::remove(fs::path((other / std::string(60, 'd')).string() + ".tgp"));
    fs::remove_all(other / "Child");
    fs::remove(other / "Child.tgp");
    fs::remove(other / "TC1.vtl");
    EXPECT_EQ(Tree(db), before);
}

TEST_F(TransferTest, DropCopyLeavesTheSourceAndRefusesItsOwnSubFolders) {
    const fs::path suite = Suite(library / "login");
    const fs::path child = Suite(suite / "Child");
    const fs::path doc = Doc(suite, "TC1", "Pass", "copied");
    const fs::path other = Suite(library / "other");

    EXPECT_FALSE(PlanDropCopy(Node(suite), Node(child), port));
    EXPECT_EQ(port.notices.back().caption, "Unable to copy");
    // Dropped where it lies, or somewhere it doesn't belong: nothing to do, nothing told.
    EXPECT_FALSE(PlanDropCopy(Node(doc), Node(suite), port));
    EXPECT_FALSE(PlanDropCopy(Node(doc), Node(db / "Testers"), port));
    EXPECT_EQ(port.notices.size(), 1u);

    port.ScriptAnswers({true});  // the copy keeps its original's IDs
    auto plan = PlanDropCopy(Node(suite), Node(other), port);
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->files, 3);  // TC1 and the two descriptions
    RunTransferNow(*plan, port);
    EXPECT_EQ(Tree(other / "login"), Tree(suite));
    EXPECT_TRUE(fs::exists(doc));

    // A name already taken is replaced only when the user says so.
    port.ScriptAnswers({false});
    EXPECT_FALSE(PlanDropCopy(Node(doc), Node(other / "login"), port));
    EXPECT_TRUE(Has(port.questions.back().text, "TC1"));
}

TEST_F(TransferTest, MoveTakesTheDescriptionAndReplacesOnlyWhenAsked) {
    const fs::path suite = Suite(library / "login");
    Doc(suite / "Child", "TC1", "Pass", "moved");
    const fs::path other = Suite(library / "other");
    Suite(other / "Child");
    Doc(other / "Child", "Old");

    port.ScriptAnswers({true});
    auto plan = PlanMove(Node(suite / "Child"), Node(other), port);
    ASSERT_TRUE(plan);
    RunTransferNow(*plan, port);
    EXPECT_FALSE(fs::exists(suite / "Child"));
    EXPECT_TRUE(Has(ReadFile(other / "Child" / "TC1.vtl"), "moved"));
    EXPECT_FALSE(fs::exists(other / "Child" / "Old.vtl"));
    EXPECT_TRUE(fs::exists(other / "Child.tgp"));
    EXPECT_EQ(countAllFilesDisk(library), 4);  // login, other, Child descriptions and TC1
}

TEST_F(TransferTest, WorkerRunsOneTransferAndStopsWithoutHalfCopies) {
    const fs::path suite = Suite(library / "big");
    for (int n = 0; n < 40; ++n)
        Doc(suite, "TC" + std::to_string(n));
    const fs::path target = Suite(library / "target");
    Clipboard clipboard;
    clipboard.Copy({Node(suite)}, port);
    port.ScriptAnswers({true});  // the copies keep their originals' IDs
    auto plan = PlanPaste(clipboard, Node(target), port);
    ASSERT_TRUE(plan);

    // The copy is held at its fifth file until the test has looked at it and cancelled.
    std::mutex mutex;
    std::condition_variable changed;
    bool cancelled = false;
    int copied = 0;
    std::promise<TransferResult> done;
    TransferWorker worker;
    ASSERT_TRUE(worker.Start(
        *plan,
        [&] {
            std::unique_lock lock(mutex);
            if (++copied == 5) {
                changed.notify_all();
                changed.wait(lock, [&] { return cancelled; });
            }
        },
        [&](TransferResult result) { done.set_value(std::move(result)); }));
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return copied == 5; });
    }
    EXPECT_TRUE(worker.Running());
    EXPECT_FALSE(worker.Start(*plan, {}, {}));  // one at a time
    worker.Cancel();
    {
        std::lock_guard lock(mutex);
        cancelled = true;
    }
    changed.notify_all();
    const TransferResult result = done.get_future().get();
    EXPECT_TRUE(result.stopped);
    EXPECT_EQ(result.failures.back().caption, "Copy cancelled");
    EXPECT_TRUE(result.written.empty());
    EXPECT_EQ(copied, 5);
    EXPECT_FALSE(fs::exists(target / "big"));
    for (const auto& entry : fs::directory_iterator(target))
        ADD_FAILURE() << "left behind: " << entry.path();

    ASSERT_TRUE(worker.Start(*plan, {}, {}));
    worker.Wait();
    EXPECT_EQ(countAllFilesDisk(target / "big"), 40);
}

TEST_F(TransferTest, TestCasesDroppedOnAProjectBecomeProjectTestCases) {
    const fs::path suite = Suite(library / "login");
    Doc(suite, "TC1", "Pass", "sign in");
    Doc(suite / "Sub", "TC2");
    const fs::path cases = db / "Projects" / "Alpha" / "Project Test Cases";
    fs::create_directories(cases);
    ASSERT_TRUE(IsConversionDrop(TV_TEST_SUITE_FLD, NodeKindOf(db, cases)));
    EXPECT_FALSE(PlanMove(Node(suite), Node(cases), port));  // a conversion, not a move

    ASSERT_TRUE(ConvertDroppedTestCases(Node(suite), Node(cases), Context()));
    const std::string converted = ReadFile(cases / "login" / "TC1.vtl");
    EXPECT_TRUE(Has(converted, "<project_test_case>"));
    EXPECT_TRUE(Has(converted, "ET_NEW"));
    EXPECT_TRUE(fs::exists(cases / "login" / "Sub" / "TC2.vtl"));
    EXPECT_TRUE(fs::exists(cases / "login.tgp"));
    EXPECT_TRUE(fs::exists(suite / "TC1.vtl"));  // the library keeps its test case
}

TEST_F(TransferTest, ConversionsCountTheirTestCasesAndStopBetweenThem) {
    const fs::path suite = Suite(library / "login");
    Doc(suite, "TC1");
    Doc(suite, "TC2");
    Doc(suite / "Sub", "TC3");
    const fs::path cases = db / "Projects" / "Alpha" / "Project Test Cases";
    fs::create_directories(cases);
    const std::vector<ConversionDrop> drops{{Node(suite), Node(cases)}};
    EXPECT_EQ(ConvertedTestCaseCount(drops), 3);

    // Asked to stop after the first test case: the rest stays in the library only.
    std::stop_source stop;
    int steps = 0;
    const TransferResult stopped = RunConversions(
        drops, Context(),
        [&] {
            ++steps;
            stop.request_stop();
        },
        stop.get_token());
    EXPECT_EQ(steps, 1);
    EXPECT_TRUE(stopped.stopped);
    EXPECT_EQ(stopped.failures.back().caption, "Copy cancelled");
    EXPECT_TRUE(fs::exists(cases / "login" / "TC1.vtl"));
    EXPECT_FALSE(fs::exists(cases / "login" / "TC2.vtl"));
    EXPECT_FALSE(fs::exists(cases / "login" / "Sub"));

    steps = 0;
    const TransferResult whole = RunConversions(drops, Context(), [&] { ++steps; });
    EXPECT_EQ(steps, 3);
    EXPECT_FALSE(whole.stopped);
    EXPECT_EQ(whole.written, std::vector<fs::path>{cases / "login"});
    EXPECT_TRUE(fs::exists(cases / "login" / "Sub" / "TC3.vtl"));
}

}  // namespace
}  // namespace vantorel::testing
