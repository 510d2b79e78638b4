// The web export dialog: it exports the sample project into a site whose every link leads to a
// page that exists (and linkchecker agrees, where it is installed), opens the project in the
// browser when asked, and a Cancel while the export runs stops it and keeps the earlier site.

#include <QComboBox>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QUrl>
#include <fstream>
#include <regex>
#include <sstream>

#include "desktop/dialogs/web_export_dialog.h"
#include "gui_test.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr char kProject[] = "Release 2.0";

// Takes the URLs the program hands to the browser.
class BrowserStandIn : public QObject {
    Q_OBJECT
public:
    BrowserStandIn() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~BrowserStandIn() override { QDesktopServices::unsetUrlHandler("file"); }
    QList<QUrl> opened;

public slots:
    void open(const QUrl& url) { opened << url; }
};

std::string ReadWhole(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The links of every page of site that lead to nothing there: "page: link".
std::vector<std::string> BrokenLinks(const fs::path& site) {
    static const std::regex link("(?:href|src)=\"([^\"#]*)[^\"]*\"", std::regex::icase);
    std::vector<std::string> broken;
    for (const auto& entry : fs::recursive_directory_iterator(site)) {
        if (entry.path().extension() != ".html")
            continue;
        const std::string html = ReadWhole(entry.path());
        for (std::sregex_iterator at(html.begin(), html.end(), link), end; at != end; ++at) {
            const std::string target = (*at)[1];
            if (target.empty() || target.find("://") != std::string::npos)
                continue;
            const QString decoded = QUrl::fromPercentEncoding(QByteArray::fromStdString(target));
            if (!fs::exists(entry.path().parent_path() / decoded.toStdString()))
                broken.push_back(entry.path().string() + ": " + target);
        }
    }
    return broken;
}

// Opens the export dialog on the project.
WebExportDialog* OpenDialog(MainWindow& window) {
    window.SelectPath(window.TheShell().Database().Directory() / "Projects" / kProject);
    window.RunCommand(ID_FILE_EXPORT_WEB);
    return window.findChild<WebExportDialog*>();
}

// Exports into destination; true when the site was written.
bool ExportTo(WebExportDialog& dialog, const fs::path& destination) {
    QSignalSpy ended(&dialog, &WebExportDialog::exportEnded);
    dialog.findChild<QLineEdit*>("exportDestination")
        ->setText(QString::fromStdString(destination.string()));
    dialog.findChild<QPushButton*>("exportStart")->click();
    if (!QTest::qWaitFor([&] { return ended.count() == 1; }, 60000))
        return false;
    return ended.first().first().toBool();
}

}  // namespace

class WebExportDialogTest : public gui_test::WindowTest {
    Q_OBJECT

private slots:
    void ExportsTheSampleProjectWithNoBrokenLink() {
        auto open = Open();
        WebExportDialog* dialog = OpenDialog(*open->window);
        QVERIFY(dialog);
        QCOMPARE(dialog->findChild<QLabel*>("exportProject")->text(), QString(kProject));
        auto* styles = dialog->findChild<QComboBox*>("exportStyles");
        QVERIFY(styles->count() >= 2);
        QCOMPARE(styles->currentText(), QString("default"));
        styles->setCurrentText("night");

        const fs::path destination = open->root / "web";
        const std::size_t toldBefore = open->port.notices.size();
        BrowserStandIn browser;
        open->port.ScriptAnswers({true});  // view the project now
        QVERIFY(ExportTo(*dialog, destination));
        const fs::path page = destination / kProject / (std::string(kProject) + ".html");
        QCOMPARE(open->port.questions.back().caption, std::string("Export Success"));
        QTRY_COMPARE(browser.opened.size(), 1);
        QCOMPARE(browser.opened.first(), QUrl::fromLocalFile(QString::fromStdString(page)));
        QTRY_VERIFY(!open->window->findChild<WebExportDialog*>());  // closed and gone
        QCOMPARE(open->port.notices.size(), toldBefore);

        QVERIFY(fs::exists(destination / kProject / "style.css"));
        QVERIFY(
            fs::exists(destination / kProject / "Project Test Cases" / "Login" / "LOG-002.html"));
        QVERIFY(ReadWhole(page).find("LOG-002.html") != std::string::npos);
        const std::vector<std::string> broken = BrokenLinks(destination / kProject);
        QVERIFY2(broken.empty(), broken.empty() ? "" : broken.front().c_str());
        if (QStandardPaths::findExecutable("linkchecker").isEmpty())
            return;
        // linkchecker, started as root, reads as nobody: the folders above the site let it in.
        for (fs::path at = destination; at.parent_path() != at.root_path(); at = at.parent_path())
            fs::permissions(at,
                            fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read |
                                fs::perms::others_exec,
                            fs::perm_options::add);
        QProcess checker;
        checker.start("linkchecker",
                      {"--no-status", "--no-warnings", QString::fromStdString(page.string())});
        QVERIFY(checker.waitForFinished(120000));
        QVERIFY2(checker.exitCode() == 0, checker.readAllStandardOutput().constData());
    }

