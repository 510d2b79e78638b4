// Workspace benchmarks over a database made by vantorel_make_database.
//
//   vantorel_bench_workspace open DATABASE        opens the database as the desktop program
//                                                 does and lists the tree down to a project's
//                                                 test case suites
//   vantorel_bench_workspace paste FOLDER TARGET  pastes the suite FOLDER into TARGET
//   vantorel_bench_workspace find DATABASE WORD   finds WORD (any case) in every test case:
//                                                 the first hit's time and the whole search's
//   vantorel_bench_workspace multi-edit DATABASE N
//                                                 sets the build of N project test cases through
//                                                 the multi-edit engine, against N synced
//                                                 whole-file writes of the same documents

#include <chrono>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <string>

#include "documents/custom_cfg.h"
#include "platform/identity.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"
#include "workspace/find_replace.h"
#include "workspace/multi_edit.h"

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
    if (mode == "find" && argc == 4) {
        auto made = FindPattern::Make({argv[3]});
        if (!std::holds_alternative<std::shared_ptr<const FindPattern>>(made))
            return 1;
        const auto start = std::chrono::steady_clock::now();
        std::once_flag first;
        FindRequest request{argv[2], argv[2], std::get<0>(made), {}, {}, {}, 2};
        const FindOutcome outcome = FindInDatabase(request, [&](std::vector<FindHit>) {
            std::call_once(
                first, [&] { std::cout << "first hit: " << MillisecondsSince(start) << " ms\n"; });
        });
        std::cout << "find: " << outcome.hits << " hits in " << outcome.documents
                  << " documents: " << MillisecondsSince(start) << " ms\n";
        return 0;
    }
    if (mode == "multi-edit" && argc == 4) {
        const std::size_t count = std::stoul(argv[3]);
        MultiEditSet set{TV_PRJ_TEST_DOC, {}};
        WalkItems(fs::path(argv[2]) / "Projects", [&](const fs::path& folder, ItemListing& items) {
            for (const FolderEntry& entry : items.documents)
                if (set.items.size() < count)
                    set.items.push_back(folder / entry.name);
            return set.items.size() < count;
        });
        // The baseline: each document written whole and synced beside itself, then removed.
        auto start = std::chrono::steady_clock::now();
        for (const fs::path& item : set.items) {
            std::string text;
            if (ReadRegularFile(item, text) != 0 ||
                !SaveWholeFile(item.parent_path() / ".bench-copy", text).ok())
                return 1;
            fs::remove(item.parent_path() / ".bench-copy");
        }
        const double writes = MillisecondsSince(start);
        CustomCfg custom;
        (void)custom.Read(argv[2], port, CurrentIdentity().computer);
        FieldChange change{"<build_tested>", {}};
        change.value.text = "bench-" + std::to_string(std::time(nullptr) % 100000);
        start = std::chrono::steady_clock::now();
        const MultiEditOutcome outcome = ApplyMultiEdit(set, {change}, {port, custom}, {}, {});
        const double edit = MillisecondsSince(start);
        std::cout << "multi-edit of " << outcome.changed << " test cases: " << edit << " ms; "
                  << set.items.size() << " synced whole-file writes: " << writes << " ms; ratio "
                  << edit / writes << "\n";
        return outcome.changed == set.items.size() ? 0 : 1;
    }
    std::cerr << "usage: vantorel_bench_workspace open DATABASE | paste FOLDER TARGET | find "
                 "DATABASE WORD | multi-edit DATABASE N\n";
    return 2;
}
