#include "workspace/find_replace.h"

#include <gtest/gtest.h>

#include <mutex>

#include "documents/test_case.h"
#include "storage/locks.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

std::shared_ptr<const FindPattern> Pattern(FindOptions options) {
    auto made = FindPattern::Make(options);
    EXPECT_TRUE(std::holds_alternative<std::shared_ptr<const FindPattern>>(made))
        << std::get<Notice>(made).text;
    return std::holds_alternative<Notice>(made)
               ? nullptr
               : std::get<std::shared_ptr<const FindPattern>>(made);
}

struct MatchCase {
    const char* name;
    FindOptions options;
    const char* text;
    std::size_t matches;
};

class PatternTest : public ::testing::TestWithParam<MatchCase> {};

TEST_P(PatternTest, FindsWhatTheOptionsAskFor) {
    const auto pattern = Pattern(GetParam().options);
    ASSERT_TRUE(pattern);
    EXPECT_EQ(pattern->Matches(GetParam().text).size(), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    Options, PatternTest,
    ::testing::Values(
        MatchCase{"LiteralIgnoresCase", {"log in"}, "Log In, then LOG IN again", 2},
        MatchCase{"MatchCaseHoldsToIt", {"log in", true}, "Log In, then log in again", 1},
        MatchCase{"LiteralTakesRegexCharactersAsThemselves", {"a.b (c)*"}, "axb (c)* a.b (c)*", 1},
        MatchCase{"WholeWordLeavesPartsOfWords", {"cart", false, true}, "cart carts Cart", 2},
        MatchCase{"RegularExpression", {"TC-\\d{3}", false, false, true}, "TC-001 tc-12 TC-999", 2},
        MatchCase{"EmptyMatchesAreNoHits", {"x*", false, false, true}, "abc", 0},
        MatchCase{"Latin1AccentsMatchThemselves", {"caf\xc3\xa9"}, "un caf\xe9 noir", 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(FindPatternTest, RefusesWhatCantBeSearchedWithTheReason) {
    const auto bad = FindPattern::Make({"(unclosed", false, false, true});
    ASSERT_TRUE(std::holds_alternative<Notice>(bad));
    EXPECT_NE(std::get<Notice>(bad).text.find("missing closing parenthesis"), std::string::npos);
    const auto euro = FindPattern::Make({"5 \xe2\x82\xac"});
    ASSERT_TRUE(std::holds_alternative<Notice>(euro));
    EXPECT_NE(std::get<Notice>(euro).text.find("\xe2\x82\xac"), std::string::npos);
    EXPECT_TRUE(std::holds_alternative<Notice>(FindPattern::Make({""})));
}

TEST(FindPatternTest, RichTextIsSearchedAsReadAndReplacedWithoutBreakingItsMarkup) {
    const std::string html = "Tap <b>Save</b> &amp; Sa<i>ve</i>\nSave & go";
    const auto pattern = Pattern({"save"});
    const std::size_t digest = std::hash<std::string_view>{}(html);
    const SearchableValue value = Searchable(FT_RICH_TEXT, html);
    EXPECT_EQ(value.text, "Tap Save & Save\nSave & go");
    // The second "Save" spans a tag: found in the text read, but never replaced.
    ASSERT_EQ(pattern->Matches(value.text).size(), 3u);
    EXPECT_EQ(ReplacedValue(*pattern, FT_RICH_TEXT, html, digest, {0, 2}, "<Keep>"),
              "Tap <b>&lt;Keep&gt;</b> &amp; Sa<i>ve</i>\n&lt;Keep&gt; & go");
    EXPECT_EQ(ReplacedValue(*pattern, FT_RICH_TEXT, html, digest, {1}, "x"), std::nullopt);
    // A value changed since it was searched is not replaced blindly.
    EXPECT_EQ(ReplacedValue(*pattern, FT_RICH_TEXT, html + " ", digest, {0}, "x"), std::nullopt);
    const auto groups = Pattern({"(\\w+)@(\\w+)", false, false, true});
    EXPECT_EQ(ReplacedValue(*groups, FT_TEXT, "mail ann@site now",
                            std::hash<std::string_view>{}("mail ann@site now"), {0}, "$2:$1"),
              "mail site:ann now");
}

class ReplaceTest : public ProjectTest {
protected:
    fs::path AddLibraryCase(const std::string& id, const std::string& title,
                            const std::string& steps) {
        const fs::path file = db / "Test Cases" / "Suite" / (id + ".vtl");
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary)
            << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<test_case>\r\n<id>" << id
            << "</id>\r\n<test_title>" << title << "</test_title>\r\n<test_description><![CDATA["
            << steps << "]]></test_description>\r\n<test_type>Widget</test_type>\r\n"
            << "<priority>High</priority>\r\n</test_case>\r\n";
        return file;
    }
    std::vector<FindHit> Find(const std::shared_ptr<const FindPattern>& pattern,
                              std::optional<std::string> replacement = {}) {
        std::vector<FindHit> hits;
        std::mutex mutex;
        FindRequest request{db, db, pattern, {}, std::move(replacement), {}, 2};
        const FindOutcome outcome = FindInDatabase(request, [&](std::vector<FindHit> found) {
            std::lock_guard lock(mutex);
            hits.insert(hits.end(), found.begin(), found.end());
        });
        EXPECT_EQ(outcome.hits, hits.size());
        return hits;
    }
};

TEST_F(ReplaceTest, ChangesExactlyTheKeptMatchesAndLeavesHeldAndChangedItemsAlone) {
    std::vector<fs::path> library;
    for (int n = 0; n < 40; ++n)
        library.push_back(AddLibraryCase("TC" + std::to_string(n),
                                         n % 4 == 0 ? "Other" : "Widget &amp; co",
                                         "Open the widget<br>Check"));
    const fs::path project = AddCase(
        "Suite/P1.vtl", {{"<id>", "P1"}, {"<test_title>", "Widgets"}, {"<test_status>", "Fail"}});
    const auto pattern = Pattern({"widget", false, true});

    // Find looks in lists too (the type); a replace only where it may change the text.
    EXPECT_EQ(Find(pattern).size(), 30u + 40u + 40u);
    std::vector<FindHit> hits = Find(pattern, "Gadget");
    ASSERT_EQ(hits.size(), 30u + 40u);
    EXPECT_EQ(hits.front().after, "Gadget");
    std::erase_if(hits, [](const FindHit& hit) { return hit.tag != "<test_title>"; });

    ASSERT_EQ(createLockFile(library[1], {"desk-2", "lee"}), 0);
    ASSERT_EQ(createLockFile(library[2], {"desk-2", "lee"}), 0);
    const std::string held = ReadFile(library[1]);
    AddLibraryCase("TC3", "Widget renamed", "Open the widget");  // changed since the search
    const MultiEditOutcome outcome = ApplyReplace(*pattern, "Gadget", hits, Context(), {}, {});
    EXPECT_EQ(outcome.changed, 27u);
    EXPECT_EQ(outcome.locked, 2u);
    EXPECT_EQ(ReadFile(library[1]), held);
    EXPECT_NE(ReadFile(library[3]).find("Widget renamed"), std::string::npos);
    const std::vector<Notice> told = ReplaceSummary(outcome);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].text, "Unable to perform replace in 2 files as they were locked");
    EXPECT_NE(told[1].text.find("TC3: changed since it was searched"), std::string::npos);

    // A changed test case reads back whole: the title escaped again, the rest as it was.
    const std::string changed = ReadFile(library[5]);
    EXPECT_NE(changed.find("<test_title>Gadget &amp; co</test_title>"), std::string::npos);
    EXPECT_NE(changed.find("Open the widget"), std::string::npos);
    EXPECT_NE(changed.find("<test_type>Widget</test_type>"), std::string::npos);
    EXPECT_NE(changed.find("<priority>High</priority>"), std::string::npos);
    EXPECT_NE(ReadFile(project).find("<test_title>Widgets</test_title>"), std::string::npos);
    EXPECT_EQ(Find(Pattern({"gadget", true})).size(), 0u);  // match case
    EXPECT_EQ(Find(Pattern({"Gadget", true})).size(), 27u);
    // An accent an editor wrote as an entity is found, though the raw text lacks the letter.
    AddLibraryCase("TC99", "Other", "Caf&#233; au lait");
    EXPECT_EQ(Find(Pattern({"caf\xc3\xa9"})).size(), 1u);
}

}  // namespace
}  // namespace vantorel::testing
