#pragma once
// Reading files that come from a shared disk, and listing its folders. Anything may stand
// under a document's name there: a FIFO or a device would block a read for ever, a huge or
// sparse file would exhaust memory, a symbolic link to a folder would lead a walk round in
// circles or out of the database. Every read of a file from the database and every walk of
// its tree goes through here, so each of those is refused in one place.

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

// The largest document read. The largest legal item holds 16 rich-text fields of 250,000
// bytes and a long history; this is eight times that, so only a file that is no document is
// ever refused.
inline constexpr std::size_t kDocumentSizeMax = 32u * 1024 * 1024;

// The codes of a file that can't be read as a document, beside the system's error numbers
// (which are all far smaller).
inline constexpr int kNotRegularFile = 10001;  // a folder, FIFO, device, socket
inline constexpr int kFileTooLarge = 10002;

// Opens name (relative to the folder open as folderFd, or to the working folder with
// AT_FDCWD) for reading, or reading and writing, without ever blocking: 0 and the descriptor
// when it is a regular file of at most maxSize bytes; otherwise an error number, with
// kNotRegularFile and kFileTooLarge for what is no document. Without followLinks a symbolic
// link is refused too (ELOOP), so a walk never reads out of the tree it walks. The size the
// file had when opened goes to openedSize when given.
int OpenRegularFile(int folderFd, const char* name, int& fd, std::size_t maxSize = kDocumentSizeMax,
                    bool writable = false, bool followLinks = true,
                    std::size_t* openedSize = nullptr);
int OpenRegularFile(const std::filesystem::path& path, int& fd,
                    std::size_t maxSize = kDocumentSizeMax, bool writable = false,
                    std::size_t* openedSize = nullptr);

// Reads the whole of an open regular file, or its first byteLimit bytes, into text (its buffer
// is reused); 0 or errno.
int ReadOpenFile(int fd, std::string& text, std::size_t byteLimit = SIZE_MAX);
// The same for a file just opened whose size is known: at most size bytes, without asking the
// system for the size again.
int ReadOpenFileOfSize(int fd, std::size_t size, std::string& text);

// The walks' read of one document of a folder (name relative to folderFd, a link refused),
// whole into text, in as few system calls as a read can take: the open, one read (a short read
// of a small file is its end; a larger one, which a file server may hand out in pieces, is
// read until the end shows) and the close, with no asking for the size. The buffer is the
// thread's own. 0, an error number, kFileTooLarge beyond maxSize, or kNotRegularFile for what
// a read shows to be no file (a folder; a FIFO or device with nothing to read, as the open
// never blocks).
int ReadDocumentAt(int folderFd, const char* name, std::string& text,
                   std::size_t maxSize = kDocumentSizeMax);

// The walks' read of many documents of one folder, a batch at a time, through io_uring: each
// document's open, read and close are one linked chain of requests, and a batch of chains is
// one system call where the plain read takes three a document. It settles only the common
// case, a regular file in memory and smaller than its chain's buffer, read whole; whatever
// else stands under a name (a larger file, an empty one, one still on the disk, a folder,
// FIFO, device or link, a refusal) it leaves to ReadDocumentAt, which tells those apart. Where
// io_uring is refused (an older kernel, a container's policy), Available is false and every
// document goes the plain way. A worker thread owns one.
class BatchDocumentReader {
public:
    static constexpr std::size_t kBatch = 32;

    BatchDocumentReader();
    ~BatchDocumentReader();
    BatchDocumentReader(const BatchDocumentReader&) = delete;
    BatchDocumentReader& operator=(const BatchDocumentReader&) = delete;

    bool Available() const { return m_ring != nullptr; }
    // Reads the named documents (at most kBatch) of the folder open as folderFd.
    void Read(int folderFd, std::span<const char* const> names);
    // Document i of the last Read, whole, or nothing when ReadDocumentAt must settle it.
    std::optional<std::string_view> Document(std::size_t i) const;

private:
    struct Ring;
    std::unique_ptr<Ring> m_ring;
    std::unique_ptr<char[]> m_buffers;
    std::array<int, kBatch> m_read{};  // bytes read, or a negative error number
};

