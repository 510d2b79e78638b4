// Makes a synthetic database for the benchmarks: one project, "Bench", whose "Project Test
// Cases" holds the given number of project test cases of about 2.4 KB each, in suites nested
// two deep (20 top suites, 25 test cases to a sub-suite), with one to four history blocks each
// and a status history that runs through the project's first weeks.
//
//   vantorel_make_database FOLDER COUNT

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "storage/tagged_document.h"
#include "storage/vantorel_database.h"
#include "support/recording_port.h"

namespace {

const char* const kStatuses[] = {"Pass", "Fail", "Not yet attempted", "Other", "Postponed"};
constexpr int kPerSubSuite = 25;
constexpr int kTopSuites = 20;

const char kDescription[] =
    "<![CDATA[Open the order page as a registered customer.<br>Add two articles, one of them "
    "reduced.<br>Go to the checkout and pay by card with the test card of the sandbox.]]>";
const char kExpected[] =
    "<![CDATA[The basket shows both articles and the reduction "
    "on its own line.<br>The payment is accepted and the confirmation page shows the order "
    "number.]]>";
const char kPrerequisites[] =
    "<![CDATA[The staging shop runs the build under test; the card sandbox is reachable.]]>";

std::string Date(int day) {
    char text[16];
    std::snprintf(text, sizeof text, "202610%02d", day);
    return text;
}

// Writes one project test case through the document writers, as the program does.
bool WriteProjectTestCase(const std::filesystem::path& path, int number) {
    using vantorel::XMLParse;
    char id[32];
    std::snprintf(id, sizeof id, "TC%06d", number);
    const int blocks = 1 + number % 4;
    const char* status = blocks == 1 ? "Not yet attempted" : kStatuses[number % 5];
    const int created = 1 + number % 9;
    XMLParse document;
    document.OpenWrite(path);
    document.WriteHeader();
    document.WriteOpenTag("<project_test_case>");
    document.WriteTag("<id>", id);
    document.WriteTag("<test_title>", "Reduced article order " + std::to_string(number));
    document.WriteTag("<test_duration>", "01:" + std::to_string(10 + number % 50));
    document.WriteTag("<test_type>", "System test");
    document.WriteTag("<test_phase>", "Functionality");
    document.WriteTag("<rec_test_configs>", number % 3 ? "Desktop" : "Desktop, Phone");
    document.WriteTag("<test_resources>", "Staging, Cards");
    document.WriteTag("<test_status>", status);
    document.WriteTag("<test_attempts>", std::to_string(blocks - 1));
    document.WriteTag("<last_attempt_date>", blocks > 1 ? Date(created + blocks) : "N/A");
    document.WriteTag("<last_attempt_time>", blocks > 1 ? "10:00:00" : "N/A");
    document.WriteTag("<actual_duration>", number % 7 ? "01:05" : "");
    document.WriteTag("<testers>", number % 2 ? "dana" : "lee, sam");
    document.WriteTag("<fault_report_id>", number % 5 == 1 ? "BUG-" + std::to_string(number) : "");
    document.WriteTag("<change_req_id>", "");
    document.WriteTag("<results_obtained>", "<![CDATA[As expected.]]>");
    document.WriteTag("<version_tested>", "2.0");
    document.WriteTag("<build_tested>", "b10" + std::to_string(number % 6 + 1));
    document.WriteTag("<external_link2>", "");
    document.WriteTag("<result_notes>", "<![CDATA[]]>");
    document.WriteTag("<requirement>", "REQ-ORD-" + std::to_string(number % 40));
    document.WriteTag("<create_date>", Date(created));
    document.WriteTag("<create_time>", "09:00:00");
    document.WriteTag("<update_date>", Date(created + blocks));
    document.WriteTag("<update_time>", "10:00:00");
    document.WriteTag("<create_user_id>", "dana");
    document.WriteTag("<update_user_id>", "lee");
    document.WriteTag("<prerequisites>", kPrerequisites);
    document.WriteTag("<test_description>", kDescription);
    document.WriteTag("<test_result>", kExpected);
    document.WriteTag("<notes1>", "<![CDATA[]]>");
    document.WriteTag("<notes2>", "<![CDATA[]]>");
    document.WriteTag("<external_link>", "");
    document.WriteTag("<priority>", number % 3 ? "Medium" : "High");
    std::string previous = "Not yet attempted";
    for (int block = 0; block < blocks; ++block) {
        const bool last = block == blocks - 1;
        const std::string next = block == 0 ? previous
                                 : last     ? std::string(status)
                                            : std::string(kStatuses[(number + block) % 5]);
        char date[16];
        std::snprintf(date, sizeof date, "%02d-10-2026", created + block);
        document.WriteOpenTag("<history_entry>");
        document.WriteTag("<time>", "10:00:00");
        document.WriteTag("<date>", date);
        document.WriteTag("<type>", block == 0 ? "ET_NEW" : "ET_UPDATE");
        document.WriteTag("<old_status>", previous);
        document.WriteTag("<new_status>", next);
        document.WriteTag("<num_tries>", std::to_string(block));
        document.WriteTag("<phase>", "Functionality");
        document.WriteTag("<version>", block == 0 ? "" : "2.0");
        document.WriteTag("<build>", block == 0 ? "" : "b101");
        document.WriteCloseTag("<history_entry>");
        previous = next;
    }
    document.WriteCloseTag("<project_test_case>");
    return document.Commit().ok();
}

bool WriteProject(const std::filesystem::path& projects) {
    vantorel::XMLParse document;
    document.OpenWrite(projects / "Bench.tgp");
    document.WriteHeader();
    document.WriteOpenTag("<project>");
    document.WriteTag("<id>", "Bench");
    document.WriteTag("<planned_start_date>", "20261001");
    document.WriteTag("<actual_start_date>", "20261001");
    document.WriteTag("<planned_end_date>", "20261231");
    document.WriteTag("<actual_end_date>", "20261231");
    document.WriteCloseTag("<project>");
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

    const auto project = folder / "Projects" / "Bench";
    for (const char* reports :
         {"Status Reports", "Progress Reports", "Test Case Reports", "Test List Reports"})
        std::filesystem::create_directories(project / "Project Reports" / reports);
    if (!WriteProject(folder / "Projects"))
        return 1;
    const auto cases = project / "Project Test Cases";
    for (int number = 0; number < count; ++number) {
        const int subSuite = number / kPerSubSuite;
        char suite[64];
        std::snprintf(suite, sizeof suite, "Suite%02d/Part%04d", subSuite % kTopSuites, subSuite);
        if (number % kPerSubSuite == 0)
            std::filesystem::create_directories(cases / suite);
        char name[32];
        std::snprintf(name, sizeof name, "TC%06d.vtl", number);
        if (!WriteProjectTestCase(cases / suite / name, number))
            return 1;
    }
    std::cout << count << " project test cases in " << cases << "\n";
    return 0;
}
