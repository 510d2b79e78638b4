// Workspace benchmarks over a database made by vantorel_make_database.
//
//   vantorel_bench_workspace open DATABASE        opens the database as the desktop program
//                                                 does and lists the tree down to a project's
//                                                 test case suites
//   vantorel_bench_workspace paste FOLDER TARGET  pastes the suite FOLDER into TARGET

#include <chrono>
#include <filesystem>
#include <iostream>
#include <string>

#include "storage/vantorel_database.h"
#include "support/recording_port.h"
#include "workspace/item_transfer.h"
#include "workspace/navigation.h"

namespace {

double MillisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    namespace fs = std::filesystem;
    const std::string mode = argc > 1 ? argv[1] : "";
    RecordingPort port;
    if (mode == "open" && argc == 3) {
        const auto start = std::chrono::steady_clock::now();
        VantorelDatabase database(port);
        if (!database.Open(argv[2]))
            return 1;
        std::size_t nodes = 0;
        for (const TreeNode& root : TopLevelNodes(database.Directory())) {
            ++nodes;
            if (root.kind != TV_PRJ_ROOT)
                continue;
            for (const TreeNode& project : ChildNodes(database.Directory(), root))
                for (const TreeNode& folder : ChildNodes(database.Directory(), project))
                    nodes += 1 + ChildNodes(database.Directory(), folder).size();
        }
        std::cout << "open and list " << nodes << " nodes: " << MillisecondsSince(start) << " ms\n";
        return 0;
    }
    if (mode == "paste" && argc == 4) {
        const fs::path folder = argv[2], target = argv[3];
        Clipboard clipboard;
        clipboard.Copy({{folder, TV_TEST_SUITE_FLD, folder.filename().string()}}, port);
        port.ScriptAnswers({true});  // the copies keep their originals' IDs
        const auto plan = PlanPaste(clipboard, {target, TV_TEST_SUITE_FLD, "target"}, port);
        if (!plan)
            return 1;
        return RunTransferNow(*plan, port).size() == 1 ? 0 : 1;
    }
    std::cerr << "usage: vantorel_bench_workspace open DATABASE | paste FOLDER TARGET\n";
    return 2;
}
