#include "workspace/deleted_items.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "documents/item_editor.h"
#include "documents/test_group.h"
#include "platform/clock_text.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"
#include "workspace/item_transfer.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr char kRecordName[] = ".deleted";
constexpr char kRestoreCaption[] = "Unable to restore";

struct Counts {
    std::size_t documents = 0;
    std::size_t folders = 0;  // below the walked folder
};

Counts CountBelow(const fs::path& folder) {
    Counts counts;
    WalkItems(folder, [&](const fs::path& at, const ItemListing& items) {
        counts.documents += items.documents.size();
        counts.folders += at == folder ? 0 : 1;
        return true;
    });
    return counts;
}

std::string NewEntryName() {
    static std::atomic<unsigned> counter{0};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%04d%02d%02d-%02d%02d%02d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    // The count is padded, so that one process's deletes of one second sort in their order.
    char count[16];
    std::snprintf(count, sizeof count, "%06u", counter++ % 1000000);
    return std::string(stamp) + "-" + std::to_string(::getpid()) + "-" + count;
}

// Makes the bin (when missing) and an entry of its own in it.
int MakeEntry(const fs::path& bin, std::string& entry, FileLayer& files) {
    if (int error = files.MakeFolder(bin); error != 0 && error != EEXIST)
        return error;
    // Another tester's delete in the same second of a process of the same number is the one
    // clash: the next name is taken.
    for (int attempt = 0; attempt < 100; ++attempt) {
        entry = NewEntryName();
        const int error = files.MakeFolder(bin / entry);
        if (error != EEXIST)
            return error;
    }
    return EEXIST;
}

std::string RecordText(const DeletedItem& item) {
    std::string text = "<deleted_item>\r\n";
    auto add = [&text](std::string_view tag, std::string value) {
        text += "<";
        text += tag;
        text += ">";
        text += Escaped(std::move(value));
        text += "</";
        text += tag;
        text += ">\r\n";
    };
    add("old_place", item.oldPlace.generic_string());
    add("contents", item.contents);
    add("deleted_by", item.deletedBy);
    add("deleted_at", std::to_string(static_cast<long long>(item.deletedAt)));
    text += "</deleted_item>\r\n";
    return text;
}

std::optional<DeletedItem> ReadRecord(const fs::path& databaseDir, const fs::path& bin,
                                      const std::string& entry) {
    XMLParse record;
    if (record.OpenFastRead(bin / entry / kRecordName) != 0 || record.Load() != 0)
        return std::nullopt;
    auto read = [&record](std::string_view tag) {
        std::string value;
        (void)record.GetTag(tag, value);
        return Unescaped(std::move(value));
    };
    DeletedItem item;
    item.entry = entry;
    item.oldPlace = fs::path(read("<old_place>")).lexically_normal();
    // A place that leads out of the database is no place of an item.
    if (item.oldPlace.empty() || item.oldPlace.is_absolute() || *item.oldPlace.begin() == "..")
        return std::nullopt;
    item.kind = NodeKindOf(databaseDir, databaseDir / item.oldPlace);
    if (item.kind == TV_NONE || IsFixedKind(item.kind))
        return std::nullopt;
    item.contents = read("<contents>");
    item.deletedBy = read("<deleted_by>");
    item.deletedAt = static_cast<std::time_t>(std::atoll(read("<deleted_at>").c_str()));
    std::error_code missing;
    if (!fs::exists(fs::symlink_status(bin / entry / item.oldPlace.filename(), missing)))
        return std::nullopt;
    return item;
}

bool MarkIsEntrys(const fs::path& folder, const std::string& itemName, const std::string& entry) {
    std::string text;
    return ReadRegularFile(folder / BinMarkName(itemName), text) == 0 && text == entry;
}

// The mark in folder that keeps the name of the item of entry; removed only when it is that
// entry's (a later delete of the same name rewrote it for its own).
void RemoveMark(const fs::path& folder, const std::string& itemName, const std::string& entry,
                FileLayer& files) {
    if (MarkIsEntrys(folder, itemName, entry))
        (void)files.Remove(folder / BinMarkName(itemName));
}

