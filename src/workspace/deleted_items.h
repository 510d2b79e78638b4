#pragma once
// The database's bin: a delete moves the item into a hidden folder at the database's root, so
// every tester of a shared database sees the same deleted items and any of them can restore
// one. The bin is no top-level folder of the tree, so no walk (tree, reports, export, copies)
// ever reaches it.
//
//   <database>/.vantorel-bin/<entry>/.deleted       where the item was, who deleted it, when
//   <database>/.vantorel-bin/<entry>/<item>         the document, or the folder
//   <database>/.vantorel-bin/<entry>/<item>.tgp     a folder's description kept beside it
//
// An entry is a folder of its own, made exclusively, so deletes of items of one name never
// meet. The item gets there by a rename on the same disk: a crash leaves it in its place or in
// the bin, never half of it. Its old folder keeps a mark (item_listing.h), so the item's name
// stays taken there until it is restored or deleted for good.

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "storage/file_layer.h"
#include "storage/item_listing.h"
#include "workspace/navigation.h"

namespace vantorel {

struct DeletedItem {
    std::string entry;               // its folder in the bin
    std::filesystem::path oldPlace;  // where it was, below the database ("Test Cases/Login")
    NodeKind kind = TV_NONE;         // what it was there
    std::string contents;            // what went with a folder ("6 test cases, 2 sub-suites")
    std::string deletedBy;
    std::time_t deletedAt = 0;
    bool operator==(const DeletedItem&) const = default;

    std::string Name() const;  // as the tree showed it
};

// What a folder takes with it: "6 test cases, 2 sub-suites", "40 test cases, 5 suites,
// 3 reports" for a project; empty for a document. Walks the folder.
std::string DeletionContents(const TreeNode& node);
// What the delete confirmation names: "Login: 6 test cases, 2 sub-suites", or a document's name.
std::string DescribeDeletion(const TreeNode& node);

// Moves node's item into the bin, with its record and the mark that keeps its name. 0, or the
// error number of the step that failed, everything before it undone.
int MoveToBin(const std::filesystem::path& databaseDir, const TreeNode& node,
              std::string_view deletedBy, FileLayer& files = SystemFiles());

// The items in the bin, the most recently deleted first. Entries whose item is missing (a
// crash before the item came) or whose record can't be read are left out.
std::vector<DeletedItem> ListBin(const std::filesystem::path& databaseDir);

// The list's columns and the text of each cell.
inline constexpr std::string_view kDeletedItemColumns[] = {"Name", "Kind", "Deleted from",
                                                           "Deleted by", "Deleted on"};
std::string DeletedItemCell(const DeletedItem& item, std::size_t column);

// Restore puts items back where they were. One whose folder is gone (or now holds an item of
// its name) needs a folder chosen by the user: it comes back in needPlace, after the user was
// told why.
struct RestoreResult {
    std::vector<std::filesystem::path> restored;  // the items in place again
    std::vector<DeletedItem> needPlace;
};
RestoreResult RestoreDeletedItems(const std::filesystem::path& databaseDir,
                                  const std::vector<DeletedItem>& items, UserPort& port,
                                  FileLayer& files = SystemFiles());
// Restores item into folder (one that holds its kind); the restored item's path, or none
// after telling the user.
std::optional<std::filesystem::path> RestoreDeletedItemInto(
    const std::filesystem::path& databaseDir, const DeletedItem& item,
    const std::filesystem::path& folder, UserPort& port, FileLayer& files = SystemFiles());
// Whether a folder of kind folderKind can take item back.
bool CanRestoreInto(const DeletedItem& item, NodeKind folderKind);
// What the folder chooser asks the user.
std::string ChooseRestoreFolderText(const DeletedItem& item);

// Deletes items for good, after asking; false when the user said No or nothing was removed.
bool PurgeDeletedItems(const std::filesystem::path& databaseDir,
                       const std::vector<DeletedItem>& items, UserPort& port,
                       FileLayer& files = SystemFiles());
// Empties the bin, after asking.
bool EmptyBin(const std::filesystem::path& databaseDir, UserPort& port,
              FileLayer& files = SystemFiles());

// The refusal of a new name that an item in the bin keeps in folder.
Notice HeldByBinNotice(std::string_view name, std::string_view caption);

}  // namespace vantorel
