#include "exchange/csv_import.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "documents/prj_test_case.h"
#include "documents/test_case.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

CsvTable Parsed(std::string_view bytes) {
    auto parsed = ParseCsv(bytes);
    if (const CsvFault* fault = std::get_if<CsvFault>(&parsed))
        ADD_FAILURE() << "line " << fault->line << ": " << fault->reason;
    return std::get_if<CsvTable>(&parsed) ? std::get<CsvTable>(parsed) : CsvTable{};
}

CsvFault Fault(std::string_view bytes) {
    auto parsed = ParseCsv(bytes);
    EXPECT_TRUE(std::holds_alternative<CsvFault>(parsed));
    return std::holds_alternative<CsvFault>(parsed) ? std::get<CsvFault>(parsed) : CsvFault{};
}

TEST(CsvReadingTest, ReadsWhatSpreadsheetsWrite) {
    // A spreadsheet of a semicolon locale, with a byte-order mark and a quoted line break.
    const CsvTable semicolons =
        Parsed("\xEF\xBB\xBFID;Test Title\r\nA1;\"Caf\xC3\xA9; \"\"two\"\"\r\nlines\"\r\n\r\n");
    EXPECT_EQ(semicolons.separator, ';');
    EXPECT_EQ(semicolons.encoding, CsvTextEncoding::Utf8);
    ASSERT_EQ(semicolons.rows.size(), 1u);
    EXPECT_EQ(semicolons.rows[0].cells[1], "Caf\xC3\xA9; \"two\"\nlines");

    const CsvTable latin1 = Parsed("ID\tTitle\nA1\tCaf\xE9\nA2\t\n");
    EXPECT_EQ(latin1.separator, '\t');
    EXPECT_EQ(latin1.encoding, CsvTextEncoding::Latin1);
    EXPECT_EQ(latin1.rows[0].cells[1], "Caf\xC3\xA9");
    EXPECT_EQ(latin1.rows[1].line, 3u);
    EXPECT_EQ(latin1.rows[1].cells[1], "");
}

TEST(CsvReadingTest, RefusesWhatIsNoTableWithTheLine) {
    EXPECT_EQ(Fault("").reason, "the file is empty");
    EXPECT_EQ(Fault("\xEF\xBB\xBF\r\n\r\n").reason, "the file is empty");
    using namespace std::string_view_literals;
    const CsvFault binary = Fault("ID,Title\nA,b\n\x89PNG\r\n\x1A\n\x00\x00"sv);
    EXPECT_EQ(binary.line, 4u);
    EXPECT_TRUE(binary.reason.starts_with("the file is not text"));
    const CsvFault open = Fault("ID,Title\nA,\"never\nclosed\n");
    EXPECT_EQ(open.line, 2u);
    EXPECT_EQ(open.reason, "a quoted field is not closed");
    EXPECT_EQ(Fault("ID,Title\nA,\"x\"y\n").line, 2u);
    const CsvFault mixed = Fault("ID,Title\nA,b\nC,d,e\n");
    EXPECT_EQ(mixed.line, 3u);
    EXPECT_EQ(mixed.reason, "the row has 3 fields where the header row has 2");

    std::string huge = "ID,Title\nA,\"";
    huge.append(100 * 1024 * 1024, 'x');
    huge += "\"\n";
    const CsvFault longRow = Fault(huge);
    EXPECT_EQ(longRow.line, 2u);
    EXPECT_EQ(longRow.reason, "the row is longer than 16 MB");
}

class CsvImportTest : public ProjectTest {
protected:
    CsvImportTest() { fs::create_directories(suite); }

    std::optional<CsvImport> Open(const std::string& text,
                                  CsvSource source = CsvSource::LibraryTestCases) {
        WriteFile(file, text);
        return CsvImport::Open(file, source, db, custom, port);
    }

    std::vector<std::string> Documents(const fs::path& folder) {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(folder))
            names.push_back(entry.path().lexically_relative(folder).generic_string());
        std::sort(names.begin(), names.end());
        return names;
    }

    const fs::path suite = db / "Test Cases" / "Login";
    const fs::path file = dir / "in.csv";
};

