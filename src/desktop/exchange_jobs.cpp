#include "desktop/exchange_jobs.h"

#include <QPushButton>
#include <QStatusBar>
#include <utility>

#include "platform/user_port.h"
#include "workspace/exchange_targets.h"

namespace vantorel {

ExchangeJobs::ExchangeJobs(QStatusBar& statusBar, UserPort& port, QObject* parent)
    : QObject(parent), m_port(port), m_cancel(new QPushButton("Cancel")) {
    m_cancel->setObjectName("cancelExchange");
    m_cancel->setAccessibleName("Cancel the import or export");
    m_cancel->setToolTip("Stop the import or export after the document it is writing");
    m_cancel->hide();
    statusBar.addPermanentWidget(m_cancel);
    connect(m_cancel, &QPushButton::clicked, this, &ExchangeJobs::Cancel);
}

ExchangeJobs::~ExchangeJobs() {
    if (!m_worker.joinable())
        return;
    m_worker.request_stop();
    WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
}

bool ExchangeJobs::Start(std::function<void(std::stop_token)> work, std::function<void()> done) {
    if (Running()) {
        m_port.tell(ExchangeBusyNotice());
        return false;
    }
    m_active = true;
    m_done = std::move(done);
    m_cancel->setEnabled(true);
    m_cancel->show();
    m_worker = std::jthread([this, work = std::move(work)](std::stop_token stop) {
        work(std::move(stop));
        QMetaObject::invokeMethod(this, &ExchangeJobs::End, Qt::QueuedConnection);
    });
    return true;
}

void ExchangeJobs::Cancel() {
    if (!Running())
        return;
    m_worker.request_stop();
    m_cancel->setEnabled(false);
}

void ExchangeJobs::StopAndWait() {
    if (!Running())
        return;
    if (m_worker.joinable()) {
        m_worker.request_stop();
        WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
    }
    End();
}

void ExchangeJobs::End() {
    // Called once queued from the worker and perhaps once more by StopAndWait; the first ends.
    if (!m_active)
        return;
    m_active = false;
    if (m_worker.joinable())
        m_worker.join();
    m_worker = {};
    m_cancel->hide();
    m_port.progress(0, 0);
    if (std::function<void()> done = std::exchange(m_done, nullptr))
        done();
    emit jobEnded();
}

}  // namespace vantorel
