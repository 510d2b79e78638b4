#include "storage/identifiers.h"

#include <algorithm>

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/debug_log.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"

namespace vantorel {
namespace {

struct NumberedId {
    std::string prefix;
    long long number = -1;
    int width = 1;
};

// "TC0042" → prefix "TC", number 42, width 4.
std::optional<NumberedId> SplitNumberedId(std::string_view stem) {
    std::size_t digits = 0;
    while (digits < stem.size() &&
           std::isdigit(static_cast<unsigned char>(stem[stem.size() - 1 - digits])))
        ++digits;
    if (digits == 0 || digits > 9)
        return std::nullopt;
    NumberedId id;
    id.prefix = stem.substr(0, stem.size() - digits);
    id.number = std::stoll(std::string(stem.substr(stem.size() - digits)));
    id.width = static_cast<int>(std::min<std::size_t>(digits, 6));
    return id;
}

}  // namespace

IdentifierProblem CheckIdentifier(std::string_view id) {
    if (id.empty())
        return IdentifierProblem::Empty;
    if (id.size() > kIdentifierMax)
        return IdentifierProblem::TooLong;
    if (id.find_first_of(kForbiddenIdCharacters) != std::string_view::npos)
        return IdentifierProblem::InvalidCharacters;
    return IdentifierProblem::None;
}

bool IsItemName(std::string_view name) {
    return CheckIdentifier(name) == IdentifierProblem::None && name != "." && name != ".." &&
           std::ranges::none_of(name,
                                [](char c) { return std::iscntrl(static_cast<unsigned char>(c)); });
}

bool LiesInside(const std::filesystem::path& folder, const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path outer = std::filesystem::canonical(folder, error);
    if (error)
        return false;
    const std::filesystem::path inner = std::filesystem::canonical(path, error);
    if (error)
        return false;
    const auto [outerEnd, innerAt] = std::ranges::mismatch(outer, inner);
    return outerEnd == outer.end();
}

std::size_t ItemPathLength(const std::filesystem::path& folder, std::string_view id,
                           std::string_view extension) {
    return folder.string().size() + 1 + id.size() + extension.size();
}

bool ItemPathFits(const std::filesystem::path& folder, std::string_view id,
                  std::string_view extension) {
    return ItemPathLength(folder, id, extension) <= kPathMax;
}

std::vector<std::string> ItemIdsIn(const std::filesystem::path& folder) {
    std::vector<std::string> ids;
    ItemListing items;
    ListItems(folder, items);
    for (const FolderEntry& entry : items.documents)
        if (entry.kind == FolderEntry::Kind::File)
            ids.push_back(entry.name.substr(0, entry.name.size() - kItemExtension.size()));
    std::sort(ids.begin(), ids.end());
    return ids;
}

bool IdentifierTaken(const std::filesystem::path& folder, std::string_view id,
                     std::string_view extension) {
    const std::string wanted = std::string(id) + std::string(extension);
    const std::string binned = BinMarkName(wanted);
    std::vector<FolderEntry> entries;
    ListFolder(folder, entries);
    for (const FolderEntry& entry : entries) {
        if (strcasecmp(entry.name.c_str(), wanted.c_str()) == 0)
            return true;
        if (strcasecmp(entry.name.c_str(), binned.c_str()) == 0 &&
            BinHolds(folder, *BinnedItemName(entry.name)))
            return true;
    }
    return false;
}

bool HeldByBin(const std::filesystem::path& folder, std::string_view itemName) {
    const std::string mark = BinMarkName(itemName);
    std::vector<FolderEntry> entries;
    ListFolder(folder, entries);
    return std::ranges::any_of(entries, [&](const FolderEntry& entry) {
        return strcasecmp(entry.name.c_str(), mark.c_str()) == 0 &&
               BinHolds(folder, *BinnedItemName(entry.name));
    });
}

IdReservation::IdReservation(std::string id, std::filesystem::path reservation, FileLayer& files)
    : m_id(std::move(id)), m_reservation(std::move(reservation)), m_files(files) {}

IdReservation::~IdReservation() {
    (void)m_files.Remove(m_reservation);
}

std::unique_ptr<IdReservation> GetIncrementalID(const std::filesystem::path& folder,
                                                std::string_view defaultPrefix, UserPort& port,
                                                FileLayer& files, KnownIds* known) {
    KnownIds once;
    auto [place, firstTime] = (known ? *known : once).m_folders.try_emplace(folder);
    KnownIds::Folder& highest = place->second;
    auto lower = [](std::string name) {
        for (char& c : name)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return name;
    };
    if (firstTime) {
        highest.prefix = defaultPrefix;
        ItemListing items;
        ListItems(folder, items);
        auto consider = [&](const std::string& name, std::string_view extension) {
            highest.taken.insert(lower(name));
            auto numbered =
                SplitNumberedId(std::string_view(name).substr(0, name.size() - extension.size()));
            if (numbered && numbered->number > highest.number)
                highest = {numbered->prefix, numbered->number, numbered->width,
                           std::move(highest.taken)};
        };
        for (const FolderEntry& document : items.documents)
            consider(document.name, kItemExtension);
        for (const std::string& reservation : items.reservations)
            consider(reservation, kReservationExtension);
        // A deleted item keeps its number until it is restored or deleted for good.
        for (const std::string& binned : items.binned)
            if (RoleOf(binned, FolderEntry::Kind::File) == EntryRole::Document &&
                BinHolds(folder, binned))
                consider(binned, kItemExtension);
    }

    // Another user may reserve the same number between our scan and our reservation: the
    // exclusive create tells, and the next number is tried.
    for (int attempt = 0; attempt < 100; ++attempt) {
        char id[128];
        const long long number = highest.number + 1 + attempt;
        std::snprintf(id, sizeof id, "%s%0*lld", highest.prefix.c_str(), highest.width, number);
        const std::string document = std::string(id) + std::string(kItemExtension);
        std::filesystem::path reservation =
            folder / (std::string(id) + std::string(kReservationExtension));
        if (highest.taken.contains(lower(document)))
            continue;
        // A folder listed before may have gained documents since: one look at the name, and
        // the folder is listed again when it has.
        std::error_code missing;
        if (!firstTime && std::filesystem::exists(folder / document, missing)) {
            known->m_folders.erase(place);
            return GetIncrementalID(folder, defaultPrefix, port, files, known);
        }
        int fd = -1;
        const int error = files.CreateExclusive(reservation, fd);
        if (error == 0 && files.Close(fd) == 0) {
            highest.number = number;
            highest.taken.insert(lower(document));
            return std::unique_ptr<IdReservation>(new IdReservation(id, reservation, files));
        }
        if (error == 0)
            (void)files.Remove(reservation);
        if (error == EEXIST)
            continue;
        DebugLog::Write("GetIncrementalID", "Unable to create temporary file %s.\n",
                        reservation.c_str());
        break;
    }
    port.tell(
        {"Unable to create temporary file, please check write permission", "Error", Icon::Warning});
    return nullptr;
}

}  // namespace vantorel
