// Runs every registered desktop test class; arguments after the program name go to Qt Test
// (a class name as the first one runs that class only).

#include <QApplication>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QWebEngineUrlScheme>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <execinfo.h>
#include <unistd.h>

#include "desktop/desktop_program.h"
#include "desktop/widgets/accessible_names.h"
#include "gui_test.h"
#include "storage/thread_guard.h"

namespace vantorel::gui_test {

std::vector<Factory>& Registry() {
    static std::vector<Factory> registry;
    return registry;
}

}  // namespace vantorel::gui_test

namespace {

void WriteOut(const char* text) {
    (void)!::write(STDERR_FILENO, text, std::strlen(text));
}

// A crash ends the run at once with the test that crashed and its stack. QtTest's own handler
// returned to the faulting instruction here, which faulted again every couple of seconds until
// the time limit, so a crash looked like a hang.
void ReportCrash(int signal) {
    WriteOut("\nCrashed with signal ");
    WriteOut(strsignal(signal));
    WriteOut(" in ");
    WriteOut(QTest::currentTestFunction() ? QTest::currentTestFunction() : "no test");
    WriteOut("\n");
    void* frames[64];
    backtrace_symbols_fd(frames, backtrace(frames, 64), STDERR_FILENO);
    // The handler was reset as it ran: the signal raised again ends the process.
    std::raise(signal);
}

void EndRunOnCrash() {
    struct sigaction action {};
    action.sa_handler = ReportCrash;
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        // A sanitizer's handler, already there, reports more than a stack: it stays.
        struct sigaction present {};
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL)
            sigaction(signal, &action, nullptr);
    }
}

// A failed check's line, with the place it failed at.
QStringList FailureLines(const QString& log) {
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {"(no log in " + log + ")"};
    QStringList lines;
    bool placePending = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith("FAIL!") || line.startsWith("XPASS")) {
            lines << line;
            placePending = true;
        } else if (placePending && line.startsWith("Loc:")) {
            lines << "  " + line;
            placePending = false;
        }
    }
    return lines;
}

}  // namespace

int main(int argc, char** argv) {
    // A home of its own, so nothing of the user's configuration is read or written.
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + "/config").toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + "/data").toUtf8());
    qputenv("VANTOREL_DATA_DIR", (home.path() + "/vantorel").toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);
    vantorel::PrepareDesktopApplication();
    QApplication application(argc, argv);
    vantorel::ChooseWebViewRendering();
    // A read on the window's thread stops the run at the test that made it.
    vantorel::MarkWindowThread(true);
    // Windows name their unlabelled controls as they do in the program, which the dialogs'
    // checks for names read.
    vantorel::UnlabelledControlsNamer namer;
    application.installEventFilter(&namer);

    QStringList arguments = application.arguments();
    QString only;
    if (arguments.size() > 1 && !arguments[1].startsWith('-'))
        only = arguments.takeAt(1);
    arguments.insert(1, "-nocrashhandler");
    EndRunOnCrash();
    int failures = 0;
    QStringList failureLines;
    for (const auto& make : vantorel::gui_test::Registry()) {
        std::unique_ptr<QObject> test = make();
        if (!only.isEmpty() && only != test->metaObject()->className() &&
            !QString(test->metaObject()->className()).endsWith("::" + only))
            continue;
        // Each class's log goes to a file too, so that its failures can be told again at the
        // end, where a log cut short to its head and tail still shows them.
        const QString log = home.filePath("class-log.txt");
        QStringList withLog = arguments;
        withLog << "-o" << log + ",txt"
                << "-o"
                << "-,txt";
        const int failed = QTest::qExec(test.get(), withLog);
        failures += failed;
        if (failed > 0)
            failureLines << FailureLines(log);
    }
    if (!failureLines.isEmpty())
        WriteOut(("\nFailures:\n" + failureLines.join('\n') + '\n').toUtf8().constData());
    return failures == 0 ? 0 : 1;
}
