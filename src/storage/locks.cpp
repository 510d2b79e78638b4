#include "storage/locks.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <random>
#include <sstream>
#include <string_view>
#include <system_error>
#include <thread>

#include "platform/clock_text.h"
#include "platform/debug_log.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"

namespace vantorel {
namespace {

constexpr std::size_t kMinimumLockSize = 258;
constexpr std::size_t kLineMax = 256;

std::size_t LockWriteSize(const std::filesystem::path& directory) {
    struct statvfs info {};
    if (::statvfs(directory.c_str(), &info) != 0 || info.f_bsize == 0)
        return 512;
    std::size_t block = info.f_bsize;
    return (kMinimumLockSize + block - 1) / block * block;
}

constexpr std::string_view kProcessMark = "process ";
// A lock is one block; anything much larger is no lock of ours.
constexpr std::size_t kLockReadMax = 64 * 1024;

// The line of text that begins at from, cut at 256 bytes; from moves past its LF.
std::string LockLine(std::string_view text, std::size_t& from) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    std::string line(text.substr(from, std::min(end - from, kLineMax)));
    from = end < text.size() ? end + 1 : end;
    return line;
}

// The run named after the lock's text: "process <boot> <pid> <start>".
std::optional<ProcessStamp> ReadProcessMark(std::string_view mark) {
    if (!mark.starts_with(kProcessMark))
        return std::nullopt;
    std::istringstream fields{std::string(mark.substr(kProcessMark.size()))};
    ProcessStamp stamp;
    if (!(fields >> stamp.boot >> stamp.pid >> stamp.start))
        return std::nullopt;
    return stamp;
}

// Writes content whole to a hidden file beside target, then moves it to target by a move that
// fails with EEXIST when target exists: target appears with all of content or not at all, and
// a process killed half-way leaves only the hidden file, named as a save's temporary so that
// the sweep of unfinished saves takes it. failedMoving tells whether a failure was the
// move (someone else's file is at target) or the writing before it.
int PlaceNewFile(const std::filesystem::path& target, std::string_view content, FileLayer& files,
                 bool& failedMoving) {
    static std::atomic<unsigned> made{0};
    thread_local std::mt19937 random{std::random_device{}()};
    failedMoving = false;
    std::filesystem::path temp;
    int fd = -1;
    int error = EEXIST;
    // Another computer's process may have the same number as this one.
    for (int attempt = 0; attempt < 8 && error == EEXIST; ++attempt) {
        temp = target.parent_path() /
               (std::string(kSaveTempPrefix) + "lock-" + std::to_string(::getpid()) + "-" +
                std::to_string(made++) + "-" + std::to_string(random() % 1000000));
        error = files.CreateExclusive(temp, fd);
    }
    if (error)
        return error;
    error = files.WriteAll(fd, content);
    if (!error)
        error = files.Sync(fd);
    const int closeError = files.Close(fd);
    if (!error)
        error = closeError;
    if (!error) {
        failedMoving = true;
        error = files.RenameNoReplace(temp, target);
    }
    if (error)
        (void)files.Remove(temp);
    return error;
}

}  // namespace

std::filesystem::path LockPath(const std::filesystem::path& itemPath) {
    return itemPath.string() + ".lck";
}

int createLockFile(const std::filesystem::path& itemPath, const UserIdentity& identity,
                   FileLayer& files) {
    const std::filesystem::path lockPath = LockPath(itemPath);
    DebugLog::Write("createLockFile", "Start\n");
    DebugLog::Write("createLockFile", "%s\n", lockPath.c_str());

    std::string content = identity.computer + "\n" + identity.user;
    std::size_t size = LockWriteSize(lockPath.parent_path());
    if (content.size() > size)
        content.resize(size);
    if (const std::optional<ProcessStamp> self = ThisProcess()) {
        const std::string mark = std::string(1, '\0') + std::string(kProcessMark) + self->boot +
                                 " " + std::to_string(self->pid) + " " +
                                 std::to_string(self->start);
        if (content.size() + mark.size() < size)
            content += mark;
    }
    content.resize(size, '\0');

    // A lock appears with its holder's name or not at all (PlaceNewFile): a lock naming nobody
    // would hold the item for everyone until a forced unlock.
    bool failedMoving = false;
    if (int error = PlaceNewFile(lockPath, content, files, failedMoving)) {
        DebugLog::Write("createLockFile",
                        failedMoving ? "Error2 : %d - ret 1\n" : "Error3 : %d - ret 1\n", error);
        return error;
    }
    DebugLog::Write("createLockFile", "End - ret 0\n");
    return 0;
}

