#include "storage/file_layer.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "storage/file_reading.h"

namespace vantorel {
namespace {

// One entry per shell that protects its database: two windows of one process may be two
// testers, and one closing its database leaves the other's protection in place.
struct WriteProtection {
    std::mutex mutex;
    std::multiset<std::filesystem::path> folders;
};

bool Inside(const std::filesystem::path& normal, const std::filesystem::path& folder) {
    auto part = normal.begin();
    for (const std::filesystem::path& above : folder) {
        if (above.empty())
            continue;  // the trailing separator of a folder's path
        if (part == normal.end() || *part != above)
            return false;
        ++part;
    }
    return true;
}

WriteProtection& Protection() {
    static WriteProtection protection;
    return protection;
}

// True when path lies in the folder that may not be written from here.
bool Protected(const std::filesystem::path& path) {
    WriteProtection& protection = Protection();
    std::lock_guard lock(protection.mutex);
    if (protection.folders.empty())
        return false;
    const std::filesystem::path normal = path.lexically_normal();
    return std::ranges::any_of(protection.folders, [&normal](const std::filesystem::path& folder) {
        return Inside(normal, folder);
    });
}

class PosixFileLayer final : public FileLayer {
public:
    int CreateExclusive(const std::filesystem::path& path, int& fd) override {
        fd = -1;
        if (Protected(path))
            return EROFS;
        fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        return fd < 0 ? errno : 0;
    }

    int WriteAll(int fd, std::string_view data) override {
        while (!data.empty()) {
            ssize_t written = ::write(fd, data.data(), data.size());
            if (written < 0) {
                if (errno == EINTR)
                    continue;
                return errno;
            }
            data.remove_prefix(static_cast<std::size_t>(written));
        }
        return 0;
    }

    int Sync(int fd) override { return ::fsync(fd) == 0 ? 0 : errno; }

    int Close(int fd) override { return ::close(fd) == 0 ? 0 : errno; }

    int Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        if (Protected(from) || Protected(to))
            return EROFS;
        return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    }

    int RenameNoReplace(const std::filesystem::path& from,
                        const std::filesystem::path& to) override {
        if (Protected(from) || Protected(to))
            return EROFS;
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
            return 0;
        if (errno != EINVAL && errno != ENOSYS)
            return errno;
        struct stat info {};
        if (::lstat(from.c_str(), &info) != 0)
            return errno;
        if (!S_ISDIR(info.st_mode)) {
            // A hard link is refused on a taken name as the rename would have been.
            if (::link(from.c_str(), to.c_str()) != 0)
                return errno;
            return ::unlink(from.c_str()) == 0 ? 0 : errno;
        }
        if (::lstat(to.c_str(), &info) == 0)
            return EEXIST;
        return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    }

    int Remove(const std::filesystem::path& path) override {
        if (Protected(path))
            return EROFS;
        return ::unlink(path.c_str()) == 0 ? 0 : errno;
    }

    int MakeFolder(const std::filesystem::path& path) override {
        if (Protected(path))
            return EROFS;
        return ::mkdir(path.c_str(), 0777) == 0 ? 0 : errno;
    }

    int RemoveFolder(const std::filesystem::path& path) override {
        if (Protected(path))
            return EROFS;
        return ::rmdir(path.c_str()) == 0 ? 0 : errno;
    }

    int SyncDirectory(const std::filesystem::path& directory) override {
        int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            return errno;
        int result = ::fsync(fd) == 0 ? 0 : errno;
        ::close(fd);
        return result;
    }
};

}  // namespace

FileLayer& SystemFiles() {
    static PosixFileLayer files;
    return files;
}

void ProtectFromWrites(const std::filesystem::path& folder) {
    WriteProtection& protection = Protection();
    std::lock_guard lock(protection.mutex);
    protection.folders.insert(folder.lexically_normal());
}

void EndWriteProtection(const std::filesystem::path& folder) {
    WriteProtection& protection = Protection();
    std::lock_guard lock(protection.mutex);
    if (auto found = protection.folders.find(folder.lexically_normal());
        found != protection.folders.end())
        protection.folders.erase(found);
}

int CopyFile(FileLayer& files, const std::filesystem::path& from, const std::filesystem::path& to) {
    std::string text;
    if (int error = ReadRegularFile(from, text))
        return error == kNotRegularFile ? EINVAL : error == kFileTooLarge ? EFBIG : error;
    int fd = -1;
    if (int error = files.CreateExclusive(to, fd))
        return error;
    int error = files.WriteAll(fd, text);
    if (error == 0)
        error = files.Sync(fd);
    const int closeError = files.Close(fd);
    if (error == 0)
        error = closeError;
    if (error != 0)
        (void)files.Remove(to);
    return error;
}

int RemoveTree(FileLayer& files, const std::filesystem::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0)
        return errno == ENOENT ? 0 : errno;
    if (!S_ISDIR(info.st_mode))
        return files.Remove(path);
    std::vector<FolderEntry> entries;
    int first = ListFolder(path, entries);
    for (const FolderEntry& entry : entries) {
        const int error = RemoveTree(files, path / entry.name);
        if (first == 0)
            first = error;
    }
    const int error = files.RemoveFolder(path);
    return first != 0 ? first : error;
}

}  // namespace vantorel
