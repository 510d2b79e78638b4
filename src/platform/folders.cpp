#include "platform/folders.h"

#include <cstdlib>
#include <system_error>

namespace vantorel {
namespace {

std::filesystem::path FromEnvironment(const char* variable, const char* homeRelative) {
    if (const char* value = std::getenv(variable); value && *value)
        return value;
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : "/tmp") / homeRelative;
}

}  // namespace

std::filesystem::path DataFolder() {
    if (const char* dir = std::getenv("VANTOREL_DATA_DIR"); dir && *dir)
        return dir;
    return FromEnvironment("XDG_DATA_HOME", ".local/share") / "Corvanta" / "Vantorel";
}

std::filesystem::path ConfigFolder() {
    if (const char* dir = std::getenv("VANTOREL_DATA_DIR"); dir && *dir)
        return dir;
    return FromEnvironment("XDG_CONFIG_HOME", ".config") / "Corvanta" / "Vantorel";
}

std::filesystem::path ProgramFolder() {
    std::error_code error;
    auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::current_path() : self.parent_path();
}

}  // namespace vantorel
