#include "render/item_pages.h"

#include <gtest/gtest.h>

#include <regex>

#include "support/document_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

class PageTest : public DocumentTest {
protected:
    std::string Render(const ItemCore& core, std::string text) {
        Template page;
        page.LoadText(std::move(text));
        return core.Render(page, settings);
    }

    PageSettings settings = [this] {
        PageSettings page;
        page.styleFolder = dir.path() / "style";
        page.exported = true;
        page.inlineStyle = false;
        page.styleHref = "../";
        return page;
    }();
};

TEST_F(PageTest, PlaceholdersPassThroughOrBecomeTheFixedTexts) {
    TestCaseCore core(custom);
    WriteFile(db / "tc.vtl",
              "<test_case><id>TC1</id><test_title>A &amp; B</test_title>"
              "<test_type></test_type></test_case>");
    ASSERT_TRUE(core.Load(db / "tc.vtl"));

    const std::string plain = "<p>no placeholders at all</p>";
    EXPECT_EQ(Render(core, plain), plain);
    const std::string longComment = "<!--" + std::string(1020, 'x') + "-->";
    EXPECT_EQ(Render(core, "a" + longComment + "b"), "a" + longComment + "b");
    EXPECT_EQ(Render(core, "<!--VT_NOSUCH_DATA--><!--VT_STATUS_DATA-->"),
              std::string(kUnmatchedPlaceholder) + std::string(kUnmatchedPlaceholder));
    EXPECT_EQ(Render(core, "<!--VT_TITLE_HEADING-->: <!--VT_TITLE_DATA-->|<!--VT_TESTTYPE_DATA-->"),
              "Test Title: A &amp; B|&nbsp;");
    EXPECT_EQ(Render(core, "<!--VT_IMAGEPATH--><!--VT_STYLE-->"),
              "images/<LINK REL=StyleSheet HREF=\"../style.css\" TYPE=\"text/css\">\n" +
                  std::string(kRichTextContainment));
    EXPECT_EQ(Render(core, "unclosed <!--VT_ID_DATA"), "unclosed <!--VT_ID_DATA");

    Template missing;
    EXPECT_FALSE(missing.Load(dir.path() / "nope.html"));
    EXPECT_EQ(core.Render(missing, settings), kTemplateMissingPage);
    TestCaseCore unread(custom);
    EXPECT_FALSE(unread.Load(db / "gone.vtl"));
    EXPECT_EQ(Render(unread, "<!--VT_ID_DATA-->"),
              "<!-- Failed to load XML file " + (db / "gone.vtl").string() + "-->&nbsp;");
}

TEST_F(PageTest, EveryPageCarriesThePolicyFirstInItsHead) {
    TestCaseCore core(custom);
    const std::string policy(kPagePolicy);
    EXPECT_EQ(Render(core, "<!DOCTYPE html>\n<HTML><HEAD lang=en><title>t</title></HEAD></HTML>"),
              "<!DOCTYPE html>\n<HTML><HEAD lang=en>" + policy + "<title>t</title></HEAD></HTML>");
    EXPECT_EQ(Render(core, "<html lang=en><header>h</header><body></body></html>"),
              "<html lang=en>" + policy + "<header>h</header><body></body></html>");
    EXPECT_EQ(Render(core, "<header>a piece of a page</header>"),
              "<header>a piece of a page</header>");

    // What the policy allows: the style's sheet, inline styles and pictures; never a script.
    EXPECT_TRUE(Has(policy, "default-src 'none'"));
    EXPECT_FALSE(Has(policy, "script-src"));
    EXPECT_TRUE(Has(policy, "style-src 'self' file: 'unsafe-inline'"));
}

