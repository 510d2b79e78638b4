#include "storage/item_listing.h"

#include "storage/identifiers.h"

namespace vantorel {
namespace {

bool HasItemStem(std::string_view name, std::string_view extension) {
    return name.size() > extension.size() && name.ends_with(extension);
}

}  // namespace

std::string BinMarkName(std::string_view itemName) {
    std::string mark(kBinMarkPrefix);
    mark += itemName;
    mark += kBinMarkSuffix;
    return mark;
}

std::optional<std::string> BinnedItemName(std::string_view entryName) {
    if (entryName.size() <= kBinMarkPrefix.size() + kBinMarkSuffix.size() ||
        !entryName.starts_with(kBinMarkPrefix) || !entryName.ends_with(kBinMarkSuffix))
        return std::nullopt;
    return std::string(entryName.substr(
        kBinMarkPrefix.size(), entryName.size() - kBinMarkPrefix.size() - kBinMarkSuffix.size()));
}

bool BinHolds(const std::filesystem::path& folder, std::string_view itemName) {
    std::string entry;
    if (ReadRegularFile(folder / BinMarkName(itemName), entry) != 0 || entry.empty() ||
        entry.starts_with(".") || entry.find('/') != std::string::npos)
        return false;
    std::error_code missing;
    for (std::filesystem::path at = folder;; at = at.parent_path()) {
        if (std::filesystem::exists(
                std::filesystem::symlink_status(at / kBinFolder / entry / itemName, missing)))
            return true;
        if (at == at.parent_path() || at.empty())
            return false;
    }
}

EntryRole RoleOf(std::string_view name, FolderEntry::Kind kind) {
    if (name.starts_with("."))
        return EntryRole::Other;
    if (kind == FolderEntry::Kind::Folder)
        return EntryRole::Folder;
    if (HasItemStem(name, kItemExtension))
        return EntryRole::Document;
    if (kind != FolderEntry::Kind::File)
        return EntryRole::Other;
    if (HasItemStem(name, kDescriptionExtension))
        return EntryRole::Description;
    if (HasItemStem(name, kLockExtension))
        return EntryRole::Lock;
    if (HasItemStem(name, kReservationExtension))
        return EntryRole::Reservation;
    return EntryRole::Other;
}

EntryRole RoleOf(const std::filesystem::path& path, bool folder) {
    return RoleOf(path.filename().string(),
                  folder ? FolderEntry::Kind::Folder : FolderEntry::Kind::File);
}

void SortEntries(std::vector<FolderEntry>& entries, ItemListing& listing) {
    for (FolderEntry& entry : entries) {
        switch (RoleOf(entry.name, entry.kind)) {
            case EntryRole::Document:
                listing.documents.push_back(std::move(entry));
                break;
            case EntryRole::Folder:
                listing.folders.push_back(std::move(entry.name));
                break;
            case EntryRole::Description:
                listing.descriptions.push_back(std::move(entry.name));
                break;
            case EntryRole::Lock:
                listing.locks.push_back(std::move(entry.name));
                break;
            case EntryRole::Reservation:
                listing.reservations.push_back(std::move(entry.name));
                break;
            case EntryRole::Other:
                if (std::optional<std::string> binned = BinnedItemName(entry.name))
                    listing.binned.push_back(std::move(*binned));
                break;
        }
    }
}

int ListItems(const std::filesystem::path& folder, ItemListing& listing) {
    std::vector<FolderEntry> entries;
    const int error = ListFolder(folder, entries);
    SortEntries(entries, listing);
    return error;
}

namespace {

bool WalkBelow(const std::filesystem::path& folder, WalkTrail& trail, const ItemVisitor& visit) {
    std::vector<FolderEntry> entries;
    if (trail.Enter(folder, entries) != WalkTrail::Outcome::Entered)
        return true;
    ItemListing listing;
    SortEntries(entries, listing);
    bool goOn = visit(folder, listing);
    for (const std::string& name : listing.folders) {
        if (!goOn)
            break;
        goOn = WalkBelow(folder / name, trail, visit);
    }
    trail.Leave();
    return goOn;
}

}  // namespace

void WalkItems(const std::filesystem::path& root, const ItemVisitor& visit) {
    WalkTrail trail;
    WalkBelow(root, trail, visit);
}

}  // namespace vantorel
