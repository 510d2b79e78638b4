#include "desktop/dialogs/settings_dialogs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>
#include <vector>

#include "desktop/help/help_window.h"
#include "desktop/off_window_thread.h"
#include "desktop/qt_text.h"
#include "desktop/widgets/spelling.h"
#include "exchange/about.h"
#include "exchange/export_web.h"
#include "storage/thread_guard.h"
#include "workspace/help.h"
#include "workspace/options.h"
#include "workspace/spelling_options.h"

namespace vantorel {
namespace {

QDialogButtonBox* OkCancel(QDialog& dialog) {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    return buttons;
}

// A group box of one check box per option (a label and the flag it sets), each ticked as
// current holds it; the boxes in the options' order.
template <typename Options, typename Settings>
std::vector<QCheckBox*> AddCheckBoxes(QVBoxLayout& layout, const QString& title,
                                      const Options& options, const Settings& current) {
    auto* group = new QGroupBox(title);
    auto* groupLayout = new QVBoxLayout(group);
    std::vector<QCheckBox*> boxes;
    for (const auto& option : options) {
        auto* box = new QCheckBox(Text(option.label));
        box->setChecked(current.*option.setting);
        groupLayout->addWidget(box);
        boxes.push_back(box);
    }
    layout.addWidget(group);
    return boxes;
}

}  // namespace

bool RunOptionsDialog(QWidget* parent, Config& config, UserPort& port) {
    WindowThreadMayRead mayRead(kDialogReads);
    QDialog dialog(parent);
    dialog.setObjectName("optionsDialog");
    dialog.setWindowTitle(Text(kOptionsCaption));
    auto* layout = new QVBoxLayout(&dialog);
    const ConfigSettings& current = config.Settings();

    const std::vector<QCheckBox*> flags = AddCheckBoxes(*layout, "General", FlagOptions(), current);

    auto* linksBox = new QGroupBox("Links of project test cases, the HTML editor");
    auto* linksLayout = new QFormLayout(linksBox);
    std::vector<QLineEdit*> links;
    for (const LinkOption& option : LinkOptions()) {
        auto* field = new QLineEdit(QString::fromStdString(current.*option.setting));
        field->setAccessibleName(Text(option.label));
        field->setMinimumWidth(420);
        linksLayout->addRow(Text(option.label), field);
        links.push_back(field);
    }
    auto* hint = new QLabel(Text(kLinkHint));
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

bool RunSpellingOptionsDialog(QWidget* parent, Config& config,
                              const std::filesystem::path& dataFolder, UserPort& port) {
    const SpellingOptions current = config.Settings().spelling;
    std::vector<std::string> installed;
    std::shared_ptr<SpellChecker> checker;
    RunOffWindowThread([&] {
        installed = InstalledDictionaries(DictionaryFolders());
        checker = SharedSpellChecker(dataFolder, current);
    });
    const LanguageOffer offer = OfferLanguages(installed, current.language, LocaleLanguage());

    QDialog dialog(parent);
    dialog.setObjectName("spellingOptionsDialog");
    dialog.setWindowTitle(Text(kSpellingOptionsCaption));
    auto* layout = new QVBoxLayout(&dialog);

    auto* languageRow = new QFormLayout;
    auto* languages = new QComboBox;
    languages->setObjectName("languages");
    for (const LanguageChoice& choice : offer.choices)
        languages->addItem(QString::fromStdString(choice.label));
    languages->setCurrentIndex(static_cast<int>(offer.selected));
    languageRow->addRow("&Language:", languages);
    layout->addLayout(languageRow);

    const std::vector<QCheckBox*> skips =
        AddCheckBoxes(*layout, "Words to skip", SkipOptions(), current);

    auto* personalBox = new QGroupBox("Personal dictionary");
    auto* personalLayout = new QVBoxLayout(personalBox);
    auto* words = new QListWidget;
    words->setObjectName("personalWords");
    auto* remove = new QPushButton("&Remove");
    remove->setObjectName("removeWord");
    remove->setEnabled(false);
    if (checker) {
        for (const std::string& word : checker->PersonalWords())
            words->addItem(QString::fromStdString(word));
    } else {
        personalBox->setEnabled(false);
        auto* none = new QLabel(QString::fromStdString(NoDictionaryNotice().text));
        none->setWordWrap(true);
        personalLayout->addWidget(none);
    }
    QObject::connect(words, &QListWidget::currentRowChanged, remove,
                     [remove](int row) { remove->setEnabled(row >= 0); });
    QObject::connect(remove, &QPushButton::clicked, &dialog, [&] {
        QListWidgetItem* word = words->currentItem();
        if (!word || !checker)
            return;
        const std::string text = word->text().toStdString();
        // Out of the list even when its file can't be written (the user is told): the checker
        // no longer takes the word as right.
        RunOffWindowThread([&] { checker->RemoveFromDictionary(text, port); });
        delete word;
        remove->setEnabled(words->currentRow() >= 0);
    });
    personalLayout->addWidget(words);
    personalLayout->addWidget(remove, 0, Qt::AlignRight);
    layout->addWidget(personalBox);

    auto* buttons = OkCancel(dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    layout->addWidget(buttons);
    OfferHelp(dialog, HelpPageOf(HelpSubject::Spelling));
    if (dialog.exec() != QDialog::Accepted)
        return false;
    SpellingOptions chosen = current;
    chosen.language = offer.choices[static_cast<std::size_t>(languages->currentIndex())].language;
    for (std::size_t row = 0; row < skips.size(); ++row)
        chosen.*SkipOptions()[row].setting = skips[row]->isChecked();
    SaveSpellingOptions(chosen, config);
    return true;
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
    dialog.setWindowTitle(Text(kDisplayStyleCaption));
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
    QMessageBox box(QMessageBox::NoIcon, Text(kAboutCaption),
                    QString::fromStdString(AboutText(qVersion())), QMessageBox::Ok, parent);
    box.setObjectName("aboutBox");
    box.setIconPixmap(QIcon(":/desktop/icons/vantorel.svg").pixmap(64, 64));
    box.setTextFormat(Qt::PlainText);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    box.exec();
}

}  // namespace vantorel
