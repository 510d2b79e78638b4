#pragma once
// What the window tests share: a copy of the sample database, a window over it talking to a
// recording port, and the closing of modal dialogs a test doesn't look at.

#include <QApplication>
#include <QDialog>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>

#include "desktop/main_window.h"
#include "storage/thread_guard.h"
#include "support/recording_port.h"

namespace vantorel::gui_test {

// A fresh copy of the bundled sample database in a folder of its own.
std::filesystem::path CopySampleDatabase(const std::filesystem::path& into);

// Shell folders below root: data, configuration and temporary folders of their own, the
// program's folder where the sample database ships.
ShellFolders FoldersBelow(const std::filesystem::path& root);

// A test that drives a dialog's model itself, or reads on disk what the window did, reads on
// the window's thread: it says so with WindowThreadMayRead and this reason.
inline constexpr char kTestReads[] = "the test reads what it drives or checks";
template <typename Read>
auto TestReads(Read read) {
    WindowThreadMayRead checking(kTestReads);
    return read();
}

// Runs handle on the next modal dialog when it opens (before the call that opens it).
void WhenModalOpens(std::function<void(QDialog&)> handle);

struct OpenWindow {
    std::filesystem::path root;
    RecordingPort port;
    std::unique_ptr<MainWindow> window;
    std::filesystem::path database;
};
// What the page view shows, as text or as HTML; empty when the page never answers, which the
// callers' checks then catch.
QString PageText(PageView& view);
QString PageHtml(PageView& view);

// A shown window with a copy of the sample database open, below root.
std::unique_ptr<OpenWindow> OpenSampleWindow(const std::filesystem::path& root);

}  // namespace vantorel::gui_test
