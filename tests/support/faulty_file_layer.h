#pragma once
// The real file system, except that chosen calls fail with a chosen error: the way the tests
// check that a failure at any step of a save harms nothing. It counts every call, so a test can
// also tell that the code under test went through it at all.

#include <fcntl.h>
#include <stdio.h>

#include <cerrno>
#include <vector>

#include "storage/file_layer.h"

namespace vantorel::testing {

class FaultyFileLayer : public FileLayer {
public:
    // Both renames count as kRename.
    enum Step {
        kCreate,
        kWrite,
        kSync,
        kClose,
        kRename,
        kRemove,
        kMakeFolder,
        kRemoveFolder,
        kSyncDirectory,
        kStepCount
    };

    // Makes the nth call (counting from 1) of step fail with error; several failures may be
    // planned on one layer.
    void FailAt(Step step, int nth, int error = EIO) { m_planned.push_back({step, nth, error}); }
    int Calls(Step step) const { return m_calls[step]; }

    int CreateExclusive(const std::filesystem::path& path, int& fd) override {
        if (int error = Fault(kCreate))
            return error;
        return SystemFiles().CreateExclusive(path, fd);
    }
    int WriteAll(int fd, std::string_view data) override {
        if (int error = Fault(kWrite)) {
            // A disk that fills half-way: part of the data reaches the file first.
            (void)SystemFiles().WriteAll(fd, data.substr(0, data.size() / 2));
            return error;
        }
        return SystemFiles().WriteAll(fd, data);
    }
    int Sync(int fd) override {
        int error = Fault(kSync);
        return error ? error : SystemFiles().Sync(fd);
    }
    int Close(int fd) override {
        // The descriptor is released even when the close reports an error, as on Linux.
        int result = SystemFiles().Close(fd);
        int error = Fault(kClose);
        return error ? error : result;
    }
    int Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        int error = Fault(kRename);
        return error ? error : SystemFiles().Rename(from, to);
    }
    int RenameNoReplace(const std::filesystem::path& from,
                        const std::filesystem::path& to) override {
        int error = Fault(kRename);
        return error ? error : SystemFiles().RenameNoReplace(from, to);
    }
    int Remove(const std::filesystem::path& path) override {
        int error = Fault(kRemove);
        return error ? error : SystemFiles().Remove(path);
    }
    int MakeFolder(const std::filesystem::path& path) override {
        int error = Fault(kMakeFolder);
        return error ? error : SystemFiles().MakeFolder(path);
    }
    int RemoveFolder(const std::filesystem::path& path) override {
        int error = Fault(kRemoveFolder);
        return error ? error : SystemFiles().RemoveFolder(path);
    }
    int SyncDirectory(const std::filesystem::path& directory) override {
        int error = Fault(kSyncDirectory);
        return error ? error : SystemFiles().SyncDirectory(directory);
    }

private:
    struct Failure {
        Step step;
        int nth;
        int error;
    };

    // Counts the call; the planned error when this call is to fail, otherwise 0.
    int Fault(Step step) {
        ++m_calls[step];
        for (const Failure& failure : m_planned) {
            if (failure.step == step && failure.nth == m_calls[step])
                return failure.error;
        }
        return 0;
    }

    int m_calls[kStepCount] = {};
    std::vector<Failure> m_planned;
};

// A file server that ignores exclusive creation (an old NFS server, an SMB mount that caches
// creates): a second create of a name that exists succeeds and truncates it, and a move that
// should find its target free replaces what is there.
class NonExclusiveFiles : public FaultyFileLayer {
public:
    int CreateExclusive(const std::filesystem::path& path, int& fd) override {
        fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
        return fd < 0 ? errno : 0;
    }
    int RenameNoReplace(const std::filesystem::path& from,
                        const std::filesystem::path& to) override {
        return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    }
};

}  // namespace vantorel::testing
