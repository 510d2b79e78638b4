// Find and find & replace in the window: results stream into the dialog's table, a row shows
// its item, and a replace changes the kept hits only.

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>

#include "desktop/dialogs/find_dialog.h"
#include "desktop/tree/tree_actions.h"
#include "gui_test.h"
#include "support/temp_dir.h"
#include "window_fixture.h"

namespace vantorel {
namespace fs = std::filesystem;

class FindDialogTest : public gui_test::WindowTest {
    Q_OBJECT

    static std::size_t FilesHolding(const fs::path& folder, const std::string& text) {
        return gui_test::TestReads([&] {
            std::size_t files = 0;
            for (const auto& entry : fs::recursive_directory_iterator(folder))
                if (entry.is_regular_file() &&
                    testing::ReadFile(entry.path()).find(text) != std::string::npos)
                    ++files;
            return files;
        });
    }

private slots:
    void FindsInTheSelectedFolderAndReplacesOnlyTheKeptHits() {
        auto open = Open();
        MainWindow& window = *open->window;
        const fs::path library = open->database / "Test Cases";
        window.SelectPath(library);
        window.RunCommand(ID_EDIT_FIND_REPLACE);
        auto* dialog = window.findChild<FindDialog*>("findDialog");
        QVERIFY(dialog && dialog->isVisible());
        auto* scope = dialog->findChild<QComboBox*>("findScope");
        QCOMPARE(scope->currentText(), QString("Test Cases"));

        // A regular expression that does not compile is refused with the engine's reason.
        dialog->findChild<QCheckBox*>("findRegex")->setChecked(true);
        dialog->findChild<QLineEdit*>("findText")->setText("pass(word");
        dialog->findChild<QPushButton*>("findButton")->click();
        QVERIFY(!open->port.notices.empty());
        QVERIFY(open->port.notices.back().text.find("parenthesis") != std::string::npos);

        dialog->findChild<QCheckBox*>("findRegex")->setChecked(false);
        dialog->findChild<QLineEdit*>("findText")->setText("password");
        dialog->findChild<QLineEdit*>("replaceText")->setText("passphrase");
        dialog->findChild<QPushButton*>("findButton")->click();
        auto* results = dialog->findChild<QTableWidget*>("findResults");
        auto* replace = dialog->findChild<QPushButton*>("replaceButton");
        QTRY_VERIFY(replace->isEnabled());
        QVERIFY(results->rowCount() > 1);
        for (int row = 0; row < results->rowCount(); ++row)
            QVERIFY(results->item(row, 2)->text().contains("password", Qt::CaseInsensitive));

        // A row shows its item.
        const QString first = results->item(0, 0)->text();
        emit results->cellDoubleClicked(0, 0);
        QCOMPARE(QString::fromStdString(window.CurrentNode()->label), first);

        const std::size_t before = FilesHolding(library, "password");
        for (int row = 1; row < results->rowCount(); ++row)
            results->item(row, 0)->setCheckState(Qt::Unchecked);
        replace->click();
        QTRY_COMPARE(FilesHolding(library, "passphrase"), std::size_t{1});
        QVERIFY(FilesHolding(library, "password") >= before - 1);
        QTRY_VERIFY(!window.Actions().TransferRunning());
        QCOMPARE(results->rowCount(), 0);
        // The folders read again leave it open for the next search; closing the database
        // forgets what it found.
        QVERIFY(dialog->isVisible());
        window.TheShell().OnCloseDatabase();
        QVERIFY(!dialog->isVisible());
    }
};

}  // namespace vantorel

VANTOREL_GUI_TEST(vantorel::FindDialogTest);
#include "find_dialog_test.moc"