    void RefusesAnEmptyDestinationAndTellsABrowserThatFails() {
        auto open = Open();
        WebExportDialog* dialog = OpenDialog(*open->window);
        QVERIFY(dialog);
        dialog->findChild<QLineEdit*>("exportDestination")->setText("  ");
        dialog->findChild<QPushButton*>("exportStart")->click();
        QVERIFY(!dialog->Running());
        QCOMPARE(open->port.notices.back().caption, std::string("Error"));

        // No browser on the offscreen platform: the user is told.
        open->port.ScriptAnswers({true});
        QVERIFY(ExportTo(*dialog, open->root / "web"));
        QTRY_COMPARE(open->port.notices.back().caption, std::string("Error opening browser"));
    }

    void CancellingARunningExportKeepsTheEarlierSite() {
        auto open = Open<gui_test::GatedPort>();
        MainWindow& window = *open->window;
        gui_test::GatedPort& port = open->port;
        const fs::path destination = Root() / "web";
        const fs::path page = destination / kProject / (std::string(kProject) + ".html");

        WebExportDialog* first = OpenDialog(window);
        QVERIFY(first);
        port.ScriptAnswers({false});  // not viewed
        QVERIFY(ExportTo(*first, destination));
        QTRY_VERIFY(!window.findChild<WebExportDialog*>());
        const std::string earlier = ReadWhole(page);

        WebExportDialog* dialog = OpenDialog(window);
        QVERIFY(dialog);
        port.Hold();
        QSignalSpy ended(dialog, &WebExportDialog::exportEnded);
        port.ScriptAnswers({true});
        dialog->findChild<QLineEdit*>("exportDestination")
            ->setText(QString::fromStdString(destination.string()));
        dialog->findChild<QPushButton*>("exportStart")->click();
        QTRY_VERIFY(port.held);
        QVERIFY(dialog->Running());
        dialog->findChild<QPushButton*>("exportCancel")->click();
        QVERIFY(dialog->isVisible());  // it stays to say it was cancelled
        port.Open();
        QTRY_COMPARE(ended.count(), 1);
        QCOMPARE(ended.first().first().toBool(), false);
        QCOMPARE(dialog->findChild<QLabel*>("exportProgress")->text().toStdString(),
                 std::string(WebExportModel::kCancelledText));
        QCOMPARE(port.notices.back().caption, std::string("Export cancelled"));
        QCOMPARE(ReadWhole(page), earlier);
        for (const auto& entry : fs::directory_iterator(destination))
            QCOMPARE(entry.path().filename().string(), std::string(kProject));
        dialog->findChild<QPushButton*>("exportCancel")->click();
        QTRY_VERIFY(!window.findChild<WebExportDialog*>());
    }
};

VANTOREL_GUI_TEST(WebExportDialogTest);

}  // namespace vantorel

#include "web_export_dialog_test.moc"
