#include "filters/filter.h"

#include <fstream>
#include <functional>
#include <limits>

#include "filters/filter_editor.h"
#include "storage/locks.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

class FilterTest : public ProjectTest {
protected:
    bool Passes(std::vector<FilterClause> clauses, int kind = kProjectTestCaseDocument) {
        return Filter({"F", "", std::move(clauses)}).Compare(document, kind);
    }

    std::filesystem::path document =
        AddCase("S/A.vtl", {{"<test_duration>", "01:30"},
                            {"<test_status>", "Pass"},
                            {"<test_attempts>", "3"},
                            {"<last_attempt_date>", "20261005"},
                            {"<actual_duration>", "02:00"},
                            {"<testers>", "lee, sam"},
                            {"<fault_report_id>", "BUG-17, bug-20"},
                            {"<notes1>", "<![CDATA[Needs the <b>new</b> card reader]]>"},
                            {"<create_user_id>", "R&amp;D"},
                            {"<priority>", "High"}});
};

TEST_F(FilterTest, ListConditionsPassOnAnySelectedValueTypedOnesCompareByTheirKind) {
    EXPECT_TRUE(Passes({{0, {"Fail", "Pass"}, FO_EQUAL_TO}}));
    EXPECT_FALSE(Passes({{0, {"Fail", "pass"}, FO_EQUAL_TO}}));
    EXPECT_TRUE(Passes({{5, {"sam"}, FO_EQUAL_TO}}));  // one of several testers
    EXPECT_FALSE(Passes({{5, {"lee, sam"}, FO_EQUAL_TO}}));
    EXPECT_TRUE(Passes({{12, {"R&D"}, FO_EQUAL_TO}}));  // compared unescaped
    // Typed conditions compare by their kind.
    EXPECT_TRUE(Passes({{16, {"bug-17"}, FO_CONTAINS}}));  // text, ignoring case
    EXPECT_TRUE(Passes({{19, {"NEW</B> CARD"}, FO_CONTAINS}}));
    EXPECT_FALSE(Passes({{16, {"BUG-18"}, FO_CONTAINS}}));
    EXPECT_TRUE(Passes({{9, {"2"}, FO_GREATER_THAN}}));
    EXPECT_FALSE(Passes({{9, {"3"}, FO_NOT_EQUAL_TO}}));
    EXPECT_FALSE(Passes({{6, {"20261005"}, FO_LESS_THAN}}));  // "Before" the same day fails
    EXPECT_TRUE(Passes({{6, {"20261006"}, FO_LESS_THAN}}));
    EXPECT_TRUE(Passes({{10, {"1:30"}, FO_EQUAL_TO}}));
    EXPECT_TRUE(Passes({{11, {"100:00"}, FO_LESS_THAN}}));
    EXPECT_TRUE(Passes({{14, {"Greater than"}, FO_GREATER_THAN}}));  // actual 2:00 > 1:30
    EXPECT_FALSE(Passes({{14, {"Less than"}, FO_LESS_THAN}}));
    EXPECT_TRUE(Passes({{18, {"2"}, FO_LESS_THAN}}));  // High comes before Medium
    EXPECT_FALSE(Passes({{18, {"1"}, FO_NOT_EQUAL_TO}}));
    // Every condition must hold.
    EXPECT_FALSE(Passes({{0, {"Pass"}, FO_EQUAL_TO}, {9, {"3"}, FO_LESS_THAN}}));
}

TEST(DurationMinutes, HugeFiguresStayTheLargestRatherThanTurnNegative) {
    EXPECT_EQ(DurationMinutes("1:30"), 90);
    EXPECT_EQ(DurationMinutes("0:90"), 90);
    EXPECT_EQ(DurationMinutes("99999999:99"), std::numeric_limits<int>::max());
    EXPECT_EQ(DurationMinutes("-99999999999999999999:00"), -std::numeric_limits<int>::max());
    EXPECT_GT(DurationMinutes("35791394:07"), DurationMinutes("35791394:06"));
}

