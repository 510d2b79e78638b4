#pragma once
// Lock files: while someone edits an item, "<document>.lck" beside it says who. Creating it
// exclusively is the only exclusion between users of a shared database; the lock is advisory
// and honoured by this program only. A lock outlives a crash until its owner or a forced
// unlock removes it.

#include <sys/types.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/identity.h"
#include "storage/file_layer.h"

namespace vantorel {

// "%s.lck": the document's full name, extension included, followed by ".lck".
std::filesystem::path LockPath(const std::filesystem::path& itemPath);

// Creates the lock holding "computer\nuser", padded with NULs to at least 258 bytes rounded up
// to the file system's block size. After the first NUL, where readers of the two lines stop,
// the lock also names the run of the program that made it (ThisProcess), so that a lock its
// maker left behind when it ended can be told from a held one. Returns 0, or the system's
// error number: EEXIST when the item is locked already, whoever made the lock. Does not wait for a
// held lock to go away. The text is written and synced in a hidden temporary file beside the lock,
// which is then moved into place by a move that fails when the lock exists
// (FileLayer::RenameNoReplace), so no one ever sees a lock without its holder's name, even after a
// crash. Every step goes through files.
int createLockFile(const std::filesystem::path& itemPath,
                   const UserIdentity& identity = CurrentIdentity(),
                   FileLayer& files = SystemFiles());

// Removes the lock. Without force, only a lock whose user line equals identity.user, ignoring
// letter case, is removed: an editor that closes removes only its own lock. Returns 0 when the
// lock was removed or left to the other user it names; otherwise the system's error number:
// ENOENT when there was no lock, else why it could not be read or removed.
int deleteLockFile(const std::filesystem::path& itemPath, bool force,
                   const UserIdentity& identity = CurrentIdentity(),
                   FileLayer& files = SystemFiles());

// Who holds a lock, as its file says, and which file that was.
struct LockHolder {
    std::string computer;
    std::string user;
    // The run of the program that made the lock; none for a lock made by another program.
    std::optional<ProcessStamp> process;
    std::time_t since = 0;  // when the lock was taken: its modification time
    dev_t device = 0;
    ino_t inode = 0;
};

// Reads the lock of the item into holder: 0, or the system's error number (ENOENT when the
// item is not locked).
int ReadLockHolder(const std::filesystem::path& itemPath, LockHolder& holder);

// Removes the lock that was read as holder, unless another lock has taken its place since:
// 0, or the system's error number (ESTALE when the lock there now is another).
int RemoveReadLock(const std::filesystem::path& itemPath, const LockHolder& holder,
                   FileLayer& files = SystemFiles());

// True when the lock exists and can be opened for reading.
bool IsLocked(const std::filesystem::path& itemPath);

// The message shown when an item can't be edited because of its lock; empty when the lock
// can't be read.
std::string GetLockMessage(const std::filesystem::path& itemPath);

// Deletes every lock file below directory. Returns how many were deleted.
int DeleteAllLocks(const std::filesystem::path& directory);

// 0 when a file can be created in directory, otherwise the system's error number. The probe
// file lives a quarter of a second before it is removed.
int TestWritePermissions(const std::filesystem::path& directory);

// Whether the file system keeps two creations of one name apart, which is all the locks rest
// on: a file server that lets a second exclusive create succeed (an NFS version 2 server, an
// SMB share mounted with caching that ignores it) would let two users edit one item. A probe
// file is made twice exactly as a lock is made, and the second must fail; the probe is removed
// again.
enum class ExclusiveCreate {
    Holds,
    Broken,        // the second create succeeded too
    CannotCreate,  // no file can be made here at all (a read-only folder)
};
ExclusiveCreate ProbeExclusiveCreate(const std::filesystem::path& directory,
                                     FileLayer& files = SystemFiles());

// How long a write probe's file stays before it is removed.
inline constexpr std::chrono::milliseconds kWriteProbeLife{250};

// The same probe for a caller with more to do: the answer is known at once, and the probe
// file is removed when the probe ends, no sooner than kWriteProbeLife after it was made.
class WriteProbe {
public:
    explicit WriteProbe(const std::filesystem::path& directory);
    ~WriteProbe();
    WriteProbe(const WriteProbe&) = delete;
    WriteProbe& operator=(const WriteProbe&) = delete;

    // 0, or the system's error number when no file could be made.
    int Error() const { return m_error; }

private:
    int m_error = 0;
    std::string m_file;
    std::chrono::steady_clock::time_point m_made;
};

}  // namespace vantorel
