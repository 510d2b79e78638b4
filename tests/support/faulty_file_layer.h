#pragma once
// The real file system, except that the Nth call of one kind fails with a chosen error: the
// way the tests check that a failure at any step of a save harms nothing.

#include <cerrno>

#include "storage/file_layer.h"

namespace vantorel::testing {

class FaultyFileLayer : public FileLayer {
public:
    enum Step { kCreate, kWrite, kSync, kClose, kRename, kStepCount };

    void FailAt(Step step, int nth, int error = EIO) {
        m_failStep = step;
        m_failAt = nth;
        m_error = error;
        for (int& count : m_calls)
            count = 0;
    }
    int Calls(Step step) const { return m_calls[step]; }

    int CreateExclusive(const std::filesystem::path& path, int& fd) override {
        if (Fails(kCreate))
            return m_error;
        return SystemFiles().CreateExclusive(path, fd);
    }
    int WriteAll(int fd, std::string_view data) override {
        if (Fails(kWrite)) {
            // A disk that fills half-way: part of the data reaches the file first.
            (void)SystemFiles().WriteAll(fd, data.substr(0, data.size() / 2));
            return m_error;
        }
        return SystemFiles().WriteAll(fd, data);
    }
    int Sync(int fd) override { return Fails(kSync) ? m_error : SystemFiles().Sync(fd); }
    int Close(int fd) override {
        // The descriptor is released even when the close reports an error, as on Linux.
        int result = SystemFiles().Close(fd);
        return Fails(kClose) ? m_error : result;
    }
    int Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        return Fails(kRename) ? m_error : SystemFiles().Rename(from, to);
    }
    int Remove(const std::filesystem::path& path) override { return SystemFiles().Remove(path); }
    int SyncDirectory(const std::filesystem::path& directory) override {
        return SystemFiles().SyncDirectory(directory);
    }

private:
    bool Fails(Step step) { return ++m_calls[step] == m_failAt && step == m_failStep; }

    int m_calls[kStepCount] = {};
    Step m_failStep = kCreate;
    int m_failAt = 0;
    int m_error = EIO;
};

}  // namespace vantorel::testing
