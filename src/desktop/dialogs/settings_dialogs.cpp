#include "desktop/dialogs/settings_dialogs.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QVBoxLayout>
#include <vector>

#include "desktop/help/help_window.h"
#include "exchange/about.h"
#include "exchange/export_web.h"
#include "storage/thread_guard.h"
#include "workspace/help.h"
#include "workspace/options.h"

namespace vantorel {
namespace {

QString FromView(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QDialogButtonBox* OkCancel(QDialog& dialog) {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    return buttons;
}

}  // namespace

bool RunOptionsDialog(QWidget* parent, Config& config, UserPort& port) {
    WindowThreadMayRead mayRead(kDialogReads);
    QDialog dialog(parent);
    dialog.setObjectName("optionsDialog");
    dialog.setWindowTitle(FromView(kOptionsCaption));
    auto* layout = new QVBoxLayout(&dialog);
    const ConfigSettings& current = config.Settings();

    auto* flagsBox = new QGroupBox("General");
    auto* flagsLayout = new QVBoxLayout(flagsBox);
    std::vector<QCheckBox*> flags;
    for (const FlagOption& option : FlagOptions()) {
        auto* box = new QCheckBox(FromView(option.label));
        box->setChecked(current.*option.setting);
        flagsLayout->addWidget(box);
        flags.push_back(box);
    }
    layout->addWidget(flagsBox);

    auto* linksBox = new QGroupBox("Links of project test cases, the HTML editor");
    auto* linksLayout = new QFormLayout(linksBox);
    std::vector<QLineEdit*> links;
    for (const LinkOption& option : LinkOptions()) {
        auto* field = new QLineEdit(QString::fromStdString(current.*option.setting));
        field->setAccessibleName(FromView(option.label));
        field->setMinimumWidth(420);
        linksLayout->addRow(FromView(option.label), field);
        links.push_back(field);
    }
    auto* hint = new QLabel(FromView(kLinkHint));
    hint->setWordWrap(true);
    linksLayout->addRow(hint);
    layout->addWidget(linksBox);

    auto* buttons = OkCancel(dialog);
    layout->addWidget(buttons);
    // OK keeps the dialog open on a refusal, with the focus on the field it names.
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, [&] {
        ConfigSettings chosen = config.Settings();
        for (std::size_t row = 0; row < flags.size(); ++row)
            chosen.*FlagOptions()[row].setting = flags[row]->isChecked();
        for (std::size_t row = 0; row < links.size(); ++row)
            chosen.*LinkOptions()[row].setting = links[row]->text().toStdString();
        if (std::optional<SaveRefusal> refusal = SaveOptions(chosen, config, port)) {
            if (refusal->field)
                links[*refusal->field]->setFocus();
            return;
        }
        dialog.accept();
    });
    return dialog.exec() == QDialog::Accepted;
}

bool RunDisplayStyleDialog(QWidget* parent, Config& config, const std::filesystem::path& stylesRoot,
                           UserPort& port) {
    WindowThreadMayRead mayRead(kDialogReads);
    const std::optional<StyleOffer> offer = OfferDisplayStyles(
        DisplayStyles(stylesRoot), config.Settings().templatePath, stylesRoot, port);
    if (!offer)
        return false;
    QDialog dialog(parent);
    dialog.setObjectName("displayStyleDialog");
    dialog.setWindowTitle(FromView(kDisplayStyleCaption));
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel("The look of the item pages:"));
    auto* styles = new QListWidget;
    styles->setObjectName("styles");
    for (const std::string& style : offer->styles)
        styles->addItem(QString::fromStdString(style));
    styles->setCurrentRow(static_cast<int>(offer->selected));
    layout->addWidget(styles);
    auto* buttons = OkCancel(dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(styles, &QListWidget::itemDoubleClicked, &dialog, &QDialog::accept);
    layout->addWidget(buttons);
    OfferHelp(dialog, HelpPageOf(HelpSubject::DisplayStyle));
    if (dialog.exec() != QDialog::Accepted || styles->currentRow() < 0)
        return false;
    return ChooseDisplayStyle(offer->styles[static_cast<std::size_t>(styles->currentRow())],
                              config);
}

void ShowAboutBox(QWidget* parent) {
    QMessageBox box(QMessageBox::NoIcon, FromView(kAboutCaption),
                    QString::fromStdString(AboutText(qVersion())), QMessageBox::Ok, parent);
    box.setObjectName("aboutBox");
    box.setIconPixmap(QIcon(":/desktop/icons/vantorel.svg").pixmap(64, 64));
    box.setTextFormat(Qt::PlainText);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    box.exec();
}

}  // namespace vantorel
