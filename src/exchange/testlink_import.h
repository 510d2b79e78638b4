#pragma once
// Test cases from TestLink, the open-source test manager, through its XML export: nested
// <testsuite name=...> elements become suites, each <testcase name=...> a library test case.
// The export is read into the table the CSV import checks and writes, so a TestLink file meets
// the same rules, refusals (named by the line of its <testcase>) and choice of the good cases
// only. How its elements map to the fields:
//   name                        the title
//   fullexternalid, externalid  the ID ("prefix-externalid" when a prefix is given), else an
//                               automatic one
//   summary, steps' actions     the test description: the summary, then the steps numbered
//   preconditions               the prerequisites
//   steps' expectedresults      the expected results, numbered as the steps (a lone step
//                               without an action: its expected result as it is)
//   importance 3, 2, 1          the priority High, Medium, Low, when the database lists it
//   execution_type 1, 2         the test type Manual, Automated, when the database lists it
//   estimated_exec_duration     the expected duration (minutes, rounded)
//   requirements' doc_id        the requirements, comma-separated
//   details of a suite          the suite description
//   custom fields named as a    that field (these are how the export carries what TestLink
//   field below                 has no element for)
//   keywords, other custom      the first notes field, a line each
//   fields, what fits no list
// HTML keeps the rich-text subset the documents hold (bold, italic, underline, lists, line
// breaks, web links); anything else is dropped, a script with its content.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "exchange/csv_import.h"
#include "exchange/xml_reader.h"

namespace vantorel {

inline constexpr std::string_view kTestLinkImportCaption = "Import from TestLink";

// The fields that travel as custom fields named by their caption ("Test Phase"): TestLink has
// no element for them (a priority or type only when no importance or execution type stands
// for it).
inline constexpr std::string_view kTestLinkCustomFieldTags[] = {
    "<priority>", "<test_type>", "<test_phase>",       "<external_link>",
    "<notes1>",   "<notes2>",    "<rec_test_configs>", "<test_resources>"};
std::string TestLinkCustomFieldName(std::string_view tag);

struct TestLinkOptions {
    std::string prefix;  // of the IDs, TestLink's test project prefix
};

// The test cases of an export as rows named by the fields, and the descriptions of its suites.
struct TestLinkCases {
    CsvTable table;
    std::map<std::string, std::string> suiteDescriptions;  // as CsvImport takes them
};

// The test cases of an export, or why the file is no TestLink export.
std::variant<TestLinkCases, std::string> TestLinkTable(const XmlElement& root,
                                                       const CustomCfg& custom,
                                                       const TestLinkOptions& options);

// The import of file into the library of the database, or none after telling the user why the
// file can't be read.
std::optional<CsvImport> OpenTestLinkImport(const std::filesystem::path& file,
                                            const std::filesystem::path& databaseDir,
                                            const CustomCfg& custom, const TestLinkOptions& options,
                                            UserPort& port);

// HTML from elsewhere in the subset rich text fields hold.
std::string RichTextSubset(std::string_view html);

}  // namespace vantorel
