#include "exchange/csv_export.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>

#include <stop_token>

#include "documents/field_tables.h"
#include "storage/text_conversions.h"
#include "support/project_fixture.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kSample = VANTOREL_SAMPLE_DB;

// Reads CSV the way a spreadsheet does, so the tests check what a reader gets back rather
// than the bytes the writer chose: rows of fields, quotes undone, CR LF between rows.
std::vector<std::vector<std::string>> ParseCsv(std::string_view text) {
    std::vector<std::vector<std::string>> rows(1);
    std::string field;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"')
                field += text[++i];
            else if (c == '"')
                quoted = false;
            else
                field += c;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            rows.back().push_back(std::move(field));
            field.clear();
        } else if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            rows.back().push_back(std::move(field));
            field.clear();
            rows.emplace_back();
            ++i;
        } else {
            field += c;
        }
    }
    EXPECT_TRUE(rows.back().empty() && field.empty()) << "the last row must end with CR LF";
    rows.pop_back();
    return rows;
}

TEST(CsvFieldTest, QuotesOnlyFieldsThatNeedItDoublesTheirQuotesAndReadsBackAsWritten) {
    EXPECT_EQ(CsvField("plain text"), "plain text");
    EXPECT_EQ(CsvField("a,b"), "\"a,b\"");
    EXPECT_EQ(CsvField("say \"hi\""), "\"say \"\"hi\"\"\"");
    EXPECT_EQ(CsvField("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(CsvField("cr\r"), "\"cr\r\"");
    EXPECT_EQ(CsvRow({"a", "", "b,c"}), "a,,\"b,c\"\r\n");
    // Awkward fields read back as written.
    const std::vector<std::string> fields{"\"", ",", "a\r\nb", "", "Caf\xE9 \"x\", y\n"};
    EXPECT_EQ(ParseCsv(CsvRow(fields) + CsvRow({"next"})),
              (std::vector<std::vector<std::string>>{fields, {"next"}}));
}

TEST(CsvValueTest, RichTextIsPlainTextWithLineBreaksUnlessHtmlIsAskedFor) {
    const std::string stored =
        "<![CDATA[<p>Open &quot;Caf&eacute;&quot;</p><p>Press <b>Pay</b> &amp; wait&#33;<br>"
        "Done &lt;3&nbsp;s</p>]]>";
    // An entity editors never write stays as it was rather than vanish.
    EXPECT_EQ(CsvValue(FT_RICH_TEXT, stored, CsvRichText::PlainText),
              "Open \"Caf&eacute;\"\nPress Pay & wait!\nDone <3 s");
    EXPECT_EQ(CsvValue(FT_RICH_TEXT, stored, CsvRichText::Html),
              "<p>Open &quot;Caf&eacute;&quot;</p><p>Press <b>Pay</b> &amp; wait&#33;<br>"
              "Done &lt;3&nbsp;s</p>");
    EXPECT_EQ(RichTextAsPlainText("&#xE9;t&#233; &#8364; a < b"), "\xE9t\xE9 ? a < b");
    EXPECT_EQ(RichTextAsPlainText("<p><br></p>"), "");
}

TEST(CsvValueTest, TextIsUnescapedDatesAreIso8601AndLatin1BecomesUtf8) {
    EXPECT_EQ(CsvValue(FT_TEXT, "Tom &amp; &quot;Jerry&quot;", CsvRichText::PlainText),
              "Tom & \"Jerry\"");
    EXPECT_EQ(CsvValue(FT_DATE, "20261007", CsvRichText::PlainText), "2026-10-07");
    EXPECT_EQ(CsvValue(FT_DATE, "N/A", CsvRichText::PlainText), "");
    EXPECT_EQ(CsvValue(FT_TIME, "10:12:00", CsvRichText::PlainText), "10:12:00");
    EXPECT_EQ(CsvValue(FT_TIME, "N/A", CsvRichText::PlainText), "");
    EXPECT_EQ(CsvValue(FT_PLAIN_TEXT, "01:30", CsvRichText::PlainText), "01:30");
    EXPECT_EQ(Latin1ToUtf8("Caf\xE9 \xFF\xA0!"), "Caf\xC3\xA9 \xC3\xBF\xC2\xA0!");
}

class CsvExportTest : public ::testing::Test {
protected:
    CsvExportTest() {
        WriteCase(suite / "LOG-2.vtl", "LOG-2", "Caf\xE9, \"cr\xE8me\"", "<![CDATA[Open<br>Pay]]>");
        WriteCase(suite / "LOG-1.vtl", "LOG-1", "First", "<![CDATA[]]>");
        WriteCase(suite / "Deep" / "DEEP-1.vtl", "DEEP-1", "Below", "<![CDATA[x]]>");
        // Bookkeeping beside the documents is no test case.
        WriteFile(suite / "Deep.tgp", "<test_suite><id>Deep</id></test_suite>");
        WriteFile(suite / "LOG-1.lck", "lock");
        request.folder = suite;
        request.target = dir / "out.csv";
    }

    void WriteCase(const fs::path& file, const std::string& id, const std::string& title,
                   const std::string& description) {
        fs::create_directories(file.parent_path());
        WriteFile(file, "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<test_case>\r\n<id>" +
                            id + "</id>\r\n<test_title>" + title +
                            "</test_title>\r\n<create_date>20261105</create_date>\r\n"
                            "<test_description>" +
                            description + "</test_description>\r\n</test_case>\r\n");
    }

    std::size_t Column(std::string_view caption) const {
        const auto rows = ParseCsv(Written());
        const auto& header = rows.at(0);
        return std::find(header.begin(), header.end(), caption) - header.begin();
    }

    std::string Written() const {
        std::string text = ReadFile(request.target);
        if (text.starts_with(kUtf8ByteOrderMark))
            text.erase(0, kUtf8ByteOrderMark.size());
        return text;
    }

    TempDir dir;
    const fs::path suite = dir / "Login";
    RecordingPort port;
    CsvExportRequest request;
};

TEST_F(CsvExportTest, WritesUtf8WithByteOrderMarkAndOneRowPerCaseInNameOrder) {
    ASSERT_EQ(ExportTestCasesCsv(request, port), 3u);
    EXPECT_TRUE(port.notices.empty());
    EXPECT_TRUE(ReadFile(request.target).starts_with(kUtf8ByteOrderMark));

    const auto rows = ParseCsv(Written());
    ASSERT_EQ(rows.size(), 4u);
    const auto& header = rows[0];
    const auto table = FieldRows(TestCaseFields());
    ASSERT_EQ(header.size(), table.size() + 1);
    EXPECT_EQ(header[0], "Suite");
    EXPECT_EQ(header[1], "ID");
    EXPECT_EQ(header[2], "Test Title");
    EXPECT_EQ(header.back(), "Requirements");

    EXPECT_EQ(rows[1][0], "");
    EXPECT_EQ(rows[1][1], "LOG-1");
    EXPECT_EQ(rows[2][1], "LOG-2");
    EXPECT_EQ(rows[2][2], "Caf\xC3\xA9, \"cr\xC3\xA8me\"");
    EXPECT_EQ(rows[2][Column("Test Description")], "Open\nPay");
    EXPECT_EQ(rows[2][Column("Test Creation Date")], "2026-11-05");
    EXPECT_EQ(rows[3][0], "Deep");
    EXPECT_EQ(rows[3][1], "DEEP-1");
    for (const auto& row : rows)
        EXPECT_EQ(row.size(), header.size());
}

TEST_F(CsvExportTest, ASelectionWritesItsItemsWithSuitesRelativeToTheFolder) {
    request.folder = dir.path();
    request.items = {suite / "Deep", suite / "LOG-2.vtl"};
    ASSERT_EQ(ExportTestCasesCsv(request, port), 2u);
    const auto rows = ParseCsv(Written());
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1][0], "Login/Deep");
    EXPECT_EQ(rows[1][1], "DEEP-1");
    EXPECT_EQ(rows[2][0], "Login");
    EXPECT_EQ(rows[2][1], "LOG-2");
}

