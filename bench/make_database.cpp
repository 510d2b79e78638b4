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
#include "storage/atomic_save.h"
#include "storage/tagged_document.h"
#include "storage/vantorel_database.h"

namespace {

const char* const kStatuses[] = {"Pass", "Fail", "Not yet attempted", "Other", "Postponed"};

std::string ProjectTestCase(int number) {
    char id[32];
    std::snprintf(id, sizeof id, "TC%06d", number);
    std::string text(vantorel::kDocumentDeclaration);
    auto field = [&](const char* tag, const std::string& value) {
        text += std::string("<") + tag + ">" + value + "</" + tag + ">\r\n";
    };
    text += "<project_test_case>\r\n";
    field("id", id);
    field("test_title", "Synthetic test case " + std::to_string(number));
    field("test_duration", "01:30");
    field("test_type", "Functional");
    field("test_phase", "System");
    field("test_status", kStatuses[number % 5]);
    field("test_attempts", std::to_string(number % 4));
    field("actual_duration", "01:10");
    field("version_tested", "1.0");
    field("build_tested", "100");
    field("create_date", "20261101");
    field("create_time", "09:00:00");
    field("test_description",
          "<![CDATA[Open the page.<br>Enter the values.<br>Check the result against the "
          "expected outcome written in the requirement.]]>");
    field("priority", "Medium");
    for (int block = 0; block < 3; ++block) {
        text += "<history_entry>\r\n";
        field("time", "10:00:00");
        char date[16];
        std::snprintf(date, sizeof date, "%02d-11-2026", block + 1);
        field("date", date);
        field("type", block == 0 ? "ET_NEW" : "ET_UPDATE");
        field("old_status", "Not yet attempted");
        field("new_status", kStatuses[(number + block) % 5]);
        field("num_tries", std::to_string(block));
        text += "</history_entry>\r\n";
    }
    text += "</project_test_case>\r\n";
    return text;
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
        if (!vantorel::SaveWholeFile(suite / name, ProjectTestCase(number)).ok())
            return 1;
    }
    std::cout << count << " project test cases in " << cases << "\n";
    return 0;
}
