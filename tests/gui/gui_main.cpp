// Runs every registered desktop test class; arguments after the program name go to Qt Test
// (a class name as the first one runs that class only).

#include <QApplication>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QWebEngineUrlScheme>
#include <cstdlib>

#include "desktop/desktop_program.h"
#include "gui_test.h"

namespace vantorel::gui_test {

std::vector<Factory>& Registry() {
    static std::vector<Factory> registry;
    return registry;
}

}  // namespace vantorel::gui_test

int main(int argc, char** argv) {
    // A home of its own, so nothing of the user's configuration is read or written.
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + "/config").toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + "/data").toUtf8());
    qputenv("VANTOREL_DATA_DIR", (home.path() + "/vantorel").toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);
    vantorel::PrepareDesktopApplication();
    QApplication application(argc, argv);
    vantorel::ChooseWebViewRendering();

    QStringList arguments = application.arguments();
    QString only;
    if (arguments.size() > 1 && !arguments[1].startsWith('-'))
        only = arguments.takeAt(1);
    int failures = 0;
    for (const auto& make : vantorel::gui_test::Registry()) {
        std::unique_ptr<QObject> test = make();
        if (!only.isEmpty() && only != test->metaObject()->className() &&
            !QString(test->metaObject()->className()).endsWith("::" + only))
            continue;
        failures += QTest::qExec(test.get(), arguments);
    }
    return failures == 0 ? 0 : 1;
}
