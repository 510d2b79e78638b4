#pragma once
// Every write the storage layer makes goes through this small interface, so that a test can
// make the Nth write, sync, close or rename fail and check that no document was harmed.
// Each call returns 0 or the system's error number.

#include <filesystem>
#include <string_view>

namespace vantorel {

class FileLayer {
public:
    virtual ~FileLayer() = default;
    // Creates a new file for writing; fails with EEXIST when the name is taken.
    virtual int CreateExclusive(const std::filesystem::path& path, int& fd) = 0;
    // Writes all of data, continuing after short writes.
    virtual int WriteAll(int fd, std::string_view data) = 0;
    virtual int Sync(int fd) = 0;
    virtual int Close(int fd) = 0;
    // Renames over whatever to names.
    virtual int Rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    // Renames only when to is free at the moment of the rename (EEXIST otherwise), so an item
    // another user made in the meantime is never replaced. File systems without the kernel's
    // no-replace rename get a hard link and an unlink for files, and a check just before the
    // rename for folders.
    virtual int RenameNoReplace(const std::filesystem::path& from,
                                const std::filesystem::path& to) = 0;
    // Removes a file, or a link without following it.
    virtual int Remove(const std::filesystem::path& path) = 0;
    // Makes a folder; EEXIST when the name is taken.
    virtual int MakeFolder(const std::filesystem::path& path) = 0;
    // Removes an empty folder.
    virtual int RemoveFolder(const std::filesystem::path& path) = 0;
    virtual int SyncDirectory(const std::filesystem::path& directory) = 0;
};

// The real file system.
FileLayer& SystemFiles();
// A database opened read-only because its file server can't keep two people's locks apart:
// every write the real file system is asked for in folder fails with EROFS, as on a read-only
// mount, so each command refuses in the words it uses there. Each call is undone by one
// EndWriteProtection of the same folder; other folders protected meanwhile stay so.
void ProtectFromWrites(const std::filesystem::path& folder);
void EndWriteProtection(const std::filesystem::path& folder);

// Copies the regular file from (at most kDocumentSizeMax bytes) to a new file to, written
// whole and synced; a failed copy removes what it made.
int CopyFile(FileLayer& files, const std::filesystem::path& from, const std::filesystem::path& to);
// Removes path and everything below it, links removed and never followed; the first error
// met, the rest still removed.
int RemoveTree(FileLayer& files, const std::filesystem::path& path);

}  // namespace vantorel
