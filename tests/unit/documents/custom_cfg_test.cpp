#include "documents/custom_cfg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "documents/customize_editor.h"
#include "storage/locks.h"
#include "support/document_fixture.h"

namespace vantorel {
namespace {

using testing::DocumentTest;
using testing::ReadFile;
using testing::WriteFile;

class CustomCfgTest : public DocumentTest {};

TEST_F(CustomCfgTest, MissingFileGetsTheShortDefaultDocumentAndBuiltInTables) {
    custom.Read(db, port, "bench-7");
    const std::string written = ReadFile(db / "custom.dat");
    EXPECT_FALSE(testing::Has(written, "<versions>"));
    EXPECT_LT(written.find("<report_colours>"), written.find("<report_strings>"));
    EXPECT_EQ(custom.StatusCount(), 5u);
    EXPECT_EQ(custom.Tables().types.size(), 11u);
    EXPECT_EQ(custom.Tables().phases.size(), 13u);
    EXPECT_EQ(custom.FirstStatus(), "Not yet attempted");
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(CustomCfgTest, WrittenDocumentReadsBackAndWritesIdentically) {
    CustomTables tables = BuiltInCustomTables();
    tables.versions = {"1.0", "2.0 <beta> & \"rc\""};
    tables.builds = {"b17"};
    tables.statuses = {{"Blocked", SM_OTHER}, {"Passed", SM_PASS}};
    tables.reportColours[1] = 0x123456;
    tables.currentUsers = {{"bench-7", "dana"}, {"lab-2", "lee"}};
    tables.defaults = {"12:30", 4, 2, "1.0", "b17"};
    custom.Replace(tables);
    ASSERT_TRUE(custom.Write(db).ok());
    const std::string first = ReadFile(db / "custom.dat");

    CustomCfg reread;
    reread.Read(db, port, "elsewhere");
    EXPECT_EQ(reread.Tables(), tables);
    ASSERT_TRUE(reread.Write(db).ok());
    EXPECT_EQ(ReadFile(db / "custom.dat"), first);
}

TEST_F(CustomCfgTest, ReadingKeepsTwentyTypesAndCutsOverlongValues) {
    std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<test_types>\r\n";
    for (int i = 0; i < 25; ++i)
        text += "<type>T" + std::to_string(i) + "</type>\r\n";
    text += "</test_types>\r\n<version>" + std::string(30, 'v') + "</version>\r\n";
    text +=
        "<status_vals><status_text>" + std::string(40, 's') + "</status_text><status>1</status>";
    text += "</status_vals>\r\n";
    WriteFile(db / "custom.dat", text);
    custom.Read(db, port, "bench-7");
    ASSERT_EQ(custom.Tables().types.size(), 20u);
    EXPECT_EQ(custom.Tables().types.back(), "T19");
    EXPECT_EQ(custom.Tables().versions.front(), std::string(25, 'v'));
    ASSERT_EQ(custom.StatusCount(), 1u);
    EXPECT_EQ(custom.Status(0).text, std::string(32, 's'));
    EXPECT_EQ(custom.Tables().notesCaptions[2], "Result Notes");
}

TEST_F(CustomCfgTest, MeaningOutsideTheFiveReadsAsAMissingOne) {
    WriteFile(db / "custom.dat",
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<status_vals>\r\n"
              "<status_text>Huge</status_text><status>100000000</status>\r\n"
              "<status_text>Five</status_text><status>5</status>\r\n"
              "<status_text>Negative</status_text><status>-1</status>\r\n"
              "<status_text>Word</status_text><status>pass</status>\r\n"
              "<status_text>Done</status_text><status>4</status>\r\n</status_vals>\r\n");
    custom.Read(db, port, "bench-7");
    ASSERT_EQ(custom.StatusCount(), 5u);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(custom.Status(i).meaning, SM_NOT_YET_ATTEMPTED) << custom.Status(i).text;
    EXPECT_EQ(custom.Status(4).meaning, SM_POSTPONED);
    EXPECT_TRUE(port.notices.empty());

    // Tables handed over whole are checked where the meaning is used.
    CustomTables tables = custom.Tables();
    tables.statuses[4].meaning = 7;
    custom.Replace(tables);
    EXPECT_EQ(custom.MeaningAt(4), SM_NOT_YET_ATTEMPTED);
    EXPECT_EQ(custom.MeaningOf("done"), SM_NOT_YET_ATTEMPTED);
    EXPECT_EQ(custom.ResolveStatus("Not yet attempted"), 0u);
}

TEST_F(CustomCfgTest, StatusResolvesByTextThenMeaningIgnoringCase) {
    CustomTables tables = BuiltInCustomTables();
    tables.statuses = {{"Retest", SM_FAIL}, {"Blocked", SM_OTHER}, {"Fail", SM_POSTPONED}};
    custom.Replace(tables);
    EXPECT_EQ(custom.ResolveStatus("blocked"), 1u);
    EXPECT_EQ(custom.ResolveStatus("FAIL"), 2u);  // a text match wins over the meaning name
    EXPECT_EQ(custom.ResolveStatus("other"), 1u);
    EXPECT_EQ(custom.ResolveStatus("Pass"), std::nullopt);
    EXPECT_EQ(custom.MeaningOf("retest"), SM_FAIL);
    EXPECT_EQ(MeaningSlot(SM_PASS), 2);
    EXPECT_EQ(MeaningSlot(SM_NOT_YET_ATTEMPTED), 0);
}

TEST_F(CustomCfgTest, EachComputerKeepsItsOwnCurrentUser) {
    WriteFile(db / "Testers/dana.vtl", "<tester><id>dana</id></tester>");
    ASSERT_TRUE(custom.SetCurrentUser(db, "bench-7", "dana").ok());
    ASSERT_TRUE(custom.SetCurrentUser(db, "lab-2", "lee").ok());
    ASSERT_TRUE(custom.SetCurrentUser(db, "bench-7", "dana").ok());
    CustomCfg other;
    other.Read(db, port, "bench-7");
    EXPECT_EQ(other.CurrentUser("bench-7"), "dana");
    EXPECT_EQ(other.CurrentUser("lab-2"), "lee");
    EXPECT_EQ(other.Tables().currentUsers.size(), 2u);
    EXPECT_TRUE(port.questions.empty());

    port.ScriptAnswers({true});
    CustomReadOutcome outcome = other.Read(db, port, "lab-2");
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_TRUE(testing::Has(port.questions[0].text, "(lee)"));
    EXPECT_TRUE(outcome.chooseNewUser);
}

TEST_F(CustomCfgTest, UnreadableFolderIsToldAndDefaultsStay) {
    custom.Read(dir.path() / "missing", port, "bench-7");
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Unable to open custom.dat");
    EXPECT_EQ(custom.StatusCount(), 5u);
}

class CustomizeEditorTest : public DocumentTest {
protected:
    std::unique_ptr<CustomizeEditor> Open() {
        custom.Read(db, port, "bench-7");
        return CustomizeEditor::Open(&db, custom, port, {"bench-7", "dana"});
    }
    const Notice& LastNotice() { return port.notices.back(); }
    // The step is refused and the user told why, once.
    void ExpectRefused(const std::function<bool()>& step) {
        const std::size_t told = port.notices.size();
        EXPECT_FALSE(step());
        EXPECT_EQ(port.notices.size(), told + 1);
    }
};

// A custom.dat as a hand edit or another tool leaves it: an empty entry after the first type
// and among the phases, 25 types, 11 statuses, one of them with a meaning of 9.
class OverfullCustomTest : public CustomizeEditorTest {
protected:
    void SetUp() override {
        types = {"[None Selected]"};
        for (int i = 1; i < 25; ++i)
            types.push_back("Type " + std::to_string(i));
        phases = {"[None Selected]", "Smoke", "Regression", "Usability"};
        statuses = {{"Blocked", 9}};
        for (int i = 1; i < 11; ++i)
            statuses.push_back({"Status " + std::to_string(i), SM_FAIL});
        std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<test_types>\r\n";
        for (std::size_t i = 0; i < types.size(); ++i)
            text += (i == 1 ? "<type></type>\r\n" : "") + ("<type>" + types[i] + "</type>\r\n");
        text += "</test_types>\r\n<test_phases>\r\n";
        for (std::size_t i = 0; i < phases.size(); ++i)
            text +=
                (i == 2 ? "<phase></phase>\r\n" : "") + ("<phase>" + phases[i] + "</phase>\r\n");
        text += "</test_phases>\r\n<computer_name></computer_name>\r\n<user_name></user_name>\r\n";
        text +=
            "<computer_name>lab-2</computer_name>\r\n<user_name>lee</"
            "user_name>\r\n<status_vals>\r\n";
        for (const StatusEntry& status : statuses)
            text += "<status_text>" + status.text + "</status_text>\r\n<status>" +
                    std::to_string(status.meaning) + "</status>\r\n";
        text += "</status_vals>\r\n";
        WriteFile(db / "custom.dat", text);
    }

    std::vector<std::string> types, phases;
    std::vector<StatusEntry> statuses;
};

TEST_F(OverfullCustomTest, SavedFromTheSheetAfterConsentItLosesNothingItDidNotName) {
    port.ScriptAnswers({true});
    auto editor = Open();
    ASSERT_NE(editor, nullptr);
    ASSERT_EQ(port.questions.size(), 1u);
    const std::string said = port.questions[0].text;
    editor->notes[0] = "Steps";
    ASSERT_EQ(editor->Commit(), std::nullopt);
    editor.reset();

    CustomCfg saved;
    saved.Read(db, port, "bench-7");
    const CustomTables& kept = saved.Tables();
    const auto keptOrNamed = [&](const std::vector<std::string>& keptList,
                                 const std::vector<std::string>& original) {
        for (const std::string& entry : original) {
            if (std::find(keptList.begin(), keptList.end(), entry) == keptList.end()) {
                EXPECT_TRUE(testing::Has(said, '"' + entry + '"'))
                    << entry << " was dropped unnamed:\n"
                    << said;
            }
        }
    };
    keptOrNamed(kept.types, types);
    keptOrNamed(kept.phases, phases);
    EXPECT_EQ(kept.types, std::vector<std::string>(types.begin(), types.begin() + 20));
    EXPECT_EQ(kept.phases, phases);
    std::vector<std::string> keptStatuses, originalStatuses;
    for (const StatusEntry& status : kept.statuses)
        keptStatuses.push_back(status.text);
    for (const StatusEntry& status : statuses)
        originalStatuses.push_back(status.text);
    keptOrNamed(keptStatuses, originalStatuses);
    ASSERT_EQ(kept.statuses.size(), 10u);
    // The changed meaning is named with the value the file gave it.
    EXPECT_EQ(kept.statuses[0].meaning, SM_NOT_YET_ATTEMPTED);
    EXPECT_TRUE(testing::Has(said,
                             "\"Blocked\" with the meaning Not yet attempted: its meaning in the "
                             "file, \"9\""))
        << said;
    EXPECT_EQ(kept.currentUsers, (std::vector<CurrentUserPair>{{"lab-2", "lee"}}));
    EXPECT_EQ(kept.notesCaptions[0], "Steps");

    // Once saved, the file holds only what the tables do: nothing more to say.
    port.questions.clear();
    saved.Read(db, port, "bench-7");
    EXPECT_TRUE(CustomizeEditor::Open(&db, saved, port, {"bench-7", "dana"}));
    EXPECT_TRUE(port.questions.empty());
}

TEST_F(OverfullCustomTest, DecliningWritesNothing) {
    const std::string before = ReadFile(db / "custom.dat");
    port.ScriptAnswers({false});
    EXPECT_EQ(Open(), nullptr);
    EXPECT_FALSE(IsLocked(db / "custom.dat"));

    // Choosing the current user writes custom.dat too, and asks the same.
    WriteFile(db / "Testers/lee.vtl", "<tester><id>lee</id></tester>");
    port.ScriptAnswers({false});
    EXPECT_FALSE(ChooseCurrentUser(db, custom, "bench-7", TesterChoices(db), 0, port));
    ASSERT_EQ(port.questions.size(), 2u);
    EXPECT_EQ(port.questions[1].caption, port.questions[0].caption);
    // So does writing it back when the current user is no tester; it is left as it is.
    std::filesystem::remove(db / "Testers/lee.vtl");
    custom.Read(db, port, "lab-2");
    EXPECT_EQ(port.questions.back().caption, "Vantorel - Tester Missing");
    EXPECT_EQ(ReadFile(db / "custom.dat"), before);
}

TEST_F(CustomizeEditorTest, RefusesWithoutDatabaseAndTakesTheLock) {
    EXPECT_EQ(CustomizeEditor::Open(nullptr, custom, port), nullptr);
    EXPECT_EQ(LastNotice().caption, "No DB open");

    auto editor = Open();
    ASSERT_NE(editor, nullptr);
    EXPECT_TRUE(IsLocked(db / "custom.dat"));
    EXPECT_EQ(CustomizeEditor::Open(&db, custom, port, {"lab-2", "lee"}), nullptr);
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_EQ(port.questions[0].text.rfind("Customization file (config.dat) is locked.\n", 0), 0u);
    editor.reset();
    EXPECT_FALSE(IsLocked(db / "custom.dat"));
}

TEST_F(CustomizeEditorTest, ListAndStatusPagesRefuseWhatTheyCantHold) {
    auto editor = Open();
    ExpectRefused([&] { return editor->Add(CustomList::Types, ""); });
    ExpectRefused([&] { return editor->Add(CustomList::Types, "Alpha"); });  // already there
    for (int i = 0; editor->List(CustomList::Types).size() < 20; ++i)
        ASSERT_TRUE(editor->Add(CustomList::Types, "Extra " + std::to_string(i)));
    ExpectRefused([&] { return editor->Add(CustomList::Types, "One too many"); });
    EXPECT_TRUE(testing::Has(LastNotice().text, "maximum allowed is 20"));
    EXPECT_TRUE(editor->Add(CustomList::Versions, std::string(25, '9')));
    ExpectRefused([&] { return editor->Add(CustomList::Versions, std::string(26, '9')); });
    ExpectRefused([&] { return editor->Add(CustomList::Builds, ""); });
    ExpectRefused([&] { return editor->Move(CustomList::Phases, {1, 2}, true); });
    EXPECT_TRUE(editor->Move(CustomList::Phases, {2}, true));
    EXPECT_EQ(editor->List(CustomList::Phases)[1], "Fitness for use");

    ExpectRefused([&] { return editor->RemoveStatuses({0, 1, 2, 3, 4}); });
    ExpectRefused([&] { return editor->StatusForEdit({}).has_value(); });
    ExpectRefused([&] { return editor->StatusForEdit({0, 1}).has_value(); });
    ExpectRefused([&] { return editor->AddStatus({"pass", SM_PASS, "x", 0}); });
    ExpectRefused([&] { return editor->AddStatus({std::string(33, 's'), SM_PASS, "x", 0}); });
    ExpectRefused([&] { return editor->AddStatus({"Fine", SM_PASS, std::string(65, 'r'), 0}); });
    ASSERT_TRUE(editor->AddStatus({std::string(32, 's'), SM_PASS, std::string(64, 'r'), 0}));
    ASSERT_TRUE(editor->AddStatus({"Retest", SM_FAIL, "Failures", 0x010203}));

    // The caption and colour belong to the meaning: "Fail" shows what "Retest" set.
    std::vector<StatusRow> rows = editor->StatusRows();
    EXPECT_EQ(rows[1].text, "Fail");
    EXPECT_EQ(rows[1].reportString, "Failures");
    EXPECT_EQ(rows[1].colour, "#030201");

    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(editor->AddStatus({"More " + std::to_string(i), SM_OTHER, "Other", 0}));
    ExpectRefused([&] { return editor->CanAddStatus(); });
}

TEST_F(CustomizeEditorTest, CommitChecksPagesThenWritesOnce) {
    auto editor = Open();
    const std::string before = ReadFile(db / "custom.dat");
    editor->Add(CustomList::Versions, "2.1");
    // Each page's fault is refused, told, and names the field to go back to.
    const auto refusedAt = [&](std::optional<std::size_t> field) {
        const std::size_t told = port.notices.size();
        const std::optional<SaveRefusal> refusal = editor->Commit();
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->field, field);
        EXPECT_EQ(port.notices.size(), told + 1);
        EXPECT_EQ(LastNotice(), refusal->notice);
    };
    editor->notes[1] = "";
    refusedAt(kNotes2NameField);
    editor->notes[1] = "Risks";
    editor->defaults.expected = "1000:00";
    refusedAt(kExpectedDurationField);
    editor->defaults.expected = "2:15";
    editor->defaults.digits = "7";
    refusedAt(kAutoIncrementDigitsField);
    editor->defaults.digits = "2";
    editor->defaults.step = "100";
    refusedAt(kAutoIncrementStepField);
    EXPECT_EQ(ReadFile(db / "custom.dat"), before);
    EXPECT_EQ(custom.Tables().versions.size(), 0u);

    editor->defaults.step = "99";
    editor->defaults.version = "2.1";
    ExpectRefused([&] { return editor->UpdateReportString(std::nullopt, "x"); });
    EXPECT_TRUE(editor->UpdateReportString(10, "Plan"));
    ASSERT_EQ(editor->Commit(), std::nullopt);
    CustomCfg reread;
    reread.Read(db, port, "bench-7");
    EXPECT_EQ(reread.Tables().notesCaptions[1], "Risks");
    EXPECT_EQ(reread.Tables().defaults, (DefaultValues{"2:15", 2, 99, "2.1", ""}));
    EXPECT_EQ(reread.ReportString(10), "Plan");
}

TEST_F(CustomizeEditorTest, AFailedWriteLeavesTheCustomisationInUse) {
    auto editor = Open();
    ASSERT_TRUE(editor->Add(CustomList::Versions, "2.1"));
    // The share went away while the dialog was open.
    std::filesystem::remove_all(db);
    const std::optional<SaveRefusal> refusal = editor->Commit();
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->field, std::nullopt);
    EXPECT_TRUE(testing::Has(LastNotice().text, "custom.dat"));
    EXPECT_TRUE(custom.Tables().versions.empty());
}

TEST_F(CustomizeEditorTest, WhatTheSheetShowsComesFromTheDraft) {
    auto editor = Open();
    EXPECT_FALSE(editor->TypedFits("Test Type", "Costs in \xE2\x82\xAC"));
    EXPECT_EQ(LastNotice().caption, "Invalid character");
    EXPECT_TRUE(testing::Has(LastNotice().text, "'Test Type'"));
    const std::size_t told = port.notices.size();
    EXPECT_TRUE(editor->TypedFits("Test Type", "Caf\xC3\xA9"));
    EXPECT_EQ(port.notices.size(), told);

    EXPECT_EQ(editor->DefaultChoices(CustomList::Builds), std::vector<std::string>{"--None--"});
    ASSERT_TRUE(editor->Add(CustomList::Builds, "b17"));
    EXPECT_EQ(editor->DefaultChoices(CustomList::Builds),
              (std::vector<std::string>{"--None--", "b17"}));

    const std::vector<std::size_t> slots = EditableReportSlots();
    EXPECT_EQ(slots, (std::vector<std::size_t>{0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 15}));

    // The status dialog shows the caption and colour of the meaning chosen, as the draft has
    // them now.
    const StatusDraft fresh = editor->NewStatus();
    EXPECT_EQ(fresh.text, "");
    EXPECT_EQ(fresh.meaning, SM_NOT_YET_ATTEMPTED);
    EXPECT_EQ(fresh.reportString, "Tests not yet attempted");
    editor->SetReportColour(4, 0x123456);
    const StatusDraft postponed = editor->WithMeaning(fresh, SM_POSTPONED);
    EXPECT_EQ(postponed.reportString, "Tests postponed");
    EXPECT_EQ(StatusDialogColourText(postponed.colour), "#563412");
    EXPECT_EQ(editor->WithMeaning(fresh, SM_PASS).reportString, "Tests passed");
}

TEST_F(CustomizeEditorTest, ChoosingTheCurrentUser) {
    EXPECT_FALSE(ChooseCurrentUser(db, custom, "bench-7", TesterChoices(db), 0, port));
    EXPECT_EQ(LastNotice().caption, "No testers available");
    WriteFile(db / "Testers/lee.vtl",
              "<tester>\r\n<id>lee</id>\r\n<tester_name>Lee Park</tester_name>\r\n</tester>");
    const std::vector<std::string> rows = TesterChoices(db);
    ASSERT_EQ(rows, std::vector<std::string>{"lee : Lee Park"});
    EXPECT_FALSE(ChooseCurrentUser(db, custom, "bench-7", rows, std::nullopt, port));
    EXPECT_EQ(LastNotice().caption, "No user name selected");
    ASSERT_TRUE(ChooseCurrentUser(db, custom, "bench-7", rows, 0, port));
    EXPECT_EQ(custom.CurrentUser("bench-7"), "lee");
}

}  // namespace
}  // namespace vantorel
