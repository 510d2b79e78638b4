// Takes pictures of the desktop window as a user sees it, for looking at before a view is
// called done: the window is opened on a database, walked through a few items, and the screen
// is saved as a PNG after each page has loaded; then the report wizard makes a report of each
// kind, and each is pictured in the report window and printed to a PDF file; the test cases of
// the status report's largest status are listed beside it; the web export dialog exports the
// project and asks whether to view it; the CSV import, JUnit results import and CSV export
// dialogs are shown with a file read; last each kind of item dialog is opened, every page of
// it pictured, and cancelled, and a misspelt word is typed into a test case's dialog and its
// suggestions shown; last the help window, from the Help menu and from a dialog's F1. Run under a
// real X server
// (Xvfb in scripts/screenshots), since the page view draws with the display's help.
//
// usage: vantorel_window_tour DATABASE OUTPUT_FOLDER
//        vantorel_window_tour --two-testers DATABASE MOUNT OUTPUT_FOLDER
//
// The second form pictures two testers side by side, Alice on DATABASE and Bob on MOUNT (the
// same folder through a FUSE mount, scripts/two-testers): Bob refused while Alice edits a
// project test case, then both windows once Alice's new test case and her save have reached
// Bob's tree and page.

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string_view>

#include "desktop/desktop_program.h"
#include "desktop/dialogs/csv_export_dialog.h"
#include "desktop/dialogs/csv_import_dialog.h"
#include "desktop/dialogs/find_dialog.h"
#include "desktop/dialogs/junit_import_dialog.h"
#include "desktop/dialogs/web_export_dialog.h"
#include "desktop/exchange_jobs.h"
#include "desktop/help/help_window.h"
#include "desktop/main_window.h"
#include "desktop/qt_port.h"
#include "desktop/reports/report_wizard_dialog.h"
#include "desktop/reports/status_cases_dialog.h"
#include "reports/status_report.h"

