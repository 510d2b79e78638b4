// The import and export dialogs of the File menu on the sample database: a CSV file imported
// into a library suite with its refusals listed and the good rows taken only when chosen; the
// mapping kept for the database and changed in the dialog; JUnit results shown by a dry run,
// then recorded; a project exported to CSV; the status bar's Cancel stopping a running export;
// and each command's target taken from the selection, or the selection refused.

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTableWidget>

#include "desktop/dialogs/csv_export_dialog.h"
#include "desktop/dialogs/csv_import_dialog.h"
#include "desktop/dialogs/junit_import_dialog.h"
#include "desktop/exchange_jobs.h"
#include "gui_test.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;
using testing::Count;
using testing::ReadFile;
using testing::WriteFile;
namespace {

template <typename Dialog>
Dialog* RunDialogCommand(MainWindow& window, const fs::path& selected, int command) {
    window.SelectPath(selected);
    window.RunCommand(command);
    return window.findChild<Dialog*>();
}

}  // namespace

class ExchangeDialogsTest : public gui_test::WindowTest {
    Q_OBJECT

private slots:
    void CsvImportListsRefusalsAndTakesTheGoodRowsOnlyWhenChosen() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path suite = open->database / "Test Cases" / "Login";
        const fs::path file = open->root / "cases.csv";
        WriteFile(file,
                  "\xEF\xBB\xBFID;Test Title;Test Type\r\n"
                  "NEW-1;Caf\xC3\xA9 opens;\r\n"
                  "LOG-001;Clash;\r\n"
                  "NEW-2;\"Second; with \"\"quotes\"\"\";\r\n");
        // The suite's items are in the tree before, so the new ones must be read into it.
        QVERIFY(window.Model().IndexOf(suite / "LOG-001.vtl").isValid());

        auto* dialog = RunDialogCommand<CsvImportDialog>(window, suite, ID_FILE_IMPORT_TC);
        QVERIFY(dialog);
        QCOMPARE(dialog->findChild<QLabel*>("csvInto")->text(), QString("Test Cases/Login"));
        QSignalSpy checked(dialog, &CsvImportDialog::checkEnded);
        dialog->Read(file);
        QTRY_COMPARE(checked.count(), 1);
        QVERIFY(dialog->findChild<QLabel*>("csvFileInfo")->text().contains("3 rows"));
        QCOMPARE(dialog->findChild<QComboBox*>("csvField1")->currentText(), QString("Test Title"));
        auto* preview = dialog->findChild<QTableWidget*>("csvPreview");
        QCOMPARE(preview->rowCount(), 3);
        QCOMPARE(preview->verticalHeaderItem(1)->text(), QString("3"));  // the row's line
        QCOMPARE(preview->item(2, 1)->text(), QString("Second; with \"quotes\""));
        auto* refusals = dialog->findChild<QListWidget*>("csvRefusals");
        QCOMPARE(refusals->count(), 1);
        QVERIFY(refusals->item(0)->text().startsWith("Line 3, column 1 (ID)"));
        QVERIFY(refusals->item(0)->text().contains("\"LOG-001\""));
        QCOMPARE(gui_test::TabStopFaults(*dialog), QString());
        auto* import = dialog->findChild<QPushButton*>("csvImport");
        QVERIFY(!import->isEnabled());  // nothing is written while a row is refused...
        dialog->findChild<QCheckBox*>("csvGoodRowsOnly")->click();
        QVERIFY(import->isEnabled());  // ...unless the good rows alone are chosen

        import->click();
        QVERIFY(window.Jobs().Running());
        QTRY_VERIFY(!window.Jobs().Running());
        QTRY_VERIFY(!window.findChild<CsvImportDialog*>());
        QVERIFY(fs::exists(suite / "NEW-1.vtl"));
        QVERIFY(fs::exists(suite / "NEW-2.vtl"));
        QVERIFY(testing::Has(ReadFile(suite / "NEW-1.vtl"), "Caf\xE9 opens"));
        QVERIFY(!testing::Has(ReadFile(suite / "LOG-001.vtl"), "Clash"));
        QVERIFY(testing::Has(open->port.notices.back().text, "2 of 3 rows"));
        QVERIFY(window.Model().IndexOf(suite / "NEW-2.vtl").isValid());