TEST_F(PageTest, ValuesAreTextOnThePageAndRichTextIsHtml) {
    WriteFile(db / "p.vtl",
              "<project_test_case><id>P1</id><test_title>R&amp;D &lt;b&gt; &quot;q&quot;"
              "</test_title><test_type><img src=x onerror=alert(1)></test_type>"
              "<test_phase>Alpha &amp; Beta</test_phase><test_status>Pass</test_status>"
              "<test_attempts>\"><script>x()</script></test_attempts>"
              "<external_link>www.example.org/?a=1&amp;b=\"2\"</external_link>"
              "<test_description><![CDATA[<b>bold</b> & </textarea><i>]]></test_description>"
              "</project_test_case>");
    PrjTestCaseCore core(custom, "Alpha");
    ASSERT_TRUE(core.Load(db / "p.vtl"));
    EXPECT_EQ(Render(core, "<!--VT_TITLE_DATA-->"), "R&amp;D &lt;b&gt; &quot;q&quot;");
    EXPECT_EQ(Render(core, "<!--VT_TESTTYPE_DATA-->"), "&lt;img src=x onerror=alert(1)&gt;");
    EXPECT_EQ(Render(core, "<!--VT_TESTTPHASE_DATA-->"), "Alpha &amp; Beta");
    EXPECT_EQ(Render(core, "<!--VT_ATTEMPTS_DATA-->"),
              "&quot;&gt;&lt;script&gt;x()&lt;/script&gt;");
    EXPECT_EQ(Render(core, "<!--VT_EXTLINK_DATA-->"),
              "<a href=\"http://www.example.org/?a=1&amp;b=&quot;2&quot;\">www.example.org/"
              "?a=1&amp;b=&quot;2&quot;</a>");
    EXPECT_EQ(Render(core, "<!--VT_DESCRIPTION_DATA-->"), "<b>bold</b> & </textarea><i>");
    EXPECT_FALSE(Has(core.FieldTable(), "<img"));

    // Edit controls hold the same values as attribute text and box text.
    EXPECT_EQ(Render(core, "<!--VT_TITLE_EDIT-->"),
              "<input name=\"TITLE\" type=\"text\" class=\"TITLE\" value=\"R&amp;D &lt;b&gt; "
              "&quot;q&quot;\">");
    EXPECT_EQ(Render(core, "<!--VT_ATTEMPTS_EDIT-->"),
              "<input name=\"ATTEMPTS\" type=\"text\" class=\"ATTEMPTS\" "
              "value=\"&quot;&gt;&lt;script&gt;x()&lt;/script&gt;\">");
    EXPECT_NE(Render(core, "<!--VT_DESCRIPTION_EDIT-->")
                  .find("&lt;b&gt;bold&lt;/b&gt; &amp; &lt;/textarea&gt;&lt;i&gt;</textarea>"),
              std::string::npos);
}

TEST_F(PageTest, StyleInlinedWithImagesAndTheDesktopBase) {
    fs::create_directories(settings.styleFolder);
    WriteFile(settings.styleFolder / "style.css",
              "h1 { background: url(<!--VT_IMAGEPATH-->x.gif) }\n");
    settings.inlineStyle = true;
    settings.imagePath = "./images/";
    TestCaseCore core(custom);
    EXPECT_EQ(Render(core, "<!--VT_STYLE-->"),
              "<STYLE TYPE=\"text/css\">\nh1 { background: url(./images/x.gif) }\n</STYLE>\n" +
                  std::string(kRichTextContainment));
    settings.exported = false;
    EXPECT_NE(Render(core, "<!--VT_STYLE-->")
                  .find("<BASE HREF=\"" + settings.styleFolder.string() + "/\"</BASE>"),
              std::string::npos);
}

