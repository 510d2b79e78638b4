// The launch button of an external link: URLs are opened as they are, a file must be there.
#include <gtest/gtest.h>

#include <fstream>

#include "documents/external_links.h"
#include "documents/field_tables.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

TEST(ExternalLinksTest, UrlsOpenAsTheyAreAndFilesMustExist) {
    RecordingPort port;
    EXPECT_FALSE(PlanLinkLaunch("  ", port));
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_EQ(port.notices[0].caption, "Info: Enter an external link");

    const auto url = PlanLinkLaunch("https://bugs.test/42", port);
    ASSERT_TRUE(url);
    EXPECT_TRUE(url->isUrl);
    EXPECT_EQ(url->target, "https://bugs.test/42");
    EXPECT_EQ(PlanLinkLaunch("www.example.test/guide", port)->target,
              "http://www.example.test/guide");

    testing::TempDir dir;
    const std::filesystem::path file = dir.path() / "plan with blanks.doc";
    std::ofstream(file) << "plan";
    const auto opened = PlanLinkLaunch("\"" + file.string() + "\" -1", port);
    ASSERT_TRUE(opened);
    EXPECT_FALSE(opened->isUrl);
    EXPECT_EQ(opened->target, file.string());
    EXPECT_EQ(port.notices.size(), 1u);

    EXPECT_FALSE(PlanLinkLaunch((dir.path() / "gone.doc").string(), port));
    EXPECT_EQ(port.notices.back().caption, "Error: Could not find file");
    EXPECT_TRUE(testing::Has(port.notices.back().text, "gone.doc"));
    EXPECT_FALSE(PlanLinkLaunch(dir.path().string(), port));  // a folder is no document

    EXPECT_TRUE(IsExternalLinkField(*FindField(PrjTestCaseFields(), "<external_link2>")));
    EXPECT_FALSE(IsExternalLinkField(*FindField(PrjTestCaseFields(), "<fault_report_id>")));
}

TEST(ExternalLinksTest, LinksLeavingTheWebAskFirstAndShowTheirRealTarget) {
    EXPECT_FALSE(OutsideLinkQuestion("https://example.org/bug/12"));
    EXPECT_FALSE(OutsideLinkQuestion("MAILTO:qa@example.org"));
    for (const char* link : {"file:///home/alice/.ssh/id_rsa", "FTP://example.org/x"}) {
        const std::optional<Notice> question = OutsideLinkQuestion(link);
        ASSERT_TRUE(question) << link;
        EXPECT_TRUE(testing::Has(question->text, link));
    }
}

}  // namespace
}  // namespace vantorel
