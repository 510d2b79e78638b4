#include "window_fixture.h"

#include <QTest>
#include <QWebEnginePage>

namespace vantorel::gui_test {
namespace fs = std::filesystem;

fs::path CopySampleDatabase(const fs::path& into) {
    const fs::path copy = into / "SampleCopy";
    fs::create_directories(into);
    fs::copy(VANTOREL_SAMPLE_DB, copy, fs::copy_options::recursive);
    return copy;
}

ShellFolders FoldersBelow(const fs::path& root) {
    ShellFolders folders;
    folders.program = VANTOREL_PROGRAM_DIR;
    folders.programData = VANTOREL_PROGRAM_DIR;
    folders.data = root / "data";
    folders.config = root / "config";
    folders.temp = root / "temp";
    folders.documents = root;
    fs::create_directories(folders.data);
    return folders;
}

void WhenModalOpens(std::function<void(QDialog&)> handle) {
    auto* timer = new QTimer;
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, handle] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        timer->stop();
        timer->deleteLater();
        handle(*dialog);
    });
    timer->start();
}

namespace {

template <typename Ask>
QString PageAnswer(Ask ask) {
    QString answer;
    bool done = false;
    ask([&](const QString& result) {
        answer = result;
        done = true;
    });
    return QTest::qWaitFor([&] { return done; }, 10000) ? answer : QString();
}

}  // namespace

QString PageText(PageView& view) {
    return PageAnswer([&](auto receive) { view.page()->toPlainText(receive); });
}

QString PageHtml(PageView& view) {
    return PageAnswer([&](auto receive) { view.page()->toHtml(receive); });
}

std::unique_ptr<OpenWindow> OpenSampleWindow(const fs::path& root) {
    auto open = std::make_unique<OpenWindow>();
    open->root = root;
    open->database = CopySampleDatabase(root);
    open->window = std::make_unique<MainWindow>(open->port, FoldersBelow(root));
    Shell& shell = open->window->TheShell();
    shell.Start({}, true);
    shell.Configuration().Settings().showStartupDialog = false;
    open->window->resize(1000, 700);
    open->window->show();
    shell.OpenDatabase(open->database);
    return open;
}

}  // namespace vantorel::gui_test
