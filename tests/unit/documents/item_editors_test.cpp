// The library test case, the reference items, suites and projects.
#include <gtest/gtest.h>

#include "documents/field_tables.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "storage/locks.h"
#include "storage/password.h"
#include "support/document_fixture.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::WriteFile;

class ItemEditorsTest : public testing::DocumentTest {
protected:
    const Notice& LastNotice() { return port.notices.back(); }

    // Saves, expecting a refusal that hands the dialog what the user was told; the control it
    // puts the focus on, or null when it names no field.
    const FieldControl* RefusedAt(ItemEditor& editor) {
        const std::optional<SaveRefusal> refusal = editor.Save();
        if (!refusal) {
            ADD_FAILURE() << "saved";
            return nullptr;
        }
        EXPECT_EQ(refusal->notice, LastNotice());
        return refusal->field ? &editor.controls.at(*refusal->field) : nullptr;
    }
};

TEST_F(ItemEditorsTest, TablesNumberTheirRowsAndEndWithTheEndRow) {
    for (auto table : {TestCaseFields(), PrjTestCaseFields(), TestSuiteFields(), ProjectFields(),
                       TestCfgFields(), TestResourceFields(), TesterFields()}) {
        EXPECT_EQ(table.back().controlId, -1) << table.front().placeholderStem;
        auto rows = FieldRows(table);
        EXPECT_EQ(rows.size() + 1, table.size()) << table.front().placeholderStem;
        for (std::size_t i = 0; i < rows.size(); ++i)
            EXPECT_EQ(rows[i].controlId, static_cast<int>(i)) << rows[i].tag;
    }
    // Both parts of the dialog's table point at the project test case's own controls.
    auto dialog = PrjTestCaseDialogFields();
    EXPECT_EQ(dialog.back().controlId, -1);
    for (const FieldDescriptor& row : dialog) {
        if (row.controlId == -1)
            continue;
        ASSERT_LT(static_cast<std::size_t>(row.controlId), FieldRows(PrjTestCaseFields()).size());
        EXPECT_EQ(PrjTestCaseFields()[static_cast<std::size_t>(row.controlId)].tag, row.tag);
    }
}

TEST_F(ItemEditorsTest, RefusalsNameTheFieldAtFault) {
    auto testCase = TestCase::New(db / "Test Cases", Context());
    ASSERT_NE(testCase, nullptr);
    testCase->Control("<id>").text = "a|b";
    EXPECT_EQ(RefusedAt(*testCase), &testCase->Control("<id>"));
    testCase->Control("<id>").text = "Login";
    testCase->Control("<test_duration>").text = "1:75";
    EXPECT_EQ(RefusedAt(*testCase), &testCase->Control("<test_duration>"));

    auto tester = Tester::New(db / "Testers", Context());
    ASSERT_NE(tester, nullptr);
    tester->Control("<remote_user>").checked = true;
    EXPECT_EQ(RefusedAt(*tester), &tester->Control("<passwd_hash>"));

    auto project = Project::New(db / "Projects", Context());
    ASSERT_NE(project, nullptr);
    project->Control("<id>").text = "Alpha";
    project->Control("<actual_start_date>").date = CalendarDate{2026, 3, 2};
    project->Control("<actual_end_date>").date = CalendarDate{2026, 3, 1};
    EXPECT_EQ(RefusedAt(*project), &project->Control("<actual_end_date>"));

    // The disk, not a field, refuses a document whose folder has gone.
    testCase->Control("<test_duration>").text = "1:15";
    std::filesystem::remove_all(db / "Test Cases");
    EXPECT_EQ(RefusedAt(*testCase), nullptr);
}

