#pragma once
// The port as the desktop shows it: message boxes with the core's caption, text and icon,
// Yes/No questions, and the progress counter handed to the status bar. Workers call it from
// their own threads: a message or question is carried to the window's thread and the worker
// waits there for the answer; progress is only noted and shown when the window next gets to
// it, so a worker never waits for the window. Before the window's thread waits for a worker
// to end, it releases the workers' pending messages, so neither waits for the other.

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "platform/user_port.h"

namespace vantorel {

class QtPort : public QObject, public UserPort {
    Q_OBJECT
public:
    // Lives on the window's thread, the thread that makes it.
    explicit QtPort(QObject* parent = nullptr);

    // The window the message boxes belong to.
    void SetWindow(QWidget* window) { m_window = window; }

    void tell(const Notice& notice) override;
    bool ask(const Notice& question) override;
    void progress(int processed, int total) override;

    // Gives up every message or question a worker waits on, or has sent and not yet seen shown,
    // and those it sends until released is false again.
    void SetWorkersReleased(bool released) override;

signals:
    // On the window's thread, with the latest numbers a worker reported.
    void progressReported(int processed, int total);

private:
    bool Show(const Notice& notice, bool question);
    // Runs show on the window's thread and returns its answer.
    bool OnWindowThread(const Notice& notice, bool question);

    QPointer<QWidget> m_window;
    // processed in the high half, total in the low one, so both are read as one pair.
    std::atomic<std::uint64_t> m_latest{0};
    std::atomic<bool> m_progressPosted{false};

    // A worker's message is shown only if no release came between its sending and its turn.
    std::mutex m_callMutex;
    std::condition_variable m_callAnswered;
    std::uint64_t m_releases = 0;
    bool m_released = false;
};

}  // namespace vantorel
