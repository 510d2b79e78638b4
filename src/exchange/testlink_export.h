#pragma once
// A suite of the library, or the whole library, as the XML that TestLink's importer takes, so
// a team can leave with its work: each suite a <testsuite name=...> with its description as
// <details>, each test case a <testcase name=...>. The mapping is the import's read backwards,
// so that an export imported into an empty library gives the same test cases:
//   ID                  fullexternalid (and externalid, the number after the last "-")
//   title               name=
//   description         the summary; when it ends in a numbered list as long as the expected
//                       results' numbered list, the two lists become the steps
//   expected results    otherwise, one step with no action
//   prerequisites       preconditions
//   priority            importance (High 3, Medium 2, Low 1)
//   test type           execution_type (Manual 1, Automated 2)
//   expected duration   estimated_exec_duration, in minutes
//   requirements        requirements, one doc_id each
//   the other fields    custom fields named by the field's caption (kTestLinkCustomFieldTags)
// Dates and authors stay behind: TestLink gives imported cases its own.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string_view>

#include "platform/user_port.h"

namespace vantorel {

inline constexpr std::string_view kTestLinkExportCaption = "Export to TestLink";

struct TestLinkExportRequest {
    // A suite of the library, or the library's own folder for all of it.
    std::filesystem::path folder;
    std::filesystem::path target;
    // Asked to stop, the export ends between documents and leaves target as it was.
    std::stop_token stop = {};
};

// Writes the suite's test cases and suites to request.target through a temporary file renamed
// over it. The number of test cases written, or none after telling the user why.
std::optional<std::size_t> ExportTestLink(const TestLinkExportRequest& request, UserPort& port);

// "TestLink export completed successfully: 12 test cases written"
Notice TestLinkExportDoneNotice(std::size_t cases);

}  // namespace vantorel
