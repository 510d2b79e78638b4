#include "storage/thread_guard.h"

#include <cstdio>
#include <cstdlib>

namespace vantorel {
namespace {

thread_local bool g_onWindowThread = false;
// Why the window's thread may read at the moment; null when it may not.
thread_local const char* g_allowedBecause = nullptr;
bool g_guarded = false;

}  // namespace

void MarkWindowThread(bool guarded) {
    g_onWindowThread = true;
    g_guarded = guarded;
}

void CheckOffWindowThread(const char* what, const std::filesystem::path& path) {
    if (!g_onWindowThread || !g_guarded || g_allowedBecause)
        return;
    std::fprintf(stderr, "The window's thread %s %s\n", what, path.c_str());
    std::abort();
}

WindowThreadMayRead::WindowThreadMayRead(const char* why) : m_outer(g_allowedBecause) {
    g_allowedBecause = why;
}

WindowThreadMayRead::~WindowThreadMayRead() {
    g_allowedBecause = m_outer;
}

}  // namespace vantorel
