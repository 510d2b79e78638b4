#include "exchange/csv_export.h"

#include <algorithm>
#include <cstdio>
#include <thread>

#include "documents/field_tables.h"
#include "reports/list_reports.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;

// The character an entity names (&name; or &#number; or &#xhex;) as ISO-8859-1, or none for
// a name HTML editors don't write.
std::optional<char> EntityCharacter(std::string_view entity) {
    if (entity == "amp")
        return '&';
    if (entity == "lt")
        return '<';
    if (entity == "gt")
        return '>';
    if (entity == "quot")
        return '"';
    if (entity == "apos")
        return '\'';
    // A spreadsheet cell has no use for a space that doesn't break.
    if (entity == "nbsp")
        return ' ';
    if (entity.size() < 2 || entity[0] != '#')
        return std::nullopt;
    const bool hex = entity[1] == 'x' || entity[1] == 'X';
    const std::string_view digits = entity.substr(hex ? 2 : 1);
    if (digits.empty() || digits.size() > 7)
        return std::nullopt;
    unsigned long code = 0;
    for (const char c : digits) {
        int digit = -1;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (hex && c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (hex && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        if (digit < 0)
            return std::nullopt;
        code = code * (hex ? 16 : 10) + static_cast<unsigned long>(digit);
    }
    return code <= 0xFF ? static_cast<char>(code) : '?';
}

std::optional<std::size_t> Refuse(UserPort& port, const std::string& text) {
    port.tell({text, std::string(kCsvExportCaption), Icon::Warning});
    return std::nullopt;
}

// The file being written: rows come in ISO-8859-1 and go out in the file's encoding, after
// the byte-order mark for UTF-8.
class CsvOutput {
public:
    CsvOutput(const fs::path& target, CsvEncoding encoding)
        : m_save(target), m_utf8(encoding == CsvEncoding::Utf8WithBom) {
        if (m_utf8)
            m_save.Write(kUtf8ByteOrderMark);
    }
    void Row(const std::vector<std::string>& fields) { Write(Encoded(CsvRow(fields))); }
    // A row joined by CsvRow in the file's encoding; safe on any thread.
    std::string Encoded(std::string row) const { return m_utf8 ? Latin1ToUtf8(row) : row; }
    void Write(std::string_view encodedRow) { m_save.Write(encodedRow); }
    // Tells a stop or a failed write; true when the file is in place.
    bool Finish(const std::stop_token& stop, UserPort& port) {
        if (stop.stop_requested()) {
            Refuse(port, "The export to CSV was cancelled, nothing has been exported");
            return false;
        }
        if (const IoResult saved = m_save.Commit(); !saved.ok()) {
            Refuse(port, "The CSV file could not be written: " + saved.message);
            return false;
        }
        return true;
    }

private:
    PiecewiseSave m_save;
    bool m_utf8;
};

std::string Caption(const FieldDescriptor& field) {
    return std::string(field.longHeading.empty() ? field.shortHeading : field.longHeading);
}

struct CaseFile {
    fs::path path;
    std::string suite;  // relative to the exported folder, "/" between levels
};

// Every test case below root, suites and test cases in name order, so an export of the same
// tree is the same file whatever order the file system lists it in.
std::vector<CaseFile> ListCases(const fs::path& root, const fs::path& suiteRoot,
                                const std::stop_token& stop) {
    std::vector<CaseFile> cases;
    WalkItems(root, [&](const fs::path& folder, ItemListing& listing) {
        std::sort(listing.folders.begin(), listing.folders.end());
        std::sort(listing.documents.begin(), listing.documents.end(),
                  [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
        const std::string suite = folder == suiteRoot
                                      ? std::string{}
                                      : folder.lexically_relative(suiteRoot).generic_string();
        for (const FolderEntry& document : listing.documents)
            cases.push_back({folder / document.name, suite});
        return !stop.stop_requested();
    });
    return cases;
}

// The test cases of the request: its folder's, or those of the items chosen below it.
std::vector<CaseFile> RequestedCases(const CsvExportRequest& request) {
    if (request.items.empty())
        return ListCases(request.folder, request.folder, request.stop);
    std::vector<CaseFile> cases;
    std::error_code error;
    for (const fs::path& item : request.items) {
        if (fs::is_directory(item, error)) {
            std::vector<CaseFile> below = ListCases(item, request.folder, request.stop);
            cases.insert(cases.end(), below.begin(), below.end());
        } else {
            const fs::path folder = item.parent_path();
            cases.push_back(
                {item, folder == request.folder
                           ? std::string{}
                           : folder.lexically_relative(request.folder).generic_string()});
        }
    }
    return cases;
}

}  // namespace

Notice CsvExportDoneNotice(std::size_t rows) {
    return {"CSV export completed successfully: " + std::to_string(rows) + " rows written",
            std::string(kCsvExportCaption), Icon::Information};
}

Notice CsvReplaceQuestion(const fs::path& target) {
    return {"The file \"" + target.string() + "\" already exists.\nDo you want to replace it?",
            std::string(kCsvExportCaption), Icon::Question};
}

std::string CsvField(std::string_view value) {
    if (value.find_first_of(",\"\r\n") == std::string_view::npos)
        return std::string(value);
    std::string quoted = "\"";
    for (const char c : value) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    quoted += '"';
    return quoted;
}

std::string CsvRow(const std::vector<std::string>& fields) {
    std::string row;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i > 0)
            row += ',';
        row += CsvField(fields[i]);
    }
    row += "\r\n";
    return row;
}

std::string RichTextAsPlainText(std::string_view html) {
    std::string text(html);
    BreaksToNewlines(text);
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '<') {
            const std::size_t close = text.find('>', i);
            if (close == std::string::npos) {
                plain.append(text, i);
                break;
            }
            i = close;
        } else if (c == '&') {
            const std::size_t semicolon = text.find(';', i);
            const std::optional<char> character =
                semicolon == std::string::npos
                    ? std::nullopt
                    : EntityCharacter(std::string_view(text).substr(i + 1, semicolon - i - 1));
            if (character) {
                plain += *character;
                i = semicolon;
            } else {
                plain += c;
            }
        } else {
            plain += c;
        }
    }
    // A paragraph's own break at either end is no line of the text, as an editor trims it.
    const std::size_t first = plain.find_first_not_of('\n');
    if (first == std::string::npos)
        return {};
    return plain.substr(first, plain.find_last_not_of('\n') - first + 1);
}

