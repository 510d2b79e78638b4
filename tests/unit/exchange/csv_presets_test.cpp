#include "exchange/csv_presets.h"

#include <gtest/gtest.h>

#include "support/document_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kSamples = fs::path(VANTOREL_TEST_DATA) / "presets";

TEST(CsvPresetTest, DurationsReadInTheFormsOtherToolsWriteRoundedUpToAMinute) {
    const std::pair<std::string_view, std::optional<std::string>> cases[] = {
        {"1m 30s", "0:02"},     {"2h 5m", "2:05"},         {"90", "1:30"},
        {"0:05:30", "0:06"},    {"1:30", "1:30"},          {" 45s ", "0:01"},
        {"0", "0:00"},          {"", std::nullopt},        {"1d", std::nullopt},
        {"soon", std::nullopt}, {"1:2:3:4", std::nullopt}, {"1000h", std::nullopt},
        {"-5m", std::nullopt},
    };
    for (const auto& [text, minutes] : cases)
        EXPECT_EQ(DurationOfText(text), minutes) << text;
}

class CsvPresetImportTest : public DocumentTest {
protected:
    // The sample of preset imported into an empty library: every row must go in.
    void Import(std::string_view key) {
        const CsvPreset* preset = FindCsvPreset(key);
        ASSERT_TRUE(preset);
        auto import = OpenCsvImportWithPreset(kSamples / (std::string(key) + ".csv"), *preset,
                                              CsvSource::LibraryTestCases, db, custom, port);
        ASSERT_TRUE(import) << port.notices.back().text;
        EXPECT_EQ(import->Check(library), std::vector<CsvRefusal>{});
        const auto outcome = import->Import({.folder = library}, Context());
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->written, import->RowCount());
    }
    void ExpectHolds(const fs::path& relative, std::initializer_list<std::string_view> parts) {
        const std::string text = ReadFile(library / relative);
        for (const std::string_view part : parts)
            EXPECT_NE(text.find(part), std::string::npos) << relative << " lacks " << part;
    }
    const fs::path library = db / "Test Cases";
};

TEST_F(CsvPresetImportTest, EachPresetMapsItsToolsColumnsWithoutHelp) {
    Import("testrail");
    ExpectHolds("Checkout/Cards/C101.vtl",
                {"<test_title>Pay by card</test_title>", "<priority>High</priority>",
                 "<test_duration>00:02</test_duration>", "<requirement>REQ-7, REQ-8</requirement>",
                 "<prerequisites><![CDATA[A basket with one item]]>",
                 "<test_description><![CDATA[<ol><li>Open the basket</li><li>Press \"Pay\", then "
                 "enter the card</li></ol>]]>",
                 "<test_result><![CDATA[<ol><li>The total is shown</li><li>The order is "
                 "paid</li></ol>]]>",
                 "<notes1><![CDATA[Type: Functional<br>Created By: Ana]]>"});
    // What the database doesn't list is kept as a note; a second suite column adds nothing.
    ExpectHolds("Checkout/Vouchers/C102.vtl", {"<test_title>Caf\xE9 cr\xE8me voucher</test_title>",
                                               "Priority: Critical", "Type: Smoke &amp; Sanity"});
    ExpectHolds("Checkout/C103.vtl", {"Two lines<br>of preconditions"});
    EXPECT_FALSE(fs::exists(library / "Cards"));

    Import("kiwi");
    ExpectHolds(
        "Login/7.vtl",
        {"<test_duration>00:10</test_duration>", "Open the sign-in page<br>Press \"Sign in\"",
         "<notes2><![CDATA[Seen on staging]]>", "Tags: smoke, login", "Priority: P1"});
    ExpectHolds("Login/8.vtl", {"<test_duration>00:06</test_duration>"});

    Import("xray");
    // The step rows carry the test's ID again; its test data goes with the action.
    ExpectHolds("Shop/Search/1.vtl",
                {"<ol><li>Type \"boots\"<br>boots</li><li>Press Enter</li></ol>",
                 "<ol><li>Boots are listed first</li><li>The first result is boots</li></ol>",
                 "<priority>High</priority>", "Test Type: Manual", "Labels: smoke"});
    ExpectHolds("Shop/Search/3.vtl", {"brand=Acm\xE9", "Labels: regression;filters"});
}

TEST_F(CsvPresetImportTest, AFileOfAnotherToolIsRefusedByName) {
    const fs::path file = dir.path() / "other.csv";
    WriteFile(file, "Name,Colour\r\nBoots,Brown\r\n");
    EXPECT_FALSE(OpenCsvImportWithPreset(file, *FindCsvPreset("XRAY"), CsvSource::LibraryTestCases,
                                         db, custom, port));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_NE(port.notices[0].text.find("none of its columns is one that Xray writes"),
              std::string::npos);
    EXPECT_FALSE(FindCsvPreset("jira"));
}

}  // namespace
}  // namespace vantorel::testing
