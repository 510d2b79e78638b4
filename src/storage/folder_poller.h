#pragma once
// Change detection by listing: where inotify can't see what other computers change (a file
// server, a FUSE mount), the folders the user is looking at are listed at an interval and
// compared by name, size, modification time and inode with the listing before. Differences
// become the same (path, code) changes inotify gives. Only folders are listed, no document is
// read, and a folder no longer shown is not listed at all.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vantorel {

enum ChangeCode {
    kChangeAdded = 1,
    kChangeModified = 2,
    kChangeRemoved = 3,
    kChangeRenamedFrom = 4,
    kChangeRenamedTo = 5,
};

// Told the full path of what changed and its ChangeCode.
using ChangeHandler = std::function<void(const std::string& path, int code)>;

// What the user is looking at, as the window tells it: the database's top level, the folders
// expanded in the tree, and the folder whose item or list the right pane shows. A folder inside
// a collapsed one keeps its expansion (the tree shows it again when its parent opens) but is
// not on screen meanwhile.
class ShownFolders {
public:
    void Reset(const std::filesystem::path& root);
    void Expanded(const std::filesystem::path& folder);
    void Collapsed(const std::filesystem::path& folder);
    // The folder of the shown item, or the shown folder itself for a list; empty for nothing.
    void Showing(const std::filesystem::path& folder);
    // The root, every expanded folder whose folders above it are all expanded, and the shown
    // folder.
    std::set<std::filesystem::path> Folders() const;

private:
    std::filesystem::path m_root;
    std::set<std::filesystem::path> m_expanded;
    std::filesystem::path m_showing;
};

class FolderPoller {
public:
    // recentGrace: see Poll.
    explicit FolderPoller(std::chrono::milliseconds recentGrace = std::chrono::seconds(2))
        : m_recentGrace(recentGrace) {}

    // Lists every folder of shown and hands each difference from its last listing to handler:
    // an entry that appeared, one whose size, time or inode changed (a save replaces the
    // document by rename, so its inode changes) and one that went. A folder listed for the
    // first time is remembered, and only what changed within recentGrace before the listing
    // is told, as added: the window read the folder a moment before it said it shows it, and
    // a change in between would otherwise never reach it. One shown again after a while is
    // compared with what was seen when it was last shown, so changes made meanwhile are told
    // now. Folders not in shown are not listed. When root itself can no longer be listed, the
    // root is told as removed.
    void Poll(const std::filesystem::path& root, const std::set<std::filesystem::path>& shown,
              const ChangeHandler& handler);

private:
    struct Stamp {
        std::uint64_t size = 0;
        std::int64_t modified = 0;  // nanoseconds
        std::uint64_t inode = 0;
        bool folder = false;
        std::int64_t changed = 0;  // the status change time, nanoseconds; not compared
        bool operator==(const Stamp& other) const {
            return size == other.size && modified == other.modified && inode == other.inode &&
                   folder == other.folder;
        }
    };
    struct Listing {
        bool listed = false;  // false: the folder could not be opened
        std::vector<std::pair<std::string, Stamp>> entries;  // by name
    };
    static Listing List(const std::filesystem::path& folder);
    static void Compare(const std::filesystem::path& folder, const Listing& before,
                        const Listing& now, const ChangeHandler& handler);

    std::chrono::milliseconds m_recentGrace;
    std::map<std::filesystem::path, Listing> m_listings;
    bool m_rootGone = false;
};

}  // namespace vantorel
