// Storage benchmarks over a database made by vantorel_make_database.
//
//   vantorel_bench_storage read FOLDER   walks FOLDER and reads <test_status> and every history
//                                        block of each ".vtl" with the fast bulk read
//   vantorel_bench_storage save FOLDER   saves every ".vtl" below FOLDER again, whole
//   vantorel_bench_storage poll FOLDER   lists FOLDER and every folder below it as the change
//                                        watcher polls shown folders on a shared disk, and
//                                        gives the processor time of one poll

#include <time.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "storage/atomic_save.h"
#include "storage/folder_poller.h"
#include "storage/tagged_document.h"

namespace {

std::vector<std::filesystem::path> Documents(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> documents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".vtl")
            documents.push_back(entry.path());
    return documents;
}

double ProcessorSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Every folder below root shown at once: the poll lists them all and finds nothing changed,
// which is its usual work.
int BenchPoll(const std::filesystem::path& root) {
    std::set<std::filesystem::path> shown{root};
    std::size_t entries = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        ++entries;
        if (entry.is_directory())
            shown.insert(entry.path());
    }
    // No grace for the first listing: the database may have been made a moment ago.
    vantorel::FolderPoller poller{std::chrono::milliseconds(0)};
    int changes = 0;
    auto count = [&changes](const std::string&, int) { ++changes; };
    poller.Poll(root, shown, count);
    std::vector<double> times;
    for (int i = 0; i < 21; ++i) {
        const double start = ProcessorSeconds();
        poller.Poll(root, shown, count);
        times.push_back(ProcessorSeconds() - start);
    }
    std::sort(times.begin(), times.end());
    std::cout << "poll: " << entries << " entries in " << shown.size() << " folders, "
              << times[times.size() / 2] * 1000 << " ms of processor time per poll (median of "
              << times.size() << "), " << changes << " changes\n";
    return changes == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    if (argc != 3) {
        std::cerr << "usage: vantorel_bench_storage read|save|poll FOLDER\n";
        return 2;
    }
    const std::string mode = argv[1];
    if (mode == "poll")
        return BenchPoll(argv[2]);
    const auto start = std::chrono::steady_clock::now();
    std::map<std::string, int> statuses;
    int blocks = 0;
    std::size_t documents = 0;

    XMLParse document;
    std::string status;
    for (const auto& path : Documents(argv[2])) {
        ++documents;
        if (document.OpenFastRead(path) || document.Load())
            return 1;
        if (mode == "read") {
            document.GetTag("<test_status>", status);
            ++statuses[status];
            for (auto block = document.FindNextTag("<history_entry>", 0); block;
                 block = document.FindNextTag("<history_entry>", block->end))
                ++blocks;
        } else if (!SaveWholeFile(path, document.Text()).ok()) {
            return 1;
        }
        document.Close();
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << mode << ": " << documents << " documents in " << seconds << " s";
    if (mode == "read") {
        std::cout << ", " << blocks << " history blocks;";
        for (const auto& [name, count] : statuses)
            std::cout << " " << name << " " << count;
    }
    std::cout << "\n";
    return 0;
}
