#include "documents/spelling.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "storage/text_conversions.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::TempDir;
using testing::WriteFile;

std::vector<std::u16string> WordsOf(std::u16string_view text) {
    std::vector<std::u16string> words;
    for (const WordSpan& span : CheckableWords(text))
        words.emplace_back(text.substr(span.start, span.length));
    return words;
}

TEST(SpellingWords, SplitsProseAndLeavesCodesAndAddressesAlone) {
    EXPECT_EQ(WordsOf(u"Open the  login page, then\tclick \"Save\"."),
              (std::vector<std::u16string>{u"Open", u"the", u"login", u"page", u"then", u"click",
                                           u"Save"}));
    // Apostrophes belong to the word inside it, quotes around it do not.
    EXPECT_EQ(WordsOf(u"don't 'quoted' users\u2019"),
              (std::vector<std::u16string>{u"don't", u"quoted", u"users"}));
    EXPECT_EQ(WordsOf(u"Caf\u00e9 na\u00efve"),
              (std::vector<std::u16string>{u"Caf\u00e9", u"na\u00efve"}));
    EXPECT_TRUE(WordsOf(u"TC42 build_7 HTTP fileName a 3rd").empty());
    EXPECT_TRUE(
        WordsOf(u"http://exmple.org/pge www.exmple.org C:\\lgs\\x /tmp/fle me@hst setup.exe")
            .empty());
    // Places are in UTF-16 units.
    const auto words = CheckableWords(u"\u00e9t\u00e9 mispelt");
    ASSERT_EQ(words.size(), 2u);
    EXPECT_EQ(words[1], (WordSpan{4, 7}));
}

TEST(SpellingDictionary, ChoosesTheLanguageThenItsRegionThenEnglish) {
    TempDir folder;
    for (const char* name : {"en_US", "en_GB", "de_AT", "de_CH"}) {
        WriteFile(folder / (std::string(name) + ".aff"), "SET UTF-8\n");
        WriteFile(folder / (std::string(name) + ".dic"), "0\n");
    }
    const std::vector<std::filesystem::path> folders{folder.path()};
    EXPECT_EQ(ChooseDictionary("en_GB", folders)->name, "en_GB");
    EXPECT_EQ(ChooseDictionary("en_AU", folders)->name, "en_US");
    EXPECT_EQ(ChooseDictionary("de_DE", folders)->name, "de_AT");
    EXPECT_EQ(ChooseDictionary("", folders)->name, "en_US");
    EXPECT_EQ(ChooseDictionary("fr_FR", folders)->name, "en_US");
    TempDir empty;
    EXPECT_FALSE(ChooseDictionary("en_US", {empty.path()}));

    // A dictionary is listed once, wherever it lies, and only with both of its files.
    WriteFile(empty / "fr_FR.dic", "0\n");
    EXPECT_EQ(InstalledDictionaries({folder.path(), empty.path(), folder.path()}),
              (std::vector<std::string>{"de_AT", "de_CH", "en_GB", "en_US"}));
}

TEST(SpellingFields, OnlyProseIsChecked) {
    for (const char* tag : {"<test_title>", "<suite_title>", "<tester_loc>"})
        EXPECT_TRUE(IsProseField({1, FT_TEXT, tag})) << tag;
    EXPECT_TRUE(IsProseField({1, FT_RICH_TEXT, "<test_description>"}));
    for (const char* tag : {"<id>", "<create_user_id>", "<build_tested>", "<requirement>",
                            "<tester_name>", "<test_duration>", "<external_link>"})
        EXPECT_FALSE(IsProseField({1, FT_TEXT, tag})) << tag;
}

class SpellCheckerTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto dictionary = ChooseDictionary("en_US", DictionaryFolders());
        ASSERT_TRUE(dictionary && dictionary->name == "en_US")
            << "hunspell-en-us is not installed (scripts/install-deps)";
        m_dictionary = *dictionary;
        checker = SpellChecker::Open(m_dictionary, PersonalList());
        ASSERT_TRUE(checker);
    }
    std::filesystem::path PersonalList() const { return m_data / "userdic.txt"; }

    TempDir m_data;
    Dictionary m_dictionary;
    std::unique_ptr<SpellChecker> checker;
    RecordingPort port;
};