namespace {

namespace fs = std::filesystem;

// Waits for the event loop to have run for ms, so a page paints after it loaded.
void Settle(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Saves the screen as picture in output; false when it could not be written.
bool Grab(const fs::path& output, const char* picture) {
    const fs::path file = output / picture;
    if (!QGuiApplication::primaryScreen()->grabWindow(0).save(
            QString::fromStdString(file.string()))) {
        std::fprintf(stderr, "%s: not written\n", file.c_str());
        return false;
    }
    std::printf("%s\n", file.c_str());
    return true;
}

// Next, and the wait for the model's step on the worker.
void Next(vantorel::ReportWizardDialog& wizard) {
    wizard.next();
    if (!QTest::qWaitFor([&wizard] { return !wizard.Busy(); }, 20000))
        std::fprintf(stderr, "the wizard's page %d never ended its check\n", wizard.currentId());
}

struct KindStop {
    vantorel::ReportKind kind;
    const char* name;
    const char* picture;
};

// Drives the wizard to a report of stop.kind, picturing some of its pages on the way, and
// pictures the report in the window. False when a step failed.
bool TourReport(vantorel::MainWindow& window, const fs::path& project, const KindStop& stop,
                const fs::path& output) {
    using vantorel::WizardPage;
    window.SelectPath(project);
    window.RunCommand(vantorel::ID_REPORT_WIZARD);
    auto* wizard = window.findChild<vantorel::ReportWizardDialog*>();
    if (!wizard)
        return false;
    const bool first = stop.kind == vantorel::ReportKind::Status;
    Settle(300);
    if (first && !Grab(output, "wizard-intro.png"))
        return false;
    Next(*wizard);
    Next(*wizard);
    wizard->findChild<QRadioButton*>(QString("wizardKind%1").arg(static_cast<int>(stop.kind)))
        ->click();
    Settle(100);
    if (first && !Grab(output, "wizard-kind.png"))
        return false;
    Next(*wizard);
    Next(*wizard);
    Settle(300);
    if (first && !Grab(output, "wizard-suites.png"))
        return false;
    Next(*wizard);
    if (wizard->currentId() == static_cast<int>(WizardPage::Columns)) {
        Settle(300);
        if (!Grab(output, "wizard-columns.png"))
            return false;
        Next(*wizard);
    }
    wizard->findChild<QLineEdit*>("wizardReportName")->setText(stop.name);
    QSignalSpy ended(wizard, &vantorel::ReportWizardDialog::generationEnded);
    wizard->button(QWizard::CustomButton1)->click();
    if (!ended.wait(60000) || !ended.first().first().toBool()) {
        std::fprintf(stderr, "%s: the report was not generated\n", stop.name);
        return false;
    }
    Settle(300);
    if (first && !Grab(output, "wizard-generated.png"))
        return false;
    wizard->button(QWizard::FinishButton)->click();
    // The closed wizard goes now, so the next one is the only one there.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Settle(700);
    if (!Grab(output, stop.picture))
        return false;
    // And on paper, as "Export as PDF" prints it.
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    const fs::path pdf = output / (fs::path(stop.picture).stem().string() + ".pdf");
    printer.setOutputFileName(QString::fromStdString(pdf.string()));
    if (!window.Reports().PrintTo(printer))
        return false;
    std::printf("%s\n", pdf.c_str());
    return true;
}

// The test cases of a status of the tour's status report, listed beside the window.
bool TourStatusCases(vantorel::MainWindow& window, const fs::path& report, const fs::path& output) {
    window.SelectPath(report);
    Settle(300);
    vantorel::ReportView& view = window.Reports();
    // The status with the most test cases, for a list worth looking at.
    const std::optional<vantorel::StatusReportData> counted = vantorel::ReadStatusReport(report);
    if (!counted || counted->counts.empty())
        return false;
    view.ListStatusCases(
        static_cast<std::size_t>(std::max_element(counted->counts.begin(), counted->counts.end()) -
                                 counted->counts.begin()));
    vantorel::StatusCasesDialog* list = view.StatusCases();
    if (!list || !QTest::qWaitFor([list] { return !list->Listing(); }, 20000))
        return false;
    list->move(window.geometry().right() - list->width() - 20,
               window.geometry().bottom() - list->height() - 30);
    Settle(400);
    const bool grabbed = Grab(output, "window-status-cases.png");
    list->close();
    return grabbed;
}

// The web export dialog before an export, and its success question after it.
bool TourWebExport(vantorel::MainWindow& window, const fs::path& project, const fs::path& output) {
    window.SelectPath(project);
    window.RunCommand(vantorel::ID_FILE_EXPORT_WEB);
    auto* dialog = window.findChild<vantorel::WebExportDialog*>();
    if (!dialog)
        return false;
    const QTemporaryDir site;  // the pictures, not the pages, are what the tour keeps
    dialog->findChild<QLineEdit*>("exportDestination")->setText(site.path());
    Settle(300);
    if (!Grab(output, "dialog-web-export.png"))
        return false;
    bool asked = false;
    QTimer poll;
    poll.setInterval(20);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        poll.stop();
        Settle(300);
        asked = Grab(output, "dialog-web-export-success.png");
        box->button(QMessageBox::No)->click();
    });
    poll.start();
    QSignalSpy ended(dialog, &vantorel::WebExportDialog::exportEnded);
    dialog->findChild<QPushButton*>("exportStart")->click();
    if (ended.isEmpty() && !ended.wait(60000))
        return false;
    return QTest::qWaitFor([&] { return asked; }, 10000);
}

// Runs handle on the next modal dialog other than shown, once it opens.
void OnNextModal(const QWidget* shown, std::function<void(QDialog&)> handle) {
    auto* poll = new QTimer;
    poll->setInterval(50);
    QObject::connect(poll, &QTimer::timeout, [poll, shown, handle] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || dialog == shown)
            return;
        poll->stop();
        poll->deleteLater();
        handle(*dialog);
    });
    poll->start();
}

// The help window beside the main window once its page has loaded, pictured with the screen.
bool GrabHelp(QWidget& owner, const QString& title, const fs::path& output, const char* picture) {
    auto* help = owner.findChild<vantorel::HelpWindow*>();
    if (!help || !QTest::qWaitFor([help, title] { return help->View().title() == title; }, 20000)) {
        std::fprintf(stderr, "%s: the help page did not load\n", picture);
        return false;
    }
    help->setGeometry(380, 40, 860, 720);
    Settle(700);
    const bool written = Grab(output, picture);
    help->close();
    return written;
}

