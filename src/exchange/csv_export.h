#pragma once
// Test cases as CSV, for spreadsheets: one row per test case under a header row of the fields'
// captions, in the order of the item's field table, after a first column naming the suite the
// test case lies in (relative to the exported one, "/" between levels, empty for itself).
// The file follows RFC 4180: a field holding the separator, a quote or a line break is quoted,
// quotes are doubled, and every row ends with CR LF. Documents hold ISO-8859-1; the file is
// UTF-8 with a byte-order mark unless ISO-8859-1 is asked for, since spreadsheets only read
// accents in UTF-8 when the mark is there.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "storage/field_values.h"

namespace vantorel {

enum class CsvEncoding { Utf8WithBom, Latin1 };
enum class CsvRichText { PlainText, Html };

struct CsvOptions {
    CsvEncoding encoding = CsvEncoding::Utf8WithBom;
    CsvRichText richText = CsvRichText::PlainText;
};

inline constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";
inline constexpr std::string_view kCsvExportCaption = "Export to CSV";
inline constexpr std::string_view kSuiteColumnCaption = "Suite";

// value as one field of a row: quoted, with its quotes doubled, when it holds a comma, a quote,
// a CR or an LF; as it is otherwise.
std::string CsvField(std::string_view value);
// The fields as one row, ended by CR LF.
std::string CsvRow(const std::vector<std::string>& fields);

// The HTML of a rich-text field as the text a reader sees: "<br>" and paragraphs become line
// breaks (LF), every other tag goes, and the entities HTML editors write become characters
// (a numeric one beyond ISO-8859-1 becomes "?", as documents can't hold it); line breaks at
// either end are trimmed.
std::string RichTextAsPlainText(std::string_view html);

// A value as a document stores it, as its CSV field (still ISO-8859-1): text and lists
// unescaped, rich text as plain text or as its HTML, dates as "yyyy-mm-dd", times as
// "hh:mm:ss"; a date or time that is "N/A" or unreadable is empty.
std::string CsvValue(FieldType type, std::string_view stored, CsvRichText richText);

enum class CsvSource { LibraryTestCases, ProjectTestCases };

// "CSV export completed successfully: 12 rows written", told when a file was written.
Notice CsvExportDoneNotice(std::size_t rows);
// Asked before a file the user named is written over.
Notice CsvReplaceQuestion(const std::filesystem::path& target);

struct CsvExportRequest {
    CsvSource source = CsvSource::LibraryTestCases;
    // A suite of the library, a suite of a project, or a project's "Project Test Cases"; its
    // test cases and those of every suite below it are written.
    std::filesystem::path folder;
    std::filesystem::path target;
    CsvOptions options;
    // Asked to stop, the export ends between documents and leaves target as it was.
    std::stop_token stop;
    // When not empty, only these test cases and suites below folder (a selection in the
    // tree), in this order, the suite column still relative to folder.
    std::vector<std::filesystem::path> items = {};
};

// Writes the test cases of request.folder to request.target through a temporary file renamed
// over it, so a failure or a stop leaves an earlier file whole. The number of test cases
// written, or none after the user was told why under "Export to CSV".
std::optional<std::size_t> ExportTestCasesCsv(const CsvExportRequest& request, UserPort& port);

// Writes the list report at report (its column headings, then one row per test case with the
// columns the report shows) to target as ExportTestCasesCsv does. The number of rows written,
// or none after the user was told why.
std::optional<std::size_t> ExportListReportCsv(const std::filesystem::path& report,
                                               const std::filesystem::path& target,
                                               const CsvOptions& options, UserPort& port,
                                               std::stop_token stop = {});

}  // namespace vantorel