TEST_F(CsvImportTest, ColumnsAreMatchedByCaptionAndTheChoiceIsKeptForTheDatabase) {
    auto import = Open("Test Title,id,Priority,Colour,Expected Duration\r\nT,A1,High,red,1:5\r\n");
    ASSERT_TRUE(import);
    std::vector<std::string> captions;
    for (std::size_t column = 0; column < 5; ++column)
        captions.push_back(import->FieldOf(column)
                               ? import->Fields()[*import->FieldOf(column)].caption
                               : std::string("-"));
    EXPECT_EQ(captions, (std::vector<std::string>{"Test Title", "ID", "Priority", "-",
                                                  "Expected Test Duration (HHH:MM)"}));
    EXPECT_EQ(import->Preview(),
              (std::vector<std::vector<std::string>>{{"T", "A1", "High", "red", "1:5"}}));
    EXPECT_EQ(import->LineOf(0), 2u);

    // Colour goes to the requirement; the title's column is left out.
    const auto requirement =
        std::find_if(import->Fields().begin(), import->Fields().end(),
                     [](const auto& f) { return f.caption == "Requirements"; });
    import->Map(3, requirement - import->Fields().begin());
    import->Map(0, std::nullopt);
    ASSERT_TRUE(import->SaveMapping().ok());
    auto again = Open("Test Title,Colour\r\nx,y\r\n");
    ASSERT_TRUE(again);
    EXPECT_FALSE(again->FieldOf(0));
    EXPECT_EQ(again->Fields()[*again->FieldOf(1)].caption, "Requirements");
}

TEST_F(CsvImportTest, EveryRefusalIsListedWithItsLineAndColumnAndNothingIsWritten) {
    WriteFile(suite / "OLD.vtl", "<test_case><id>OLD</id></test_case>");
    auto import = Open(
        "ID,Test Title,Test Type,Expected Test Duration (HHH:MM),Test Creation Date\r\n"
        "A1,Good,Unit test,01:00,2026-11-02\r\n"
        "old,Clash,Alpha,1:60,2026-13-01\r\n"
        "B|2,\"Euro \xE2\x82\xAC\",Nightly,,\r\n"
        "a1,Twice,,,\r\n");
    ASSERT_TRUE(import);
    const std::vector<CsvRefusal> expected{
        {3, 1, "ID", "the ID \"old\" already exists in the suite"},
        {3, 4, "Expected Test Duration (HHH:MM)",
         "\"1:60\" is not a duration (HHH:MM, hours 0-999 and minutes 0-59)"},
        {3, 5, "Test Creation Date", "\"2026-13-01\" is not a date (yyyy-mm-dd)"},
        {4, 1, "ID", "the ID \"B|2\" holds a character that is not allowed: \\ / : * ? \" < > |"},
        {4, 2, "Test Title",
         "the character \"\xE2\x82\xAC\" can't be kept: documents are ISO-8859-1, which has no "
         "such character"},
        {4, 3, "Test Type", "\"Nightly\" is not in the database's list of test types"},
        {5, 1, "ID", "the ID \"a1\" already exists in the suite"},
    };
    EXPECT_EQ(import->Check(suite), expected);

    EXPECT_FALSE(import->Import({.folder = suite}, Context()));
    EXPECT_EQ(Documents(suite), (std::vector<std::string>{"OLD.vtl"}));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Import from CSV");
    EXPECT_TRUE(
        port.notices[0].text.starts_with("3 of 4 rows are refused:\nLine 3, column 1 (ID)"));
    EXPECT_TRUE(port.notices[0].text.ends_with("Nothing has been imported."));

    // Asked for, the good rows go in and the others are left out.
    const auto outcome = import->Import({.folder = suite, .goodRowsOnly = true}, Context());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->written, 1u);
    EXPECT_EQ(Documents(suite), (std::vector<std::string>{"A1.vtl", "OLD.vtl"}));
}