TEST_F(CsvExportTest, Latin1OnRequestKeepsTheDocumentsBytesWithoutAMark) {
    request.options.encoding = CsvEncoding::Latin1;
    request.options.richText = CsvRichText::Html;
    ASSERT_EQ(ExportTestCasesCsv(request, port), 3u);
    const std::string text = ReadFile(request.target);
    EXPECT_FALSE(text.starts_with(kUtf8ByteOrderMark));
    const auto rows = ParseCsv(text);
    EXPECT_EQ(rows[2][2], "Caf\xE9, \"cr\xE8me\"");
    EXPECT_EQ(rows[2][Column("Test Description")], "Open<br>Pay");
}

TEST_F(CsvExportTest, ProjectTestCasesHaveTheirOwnColumns) {
    request.source = CsvSource::ProjectTestCases;
    ASSERT_EQ(ExportTestCasesCsv(request, port), 3u);
    const auto header = ParseCsv(Written()).at(0);
    EXPECT_EQ(header.size(), FieldRows(PrjTestCaseFields()).size() + 1);
    // The project test case's identifier has no long caption: its short one heads the column.
    EXPECT_EQ(header[1], "ID");
    EXPECT_NE(std::find(header.begin(), header.end(), "Test Status"), header.end());
}

TEST_F(CsvExportTest, FailuresAreToldAndLeaveAnEarlierFileAsItWas) {
    WriteFile(request.target, "earlier");
    const Notice missing{
        "The suite \"" + (dir / "Nowhere").string() + "\" was not found, nothing has been exported",
        "Export to CSV", Icon::Warning};
    request.folder = dir / "Nowhere";
    EXPECT_FALSE(ExportTestCasesCsv(request, port));
    request.folder = suite;

    // A FIFO under a test case's name is a document no reader opens.
    ASSERT_EQ(::mkfifo((suite / "BAD.vtl").c_str(), 0600), 0);
    EXPECT_FALSE(ExportTestCasesCsv(request, port));
    fs::remove(suite / "BAD.vtl");

    std::stop_source stop;
    stop.request_stop();
    request.stop = stop.get_token();
    EXPECT_FALSE(ExportTestCasesCsv(request, port));
    request.stop = {};

    const fs::path target = request.target;
    request.target = dir / "missing folder" / "out.csv";
    EXPECT_FALSE(ExportTestCasesCsv(request, port));

    ASSERT_EQ(port.notices.size(), 4u);
    EXPECT_EQ(port.notices[0], missing);
    EXPECT_TRUE(Has(port.notices[1].text, "BAD.vtl"));
    EXPECT_TRUE(Has(port.notices[2].text, "cancelled"));
    EXPECT_EQ(port.notices[3].caption, "Export to CSV");
    EXPECT_TRUE(port.notices[3].text.starts_with("The CSV file could not be written: "));
    EXPECT_EQ(ReadFile(target), "earlier");
    for (const auto& entry : fs::directory_iterator(dir.path()))
        EXPECT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path();
}