// A folder a worker holds open while it reads the documents listed in it, so that each is
// opened by its name alone rather than by a walk down the whole path.
class HeldFolder {
public:
    HeldFolder() = default;
    ~HeldFolder() { Close(); }
    HeldFolder(const HeldFolder&) = delete;
    HeldFolder& operator=(const HeldFolder&) = delete;

    // The descriptor of the folder at path, which the caller names by key (the address of its
    // own record of the folder): opened unless it is the one held. -1 when it can't be opened,
    // with the error number in Error. A link is not followed.
    int Descriptor(const void* key, const std::filesystem::path& path);
    int Error() const { return m_error; }

private:
    void Close();
    const void* m_key = nullptr;
    int m_fd = -1;
    int m_error = 0;
};

// The walks' reading of a list of documents (items, each with the record of its folder, which
// has a path, and its name): each run of documents of one folder is read a batch ahead, and
// take(i, read) is called for each in turn, read being the whole document or nothing where
// the plain read must settle it (or no batch could be read). The stop a walk looks at before
// each document stays with take: false from it ends the reading there, and so does Read.
template <class Item, class Take>
bool ReadInBatches(BatchDocumentReader& batch, HeldFolder& folder, std::span<const Item> items,
                   Take&& take) {
    std::array<const char*, BatchDocumentReader::kBatch> names{};
    for (std::size_t first = 0; first < items.size();) {
        const auto* holder = items[first].folder;
        const int folderFd = folder.Descriptor(holder, holder->path);
        std::size_t last = first;
        while (last < items.size() && last - first < names.size() && items[last].folder == holder) {
            names[last - first] = items[last].name.c_str();
            ++last;
        }
        const bool batched = batch.Available() && folderFd >= 0;
        if (batched)
            batch.Read(folderFd, std::span(names.data(), last - first));
        for (std::size_t at = first; at < last; ++at)
            if (!take(at, batched ? batch.Document(at - first) : std::nullopt))
                return false;
        first = last;
    }
    return true;
}

// Opens, reads and closes a regular file of at most maxSize bytes; 0 or the code of
// OpenRegularFile.
int ReadRegularFile(const std::filesystem::path& path, std::string& text,
                    std::size_t maxSize = kDocumentSizeMax);

// "is not a regular file", "is larger than 32 MiB", or the system's text for the error.
std::string ReadFailureText(int code);

// One entry of a folder, typed without following symbolic links: a link, a FIFO, a device or
// a socket is Other, and no walk goes into or reads through one.
struct FolderEntry {
    enum class Kind { File, Folder, Other };
    std::string name;
    Kind kind = Kind::Other;
};

// Where a folder lies on its disk: the same folder reached by two paths (a bind mount) has
// one identity.
struct FolderIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const FolderIdentity&) const = default;
};

// Lists a folder's entries (never "." and "..") in the order the file system gives them. The
// folder is closed before this returns, so a walk that descends after listing holds one open
// folder at a time whatever the depth. 0, or the error number of opening the folder.
int ListFolder(const std::filesystem::path& folder, std::vector<FolderEntry>& entries,
               FolderIdentity* identity = nullptr);

// The folders from a walk's root down to where it stands. A walk enters a folder only when it
// is not already on its way down, so no folder can be visited inside itself, whatever path
// led there.
class WalkTrail {
public:
    enum class Outcome { Entered, Unreadable, AlreadyOnTrail };
    // Lists folder into entries and enters it; nothing is entered when the folder can't be
    // listed or is already on the trail.
    Outcome Enter(const std::filesystem::path& folder, std::vector<FolderEntry>& entries);
    void Leave() { m_trail.pop_back(); }

private:
    std::vector<FolderIdentity> m_trail;
};

}  // namespace vantorel
