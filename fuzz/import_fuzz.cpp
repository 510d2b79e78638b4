// Feeds arbitrary bytes to the readers of the files users import: as CSV (and through each
// preset of another tool's columns), as JUnit results and as a TestLink export. None may crash
// or hang on any input, and what they accept holds together: every CSV row has the header's
// number of fields and begins on a line of the file, every result has a time of no less than
// zero and lines in file order, every TestLink case has every column, a line of the file, and
// no script left in its rich text.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <variant>

#include "documents/custom_cfg.h"
#include "exchange/csv_presets.h"
#include "exchange/csv_reading.h"
#include "exchange/junit_results.h"
#include "exchange/testlink_import.h"

using namespace vantorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);

    const auto csv = ParseCsv(bytes);
    if (const CsvTable* table = std::get_if<CsvTable>(&csv)) {
        std::size_t line = 1;
        for (const CsvRecord& row : table->rows) {
            if (row.cells.size() != table->header.size() || row.line <= line)
                std::abort();
            line = row.line;
        }
        // Another tool's columns read through its preset: every case a whole row.
        static const CustomCfg presetCustom;
        for (const CsvPreset& preset : CsvPresets()) {
            const auto converted = PresetTable(*table, preset, presetCustom);
            if (const CsvTable* cases = std::get_if<CsvTable>(&converted))
                for (const CsvRecord& row : cases->rows)
                    if (row.cells.size() != cases->header.size() || row.line == 0)
                        std::abort();
        }
    } else if (std::get<CsvFault>(csv).reason.empty()) {
        std::abort();
    }

    const auto junit = ParseJUnit(bytes);
    if (const auto* results = std::get_if<std::vector<JUnitResult>>(&junit)) {
        std::size_t line = 1;
        for (const JUnitResult& result : *results) {
            if (result.seconds < 0 || result.line < line)
                std::abort();
            line = result.line;
        }
    } else if (std::get<XmlFault>(junit).reason.empty()) {
        std::abort();
    }

    const auto xml = ReadXml(bytes);
    if (const XmlElement* root = std::get_if<XmlElement>(&xml)) {
        static const CustomCfg custom;
        const auto testLink = TestLinkTable(*root, custom, {"P"});
        if (const TestLinkCases* cases = std::get_if<TestLinkCases>(&testLink))
            for (const CsvRecord& row : cases->table.rows) {
                if (row.cells.size() != cases->table.header.size() || row.line == 0)
                    std::abort();
                // The rich texts: the description, prerequisites, expected results and notes.
                for (const std::size_t column : {3, 4, 5, 10, 11})
                    if (row.cells[column].find("<script") != std::string::npos)
                        std::abort();
            }
    } else if (std::get<XmlFault>(xml).reason.empty()) {
        std::abort();
    }
    return 0;
}
