// Feeds arbitrary bytes to a database as its "custom.dat" and uses what was read the way the
// program does: a status and a progress report over a few project test cases, their pages,
// the page of each test case with its status's meaning and colour, and the suites' lists with
// each test case's status icon. A customisation that
// can be read must never break a report or a page.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "documents/custom_cfg.h"
#include "fuzz_support.h"
#include "render/item_pages.h"
#include "render/report_pages.h"
#include "render/template.h"
#include "support/recording_port.h"

using namespace vantorel;
using namespace vantorel::fuzzing;

namespace {

struct Database {
    std::filesystem::path db;
    std::filesystem::path project;
    std::vector<std::filesystem::path> cases;
};

// Statuses in every form a document may hold one: a name of the list, another letter case, a
// meaning's name, one the list may not know; durations blank, cut short and large.
const Database& Setup() {
    static const Database database = [] {
        Database made;
        made.db = WorkFolder() / "DB";
        made.project = MakeDatabase(made.db);
        const std::filesystem::path cases = ProjectTestCases(made.project);
        auto add = [&made](const std::filesystem::path& file, std::string_view text) {
            WriteWholeFile(file, text);
            made.cases.push_back(file);
        };
        add(cases / "Login" / "LOG-001.vtl",
            DocumentText(
                "<project_test_case>",
                {{"<id>", "LOG-001"},
                 {"<test_duration>", "00:10"},
                 {"<test_status>", "Pass"},
                 {"<actual_duration>", "00:12"},
                 {"<create_date>", "20261005"}},
                HistoryBlockText("05-10-2026", false, "Not yet attempted", "Not yet attempted") +
                    HistoryBlockText("06-10-2026", true, "Not yet attempted", "Pass")));
        add(cases / "Login" / "LOG-002.vtl",
            DocumentText("<project_test_case>",
                         {{"<id>", "LOG-002"},
                          {"<test_duration>", "01:00"},
                          {"<test_status>", "fAIL"},
                          {"<actual_duration>", "1:30"},
                          {"<create_date>", "20261002"}},
                         HistoryBlockText("09-10-2026", true, "Not yet attempted", "Fail")));
        add(cases / "Login" / "LOG-003.vtl",
            DocumentText("<project_test_case>", {{"<id>", "LOG-003"},
                                                 {"<test_duration>", "999:59"},
                                                 {"<test_status>", "Blocked"},
                                                 {"<actual_duration>", ""},
                                                 {"<create_date>", "20261003"}}));
        add(cases / "Cart" / "CART-001.vtl",
            DocumentText("<project_test_case>",
                         {{"<id>", "CART-001"},
                          {"<test_duration>", "00:20"},
                          {"<test_status>", "Other"},
                          {"<actual_duration>", "00:05"},
                          {"<create_date>", "20261010"}},
                         HistoryBlockText("10-10-2026", false, "Not yet attempted", "Retest") +
                             HistoryBlockText("12-10-2026", true, "Retest", "Other")));
        add(cases / "Cart" / "CART-002.vtl",
            DocumentText("<project_test_case>", {{"<id>", "CART-002"},
                                                 {"<test_duration>", "2"},
                                                 {"<test_status>", "postponed"},
                                                 {"<create_date>", "20261120"}}));
        return made;
    }();
    return database;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Database& database = Setup();
    WriteWholeFile(database.db / kCustomFileName, AsText(data, size));

    RecordingPort port;
    CustomCfg custom;
    if (!custom.Read(database.db, port, "bench-7").read)
        return 0;

    for (ReportKind kind : {ReportKind::Status, ReportKind::Progress})
        if (const auto report = QuickReport(kind, database.project, port, custom))
            (void)RenderReportPage(*report, custom, "chart");

    Template page;
    page.LoadText(
        "<!--VT_STATUS_MEANING--><!--VT_STATUS_STYLE--><!--VT_STATUS_DATA-->"
        "<!--VT_TEST_HISTORY-->");
    for (const std::filesystem::path& file : database.cases) {
        PrjTestCaseCore testCase(custom, "Alpha");
        if (testCase.Load(file))
            (void)testCase.Render(page, {});
    }
    Template suitePage;
    suitePage.LoadText("<!--VT_TGLIST-->");
    for (const char* suite : {"Login", "Cart"}) {
        const PrjTestGroupCore group(custom, ProjectTestCases(database.project) / suite);
        (void)group.Render(suitePage, {});
    }
    return 0;
}
