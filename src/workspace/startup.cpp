#include "workspace/startup.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "platform/clock_text.h"
#include "platform/debug_log.h"
#include "platform/folders.h"
#include "storage/atomic_save.h"
#include "storage/file_layer.h"
#include "storage/thread_guard.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// The folder's place on its disk; none when no folder is there.
std::optional<std::pair<dev_t, ino_t>> FolderOnDisk(const fs::path& folder) {
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return std::nullopt;
    return std::pair(info.st_dev, info.st_ino);
}

constexpr char kStartup[] = "Startup";

}  // namespace

ShellFolders FindShellFolders() {
    ShellFolders folders;
    folders.program = ProgramFolder();
    folders.programData = ProgramDataFolderOf(folders.program);
    std::error_code error;
    folders.data = DataFolder();
    fs::create_directories(folders.data, error);
    if (!fs::is_directory(folders.data, error))
        folders.data = folders.program;
    folders.config = ConfigFolder();
    folders.documents = DocumentsFolder();
    folders.temp = TempFolder();
    return folders;
}

bool DebugSwitchGiven(const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments)
        if (argument.starts_with("/") && strcasecmp(argument.c_str(), "/debug") == 0)
            return true;
    return false;
}

Shell::Shell(UserPort& port, ShellView& view, ShellFolders folders, UserIdentity identity)
    : m_port(port),
      m_view(view),
      m_folders(std::move(folders)),
      m_identity(std::move(identity)),
      m_database(port) {}

void Shell::Start(const std::vector<std::string>& arguments, bool databaseNamed) {
    if (DebugSwitchGiven(arguments))
        DebugLog::Start(m_folders.DebugLogFile());
    DebugLog::Write(kStartup, "Begin startup\n");
    DebugLog::Write(kStartup, "Read config\n");
    m_config.emplace(m_folders.config, m_folders.data, m_port);
    DebugLog::Write(kStartup, "Get month abbreviations\n");
    LoadMonthAbbreviations();
    DebugLog::Write(kStartup, "Load temp dir\n");
    std::error_code error;
    fs::create_directories(m_folders.temp, error);
    if (!databaseNamed)
        CopySampleDatabaseOnFirstStart();
}

void Shell::CopySampleDatabaseOnFirstStart() {
    std::error_code error;
    const fs::path target = m_folders.SampleDatabase();
    if (fs::exists(target, error))
        return;
    const fs::path shipped = m_folders.ShippedSampleDatabase();
    if (!fs::is_directory(shipped, error)) {
        DebugLog::Write(kStartup, "No sample database in the program's data\n");
        return;
    }
    // Copied under a temporary name and renamed when whole, so a start that is cut short
    // never leaves half a sample database to open.
    const fs::path temporary = m_folders.data / (std::string(kSaveTempPrefix) + "SampleDB");
    fs::remove_all(temporary, error);
    fs::copy(shipped, temporary, fs::copy_options::recursive, error);
    if (!error)
        fs::rename(temporary, target, error);
    if (error) {
        fs::remove_all(temporary, error);
        DebugLog::Write(kStartup, "Sample database not copied\n");
        return;
    }
    DebugLog::Write(kStartup, "Sample database copied\n");
}

Notice UnsafeLocksNotice(const fs::path& databaseDir) {
    return {"The database\n" + databaseDir.string() +
                "\nis on a file server that lets two programs create the same file at once, so "
                "its lock files can't keep two people from editing one item. It has been opened "
                "read-only.\n\nAsk the server's administrator for a mount that keeps exclusive "
                "creation (NFS version 3 or later; SMB with the usual mount options).",
            "Database opened read-only", Icon::Warning};
}

std::string Shell::Title() const {
    return MakeTitle(m_database.IsOpen() ? std::optional(m_database.Directory()) : std::nullopt);
}

