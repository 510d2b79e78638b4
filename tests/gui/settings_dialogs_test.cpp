// The Options, Spelling and Display Style dialogs opened from their commands: what they show,
// what OK keeps in Vantorel.cfg, what Cancel leaves alone, and what the window does after.

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QWebEnginePage>

#include "desktop/widgets/spelling.h"
#include "gui_test.h"
#include "support/temp_dir.h"
#include "window_fixture.h"
#include "workspace/options.h"
#include "workspace/spelling_options.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

QCheckBox* FlagBox(QDialog& dialog, bool ConfigSettings::*setting) {
    for (const FlagOption& option : FlagOptions())
        if (option.setting == setting)
            for (QCheckBox* box : dialog.findChildren<QCheckBox*>())
                if (box->text().toStdString() == option.label)
                    return box;
    return nullptr;
}

QLineEdit* BugLinkField(QDialog& dialog, std::string ConfigSettings::*setting) {
    for (const LinkOption& option : LinkOptions())
        if (option.setting == setting)
            for (QLineEdit* field : dialog.findChildren<QLineEdit*>())
                if (field->accessibleName().toStdString() == option.label)
                    return field;
    return nullptr;
}

void Press(QDialog& dialog, QDialogButtonBox::StandardButton button) {
    dialog.findChild<QDialogButtonBox*>()->button(button)->click();
}

}  // namespace

class SettingsDialogsTest : public gui_test::WindowTest {
    Q_OBJECT
private slots:
    void OptionsShowTheCurrentValuesAndOkWritesThemCancelNothing() {
        WindowThreadMayRead checking(gui_test::kTestReads);
        auto open = Open();
        ConfigSettings& settings = open->window->TheShell().Configuration().Settings();
        settings.incrementalNew = true;
        settings.printFooter = false;
        settings.viewBugPath = "https://bugs.example/%VT_PROJECT%";
        // What the dialog shows is noted there and compared once it is closed: a failed
        // comparison inside would leave it open.
        QString bugPath;
        bool incrementalNew = false, printFooter = true, statusIcons = false;
        WhenModalOpens([&](QDialog& dialog) {
            incrementalNew = FlagBox(dialog, &ConfigSettings::incrementalNew)->isChecked();
            printFooter = FlagBox(dialog, &ConfigSettings::printFooter)->isChecked();
            statusIcons = FlagBox(dialog, &ConfigSettings::changeIconsInTreeview)->isChecked();
            bugPath = BugLinkField(dialog, &ConfigSettings::viewBugPath)->text();
            FlagBox(dialog, &ConfigSettings::printFooter)->click();
            BugLinkField(dialog, &ConfigSettings::addBugPath)->setText("tracker '%TESTCASE_PATH%'");
            Press(dialog, QDialogButtonBox::Ok);
        });
        open->window->RunCommand(ID_SETTINGS_OPTIONS);
        QVERIFY(incrementalNew);
        QVERIFY(!printFooter);
        QVERIFY(statusIcons);
        QCOMPARE(bugPath, QString("https://bugs.example/%VT_PROJECT%"));

        const Config written(RootFile("config").toStdString(), RootFile("data").toStdString(),
                             open->port);
        QVERIFY(written.Settings().incrementalNew);
        QVERIFY(written.Settings().printFooter);
        QCOMPARE(written.Settings().viewBugPath, std::string("https://bugs.example/%VT_PROJECT%"));
        QCOMPARE(written.Settings().addBugPath, std::string("tracker '%TESTCASE_PATH%'"));
        QVERIFY(open->port.notices.empty());

        // Cancel, or OK on a link that is refused, writes nothing.
        Config& config = open->window->TheShell().Configuration();
        const ConfigSettings before = config.Settings();
        const std::string fileBefore = testing::ReadFile(config.File());

        WhenModalOpens([](QDialog& dialog) {
            FlagBox(dialog, &ConfigSettings::showStartupDialog)->click();
            Press(dialog, QDialogButtonBox::Cancel);
        });
        open->window->RunCommand(ID_SETTINGS_OPTIONS);

        bool stayedOpen = false;
        WhenModalOpens([&](QDialog& dialog) {
            FlagBox(dialog, &ConfigSettings::showStartupDialog)->click();
            BugLinkField(dialog, &ConfigSettings::viewReqPath)->setText(QString(600, 'r'));
            Press(dialog, QDialogButtonBox::Ok);
            stayedOpen = dialog.isVisible();
            Press(dialog, QDialogButtonBox::Cancel);
        });
        open->window->RunCommand(ID_SETTINGS_OPTIONS);

        QVERIFY(stayedOpen);
        QCOMPARE(open->port.notices.size(), std::size_t{1});
        QVERIFY(config.Settings() == before);
        QCOMPARE(testing::ReadFile(config.File()), fileBefore);
    }

