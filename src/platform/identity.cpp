#include "platform/identity.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace vantorel {

UserIdentity CurrentIdentity() {
    UserIdentity identity;
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) == 0)
        identity.computer = host;

    // The password database answers for daemons and containers where getlogin() has no
    // terminal to ask; $USER is the last resort.
    if (const passwd* entry = getpwuid(geteuid()); entry && entry->pw_name) {
        identity.user = entry->pw_name;
    } else if (const char* user = std::getenv("USER")) {
        identity.user = user;
    }
    return identity;
}

}  // namespace vantorel
