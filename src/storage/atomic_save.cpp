#include "storage/atomic_save.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <thread>

#include "platform/debug_log.h"

namespace vantorel {
namespace {

std::string TempName() {
    static std::atomic<unsigned> counter{0};
    thread_local std::mt19937 random{std::random_device{}()};
    return std::string(kSaveTempPrefix) + std::to_string(::getpid()) + "-" +
           std::to_string(counter++) + "-" + std::to_string(random() % 1000000);
}

}  // namespace

PiecewiseSave::PiecewiseSave(const std::filesystem::path& target, FileLayer& files)
    : m_target(target), m_files(files) {
    std::filesystem::path folder = target.parent_path();
    if (folder.empty())
        folder = ".";
    m_error = EEXIST;
    for (int attempt = 0; attempt < 8 && m_error == EEXIST; ++attempt) {
        m_temp = folder / TempName();
        m_error = files.CreateExclusive(m_temp, m_fd);
    }
    if (m_error) {
        m_fd = -1;
        return;
    }
    m_step = "write";
    // Keep the permissions the old document had.
    struct stat old {};
    if (::stat(target.c_str(), &old) == 0)
        (void)::fchmod(m_fd, old.st_mode & 07777);
}

PiecewiseSave::~PiecewiseSave() {
    if (m_fd >= 0) {
        m_files.Close(m_fd);
        m_files.Remove(m_temp);
    }
}

void PiecewiseSave::Write(std::string_view piece) {
    if (m_error)
        return;
    m_error = m_files.WriteAll(m_fd, piece);
    // A long file (a details report of 100,000 test cases is some 280 MB) is handed to the disk
    // as it is written, so the sync at the end waits for its last pieces only.
    m_written += piece.size();
    if (!m_error && m_written - m_handedToDisk >= kHandToDiskEvery) {
        (void)::sync_file_range(m_fd, static_cast<off_t>(m_handedToDisk),
                                static_cast<off_t>(m_written - m_handedToDisk),
                                SYNC_FILE_RANGE_WRITE);
        m_handedToDisk = m_written;
    }
}

void PiecewiseSave::Fail(int error) {
    if (!m_error)
        m_error = error;
}

IoResult PiecewiseSave::Failed() const {
    DebugLog::Write("SaveWholeFile", "%s failed for %s: %d\n", m_step, m_target.c_str(), m_error);
    return IoResult::Failure(m_error, std::string("Unable to save ") + m_target.string() + ": " +
                                          std::strerror(m_error));
}

IoResult PiecewiseSave::Commit(SavePlacement placement) {
    if (m_fd < 0)
        return Failed();
    if (!m_error) {
        m_step = "sync";
        m_error = m_files.Sync(m_fd);
    }
    const int closeError = m_files.Close(m_fd);
    m_fd = -1;
    if (!m_error && closeError) {
        m_step = "close";
        m_error = closeError;
    }
    if (!m_error) {
        m_step = "rename";
        m_error = placement == SavePlacement::Replace ? m_files.Rename(m_temp, m_target)
                                                      : m_files.RenameNoReplace(m_temp, m_target);
    }
    if (m_error) {
        m_files.Remove(m_temp);
        return Failed();
    }
    // The document is in place; syncing the folder only makes the rename durable sooner.
    const std::filesystem::path folder =
        m_target.has_parent_path() ? m_target.parent_path() : std::filesystem::path(".");
    if (int syncError = m_files.SyncDirectory(folder)) {
        DebugLog::Write("SaveWholeFile", "folder sync failed for %s: %d\n", folder.c_str(),
                        syncError);
    }
    return IoResult::Success();
}

IoResult SaveWholeFile(const std::filesystem::path& target, std::string_view content,
                       FileLayer& files, SavePlacement placement) {
    PiecewiseSave save(target, files);
    save.Write(content);
    return save.Commit(placement);
}

bool RewriteWithRetries(const std::filesystem::path& target, std::string_view content,
                        FileLayer& files) {
    for (int attempt = 0; attempt < 50; ++attempt) {
        if (SaveWholeFile(target, content, files).ok())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
    }
    return false;
}

int SweepStaleSaves(const std::filesystem::path& root, std::chrono::seconds maxAge,
                    std::stop_token stop) {
    namespace fs = std::filesystem;
    int removed = 0;
    std::error_code error;
    const auto cutoff = fs::file_time_type::clock::now() - maxAge;
    fs::recursive_directory_iterator walk(root, fs::directory_options::skip_permission_denied,
                                          error);
    for (; !error && !stop.stop_requested() && walk != fs::recursive_directory_iterator();
         walk.increment(error)) {
        const fs::path& path = walk->path();
        if (!path.filename().string().starts_with(kSaveTempPrefix))
            continue;
        std::error_code statError;
        const bool folder = walk->is_directory(statError);
        if (folder)
            walk.disable_recursion_pending();
        auto written = walk->last_write_time(statError);
        if (statError || written > cutoff)
            continue;
        if (folder ? fs::remove_all(path, statError) > 0 : fs::remove(path, statError))
            ++removed;
    }
    return removed;
}

}  // namespace vantorel
