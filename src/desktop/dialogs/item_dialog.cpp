#include "desktop/dialogs/item_dialog.h"

#include <QComboBox>
#include <QDateTimeEdit>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "desktop/dialogs/text_tools.h"
#include "desktop/help/help_window.h"
#include "desktop/off_window_thread.h"
#include "desktop/qt_text.h"
#include "desktop/widgets/accessible_names.h"
#include "desktop/widgets/field_widgets.h"
#include "documents/custom_cfg.h"
#include "documents/external_links.h"
#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/spelling.h"
#include "platform/programs.h"
#include "workspace/commands.h"
#include "workspace/config.h"
#include "workspace/help.h"

namespace vantorel {
namespace {

// A widget's object name: its tag without the brackets ("test_title").
QString NameOf(std::string_view tag) {
    return Text(tag.substr(1, tag.size() - 2));
}

std::vector<FieldDescriptor> RowsOf(std::span<const FieldDescriptor> table) {
    const auto rows = FieldRows(table);
    return {rows.begin(), rows.end()};
}

}  // namespace

ItemDialog::ItemDialog(std::unique_ptr<ItemEditor> editor, const CustomCfg& custom,
                       const FieldChoiceLists& choices, const ConfigSettings& settings,
                       const ShellFolders& folders, UserPort& port, QWidget* parent)
    : QDialog(parent),
      m_editor(std::move(editor)),
      m_settings(settings),
      m_port(port),
      m_textTools(new DialogTextTools(*this, settings, folders, port)) {
    setObjectName("itemDialog");
    setWindowTitle(Text(m_editor->SheetTitle()));
    m_prjTestCase = dynamic_cast<PrjTestCase*>(m_editor.get());
    auto* layout = new QVBoxLayout(this);

    if (m_prjTestCase) {
        // The execution page takes the first part of the dialog's table; the description page
        // every other field, the creation and update fields under the dialog's captions.
        const auto dialog = PrjTestCaseDialogFields();
        const auto execution = FieldRows(dialog);
        const auto stamps = FieldRows(dialog.subspan(execution.size() + 1));
        std::vector<FieldDescriptor> description;
        for (const FieldDescriptor& row : FieldRows(m_editor->Fields())) {
            auto in = [&](std::span<const FieldDescriptor> part) {
                return std::find_if(part.begin(), part.end(), [&](const FieldDescriptor& other) {
                    return other.controlId == row.controlId;
                });
            };
            if (in(execution) != execution.end())
                continue;
            auto stamp = in(stamps);
            description.push_back(stamp != stamps.end() ? *stamp : row);
        }
        m_pages = new QTabWidget;
        m_pages->setObjectName("pages");
        m_pages->setAccessibleName("Pages");
        QWidget* executionPage = FieldPage({execution.begin(), execution.end()}, custom, choices);
        auto* reset = new QPushButton("Reset...");
        reset->setObjectName("resetButton");
        reset->setToolTip(
            "Put the execution results back as they were when the test case was "
            "created");
        connect(reset, &QPushButton::clicked, this, [this] { ResetExecution(); });
        static_cast<QVBoxLayout*>(executionPage->layout())->addWidget(reset, 0, Qt::AlignLeft);
        m_pages->addTab(executionPage, "Test Execution Status");
        m_pages->addTab(FieldPage(description, custom, choices), "Test Description");
        m_pages->addTab(HistoryPage(), "Test History");
        layout->addWidget(m_pages);
    } else {
        layout->addWidget(FieldPage(RowsOf(m_editor->Fields()), custom, choices));
    }

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QPushButton* checkSpelling =
        buttons->addButton("Check &Spelling", QDialogButtonBox::ActionRole);
    checkSpelling->setObjectName("checkSpelling");
    connect(checkSpelling, &QPushButton::clicked, this, [this] { m_textTools->CheckSpelling(); });
    connect(buttons, &QDialogButtonBox::accepted, this, &ItemDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ItemDialog::reject);
    layout->addWidget(buttons);

    ShowControls();
    if (m_prjTestCase)
        if (auto* status = m_fields.at(RowOf("<test_status>"))->findChild<QComboBox*>())
            connect(status, &QComboBox::activated, this, [this] { StatusChosen(); });
    if (FieldWidget* id = m_fields.at(ItemEditor::kIdRow))
        id->SetReadOnly(!m_editor->IdEditable());
    // Room for the rich texts beside the fields; a long table takes a larger dialog.
    const bool large = m_fields.size() > 8;
    if (m_richTabs.empty())
        resize(520, sizeHint().height());
    else
        resize(large ? 1100 : 840, large ? 660 : 440);
    OfferHelp(*this, HelpPageOf(m_editor->Kind()));
    if (m_settings.autoSpellOnLoad)
        QMetaObject::invokeMethod(
            this, [this] { m_textTools->CheckSpelling(true); }, Qt::QueuedConnection);
}

ItemDialog::~ItemDialog() = default;

QWidget* ItemDialog::FieldPage(const std::vector<FieldDescriptor>& rows, const CustomCfg& custom,
                               const FieldChoiceLists& choices) {
    auto* page = new QWidget;
    auto* pageLayout = new QVBoxLayout(page);
    auto* columns = new QHBoxLayout;
    pageLayout->addLayout(columns);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    QTabWidget* richTexts = nullptr;
    for (const FieldDescriptor& row : rows) {
        const auto listed = choices.find(row.tag);
        FieldWidget* widget = MakeFieldWidget(
            row, listed != choices.end() ? listed->second : std::vector<std::string>{},
            ChoiceIsTyped(row.tag), FieldWidth(row));
        widget->setObjectName(NameOf(row.tag));
        const QString caption = Text(DialogCaption(row, custom));
        NameForScreenReaders(*widget->FocusTarget(), caption);
        // Captions such as "Risks & Minimisation Actions" show their ampersand, and each row
        // takes a keyboard letter of its own.
        const QString shown = QString::fromStdString(
            WithMnemonic(QString(caption).replace("&", "&&").toStdString(), m_mnemonics));
        m_fields[static_cast<std::size_t>(row.controlId)] = widget;
        if (QWidget* text = widget->SpellingTarget(); text && IsProseField(row))
            m_textTools->Attach(
                text, DialogCaption(row, custom),
                [this, row = static_cast<std::size_t>(row.controlId)] { FocusRow(row); });
        if (auto* password = dynamic_cast<PasswordField*>(widget))
            m_password = password;
        if (auto* link = dynamic_cast<LinkField*>(widget))
            connect(link, &LinkField::launch, this, &ItemDialog::Launch);
        if (row.type == FT_RICH_TEXT) {
            if (!richTexts) {
                richTexts = new QTabWidget;
                richTexts->setObjectName("richTexts");
                richTexts->setAccessibleName("Text fields");
                // Each section's tab shows its whole caption; tabs that don't fit scroll.
                richTexts->setElideMode(Qt::ElideNone);
                richTexts->setUsesScrollButtons(true);
            }
            richTexts->addTab(widget, shown);
            richTexts->setTabToolTip(richTexts->count() - 1, caption);
            m_richTabs[widget] = richTexts;
            continue;
        }
        QWidget* field = WithCommandButtons(row, widget);
        form->addRow(shown, field);
        // The row's letter puts the focus in its field.
        if (auto* label = qobject_cast<QLabel*>(form->labelForField(field)))
            label->setBuddy(widget->FocusTarget());
    }
    columns->addLayout(form, 1);
    if (richTexts)
        columns->addWidget(richTexts, 1);
    else
        pageLayout->addStretch();
    return page;
}

QWidget* ItemDialog::HistoryPage() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_history = new QTableWidget(0, 8);
    m_history->setObjectName("historyTable");
    m_history->setAccessibleName("History");
    m_history->setHorizontalHeaderLabels(
        {"Date", "Type", "Old Status", "New Status", "Attempts", "Phase", "Version", "Build"});
    m_history->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_history->setSelectionMode(QAbstractItemView::SingleSelection);
    m_history->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_history->verticalHeader()->hide();
    m_history->horizontalHeader()->setStretchLastSection(true);
    layout->addWidget(m_history);