// Help - Overview, then F1 in the customisation sheet.
bool TourHelp(vantorel::MainWindow& window, const fs::path& output) {
    window.RunCommand(vantorel::ID_HELP_OVERVIEW);
    bool written = GrabHelp(window, "Overview", output, "help-overview.png");
    OnNextModal(nullptr, [&](QDialog& sheet) {
        sheet.move(20, 60);
        QTest::keyClick(&sheet, Qt::Key_F1);
        written &= GrabHelp(sheet, "Customising a database", output, "help-customisation.png");
        sheet.reject();
    });
    window.RunCommand(vantorel::ID_SETTINGS_CUSTOMIZE);
    return written;
}

// Saves what dialog shows as picture in output; false when it could not be written.
bool GrabDialog(QWidget& dialog, const fs::path& output, const char* picture) {
    Settle(300);
    const fs::path file = output / picture;
    if (!dialog.grab().save(QString::fromStdString(file.string()))) {
        std::fprintf(stderr, "%s: not written\n", file.c_str());
        return false;
    }
    std::printf("%s\n", file.c_str());
    return true;
}

// Find & Replace over the library, its hits listed with what replaces them.
bool TourFindReplace(vantorel::MainWindow& window, const fs::path& output) {
    window.SelectPath(window.TheShell().Database().Directory() / "Test Cases");
    window.RunCommand(vantorel::ID_EDIT_FIND_REPLACE);
    auto* dialog = window.findChild<vantorel::FindDialog*>("findDialog");
    if (!dialog)
        return false;
    dialog->findChild<QLineEdit*>("findText")->setText("password");
    dialog->findChild<QLineEdit*>("replaceText")->setText("passphrase");
    dialog->findChild<QPushButton*>("findButton")->click();
    auto* replace = dialog->findChild<QPushButton*>("replaceButton");
    for (int wait = 0; wait < 100 && !replace->isEnabled(); ++wait)
        Settle(100);
    const bool grabbed = GrabDialog(*dialog, output, "dialog-find-replace.png");
    dialog->close();
    return grabbed;
}

