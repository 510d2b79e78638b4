#include "documents/prj_test_case.h"

#include <gtest/gtest.h>

#include "storage/tagged_document.h"
#include "support/document_fixture.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::WriteFile;

TEST(HistoryBlocks, ReadWithTheirWidthRules) {
    XMLParse doc;
    doc.LoadText(
        "<project_test_case><history_entry><time>09:05:07</time><date>03-11-2026</date>"
        "<type>ET_NEW</type><old_status>Not yet attempted</old_status><new_status>Not yet "
        "attempted</new_status><num_tries>0</num_tries><phase>" +
        std::string(127, 'p') + "</phase><version>" + std::string(26, 'v') + "</version><build>" +
        std::string(25, 'b') +
        "</build></history_entry>\n<history_entry><type>et_new</type><num_tries>3</num_tries>"
        "<phase>" +
        std::string(128, 'p') + "</phase></history_entry></project_test_case>");
    std::vector<HistoryBlock> blocks = LoadHistoryBlocks(doc);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0].when, (LocalMoment{{2026, 11, 3}, {9, 5, 7}}));
    EXPECT_FALSE(blocks[0].update);
    EXPECT_EQ(blocks[0].phase.size(), 127u);
    EXPECT_EQ(blocks[0].version, "");  // 26 characters read as empty
    EXPECT_EQ(blocks[0].build.size(), 25u);
    EXPECT_TRUE(blocks[1].update);  // only exactly "ET_NEW" is a creation
    EXPECT_EQ(blocks[1].tries, 3);
    EXPECT_EQ(blocks[1].phase, "");
    EXPECT_EQ(blocks[1].when, LocalMoment{});

    // The replay of status changes reads only what it needs.
    const std::vector<HistoryBlock> statuses = LoadHistoryBlocks(doc, HistoryDetail::Statuses);
    EXPECT_EQ(statuses[0].when, blocks[0].when);
    EXPECT_EQ(statuses[0].newStatus, "Not yet attempted");
    EXPECT_EQ(statuses[0].phase, "");
    EXPECT_EQ(statuses[1].tries, 0);
}

TEST(HistoryBlocks, CompactAndBulkCreationTexts) {
    HistoryBlock block{{{2026, 1, 2}, {3, 4, 5}}, true, "Fail", "Pass", 2, "b1", "v1", "Smoke"};
    EXPECT_EQ(CompactHistoryText(block),
              "<time>03:04:05</time><date>02-01-2026</date><type>ET_UPDATE</type><old_status>Fail"
              "</old_status><new_status>Pass</new_status><num_tries>2</num_tries><phase>Smoke"
              "</phase><version>v1</version><build>b1</build>");
    XMLParse doc;
    doc.LoadText("<history_entry>" + CompactHistoryText(block) + "</history_entry>");
    EXPECT_EQ(LoadHistoryBlocks(doc).at(0), block);
    EXPECT_EQ(BulkCreationBlockText(block.when).substr(0, 63),
              "<time>03:04:05</time><date>02-01-2026</date><type>ET_NEW</type>");
}

TEST(VantorelLinks, PointAtTheProject) {
    std::string text =
        "See vantorel://Test Cases/Login/TC12 and VANTOREL://Test Cases/Cart/TC3, then "
        "vantorel://end";
    ASSERT_TRUE(ConvertVantorelLinks(text, "Alpha"));
    EXPECT_EQ(text,
              "See vantorel://Alpha/Project Test Cases/Login/TC12 and vantorel://Alpha/Project "
              "Test Cases/Cart/TC3, then vantorel://end");
    std::string huge = "vantorel://a/" + std::string(kFieldValueMax - 20, 'x');
    EXPECT_FALSE(ConvertVantorelLinks(huge, "A long project name"));
    EXPECT_EQ(huge.size(), kFieldValueMax - 7);
}

class PrjTestCaseTest : public testing::DocumentTest {
protected:
    PrjTestCaseTest() {
        std::filesystem::create_directories(suite);
        std::filesystem::create_directories(db / "Test Cases/Login");
        WriteFile(library,
                  "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<test_case>\r\n"
                  "<id>TC12</id>\r\n<test_title>Log in</test_title>\r\n"
                  "<test_duration>00:30</test_duration>\r\n<test_phase>Smoke</test_phase>\r\n"
                  "<create_user_id>lee</create_user_id>\r\n"
                  "<test_description><![CDATA[Go to vantorel://Test Cases/Login/TC11]]>"
                  "</test_description>\r\n<notes2><![CDATA[vantorel://Test Cases/x]]></notes2>\r\n"
                  "<priority>High</priority>\r\n</test_case>\r\n");
    }