// Removes an entry whole: hidden under another name first, so it leaves the list at once.
void RemoveEntry(const fs::path& bin, const std::string& entry, FileLayer& files) {
    const fs::path gone = bin / (std::string(kSaveTempPrefix) + "purge-" + entry);
    if (files.RenameNoReplace(bin / entry, gone) == 0)
        (void)RemoveTree(files, gone);
}

// Whether folder holds an item (or another deleted item's mark) of name, ignoring letter case;
// the item's own mark doesn't count.
bool NameInUse(const fs::path& folder, const DeletedItem& item) {
    const std::string name = item.oldPlace.filename().string();
    const bool isFolder = IsFolderKind(item.kind);
    if (isFolder ? GroupNameTaken(folder, name)
                 : IdentifierTaken(folder, item.Name(), kItemExtension)) {
        if (!HeldByBin(folder, name) || !MarkIsEntrys(folder, name, item.entry))
            return true;
        // Our own mark answered: is there anything else of the name?
        std::vector<FolderEntry> entries;
        ListFolder(folder, entries);
        const std::string description = name + std::string(kGroupExtension);
        return std::ranges::any_of(entries, [&](const FolderEntry& entry) {
            return strcasecmp(entry.name.c_str(), name.c_str()) == 0 ||
                   (isFolder && strcasecmp(entry.name.c_str(), description.c_str()) == 0);
        });
    }
    return false;
}

std::string PlaceText(const fs::path& place) {
    return place.generic_string();
}

// Moves item from the bin into folder, which was found to take it; its marks and entry go.
std::optional<fs::path> MoveBack(const fs::path& databaseDir, const DeletedItem& item,
                                 const fs::path& folder, UserPort& port, FileLayer& files) {
    const fs::path bin = databaseDir / kBinFolder;
    const std::string name = item.oldPlace.filename().string();
    const fs::path target = folder / name;
    const fs::path stored = bin / item.entry / name;
    int error = files.RenameNoReplace(stored, target);
    if (error == 0 && IsFolderKind(item.kind)) {
        const fs::path description = DescriptionPathBeside(stored);
        std::error_code missing;
        if (fs::exists(fs::symlink_status(description, missing))) {
            error = files.RenameNoReplace(description, DescriptionPathBeside(target));
            if (error != 0)
                (void)files.RenameNoReplace(target, stored);
        }
    }
    if (error != 0) {
        port.tell({FillMessage("Unable to restore %s to %s\n%s",
                               {item.Name(), PlaceText(folder.lexically_relative(databaseDir)),
                                std::generic_category().message(error)}),
                   kRestoreCaption, Icon::Warning});
        return std::nullopt;
    }
    RemoveMark(databaseDir / item.oldPlace.parent_path(), name, item.entry, files);
    RemoveMark(folder, name, item.entry, files);
    RemoveEntry(bin, item.entry, files);
    return target;
}

}  // namespace

std::string DeletedItem::Name() const {
    return ItemLabel(oldPlace, kind);
}

std::string DeletionContents(const TreeNode& node) {
    switch (node.kind) {
        case TV_TEST_SUITE_FLD:
        case TV_PRJ_SUITE_FLD: {
            const Counts counts = CountBelow(node.path);
            std::string text = counts.documents == 0 ? std::string("no test cases")
                                                     : Counted(counts.documents, "test case");
            if (counts.folders > 0)
                text += ", " + Counted(counts.folders, "sub-suite");
            return text;
        }
        case TV_PRJ_PRJ_FLD: {
            const Counts cases = CountBelow(node.path / kProjectTestCasesFolder);
            const Counts reports = CountBelow(node.path / kProjectReportsFolder);
            return Counted(cases.documents, "test case") + ", " + Counted(cases.folders, "suite") +
                   ", " + Counted(reports.documents, "report");
        }
        default:
            return {};
    }
}

std::string DescribeDeletion(const TreeNode& node) {
    const std::string contents = DeletionContents(node);
    return contents.empty() ? node.label : node.label + ": " + contents;
}

