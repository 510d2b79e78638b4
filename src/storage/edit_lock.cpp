#include "storage/edit_lock.h"

#include <cerrno>
#include <cstring>

#include "storage/locks.h"

namespace vantorel {

EditLock::EditLock(std::filesystem::path itemPath, UserIdentity identity)
    : m_itemPath(std::move(itemPath)), m_identity(std::move(identity)) {}

EditLock::~EditLock() {
    deleteLockFile(m_itemPath, false, m_identity);
}

std::unique_ptr<EditLock> EditLock::Acquire(const std::filesystem::path& itemPath, UserPort& port,
                                            const UserIdentity& identity, const LockTexts& texts) {
    int error = createLockFile(itemPath, identity);
    if (error == 0)
        return std::unique_ptr<EditLock>(new EditLock(itemPath, identity));

    if (error != EEXIST) {
        port.tell({std::string("Unable to open file for editing.\n") + std::strerror(error) +
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

    deleteLockFile(itemPath, true, identity);
    if (createLockFile(itemPath, identity) != 0) {
        port.tell(
            {"Unable to create lockfile or delete existing lockfile, please check file "
             "permissons.",
             "Failed to unlock", texts.unlockFailureIcon});
        return nullptr;
    }
    return std::unique_ptr<EditLock>(new EditLock(itemPath, identity));
}

}  // namespace vantorel
