#include "window_fixture.h"

#include <QWebEngineScript>

#include <QTest>
#include <QWebEnginePage>

namespace vantorel::gui_test {
namespace fs = std::filesystem;

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

void GatedPort::tell(const Notice& notice) {
    RecordingPort::tell(notice);
    std::lock_guard lock(m_mutex);
    toldOn.push_back(std::this_thread::get_id());
}

bool GatedPort::ask(const Notice& question) {
    const bool answer = RecordingPort::ask(question);
    WaitWhileHeld();
    return answer;
}

void GatedPort::progress(int processed, int total) {
    RecordingPort::progress(processed, total);
    if (total != 0)
        WaitWhileHeld();
}

void GatedPort::WaitWhileHeld() {
    std::unique_lock lock(m_mutex);
    if (!m_armed)
        return;
    held = true;
    m_opened.wait(lock, [this] { return m_open; });
}

void GatedPort::SetWorkersReleased(bool released) {
    if (released)
        Open();
}

void GatedPort::Hold() {
    std::lock_guard lock(m_mutex);
    m_open = false;
    m_armed = true;
}

void GatedPort::Open() {
    {
        std::lock_guard lock(m_mutex);
        m_open = true;
    }
    m_opened.notify_all();
}

namespace {

template <typename Result, typename Ask>
Result PageAnswer(Ask ask) {
    // Shared with the callback: an answer that comes after the wait gave up (a loaded machine)
    // must not write into this frame, gone by then.
    struct Answer {
        Result value;
        bool done = false;
    };
    auto answer = std::make_shared<Answer>();
    ask([answer](const Result& result) {
        answer->value = result;
        answer->done = true;
    });
    return QTest::qWaitFor([&] { return answer->done; }, 10000) ? answer->value : Result();
}

}  // namespace

QString PageText(PageView& view) {
    return PageAnswer<QString>([&](auto receive) { view.page()->toPlainText(receive); });
}

QString PageHtml(PageView& view) {
    return PageAnswer<QString>([&](auto receive) { view.page()->toHtml(receive); });
}

QVariant PageScript(PageView& view, const QString& script) {
    return PageAnswer<QVariant>([&](auto receive) {
        view.page()->runJavaScript(script, QWebEngineScript::ApplicationWorld, receive);
    });
}

fs::path WindowTest::Root() const {
    return m_test->path().toStdString();
}

QString WindowTest::RootFile(const QString& name) const {
    return m_test->filePath(name);
}

fs::path WindowTest::CopyDatabase(const fs::path& into) const {
    const fs::path copy = into / "SampleCopy";
    fs::create_directories(into);
    fs::copy(fs::path(m_class.path().toStdString()) / "SampleDB", copy,
             fs::copy_options::recursive);
    return copy;
}

void WindowTest::WhenModalOpens(std::function<void(QDialog&)> handle, const QString& name) {
    QTimer* timer = m_answers.emplace_back(std::make_unique<QTimer>()).get();
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, handle = std::move(handle), name] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || (!name.isEmpty() && dialog->objectName() != name))
            return;
        timer->stop();
        handle(*dialog);
    });
    timer->start();
}

void WindowTest::StartShown(MainWindow& window, const fs::path& database) {
    Shell& shell = window.TheShell();
    shell.Start({}, true);
    shell.Configuration().Settings().showStartupDialog = false;
    window.resize(1000, 700);
    window.show();
    shell.OpenDatabase(database);
}

void WindowTest::initTestCase() {
    fs::copy(VANTOREL_SAMPLE_DB, fs::path(m_class.path().toStdString()) / "SampleDB",
             fs::copy_options::recursive);
}

void WindowTest::init() {
    m_test.emplace();
}

void WindowTest::cleanup() {
    m_answers.clear();
    m_test.reset();
}

}  // namespace vantorel::gui_test