TEST_F(FilterTest, WhatCannotBeTestedDoesNotExclude) {
    EXPECT_TRUE(Passes({{17, {"b101"}, FO_EQUAL_TO}}));  // no build field in the document
    // A library test case has no status: that condition is skipped for it.
    EXPECT_TRUE(Passes({{0, {"Fail"}, FO_EQUAL_TO}}, kTestCaseDocument));
    EXPECT_FALSE(Passes({{0, {"Fail"}, FO_EQUAL_TO}}));
    // An empty field is a value, and contains nothing.
    document = AddCase("S/B.vtl", {{"<fault_report_id>", ""}});
    EXPECT_FALSE(Passes({{16, {"BUG"}, FO_CONTAINS}}));
    EXPECT_FALSE(Filter({"F", "", {}}).Compare(cases / "missing.vtl", kProjectTestCaseDocument));
}

TEST_F(FilterTest, DocumentKeepsItsOrderAndSurvivesAWriteAndRead) {
    const FilterDocument filter{
        "Odd & <ends>",
        "Name \"quoted\"",
        {{0, {"Fail", "Pass"}, FO_EQUAL_TO}, {6, {"20261005"}, FO_LESS_THAN}}};
    EXPECT_EQ(FilterDocumentText({"Failed", "Tests that failed", {{0, {"Fail"}, FO_EQUAL_TO}}}),
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<filter>\r\n<id>Failed</id>\r\n"
              "<name>Tests that failed</name>\r\n<conditional>\r\n<CBMapIndex>0</CBMapIndex>\r\n"
              "<data>Fail</data>\r\n<match>1</match>\r\n</conditional>\r\n</filter>\r\n");
    const auto path = db / "Filters" / "odd.vtl";
    ASSERT_TRUE(WriteFilterDocument(path, filter).ok());
    EXPECT_EQ(ReadFilterDocument(path), filter);
    EXPECT_EQ(Filter(filter).Caption(), "Odd & <ends> - Name \"quoted\"");
    EXPECT_EQ(FilterConditionsHtml(filter),
              "Status Fail<br>or<br>Pass<br><br>and<br>Last attempt Before 5-Oct-2026");
    EXPECT_EQ(ReadFilterDocument(document), std::nullopt);  // not a filter
}

class FilterEditorTest : public ProjectTest {
protected:
    std::unique_ptr<FilterEditor> editor = FilterEditor::New(db, port);
};

TEST_F(FilterEditorTest, RefusesInTheDialogsOrder) {
    // Each refusal names the field the dialog puts the focus on.
    struct Step {
        std::function<void(FilterEditor&)> change;
        std::string caption;
        std::optional<std::size_t> field;
    };
    const std::vector<Step> steps{
        {[](FilterEditor&) {}, "Error: No ID", kFilterIdField},
        {[](FilterEditor& e) { e.id = "a/b"; }, "Error: Illegal characters in ID", kFilterIdField},
        {[](FilterEditor& e) { e.id = std::string(300, 'x'); }, "Exceeds path length",
         kFilterIdField},
        {[this](FilterEditor& e) {
             e.id = "Taken";
             std::ofstream(db / "Filters" / "taken.vtl") << "x";
         },
         "Error: Existing filter with same ID", kFilterIdField},
        {[](FilterEditor& e) { e.id = "New"; }, "Error: No conditions set", std::nullopt},
        {[](FilterEditor& e) { e.conditions[1].enabled = true; }, "Error: No selections",
         FilterConditionField(1)},
        {[](FilterEditor& e) {
             e.conditions[1].selections = {"Functionality"};
             e.conditions[10].enabled = true;
         },
         "Error: No data entered", FilterConditionField(10)},
        {[](FilterEditor& e) { e.conditions[10].text = "1:75"; }, "Error: Invalid data entered",
         FilterConditionField(10)},
    };
    for (const Step& step : steps) {
        step.change(*editor);
        const std::optional<SaveRefusal> refusal = editor->Save();
        ASSERT_TRUE(refusal) << step.caption;
        EXPECT_EQ(refusal->notice, port.notices.back());
        EXPECT_EQ(refusal->notice.caption, step.caption);
        EXPECT_EQ(refusal->field, step.field) << step.caption;
    }
    EXPECT_FALSE(std::filesystem::exists(db / "Filters" / "New.vtl"));

    editor->conditions[10].text = "1:45";
    editor->conditions[6] = {true, {}, "", {2026, 10, 5}, 0, FO_GREATER_THAN};
    ASSERT_EQ(editor->Save(), std::nullopt);
    const auto saved = ReadFilterDocument(db / "Filters" / "New.vtl");
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->clauses, (std::vector<FilterClause>{{1, {"Functionality"}, FO_EQUAL_TO},
                                                         {6, {"20261005"}, FO_GREATER_THAN},
                                                         {10, {"1:45"}, FO_EQUAL_TO}}));
}

