// Storage benchmarks over a database made by vantorel_make_database.
//
//   vantorel_bench_storage read FOLDER   walks FOLDER and reads <test_status> and every history
//                                        block of each ".vtl" with the fast bulk read
//   vantorel_bench_storage save FOLDER   saves every ".vtl" below FOLDER again, whole

#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "storage/atomic_save.h"
#include "storage/tagged_document.h"

namespace {

std::vector<std::filesystem::path> Documents(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> documents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".vtl")
            documents.push_back(entry.path());
    return documents;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    if (argc != 3) {
        std::cerr << "usage: vantorel_bench_storage read|save FOLDER\n";
        return 2;
    }
    const std::string mode = argv[1];
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
