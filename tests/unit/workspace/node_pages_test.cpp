#include "workspace/node_pages.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "filters/filter.h"
#include "render/template.h"
#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kImages[] = "vtpage:/.style/images/";
constexpr char kCharts[] = "vtpage:/.charts/";

// A small database with one item of every kind, shown in the shipped default style.
class NodePageTest : public ProjectTest {
protected:
    NodePageTest() {
        const fs::path login = db / "Test Cases" / "Login";
        fs::create_directories(login);
        WriteFile(db / "Test Cases" / "Login.tgp",
                  "<test_suite><id>Login</id><suite_title>Sign-in journeys</suite_title>"
                  "</test_suite>");
        WriteFile(login / "TC 12.vtl",
                  "<test_case><id>TC 12</id><test_title>Password reset mail arrives</test_title>"
                  "<notes1><![CDATA[See \"vantorel://Test Cases/Login/50% off #2\"]]></notes1>"
                  "</test_case>");
        WriteFile(login / "50% off #2.vtl",
                  "<test_case><id>50% off #2</id><notes1><![CDATA[After "
                  "vantorel://Test%20Cases/Login/TC%2012 in <a "
                  "href=\"vantorel://Alpha/Project%20Test%20Cases/Smoke\">VANTOREL://Alpha/Project "
                  "Test Cases/Smoke</a>]]></notes1></test_case>");
        WriteFile(project.string() + ".tgp",
                  "<project><id>Alpha</id><project_title>Spring release</project_title></project>");
        WriteFile(cases / "Smoke.tgp",
                  "<test_suite><id>Smoke</id><suite_title>Quick smoke run</suite_title>"
                  "</test_suite>");
        AddCase("Smoke/P 1.vtl",
                {{"<id>", "P 1"},
                 {"<test_title>", "Checkout total matches"},
                 {"<test_status>", "Pass"},
                 {"<notes1>",
                  "<![CDATA[<a href=\"vantorel://Alpha/Project%20Test%20Cases/Smoke/P2\">next</a>"
                  " <a href=\"vantorel://Beta/x\">gone</a>]]>"}});
        AddCase("Smoke/P2.vtl", {{"<id>", "P2"}, {"<test_status>", "Fail"}});
        WriteFile(db / "Test Configurations" / "Desktop.vtl",
                  "<test_cfg><id>Desktop</id><testcfg_title>Firefox on Debian</testcfg_title>"
                  "</test_cfg>");
        WriteFile(db / "Resources" / "Staging.vtl",
                  "<test_resource><id>Staging</id><testres_title>Staging shop</testres_title>"
                  "</test_resource>");
        WriteFile(db / "Testers" / "dana.vtl",
                  "<tester><id>dana</id><tester_name>Dana Whitfield</tester_name></tester>");
        EXPECT_TRUE(WriteFilterDocument(db / "Filters" / "Failing.vtl",
                                        {"Failing", "Only failing tests", {}})
                        .ok());
        report = *Make(ReportKind::Status, WholeProject());
    }

    TreeNode Node(const fs::path& path) const {
        const bool document = path.extension() == ".vtl";
        return {path, NodeKindOf(db, path),
                document ? path.stem().string() : path.filename().string()};
    }

    NodePage Page(const fs::path& path, const fs::path& styleFolder = kStyle) const {
        return DesktopPage({db, Node(path), custom, styleFolder, kImages, kCharts});
    }

    // Every "vantorel://" link of a page.
    static std::vector<std::string> Links(const std::string& html) {
        static const std::regex link("href=\"(vantorel://[^\"]*)\"", std::regex::icase);
        std::vector<std::string> links;
        for (std::sregex_iterator at(html.begin(), html.end(), link), end; at != end; ++at)
            links.push_back((*at)[1]);
        return links;
    }

    static inline const fs::path kStyle = fs::path(VANTOREL_STYLES) / "default";
    const fs::path suite = cases / "Smoke";
    const fs::path testCase = db / "Test Cases" / "Login" / "TC 12.vtl";
    const fs::path projectCase = cases / "Smoke" / "P 1.vtl";
    fs::path report;
};

