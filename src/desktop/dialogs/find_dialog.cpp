#include "desktop/dialogs/find_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <set>

#include "desktop/main_window.h"
#include "desktop/qt_text.h"
#include "desktop/tree/tree_actions.h"
#include "documents/field_tables.h"
#include "workspace/shell.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

enum Column { kItem, kField, kContext, kReplacement };

}  // namespace

FindDialog::FindDialog(MainWindow& window, UserPort& port)
    : QDialog(&window), m_window(window), m_port(port) {
    setObjectName("findDialog");
    setModal(false);
    m_text = new QLineEdit;
    m_text->setObjectName("findText");
    m_replacement = new QLineEdit;
    m_replacement->setObjectName("replaceText");
    m_replaceLabel = new QLabel("Replace &with:");
    m_replaceLabel->setBuddy(m_replacement);
    m_matchCase = new QCheckBox("Match &case");
    m_wholeWord = new QCheckBox("Whole w&ord");
    m_regex = new QCheckBox("Regular e&xpression");
    m_regex->setObjectName("findRegex");
    m_scope = new QComboBox;
    m_scope->setObjectName("findScope");
    m_field = new QComboBox;
    m_field->setObjectName("findField");
    m_field->addItem("All fields", QString());
    std::set<std::string_view> listed;
    for (const NodeKind kind : {TV_TEST_TEST_DOC, TV_PRJ_TEST_DOC})
        for (const FieldDescriptor& row : FindFields(kind))
            if (listed.insert(row.tag).second)
                m_field->addItem(Text(row.longHeading), Text(row.tag));

    auto* form = new QFormLayout;
    form->addRow("Fi&nd what:", m_text);
    form->addRow(m_replaceLabel, m_replacement);
    form->addRow("&Look in:", m_scope);
    form->addRow("F&ield:", m_field);
    auto* options = new QHBoxLayout;
    options->addWidget(m_matchCase);
    options->addWidget(m_wholeWord);
    options->addWidget(m_regex);
    options->addStretch();
    form->addRow(options);

    m_results = new QTableWidget(0, 4);
    m_results->setAccessibleName("Found");
    m_results->setObjectName("findResults");
    m_results->setHorizontalHeaderLabels({"Item", "Field", "Found", "Replaced by"});
    m_results->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_results->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_results->setWordWrap(false);
    // Fixed starting widths: sizing to the contents would measure every row at every batch.
    m_results->setColumnWidth(kItem, 110);
    m_results->setColumnWidth(kField, 150);
    m_results->setColumnWidth(kReplacement, 220);
    m_results->horizontalHeader()->setSectionResizeMode(kContext, QHeaderView::Stretch);
    m_results->verticalHeader()->hide();
    connect(m_results, &QTableWidget::cellDoubleClicked, this,
            [this](int row, int) { ShowHit(row); });
    m_status = new QLabel;
    m_status->setObjectName("findStatus");

    m_find = new QPushButton("&Find");
    m_find->setObjectName("findButton");
    m_find->setDefault(true);
    m_stop = new QPushButton("&Stop");
    m_replaceButton = new QPushButton("&Replace");
    m_replaceButton->setObjectName("replaceButton");
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->addButton(m_find, QDialogButtonBox::ActionRole);
    buttons->addButton(m_stop, QDialogButtonBox::ActionRole);
    buttons->addButton(m_replaceButton, QDialogButtonBox::ActionRole);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(m_find, &QPushButton::clicked, this, &FindDialog::StartSearch);
    connect(m_text, &QLineEdit::returnPressed, this, &FindDialog::StartSearch);
    connect(m_stop, &QPushButton::clicked, this, &FindDialog::StopSearch);
    connect(m_replaceButton, &QPushButton::clicked, this, &FindDialog::Replace);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_results, 1);
    layout->addWidget(m_status);
    layout->addWidget(buttons);
    resize(820, 520);
    UpdateButtons();
}

FindDialog::~FindDialog() {
    StopSearch();
}

void FindDialog::Open(bool replace) {
    m_replace = replace;
    setWindowTitle(replace ? "Vantorel - Find & Replace" : "Vantorel - Find");
    m_replaceLabel->setVisible(replace);
    m_replacement->setVisible(replace);
    m_results->setColumnHidden(kReplacement, !replace);
    const fs::path database = m_window.TheShell().Database().Directory();
    m_scope->clear();
    m_scope->addItem("The whole database", Text(database.string()));
    if (const std::optional<TreeNode> node = m_window.ActiveNode())
        if (const std::optional<fs::path> folder = FindScopeOf(*node); folder) {
            m_scope->addItem(Text(folder->lexically_relative(database).string()),
                             Text(folder->string()));
            m_scope->setCurrentIndex(1);
        }
    UpdateButtons();
    show();
    raise();
    activateWindow();
    m_text->setFocus();
    m_text->selectAll();
}

void FindDialog::Forget() {
    StopSearch();
    ++m_generation;
    m_hits.clear();
    m_results->setRowCount(0);
    m_status->clear();
    hide();
}

void FindDialog::StopSearch() {
    if (m_search.joinable()) {
        m_search.request_stop();
        m_search.join();  // the walk looks at the stop between documents
    }
}