TEST_F(CsvExportTest, ManyTestCasesKeepTheirOrderAndTheFirstUnreadableOneIsTheOneTold) {
    // More test cases than the rows made at once, read on several threads.
    constexpr int kCases = 5000;
    for (int n = 0; n < kCases; ++n) {
        char id[16];
        std::snprintf(id, sizeof id, "M-%05d", n);
        WriteCase(suite / "Many" / (std::string(id) + ".vtl"), id, "Case " + std::to_string(n),
                  "<![CDATA[]]>");
    }
    ASSERT_EQ(ExportTestCasesCsv(request, port), kCases + 3u);
    const auto rows = ParseCsv(Written());
    ASSERT_EQ(rows.size(), kCases + 4u);
    for (int n = 0; n < kCases; ++n) {
        const auto& row = rows[static_cast<std::size_t>(n) + 4];
        ASSERT_EQ(row[0], "Many") << n;
        ASSERT_EQ(row[2], "Case " + std::to_string(n)) << n;
    }

    // Two documents no reader opens, in different batches: the first in order is named.
    const std::string written = ReadFile(request.target);
    for (const char* bad : {"M-04500.vtl", "M-00300.vtl"}) {
        fs::remove(suite / "Many" / bad);
        ASSERT_EQ(::mkfifo((suite / "Many" / bad).c_str(), 0600), 0);
    }
    EXPECT_FALSE(ExportTestCasesCsv(request, port));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(Has(port.notices[0].text, "M-00300.vtl"));
    EXPECT_EQ(ReadFile(request.target), written);

    // The same chosen one by one: the listing goes on while the first rows are read, and
    // ends at the refusal.
    for (int n = 0; n < kCases; ++n) {
        char name[16];
        std::snprintf(name, sizeof name, "M-%05d.vtl", n);
        request.items.push_back(suite / "Many" / name);
    }
    EXPECT_FALSE(ExportTestCasesCsv(request, port));
    ASSERT_EQ(port.notices.size(), 2u);
    EXPECT_TRUE(Has(port.notices[1].text, "M-00300.vtl"));
    EXPECT_EQ(ReadFile(request.target), written);
}

