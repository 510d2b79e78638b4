#pragma once
// A folder shown a second time through a FUSE mount (bindfs), as a file server would show it:
// what is done through the folder behind it reaches the mount without an inotify event.

#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vantorel::testing {

// Why no FUSE mount can be made here; empty when one can be tried.
inline std::string FuseMissing() {
    if (::access("/dev/fuse", R_OK | W_OK) != 0)
        return "no /dev/fuse here: FUSE mounts can't be made";
    if (std::system("command -v bindfs >/dev/null 2>&1") != 0)
        return "bindfs is not installed (scripts/install-deps --test)";
    return {};
}

// The mount of folder at mount; unmounted when it goes.
class FuseMount {
public:
    FuseMount(const std::filesystem::path& folder, const std::filesystem::path& mount)
        : m_mount(mount) {
        std::filesystem::create_directories(mount);
        const std::string command =
            "bindfs --no-allow-other '" + folder.string() + "' '" + mount.string() + "' 2>&1";
        m_mounted = std::system(command.c_str()) == 0;
    }
    ~FuseMount() {
        if (m_mounted && std::system(("fusermount -u '" + m_mount.string() + "'").c_str()) != 0)
            ::umount2(m_mount.c_str(), MNT_DETACH);
    }
    FuseMount(const FuseMount&) = delete;
    FuseMount& operator=(const FuseMount&) = delete;
    bool Mounted() const { return m_mounted; }

private:
    std::filesystem::path m_mount;
    bool m_mounted = false;
};

}  // namespace vantorel::testing
