#pragma once
// What each name in a folder of the database is to the program. Items are the documents
// named exactly "<id>.vtl" and the folders; beside them lie the program's bookkeeping: a
// folder's description ("<name>.tgp", beside the folder), locks ("<name>.lck"), reservations of
// automatic identifiers ("<id>.tmp"), and hidden names (a leading "."), among them unfinished
// saves and copies (".vtsave-..."). Every walk and listing (tree, copies, reports, the export,
// the wizard, find) asks here, so that no two of them can disagree on what is an item.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/file_reading.h"

namespace vantorel {

inline constexpr std::string_view kDescriptionExtension = ".tgp";
inline constexpr std::string_view kLockExtension = ".lck";
inline constexpr std::string_view kReservationExtension = ".tmp";
// An item moved into the database's bin leaves this mark in its folder, so its name stays
// taken there until it is restored or deleted for good: a new item, rename, paste or import
// can't take the place the item would need back. ".vtbin-<item's file name>.binned", hidden.
inline constexpr std::string_view kBinMarkPrefix = ".vtbin-";
inline constexpr std::string_view kBinMarkSuffix = ".binned";
// The bin itself, at the database's root (workspace/deleted_items.h); the mark holds the name
// of the item's entry there.
inline constexpr std::string_view kBinFolder = ".vantorel-bin";

// The mark's name for the item named itemName ("TC001.vtl", or a folder's name), and back.
std::string BinMarkName(std::string_view itemName);
std::optional<std::string> BinnedItemName(std::string_view entryName);
// Whether the mark of itemName (as the mark spells it) in folder stands for an item the bin
// holds: the entry it names, in the bin of a folder above, holds the item. A mark that a crash
// left before its item moved, or that went along with a renamed folder after its item came
// back elsewhere, keeps no name.
bool BinHolds(const std::filesystem::path& folder, std::string_view itemName);

enum class EntryRole { Document, Folder, Description, Lock, Reservation, Other };

// The role of a listed entry. Links are never followed: a link to a folder is no folder, and
// a link, FIFO, device or socket under a document's name is a document no reader will open.
EntryRole RoleOf(std::string_view name, FolderEntry::Kind kind);
// The same for a path whose kind is known from elsewhere (a tree node, a clipboard entry).
EntryRole RoleOf(const std::filesystem::path& path, bool folder);

// A folder's items and bookkeeping, each in the order the file system gives them.
struct ItemListing {
    std::vector<FolderEntry> documents;
    std::vector<std::string> folders;
    std::vector<std::string> descriptions;
    std::vector<std::string> locks;
    std::vector<std::string> reservations;
    std::vector<std::string> binned;  // names of items the bin holds for this folder
};

// Sorts the entries of a folder listing into listing.
void SortEntries(std::vector<FolderEntry>& entries, ItemListing& listing);
// Lists folder into listing: 0, or the error number of opening it.
int ListItems(const std::filesystem::path& folder, ItemListing& listing);

// Walks root and every folder below it (links never followed, no folder twice), one open
// folder at a time, calling visit with each folder's listing. visit may remove names from
// listing.folders to keep the walk out of them, and returns false to end the walk. Folders
// that can't be listed are passed over.
using ItemVisitor = std::function<bool(const std::filesystem::path& folder, ItemListing& listing)>;
void WalkItems(const std::filesystem::path& root, const ItemVisitor& visit);

}  // namespace vantorel
