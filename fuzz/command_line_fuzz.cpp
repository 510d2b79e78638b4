// Feeds arbitrary argument lists (NUL-separated) to the command-line parser: no switch, value or
// long option may crash it, and every refusal must clear both modes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "reports/command_line.h"
#include "support/recording_port.h"

using namespace vantorel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> arguments(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\0')
            arguments.emplace_back();
        else
            arguments.back() += static_cast<char>(data[i]);
    }
    RecordingPort port;
    const CommandLine line = ParseCommandLine(arguments, port);
    if (line.refused && (line.reportMode || line.webMode))
        std::abort();
    if (line.reportKeyword.size() > kReportKeywordMax || line.project.size() > kCommandLineValueMax)
        std::abort();
    return 0;
}
