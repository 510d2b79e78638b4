#include "exchange/export_web.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "render/gif_image.h"
#include "render/template.h"
#include "support/child_process.h"
#include "support/project_fixture.h"
#include "support/recording_port.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

// Draws every chart as a one-colour picture and remembers what it was asked to draw.
class RecordingCharts : public ChartPainter {
public:
    IoResult WriteGif(const Chart& chart, const fs::path& file, int width, int height) override {
        drawn.push_back(chart);
        IndexedImage image(width, height, {0xFFFFFF});
        return vantorel::WriteGif(file, image);
    }
    std::vector<Chart> drawn;
};

class ExportTest : public ProjectTest {
protected:
    ExportTest() {
        const fs::path style = styles / "plain";
        fs::create_directories(style / "images");
        WriteFile(style / "style.css", "a { background: url(<!--VT_IMAGEPATH-->x.gif) }\n");
        WriteFile(style / "images" / "vtlogo.gif", "GIF");
        for (const char* name :
             {"ProjectTemplate.html", "PrjTestSuiteTemplate.html", "PrjTestCaseTemplate.html",
              "ReportRootTemplate.html", "StatusReportTemplate.html", "ProgressReportTemplate.html",
              "ListReportTemplate.html", "TestCaseReportTemplate.html"})
            WriteFile(style / name,
                      "<html><body><!--VT_BREADCRUMBS--><!--VT_STYLE-->[<!--VT_ID_DATA-->]"
                      "<!--VT_TGID_DATA--><!--VT_REPORT--><!--VT_LIST--></body></html>");
        WriteFile(db / "Projects" / "Alpha" / "Project Test Cases" / "Smoke.tgp",
                  "<test_suite><id>Smoke</id><suite_title>Smoke</suite_title></test_suite>");
        AddCase("Smoke/P 1.vtl", {{"<id>", "P 1"},
                                  {"<test_status>", "Pass"},
                                  {"<notes1>",
                                   "<![CDATA[<a href=\"vantorel://Alpha/Project%20"
                                   "Test%20Cases/Smoke/Deep/P2\">next</a> <a "
                                   "href=\"vantorel://Beta/x\">other</a>]]>"}});
        AddCase("Smoke/Deep/P2.vtl", {{"<id>", "P2"}, {"<test_status>", "Fail"}});
        request.projectFolder = project;
        request.stylesRoot = styles;
        request.style = "plain";
        request.destination = dir.path() / "site";
        request.exportDate = {2026, 11, 21};
    }

    std::optional<fs::path> Export() {
        ExportWeb exporter(port, custom, &charts,
                           [this](const std::string& text) { progress.push_back(text); });
        return exporter.Run(request);
    }

    const fs::path styles = dir.path() / "Templates";
    const fs::path site = dir.path() / "site" / "Alpha";
    WebExportRequest request;
    RecordingCharts charts;
    std::vector<std::string> progress;
};