TEST_F(ItemEditorsTest, LibraryTestCaseChecksAndSaves) {
    const auto folder = db / "Test Cases";
    auto editor = TestCase::New(folder, Context());
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->Control("<test_type>").text, "[None Selected]");
    editor->Control("<id>").text = std::string(65, 'A');
    EXPECT_EQ(RefusedAt(*editor), &editor->Control("<id>"));
    editor->Control("<id>").text = std::string(64, 'A');
    editor->Control("<test_duration>").text = "1000:00";
    EXPECT_EQ(RefusedAt(*editor), &editor->Control("<test_duration>"));
    editor->Control("<test_duration>").text = "2:5";
    editor->Control("<test_title>").text = std::string(80, 't');
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(editor->WindowTitle(false),
              "Vantorel - Test Case - View [" + std::string(75, 't') + "]");
    const std::string saved = ReadFile(folder / (std::string(64, 'A') + ".vtl"));
    EXPECT_TRUE(testing::Has(saved, "<test_duration>02:05</test_duration>"));
    EXPECT_TRUE(testing::Has(saved, "<create_date>20261121</create_date>"));

    std::string longId = std::string(70, 'B');
    WriteFile(folder / (longId + ".vtl"), "<test_case><id>" + longId + "</id></test_case>");
    auto opened = TestCase::Edit(folder / (longId + ".vtl"), Context());
    ASSERT_NE(opened, nullptr);
    EXPECT_TRUE(testing::Has(LastNotice().text, "64"));  // told the limit, and editable
    EXPECT_TRUE(opened->IdEditable());
}

TEST_F(ItemEditorsTest, AnIdUsedElsewhereInTheLibraryIsKeptOnlyAfterAsking) {
    const auto login = db / "Test Cases" / "Login";
    const auto search = db / "Test Cases" / "Search";
    std::filesystem::create_directories(login);
    std::filesystem::create_directories(search);
    WriteFile(login / "TC-1.vtl", "<test_case><id>TC-1</id></test_case>");
    auto editor = TestCase::New(search, Context(), false);
    ASSERT_NE(editor, nullptr);
    editor->Control("<id>").text = "TC-1";
    port.ScriptAnswers({false, true});
    const std::optional<SaveRefusal> refused = editor->Save();
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->field, ItemEditor::kIdRow);
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_TRUE(testing::Has(port.questions[0].text, "Test Cases/Login/TC-1"));
    EXPECT_FALSE(std::filesystem::exists(search / "TC-1.vtl"));
    ASSERT_EQ(editor->Save(), std::nullopt);
    // Saved again under the same ID, it asks no more.
    editor->Control("<test_title>").text = "Twin";
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(port.questions.size(), 2u);
}

TEST_F(ItemEditorsTest, ASaveNeverOverwritesWhatSomeoneElseSavedMeanwhile) {
    // Alice has TC1 open; Bob (after unlocking it, or another tool) saves it first. Alice's
    // OK keeps both, replaces Bob's after a second question, or saves nothing: never silently.
    const auto folder = db / "Test Cases";
    const auto item = folder / "TC1.vtl";
    const std::string bobs = "<test_case><id>TC1</id><test_title>By Bob</test_title></test_case>";
    struct Round {
        std::initializer_list<bool> answers;
        std::string onDisk;  // what TC1 holds after Alice's OK
        bool copied;         // Alice's version beside it as TC1-copy
    };
    for (const Round& round :
         {Round{{true}, "By Bob", true}, Round{{false, true}, "By Alice", false},
          Round{{false, false}, "By Bob", false}}) {
        std::filesystem::remove(folder / "TC1-copy.vtl");
        WriteFile(item, "<test_case><id>TC1</id><test_title>First</test_title></test_case>");
        auto alice = TestCase::Edit(item, Context());
        ASSERT_NE(alice, nullptr);
        alice->Control("<test_title>").text = "By Alice";
        // Nothing changed underneath: no question.
        const std::size_t asked = port.questions.size();
        WriteFile(item, bobs);
        port.ScriptAnswers(round.answers);
        const bool saved = !alice->Save().has_value();
        EXPECT_EQ(port.questions.size(), asked + round.answers.size());
        EXPECT_EQ(saved, round.onDisk == "By Alice" || round.copied);
        EXPECT_TRUE(testing::Has(ReadFile(item), round.onDisk)) << round.onDisk;
        EXPECT_EQ(std::filesystem::exists(folder / "TC1-copy.vtl"), round.copied);
        if (round.copied) {
            EXPECT_TRUE(testing::Has(ReadFile(folder / "TC1-copy.vtl"), "<id>TC1-copy</id>"));
        }
    }
    // An editor whose document is as it read it saves without a question.
    auto again = TestCase::Edit(item, Context());
    ASSERT_NE(again, nullptr);
    const std::size_t asked = port.questions.size();
    again->Control("<test_title>").text = "Later";
    EXPECT_EQ(again->Save(), std::nullopt);
    EXPECT_EQ(port.questions.size(), asked);

    again.reset();

    // Bob unlocked it and holds its lock, not saved yet: Alice is asked all the same, and told
    // who holds it.
    auto unlocked = TestCase::Edit(item, Context());
    ASSERT_NE(unlocked, nullptr);
    const UserIdentity bob{"PC-BOB", "bob"};
    ASSERT_EQ(deleteLockFile(item, true, bob), 0);
    ASSERT_EQ(createLockFile(item, bob), 0);
    unlocked->Control("<test_title>").text = "Alice again";
    port.ScriptAnswers({false, false});
    EXPECT_TRUE(unlocked->Save().has_value());
    EXPECT_TRUE(testing::Has(port.questions.back().text, "bob on PC-BOB unlocked it"));
    EXPECT_TRUE(testing::Has(ReadFile(item), "Later"));
}

