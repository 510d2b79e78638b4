#pragma once
// Copy, paste, duplicate and move of items: whole files and whole folders (with their ".tgp"
// descriptions and everything below). Every question and refusal comes first, on the calling
// thread, and leads to a plan; the plan then runs, on a worker thread for long ones, and only
// copies, renames and removes. A folder or document is written under a temporary name and
// renamed into place when it is complete, so an interrupted copy never looks like an item, and
// a replaced item is set aside until its successor is in place. Conversions of library test
// cases dropped on a project are the exception: each is written through the project test
// case's editor, and asks as it goes.

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "documents/item_editor.h"
#include "platform/user_port.h"
#include "storage/file_layer.h"
#include "workspace/clipboard.h"
#include "workspace/navigation.h"

namespace vantorel {

// The item documents (".vtl") and descriptions (".tgp") below folder, at any depth.
int countAllFilesDisk(const std::filesystem::path& folder);

struct TransferStep {
    enum class Action { Copy, Move };
    Action action = Action::Copy;
    std::filesystem::path source, target;
    bool folder = false;
    bool replace = false;  // the target exists and the user agreed to replace it
};

struct TransferPlan {
    std::vector<TransferStep> steps;
    int files = 0;  // what the progress counts
};

struct TransferResult {
    std::vector<Notice> failures;                // to tell, in order; a stop is told last
    std::vector<std::filesystem::path> written;  // items now in place
    bool stopped = false;                        // the work was asked to end
};

// Paste: every clipboard entry into target. Items of the same name are replaced only when the
// user says Yes. None when nothing is to be done.
std::optional<TransferPlan> PlanPaste(const Clipboard& clipboard, const TreeNode& target,
                                      UserPort& port);
// Drag and drop of item onto the folder target: the refusals and overwrite questions of a
// move. None, after telling the user, when it is refused.
std::optional<TransferPlan> PlanMove(const TreeNode& item, const TreeNode& target, UserPort& port);
// A drop with Ctrl held: a copy of item into target, refused where a move would be for the
// folder's own sub folders, with a paste's question before replacing. None when there is
// nothing to do (dropped where it lies) or after telling the user.
std::optional<TransferPlan> PlanDropCopy(const TreeNode& item, const TreeNode& target,
                                         UserPort& port);
// What a copy or move asked for while another still runs is answered with: the first one is
// not queued behind, since its questions were answered against the tree as it was.
Notice TransferBusyNotice();
// True when a folder of kind target holds items of kind item (a test case a library suite, a
// report its report folder, ...).
bool SameFamily(NodeKind item, NodeKind target);
// True when item may be dropped on target (a test case onto a project's tree is a conversion).
bool CanDrop(NodeKind item, NodeKind target);
bool IsConversionDrop(NodeKind item, NodeKind target);
// Where a conversion drop on target writes: a project's "Project Test Cases" for the project
// itself, else target.
TreeNode ConversionTarget(const TreeNode& target);

// Runs a plan; step is called once per file written. Stops between files when asked.
TransferResult RunTransfer(const TransferPlan& plan, const std::function<void()>& step,
                           std::stop_token stop = {}, FileLayer& files = SystemFiles());

// Runs a plan on the calling thread and tells its failures; the result's written items.
std::vector<std::filesystem::path> RunTransferNow(const TransferPlan& plan, UserPort& port,
                                                  const std::function<void()>& step = {});

// Duplicate: a copy beside the item named "copy of <name>", "copy(2) of <name>", ... or, for
// documents when automatic identifiers are on, the folder's next automatic identifier. The
// copy's node, or none after telling the user. step is called once per file copied; a stop
// ends the copy between files, with nothing of it left.
std::optional<TreeNode> Duplicate(const std::filesystem::path& databaseDir, const TreeNode& item,
                                  bool automaticIds, UserPort& port,
                                  const std::function<void()>& step = {},
                                  std::stop_token stop = {});
// The files a duplicate of item copies: what its progress counts.
int FilesToDuplicate(const TreeNode& item);

// Test cases dropped on a project's "Project Test Cases" tree become project test cases there;
// a dropped suite brings its sub-suites. step is called once per test case; a stop ends the
// work between two test cases. False after telling the user of a failure, or when stopped.
bool ConvertDroppedTestCases(const TreeNode& item, const TreeNode& target, EditorContext context,
                             const std::function<void()>& step = {}, std::stop_token stop = {});

// Library items dropped on a project, to become its project test cases.
struct ConversionDrop {
    TreeNode item, target;
};
// The test cases the drops bring: what the progress of RunConversions counts.
int ConvertedTestCaseCount(const std::vector<ConversionDrop>& drops);
// Runs the drops in order, telling failures as they come; the result holds the converted
// items, and when stopped the same cancel notice as a copy.
TransferResult RunConversions(const std::vector<ConversionDrop>& drops, EditorContext context,
                              const std::function<void()>& step, std::stop_token stop = {});

// One long copy or move at a time on a thread of its own. finished runs on that thread when
// the plan has run; the window hands the result to its own thread from there.
class TransferWorker {
public:
    using Finished = std::function<void(TransferResult)>;
    using Job = std::function<TransferResult(std::stop_token)>;
    ~TransferWorker();

    // False when a transfer still runs: a second drop waits for the first.
    bool Start(TransferPlan plan, std::function<void()> step, Finished finished);
    // Any work that ends in a transfer's result, such as conversions followed by a plan.
    bool Start(Job job, Finished finished);
    bool Running() const;
    // Asks the running transfer to stop after its current file (the user's Cancel); it ends
    // through finished, with its result stopped. Returns at once.
    void Cancel();
    // The same, waiting for the transfer to end (a database closing).
    void StopAndWait();
    void Wait();

private:
    mutable std::mutex m_mutex;
    bool m_running = false;
    std::jthread m_thread;
};

}  // namespace vantorel
