#include "exchange/web_export_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "support/project_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

class WebExportModelTest : public ProjectTest {
protected:
    WebExportModelTest() {
        for (const char* style : {"default", "night", "plain"}) {
            WriteFile(styles / style / "style.css", "body { }\n");
            for (const char* name :
                 {"ProjectTemplate.html", "PrjTestSuiteTemplate.html", "PrjTestCaseTemplate.html",
                  "ReportRootTemplate.html", "StatusReportTemplate.html"})
                WriteFile(styles / style / name, "<html><body><!--VT_LIST--></body></html>");
        }
        fs::create_directories(styles / "no sheet");
        AddCase("Smoke/P1.vtl", {{"<id>", "P1"}, {"<test_status>", "Pass"}});
    }

    static void WriteFile(const fs::path& file, const std::string& text) {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    WebExportModel Model(const std::string& preferred = "night") {
        return WebExportModel(port, custom, nullptr,
                              {project, styles, preferred, dir.path() / "Documents"});
    }

    const fs::path styles = dir.path() / "Templates";
};

TEST_F(WebExportModelTest, OffersTheStylesAndStartsOnTheWindowsOne) {
    EXPECT_EQ(Model().Styles(), (std::vector<std::string>{"default", "night", "plain"}));
    EXPECT_EQ(Model("night").StartingStyle(), 1u);
    EXPECT_EQ(Model("gone").StartingStyle(), 0u);  // "default"
    EXPECT_EQ(Model().ProjectName(), "Alpha");
    EXPECT_EQ(Model().StartingDestination(), (dir.path() / "Documents").string());
}

TEST_F(WebExportModelTest, TheDestinationMustBeGivenAndIsMadeWhole) {
    WebExportModel model = Model();
    EXPECT_FALSE(model.Prepare("night", "  \t"));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Error");

    ASSERT_TRUE(model.Prepare("night", " site/out "));
    EXPECT_EQ(model.Destination(), dir.path() / "Documents" / "site" / "out");
    ASSERT_TRUE(model.Prepare("night", "/srv/www/../pages"));
    EXPECT_EQ(model.Destination(), "/srv/pages");
    const char* home = std::getenv("HOME");
    ASSERT_TRUE(home);
    ASSERT_TRUE(model.Prepare("night", "~/public_html"));
    EXPECT_EQ(model.Destination(), fs::path(home) / "public_html");
}

TEST_F(WebExportModelTest, ExportsAndSaysHowItEnded) {
    WebExportModel model = Model();
    std::vector<std::string> texts;
    model.OnProgress([&] { texts.push_back(model.ProgressText()); });
    EXPECT_EQ(model.ProgressText(), WebExportModel::kReadyText);
    ASSERT_TRUE(model.Prepare("plain", (dir.path() / "site").string()));
    const std::optional<fs::path> page = model.Export({}, {2026, 11, 21});
    ASSERT_EQ(page, dir.path() / "site" / "Alpha" / "Alpha.html");
    EXPECT_TRUE(fs::exists(*page));
    ASSERT_GE(texts.size(), 3u);
    EXPECT_EQ(texts.front(), "Export progress - Gathering test case information");
    EXPECT_NE(std::ranges::find(texts, "Export progress - Now exporting: P1"), texts.end());
    EXPECT_EQ(model.ProgressText(), "Exported to " + page->string());

    // Asked again, the user declines to write over it: nothing is exported.
    port.ScriptAnswers({false});
    EXPECT_FALSE(model.Export({}, {2026, 11, 22}));
    EXPECT_EQ(port.questions.back().caption, "Overwrite Contents");
    EXPECT_EQ(model.ProgressText(), WebExportModel::kNotExportedText);

    std::stop_source stop;
    stop.request_stop();
    port.ScriptAnswers({true});
    EXPECT_FALSE(model.Export(stop.get_token(), {2026, 11, 22}));
    EXPECT_EQ(model.ProgressText(), WebExportModel::kCancelledText);
    EXPECT_EQ(port.notices.back().caption, "Export cancelled");
    EXPECT_TRUE(fs::exists(*page));

    port.ScriptAnswers({true});
    EXPECT_TRUE(model.AskToView());
    EXPECT_EQ(port.questions.back().caption, "Export Success");
}

TEST_F(WebExportModelTest, AProjectGoneSinceTheDialogOpenedIsRefused) {
    WebExportModel model = Model();
    ASSERT_TRUE(model.Prepare("plain", (dir.path() / "site").string()));
    fs::rename(project, db / "Projects" / "Beta");
    EXPECT_FALSE(model.Export({}, {2026, 11, 21}));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Project not found");
    EXPECT_FALSE(fs::exists(dir.path() / "site"));  // nothing made for it
}

TEST_F(WebExportModelTest, TheBrowsersFailureSaysWhatWasMissing) {
    const fs::path page = dir.path() / "site" / "Alpha" / "Alpha.html";
    EXPECT_EQ(BrowserOpenFailure(page, true).caption, "Error opening browser");
    fs::create_directories(page.parent_path());
    EXPECT_EQ(BrowserOpenFailure(page, true).text,
              "The specified file was not found\n" + page.string());
    WriteFile(page, "<html></html>");
    EXPECT_NE(BrowserOpenFailure(page, false).text, BrowserOpenFailure(page, true).text);
}

}  // namespace
}  // namespace vantorel::testing
