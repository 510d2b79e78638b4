#include "desktop/dialogs/csv_import_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "desktop/dialogs/exchange_dialogs.h"
#include "desktop/exchange_jobs.h"
#include "desktop/main_window.h"
#include "desktop/widgets/accessible_names.h"
#include "desktop/widgets/field_widgets.h"
#include "exchange/csv_presets.h"
#include "exchange/testlink_import.h"
#include "workspace/exchange_targets.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

QString EncodingName(CsvTextEncoding encoding) {
    return encoding == CsvTextEncoding::Utf8 ? "UTF-8" : "ISO-8859-1";
}

QString SeparatorName(char separator) {
    switch (separator) {
        case ';':
            return "semicolons";
        case '\t':
            return "tabs";
        default:
            return "commas";
    }
}

constexpr char kNotImported[] = "(not imported)";

}  // namespace

CsvImportDialog::CsvImportDialog(UserPort& port, CustomSnapshot custom, ExchangeJobs& jobs,
                                 Setup setup, QWidget* parent)
    : QDialog(parent),
      m_port(port),
      m_custom(std::move(custom)),
      m_jobs(jobs),
      m_setup(std::move(setup)),
      m_file(new QLineEdit),
      m_browse(new QPushButton("Browse...")),
      m_fileInfo(new QLabel),
      m_mapping(new QTableWidget),
      m_preview(new QTableWidget),
      m_preset(new QComboBox),
      m_html(new QCheckBox("Rich-text columns hold HTML rather than plain text")),
      m_checkSummary(new QLabel),
      m_refusalList(new QListWidget),
      m_goodRowsOnly(new QCheckBox("Import the good rows only, leaving the refused ones out")),
      m_import(new QPushButton("Import")) {
    const bool library = m_setup.source == CsvSource::LibraryTestCases;
    setObjectName("csvImportDialog");
    setWindowTitle(m_setup.testLink ? "Import Test Cases from TestLink"
                   : library        ? "Import Test Cases from CSV"
                                    : "Import Project Test Cases from CSV");

    auto* into = new QLabel(QString::fromStdString(
        m_setup.folder.lexically_relative(m_setup.databaseDir).generic_string()));
    into->setObjectName("csvInto");
    m_file->setObjectName("csvFile");
    m_file->setReadOnly(true);
    m_file->setPlaceholderText("Choose the CSV file to import");
    m_file->setMinimumWidth(420);
    m_browse->setObjectName("csvBrowse");
    connect(m_browse, &QPushButton::clicked, this, &CsvImportDialog::ChooseFile);
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(m_file, 1);
    fileRow->addWidget(m_browse);
    m_fileInfo->setObjectName("csvFileInfo");
    auto* form = new QFormLayout;
    form->addRow("Import into:", into);
    form->addRow("File:", fileRow);
    form->addRow("", m_fileInfo);
    m_preset->setObjectName("csvPreset");
    m_preset->addItem("None: columns matched by their captions");
    for (const CsvPreset& preset : CsvPresets())
        m_preset->addItem(
            QString::fromUtf8(preset.name.data(), static_cast<int>(preset.name.size())) +
                "'s export",
            QString::fromUtf8(preset.key.data(), static_cast<int>(preset.key.size())));
    form->addRow("Columns written by:", m_preset);
    form->setRowVisible(m_preset, !m_setup.testLink);
    connect(m_preset, &QComboBox::currentIndexChanged, this, [this] {
        // A preset reads rich text as HTML of its own making.
        m_html->setEnabled(m_preset->currentIndex() == 0);
        if (!m_file->text().isEmpty())
            Read(m_file->text().toStdString());
    });

    m_mapping->setObjectName("csvMapping");
    m_mapping->setColumnCount(3);
    m_mapping->setHorizontalHeaderLabels({"Column", "Imported as", "First row"});
    m_mapping->verticalHeader()->hide();
    m_mapping->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_mapping->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_mapping->horizontalHeader()->setStretchLastSection(true);
    m_mapping->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_mapping->setSelectionMode(QAbstractItemView::NoSelection);
    auto* mappingBox = new QGroupBox("Columns and the fields they go to");
    auto* mappingLayout = new QVBoxLayout(mappingBox);
    mappingLayout->addWidget(m_mapping);
    m_html->setObjectName("csvHtml");
    mappingLayout->addWidget(m_html);
    // A TestLink export's rich text is HTML, and each column is its field already.
    m_html->setChecked(m_setup.testLink);
    m_html->setVisible(!m_setup.testLink);

    m_preview->setObjectName("csvPreview");
    m_preview->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_preview->setWordWrap(false);
    m_preview->horizontalHeader()->setStretchLastSection(true);
    auto* previewBox =
        new QGroupBox(QString("Preview of the first %1 rows, by line").arg(kCsvPreviewRows));
    auto* previewLayout = new QVBoxLayout(previewBox);
    previewLayout->addWidget(m_preview);

    m_checkSummary->setObjectName("csvCheckSummary");
    m_checkSummary->setWordWrap(true);
    m_refusalList->setObjectName("csvRefusals");
    // The summary above it changes with each check: no name to borrow.
    m_refusalList->setAccessibleName("Refused rows");
    m_refusalList->setMaximumHeight(m_refusalList->fontMetrics().lineSpacing() * 7);
    m_goodRowsOnly->setObjectName("csvGoodRowsOnly");
    m_goodRowsOnly->setEnabled(false);
    connect(m_goodRowsOnly, &QCheckBox::toggled, this, &CsvImportDialog::UpdateImportButton);
    auto* checkBox = new QGroupBox("Check of the rows");
    auto* checkLayout = new QVBoxLayout(checkBox);
    checkLayout->addWidget(m_checkSummary);
    checkLayout->addWidget(m_refusalList);
    checkLayout->addWidget(m_goodRowsOnly);

    m_import->setObjectName("csvImport");
    m_import->setDefault(true);
    m_import->setEnabled(false);
    auto* cancel = new QPushButton("Cancel");
    cancel->setObjectName("csvCancel");
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(m_import, QDialogButtonBox::AcceptRole);
    buttons->addButton(cancel, QDialogButtonBox::RejectRole);
    connect(m_import, &QPushButton::clicked, this, &CsvImportDialog::Import);
    connect(cancel, &QPushButton::clicked, this, &CsvImportDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(mappingBox, 3);
    layout->addWidget(previewBox, 2);
    layout->addWidget(checkBox);
    layout->addWidget(buttons);
    resize(780, 780);
}

CsvImportDialog::~CsvImportDialog() {
    if (!m_worker.joinable())
        return;
    WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
}

void CsvImportDialog::ChooseFile() {
    if (const auto file =
            ChooseFileToImport(this,
                               m_setup.testLink ? "TestLink XML exports (*.xml);;All files (*)"
                                                : "CSV files (*.csv *.txt);;All files (*)",
                               m_setup.startFolder))
        Read(*file);
}

void CsvImportDialog::Read(const fs::path& file) {
    if (Busy())
        return;
    m_file->setText(QString::fromStdString(file.string()));
    m_fileInfo->setText("Reading...");
    m_browse->setEnabled(false);
    m_import->setEnabled(false);
    const CsvPreset* preset = FindCsvPreset(m_preset->currentData().toString().toStdString());
    m_worker = std::jthread([this, file, source = m_setup.source, databaseDir = m_setup.databaseDir,
                             testLink = m_setup.testLink, preset] {
        std::optional<CsvImport> opened =
            testLink ? OpenTestLinkImport(file, databaseDir, *m_custom, {}, m_port)
            : preset
                ? OpenCsvImportWithPreset(file, *preset, source, databaseDir, *m_custom, m_port)
                : CsvImport::Open(file, source, databaseDir, *m_custom, m_port);
        std::shared_ptr<CsvImport> model =
            opened ? std::make_shared<CsvImport>(std::move(*opened)) : nullptr;
        QMetaObject::invokeMethod(
            this, [this, model] { Opened(model); }, Qt::QueuedConnection);
    });
}

void CsvImportDialog::Opened(std::shared_ptr<CsvImport> model) {
    m_worker.join();
    m_worker = {};
    m_browse->setEnabled(true);
    m_model = std::move(model);
    m_refusals.clear();
    m_checked = false;
    m_refusalList->clear();
    m_checkSummary->clear();
    if (!m_model) {
        m_fileInfo->setText("The file was not read");
        m_mapping->setRowCount(0);
        m_preview->clear();
        m_preview->setRowCount(0);
        m_preview->setColumnCount(0);
        UpdateImportButton();
        emit fileRead(false);
        return;
    }
    m_fileInfo->setText(
        QString("%1, separated by %2, %3 rows below the header")
            .arg(EncodingName(m_model->Encoding()), SeparatorName(m_model->Separator()))
            .arg(m_model->RowCount()));

    const std::vector<std::string>& columns = m_model->Columns();
    const std::vector<std::vector<std::string>> preview = m_model->Preview();
    m_mapping->setRowCount(static_cast<int>(columns.size()));
    // A cell's choice, made after the dialog, would come last in the Tab order: each follows
    // the one above it, so Tab goes down the table before the preview and buttons.
    QWidget* tabBefore = m_mapping;
    for (std::size_t column = 0; column < columns.size(); ++column) {
        const int row = static_cast<int>(column);
        m_mapping->setItem(row, 0, new QTableWidgetItem(QString::fromStdString(columns[column])));
        auto* fields = new QComboBox;
        fields->setObjectName(QString("csvField%1").arg(column));
        fields->addItem(kNotImported);
        for (const CsvImportField& field : m_model->Fields())
            fields->addItem(FromLatin1(field.caption));
        // It reads as the field chosen: its name says which column of the file it takes.
        NameForScreenReaders(
            *fields, QString("Column %1 imported as").arg(QString::fromStdString(columns[column])));
        m_mapping->setCellWidget(row, 1, fields);
        QWidget::setTabOrder(tabBefore, fields);
        tabBefore = fields;
        connect(fields, &QComboBox::activated, this, [this, column](int index) {
            MapColumn(column,
                      index == 0 ? std::nullopt
                                 : std::optional<std::size_t>(static_cast<std::size_t>(index - 1)));
        });
        const QString first =
            preview.empty() ? QString() : QString::fromStdString(preview.front()[column]);
        m_mapping->setItem(row, 2, new QTableWidgetItem(first.simplified()));
    }

    m_preview->clear();
    m_preview->setColumnCount(static_cast<int>(columns.size()));
    QStringList headers;
    for (const std::string& caption : columns)
        headers << QString::fromStdString(caption);
    m_preview->setHorizontalHeaderLabels(headers);
    m_preview->setRowCount(static_cast<int>(preview.size()));
    // Rows are labelled with their line in the file, as the refusals name them.
    QStringList lines;
    for (std::size_t row = 0; row < preview.size(); ++row)
        lines << QString::number(m_model->LineOf(row));
    m_preview->setVerticalHeaderLabels(lines);
    for (std::size_t row = 0; row < preview.size(); ++row)
        for (std::size_t column = 0; column < preview[row].size(); ++column) {
            const QString cell = QString::fromStdString(preview[row][column]);
            auto* item = new QTableWidgetItem(cell.simplified());
            item->setToolTip(cell);
            m_preview->setItem(static_cast<int>(row), static_cast<int>(column), item);
        }
    m_preview->resizeColumnsToContents();
    for (int column = 0; column < m_preview->columnCount(); ++column)
        m_preview->setColumnWidth(column, std::min(m_preview->columnWidth(column), 220));
    ShowMapping();
    emit fileRead(true);
    StartCheck();
}

void CsvImportDialog::ShowMapping() {
    for (std::size_t column = 0; column < m_model->Columns().size(); ++column) {
        auto* fields = qobject_cast<QComboBox*>(m_mapping->cellWidget(static_cast<int>(column), 1));
        const std::optional<std::size_t> field = m_model->FieldOf(column);
        fields->setCurrentIndex(field ? static_cast<int>(*field) + 1 : 0);
    }
}

void CsvImportDialog::MapColumn(std::size_t column, std::optional<std::size_t> field) {
    if (!m_model)
        return;
    m_model->Map(column, field);
    ShowMapping();
    ++m_generation;
    m_checked = false;
    UpdateImportButton();
    StartCheck();
}

void CsvImportDialog::StartCheck() {
    if (!m_model || Busy())
        return;  // a check running now is followed by one of the new mapping
    m_checkSummary->setText("Checking the rows...");
    m_browse->setEnabled(false);
    // The worker checks a copy, so the mapping may change while it runs.
    m_worker =
        std::jthread([this, copy = *m_model, folder = m_setup.folder, generation = m_generation] {
            std::vector<CsvRefusal> refusals = copy.Check(folder);
            QMetaObject::invokeMethod(
                this,
                [this, refusals = std::move(refusals), generation]() mutable {
                    CheckDone(std::move(refusals), generation);
                },
                Qt::QueuedConnection);
        });
}

void CsvImportDialog::CheckDone(std::vector<CsvRefusal> refusals, unsigned generation) {
    m_worker.join();
    m_worker = {};
    m_browse->setEnabled(true);
    if (generation != m_generation) {
        StartCheck();
        return;
    }
    m_refusals = std::move(refusals);
    m_checked = true;
    m_checkSummary->setText(QString::fromStdString(CsvCheckText(m_refusals, m_model->RowCount())));
    m_refusalList->clear();
    for (const CsvRefusal& refusal : m_refusals)
        m_refusalList->addItem(QString::fromStdString(CsvRefusalText(refusal)));
    m_goodRowsOnly->setEnabled(!m_refusals.empty());
    UpdateImportButton();
    emit checkEnded();
}

void CsvImportDialog::UpdateImportButton() {
    m_import->setEnabled(
        m_model && m_checked && !Busy() &&
        CsvImportAllowed(m_refusals, m_model->RowCount(), m_goodRowsOnly->isChecked()));
}

void CsvImportDialog::Import() {
    UpdateImportButton();
    if (!m_import->isEnabled())
        return;
    if (m_preset->currentIndex() == 0)
        m_model->richText = m_html->isChecked() ? CsvRichText::Html : CsvRichText::PlainText;
    CsvImportRequest request;
    request.folder = m_setup.folder;
    request.goodRowsOnly = m_goodRowsOnly->isChecked();
    auto outcome = std::make_shared<std::optional<CsvImportOutcome>>();
    // The job outlives the dialog: it holds the snapshot the model was checked against.
    const bool started = m_jobs.Start(
        [model = m_model, request, port = &m_port, custom = m_custom,
         outcome](std::stop_token stop) mutable {
            request.stop = std::move(stop);
            *outcome = model->Import(request, {*port, *custom});
        },
        [port = &m_port, outcome, rows = m_model->RowCount(), after = m_setup.afterImport] {
            if (*outcome && (*outcome)->complete)
                port->tell(CsvImportDoneNotice(**outcome, rows));
            if (after)
                after();
        });
    if (started)
        accept();
}

void OpenCsvImportDialog(MainWindow& window, UserPort& port, Operation operation) {
    Shell& shell = window.TheShell();
    const fs::path databaseDir = shell.Database().Directory();
    const std::optional<ExchangeTarget> target = ExchangeTargetOrTell(window, port, operation);
    if (!target)
        return;
    CsvImportDialog::Setup setup;
    setup.source = operation == Operation::ImportProjectTestCases ? CsvSource::ProjectTestCases
                                                                  : CsvSource::LibraryTestCases;
    setup.testLink = operation == Operation::ImportTestLink;
    setup.folder = target->folder;
    setup.databaseDir = databaseDir;
    setup.startFolder = &window.ImportFolder();
    setup.afterImport = [&window, folder = setup.folder] { window.RefreshBelow(folder); };
    auto* dialog =
        new CsvImportDialog(port, shell.SharedCustom(), window.Jobs(), std::move(setup), &window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vantorel
