#pragma once
// Opening an item for editing, the protocol every item editor follows: take the item's lock;
// when someone holds it, say who and offer to unlock it by force; release the lock when the
// editor closes, saved or cancelled. A lock of this user on this computer whose run has ended
// (a crash, a kill, a release that failed) is taken over with a word instead of the unlock
// dialog; a lock that can't be released is named to the user, since others would see the item
// locked until someone removes it.

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/identity.h"
#include "platform/user_port.h"
#include "storage/file_layer.h"

namespace vantorel {

inline constexpr char kUnlockAdvice[] =
    "\nTo unlock the file select 'Unlock File' and click 'OK', only do this if you are sure the "
    "file is not being edited";

// What the unlock dialog says beyond the lock's own description.
struct LockTexts {
    std::string_view intro = {};  // put before the description of who holds the lock
    Icon unlockFailureIcon = Icon::Warning;
};

// Holds an item's lock for as long as it lives; releasing removes only a lock of our own.
class EditLock {
public:
    // Takes the lock of the item, talking to the user through port when it is held or can't be
    // made. Null when the item must not be opened for editing. port must outlive the lock: the
    // release tells through it when the lock can't be removed.
    static std::unique_ptr<EditLock> Acquire(const std::filesystem::path& itemPath, UserPort& port,
                                             const UserIdentity& identity = CurrentIdentity(),
                                             const LockTexts& texts = {},
                                             FileLayer& files = SystemFiles());
    ~EditLock();
    EditLock(const EditLock&) = delete;
    EditLock& operator=(const EditLock&) = delete;

    const std::filesystem::path& ItemPath() const { return m_itemPath; }
    // None while the lock file is still the one this made; else what became of it (removed,
    // or replaced by someone else's lock, named), for the save to say before it writes.
    std::optional<std::string> Lost() const;

private:
    EditLock(std::filesystem::path itemPath, UserIdentity identity, UserPort& port,
             FileLayer& files);

    std::filesystem::path m_itemPath;
    UserIdentity m_identity;
    UserPort& m_port;
    FileLayer& m_files;
    std::optional<std::pair<dev_t, ino_t>> m_lockFile;  // the lock this holds, as a file
};

}  // namespace vantorel