std::string CsvValue(FieldType type, std::string_view stored, CsvRichText richText) {
    switch (type) {
        case FT_TEXT:
        case FT_LIST_TEXT:
            return Unescaped(std::string(stored));
        case FT_RICH_TEXT: {
            std::string html(stored);
            // A value too long to unwrap can't occur: unwrapping only shortens it.
            (void)StripCData(html, html.size() + 1);
            return richText == CsvRichText::Html ? html : RichTextAsPlainText(html);
        }
        case FT_DATE: {
            const std::optional<CalendarDate> date = ParseStoredDate(stored);
            if (!date)
                return {};
            char text[16];
            std::snprintf(text, sizeof text, "%04d-%02d-%02d", date->year % 10000,
                          date->month % 100, date->day % 100);
            return text;
        }
        case FT_TIME:
            return ParseStoredTime(stored) ? std::string(stored) : std::string{};
        default:
            return std::string(stored);
    }
}

std::optional<std::size_t> ExportTestCasesCsv(const CsvExportRequest& request, UserPort& port) {
    std::error_code error;
    if (!fs::is_directory(request.folder, error))
        return Refuse(port, "The suite \"" + request.folder.string() +
                                "\" was not found, nothing has been exported");

    const std::span<const FieldDescriptor> fields = FieldRows(
        request.source == CsvSource::LibraryTestCases ? TestCaseFields() : PrjTestCaseFields());
    CsvOutput output(request.target, request.options.encoding);
    std::vector<std::string> row{std::string(kSuiteColumnCaption)};
    for (const FieldDescriptor& field : fields)
        row.push_back(Caption(field));
    output.Row(row);

    const std::vector<CaseFile> cases = RequestedCases(request);
    const int total = static_cast<int>(cases.size());
    // The rows of a batch are made on several threads, each reading its share of the
    // documents, and written in order by this thread, which alone speaks to the port.
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
    constexpr std::size_t kBatch = 2048;
    std::vector<std::string> rows;
    std::vector<int> failures;
    for (std::size_t start = 0; start < cases.size() && !request.stop.stop_requested();
         start += kBatch) {
        const std::size_t count = std::min(kBatch, cases.size() - start);
        rows.assign(count, {});
        failures.assign(count, 0);
        const auto makeRows = [&](unsigned share) {
            XMLParse document;
            std::string stored;
            std::vector<std::string> fieldsOfRow;
            for (std::size_t at = share; at < count && !request.stop.stop_requested();
                 at += threads) {
                const CaseFile& file = cases[start + at];
                int code = document.OpenFastRead(file.path);
                if (code == 0)
                    code = document.Load();
                if (code != 0) {
                    document.Close();
                    failures[at] = code;
                    return;
                }
                fieldsOfRow.clear();
                // Folder names are UTF-8 on Linux; documents speak ISO-8859-1 until the row
                // is written.
                fieldsOfRow.push_back(Latin1FromName(file.suite));
                for (const FieldDescriptor& field : fields) {
                    if (document.GetTag(field.tag, stored) != 0)
                        stored.clear();
                    fieldsOfRow.push_back(CsvValue(field.type, stored, request.options.richText));
                }
                document.Close();
                rows[at] = output.Encoded(CsvRow(fieldsOfRow));
            }
        };
        {
            std::vector<std::jthread> helpers;
            for (unsigned share = 1; share < threads; ++share)
                helpers.emplace_back(makeRows, share);
            makeRows(0);
        }
        // One write a batch rather than one a row.
        std::string batch;
        for (std::size_t at = 0; at < count && !request.stop.stop_requested(); ++at) {
            if (failures[at] != 0)
                return Refuse(port, "The test case \"" + cases[start + at].path.string() +
                                        "\" could not be read (" + ReadFailureText(failures[at]) +
                                        "), nothing has been exported");
            batch += rows[at];
        }
        output.Write(batch);
        port.progress(static_cast<int>(start + count), total);
    }
    port.progress(0, 0);
    if (!output.Finish(request.stop, port))
        return std::nullopt;
    return cases.size();
}