TEST_F(NodePageTest, EveryKindShowsItsOwnPage) {
    struct Expected {
        fs::path path;
        std::string_view template_;  // the body class of the template, or the page's title
        std::string shows;
    };
    const fs::path reports = project / "Project Reports";
    const Expected kinds[] = {
        {testCase, "Item TestCase", "Password reset mail arrives"},
        {projectCase, "Item PrjTestCase", "Checkout total matches"},
        {db / "Test Cases" / "Login", "Item TestSuite", "Sign-in journeys"},
        {suite, "Item PrjTestSuite", "Quick smoke run"},
        {project, "Item Project", "Spring release"},
        {db / "Test Configurations" / "Desktop.vtl", "Item TestCfg", "Firefox on Debian"},
        {db / "Resources" / "Staging.vtl", "Item TestRes", "Staging shop"},
        {db / "Testers" / "dana.vtl", "Item Tester", "Dana Whitfield"},
        {db / "Filters" / "Failing.vtl", "Item Filter", "Only failing tests"},
        {report, "Item Report", "Tests by status"},
        {reports / "Status Reports", "Item ReportRoot", report.stem().string()},
        {reports, "Item ReportRoot", "Status Reports"},
        {db / "Test Cases", "<title>Test Cases - Vantorel", ">Login</a>"},
        {db / "Projects", "<title>Projects - Vantorel", ">Alpha</a>"},
        {db / "Testers", "<title>Testers - Vantorel", ">dana</a>"},
        {cases, "<title>Project Test Cases - Vantorel", ">Smoke</a>"},
    };
    for (const Expected& kind : kinds) {
        SCOPED_TRACE(kind.path.string());
        const NodePage page = Page(kind.path);
        EXPECT_TRUE(Has(page.html, kind.template_));
        EXPECT_TRUE(Has(page.html, kind.shows));
        EXPECT_FALSE(Has(page.html, kUnmatchedPlaceholder));
        EXPECT_FALSE(page.failure);
    }
    // A project test case shows its history; a project suite lists its test cases.
    EXPECT_TRUE(Has(Page(projectCase).html, "Test Case History"));
    EXPECT_TRUE(Has(Page(suite).html, ">P2</a>"));
}

TEST_F(NodePageTest, PagesAreTheDesktopsWithLinksIntoTheDatabase) {
    const std::string html = Page(projectCase).html;
    // The style sheet inline with its pictures from the window's scheme; nothing of the
    // export's site.
    EXPECT_TRUE(Has(html, "<STYLE TYPE=\"text/css\">"));
    EXPECT_FALSE(Has(html, "<LINK REL=StyleSheet"));
    EXPECT_TRUE(Has(html, "<img src=\"vtpage:/.style/images/vtlogo.gif\">"));
    EXPECT_FALSE(Has(html, ".html\""));
    // Breadcrumbs from the top of the database down to the item.
    EXPECT_TRUE(Has(html,
                    "<a href=\"vantorel:///Projects\">Projects</a>&raquo;<a "
                    "href=\"vantorel:///Projects/Alpha\">Alpha</a>&raquo;<a "
                    "href=\"vantorel:///Projects/Alpha/Project%20Test%20Cases\">Project Test "
                    "Cases</a>&raquo;<a href=\"vantorel:///Projects/Alpha/Project%20Test%20Cases/"
                    "Smoke\">Smoke</a>&raquo;<a href=\"vantorel:///Projects/Alpha/"
                    "Project%20Test%20Cases/Smoke/P%201.vtl\">P 1</a>"));
    // A rich text's link to an item is carried in the page's own form; one that leads nowhere
    // stays as it was written.
    EXPECT_TRUE(Has(html,
                    "href=\"vantorel:///Projects/Alpha/Project%20Test%20Cases/Smoke/P2.vtl\">"
                    "next</a>"));
    EXPECT_TRUE(Has(html, "href=\"vantorel://Beta/x\">gone</a>"));
    // A link that shows its own address reads as the item: its identifier, and its title
    // when it has one.
    EXPECT_TRUE(
        Has(Page(testCase).html,
            "href=\"vantorel:///Test%20Cases/Login/50%25%20off%20%232.vtl\">50% off #2</a>"));
    const std::string linking = Page(db / "Test Cases" / "Login" / "50% off #2.vtl").html;
    EXPECT_TRUE(Has(linking,
                    "href=\"vantorel:///Test%20Cases/Login/TC%2012.vtl\">TC 12 &ndash; "
                    "Password reset mail arrives</a> in <a "
                    "href=\"vantorel:///Projects/Alpha/Project%20Test%20Cases/Smoke\">"
                    "Smoke &ndash; Quick smoke run</a>"));
    EXPECT_FALSE(Has(linking, ">vantorel://"));
    // The suite list leads to the test cases' pages in the database.
    EXPECT_TRUE(
        Has(Page(suite).html,
            "<img src=\"vtpage:/.style/images/fail.gif\" align=left><a "
            "href=\"vantorel:///Projects/Alpha/Project%20Test%20Cases/Smoke/P2.vtl\">P2</a>"));
}

