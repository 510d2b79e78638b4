#include "workspace/help.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "support/temp_dir.h"

namespace vantorel::testing {
namespace {
namespace fs = std::filesystem;

const fs::path kHelp = VANTOREL_HELP;

std::vector<std::string> Hrefs(const std::string& html) {
    static const std::regex href(R"re(href="([^"#]*))re");
    std::vector<std::string> found;
    for (auto it = std::sregex_iterator(html.begin(), html.end(), href);
         it != std::sregex_iterator(); ++it)
        found.push_back((*it)[1]);
    return found;
}

// Every page a window opens is shipped; the overview leads to every shipped page; no page links
// to a page or sheet that isn't there.
TEST(HelpTest, ThePagesAreShippedAndLinkedWhole) {
    std::set<std::string> opened;
    for (HelpSubject subject : {HelpSubject::Overview, HelpSubject::Filter, HelpSubject::Customize,
                                HelpSubject::ReportWizard, HelpSubject::WebExport,
                                HelpSubject::DisplayStyle, HelpSubject::Spelling})
        opened.emplace(HelpPageOf(subject));
    for (const ItemKind* kind :
         {&TestCaseKind(), &PrjTestCaseKind(), &TestGroupKind(), &ProjectKind(), &TestCfgKind(),
          &TestResourceKind(), &TesterKind()})
        opened.emplace(HelpPageOf(*kind));
    // A kind without a page of its own opens the overview.
    EXPECT_EQ(HelpPageOf(ItemKind{"<x>", {}, "X", 0, "", {}, {}}),
              HelpPageOf(HelpSubject::Overview));
    for (const std::string& page : opened)
        EXPECT_TRUE(fs::is_regular_file(kHelp / page)) << page << " is not shipped";

    std::set<std::string> shipped;
    for (const fs::directory_entry& entry : fs::directory_iterator(kHelp))
        shipped.insert(entry.path().filename().string());
    std::set<std::string> reached{"overview.htm"};
    std::vector<std::string> toRead{"overview.htm"};
    while (!toRead.empty()) {
        const std::string page = toRead.back();
        toRead.pop_back();
        const std::string html = ReadFile(kHelp / page);
        EXPECT_TRUE(Has(html, "<title>")) << page;
        for (const std::string& href : Hrefs(html)) {
            if (href == "../Templates/default/style.css") {
                EXPECT_TRUE(fs::exists(fs::path(VANTOREL_STYLES) / "default" / "style.css"));
                continue;
            }
            EXPECT_TRUE(shipped.contains(href)) << page << " links to " << href;
            if (shipped.contains(href) && reached.insert(href).second)
                toRead.push_back(href);
        }
    }
    EXPECT_EQ(reached, shipped);
}

TEST(HelpTest, TheWindowFollowsOnlyPagesOfTheHelpFolder) {
    const fs::path folder = "/usr/share/vantorel/Help";
    EXPECT_TRUE(FollowedInHelp(folder, "file", folder / "Filters.htm"));
    EXPECT_TRUE(FollowedInHelp(folder / "", "file", folder / "x" / ".." / "Filters.htm"));
    EXPECT_FALSE(FollowedInHelp(folder, "file", folder / ".." / "Templates" / "style.css"));
    EXPECT_FALSE(FollowedInHelp(folder, "file", folder / ".." / "SampleDB" / "x.htm"));
    EXPECT_FALSE(FollowedInHelp(folder, "file", "/etc/passwd"));
    EXPECT_FALSE(FollowedInHelp(folder, "https", folder / "Filters.htm"));
    EXPECT_FALSE(FollowedInHelp(folder, "vtpage", folder / "Filters.htm"));
}

TEST(HelpTest, AMissingPageSaysWhichAndWhere) {
    const std::string page = MissingHelpPage("/opt/v&t/share/vantorel/Help/Filters.htm");
    EXPECT_TRUE(Has(page, "\"Filters.htm\" is not installed in /opt/v&amp;t/share/vantorel/Help"))
        << page;
}

}  // namespace
}  // namespace vantorel::testing
