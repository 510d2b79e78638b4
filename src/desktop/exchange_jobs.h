#pragma once
// The imports and exports of the File menu run here once their dialog has closed: one at a
// time on a worker thread, the progress counter in the status bar beside a Cancel button that
// stops the job between documents. What follows a job (the tree read again, the summary told)
// runs on the window's thread when it has ended.

#include <QObject>
#include <functional>
#include <stop_token>
#include <thread>

class QPushButton;
class QStatusBar;

namespace vantorel {

class UserPort;

class ExchangeJobs : public QObject {
    Q_OBJECT
public:
    ExchangeJobs(QStatusBar& statusBar, UserPort& port, QObject* parent = nullptr);
    // Stops a running job and waits for it; what would follow it is left out.
    ~ExchangeJobs() override;

    bool Running() const { return m_active; }
    // Runs work on the worker, then done on the window's thread. False, after telling the
    // user, while another job runs.
    bool Start(std::function<void(std::stop_token)> work, std::function<void()> done);
    // The status bar's Cancel: the job stops before its next document.
    void Cancel();
    // Stops a running job, waits for it and runs what follows it (the window or its database
    // is closing).
    void StopAndWait();

signals:
    void jobEnded();

private:
    void End();

    UserPort& m_port;
    QPushButton* m_cancel;
    std::jthread m_worker;
    std::function<void()> m_done;
    bool m_active = false;  // from Start until what follows the job has run
};

}  // namespace vantorel
