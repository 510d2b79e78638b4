#include "exchange/csv_import.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "documents/custom_cfg.h"
#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "documents/prj_test_case.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;

// A refusal list longer than this is cut, with a count of the rest: nobody reads thousands of
// lines in a message box, and the first ones show what is wrong with the file.
constexpr std::size_t kRefusalsTold = 40;

bool SameCaption(std::string_view a, std::string_view b) {
    const std::string left = Trimmed(a, " \t"), right = Trimmed(b, " \t");
    return !left.empty() && strcasecmp(left.c_str(), right.c_str()) == 0;
}

std::string_view BlockTag(CsvSource source) {
    return source == CsvSource::LibraryTestCases ? "<library_test_cases>" : "<project_test_cases>";
}

// "yyyy-mm-dd" as the export writes it, or "yyyymmdd" as documents hold it.
std::optional<CalendarDate> ParseCellDate(std::string_view cell) {
    if (cell.size() == 10 && cell[4] == '-' && cell[7] == '-')
        return ParseStoredDate(std::string(cell.substr(0, 4)) + std::string(cell.substr(5, 2)) +
                               std::string(cell.substr(8, 2)));
    return ParseStoredDate(cell);
}

// "hh:mm:ss", or "hh:mm" as spreadsheets shorten it.
std::optional<ClockTime> ParseCellTime(std::string_view cell) {
    if (cell.size() == 5)
        return ParseStoredTime(std::string(cell) + ":00");
    return ParseStoredTime(cell);
}

bool IsAttempts(const FieldDescriptor& field) {
    return field.tag == "<test_attempts>";
}

// A list whose text must be one of the customisation's entries (types, phases, statuses and
// the priorities); the entry as the list spells it, ignoring letter case.
std::optional<std::string> ListEntry(const std::vector<std::string>& entries,
                                     std::string_view value) {
    for (const std::string& entry : entries)
        if (strcasecmp(entry.c_str(), std::string(value).c_str()) == 0)
            return entry;
    return std::nullopt;
}

std::string ListName(std::string_view tag) {
    if (tag == "<test_type>")
        return "test types";
    if (tag == "<test_phase>")
        return "test phases";
    if (tag == "<test_status>")
        return "statuses";
    return "priorities";
}

}  // namespace

std::string PlainTextAsRichText(std::string_view text) {
    std::string html;
    html.reserve(text.size());
    for (const char c : text) {
        if (c == '&')
            html += "&amp;";
        else if (c == '<')
            html += "&lt;";
        else if (c == '>')
            html += "&gt;";
        else
            html += c;
    }
    return html;
}

