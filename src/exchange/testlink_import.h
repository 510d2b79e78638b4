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
//   steps' expectedresults      the expected results, numbered as the steps
//   importance 3, 2, 1          the priority High, Medium, Low, when the database lists it
//   execution_type 1, 2         the test type Manual, Automated, when the database lists it
//   estimated_exec_duration     the expected duration (minutes, rounded)
//   requirements' doc_id        the requirements, comma-separated
//   keywords, custom fields,    the first notes field, a line each
//   what fits no list
// HTML keeps the rich-text subset the documents hold (bold, italic, underline, lists, line
// breaks, web links); anything else is dropped, a script with its content.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "exchange/csv_import.h"
#include "exchange/xml_reader.h"

namespace vantorel {

inline constexpr std::string_view kTestLinkImportCaption = "Import from TestLink";

struct TestLinkOptions {
    std::string prefix;  // of the IDs, TestLink's test project prefix
};

// The test cases of an export as rows, or why the file is no TestLink export.
std::variant<CsvTable, std::string> TestLinkTable(const XmlElement& root, const CustomCfg& custom,
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