TEST_F(FilterEditorTest, EditingLoadsLocksAndRenames) {
    const auto path = db / "Filters" / "Old.vtl";
    ASSERT_TRUE(WriteFilterDocument(path, {"Old", "n", {{18, {"1"}, FO_EQUAL_TO}}}).ok());
    EXPECT_EQ(editor->WindowTitle(), "Vantorel - Filter - New");
    auto edit = FilterEditor::Edit(path, port, {"bench-7", "dana"});
    ASSERT_TRUE(edit);
    EXPECT_EQ(edit->WindowTitle(), "Vantorel - Filter - Edit [Old]");
    EXPECT_TRUE(std::filesystem::exists(LockPath(path)));
    EXPECT_TRUE(edit->conditions[18].enabled);
    EXPECT_EQ(edit->conditions[18].priority, 1);
    EXPECT_FALSE(FilterEditor::Edit(path, port, {"desk-2", "lee"}));  // held by dana

    edit->id = "Renamed";
    ASSERT_EQ(edit->Save(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(std::filesystem::exists(LockPath(path)));
    EXPECT_EQ(ReadFilterDocument(db / "Filters" / "Renamed.vtl")->clauses.size(), 1u);
}

TEST_F(FilterEditorTest, ListConditionsOfferTheDatabasesEntries) {
    EXPECT_EQ(ConditionChoices(0, db, custom).front(), "Not yet attempted");
    std::ofstream(db / "Resources" / "Cards.vtl") << "x";
    EXPECT_EQ(ConditionChoices(3, db, custom), std::vector<std::string>{"Cards"});
    EXPECT_TRUE(ConditionChoices(16, db, custom).empty());  // typed, not chosen
    EXPECT_EQ(ConditionChoices(18, db, custom),
              (std::vector<std::string>{"Highest", "High", "Medium", "Low", "Lowest"}));
}

TEST_F(FilterEditorTest, TypedTextADocumentCantHoldIsRefusedNamingItsField) {
    const auto name = editor->CheckTyped(kFilterNameField, "Costs 5 \u20ac");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->field, kFilterNameField);
    EXPECT_EQ(name->notice.caption, "Invalid character");
    EXPECT_TRUE(Has(name->notice.text, "'Name'"));
    EXPECT_TRUE(Has(name->notice.text, "\u20ac"));
    const auto notes = editor->CheckTyped(FilterConditionField(19), "\u0441ard");
    ASSERT_TRUE(notes);
    EXPECT_TRUE(Has(notes->notice.text, "'Notes 1'"));
    EXPECT_EQ(editor->CheckTyped(kFilterIdField, "Caf\u00e9"), std::nullopt);
    EXPECT_EQ(port.notices.size(), 2u);
}

TEST_F(FilterEditorTest, ALetterCaseChangeKeepsOneDocumentAndNeverTakesAnothers) {
    const auto filters = db / "Filters";
    const auto path = filters / "Old.vtl";
    ASSERT_TRUE(WriteFilterDocument(path, {"Old", "n", {{9, {"2"}, FO_LESS_THAN}}}).ok());
    auto edit = FilterEditor::Edit(path, port, {"bench-7", "dana"});
    ASSERT_TRUE(edit);
    edit->id = "OLD";
    ASSERT_EQ(edit->Save(), std::nullopt);
    EXPECT_EQ(ItemIdsIn(filters), std::vector<std::string>{"OLD"});
    EXPECT_FALSE(std::filesystem::exists(LockPath(filters / "OLD.vtl")));
    EXPECT_FALSE(std::filesystem::exists(LockPath(path)));

    // Where names differing in case are different files, the other one stays untouched.
    const auto other = filters / "old.vtl";
    ASSERT_TRUE(WriteFilterDocument(other, {"old", "another", {{0, {"Pass"}, FO_EQUAL_TO}}}).ok());
    auto again = FilterEditor::Edit(filters / "OLD.vtl", port, {"bench-7", "dana"});
    ASSERT_TRUE(again);
    again->id = "old";
    const auto refusal = again->Save();
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->notice.caption, "Error: Existing filter with same ID");
    EXPECT_EQ(ReadFilterDocument(other)->name, "another");
    EXPECT_EQ(ReadFilterDocument(filters / "OLD.vtl")->clauses.front().condition, 9);
}

}  // namespace
}  // namespace vantorel::testing