    std::unique_ptr<PrjTestCase> Converted() {
        EXPECT_TRUE(PrjTestCase::Convert(library, item, Context()));
        return PrjTestCase::Edit(item, Context());
    }

    const std::filesystem::path library = db / "Test Cases/Login/TC12.vtl";
    const std::filesystem::path suite = db / "Projects/Alpha/Project Test Cases/Login";
    const std::filesystem::path item = suite / "TC12.vtl";
};

TEST_F(PrjTestCaseTest, ConvertWritesCreationValuesLinksAndOneCreationBlock) {
    auto editor = Converted();
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->Control("<test_title>").text, "Log in");
    EXPECT_EQ(editor->Control("<test_status>").text, "Not yet attempted");
    EXPECT_EQ(editor->Control("<test_attempts>").text, "0");
    EXPECT_FALSE(editor->Control("<last_attempt_date>").date);
    EXPECT_EQ(editor->Control("<create_user_id>").text, "lee");
    EXPECT_EQ(editor->Control("<test_description>").text,
              "Go to vantorel://Alpha/Project Test Cases/Login/TC11");
    EXPECT_EQ(editor->Control("<notes2>").text, "vantorel://Test Cases/x");  // not rewritten
    ASSERT_EQ(editor->History().size(), 1u);
    EXPECT_EQ(editor->History()[0], (HistoryBlock{clock, false, "Not yet attempted",
                                                  "Not yet attempted", 0, "", "", "Smoke"}));
    const std::string text = ReadFile(item);
    EXPECT_TRUE(testing::Has(text, "<last_attempt_date>N/A</last_attempt_date>"));
    EXPECT_LT(text.find("<requirement>"), text.find("<create_date>"));

    // Not into a project's test cases: refused, and said.
    EXPECT_FALSE(PrjTestCase::Convert(library, db / "Projects/Alpha/TC12.vtl", Context()));
    EXPECT_EQ(port.notices.size(), 1u);
}

TEST_F(PrjTestCaseTest, HistoryFollowsWhatChanged) {
    auto editor = Converted();
    editor->Control("<test_description>").text = "Only the words change";
    clock.time.minute = 31;
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(editor->History().size(), 1u);

    editor->Control("<build_tested>").text = "b42";
    clock.time.minute = 32;
    ASSERT_EQ(editor->Save(), std::nullopt);
    ASSERT_EQ(editor->History().size(), 2u);
    EXPECT_TRUE(editor->History()[1].update);
    EXPECT_EQ(editor->History()[1].oldStatus, editor->History()[1].newStatus);
    EXPECT_EQ(editor->History()[1].build, "b42");

    editor->Control("<test_status>").text = "Pass";
    editor->Control("<test_attempts>").text = "1";
    clock.time.minute = 33;
    ASSERT_EQ(editor->Save(), std::nullopt);
    const HistoryBlock& last = editor->History().back();
    EXPECT_EQ(last.oldStatus, "Not yet attempted");
    EXPECT_EQ(last.newStatus, "Pass");
    // The new attempt stamped the last attempt; the save stamped the update.
    EXPECT_EQ(editor->Control("<last_attempt_time>").time, (ClockTime{10, 33, 0}));
    EXPECT_EQ(editor->Control("<update_time>").time, (ClockTime{10, 33, 0}));
    EXPECT_EQ(editor->Control("<update_user_id>").text, "dana");

    auto reread = PrjTestCase::Edit(item, Context());
    EXPECT_EQ(reread, nullptr);  // still locked by the first editor
    editor.reset();
    reread = PrjTestCase::Edit(item, Context());
    ASSERT_NE(reread, nullptr);
    EXPECT_EQ(reread->History().size(), 3u);
    EXPECT_FALSE(reread->UpdateRequired());
}

TEST_F(PrjTestCaseTest, SavedDocumentWritesBackIdentically) {
    auto editor = Converted();
    editor->Control("<results_obtained>").text = "Line 1\nLine <2> & more";
    editor->Control("<testers>").text = "dana & lee";
    ASSERT_EQ(editor->Save(), std::nullopt);
    const std::string first = ReadFile(item);
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(ReadFile(item), first);
}

