#include "storage/file_reading.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "storage/thread_guard.h"

namespace vantorel {

int OpenRegularFile(int folderFd, const char* name, int& fd, std::size_t maxSize, bool writable,
                    bool followLinks, std::size_t* openedSize) {
    CheckOffWindowThread("reads", name);
    // O_NONBLOCK makes opening a FIFO without a writer return at once; the type is checked on
    // the open descriptor, so nothing can be swapped in between the check and the read.
    fd = ::openat(folderFd, name,
                  (writable ? O_RDWR : O_RDONLY) | (followLinks ? 0 : O_NOFOLLOW) | O_CLOEXEC |
                      O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return errno;
    struct stat info {};
    int code = 0;
    if (::fstat(fd, &info) != 0)
        code = errno;
    else if (!S_ISREG(info.st_mode))
        code = kNotRegularFile;
    else if (static_cast<std::uintmax_t>(info.st_size) > maxSize)
        code = kFileTooLarge;
    if (code) {
        ::close(fd);
        fd = -1;
    } else if (openedSize) {
        *openedSize = static_cast<std::size_t>(info.st_size);
    }
    return code;
}

int OpenRegularFile(const std::filesystem::path& path, int& fd, std::size_t maxSize, bool writable,
                    std::size_t* openedSize) {
    return OpenRegularFile(AT_FDCWD, path.c_str(), fd, maxSize, writable, true, openedSize);
}

int ReadOpenFile(int fd, std::string& text, std::size_t byteLimit) {
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        return errno;
    return ReadOpenFileOfSize(
        fd, std::min(static_cast<std::size_t>(std::max<off_t>(info.st_size, 0)), byteLimit), text);
}

int ReadOpenFileOfSize(int fd, std::size_t size, std::string& text) {
    // A file that grows while it is read is read as far as it was long when its size was taken.
    text.resize(size);
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t got = ::read(fd, text.data() + filled, size - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return errno;
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
    }
    text.resize(filled);
    return 0;
}

int ReadDocumentAt(int folderFd, const char* name, std::string& text, std::size_t maxSize) {
    CheckOffWindowThread("reads", name);
    // One byte over the cap, so that a file over it shows. Only the pages documents fill are
    // ever touched.
    thread_local std::unique_ptr<char[]> buffer(new char[kDocumentSizeMax + 1]);
    maxSize = std::min(maxSize, kDocumentSizeMax);
    const int fd =
        ::openat(folderFd, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return errno;
    constexpr std::size_t kWholeInOneRead = 64 * 1024;
    std::size_t filled = 0;
    int code = 0;
    for (;;) {
        const ssize_t got = ::read(fd, buffer.get() + filled, maxSize + 1 - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            code = errno == EISDIR || errno == EAGAIN || errno == EINVAL ? kNotRegularFile : errno;
            break;
        }
        filled += static_cast<std::size_t>(got);
        if (filled > maxSize) {
            code = kFileTooLarge;
            break;
        }
        if (got == 0 || filled < kWholeInOneRead)
            break;
    }
    // Nothing at all: an empty file, or a FIFO without a writer, which only its type tells.
    struct stat info {};
    if (code == 0 && filled == 0 && (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)))
        code = kNotRegularFile;
    ::close(fd);
    if (code == 0)
        text.assign(buffer.get(), filled);
    return code;
}

int HeldFolder::Descriptor(const void* key, const std::filesystem::path& path) {
    if (key != m_key) {
        Close();
        m_key = key;
        m_fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
        m_error = m_fd < 0 ? errno : 0;
    }
    return m_fd;
}

void HeldFolder::Close() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_key = nullptr;
}

int ReadRegularFile(const std::filesystem::path& path, std::string& text, std::size_t maxSize) {
    int fd = -1;
    if (int code = OpenRegularFile(path, fd, maxSize))
        return code;
    const int code = ReadOpenFile(fd, text);
    ::close(fd);
    return code;
}

std::string ReadFailureText(int code) {
    if (code == kNotRegularFile)
        return "is not a regular file";
    if (code == kFileTooLarge)
        return "is larger than " + std::to_string(kDocumentSizeMax / (1024 * 1024)) + " MiB";
    return std::strerror(code);
}

int ListFolder(const std::filesystem::path& folder, std::vector<FolderEntry>& entries,
               FolderIdentity* identity) {
    CheckOffWindowThread("lists", folder);
    entries.clear();
    // O_NOFOLLOW: a walk's own folder is never reached through a link either.
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return errno;
    if (identity) {
        struct stat info {};
        if (::fstat(fd, &info) != 0) {
            const int code = errno;
            ::close(fd);
            return code;
        }
        *identity = {info.st_dev, info.st_ino};
    }
    DIR* directory = ::fdopendir(fd);
    if (!directory) {
        const int code = errno;
        ::close(fd);
        return code;
    }
    while (const dirent* entry = ::readdir(directory)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN) {
            struct stat info {};
            if (::fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            type = S_ISREG(info.st_mode) ? DT_REG : S_ISDIR(info.st_mode) ? DT_DIR : DT_UNKNOWN;
        }
        entries.push_back({std::string(name), type == DT_REG   ? FolderEntry::Kind::File
                                              : type == DT_DIR ? FolderEntry::Kind::Folder
                                                               : FolderEntry::Kind::Other});
    }
    ::closedir(directory);
    return 0;
}

WalkTrail::Outcome WalkTrail::Enter(const std::filesystem::path& folder,
                                    std::vector<FolderEntry>& entries) {
    FolderIdentity identity;
    if (ListFolder(folder, entries, &identity) != 0)
        return Outcome::Unreadable;
    if (std::ranges::find(m_trail, identity) != m_trail.end()) {
        entries.clear();
        return Outcome::AlreadyOnTrail;
    }
    m_trail.push_back(identity);
    return Outcome::Entered;
}

}  // namespace vantorel
