#include "storage/file_reading.h"

#include <dirent.h>
#include <fcntl.h>
#include <liburing.h>
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

namespace {
// A chain's buffer: a read that fills it may have more to come, and goes the plain way.
constexpr std::size_t kChainBuffer = 64 * 1024;
enum ChainStep : std::uint64_t { kOpenStep, kReadStep, kCloseStep };
}  // namespace

struct BatchDocumentReader::Ring {
    io_uring ring{};
};

BatchDocumentReader::BatchDocumentReader() {
    auto ring = std::make_unique<Ring>();
    if (io_uring_queue_init(kBatch * 3, &ring->ring, 0) < 0)
        return;
    // The descriptors live in the ring's own table, one slot a chain, never in the process's.
    if (io_uring_register_files_sparse(&ring->ring, kBatch) < 0) {
        io_uring_queue_exit(&ring->ring);
        return;
    }
    m_ring = std::move(ring);
    m_buffers.reset(new char[kBatch * kChainBuffer]);
}

BatchDocumentReader::~BatchDocumentReader() {
    if (m_ring)
        io_uring_queue_exit(&m_ring->ring);
}

void BatchDocumentReader::Read(int folderFd, std::span<const char* const> names) {
    m_read.fill(-1);
    if (!m_ring || names.empty())
        return;
    CheckOffWindowThread("reads", names.front());
    io_uring* ring = &m_ring->ring;
    const std::size_t count = std::min(names.size(), kBatch);
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned slot = static_cast<unsigned>(i);
        // Hard links: a read shorter than its buffer, the usual case, would cancel the close
        // of a plain link. Neither the open nor the read ever waits: a FIFO or device, or a
        // page not yet in memory, goes the plain way. (A descriptor of the ring's own table
        // is never handed to a program the process starts: it takes no O_CLOEXEC.)
        io_uring_sqe* open = io_uring_get_sqe(ring);
        io_uring_prep_openat_direct(open, folderFd, names[i],
                                    O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0, slot);
        open->flags |= IOSQE_IO_HARDLINK;
        io_uring_sqe_set_data64(open, kOpenStep);
        io_uring_sqe* read = io_uring_get_sqe(ring);
        io_uring_prep_read(read, static_cast<int>(slot), m_buffers.get() + i * kChainBuffer,
                           kChainBuffer, 0);
        read->flags |= IOSQE_FIXED_FILE | IOSQE_IO_HARDLINK;
        read->rw_flags = RWF_NOWAIT;
        io_uring_sqe_set_data64(read, kReadStep | (std::uint64_t{slot} << 8));
        io_uring_sqe* close = io_uring_get_sqe(ring);
        io_uring_prep_close_direct(close, slot);
        io_uring_sqe_set_data64(close, kCloseStep);
    }
    io_uring_submit(ring);
    for (std::size_t left = count * 3; left > 0; --left) {
        io_uring_cqe* done = nullptr;
        int waited;
        while ((waited = io_uring_wait_cqe(ring, &done)) == -EINTR) {
        }
        if (waited < 0) {
            // The ring failed: what it read can't be trusted, and it is used no more.
            m_read.fill(-1);
            io_uring_queue_exit(ring);
            m_ring.reset();
            return;
        }
        const std::uint64_t data = io_uring_cqe_get_data64(done);
        if ((data & 0xff) == kReadStep)
            m_read[data >> 8] = done->res;
        io_uring_cqe_seen(ring, done);
    }
}

std::optional<std::string_view> BatchDocumentReader::Document(std::size_t i) const {
    if (i >= kBatch || m_read[i] <= 0 || static_cast<std::size_t>(m_read[i]) >= kChainBuffer)
        return std::nullopt;
    return std::string_view(m_buffers.get() + i * kChainBuffer,
                            static_cast<std::size_t>(m_read[i]));
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
