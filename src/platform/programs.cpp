#include "platform/programs.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <thread>

extern char** environ;

namespace vantorel {

std::vector<std::string> SplitCommandLine(std::string_view command) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false;
    for (std::size_t at = 0; at < command.size(); ++at) {
        const char c = command[at];
        if (c == '"') {
            if (command.substr(at, 3) == "\"\"\"") {
                word += '"';
                at += 2;
            } else {
                quoted = !quoted;
            }
        } else if (!quoted && (c == ' ' || c == '\t' || c == '\n' || c == '\r')) {
            if (!word.empty())
                words.push_back(std::move(word));
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty())
        words.push_back(std::move(word));
    return words;
}

bool StartDetachedProgram(const std::vector<std::string>& words) {
    if (words.empty())
        return false;
    std::vector<char*> argv;
    for (const std::string& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);

    // posix_spawn, not fork: a child forked from a process with many threads (the web view's)
    // may hang on a lock another thread held, while posix_spawn runs nothing of ours before exec
    // and still reports a program that could not be found.
    posix_spawnattr_t attributes;
    if (posix_spawnattr_init(&attributes) != 0)
        return false;
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t child = 0;
    const int failed = posix_spawnp(&child, argv[0], nullptr, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (failed != 0)
        return false;
    // Someone must collect the program's end, or it stays behind as a zombie until ours ends.
    std::thread([child] {
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }).detach();
    return true;
}

}  // namespace vantorel
