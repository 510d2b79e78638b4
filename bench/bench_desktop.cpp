// The desktop window on a large database: how long the tree takes to show a big suite, how
// long a test case's page takes to appear, how long the project test case's dialog takes to
// show one with 1,000 history blocks, how long the window's thread is kept waiting while
// a large paste runs, how long it is kept waiting while the report wizard makes a status report
// of the whole project (and how long that takes, to set beside bench/run's command-line
// status report), how long the progress chart of 100 periods and 10 statuses takes to draw,
// and how much memory the program holds. Figures are printed one a line.
//
//   vantorel_bench_desktop DATABASE            the figures (DATABASE from vantorel_make_database)
//   vantorel_bench_desktop --wizard DATABASE   three status reports made by the wizard only, to
//                                              time beside the command line's in one sitting
//   vantorel_bench_desktop --startup DATABASE  opens the window and ends once it has painted the
//                                              open database's tree, telling how long after the
//                                              process started
//   vantorel_bench_desktop --list DATABASE     a list pane of 10,000 project test cases: first
//                                              and all rows, the suites' totals beside rg, and
//                                              how late the window's thread came meanwhile
//   vantorel_bench_desktop --latency DATABASE  how late the window's thread comes while a user
//                                              duplicates and deletes a big suite, opens pages,
//                                              dialogs and a huge field, and while another
//                                              process rewrites a shown suite; each stall of
//                                              50 ms or more with the thread's stacks

#include <QApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <execinfo.h>
#include <signal.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QRadioButton>

#include "charts/chart_painter.h"
#include "desktop/desktop_program.h"
#include "desktop/main_window.h"
#include "desktop/qt_port.h"
#include "desktop/reports/report_wizard_dialog.h"
#include "desktop/tree/tree_actions.h"
#include "desktop/widgets/spelling.h"
#include "render/charts.h"
#include "reports/progress_report.h"
#include "workspace/item_transfer.h"

namespace {

namespace fs = std::filesystem;
using vantorel::MainWindow;

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// A /proc/self/status figure in MiB ("VmRSS", "VmHWM").
double MemoryMiB(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.starts_with(field))
            return std::stod(line.substr(std::strlen(field) + 1)) / 1024.0;
    return 0;
}

