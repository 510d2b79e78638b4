#include "desktop/desktop_program.h"

#include <QApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>
#include <QTimer>

#include <unistd.h>

#include "desktop/main_window.h"
#include "desktop/pages/page_view.h"
#include "desktop/qt_port.h"
#include "desktop/widgets/accessible_names.h"
#include "desktop/widgets/spelling.h"
#include "storage/thread_guard.h"

namespace vantorel {

void PrepareDesktopApplication() {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    RegisterPageScheme();
    // The web view's helper process refuses to start as root inside its own sandbox; the
    // pages it shows run no script and load nothing from the network.
    if (geteuid() == 0)
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    // On Linux the web view keeps its pages away from screen readers unless asked: an item's
    // page is the whole of what the program shows about it. The page's tree is built only
    // while an assistive tool listens.
    if (!qEnvironmentVariableIsSet("QTWEBENGINE_ENABLE_LINUX_ACCESSIBILITY"))
        qputenv("QTWEBENGINE_ENABLE_LINUX_ACCESSIBILITY", "1");
}

namespace {

bool DrawsWithoutGraphicsCard() {
    QOpenGLContext* shared = QOpenGLContext::globalShareContext();
    if (!shared)
        return false;
    QOffscreenSurface surface;
    surface.setFormat(shared->format());
    surface.create();
    QOpenGLContext probe;
    probe.setShareContext(shared);
    probe.setFormat(shared->format());
    if (!probe.create() || !probe.makeCurrent(&surface))
        return false;
    const auto* renderer =
        reinterpret_cast<const char*>(probe.functions()->glGetString(GL_RENDERER));
    const QByteArray name = renderer ? QByteArray(renderer).toLower() : QByteArray();
    probe.doneCurrent();
    return name.contains("llvmpipe") || name.contains("softpipe") || name.contains("swrast") ||
           name.contains("software") || name.contains("swiftshader");
}

}  // namespace

void ChooseWebViewRendering() {
    // Without a graphics card OpenGL is emulated on the processor, and a window holding a web
    // view is then composed through it on every repaint: expanding a tree node cost some
    // 70 ms more than drawing it. The web view's own software renderer avoids that. A
    // renderer the user chose stays.
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        return;
    if (DrawsWithoutGraphicsCard())
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

int RunDesktop(int& argc, char** argv, const std::filesystem::path& databaseMarker) {
    PrepareDesktopApplication();
    QApplication application(argc, argv);
    ChooseWebViewRendering();
#ifndef NDEBUG
    // Debug builds stop at a read on the window's thread, as the desktop tests do.
    MarkWindowThread(true);
#endif
    QApplication::setApplicationName("Vantorel");
    // The installed desktop entry: the desktop finds the window's name and icon by it.
    QGuiApplication::setDesktopFileName("org.vantorel.Vantorel");
    QApplication::setWindowIcon(QIcon(":/desktop/icons/vantorel.svg"));
    // Lives as long as the application, and no window outlives it.
    UnlabelledControlsNamer namer;
    application.installEventFilter(&namer);
    QtPort port;
    MainWindow window(port, FindShellFolders());
    port.SetWindow(&window);
    QObject::connect(&port, &QtPort::progressReported, &window, &MainWindow::ShowReportedProgress);

    Shell& shell = window.TheShell();
    shell.Start({argv + 1, argv + argc}, !databaseMarker.empty());
    window.show();
    PrepareSpellChecker(shell.Folders().data, shell.Configuration().Settings().spelling);
    // The database opens once the window is on screen, so its dialogs and messages have a
    // window to belong to.
    QTimer::singleShot(0, &window, [&] {
        if (databaseMarker.empty())
            shell.OpenAtStartup();
        else
            shell.OpenDatabase(databaseMarker);
    });
    return QApplication::exec();
}

}  // namespace vantorel