TEST_F(SpellCheckerTest, FindsMisspeltWordsWhereTheyStandAndSuggestsTheWordMeant) {
    const std::u16string text = u"The tester recieved an eror when loging in.";
    const auto misspelt = checker->Misspelt(text);
    ASSERT_EQ(misspelt.size(), 3u);
    EXPECT_EQ(text.substr(misspelt[0].start, misspelt[0].length), u"recieved");
    EXPECT_EQ(text.substr(misspelt[1].start, misspelt[1].length), u"eror");
    EXPECT_EQ(text.substr(misspelt[2].start, misspelt[2].length), u"loging");
    EXPECT_EQ(checker->NextMisspelt(text, misspelt[0].start + 1), misspelt[1]);
    EXPECT_FALSE(checker->NextMisspelt(text, misspelt[2].start + 1));
    EXPECT_TRUE(checker->Check(u"Don\u2019t"));

    const auto suggestions = checker->Suggest(u"recieved");
    ASSERT_FALSE(suggestions.empty());
    EXPECT_EQ(suggestions.front(), u"received");
    EXPECT_LE(checker->Suggest(u"tst", 3).size(), 3u);
}

TEST_F(SpellCheckerTest, AddedWordsAreKeptInThePersonalListIgnoredOnesForTheRunOnly) {
    checker->Ignore(u"Qwertz");
    EXPECT_TRUE(checker->Misspelt(u"Qwertz keyboards").empty());
    EXPECT_FALSE(std::filesystem::exists(PersonalList()));

    EXPECT_FALSE(checker->Check(u"Vantorel"));
    EXPECT_TRUE(checker->AddToDictionary(u"Vantorel", port));
    EXPECT_TRUE(checker->Check(u"Vantorel"));
    EXPECT_TRUE(checker->AddToDictionary(u"d\u00e9j\u00e0vu", port));
    EXPECT_EQ(ReadFile(PersonalList()), "Vantorel\nd\xc3\xa9j\xc3\xa0vu\n");
    EXPECT_TRUE(port.notices.empty());

    // The next run knows them from the file.
    auto again = SpellChecker::Open(m_dictionary, PersonalList());
    EXPECT_TRUE(again->Check(u"Vantorel"));
    EXPECT_TRUE(again->Check(u"d\u00e9j\u00e0vu"));
    EXPECT_FALSE(again->Check(u"Vantorell"));
    EXPECT_FALSE(again->Check(u"Qwertz"));
}

TEST_F(SpellCheckerTest, EachSkipRuleHoldsOnlyWhileItsOptionIsOn) {
    struct Rule {
        std::u16string_view text;
        bool SpellingOptions::*skip;
        std::u16string_view flaggedWhenOff;
    };
    for (const Rule& rule :
         {Rule{u"Run Testcase42 now", &SpellingOptions::skipWithDigits, u"Testcase42"},
          Rule{u"The XQZV module", &SpellingOptions::skipCapitals, u"XQZV"},
          Rule{u"Mail me@exmple.org", &SpellingOptions::skipAddresses, u"exmple"}}) {
        checker->SetOptions({});
        EXPECT_TRUE(checker->Misspelt(rule.text).empty()) << Utf16ToUtf8(rule.text);
        SpellingOptions off;
        off.*rule.skip = false;
        checker->SetOptions(off);
        std::vector<std::u16string> flagged;
        for (const WordSpan& word : checker->Misspelt(rule.text))
            flagged.emplace_back(rule.text.substr(word.start, word.length));
        EXPECT_NE(std::ranges::find(flagged, rule.flaggedWhenOff), flagged.end())
            << Utf16ToUtf8(rule.text);
    }
}

TEST_F(SpellCheckerTest, ARemovedPersonalWordIsFlaggedAgain) {
    for (std::u16string_view word : {u"Vantorel", u"Qwertzy", u"house"})
        ASSERT_TRUE(checker->AddToDictionary(word, port));
    ASSERT_TRUE(checker->RemoveFromDictionary("Vantorel", port));
    ASSERT_TRUE(checker->RemoveFromDictionary("house", port));
    EXPECT_FALSE(checker->Check(u"Vantorel"));
    EXPECT_TRUE(checker->Check(u"Qwertzy"));
    // A word the dictionary knows by itself stays right.
    EXPECT_TRUE(checker->Check(u"house"));
    EXPECT_EQ(checker->PersonalWords(), std::vector<std::string>{"Qwertzy"});
    EXPECT_EQ(ReadFile(PersonalList()), "Qwertzy\n");
    EXPECT_FALSE(SpellChecker::Open(m_dictionary, PersonalList())->Check(u"Vantorel"));
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(SpellCheckerTest, AnUnwritableListIsToldAndTheWordStillHolds) {
    // A folder where the list should be: no one can write it, not even root.
    const std::filesystem::path blocked = m_data / "blocked";
    std::filesystem::create_directory(blocked);
    auto blockedChecker = SpellChecker::Open(m_dictionary, blocked);
    ASSERT_TRUE(blockedChecker);
    EXPECT_FALSE(blockedChecker->AddToDictionary(u"Vantorel", port));
    EXPECT_TRUE(blockedChecker->Check(u"Vantorel"));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Check Spelling");
    EXPECT_TRUE(testing::Has(port.notices[0].text, blocked.string()));
}

}  // namespace
}  // namespace vantorel
