#include "storage/change_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unordered_map>

#include "platform/debug_log.h"

namespace vantorel {
namespace {

constexpr uint32_t kWatchMask =
    IN_CREATE | IN_DELETE | IN_MODIFY | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR | IN_EXCL_UNLINK;

class WatchTable {
public:
    explicit WatchTable(int inotify) : m_inotify(inotify) {}

    // Watches folder and every folder below it.
    void AddTree(const std::filesystem::path& folder, uint32_t extra = 0) {
        Add(folder, extra);
        std::error_code error;
        for (std::filesystem::recursive_directory_iterator
                 walk(folder, std::filesystem::directory_options::skip_permission_denied, error),
             end;
             !error && walk != end; walk.increment(error)) {
            std::error_code typeError;
            if (walk->is_directory(typeError) && !walk->is_symlink(typeError))
                Add(walk->path());
        }
    }

    const std::string* Folder(int wd) const {
        auto found = m_folders.find(wd);
        return found == m_folders.end() ? nullptr : &found->second;
    }

    void Forget(int wd) { m_folders.erase(wd); }

private:
    void Add(const std::filesystem::path& folder, uint32_t extra = 0) {
        int wd = inotify_add_watch(m_inotify, folder.c_str(), kWatchMask | extra);
        if (wd < 0) {
            // Out of watches (a very large tree): the rest of the tree goes unwatched, which
            // costs freshness of the panes, never data.
            DebugLog::Write("ChangeWatcher", "inotify_add_watch %s failed: %d\n", folder.c_str(),
                            errno);
            return;
        }
        m_folders[wd] = folder.string();
    }

    int m_inotify;
    std::unordered_map<int, std::string> m_folders;
};

int CodeOf(uint32_t mask) {
    if (mask & IN_CREATE)
        return kChangeAdded;
    if (mask & IN_DELETE)
        return kChangeRemoved;
    if (mask & IN_MOVED_FROM)
        return kChangeRenamedFrom;
    if (mask & IN_MOVED_TO)
        return kChangeRenamedTo;
    return kChangeModified;
}

// True for a path below root inside or at a hidden name: the program's own unfinished saves,
// copies and locks, which are no item and change nothing anyone is shown.
bool HiddenBelow(const std::filesystem::path& root, const std::filesystem::path& path) {
    for (const std::filesystem::path& part : path.lexically_relative(root)) {
        const std::string name = part.string();
        if (name.starts_with(".") && name != "." && name != "..")
            return true;
    }
    return false;
}

}  // namespace

ChangeWatcher::~ChangeWatcher() {
    Stop();
}

bool ChangeWatcher::Start(const std::filesystem::path& root, ChangeHandler handler,
                          WatchSettings settings) {
    Stop();
    handler = [root, told = std::move(handler)](const std::string& path, int code) {
        if (!HiddenBelow(root, path))
            told(path, code);
    };
    m_fileSystem = FileSystemKindOf(root);
    {
        std::lock_guard lock(m_mutex);
        m_shown.Reset(root);
        m_stopping = false;
        m_pollWanted = false;
    }
    m_method = settings.method;
    if (m_method == WatchMethod::ByFileSystem)
        m_method = m_fileSystem.shared ? WatchMethod::Polling : WatchMethod::Inotify;
    if (m_method == WatchMethod::Polling) {
        const auto interval = std::max(settings.pollInterval, kMinimumPollInterval);
        DebugLog::Write("ChangeWatcher",
                        "%s file system: the shown folders are listed every %d ms\n",
                        m_fileSystem.name.c_str(), static_cast<int>(interval.count()));
        m_thread =
            std::thread(&ChangeWatcher::RunPolling, this, root, std::move(handler), interval);
        return true;
    }
    m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_inotify < 0 || m_wake < 0) {
        DebugLog::Write("ChangeWatcher", "inotify could not be started: %d\n", errno);
        Stop();
        return false;
    }
    m_thread = std::thread(&ChangeWatcher::RunInotify, this, root, std::move(handler));
    return true;
}

void ChangeWatcher::Stop() {
    if (m_thread.joinable()) {
        if (m_wake >= 0) {
            uint64_t one = 1;
            ssize_t written = ::write(m_wake, &one, sizeof one);
            (void)written;
        }
        {
            std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        m_wakePoller.notify_all();
        m_thread.join();
    }
    if (m_inotify >= 0)
        ::close(m_inotify);
    if (m_wake >= 0)
        ::close(m_wake);
    m_inotify = m_wake = -1;
}

void ChangeWatcher::ChangeShown(const std::function<void(ShownFolders&)>& change) {
    {
        std::lock_guard lock(m_mutex);
        change(m_shown);
        m_pollWanted = true;
    }
    m_wakePoller.notify_all();
}

void ChangeWatcher::FolderExpanded(const std::filesystem::path& folder) {
    ChangeShown([&folder](ShownFolders& shown) { shown.Expanded(folder); });
}

void ChangeWatcher::FolderCollapsed(const std::filesystem::path& folder) {
    ChangeShown([&folder](ShownFolders& shown) { shown.Collapsed(folder); });
}

void ChangeWatcher::ShowingFolder(const std::filesystem::path& folder) {
    ChangeShown([&folder](ShownFolders& shown) { shown.Showing(folder); });
}

bool ChangeWatcher::PollNow(std::chrono::milliseconds patience) {
    if (!Running() || m_method != WatchMethod::Polling)
        return false;
    std::unique_lock lock(m_mutex);
    // A listing already under way may have passed the change the caller waits for.
    const std::uint64_t wanted = m_pollsStarted + 1;
    m_pollWanted = true;
    m_wakePoller.notify_all();
    return m_polled.wait_for(lock, patience, [&] { return m_pollsDone >= wanted; });
}

void ChangeWatcher::RunPolling(std::filesystem::path root, ChangeHandler handler,
                               std::chrono::milliseconds interval) {
    FolderPoller poller;
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        m_pollWanted = false;
        ++m_pollsStarted;
        const std::set<std::filesystem::path> shown = m_shown.Folders();
        lock.unlock();
        poller.Poll(root, shown, handler);
        lock.lock();
        ++m_pollsDone;
        m_polled.notify_all();
        m_wakePoller.wait_for(lock, interval, [this] { return m_stopping || m_pollWanted; });
    }
}

void ChangeWatcher::RunInotify(std::filesystem::path root, ChangeHandler handler) {
    WatchTable watches(m_inotify);
    // The root's own removal or move is told as a removal of the root: the database is gone.
    watches.AddTree(root, IN_DELETE_SELF | IN_MOVE_SELF);

    alignas(inotify_event) char buffer[10240];
    pollfd waits[2] = {{m_inotify, POLLIN, 0}, {m_wake, POLLIN, 0}};
    for (;;) {
        if (::poll(waits, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (waits[1].revents)
            return;
        ssize_t length = ::read(m_inotify, buffer, sizeof buffer);
        if (length <= 0) {
            if (length < 0 && (errno == EAGAIN || errno == EINTR))
                continue;
            return;
        }
        for (ssize_t at = 0; at < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) {
                handler(root.string(), kChangeRemoved);
                continue;
            }
            if (event->mask & IN_IGNORED) {
                watches.Forget(event->wd);
                continue;
            }
            const std::string* folder = watches.Folder(event->wd);
            if (!folder || event->len == 0)
                continue;
            std::string path = *folder + "/" + event->name;
            if ((event->mask & IN_ISDIR) && (event->mask & (IN_CREATE | IN_MOVED_TO)))
                watches.AddTree(path);
            handler(path, CodeOf(event->mask));
        }
    }
}

}  // namespace vantorel
