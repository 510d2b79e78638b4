#include "desktop/off_window_thread.h"

#include <QApplication>
#include <QEventLoop>
#include <QTimer>
#include <exception>
#include <thread>

namespace vantorel {
namespace {

// Shorter work goes by without the pointer flickering.
constexpr int kBusyPointerDelayMs = 300;

}  // namespace

void RunOffWindowThread(const std::function<void()>& work) {
    QEventLoop loop;
    std::exception_ptr failure;
    bool busyPointer = false;
    QTimer busy;
    busy.setSingleShot(true);
    QObject::connect(&busy, &QTimer::timeout, [&] {
        QApplication::setOverrideCursor(Qt::BusyCursor);
        busyPointer = true;
    });
    busy.start(kBusyPointerDelayMs);
    std::thread worker([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        // Queued, so the loop ends even when the work ends before it starts.
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    worker.join();
    if (busyPointer)
        QApplication::restoreOverrideCursor();
    if (failure)
        std::rethrow_exception(failure);
}

}  // namespace vantorel
