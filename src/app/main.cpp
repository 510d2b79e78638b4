// vantorel: the program. With the report switches it makes one report without a window and
// ends; until the desktop window exists, a plain run opens the database named on the command
// line and tells what it holds.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>

#include "platform/batch_port.h"
#include "platform/debug_log.h"
#include "platform/folders.h"
#include "reports/command_line.h"
#include "storage/vantorel_database.h"

namespace {

struct FolderCount {
    int items = 0;    // ".vtl" documents
    int folders = 0;  // suites, projects and report folders
};

FolderCount CountBelow(const std::filesystem::path& folder) {
    FolderCount count;
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator walk(folder, error), end;
         !error && walk != end; walk.increment(error)) {
        std::error_code typeError;
        if (walk->is_directory(typeError)) {
            ++count.folders;
        } else if (walk->path().extension() == ".vtl") {
            ++count.items;
        }
    }
    return count;
}

int Usage() {
    std::fputs(
        "Usage: vantorel [/debug] DATABASE\n"
        "       vantorel /r KIND /d DATABASE /p PROJECT [/f FILTER] [/s FILE] [/o COLUMNS] "
        "[/n NAME]\n"
        "  DATABASE  a database folder or its marker file (VantorelDatabase.vdb)\n"
        "  vantorel /help tells every switch.\n",
        stderr);
    return 2;
}

// The number of threads a report walk uses; $VANTOREL_THREADS overrides one per core, so a
// run can be compared with a run on one thread.
unsigned ReportThreads() {
    const char* threads = std::getenv("VANTOREL_THREADS");
    return threads ? static_cast<unsigned>(std::strtoul(threads, nullptr, 10)) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    const std::filesystem::path dataFolder = DataFolder();
    std::error_code error;
    std::filesystem::create_directories(dataFolder, error);

    BatchPort port(dataFolder / "error_log.txt", std::cerr);
    const CommandLine line = ParseCommandLine({argv + 1, argv + argc}, port);
    if (line.help) {
        std::fwrite(kUsageText, 1, std::strlen(kUsageText), stdout);
        return 0;
    }
    if (line.debug)
        DebugLog::Start(dataFolder / "VantorelDebug.txt");
    if (line.refused)
        return 2;
    if (line.reportMode)
        return RunCommandLineReport(line, port, ReportThreads());
    if (line.webMode) {
        port.tell(
            {"Web export is not part of this build of Vantorel yet.", "Web export", Icon::Warning});
        port.tell({"Error during web export, project has not been exported", "Web export",
                   Icon::Warning});
        return 1;
    }
    if (line.databaseMarker.empty())
        return Usage();
    const std::filesystem::path database = line.databaseMarker;

    VantorelDatabase db(port);
    if (!db.Open(database))
        return 1;

    std::cout << "Database " << db.Directory().string() << "\n";
    if (const auto& version = db.Version())
        std::cout << "  version " << version->version << ", build " << version->build << "\n";
    for (std::string_view folder : kDatabaseFolders) {
        FolderCount count = CountBelow(db.Directory() / folder);
        std::cout << "  " << folder << ": " << count.items << " items in " << count.folders
                  << " folders\n";
    }
    return 0;
}
