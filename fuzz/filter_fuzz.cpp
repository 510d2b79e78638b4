// Feeds arbitrary bytes to the filter reader as a filter document of the database, then
// tests a few fixed project and library test cases against it, lists its conditions and shows
// its page, as reports and the filter pane do. A filter read and saved again must read back as
// it was: the filter dialog saves what it read.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include "documents/custom_cfg.h"
#include "filters/filter.h"
#include "fuzz_support.h"
#include "render/item_pages.h"
#include "render/template.h"
#include "storage/tagged_document.h"

using namespace vantorel;
using namespace vantorel::fuzzing;

namespace {

std::unique_ptr<XMLParse> Loaded(std::string text) {
    auto document = std::make_unique<XMLParse>();
    document->LoadText(std::move(text));
    return document;
}

// Every kind of value a condition tests, filled, empty, missing and out of the ordinary.
struct Documents {
    Documents() {
        projectTestCases.push_back(Loaded(
            DocumentText("<project_test_case>", {{"<id>", "LOG-001"},
                                                 {"<test_duration>", "00:10"},
                                                 {"<test_type>", "System test"},
                                                 {"<test_phase>", "Functionality"},
                                                 {"<rec_test_configs>", "Desktop, Phone"},
                                                 {"<test_resources>", "Staging,Cards"},
                                                 {"<test_status>", "Pass"},
                                                 {"<test_attempts>", "3"},
                                                 {"<last_attempt_date>", "20261006"},
                                                 {"<actual_duration>", "00:12"},
                                                 {"<testers>", "dana, lee"},
                                                 {"<fault_report_id>", "BUG-17 &amp; BUG-18"},
                                                 {"<version_tested>", "2.0"},
                                                 {"<build_tested>", "b101"},
                                                 {"<requirement>", "REQ-LOG-1"},
                                                 {"<create_date>", "20261005"},
                                                 {"<update_date>", "20261006"},
                                                 {"<create_user_id>", "dana"},
                                                 {"<update_user_id>", "lee"},
                                                 {"<notes1>", "<![CDATA[Card<br>declined]]>"},
                                                 {"<notes2>", "<![CDATA[]]>"},
                                                 {"<priority>", "Highest"}})));
        projectTestCases.push_back(
            Loaded(DocumentText("<project_test_case>", {{"<id>", "LOG-002"},
                                                        {"<test_duration>", ""},
                                                        {"<test_status>", ""},
                                                        {"<test_attempts>", "-4"},
                                                        {"<last_attempt_date>", "N/A"},
                                                        {"<actual_duration>", "999:59"},
                                                        {"<testers>", ","},
                                                        {"<priority>", "urgent"}})));
        projectTestCases.push_back(
            Loaded(DocumentText("<project_test_case>", {{"<id>", "LOG-003"},
                                                        {"<test_duration>", "99999999:99"},
                                                        {"<actual_duration>", "12"},
                                                        {"<test_attempts>", "99999999999999999999"},
                                                        {"<create_date>", "2026"},
                                                        {"<priority>", "lowest"}})));
        libraryTestCase.LoadText(DocumentText("<test_case>", {{"<id>", "LOG-001"},
                                                              {"<test_duration>", "00:10"},
                                                              {"<test_type>", "System test"},
                                                              {"<test_phase>", "Functionality"},
                                                              {"<create_date>", "20260929"},
                                                              {"<update_date>", "20260929"},
                                                              {"<create_user_id>", "dana"},
                                                              {"<update_user_id>", "dana"},
                                                              {"<rec_test_configs>", "Desktop"},
                                                              {"<test_resources>", "Staging"},
                                                              {"<notes1>", "<![CDATA[]]>"},
                                                              {"<priority>", "High"},
                                                              {"<requirement>", "REQ-LOG-1"}}));
    }

    std::vector<std::unique_ptr<XMLParse>> projectTestCases;
    XMLParse libraryTestCase;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Documents documents;
    const std::filesystem::path filters = WorkFolder() / "Filters";
    const std::filesystem::path file = filters / "Fuzz.vtl";
    WriteWholeFile(file, AsText(data, size));

    const std::optional<Filter> filter = Filter::Load(file);
    if (!filter)
        return 0;
    for (const auto& document : documents.projectTestCases)
        (void)filter->Passes(*document, kProjectTestCaseDocument);
    (void)filter->Passes(documents.libraryTestCase, kTestCaseDocument);
    (void)filter->Caption();

    const CustomCfg custom;
    FilterCore page(custom);
    if (!page.LoadFilter(file))
        std::abort();
    Template filterTemplate;
    filterTemplate.LoadText(
        "<!--VT_FILTERID_DATA--><!--VT_FILTERNAME_DATA--><!--VT_FILTER_DATA--><!--VT_ID_DATA-->");
    (void)page.Render(filterTemplate, {});

    const std::filesystem::path saved = filters / "Saved.vtl";
    WriteWholeFile(saved, FilterDocumentText(filter->Document()));
    if (ReadFilterDocument(saved) != filter->Document())
        std::abort();
    return 0;
}