    auto* dateRow = new QHBoxLayout;
    m_historyDate = new QDateTimeEdit;
    m_historyDate->setObjectName("historyDate");
    m_historyDate->setDisplayFormat("d-MMM-yyyy, HH:mm:ss");
    m_historyDate->setCalendarPopup(true);
    m_historyDate->setEnabled(false);
    auto* setDate = new QPushButton("Change Date");
    setDate->setObjectName("changeHistoryDate");
    setDate->setEnabled(false);
    auto* dateLabel = new QLabel("Date of the selected entry:");
    dateLabel->setBuddy(m_historyDate);
    dateRow->addWidget(dateLabel);
    dateRow->addWidget(m_historyDate);
    dateRow->addWidget(setDate);
    dateRow->addStretch();
    layout->addLayout(dateRow);

    connect(m_history, &QTableWidget::currentCellChanged, this, [this, setDate](int row) {
        const auto& blocks = m_prjTestCase->History();
        const bool chosen = row >= 0 && static_cast<std::size_t>(row) < blocks.size();
        m_historyDate->setEnabled(chosen);
        setDate->setEnabled(chosen);
        if (!chosen)
            return;
        const LocalMoment& when = blocks[static_cast<std::size_t>(row)].when;
        m_historyDate->setDateTime(
            QDateTime(QDate(when.date.year, when.date.month, when.date.day),
                      QTime(when.time.hour, when.time.minute, when.time.second)));
    });
    connect(setDate, &QPushButton::clicked, this, [this] { SetHistoryDate(); });
    return page;
}

