// The web export dialog: it exports the sample project into a site whose every link leads to a
// page that exists, opens the project in the browser when asked, and a Cancel while the export
// runs stops it and keeps the earlier site.

#include <QComboBox>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QUrl>
#include <regex>

#include "desktop/dialogs/web_export_dialog.h"
#include "gui_test.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

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

// The links of every page of site that lead to nothing there: "page: link".
std::vector<std::string> BrokenLinks(const fs::path& site) {
    static const std::regex link("(?:href|src)=\"([^\"#]*)[^\"]*\"", std::regex::icase);
    std::vector<std::string> broken;
    for (const auto& entry : fs::recursive_directory_iterator(site)) {
        if (entry.path().extension() != ".html")
            continue;
        const std::string html = testing::ReadFile(entry.path());
        for (std::sregex_iterator at(html.begin(), html.end(), link), end; at != end; ++at) {
            const std::string target = (*at)[1];
            if (target.empty() || testing::Has(target, "://"))
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
    window.SelectPath(window.TheShell().Database().Directory() / "Projects" /
                      gui_test::kSampleProject);
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
        QCOMPARE(dialog->findChild<QLabel*>("exportProject")->text(),
                 QString(gui_test::kSampleProject));
        QCOMPARE(gui_test::TabStopFaults(*dialog), QString());
        auto* styles = dialog->findChild<QComboBox*>("exportStyles");
        QVERIFY(styles->count() >= 2);
        QCOMPARE(styles->currentText(), QString("default"));
        styles->setCurrentText("night");

        const fs::path destination = open->root / "web";
        const std::size_t toldBefore = open->port.notices.size();
        BrowserStandIn browser;
        open->port.ScriptAnswers({true});  // view the project now
        QVERIFY(ExportTo(*dialog, destination));
        const fs::path page = destination / gui_test::kSampleProject /
                              (std::string(gui_test::kSampleProject) + ".html");
        QTRY_COMPARE(browser.opened.size(), 1);
        QCOMPARE(browser.opened.first(), QUrl::fromLocalFile(QString::fromStdString(page)));
        QTRY_VERIFY(!open->window->findChild<WebExportDialog*>());  // closed and gone
        QCOMPARE(open->port.notices.size(), toldBefore);

        QVERIFY(fs::exists(destination / gui_test::kSampleProject / "style.css"));
        QVERIFY(fs::exists(destination / gui_test::kSampleProject / "Project Test Cases" / "Login" /
                           "LOG-002.html"));
        QVERIFY(testing::Has(testing::ReadFile(page), "LOG-002.html"));
        const std::vector<std::string> broken = BrokenLinks(destination / gui_test::kSampleProject);
        QVERIFY2(broken.empty(), broken.empty() ? "" : broken.front().c_str());
    }

    void RefusalsAndACancelledExportKeepTheEarlierSite() {
        auto open = Open<gui_test::GatedPort>();
        MainWindow& window = *open->window;
        gui_test::GatedPort& port = open->port;
        const fs::path destination = Root() / "web";
        const fs::path page = destination / gui_test::kSampleProject /
                              (std::string(gui_test::kSampleProject) + ".html");

        WebExportDialog* first = OpenDialog(window);
        QVERIFY(first);
        // An empty destination is refused; with no browser on the offscreen platform, the
        // user who asks to view the site is told.
        first->findChild<QLineEdit*>("exportDestination")->setText("  ");
        first->findChild<QPushButton*>("exportStart")->click();
        QVERIFY(!first->Running());
        QCOMPARE(port.notices.size(), std::size_t{1});
        port.ScriptAnswers({true});
        QVERIFY(ExportTo(*first, destination));
        QTRY_COMPARE(port.notices.size(), std::size_t{2});
        QTRY_VERIFY(!window.findChild<WebExportDialog*>());
        const std::string earlier = testing::ReadFile(page);

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
        QCOMPARE(port.notices.size(), std::size_t{3});  // the cancel's
        QCOMPARE(testing::ReadFile(page), earlier);
        for (const auto& entry : fs::directory_iterator(destination))
            QCOMPARE(entry.path().filename().string(), std::string(gui_test::kSampleProject));
        dialog->findChild<QPushButton*>("exportCancel")->click();
        QTRY_VERIFY(!window.findChild<WebExportDialog*>());
    }
};

VANTOREL_GUI_TEST(WebExportDialogTest);

}  // namespace vantorel

#include "web_export_dialog_test.moc"