TEST(CsvCheckTest, TheSummaryCountsRefusedRowsAndTheGoodRowsOnlyNeedSomeGoodRow) {
    const std::vector<CsvRefusal> none;
    const std::vector<CsvRefusal> lineThreeTwice{{3, 1, "ID", "a"}, {3, 2, "Title", "b"}};
    EXPECT_EQ(CsvCheckText(none, 4), "All 4 rows can be imported");
    EXPECT_EQ(CsvCheckText(none, 1), "The row can be imported");
    EXPECT_EQ(CsvCheckText(lineThreeTwice, 4),
              "1 of 4 rows are refused; the others can be imported on their own");
    EXPECT_EQ(CsvCheckText(lineThreeTwice, 1), "1 of 1 row is refused");

    EXPECT_TRUE(CsvImportAllowed(none, 4, false));
    EXPECT_FALSE(CsvImportAllowed(none, 0, true));
    EXPECT_FALSE(CsvImportAllowed(lineThreeTwice, 4, false));
    EXPECT_TRUE(CsvImportAllowed(lineThreeTwice, 4, true));
    EXPECT_FALSE(CsvImportAllowed(lineThreeTwice, 1, true));
    CsvImportOutcome outcome;
    outcome.written = 3;
    EXPECT_TRUE(Has(CsvImportDoneNotice(outcome, 4).text, "3 of 4"));
}

TEST_F(CsvImportTest, ExportThenImportIntoAnEmptySuiteGivesTheSameDocuments) {
    // Made through the dialog's model, with the awkward characters in text and rich text.
    const fs::path source = db / "Test Cases" / "Source";
    fs::create_directories(source / "Deep");
    for (const auto& [folder, id, title] :
         {std::tuple{source, "TC001", "Caf\xE9, \"cr\xE8me\" & co"},
          std::tuple{source / "Deep", "TC002", "Line\none"}}) {
        auto editor = TestCase::New(folder, Context(), false);
        ASSERT_TRUE(editor);
        editor->Control("<id>").text = id;
        editor->Control("<test_title>").text = title;
        editor->Control("<test_description>").text =
            "Press \"Pay\", then wait &amp; see\n\xE0 bient\xF4t; 1 &lt; 2";
        editor->Control("<test_type>").text = "Unit test";
        editor->Control("<priority>").text = "High";
        editor->Control("<test_duration>").text = "12:05";
        editor->Control("<requirement>").text = "REQ-1, REQ-2";
        ASSERT_FALSE(editor->Save());
    }
    // Later, by another user, so the import must keep the moments and authors it is given.
    clock = {{2026, 12, 1}, {8, 0, 0}};
    const fs::path csv = dir / "round.csv";
    ASSERT_EQ(ExportTestCasesCsv({CsvSource::LibraryTestCases, source, csv, {}, {}}, port), 2u);

    const fs::path target = db / "Test Cases" / "Copy";
    fs::create_directories(target);
    auto import = CsvImport::Open(csv, CsvSource::LibraryTestCases, db, custom, port);
    ASSERT_TRUE(import);
    // The IDs are the source's too: No to the one question imports nothing.
    EXPECT_FALSE(import->Import({.folder = target}, Context()));
    EXPECT_TRUE(fs::is_empty(target));
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_TRUE(Has(port.questions[0].text,
                    "2 IDs are already used by other test cases:\nTC001: "
                    "Test Cases/Source/TC001\nTC002: Test "
                    "Cases/Source/Deep/TC002\n"));
    port.ScriptAnswers({true});
    const auto outcome = import->Import({.folder = target}, Context());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->written, 2u);
    EXPECT_TRUE(port.notices.empty()) << port.notices[0].text;
    EXPECT_EQ(ReadFile(target / "TC001.vtl"), ReadFile(source / "TC001.vtl"));
    EXPECT_EQ(ReadFile(target / "Deep" / "TC002.vtl"), ReadFile(source / "Deep" / "TC002.vtl"));
    EXPECT_TRUE(fs::exists(target / "Deep.tgp") || fs::exists(target / "Deep" / "Deep.tgp") ||
                fs::is_directory(target / "Deep"));
}

