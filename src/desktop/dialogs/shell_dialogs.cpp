#include "desktop/dialogs/shell_dialogs.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "documents/custom_cfg.h"
#include "documents/customize_editor.h"
#include "platform/identity.h"
#include "storage/thread_guard.h"

namespace vantorel {
namespace fs = std::filesystem;

ShellView::StartupAnswer RunStartupDialog(QWidget* parent, const std::string& lastDatabaseName) {
    QDialog dialog(parent);
    dialog.setObjectName("startupDialog");
    dialog.setWindowTitle("Load Database");
    auto* layout = new QVBoxLayout(&dialog);
    auto* heading = new QHBoxLayout;
    auto* icon = new QLabel;
    icon->setPixmap(QIcon(":/desktop/icons/vantorel.svg").pixmap(48, 48));
    heading->addWidget(icon);
    heading->addWidget(new QLabel("Vantorel - Startup Options"), 1);
    layout->addLayout(heading);

    struct Choice {
        StartupChoice choice;
        const char* text;
    };
    static constexpr Choice kChoices[] = {
        {StartupChoice::LoadLast, "Load the last database..."},
        {StartupChoice::Browse, "Browse for database..."},
        {StartupChoice::CreateNew, "Create a new database"},
        {StartupChoice::SampleDatabase, "Load the SampleDB sample database"},
        {StartupChoice::NoDatabase, "Don't load any database"},
    };
    auto* group = new QButtonGroup(&dialog);
    for (const Choice& choice : kChoices) {
        auto* button = new QRadioButton(choice.text);
        group->addButton(button, static_cast<int>(choice.choice));
        layout->addWidget(button);
        if (choice.choice == StartupChoice::LoadLast) {
            button->setChecked(true);
            auto* last =
                new QLabel(lastDatabaseName.empty() ? QString("( Not applicable )")
                                                    : QString::fromStdString(lastDatabaseName));
            last->setObjectName("lastDatabase");
            last->setIndent(24);
            layout->addWidget(last);
        }
    }
    auto* showAgain = new QCheckBox("Show this dialog at startup");
    showAgain->setChecked(true);
    layout->addWidget(showAgain);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons);

    if (dialog.exec() != QDialog::Accepted)
        return {StartupChoice::Cancel, showAgain->isChecked()};
    return {static_cast<StartupChoice>(group->checkedId()), showAgain->isChecked()};
}

std::optional<fs::path> ChooseDatabaseFile(QWidget* parent, const fs::path& startFolder) {
    const QString chosen = QFileDialog::getOpenFileName(
        parent, "Select a database file", QString::fromStdString(startFolder.string()),
        "Vantorel Database files (*.vdb *.VDB)");
    if (chosen.isEmpty())
        return std::nullopt;
    return fs::path(chosen.toStdString());
}

std::optional<fs::path> RunNewDatabaseDialog(QWidget* parent) {
    QDialog dialog(parent);
    dialog.setObjectName("newDatabaseDialog");
    dialog.setWindowTitle("New Database");
    auto* folder = new QLineEdit(QDir::current().filePath("NewDB"));
    folder->setObjectName("folder");
    folder->setMinimumWidth(360);
    // The label is above the field's row, not beside it: screen readers name it by the buddy.
    auto* caption = new QLabel("Folder of the new database:");
    caption->setBuddy(folder);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(caption);
    auto* row = new QHBoxLayout;
    auto* browse = new QPushButton("Browse...");
    row->addWidget(folder, 1);
    row->addWidget(browse);
    layout->addLayout(row);
    QObject::connect(browse, &QPushButton::clicked, &dialog, [&] {
        const QString chosen =
            QFileDialog::getExistingDirectory(&dialog, "Export folder select", folder->text());
        if (!chosen.isEmpty())
            folder->setText(chosen);
    });
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons);
    if (dialog.exec() != QDialog::Accepted || folder->text().trimmed().isEmpty())
        return std::nullopt;
    return fs::path(folder->text().trimmed().toStdString());
}

bool RunSetUserDialog(QWidget* parent, const fs::path& databaseDir, CustomCfg& custom,
                      const std::string& computer, const std::string& currentUser, UserPort& port) {
    WindowThreadMayRead mayRead(kDialogReads);
    const std::vector<std::string> rows = TesterChoices(databaseDir);
    if (rows.empty())
        return ChooseCurrentUser(databaseDir, custom, computer, rows, std::nullopt, port);
    QDialog dialog(parent);
    dialog.setObjectName("setUserDialog");
    dialog.setWindowTitle("Set User");
    auto* layout = new QFormLayout(&dialog);
    auto* current = new QLineEdit(QString::fromStdString(currentUser));
    current->setReadOnly(true);
    layout->addRow("Current user:", current);
    auto* testers = new QListWidget;
    testers->setObjectName("testers");
    for (const std::string& row : rows)
        testers->addItem(QString::fromStdString(row));
    layout->addRow("Testers:", testers);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    layout->addRow(buttons);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    // OK keeps the dialog open while the choice is refused, as the message asks for one.
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, [&] {
        std::optional<std::size_t> selected;
        if (testers->currentItem() && testers->currentItem()->isSelected())
            selected = static_cast<std::size_t>(testers->currentRow());
        if (ChooseCurrentUser(databaseDir, custom, computer, rows, selected, port))
            dialog.accept();
    });
    QObject::connect(testers, &QListWidget::itemDoubleClicked, buttons,
                     &QDialogButtonBox::accepted);
    return dialog.exec() == QDialog::Accepted;
}

}  // namespace vantorel
