#include "storage/edit_lock.h"

#include <strings.h>
#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <set>
#include <system_error>
#include <utility>

#include "platform/clock_text.h"
#include "storage/locks.h"

namespace vantorel {
namespace {

constexpr char kUnlockAllAdvice[] =
    "use \"Unlock all files...\" on the database's folders when no one else is editing.";

// The locks this run holds through an EditLock, by file. A lock this run made that is not
// among them was left behind by a release that failed, and is ours to take over. Locks are
// taken and released, and noted here, under the one mutex, so that no thread of this run sees
// another's lock between its making and its noting.
struct HeldLocks {
    using FileKey = std::pair<dev_t, ino_t>;
    std::mutex mutex;
    std::set<FileKey> files;
};

HeldLocks& Held() {
    static HeldLocks held;
    return held;
}

// A lock of this user on this computer whose run has ended, or that this run made and no
// longer holds. A lock that doesn't say which run made it is never taken for one: another
// program may hold it.
bool LeftByOwner(const LockHolder& holder, const UserIdentity& identity) {
    if (!holder.process || holder.computer != identity.computer ||
        strcasecmp(holder.user.c_str(), identity.user.c_str()) != 0)
        return false;
    if (holder.process == ThisProcess())
        return !Held().files.contains({holder.device, holder.inode});
    return HasEnded(*holder.process);
}

// Replaces a lock the user left behind, read into left, with a new one: 0 when taken over,
// EEXIST when the lock is someone's to keep, or the error that stopped the takeover.
int TakeOverLeftLock(const std::filesystem::path& itemPath, const UserIdentity& identity,
                     FileLayer& files, LockHolder& left) {
    if (ReadLockHolder(itemPath, left) != 0 || !LeftByOwner(left, identity))
        return EEXIST;
    const int removed = RemoveReadLock(itemPath, left, files);
    if (removed == ESTALE)
        return EEXIST;  // someone took the item meanwhile
    if (removed != 0 && removed != ENOENT)
        return removed;
    return createLockFile(itemPath, identity, files);
}

// What the user is told when the lock of itemPath could not be removed for error.
Notice LockLeftNotice(const std::filesystem::path& itemPath, int error) {
    const std::string name = itemPath.filename().string();
    const std::filesystem::path lockPath = LockPath(itemPath);
    if (error == ENOENT)
        return {"The lock of " + name + " could not be removed: it is no longer at\n" +
                    lockPath.string() +
                    "\nThe item or its folder was moved, renamed or removed while it was open. "
                    "If it was moved, its lock went with it and still names you: delete \"" +
                    lockPath.filename().string() + "\" beside the item, or " + kUnlockAllAdvice,
                "Lock left behind", Icon::Warning};
    return {"The lock of " + name + " could not be removed:\n" + lockPath.string() + "\n" +
                std::generic_category().message(error) +
                "\nOther testers will see the item as locked by you until that file is "
                "deleted: delete it once the folder can be written again, or " +
                kUnlockAllAdvice,
            "Lock left behind", Icon::Warning};
}

std::optional<HeldLocks::FileKey> KeyOf(const std::filesystem::path& itemPath) {
    struct stat info {};
    if (::stat(LockPath(itemPath).c_str(), &info) != 0)
        return std::nullopt;
    return HeldLocks::FileKey{info.st_dev, info.st_ino};
}

}  // namespace

// Made under Held().mutex, just after the lock.
EditLock::EditLock(std::filesystem::path itemPath, UserIdentity identity, UserPort& port,
                   FileLayer& files)
    : m_itemPath(std::move(itemPath)),
      m_identity(std::move(identity)),
      m_port(port),
      m_files(files),
      m_lockFile(KeyOf(m_itemPath)) {
    if (m_lockFile)
        Held().files.insert(*m_lockFile);
}

EditLock::~EditLock() {
    int error = 0;
    {
        std::lock_guard guard(Held().mutex);
        error = deleteLockFile(m_itemPath, false, m_identity, m_files);
        if (m_lockFile)
            Held().files.erase(*m_lockFile);
    }
    std::error_code ignored;
    // A lock someone removed while the item was open leaves nothing behind; one that went
    // with its item may still name this user somewhere else.
    if (error == 0 || (error == ENOENT && std::filesystem::exists(m_itemPath, ignored)))
        return;
    m_port.tell(LockLeftNotice(m_itemPath, error));
}

std::optional<std::string> EditLock::Lost() const {
    LockHolder holder;
    const int error = ReadLockHolder(m_itemPath, holder);
    if (error == ENOENT)
        return "someone else removed its lock";
    // A lock that can't be read now is left to the save, which says what the disk says.
    if (error != 0)
        return std::nullopt;
    // The file's place alone can't tell: a lock made after ours was removed may be given the
    // same inode. It must also name this user, computer and run.
    const bool ours = m_lockFile && std::pair(holder.device, holder.inode) == *m_lockFile &&
                      holder.process == ThisProcess() && holder.computer == m_identity.computer &&
                      strcasecmp(holder.user.c_str(), m_identity.user.c_str()) == 0;
    if (ours)
        return std::nullopt;
    return holder.user + " on " + holder.computer + " unlocked it and holds it since " +
           TwentyFourCharacterTime(holder.since);
}

std::unique_ptr<EditLock> EditLock::Acquire(const std::filesystem::path& itemPath, UserPort& port,
                                            const UserIdentity& identity, const LockTexts& texts,
                                            FileLayer& files) {
    // The port is called only outside the mutex: a worker's question waits for the window's
    // thread, which may be taking a lock of its own.
    std::unique_ptr<EditLock> lock;
    LockHolder left;
    bool tookOver = false;
    int error = 0;
    {
        std::lock_guard guard(Held().mutex);
        error = createLockFile(itemPath, identity, files);
        if (error == EEXIST) {
            error = TakeOverLeftLock(itemPath, identity, files, left);
            tookOver = error == 0;
        }
        if (error == 0)
            lock.reset(new EditLock(itemPath, identity, port, files));
    }
    if (lock) {
        if (tookOver)
            port.tell({itemPath.filename().string() +
                           " was still locked by you, from a session on this computer that has "
                           "ended (locked at " +
                           TwentyFourCharacterTime(left.since) +
                           "); this session takes the lock over.",
                       "Own lock taken over", Icon::Information});
        return lock;
    }

    if (error != EEXIST) {
        port.tell({"Unable to open file for editing.\n" + std::generic_category().message(error) +
                       "\nPlease check read, write and create permissions for database.",
                   "Cannot open file", Icon::Warning});
        return nullptr;
    }

    if (!port.ask({std::string(texts.intro) + GetLockMessage(itemPath) + kUnlockAdvice,
                   "File locked", Icon::Warning, "Unlock File"}))
        return nullptr;
    if (!port.ask({"This could cause data to be lost if the file is currently being edited. "
                   "Continue to unlock file?",
                   "Confirm file unlock", Icon::Question}))
        return nullptr;

    {
        std::lock_guard guard(Held().mutex);
        (void)deleteLockFile(itemPath, true, identity, files);
        if (createLockFile(itemPath, identity, files) == 0)
            lock.reset(new EditLock(itemPath, identity, port, files));
    }
    if (!lock)
        port.tell(
            {"Unable to create lockfile or delete existing lockfile, please check file "
             "permissons.",
             "Failed to unlock", texts.unlockFailureIcon});
    return lock;
}

}  // namespace vantorel
