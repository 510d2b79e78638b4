#include "platform/identity.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

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

namespace {

std::string BootId() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(file, id);
    return id;
}

// The start of process pid in clock ticks after the boot: field 22 of its stat line, counted
// after the command name, which may itself hold blanks and parentheses.
std::optional<unsigned long long> StartOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(file, line))
        return std::nullopt;
    const std::size_t nameEnd = line.rfind(')');
    if (nameEnd == std::string::npos)
        return std::nullopt;
    std::istringstream fields(line.substr(nameEnd + 1));
    std::string skipped;
    for (int field = 3; field < 22; ++field)
        fields >> skipped;
    unsigned long long start = 0;
    if (!(fields >> start))
        return std::nullopt;
    return start;
}

}  // namespace

std::optional<ProcessStamp> ThisProcess() {
    // Asked anew each time: a child made by fork is another run.
    const pid_t pid = ::getpid();
    std::string boot = BootId();
    const std::optional<unsigned long long> start = StartOf(pid);
    if (boot.empty() || !start)
        return std::nullopt;
    return ProcessStamp{std::move(boot), pid, *start};
}

bool HasEnded(const ProcessStamp& stamp) {
    const std::optional<ProcessStamp> self = ThisProcess();
    if (!self)
        return false;
    return stamp.boot != self->boot || StartOf(stamp.pid) != stamp.start;
}

}  // namespace vantorel