void Shell::OpenAtStartup() {
    DebugLog::Write(kStartup, "SetWindowText1\n");
    m_view.SetCaption(Title());
    ConfigSettings& settings = m_config->Settings();
    StartupResult chosen{settings.lastDbPath};
    if (settings.showStartupDialog) {
        DebugLog::Write(kStartup, "show dialog\n");
        const ShellView::StartupAnswer answer =
            m_view.AskStartupOptions(LastDatabaseName(settings));
        chosen = ChooseStartup(answer.choice, answer.showAtStartup, settings, m_folders.data);
        if (!settings.showStartupDialog)
            m_config->Write();
    }
    if (chosen.browse) {
        if (auto marker = m_view.AskDatabaseFile())
            OpenDatabase(*marker);
    } else if (chosen.path == kCreateNewDatabase) {
        OnNewDatabase();
    } else if (!chosen.path.empty()) {
        OpenDatabase(fs::path(chosen.path) / settings.lastDbFileName);
    }
    DebugLog::Write(kStartup, "SetWindowText2\n");
    m_view.SetCaption(Title());
}

std::string Shell::StateText() const {
    return m_database.IsOpen() && m_readOnly ? "Read only: this database can't be changed from here"
                                             : "Ready";
}

bool Shell::OpenDatabase(const fs::path& databaseOrMarker) {
    // The marker, the customisation and the top of the tree, before anything can be shown.
    WindowThreadMayRead opening("opening a database reads its marker and its customisation");
    m_clipboard.Clear();
    // The tree is read lazily, so the first build counts only the top level.
    m_progress.StartProgress(static_cast<int>(std::size(kDatabaseFolders)));
    ShowProgress();
    DebugLog::Write(kStartup, "Counted files\n");
    EndOwnWriteProtection();  // the database open so far, if any, goes
    const int pollInterval = m_config->Settings().pollInterval;
    m_database.SetWatchSettings(
        {WatchMethod::ByFileSystem, pollInterval > 0 ? std::chrono::milliseconds(pollInterval)
                                                     : WatchSettings{}.pollInterval});
    if (!m_database.Open(databaseOrMarker)) {
        DebugLog::Write(kStartup, "DB not opened\n");
        m_progress.ResetProgress();
        ShowProgress();
        m_view.RebuildTree();
        m_view.SetCaption(Title());
        return false;
    }
    DebugLog::Write(kStartup, "DB opened\n");
    // Asked of the system rather than probed with a file: the probe waits a quarter of a
    // second, and the answer is wanted before the window shows the database.
    m_readOnly = ::access(m_database.Directory().c_str(), W_OK) != 0;
    if (!m_readOnly && !m_database.LocksHold()) {
        m_readOnly = true;
        m_protected = m_database.Directory();
        ProtectFromWrites(*m_protected);
        m_port.tell(UnsafeLocksNotice(m_database.Directory()));
    }
    RememberDatabase(false);
    m_view.RebuildTree();
    for (std::size_t root = 0; root < std::size(kDatabaseFolders); ++root)
        m_progress.StepProgress();
    ShowProgress();
    DebugLog::Write(kStartup, "Tree built\n");
    if (ReadCustom().chooseNewUser)
        m_view.RunSetUserDialog();
    RefreshCurrentUser();

    const std::optional<DatabaseVersion>& version = m_database.Version();
    if (!version || version->version != kProductVersion || version->build != kProductBuild) {
        const std::string found = version ? version->version : "an unknown version";
        if (!m_port.ask({"The database " + m_database.Directory().string() +
                             " was made by Vantorel " + found + ".\nIt must be converted to " +
                             std::string(kProductVersion) +
                             " before it can be used. Convert it now?",
                         "Vantorel - Convert Database", Icon::Question}) ||
            !m_database.WriteVersion()) {
            OnCloseDatabase();
            return false;
        }
        DebugLog::Write(kStartup, "SetWindowText5\n");
    }
    DebugLog::Write(kStartup, "SetWindowText4\n");
    m_databaseFolder = FolderOnDisk(m_database.Directory());
    m_view.SetCaption(Title());
    // The count of the opening is over: the counter is left for the next long operation.
    m_progress.ResetProgress();
    ShowProgress();
    return true;
}

void Shell::RememberDatabase(bool alwaysSave) {
    ConfigSettings& settings = m_config->Settings();
    const std::string directory = m_database.Directory().string();
    const bool changed =
        settings.lastDbPath != directory || settings.lastDbFileName != m_database.MarkerName();
    settings.lastDbPath = directory;
    settings.lastDbFileName = m_database.MarkerName();
    const auto recentBefore = settings.recentDatabases;
    m_config->AddRecentDatabase(directory);
    if (alwaysSave || changed || recentBefore != settings.recentDatabases)
        m_config->Write();
}

