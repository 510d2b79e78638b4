#pragma once
// What the window tests share: a test class over one copy of the sample database made as the
// class starts, each test with a folder of its own, a window over a fresh copy of that database
// talking to a recording port (or a port of the test's choosing), and the answering of modal
// dialogs.

#include <QApplication>
#include <QDialog>
#include <QTemporaryDir>
#include <QTimer>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "desktop/main_window.h"
#include "storage/thread_guard.h"
#include "support/recording_port.h"

namespace vantorel::gui_test {

// Shell folders below root: data, configuration and temporary folders of their own, the
// program's folder where the sample database ships.
ShellFolders FoldersBelow(const std::filesystem::path& root);

// The sample database's project.
inline constexpr char kSampleProject[] = "Release 2.0";

// A test that drives a dialog's model itself, or reads on disk what the window did, reads on
// the window's thread: it says so with WindowThreadMayRead and this reason.
inline constexpr char kTestReads[] = "the test reads what it drives or checks";
template <typename Read>
auto TestReads(Read read) {
    WindowThreadMayRead checking(kTestReads);
    return read();
}

// Once told to hold, keeps a worker's next progress report or question waiting until the test
// lets it go, so that the test's Cancel (or the window's close) comes while the work runs; notes
// the thread each notice was told on.
class GatedPort : public RecordingPort {
public:
    void tell(const Notice& notice) override;
    bool ask(const Notice& question) override;
    void progress(int processed, int total) override;
    // The window waits for its workers to end: the work goes on, as a worker waiting for the
    // user would.
    void SetWorkersReleased(bool released) override;
    void Hold();
    void Open();

    std::atomic<bool> held{false};
    std::vector<std::thread::id> toldOn;

private:
    void WaitWhileHeld();

    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_armed = false;
    bool m_open = true;
};

// What the page view shows, as text or as HTML; empty when the page never answers, which the
// callers' checks then catch.
QString PageText(PageView& view);
QString PageHtml(PageView& view);
// What script returns when run in the shown page; invalid when the page never answers.
QVariant PageScript(PageView& view, const QString& script);

// What keeps a keyboard or screen reader user from window, in words: the steps Tab takes back
// against the reading order (to a control above, or in the same row to the left, that is not
// in a column further right) besides the one where it wraps round, and the first Tab stop read
// without a name. Empty when Tab follows the layout and every stop has a name.
QString TabStopFaults(QWidget& window);

template <typename Port>
struct OpenWindow {
    std::filesystem::path root;
    Port port;
    std::unique_ptr<MainWindow> window;
    std::filesystem::path database;
};

// The base of every window test class.
class WindowTest : public QObject {
    Q_OBJECT
protected:
    // The running test's own folder.
    std::filesystem::path Root() const;
    QString RootFile(const QString& name) const;
    // A fresh copy of the sample database below into.
    std::filesystem::path CopyDatabase(const std::filesystem::path& into) const;

    // A shown window below Root() (or a folder of it), with a fresh copy of the sample database
    // open.
    template <typename Port = RecordingPort>
    std::unique_ptr<OpenWindow<Port>> Open(const std::filesystem::path& folder = {}) {
        auto open = std::make_unique<OpenWindow<Port>>();
        open->root = folder.empty() ? Root() : Root() / folder;
        open->database = CopyDatabase(open->root);
        open->window = std::make_unique<MainWindow>(open->port, FoldersBelow(open->root));
        if constexpr (requires { open->port.SetWindow(open->window.get()); })
            open->port.SetWindow(open->window.get());
        StartShown(*open->window, open->database);
        return open;
    }

    // Runs handle on the next modal dialog (the one of that object name, when given) once it is
    // the active one, and fails when the dialog's Tab order leaves its reading order or one of
    // its Tab stops has no name. What waits for a dialog that never opened goes as the test ends.
    void WhenModalOpens(std::function<void(QDialog&)> handle, const QString& name = {});

private slots:
    void initTestCase();
    void init();
    void cleanup();

private:
    static void StartShown(MainWindow& window, const std::filesystem::path& database);

    QTemporaryDir m_class;
    std::optional<QTemporaryDir> m_test;
    std::vector<std::unique_ptr<QTimer>> m_answers;
};

}  // namespace vantorel::gui_test
