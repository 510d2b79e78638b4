#include "exchange/csv_export.h"

#include <algorithm>
#include <cstdio>

#include "documents/field_tables.h"
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

std::string Caption(const FieldDescriptor& field) {
    return std::string(field.longHeading.empty() ? field.shortHeading : field.longHeading);
}

struct CaseFile {
    fs::path path;
    std::string suite;  // relative to the exported folder, "/" between levels
};

// Every test case below root, suites and test cases in name order, so an export of the same
// tree is the same file whatever order the file system lists it in.
std::vector<CaseFile> ListCases(const fs::path& root, const std::stop_token& stop) {
    std::vector<CaseFile> cases;
    WalkItems(root, [&](const fs::path& folder, ItemListing& listing) {
        std::sort(listing.folders.begin(), listing.folders.end());
        std::sort(listing.documents.begin(), listing.documents.end(),
                  [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
        const std::string suite =
            folder == root ? std::string{} : folder.lexically_relative(root).generic_string();
        for (const FolderEntry& document : listing.documents)
            cases.push_back({folder / document.name, suite});
        return !stop.stop_requested();
    });
    return cases;
}

}  // namespace

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

std::string Latin1ToUtf8(std::string_view latin1) {
    std::string utf8;
    utf8.reserve(latin1.size());
    for (const char c : latin1) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xC0 | (byte >> 6));
            utf8 += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return utf8;
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
    return plain;
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
    auto refuse = [&port](const std::string& text) -> std::optional<std::size_t> {
        port.tell({text, std::string(kCsvExportCaption), Icon::Warning});
        return std::nullopt;
    };
    std::error_code error;
    if (!fs::is_directory(request.folder, error))
        return refuse("The suite \"" + request.folder.string() +
                      "\" was not found, nothing has been exported");

    const std::span<const FieldDescriptor> fields = FieldRows(
        request.source == CsvSource::LibraryTestCases ? TestCaseFields() : PrjTestCaseFields());
    const bool utf8 = request.options.encoding == CsvEncoding::Utf8WithBom;
    PiecewiseSave save(request.target);
    if (utf8)
        save.Write(kUtf8ByteOrderMark);
    std::vector<std::string> row{std::string(kSuiteColumnCaption)};
    for (const FieldDescriptor& field : fields)
        row.push_back(Caption(field));
    save.Write(CsvRow(row));

    const std::vector<CaseFile> cases = ListCases(request.folder, request.stop);
    const int total = static_cast<int>(cases.size());
    XMLParse document;
    std::string stored;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (request.stop.stop_requested())
            break;
        int code = document.OpenFastRead(cases[i].path);
        if (code == 0)
            code = document.Load();
        if (code != 0) {
            document.Close();
            return refuse("The test case \"" + cases[i].path.string() + "\" could not be read (" +
                          ReadFailureText(code) + "), nothing has been exported");
        }
        row.clear();
        // Folder names are UTF-8 on Linux; documents speak ISO-8859-1 until the row is
        // written.
        row.push_back(Latin1FromName(cases[i].suite));
        for (const FieldDescriptor& field : fields) {
            if (document.GetTag(field.tag, stored) != 0)
                stored.clear();
            row.push_back(CsvValue(field.type, stored, request.options.richText));
        }
        document.Close();
        const std::string line = CsvRow(row);
        save.Write(utf8 ? Latin1ToUtf8(line) : line);
        port.progress(static_cast<int>(i) + 1, total);
    }
    port.progress(0, 0);
    if (request.stop.stop_requested())
        return refuse("The export to CSV was cancelled, nothing has been exported");
    if (const IoResult saved = save.Commit(); !saved.ok())
        return refuse("The CSV file could not be written: " + saved.message);
    return cases.size();
}

}  // namespace vantorel
