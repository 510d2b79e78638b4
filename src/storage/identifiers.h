#pragma once
// The rules every item identifier follows, wherever it is typed or made: 1 to 64 characters,
// none of \ / : * ? " < > |, and a full path that stays within 260 characters, since
// databases are shared with systems that hold to that limit. Clashes between identifiers
// ignore letter case for the same reason.

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "storage/file_layer.h"

namespace vantorel {

inline constexpr std::size_t kIdentifierMax = 64;
// Item documents are the files with this extension.
inline constexpr std::string_view kItemExtension = ".vtl";
inline constexpr std::size_t kPathMax = 260;
inline constexpr std::string_view kForbiddenIdCharacters = "\\/:*?\"<>|";

enum class IdentifierProblem { None, Empty, TooLong, InvalidCharacters };

// The first rule the identifier breaks, in the order the editors check them.
IdentifierProblem CheckIdentifier(std::string_view id);

// True when name can name one item or folder inside a folder of the database: an identifier
// that is neither "." nor ".." and holds no control character, so joined to its folder it
// can't lead anywhere else. Names that come from outside (the command line) are held to it.
bool IsItemName(std::string_view name);
// The rule of IsItemName in the user's words, for the messages that refuse such a name.
inline constexpr std::string_view kItemNameRule =
    "A name is one folder or item of the database: 1 to 64 characters, none of "
    "\\ / : * ? \" < > |, and not \".\" or \"..\"";

// True when path, with every link resolved, is folder or lies below it; false when either
// can't be resolved.
bool LiesInside(const std::filesystem::path& folder, const std::filesystem::path& path);

// The length of folder/id+extension as the limit counts it.
std::size_t ItemPathLength(const std::filesystem::path& folder, std::string_view id,
                           std::string_view extension);
bool ItemPathFits(const std::filesystem::path& folder, std::string_view id,
                  std::string_view extension);

// True when folder holds an item document named id (".vtl"), or the bin holds one deleted
// from folder under that name, ignoring letter case.
bool IdentifierTaken(const std::filesystem::path& folder, std::string_view id,
                     std::string_view extension = ".vtl");
// True when the bin holds an item deleted from folder under itemName ("TC001.vtl", a folder's
// name), ignoring letter case: the name is kept for the item to come back to.
bool HeldByBin(const std::filesystem::path& folder, std::string_view itemName);

// The identifiers of the item documents (".vtl") in folder, in name order.
std::vector<std::string> ItemIdsIn(const std::filesystem::path& folder);

// What a run of many new items (an import) knows of its folders' identifiers: each folder is
// listed once, then continued from the identifier last handed out in it, however many items
// go in. An item another user makes meanwhile is still never taken over: each reservation is
// exclusive, and the document's name is looked for before it is handed out.
class KnownIds {
private:
    friend std::unique_ptr<class IdReservation> GetIncrementalID(const std::filesystem::path&,
                                                                 std::string_view, UserPort&,
                                                                 FileLayer&, KnownIds*);
    struct Folder {
        std::string prefix;
        long long number = 0;
        int width = 3;
        std::set<std::string> taken;  // the names listed, in lower case
    };
    std::map<std::filesystem::path, Folder> m_folders;
};

// An automatic identifier, reserved by an "<id>.tmp" file in its folder until the item is
// saved or abandoned, so that two users making items at once never get the same one.
class IdReservation {
public:
    ~IdReservation();
    IdReservation(const IdReservation&) = delete;
    IdReservation& operator=(const IdReservation&) = delete;

    const std::string& Id() const { return m_id; }

private:
    friend std::unique_ptr<IdReservation> GetIncrementalID(const std::filesystem::path&,
                                                           std::string_view, UserPort&, FileLayer&,
                                                           KnownIds*);
    IdReservation(std::string id, std::filesystem::path reservation, FileLayer& files);

    std::string m_id;
    std::filesystem::path m_reservation;
    FileLayer& m_files;
};

// The next free automatic identifier in folder. The identifiers that end in digits (and the
// reservations of others) are scanned; the next one continues the highest number, with its
// prefix and zero-padded to the width it has (from "%s%d" up to "%s%06d"). A folder without
// numbered identifiers starts at defaultPrefix followed by "001". Null, after telling the
// user, when the reservation can't be written. With known, the folder is listed only the
// first time.
std::unique_ptr<IdReservation> GetIncrementalID(const std::filesystem::path& folder,
                                                std::string_view defaultPrefix, UserPort& port,
                                                FileLayer& files = SystemFiles(),
                                                KnownIds* known = nullptr);

}  // namespace vantorel
