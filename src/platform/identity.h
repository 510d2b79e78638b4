#pragma once
// Who is using the program: the computer's host name and the login name. Lock files record
// both, and a lock is released only by the user whose name it holds.

#include <string>

namespace vantorel {

struct UserIdentity {
    std::string computer;
    std::string user;
};

// The host name and the login name; $VANTOREL_COMPUTER and $VANTOREL_USER, when set, stand in
// for them, so that two copies of the program on one computer can be two testers.
UserIdentity CurrentIdentity();

}  // namespace vantorel
