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

std::filesystem::path DocumentsFolder() {
    if (const char* dir = std::getenv("XDG_DOCUMENTS_DIR"); dir && *dir)
        return dir;
    const char* home = std::getenv("HOME");
    if (!home || !*home)
        return {};
    std::error_code error;
    std::filesystem::path documents = std::filesystem::path(home) / "Documents";
    return std::filesystem::is_directory(documents, error) ? documents
                                                           : std::filesystem::path(home);
}

std::filesystem::path TempFolder() {
    if (const char* dir = std::getenv("VANTOREL_DATA_DIR"); dir && *dir)
        return std::filesystem::path(dir) / "Temp";
    return FromEnvironment("XDG_CACHE_HOME", ".cache") / "Vantorel";
}

std::filesystem::path ProgramFolder() {
    std::error_code error;
    auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::current_path() : self.parent_path();
}

std::filesystem::path ProgramDataFolderOf(const std::filesystem::path& program) {
    std::error_code error;
    // A build tree: the build copies the data beside the program.
    if (std::filesystem::is_directory(program / "Templates", error))
        return program;
    return (program / VANTOREL_DATA_FROM_PROGRAM).lexically_normal();
}

std::filesystem::path ProgramDataFolder() {
    return ProgramDataFolderOf(ProgramFolder());
}

}  // namespace vantorel
