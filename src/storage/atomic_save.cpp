#include "storage/atomic_save.h"

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

IoResult Failed(int code, const char* step, const std::filesystem::path& target) {
    DebugLog::Write("SaveWholeFile", "%s failed for %s: %d\n", step, target.c_str(), code);
    return IoResult::Failure(
        code, std::string("Unable to save ") + target.string() + ": " + std::strerror(code));
}

}  // namespace

IoResult SaveWholeFile(const std::filesystem::path& target, std::string_view content,
                       FileLayer& files) {
    std::filesystem::path folder = target.parent_path();
    if (folder.empty())
        folder = ".";

    std::filesystem::path temp;
    int fd = -1;
    int error = EEXIST;
    for (int attempt = 0; attempt < 8 && error == EEXIST; ++attempt) {
        temp = folder / TempName();
        error = files.CreateExclusive(temp, fd);
    }
    if (error)
        return Failed(error, "create", target);

    // Keep the permissions the old document had.
    struct stat old {};
    if (::stat(target.c_str(), &old) == 0)
        (void)::fchmod(fd, old.st_mode & 07777);

    const char* step = "write";
    error = files.WriteAll(fd, content);
    if (!error) {
        step = "sync";
        error = files.Sync(fd);
    }
    int closeError = files.Close(fd);
    if (!error && closeError) {
        step = "close";
        error = closeError;
    }
    if (!error) {
        step = "rename";
        error = files.Rename(temp, target);
    }
    if (error) {
        files.Remove(temp);
        return Failed(error, step, target);
    }
    // The document is in place; syncing the folder only makes the rename durable sooner.
    if (int syncError = files.SyncDirectory(folder)) {
        DebugLog::Write("SaveWholeFile", "folder sync failed for %s: %d\n", folder.c_str(),
                        syncError);
    }
    return IoResult::Success();
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