TEST_F(NodePageTest, ReportDocumentGivesTheChartsItsPageShows) {
    const NodePage page = Page(report);
    ASSERT_EQ(page.charts.size(), 2u);
    for (const ChartFile& chart : page.charts)
        EXPECT_TRUE(
            Has(page.html, "<img src=\"" + std::string(kCharts) + UrlPath(chart.name) + ".gif\">"))
            << chart.name;
    EXPECT_TRUE(Page(testCase).charts.empty());
}

TEST_F(NodePageTest, AnUnreadableDocumentOrAMissingStyleStillGetsAPageThatSaysSo) {
    const fs::path gone = db / "Test Cases" / "Login" / "Gone.vtl";  // renamed by another user
    const fs::path broken = report.parent_path() / "Broken.vtl";
    WriteFile(broken, "not a report");
    for (const fs::path& document : {gone, broken}) {
        SCOPED_TRACE(document.string());
        const NodePage page = Page(document);
        ASSERT_TRUE(page.failure);
        EXPECT_TRUE(Has(page.failure->text, document.string()));
        EXPECT_TRUE(Has(page.html, "<!-- Failed to load XML file " + document.string() + "-->"));
        // A visible line in the body, not only a comment.
        EXPECT_TRUE(Has(page.html, ">\n<p class=\"LoadFailure\">Unable to open the test case, " +
                                       document.string() + "</p>"));
        EXPECT_TRUE(page.charts.empty());
    }
    // Without its style, every kind gets the template-missing page.
    for (const fs::path& path : {testCase, report, report.parent_path(), db / "Test Cases", cases})
        EXPECT_EQ(Page(path, dir.path() / "Templates" / "gone").html, kTemplateMissingPage) << path;
}

TEST_F(NodePageTest, AProjectTestCasePageOffersAddBugOnlyWhenAskedAndItsLinkLeadsBack) {
    NodePageRequest request{db, Node(projectCase), custom, kStyle, kImages, kCharts, true};
    const std::string link = AddBugLink(db, projectCase);
    EXPECT_NE(DesktopPage(request).html.find("<a href=\"" + link + "\">Add Bug</a>"),
              std::string::npos);
    EXPECT_EQ(AddBugItem(db, link), projectCase);
    // Not on a library test case's page, nor without the command; no other link is one.
    request.node = Node(testCase);
    EXPECT_EQ(DesktopPage(request).html.find("Add Bug"), std::string::npos);
    EXPECT_EQ(Page(projectCase).html.find("Add Bug"), std::string::npos);
    EXPECT_FALSE(AddBugItem(db, ItemLink(db, projectCase)));
    EXPECT_FALSE(AddBugItem(db, AddBugLink(db, testCase)));
}

TEST_F(NodePageTest, LinksResolveInEveryFormTheyAreWritten) {
    const fs::path p1 = cases / "Smoke" / "P 1.vtl";
    for (std::string_view link : {
             "vantorel://Alpha/Project%20Test%20Cases/Smoke/P%201",  // rich text, encoded
             "vantorel://Alpha/Project Test Cases/Smoke/P 1",        // as typed
             "vantorel://alpha/Project%20Test%20Cases/Smoke/P%201",  // a URL parser's host
             "VANTOREL://Alpha/Project Test Cases/Smoke/P 1.vtl",
             "vantorel://Alpha\\Project Test Cases\\Smoke\\P 1",
             "vantorel://Projects/Alpha/Project Test Cases/Smoke/P 1",
             "vantorel:///Projects/Alpha/Project%20Test%20Cases/Smoke/P%201.vtl",
         })
        EXPECT_EQ(ResolveItemLink(db, link), p1) << link;
    EXPECT_EQ(ResolveItemLink(db, "vantorel://Test Cases/Login/TC 12"), testCase);
    EXPECT_EQ(ResolveItemLink(db, "vantorel://Test%20Cases/Login/"), db / "Test Cases" / "Login");
    EXPECT_EQ(ResolveItemLink(db, "vantorel://Alpha"), project);
}

