#include "desktop/dialogs/customize_sheet.h"

#include <QColorDialog>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "desktop/help/help_window.h"
#include "desktop/widgets/field_widgets.h"
#include "storage/thread_guard.h"
#include "workspace/help.h"

namespace vantorel {
namespace {

QColor ToQColor(ReportColour colour) {
    return QColor(static_cast<int>(colour & 0xFF), static_cast<int>((colour >> 8) & 0xFF),
                  static_cast<int>((colour >> 16) & 0xFF));
}

ReportColour FromQColor(const QColor& colour) {
    return static_cast<ReportColour>(colour.red()) |
           static_cast<ReportColour>(colour.green()) << 8 |
           static_cast<ReportColour>(colour.blue()) << 16;
}

QPixmap Swatch(ReportColour colour) {
    QPixmap swatch(36, 18);
    swatch.fill(ToQColor(colour));
    return swatch;
}

QIcon MeaningIcon(int meaning) {
    // The icons the tree gives project test cases of each meaning; "Other" has the plain one.
    static constexpr const char* kIcons[] = {"status-pass", "status-fail", "status-not-run",
                                             "project-test-case", "status-postponed"};
    return QIcon(QString(":/desktop/icons/%1.svg").arg(kIcons[std::clamp(meaning, 0, 4)]));
}

// The colour picker over a report slot's colour; none when it was cancelled.
std::optional<ReportColour> ChooseColour(QWidget* parent, ReportColour current) {
    QColorDialog dialog(ToQColor(current), parent);
    dialog.setObjectName("colourDialog");
    dialog.setWindowTitle("Report Color");
    dialog.setOption(QColorDialog::DontUseNativeDialog);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return FromQColor(dialog.selectedColor());
}

std::vector<std::size_t> SelectedRows(const QAbstractItemView& view) {
    std::vector<std::size_t> rows;
    for (const QModelIndex& index : view.selectionModel()->selectedRows())
        rows.push_back(static_cast<std::size_t>(index.row()));
    std::sort(rows.begin(), rows.end());
    return rows;
}

// Enter in an entry box runs its page's button (Add, Update) rather than the sheet's OK.
class EnterRuns : public QObject {
public:
    EnterRuns(QLineEdit* entry, std::function<void()> run) : QObject(entry), m_run(std::move(run)) {
        entry->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                m_run();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_run;
};

QPushButton* Button(const QString& label, const QString& name) {
    auto* button = new QPushButton(label);
    button->setObjectName(name);
    return button;
}

}  // namespace

CustomizeSheet::CustomizeSheet(std::unique_ptr<CustomizeEditor> editor, QWidget* parent)
    : QDialog(parent), m_editor(std::move(editor)) {
    setObjectName("customizeSheet");
    setWindowTitle("Vantorel - Customize");
    auto* layout = new QVBoxLayout(this);
    m_pages = new QTabWidget;
    m_pages->setObjectName("pages");
    m_pages->setAccessibleName("Pages");
    // Every page's title stays in sight: the sheet is as wide as its eight tabs.
    m_pages->setUsesScrollButtons(false);
    m_pages->addTab(ListPage(CustomList::Types, "types", "Test type:"), "Customize Test Types");
    m_pages->addTab(ListPage(CustomList::Phases, "phases", "Test phase:"), "Customize Test Phases");
    m_pages->addTab(NotesPage(), "Customize Notes");
    m_pages->addTab(DefaultsPage(), "Default Values");
    // A tab's ampersand marks a shortcut: doubled, it shows.
    m_pages->addTab(ReportPage(), "Report Colors && Strings");
    m_pages->addTab(ListPage(CustomList::Versions, "versions", "Version:"), "Customize Version");
    m_pages->addTab(ListPage(CustomList::Builds, "builds", "Build:"), "Customize Build");
    m_pages->addTab(StatusPage(), "Customize Status");
    layout->addWidget(m_pages);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &CustomizeSheet::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &CustomizeSheet::reject);
    layout->addWidget(buttons);
    OfferHelp(*this, HelpPageOf(HelpSubject::Customize));
    resize(minimumSizeHint().width(), 460);
}

CustomizeSheet::~CustomizeSheet() = default;

QWidget* CustomizeSheet::ListPage(CustomList list, const QString& name,
                                  const QString& entryCaption) {
    auto* page = new QWidget;
    auto* grid = new QGridLayout(page);
    auto* entry = new QLineEdit;
    entry->setObjectName(name + "Entry");
    auto* add = Button("Add", name + "Add");
    auto* entries = new QListWidget;
    entries->setObjectName(name + "List");
    entries->setAccessibleName(QString(entryCaption).remove(':').trimmed());
    entries->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_lists[list] = entries;
    auto* remove = Button("Delete", name + "Delete");
    auto* up = Button("Move Up", name + "Up");
    auto* down = Button("Move Down", name + "Down");
    grid->addWidget(new QLabel(entryCaption), 0, 0, 1, 2);
    grid->addWidget(entry, 1, 0);
    grid->addWidget(add, 1, 1);
    grid->addWidget(entries, 2, 0, 4, 1);
    grid->addWidget(remove, 2, 1);
    grid->addWidget(up, 3, 1);
    grid->addWidget(down, 4, 1);
    grid->setRowStretch(5, 1);

    // The caption a refused character names: the entry's label without its colon.
    const QString caption = entryCaption.chopped(1);
    auto addEntry = [this, list, entry, caption] {
        if (!m_editor->TypedFits(caption.toStdString(), entry->text().toStdString()) ||
            !m_editor->Add(list, ToLatin1(entry->text()))) {
            entry->setFocus(Qt::OtherFocusReason);
            return;
        }
        entry->clear();
        ShowList(list, m_editor->List(list).size() - 1);
    };
    connect(add, &QPushButton::clicked, this, addEntry);
    new EnterRuns(entry, addEntry);
    connect(remove, &QPushButton::clicked, this, [this, list, entries] {
        if (m_editor->Remove(list, SelectedRows(*entries)))
            ShowList(list);
    });
    for (const bool upwards : {true, false})
        connect(upwards ? up : down, &QPushButton::clicked, this, [this, list, entries, upwards] {
            const std::vector<std::size_t> rows = SelectedRows(*entries);
            if (m_editor->Move(list, rows, upwards))
                ShowList(list, upwards ? rows.front() - 1 : rows.front() + 1);
        });
    ShowList(list);
    return page;
}

void CustomizeSheet::ShowList(CustomList list, std::optional<std::size_t> selected) {
    QListWidget* entries = m_lists.at(list);
    entries->clear();
    for (const std::string& text : m_editor->List(list))
        entries->addItem(FromLatin1(text));
    if (selected && *selected < static_cast<std::size_t>(entries->count())) {
        entries->setCurrentRow(static_cast<int>(*selected));
        entries->scrollToItem(entries->currentItem());
    }
    if (list == CustomList::Versions || list == CustomList::Builds)
        ShowDefaultChoices();
}

QWidget* CustomizeSheet::NotesPage() {
    auto* page = new QWidget;
    auto* form = new QFormLayout(page);
    static constexpr const char* kNames[] = {"notes1", "notes2", "resultNotes"};
    static constexpr const char* kLabels[] = {
        "Notes 1 field name:", "Notes 2 field name:", "Result notes field name:"};
    for (std::size_t i = 0; i < m_notes.size(); ++i) {
        m_notes[i] = new QLineEdit(FromLatin1(m_editor->notes[i]));
        m_notes[i]->setObjectName(kNames[i]);
        m_notes[i]->setMaxLength(static_cast<int>(kNotesCaptionWidth));
        form->addRow(kLabels[i], m_notes[i]);
    }
    return page;
}

QWidget* CustomizeSheet::DefaultsPage() {
    auto* page = new QWidget;
    auto* form = new QFormLayout(page);
    const DefaultsDraft& defaults = m_editor->defaults;
    auto line = [](const std::string& text, const char* name) {
        auto* edit = new QLineEdit(FromLatin1(text));
        edit->setObjectName(name);
        return edit;
    };
    m_expected = line(defaults.expected, "expectedDuration");
    m_expected->setPlaceholderText("HHH:MM");
    m_digits = line(defaults.digits, "autoIncrementDigits");
    m_step = line(defaults.step, "autoIncrementStep");
    m_defaultVersion = new QComboBox;
    m_defaultVersion->setObjectName("defaultVersion");
    m_defaultBuild = new QComboBox;
    m_defaultBuild->setObjectName("defaultBuild");
    form->addRow("Expected duration:", m_expected);
    form->addRow("Number of auto-increment digits:", m_digits);
    form->addRow("Auto-increment step size:", m_step);
    form->addRow("Default version:", m_defaultVersion);
    form->addRow("Default build:", m_defaultBuild);
    // Until the lists are shown, the drop-downs offer the defaults as they were read.
    m_defaultVersion->addItem(FromLatin1(defaults.version));
    m_defaultBuild->addItem(FromLatin1(defaults.build));
    return page;
}

void CustomizeSheet::ShowDefaultChoices() {
    if (!m_defaultVersion)
        return;
    for (auto [combo, list] : {std::pair{m_defaultVersion, CustomList::Versions},
                               std::pair{m_defaultBuild, CustomList::Builds}}) {
        const QString chosen = combo->currentText();
        combo->clear();
        for (const std::string& choice : m_editor->DefaultChoices(list))
            combo->addItem(FromLatin1(choice));
        combo->setCurrentIndex(std::max(0, combo->findText(chosen, Qt::MatchExactly)));
    }
}

QWidget* CustomizeSheet::ReportPage() {
    auto* page = new QWidget;
    auto* form = new QFormLayout(page);
    m_reportSlots = new QComboBox;
    m_reportSlots->setObjectName("reportSlots");
    m_reportSlots->setPlaceholderText("Select a report string");
    m_reportString = new QLineEdit;
    m_reportString->setObjectName("reportString");
    auto* update = Button("Update", "updateReportString");
    auto* stringRow = new QHBoxLayout;
    stringRow->addWidget(m_reportString, 1);
    stringRow->addWidget(update);
    m_reportSwatch = new QLabel;
    m_reportSwatch->setObjectName("reportSwatch");
    m_reportColour = Button("Color...", "chooseReportColour");
    auto* colourRow = new QHBoxLayout;
    colourRow->addWidget(m_reportSwatch);
    colourRow->addWidget(m_reportColour);
    colourRow->addStretch(1);
    form->addRow("Report string:", m_reportSlots);
    form->addRow("New string:", stringRow);
    form->addRow("Color:", colourRow);
    ShowReportSlots();
    ShowChosenSlot();

    connect(m_reportSlots, &QComboBox::currentIndexChanged, this, [this] { ShowChosenSlot(); });
    auto updateString = [this] {
        std::optional<std::size_t> slot;
        if (m_reportSlots->currentIndex() >= 0)
            slot = m_reportSlots->currentData().toULongLong();
        if (!m_editor->TypedFits("Report String", m_reportString->text().toStdString()) ||
            !m_editor->UpdateReportString(slot, ToLatin1(m_reportString->text()))) {
            m_reportString->setFocus(Qt::OtherFocusReason);
            return;
        }
        ShowReportSlots();
        ShowStatuses();
    };
    connect(update, &QPushButton::clicked, this, updateString);
    new EnterRuns(m_reportString, updateString);
    connect(m_reportColour, &QPushButton::clicked, this, [this] {
        const std::size_t slot = m_reportSlots->currentData().toULongLong();
        if (const std::optional<ReportColour> colour =
                ChooseColour(this, m_editor->ReportColourOf(slot))) {
            m_editor->SetReportColour(slot, *colour);
            ShowChosenSlot();
            ShowStatuses();
        }
    });
    return page;
}

void CustomizeSheet::ShowReportSlots() {
    const int chosen = m_reportSlots->currentIndex();
    const QSignalBlocker quiet(m_reportSlots);
    m_reportSlots->clear();
    for (std::size_t slot : EditableReportSlots())
        m_reportSlots->addItem(FromLatin1(m_editor->ReportString(slot)),
                               QVariant::fromValue<qulonglong>(slot));
    m_reportSlots->setCurrentIndex(chosen);
}

void CustomizeSheet::ShowChosenSlot() {
    const bool chosen = m_reportSlots->currentIndex() >= 0;
    // A colour belongs to a slot: until one is chosen there is none to change.
    m_reportColour->setEnabled(chosen);
    if (!chosen) {
        m_reportSwatch->clear();
        return;
    }
    const std::size_t slot = m_reportSlots->currentData().toULongLong();
    m_reportString->setText(FromLatin1(m_editor->ReportString(slot)));
    m_reportSwatch->setPixmap(Swatch(m_editor->ReportColourOf(slot)));
    m_reportSwatch->setToolTip(FromLatin1(StatusDialogColourText(m_editor->ReportColourOf(slot))));
}

QWidget* CustomizeSheet::StatusPage() {
    auto* page = new QWidget;
    auto* grid = new QGridLayout(page);
    m_statuses = new QTreeWidget;
    m_statuses->setObjectName("statusList");
    m_statuses->setAccessibleName("Statuses");
    m_statuses->setRootIsDecorated(false);
    m_statuses->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_statuses->setHeaderLabels({"Status Text", "Meaning", "Report String", "Report Color"});
    m_statuses->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    auto* add = Button("Add...", "statusAdd");
    auto* edit = Button("Edit...", "statusEdit");
    auto* remove = Button("Delete", "statusDelete");
    auto* up = Button("Move Up", "statusUp");
    auto* down = Button("Move Down", "statusDown");
    grid->addWidget(m_statuses, 0, 0, 6, 1);
    grid->addWidget(add, 0, 1);
    grid->addWidget(edit, 1, 1);
    grid->addWidget(remove, 2, 1);
    grid->addWidget(up, 3, 1);
    grid->addWidget(down, 4, 1);
    grid->setRowStretch(5, 1);
    ShowStatuses();

    connect(add, &QPushButton::clicked, this, [this] {
        if (!m_editor->CanAddStatus())
            return;
        RunStatusDialog(m_editor->NewStatus(), [this](const StatusDraft& draft) {
            if (!m_editor->AddStatus(draft))
                return false;
            ShowStatuses(m_editor->StatusRows().size() - 1);
            return true;
        });
    });
    auto editSelected = [this] {
        const std::vector<std::size_t> rows = SelectedRows(*m_statuses);
        const std::optional<StatusDraft> draft = m_editor->StatusForEdit(rows);
        if (!draft)
            return;
        const std::size_t index = rows.front();
        RunStatusDialog(*draft, [this, index](const StatusDraft& edited) {
            if (!m_editor->EditStatus(index, edited))
                return false;
            ShowStatuses(index);
            return true;
        });
    };
    connect(edit, &QPushButton::clicked, this, editSelected);
    connect(m_statuses, &QTreeWidget::itemDoubleClicked, this, editSelected);
    connect(remove, &QPushButton::clicked, this, [this] {
        if (m_editor->RemoveStatuses(SelectedRows(*m_statuses)))
            ShowStatuses();
    });
    for (const bool upwards : {true, false})
        connect(upwards ? up : down, &QPushButton::clicked, this, [this, upwards] {
            const std::vector<std::size_t> rows = SelectedRows(*m_statuses);
            if (m_editor->MoveStatus(rows, upwards))
                ShowStatuses(upwards ? rows.front() - 1 : rows.front() + 1);
        });
    return page;
}

void CustomizeSheet::ShowStatuses(std::optional<std::size_t> selected) {
    if (!m_statuses)
        return;
    m_statuses->clear();
    const std::vector<StatusRow> rows = m_editor->StatusRows();
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const StatusRow& row = rows[index];
        auto* item =
            new QTreeWidgetItem(m_statuses, {FromLatin1(row.text), FromLatin1(row.meaning),
                                             FromLatin1(row.reportString), FromLatin1(row.colour)});
        item->setIcon(0, MeaningIcon(row.meaningCode));
        item->setIcon(3, Swatch(row.colourValue));
    }
    if (selected && *selected < rows.size())
        m_statuses->setCurrentItem(m_statuses->topLevelItem(static_cast<int>(*selected)));
}

