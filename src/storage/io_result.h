#pragma once
// The outcome of a file operation: 0 or the system's error number, and a message that names
// the file, ready to be put in front of the user.

#include <string>

namespace vantorel {

struct [[nodiscard]] IoResult {
    int code = 0;
    std::string message;

    bool ok() const { return code == 0; }
    static IoResult Success() { return {}; }
    static IoResult Failure(int code, std::string message) { return {code, std::move(message)}; }
};

}  // namespace vantorel
