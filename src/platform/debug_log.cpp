#include "platform/debug_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>

namespace vantorel {
namespace {

std::mutex g_logMutex;
std::string g_logFile;
std::atomic<bool> g_enabled{false};

}  // namespace

void DebugLog::Start(const std::filesystem::path& file) {
    std::lock_guard lock(g_logMutex);
    g_logFile = file.string();
    if (std::FILE* log = std::fopen(g_logFile.c_str(), "w+")) {
        std::fprintf(log, "%s\n", std::string(78, '-').c_str());
        std::fprintf(log, "%s %s %s\n", "Vantorel", "V3.2", "1000");
        std::fclose(log);
    }
    g_enabled = true;
}

void DebugLog::Stop() {
    std::lock_guard lock(g_logMutex);
    g_enabled = false;
}

bool DebugLog::Enabled() {
    return g_enabled;
}

void DebugLog::Write(const char* heading, const char* format, ...) {
    if (!g_enabled)
        return;
    std::lock_guard lock(g_logMutex);
    std::FILE* log = std::fopen(g_logFile.c_str(), "a");
    if (!log)
        return;
    std::time_t now = std::time(nullptr);
    struct tm utc {};
    gmtime_r(&now, &utc);
    std::fprintf(log, "%02d-%02d-%04d %02d:%02d:%02d %s => ", utc.tm_mday, utc.tm_mon + 1,
                 utc.tm_year + 1900, utc.tm_hour, utc.tm_min, utc.tm_sec, heading);
    va_list args;
    va_start(args, format);
    std::vfprintf(log, format, args);
    va_end(args);
    std::fclose(log);
}

}  // namespace vantorel
