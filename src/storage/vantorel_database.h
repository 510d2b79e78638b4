#pragma once
// VantorelDatabase: where the open database lives. A database is a folder recognised by its
// marker file "VantorelDatabase.vdb", which holds a 12-byte version record; items live in the
// six folders below it. Opening starts one change watcher over the tree, and opening another
// database (or closing) stops it first, so only one runs at any time.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/user_port.h"
#include "storage/change_watcher.h"
#include "storage/file_layer.h"
#include "storage/io_result.h"

namespace vantorel {

inline constexpr std::string_view kMarkerName = "VantorelDatabase.vdb";
inline constexpr std::string_view kProductVersion = "V3.2";
inline constexpr int32_t kProductBuild = 1000;
inline constexpr std::size_t kDatabasePathMax = 516;

// The folders of a database, in the order they are created.
inline constexpr std::string_view kDatabaseFolders[] = {
    "Test Cases", "Projects", "Resources", "Test Configurations", "Testers", "Filters"};

struct DatabaseVersion {
    std::string version;  // "V3.2"
    int32_t build = 0;    // 1000
    bool operator==(const DatabaseVersion&) const = default;
};

// The record kept in the marker file: the version text NUL-terminated in 5 bytes, 3 bytes of
// padding, the build as a 32-bit little-endian number.
std::string EncodeVersionRecord(const DatabaseVersion& version);
std::optional<DatabaseVersion> DecodeVersionRecord(std::string_view record);

// A database opened for a command-line run is only read: no change watcher, and no sweep of
// the saves other programs left unfinished.
enum class OpenMode { Interactive, ReadOnly };

class VantorelDatabase {
public:
    explicit VantorelDatabase(UserPort& port);
    ~VantorelDatabase();
    VantorelDatabase(const VantorelDatabase&) = delete;
    VantorelDatabase& operator=(const VantorelDatabase&) = delete;

    // Opens the database whose marker file is given (a database folder is accepted too).
    // Failures are told to the user and leave no database open. Opening reads nothing below
    // the top level, so a database of any size opens at once.
    // An interactive opening also probes whether the file server keeps exclusive creates
    // apart (LocksHold), through files.
    bool Open(const std::filesystem::path& markerPath, OpenMode mode = OpenMode::Interactive,
              FileLayer& files = SystemFiles());
    // Creates a database in directory, asking before making the directory or writing over an
    // existing database, and opens it. Existing items are never removed, and a creation that
    // fails removes the folders it made.
    bool CreateNew(const std::filesystem::path& directory, FileLayer& files = SystemFiles());
    // Writes the current version record into the marker of the open database.
    bool WriteVersion();
    // Stops the watcher and forgets the database.
    void Close();

    bool IsOpen() const { return m_open; }
    const std::filesystem::path& Directory() const { return m_directory; }
    const std::string& MarkerName() const { return m_markerName; }
    std::filesystem::path MarkerPath() const { return m_directory / m_markerName; }
    // The version record read at opening; none when the marker holds no valid record.
    const std::optional<DatabaseVersion>& Version() const { return m_version; }

    // Where the change watcher of the next Open reports; the handler runs on its thread.
    void SetChangeHandler(ChangeHandler handler) { m_changeHandler = std::move(handler); }
    // How the watcher of the next Open watches (the poll interval of the configuration).
    void SetWatchSettings(WatchSettings settings) { m_watchSettings = settings; }
    bool Watching() const { return m_watcher.Running(); }
    // The window tells the watcher what it shows through this.
    ChangeWatcher& Watcher() { return m_watcher; }
    // False when the probe at opening found that a second exclusive create of one file
    // succeeds here: lock files can't keep two users apart, and nothing should be written.
    bool LocksHold() const { return m_locksHold; }

    // The folder the New Database dialog proposes: the current folder plus "NewDB".
    static std::filesystem::path DefaultNewFolder();

private:
    void FailOpen(std::string_view message, const std::filesystem::path& path);

    UserPort& m_port;
    bool m_open = false;
    std::filesystem::path m_directory;
    std::string m_markerName;
    std::optional<DatabaseVersion> m_version;
    ChangeHandler m_changeHandler;
    WatchSettings m_watchSettings;
    ChangeWatcher m_watcher;
    bool m_locksHold = true;
    // Removes what killed saves and copies left behind, while the user already works.
    std::jthread m_sweep;
};

}  // namespace vantorel
