#pragma once
// The shell's life from start to exit, without a window: where its folders are, the debug log,
// the configuration, the first copy of the sample database, the choice of the database to
// open, and the opening, creating and closing of databases. The desktop window is a
// ShellView: it shows what the shell decides and runs the dialogs the shell asks for.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "documents/custom_cfg.h"
#include "platform/identity.h"
#include "platform/user_port.h"
#include "storage/vantorel_database.h"
#include "workspace/clipboard.h"
#include "workspace/config.h"
#include "workspace/shell.h"

namespace vantorel {

struct ShellFolders {
    std::filesystem::path program;      // the executable's folder
    std::filesystem::path programData;  // display styles, sample database, help pages
    std::filesystem::path data;         // debug log, error log, the sample database's copy
    std::filesystem::path config;       // Vantorel.cfg
    std::filesystem::path documents;    // where import and export dialogs start; may be empty
    std::filesystem::path temp;         // the external editor's working file

    std::filesystem::path ErrorLog() const { return data / "error_log.txt"; }
    std::filesystem::path DebugLogFile() const { return data / "VantorelDebug.txt"; }
    std::filesystem::path EditorWorkFile() const { return temp / "tmpVantorelHtml.html"; }
    std::filesystem::path SampleDatabase() const { return data / "SampleDB"; }
    std::filesystem::path ShippedSampleDatabase() const { return programData / "SampleDB"; }
    std::filesystem::path StylesFolder() const { return programData / "Templates"; }
};

// The folders of this user on this computer; the data folder is made when missing and is the
// program folder when it can't be.
ShellFolders FindShellFolders();

// True when an argument after the program's name is "/debug" in any letter case.
bool DebugSwitchGiven(const std::vector<std::string>& arguments);

// What the shell needs of its window. The dialog calls return nothing when cancelled.
class ShellView {
public:
    virtual ~ShellView() = default;
    virtual void SetCaption(const std::string& title) = 0;
    // The tree shows the open database's top level (or nothing) anew.
    virtual void RebuildTree() = 0;
    // The shell holds a new customisation: what shows the old one (status icons, the page)
    // takes the new one.
    virtual void ShowNewCustomisation() = 0;
    // An empty list pane and a blank web view.
    virtual void ClearRightPane() = 0;
    // Status bar part 1.
    virtual void ShowCurrentUser(const std::string& text) = 0;
    // Status bar part 2: the progress counter's text, empty when it is cleared.
    virtual void ShowProgress(const std::string& text) = 0;
    // The set-user dialog, when the user asked to choose a new current user.
    virtual void RunSetUserDialog() = 0;

    struct StartupAnswer {
        StartupChoice choice = StartupChoice::Cancel;
        bool showAtStartup = true;
    };
    // The start-up options dialog, showing the last database's name.
    virtual StartupAnswer AskStartupOptions(const std::string& lastDatabaseName) = 0;
    // The open-database file dialog: the chosen marker file.
    virtual std::optional<std::filesystem::path> AskDatabaseFile() = 0;
    // The new-database dialog: the typed folder.
    virtual std::optional<std::filesystem::path> AskNewDatabaseFolder() = 0;
};

// Told when the database's file server lets a second exclusive create of one file succeed:
// the database opens read-only.
Notice UnsafeLocksNotice(const std::filesystem::path& databaseDir);

class Shell {
public:
    Shell(UserPort& port, ShellView& view, ShellFolders folders,
          UserIdentity identity = CurrentIdentity());
    ~Shell();
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // The start-up before the window shows: the debug log when "/debug" is given, the
    // configuration, the month names, the temporary folder, and on a first start the sample
    // database copied into the data folder, unless the command line names the database to
    // open (databaseNamed): a user who asked for one database gets no other.
    void Start(const std::vector<std::string>& arguments, bool databaseNamed = false);
    // The start-up once the window shows: the database the configuration or the start-up
    // options choose is opened or created, and the caption set.
    void OpenAtStartup();

    // Opens the database in folder (or of the given marker file): the configuration remembers
    // it, the tree is rebuilt, the customisation read, the current user shown. An older
    // database is converted after asking, or closed again.
    bool OpenDatabase(const std::filesystem::path& databaseOrMarker);
    // Runs the new-database dialog and creates the database it names.
    bool OnNewDatabase();
    void OnCloseDatabase();
    // True when the open database's folder is no longer there (moved, renamed or removed
    // while it was open), or another folder stands at its path.
    bool DatabaseGone() const;
    // Tells the user that the database's folder went away or was replaced, and closes the
    // database.
    void CloseGoneDatabase();

    const ShellFolders& Folders() const { return m_folders; }
    Config& Configuration() { return *m_config; }
    VantorelDatabase& Database() { return m_database; }
    // The customisation as it stands, for a use on the window's thread that ends before the
    // next replacement.
    const CustomCfg& Custom() const { return *m_custom; }
    // The same, as a snapshot nothing changes: a worker, a page being made or a dialog holds
    // this, and reads what it held to its end whatever the shell does meanwhile.
    CustomSnapshot SharedCustom() const { return m_custom; }
    // Takes a changed customisation (the current user set, the customisation sheet's OK) as
    // the new snapshot, and has the view show it.
    void ReplaceCustom(CustomCfg custom);
    // The open database can be read but not written here: this user may not create files in
    // its folder, or its file server can't keep lock files exclusive.
    bool ReadOnly() const { return m_readOnly; }
    // The status bar's first part: "Ready", or that the open database is read-only here.
    std::string StateText() const;
    StatusProgress& Progress() { return m_progress; }
    // Shows numbers a long operation reported, in the status bar.
    void ReportProgress(int processed, int total);
    Clipboard& ItemClipboard() { return m_clipboard; }
    const std::string& CurrentUser() const { return m_currentUser; }
    // Who this program works as: the computer and user its locks name.
    const UserIdentity& Identity() const { return m_identity; }
    std::string Title() const;
    // Takes the current user from the customisation again (after the set-user dialog, say)
    // and shows it.
    void RefreshCurrentUser();

private:
    void ShowProgress();
    // "Current user: %s" in the status bar, with how to choose one when there is none.
    void ShowCurrentUser();
    void CopySampleDatabaseOnFirstStart();
    // The open database becomes the last one and heads the recent list; the file is written
    // when that changed anything, or always when asked.
    void RememberDatabase(bool alwaysSave);
    // Lifts the write protection this shell put on its database, if it did.
    void EndOwnWriteProtection();
    // Reads the open database's customisation into a new snapshot.
    CustomReadOutcome ReadCustom();

    UserPort& m_port;
    ShellView& m_view;
    ShellFolders m_folders;
    UserIdentity m_identity;
    std::optional<Config> m_config;
    VantorelDatabase m_database;
    // Replaced whole, never changed in place: snapshots handed out stay as they were.
    CustomSnapshot m_custom = std::make_shared<const CustomCfg>();
    StatusProgress m_progress;
    Clipboard m_clipboard;
    std::string m_currentUser;
    bool m_readOnly = false;
    std::optional<std::filesystem::path> m_protected;  // the database this shell protected
    // Where the open database's folder lies on its disk, to tell it from another put in its
    // place.
    std::optional<std::pair<dev_t, ino_t>> m_databaseFolder;
};

}  // namespace vantorel