    void TheStatusIconsOptionChangesTheTreeAtOnce() {
        auto open = Open();
        MainWindow& window = *open->window;
        fs::path document;
        for (const auto& entry : fs::recursive_directory_iterator(open->database / "Projects"))
            if (entry.path().extension() == ".vtl" &&
                gui_test::TestReads(
                    [&] { return StatusIconOf(entry.path(), window.TheShell().Custom()); }) > 0) {
                document = entry.path();
                break;
            }
        QVERIFY(!document.empty());
        const QPersistentModelIndex row = window.Model().IndexOf(document);
        QVERIFY(row.isValid());
        auto iconKey = [&row] { return row.data(Qt::DecorationRole).value<QIcon>().cacheKey(); };
        // The plain icon stands while a worker reads the document's status.
        const qint64 plainIcon = iconKey();
        QTRY_VERIFY(iconKey() != plainIcon);
        const qint64 statusIcon = iconKey();

        QSignalSpy repainted(&window.Model(), &QAbstractItemModel::dataChanged);
        auto setStatusIcons = [this](bool on) {
            WhenModalOpens([on](QDialog& dialog) {
                QCheckBox* box = FlagBox(dialog, &ConfigSettings::changeIconsInTreeview);
                box->setChecked(on);
                Press(dialog, QDialogButtonBox::Ok);
            });
        };
        setStatusIcons(false);
        window.RunCommand(ID_SETTINGS_OPTIONS);
        QVERIFY(!repainted.isEmpty());
        QCOMPARE(iconKey(), plainIcon);

        setStatusIcons(true);
        window.RunCommand(ID_SETTINGS_OPTIONS);
        QTRY_COMPARE(iconKey(), statusIcon);
    }

    void SpellingOptionsChooseTheDictionaryTheSkippedWordsAndRemovePersonalWords() {
        auto open = Open();
        const fs::path data = open->window->TheShell().Folders().data;
        const std::shared_ptr<SpellChecker> before =
            gui_test::TestReads([&] { return SharedSpellChecker(data); });
        QVERIFY(before);
        for (std::u16string_view word : {u"Vantorel", u"Qwertzy"})
            QVERIFY(before->AddToDictionary(word, open->port));

        QStringList words;
        WhenModalOpens([&](QDialog& dialog) {
            auto* languages = dialog.findChild<QComboBox*>("languages");
            languages->setCurrentIndex(languages->findText("en_GB"));
            for (QCheckBox* box : dialog.findChildren<QCheckBox*>())
                if (box->text().toStdString() == SkipOptions().front().label)
                    box->setChecked(false);
            auto* list = dialog.findChild<QListWidget*>("personalWords");
            list->setCurrentRow(0);
            dialog.findChild<QPushButton*>("removeWord")->click();
            for (int row = 0; row < list->count(); ++row)
                words << list->item(row)->text();
            Press(dialog, QDialogButtonBox::Ok);
        });
        open->window->RunCommand(ID_SETTINGS_SPELLING);
        QCOMPARE(words, QStringList{"Qwertzy"});

        const Config written(RootFile("config").toStdString(), RootFile("data").toStdString(),
                             open->port);
        const SpellingOptions kept = written.Settings().spelling;
        QCOMPARE(kept.language, std::string("en_GB"));
        QVERIFY(!(kept.*SkipOptions().front().setting));
        // The dialogs opened now check without the removed word.
        const std::shared_ptr<SpellChecker> after =
            gui_test::TestReads([&] { return SharedSpellChecker(data, kept); });
        QCOMPARE(after->Language(), std::string("en_GB"));
        QVERIFY(!after->Check(u"Vantorel"));
        QVERIFY(after->Check(u"Qwertzy"));
        QVERIFY(open->port.notices.empty());
    }

    void DisplayStyleOffersTheProgramsStylesAndShowsThePageInTheChosenOne() {
        auto open = Open();
        MainWindow& window = *open->window;
        QSignalSpy loaded(&window.Page(), &QWebEngineView::loadFinished);
        window.SelectPath(open->database / "Test Cases" / "Login" / "LOG-001.vtl");
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        // A rule only the night style's sheet holds; the page carries its style's sheet.
        const QString nightCanvas = "--canvas: #0d1117";
        QVERIFY(!gui_test::PageHtml(window.Page()).contains(nightCanvas));

        QStringList offered;
        QString selected;
        WhenModalOpens([&](QDialog& dialog) {
            auto* styles = dialog.findChild<QListWidget*>("styles");
            for (int row = 0; row < styles->count(); ++row)
                offered << styles->item(row)->text();
            selected = styles->currentItem()->text();
            styles->setCurrentRow(static_cast<int>(offered.indexOf("night")));
            Press(dialog, QDialogButtonBox::Ok);
        });
        loaded.clear();
        window.RunCommand(ID_EDIT_DISPLAY_STYLE);
        QVERIFY(offered.contains("default"));
        QVERIFY(offered.contains("night"));
        QCOMPARE(selected, QString("default"));
        const Config written(RootFile("config").toStdString(), RootFile("data").toStdString(),
                             open->port);
        QCOMPARE(written.Settings().templatePath, std::string("night"));
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty(), 20000);
        QVERIFY(gui_test::PageHtml(window.Page()).contains(nightCanvas));

        // The style in use is selected next time; keeping it, or cancelling, changes nothing.
        const std::string fileBefore = testing::ReadFile(written.File());
        for (auto button : {QDialogButtonBox::Ok, QDialogButtonBox::Cancel}) {
            WhenModalOpens([&selected, button](QDialog& dialog) {
                selected = dialog.findChild<QListWidget*>("styles")->currentItem()->text();
                Press(dialog, button);
            });
            window.RunCommand(ID_EDIT_DISPLAY_STYLE);
            QCOMPARE(selected, QString("night"));
        }
        QCOMPARE(testing::ReadFile(written.File()), fileBefore);
        QVERIFY(open->port.notices.empty());
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::SettingsDialogsTest);
#include "settings_dialogs_test.moc"