void CustomizeSheet::RunStatusDialog(StatusDraft draft,
                                     const std::function<bool(const StatusDraft&)>& store) {
    QDialog dialog(this);
    dialog.setObjectName("statusDialog");
    dialog.setWindowTitle("Status");
    dialog.setMinimumWidth(420);
    auto* form = new QFormLayout(&dialog);
    auto* text = new QLineEdit(FromLatin1(draft.text));
    text->setObjectName("statusText");
    auto* meaning = new QComboBox;
    meaning->setObjectName("meaning");
    for (int code = 0; code < kMeaningCount; ++code)
        meaning->addItem(MeaningIcon(code), FromLatin1(std::string(MeaningName(code))));
    meaning->setCurrentIndex(draft.meaning);
    auto* reportString = new QLineEdit;
    reportString->setObjectName("reportString");
    auto* colourText = new QLabel;
    colourText->setObjectName("colourText");
    auto* swatch = new QLabel;
    auto* chooseColour = Button("Color...", "chooseColour");
    auto* colourRow = new QHBoxLayout;
    colourRow->addWidget(swatch);
    colourRow->addWidget(colourText);
    colourRow->addWidget(chooseColour);
    colourRow->addStretch(1);
    form->addRow("Status text:", text);
    form->addRow("Meaning:", meaning);
    form->addRow("Report string:", reportString);
    form->addRow("Report color:", colourRow);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    form->addRow(buttons);

    auto showDraft = [&] {
        reportString->setText(FromLatin1(draft.reportString));
        colourText->setText(FromLatin1(StatusDialogColourText(draft.colour)));
        swatch->setPixmap(Swatch(draft.colour));
    };
    showDraft();
    // The caption and colour are the meaning's: choosing another meaning shows its own.
    connect(meaning, &QComboBox::currentIndexChanged, &dialog, [&](int code) {
        draft = m_editor->WithMeaning(draft, code);
        showDraft();
    });
    connect(chooseColour, &QPushButton::clicked, &dialog, [&] {
        if (const std::optional<ReportColour> colour = ChooseColour(&dialog, draft.colour)) {
            draft.colour = *colour;
            showDraft();
        }
    });
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, &dialog, [&] {
        if (!m_editor->TypedFits("Status Text", text->text().toStdString())) {
            text->setFocus(Qt::OtherFocusReason);
            return;
        }
        if (!m_editor->TypedFits("Report String", reportString->text().toStdString())) {
            reportString->setFocus(Qt::OtherFocusReason);
            return;
        }
        draft.text = ToLatin1(text->text());
        draft.reportString = ToLatin1(reportString->text());
        if (store(draft))
            dialog.accept();
    });
    dialog.exec();
}