void FindDialog::StartSearch() {
    StopSearch();
    FindOptions options{m_text->text().toStdString(), m_matchCase->isChecked(),
                        m_wholeWord->isChecked(), m_regex->isChecked()};
    auto made = FindPattern::Make(options);
    if (const Notice* refusal = std::get_if<Notice>(&made)) {
        m_port.tell(*refusal);
        return;
    }
    std::optional<std::string> replacement;
    if (m_replace) {
        auto text = ReplacementText(m_replacement->text().toStdString());
        if (const Notice* refusal = std::get_if<Notice>(&text)) {
            m_port.tell(*refusal);
            return;
        }
        replacement = std::get<std::string>(text);
    }
    m_pattern = std::get<std::shared_ptr<const FindPattern>>(made);
    m_replacementText = replacement.value_or("");
    m_hits.clear();
    m_found = 0;
    m_results->setRowCount(0);
    m_status->setText("Searching...");
    FindRequest request{m_window.TheShell().Database().Directory(),
                        m_scope->currentData().toString().toStdString(),
                        m_pattern,
                        m_field->currentData().toString().toStdString(),
                        replacement,
                        {},
                        2};
    // The thread holds its own copy of the request; what it finds reaches the dialog as events,
    // which are dropped if the dialog has gone.
    const unsigned generation = ++m_generation;
    m_search = std::jthread(
        [this, generation, request = std::move(request)](std::stop_token stop) mutable {
            request.stop = stop;
            const FindOutcome outcome =
                FindInDatabase(request, [this, generation](std::vector<FindHit> hits) {
                    QMetaObject::invokeMethod(
                        this,
                        [this, generation, hits = std::move(hits)]() mutable {
                            if (generation == m_generation)
                                AddHits(std::move(hits));
                        },
                        Qt::QueuedConnection);
                });
            QMetaObject::invokeMethod(
                this,
                [this, generation, outcome] {
                    if (generation == m_generation)
                        SearchEnded(outcome);
                },
                Qt::QueuedConnection);
        });
    UpdateButtons();
}

void FindDialog::AddHits(std::vector<FindHit> hits) {
    m_found += hits.size();
    m_results->setUpdatesEnabled(false);
    const fs::path database = m_window.TheShell().Database().Directory();
    for (FindHit& hit : hits) {
        if (m_results->rowCount() >= kRowsShown)
            break;
        const int row = m_results->rowCount();
        m_results->insertRow(row);
        auto* item = new QTableWidgetItem(Text(ItemLabel(hit.item, hit.kind)));
        item->setToolTip(Text(hit.item.lexically_relative(database).string()));
        if (m_replace)
            item->setCheckState(Qt::Checked);
        m_results->setItem(row, kItem, item);
        const FieldDescriptor* field = FindField(
            hit.kind == TV_PRJ_TEST_DOC ? PrjTestCaseFields() : TestCaseFields(), hit.tag);
        m_results->setItem(row, kField,
                           new QTableWidgetItem(Text(field ? field->longHeading : hit.tag)));
        m_results->setItem(row, kContext, new QTableWidgetItem(Text(hit.context)));
        m_results->setItem(row, kReplacement,
                           new QTableWidgetItem(Text(hit.before + " \u2192 " + hit.after)));
        m_hits.push_back(std::move(hit));
    }
    m_results->setUpdatesEnabled(true);
    m_status->setText(QString("Searching... %1 found").arg(m_found));
}

void FindDialog::SearchEnded(FindOutcome outcome) {
    if (m_search.joinable())
        m_search.join();
    QString text =
        QString("%1 found in %2 test cases read").arg(outcome.hits).arg(outcome.documents);
    if (outcome.hits > static_cast<std::size_t>(kRowsShown))
        text += QString(" (the first %1 listed)").arg(kRowsShown);
    if (outcome.unreadable > 0)
        text += QString("; %1 could not be read").arg(outcome.unreadable);
    if (outcome.stopped)
        text += "; stopped";
    m_status->setText(text);
    UpdateButtons();
}

void FindDialog::ShowHit(int row) {
    if (row >= 0 && static_cast<std::size_t>(row) < m_hits.size())
        m_window.SelectPath(m_hits[static_cast<std::size_t>(row)].item);
}

void FindDialog::Replace() {
    std::vector<FindHit> kept;
    for (int row = 0; row < m_results->rowCount(); ++row)
        if (m_results->item(row, kItem)->checkState() == Qt::Checked)
            kept.push_back(m_hits[static_cast<std::size_t>(row)]);
    if (kept.empty() || !m_pattern)
        return;
    std::set<fs::path> folders;
    for (const FindHit& hit : kept)
        folders.insert(hit.item.parent_path());
    Shell& shell = m_window.TheShell();
    const bool started = m_window.Actions().RunJob(
        [port = &m_port, pattern = m_pattern, replacement = m_replacementText,
         kept = std::move(kept), custom = shell.SharedCustom(), identity = shell.Identity(),
         autoAddUser = shell.Configuration().Settings().autoAddUser](std::stop_token stop) {
            EditorContext context{*port, *custom, identity};
            context.addUserWithoutAsking = autoAddUser;
            int done = 0;
            std::set<fs::path> items;
            for (const FindHit& hit : kept)
                items.insert(hit.item);
            const int total = static_cast<int>(items.size());
            port->progress(0, total);
            TransferResult result;
            result.failures =
                ReplaceSummary(ApplyReplace(*pattern, replacement, kept, context, stop,
                                            [&] { port->progress(++done, total); }));
            return result;
        },
        {folders.begin(), folders.end()}, [&window = m_window] { window.Page().Reshow(); });
    if (!started)
        return;
    // What is listed no longer says what the documents hold.
    ++m_generation;
    m_hits.clear();
    m_results->setRowCount(0);
    m_status->setText("Replacing; search again to see what is left.");
    UpdateButtons();
}

void FindDialog::UpdateButtons() {
    const bool searching = m_search.joinable();
    m_stop->setEnabled(searching);
    m_replaceButton->setVisible(m_replace);
    m_replaceButton->setEnabled(m_replace && !searching && !m_hits.empty());
}

}  // namespace vantorel
