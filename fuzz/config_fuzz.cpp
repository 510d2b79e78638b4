// Feeds arbitrary bytes to the configuration as "Vantorel.cfg" (meant to be UTF-16 with its
// byte-order mark) and uses the settings as the shell does: the recent databases' menu, the
// start-up dialog's database name and the caption. The program saves its configuration
// whenever a database opens: once saved, what it read must save and read back unchanged.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "fuzz_support.h"
#include "support/recording_port.h"
#include "workspace/config.h"
#include "workspace/shell.h"

using namespace vantorel;
using namespace vantorel::fuzzing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::filesystem::path folder = WorkFolder() / "Config";
    WriteWholeFile(folder / kConfigFileName, AsText(data, size));

    RecordingPort port;
    Config config(folder, WorkFolder() / "Data", port);
    const ConfigSettings& settings = config.Settings();
    (void)RecentDatabaseMenu(settings);
    (void)LastDatabaseName(settings);
    (void)MakeTitle(std::filesystem::path(settings.lastDbPath));

    if (!config.Write() || !config.Read())
        std::abort();
    const ConfigSettings saved = settings;
    if (!config.Write() || !config.Read() || settings != saved)
        std::abort();
    return 0;
}