        // The mapping was kept for the database; a column sent nowhere is checked again.
        dialog = RunDialogCommand<CsvImportDialog>(window, suite, ID_FILE_IMPORT_TC);
        QVERIFY(dialog);
        QSignalSpy checkedAgain(dialog, &CsvImportDialog::checkEnded);
        dialog->Read(file);
        QTRY_COMPARE(checkedAgain.count(), 1);
        QCOMPARE(dialog->Refusals().size(), std::size_t{3});  // every ID is taken now
        auto* idField = dialog->findChild<QComboBox*>("csvField0");
        QCOMPARE(idField->currentText(), QString("ID"));
        idField->setCurrentIndex(0);
        emit idField->activated(0);
        QVERIFY(!dialog->Model()->FieldOf(0));
        QTRY_COMPARE(checkedAgain.count(), 2);
        QVERIFY(dialog->Refusals().empty());
        QVERIFY(dialog->findChild<QPushButton*>("csvImport")->isEnabled());

        // Choosing a preset reads the file again through it: TestRail's step rows make cases.
        const fs::path rail = open->root / "testrail.csv";
        WriteFile(rail, "ID,Title,Steps (Step)\r\nC1,Pay,Open\r\n,,Press Pay\r\nC2,Refund,\r\n");
        dialog->Read(rail);
        QTRY_COMPARE(checkedAgain.count(), 3);
        QCOMPARE(dialog->Model()->RowCount(), std::size_t{3});  // as a plain table
        dialog->findChild<QComboBox*>("csvPreset")->setCurrentIndex(1);
        QTRY_COMPARE(checkedAgain.count(), 4);
        QCOMPARE(dialog->Model()->RowCount(), std::size_t{2});
        QVERIFY(!dialog->findChild<QCheckBox*>("csvHtml")->isEnabled());
        dialog->reject();
    }

    void JUnitDryRunListsWhatWouldChangeThenTheImportRecordsIt() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path project = open->database / "Projects" / gui_test::kSampleProject;
        const fs::path login = project / "Project Test Cases" / "Login";
        const fs::path results = open->root / "results.xml";
        WriteFile(results,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
                  "<testsuite name=\"login\" timestamp=\"2026-11-24T10:00:00\">\n"
                  "<testcase classname=\"login\" name=\"test_LOG_001_signs_in\" time=\"90\"/>\n"
                  "<testcase classname=\"login\" name=\"test_LOG_002_bad_password\" time=\"30\">"
                  "<failure message=\"no error shown\">trace</failure></testcase>\n"
                  "<testcase classname=\"other\" name=\"test_unknown\" time=\"1\"/>\n"
                  "</testsuite>\n</testsuites>\n");
        const std::string before = ReadFile(login / "LOG-002.vtl");

        auto* dialog = RunDialogCommand<JUnitImportDialog>(window, login / "LOG-001.vtl",
                                                           ID_FILE_IMPORT_JUNIT);
        QVERIFY(dialog);
        QCOMPARE(dialog->findChild<QLabel*>("junitProject")->text(),
                 QString(gui_test::kSampleProject));
        auto* versions = dialog->findChild<QComboBox*>("junitVersion");
        QCOMPARE(versions->count(), 3);  // none, then the customisation's "2.0" and "2.1"
        auto* importButton = dialog->findChild<QPushButton*>("junitImport");
        QCOMPARE(gui_test::TabStopFaults(*dialog), QString());
        QSignalSpy ran(dialog, &JUnitImportDialog::dryRunEnded);
        dialog->SetFile(results);
        dialog->findChild<QPushButton*>("junitDryRun")->click();
        QTRY_COMPARE(ran.count(), 1);
        const QString report = dialog->findChild<QPlainTextEdit*>("junitReport")->toPlainText();
        QVERIFY2(report.contains("LOG-002: ") && report.contains(" -> Fail, attempt "),
                 qPrintable(report));
        QVERIFY2(report.contains("2 test cases would be recorded, 1 result unmatched, 0 test "
                                 "cases open for editing"),
                 qPrintable(report));
        QVERIFY(report.contains("unmatched: other.test_unknown (line 6)"));
        QCOMPARE(ReadFile(login / "LOG-002.vtl"), before);  // a dry run writes nothing
        QVERIFY(importButton->isEnabled());

        // Another choice needs its own dry run before the import.
        versions->setCurrentText("2.1");
        QVERIFY(!importButton->isEnabled());
        QVERIFY(!dialog->DryRunReport());
        dialog->findChild<QPushButton*>("junitDryRun")->click();
        QTRY_COMPARE(ran.count(), 2);
        importButton->click();
        QTRY_VERIFY(!window.Jobs().Running());
        const std::string after = ReadFile(login / "LOG-002.vtl");
        QVERIFY(testing::Has(after, "<test_status>Fail</test_status>"));
        QVERIFY(testing::Has(after, "<version_tested>2.1</version_tested>"));
        QVERIFY(testing::Has(after, "no error shown"));
        QCOMPARE(Count(after, "<history_entry>"), Count(before, "<history_entry>") + 1);
        QVERIFY(testing::Has(ReadFile(login / "LOG-001.vtl"),
                             "<actual_duration>00:02</actual_duration>"));
        QVERIFY(testing::Has(open->port.notices.back().text,
                             "2 test cases recorded, 1 result unmatched"));
    }

    void ATestLinkExportImportsThroughTheSameDialogIntoTheLibraryAndGoesBackOut() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path library = open->database / "Test Cases";
        auto* dialog = RunDialogCommand<CsvImportDialog>(window, library, ID_FILE_IMPORT_TESTLINK);
        QVERIFY(dialog);
        QCOMPARE(dialog->windowTitle(), QString("Import Test Cases from TestLink"));
        QSignalSpy checked(dialog, &CsvImportDialog::checkEnded);
        const fs::path file = open->root / "shop.xml";
        WriteFile(file,
                  "<testsuite name=\"\"><testsuite name=\"Payments\"><testsuite "
                  "name=\"Vouchers\"><testcase name=\"Pay by voucher\"><summary><![CDATA[<p>A "
                  "voucher pays</p>]]></summary></testcase></testsuite></testsuite></testsuite>");
        dialog->Read(file);
        QTRY_COMPARE(checked.count(), 1);
        QVERIFY(dialog->Refusals().empty());
        QCOMPARE(gui_test::TabStopFaults(*dialog), QString());
        dialog->findChild<QPushButton*>("csvImport")->click();
        QTRY_VERIFY(!window.Jobs().Running());
        QTRY_VERIFY(fs::exists(library / "Payments" / "Vouchers"));
        QVERIFY(window.Model().IndexOf(library / "Payments").isValid());

        // And out again, the suite whole.
        auto* exported = RunDialogCommand<CsvExportDialog>(window, library / "Payments",
                                                           ID_FILE_EXPORT_TESTLINK);
        QVERIFY(exported);
        QCOMPARE(exported->findChild<QComboBox*>("csvExportScope")->currentText(),
                 QString("Suite \"Payments\""));
        QVERIFY(!exported->findChild<QComboBox*>("csvEncoding")->isVisibleTo(exported));
        QCOMPARE(gui_test::TabStopFaults(*exported), QString());
        const fs::path target = open->root / "payments.xml";
        exported->findChild<QLineEdit*>("csvDestination")
            ->setText(QString::fromStdString(target.string()));
        exported->Export();
        QTRY_VERIFY(!window.Jobs().Running());
        QTRY_VERIFY(fs::exists(target));
        QVERIFY(ReadFile(target).find("<testcase name=\"Pay by voucher\">") != std::string::npos);
    }

    void ExportsAProjectToCsvAndEachCommandTakesItsTargetOrRefusesIt() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path project = open->database / "Projects" / gui_test::kSampleProject;
        auto* dialog = RunDialogCommand<CsvExportDialog>(window, project, ID_FILE_EXPORT_PRJ_CSV);
        QVERIFY(dialog);
        auto* scope = dialog->findChild<QComboBox*>("csvExportScope");
        QCOMPARE(scope->count(), 1);
        QCOMPARE(scope->currentText(), QString("Project \"Release 2.0\""));
        QCOMPARE(gui_test::TabStopFaults(*dialog), QString());
        auto* destination = dialog->findChild<QLineEdit*>("csvDestination");
        QCOMPARE(destination->text().toStdString(),
                 (window.ExportFolder() / "Release 2.0.csv").string());
        const fs::path target = open->root / "project.csv";
        WriteFile(target, "earlier");
        destination->setText(QString::fromStdString(target.string()));
        dialog->findChild<QComboBox*>("csvEncoding")->setCurrentIndex(1);  // ISO-8859-1
        open->port.ScriptAnswers({true});  // replace the earlier file
        dialog->findChild<QPushButton*>("csvExportStart")->click();
        QCOMPARE(open->port.questions.size(), std::size_t{1});
        QTRY_VERIFY(!window.Jobs().Running());
        const std::string text = ReadFile(target);
        QVERIFY(text.starts_with("Suite,ID,"));  // no byte-order mark in ISO-8859-1
        QCOMPARE(Count(text, "\r\n"), 12);       // the header and eleven test cases
        QVERIFY(testing::Has(text, "\r\nCart,CART-001,"));
        QVERIFY(testing::Has(open->port.notices.back().text, "11 rows"));
        QCOMPARE(window.ExportFolder(), open->root);

        // Each command takes its target from the selection, or refuses it.
        auto* projectImport =
            RunDialogCommand<CsvImportDialog>(window, project, ID_FILE_IMPORT_PTC);
        QVERIFY(projectImport);
        QCOMPARE(projectImport->findChild<QLabel*>("csvInto")->text(),
                 QString("Projects/Release 2.0/Project Test Cases"));
        projectImport->reject();
        QTRY_VERIFY(!window.findChild<CsvImportDialog*>());
        window.SelectPath(open->database / "Testers");
        const std::size_t told = open->port.notices.size();
        for (const int command : {ID_FILE_IMPORT_TC, ID_FILE_EXPORT_LIST_CSV, ID_FILE_IMPORT_JUNIT})
            window.RunCommand(command);
        QCOMPARE(open->port.notices.size(), told + 3);
        QVERIFY(!window.findChild<CsvImportDialog*>());
        QVERIFY(!window.findChild<JUnitImportDialog*>());
    }

    void TheStatusBarsCancelStopsARunningExport() {
        auto open = Open<gui_test::GatedPort>();
        MainWindow& window = *open->window;
        gui_test::GatedPort& port = open->port;
        const fs::path& database = open->database;
        auto* dialog = RunDialogCommand<CsvExportDialog>(window, database / "Test Cases",
                                                         ID_FILE_EXPORT_TC_CSV);
        QVERIFY(dialog);
        const fs::path target = Root() / "library.csv";
        dialog->findChild<QLineEdit*>("csvDestination")
            ->setText(QString::fromStdString(target.string()));
        port.Hold();
        dialog->findChild<QPushButton*>("csvExportStart")->click();
        QTRY_VERIFY(port.held);
        auto* cancel = window.statusBar()->findChild<QPushButton*>("cancelExchange");
        QVERIFY(cancel->isVisible());
        // A second job waits for the first.
        window.RunCommand(ID_FILE_EXPORT_TC_CSV);
        QCOMPARE(port.notices.back().caption, std::string("Import and export"));
        cancel->click();
        port.Open();
        QTRY_VERIFY(!window.Jobs().Running());
        QVERIFY(!cancel->isVisible());
        QVERIFY(testing::Has(port.notices.back().text, "cancelled"));
        QVERIFY(!fs::exists(target));
    }

    void ClosingTheWindowStopsARunningImportBetweenDocuments() {
        auto open = Open<gui_test::GatedPort>();
        MainWindow& window = *open->window;
        gui_test::GatedPort& port = open->port;
        const fs::path& database = open->database;
        const fs::path suite = database / "Test Cases" / "Login";
        const fs::path file = Root() / "many.csv";
        std::string rows = "Test Title\r\n";
        for (int row = 0; row < 50; ++row)
            rows += "Case " + std::to_string(row) + "\r\n";
        WriteFile(file, rows);
        auto* dialog = RunDialogCommand<CsvImportDialog>(window, suite, ID_FILE_IMPORT_TC);
        QVERIFY(dialog);
        QSignalSpy checked(dialog, &CsvImportDialog::checkEnded);
        dialog->Read(file);
        QTRY_COMPARE(checked.count(), 1);
        const auto documents = [&suite] {
            return std::distance(fs::directory_iterator(suite), fs::directory_iterator());
        };
        const auto before = documents();
        port.Hold();
        dialog->Import();
        QTRY_VERIFY(port.held);
        window.close();
        QVERIFY(!window.Jobs().Running());
        QCOMPARE(port.notices.back().text,
                 std::string("The import from CSV was cancelled after 1 test case; it is whole"));
        QCOMPARE(documents(), before + 1);
    }
};

VANTOREL_GUI_TEST(ExchangeDialogsTest);

}  // namespace vantorel

#include "exchange_dialogs_test.moc"
