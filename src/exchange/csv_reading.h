#pragma once
// Reading CSV as spreadsheets write it: UTF-8 with or without a byte-order mark, else
// ISO-8859-1; a comma, semicolon or tab between fields, whichever the header row uses most;
// fields quoted with doubled quotes inside, line breaks allowed within quotes; rows ended by
// CR LF or LF. Every cell comes back as UTF-8, so a caller can tell which characters a
// document can't hold before anything is written.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vantorel {

// A row longer than this is no row a test case needs (every field of one at its limit is
// about 5 MB); a file holding one is refused rather than held in memory.
inline constexpr std::size_t kCsvRowMax = 16 * 1024 * 1024;
// The largest file read: ten thousand rows of full-size test cases and more.
inline constexpr std::size_t kCsvFileMax = std::size_t{1} << 31;

enum class CsvTextEncoding { Utf8, Latin1 };

struct CsvRecord {
    std::size_t line = 0;  // the line of the file the row begins on, from 1
    std::vector<std::string> cells;
};

struct CsvTable {
    CsvTextEncoding encoding = CsvTextEncoding::Utf8;
    char separator = ',';
    std::vector<std::string> header;
    std::vector<CsvRecord> rows;
};

// Why a file is no CSV table, with the line at fault (0 for the file as a whole).
struct CsvFault {
    std::size_t line = 0;
    std::string reason;  // "a quoted field is not closed", ...
};

// The table the bytes hold, or the first fault: bytes that are not text (a NUL or another
// control character anywhere), a quote left open or followed by anything but a
// separator or the end of its line, a row of another number of fields than the header, a row
// over kCsvRowMax, or no header at all. Blank lines are skipped.
std::variant<CsvTable, CsvFault> ParseCsv(std::string_view bytes);

// The file read whole and parsed; a file that can't be read is a fault of line 0.
std::variant<CsvTable, CsvFault> ReadCsvFile(const std::filesystem::path& file);

}  // namespace vantorel
