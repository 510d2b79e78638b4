#include "storage/file_system_kind.h"

#include <sys/vfs.h>

#include <array>

namespace vantorel {
namespace {

struct SharedType {
    unsigned long magic;
    const char* name;
};

// The f_type numbers of the kernel's network and user-space file systems (linux/magic.h and
// the file systems' own headers); virtiofs and sshfs count as FUSE.
constexpr std::array kSharedTypes = {
    SharedType{0x6969, "NFS"},        SharedType{0x517B, "SMB"},
    SharedType{0xFF534D42, "CIFS"},   SharedType{0xFE534D42, "SMB2"},
    SharedType{0x65735546, "FUSE"},   SharedType{0x01021997, "9p"},
    SharedType{0x73757245, "Coda"},   SharedType{0x5346414F, "AFS"},
    SharedType{0x6B414653, "AFS"},    SharedType{0x00C36400, "Ceph"},
    SharedType{0x564C, "NCP"},        SharedType{0x7461636F, "OCFS2"},
    SharedType{0x01161970, "GFS2"},   SharedType{0x47504653, "GPFS"},
    SharedType{0x0BD00BD0, "Lustre"}, SharedType{0x20030528, "OrangeFS"},
};

}  // namespace

FileSystemKind FileSystemKindOfType(unsigned long type) {
    for (const SharedType& shared : kSharedTypes)
        if (shared.magic == type)
            return {shared.name, true};
    return {"local", false};
}

FileSystemKind FileSystemKindOf(const std::filesystem::path& folder) {
    struct statfs info {};
    if (::statfs(folder.c_str(), &info) != 0)
        return {"local", false};
    // f_type is a signed word on some architectures: compare its low 32 bits.
    return FileSystemKindOfType(static_cast<unsigned long>(info.f_type) & 0xFFFFFFFFUL);
}

}  // namespace vantorel