TEST_F(ExportTest, WritesTheTreeWithBreadcrumbsFooterAndRelativeLinks) {
    ASSERT_TRUE(Make(ReportKind::Status, WholeProject()));
    ASSERT_EQ(Export(), site / "Alpha.html");
    EXPECT_TRUE(port.notices.empty());
    for (const char* file :
         {"style.css", "images/vtlogo.gif", "images/pass.gif", "images/post.gif",
          "Project Test Cases/Project Test Cases_index.html",
          "Project Test Cases/Smoke/Smoke_index.html", "Project Test Cases/Smoke/P 1.html",
          "Project Test Cases/Smoke/Deep/Deep_index.html", "Project Test Cases/Smoke/Deep/P2.html",
          "Reports/Status Reports/Status Reports_index.html",
          "Reports/Test List Reports/Test List Reports_index.html"})
        EXPECT_TRUE(fs::exists(site / file)) << file;
    EXPECT_EQ(ReadFile(site / "style.css"), "a { background: url(images/x.gif) }\n");
    EXPECT_EQ(progress.front(), "Export progress - Gathering test case information");
    EXPECT_NE(std::ranges::find(progress, "Export progress - Now exporting: P2"), progress.end());

    const std::string page = ReadFile(site / "Project Test Cases/Smoke/P 1.html");
    EXPECT_TRUE(page.starts_with(
        "<html>" + std::string(kPagePolicy) +
        "<body><div class=\"Breadcrumbs\">\n<table class=VTHeader width=100%><tr "
        "class=VTHeader><td width = 15%><img src=\"../../images/vtlogo.gif\"></td><td "
        "class=VTHeader valign=\"top\">Location:<a href=\"../../Alpha.html\">Alpha</a>&raquo;<a "
        "href=\"../../Project%20Test%20Cases/Project%20Test%20Cases_index.html\">Project Test "
        "Cases</a>&raquo;<a href=\"../../Project%20Test%20Cases/Smoke/Smoke_index.html\">Smoke</a>"
        "&raquo;<a href=\"../../Project%20Test%20Cases/Smoke/P%201.html\">P 1</a></td></tr>"
        "</table></div>\n<LINK REL=StyleSheet HREF=\"../../style.css\" TYPE=\"text/css\">\n" +
        std::string(kRichTextContainment) + "[P 1]"))
        << page;
    EXPECT_TRUE(page.ends_with(
        "<br><table class=footer>\n<tr class=footer><td class=footer><p class=footer>Exported "
        "from <a href=\"https://vantorel.example/\">Vantorel</a> on 21 November 2026</p></td>"
        "</tr>\n</table>\n</body>\n</html>"));

    // The status report's page shows its two charts beside it, drawn in the report's colours.
    const std::string report = ReadFile(site / "Reports/Status Reports/Status Reports_index.html");
    EXPECT_TRUE(Has(report, ".html\">Status report - 2026-11-21-1</a>"));
    ASSERT_EQ(charts.drawn.size(), 2u);
    EXPECT_EQ(charts.drawn[0].kind, ChartKind::Pie);
    EXPECT_EQ(charts.drawn[0].series[2].name, "Pass");
    const std::string statusPage =
        ReadFile(site / "Reports/Status Reports/Status report - 2026-11-21-1.html");
    EXPECT_TRUE(Has(statusPage, "<img src=\"./Status%20report%20-%202026-11-21-1-status.gif\">\n"));
    EXPECT_TRUE(
        Has(statusPage, "<LINK REL=StyleSheet HREF=\"../../style.css\" TYPE=\"text/css\">\n"));
    EXPECT_TRUE(ReadGif(site / "Reports/Status Reports/Status report - 2026-11-21-1-time.gif"));

    // The project page holds the whole project; its sub-suite table keeps its odd closing tag.
    const std::string projectPage = ReadFile(site / "Alpha.html");
    EXPECT_TRUE(Has(projectPage, "<h2><a name=\"proj_suites\"></a>Test Suites</h2>\n"));
    EXPECT_TRUE(Has(projectPage, "</table\n"));
    // Each suite is listed once, and no table is empty.
    EXPECT_FALSE(Has(projectPage, "<h2>Project Test Cases</h2>"));
    EXPECT_FALSE(Has(projectPage, "href=\"#Project-Test-Cases\""));
    EXPECT_FALSE(Has(projectPage, "<table class=List></table>"));
    EXPECT_TRUE(Has(projectPage, "<a href=\"Project%20Test%20Cases/Smoke/Deep/P2.html\">P2</a>"));
}