TEST_F(PrjTestCaseTest, RefusalsComeInOrderAndWriteNothing) {
    auto editor = Converted();
    const std::string before = ReadFile(item);
    WriteFile(suite / "TC13.vtl", "<project_test_case/>");

    // Each row breaks one rule; the refusal is told and names the field of that rule.
    struct Case {
        std::string id, expected, actual, version, atFault;
    };
    const Case cases[] = {
        {"", "1:0", "", "", "<id>"},
        {std::string(65, 'x'), "1:0", "", "", "<id>"},
        {"TC|1", "1:0", "", "", "<id>"},
        {"tc13", "1:0", "", "", "<id>"},
        {"TC12", "1:60", "", "", "<test_duration>"},
        {"TC12", "1:0", "1000:00", "", "<actual_duration>"},
        {"TC12", "1:0", "", std::string(26, '1'), "<version_tested>"},
        // A value longer than its field keeps (a hand edit) is refused by name, never cut.
        {"TC12", "1:0", "", "", "<test_phase>"},
    };
    for (const Case& c : cases) {
        editor->Control("<id>").text = c.id;
        editor->Control("<test_duration>").text = c.expected;
        editor->Control("<actual_duration>").text = c.actual;
        editor->Control("<version_tested>").text = c.version;
        editor->Control("<test_phase>").text =
            c.atFault == "<test_phase>" ? std::string(kHistoryPhaseWidth + 1, 'p') : "Smoke";
        const std::optional<SaveRefusal> refusal = editor->Save();
        ASSERT_TRUE(refusal && refusal->field) << c.id << c.expected << c.actual;
        EXPECT_EQ(refusal->notice, port.notices.back());
        EXPECT_EQ(&editor->controls.at(*refusal->field), &editor->Control(c.atFault)) << c.atFault;
    }
    EXPECT_EQ(ReadFile(item), before);
    EXPECT_TRUE(testing::Has(port.notices.back().text, "Phase"));

    editor->Control("<test_phase>").text = "Smoke";
    editor->Control("<id>").text = std::string(64, 'L');
    editor->Control("<test_duration>").text = "999:59";
    editor->Control("<actual_duration>").text = "0:5";
    editor->Control("<version_tested>").text = "";
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(item));
    EXPECT_TRUE(
        testing::Has(ReadFile(suite / (std::string(64, 'L') + ".vtl")), "<actual_duration>00:05<"));
}

TEST_F(PrjTestCaseTest, HistoryDatesKeepTheirOrder) {
    auto editor = Converted();
    editor->Control("<test_attempts>").text = "1";
    clock.date.day = 25;
    ASSERT_EQ(editor->Save(), std::nullopt);

    EXPECT_FALSE(editor->SetHistoryDate(1, {{2026, 11, 20}, {0, 0, 0}}));
    EXPECT_FALSE(editor->SetHistoryDate(0, {{2026, 11, 26}, {0, 0, 0}}));
    EXPECT_TRUE(editor->SetHistoryDate(0, {{2026, 11, 22}, {8, 0, 0}}));
    EXPECT_EQ(editor->HistoryRows()[0].type, "Test Creation");

    EXPECT_FALSE(editor->SetCreatedDate({2026, 11, 26}));
    EXPECT_TRUE(
        testing::Has(port.notices.back().text, "cannot be set to a date after 25-Nov-2026.\n"));
    EXPECT_TRUE(editor->SetCreatedDate({2026, 11, 25}));
}

TEST_F(PrjTestCaseTest, ResetReturnsToCreation) {
    auto editor = Converted();
    editor->Control("<test_status>").text = "Fail";
    editor->Control("<test_attempts>").text = "2";
    editor->Control("<fault_report_id>").text = "BUG-7";
    ASSERT_EQ(editor->Save(), std::nullopt);
    ASSERT_EQ(editor->History().size(), 2u);

    port.ScriptAnswers({false, true});
    EXPECT_FALSE(editor->Reset());
    EXPECT_EQ(editor->Control("<test_status>").text, "Fail");
    EXPECT_TRUE(editor->Reset());
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(editor->History().size(), 1u);
    EXPECT_EQ(editor->Control("<test_status>").text, "Not yet attempted");
    EXPECT_EQ(editor->Control("<fault_report_id>").text, "");
    EXPECT_FALSE(editor->Control("<last_attempt_date>").date);
}