int MoveToBin(const fs::path& databaseDir, const TreeNode& node, std::string_view deletedBy,
              FileLayer& files) {
    const fs::path bin = databaseDir / kBinFolder;
    const bool folder = IsFolderKind(node.kind);
    const std::string name = node.path.filename().string();
    DeletedItem item{{},
                     node.path.lexically_relative(databaseDir),
                     node.kind,
                     folder ? DeletionContents(node) : std::string(),
                     std::string(deletedBy),
                     std::time(nullptr)};
    std::string entry;
    if (int error = MakeEntry(bin, entry, files))
        return error;
    auto undo = [&](int error) {
        (void)RemoveTree(files, bin / entry);
        return error;
    };
    if (IoResult saved = SaveWholeFile(bin / entry / kRecordName, RecordText(item), files);
        !saved.ok())
        return undo(saved.code);
    // The mark names its entry; a mark left by an earlier delete of the name becomes ours.
    const fs::path mark = node.path.parent_path() / BinMarkName(name);
    if (IoResult marked = SaveWholeFile(mark, entry, files); !marked.ok())
        return undo(marked.code);
    auto unmark = [&](int error) {
        (void)files.Remove(mark);
        return undo(error);
    };
    const std::optional<fs::path> description =
        folder ? DescriptionBeside(node.path) : std::nullopt;
    if (int error = files.RenameNoReplace(node.path, bin / entry / name))
        return unmark(error);
    // The folder goes first: a crash between the two leaves only a description without its
    // folder, which no view shows and the restore finds in its place.
    if (description) {
        if (int error =
                files.RenameNoReplace(*description, DescriptionPathBeside(bin / entry / name))) {
            (void)files.RenameNoReplace(bin / entry / name, node.path);
            return unmark(error);
        }
    }
    return 0;
}

std::vector<DeletedItem> ListBin(const fs::path& databaseDir) {
    const fs::path bin = databaseDir / kBinFolder;
    std::vector<FolderEntry> entries;
    ListFolder(bin, entries);
    std::vector<DeletedItem> items;
    for (const FolderEntry& entry : entries) {
        if (entry.kind != FolderEntry::Kind::Folder || entry.name.starts_with("."))
            continue;
        if (std::optional<DeletedItem> item = ReadRecord(databaseDir, bin, entry.name))
            items.push_back(std::move(*item));
    }
    std::ranges::sort(items, [](const DeletedItem& a, const DeletedItem& b) {
        return a.deletedAt != b.deletedAt ? a.deletedAt > b.deletedAt : a.entry > b.entry;
    });
    return items;
}

std::string DeletedItemCell(const DeletedItem& item, std::size_t column) {
    switch (column) {
        case 0:
            return item.contents.empty() ? item.Name() : item.Name() + " (" + item.contents + ")";
        case 1:
            switch (item.kind) {
                case TV_TEST_SUITE_FLD:
                    return "Test suite";
                case TV_TEST_TEST_DOC:
                    return "Test case";
                case TV_PRJ_PRJ_FLD:
                    return "Project";
                case TV_PRJ_SUITE_FLD:
                    return "Project test suite";
                case TV_PRJ_TEST_DOC:
                    return "Project test case";
                case TV_RPT_DOC:
                    return "Report";
                case TV_CFG_DOC:
                    return "Test configuration";
                case TV_RES_DOC:
                    return "Test resource";
                case TV_TESTER_DOC:
                    return "Tester";
                case TV_FILTER_DOC:
                    return "Filter";
                default:
                    return {};
            }
        case 2:
            return PlaceText(item.oldPlace.parent_path());
        case 3:
            return item.deletedBy;
        case 4: {
            std::tm local{};
            localtime_r(&item.deletedAt, &local);
            char time[16];
            std::snprintf(time, sizeof time, " %02d:%02d:%02d", local.tm_hour, local.tm_min,
                          local.tm_sec);
            return DisplayDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) + time;
        }
        default:
            return {};
    }
}

bool CanRestoreInto(const DeletedItem& item, NodeKind folderKind) {
    return SameFamily(item.kind, folderKind);
}

std::string ChooseRestoreFolderText(const DeletedItem& item) {
    return FillMessage("Choose the folder to restore %s to.", {item.Name()});
}