TEST_F(ExportTest, ValuesReachTheSiteAsTextAndEveryPageForbidsScripts) {
    const std::string script = "<img src=x onerror=alert(1)>";
    AddCase("Smoke/P3.vtl", {{"<id>", "P3"}, {"<test_type>", script}, {"<test_status>", script}});
    WriteFile(db / "Projects" / "Alpha" / "Project Test Cases" / "Smoke.tgp",
              "<test_suite><id>Smoke</id><suite_title>" + script + "</suite_title></test_suite>");
    for (ReportKind kind : {ReportKind::List, ReportKind::Details}) {
        ReportRequest request = WholeProject();
        request.listColumns.fill(true);
        ASSERT_TRUE(Make(kind, request));
    }
    ReportRequest named = WholeProject();
    named.name = "Weekly";
    ASSERT_TRUE(Make(ReportKind::List, named));
    ASSERT_TRUE(Export());
    // A named report's creation date comes from the report, not from its name.
    EXPECT_NE(ReadFile(site / "Reports/Test List Reports/Test List Reports_index.html")
                  .find("Weekly</a></td><td class=ListAlt>21-Nov-2026</td>"),
              std::string::npos);
    std::size_t pages = 0;
    for (const auto& entry : fs::recursive_directory_iterator(site)) {
        if (entry.path().extension() != ".html")
            continue;
        ++pages;
        const std::string page = ReadFile(entry.path());
        EXPECT_FALSE(Has(page, "<img src=x")) << entry.path();
        EXPECT_TRUE(Has(page, kPagePolicy)) << entry.path();
        EXPECT_TRUE(Has(page, "</html>")) << entry.path() << " is not whole";
    }
    // Report pages are written as the report is read, between the parts of their frame.
    const std::string list =
        ReadFile(site / "Reports/Test List Reports/List report - 2026-11-21-1.html");
    EXPECT_LT(list.find("P3</td>"), list.find("</body>"));
    EXPECT_EQ(pages, 14u);
    EXPECT_TRUE(Has(ReadFile(site / "Alpha.html"), "&lt;img src=x onerror=alert(1)&gt;"));
}

// A suite's page is made after its test cases' pages and lists the cells they read.
TEST_F(ExportTest, ASuitesListShowsTheCellsOfItsTestCases) {
    WriteFile(styles / "plain" / "PrjTestSuiteTemplate.html",
              "<html><body><!--VT_TGLIST--></body></html>");
    AddCase("Smoke/P 3.vtl", {{"<id>", "P 3"},
                              {"<test_title>", "Three"},
                              {"<test_status>", "Fail"},
                              {"<priority>", "High"},
                              {"<testers>", "sam"},
                              {"<last_attempt_date>", "20261014"}});
    ASSERT_TRUE(Export());
    const std::string suite = ReadFile(site / "Project Test Cases/Smoke/Smoke_index.html");
    EXPECT_TRUE(Has(suite, "Deep</a></td><td class=List>&nbsp;</td>")) << suite;
    EXPECT_TRUE(Has(suite, "P 1</a></td><td class=ListAlt>&nbsp;</td><td class=ListAlt>Pass</td>"))
        << suite;
    EXPECT_TRUE(Has(suite,
                    "P 3</a></td><td class=List>Three</td><td class=List>Fail</td><td "
                    "class=List>High</td><td class=List>sam</td><td "
                    "class=List>14-Oct-2026</td></tr>"))
        << suite;
}

TEST_F(ExportTest, InternalLinksLeadToExportedPages) {
    const std::string html =
        "<a href=\"vantorel://Alpha/Project%20Test%20Cases/Smoke/Deep/P2\">x</a>"
        "<a href=\"Projects/alpha/Project Test Cases/Smoke\">y</a>"
        "<a href=\"vantorel://Beta/Project Test Cases/Q\">z</a>"
        "<a href=\"http://example.org/\">w</a>";
    EXPECT_EQ(RewriteInternalLinks(html, project, "../../"),
              "<a href=\"../../Project%20Test%20Cases/Smoke/Deep/P2.html\">x</a>"
              "<a href=\"../../Project%20Test%20Cases/Smoke/Smoke_index.html\">y</a>"
              "<a href=\"#\">z</a><a href=\"http://example.org/\">w</a>");
    // A link that shows its address reads as the identifier it leads to, with its title.
    WriteFile(cases / "Smoke" / "P 1.vtl",
              "<project_test_case><id>P 1</id><test_title>Log in &amp; out</test_title>"
              "</project_test_case>");
    EXPECT_EQ(
        RewriteInternalLinks("<a target=\"_blank\" href=\"vantorel://Alpha/Project%20Test%20"
                             "Cases/Smoke/P%201\">vantorel://Alpha/Project Test Cases/Smoke/"
                             "P 1</a> and <a href=\"vantorel://Beta/Q\">vantorel://Beta/Q</a>",
                             project, "../"),
        "<a target=\"_blank\" href=\"../Project%20Test%20Cases/Smoke/P%201.html\">P 1 &ndash; "
        "Log in &amp; out</a> and <a href=\"#\">Q</a>");
}