TEST_F(PageTest, EmptyGroupsAreMarkedSoTheStyleShowsThemQuietly) {
    WriteFile(db / "prj.tgp",
              "<project><id>Alpha</id><overview><![CDATA[Ship it]]></overview>"
              "<resources></resources><risks><![CDATA[<br> &nbsp;<BR/>]]></risks>"
              "<notes><![CDATA[<br><b>one</b>]]></notes></project>");
    ProjectCore core(custom);
    ASSERT_TRUE(core.Load(db / "prj.tgp"));
    EXPECT_EQ(Render(core,
                     "<!--VT_PRJSCOPE_STATE-->|<!--VT_PRJRES_STATE-->|<!--VT_PRJRISKS_STATE-->"
                     "|<!--VT_PRJNOTES_STATE-->|<!--VT_PRJREF_STATE-->"),
              "Filled|Empty|Empty|Filled|Empty");
    // The value itself stays what an empty field always gives.
    EXPECT_EQ(Render(core, "<!--VT_PRJRES_DATA-->"), "&nbsp;");

    // Every rich-text group of the shipped pages carries its state, so no style shows a blank
    // box for it.
    const std::regex group(R"re(<section class="([^"]*)"><h2><!--VT_(\w+)_HEADING--></h2>)re"
                           R"re(<div class="RichText"><!--VT_(\w+)_DATA-->)re");
    int groups = 0;
    for (const fs::directory_entry& page :
         fs::directory_iterator(fs::path(VANTOREL_STYLES) / "default")) {
        const std::string html = ReadFile(page.path());
        for (std::sregex_iterator at(html.begin(), html.end(), group), end; at != end; ++at) {
            ++groups;
            EXPECT_EQ((*at)[1], "Text <!--VT_" + (*at)[2].str() + "_STATE-->")
                << page.path().filename() << " " << (*at)[2];
        }
    }
    EXPECT_EQ(groups, 21);
}

TEST_F(PageTest, ProjectTestCaseShowsHistoryMeaningLinksAndEditControls) {
    WriteFile(db / "p.vtl",
              "<project_test_case><id>P1</id><test_status>fail</test_status>"
              "<external_link2>www.example.org/%VT_PROJECT%</external_link2>"
              "<external_link>/srv/specs/p1.pdf</external_link><test_type>Manual</test_type>"
              "<last_attempt_date>20261103</last_attempt_date><last_attempt_time>09:05:00"
              "</last_attempt_time><actual_duration></actual_duration>"
              "<history_entry><time>08:00:00</time><date>02-11-2026</date><type>ET_NEW</type>"
              "<old_status>Not yet attempted</old_status><new_status>Not yet attempted"
              "</new_status><num_tries>0</num_tries></history_entry>"
              "<history_entry><time>09:05:00</time><date>03-11-2026</date><type>ET_UPDATE"
              "</type><old_status>Not yet attempted</old_status><new_status>Fail</new_status>"
              "<num_tries>1</num_tries><build>b7</build><version>2.0</version>"
              "<phase>System</phase></history_entry></project_test_case>");
    PrjTestCaseCore core(custom, "Alpha");
    ASSERT_TRUE(core.Load(db / "p.vtl"));
    EXPECT_EQ(Render(core, "<!--VT_STATUS_MEANING-->"), "Fail");
    EXPECT_EQ(Render(core, "<!--VT_STATUS_MEANING_NOTE-->"), "") << "Fail counts as Fail";
    EXPECT_EQ(Render(core, "<!--VT_RESLINK_DATA-->"),
              "<a href=\"http://www.example.org/Alpha\">www.example.org/Alpha</a>");
    EXPECT_EQ(Render(core, "<!--VT_EXTLINK_DATA-->"),
              "<a href=\"file:///srv/specs/p1.pdf\">/srv/specs/p1.pdf</a>");
    EXPECT_EQ(Render(core, "<!--VT_TEST_HISTORY-->"),
              "<h1>Test Case History</h1><table class=List><tr class=ListHeading><td "
              "class=ListHeading>Date</td><td class=ListHeading>Type</td><td "
              "class=ListHeading>Old Status</td><td class=ListHeading>New Status</td><td "
              "class=ListHeading>Attempts</td><td class=ListHeading>Phase</td><td "
              "class=ListHeading>Version</td><td class=ListHeading>Build</td></tr>"
              "<tr class=List><td class=List>2-Nov-2026 08:00:00</td><td class=List>Test "
              "Creation</td><td class=List>Not yet attempted</td><td class=List>Not yet "
              "attempted</td><td class=List>0</td><td class=List></td><td class=List></td><td "
              "class=List></td></tr><tr class=List><td class=List>3-Nov-2026 09:05:00</td><td "
              "class=List>Test Update</td><td class=List>Not yet attempted</td><td "
              "class=List>Fail</td><td class=List>1</td><td class=List>System</td><td "
              "class=List>2.0</td><td class=List>b7</td></tr></table>\n");

    EXPECT_EQ(Render(core, "<!--VT_LASTATTEMPTTIME_EDIT-->"),
              "<input name=\"LASTATTEMPTTIME\" type=\"text\" class=\"LASTATTEMPTTIME\" "
              "value=\"09:05:00\">");
    EXPECT_EQ(Render(core, "<!--VT_ACTDURATION_EDIT-->"),
              "<input name=\"ACTDURATION\" type=\"text\" class=\"ACTDURATION\" value=\"00:00\">");
    const std::string status = Render(core, "<!--VT_STATUS_EDIT-->");
    EXPECT_EQ(status,
              "<select name=\"STATUS\" class =\"STATUS\"><option>Not yet attempted</option><option "
              "selected>Fail</option><option>Pass</option><option>Other</option><option>Postponed"
              "</option></select>");
    const std::string date = Render(core, "<!--VT_LASTATTEMPTDATE_EDIT-->");
    EXPECT_TRUE(Has(date, "<option selected value=3>3</option>"));
    EXPECT_TRUE(Has(date, "<option selected value=11>Nov</option>"));
    EXPECT_TRUE(Has(date, "<option  value=10>Oct</option>"));
    EXPECT_TRUE(date.ends_with("value=\"2026\">"));
    EXPECT_EQ(Render(core, "<!--VT_TITLE_EDIT-->"),
              "<input name=\"TITLE\" type=\"text\" class=\"TITLE\">");
}

TEST_F(PageTest, SuiteListShowsStatusIconsSubSuitesAndItsLimit) {
    const fs::path suite = db / "Projects" / "Alpha" / "Project Test Cases" / "Smoke";
    fs::create_directories(suite / "Deeper");
    WriteFile(suite / "P2.vtl",
              "<project_test_case><test_title>Log in</test_title>"
              "<test_status>Postponed</test_status></project_test_case>");
    WriteFile(suite / "P1.vtl",
              "<project_test_case><test_status>Odd</test_status>"
              "<priority>High</priority></project_test_case>");
    PrjTestGroupCore core(custom, suite);
    const std::string list = Render(core, "<!--VT_TGLIST:ignored-->");
    EXPECT_TRUE(list.starts_with("<h3>Project Test Cases and Sub Suites</h3>\n<table class=List>"));
    EXPECT_TRUE(Has(list,
                    "<tr class=List><td class=List><img src=\"images/folder.gif\" "
                    "align=left><a href=\"Deeper/Deeper_index.html\">Deeper</a></td>"));
    EXPECT_TRUE(Has(list,
                    "<tr class=ListAlt><td class=ListAlt><img src=\"images/tc.gif\" "
                    "align=left><a href=\"P1.html\">P1</a></td><td class=ListAlt>&nbsp;</td>"));
    EXPECT_TRUE(Has(list,
                    "images/post.gif\" align=left><a href=\"P2.html\">P2</a></td><td "
                    "class=List>Log in</td>"));
    EXPECT_TRUE(list.ends_with("</tr> \n</table>"));

    // Names are links by URL encoding and text by HTML escaping; cells are text.
    fs::create_directories(suite / "a#b 50%");
    WriteFile(suite / "R&D#1.vtl",
              "<project_test_case><test_title>x &lt; y</test_title><test_status>"
              "<b>Pass</b></test_status></project_test_case>");
    const std::string named = Render(core, "<!--VT_TGLIST-->");
    EXPECT_TRUE(Has(named, "<a href=\"a%23b%2050%25/a%23b%2050%25_index.html\">a#b 50%</a>"));
    EXPECT_TRUE(Has(named,
                    "<a href=\"R%26D%231.html\">R&amp;D#1</a></td><td class=List>x &lt; "
                    "y</td><td class=List>&lt;b&gt;Pass&lt;/b&gt;</td>"))
        << named;

    for (std::size_t n = 0; n < kSuiteListLimit; ++n)
        WriteFile(suite / ("Q" + std::to_string(n) + ".vtl"), "<project_test_case/>");
    const std::string full = Render(core, "<!--VT_TGLIST-->");
    EXPECT_TRUE(full.ends_with("<tr><td>Display limit exceeded</td></tr></table>"));
}

TEST_F(PageTest, TesterPageClosesTextsAndTellsTheAccess) {
    WriteFile(db / "t.vtl",
              "<tester><id>dana</id><remote_user>1</remote_user>"
              "<readwrite_access>0</readwrite_access>"
              "<passwd_hash>$argon2id$x</passwd_hash></tester>");
    TesterCore core(custom);
    ASSERT_TRUE(core.Load(db / "t.vtl"));
    EXPECT_EQ(Render(core, "<!--VT_REMOTE_DATA-->"), "Yes - Read Only");
    EXPECT_EQ(Render(core, "<!--VT_TESTERID_DATA-->"), "dana");
}

}  // namespace
}  // namespace vantorel::testing
