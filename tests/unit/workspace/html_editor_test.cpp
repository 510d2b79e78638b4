#include "workspace/html_editor.h"

#include <gtest/gtest.h>

#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::TempDir;
using testing::WriteFile;

class HtmlEditorTest : public ::testing::Test {
protected:
    std::filesystem::path WorkFile() const { return temp / "tmpVantorelHtml.html"; }
    std::string FaultPath() const { return "\"" + WorkFile().string() + "\""; }

    TempDir temp;
    RecordingPort port;
};

TEST_F(HtmlEditorTest, AFieldsTextComesBackFromTheEditorUnchanged) {
    const std::string field = "Step <b>one</b>\nStep <i>two</i> & <a href=\"x\">more</a>";
    ASSERT_TRUE(WriteWorkFile(WorkFile(), field, port));
    const std::string page = ReadFile(WorkFile());
    EXPECT_TRUE(page.starts_with("<html>"));
    EXPECT_TRUE(testing::Has(page, "Step <b>one</b><br>\nStep"));
    EXPECT_EQ(ReadWorkFile(WorkFile(), port), field);
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(HtmlEditorTest, TheEditorsPageIsReadAsTheField) {
    // The question to take the edited text back names its field.
    EXPECT_TRUE(testing::Has(TakeEditedTextQuestion("Description").text, "\"Description\""));
    // Source line ends are spaces, breaks in any spelling are line feeds, the body is the text.
    EXPECT_EQ(FieldTextOf("<HTML><BODY bgcolor=white>\r\nfirst\r\nline<BR/>second<br />\n"
                          "third</BODY></HTML>"),
              "first line\nsecond\nthird");
    EXPECT_EQ(FieldTextOf("no page at all"), "no page at all");
    // An editor that saved ISO-8859-1 is read as such.
    EXPECT_EQ(FieldTextOf("caf\xe9"), "caf\xc3\xa9");
    EXPECT_EQ(FieldTextOf("caf\xc3\xa9"), "caf\xc3\xa9");
    EXPECT_EQ(FieldTextOf("<body>\n</body>"), "");
}

TEST_F(HtmlEditorTest, EachFaultOfTheWorkingFileIsToldInItsWords) {
    // No folder: the file can't be created.
    const std::filesystem::path missing = temp / "gone" / "tmpVantorelHtml.html";
    EXPECT_FALSE(WriteWorkFile(missing, "x", port));
    // A working file that can't be opened for writing (a folder in its place, even for root).
    std::filesystem::create_directory(WorkFile());
    EXPECT_FALSE(WriteWorkFile(WorkFile(), "x", port));
    // Nor read back.
    EXPECT_FALSE(ReadWorkFile(WorkFile(), port));
    // Each told once, naming the file; the three faults in words of their own.
    ASSERT_EQ(port.notices.size(), 3u);
    EXPECT_TRUE(testing::Has(port.notices[0].text, missing.string()));
    EXPECT_TRUE(testing::Has(port.notices[1].text, FaultPath()));
    EXPECT_TRUE(testing::Has(port.notices[2].text, FaultPath()));
    EXPECT_NE(port.notices[1].caption, port.notices[0].caption);
    EXPECT_NE(port.notices[2].caption, port.notices[1].caption);

    // A full disk is a fault of writing.
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_FALSE(WriteWorkFile("/dev/full", "text", port));
        EXPECT_TRUE(testing::Has(port.notices.back().text, "\"/dev/full\""));
    }
}

TEST_F(HtmlEditorTest, ALinkPlantedAsTheWorkingFileIsNeverFollowed) {
    // A link in the working file's place leads neither the field's text out nor another
    // file's text in; a folder others may write to is not used at all.
    const std::filesystem::path elsewhere = temp / "elsewhere.txt";
    WriteFile(elsewhere, "keep");
    std::filesystem::create_symlink(elsewhere, WorkFile());
    EXPECT_FALSE(WriteWorkFile(WorkFile(), "field text", port));
    EXPECT_FALSE(ReadWorkFile(WorkFile(), port));
    EXPECT_EQ(ReadFile(elsewhere), "keep");

    const std::filesystem::path shared = temp / "shared";
    std::filesystem::create_directory(shared);
    std::filesystem::permissions(shared, std::filesystem::perms::all);
    EXPECT_FALSE(WriteWorkFile(shared / "tmpVantorelHtml.html", "field text", port));
    EXPECT_TRUE(std::filesystem::is_empty(shared));
    ASSERT_EQ(port.notices.size(), 3u);
    EXPECT_TRUE(testing::Has(port.notices[2].text, "shared"));
}

}  // namespace
}  // namespace vantorel
