#include "storage/vantorel_database.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <system_error>
#include <vector>

#include "platform/debug_log.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/locks.h"

namespace vantorel {
namespace {

constexpr std::size_t kVersionRecordSize = 12;
constexpr char kOpenCaption[] = "Error: unable to open database";
constexpr char kCreateCaption[] = "Error: Creating new directory";

}  // namespace

std::string EncodeVersionRecord(const DatabaseVersion& version) {
    std::string record(kVersionRecordSize, '\0');
    std::memcpy(record.data(), version.version.data(),
                std::min<std::size_t>(version.version.size(), 4));
    auto build = static_cast<uint32_t>(version.build);
    for (int i = 0; i < 4; ++i)
        record[8 + i] = static_cast<char>((build >> (8 * i)) & 0xFF);
    return record;
}

std::optional<DatabaseVersion> DecodeVersionRecord(std::string_view record) {
    if (record.size() < kVersionRecordSize)
        return std::nullopt;
    DatabaseVersion version;
    version.version.assign(record.data(), strnlen(record.data(), 5));
    uint32_t build = 0;
    for (int i = 0; i < 4; ++i)
        build |= static_cast<uint32_t>(static_cast<unsigned char>(record[8 + i])) << (8 * i);
    version.build = static_cast<int32_t>(build);
    return version;
}

VantorelDatabase::VantorelDatabase(UserPort& port) : m_port(port) {}

VantorelDatabase::~VantorelDatabase() {
    Close();
}

std::filesystem::path VantorelDatabase::DefaultNewFolder() {
    std::error_code error;
    return std::filesystem::current_path(error) / "NewDB";
}

void VantorelDatabase::FailOpen(std::string_view message, const std::filesystem::path& path) {
    m_port.tell({std::string(message) + "\n" + path.string(), kOpenCaption, Icon::Warning});
    Close();
}

bool VantorelDatabase::Open(const std::filesystem::path& markerPath, OpenMode mode,
                            FileLayer& files) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path given = markerPath;
    // A database folder stands for the marker inside it.
    if (fs::is_directory(given, error))
        given /= kMarkerName;

    fs::path directory = given.parent_path();
    std::string markerName = given.filename().string();
    if (markerName.empty() || markerName.find(".vdb") == std::string::npos)
        markerName = kMarkerName;
    if (directory.empty())
        directory = ".";

    if (!fs::exists(given, error)) {
        FailOpen("Invalid database path, the file does not exist:", given);
        return false;
    }
    if (!fs::is_directory(directory / "Test Cases", error)) {
        FailOpen(
            "The directory selected does not seem to contain a database - The Test Cases "
            "folder cannot be opened",
            given);
        return false;
    }

    m_watcher.Stop();
    m_sweep = {};
    m_directory = fs::absolute(directory, error).lexically_normal();
    if (!m_directory.has_filename())
        m_directory = m_directory.parent_path();
    m_markerName = markerName;
    std::string record;
    (void)ReadRegularFile(MarkerPath(), record);  // an unreadable record: an unknown version
    m_version = DecodeVersionRecord(record);
    m_open = true;
    m_locksHold = true;
    if (mode == OpenMode::ReadOnly)
        return true;
    m_locksHold = ProbeExclusiveCreate(m_directory, files) != ExclusiveCreate::Broken;

    m_sweep = std::jthread([directory = m_directory](std::stop_token stop) {
        if (int swept = SweepStaleSaves(directory, std::chrono::minutes(5), stop))
            DebugLog::Write("VantorelDatabase::Open", "removed %d unfinished saves\n", swept);
    });
    m_watcher.Start(
        m_directory, m_changeHandler ? m_changeHandler : [](const std::string&, int) {},
        m_watchSettings);
    return true;
}

void VantorelDatabase::Close() {
    m_watcher.Stop();
    m_sweep = {};
    m_open = false;
    m_locksHold = true;
    m_directory.clear();
    m_markerName.clear();
    m_version.reset();
}

bool VantorelDatabase::WriteVersion() {
    IoResult saved = SaveWholeFile(
        MarkerPath(), EncodeVersionRecord({std::string(kProductVersion), kProductBuild}));
    if (saved.ok()) {
        m_version = DatabaseVersion{std::string(kProductVersion), kProductBuild};
        return true;
    }
    m_port.tell({"Unable to write version to database file " + MarkerPath().string() + " [" +
                     std::to_string(saved.code) + "].\n\n" + std::strerror(saved.code),
                 "Error: unable to write version", Icon::Warning});
    return false;
}

bool VantorelDatabase::CreateNew(const std::filesystem::path& directory, FileLayer& files) {
    namespace fs = std::filesystem;
    static constexpr char kHeading[] = "VantorelDatabase::OnOKNewDB";
    DebugLog::Write(kHeading, "Start\n");
    DebugLog::Write(kHeading, "%s\n", directory.c_str());

    if (directory.string().size() > kDatabasePathMax) {
        m_port.tell({"The directory name is too long. A database directory name can hold at most " +
                         std::to_string(kDatabasePathMax) + " characters.",
                     kCreateCaption, Icon::Warning});
        return false;
    }
    std::error_code error;
    if (!fs::is_directory(directory, error)) {
        if (!m_port.ask({"The directory selected does not exist.\nor can not be accessed. Do you "
                         "want to\nattempt to create this directory?",
                         "Create new directory ?", Icon::Question}))
            return false;
        if (!fs::create_directories(directory, error) || error) {
            m_port.tell(
                {"The directory selected could not be created.\nCheck that the path and "
                 "directory name are\ncorrect and that you have permission to create\na "
                 "new directory at the selected location.",
                 kCreateCaption, Icon::Warning});
            return false;
        }
    }
    const fs::path marker = directory / kMarkerName;
    if (fs::exists(marker, error) &&
        !m_port.ask({"The directory selected seems to already contain.\na database. Do you still "
                     "wish to continue?\n",
                     "Overwrite existing database ?", Icon::Question}))
        return false;

    std::vector<fs::path> made;
    bool created = true;
    for (std::string_view folder : kDatabaseFolders) {
        const int madeError = files.MakeFolder(directory / folder);
        if (madeError == 0)
            made.push_back(directory / folder);
        else if (madeError != EEXIST || !fs::is_directory(directory / folder, error))
            created = false;
        if (!created)
            break;
    }
    created = created &&
              SaveWholeFile(
                  marker, EncodeVersionRecord({std::string(kProductVersion), kProductBuild}), files)
                  .ok();
    if (!created) {
        for (const fs::path& folder : made)
            (void)files.RemoveFolder(folder);
        m_port.tell(
            {"There was an error while creating the required\nVantorel files are "
             "sub-directories in the selected\ndirectory. Check that you have permission "
             "to create\nfiles and directories at the selected location.",
             kCreateCaption, Icon::Warning});
        DebugLog::Write(kHeading, "End 4\n");
        return false;
    }
    if (!Open(marker)) {
        DebugLog::Write(kHeading, "End 5\n");
        return false;
    }
    m_port.tell({"Success.\nA new Vantorel database has been created\nin the selected location.\n",
                 "Success", Icon::Information});
    DebugLog::Write(kHeading, "End success\n");
    return true;
}

}  // namespace vantorel