TEST_F(CsvExportTest, TheSampleProjectExportsEveryTestCase) {
    const fs::path cases = kSample / "Projects" / "Release 2.0" / "Project Test Cases";
    std::size_t documents = 0;
    for (const auto& entry : fs::recursive_directory_iterator(cases))
        documents += entry.path().extension() == ".vtl";
    request.source = CsvSource::ProjectTestCases;
    request.folder = cases;
    ASSERT_EQ(ExportTestCasesCsv(request, port), documents);
    EXPECT_TRUE(port.notices.empty());

    const auto rows = ParseCsv(Written());
    ASSERT_EQ(rows.size(), documents + 1);
    for (const auto& row : rows)
        ASSERT_EQ(row.size(), rows[0].size());
    const auto cart = std::find_if(rows.begin(), rows.end(),
                                   [](const auto& row) { return row[1] == "CART-001"; });
    ASSERT_NE(cart, rows.end());
    EXPECT_EQ((*cart)[0], "Cart");
    EXPECT_EQ((*cart)[Column("Test Description")],
              "Open a product page.\nPress \"Add to basket\".");
    EXPECT_EQ((*cart)[Column("Date of Last Attempt")], "2026-10-07");
    EXPECT_EQ((*cart)[Column("Test Status")], "Pass");
}

class ListReportCsvTest : public ProjectTest {};

TEST_F(ListReportCsvTest, WritesTheColumnsTheReportShows) {
    AddCase("Smoke/P1.vtl", {{"<id>", "P1"},
                             {"<test_title>", "Caf\xE9 &amp; &quot;cr\xE8me&quot;, hot"},
                             {"<test_status>", "Pass"},
                             {"<last_attempt_date>", "20261007"}});
    AddCase("P2.vtl", {{"<id>", "P2"}, {"<test_status>", "Fail"}});
    ReportRequest request = WholeProject();
    request.listColumns = {true,  true, true,  true,  false, false, false, false,
                           false, true, false, false, false, false, false, false};
    const std::optional<fs::path> report = Make(ReportKind::List, request);
    ASSERT_TRUE(report);
    const fs::path target = dir.path() / "list.csv";
    EXPECT_EQ(ExportListReportCsv(*report, target, {}, port), 2u);

    std::string text = ReadFile(target);
    ASSERT_TRUE(text.starts_with(kUtf8ByteOrderMark));
    auto rows = ParseCsv(text.substr(kUtf8ByteOrderMark.size()));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0],
              (std::vector<std::string>{"ID", "Suite", "Title", "Status", "Last Attempt"}));
    const auto p1 = rows[1][0] == "P1" ? rows[1] : rows[2];
    EXPECT_EQ(p1, (std::vector<std::string>{"P1", "Smoke", "Caf\xC3\xA9 & \"cr\xC3\xA8me\", hot",
                                            "Pass", "2026-10-07"}));

    // Anything but a list report is refused, and the file written before stays.
    EXPECT_FALSE(ExportListReportCsv(target, target, {}, port));
    EXPECT_TRUE(Has(port.notices.back().text, target.string() + " is not a list report"));
    EXPECT_TRUE(ReadFile(target).starts_with(kUtf8ByteOrderMark));
}

}  // namespace
}  // namespace vantorel::testing
