// The CSV import, or the TestLink import, against the least work that makes the same
// documents: the same rows written through the document writers (XMLParse, each document whole
// through a temporary file) with no reading, mapping, checking or editor model in between.
//
//   vantorel_bench_csv_import [--testlink] [ROWS] [FOLDER]
//   (default 10,000 rows, in a temporary folder)

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"
#include "exchange/csv_import.h"
#include "exchange/testlink_import.h"
#include "storage/tagged_document.h"

namespace {

namespace fs = std::filesystem;

class QuietPort : public vantorel::UserPort {
public:
    void tell(const vantorel::Notice& notice) override { std::cerr << notice.text << "\n"; }
    bool ask(const vantorel::Notice&) override { return false; }
    void progress(int, int) override {}
};

double Seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    const bool testLink = argc > 1 && std::string_view(argv[1]) == "--testlink";
    argv += testLink;
    argc -= testLink;
    const int rows = argc > 1 ? std::atoi(argv[1]) : 10000;
    const fs::path root =
        argc > 2 ? fs::path(argv[2]) : fs::temp_directory_path() / "vantorel-bench-csv-import";
    fs::remove_all(root);
    fs::create_directories(root);

    // The file a spreadsheet would hold: accents, commas, quotes and line breaks included.
    const fs::path csv = root / "rows.csv";
    {
        std::ofstream out(csv, std::ios::binary);
        out << kUtf8ByteOrderMark
            << "ID,Test Title,Expected Test Duration (HHH:MM),Test Type,Priority,"
               "Test Description,Expected Results,Requirements\r\n";
        for (int i = 0; i < rows; ++i)
            out << "B" << i << ",\"Caf\xC3\xA9 cr\xC3\xA8me, number " << i
                << "\",01:30,Unit test,High,\"Open the \"\"shop\"\" page\r\nPress Pay "
                   "&amp; wait\",\"The basket is empty\",REQ-"
                << i % 97 << "\r\n";
    }
    // The same test cases as TestLink exports them.
    const fs::path xml = root / "testlink.xml";
    {
        std::ofstream out(xml, std::ios::binary);
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"\">\n";
        for (int i = 0; i < rows; ++i)
            out << "<testcase name=\"Caf\xC3\xA9 cr\xC3\xA8me, number " << i
                << "\"><fullexternalid><![CDATA[B" << i
                << "]]></fullexternalid><summary><![CDATA[<p>Open the \"shop\" page</p><p>Press "
                   "Pay &amp; wait</p>]]></summary><importance>3</importance>"
                   "<estimated_exec_duration>90</estimated_exec_duration><steps><step>"
                   "<step_number>1</step_number><actions></actions><expectedresults><![CDATA["
                   "The basket is empty]]></expectedresults></step></steps><requirements>"
                   "<requirement><doc_id>REQ-"
                << i % 97 << "</doc_id></requirement></requirements></testcase>\n";
        out << "</testsuite>\n";
    }
    QuietPort port;
    CustomCfg custom;
    UserIdentity identity{"bench", "bench"};
    const auto table = FieldRows(TestCaseFields());

    // The writers alone: every field of the table, the values as the import stores them.
    auto write = [&](const fs::path& folder) {
        XMLParse document;
        for (int i = 0; i < rows; ++i) {
            const std::string id = "B" + std::to_string(i);
            document.OpenWrite(folder / (id + ".vtl"));
            document.WriteHeader();
            document.WriteOpenTag("<test_case>");
            for (const FieldDescriptor& field : table) {
                std::string value;
                if (field.tag == "<id>")
                    value = id;
                else if (field.tag == "<test_title>")
                    value = StoredFromValue(field.type, "Caf\xE9 cr\xE8me, number " + id);
                else if (field.tag == "<test_description>")
                    value = StoredFromValue(field.type,
                                            "Open the \"shop\" page<br>Press Pay &amp;amp; wait");
                else
                    value = StoredFromValue(field.type, "");
                document.WriteField(field, value);
            }
            document.WriteCloseTag("<test_case>");
            if (!document.Commit(SavePlacement::NewOnly).ok())
                return false;
        }
        return true;
    };
    auto import = [&](const fs::path& folder) {
        auto csvImport =
            testLink ? OpenTestLinkImport(xml, root, custom, {}, port)
                     : CsvImport::Open(csv, CsvSource::LibraryTestCases, root, custom, port);
        if (!csvImport)
            return false;
        const auto outcome =
            // The writers' copy holds the same IDs: kept, as the command line keeps them.
            csvImport->Import({.folder = folder, .askAboutIdsElsewhere = false},
                              {port, custom, identity, LocalNow});
        return outcome && outcome->written == static_cast<std::size_t>(rows);
    };

    // Four rounds, each side first in two of them, the best of each: whichever side runs
    // first after the file was made pays for the disk's write-back, and the disk is shared.
    double written = 1e300, imported = 1e300;
    for (int round = 0; round < 4; ++round) {
        const fs::path writeFolder = root / "Test Cases" / ("Written" + std::to_string(round));
        const fs::path importFolder = root / "Test Cases" / ("Imported" + std::to_string(round));
        fs::create_directories(writeFolder);
        fs::create_directories(importFolder);
        for (int side = 0; side < 2; ++side) {
            const auto start = std::chrono::steady_clock::now();
            if ((side + round) % 2 == 0) {
                if (!write(writeFolder)) {
                    std::cerr << "The writers failed in " << writeFolder << "\n";
                    return 1;
                }
                written = std::min(written, Seconds(start));
            } else {
                if (!import(importFolder)) {
                    std::cerr << "The import failed in " << importFolder << "\n";
                    return 1;
                }
                imported = std::min(imported, Seconds(start));
            }
        }
    }

    std::cout << (testLink ? "TestLink" : "CSV") << " import of " << rows << " rows: " << imported
              << " s; the same documents "
              << "through the writers: " << written << " s; ratio " << imported / written << "\n";
    fs::remove_all(root);
    return 0;
}
