#include "storage/text_conversions.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

std::string Apply(void (*convert)(std::string&, std::size_t), std::string text,
                  std::size_t size = kFieldValueMax) {
    convert(text, size);
    return text;
}

// Each row: a conversion, its text and room, and what it gives; named after the fault it catches.
struct ConversionCase {
    const char* fault;
    void (*convert)(std::string&, std::size_t);
    std::string text;
    std::size_t size;
    std::string expected;
};
class Conversion : public ::testing::TestWithParam<ConversionCase> {};

TEST_P(Conversion, GivesTheExpectedText) {
    const ConversionCase& c = GetParam();
    EXPECT_EQ(Apply(c.convert, c.text, c.size), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Conversion,
    ::testing::Values(
        ConversionCase{"EscapeMissesACharacterOrTouchesLineEnds", Escape, "\t&><'\"\r\nx",
                       kFieldValueMax, "&#x09;&amp;&gt;&lt;&apos;&quot;\r\nx"},
        ConversionCase{"EscapeCutsAnEntityAtTheLimit", Escape, "ab&cd", 6, "ab"},
        ConversionCase{"EscapeCutsARunAtTheLimit", Escape, "a&bcdef", 9, "a&amp;bc"},
        ConversionCase{"UnescapeReadsTheLineFeedEntityAsLf", Unescape, "a&#x0A;b", kFieldValueMax,
                       "a\r\nb"},
        ConversionCase{"UnescapeKeepsALoneAmpersand", Unescape, "R&D &AMP; &amp", kFieldValueMax,
                       "RD AMP; amp"},
        ConversionCase{"UnescapePassesTheLimit", Unescape, "abcdef", 4, "abc"},
        ConversionCase{"ALoneCrOrLfStaysANewline", NewlinesToBreaks, "a\rb\nc", kFieldValueMax,
                       "a<br>b<br>c"},
        ConversionCase{"BreaksConvertsAnUnknownBreakTag",
                       [](std::string& text, std::size_t) { BreaksToNewlines(text); },
                       "a<br>b<BR>c<p>d</p>e</P>f<Br>g<p class=x>h\r\n", kFieldValueMax,
                       "a\nb\nc\ndef<Br>g<p class=x>h"},
        ConversionCase{"WrapLinksMissesAKindOfLink", WrapLinks,
                       "See http://a.org/x and www.b.com, (ftp://c.net/f) \\\\srv\\share\\f.doc",
                       kFieldValueMax,
                       "See <a target=\"_blank\" href=\"http://a.org/x\">http://a.org/x</a> and "
                       "<a target=\"_blank\" href=\"http://www.b.com,\">www.b.com,</a> "
                       "(<a target=\"_blank\" href=\"ftp://c.net/f\">ftp://c.net/f</a>) "
                       "<a target=\"_blank\" "
                       "href=\"file://srv/share/f.doc\">\\\\srv\\share\\f.doc</a>"},
        ConversionCase{"WrapLinksWrapsAnAnchorAgain", WrapLinks,
                       "<a href=\"http://x.org\">http://x.org</a>", kFieldValueMax,
                       "<a href=\"http://x.org\">http://x.org</a>"},
        ConversionCase{"WrapLinksMissesAnUpperCaseSchemeOrTakesTheSpace", WrapLinks,
                       "VANTOREL://Alpha/Project Test Cases", kFieldValueMax,
                       "<a target=\"_blank\" href=\"VANTOREL://Alpha/Project\">"
                       "VANTOREL://Alpha/Project</a> Test Cases"},
        ConversionCase{"WrapLinksEndsAQuotedLinkAtItsSpace", WrapLinks, "\"http://x.org/a b\" end",
                       kFieldValueMax,
                       "\"<a target=\"_blank\" href=\"http://x.org/a%20b\">"
                       "http://x.org/a b</a>\" end"},
        ConversionCase{"WrapLinksOverflowsTheField", WrapLinks, "http://x.org", 30,
                       "http://x.org"}),
    [](const ::testing::TestParamInfo<ConversionCase>& info) { return info.param.fault; });

TEST(Unescape, ReversesEscape) {
    std::string original = "tab\there & <there> 'q' \"d\"";
    EXPECT_EQ(Apply(Unescape, Apply(Escape, original)), original);
}

TEST(CData, WrapAndStrip) {
    std::string text = "a<b";
    EXPECT_EQ(WrapCData(text), 0);
    EXPECT_EQ(text, "<![CDATA[a<b]]>");
    EXPECT_EQ(StripCData(text), 0);
    EXPECT_EQ(text, "a<b");

    std::string tooBig = "abc";
    EXPECT_EQ(WrapCData(tooBig, 15), 1);
    EXPECT_EQ(tooBig, "abc");

    std::string plain = "no prefix]]>";
    EXPECT_EQ(StripCData(plain), 0);
    EXPECT_EQ(plain, "no prefix]]>");

    // The end is dropped unchecked: three bytes go whatever they are.
    std::string unterminated = "<![CDATA[abcdef";
    StripCData(unterminated);
    EXPECT_EQ(unterminated, "abc");
}

TEST(LineBreaks, TwoLinesWithAnEmptyLineRoundTripThroughBreaks) {
    std::string text = "\r\nline one\r\n\r\nline two\r\n";
    NewlinesToBreaks(text);
    EXPECT_EQ(text, "line one<br><br>line two");
    BreaksToNewlines(text);
    EXPECT_EQ(text, "line one\n\nline two");
}

// Names come from the file system as UTF-8, or as ISO-8859-1 bytes from an old share; pages
// show them whatever their charset, documents hold them in ISO-8859-1, and a link's address
// escapes their bytes.
TEST(FileNames, ReachPagesAsReferencesAndDocumentsAsLatin1) {
    EXPECT_EQ(NameHtml("Caf\xc3\xa9 <1> & \xe2\x82\xac"), "Caf&#233; &lt;1&gt; &amp; &#8364;");
    EXPECT_EQ(NameHtml("Caf\xe9"), "Caf&#233;");
    EXPECT_EQ(NameHtml("\xe2\x82"), "&#226;&#130;");  // cut short: each byte on its own
    EXPECT_EQ(Latin1FromName("Caf\xc3\xa9 \xe2\x82\xac"), "Caf\xe9 ?");
    EXPECT_EQ(Latin1FromName("Caf\xe9"), "Caf\xe9");
    EXPECT_EQ(CanonicalUrl("http://x/a b\xE9"), "http://x/a%20b%E9");
}

TEST(Utf16, RoundTripsOutsideTheBasicPlane) {
    const std::string text = "a é € 𝄞";
    EXPECT_EQ(Utf16ToUtf8(Utf8ToUtf16(text)), text);
    EXPECT_EQ(Utf8ToUtf16("𝄞").size(), 2u);
}

}  // namespace
}  // namespace vantorel
