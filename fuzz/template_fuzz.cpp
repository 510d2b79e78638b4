// Feeds arbitrary bytes to the page builder as a display style's template, filled for a fixed
// project test case (fields, links, history), a project suite (its list of test cases) and a
// library test case, once as the desktop view shows a page (style sheet inlined, edit form) and
// once as the web export writes it, whose links into the database are then rewritten.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "documents/custom_cfg.h"
#include "exchange/export_web.h"
#include "fuzz_support.h"
#include "render/item_pages.h"
#include "render/template.h"

using namespace vantorel;
using namespace vantorel::fuzzing;

namespace {

struct Items {
    Items() : project(MakeDatabase(WorkFolder() / "DB")) {
        const std::filesystem::path suite = ProjectTestCases(project) / "Login";
        const std::filesystem::path testCaseFile = suite / "LOG-001.vtl";
        WriteWholeFile(
            testCaseFile,
            DocumentText(
                "<project_test_case>",
                {{"<id>", "LOG-001"},
                 {"<test_title>", "Log in &amp; out"},
                 {"<test_duration>", "00:10"},
                 {"<test_type>", "System test"},
                 {"<rec_test_configs>", "Desktop, Phone"},
                 {"<test_status>", "Pass"},
                 {"<test_attempts>", "1"},
                 {"<last_attempt_date>", "20261006"},
                 {"<last_attempt_time>", "10:12:00"},
                 {"<testers>", "dana"},
                 {"<results_obtained>", "<![CDATA[As expected.<br><b>Fine</b>]]>"},
                 {"<external_link2>", "vantorel://Alpha/Project Test Cases/Login/LOG-002.vtl"},
                 {"<create_date>", "20261005"},
                 {"<test_description>", "<![CDATA[Open the page.<br>Sign in.]]>"},
                 {"<external_link>", "https://example.org/plan?a=1&amp;b=2"},
                 {"<priority>", "Highest"}},
                HistoryBlockText("05-10-2026", false, "Not yet attempted", "Not yet attempted") +
                    HistoryBlockText("06-10-2026", true, "Not yet attempted", "Pass")));
        WriteWholeFile(suite / "LOG-002.vtl",
                       DocumentText("<project_test_case>", {{"<id>", "LOG-002"},
                                                            {"<test_title>", "Log out"},
                                                            {"<test_status>", "Fail"}}));
        std::filesystem::create_directories(suite / "Errors");
        WriteWholeFile(styleFolder / std::string(kStyleSheetName),
                       "body { background: url(<!--VT_IMAGEPATH-->logo.gif) }\n");

        testCase.Load(testCaseFile);
        suiteItem.LoadText(
            DocumentText("<test_suite>", {{"<id>", "Login"},
                                          {"<suite_title>", "Signing in"},
                                          {"<suite_description>", "<![CDATA[First<br>then]]>"}}));
        libraryTestCase.LoadText(
            DocumentText("<test_case>", {{"<id>", "LOG-001"},
                                         {"<test_title>", "Log in"},
                                         {"<test_duration>", "00:10"},
                                         {"<external_link>", "\\\\server\\share\\plan.doc"},
                                         {"<priority>", "High"}}));
    }

    const std::filesystem::path project;
    const std::filesystem::path styleFolder = WorkFolder() / "Style";
    const CustomCfg custom;
    PrjTestCaseCore testCase{custom, "Alpha"};
    PrjTestGroupCore suiteItem{custom, ProjectTestCases(project) / "Login"};
    TestCaseCore libraryTestCase{custom};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Items items;
    Template page;
    page.LoadText(std::string(AsText(data, size)));

    PageSettings desktop;
    desktop.styleFolder = items.styleFolder;
    desktop.editMode = true;
    desktop.breadcrumbs = "<a href=\"Alpha.html\">Alpha</a>";
    PageSettings exported = desktop;
    exported.exported = true;
    exported.inlineStyle = false;
    exported.editMode = false;
    exported.styleHref = "../../";
    exported.imagePath = "../../images/";

    for (const ItemCore* item : std::initializer_list<const ItemCore*>{
             &items.testCase, &items.suiteItem, &items.libraryTestCase}) {
        (void)item->Render(page, desktop);
        (void)RewriteInternalLinks(item->Render(page, exported), items.project, "../../");
    }
    return 0;
}