// Seconds since this process started, from the kernel's start time of the process.
double ProcessAge() {
    std::ifstream stat("/proc/self/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // The fields after the command's name, which is in parentheses; the start time is the
    // 22nd field, the 20th after the name.
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    for (int n = 3; n <= 22; ++n)
        fields >> field;
    std::ifstream uptime("/proc/uptime");
    double sinceBoot = 0;
    uptime >> sinceBoot;
    return sinceBoot - std::stod(field) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// The user planning the paste: every question is answered Yes and written out, so a run
// shows what it agreed to.
class AgreeingPort : public vantorel::UserPort {
public:
    void tell(const vantorel::Notice& notice) override {
        std::printf("told: %s\n", notice.text.c_str());
    }
    bool ask(const vantorel::Notice& question) override {
        std::printf("asked, answered Yes: %s\n", question.text.c_str());
        return true;
    }
    void progress(int, int) override {}
};

// Runs the event loop until the window has painted what is waiting.
void Paint(MainWindow& window) {
    QCoreApplication::processEvents();
    window.repaint();
}

// The n-th test case of a suite SuiteOfCopies made: "Big-00042.vtl" in "Big".
fs::path CopyIn(const fs::path& suite, int n) {
    char name[32];
    std::snprintf(name, sizeof name, "-%05d.vtl", n);
    return suite / (suite.filename().string() + name);
}

// A suite of count copies of one project test case, made once.
fs::path SuiteOfCopies(const fs::path& cases, const std::string& name, int count) {
    const fs::path suite = cases / name;
    if (fs::exists(suite))
        return suite;
    fs::path sample;
    for (const auto& entry : fs::recursive_directory_iterator(cases))
        if (entry.path().extension() == ".vtl") {
            sample = entry.path();
            break;
        }
    fs::create_directories(suite);
    for (int n = 0; n < count; ++n)
        fs::copy_file(sample, CopyIn(suite, n));
    return suite;
}

// A copy of the project test case sample beside it with blocks history entries appended.
fs::path LongHistory(const fs::path& sample, int blocks) {
    std::string text = ReadFile(sample);
    std::string history;
    for (int n = 0; n < blocks; ++n) {
        char block[512];
        std::snprintf(block, sizeof block,
                      "<history_entry>\r\n<time>10:%02d:00</time>\r\n<date>%02d-%02d-%04d</date>"
                      "\r\n<type>ET_UPDATE</type>\r\n<old_status>Fail</old_status>\r\n"
                      "<new_status>Pass</new_status>\r\n<num_tries>%d</num_tries>\r\n"
                      "<build>b%d</build>\r\n<version>1.0</version>\r\n<phase>Beta</phase>"
                      "\r\n</history_entry>\r\n",
                      n % 60, n % 28 + 1, n / 28 % 12 + 1, 2000 + n / 336, n + 1, n);
        history += block;
    }
    text.insert(text.rfind("</project_test_case>"), history);
    const fs::path copy = sample.parent_path() / "LONG-HISTORY.vtl";
    std::ofstream(copy, std::ios::binary) << text;
    return copy;
}

// Asks the window's thread every 5 ms how late it comes, while it runs. A watcher on a thread
// of its own notes, once the window's thread is stallMs overdue, what that thread is doing (its
// state, the kernel's stack of it and its own stack), again at 250 ms, 500 ms, 1 s... while the
// stall lasts, and how long it lasted, so a stall that comes once in a few runs names its cause.
class LatencyProbe {
public:
    explicit LatencyProbe(int stallMs = 250) : m_stallMs(stallMs) {
        m_tick.setInterval(5);
        QObject::connect(&m_tick, &QTimer::timeout, [this] {
            Sample();
            m_lastTick = Now();
        });
        m_probe.start();
        m_lastTick = Now();
        m_tick.start();
        m_watcher = std::jthread([this](std::stop_token stop) { Watch(stop); });
    }
    // "max %.1f ms, 99th percentile %.1f ms" of what was measured, and what the window's
    // thread was doing in each stall.
    std::string Figures() {
        m_tick.stop();
        Sample();  // the time since the last tick, in which the thread may have been held
        m_watcher = {};
        std::sort(m_lateness.begin(), m_lateness.end());
        const double p99 = m_lateness.empty() ? 0 : m_lateness[m_lateness.size() * 99 / 100];
        char text[96];
        std::snprintf(text, sizeof text, "max %.1f ms, 99th percentile %.1f ms",
                      m_lateness.empty() ? 0 : m_lateness.back(), p99);
        return text + m_stalls;
    }

private:
    void Sample() {
        m_lateness.push_back(std::max(0.0, static_cast<double>(m_probe.nsecsElapsed()) / 1e6 - 5));
        m_probe.restart();
    }
    static std::int64_t Now() {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
    void Watch(const std::stop_token& stop) {
        const std::string task = "/proc/self/task/" + std::to_string(::getpid());
        // backtrace loads its unwinder on first use: not in the signal handler.
        void* warm[1];
        ::backtrace(warm, 1);
        std::int64_t stalled = -1;  // the last tick before the stall being noted
        std::int64_t nextNote = 0, gap = 0;
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const std::int64_t last = m_lastTick;
            if (stalled >= 0 && last != stalled) {
                m_stalls += "  (it came after " + std::to_string(last - stalled) + " ms)\n";
                stalled = -1;
            }
            const std::int64_t overdue = Now() - last;
            if (overdue < m_stallMs || (stalled >= 0 && Now() < nextNote))
                continue;
            m_stalls += (stalled < 0 ? "\n  window thread " : "  still, ") +
                        std::to_string(overdue) + " ms late, ";
            if (stalled < 0)
                gap = 250;
            stalled = last;
            nextNote = last + gap;
            gap *= 2;
            std::string state = ReadFile(task + "/stat");
            // The state is the field after the name in parentheses.
            const auto close = state.rfind(')');
            state = close == std::string::npos ? "?" : state.substr(close + 2, 1);
            m_stalls += "state " + state + ", in the kernel at:\n" + ReadFile(task + "/stack") +
                        "  and in the program at:\n" + UserStack();
        }
    }

    // The window's thread's own stack, taken by a signal it is sent: the frames as
    // "binary(+offset)" for addr2line.
    static std::string UserStack() {
        static std::atomic<int> taken{-1};
        static void* frames[48];
        struct sigaction action {};
        action.sa_handler = [](int) { taken = ::backtrace(frames, 48); };
        ::sigaction(SIGRTMIN + 3, &action, nullptr);
        taken = -1;
        ::tgkill(::getpid(), ::getpid(), SIGRTMIN + 3);
        for (int wait = 0; wait < 50 && taken < 0; ++wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (taken < 0)
            return "    (no answer)\n";
        std::string text;
        char** names = ::backtrace_symbols(frames, taken);
        // From the frame the signal came in, after the handler's and the signal return's.
        for (int frame = 2; names && frame < taken; ++frame)
            text += std::string("    ") + names[frame] + "\n";
        std::free(names);
        return text;
    }

    const int m_stallMs;
    QTimer m_tick;
    QElapsedTimer m_probe;
    std::vector<double> m_lateness;
    std::atomic<std::int64_t> m_lastTick{0};
    std::string m_stalls;  // the watcher's until it is joined
    std::jthread m_watcher;
};

// Long enough for a copy of 5,000 files across a slow link.
constexpr int kPatienceMs = 30 * 60 * 1000;

// Runs the window's event loop until done() holds, at most patienceMs. QTest::qWaitFor sleeps
// 10 ms between its rounds, which a probe of the window's thread would count as lateness.
bool WaitFor(const std::function<bool()>& done, int patienceMs = kPatienceMs) {
    const QDeadlineTimer deadline(patienceMs);
    QTimer wake;  // looks at done() again while no other event comes
    wake.start(5);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// Selects path in the tree and waits for its page.
bool PageLoaded(MainWindow& window, const fs::path& path, int patienceMs = kPatienceMs) {
    QSignalSpy loaded(&window.Page(), &QWebEngineView::loadFinished);
    window.SelectPath(path);
    const bool ended = loaded.wait(patienceMs);
    Paint(window);
    return ended;
}

// Hands each modal window that shows to answer, from the event loop that shows it (a question
// or a dialog runs its own), until answer says it is done or this object goes. The poll spins the
// window's event loop, so it stops as soon as it is no longer needed.
class ModalAnswers {
public:
    explicit ModalAnswers(std::function<bool(QWidget&)> answer) {
        m_poll.setInterval(0);
        QObject::connect(&m_poll, &QTimer::timeout, [this, answer = std::move(answer)] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal && answer(*modal))
                m_poll.stop();
        });
        m_poll.start();
    }

private:
    QTimer m_poll;
};

// A message box the run did not expect (a refusal, a warning): its text is printed and it is
// closed. False for any other window.
bool DismissedMessage(QWidget& modal) {
    auto* box = qobject_cast<QMessageBox*>(&modal);
    if (!box)
        return false;
    std::printf("message closed: %s\n", qPrintable(box->text()));
    box->reject();
    return true;
}

// Runs command, which opens a dialog: the time on timer when it is painted, then it is
// cancelled; below 0 when no dialog came.
double DialogShown(MainWindow& window, int command, const QElapsedTimer& timer) {
    double shownMs = -1;
    ModalAnswers cancel([&](QWidget& modal) {
        if (DismissedMessage(modal))
            return false;
        modal.repaint();
        shownMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        qobject_cast<QDialog*>(&modal)->reject();
        return true;
    });
    window.RunCommand(command);
    return shownMs;
}

// The wizard's Next, and the wait for the model's step on its worker.
bool WizardNext(vantorel::ReportWizardDialog& wizard) {
    wizard.next();
    return WaitFor([&wizard] { return !wizard.Busy(); });
}

// The report wizard makes a status report of the whole of project as a user would, its page
// checks and the generation on its worker; the window's thread is probed meanwhile.
void WizardStatusReport(MainWindow& window, const fs::path& project) {
    window.SelectPath(project);
    Paint(window);
    window.RunCommand(vantorel::ID_REPORT_WIZARD);
    auto* wizard = window.findChild<vantorel::ReportWizardDialog*>();
    if (!wizard || !WaitFor([wizard] { return !wizard->Busy(); })) {
        std::printf("the wizard did not open\n");
        return;
    }
    QElapsedTimer timer;
    timer.start();
    LatencyProbe probe;
    WizardNext(*wizard);  // the project
    WizardNext(*wizard);  // the kind
    wizard
        ->findChild<QRadioButton*>(
            QString("wizardKind%1").arg(static_cast<int>(vantorel::ReportKind::Status)))
        ->click();
    WizardNext(*wizard);  // the filter
    WizardNext(*wizard);  // the suites, every one ticked
    WizardNext(*wizard);  // to the last page
    const double pagesMs = timer.nsecsElapsed() / 1e6;
    QSignalSpy ended(wizard, &vantorel::ReportWizardDialog::generationEnded);
    timer.restart();
    wizard->button(QWizard::CustomButton1)->click();
    if (!WaitFor([&] { return ended.count() == 1; }) || !ended.first().first().toBool())
        std::printf("the wizard's report was not made\n");
    const double generationS = timer.elapsed() / 1e3;
    const std::string late = probe.Figures();
    std::printf("wizard status report            %8.2f s (pages before it %.0f ms)\n", generationS,
                pagesMs);
    std::printf("window thread late during it    %s\n", late.c_str());
    wizard->button(QWizard::FinishButton)->click();
    Paint(window);
}

// The progress chart of 100 periods and 10 statuses drawn at the report window's size, as a
// paint event draws it: the median and the slowest of 50 draws.
void ProgressChartDrawing() {
    vantorel::ProgressReportData report;
    report.periods = 100;
    report.startDate = "20260101";
    for (int status = 0; status < 10; ++status) {
        report.statuses.push_back("Status " + std::to_string(status));
        report.colours.push_back(static_cast<vantorel::ReportColour>(0x203040 * (status + 1)));
        // As a project's counts go: each status rises or falls over the periods, a little
        // unevenly from one period to the next.
        std::vector<std::int64_t> counts;
        for (int period = 0; period < 100; ++period)
            counts.push_back(status % 2 == 0 ? 10000 - period * (60 + status * 5)
                                             : period * (40 + status * 7) + period % 7 * 30);
        report.series.push_back(std::move(counts));
    }
    for (int period = 0; period < 100; ++period) {
        char date[16];
        std::snprintf(date, sizeof date, "2026%02d%02d", 1 + period / 28, 1 + period % 28);
        report.periodDates.push_back(date);
    }
    report.lastDataIndex = 99;
    const vantorel::Chart chart = vantorel::ProgressLineChart(report);
    QImage canvas(1000, 480, QImage::Format_ARGB32_Premultiplied);
    std::vector<double> times;
    for (int draw = 0; draw < 50; ++draw) {
        QElapsedTimer timer;
        timer.start();
        QPainter painter(&canvas);
        painter.fillRect(canvas.rect(), Qt::white);
        vantorel::PaintChart(painter, chart, canvas.rect());
        painter.end();
        times.push_back(timer.nsecsElapsed() / 1e6);
    }
    std::sort(times.begin(), times.end());
    std::printf("progress chart, 100 periods x 10 statuses  median %.1f ms, slowest %.1f ms\n",
                times[times.size() / 2], times.back());
}

// The test case of the burst's other process that it adds last, once the rewrites are done.
fs::path BurstEnd(const fs::path& suite) {
    return suite / "Burst-end.vtl";
}

// The other process of the burst: the first count test cases of suite rewritten in place, each
// with another status, then BurstEnd added.
int RewriteTestCases(const fs::path& suite, int count) {
    std::string text;
    for (int n = 0; n < count; ++n) {
        text = ReadFile(CopyIn(suite, n));
        const std::size_t value = text.find("<test_status>") + std::strlen("<test_status>");
        const std::size_t end = text.find("</test_status>");
        if (value > end || end == std::string::npos)
            return 1;
        text.replace(value, end - value,
                     text.compare(value, end - value, "Fail") ? "Fail" : "Pass");
        std::ofstream(CopyIn(suite, n), std::ios::binary | std::ios::trunc) << text;
    }
    std::ofstream(BurstEnd(suite), std::ios::binary) << text;
    return 0;
}

// The shipped sample's Login suite in the library, made once, with one more test case whose
// description is one unbroken word of 250,000 characters (a pasted log line, an encoded
// picture): that test case.
fs::path LongWordTestCase(const fs::path& database, const fs::path& sample) {
    const fs::path library = database / "Test Cases";
    const fs::path longWord = library / "Login" / "LOG-999.vtl";
    if (fs::exists(longWord))
        return longWord;
    fs::create_directories(library);
    const auto replace = fs::copy_options::recursive | fs::copy_options::overwrite_existing;
    fs::copy(sample / "Test Cases" / "Login.tgp", library / "Login.tgp", replace);
    fs::copy(sample / "Test Cases" / "Login", library / "Login", replace);
    std::string text = ReadFile(library / "Login" / "LOG-001.vtl");
    text.replace(text.find("LOG-001"), 7, "LOG-999");
    const std::string open = "<test_description><![CDATA[";
    const std::size_t begin = text.find(open) + open.size();
    std::string word(250000, 'a');
    for (std::size_t n = 0; n < word.size(); ++n)
        word[n] = static_cast<char>('a' + n % 26);
    text.replace(begin, text.find("]]>", begin) - begin, word);
    std::ofstream(longWord, std::ios::binary) << text;
    return longWord;
}

// The time on timer, or below 0 when what was waited for never came.
double Ended(bool ended, const QElapsedTimer& timer) {
    return ended ? static_cast<double>(timer.nsecsElapsed()) / 1e6 : -1;
}

// Waits for the copy or delete on the transfer worker to end and the tree to show it.
bool TransferEnded(MainWindow& window) {
    const bool ended = WaitFor([&] { return !window.Actions().TransferRunning(); });
    Paint(window);
    return ended;
}

// One thing a user does, with the window's thread probed from its start: action returns its
// wall time on the timer it is given (Ended). Prints a line of both.
void Scenario(const char* name, const std::function<double(const QElapsedTimer&)>& action) {
    QTest::qWait(500);  // what came before is over
    LatencyProbe probe(50);
    QElapsedTimer timer;
    timer.start();
    const double ms = action(timer);
    const std::string late = probe.Figures();
    char wall[32] = "did not end";
    if (ms >= 0)
        std::snprintf(wall, sizeof wall, "%9.1f ms", ms);
    std::printf("%-54s %s   window thread late: %s\n", name, wall, late.c_str());
    std::fflush(stdout);
}

// What a user does through the window, each with how late the window's thread came.
void Latencies(MainWindow& window, const fs::path& database, const fs::path& sample) {
    const fs::path cases = database / "Projects" / "Bench" / "Project Test Cases";
    const fs::path big = SuiteOfCopies(cases, "Big", 5000);
    const fs::path mid = SuiteOfCopies(cases, "Mid", 500);
    const fs::path longWord = LongWordTestCase(database, sample);
    fs::remove(BurstEnd(big));

    PageLoaded(window, big);
    Scenario("duplicate of a suite of 5,000 project test cases", [&](const QElapsedTimer& timer) {
        window.RunCommand(vantorel::ID_DUPLICATE_SUITE);
        return Ended(TransferEnded(window), timer);
    });
    const std::optional<vantorel::TreeNode> copy = window.CurrentNode();
    if (copy && copy->path.parent_path() == cases && copy->path != big) {
        Scenario("delete of the copy, answered Yes", [&](const QElapsedTimer& timer) {
            ModalAnswers yes([](QWidget& modal) {
                auto* box = qobject_cast<QMessageBox*>(&modal);
                if (box && box->button(QMessageBox::Yes)) {
                    box->button(QMessageBox::Yes)->click();
                    return true;
                }
                if (!DismissedMessage(modal))
                    qobject_cast<QDialog*>(&modal)->reject();
                return false;
            });
            window.RunCommand(vantorel::ID_DELETE_SUITE);
            return Ended(TransferEnded(window), timer);
        });
    } else {
        std::printf("the duplicate was not selected: nothing deleted\n");
    }

    Scenario("suite page listing 500 project test cases",
             [&](const QElapsedTimer& timer) { return Ended(PageLoaded(window, mid), timer); });
    Scenario("project test case page in that suite", [&](const QElapsedTimer& timer) {
        return Ended(PageLoaded(window, CopyIn(mid, 250)), timer);
    });

    PageLoaded(window, longWord.parent_path());
    Scenario("New test case on a library suite, to its dialog", [&](const QElapsedTimer& timer) {
        return DialogShown(window, vantorel::ID_NEW_TEST_CASE_DOC, timer);
    });
    PageLoaded(window, longWord);
    Scenario("Edit of a test case with a 250,000-character word", [&](const QElapsedTimer& timer) {
        return DialogShown(window, vantorel::ID_EDIT_PROPERTIES, timer);
    });

    // The suite expanded and shown; on a mount that is polled, its first listing is done before
    // the burst, so the burst is what the next listings find.
    PageLoaded(window, big);
    window.Tree().expand(window.Model().IndexOf(big));
    Paint(window);
    window.TheShell().Database().Watcher().PollNow(std::chrono::minutes(10));
    Scenario("1,000 test cases rewritten by another process", [&](const QElapsedTimer& timer) {
        QProcess other;
        other.start(QCoreApplication::applicationFilePath(),
                    {"--rewrite", QString::fromStdString(big.string()), "1000"});
        const bool ended = WaitFor([&] {
            return other.state() == QProcess::NotRunning && window.Model().Shows(BurstEnd(big));
        });
        Paint(window);
        return Ended(ended && other.exitCode() == 0, timer);
    });
    fs::remove(BurstEnd(big));
}

// Seconds of "rg -c '<test_status>'" over folder, a floor for any walk that reads every
// document; -1 without rg.
double GrepSeconds(const fs::path& folder) {
    QElapsedTimer timer;
    timer.start();
    QProcess rg;
    rg.start("rg", {"-c", "<test_status>", QString::fromStdString(folder.string())});
    if (!rg.waitForFinished(120000) || rg.exitStatus() != QProcess::NormalExit)
        return -1;
    return timer.nsecsElapsed() / 1e9;
}

// A list pane of a suite of 10,000 project test cases: its first rows and all of them; then
// the project's "Project Test Cases", whose suite rows fill in their totals, beside rg over
// the same folder; and how late the window's thread came meanwhile.
void ListPaneFigures(MainWindow& window, const fs::path& database) {
    const fs::path cases = database / "Projects" / "Bench" / "Project Test Cases";
    const fs::path ten = SuiteOfCopies(cases, "Ten", 10000);
    PageLoaded(window, cases.parent_path(), 20000);
    for (int run = 0; run < 3; ++run) {
        vantorel::ListPaneView& list = window.List();
        LatencyProbe probe(50);
        QElapsedTimer timer;
        timer.start();
        window.SelectPath(ten);
        WaitFor([&] { return list.Model().rowCount() > 0; });
        const double first = timer.nsecsElapsed() / 1e6;
        WaitFor([&] { return list.Folder() && !list.Reading(); });
        const double all = timer.nsecsElapsed() / 1e6;
        std::printf("list of %d: first rows %6.1f ms, all %6.1f ms\n", list.Model().rowCount(),
                    first, all);
        timer.restart();
        window.SelectPath(cases);
        WaitFor([&] { return list.Folder() && list.Folder()->path == cases && !list.Reading(); },
                120000);
        const double totals = timer.nsecsElapsed() / 1e9;
        // rg runs once the probe is done: the bench's own wait for it holds the window's thread.
        std::printf("window thread late meanwhile   %s\n", probe.Figures().c_str());
        std::printf("suite totals of %d suites %6.2f s, rg -c over them %6.2f s\n",
                    list.Model().rowCount(), totals, GrepSeconds(cases));
        window.SelectPath(cases.parent_path());
    }
    fs::remove_all(ten);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--rewrite") == 0)
        return RewriteTestCases(argv[2], std::atoi(argv[3]));
    const bool startupOnly = argc == 3 && std::strcmp(argv[1], "--startup") == 0;
    const bool wizardOnly = argc == 3 && std::strcmp(argv[1], "--wizard") == 0;
    const bool latencyOnly = argc == 3 && std::strcmp(argv[1], "--latency") == 0;
    const bool listOnly = argc == 3 && std::strcmp(argv[1], "--list") == 0;
    if (argc != 2 && !startupOnly && !wizardOnly && !latencyOnly && !listOnly) {
        std::fprintf(stderr,
                     "usage: vantorel_bench_desktop [--startup | --wizard | --latency | "
                     "--list] DATABASE\n");
        return 2;
    }
    const fs::path database = argv[argc - 1];
    vantorel::PrepareDesktopApplication();
    QApplication application(argc, argv);
    vantorel::ChooseWebViewRendering();
    vantorel::QtPort port;
    const vantorel::ShellFolders folders = vantorel::FindShellFolders();
    MainWindow window(port, folders);
    port.SetWindow(&window);
    QObject::connect(&port, &vantorel::QtPort::progressReported, &window,
                     &MainWindow::ShowReportedProgress);
    window.TheShell().Start({}, true);
    window.resize(1280, 800);
    window.show();
    vantorel::PrepareSpellChecker(folders.data);
    window.TheShell().OpenDatabase(database);
    Paint(window);
    if (startupOnly) {
        std::printf("process start to painted tree  %8.0f ms\n", ProcessAge() * 1000);
        return window.Model().rowCount({}) == 6 ? 0 : 1;
    }
    if (latencyOnly) {
        Latencies(window, database, folders.ShippedSampleDatabase());
        return 0;
    }
    if (listOnly) {
        ListPaneFigures(window, database);
        return 0;
    }
    if (wizardOnly) {
        for (int run = 0; run < 3; ++run)
            WizardStatusReport(window, database / "Projects" / "Bench");
        return 0;
    }
    std::printf("web view drawn by              %s\n",
                QQuickWindow::sceneGraphBackend() == "software" ? "software" : "OpenGL");
    std::printf("memory with the database open  %8.1f MiB resident\n", MemoryMiB("VmRSS:"));
    ProgressChartDrawing();

    const fs::path cases = database / "Projects" / "Bench" / "Project Test Cases";
    const fs::path big = SuiteOfCopies(cases, "Big", 5000);
    // The suite is selected first, so the folders above it are open as a user would have them,
    // and its page has come.
    PageLoaded(window, big, 20000);
    const QModelIndex suite = window.Model().IndexOf(big);
    QElapsedTimer timer;
    timer.start();
    window.Tree().expand(suite);
    Paint(window);
    std::printf("expanding a suite of %d        %8.1f ms\n", window.Model().rowCount(suite),
                timer.nsecsElapsed() / 1e6);

    PageLoaded(window, CopyIn(big, 2500), 20000);  // the web view's helper process starts here
    timer.restart();
    if (!PageLoaded(window, CopyIn(big, 4999), 20000))
        std::printf("the page did not load\n");
    std::printf("selecting a test case to its page %5.1f ms\n", timer.nsecsElapsed() / 1e6);

    // Edit on a project test case with a long history, to its sheet painted.
    const fs::path longHistory = LongHistory(CopyIn(big, 0), 1000);
    window.Model().RefreshFolder(big);
    window.SelectPath(longHistory);
    Paint(window);
    timer.restart();
    const double sheetMs = DialogShown(window, vantorel::ID_EDIT_PROPERTIES, timer);
    std::printf("project test case sheet, 1000 history blocks %5.1f ms\n", sheetMs);

    // A paste of the whole project tree on the transfer worker while a probe asks the
    // window's thread every 5 ms how late it comes.
    AgreeingPort planning;
    vantorel::Clipboard clipboard;
    const fs::path project = database / "Projects" / "Bench";
    clipboard.Copy({{project, vantorel::TV_PRJ_PRJ_FLD, "Bench"}}, planning);
    // Into the projects of a database beside this one, so nothing of this one is replaced.
    const fs::path target = database.parent_path() / "paste-target" / "Projects";
    fs::remove_all(target.parent_path());
    fs::create_directories(target);
    std::optional<vantorel::TransferPlan> plan =
        vantorel::PlanPaste(clipboard, {target, vantorel::TV_PRJ_ROOT, "Projects"}, planning);
    if (!plan)
        return 1;
    vantorel::TransferWorker worker;
    int processed = 0;
    bool finished = false;
    timer.restart();
    LatencyProbe probe;
    worker.Start(
        *plan, [&] { port.progress(++processed, plan->files); },
        [&](vantorel::TransferResult) {
            QMetaObject::invokeMethod(&window, [&] { finished = true; });
        });
    WaitFor([&] { return finished; });
    const std::string late = probe.Figures();
    std::printf("paste of %d files                %8.1f s\n", plan->files, timer.elapsed() / 1e3);
    std::printf("window thread late during paste   %s\n", late.c_str());
    WizardStatusReport(window, project);
    std::printf("peak memory                    %8.1f MiB resident\n", MemoryMiB("VmHWM:"));
    fs::remove_all(target.parent_path());
    fs::remove_all(big);
    return 0;
}
