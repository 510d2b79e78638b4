#pragma once
// Presets of the CSV import for the spreadsheets other test managers write (TestRail, Kiwi
// TCMS, Xray): each names the columns such a file carries, the field each goes to and how its
// values read, so the file imports without a hand-made mapping. A preset turns the file into
// the table the import checks and writes, its columns named by their fields (as the TestLink
// import does):
// - a row whose case column is empty continues the case above with one more step, as the
//   step-per-row layouts write them;
// - steps become numbered lists: the actions (with their test data) after the description,
//   the expected results in the expected results;
// - a suite path's separators (TestRail's " > ") become "/";
// - durations ("1m 30s", "2h", "0:45:00", minutes alone) become "H:MM", rounded up to a minute;
// - a priority or type the database doesn't list, and every column the preset doesn't know,
//   go to the first notes field as "Caption: value", so nothing the file held is lost.

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "exchange/csv_import.h"

namespace vantorel {

enum class CsvCellRule {
    Text,          // as it is; rich-text fields take it as plain text
    SuitePath,     // a suite below the one imported into, levels split by the preset's separator
    Duration,      // a duration in any of the forms above
    Listed,        // a list's entry the database holds, else a note
    StepAction,    // one step's action
    StepData,      // the test data of the same step, shown with its action
    StepExpected,  // the same step's expected result
};

struct CsvPresetColumn {
    std::string_view caption;  // as the other tool writes it; matched ignoring case
    std::string_view field;    // "test_title", "suite"...; how the mapping file names fields
    CsvCellRule rule = CsvCellRule::Text;
};

struct CsvPreset {
    std::string_view key;   // for --preset: "testrail"
    std::string_view name;  // shown: "TestRail"
    std::span<const CsvPresetColumn> columns;
    // Captions of the columns that are empty on a row continuing the case above; the first
    // the file has decides.
    std::span<const std::string_view> caseColumns;
    std::string_view suiteSeparator = "/";
};

// The presets, in the order the dialog offers them.
std::span<const CsvPreset> CsvPresets();
// The preset of key ("testrail", "kiwi", "xray"), ignoring case; none for another.
const CsvPreset* FindCsvPreset(std::string_view key);
// "testrail, kiwi or xray", for a refusal.
std::string CsvPresetKeys();

// The table of file read through preset, for test cases of source, or none after telling the
// user why the file can't be read or holds none of the preset's columns.
std::optional<CsvImport> OpenCsvImportWithPreset(const std::filesystem::path& file,
                                                 const CsvPreset& preset, CsvSource source,
                                                 const std::filesystem::path& databaseDir,
                                                 const CustomCfg& custom, UserPort& port);

// The same for a table already read, or why none of the preset's columns is in it.
std::variant<CsvTable, std::string> PresetTable(const CsvTable& table, const CsvPreset& preset,
                                                const CustomCfg& custom);

// A duration as another tool writes it ("1m 30s", "2h 5m", "1d", "0:45:00", "1:30", "90"
// minutes) as "H:MM", rounded up to a whole minute; none for text that is no duration.
std::optional<std::string> DurationOfText(std::string_view text);

}  // namespace vantorel
