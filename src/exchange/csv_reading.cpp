#include "exchange/csv_reading.h"

#include "exchange/csv_export.h"
#include "storage/file_reading.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

bool IsControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && c != '\t' && c != '\r' && c != '\n';
}

// The separator the header row uses most, outside quotes; a comma when it uses none.
char DetectSeparator(std::string_view text) {
    std::size_t commas = 0, semicolons = 0, tabs = 0;
    bool quoted = false;
    for (const char c : text) {
        if (c == '"')
            quoted = !quoted;
        else if (!quoted && (c == '\n' || c == '\r'))
            break;
        else if (!quoted)
            commas += c == ',', semicolons += c == ';', tabs += c == '\t';
    }
    if (semicolons > commas && semicolons >= tabs)
        return ';';
    if (tabs > commas && tabs > semicolons)
        return '\t';
    return ',';
}

}  // namespace

std::variant<CsvTable, CsvFault> ParseCsv(std::string_view bytes) {
    CsvTable table;
    if (bytes.starts_with(kUtf8ByteOrderMark))
        bytes.remove_prefix(kUtf8ByteOrderMark.size());
    else if (!IsValidUtf8(bytes))
        table.encoding = CsvTextEncoding::Latin1;
    // A NUL or another control character is no text a spreadsheet writes: a picture, an
    // archive or a UTF-16 file given by mistake, refused before it is taken apart as rows.
    std::size_t textLine = 1;
    for (const char c : bytes) {
        if (IsControl(c))
            return CsvFault{textLine, "the file is not text (it holds the control character " +
                                          std::to_string(static_cast<unsigned char>(c)) + ")"};
        textLine += c == '\n';
    }
    table.separator = DetectSeparator(bytes);
    const char separator = table.separator;

    std::size_t line = 1;
    CsvRecord record;
    std::string cell;
    std::size_t rowStart = 0;
    bool blank = true;  // nothing on the row yet, not even an empty pair of quotes
    auto finishCell = [&] {
        record.cells.push_back(table.encoding == CsvTextEncoding::Latin1 ? Latin1ToUtf8(cell)
                                                                         : std::move(cell));
        cell.clear();
    };
    // Ends the row; a fault when its number of fields differs from the header's.
    auto finishRow = [&]() -> std::optional<CsvFault> {
        if (blank) {
            record.cells.clear();
            return std::nullopt;
        }
        finishCell();
        if (table.header.empty()) {
            table.header = std::move(record.cells);
        } else if (record.cells.size() != table.header.size()) {
            return CsvFault{record.line, "the row has " + std::to_string(record.cells.size()) +
                                             " fields where the header row has " +
                                             std::to_string(table.header.size())};
        } else {
            table.rows.push_back(std::move(record));
        }
        record = {};
        blank = true;
        return std::nullopt;
    };

    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (blank) {
            record.line = line;
            rowStart = i;
        }
        if (i - rowStart > kCsvRowMax)
            return CsvFault{record.line, "the row is longer than " +
                                             std::to_string(kCsvRowMax / (1024 * 1024)) + " MB"};
        if (c == '"' && cell.empty() && (i == rowStart || bytes[i - 1] == separator)) {
            // A quoted field: up to the quote that is not doubled.
            const std::size_t opened = line;
            blank = false;
            std::size_t j = i + 1;
            for (;; ++j) {
                if (j >= bytes.size())
                    return CsvFault{opened, "a quoted field is not closed"};
                if (j - rowStart > kCsvRowMax)
                    return CsvFault{record.line, "the row is longer than " +
                                                     std::to_string(kCsvRowMax / (1024 * 1024)) +
                                                     " MB"};
                const char q = bytes[j];
                if (q == '"') {
                    if (j + 1 < bytes.size() && bytes[j + 1] == '"') {
                        cell += '"';
                        ++j;
                        continue;
                    }
                    break;
                }
                if (q == '\n')
                    ++line;
                // A line break inside a field is read as LF, whichever the file uses.
                if (q == '\r' && j + 1 < bytes.size() && bytes[j + 1] == '\n')
                    continue;
                cell += q;
            }
            i = j;
            const char next = i + 1 < bytes.size() ? bytes[i + 1] : '\n';
            if (next != separator && next != '\r' && next != '\n')
                return CsvFault{line,
                                "a closing quote is followed by text before the next "
                                "separator"};
            continue;
        }
        if (c == separator) {
            blank = false;
            finishCell();
        } else if (c == '\r' || c == '\n') {
            if (c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n')
                ++i;
            if (auto fault = finishRow())
                return *fault;
            ++line;
        } else {
            blank = false;
            cell += c;
        }
    }
    if (auto fault = finishRow())
        return *fault;
    if (table.header.empty())
        return CsvFault{0, "the file is empty"};
    return table;
}

std::variant<CsvTable, CsvFault> ReadCsvFile(const std::filesystem::path& file) {
    std::string bytes;
    if (const int code = ReadRegularFile(file, bytes, kCsvFileMax); code != 0)
        return CsvFault{0, "the file can't be read (" + ReadFailureText(code) + ")"};
    return ParseCsv(bytes);
}

}  // namespace vantorel