void ItemDialog::ShowHistory() {
    if (!m_history)
        return;
    const std::vector<HistoryRow> rows = m_prjTestCase->HistoryRows();
    m_history->setRowCount(static_cast<int>(rows.size()));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const HistoryRow& row = rows[i];
        int column = 0;
        for (const std::string* value : {&row.date, &row.type, &row.oldStatus, &row.newStatus,
                                         &row.attempts, &row.phase, &row.version, &row.build})
            m_history->setItem(static_cast<int>(i), column++,
                               new QTableWidgetItem(FromLatin1(*value)));
    }
    m_history->resizeColumnsToContents();
}

void ItemDialog::SetHistoryDate() {
    const int row = m_history->currentRow();
    if (row < 0)
        return;
    const QDateTime chosen = m_historyDate->dateTime();
    const LocalMoment when{{chosen.date().year(), chosen.date().month(), chosen.date().day()},
                           {chosen.time().hour(), chosen.time().minute(), chosen.time().second()}};
    if (m_prjTestCase->SetHistoryDate(static_cast<std::size_t>(row), when)) {
        ShowHistory();
        m_history->selectRow(row);
    }
}

void ItemDialog::Launch(const QString& link) {
    const std::optional<LinkLaunch> plan = PlanLinkLaunch(link.toStdString(), m_port);
    if (!plan)
        return;
    const QString target = QString::fromStdString(plan->target);
    if (!QDesktopServices::openUrl(plan->isUrl ? QUrl(target) : QUrl::fromLocalFile(target)))
        m_port.tell(LinkOpenFailure(plan->target));
}

QWidget* ItemDialog::WithCommandButtons(const FieldDescriptor& row, FieldWidget* widget) {
    struct Button {
        LinkedCommand command;
        const char* label;
        const char* name;
    };
    std::vector<Button> buttons;
    if (row.tag == "<requirement>")
        buttons = {{LinkedCommand::ViewRequirement, "View", "viewRequirement"}};
    else if (row.tag == "<fault_report_id>")
        buttons = {{LinkedCommand::ViewFaultReport, "View", "viewFaultReport"},
                   {LinkedCommand::AddFaultReport, "New...", "addFaultReport"}};
    if (buttons.empty())
        return widget;
    auto* holder = new QWidget;
    auto* layout = new QHBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(widget, 1);
    for (const Button& button : buttons) {
        auto* push = new QPushButton(button.label);
        push->setObjectName(button.name);
        const bool set = !CommandOf(m_settings, button.command).empty();
        push->setEnabled(set);
        if (!set)
            push->setToolTip(Text(UnsetCommandHint(button.command)));
        connect(push, &QPushButton::clicked, this,
                [this, command = button.command] { RunLinkedCommand(command); });
        layout->addWidget(push);
    }
    return holder;
}

void RunLinkedCommand(const ConfigSettings& settings, LinkedCommand command,
                      const std::filesystem::path& item, UserPort& port) {
    const CommandLaunch launch =
        PlanCommandLaunch(CommandOf(settings, command), ProjectOf(item).value_or(""), item);
    const bool started =
        launch.isUrl
            ? QDesktopServices::openUrl(QUrl::fromUserInput(QString::fromStdString(launch.target)))
            : StartDetachedProgram(SplitCommandLine(launch.target));
    if (!started)
        port.tell(CommandLaunchFailure(launch));
}