namespace {

std::string SuiteKey(const std::string& suite) {
    std::string key = suite;
    std::transform(key.begin(), key.end(), key.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return key;
}

// The suite folders of a suite cell: each level an item name.
std::optional<std::vector<std::string>> SuiteLevels(std::string_view cell) {
    std::vector<std::string> levels;
    std::size_t from = 0;
    while (from <= cell.size()) {
        std::size_t slash = cell.find('/', from);
        if (slash == std::string_view::npos)
            slash = cell.size();
        const std::string level = Latin1FromName(cell.substr(from, slash - from));
        if (!IsItemName(level))
            return std::nullopt;
        levels.push_back(level);
        from = slash + 1;
    }
    return levels;
}

// How the mapping file names a field: its tag without brackets, "suite" for the suite.
std::string FieldName(const CsvImportField& field) {
    if (!field.field)
        return "suite";
    return std::string(field.field->tag.substr(1, field.field->tag.size() - 2));
}

}  // namespace

std::optional<std::string> ListedEntry(std::string_view tag, std::string_view value,
                                       const CustomCfg& custom) {
    return ListEntry(CustomChoices(tag, custom), value);
}

std::string CsvRefusalText(const CsvRefusal& refusal) {
    std::string text = "Line " + std::to_string(refusal.line);
    if (refusal.column)
        text += ", column " + std::to_string(*refusal.column) + " (" + refusal.columnCaption + ")";
    return text + ": " + refusal.reason;
}

namespace {

std::size_t RefusedRows(const std::vector<CsvRefusal>& refusals) {
    std::set<std::size_t> lines;
    for (const CsvRefusal& refusal : refusals)
        lines.insert(refusal.line);
    return lines.size();
}

}  // namespace

std::string CsvCheckText(const std::vector<CsvRefusal>& refusals, std::size_t rows) {
    const std::size_t refused = RefusedRows(refusals);
    if (refused == 0)
        return rows == 1 ? "The row can be imported"
                         : "All " + std::to_string(rows) + " rows can be imported";
    return std::to_string(refused) + " of " + std::to_string(rows) +
           (rows == 1 ? " row is refused" : " rows are refused") +
           (refused < rows ? "; the others can be imported on their own" : "");
}

bool CsvImportAllowed(const std::vector<CsvRefusal>& refusals, std::size_t rows,
                      bool goodRowsOnly) {
    const std::size_t refused = RefusedRows(refusals);
    return rows > 0 && (refused == 0 || (goodRowsOnly && refused < rows));
}

Notice CsvImportDoneNotice(const CsvImportOutcome& outcome, std::size_t rows) {
    return {"CSV import completed: " + std::to_string(outcome.written) + " of " +
                std::to_string(rows) + " rows imported",
            std::string(kCsvImportCaption), Icon::Information};
}

CsvImport::CsvImport(CsvTable table, CsvSource source, fs::path databaseDir,
                     const CustomCfg& custom)
    : m_table(std::move(table)),
      m_source(source),
      m_databaseDir(std::move(databaseDir)),
      m_custom(&custom),
      m_mapping(m_table.header.size()) {
    m_fields.push_back({std::string(kSuiteColumnCaption), nullptr});
    for (const FieldDescriptor& row :
         FieldRows(source == CsvSource::LibraryTestCases ? TestCaseFields() : PrjTestCaseFields()))
        m_fields.push_back(
            {std::string(row.longHeading.empty() ? row.shortHeading : row.longHeading), &row});
    MapByCaption();
}

std::optional<CsvImport> CsvImport::Open(const fs::path& file, CsvSource source,
                                         const fs::path& databaseDir, const CustomCfg& custom,
                                         UserPort& port) {
    auto parsed = ReadCsvFile(file);
    if (const CsvFault* fault = std::get_if<CsvFault>(&parsed)) {
        std::string text = "The file \"" + file.string() + "\" can't be imported: ";
        if (fault->line > 0)
            text += "line " + std::to_string(fault->line) + ": ";
        port.tell({text + fault->reason + ". Nothing has been imported.",
                   std::string(kCsvImportCaption), Icon::Warning});
        return std::nullopt;
    }
    return CsvImport(std::move(std::get<CsvTable>(parsed)), source, databaseDir, custom);
}

CsvImport CsvImport::OfFields(CsvTable table, CsvSource source, const fs::path& databaseDir,
                              const CustomCfg& custom) {
    CsvImport import(std::move(table), source, databaseDir, custom);
    import.m_keepMapping = false;
    for (std::size_t column = 0; column < import.m_table.header.size(); ++column) {
        import.m_mapping[column] = std::nullopt;
        for (std::size_t field = 0; field < import.m_fields.size(); ++field)
            if (FieldName(import.m_fields[field]) == import.m_table.header[column])
                import.m_mapping[column] = field;
    }
    return import;
}

void CsvImport::MapByCaption() {
    // What the user chose last time for a caption comes first; then the captions the export
    // writes, the short ones of lists, the dialogs' own and the tags.
    std::map<std::string, std::string> kept;  // caption, lower case -> tag or ""
    std::string text;
    if (ReadRegularFile(m_databaseDir / kCsvMappingFileName, text) == 0) {
        std::string_view block;
        if (FindTagValue(text, BlockTag(m_source), block, 0, nullptr, true) == 0) {
            std::string_view column;
            std::size_t end = 0;
            for (std::size_t from = 0;
                 FindTagValue(block, "<column>", column, from, &end, true) == 0; from = end) {
                std::string_view caption, tag;
                if (FindTagValue(column, "<caption>", caption, 0, nullptr, true) == 0 &&
                    FindTagValue(column, "<field>", tag, 0, nullptr, true) == 0)
                    kept[SuiteKey(Unescaped(std::string(caption)))] = std::string(tag);
            }
        }
    }
    for (std::size_t column = 0; column < m_table.header.size(); ++column) {
        const std::string& caption = m_table.header[column];
        std::optional<std::size_t> chosen;
        if (auto found = kept.find(SuiteKey(Trimmed(Latin1FromName(caption), " \t")));
            found != kept.end()) {
            for (std::size_t f = 0; f < m_fields.size(); ++f)
                if (!found->second.empty() && FieldName(m_fields[f]) == found->second)
                    chosen = f;
            if (!chosen && found->second.empty()) {
                m_mapping[column] = std::nullopt;
                continue;
            }
        }
        for (std::size_t f = 0; f < m_fields.size() && !chosen; ++f) {
            const FieldDescriptor* row = m_fields[f].field;
            if (SameCaption(caption, m_fields[f].caption) ||
                (row && (SameCaption(caption, row->shortHeading) ||
                         SameCaption(caption, DialogCaption(*row, *m_custom)) ||
                         SameCaption(caption, row->tag.substr(1, row->tag.size() - 2)))))
                chosen = f;
        }
        // A field already taken by an earlier column stays with it.
        if (chosen && std::find(m_mapping.begin(), m_mapping.end(), chosen) == m_mapping.end())
            m_mapping[column] = chosen;
    }
}

void CsvImport::Map(std::size_t column, std::optional<std::size_t> field) {
    if (field)
        for (auto& mapped : m_mapping)
            if (mapped == field)
                mapped.reset();
    m_mapping.at(column) = field;
}

std::vector<std::vector<std::string>> CsvImport::Preview(std::size_t rows) const {
    std::vector<std::vector<std::string>> preview;
    for (std::size_t i = 0; i < rows && i < m_table.rows.size(); ++i)
        preview.push_back(m_table.rows[i].cells);
    return preview;
}

std::optional<std::string> CsvImport::CellRefusal(const FieldDescriptor& field,
                                                  const std::string& cell) const {
    if (const std::string character = FirstCharacterLatin1CantHold(cell); !character.empty())
        return "the character \"" + character +
               "\" can't be kept: documents are ISO-8859-1, which has no such character";
    if (cell.empty())
        return std::nullopt;
    const std::string latin1 = Latin1FromName(cell);
    if (field.type == FT_DATE) {
        if (!ParseCellDate(latin1))
            return "\"" + cell + "\" is not a date (yyyy-mm-dd)";
        return std::nullopt;
    }
    if (field.type == FT_TIME) {
        if (!ParseCellTime(latin1))
            return "\"" + cell + "\" is not a time of day (hh:mm:ss)";
        return std::nullopt;
    }
    if (IsDurationField(field) && !ParseDuration(latin1))
        return "\"" + cell + "\" is not a duration (HHH:MM, hours 0-999 and minutes 0-59)";
    if (IsAttempts(field) &&
        (latin1.size() > FieldWidth(field) ||
         !std::all_of(latin1.begin(), latin1.end(), [](char c) { return c >= '0' && c <= '9'; })))
        return "\"" + cell + "\" is not a number of attempts";
    if (field.type == FT_LIST_TEXT) {
        const std::vector<std::string> entries = CustomChoices(field.tag, *m_custom);
        if (!entries.empty() && !ListEntry(entries, latin1))
            return "\"" + cell + "\" is not in the database's list of " + ListName(field.tag);
    }
    if (latin1.size() > FieldWidth(field))
        return "the text is longer than the " + std::to_string(FieldWidth(field)) +
               " characters the field holds";
    return std::nullopt;
}

std::vector<CsvRefusal> CsvImport::Check(const fs::path& folder) const {
    std::vector<CsvRefusal> refusals;
    std::optional<std::size_t> idColumn, suiteColumn;
    for (std::size_t column = 0; column < m_mapping.size(); ++column) {
        if (!m_mapping[column])
            continue;
        if (*m_mapping[column] == 0)
            suiteColumn = column;
        else if (m_fields[*m_mapping[column]].field->tag == "<id>")
            idColumn = column;
    }
    // The identifiers each folder holds, and those the file gives it, ignoring letter case.
    std::map<std::string, std::set<std::string>> taken;
    auto takenIn = [&taken](const fs::path& target) -> std::set<std::string>& {
        auto [entry, added] = taken.try_emplace(target.string());
        if (added) {
            std::vector<FolderEntry> entries;
            ListFolder(target, entries);
            // A test case in the bin keeps its identifier in the suite it was deleted from.
            for (const FolderEntry& item : entries) {
                const std::optional<std::string> binned = BinnedItemName(item.name);
                if (binned && !BinHolds(target, *binned))
                    continue;
                const std::string name = binned.value_or(item.name);
                if (name.ends_with(kItemExtension))
                    entry->second.insert(
                        SuiteKey(name.substr(0, name.size() - kItemExtension.size())));
            }
        }
        return entry->second;
    };

    for (const CsvRecord& record : m_table.rows) {
        auto refuse = [&](std::size_t column, std::string reason) {
            refusals.push_back(
                {record.line, column + 1, m_table.header[column], std::move(reason)});
        };
        fs::path target = folder;
        if (suiteColumn && !record.cells[*suiteColumn].empty()) {
            const auto levels = SuiteLevels(record.cells[*suiteColumn]);
            if (!levels)
                refuse(*suiteColumn, "\"" + record.cells[*suiteColumn] +
                                         "\" is not a suite: levels are separated by \"/\" "
                                         "and each has 1 to 64 characters, none of \\ : * ? "
                                         "\" < > |");
            else
                for (const std::string& level : *levels)
                    target /= level;
        }
        if (idColumn && !record.cells[*idColumn].empty()) {
            const std::string& cell = record.cells[*idColumn];
            const std::string id = Latin1FromName(cell);
            switch (CheckIdentifier(id)) {
                case IdentifierProblem::TooLong:
                    refuse(*idColumn, "the ID is longer than " + std::to_string(kIdentifierMax) +
                                          " characters");
                    break;
                case IdentifierProblem::InvalidCharacters:
                    refuse(*idColumn,
                           "the ID \"" + cell +
                               "\" holds a character that is not allowed: \\ / : * ? \" < > |");
                    break;
                case IdentifierProblem::Empty:
                case IdentifierProblem::None:
                    if (!ItemPathFits(target, id, kItemExtension))
                        refuse(*idColumn, "the path of the test case would exceed the limit of " +
                                              std::to_string(kPathMax) + " characters");
                    else if (!takenIn(target).insert(SuiteKey(id)).second)
                        refuse(*idColumn, "the ID \"" + cell + "\" already exists in the suite");
                    break;
            }
        }
        for (std::size_t column = 0; column < m_mapping.size(); ++column) {
            if (!m_mapping[column] || *m_mapping[column] == 0 || column == idColumn)
                continue;
            if (auto reason =
                    CellRefusal(*m_fields[*m_mapping[column]].field, record.cells[column]))
                refuse(column, std::move(*reason));
        }
    }
    return refusals;
}

void CsvImport::FillControl(const FieldDescriptor& field, const std::string& cell,
                            FieldControl& control) const {
    const std::string latin1 = Latin1FromName(cell);
    if (field.type == FT_DATE) {
        control.date = ParseCellDate(latin1);
        return;
    }
    if (field.type == FT_TIME) {
        control.time = ParseCellTime(latin1);
        return;
    }
    if (cell.empty() && (field.type == FT_LIST_TEXT || IsDurationField(field) || IsAttempts(field)))
        return;  // the default a new item starts with
    if (IsDurationField(field)) {
        control.text = StoredDuration(*ParseDuration(latin1));
    } else if (field.type == FT_LIST_TEXT) {
        const std::vector<std::string> entries = CustomChoices(field.tag, *m_custom);
        control.text = entries.empty() ? latin1 : ListEntry(entries, latin1).value_or(latin1);
    } else if (field.type == FT_RICH_TEXT) {
        if (richText == CsvRichText::Html) {
            // The cell is the field's HTML, kept as it is: a line break in HTML is a blank,
            // and a control's line break would become a "<br>".
            control.text = latin1;
            std::replace_if(
                control.text.begin(), control.text.end(),
                [](char c) { return c == '\r' || c == '\n'; }, ' ');
        } else {
            control.text = PlainTextAsRichText(latin1);
        }
    } else {
        control.text = latin1;
    }
}

std::optional<CsvImportOutcome> CsvImport::Import(const CsvImportRequest& request,
                                                  EditorContext context) {
    UserPort& port = context.port;
    auto tell = [&port](const std::string& text) {
        port.tell({text, std::string(kCsvImportCaption), Icon::Warning});
    };
    std::error_code error;
    if (!fs::is_directory(request.folder, error)) {
        tell("The suite \"" + request.folder.string() +
             "\" was not found, nothing has been imported");
        return std::nullopt;
    }
    if (m_table.rows.empty()) {
        tell("The file holds no rows below its header, nothing has been imported");
        return std::nullopt;
    }
    CsvImportOutcome outcome;
    outcome.refusals = Check(request.folder);
    if (!outcome.refusals.empty()) {
        std::set<std::size_t> refusedLines;
        for (const CsvRefusal& refusal : outcome.refusals)
            refusedLines.insert(refusal.line);
        std::string list;
        for (std::size_t i = 0; i < outcome.refusals.size() && i < kRefusalsTold; ++i)
            list += "\n" + CsvRefusalText(outcome.refusals[i]);
        if (outcome.refusals.size() > kRefusalsTold)
            list += "\nand " + std::to_string(outcome.refusals.size() - kRefusalsTold) +
                    " more refusals";
        const std::string rows = std::to_string(refusedLines.size()) + " of " +
                                 std::to_string(m_table.rows.size()) + " rows are refused:";
        if (!request.goodRowsOnly || refusedLines.size() == m_table.rows.size()) {
            tell(rows + list + "\nNothing has been imported.");
            return std::nullopt;
        }
        tell(rows + list + "\nThese rows are left out; the others are imported.");
    }

    std::optional<std::size_t> idColumn, suiteColumn;
    for (std::size_t column = 0; column < m_mapping.size(); ++column) {
        if (m_mapping[column] == std::optional<std::size_t>(0))
            suiteColumn = column;
        else if (m_mapping[column] && m_fields[*m_mapping[column]].field->tag == "<id>")
            idColumn = column;
    }
    std::set<std::size_t> leftOut;
    for (const CsvRefusal& refusal : outcome.refusals)
        leftOut.insert(refusal.line);
    // IDs the file gives that other suites of the scope already hold: asked once, before any
    // row is written.
    if (const std::optional<fs::path> scope =
            TestCaseIdScope(request.folder, m_source == CsvSource::ProjectTestCases);
        scope && idColumn && request.askAboutIdsElsewhere) {
        std::vector<PlacedId> ids;
        for (const CsvRecord& record : m_table.rows) {
            if (leftOut.contains(record.line) || record.cells[*idColumn].empty())
                continue;
            fs::path target = request.folder;
            if (suiteColumn)
                for (const std::string& level :
                     SuiteLevels(record.cells[*suiteColumn]).value_or(std::vector<std::string>{}))
                    target /= level;
            ids.push_back({Latin1FromName(record.cells[*idColumn]), target});
        }
        if (!KeepIdsUsedElsewhere(*scope, ids, port))
            return std::nullopt;
    }

    const int total = static_cast<int>(m_table.rows.size() - leftOut.size());
    std::set<fs::path> checkedFolders;
    EditorContext itemContext = context;
    itemContext.folderChecked = true;
    KnownIds knownIds;
    itemContext.knownIds = &knownIds;
    for (const CsvRecord& record : m_table.rows) {
        if (leftOut.contains(record.line))
            continue;
        if (request.stop.stop_requested()) {
            outcome.complete = false;
            break;
        }
        fs::path target = request.folder;
        const std::vector<std::string> levels =
            suiteColumn
                ? SuiteLevels(record.cells[*suiteColumn]).value_or(std::vector<std::string>{})
                : std::vector<std::string>{};
        std::string suiteCell;
        for (const std::string& level : levels) {
            suiteCell += (suiteCell.empty() ? "" : "/") + level;
            if (!fs::is_directory(target / level, error)) {
                // A suite the file names is made as the suite dialog makes one.
                std::unique_ptr<TestGroup> suite =
                    m_source == CsvSource::LibraryTestCases
                        ? TestGroup::New(target, context)
                        : std::unique_ptr<TestGroup>(PrjTestGroup::New(target, context));
                if (suite) {
                    suite->Control("<id>").text = level;
                    if (auto description = suiteDescriptions.find(Latin1ToUtf8(suiteCell));
                        description != suiteDescriptions.end())
                        FillControl(*FindField(TestSuiteFields(), "<suite_description>"),
                                    description->second, suite->Control("<suite_description>"));
                }
                // The suite's editor has told why it could not be made.
                if (!suite || suite->Save()) {
                    target.clear();
                    break;
                }
            }
            target /= level;
        }
        const bool automaticId = !idColumn || record.cells[*idColumn].empty();
        // Each folder is probed once, as the dialog probes it before its first new item.
        if (!target.empty() && !checkedFolders.contains(target) &&
            CanCreateIn(target, context.port))
            checkedFolders.insert(target);
        std::unique_ptr<ItemEditor> editor;
        if (!checkedFolders.contains(target))
            editor = nullptr;
        else if (m_source == CsvSource::LibraryTestCases)
            editor = TestCase::New(target, itemContext, automaticId);
        else
            editor = PrjTestCase::New(target, itemContext, automaticId);
        std::optional<SaveRefusal> refused;
        if (editor) {
            editor->KeepGivenCreation();
            for (std::size_t column = 0; column < m_mapping.size(); ++column) {
                if (!m_mapping[column] || *m_mapping[column] == 0 ||
                    (column == idColumn && automaticId))
                    continue;
                const FieldDescriptor& field = *m_fields[*m_mapping[column]].field;
                FillControl(field, record.cells[column],
                            editor->controls[static_cast<std::size_t>(field.controlId)]);
            }
            refused = editor->SaveCheckedIdentifier();
        }
        if (!editor || refused) {
            tell("The test case of line " + std::to_string(record.line) +
                 " could not be written; " + std::to_string(outcome.written) +
                 " test cases were imported before it and the rest were not.");
            outcome.complete = false;
            break;
        }
        ++outcome.written;
        port.progress(static_cast<int>(outcome.written), total);
    }
    port.progress(0, 0);
    if (!outcome.complete && request.stop.stop_requested())
        tell("The import from CSV was cancelled after " + std::to_string(outcome.written) +
             (outcome.written == 1 ? " test case; it is whole"
                                   : " test cases; each of them is whole"));
    if (m_keepMapping)
        (void)SaveMapping();  // only a convenience for next time
    return outcome;
}

IoResult CsvImport::SaveMapping() const {
    const fs::path file = m_databaseDir / kCsvMappingFileName;
    std::string text;
    (void)ReadRegularFile(file, text);
    // The other kind's block is kept as it was.
    std::string other;
    const CsvSource otherSource = m_source == CsvSource::LibraryTestCases
                                      ? CsvSource::ProjectTestCases
                                      : CsvSource::LibraryTestCases;
    std::string_view kept;
    if (FindTagValue(text, BlockTag(otherSource), kept, 0, nullptr, true) == 0)
        other = std::string(BlockTag(otherSource)) + std::string(kept) +
                ClosingTag(BlockTag(otherSource)) + "\r\n";

    std::string block = std::string(BlockTag(m_source)) + "\r\n";
    for (std::size_t column = 0; column < m_mapping.size(); ++column) {
        const std::string tag =
            m_mapping[column] ? FieldName(m_fields[*m_mapping[column]]) : std::string();
        block += "<column><caption>" +
                 Escaped(Trimmed(Latin1FromName(m_table.header[column]), " \t")) +
                 "</caption><field>" + tag + "</field></column>\r\n";
    }
    block += ClosingTag(BlockTag(m_source)) + "\r\n";
    const std::string document =
        std::string(kDocumentDeclaration) + "<csv_import>\r\n" +
        (m_source == CsvSource::LibraryTestCases ? block + other : other + block) +
        "</csv_import>\r\n";
    return SaveWholeFile(file, document);
}

}  // namespace vantorel