TEST_F(ExportTest, AsksBeforeOverwritingAndTellsEveryFailure) {
    request.destination.clear();
    EXPECT_FALSE(Export());
    EXPECT_EQ(port.notices.back().caption, "Error");

    request.destination = dir.path() / "site";
    ASSERT_TRUE(Export());
    WriteFile(site / "Alpha.html", "earlier");
    port.ScriptAnswers({false});
    EXPECT_FALSE(Export());
    EXPECT_TRUE(Has(port.questions.back().text, site.string()));
    EXPECT_EQ(ReadFile(site / "Alpha.html"), "earlier");
    port.ScriptAnswers({true, false});
    EXPECT_TRUE(Export());
    EXPECT_EQ(port.questions.back().caption, "Overwrite existing folder");
    request.askBeforeOverwriting = false;
    const std::size_t asked = port.questions.size();
    EXPECT_TRUE(Export());
    EXPECT_EQ(port.questions.size(), asked);

    request.destination = dir.path() / "file";
    WriteFile(request.destination, "not a folder");
    EXPECT_FALSE(Export());
    ASSERT_GE(port.notices.size(), 2u);
    EXPECT_EQ(
        port.notices[port.notices.size() - 2].text,
        "Unable to create main directory for export: " + (request.destination / "Alpha").string());
    EXPECT_EQ(port.notices.back().text, request.destination.string() + ": Not a directory");

    request.destination = dir.path() / "site";
    request.style = "missing";
    EXPECT_FALSE(Export());
    EXPECT_EQ(port.notices.back().caption, "Error");

    // A page that can't be written (a suite's folder takes its name) ends the export, with
    // the file and the reason; the earlier site stays whole and nothing else is left.
    request.style = "plain";
    const std::string earlier = ReadFile(site / "Alpha.html");
    fs::create_directories(cases / "Smoke" / "P 1.html");
    EXPECT_FALSE(Export());
    ASSERT_GE(port.notices.size(), 2u);
    EXPECT_EQ(port.notices[port.notices.size() - 2].caption, "Error");
    EXPECT_EQ(port.notices.back().text,
              (site / "Project Test Cases" / "Smoke" / "P 1.html").string() + ": Is a directory");
    EXPECT_EQ(ReadFile(site / "Alpha.html"), earlier);
    EXPECT_TRUE(fs::exists(site / "Project Test Cases" / "Smoke" / "P 1.html"));
    EXPECT_EQ(std::distance(fs::directory_iterator(request.destination), {}), 1);
    EXPECT_EQ(DisplayStyles(styles), (std::vector<std::string>{"plain"}));
}

