#pragma once
// Watches a whole database tree for changes made by other programs and users, on one thread of
// its own, and hands each change to a handler with the full path and a change code. On a local
// disk inotify watches the whole tree: folders made after the start are watched as they appear,
// and the root moved or removed is told as the root removed. On a file server or a FUSE mount,
// where inotify sees only this computer's own changes, the folders the user is looking at are
// listed at an interval instead (FolderPoller), and the handler can't tell the two apart.
// Hidden names (a leading dot: the program's unfinished saves and the temporary files of locks
// being taken) are never told, nor anything inside a hidden folder.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "storage/file_system_kind.h"
#include "storage/folder_poller.h"

namespace vantorel {

enum class WatchMethod {
    ByFileSystem,  // inotify on a local disk, polling on a shared one
    Inotify,
    Polling,
};

struct WatchSettings {
    WatchMethod method = WatchMethod::ByFileSystem;
    // How often the shown folders are listed when polling.
    std::chrono::milliseconds pollInterval{2000};
};

// The shortest interval polling accepts: a mistyped setting must not keep a file server busy.
inline constexpr std::chrono::milliseconds kMinimumPollInterval{100};

class ChangeWatcher {
public:
    ChangeWatcher() = default;
    ~ChangeWatcher();
    ChangeWatcher(const ChangeWatcher&) = delete;
    ChangeWatcher& operator=(const ChangeWatcher&) = delete;

    // Stops any running watch, then watches root: by inotify or by polling, as settings say.
    // The handler runs on the watcher's thread. Returns false when the system refuses to watch
    // at all. What is shown starts as the top level only.
    bool Start(const std::filesystem::path& root, ChangeHandler handler,
               WatchSettings settings = {});
    // Ends the watch and waits for the thread; safe to call when nothing runs.
    void Stop();
    bool Running() const { return m_thread.joinable(); }
    // Inotify or Polling while running.
    WatchMethod Method() const { return m_method; }
    // The file system the watch found at its start.
    const FileSystemKind& FileSystem() const { return m_fileSystem; }

    // What the window shows, so that polling lists only that (ignored by inotify, which sees
    // the whole tree). May be called from any thread; a folder newly shown is listed at once.
    void FolderExpanded(const std::filesystem::path& folder);
    void FolderCollapsed(const std::filesystem::path& folder);
    // The folder of the item the right pane shows, or the folder whose list it shows.
    void ShowingFolder(const std::filesystem::path& folder);

    // Polling: lists the shown folders now rather than at the end of the interval, and waits
    // until that listing's changes were handed over, at most patience. False when it didn't
    // end in time or nothing polls.
    bool PollNow(std::chrono::milliseconds patience = std::chrono::seconds(10));

private:
    void RunInotify(std::filesystem::path root, ChangeHandler handler);
    void RunPolling(std::filesystem::path root, ChangeHandler handler,
                    std::chrono::milliseconds interval);
    void ChangeShown(const std::function<void(ShownFolders&)>& change);

    std::thread m_thread;
    WatchMethod m_method = WatchMethod::Inotify;
    FileSystemKind m_fileSystem;
    int m_inotify = -1;
    int m_wake = -1;  // an eventfd that tells the inotify thread to end

    // The polling thread's state.
    std::mutex m_mutex;
    std::condition_variable m_wakePoller;
    std::condition_variable m_polled;
    bool m_stopping = false;
    bool m_pollWanted = false;
    std::uint64_t m_pollsStarted = 0;
    std::uint64_t m_pollsDone = 0;
    ShownFolders m_shown;
};

}  // namespace vantorel
