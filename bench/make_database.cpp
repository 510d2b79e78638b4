// Makes a synthetic database for the benchmarks: one project whose "Project Test Cases" holds
// the given number of project test cases, 500 to a suite, with a history of a few blocks each.
//
//   vantorel_make_database FOLDER COUNT

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "platform/recording_port.h"
#include "storage/tagged_document.h"
#include "storage/vantorel_database.h"

namespace {

const char* const kStatuses[] = {"Pass", "Fail", "Not yet attempted", "Other", "Postponed"};

// Writes one project test case through the document writers, as the program does.
bool WriteProjectTestCase(const std::filesystem::path& path, int number) {
    using vantorel::XMLParse;
    char id[32], date[16];
    std::snprintf(id, sizeof id, "TC%06d", number);
    XMLParse document;
    document.OpenWrite(path);
    document.WriteHeader();
    document.WriteOpenTag("<project_test_case>");
    document.WriteTag("<id>", id);
    document.WriteTag("<test_title>", "Synthetic test case " + std::to_string(number));
    document.WriteTag("<test_duration>", "01:30");
    document.WriteTag("<test_type>", "Functional");
    document.WriteTag("<test_phase>", "System");
    document.WriteTag("<test_status>", kStatuses[number % 5]);
    document.WriteTag("<test_attempts>", std::to_string(number % 4));
    document.WriteTag("<actual_duration>", "01:10");
    document.WriteTag("<version_tested>", "1.0");
    document.WriteTag("<build_tested>", "100");
    document.WriteTag("<create_date>", "20261101");
    document.WriteTag("<create_time>", "09:00:00");
    document.WriteTag("<test_description>",
                      "<![CDATA[Open the page.<br>Enter the values.<br>Check the result against "
                      "the expected outcome written in the requirement.]]>");
    document.WriteTag("<priority>", "Medium");
    for (int block = 0; block < 3; ++block) {
        std::snprintf(date, sizeof date, "%02d-11-2026", block + 1);
        document.WriteOpenTag("<history_entry>");
        document.WriteTag("<time>", "10:00:00");
        document.WriteTag("<date>", date);
        document.WriteTag("<type>", block == 0 ? "ET_NEW" : "ET_UPDATE");
        document.WriteTag("<old_status>", "Not yet attempted");
        document.WriteTag("<new_status>", kStatuses[(number + block) % 5]);
        document.WriteTag("<num_tries>", std::to_string(block));
        document.WriteCloseTag("<history_entry>");
    }
    document.WriteCloseTag("<project_test_case>");
    return document.Commit().ok();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: vantorel_make_database FOLDER COUNT\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    const int count = std::atoi(argv[2]);
    vantorel::RecordingPort port;
    vantorel::VantorelDatabase database(port);
    port.ScriptAnswers({true, true});
    if (!database.CreateNew(folder))
        return 1;
    database.Close();

    const auto cases = folder / "Projects" / "Bench" / "Project Test Cases";
    for (int number = 0; number < count; ++number) {
        const auto suite = cases / ("Suite" + std::to_string(number / 500));
        if (number % 500 == 0)
            std::filesystem::create_directories(suite);
        char name[32];
        std::snprintf(name, sizeof name, "TC%06d.vtl", number);
        if (!WriteProjectTestCase(suite / name, number))
            return 1;
    }
    std::cout << count << " project test cases in " << cases << "\n";
    return 0;
}
