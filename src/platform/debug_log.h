#pragma once
// The debug log "VantorelDebug.txt": written only when the program runs with "/debug". Every
// entry opens, appends and closes the file, so the log survives a crash of the program.

#include <filesystem>

namespace vantorel {

class DebugLog {
public:
    // Starts a new log: the file is written from scratch with its separator line and the
    // product line, and every later entry goes to it.
    static void Start(const std::filesystem::path& file);
    static void Stop();
    static bool Enabled();

    // One entry: "%02d-%02d-%04d %02d:%02d:%02d %s => " with the current UTC date and time and
    // the heading (the place in the program), then the message. Messages carry their own "\n".
    static void Write(const char* heading, const char* format, ...)
        __attribute__((format(printf, 2, 3)));
};

}  // namespace vantorel
