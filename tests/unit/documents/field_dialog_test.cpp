// What the item dialogs show for a field: captions, widths, drop-down entries, and the refusal
// of typed text a document can't hold.
#include <gtest/gtest.h>

#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "support/document_fixture.h"

namespace vantorel {
namespace {

class FieldDialogTest : public testing::DocumentTest {};

TEST_F(FieldDialogTest, TypedTextADocumentCantHoldIsRefusedNamingCharacterAndField) {
    EXPECT_FALSE(UnholdableTextNotice("Test Title", "Caf\xC3\xA9 \xC3\xBF"));
    auto testCase = TestCase::New(db / "Test Cases", Context());
    ASSERT_NE(testCase, nullptr);
    const std::size_t title = 1;
    EXPECT_FALSE(testCase->CheckTyped(title, "plain"));
    EXPECT_TRUE(port.notices.empty());

    const std::optional<SaveRefusal> refusal = testCase->CheckTyped(title, "Costs 5 \xE2\x82\xAC");
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->field, title);
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0], refusal->notice);
    EXPECT_EQ(port.notices[0].caption, "Invalid character");
    EXPECT_TRUE(testing::Has(port.notices[0].text, "'Test Title'"));
    EXPECT_TRUE(testing::Has(port.notices[0].text, "\"\xE2\x82\xAC\""));
    EXPECT_FALSE(testCase->UpdateRequired());

    // A rich-text section is named as the dialog names it.
    ASSERT_TRUE(testCase->CheckTyped(16, "\xF0\x9F\x98\x80"));
    EXPECT_TRUE(testing::Has(port.notices.back().text, "'Notes Field 1'"));
}

TEST_F(FieldDialogTest, CaptionsAndWidthsFollowTheDatabase) {
    CustomTables tables = custom.Tables();
    tables.notesCaptions = {"Browser", "Platform", "Observations"};
    custom.Replace(tables);
    auto caption = [&](std::span<const FieldDescriptor> table, std::string_view tag) {
        return DialogCaption(*FindField(table, tag), custom);
    };
    EXPECT_EQ(caption(TestCaseFields(), "<notes2>"), "Platform");
    EXPECT_EQ(caption(PrjTestCaseFields(), "<result_notes>"), "Observations");

    EXPECT_TRUE(IsDurationField(*FindField(PrjTestCaseFields(), "<actual_duration>")));
    EXPECT_FALSE(IsDurationField(*FindField(PrjTestCaseFields(), "<test_attempts>")));
    EXPECT_TRUE(MomentMayBeUnset(*FindField(PrjTestCaseFields(), "<last_attempt_time>")));
    EXPECT_TRUE(MomentMayBeUnset(*FindField(ProjectFields(), "<actual_end_date>")));
    EXPECT_FALSE(MomentMayBeUnset(*FindField(TestCaseFields(), "<create_date>")));
    EXPECT_FALSE(MomentMayBeUnset(*FindField(PrjTestCaseFields(), "<update_time>")));
}

TEST_F(FieldDialogTest, ChoicesComeFromTheCustomisationAndTheDatabase) {
    CustomTables tables = custom.Tables();
    tables.statuses = {{"Waiting", SM_NOT_YET_ATTEMPTED}, {"Good", SM_PASS}};
    tables.builds = {"b1", "b2"};
    custom.Replace(tables);
    EXPECT_EQ(FieldChoices("<test_status>", custom, db),
              (std::vector<std::string>{"Waiting", "Good"}));
    EXPECT_EQ(FieldChoices("<build_tested>", custom, db), tables.builds);
    EXPECT_EQ(FieldChoices("<priority>", custom, db).front(), "Highest");
    EXPECT_TRUE(FieldChoices("<test_title>", custom, db).empty());

    // Testers by name, or by ID when they have none; configurations by ID.
    EXPECT_TRUE(FieldChoices("<testers>", custom, db).empty());
    EXPECT_EQ(EmptyChoicesText("<testers>"), "No testers defined");
    for (const auto& [id, name] : {std::pair{"ann", "Ann Lee"}, std::pair{"bo", ""}}) {
        auto tester = Tester::New(db / "Testers", Context(), false);
        ASSERT_NE(tester, nullptr);
        tester->Control("<id>").text = id;
        tester->Control("<tester_name>").text = name;
        ASSERT_FALSE(tester->Save());
    }
    EXPECT_EQ(FieldChoices("<testers>", custom, db), (std::vector<std::string>{"ann", "bo"}));
    auto cfg = TestCfg::New(db / "Test Configurations", Context());
    ASSERT_NE(cfg, nullptr);
    const std::string automatic = cfg->Control("<id>").text;
    ASSERT_FALSE(cfg->Save());
    EXPECT_EQ(FieldChoices("<rec_test_configs>", custom, db), std::vector<std::string>{automatic});
    EXPECT_TRUE(ChoiceIsTyped("<testers>"));
    EXPECT_FALSE(ChoiceIsTyped("<test_status>"));
}

TEST_F(FieldDialogTest, ANewItemWithoutAutomaticIdentifierStartsUnchangedWithNoId) {
    auto cfg = TestCfg::New(db / "Test Configurations", Context(), false);
    ASSERT_NE(cfg, nullptr);
    EXPECT_TRUE(cfg->Control("<id>").text.empty());
    EXPECT_FALSE(cfg->UpdateRequired());
    EXPECT_TRUE(std::filesystem::is_empty(db / "Test Configurations"));
    auto testCase = TestCase::New(db / "Test Cases", Context(), false);
    ASSERT_NE(testCase, nullptr);
    EXPECT_TRUE(testCase->Control("<id>").text.empty());
    EXPECT_FALSE(testCase->UpdateRequired());
    EXPECT_TRUE(testCase->ConfirmClose());
    EXPECT_TRUE(port.questions.empty());
}

}  // namespace
}  // namespace vantorel
