// The port as the desktop shows it: message boxes with the core's words, questions answered
// on the window's thread for a worker that waits, progress that never waits.

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <thread>

#include "desktop/qt_port.h"
#include "gui_test.h"
#include "window_fixture.h"

namespace vantorel {

class QtPortTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void WorkerMessageIsShownOnTheWindowThreadWithItsWords() {
        QtPort port;
        QString caption, text;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        bool onWindowThread = false;
        WhenModalOpens([&](QDialog& dialog) {
            auto& box = static_cast<QMessageBox&>(dialog);
            caption = box.windowTitle();
            text = box.text();
            icon = box.icon();
            onWindowThread = QThread::currentThread() == qApp->thread();
            box.button(QMessageBox::Ok)->click();
        });
        std::atomic<bool> done = false;
        std::thread worker([&] {
            port.tell({"Unable to delete file: <a&b>", "Unable to delete", Icon::Error});
            done = true;
        });
        QTRY_VERIFY(done);
        worker.join();
        QCOMPARE(caption, QString("Unable to delete"));
        QCOMPARE(text, QString("Unable to delete file: <a&b>"));
        QCOMPARE(icon, QMessageBox::Critical);
        QVERIFY(onWindowThread);
    }

    // The window's thread waits for a worker to end only with the workers released: a
    // question sent just before or after is answered No and never shown.
    void AReleasedWorkerGoesOnWithoutTheWindow() {
        QtPort port;
        const Notice question{"Overwrite?", "Overwrite existing item", Icon::Question};
        std::atomic<bool> asking = false;
        bool before = true, after = true;
        std::thread worker([&] {
            asking = true;
            before = port.ask(question);
        });
        while (!asking)
            std::this_thread::yield();
        port.SetWorkersReleased(true);
        worker.join();
        std::thread late([&] { after = port.ask(question); });
        late.join();
        port.SetWorkersReleased(false);
        QVERIFY(!before);
        QVERIFY(!after);

        bool shown = false;
        QTimer::singleShot(0, [&] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                shown = true;
                modal->close();
            }
        });
        QCoreApplication::processEvents();
        QVERIFY(!shown);
    }

    void QuestionsAnswerYesOrNoAndATickNeedsTickAndOk() {
        QtPort port;
        const Notice plain{"Really delete all lock files?", "Delete confirmation", Icon::Question};
        const Notice unlock{"Unable to open file for editing.", "File locked", Icon::Warning,
                            "Unlock File"};
        // Each row: the question, the tick given, the button clicked, and the answer.
        for (const auto& [question, tick, button, answer] :
             {std::tuple{plain, false, QMessageBox::Yes, true},
              std::tuple{unlock, false, QMessageBox::Ok, false},
              std::tuple{unlock, true, QMessageBox::Ok, true},
              std::tuple{unlock, true, QMessageBox::Cancel, false}}) {
            WhenModalOpens([&, tick = tick, button = button](QDialog& dialog) {
                auto& box = static_cast<QMessageBox&>(dialog);
                if (box.checkBox()) {
                    QCOMPARE(box.checkBox()->text(), QString("Unlock File"));
                    box.checkBox()->setChecked(tick);
                }
                box.button(button)->click();
            });
            QCOMPARE(port.ask(question), answer);
        }
    }

    void WorkerProgressArrivesAsItsLatestNumbers() {
        QtPort port;
        QSignalSpy reported(&port, &QtPort::progressReported);
        std::thread worker([&] {
            for (int processed = 1; processed <= 5000; ++processed)
                port.progress(processed, 5000);
        });
        worker.join();
        QTRY_VERIFY(!reported.isEmpty());
        QTRY_COMPARE(reported.last().at(0).toInt(), 5000);
        QCOMPARE(reported.last().at(1).toInt(), 5000);
        // Many steps, few repaints: the window is never flooded.
        QVERIFY(reported.size() < 100);
    }

    void AMessageStandsOverTheDialogThatIsOpen() {
        QWidget window;
        QtPort port;
        port.SetWindow(&window);
        QDialog dialog(&window);
        QWidget* boxParent = nullptr;
        WhenModalOpens([&](QDialog& open) {
            WhenModalOpens([&](QDialog& box) {
                boxParent = box.parentWidget();
                static_cast<QMessageBox&>(box).button(QMessageBox::Ok)->click();
            });
            port.tell({"Error: 'Test ID' contains invalid characters.", "Invalid Test ID",
                       Icon::Warning});
            open.reject();
        });
        dialog.exec();
        QCOMPARE(boxParent, &dialog);
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::QtPortTest);
#include "qt_port_test.moc"
