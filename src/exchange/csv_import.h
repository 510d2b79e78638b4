#pragma once
// Test cases from CSV, into a suite of the library or of a project. The model a dialog shows:
// the file's columns, the fields they can go to, the mapping chosen (matched by caption, then
// as the user last chose for this database) and a preview of the first rows. Every row is
// checked against the rules the item dialogs apply before anything is written; each refusal
// names its line and column, and with any refusal nothing is written unless the caller asks
// for the good rows only. Documents are written through the item editors, as the dialogs save
// them, each whole through a temporary file.
//
// The mapping is kept per database in "csv_import.dat" in its root, a tagged document with
// one block per kind of test case:
//   <library_test_cases><column><caption>Titel</caption><field>test_title</field></column>
//   ...</library_test_cases>
// An empty <field> is a column the user chose not to import.

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "documents/item_editor.h"
#include "exchange/csv_export.h"
#include "exchange/csv_reading.h"

namespace vantorel {

class CustomCfg;

inline constexpr std::string_view kCsvImportCaption = "Import from CSV";
inline constexpr std::string_view kCsvMappingFileName = "csv_import.dat";
inline constexpr std::size_t kCsvPreviewRows = 10;

// A field a column can go to: the suite the row's test case lies in ("/" between levels,
// below the suite imported into), or a field of the test case's table.
struct CsvImportField {
    std::string caption;
    const FieldDescriptor* field = nullptr;  // null for the suite
};

// One refused cell (or row, when column is none).
struct CsvRefusal {
    std::size_t line = 0;               // the file's line the row begins on
    std::optional<std::size_t> column;  // from 1
    std::string columnCaption;
    std::string reason;
    bool operator==(const CsvRefusal&) const = default;
};
// "Line 4, column 3 (Test Type): ..." as a list shows it.
std::string CsvRefusalText(const CsvRefusal& refusal);

// What a check of rows found: "All 12 rows can be imported", or how many are refused.
std::string CsvCheckText(const std::vector<CsvRefusal>& refusals, std::size_t rows);
// Whether an import may start after a check: with no refusal, or with the good rows only
// chosen and at least one good row.
bool CsvImportAllowed(const std::vector<CsvRefusal>& refusals, std::size_t rows, bool goodRowsOnly);

// The entry of the database's list for tag (a list field) that reads as value ignoring case;
// none when the list holds no such entry.
std::optional<std::string> ListedEntry(std::string_view tag, std::string_view value,
                                       const CustomCfg& custom);

// Plain text put into a rich-text control: the characters HTML reads as markup are written
// as entities, so the text shows as it was typed.
std::string PlainTextAsRichText(std::string_view text);

struct CsvImportRequest {
    // The suite (or a project's "Project Test Cases") the rows go into.
    std::filesystem::path folder;
    // With refusals: import the rows that pass and leave the others, rather than nothing.
    bool goodRowsOnly = false;
    // Whether to ask before IDs other suites already hold; a run from the command line, which
    // no one answers, keeps them.
    bool askAboutIdsElsewhere = true;
    std::stop_token stop = {};
};

struct CsvImportOutcome {
    std::size_t written = 0;
    std::vector<CsvRefusal> refusals;  // of the rows left out
    bool complete = true;              // false when a stop or a failed write ended it early
};

// "CSV import completed: 3 of 4 rows imported", told when an import has ended.
Notice CsvImportDoneNotice(const CsvImportOutcome& outcome, std::size_t rows);

class CsvImport {
public:
    // Reads file and maps its columns for test cases of source in the database at
    // databaseDir. None after telling the user why the file is no table, with its line.
    static std::optional<CsvImport> Open(const std::filesystem::path& file, CsvSource source,
                                         const std::filesystem::path& databaseDir,
                                         const CustomCfg& custom, UserPort& port);

    // A table made by another reader (an XML export of another test manager) whose header
    // names each column's field as the mapping file does ("suite", "test_title"): mapped so,
    // and the mapping kept for the database's own CSV files left alone.
    static CsvImport OfFields(CsvTable table, CsvSource source,
                              const std::filesystem::path& databaseDir, const CustomCfg& custom);

    const std::vector<std::string>& Columns() const { return m_table.header; }
    const std::vector<CsvImportField>& Fields() const { return m_fields; }
    // The field a column goes to (an index of Fields()), or none when it isn't imported.
    std::optional<std::size_t> FieldOf(std::size_t column) const { return m_mapping.at(column); }
    // Sends column to field, or nowhere; a field takes one column, so another column that
    // went to it goes nowhere now.
    void Map(std::size_t column, std::optional<std::size_t> field);
    // The first rows as the file holds them, for a preview.
    std::vector<std::vector<std::string>> Preview(std::size_t rows = kCsvPreviewRows) const;
    std::size_t RowCount() const { return m_table.rows.size(); }
    // The file's line a row begins on, as the refusals name it (a quoted line break makes a
    // row span lines).
    std::size_t LineOf(std::size_t row) const { return m_table.rows.at(row).line; }
    CsvTextEncoding Encoding() const { return m_table.encoding; }
    char Separator() const { return m_table.separator; }

    // How rich-text cells are read: as plain text (what the export writes by default) or as
    // the HTML a field holds.
    CsvRichText richText = CsvRichText::PlainText;

    // The descriptions of suites an import may make, by the suite cell that names them
    // ("Cart/Coupons"), in HTML: another test manager's export gives them.
    std::map<std::string, std::string> suiteDescriptions;

    // Every refusal of every row, were the rows imported into folder now: in line order.
    std::vector<CsvRefusal> Check(const std::filesystem::path& folder) const;

    // Checks every row, then writes the test cases through their editors, creating suites
    // named by the suite column as needed. With refusals and not goodRowsOnly the user is told
    // the list and nothing is written (none returned). Keeps the mapping for next time.
    std::optional<CsvImportOutcome> Import(const CsvImportRequest& request, EditorContext context);

    // Writes the mapping as this database's choice for the kind of test case.
    [[nodiscard]] IoResult SaveMapping() const;

private:
    CsvImport(CsvTable table, CsvSource source, std::filesystem::path databaseDir,
              const CustomCfg& custom);

    void MapByCaption();
    // The value a control takes from a cell that passed the checks.
    void FillControl(const FieldDescriptor& field, const std::string& cell,
                     FieldControl& control) const;
    std::optional<std::string> CellRefusal(const FieldDescriptor& field,
                                           const std::string& cell) const;

    CsvTable m_table;
    CsvSource m_source;
    std::filesystem::path m_databaseDir;
    const CustomCfg* m_custom;
    std::vector<CsvImportField> m_fields;
    std::vector<std::optional<std::size_t>> m_mapping;  // per column
    bool m_keepMapping = true;
};

}  // namespace vantorel
