// The customisation sheet from the window: OK writes custom.dat once, with what the model alone
// writes for the same edits; refusals come from the model with their captions and change
// nothing; a lock someone else holds brings the unlock dialog; the lock goes however the sheet
// closes; and after OK the window's dialogs, tree icons and pages use the new customisation.

#include <QColorDialog>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTreeWidget>
#include <QWebEngineView>
#include <fstream>
#include <sstream>

#include "desktop/dialogs/customize_sheet.h"
#include "gui_test.h"
#include "storage/locks.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

template <typename Widget>
Widget& Child(QWidget& parent, const char* name) {
    auto* child = parent.findChild<Widget*>(name);
    if (!child)
        qFatal("no widget %s", name ? name : "of the kind");
    return *child;
}

void Click(QWidget& parent, const char* name) {
    Child<QPushButton>(parent, name).click();
}

void SelectRows(QAbstractItemView& view, std::initializer_list<int> rows) {
    view.clearSelection();
    for (int row : rows)
        view.selectionModel()->select(view.model()->index(row, 0),
                                      QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

QStringList Texts(QListWidget& list) {
    QStringList texts;
    for (int row = 0; row < list.count(); ++row)
        texts << list.item(row)->text();
    return texts;
}

}  // namespace

class CustomizeSheetTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void OkWritesOnceWhatTheModelAloneWrites() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path customFile = open->database / "custom.dat";

        // The same edits through the model alone, in another copy of the database.
        const fs::path alone = CopyDatabase(Root() / "alone");
        {
            RecordingPort port;
            CustomCfg custom;
            custom.Read(alone, port, CurrentIdentity().computer);
            auto editor = CustomizeEditor::Open(&alone, custom, port);
            QVERIFY(editor);
            QVERIFY(editor->Add(CustomList::Types, "Security test \xE9"));
            const std::size_t added = editor->List(CustomList::Types).size() - 1;
            QVERIFY(editor->Move(CustomList::Types, {added}, true));
            QVERIFY(editor->Add(CustomList::Versions, "2.2"));
            editor->notes[0] = "Risks";
            editor->defaults.digits = "4";
            editor->defaults.version = "2.2";
            QVERIFY(editor->UpdateReportString(10, "Plan"));
            editor->SetReportColour(10, 0x563412);
            StatusDraft retest = editor->WithMeaning({}, SM_FAIL);
            retest.text = "Retest";
            retest.reportString = "Failures";
            QVERIFY(editor->AddStatus(retest));
            QVERIFY(!editor->Commit());
            QVERIFY(port.notices.empty());
        }

        const std::string before = testing::ReadFile(customFile);
        std::string whileOpen;
        bool lockedWhileOpen = false;
        WhenModalOpens([&](QDialog& sheet) {
            lockedWhileOpen = IsLocked(customFile);
            Child<QLineEdit>(sheet, "typesEntry").setText(QString::fromUtf8("Security test é"));
            Click(sheet, "typesAdd");
            auto& types = Child<QListWidget>(sheet, "typesList");
            SelectRows(types, {types.count() - 1});
            Click(sheet, "typesUp");
            Child<QLineEdit>(sheet, "versionsEntry").setText("2.2");
            QTest::keyClick(&Child<QLineEdit>(sheet, "versionsEntry"), Qt::Key_Return);
            Child<QLineEdit>(sheet, "notes1").setText("Risks");
            Child<QLineEdit>(sheet, "autoIncrementDigits").setText("4");
            Child<QComboBox>(sheet, "defaultVersion").setCurrentText("2.2");

            auto& slotChoice = Child<QComboBox>(sheet, "reportSlots");
            slotChoice.setCurrentIndex(slotChoice.findText("Total plan time"));
            Child<QLineEdit>(sheet, "reportString").setText("Plan");
            Click(sheet, "updateReportString");
            WhenModalOpens(
                [](QDialog& picker) {
                    static_cast<QColorDialog&>(picker).setCurrentColor(QColor(0x12, 0x34, 0x56));
                    picker.accept();
                },
                "colourDialog");
            Click(sheet, "chooseReportColour");

            WhenModalOpens(
                [](QDialog& status) {
                    Child<QLineEdit>(status, "statusText").setText("Retest");
                    Child<QComboBox>(status, "meaning").setCurrentText("Fail");
                    Child<QLineEdit>(status, "reportString").setText("Failures");
                    // The dialog's OK button hands the draft to the model.
                    Child<QDialogButtonBox>(status, {}).button(QDialogButtonBox::Ok)->click();
                },
                "statusDialog");
            Click(sheet, "statusAdd");
            whileOpen = testing::ReadFile(customFile);
            sheet.accept();
        });
        window.RunCommand(ID_SETTINGS_CUSTOMIZE);

        QVERIFY(lockedWhileOpen);
        QVERIFY(!IsLocked(customFile));
        QVERIFY(open->port.notices.empty());
        QCOMPARE(whileOpen, before);
        QCOMPARE(testing::ReadFile(customFile), testing::ReadFile(alone / "custom.dat"));
        QCOMPARE(window.TheShell().Custom().Tables().versions.back(), std::string("2.2"));
    }

    void RefusalsAndASaveTheDiskRefusesChangeNothing() {
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path customFile = open->database / "custom.dat";
        const std::string before = testing::ReadFile(customFile);
        const CustomTables tablesBefore = window.TheShell().Custom().Tables();

        QList<std::size_t> told;
        QStringList typesBefore, typesAfter;
        int statusRows = 0;
        bool stayedOpen = true;
        QString pageAtFault;
        WhenModalOpens([&](QDialog& sheet) {
            auto caption = [&] {
                told << port.notices.size();
                port.notices.clear();
            };
            auto& types = Child<QListWidget>(sheet, "typesList");
            typesBefore = Texts(types);
            Child<QLineEdit>(sheet, "typesEntry").setText("Alpha");
            Click(sheet, "typesAdd");
            caption();
            Child<QLineEdit>(sheet, "typesEntry").setText(QString::fromUtf8("Costs in €"));
            Click(sheet, "typesAdd");
            caption();
            SelectRows(types, {1, 2});
            Click(sheet, "typesUp");
            caption();
            typesAfter = Texts(types);

            auto& statuses = Child<QTreeWidget>(sheet, "statusList");
            SelectRows(statuses, {0, 1, 2, 3, 4});
            Click(sheet, "statusDelete");
            caption();
            statuses.clearSelection();
            Click(sheet, "statusEdit");
            caption();
            statusRows = statuses.topLevelItemCount();

            Click(sheet, "updateReportString");
            caption();

            Child<QLineEdit>(sheet, "expectedDuration").setText("1000:00");
            sheet.accept();
            caption();
            stayedOpen = sheet.isVisible();
            auto& pages = Child<QTabWidget>(sheet, "pages");
            pageAtFault = pages.tabText(pages.currentIndex());
            sheet.reject();
        });
        window.RunCommand(ID_SETTINGS_CUSTOMIZE);

        // Each of the seven refusals is told once.
        QCOMPARE(told, QList<std::size_t>(7, 1));
        QCOMPARE(typesAfter, typesBefore);
        QCOMPARE(statusRows, 5);
        QVERIFY(stayedOpen);
        QCOMPARE(pageAtFault, QString("Default Values"));
        QCOMPARE(testing::ReadFile(customFile), before);
        QVERIFY(window.TheShell().Custom().Tables() == tablesBefore);
        QVERIFY(!IsLocked(customFile));

        // A save the disk refuses keeps the sheet, what was typed and the customisation in use.
        port.notices.clear();
        const fs::path aside = open->database.string() + "-away";
        const std::size_t typesInUse = window.TheShell().Custom().Tables().types.size();
        std::size_t toldOfFailure = 0;
        bool openAfterFailure = false;
        QStringList typedAfterFailure;
        std::size_t typesInUseAfterFailure = 0;
        WhenModalOpens([&](QDialog& sheet) {
            Child<QLineEdit>(sheet, "typesEntry").setText("Security test");
            Click(sheet, "typesAdd");
            // The share goes away while the sheet is open.
            fs::rename(open->database, aside);
            sheet.accept();
            toldOfFailure = port.notices.size();
            openAfterFailure = sheet.isVisible();
            typedAfterFailure = Texts(Child<QListWidget>(sheet, "typesList"));
            typesInUseAfterFailure = window.TheShell().Custom().Tables().types.size();
            fs::rename(aside, open->database);
            sheet.accept();
        });
        window.RunCommand(ID_SETTINGS_CUSTOMIZE);
        QCOMPARE(toldOfFailure, std::size_t{1});
        QVERIFY(openAfterFailure);
        QCOMPARE(typedAfterFailure.back(), QString("Security test"));
        QCOMPARE(typesInUseAfterFailure, typesInUse);
        QCOMPARE(window.TheShell().Custom().Tables().types.back(), std::string("Security test"));
        QVERIFY(testing::Has(testing::ReadFile(customFile), "<type>Security test</type>"));
        QVERIFY(!IsLocked(customFile));
    }

    void AHeldLockBringsTheUnlockDialogAndEveryWayOutReleasesIt() {
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path customFile = open->database / "custom.dat";
        QCOMPARE(createLockFile(customFile, {"PC-BOB", "bob"}), 0);

        // Not unlocked: no sheet.
        port.ScriptAnswers({false});
        bool sheetOpened = false;
        window.RunCommand(ID_SETTINGS_CUSTOMIZE);
        QCOMPARE(port.questions.size(), std::size_t{1});
        // The unlock dialog names who holds the lock, and where.
        const QString unlock = QString::fromStdString(port.questions[0].text);
        QVERIFY(unlock.contains("bob") && unlock.contains("PC-BOB"));
        QVERIFY(!port.questions[0].tick.empty());
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(IsLocked(customFile));

        // Unlocked and confirmed: the sheet opens with the lock taken afresh; Escape, the close
        // button and Cancel each let it go.
        const std::function<void(QDialog&)> ways[] = {
            [](QDialog& sheet) { QTest::keyClick(&sheet, Qt::Key_Escape); },
            [](QDialog& sheet) { sheet.close(); },
            [](QDialog& sheet) {
                Child<QDialogButtonBox>(sheet, {}).button(QDialogButtonBox::Cancel)->click();
            },
        };
        port.ScriptAnswers({true, true});
        for (const auto& leave : ways) {
            sheetOpened = false;
            bool lockedWhileOpen = false;
            WhenModalOpens([&](QDialog& sheet) {
                sheetOpened = sheet.objectName() == "customizeSheet";
                lockedWhileOpen = IsLocked(customFile);
                leave(sheet);
            });
            window.RunCommand(ID_SETTINGS_CUSTOMIZE);
            QVERIFY(sheetOpened);
            QVERIFY(lockedWhileOpen);
            QVERIFY(!IsLocked(customFile));
        }
        QCOMPARE(port.unscriptedQuestions, 0);
        QVERIFY(port.notices.empty());
    }

    void AfterOkTheWindowUsesTheNewCustomisation() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path testCase = open->database / "Projects" / "Mobile launch" /
                                  "Project Test Cases" / "Checkout" / "CHK-001.vtl";
        QSignalSpy loaded(&window.Page(), &QWebEngineView::loadFinished);
        window.SelectPath(testCase);
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        const QModelIndex row = window.Model().IndexOf(testCase);
        auto iconImage = [&] {
            return qvariant_cast<QIcon>(window.Model().data(row, Qt::DecorationRole))
                .pixmap(16)
                .toImage();
        };
        const QImage postponed = QIcon(":/desktop/icons/status-postponed.svg").pixmap(16).toImage();
        QVERIFY(iconImage() != postponed);
        QVERIFY(gui_test::PageText(window.Page()).contains("CHK-001"));
        QVERIFY(!gui_test::PageText(window.Page()).contains("counts as Postponed"));
        loaded.clear();

        // A new test type, and "Not yet attempted" counted as postponed from now on.
        WhenModalOpens([&](QDialog& sheet) {
            Child<QLineEdit>(sheet, "typesEntry").setText("Security test");
            Click(sheet, "typesAdd");
            SelectRows(Child<QTreeWidget>(sheet, "statusList"), {0});
            WhenModalOpens(
                [](QDialog& status) {
                    Child<QComboBox>(status, "meaning").setCurrentText("Postponed");
                    Child<QDialogButtonBox>(status, {}).button(QDialogButtonBox::Ok)->click();
                },
                "statusDialog");
            Click(sheet, "statusEdit");
            sheet.accept();
        });
        window.RunCommand(ID_SETTINGS_CUSTOMIZE);
        QVERIFY(open->port.notices.empty());
        QTRY_VERIFY(iconImage() == postponed);
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        QVERIFY(gui_test::PageText(window.Page()).contains("counts as Postponed"));

        QStringList offered;
        WhenModalOpens([&](QDialog& dialog) {
            auto* type = dialog.findChild<QWidget*>("test_type")->findChild<QComboBox*>();
            for (int entry = 0; type && entry < type->count(); ++entry)
                offered << type->itemText(entry);
            dialog.reject();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QVERIFY(offered.contains("Security test"));
    }
};

VANTOREL_GUI_TEST(CustomizeSheetTest);

}  // namespace vantorel

#include "customize_sheet_test.moc"