// Closes dialog and deletes it now: the tour runs no event loop of its own that would, so the
// next findChild finds the next dialog.
void Dispose(QDialog* dialog) {
    dialog->reject();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// The import and export dialogs of the File menu, each pictured with something to show: a
// CSV file with a refused row read into the import dialog, a dry run of JUnit results, the
// export of the project. Nothing is imported or exported.
bool TourExchange(vantorel::MainWindow& window, const fs::path& database, const fs::path& output) {
    const QTemporaryDir files;
    const fs::path folder = files.path().toStdString();
    const fs::path project = database / "Projects" / "Release 2.0";
    bool pictured = true;

    const fs::path csv = folder / "login cases.csv";
    std::FILE* out = std::fopen(csv.c_str(), "wb");
    std::fputs(
        "ID;Test Title;Test Type;Priority;Test Description\r\n"
        "LOG-010;Sign in with a \xC3\xA9 in the name;;High;\"Open the page.\nSign in.\"\r\n"
        "LOG-001;Sign in again;;Low;Repeat\r\n"
        "LOG-011;Sign out;Nightly;Medium;\"Press \"\"Sign out\"\"\"\r\n"
        "LOG-012;Remember me;;Low;\r\n",
        out);
    std::fclose(out);
    window.SelectPath(database / "Test Cases" / "Login");
    window.RunCommand(vantorel::ID_FILE_IMPORT_TC);
    if (auto* dialog = window.findChild<vantorel::CsvImportDialog*>()) {
        QSignalSpy checked(dialog, &vantorel::CsvImportDialog::checkEnded);
        dialog->Read(csv);
        pictured &= checked.wait(20000) && GrabDialog(*dialog, output, "dialog-csv-import.png");
        Dispose(dialog);
    } else {
        pictured = false;
    }

    const fs::path results = folder / "results.xml";
    out = std::fopen(results.c_str(), "wb");
    std::fputs(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
        "<testsuite name=\"login\" timestamp=\"2026-11-24T10:00:00\">\n"
        "<testcase classname=\"login\" name=\"test_LOG_001_signs_in\" time=\"90\"/>\n"
        "<testcase classname=\"login\" name=\"test_LOG_002_bad_password\" time=\"30\">"
        "<failure message=\"no error shown\">trace</failure></testcase>\n"
        "<testcase classname=\"cart\" name=\"test_CART_001_add\" time=\"12\">"
        "<skipped/></testcase>\n"
        "<testcase classname=\"other\" name=\"test_unknown\" time=\"1\"/>\n"
        "</testsuite>\n</testsuites>\n",
        out);
    std::fclose(out);
    window.SelectPath(project);
    window.RunCommand(vantorel::ID_FILE_IMPORT_JUNIT);
    if (auto* dialog = window.findChild<vantorel::JUnitImportDialog*>()) {
        pictured &= GrabDialog(*dialog, output, "dialog-junit-import-empty.png");
        QSignalSpy ran(dialog, &vantorel::JUnitImportDialog::dryRunEnded);
        dialog->SetFile(results);
        dialog->DryRun();
        pictured &= ran.wait(20000) && GrabDialog(*dialog, output, "dialog-junit-import.png");
        Dispose(dialog);
    } else {
        pictured = false;
    }

    // A long import running: the status bar's counter and Cancel, then what a cancel says.
    const fs::path many = folder / "many cases.csv";
    out = std::fopen(many.c_str(), "wb");
    std::fputs("Test Title;Priority\r\n", out);
    for (int row = 1; row <= 5000; ++row)
        std::fprintf(out, "Imported case %d;Low\r\n", row);
    std::fclose(out);
    window.SelectPath(database / "Test Cases" / "Login");
    window.RunCommand(vantorel::ID_FILE_IMPORT_TC);
    if (auto* dialog = window.findChild<vantorel::CsvImportDialog*>()) {
        QSignalSpy checked(dialog, &vantorel::CsvImportDialog::checkEnded);
        dialog->Read(many);
        pictured &= checked.wait(30000);
        dialog->Import();
        auto* progress = window.findChild<QLabel*>("progress");
        pictured &= QTest::qWaitFor([&] { return !progress->text().isEmpty(); }, 20000);
        Settle(500);
        pictured &= Grab(output, "window-import-running.png");
        OnNextModal(nullptr, [&](QDialog& box) {
            pictured &= GrabDialog(box, output, "dialog-import-cancelled.png");
            box.accept();
        });
        window.statusBar()->findChild<QPushButton*>("cancelExchange")->click();
        pictured &= QTest::qWaitFor([&] { return !window.Jobs().Running(); }, 30000);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    } else {
        pictured = false;
    }

    window.SelectPath(project / "Project Test Cases" / "Login");
    window.RunCommand(vantorel::ID_FILE_EXPORT_PRJ_CSV);
    if (auto* dialog = window.findChild<vantorel::CsvExportDialog*>()) {
        pictured &= GrabDialog(*dialog, output, "dialog-csv-export.png");
        Dispose(dialog);
    } else {
        pictured = false;
    }

    // Another tool's spreadsheet through its preset, step rows and all; a suite out to TestLink.
    const fs::path rail = folder / "testrail.csv";
    out = std::fopen(rail.c_str(), "wb");
    std::fputs(
        "ID,Title,Section Hierarchy,Priority,Estimate,Steps (Step),Steps (Expected Result)\r\n"
        "C101,Pay by card,Checkout > Cards,High,1m 30s,Open the basket,The total shows\r\n"
        ",,,,,Press Pay,The order is paid\r\n"
        "C102,Pay by voucher,Checkout > Vouchers,Critical,2h,Enter the code,Accepted\r\n",
        out);
    std::fclose(out);
    window.SelectPath(database / "Test Cases" / "Login");
    window.RunCommand(vantorel::ID_FILE_IMPORT_TC);
    if (auto* dialog = window.findChild<vantorel::CsvImportDialog*>()) {
        QSignalSpy checked(dialog, &vantorel::CsvImportDialog::checkEnded);
        dialog->findChild<QComboBox*>("csvPreset")->setCurrentIndex(1);
        dialog->Read(rail);
        pictured &=
            checked.wait(20000) && GrabDialog(*dialog, output, "dialog-csv-import-preset.png");
        Dispose(dialog);
    } else {
        pictured = false;
    }
    window.SelectPath(database / "Test Cases" / "Login");
    window.RunCommand(vantorel::ID_FILE_EXPORT_TESTLINK);
    if (auto* dialog = window.findChild<vantorel::CsvExportDialog*>()) {
        pictured &= GrabDialog(*dialog, output, "dialog-testlink-export.png");
        Dispose(dialog);
    } else {
        pictured = false;
    }
    return pictured;
}

// One tester's window: a port, data and configuration folders, and a name of its own.
struct TourTester {
    TourTester(const fs::path& folders, const fs::path& database, const QRect& place,
               const vantorel::UserIdentity& identity)
        : window(port, FoldersOf(folders), identity) {
        port.SetWindow(&window);
        window.TheShell().Start({}, true);
        window.setGeometry(place);
        window.show();
        window.TheShell().OpenDatabase(database);
    }
    static vantorel::ShellFolders FoldersOf(const fs::path& root) {
        vantorel::ShellFolders folders = vantorel::FindShellFolders();
        folders.data = root / "data";
        folders.config = root / "config";
        folders.temp = root / "temp";
        fs::create_directories(folders.data);
        return folders;
    }
    void Show(const fs::path& item) {
        window.SelectPath(item);
        window.Tree().expand(window.Tree().currentIndex());
    }
    QString PageText() {
        QString text;
        bool answered = false;
        window.Page().page()->toPlainText([&](const QString& result) {
            text = result;
            answered = true;
        });
        return QTest::qWaitFor([&] { return answered; }, 10000) ? text : QString();
    }

    vantorel::QtPort port;
    vantorel::MainWindow window;
};

int TwoTestersTour(const fs::path& database, const fs::path& mount, const fs::path& output) {
    using vantorel::ID_CREATE_TEST_CASE;
    using vantorel::ID_EDIT_PROPERTIES;
    const QTemporaryDir folders;
    const fs::path root = folders.path().toStdString();
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const int half = screen.width() / 2;
    TourTester alice(root / "alice", database, {0, 0, half, screen.height()},
                     {"PC-ALICE", "alice"});
    TourTester bob(root / "bob", mount, {half, 0, half, screen.height()}, {"PC-BOB", "bob"});

    const fs::path login = fs::path("Test Cases") / "Login";
    const fs::path item =
        fs::path("Projects") / "Mobile launch" / "Project Test Cases" / "Checkout" / "CHK-001.vtl";
    alice.Show(database / login);
    bob.Show(mount / login);
    alice.Show(database / item);
    bob.Show(mount / item);
    Settle(1000);

    // Alice adds a test case to Login.
    alice.window.SelectPath(database / login);
    OnNextModal(nullptr, [](QDialog& dialog) {
        dialog.findChild<QWidget*>("id")->findChild<QLineEdit*>()->setText("LOG-100");
        dialog.findChild<QWidget*>("test_title")
            ->findChild<QLineEdit*>()
            ->setText("Sign in with a passkey");
        dialog.accept();
    });
    alice.window.RunCommand(ID_CREATE_TEST_CASE);

    // Alice edits the project test case; Bob tries to and is told she has it.
    int failures = 0;
    alice.window.SelectPath(database / item);
    OnNextModal(nullptr, [&](QDialog& editor) {
        Settle(300);
        editor.move(0, editor.y());
        OnNextModal(&editor, [&](QDialog& refusal) {
            // Bob's refusal is his: over his window, as in a program of his own.
            refusal.move(bob.window.geometry().center() - refusal.rect().center());
            Settle(300);
            failures += !Grab(output, "two-testers-refused.png");
            refusal.reject();
        });
        bob.window.RunCommand(ID_EDIT_PROPERTIES);
        editor.findChild<QWidget*>("test_status")->findChild<QComboBox*>()->setCurrentText("Pass");
        editor.findChild<QWidget*>("test_attempts")->findChild<QLineEdit*>()->setText("2");
        QTest::keyClicks(editor.findChild<QWidget*>("result_notes")->findChild<QTextEdit*>(),
                         "Declined by the bank on the second try");
        editor.accept();
    });
    alice.window.RunCommand(ID_EDIT_PROPERTIES);

    // Bob's tree and page follow by polling.
    const bool seen = QTest::qWaitFor(
        [&] {
            return bob.window.Model().IndexOf(mount / login / "LOG-100.vtl").isValid() &&
                   bob.PageText().contains("Declined by the bank");
        },
        30000);
    if (!seen) {
        std::fprintf(stderr, "Bob's window never showed Alice's changes\n");
        ++failures;
    }
    bob.window.Tree().scrollTo(bob.window.Model().IndexOf(mount / login / "LOG-100.vtl"));
    Settle(700);
    failures += !Grab(output, "two-testers-after-edit.png");
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 5 && std::string_view(argv[1]) == "--two-testers") {
        vantorel::PrepareDesktopApplication();
        QApplication application(argc, argv);
        return TwoTestersTour(argv[2], argv[3], argv[4]);
    }
    if (argc != 3) {
        std::fprintf(stderr,
                     "usage: vantorel_window_tour DATABASE OUTPUT_FOLDER\n"
                     "       vantorel_window_tour --two-testers DATABASE MOUNT OUTPUT_FOLDER\n");
        return 2;
    }
    const fs::path database = argv[1];
    const fs::path output = argv[2];
    vantorel::PrepareDesktopApplication();
    QApplication application(argc, argv);
    vantorel::ChooseWebViewRendering();
    vantorel::QtPort port;
    vantorel::MainWindow window(port, vantorel::FindShellFolders());
    port.SetWindow(&window);
    QObject::connect(&port, &vantorel::QtPort::progressReported, &window,
                     &vantorel::MainWindow::ShowReportedProgress);
    window.TheShell().Start({}, true);
    window.setGeometry(0, 0, 1280, 800);
    window.show();
    window.TheShell().OpenDatabase(database);

    struct Stop {
        const char* picture;
        fs::path item;
        bool pageEnd = false;  // the page scrolled to its end: its notes and links
        int command = 0;       // run once the page is in (Ctrl+X's cut: the status bar)
    };
    const fs::path log002 =
        database / "Projects" / "Release 2.0" / "Project Test Cases" / "Login" / "LOG-002.vtl";
    const Stop stops[] = {
        {"window-project.png", database / "Projects" / "Release 2.0"},
        {"window-test-case.png", database / "Test Cases" / "Login" / "LOG-001.vtl"},
        {"window-project-test-case.png", log002},
        {"window-project-test-case-end.png", log002, true},
        {"window-tester.png", database / "Testers"},
        {"window-cut.png", database / "Test Cases" / "Login" / "LOG-002.vtl", false,
         vantorel::ID_EDIT_CUT},
    };
    int failures = 0;
    for (const Stop& stop : stops) {
        QSignalSpy loaded(&window.Page(), &QWebEngineView::loadFinished);
        if (stop.pageEnd) {
            window.Page().page()->runJavaScript("window.scrollTo(0, document.body.scrollHeight)",
                                                QWebEngineScript::ApplicationWorld);
        } else {
            window.SelectPath(stop.item);
            window.Tree().expand(window.Tree().currentIndex());
            if (!loaded.wait(20000))
                std::fprintf(stderr, "%s: the page did not load\n", stop.picture);
            if (stop.command != 0)
                window.RunCommand(stop.command);
        }
        Settle(700);
        const fs::path file = output / stop.picture;
        if (!QGuiApplication::primaryScreen()->grabWindow(0).save(
                QString::fromStdString(file.string()))) {
            std::fprintf(stderr, "%s: not written\n", file.c_str());
            ++failures;
            continue;
        }
        std::printf("%s\n", file.c_str());
    }
    const KindStop reports[] = {
        {vantorel::ReportKind::Status, "Tour status", "window-report-status.png"},
        {vantorel::ReportKind::Progress, "Tour progress", "window-report-progress.png"},
        {vantorel::ReportKind::List, "Tour list", "window-report-list.png"},
        {vantorel::ReportKind::Details, "Tour details", "window-report-details.png"},
    };
    for (const KindStop& stop : reports)
        failures += !TourReport(window, database / "Projects" / "Release 2.0", stop, output);
    failures += !TourStatusCases(window,
                                 database / "Projects" / "Release 2.0" / "Project Reports" /
                                     "Status Reports" / "Tour status.vtl",
                                 output);
    failures += !TourWebExport(window, database / "Projects" / "Release 2.0", output);
    failures += !TourExchange(window, database, output);

    struct DialogStop {
        const char* picture;  // without ".png"; each page of a sheet adds its number
        fs::path item;        // selected first, when given
        int command = vantorel::ID_EDIT_PROPERTIES;
    };
    const fs::path project = database / "Projects" / "Release 2.0";
    const DialogStop dialogs[] = {
        {"dialog-test-case", database / "Test Cases" / "Login" / "LOG-001.vtl"},
        {"dialog-project-test-case", project / "Project Test Cases" / "Login" / "LOG-002.vtl"},
        {"dialog-suite", database / "Test Cases" / "Login"},
        {"dialog-project-suite", project / "Project Test Cases" / "Login"},
        {"dialog-project", project},
        {"dialog-configuration", database / "Test Configurations" / "Phone.vtl"},
        {"dialog-resource", database / "Resources" / "Cards.vtl"},
        {"dialog-tester", database / "Testers" / "dana.vtl"},
        {"dialog-filter", database / "Filters" / "Failed.vtl"},
        {"dialog-customize", {}, vantorel::ID_SETTINGS_CUSTOMIZE},
    };
    for (const DialogStop& stop : dialogs) {
        if (!stop.item.empty())
            window.SelectPath(stop.item);
        QTimer poll;
        poll.setInterval(50);
        QObject::connect(&poll, &QTimer::timeout, [&] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            poll.stop();
            Settle(300);
            auto* pages = dialog->findChild<QTabWidget*>("pages");
            const int count = pages ? pages->count() : 1;
            for (int page = 0; page < count; ++page) {
                if (pages)
                    pages->setCurrentIndex(page);
                Settle(200);
                const std::string name =
                    std::string(stop.picture) + (pages ? "-" + std::to_string(page + 1) : "");
                const fs::path file = output / (name + ".png");
                if (dialog->grab().save(QString::fromStdString(file.string())))
                    std::printf("%s\n", file.c_str());
                else
                    ++failures;
            }
            // The customisation's status dialog, over the status of the second row.
            if (auto* statuses = dialog->findChild<QAbstractItemView*>("statusList")) {
                statuses->setCurrentIndex(statuses->model()->index(1, 0));
                QTimer::singleShot(300, [&] {
                    auto* status = qobject_cast<QDialog*>(QApplication::activeModalWidget());
                    if (!status || status->objectName() != "statusDialog")
                        return;
                    const fs::path file = output / (std::string(stop.picture) + "-status.png");
                    if (status->grab().save(QString::fromStdString(file.string())))
                        std::printf("%s\n", file.c_str());
                    else
                        ++failures;
                    status->reject();
                });
                dialog->findChild<QAbstractButton*>("statusEdit")->click();
            }
            dialog->reject();
        });
        poll.start();
        window.RunCommand(stop.command);
    }

    // Spell checking in a test case's dialog: a misspelt word typed into the steps, underlined,
    // then its context menu with the suggestions.
    window.SelectPath(database / "Test Cases" / "Login" / "LOG-001.vtl");
    QTimer poll;
    poll.setInterval(50);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll.stop();
        QWidget* stepsField = dialog->findChild<QWidget*>("test_description");
        dialog->findChild<QTabWidget*>("richTexts")->setCurrentWidget(stepsField);
        auto* steps = stepsField->findChild<QTextEdit*>();
        steps->moveCursor(QTextCursor::End);
        steps->setFocus();
        QTest::keyClick(steps, Qt::Key_Return);
        QTest::keyClicks(steps, "Check that the tester recieved the confirmation emial.");
        auto* title = dialog->findChild<QWidget*>("test_title")->findChild<QLineEdit*>();
        title->end(false);
        QTest::keyClicks(title, " and the welcom page");
        Settle(300);
        const fs::path file = output / "dialog-spelling.png";
        if (dialog->grab().save(QString::fromStdString(file.string())))
            std::printf("%s\n", file.c_str());
        else
            ++failures;
        QTextCursor word = steps->document()->find("recieved");
        word.setPosition(word.selectionStart() + 2);
        const QPoint at = steps->cursorRect(word).center();
        QTimer::singleShot(400, [&] {
            failures += !Grab(output, "dialog-spelling-menu.png");
            if (QWidget* menu = QApplication::activePopupWidget())
                menu->close();
        });
        emit steps->customContextMenuRequested(at);
        // The typed words are not kept: the question about closing without saving says Yes.
        QTimer::singleShot(300, [] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
                box->button(QMessageBox::Yes)->click();
        });
        dialog->reject();
    });
    poll.start();
    window.RunCommand(vantorel::ID_EDIT_PROPERTIES);
    failures += !TourFindReplace(window, output);
    failures += !TourHelp(window, output);
    return failures == 0 ? 0 : 1;
}
