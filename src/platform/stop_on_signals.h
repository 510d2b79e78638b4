#pragma once
// A command-line run that is interrupted (Ctrl-C, or the TERM signal of a scheduler) ends as a
// cancelled operation does: between documents, with nothing half-written and the reason in
// the error log. A second signal ends the program at once.

#include <signal.h>

#include <atomic>
#include <stop_token>
#include <thread>

namespace vantorel {

class StopOnSignals {
public:
    // Takes SIGINT and SIGTERM from every thread started after it, so it must be made before
    // any other thread of the program.
    StopOnSignals();
    ~StopOnSignals();
    StopOnSignals(const StopOnSignals&) = delete;
    StopOnSignals& operator=(const StopOnSignals&) = delete;

    std::stop_token Token() const { return m_stop.get_token(); }

private:
    void Wait();

    sigset_t m_signals;
    std::stop_source m_stop;
    std::atomic<bool> m_closing{false};
    std::thread m_waiter;
};

}  // namespace vantorel
