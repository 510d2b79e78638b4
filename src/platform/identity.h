#pragma once
// Who is using the program: the computer's host name and the login name. Lock files record
// both, and a lock is released only by the user whose name it holds.

#include <string>

namespace vantorel {

struct UserIdentity {
    std::string computer;
    std::string user;
};

UserIdentity CurrentIdentity();

}  // namespace vantorel
