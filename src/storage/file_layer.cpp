#include "storage/file_layer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace vantorel {
namespace {

class PosixFileLayer final : public FileLayer {
public:
    int CreateExclusive(const std::filesystem::path& path, int& fd) override {
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
        return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    }

    int Remove(const std::filesystem::path& path) override {
        return ::unlink(path.c_str()) == 0 ? 0 : errno;
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

}  // namespace vantorel