TEST_F(ItemEditorsTest, NewItemsNeedAWritableFolderWithRoom) {
    EXPECT_EQ(TestCase::New(db / "no such folder", Context()), nullptr);
    EXPECT_EQ(LastNotice().caption, "Access Denied");
    std::filesystem::path deep = db / "Test Cases";
    while (deep.string().size() < 262)
        deep /= std::string(40, 'd');
    std::filesystem::create_directories(deep);
    EXPECT_EQ(TestCfg::New(deep, Context()), nullptr);
    EXPECT_EQ(LastNotice().caption, "Path length exceeds limit");
}

TEST_F(ItemEditorsTest, ReferenceItemsKeepTheirOrderOfChecks) {
    const auto folder = db / "Resources";
    WriteFile(folder / "RES9.vtl", "<test_resource><id>RES9</id></test_resource>");
    auto editor = TestResource::New(folder, Context());
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->Control("<id>").text, "RES10");
    editor->Control("<id>").text = "res9";  // taken, in other letters
    EXPECT_EQ(RefusedAt(*editor), &editor->Control("<id>"));
    editor->Control("<id>").text = "R:1";
    EXPECT_EQ(RefusedAt(*editor), &editor->Control("<id>"));
    editor->Control("<id>").text = "Lab PC";
    editor->Control("<testres_desc>").text = "Two screens\nOne keyboard";
    ASSERT_EQ(editor->Save(), std::nullopt);
    const std::string first = ReadFile(folder / "Lab PC.vtl");
    EXPECT_TRUE(testing::Has(first, "<![CDATA[Two screens<br>One keyboard]]>"));
    ASSERT_EQ(editor->Save(), std::nullopt);
    EXPECT_EQ(ReadFile(folder / "Lab PC.vtl"), first);
}

