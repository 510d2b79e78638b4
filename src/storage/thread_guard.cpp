#include "storage/thread_guard.h"

#include <cstdio>
#include <cstdlib>

namespace vantorel {
namespace {

thread_local bool t_windowThread = false;
// Why the window's thread may read at the moment; null when it may not.
thread_local const char* t_allowedBecause = nullptr;
bool g_guarded = false;

}  // namespace

void MarkWindowThread(bool guarded) {
    t_windowThread = true;
    g_guarded = guarded;
}

void CheckOffWindowThread(const char* what, const std::filesystem::path& path) {
    if (!t_windowThread || !g_guarded || t_allowedBecause)
        return;
    std::fprintf(stderr, "The window's thread %s %s\n", what, path.c_str());
    std::abort();
}

WindowThreadMayRead::WindowThreadMayRead(const char* why) : m_outer(t_allowedBecause) {
    t_allowedBecause = why;
}

WindowThreadMayRead::~WindowThreadMayRead() {
    t_allowedBecause = m_outer;
}

}  // namespace vantorel
