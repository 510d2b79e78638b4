// The item dialogs from the window: what OK writes is what the model alone writes for the same
// values, a project test case marked passed gains one history block, refusals come from the
// model with their captions and leave the documents as they were, and the lock goes with the
// dialog however it closes.

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDateTimeEdit>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <fstream>
#include <sstream>

#include "desktop/dialogs/item_dialog.h"
#include "desktop/dialogs/item_dialogs.h"
#include "desktop/widgets/rich_text_edit.h"
#include "documents/test_case.h"
#include "gui_test.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

const LocalMoment kFixed{{2026, 5, 4}, {9, 8, 7}};

QWidget* FieldOf(QDialog& dialog, const char* name) {
    return dialog.findChild<QWidget*>(name);
}
QLineEdit* LineOf(QDialog& dialog, const char* name) {
    return FieldOf(dialog, name)->findChild<QLineEdit*>();
}
QComboBox* ChoiceOf(QDialog& dialog, const char* name) {
    return FieldOf(dialog, name)->findChild<QComboBox*>();
}
RichTextEdit* RichOf(QDialog& dialog, const char* name) {
    return FieldOf(dialog, name)->findChild<RichTextEdit*>();
}

bool Locked(const fs::path& document) {
    return fs::exists(document.string() + ".lck");
}

}  // namespace

class ItemDialogsTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void LibraryTestCaseOkWritesWhatTheModelWritesAndKeepsALongTitle() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        MainWindow& window = *open->window;
        window.Dialogs().SetClock([] { return kFixed; });
        const fs::path relative = fs::path("Test Cases") / "Login" / "LOG-003.vtl";
        const fs::path testCase = open->database / relative;

        // The same values through the model alone, in another copy of the database.
        const fs::path alone = CopyDatabase(Root() / "alone") / relative;
        {
            auto editor = TestCase::Edit(alone, {open->port, window.TheShell().Custom(),
                                                 CurrentIdentity(), [] { return kFixed; }});
            QVERIFY(editor);
            editor->Control("<test_title>").text = "Log in with a long password \xE9";
            editor->Control("<test_duration>").text = "2:30";
            editor->Control("<priority>").text = "High";
            editor->Control("<test_description>").text = "<b>Open</b> the page\nLog in";
            QVERIFY(!editor->Save());
        }

        window.SelectPath(testCase);
        bool lockedWhileOpen = false;
        WhenModalOpens([&](QDialog& dialog) {
            lockedWhileOpen = Locked(testCase);
            LineOf(dialog, "test_title")
                ->setText(QString::fromUtf8("Log in with a long password é"));
            const auto duration = FieldOf(dialog, "test_duration")->findChildren<QLineEdit*>();
            duration[0]->setText("2");
            duration[1]->setText("30");
            ChoiceOf(dialog, "priority")->setCurrentText("High");
            RichTextEdit* steps = RichOf(dialog, "test_description");
            steps->clear();
            steps->ToggleBold();
            QTest::keyClicks(steps, "Open");
            steps->ToggleBold();
            QTest::keyClicks(steps, " the page");
            QTest::keyClick(steps, Qt::Key_Return);
            QTest::keyClicks(steps, "Log in");
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QVERIFY(lockedWhileOpen);
        QVERIFY(!Locked(testCase));
        QVERIFY(open->port.notices.empty());
        QCOMPARE(testing::ReadFile(testCase), testing::ReadFile(alone));
        QVERIFY(testing::Has(testing::ReadFile(testCase),
                             "<![CDATA[<b>Open</b> the page<br>Log in]]>"));

        // The CSV import takes a title of any length the document holds; a line edit kept Qt's
        // default of 32,767 characters and cut the rest on the next save.
        const std::string title(40000, 't');
        {
            auto editor = TestCase::Edit(testCase, {open->port, window.TheShell().Custom()});
            QVERIFY(editor);
            editor->Control("<test_title>").text = title;
            QVERIFY(!editor->Save());
        }
        WhenModalOpens([](QDialog& dialog) {
            ChoiceOf(dialog, "priority")->setCurrentText("Lowest");
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QVERIFY(open->port.notices.empty());
        const std::string saved = testing::ReadFile(testCase);
        QVERIFY(testing::Has(saved, "Lowest"));
        QVERIFY(testing::Has(saved, title + "<"));
    }

    void MarkingAProjectTestCasePassedAppendsOneHistoryBlock() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path testCase = open->database / "Projects" / "Mobile launch" /
                                  "Project Test Cases" / "Checkout" / "CHK-001.vtl";
        const int before = testing::Count(testing::ReadFile(testCase), "<history_entry>");
        window.SelectPath(testCase);

        // A fault report command that can't be started, and none to view one.
        window.TheShell().Configuration().Settings().addBugPath =
            "/nowhere/bugtool --project \"%VT_PROJECT%\"";
        int historyRows = -1;
        bool viewFaultGreyed = false;
        QString attempts, testers;
        QDate lastAttempt;
        bool notApplicable = true;
        QString caption;
        WhenModalOpens([&](QDialog& dialog) {
            caption = dialog.windowTitle();
            viewFaultGreyed = !dialog.findChild<QPushButton*>("viewFaultReport")->isEnabled();
            dialog.findChild<QPushButton*>("addFaultReport")->click();
            historyRows = dialog.findChild<QTableWidget*>("historyTable")->rowCount();
            // Choosing a result records the attempt: its count, its moment and its tester.
            QComboBox* status = ChoiceOf(dialog, "test_status");
            status->setCurrentText("Pass");
            emit status->activated(status->currentIndex());
            attempts = LineOf(dialog, "test_attempts")->text();
            lastAttempt = FieldOf(dialog, "last_attempt_date")->findChild<QDateEdit*>()->date();
            notApplicable =
                FieldOf(dialog, "last_attempt_date")->findChild<QCheckBox*>()->isChecked();
            testers = ChoiceOf(dialog, "testers")->currentText();
            dialog.accept();
        });
        open->port.ScriptAnswers({true});
        const std::string tester =
            EditorContext{open->port, window.TheShell().Custom(), window.TheShell().Identity()}
                .UserName();
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(attempts, QString("1"));
        QCOMPARE(lastAttempt, QDate::currentDate());
        QVERIFY(!notApplicable);
        QVERIFY2(testers.endsWith(QString::fromStdString(tester)), qPrintable(testers));
        QVERIFY(viewFaultGreyed);
        QCOMPARE(caption, QString("Vantorel - Project Test Case Properties"));
        QCOMPARE(open->port.notices.size(), std::size_t{1});
        QVERIFY(testing::Has(open->port.notices[0].text, "--project \"Mobile launch\""));
        open->port.notices.clear();
        QCOMPARE(historyRows, before);
        std::string text = testing::ReadFile(testCase);
        QCOMPARE(testing::Count(text, "<history_entry>"), before + 1);
        const std::string last = text.substr(text.rfind("<history_entry>"));
        QVERIFY(testing::Has(last, "<old_status>Not yet attempted</old_status>"));
        QVERIFY(testing::Has(last, "<new_status>Pass</new_status>"));
        QVERIFY(testing::Has(text, "<test_status>Pass</test_status>"));

        // Notes alone change no execution figure: no block.
        WhenModalOpens([&](QDialog& dialog) {
            historyRows = dialog.findChild<QTableWidget*>("historyTable")->rowCount();
            QTest::keyClicks(RichOf(dialog, "result_notes"), "Card declined once");
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(historyRows, before + 1);
        text = testing::ReadFile(testCase);
        QCOMPARE(testing::Count(text, "<history_entry>"), before + 1);
        QVERIFY(testing::Has(text, "Card declined once"));
        QVERIFY(open->port.notices.empty());
    }

    void RefusalsShowTheModelsCaptionsAndChangeNothing() {
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path suite = open->database / "Test Cases" / "Login";
        const auto listing = [&] {
            std::vector<std::string> names;
            for (const auto& entry : fs::directory_iterator(suite))
                names.push_back(entry.path().filename().string());
            std::sort(names.begin(), names.end());
            return names;
        };
        const auto filesBefore = listing();
        window.SelectPath(suite);
        QVERIFY(window.Commands().Action(ID_CREATE_TEST_CASE)->isEnabled());

        QList<std::size_t> told;
        bool stayedOpen = true;
        WhenModalOpens([&](QDialog& dialog) {
            auto okAndCaption = [&] {
                const std::size_t before = port.notices.size();
                dialog.accept();
                stayedOpen = stayedOpen && dialog.isVisible();
                told << port.notices.size() - before;
            };
            QLineEdit* id = LineOf(dialog, "id");
            id->setText("a|b");
            okAndCaption();
            id->setText("log-001");  // another test case's, in other letters
            okAndCaption();
            id->setText("LOG-NEW");
            LineOf(dialog, "test_title")->setText(QString::fromUtf8("Costs 5 €"));
            okAndCaption();
            LineOf(dialog, "test_title")->setText("Costs 5 EUR");
            FieldOf(dialog, "test_duration")->findChildren<QLineEdit*>()[1]->setText("75");
            okAndCaption();
            // The launch button asks the core what the link names.
            auto* launch = FieldOf(dialog, "external_link")->findChild<QPushButton*>("launch");
            for (const char* link : {"", "/nowhere/plan.doc"}) {
                LineOf(dialog, "external_link")->setText(link);
                const std::size_t before = port.notices.size();
                launch->click();
                told << port.notices.size() - before;
            }
            port.ScriptAnswers({true});  // "Close test case without saving changes?"
            QTest::keyClick(&dialog, Qt::Key_Escape);
        });
        window.RunCommand(ID_CREATE_TEST_CASE);
        QVERIFY(stayedOpen);
        // Four refusals and the two links that can't be launched, each told once; Escape
        // asks before the typing goes.
        QCOMPARE(told, QList<std::size_t>(6, 1));
        QCOMPARE(port.questions.size(), std::size_t{1});
        // The write probe of New leaves after its quarter of a second.
        QTRY_COMPARE(listing(), filesBefore);

        // An edited item keeps its document through a refusal and its lock until the dialog
        // closes, by Cancel as by the window's close button.
        const fs::path existing = suite / "LOG-001.vtl";
        const std::string document = testing::ReadFile(existing);
        window.SelectPath(existing);
        QString typedAfterRefusal;
        bool lockedAfterRefusal = false;
        const std::size_t toldBefore = port.notices.size();
        WhenModalOpens([&](QDialog& dialog) {
            LineOf(dialog, "test_title")->setText("Typed title");
            FieldOf(dialog, "test_duration")->findChildren<QLineEdit*>()[1]->setText("60");
            dialog.accept();
            typedAfterRefusal = LineOf(dialog, "test_title")->text();
            lockedAfterRefusal = Locked(existing);
            port.ScriptAnswers({true});
            dialog.close();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(port.notices.size(), toldBefore + 1);
        QCOMPARE(typedAfterRefusal, QString("Typed title"));
        QVERIFY(lockedAfterRefusal);
        QVERIFY(!Locked(existing));
        QCOMPARE(testing::ReadFile(existing), document);
    }

    void ASaveTheDiskRefusesKeepsTheDialogAndWhatWasTyped() {
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path suite = open->database / "Test Cases" / "Search";
        const fs::path aside = open->database / "Test Cases" / "Search-away";
        const fs::path testCase = suite / "SRCH-001.vtl";
        const std::string document = testing::ReadFile(testCase);
        window.SelectPath(testCase);
        QString typedAfterFailure;
        bool openAfterFailure = false;
        std::size_t toldOfFailure = 0;
        WhenModalOpens([&](QDialog& dialog) {
            LineOf(dialog, "test_title")->setText("Search by colour");
            // The share goes away while the dialog is open.
            fs::rename(suite, aside);
            dialog.accept();
            toldOfFailure = port.notices.size();
            openAfterFailure = dialog.isVisible();
            typedAfterFailure = LineOf(dialog, "test_title")->text();
            fs::rename(aside, suite);
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(toldOfFailure, std::size_t{1});
        QVERIFY(openAfterFailure);
        QCOMPARE(typedAfterFailure, QString("Search by colour"));
        const std::string saved = testing::ReadFile(testCase);
        QVERIFY(saved != document);
        QVERIFY(testing::Has(saved, "<test_title>Search by colour</test_title>"));
        QVERIFY(!Locked(testCase));
    }

    void HistoryDatesAndResetGoThroughTheModel() {
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path testCase = open->database / "Projects" / "Release 2.0" /
                                  "Project Test Cases" / "Login" / "LOG-002.vtl";
        window.SelectPath(testCase);
        std::size_t refusedMoves = 0;
        QString moved;
        int rowsAfterReset = -1;
        QString statusAfterReset, attemptsAfterReset;
        WhenModalOpens([&](QDialog& dialog) {
            auto* table = dialog.findChild<QTableWidget*>("historyTable");
            auto* date = dialog.findChild<QDateTimeEdit*>("historyDate");
            auto* change = dialog.findChild<QPushButton*>("changeHistoryDate");
            table->setCurrentCell(1, 0);
            // Past the block below it, then between its neighbours.
            date->setDateTime(QDateTime(QDate(2026, 10, 20), QTime(8, 0, 0)));
            change->click();
            refusedMoves = port.notices.size();
            date->setDateTime(QDateTime(QDate(2026, 10, 7), QTime(8, 0, 0)));
            change->click();
            moved = table->item(1, 0)->text();

            port.ScriptAnswers({true});
            dialog.findChild<QPushButton*>("resetButton")->click();
            rowsAfterReset = table->rowCount();
            statusAfterReset = ChoiceOf(dialog, "test_status")->currentText();
            attemptsAfterReset = LineOf(dialog, "test_attempts")->text();
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(refusedMoves, std::size_t{1});
        QCOMPARE(port.questions.size(), std::size_t{1});  // the reset's
        QCOMPARE(moved, QString("7-Oct-2026, 08:00:00"));
        QCOMPARE(rowsAfterReset, 1);
        QCOMPARE(statusAfterReset, QString("Not yet attempted"));
        QCOMPARE(attemptsAfterReset, QString("0"));
        const std::string text = testing::ReadFile(testCase);
        QVERIFY(testing::Has(text, "<test_status>Not yet attempted</test_status>"));
        QVERIFY(!testing::Has(text, "<new_status>Fail</new_status>"));
        QCOMPARE(port.notices.size(), std::size_t{1});
    }

    void ATesterKeepsOnlyTheHashOfAPasswordTypedTwice() {
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        window.SelectPath(open->database / "Testers");
        std::size_t mismatches = 0;
        WhenModalOpens([&](QDialog& dialog) {
            LineOf(dialog, "id")->setText("kim");
            LineOf(dialog, "tester_name")->setText("Kim Park");
            FieldOf(dialog, "remote_user")->findChild<QCheckBox*>()->setChecked(true);
            QLineEdit* password = LineOf(dialog, "passwd_hash");
            auto* repeat = dialog.findChild<QLineEdit*>("passwordRepeat");
            password->setText("s3cret");
            repeat->setText("s3cert");
            dialog.accept();
            mismatches = port.notices.size();
            repeat->setText("s3cret");
            dialog.accept();
        });
        window.RunCommand(ID_CREATE_TESTER);
        QCOMPARE(mismatches, std::size_t{1});
        const fs::path tester = open->database / "Testers" / "kim.vtl";
        const std::string text = testing::ReadFile(tester);
        QVERIFY(testing::Has(text, "<passwd_hash>$argon2id$"));
        QVERIFY(!testing::Has(text, "s3cret"));
        QCOMPARE(window.CurrentNode()->path, tester);

        // Testers are edited one at a time.
        const QModelIndex other = window.Model().IndexOf(open->database / "Testers" / "dana.vtl");
        window.Tree().selectionModel()->select(other, QItemSelectionModel::Select);
        const std::size_t told = port.notices.size();
        window.RunCommand(ID_EDIT_PROPERTIES);
        QCOMPARE(port.notices.size(), told + 1);
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(!Locked(tester));
    }

    void NewItemsTakeTheAutomaticIdentifierAndAppearSelected() {
        auto open = Open();
        MainWindow& window = *open->window;
        window.TheShell().Configuration().Settings().incrementalNew = true;
        const fs::path suite = open->database / "Test Cases" / "Login";
        window.SelectPath(suite);
        QTRY_VERIFY_WITH_TIMEOUT(gui_test::PageText(window.Page()).contains("Login"), 20000);
        QString id;
        bool idReadOnly = true;
        WhenModalOpens([&](QDialog& dialog) {
            id = LineOf(dialog, "id")->text();
            idReadOnly = LineOf(dialog, "id")->isReadOnly();
            LineOf(dialog, "test_title")->setText("Log out");
            dialog.accept();
        });
        window.RunCommand(ID_CREATE_TEST_CASE);
        QCOMPARE(id, QString("LOG-007"));
        QVERIFY(!idReadOnly);
        const fs::path made = suite / "LOG-007.vtl";
        QVERIFY(fs::exists(made));
        QVERIFY(!fs::exists(suite / "LOG-007.tmp"));
        QCOMPARE(window.CurrentNode()->path, made);
        // The pane shows the new item, not the suite it was made from.
        QTRY_VERIFY_WITH_TIMEOUT(gui_test::PageText(window.Page()).contains("Log out"), 20000);

        // A suite made from a project goes into its test cases.
        const fs::path project = open->database / "Projects" / "Release 2.0";
        window.SelectPath(project);
        WhenModalOpens([&](QDialog& dialog) {
            LineOf(dialog, "id")->setText("Smoke");
            LineOf(dialog, "suite_title")->setText("Smoke tests");
            dialog.accept();
        });
        window.RunCommand(ID_CREATE_SUITE);
        const fs::path smoke = project / "Project Test Cases" / "Smoke";
        QVERIFY(fs::is_directory(smoke));
        QVERIFY(testing::ReadFile(smoke.string() + ".tgp")
                    .find("<suite_title>Smoke tests</suite_title>") != std::string::npos);
        QCOMPARE(window.CurrentNode()->path, smoke);
        QVERIFY(open->port.notices.empty());
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::ItemDialogsTest);
#include "item_dialogs_test.moc"
