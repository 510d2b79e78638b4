#include "workspace/config.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "storage/text_conversions.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel::testing {
namespace {

class ConfigTest : public ::testing::Test {
protected:
    std::string FileBytes() const {
        std::ifstream in(folder / "Vantorel.cfg", std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    // The file as text: the byte-order mark dropped, UTF-16 little-endian turned into UTF-8.
    std::string FileText() const {
        const std::string bytes = FileBytes();
        std::u16string wide;
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            wide += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          static_cast<unsigned char>(bytes[i + 1]) << 8);
        return Utf16ToUtf8(wide);
    }
    void WriteFile(const std::string& bytes) const {
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "Vantorel.cfg", std::ios::binary | std::ios::trunc) << bytes;
    }

    TempDir dir;
    const std::filesystem::path folder = dir.path() / "config";
    const std::filesystem::path data = dir.path() / "data";
    RecordingPort port;
};

TEST_F(ConfigTest, FirstStartWritesTheDefaultsPointingAtTheSampleDatabase) {
    Config config(folder, data, port);
    EXPECT_EQ(config.Settings(), DefaultSettings(data));
    EXPECT_EQ(config.Settings().lastDbPath, (data / "SampleDB").string());
    const std::string bytes = FileBytes();
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes.substr(0, 2), "\xFF\xFE");
    const std::string text = FileText();
    EXPECT_TRUE(
        text.starts_with("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n<vantorel_config>\r\n"
                         "<LastDBPath>"));
    EXPECT_TRUE(Has(text, "\r\n<RecentDatabases></RecentDatabases>\r\n"));
    EXPECT_TRUE(Has(text,
                    "<ProjectRootColOrder><ProjectRootOrder>0</ProjectRootOrder>"
                    "<ProjectRootOrder>1</ProjectRootOrder>"));
    // The order lists all come before the width lists.
    EXPECT_LT(text.find("<FiltersColOrder>"), text.find("<ProjectRootWidths>"));
    EXPECT_TRUE(text.ends_with(
        "<Height>0</Height>\r\n<TreeWidth>0</TreeWidth>\r\n<HTMLEditorPath></"
        "HTMLEditorPath>\r\n<PollInterval>2000</PollInterval>\r\n<SpellLanguage></"
        "SpellLanguage>\r\n<SpellSkipDigits>1</SpellSkipDigits>\r\n<SpellSkipCapitals>1</"
        "SpellSkipCapitals>\r\n<SpellSkipAddresses>1</SpellSkipAddresses>\r\n</"
        "vantorel_config>\r\n"));
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(ConfigTest, EverySettingSurvivesAWriteAndARead) {
    Config config(folder, data, port);
    ConfigSettings& s = config.Settings();
    s.lastDbPath = "/srv/Q&A <tests>/\"main\" db";
    s.templatePath = "dark";
    s.recentDatabases = {"/srv/a", "/srv/b & c", "", "", ""};
    s.incrementalDup = true;
    s.showStartupDialog = false;
    s.addBugPath = "tracker --project '%VT_PROJECT%' --case \"%TESTCASE_PATH%\"";
    s.htmlEditorPath = "bluefish --new-window";
    s.xPos = -20;
    s.width = 1280;
    s.pollInterval = 750;
    s.spelling = {"de_AT", false, true, false};
    s.columns[LP_FILTERS].order[0] = 3;
    s.columns[LP_FILTERS].order[3] = 0;
    s.columns[LP_TEST_CASES_LIST].widths[19] = 240;
    ASSERT_TRUE(config.Write());
    const std::string written = FileBytes();

    Config again(folder, data, port);
    EXPECT_EQ(again.Settings(), s);
    ASSERT_TRUE(again.Write());
    EXPECT_EQ(FileBytes(), written);
    // Only the recent entries there are get written.
    EXPECT_TRUE(Has(FileText(),
                    "<RecentDatabases><RecentDB>/srv/a</RecentDB><RecentDB>/srv/b &amp; "
                    "c</RecentDB></RecentDatabases>"));
}

TEST_F(ConfigTest, APaneWithSenselessColumnsTakesItsDefaultsAndNothingElseIsLost) {
    Config config(folder, data, port);
    ConfigSettings& s = config.Settings();
    s.templatePath = "dark";
    s.columns[LP_TESTERS].order[1] = 0;     // a column twice, another missing
    s.columns[LP_FILTERS].order[2] = 12;    // past the pane's slots
    s.columns[LP_RESOURCES].widths[4] = 0;  // a column no one can see or grab
    s.columns[LP_PROJECT_ROOT].order = {1, 0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    s.columns[LP_PROJECT_ROOT].widths[0] = 333;
    ASSERT_TRUE(config.Write());

    Config again(folder, data, port);
    const ConfigSettings defaults = DefaultSettings(data);
    for (ListPane pane : {LP_TESTERS, LP_FILTERS, LP_RESOURCES})
        EXPECT_EQ(again.Settings().columns[pane], defaults.columns[pane]) << pane;
    EXPECT_EQ(again.Settings().columns[LP_PROJECT_ROOT], s.columns[LP_PROJECT_ROOT]);
    EXPECT_EQ(again.Settings().templatePath, "dark");
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(ConfigTest, ReadsByFirstOccurrenceWithWidthsAndDefaults) {
    Config first(folder, data, port);
    std::string text = FileText();
    // Surplus list elements are ignored, missing ones keep their defaults, a missing element
    // keeps its setting, an over-long value is cut, a number that isn't one reads as 0.
    auto replace = [&text](const std::string& from, const std::string& to) {
        text.replace(text.find(from), from.size(), to);
    };
    std::string recent = "<RecentDatabases>";
    for (int i = 0; i < 7; ++i)
        recent += "<RecentDB>/db" + std::to_string(i) + "</RecentDB>";
    replace("<RecentDatabases>", recent);
    replace("<FiltersWidths>", "<FiltersWidths><FiltersWidth>70</FiltersWidth>");
    replace("<TemplatePath>default</TemplatePath>\r\n", "");
    replace("<LastDBFileName>VantorelDatabase.vdb", "<LastDBFileName>" + std::string(300, 'f'));
    replace("<XPos>0</XPos>", "<XPos>left</XPos><XPos>9</XPos>");
    std::u16string wide = u"\xFEFF" + Utf8ToUtf16(text);
    WriteFile(std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2));

    Config config(folder, data, port);
    const ConfigSettings& s = config.Settings();
    EXPECT_EQ(s.recentDatabases[4], "/db4");
    EXPECT_EQ(s.columns[LP_FILTERS].widths.size(), 12u);
    EXPECT_EQ(s.columns[LP_FILTERS].widths[0], 70);
    EXPECT_EQ(s.columns[LP_FILTERS].widths[1], DefaultSettings(data).columns[LP_FILTERS].widths[1]);
    EXPECT_EQ(s.templatePath, "default");
    EXPECT_EQ(s.lastDbFileName.size(), 256u);
    EXPECT_EQ(s.xPos, 0);
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(ConfigTest, UnreadableFilesAreResetWithTheirMessage) {
    WriteFile("VantorelConfig\0\0\0\0 old record");
    Config old(folder, data, port);
    EXPECT_EQ(old.Settings(), DefaultSettings(data));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(port.notices[0].text.ends_with("\n" + (folder / "Vantorel.cfg").string()));

    WriteFile(std::string("\xFF\xFE<\0h\0t\0m\0l\0>\0", 14));
    Config corrupt(folder, data, port);
    EXPECT_TRUE(port.notices.back().text.ends_with("\n" + (folder / "Vantorel.cfg").string()));
    EXPECT_EQ(corrupt.Settings(), DefaultSettings(data));
}

TEST_F(ConfigTest, RecentListKeepsFiveDistinctDatabasesNewestFirst) {
    Config config(folder, data, port);
    for (const char* db : {"/a", "/b", "/c", "/d", "/e", "/f", "/c"})
        config.AddRecentDatabase(db);
    EXPECT_EQ(config.Settings().recentDatabases,
              (std::array<std::string, kRecentDatabases>{"/c", "/f", "/e", "/d", "/b"}));
}

}  // namespace
}  // namespace vantorel::testing
