#include "desktop/qt_port.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QThread>
#include <memory>

namespace vantorel {
namespace {

QMessageBox::Icon BoxIcon(Icon icon) {
    switch (icon) {
        case Icon::Question:
            return QMessageBox::Question;
        case Icon::Information:
            return QMessageBox::Information;
        case Icon::Error:
            return QMessageBox::Critical;
        case Icon::Warning:
            break;
    }
    return QMessageBox::Warning;
}

}  // namespace

QtPort::QtPort(QObject* parent) : QObject(parent) {}

void QtPort::tell(const Notice& notice) {
    OnWindowThread(notice, false);
}

bool QtPort::ask(const Notice& question) {
    return OnWindowThread(question, true);
}

bool QtPort::OnWindowThread(const Notice& notice, bool question) {
    if (QThread::currentThread() == thread())
        return Show(notice, question);
    struct Call {
        std::uint64_t releases = 0;
        bool done = false, answer = false;
    };
    auto call = std::make_shared<Call>();
    {
        std::lock_guard lock(m_callMutex);
        if (m_released)
            return false;
        call->releases = m_releases;
    }
    QMetaObject::invokeMethod(
        this,
        [this, call, notice, question] {
            {
                std::lock_guard lock(m_callMutex);
                if (call->releases != m_releases)
                    return;
            }
            const bool answer = Show(notice, question);
            std::lock_guard lock(m_callMutex);
            call->answer = answer;
            call->done = true;
            m_callAnswered.notify_all();
        },
        Qt::QueuedConnection);
    std::unique_lock lock(m_callMutex);
    m_callAnswered.wait(lock, [&] { return call->done || call->releases != m_releases; });
    return call->done && call->answer;
}

void QtPort::SetWorkersReleased(bool released) {
    std::lock_guard lock(m_callMutex);
    m_released = released;
    if (released) {
        ++m_releases;
        m_callAnswered.notify_all();
    }
}

bool QtPort::Show(const Notice& notice, bool question) {
    // Messages are plain text: they quote paths and names, which may hold "<" or "&".
    // Over the dialog that is open, when one is, so the box stands above what it speaks of.
    QWidget* over = QApplication::activeModalWidget();
    QMessageBox box(BoxIcon(notice.icon), QString::fromStdString(notice.caption),
                    QString::fromStdString(notice.text), QMessageBox::NoButton,
                    over ? over : m_window.data());
    box.setTextFormat(Qt::PlainText);
    if (!question) {
        box.setStandardButtons(QMessageBox::Ok);
        box.exec();
        return true;
    }
    if (notice.tick.empty()) {
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box.setDefaultButton(QMessageBox::No);
        return box.exec() == QMessageBox::Yes;
    }
    auto* tick = new QCheckBox(QString::fromStdString(notice.tick), &box);
    box.setCheckBox(tick);
    box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
    return box.exec() == QMessageBox::Ok && tick->isChecked();
}

void QtPort::progress(int processed, int total) {
    m_latest = static_cast<std::uint64_t>(static_cast<std::uint32_t>(processed)) << 32 |
               static_cast<std::uint32_t>(total);
    // One call waits on the window's queue at a time, and it shows the newest numbers.
    if (m_progressPosted.exchange(true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_progressPosted = false;
            const std::uint64_t latest = m_latest;
            emit progressReported(static_cast<int>(latest >> 32), static_cast<int>(latest));
        },
        Qt::QueuedConnection);
}

}  // namespace vantorel