TEST_F(CsvImportTest, RichTextKeepsItsMarkupThroughHtmlCells) {
    const fs::path source = db / "Test Cases" / "Marked";
    fs::create_directories(source);
    auto editor = TestCase::New(source, Context(), false);
    ASSERT_TRUE(editor);
    editor->Control("<id>").text = "M1";
    editor->Control("<test_description>").text =
        "<p>Press <b>Pay</b> &amp; wait</p>\n<ul><li>one, \"two\"</li></ul>";
    ASSERT_FALSE(editor->Save());
    const fs::path csv = dir / "marked.csv";
    ASSERT_EQ(ExportTestCasesCsv({CsvSource::LibraryTestCases,
                                  source,
                                  csv,
                                  {CsvEncoding::Latin1, CsvRichText::Html},
                                  {}},
                                 port),
              1u);

    const fs::path target = db / "Test Cases" / "Again";
    fs::create_directories(target);
    auto import = CsvImport::Open(csv, CsvSource::LibraryTestCases, db, custom, port);
    ASSERT_TRUE(import);
    EXPECT_EQ(import->Encoding(), CsvTextEncoding::Utf8);  // plain ASCII reads as either
    import->richText = CsvRichText::Html;
    port.ScriptAnswers({true});  // M1 is the source's ID too
    ASSERT_TRUE(import->Import({.folder = target}, Context()));
    EXPECT_EQ(ReadFile(target / "M1.vtl"), ReadFile(source / "M1.vtl"));
}

TEST_F(CsvImportTest, ProjectTestCasesStartWithTheirCreationBlockAndAutomaticIds) {
    auto import = Open(
        "Test Title,Test Status,Number of Test Attempts,Test Creation Date,Test Creation Time\r\n"
        "First,pass,2,2026-11-02,09:15:00\r\n"
        "Second,,,,\r\n",
        CsvSource::ProjectTestCases);
    ASSERT_TRUE(import);
    const auto outcome = import->Import({.folder = cases}, Context());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->written, 2u);
    EXPECT_EQ(Documents(cases), (std::vector<std::string>{"TC001.vtl", "TC002.vtl"}));

    auto first = PrjTestCase::Edit(cases / "TC001.vtl", Context());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->Control("<test_status>").text, "Pass");
    ASSERT_EQ(first->History().size(), 1u);
    const HistoryBlock& created = first->History()[0];
    EXPECT_FALSE(created.update);
    EXPECT_EQ(created.when, (LocalMoment{{2026, 11, 2}, {9, 15, 0}}));
    EXPECT_EQ(created.newStatus, "Pass");
    EXPECT_EQ(created.tries, 2);

    auto second = PrjTestCase::Edit(cases / "TC002.vtl", Context());
    ASSERT_TRUE(second);
    EXPECT_EQ(second->Control("<test_status>").text, "Not yet attempted");
    ASSERT_EQ(second->History().size(), 1u);
    EXPECT_EQ(second->History()[0].when, clock);
}

TEST_F(CsvImportTest, AStopLeavesTheRowsWrittenSoFarWholeAndTheRestUnwritten) {
    auto import = Open("ID,Test Title\r\nS1,a\r\nS2,b\r\nS3,c\r\n");
    ASSERT_TRUE(import);
    std::stop_source stop;
    port.CancelAtProgress(1, stop);
    const auto outcome = import->Import({.folder = suite, .stop = stop.get_token()}, Context());
    ASSERT_TRUE(outcome);
    EXPECT_FALSE(outcome->complete);
    EXPECT_EQ(outcome->written, 1u);
    EXPECT_EQ(Documents(suite), (std::vector<std::string>{"S1.vtl"}));
    EXPECT_TRUE(TestCase::Edit(suite / "S1.vtl", Context()));
    ASSERT_FALSE(port.notices.empty());
    EXPECT_EQ(port.notices.back().text,
              "The import from CSV was cancelled after 1 test case; it is whole");
}

TEST_F(CsvImportTest, AFileThatIsNoTableIsRefusedWithItsLine) {
    EXPECT_FALSE(Open("ID,Title\r\nA,\"open\r\n"));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(Has(port.notices[0].text, file.string() + "\" can't be imported: line 2: "));
}

}  // namespace
}  // namespace vantorel::testing