void ItemDialog::RunLinkedCommand(LinkedCommand command) const {
    vantorel::RunLinkedCommand(m_settings, command, m_editor->Path(), m_port);
}

void ItemDialog::ResetExecution() {
    // Reset puts back only the execution fields: what was typed elsewhere stays.
    TakeControls();
    if (m_prjTestCase->Reset())
        ShowControls();
}

std::size_t ItemDialog::RowOf(std::string_view tag) const {
    return static_cast<std::size_t>(FindField(m_editor->Fields(), tag)->controlId);
}

void ItemDialog::StatusChosen() {
    // The model reads the status and what the user typed in the fields it may stamp.
    for (std::string_view tag : {"<test_status>", "<test_attempts>", "<last_attempt_date>",
                                 "<last_attempt_time>", "<testers>"})
        m_fields.at(RowOf(tag))->Take(m_editor->controls[RowOf(tag)]);
    for (const std::size_t row : m_prjTestCase->StatusChosen())
        m_fields.at(row)->Show(m_editor->controls[row]);
}

void ItemDialog::ShowControls() {
    for (auto& [row, widget] : m_fields)
        widget->Show(m_editor->controls[row]);
    if (auto* tester = dynamic_cast<Tester*>(m_editor.get()); tester && m_password)
        m_password->ShowRepeat(tester->passwordRepeat);
    ShowHistory();
}

void ItemDialog::TakeControls() {
    for (auto& [row, widget] : m_fields)
        widget->Take(m_editor->controls[row]);
    if (auto* tester = dynamic_cast<Tester*>(m_editor.get()); tester && m_password)
        tester->passwordRepeat = m_password->Repeat();
}

bool ItemDialog::TypedTextFits() {
    for (auto& [row, widget] : m_fields) {
        if (m_editor->CheckTyped(row, widget->Typed()) ||
            (widget == m_password && m_editor->CheckTyped(row, m_password->RepeatTyped()))) {
            FocusRow(row);
            return false;
        }
    }
    return true;
}

void ItemDialog::FocusRow(std::size_t row) {
    auto found = m_fields.find(row);
    if (found == m_fields.end())
        return;
    FieldWidget* widget = found->second;
    if (m_pages)
        for (int page = 0; page < m_pages->count(); ++page)
            if (m_pages->widget(page)->isAncestorOf(widget))
                m_pages->setCurrentIndex(page);
    if (auto tabs = m_richTabs.find(widget); tabs != m_richTabs.end())
        tabs->second->setCurrentWidget(widget);
    widget->FocusTarget()->setFocus(Qt::OtherFocusReason);
}

void ItemDialog::accept() {
    if (!m_editor || !TypedTextFits())
        return;
    std::optional<CalendarDate> created;
    if (m_prjTestCase)
        created = m_prjTestCase->Control("<create_date>").date;
    TakeControls();
    if (m_prjTestCase) {
        // The created date may not pass the history: the model checks the new one.
        FieldControl& control = m_prjTestCase->Control("<create_date>");
        const std::optional<CalendarDate> typed = control.date;
        if (typed && typed != created) {
            control.date = created;
            if (!m_prjTestCase->SetCreatedDate(*typed)) {
                FocusRow(RowOf("<create_date>"));
                return;
            }
        }
    }
    std::optional<SaveRefusal> refusal;
    RunOffWindowThread([&] { refusal = m_editor->Save(); });
    if (refusal) {
        if (refusal->field)
            FocusRow(*refusal->field);
        return;
    }
    m_savedPath = m_editor->Path();
    QDialog::accept();
}

void ItemDialog::reject() {
    if (!m_editor) {
        QDialog::reject();
        return;
    }
    // The model compares what the widgets hold with what was loaded.
    TakeControls();
    if (!m_editor->ConfirmClose())
        return;
    QDialog::reject();
}

void ItemDialog::done(int result) {
    QDialog::done(result);
    // The lock goes with the model, however the dialog was closed.
    RunOffWindowThread([&] { m_editor.reset(); });
}

}  // namespace vantorel
