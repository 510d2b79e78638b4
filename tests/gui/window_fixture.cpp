#include "window_fixture.h"

#include <QWebEngineScript>

#include <QAccessible>
#include <QComboBox>
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

namespace {

QRect PlacedIn(QWidget& window, const QWidget& control) {
    return QRect(control.mapTo(&window, QPoint(0, 0)), control.size());
}

// The controls of window that Tab stops at, in the order it stops at them.
std::vector<QWidget*> TabStops(QWidget& window) {
    std::vector<QWidget*> stops;
    for (QWidget* next = window.nextInFocusChain(); next != &window;
         next = next->nextInFocusChain())
        if (next->window() == &window && next->isVisible() && next->isEnabled() &&
            (next->focusPolicy() & Qt::TabFocus) && !next->focusProxy())
            stops.push_back(next);
    return stops;
}

QString InWords(QWidget& control) {
    const QAccessibleInterface* read = QAccessible::queryAccessibleInterface(&control);
    return QString("%1 %2 '%3'")
        .arg(control.metaObject()->className(), control.objectName(),
             read ? read->text(QAccessible::Name) : QString());
}

QString OutOfReadingOrder(QWidget& window, std::vector<QWidget*> stops) {
    // A control scrolled out of its view has no place a reader sees.
    std::erase_if(stops, [](const QWidget* stop) { return stop->visibleRegion().isEmpty(); });
    // Controls of one row differ in height (a check box beside a list): they share a row when
    // they overlap by more than a few pixels. Going right is reading on, in the row or up to
    // the top of the next column; otherwise the later one reads first when wholly above, or in
    // the same row wholly to the left. Tab goes round: one step back, from the last stop to the
    // first, is where it wraps, wherever the chain starts.
    constexpr int kSlack = 4;
    QStringList backwards;
    for (std::size_t at = 0; at < stops.size(); ++at) {
        QWidget* from = stops[at];
        QWidget* to = stops[(at + 1) % stops.size()];
        const QRect before = PlacedIn(window, *from);
        const QRect after = PlacedIn(window, *to);
        const bool right = after.left() >= before.left() + before.width() - kSlack;
        const bool above = after.top() + after.height() <= before.top() + kSlack;
        const bool sameRow = !above && after.top() < before.top() + before.height() - kSlack;
        const bool left = after.left() + after.width() <= before.left() + kSlack;
        if (!right && (above || (sameRow && left)))
            backwards << InWords(*from) + " before " + InWords(*to);
    }
    return backwards.size() > 1 ? backwards.join(", ") : QString();
}

// A combo box reads as its current text, a choice and not what it chooses: it is named only
// by a name of its own or a label.
bool Named(QWidget& stop) {
    QAccessibleInterface* read = QAccessible::queryAccessibleInterface(&stop);
    if (!read || read->text(QAccessible::Name).trimmed().isEmpty())
        return false;
    return !qobject_cast<QComboBox*>(&stop) || !stop.accessibleName().isEmpty() ||
           !read->relations(QAccessible::Labelled).isEmpty();
}

QString FirstUnnamed(const std::vector<QWidget*>& stops) {
    for (QWidget* stop : stops)
        if (!Named(*stop))
            return "unnamed " + InWords(*stop);
    return {};
}

}  // namespace

QString TabStopFaults(QWidget& window) {
    const std::vector<QWidget*> stops = TabStops(window);
    QStringList faults{OutOfReadingOrder(window, stops), FirstUnnamed(stops)};
    faults.removeAll(QString());
    return faults.join("; ");
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
        // Read before handle closes (or deletes) it; handle runs even so, or the dialog would wait
        // for ever. Qt lays out its own dialogs (a colour's, a message box): the program's are
        // checked.
        const QString kind = dialog->metaObject()->className();
        const QString faults =
            kind == "QDialog" || !kind.startsWith('Q') ? TabStopFaults(*dialog) : QString();
        const QString title = dialog->windowTitle();
        handle(*dialog);
        QVERIFY2(faults.isEmpty(), qPrintable(title + ": " + faults));
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
    // The application keeps the modifiers of the last key event: after a test's Ctrl+X, the
    // next test's selections would be made with Ctrl held.
    QWidget released;
    QTest::keyRelease(&released, Qt::Key_Control);
}

}  // namespace vantorel::gui_test
