#pragma once
// The one narrow way the core speaks to the user. The desktop program shows message boxes, a
// command-line run writes lines to the error log, the tests record what was said.
//
// Threads. Long operations (report generation, the web export, copies and moves) run on
// worker threads, and some of them on several threads at once, so every call below may come
// from any thread, concurrently; an implementation is thread-safe. tell and ask are carried to
// the window's thread and the calling thread waits there until the user has answered; a
// worker never holds a lock of its own while it waits. progress returns at once: the window
// shows the latest numbers when it next paints, so a worker never waits for the window.
//
// Cancelling. A long operation takes a std::stop_token in its request; whoever shows its
// progress (the window's progress bar with its Cancel button) owns the std::stop_source. The
// operation checks the token between documents, removes what it had half-written, keeps what
// was there before, and tells the user it was cancelled.

#include <string>
#include <vector>

namespace vantorel {

enum class Icon { Warning, Question, Information, Error };

struct Notice {
    std::string text;
    std::string caption;
    Icon icon = Icon::Warning;
    // A question answered by ticking a box and clicking OK rather than by Yes or No (the
    // unlock dialog's "Unlock File"): the box's label, empty for a plain question.
    std::string tick = {};

    bool operator==(const Notice&) const = default;
};

class UserPort {
public:
    virtual ~UserPort() = default;
    // Shows a message and waits until the user has read it.
    virtual void tell(const Notice& notice) = 0;
    // Asks a Yes/No question; true means Yes (for a question with a tick: the box ticked and
    // OK).
    virtual bool ask(const Notice& question) = 0;
    // Long operations report how far they are; total 0 clears the counter. Never waits.
    virtual void progress(int processed, int total) = 0;
    // Set while the caller waits for a worker to end: a port where workers wait for the user
    // lets them go on as if told, or answered No, so the two never wait for each other.
    virtual void SetWorkersReleased(bool /*released*/) {}
};

// A port for work that speaks to nobody: questions are answered No, and what would have been
// told or asked is kept for the caller to report or drop.
class KeepingPort : public UserPort {
public:
    void tell(const Notice& notice) override { told.push_back(notice); }
    bool ask(const Notice& question) override {
        told.push_back(question);
        return false;
    }
    void progress(int, int) override {}

    std::vector<Notice> told;
};

// Runs wait (the join of workers that may be telling or asking the user something) with every
// message and question they wait on given up, so a worker never waits on a window that waits
// on it.
template <typename Wait>
void WaitWithWorkersReleased(UserPort& port, Wait wait) {
    port.SetWorkersReleased(true);
    wait();
    port.SetWorkersReleased(false);
}

}  // namespace vantorel
