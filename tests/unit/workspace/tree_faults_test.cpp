// Every change to the tree, with each call to the disk failing in turn: whatever fails, the
// items are as they were before the change or as after it, never between, and nothing
// temporary is left but what a failed removal could not take away.

#include <latch>
#include <map>
#include <thread>

#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/vantorel_database.h"
#include "support/faulty_file_layer.h"
#include "support/tree_fixture.h"
#include "workspace/deleted_items.h"
#include "workspace/item_transfer.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

// Path below the database, and the file's text or "<folder>".
using Snapshot = std::map<std::string, std::string>;

class TreeFaultsTest : public TreeTest {
protected:
    void Build() {
        fs::remove_all(db);
        for (const char* folder : {"Test Cases", "Projects", "Testers", "New"})
            fs::create_directories(db / folder);
        Doc(Suite(library / "login"), "TC1");
        Doc(library / "login", "TC2");
        Doc(Suite(library / "login" / "deep"), "TC3");
        Suite(library / "target");
    }

    // Everything below the database; hidden names (temporary files and folders) apart. What
    // a delete put in the bin, and the mark it left, count as items, with the entry's name and
    // the texts that hold a time or that name left out.
    Snapshot Take(Snapshot* hidden = nullptr) const {
        Snapshot items;
        for (const auto& entry : fs::recursive_directory_iterator(db)) {
            std::string relative = entry.path().lexically_relative(db).generic_string();
            std::string text = entry.is_directory() ? "<folder>" : ReadFile(entry.path());
            const std::string bin = std::string(kBinFolder) + "/";
            if (relative == kBinFolder)
                continue;  // made once, kept
            if (relative.starts_with(bin) && !relative.starts_with(bin + ".")) {
                const std::size_t entryEnd = relative.find('/', bin.size());
                relative = bin + "<entry>" +
                           (entryEnd == std::string::npos ? "" : relative.substr(entryEnd));
                if (relative.ends_with("/.deleted"))
                    text = "<record>";
            } else if (entry.path().filename().string().starts_with(kBinMarkPrefix)) {
                text = "<mark>";
            }
            const std::string tail =
                relative.starts_with(bin) ? relative.substr(bin.size()) : relative;
            const bool isHidden =
                tail.starts_with(".") || (Has(tail, "/.") && !tail.ends_with("/.deleted") &&
                                          !Has(tail, "/" + std::string(kBinMarkPrefix)));
            Snapshot* into = isHidden ? hidden : &items;
            if (into)
                (*into)[relative] = text;
        }
        return items;
    }

    // Runs change once as it is and then with every call of every kind failing in turn.
    void HoldsAtEveryFailure(const std::function<void(FileLayer&)>& change) {
        Build();
        const Snapshot before = Take();
        change(SystemFiles());
        const Snapshot after = Take();
        ASSERT_NE(before, after) << "the change did nothing";
        for (int step = 0; step < FaultyFileLayer::kStepCount; ++step) {
            for (int nth = 1;; ++nth) {
                Build();
                FaultyFileLayer files;
                files.FailAt(static_cast<FaultyFileLayer::Step>(step), nth);
                change(files);
                if (files.Calls(static_cast<FaultyFileLayer::Step>(step)) < nth)
                    break;  // every call of this kind has failed once
                SCOPED_TRACE("failing call " + std::to_string(nth) + " of kind " +
                             std::to_string(step));
                Snapshot hidden;
                const Snapshot items = Take(&hidden);
                EXPECT_TRUE(items == before || items == after);
                const bool removalFailed =
                    step == FaultyFileLayer::kRemove || step == FaultyFileLayer::kRemoveFolder;
                if (!removalFailed)
                    for (const auto& [name, text] : hidden)
                        ADD_FAILURE() << "left behind: " << name;
            }
        }
    }

    TransferPlan Plan(TransferStep::Action action, const fs::path& source, const fs::path& target) {
        TransferPlan plan;
        plan.steps.push_back({action, source, target, fs::is_directory(source)});
        return plan;
    }

    const fs::path library = db / "Test Cases";
};

TEST_F(TreeFaultsTest, CopyAndMoveOfAFolderAndADocument) {
    for (auto action : {TransferStep::Action::Copy, TransferStep::Action::Move}) {
        SCOPED_TRACE(action == TransferStep::Action::Copy ? "copy" : "move");
        HoldsAtEveryFailure([&](FileLayer& files) {
            RunTransfer(Plan(action, library / "login", library / "target" / "login"), {}, {},
                        files);
        });
        HoldsAtEveryFailure([&](FileLayer& files) {
            RunTransfer(Plan(action, library / "login" / "TC1.vtl", library / "target" / "TC1.vtl"),
                        {}, {}, files);
        });
    }
}

TEST_F(TreeFaultsTest, RenameAndDeleteOfAFolderAndADocument) {
    HoldsAtEveryFailure(
        [&](FileLayer& files) { RenameItem(Node(library / "login"), "signin", "", port, files); });
    HoldsAtEveryFailure([&](FileLayer& files) {
        RenameItem(Node(library / "login" / "TC1.vtl"), "TC9", "", port, files);
    });
    HoldsAtEveryFailure([&](FileLayer& files) {
        port.ScriptAnswers({true});
        DeleteItem(db, Node(library / "login"), "", port, files);
    });
    HoldsAtEveryFailure([&](FileLayer& files) {
        port.ScriptAnswers({true});
        DeleteItem(db, Node(library / "login" / "TC2.vtl"), "", port, files);
    });
}

TEST_F(TreeFaultsTest, LockAndNewDatabase) {
    HoldsAtEveryFailure([&](FileLayer& files) {
        createLockFile(library / "login" / "TC1.vtl", {"bench-7", "dana"}, files);
    });
    HoldsAtEveryFailure([&](FileLayer& files) {
        port.ScriptAnswers({true});
        VantorelDatabase database(port);
        database.CreateNew(db / "New", files);
    });
}

TEST_F(TreeFaultsTest, TwoRenamesOntoOneNameNeverReplaceEachOther) {
    for (int round = 0; round < 40; ++round) {
        Build();
        RecordingPort first, second;
        std::latch start(2);
        std::optional<RenameOutcome> renamedFirst, renamedSecond;
        std::thread one([&] {
            start.arrive_and_wait();
            renamedFirst = RenameItem(Node(library / "login" / "TC1.vtl"), "TC7", "", first);
        });
        std::thread two([&] {
            start.arrive_and_wait();
            renamedSecond = RenameItem(Node(library / "login" / "TC2.vtl"), "TC7", "", second);
        });
        one.join();
        two.join();
        ASSERT_NE(renamedFirst.has_value(), renamedSecond.has_value()) << "round " << round;
        // The loser is still there under its own name; the winner carries the new one.
        const fs::path loser = library / "login" / (renamedFirst ? "TC2.vtl" : "TC1.vtl");
        EXPECT_TRUE(fs::exists(loser));
        EXPECT_EQ(IdOf(library / "login" / "TC7.vtl"), "TC7");
        EXPECT_EQ((renamedFirst ? second : first).notices.back().caption, "Rename Error");
    }
}

}  // namespace
}  // namespace vantorel::testing
