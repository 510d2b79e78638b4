#include "platform/identity.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace vantorel {

UserIdentity CurrentIdentity() {
    UserIdentity identity;
    // Two testers tried on one computer (scripts/two-testers) each name themselves.
    char host[256] = {};
    if (const char* computer = std::getenv("VANTOREL_COMPUTER"); computer && *computer)
        identity.computer = computer;
    else if (gethostname(host, sizeof host - 1) == 0)
        identity.computer = host;
    if (const char* user = std::getenv("VANTOREL_USER"); user && *user) {
        identity.user = user;
        return identity;
    }

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