TEST_F(ItemEditorsTest, TesterPasswordsAreHashedAndChecked) {
    const auto folder = db / "Testers";
    EXPECT_FALSE(Tester::CanEditSelection(2, port));
    EXPECT_EQ(port.notices.size(), 1u);

    auto editor = Tester::New(folder, Context());
    ASSERT_NE(editor, nullptr);
    editor->Control("<id>").text = "dana";
    editor->Control("<remote_user>").checked = true;
    const FieldControl* password = &editor->Control("<passwd_hash>");
    EXPECT_EQ(RefusedAt(*editor), password);  // none
    editor->Password() = "tab\there";
    editor->passwordRepeat = "tab\there";
    EXPECT_EQ(RefusedAt(*editor), password);
    editor->Password() = "s3cret";
    editor->passwordRepeat = "s3cre";
    EXPECT_EQ(RefusedAt(*editor), password);
    editor->passwordRepeat = "s3cret";
    ASSERT_EQ(editor->Save(), std::nullopt);
    editor.reset();

    auto stored = [&] {
        XMLParse doc;
        doc.OpenRead(folder / "dana.vtl");
        doc.Load();
        std::string hash;
        doc.GetTag("<passwd_hash>", hash);
        return hash;
    };
    const std::string hash = stored();
    EXPECT_FALSE(testing::Has(hash, "s3cret"));
    EXPECT_TRUE(CheckPassword(hash, "s3cret"));

    auto reopened = Tester::Edit(folder / "dana.vtl", Context());
    ASSERT_NE(reopened, nullptr);
    EXPECT_EQ(reopened->Password(), "********");
    reopened->Control("<tester_loc>").text = "Lab 2";
    ASSERT_EQ(reopened->Save(), std::nullopt);
    EXPECT_EQ(stored(), hash);  // the mask keeps the stored hash

    auto none = Tester::New(folder, Context());
    none->Control("<id>").text = "lee";
    EXPECT_EQ(none->Save(), std::nullopt);  // no remote access, no password needed
}

TEST_F(ItemEditorsTest, SuitesTrimTheirIdAndLiveBesideTheirFolder) {
    const auto parent = db / "Test Cases";
    auto suite = TestGroup::New(parent, Context());
    ASSERT_NE(suite, nullptr);
    suite->Control("<id>").text = " . ";
    EXPECT_EQ(RefusedAt(*suite), &suite->Control("<id>"));
    suite->Control("<id>").text = " Login.";
    suite->Control("<suite_title>").text = "Logging in";
    ASSERT_EQ(suite->Save(), std::nullopt);
    EXPECT_TRUE(testing::Has(LastNotice().text, "New ID is Login"));
    EXPECT_TRUE(std::filesystem::is_directory(parent / "Login"));
    EXPECT_TRUE(std::filesystem::exists(parent / "Login.tgp"));

    auto twin = TestGroup::New(parent, Context());
    twin->Control("<id>").text = "LOGIN";
    EXPECT_EQ(RefusedAt(*twin), &twin->Control("<id>"));

    // A document kept inside the folder is read as well.
    std::filesystem::create_directories(parent / "Cart");
    WriteFile(parent / "Cart/Cart.tgp",
              "<test_suite><id>Cart</id><suite_title>Basket"
              "</suite_title></test_suite>");
    auto cart = TestGroup::Edit(parent / "Cart", Context());
    ASSERT_NE(cart, nullptr);
    EXPECT_EQ(cart->Control("<suite_title>").text, "Basket");
    EXPECT_TRUE(IsLocked(parent / "Cart/Cart.tgp"));
    EXPECT_EQ(GroupFolderOf(parent / "Cart/Cart.tgp"), parent / "Cart");
    EXPECT_EQ(GroupFolderOf(parent / "Login.tgp"), parent / "Login");
}