RestoreResult RestoreDeletedItems(const fs::path& databaseDir,
                                  const std::vector<DeletedItem>& items, UserPort& port,
                                  FileLayer& files) {
    RestoreResult result;
    for (const DeletedItem& item : items) {
        const fs::path folder = databaseDir / item.oldPlace.parent_path();
        std::error_code error;
        if (!fs::is_directory(fs::symlink_status(folder, error)) ||
            !CanRestoreInto(item, NodeKindOf(databaseDir, folder))) {
            port.tell({FillMessage("%s can't go back where it was: its folder %s is gone.\nChoose "
                                   "another folder for it.",
                                   {item.Name(), PlaceText(item.oldPlace.parent_path())}),
                       "Restore", Icon::Information});
            result.needPlace.push_back(item);
            continue;
        }
        if (NameInUse(folder, item)) {
            port.tell({FillMessage("An item named %s is already in %s.\nChoose another folder "
                                   "for the deleted one.",
                                   {item.Name(), PlaceText(item.oldPlace.parent_path())}),
                       "Restore", Icon::Information});
            result.needPlace.push_back(item);
            continue;
        }
        if (std::optional<fs::path> restored = MoveBack(databaseDir, item, folder, port, files))
            result.restored.push_back(*restored);
    }
    return result;
}

std::optional<fs::path> RestoreDeletedItemInto(const fs::path& databaseDir, const DeletedItem& item,
                                               const fs::path& folder, UserPort& port,
                                               FileLayer& files) {
    const fs::path relativeFolder = folder.lexically_relative(databaseDir);
    if (!CanRestoreInto(item, NodeKindOf(databaseDir, folder))) {
        port.tell({FillMessage("%s can't be restored to %s: that folder holds no such item.",
                               {item.Name(), PlaceText(relativeFolder)}),
                   kRestoreCaption, Icon::Warning});
        return std::nullopt;
    }
    if (NameInUse(folder, item)) {
        port.tell({FillMessage("An item named %s is already in %s.",
                               {item.Name(), PlaceText(relativeFolder)}),
                   kRestoreCaption, Icon::Warning});
        return std::nullopt;
    }
    return MoveBack(databaseDir, item, folder, port, files);
}

bool PurgeDeletedItems(const fs::path& databaseDir, const std::vector<DeletedItem>& items,
                       UserPort& port, FileLayer& files) {
    if (items.empty())
        return false;
    const std::string what =
        items.size() == 1 ? items.front().Name() : Counted(items.size(), "item");
    if (!port.ask({FillMessage("Delete %s for good? It can't be restored afterwards.", {what}),
                   "Confirm delete", Icon::Question}))
        return false;
    const fs::path bin = databaseDir / kBinFolder;
    for (const DeletedItem& item : items) {
        RemoveMark(databaseDir / item.oldPlace.parent_path(), item.oldPlace.filename().string(),
                   item.entry, files);
        RemoveEntry(bin, item.entry, files);
    }
    return true;
}

bool EmptyBin(const fs::path& databaseDir, UserPort& port, FileLayer& files) {
    if (!port.ask({"Empty the bin? Every deleted item in it is deleted for good and can't be "
                   "restored afterwards.",
                   "Empty bin", Icon::Question}))
        return false;
    const fs::path bin = databaseDir / kBinFolder;
    for (const DeletedItem& item : ListBin(databaseDir))
        RemoveMark(databaseDir / item.oldPlace.parent_path(), item.oldPlace.filename().string(),
                   item.entry, files);
    // Entries left by a crash (no item, no record) go as well.
    std::vector<FolderEntry> entries;
    ListFolder(bin, entries);
    for (const FolderEntry& entry : entries)
        if (entry.kind == FolderEntry::Kind::Folder && !entry.name.starts_with("."))
            RemoveEntry(bin, entry.name, files);
    return true;
}

Notice HeldByBinNotice(std::string_view name, std::string_view caption) {
    return {FillMessage("%s was deleted from this folder and can still be restored (Edit / "
                        "Deleted Items...). Its name stays taken until it is restored or "
                        "deleted for good.",
                        {name}),
            std::string(caption), Icon::Warning};
}

}  // namespace vantorel