std::optional<std::size_t> ExportListReportCsv(const fs::path& report, const fs::path& target,
                                               const CsvOptions& options, UserPort& port,
                                               std::stop_token stop) {
    ReportRowReader reader;
    if (!reader.Open(report, ReportKind::List))
        return Refuse(port, "The report \"" + report.stem().string() +
                                "\" can't be exported: " + report.string() +
                                " is not a list report that can be read, nothing has been "
                                "exported");
    // The report names the columns it shows; each cell is read as the field its column shows.
    std::string flags;
    reader.Head().GetTag("<columns>", flags);
    std::vector<FieldType> types;
    for (std::size_t column = 0; column < flags.size() && column < kListColumnCount; ++column)
        if (flags[column] == '1') {
            const FieldDescriptor* field =
                FindField(PrjTestCaseFields(), ListColumns()[column].tag);
            types.push_back(field ? field->type : FT_TEXT);
        }
    CsvOutput output(target, options.encoding);
    output.Row(ReadRepeated(reader.Head(), "<column_heading>"));
    std::size_t rows = 0;
    std::vector<std::string> row;
    for (ReportedTestCase testCase; !stop.stop_requested() && reader.Next(testCase); ++rows) {
        row.clear();
        for (std::size_t cell = 0; cell < testCase.values.size(); ++cell)
            row.push_back(CsvValue(cell < types.size() ? types[cell] : FT_TEXT,
                                   testCase.values[cell], options.richText));
        output.Row(row);
    }
    if (!output.Finish(stop, port))
        return std::nullopt;
    return rows;
}

}  // namespace vantorel
