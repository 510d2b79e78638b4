#pragma once
// Who is using the program: the computer's host name and the login name. Lock files record
// both, and a lock is released only by the user whose name it holds. Also which run of the
// program this is, so that a lock left by a run that has ended can be told from a held one.

#include <sys/types.h>

#include <optional>
#include <string>

namespace vantorel {

struct UserIdentity {
    std::string computer;
    std::string user;
};

// The host name and the login name; $VANTOREL_COMPUTER and $VANTOREL_USER, when set, stand in
// for them, so that two copies of the program on one computer can be two testers.
UserIdentity CurrentIdentity();

// One run of a program, told apart from every other run on the same computer: the boot it runs
// in, its process number, and when it started (clock ticks after the boot). Process numbers
// come round again, and start again at every boot; the three together never repeat.
struct ProcessStamp {
    std::string boot;
    pid_t pid = 0;
    unsigned long long start = 0;
    bool operator==(const ProcessStamp&) const = default;
};

// This program's stamp; none where the system does not tell the boot or the start (no /proc).
std::optional<ProcessStamp> ThisProcess();
// Whether the run stamped so is known to have ended on this computer: the computer has been
// started again since, or the process of that number has ended or is another run. False
// whenever that can't be known.
bool HasEnded(const ProcessStamp& stamp);

}  // namespace vantorel
