#include "platform/stop_on_signals.h"

#include <pthread.h>
#include <unistd.h>

namespace vantorel {

StopOnSignals::StopOnSignals() {
    sigemptyset(&m_signals);
    sigaddset(&m_signals, SIGINT);
    sigaddset(&m_signals, SIGTERM);
    // Blocked here, the signals stay blocked in every thread started later and wait for the
    // one thread that asks for them.
    pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    m_waiter = std::thread([this] { Wait(); });
}

StopOnSignals::~StopOnSignals() {
    m_closing = true;
    // Blocked in the waiter, the signal only wakes its sigwait.
    pthread_kill(m_waiter.native_handle(), SIGTERM);  // NOLINT(bugprone-bad-signal-to-kill-thread)
    m_waiter.join();
    pthread_sigmask(SIG_UNBLOCK, &m_signals, nullptr);
}

void StopOnSignals::Wait() {
    for (int signal = 0; sigwait(&m_signals, &signal) == 0;) {
        if (m_closing)
            return;
        if (m_stop.stop_requested())
            _exit(128 + signal);
        m_stop.request_stop();
    }
}

}  // namespace vantorel
