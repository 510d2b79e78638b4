// Feeds arbitrary bytes to a project test case as its history (or as the whole document: what
// the input holds comes before the fixed fields, and the first occurrence of a tag wins), then
// replays it in a progress report, keeps it in a details report, shows both reports' pages and
// the test case's history table. An editor saves the history blocks it read: written and read
// again, they must be the blocks that were read.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "documents/custom_cfg.h"
#include "documents/history.h"
#include "fuzz_support.h"
#include "render/item_pages.h"
#include "render/report_pages.h"
#include "render/template.h"
#include "storage/tagged_document.h"
#include "support/recording_port.h"

using namespace vantorel;
using namespace vantorel::fuzzing;

namespace {

struct Database {
    std::filesystem::path project;
    std::filesystem::path testCase;
    CustomCfg custom;
};

// The project runs through October 2026; a second test case whose history is sound shares
// the periods with the input's.
const Database& Setup() {
    static const Database database = [] {
        Database made;
        made.project = MakeDatabase(WorkFolder() / "DB");
        const std::filesystem::path cases = ProjectTestCases(made.project);
        WriteWholeFile(
            cases / "Login" / "LOG-001.vtl",
            DocumentText(
                "<project_test_case>",
                {{"<id>", "LOG-001"}, {"<test_status>", "Pass"}, {"<create_date>", "20261005"}},
                HistoryBlockText("05-10-2026", false, "Not yet attempted", "Not yet attempted") +
                    HistoryBlockText("06-10-2026", true, "Not yet attempted", "Pass")));
        made.testCase = cases / "Login" / "LOG-002.vtl";
        return made;
    }();
    return database;
}

// The test case as the input leaves it: its own text first, the fields it may lack after.
std::string TestCaseText(std::string_view input) {
    std::string text(kDocumentDeclaration);
    text += "<project_test_case>\r\n";
    text += input;
    text +=
        "\r\n<id>LOG-002</id>\r\n<test_title>Log out</test_title>\r\n<test_status>Fail"
        "</test_status>\r\n<create_date>20261002</create_date>\r\n<create_time>09:00:00"
        "</create_time>\r\n</project_test_case>\r\n";
    return text;
}

void CheckBlocksSaveAsRead(const XMLParse& document) {
    const std::vector<HistoryBlock> blocks = LoadHistoryBlocks(document);
    const std::filesystem::path file = WorkFolder() / "Saved.vtl";
    XMLParse saved;
    saved.OpenWrite(file);
    for (const HistoryBlock& block : blocks)
        WriteHistoryBlock(saved, block);
    if (!saved.Commit().ok())
        std::abort();
    XMLParse again;
    if (again.OpenFastRead(file) != 0 || again.Load() != 0 || LoadHistoryBlocks(again) != blocks)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Database& database = Setup();
    const std::string text = TestCaseText(AsText(data, size));
    WriteWholeFile(database.testCase, text);

    RecordingPort port;
    for (ReportKind kind : {ReportKind::Progress, ReportKind::Details})
        if (const auto report = QuickReport(kind, database.project, port, database.custom))
            (void)RenderReportPage(*report, database.custom, "chart");

    PrjTestCaseCore testCase(database.custom, "Alpha");
    if (!testCase.Load(database.testCase))
        std::abort();
    Template page;
    page.LoadText("<!--VT_TEST_HISTORY-->");
    (void)testCase.Render(page, {});

    XMLParse document;
    document.LoadText(text);
    CheckBlocksSaveAsRead(document);
    return 0;
}
