// vantorel: the program. Until the desktop window exists it opens the database named on the
// command line without a window and tells what it holds.

#include <strings.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>

#include "platform/batch_port.h"
#include "platform/debug_log.h"
#include "platform/folders.h"
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
        "  DATABASE  a database folder or its marker file (VantorelDatabase.vdb)\n",
        stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    std::filesystem::path database;
    std::filesystem::path dataFolder = DataFolder();
    std::error_code error;
    std::filesystem::create_directories(dataFolder, error);

    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        if (strcasecmp(argument.c_str(), "/debug") == 0 || argument == "--debug") {
            DebugLog::Start(dataFolder / "VantorelDebug.txt");
        } else if (database.empty()) {
            database = argument;
        } else {
            return Usage();
        }
    }
    if (database.empty())
        return Usage();

    BatchPort port(dataFolder / "error_log.txt", std::cerr);
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
