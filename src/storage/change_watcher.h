#pragma once
// Watches a whole database tree for changes made by other programs and users, on one thread of
// its own, and hands each change to a handler with the full path and a change code. Folders
// made after the start are watched as they appear; the root moved or removed is told as the
// root removed.

#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace vantorel {

enum ChangeCode {
    kChangeAdded = 1,
    kChangeModified = 2,
    kChangeRemoved = 3,
    kChangeRenamedFrom = 4,
    kChangeRenamedTo = 5,
};

using ChangeHandler = std::function<void(const std::string& path, int code)>;

class ChangeWatcher {
public:
    ChangeWatcher() = default;
    ~ChangeWatcher();
    ChangeWatcher(const ChangeWatcher&) = delete;
    ChangeWatcher& operator=(const ChangeWatcher&) = delete;

    // Stops any running watch, then watches root. The handler runs on the watcher's thread.
    // Returns false when the system refuses to watch at all.
    bool Start(const std::filesystem::path& root, ChangeHandler handler);
    // Ends the watch and waits for the thread; safe to call when nothing runs.
    void Stop();
    bool Running() const { return m_thread.joinable(); }

private:
    void Run(std::filesystem::path root, ChangeHandler handler);

    std::thread m_thread;
    int m_inotify = -1;
    int m_wake = -1;  // an eventfd that tells the thread to end
};

}  // namespace vantorel
