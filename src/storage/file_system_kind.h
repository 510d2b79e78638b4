#pragma once
// Which kind of file system holds a folder, as far as watching it goes: inotify sees only the
// changes made through this computer's own mount, so on a file server (NFS, SMB, 9p, ...) or a
// FUSE mount another tester's save would never reach the tree, and the folders are listed
// instead.

#include <filesystem>
#include <string>

namespace vantorel {

struct FileSystemKind {
    std::string name;     // "NFS", "SMB2", "FUSE", ... or "local"
    bool shared = false;  // others may change it where this computer's inotify can't see
};

// The kind of the file system that holds folder; a folder that can't be asked counts as local.
FileSystemKind FileSystemKindOf(const std::filesystem::path& folder);

// The same for a file system type number as statfs gives it in f_type.
FileSystemKind FileSystemKindOfType(unsigned long type);

}  // namespace vantorel
