#include "storage/folder_poller.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>

namespace vantorel {
namespace fs = std::filesystem;

void ShownFolders::Reset(const fs::path& root) {
    m_root = root;
    m_expanded.clear();
    m_showing.clear();
}

void ShownFolders::Expanded(const fs::path& folder) {
    m_expanded.insert(folder);
}

void ShownFolders::Collapsed(const fs::path& folder) {
    m_expanded.erase(folder);
}

void ShownFolders::Showing(const fs::path& folder) {
    m_showing = folder;
}

std::set<fs::path> ShownFolders::Folders() const {
    std::set<fs::path> shown;
    if (m_root.empty())
        return shown;
    shown.insert(m_root);
    for (const fs::path& folder : m_expanded) {
        // The top level is always on screen; below it, every folder up to the top must be open.
        bool visible = true;
        for (fs::path above = folder.parent_path(); visible && above != m_root;
             above = above.parent_path()) {
            if (above == above.parent_path()) {
                visible = false;  // not inside the database at all
                break;
            }
            visible = m_expanded.count(above) > 0;
        }
        if (visible)
            shown.insert(folder);
    }
    if (!m_showing.empty())
        shown.insert(m_showing);
    return shown;
}

FolderPoller::Listing FolderPoller::List(const fs::path& folder) {
    Listing listing;
    DIR* directory = ::opendir(folder.c_str());
    if (!directory)
        return listing;
    listing.listed = true;
    const int fd = ::dirfd(directory);
    while (const dirent* entry = ::readdir(directory)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        struct stat info {};
        // An entry gone between the listing and its stat is simply not there any more.
        if (::fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        Stamp stamp;
        stamp.folder = S_ISDIR(info.st_mode);
        stamp.inode = info.st_ino;
        stamp.changed =
            static_cast<std::int64_t>(info.st_ctim.tv_sec) * 1'000'000'000 + info.st_ctim.tv_nsec;
        // A folder's size and time follow its content, which is its own listing's business.
        if (!stamp.folder) {
            stamp.size = static_cast<std::uint64_t>(info.st_size);
            stamp.modified = static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 +
                             info.st_mtim.tv_nsec;
        }
        listing.entries.emplace_back(entry->d_name, stamp);
    }
    ::closedir(directory);
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    return listing;
}

void FolderPoller::Compare(const fs::path& folder, const Listing& before, const Listing& now,
                           const ChangeHandler& handler) {
    const std::string prefix = folder.string() + "/";
    auto old = before.entries.begin();
    auto fresh = now.entries.begin();
    while (old != before.entries.end() || fresh != now.entries.end()) {
        if (fresh == now.entries.end() ||
            (old != before.entries.end() && old->first < fresh->first)) {
            handler(prefix + old->first, kChangeRemoved);
            ++old;
        } else if (old == before.entries.end() || fresh->first < old->first) {
            handler(prefix + fresh->first, kChangeAdded);
            ++fresh;
        } else {
            if (!(old->second == fresh->second))
                handler(prefix + fresh->first, kChangeModified);
            ++old;
            ++fresh;
        }
    }
}

void FolderPoller::Poll(const fs::path& root, const std::set<fs::path>& shown,
                        const ChangeHandler& handler) {
    for (const fs::path& folder : shown) {
        Listing now = List(folder);
        if (folder == root) {
            // The database moved or removed: told once, as inotify tells it.
            if (!now.listed) {
                if (!m_rootGone)
                    handler(root.string(), kChangeRemoved);
                m_rootGone = true;
                continue;
            }
            m_rootGone = false;
        }
        auto known = m_listings.find(folder);
        if (known == m_listings.end()) {
            const std::int64_t recent =
                std::chrono::duration_cast<std::chrono::nanoseconds>(
                    (std::chrono::system_clock::now() - m_recentGrace).time_since_epoch())
                    .count();
            for (const auto& [name, stamp] : now.entries)
                if (stamp.changed >= recent)
                    handler((folder / name).string(), kChangeAdded);
            m_listings.emplace(folder, std::move(now));
            continue;
        }
        Compare(folder, known->second, now, handler);
        known->second = std::move(now);
    }
}

}  // namespace vantorel