CustomReadOutcome Shell::ReadCustom() {
    CustomCfg custom;
    const CustomReadOutcome outcome =
        custom.Read(m_database.Directory(), m_port, m_identity.computer);
    ReplaceCustom(std::move(custom));
    return outcome;
}

void Shell::ReplaceCustom(CustomCfg custom) {
    m_custom = std::make_shared<const CustomCfg>(std::move(custom));
    m_view.ShowNewCustomisation();
}

Shell::~Shell() {
    EndOwnWriteProtection();
}

void Shell::EndOwnWriteProtection() {
    if (m_protected)
        EndWriteProtection(*std::exchange(m_protected, std::nullopt));
}

void Shell::RefreshCurrentUser() {
    m_currentUser = m_custom->CurrentUser(m_identity.computer);
    ShowCurrentUser();
}

void Shell::ShowCurrentUser() {
    // A database opened on this computer for the first time has no current user yet: the
    // status bar says how to choose one rather than nothing.
    m_view.ShowCurrentUser("Current user: " + (m_currentUser.empty()
                                                   ? std::string("none (Settings, Set User...)")
                                                   : m_currentUser));
}

bool Shell::OnNewDatabase() {
    WindowThreadMayRead opening("a new database is made and opened as the user waits");
    static constexpr char kHeading[] = "OnNewDatabase";
    DebugLog::Write(kHeading, "Start\n");
    const std::optional<fs::path> directory = m_view.AskNewDatabaseFolder();
    if (!directory)
        return false;
    m_clipboard.Clear();
    if (!m_database.CreateNew(*directory))
        return false;
    DebugLog::Write(kHeading, "Rebuild Tree\n");
    m_view.RebuildTree();
    DebugLog::Write(kHeading, "SetWindowText3\n");
    m_view.SetCaption(Title());
    DebugLog::Write(kHeading, "Config reset\n");
    DebugLog::Write(kHeading, "Config save\n");
    RememberDatabase(true);
    DebugLog::Write(kHeading, "Get user name\n");
    ReadCustom();
    m_currentUser = m_custom->CurrentUser(m_identity.computer);
    if (m_currentUser.empty()) {
        m_currentUser = m_identity.computer;
        m_port.tell(
            {"The logged in user has been set to the computer name.\nPlease create a "
             "Tester and select it before creating any new items.",
             "Vantorel", Icon::Information});
    }
    ShowCurrentUser();
    return true;
}

void Shell::ReportProgress(int processed, int total) {
    m_progress.ShowReported(processed, total);
    ShowProgress();
}

void Shell::ShowProgress() {
    m_view.ShowProgress(m_progress.Text());
}

void Shell::OnCloseDatabase() {
    static constexpr char kHeading[] = "OnCloseDatabase";
    DebugLog::Write(kHeading, "start\n");
    m_database.Close();
    m_readOnly = false;
    EndOwnWriteProtection();
    m_clipboard.Clear();
    m_currentUser.clear();
    // No database, no current user to name.
    m_view.ShowCurrentUser({});
    DebugLog::Write(kHeading, "Re-init right pane\n");
    DebugLog::Write(kHeading, "clear html window\n");
    m_view.ClearRightPane();
    DebugLog::Write(kHeading, "cleared html window\n");
    m_view.RebuildTree();
    DebugLog::Write(kHeading, "SetWindowText6\n");
    m_view.SetCaption(Title());
    DebugLog::Write(kHeading, "end\n");
}

bool Shell::DatabaseGone() const {
    if (!m_database.IsOpen())
        return false;
    const auto now = FolderOnDisk(m_database.Directory());
    return !now || (m_databaseFolder && now != m_databaseFolder);
}

void Shell::CloseGoneDatabase() {
    const std::string folder = m_database.Directory().string();
    m_port.tell(
        FolderOnDisk(m_database.Directory())
            ? Notice{"The database folder\n" + folder +
                         "\nwas replaced by another folder of the same name while it was open. "
                         "The database has been closed: open it again to work in the folder "
                         "that is there now.",
                     "Database replaced", Icon::Warning}
            : Notice{"The database folder\n" + folder +
                         "\nis no longer there: it was moved, renamed or removed. The database "
                         "has been closed.",
                     "Database no longer available", Icon::Warning});
    OnCloseDatabase();
}

}  // namespace vantorel
