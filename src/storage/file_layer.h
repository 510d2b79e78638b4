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
    virtual int Rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
    virtual int Remove(const std::filesystem::path& path) = 0;
    virtual int SyncDirectory(const std::filesystem::path& directory) = 0;
};

// The real file system.
FileLayer& SystemFiles();

}  // namespace vantorel
