// vantorel: the program. With the report, export or import switches it makes one report, export
// or import without a window and ends. Otherwise it is the desktop program; where there is no
// display to show a window on, it says so, goes through the shell's start-up without a window,
// opens the database named on the command line (else the last one, the sample database on a first
// start) and tells what it holds.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>

#include <QGuiApplication>
#include <ctime>

#include "charts/chart_painter.h"
#include "desktop/desktop_program.h"
#include "exchange/about.h"
#include "exchange/command_line_export.h"
#include "exchange/command_line_import.h"
#include "platform/batch_port.h"
#include "platform/debug_log.h"
#include "platform/folders.h"
#include "platform/heap_tuning.h"
#include "platform/stop_on_signals.h"
#include "reports/command_line.h"
#include "storage/vantorel_database.h"
#include "workspace/navigation.h"
#include "workspace/startup.h"

namespace {

struct FolderCount {
    int items = 0;    // ".vtl" documents
    int folders = 0;  // suites, projects and report folders
};

FolderCount CountBelow(const std::filesystem::path& folder) {
    FolderCount count;
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator walk(folder, error), end;
         !error && walk != end; walk.increment(error)) {
        std::error_code typeError;
        if (walk->is_directory(typeError)) {
            ++count.folders;
        } else if (walk->path().extension() == ".vtl") {
            ++count.items;
        }
    }
    return count;
}

// The shell's view where no window can be shown: it keeps the caption and answers the start-up
// dialog with the last database.
class ConsoleView : public vantorel::ShellView {
public:
    void SetCaption(const std::string& title) override { caption = title; }
    void RebuildTree() override {}
    void ShowNewCustomisation() override {}
    void ClearRightPane() override {}
    void ShowCurrentUser(const std::string& text) override { currentUser = text; }
    void ShowProgress(const std::string&) override {}
    void RunSetUserDialog() override {}
    StartupAnswer AskStartupOptions(const std::string&) override {
        return {vantorel::StartupChoice::LoadLast, true};
    }
    std::optional<std::filesystem::path> AskDatabaseFile() override { return std::nullopt; }
    std::optional<std::filesystem::path> AskNewDatabaseFolder() override { return std::nullopt; }

    std::string caption;
    std::string currentUser;
};

// True when a window can be shown: an X or Wayland display, or a Qt platform chosen by hand
// (the offscreen one of the tests and screenshots).
bool HasDisplay() {
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        if (const char* value = std::getenv(variable); value && *value)
            return true;
    return false;
}

// The number of threads a report walk uses; $VANTOREL_THREADS overrides one per core, so a
// run can be compared with a run on one thread.
unsigned ReportThreads() {
    const char* threads = std::getenv("VANTOREL_THREADS");
    return threads ? static_cast<unsigned>(std::strtoul(threads, nullptr, 10)) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantorel;
    KeepHeapForChunkBuffers();
    const std::filesystem::path dataFolder = DataFolder();
    std::error_code error;
    std::filesystem::create_directories(dataFolder, error);

    BatchPort port(dataFolder / "error_log.txt", std::cerr);
    const CommandLine line = ParseCommandLine({argv + 1, argv + argc}, port);
    if (line.help) {
        std::fwrite(kUsageText, 1, std::strlen(kUsageText), stdout);
        return 0;
    }
    if (line.linuxHelp) {
        std::fputs(kLinuxHelpText, stdout);
        return 0;
    }
    if (line.version) {
        std::fputs((VersionText() + "\n" + CreditsText(qVersion())).c_str(), stdout);
        return 0;
    }
    if (line.debug)
        DebugLog::Start(dataFolder / "VantorelDebug.txt");
    if (line.refused)
        return 2;
    if (line.csvMode) {
        const StopOnSignals interrupt;
        return RunCommandLineCsvExport(line, port, interrupt.Token());
    }
    if (line.csvImportMode) {
        const StopOnSignals interrupt;
        return RunCommandLineCsvImport(line, port, interrupt.Token());
    }
    if (line.junitMode) {
        const StopOnSignals interrupt;
        return RunCommandLineJUnitImport(line, port, interrupt.Token());
    }
    if (line.testlinkMode) {
        const StopOnSignals interrupt;
        return RunCommandLineTestLinkImport(line, port, interrupt.Token());
    }
    if (line.testlinkExportMode) {
        const StopOnSignals interrupt;
        return RunCommandLineTestLinkExport(line, port, interrupt.Token());
    }
    if (line.reportMode) {
        const StopOnSignals interrupt;
        return RunCommandLineReport(line, port, ReportThreads(), interrupt.Token());
    }
    if (line.webMode) {
        // Charts are drawn without a display; Qt's own remarks (a server without
        // XDG_RUNTIME_DIR, say) go to the debug log, not among the run's messages.
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        const StopOnSignals interrupt;
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            DebugLog::Write("Qt", "%s\n", text.toLocal8Bit().constData());
        });
        QGuiApplication application(argc, argv);
        QtChartPainter charts;
        const std::time_t now = std::time(nullptr);
        struct tm local {};
        localtime_r(&now, &local);
        return RunCommandLineWebExport(line, port, &charts, ProgramDataFolder() / "Templates",
                                       {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday},
                                       interrupt.Token());
    }
    if (HasDisplay())
        return RunDesktop(argc, argv, line.databaseMarker);
    std::cerr << "vantorel: no display to show the window on (DISPLAY and WAYLAND_DISPLAY are "
                 "unset); here is what the database holds.\n";
    ConsoleView view;
    Shell shell(port, view, FindShellFolders());
    shell.Start({argv + 1, argv + argc}, !line.databaseMarker.empty());
    if (line.databaseMarker.empty())
        shell.OpenAtStartup();
    else
        shell.OpenDatabase(line.databaseMarker);
    VantorelDatabase& db = shell.Database();
    if (!db.IsOpen())
        return 1;

    std::cout << view.caption << "\n";
    std::cout << "Database " << db.Directory().string() << "\n";
    if (const auto& version = db.Version())
        std::cout << "  version " << version->version << ", build " << version->build << "\n";
    for (const TreeNode& root : TopLevelNodes(db.Directory())) {
        FolderCount count = CountBelow(root.path);
        std::cout << "  " << root.label << ": " << count.items << " items in " << count.folders
                  << " folders\n";
    }
    if (!shell.CurrentUser().empty())
        std::cout << "  " << view.currentUser << "\n";
    return 0;
}
