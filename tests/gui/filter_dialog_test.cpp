// The filter dialog from the window: what OK writes is what the model alone writes for the
// same conditions, the new filter shows in the tree, the Filter menu and the toolbar's
// selector, refusals come from the model with their captions and leave the folder as it was,
// and an edited filter comes back with the conditions it was saved with.

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QTabWidget>
#include <fstream>
#include <sstream>

#include "desktop/dialogs/filter_dialog.h"
#include "filters/filter_editor.h"
#include "gui_test.h"
#include "storage/identifiers.h"
#include "storage/locks.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

template <typename Widget>
Widget* Control(QDialog& dialog, const char* name, std::size_t condition) {
    return dialog.findChild<Widget*>(QString("%1%2").arg(name).arg(condition));
}
QCheckBox* SwitchOf(QDialog& dialog, std::size_t condition) {
    return Control<QCheckBox>(dialog, "conditionSwitch", condition);
}
QComboBox* OperatorOf(QDialog& dialog, std::size_t condition) {
    return Control<QComboBox>(dialog, "conditionOperator", condition);
}
template <typename Widget>
Widget* ValueOf(QDialog& dialog, std::size_t condition) {
    return Control<Widget>(dialog, "conditionValue", condition);
}
QLineEdit* Line(QDialog& dialog, const char* name) {
    return dialog.findChild<QLineEdit*>(name);
}

QPoint TextOf(QListWidget& list, QListWidgetItem& item) {
    list.scrollToItem(&item);
    return list.visualItemRect(&item).center();
}

QPoint BoxOf(QListWidget& list, QListWidgetItem& item) {
    QStyleOptionViewItem option;
    option.initFrom(&list);
    option.rect = list.visualItemRect(&item);
    option.features = QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
    return list.style()
        ->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, &list)
        .center();
}

// Ticks the entries of a list condition with a click on their text, as a user does.
void Tick(QDialog& dialog, std::size_t condition, const QStringList& entries) {
    auto* list = ValueOf<QListWidget>(dialog, condition);
    for (const QString& entry : entries) {
        QListWidgetItem* item = list->findItems(entry, Qt::MatchExactly).value(0);
        QVERIFY2(item, qPrintable(entry));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, TextOf(*list, *item));
    }
}

QStringList Ticked(QDialog& dialog, std::size_t condition) {
    QStringList ticked;
    auto* list = ValueOf<QListWidget>(dialog, condition);
    for (int row = 0; row < list->count(); ++row)
        if (list->item(row)->checkState() == Qt::Checked)
            ticked << list->item(row)->text();
    return ticked;
}

QStringList SelectorEntries(MainWindow& window) {
    QStringList entries;
    auto* selector = window.findChild<QComboBox*>("filterSelector");
    for (int row = 0; row < selector->count(); ++row)
        entries << selector->itemText(row);
    return entries;
}

// The conditions both ways of making the filter set: a list with two entries, a date after,
// a duration, a priority, a text and the actual duration against the expected.
void SetConditions(FilterEditor& editor) {
    editor.id = "Slow failures";
    editor.name = "Failed or postponed, slow and recent";
    editor.conditions[0] = {true, {"Fail", "Postponed"}, "", {}, 0, FO_EQUAL_TO};
    editor.conditions[6] = {true, {}, "", {2026, 10, 5}, 0, FO_GREATER_THAN};
    editor.conditions[10] = {true, {}, "1:45", {}, 0, FO_GREATER_THAN};
    editor.conditions[14] = {true, {}, "", {}, 0, FO_GREATER_THAN};
    editor.conditions[18] = {true, {}, "", {}, 1, FO_LESS_THAN};
    editor.conditions[19] = {true, {}, "card reader", {}, 0, FO_EQUAL_TO};
}

}  // namespace

class FilterDialogTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void ANewFilterIsWhatTheModelWritesAndShowsWhereFiltersAreChosen() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path alone = CopyDatabase(Root() / "alone");
        {
            auto editor = FilterEditor::New(alone, open->port);
            SetConditions(*editor);
            QVERIFY(!editor->Save());
        }

        QList<bool> passTicks;
        WhenModalOpens([&](QDialog& dialog) {
            auto* sheet = dialog.findChild<QTabWidget*>("pages");
            QTest::keyClicks(Line(dialog, "filterId"), "Slow failures");
            QTest::keyClicks(Line(dialog, "filterName"), "Failed or postponed, slow and recent");
            SwitchOf(dialog, 0)->click();
            Tick(dialog, 0, {"Fail", "Postponed"});
            // A click on an entry's box ticks or unticks it once, as one on its text does.
            auto* statuses = ValueOf<QListWidget>(dialog, 0);
            QListWidgetItem* pass = statuses->findItems("Pass", Qt::MatchExactly).value(0);
            for (auto where : {TextOf, BoxOf, BoxOf}) {
                QTest::mouseClick(statuses->viewport(), Qt::LeftButton, {},
                                  where(*statuses, *pass));
                passTicks << (pass->checkState() == Qt::Checked);
            }
            QTest::mouseClick(statuses->viewport(), Qt::LeftButton, {}, BoxOf(*statuses, *pass));
            sheet->setCurrentIndex(1);
            SwitchOf(dialog, 6)->setChecked(true);
            OperatorOf(dialog, 6)->setCurrentText("After");
            ValueOf<QDateEdit>(dialog, 6)->setDate(QDate(2026, 10, 5));
            SwitchOf(dialog, 10)->setChecked(true);
            OperatorOf(dialog, 10)->setCurrentText("Greater than");
            QTest::keyClicks(ValueOf<QLineEdit>(dialog, 10), "1:45");
            SwitchOf(dialog, 14)->setChecked(true);
            OperatorOf(dialog, 14)->setCurrentText("Greater than");
            SwitchOf(dialog, 18)->setChecked(true);
            OperatorOf(dialog, 18)->setCurrentText("Less than");
            ValueOf<QComboBox>(dialog, 18)->setCurrentText("High");
            SwitchOf(dialog, 19)->setChecked(true);
            QTest::keyClicks(ValueOf<QLineEdit>(dialog, 19), "card reader");
            dialog.accept();
        });
        window.RunCommand(ID_FILTER_CREATE);
        QCOMPARE(passTicks, QList<bool>({true, false, true}));
        QVERIFY(open->port.notices.empty());
        const fs::path saved = open->database / "Filters" / "Slow failures.vtl";
        QCOMPARE(testing::ReadFile(saved),
                 testing::ReadFile(alone / "Filters" / "Slow failures.vtl"));
        QVERIFY(!fs::exists(LockPath(saved)));

        // The tree selects it, and the menu and the selector offer it to be chosen, by its ID
        // and name.
        QVERIFY(window.CurrentNode());
        QCOMPARE(window.CurrentNode()->path, saved);
        QCOMPARE(window.CurrentNode()->kind, TV_FILTER_DOC);
        const QString caption = "Slow failures - Failed or postponed, slow and recent";
        QTRY_COMPARE(SelectorEntries(window),
                     QStringList({"--No Filter--", "Failed - Tests that failed", caption,
                                  "Urgent - Highest and high priority"}));
        QAction* inMenu = nullptr;
        for (QAction* action : window.findChildren<QAction*>())
            if (action->text() == caption && action->isCheckable())
                inMenu = action;
        QVERIFY(inMenu);
        inMenu->trigger();
        QCOMPARE(window.Commands().ActiveFilter(), std::string("Slow failures"));
        QCOMPARE(window.findChild<QComboBox*>("filterSelector")->currentText(), caption);
    }

    void RefusalsShowTheModelsCaptionsAndChangeNothing() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path filters = open->database / "Filters";
        const std::vector<std::string> before = ItemIdsIn(filters);

        QList<std::size_t> told;
        bool stayedOpen = true;
        int pageOfTesters = -1;
        bool testersFocused = false;
        QString typedAfterFailure;
        WhenModalOpens([&](QDialog& dialog) {
            auto okAndCaption = [&] {
                const std::size_t before = port.notices.size();
                dialog.accept();
                stayedOpen = stayedOpen && dialog.isVisible();
                told << port.notices.size() - before;
            };
            QLineEdit* id = Line(dialog, "filterId");
            okAndCaption();
            id->setText("a|b");
            okAndCaption();
            id->setText("failed");  // the sample's "Failed", in other letters
            okAndCaption();
            id->setText("Mine");
            okAndCaption();
            SwitchOf(dialog, 5)->setChecked(true);
            dialog.findChild<QTabWidget*>("pages")->setCurrentIndex(1);
            okAndCaption();
            pageOfTesters = dialog.findChild<QTabWidget*>("pages")->currentIndex();
            testersFocused = dialog.focusWidget() == ValueOf<QListWidget>(dialog, 5);
            SwitchOf(dialog, 5)->setChecked(false);
            SwitchOf(dialog, 9)->setChecked(true);
            ValueOf<QLineEdit>(dialog, 9)->setText("two");
            okAndCaption();
            ValueOf<QLineEdit>(dialog, 9)->setText("2");
            Line(dialog, "filterName")->setText(QString::fromUtf8("Costs 5 €"));
            okAndCaption();
            Line(dialog, "filterName")->setText("Costs 5 EUR");
            // The folder goes away under the dialog: the file can't be made.
            fs::rename(filters, open->database / "Filters-away");
            okAndCaption();
            typedAfterFailure = Line(dialog, "filterName")->text();
            fs::rename(open->database / "Filters-away", filters);
            QTest::keyClick(&dialog, Qt::Key_Escape);
        });
        window.RunCommand(ID_FILTER_CREATE);
        QVERIFY(stayedOpen);
        // Each of the eight refusals (their order is the model's, tested there) is told once.
        QCOMPARE(told, QList<std::size_t>(8, 1));
        QCOMPARE(pageOfTesters, 0);
        QVERIFY(testersFocused);
        QCOMPARE(typedAfterFailure, QString("Costs 5 EUR"));
        QCOMPARE(ItemIdsIn(filters), before);

        // An existing filter keeps its document through a refusal and its lock until the
        // dialog closes.
        const fs::path failed = filters / "Failed.vtl";
        const std::string document = testing::ReadFile(failed);
        window.SelectPath(failed);
        bool lockedAfterRefusal = false;
        const std::size_t toldBefore = port.notices.size();
        WhenModalOpens([&](QDialog& dialog) {
            SwitchOf(dialog, 0)->setChecked(false);
            dialog.accept();
            lockedAfterRefusal = fs::exists(LockPath(failed));
            dialog.close();
        });
        window.RunCommand(ID_EDIT_FILTER);
        QCOMPARE(port.notices.size(), toldBefore + 1);
        QVERIFY(lockedAfterRefusal);
        QVERIFY(!fs::exists(LockPath(failed)));
        QCOMPARE(testing::ReadFile(failed), document);
    }

    void AnEditedFilterComesBackWithItsConditions() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        MainWindow& window = *open->window;
        RecordingPort& port = open->port;
        const fs::path filters = open->database / "Filters";
        {
            auto editor = FilterEditor::New(open->database, port);
            SetConditions(*editor);
            // An entry the database no longer offers stays chosen.
            editor->conditions[0].selections.push_back("Retired");
            editor->conditions[12] = {true, {"sam"}, "", {}, 0, FO_EQUAL_TO};
            editor->conditions[9] = {true, {}, "3", {}, 0, FO_NOT_EQUAL_TO};
            QVERIFY(!editor->Save());
        }
        const fs::path path = filters / "Slow failures.vtl";
        const std::string written = testing::ReadFile(path);
        // Written behind the window's back: read again, as the watcher would have it.
        window.RefreshBelow(filters);
        window.SelectPath(path);

        QStringList status, createdBy;
        QString date, priority, op;
        bool locked = false;
        WhenModalOpens([&](QDialog& dialog) {
            locked = fs::exists(LockPath(path));
            status = Ticked(dialog, 0);
            createdBy = Ticked(dialog, 12);
            date = ValueOf<QDateEdit>(dialog, 6)->date().toString(Qt::ISODate);
            priority = ValueOf<QComboBox>(dialog, 18)->currentText();
            op = OperatorOf(dialog, 9)->currentText();
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_PROPERTIES);
        QVERIFY(locked);
        QCOMPARE(status, QStringList({"Fail", "Postponed", "Retired"}));
        QCOMPARE(createdBy, QStringList({"sam"}));
        QCOMPARE(date, QString("2026-10-05"));
        QCOMPARE(priority, QString("High"));
        QCOMPARE(op, QString("Not Equal to"));
        QVERIFY(port.notices.empty());
        QCOMPARE(testing::ReadFile(path), written);
        QVERIFY(!fs::exists(LockPath(path)));

        // The filter in use, renamed, stays in use under its new name.
        window.Commands().ChooseFilter("Slow failures");
        WhenModalOpens([&](QDialog& dialog) {
            Line(dialog, "filterId")->setText("Slow");
            dialog.accept();
        });
        window.RunCommand(ID_EDIT_FILTER);
        QVERIFY(!fs::exists(path));
        QCOMPARE(window.Commands().ActiveFilter(), std::string("Slow"));
        QTRY_COMPARE(SelectorEntries(window),
                     QStringList({"--No Filter--", "Failed - Tests that failed",
                                  "Slow - Failed or postponed, slow and recent",
                                  "Urgent - Highest and high priority"}));
        QCOMPARE(window.CurrentNode()->path, filters / "Slow.vtl");

        // Someone else holds the lock: asked whether to unlock, and No opens nothing.
        const fs::path urgent = filters / "Urgent.vtl";
        QCOMPARE(createLockFile(urgent, {"desk-2", "lee"}), 0);
        window.SelectPath(urgent);
        port.ScriptAnswers({false});
        window.RunCommand(ID_EDIT_FILTER);
        QCOMPARE(port.questions.size(), std::size_t{1});
        QVERIFY(!port.questions[0].tick.empty());
        QVERIFY(!QApplication::activeModalWidget());
    }
};

VANTOREL_GUI_TEST(FilterDialogTest);

}  // namespace vantorel

#include "filter_dialog_test.moc"
