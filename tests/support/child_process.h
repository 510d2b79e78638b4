#pragma once
// Child processes of a test. Some faults show only to an ordinary user (root reads unreadable
// files and writes into read-only folders), so a piece of a test can run in a child that gives
// up root first. A child that crashes or hangs fails its test at once instead of hanging it.

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace vantorel::testing {

// The user and group a test that runs as root becomes: nobody.
inline constexpr uid_t kOrdinaryUser = 65534;
inline constexpr gid_t kOrdinaryGroup = 65534;

// As root, makes the ordinary user the owner of path, so that a child that gave up root reaches
// it as its owner would. Otherwise the current user owns it already. False when that failed.
inline bool GiveToOrdinaryUser(const std::filesystem::path& path) {
    return ::geteuid() != 0 || ::chown(path.c_str(), kOrdinaryUser, kOrdinaryGroup) == 0;
}

// How a child ended, in words; empty for an exit with status 0.
inline std::string DescribeEnd(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status) == 0
                   ? ""
                   : "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status))
        return std::string("killed by ") + ::strsignal(WTERMSIG(status));
    return "ended with wait status " + std::to_string(status);
}

// Kills the children and waits for their ends, so that none is left running or unreaped.
inline void KillChildren(const std::vector<pid_t>& children) {
    for (pid_t child : children) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
}

// Waits for the children until limit has passed. When one of them ends other than with exit
// status 0, or the limit passes, the others are killed at once: they may be waiting for the one
// that failed. Returns an empty text when all ended well, otherwise what went wrong first.
inline std::string WaitForChildren(std::vector<pid_t> children, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::string failure;
    while (!children.empty() && failure.empty()) {
        for (auto child = children.begin(); child != children.end();) {
            int status = 0;
            if (::waitpid(*child, &status, WNOHANG) != *child) {
                ++child;
                continue;
            }
            failure = DescribeEnd(status);
            if (!failure.empty())
                failure = "child " + std::to_string(*child) + " " + failure;
            child = children.erase(child);
        }
        if (failure.empty() && !children.empty()) {
            if (std::chrono::steady_clock::now() > deadline)
                failure = std::to_string(children.size()) + " children still running after " +
                          std::to_string(limit.count()) + " ms";
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    KillChildren(children);
    return failure;
}

// Runs body in a child process as an ordinary user: as root the child becomes nobody, with no
// supplementary groups, before body runs; otherwise it stays the current user. body returns an
// empty text when all went as it should, otherwise what went wrong. Returns that text, or how
// the child ended when it crashed or outlived limit.
inline std::string RunAsOrdinaryUser(const std::function<std::string()>& body,
                                     std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0)
        return std::string("pipe: ") + std::strerror(errno);
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(report[0]);
        ::close(report[1]);
        return std::string("fork: ") + std::strerror(errno);
    }
    if (child == 0) {
        ::close(report[0]);
        std::string outcome;
        if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(kOrdinaryGroup) != 0 ||
                                 ::setuid(kOrdinaryUser) != 0))
            outcome = std::string("could not give up root: ") + std::strerror(errno);
        else
            outcome = body();
        // Within the pipe's capacity, so that the write never waits for the reader.
        outcome.resize(std::min<std::size_t>(outcome.size(), 4096));
        const bool sent = ::write(report[1], outcome.data(), outcome.size()) ==
                          static_cast<ssize_t>(outcome.size());
        ::_exit(outcome.empty() ? 0 : sent ? 1 : 2);
    }
    ::close(report[1]);
    const std::string end = WaitForChildren({child}, limit);
    std::string outcome;
    char buffer[512];
    for (ssize_t got; (got = ::read(report[0], buffer, sizeof buffer)) > 0;)
        outcome.append(buffer, static_cast<std::size_t>(got));
    ::close(report[0]);
    return outcome.empty() ? end : outcome;
}

}  // namespace vantorel::testing