TEST_F(NodePageTest, LinksOutsideTheDatabaseOrToNoItemLeadNowhere) {
    fs::create_symlink(dir.path(), db / "Test Cases" / "Outside");
    WriteFile(dir.path() / "secret.vtl", "<test_case><id>secret</id></test_case>");
    for (std::string_view link : {
             "vantorel://Alpha/../../../secret",
             "vantorel://Alpha/%2E%2E/%2e%2e/../secret",
             "vantorel:///Test%20Cases/Login/..%2F..%2F..%2Fsecret",
             "vantorel:////etc/passwd",
             "vantorel://Test Cases/Outside/secret",  // a link on the way
             "vantorel://Alpha/Project Test Cases/Smoke/P9",
             "vantorel:///Projects/Alpha.tgp",  // a description is no item
             "vantorel:///",
             "vantorel://",
             "file:///etc/passwd",
             "vantorel://Test Cases/Login/TC%0012",
         })
        EXPECT_EQ(ResolveItemLink(db, link), std::nullopt) << link;
}

TEST_F(NodePageTest, EveryLinkAPageMakesLeadsBackToItsItem) {
    // Each item's own link, odd names included.
    for (const fs::path& item : {testCase, db / "Test Cases" / "Login" / "50% off #2.vtl",
                                 projectCase, suite, project, report})
        EXPECT_EQ(ResolveItemLink(db, ItemLink(db, item)), item) << item;
    // Every link the pages write: breadcrumbs, suite lists, folder and report lists.
    std::set<fs::path> reached;
    for (const fs::path& path : {projectCase, suite, project, report, report.parent_path(),
                                 project / "Project Reports", db / "Test Cases", cases}) {
        for (const std::string& link : Links(Page(path).html)) {
            if (link == "vantorel://Beta/x")
                continue;  // the rich text's link to no item
            const std::optional<fs::path> item = ResolveItemLink(db, link);
            EXPECT_TRUE(item) << link << " on the page of " << path;
            if (item)
                reached.insert(*item);
        }
    }
    for (const fs::path& item :
         {db / "Projects", cases / "Smoke" / "P2.vtl", db / "Test Cases" / "Login", report,
          report.parent_path(), project / "Project Reports"})
        EXPECT_TRUE(reached.contains(item)) << item;
}

TEST(PagesToPrint, KeepsTheFirstHeadAndPutsEachBodyOnASheetOfItsOwn) {
    const std::string printed =
        PagesToPrint({"<html><head><style>a</style></head><BODY class=x>one</Body></html>",
                      "<html><head><style>b</style></head><body>two</body></html>", "three"});
    EXPECT_EQ(printed,
              "<html><head><style>a</style></head><BODY class=x>one"
              "<div style=\"break-before: page\"></div>\ntwo"
              "<div style=\"break-before: page\"></div>\nthree</body></html>\n");
}

TEST(ItemPrintFooter, NamesWhatWasPrintedTheDayAndTheSheet) {
    const std::filesystem::path db = "/srv/db";
    const std::chrono::year_month_day day{std::chrono::year(2026), std::chrono::November,
                                          std::chrono::day(5)};
    const TreeNode testCase{db / "Test Cases" / "Login" / "LOG-001.vtl", TV_TEST_TEST_DOC,
                            "LOG-001"};
    const TreeNode other{db / "Test Cases" / "Login" / "LOG-002.vtl", TV_TEST_TEST_DOC, "LOG-002"};
    const TreeNode suite{db / "Test Cases" / "Login", TV_TEST_SUITE_FLD, "Login"};
    EXPECT_EQ(ItemPrintFooter(PrintedItemsOf(db, {testCase}, day), 2, 3),
              "Test Cases/Login/LOG-001 - 5-Nov-2026 - Page 2 of 3");
    EXPECT_EQ(ItemPrintFooter(PrintedItemsOf(db, {suite}, day), 1, 1),
              "Test Cases/Login - 5-Nov-2026 - Page 1 of 1");
    EXPECT_EQ(ItemPrintFooter(PrintedItemsOf(db, {testCase, suite, other}, day), 1, 4),
              "2 test cases and 1 suite - 5-Nov-2026 - Page 1 of 4");
}

}  // namespace
}  // namespace vantorel::testing