TEST_F(ItemEditorsTest, ProjectsMakeTheirFoldersAndCheckRoomAndDates) {
    const auto projects = db / "Projects";
    auto project = Project::New(projects, Context());
    ASSERT_NE(project, nullptr);
    project->Control("<id>").text = std::string(65, 'P');
    EXPECT_EQ(RefusedAt(*project), &project->Control("<id>"));

    // Room: folder path + ID + 32. 260 asks, 261 refuses.
    std::filesystem::path deep = db / "Deep";
    deep += std::string(208 - deep.string().size(), 'd');
    std::filesystem::create_directories(deep);
    auto cramped = Project::New(deep, Context());
    ASSERT_NE(cramped, nullptr);
    cramped->Control("<id>").text = std::string(20, 'q');
    port.ScriptAnswers({false});
    const std::optional<SaveRefusal> declined = cramped->Save();
    ASSERT_EQ(port.questions.size(), 1u);
    // The question the user declined is the refusal, and the ID is what to shorten.
    EXPECT_EQ(declined, (SaveRefusal{port.questions.back(), ItemEditor::kIdRow}));
    cramped->Control("<id>").text = std::string(21, 'q');
    EXPECT_EQ(RefusedAt(*cramped), &cramped->Control("<id>"));
    EXPECT_TRUE(std::filesystem::is_empty(deep));

    project->Control("<id>").text = "Alpha";
    project->Control("<planned_start_date>").date = CalendarDate{2026, 11, 2};
    project->Control("<planned_end_date>").date = CalendarDate{2026, 11, 1};
    EXPECT_EQ(RefusedAt(*project), &project->Control("<planned_end_date>"));
    project->Control("<planned_end_date>").date = CalendarDate{2026, 12, 1};
    project->Control("<actual_end_date>").date = CalendarDate{2026, 1, 1};  // no start: fine
    ASSERT_EQ(project->Save(), std::nullopt);
    for (const char* folder :
         {"Project Test Cases", "Project Reports/Status Reports",
          "Project Reports/Progress Reports", "Project Reports/Test Case Reports",
          "Project Reports/Test List Reports"})
        EXPECT_TRUE(std::filesystem::is_directory(projects / "Alpha" / folder)) << folder;
    ProjectDates dates = ReadProjectDates(projects / "Alpha");
    EXPECT_EQ(dates.plannedEnd, (CalendarDate{2026, 12, 1}));
    EXPECT_FALSE(dates.actualStart);
    EXPECT_EQ(project->WindowTitle(true), "Vantorel - Project Test Plan - Edit");
}

TEST_F(ItemEditorsTest, EveryKindWritesBackIdentically) {
    // Saved once, opened again and saved unchanged, each document keeps its bytes.
    auto reopenAndSave = [&](auto open, const std::filesystem::path& target,
                             const std::filesystem::path& document) {
        const std::string first = ReadFile(document);
        auto editor = open(target, Context());
        ASSERT_NE(editor, nullptr) << document;
        EXPECT_FALSE(editor->UpdateRequired());
        ASSERT_EQ(editor->Save(), std::nullopt) << document;
        EXPECT_EQ(ReadFile(document), first) << document;
    };

    auto testCase = TestCase::New(db / "Test Cases", Context());
    testCase->Control("<test_description>").text = "Step 1 & <two>\nStep 3";
    testCase->Control("<test_title>").text = "Quotes \" and 'apostrophes'";
    ASSERT_EQ(testCase->Save(), std::nullopt);
    testCase.reset();
    reopenAndSave(TestCase::Edit, db / "Test Cases/TC001.vtl", db / "Test Cases/TC001.vtl");

    auto cfg = TestCfg::New(db / "Test Configurations", Context());
    cfg->Control("<testcfg_loc>").text = "Lab <3>";
    ASSERT_EQ(cfg->Save(), std::nullopt);
    cfg.reset();
    reopenAndSave(TestCfg::Edit, db / "Test Configurations/CFG001.vtl",
                  db / "Test Configurations/CFG001.vtl");

    auto tester = Tester::New(db / "Testers", Context());
    tester->Control("<remote_user>").checked = true;
    tester->Password() = tester->passwordRepeat = "pw";
    ASSERT_EQ(tester->Save(), std::nullopt);
    tester.reset();
    reopenAndSave(Tester::Edit, db / "Testers/TESTER001.vtl", db / "Testers/TESTER001.vtl");

    auto suite = TestGroup::New(db / "Test Cases", Context());
    suite->Control("<id>").text = "Cart";
    suite->Control("<suite_description>").text = "Two\nlines";
    ASSERT_EQ(suite->Save(), std::nullopt);
    suite.reset();
    reopenAndSave(TestGroup::Edit, db / "Test Cases/Cart", db / "Test Cases/Cart.tgp");

    auto project = Project::New(db / "Projects", Context());
    project->Control("<id>").text = "Alpha";
    project->Control("<planned_start_date>").date = CalendarDate{2026, 1, 2};
    ASSERT_EQ(project->Save(), std::nullopt);
    project.reset();
    reopenAndSave(Project::Edit, db / "Projects/Alpha", db / "Projects/Alpha.tgp");
}

}  // namespace
}  // namespace vantorel