TEST_F(PrjTestCaseTest, ChoosingAResultRecordsOneAttemptThatAnotherChoiceTakesBack) {
    auto editor = Converted();
    auto choose = [&](const char* status) {
        editor->Control("<test_status>").text = status;
        return editor->StatusChosen().size();
    };
    editor->Control("<testers>").text = "ana";
    port.ScriptAnswers({true});
    EXPECT_EQ(choose("Pass"), 4u);
    EXPECT_EQ(editor->Control("<test_attempts>").text, "1");
    EXPECT_EQ(editor->Control("<last_attempt_date>").date, clock.date);
    EXPECT_EQ(editor->Control("<last_attempt_time>").time, clock.time);
    EXPECT_EQ(editor->Control("<testers>").text, "ana, dana");
    // Another result instead of the first is still the one attempt, and asks nothing more.
    choose("Fail");
    EXPECT_EQ(editor->Control("<test_attempts>").text, "1");
    EXPECT_EQ(port.questions.size(), 1u);
    // A status that is no result takes back what the choice set, but not what was typed.
    editor->Control("<last_attempt_time>").time = ClockTime{8, 0, 0};
    choose("Postponed");
    EXPECT_EQ(editor->Control("<test_attempts>").text, "0");
    EXPECT_FALSE(editor->Control("<last_attempt_date>").date);
    EXPECT_EQ(editor->Control("<last_attempt_time>").time, (ClockTime{8, 0, 0}));
    EXPECT_EQ(editor->Control("<testers>").text, "ana");
    // Attempts typed by hand stay; a tester already named, or declined, is not added.
    editor->Control("<test_attempts>").text = "3";
    port.ScriptAnswers({false});
    choose("Pass");
    EXPECT_EQ(editor->Control("<test_attempts>").text, "3");
    EXPECT_EQ(editor->Control("<testers>").text, "ana");
    editor->Control("<testers>").text = " dana ,ana";
    choose("Postponed");
    choose("Other");
    EXPECT_EQ(port.questions.size(), 2u);
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(editor->History().back().tries, 3);
}

TEST_F(PrjTestCaseTest, RecordWithoutHistoryGetsItsCreationBlockFirst) {
    WriteFile(suite / "Old.vtl",
              "<project_test_case>\r\n<id>Old</id>\r\n<test_status>Fail</test_status>\r\n"
              "<create_date>20260301</create_date>\r\n<create_time>08:00:00</create_time>\r\n"
              "</project_test_case>\r\n");
    auto editor = PrjTestCase::Edit(suite / "Old.vtl", Context());
    ASSERT_NE(editor, nullptr);
    editor->Control("<test_status>").text = "Pass";
    ASSERT_EQ(editor->Save(), std::nullopt);
    ASSERT_EQ(editor->History().size(), 2u);
    EXPECT_EQ(editor->History()[0].when, (LocalMoment{{2026, 3, 1}, {8, 0, 0}}));
    EXPECT_FALSE(editor->History()[0].update);
    EXPECT_EQ(editor->History()[1].oldStatus, "Not yet attempted");
}

TEST_F(PrjTestCaseTest, NewItemStartsWithItsCreationBlock) {
    auto editor = PrjTestCase::New(suite, Context());
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->Control("<id>").text, "TC001");
    EXPECT_FALSE(editor->UpdateRequired());
    EXPECT_TRUE(editor->ConfirmClose());
    editor->Control("<test_title>").text = "Typed";
    EXPECT_FALSE(editor->ConfirmClose());  // asked, and No keeps the dialog
    EXPECT_EQ(port.questions.size(), 1u);
    ASSERT_EQ(editor->Save(), std::nullopt);
    ASSERT_EQ(editor->History().size(), 1u);
    EXPECT_FALSE(editor->History()[0].update);
    EXPECT_EQ(editor->Control("<create_user_id>").text, "dana");
    EXPECT_FALSE(std::filesystem::exists(suite / "TC001.tmp"));
    EXPECT_EQ(editor->WindowTitle(true), "Vantorel - Project Test Case - Edit [Typed]");
}

}  // namespace
}  // namespace vantorel