TEST_F(ExportTest, NeitherFollowsLinksNorWritesThroughThem) {
    const fs::path smoke = cases / "Smoke";
    const fs::path outside = dir.path() / "outside";
    fs::create_directories(outside / "Secrets");
    WriteFile(outside / "Secrets" / "Key.vtl", "<project_test_case><id>Key</id>");
    // Two links round to the suite itself, one out of the database, a linked document, and a
    // FIFO that would block a reader for ever.
    fs::create_directory_symlink(".", smoke / "Again");
    fs::create_directory_symlink("..", smoke / "Up");
    fs::create_directory_symlink(outside / "Secrets", smoke / "Out");
    fs::create_symlink(outside / "Secrets" / "Key.vtl", smoke / "Key.vtl");
    ASSERT_EQ(::mkfifo((smoke / "Pipe.vtl").c_str(), 0600), 0);
    ASSERT_TRUE(Export());
    EXPECT_TRUE(fs::exists(site / "Project Test Cases" / "Smoke" / "P 1.html"));
    for (const char* page : {"Again", "Up", "Out", "Key.html", "Pipe.html"})
        EXPECT_FALSE(fs::exists(fs::symlink_status(site / "Project Test Cases" / "Smoke" / page)))
            << page;

    // Links planted in an earlier site, where a folder or a page of the site belongs, and in
    // place of the site itself: the new site is built apart and replaces them, and nothing is
    // written through them.
    const fs::path elsewhere = dir.path() / "elsewhere";
    fs::create_directories(elsewhere);
    fs::remove_all(site / "Project Test Cases" / "Smoke");
    fs::create_directory_symlink(elsewhere, site / "Project Test Cases" / "Smoke");
    request.askBeforeOverwriting = false;
    ASSERT_TRUE(Export());
    EXPECT_TRUE(fs::is_empty(elsewhere));
    EXPECT_FALSE(fs::is_symlink(site / "Project Test Cases" / "Smoke"));

    WriteFile(elsewhere / "target.html", "kept");
    const fs::path moved = dir.path() / "moved";
    fs::rename(site, moved);
    fs::create_directory_symlink(elsewhere, site);
    ASSERT_TRUE(Export());
    EXPECT_FALSE(fs::is_symlink(site));
    EXPECT_EQ(std::distance(fs::directory_iterator(elsewhere), {}), 1);
    fs::remove(site / "Project Test Cases" / "Smoke" / "P 1.html");
    fs::create_symlink(elsewhere / "target.html",
                       site / "Project Test Cases" / "Smoke" / "P 1.html");
    fs::remove(site / "images" / "vtlogo.gif");
    fs::create_symlink(elsewhere / "target.html", site / "images" / "vtlogo.gif");
    ASSERT_TRUE(Export());
    EXPECT_EQ(ReadFile(elsewhere / "target.html"), "kept");
    EXPECT_FALSE(fs::is_symlink(site / "Project Test Cases" / "Smoke" / "P 1.html"));
    EXPECT_FALSE(fs::is_symlink(site / "images" / "vtlogo.gif"));
}

TEST_F(ExportTest, AFolderNobodyMayEnterEndsNoWorker) {
    // A suite the user may list but not enter: its page asks for its description inside it,
    // which must be a question answered "no", not a failure on a page thread.
    fs::create_directories(cases / "Smoke" / "Locked");
    WriteFile(cases / "Smoke" / "Locked" / "L1.vtl", "<project_test_case><id>L1</id>");
    for (const auto& entry : fs::recursive_directory_iterator(dir.path()))
        ASSERT_TRUE(GiveToOrdinaryUser(entry.path()));
    ASSERT_TRUE(GiveToOrdinaryUser(dir.path()));
    fs::permissions(cases / "Smoke" / "Locked", fs::perms::owner_read);
    EXPECT_EQ(RunAsOrdinaryUser([&]() -> std::string {
                  if (!Export())
                      return "the export failed: " + port.notices.back().text;
                  return fs::exists(site / "Project Test Cases" / "Smoke" / "Smoke_index.html")
                             ? ""
                             : "no suite page";
              }),
              "");
    fs::permissions(cases / "Smoke" / "Locked", fs::perms::owner_all);
}

