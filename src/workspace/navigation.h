#pragma once
// The navigation tree's rules without the tree control: the kind of a node follows from where
// its path lies in the database, a folder's children are read only when it is expanded (so a
// database of any size opens at once), each kind has its context menu, and rename, delete and
// the creation of new items check everything before they touch the disk.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "storage/file_layer.h"

namespace vantorel {

class CustomCfg;

enum NodeKind {
    TV_NONE,  // a path that is not an item of the database
    TV_TEST_ROOT,
    TV_TEST_SUITE_FLD,
    TV_TEST_TEST_DOC,
    TV_PRJ_ROOT,
    TV_PRJ_PRJ_FLD,
    TV_PRJ_TEST_FLD,
    TV_PRJ_SUITE_FLD,
    TV_PRJ_TEST_DOC,
    TV_PRJ_RPTS_FLD,
    TV_RPT_FLD,
    TV_RPT_DOC,
    TV_CFG_ROOT,
    TV_CFG_DOC,
    TV_RES_ROOT,
    TV_RES_DOC,
    TV_TESTER_ROOT,
    TV_TESTER_DOC,
    TV_FILTER_ROOT,
    TV_FILTER_DOC,
};

inline constexpr std::size_t kRenamePathMax = 516;

bool IsFolderKind(NodeKind kind);
// The name the tree shows for the item at path: a folder's name, a document's without ".vtl".
std::string ItemLabel(const std::filesystem::path& path, NodeKind kind);
// Roots and the fixed folders of a project: their names are the database's, not the user's.
bool IsFixedKind(NodeKind kind);

// The kind of the folder or ".vtl" document at path inside the database at databaseDir.
NodeKind NodeKindOf(const std::filesystem::path& databaseDir, const std::filesystem::path& path);

struct TreeNode {
    std::filesystem::path path;
    NodeKind kind = TV_NONE;
    std::string label;  // the folder's name, or the document's without ".vtl"
    bool operator==(const TreeNode&) const = default;
};

// The top level: the six roots in the order the tree shows them.
std::vector<TreeNode> TopLevelNodes(const std::filesystem::path& databaseDir);
// The children of a folder node, read now: the fixed folders first in their order, then
// folders and ".vtl" documents by name ignoring letter case. Descriptions, locks, reservations
// and unfinished copies are not items and are left out.
std::vector<TreeNode> ChildNodes(const std::filesystem::path& databaseDir, const TreeNode& folder);

// Whether a change the watcher told at path may change what the tree or a page shows. Locks
// and the reservations of automatic identifiers are bookkeeping that no view shows: a tester
// who opens an item for editing makes no other window read its folder again. A folder is
// shown whatever its name (one named like a lock counts as it is there now; a removed one is
// for the tree to recognise).
bool ChangeShows(const std::filesystem::path& path);

// After a refresh: the node to select again, the given path or the nearest folder above it
// that still exists.
std::filesystem::path ReselectPath(const std::filesystem::path& databaseDir,
                                   const std::filesystem::path& selected);

// One line of a context menu: a command, a rule (command 0, no label) or a submenu filled at
// run time (command 0, a label).
struct ContextMenuItem {
    std::string_view label;
    int command = 0;
    bool operator==(const ContextMenuItem&) const = default;
};
std::vector<ContextMenuItem> ContextMenu(NodeKind kind);

// The icon of a project test case node when the status icons option is on: 0 the plain
// document, 1-4 the status icons of Pass, Fail, Not yet attempted and Postponed.
int StatusIconOf(const std::filesystem::path& document, const CustomCfg& custom);
// The same for a status as its document stores it.
int StatusIcon(std::string_view status, const CustomCfg& custom);

struct RenameOutcome {
    std::filesystem::path newPath;
    bool chooseNewUser = false;  // the current user's tester was renamed and a new one wanted
};
// Renames the item of node to newName with every check of a label edit; none, after telling
// the user, when a check refuses or the disk does. A folder takes its ".tgp" along, a document
// keeps ".vtl", and the item's <id> follows the new name. The rename never replaces an item
// another user made under the new name meanwhile, and a failure at any step puts back what
// was renamed.
std::optional<RenameOutcome> RenameItem(const TreeNode& node, std::string newName,
                                        const std::string& currentUser, UserPort& port,
                                        FileLayer& files = SystemFiles());

struct DeleteOutcome {
    bool deleted = false;
    bool chooseNewUser = false;  // the current user's tester was removed and a new one wanted
};
// Asks, checks for files open for editing, then moves the item (a folder with its ".tgp") into
// the database's bin (workspace/deleted_items.h), from where it can be restored.
DeleteOutcome DeleteItem(const std::filesystem::path& databaseDir, const TreeNode& node,
                         const std::string& currentUser, UserPort& port,
                         FileLayer& files = SystemFiles());
// The two halves of DeleteItem: the question, which names what a folder takes with it (it
// counts the folder's items, so the window asks it from a worker), and the checks and the
// move into the bin.
bool ConfirmDelete(const TreeNode& node, UserPort& port);
DeleteOutcome DeleteConfirmed(const std::filesystem::path& databaseDir, const TreeNode& node,
                              const std::string& currentUser, UserPort& port,
                              FileLayer& files = SystemFiles());

// Delete on several selected items (a list pane's rows, the tree's selection): one question
// that says how many of what go ("3 test cases and 1 suite"), then each item checked and moved
// into the bin; those open for editing stay, and one message names them and why. One item
// takes DeleteItem's question; an item inside a selected folder goes with its folder.
DeleteOutcome DeleteItems(const std::filesystem::path& databaseDir,
                          const std::vector<TreeNode>& selected, const std::string& currentUser,
                          UserPort& port, FileLayer& files = SystemFiles());
// The two halves of DeleteItems: the question, which gives the items that go (none when the
// user says No), and their checks and moves into the bin.
std::vector<TreeNode> ConfirmDeleteItems(const std::vector<TreeNode>& selected, UserPort& port);
DeleteOutcome DeleteConfirmedItems(const std::filesystem::path& databaseDir,
                                   const std::vector<TreeNode>& items,
                                   const std::string& currentUser, UserPort& port,
                                   FileLayer& files = SystemFiles());
// Duplicate on several selected items asks once, counting them; one item is duplicated
// without a question.
bool ConfirmDuplicates(const std::vector<TreeNode>& items, UserPort& port);
// Print on several selected items asks once in the same way, then prints their pages one
// after the other.
bool ConfirmPrints(const std::vector<TreeNode>& items, UserPort& port);
// Whether path lies below folder (not folder itself).
bool IsBelow(const std::filesystem::path& path, const std::filesystem::path& folder);
// "2 suites and 3 test cases": the items counted by kind, in the order the kinds first come.
std::string CountedItems(const std::vector<TreeNode>& nodes);

// Where a new test case of the selected node goes: the suite itself, or a document's suite.
// None, after telling the user, outside suites or in a folder at the path limit.
std::optional<std::filesystem::path> NewTestCaseFolder(const TreeNode& selected, UserPort& port);
// Where a new test suite of the selected node goes: the library, a project's test cases or a
// suite, or a document's suite. None, after telling the user, anywhere else.
std::optional<std::filesystem::path> NewSuiteFolder(const TreeNode& selected, UserPort& port);
// The database's "Filters" folder, made when missing; none after telling the user.
std::optional<std::filesystem::path> NewFilterFolder(const std::filesystem::path& databaseDir,
                                                     bool databaseOpen, UserPort& port);

// An item's <id> follows its file name after a rename or copy; a document without an <id>
// (a report) is left as it is. 0, or the error number of the failed save.
int FollowIdentifier(const std::filesystem::path& document, std::string_view id,
                     FileLayer& files = SystemFiles());

// "Unlock all files...": after the user agrees, removes every lock file below folder, whoever
// holds it. Returns how many were removed.
int UnlockAllFiles(const std::filesystem::path& folder, UserPort& port);

// True when a lock file lies anywhere below folder.
bool HoldsOpenFiles(const std::filesystem::path& folder);

}  // namespace vantorel