void CustomizeSheet::FocusField(CustomizeField field) {
    QLineEdit* edits[] = {m_notes[0], m_notes[1], m_notes[2], m_expected, m_digits, m_step};
    QLineEdit* edit = edits[field];
    m_pages->setCurrentIndex(field <= kResultNotesNameField ? 2 : 3);
    edit->setFocus(Qt::OtherFocusReason);
    edit->selectAll();
}

void CustomizeSheet::accept() {
    if (!m_editor)
        return;
    static constexpr const char* kNotesCaptions[] = {"Notes 1 field name", "Notes 2 field name",
                                                     "Result notes field name"};
    for (std::size_t i = 0; i < m_notes.size(); ++i) {
        if (!m_editor->TypedFits(kNotesCaptions[i], m_notes[i]->text().toStdString())) {
            FocusField(static_cast<CustomizeField>(i));
            return;
        }
        m_editor->notes[i] = ToLatin1(m_notes[i]->text());
    }
    const std::pair<QLineEdit*, const char*> typed[] = {
        {m_expected, "Expected Duration"},
        {m_digits, "Number of auto-increment digits"},
        {m_step, "Auto-increment step size"}};
    for (std::size_t i = 0; i < std::size(typed); ++i) {
        if (!m_editor->TypedFits(typed[i].second, typed[i].first->text().toStdString())) {
            FocusField(static_cast<CustomizeField>(kExpectedDurationField + i));
            return;
        }
    }
    m_editor->defaults = {ToLatin1(m_expected->text()), ToLatin1(m_digits->text()),
                          ToLatin1(m_step->text()), ToLatin1(m_defaultVersion->currentText()),
                          ToLatin1(m_defaultBuild->currentText())};
    if (const std::optional<SaveRefusal> refusal = m_editor->Commit()) {
        if (refusal->field)
            FocusField(static_cast<CustomizeField>(*refusal->field));
        return;
    }
    QDialog::accept();
}

void CustomizeSheet::done(int result) {
    QDialog::done(result);
    // The lock of custom.dat goes with the model, however the sheet was closed.
    m_editor.reset();
}

bool RunCustomizeSheet(QWidget* parent, const std::filesystem::path* databaseDir, CustomCfg& custom,
                       const UserIdentity& identity, UserPort& port) {
    WindowThreadMayRead mayRead(kDialogReads);
    std::unique_ptr<CustomizeEditor> editor =
        CustomizeEditor::Open(databaseDir, custom, port, identity);
    if (!editor)
        return false;  // the model told why
    CustomizeSheet sheet(std::move(editor), parent);
    return sheet.exec() == QDialog::Accepted;
}

}  // namespace vantorel