// Names on disk are UTF-8 and the pages ISO-8859-1: accents reach the site as references.
TEST_F(ExportTest, AccentedNamesReadRightOnTheSite) {
    AddCase("Caf\xc3\xa9/Cr\xc3\xa8me.vtl", {{"<id>", "Cr\xe8me"}, {"<test_status>", "Pass"}});
    ASSERT_EQ(Export(), site / "Alpha.html");
    const std::string page =
        ReadFile(site / "Project Test Cases" / "Caf\xc3\xa9" / "Cr\xc3\xa8me.html");
    EXPECT_TRUE(Has(page,
                    ">Caf&#233;</a>&raquo;<a href=\"../../Project%20Test%20Cases/Caf%C3%A9/"
                    "Cr%C3%A8me.html\">Cr&#232;me</a>"))
        << page.substr(0, 1200);
    const std::string tree = ReadFile(site / "Alpha.html");
    EXPECT_TRUE(Has(tree, ">Caf&#233;</a>"));
    EXPECT_TRUE(Has(tree, ">Cr&#232;me</a>"));
}

TEST_F(ExportTest, AProjectWithoutTestCasesStillGetsItsPage) {
    fs::remove_all(cases);
    ASSERT_TRUE(Export());
    EXPECT_TRUE(fs::exists(site / "Alpha.html"));
    EXPECT_FALSE(fs::exists(site / "Project Test Cases"));
}

TEST_F(ExportTest, ACancelledExportLeavesTheEarlierSite) {
    request.askBeforeOverwriting = false;
    ASSERT_TRUE(Export());
    const std::string earlier = ReadFile(site / "Alpha.html");
    for (int n = 0; n < 400; ++n)
        AddCase("Smoke/Bulk/B" + std::to_string(n) + ".vtl", {{"<test_status>", "Pass"}});
    std::stop_source stop;
    request.stop = stop.get_token();
    int texts = 0;
    ExportWeb exporter(port, custom, &charts, [&](const std::string&) {
        if (++texts == 50)
            stop.request_stop();
    });
    EXPECT_FALSE(exporter.Run(request));
    EXPECT_LT(exporter.PagesWritten(), 300);
    EXPECT_EQ(port.notices.back().caption, "Export cancelled");
    EXPECT_EQ(ReadFile(site / "Alpha.html"), earlier);
    EXPECT_FALSE(fs::exists(site / "Project Test Cases" / "Smoke" / "Bulk"));
    for (const auto& entry : fs::directory_iterator(dir.path() / "site"))
        EXPECT_EQ(entry.path(), site) << "left behind";
}

TEST_F(ExportTest, TwoExportsIntoOneNewPlaceBothSucceed) {
    request.askBeforeOverwriting = false;
    for (int round = 0; round < 20; ++round) {
        request.destination = dir.path() / ("new" + std::to_string(round)) / "nested";
        RecordingPort otherPort;
        std::optional<fs::path> first, second;
        {
            std::jthread other(
                [&] { second = ExportWeb(otherPort, custom, nullptr).Run(request); });
            first = ExportWeb(port, custom, nullptr).Run(request);
        }
        ASSERT_TRUE(first && second) << "round " << round;
    }
}

TEST(GifImage, WritesWhatItReadsBack) {
    TempDir dir;
    IndexedImage image(3, 2, {0xFF0000, 0x00FF00, 0x0000FF});
    image.transparent = 2;
    image.Set(1, 0, 1);
    image.Set(2, 1, 2);
    ASSERT_TRUE(WriteGif(dir / "x.gif", image).ok());
    auto read = ReadGif(dir / "x.gif");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->pixels, image.pixels);
    EXPECT_EQ(read->palette[1], 0x00FF00u);
    EXPECT_EQ(read->transparent, 2);
    const IoResult noFolder = WriteGif(dir / "no-such-folder" / "x.gif", image);
    EXPECT_EQ(noFolder.code, ENOENT);
    EXPECT_TRUE(Has(noFolder.message, "no-such-folder/x.gif"));
    EXPECT_EQ(WriteGif(dir / "y.gif", IndexedImage(2, 2, {})).code, EINVAL);
    EXPECT_FALSE(fs::exists(dir / "y.gif"));
}

}  // namespace
}  // namespace vantorel::testing