int ReadLockHolder(const std::filesystem::path& itemPath, LockHolder& holder) {
    int fd = -1;
    if (int error = OpenRegularFile(LockPath(itemPath), fd, kLockReadMax))
        return error;
    struct stat info {};
    std::string content;
    int error = ::fstat(fd, &info) == 0 ? 0 : errno;
    if (!error)
        error = ReadOpenFile(fd, content);
    ::close(fd);
    if (error)
        return error;

    const std::string_view all(content);
    const std::string_view text = all.substr(0, all.find('\0'));
    std::size_t from = 0;
    holder.computer = LockLine(text, from);
    holder.user = LockLine(text, from);
    holder.process.reset();
    if (text.size() < all.size()) {
        const std::string_view rest = all.substr(text.size() + 1);
        holder.process = ReadProcessMark(rest.substr(0, rest.find('\0')));
    }
    holder.since = info.st_mtime;
    holder.device = info.st_dev;
    holder.inode = info.st_ino;
    return 0;
}

int RemoveReadLock(const std::filesystem::path& itemPath, const LockHolder& holder,
                   FileLayer& files) {
    const std::filesystem::path lockPath = LockPath(itemPath);
    struct stat info {};
    if (::stat(lockPath.c_str(), &info) != 0)
        return errno;
    if (info.st_dev != holder.device || info.st_ino != holder.inode)
        return ESTALE;
    return files.Remove(lockPath);
}

int deleteLockFile(const std::filesystem::path& itemPath, bool force, const UserIdentity& identity,
                   FileLayer& files) {
    const std::filesystem::path lockPath = LockPath(itemPath);
    DebugLog::Write("deleteLockFile", "Start\n");
    DebugLog::Write("deleteLockFile", "%s\n", lockPath.c_str());
    if (!force) {
        DebugLog::Write("deleteLockFile", "Force false\n");
        LockHolder holder;
        if (int error = ReadLockHolder(itemPath, holder)) {
            DebugLog::Write("deleteLockFile", "File open failed - %d\n", error);
            return error;
        }
        if (strcasecmp(holder.user.c_str(), identity.user.c_str()) != 0) {
            DebugLog::Write("deleteLockFile", "User names don't match\n");
            return 0;
        }
    }
    const int error = files.Remove(lockPath);
    if (error)
        DebugLog::Write("deleteLockFile", "DeleteFile failed - %d\n", error);
    DebugLog::Write("deleteLockFile", "End\n");
    return error;
}

bool IsLocked(const std::filesystem::path& itemPath) {
    std::FILE* lock = std::fopen(LockPath(itemPath).c_str(), "rb");
    if (!lock)
        return false;
    std::fclose(lock);
    return true;
}

std::string GetLockMessage(const std::filesystem::path& itemPath) {
    LockHolder holder;
    if (ReadLockHolder(itemPath, holder) != 0)
        return {};
    const std::string message = "Unable to open file for editing. File was locked by\n \n" +
                                holder.user + " \non " + holder.computer + "\nat " +
                                TwentyFourCharacterTime(holder.since);
    return message.substr(0, 1023);
}

int DeleteAllLocks(const std::filesystem::path& directory) {
    int deleted = 0;
    WalkItems(directory, [&deleted](const std::filesystem::path& folder, const ItemListing& items) {
        for (const std::string& lock : items.locks)
            if (::unlink((folder / lock).c_str()) == 0)
                ++deleted;
        return true;
    });
    return deleted;
}

WriteProbe::WriteProbe(const std::filesystem::path& directory)
    : m_file((directory / "vttXXXXXX").string()), m_made(std::chrono::steady_clock::now()) {
    const int fd = ::mkstemp(m_file.data());
    if (fd < 0) {
        m_error = errno;
        m_file.clear();
        DebugLog::Write("TestWritePermissions", "GetTempFileName failed (dir: %s): %d\n",
                        directory.c_str(), m_error);
        return;
    }
    ::close(fd);
}

WriteProbe::~WriteProbe() {
    if (m_file.empty())
        return;
    // The probe file lives a quarter of a second before it goes, as it always has.
    std::this_thread::sleep_until(m_made + kWriteProbeLife);
    ::unlink(m_file.c_str());
}

int TestWritePermissions(const std::filesystem::path& directory) {
    return WriteProbe(directory).Error();
}

ExclusiveCreate ProbeExclusiveCreate(const std::filesystem::path& directory, FileLayer& files) {
    // Made as a lock is made, so that what is probed is what the locks rest on; named as a
    // save's temporary file, so the sweep takes it if the program dies meanwhile.
    static std::atomic<unsigned> probes{0};
    const std::filesystem::path probe =
        directory / (std::string(kSaveTempPrefix) + "lockprobe-" + std::to_string(::getpid()) +
                     "-" + std::to_string(probes++));
    bool failedMoving = false;
    if (int error = PlaceNewFile(probe, "first", files, failedMoving)) {
        DebugLog::Write("ProbeExclusiveCreate", "create %s failed: %d\n", probe.c_str(), error);
        return ExclusiveCreate::CannotCreate;
    }
    const int secondError = PlaceNewFile(probe, "second", files, failedMoving);
    (void)files.Remove(probe);
    if (secondError == 0) {
        DebugLog::Write("ProbeExclusiveCreate", "a second exclusive create succeeded in %s\n",
                        directory.c_str());
        return ExclusiveCreate::Broken;
    }
    return ExclusiveCreate::Holds;
}

}  // namespace vantorel
