#include "desktop/dialogs/csv_export_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <memory>

#include "desktop/dialogs/exchange_dialogs.h"
#include "desktop/exchange_jobs.h"
#include "desktop/main_window.h"
#include "exchange/testlink_export.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

QString Title(Operation operation) {
    switch (operation) {
        case Operation::ExportProjectTestCasesCsv:
            return "Export Project Test Cases to CSV";
        case Operation::ExportTestListReportCsv:
            return "Export Test List Report to CSV";
        case Operation::ExportTestLink:
            return "Export Test Cases to TestLink";
        default:
            return "Export Test Cases to CSV";
    }
}

}  // namespace

CsvExportDialog::CsvExportDialog(UserPort& port, ExchangeJobs& jobs, Setup setup, QWidget* parent)
    : QDialog(parent),
      m_port(port),
      m_jobs(jobs),
      m_setup(std::move(setup)),
      m_scope(new QComboBox),
      m_encoding(new QComboBox),
      m_richText(new QComboBox),
      m_destination(new QLineEdit),
      m_export(new QPushButton("Export")) {
    setObjectName("csvExportDialog");
    setWindowTitle(Title(m_setup.operation));

    m_scope->setObjectName("csvExportScope");
    for (const CsvExportScope& scope : m_setup.scopes)
        m_scope->addItem(QString::fromStdString(scope.caption));
    m_scope->setEnabled(m_scope->count() > 1);
    m_encoding->setObjectName("csvEncoding");
    m_encoding->addItem("UTF-8 with a byte-order mark (spreadsheets read accents)",
                        static_cast<int>(CsvEncoding::Utf8WithBom));
    m_encoding->addItem("ISO-8859-1", static_cast<int>(CsvEncoding::Latin1));
    m_richText->setObjectName("csvRichText");
    m_richText->addItem("As plain text with line breaks", static_cast<int>(CsvRichText::PlainText));
    m_richText->addItem("As their HTML", static_cast<int>(CsvRichText::Html));

    m_destination->setObjectName("csvDestination");
    m_destination->setMinimumWidth(380);
    auto* browse = new QPushButton("Browse...");
    browse->setObjectName("csvExportBrowse");
    connect(browse, &QPushButton::clicked, this, &CsvExportDialog::ChooseFile);
    auto* destinationRow = new QHBoxLayout;
    destinationRow->addWidget(m_destination, 1);
    destinationRow->addWidget(browse);

    auto* form = new QFormLayout;
    form->addRow("Export:", m_scope);
    form->addRow("Encoding:", m_encoding);
    form->addRow("Rich-text fields:", m_richText);
    form->addRow("File:", destinationRow);
    // TestLink's XML is UTF-8 and its text HTML: nothing to choose.
    for (QWidget* choice : {static_cast<QWidget*>(m_encoding), static_cast<QWidget*>(m_richText)})
        form->setRowVisible(choice, m_setup.operation != Operation::ExportTestLink);

    m_export->setObjectName("csvExportStart");
    m_export->setDefault(true);
    auto* cancel = new QPushButton("Cancel");
    cancel->setObjectName("csvExportCancel");
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(m_export, QDialogButtonBox::AcceptRole);
    buttons->addButton(cancel, QDialogButtonBox::RejectRole);
    connect(m_export, &QPushButton::clicked, this, &CsvExportDialog::Export);
    connect(cancel, &QPushButton::clicked, this, &CsvExportDialog::reject);
    connect(m_destination, &QLineEdit::textChanged, this,
            [this](const QString& text) { m_export->setEnabled(!text.trimmed().isEmpty()); });
    connect(m_scope, &QComboBox::currentIndexChanged, this, &CsvExportDialog::ScopeChosen);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addStretch(1);
    layout->addWidget(buttons);
    ScopeChosen(0);
}

void CsvExportDialog::ScopeChosen(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= m_setup.scopes.size())
        return;
    // The file follows what is exported, in the folder the field names now.
    const std::optional<fs::path> current = Target();
    const fs::path folder = current                ? current->parent_path()
                            : m_setup.exportFolder ? *m_setup.exportFolder
                                                   : fs::path();
    m_destination->setText(QString::fromStdString(
        (folder / m_setup.scopes[static_cast<std::size_t>(index)].fileName).string()));
}

const CsvExportScope& CsvExportDialog::Scope() const {
    return m_setup.scopes.at(static_cast<std::size_t>(std::max(0, m_scope->currentIndex())));
}

std::optional<fs::path> CsvExportDialog::Target() const {
    const QString text = m_destination->text().trimmed();
    if (text.isEmpty())
        return std::nullopt;
    fs::path target = text.toStdString();
    if (target.is_relative() && m_setup.exportFolder)
        target = *m_setup.exportFolder / target;
    return target.lexically_normal();
}

CsvOptions CsvExportDialog::Options() const {
    return {static_cast<CsvEncoding>(m_encoding->currentData().toInt()),
            static_cast<CsvRichText>(m_richText->currentData().toInt())};
}

void CsvExportDialog::ChooseFile() {
    const std::optional<fs::path> current = Target();
    const QString chosen = QFileDialog::getSaveFileName(
        this, windowTitle(), current ? QString::fromStdString(current->string()) : QString(),
        m_setup.operation == Operation::ExportTestLink ? "TestLink XML (*.xml);;All files (*)"
                                                       : "CSV files (*.csv);;All files (*)",
        nullptr, QFileDialog::DontConfirmOverwrite);
    if (!chosen.isEmpty())
        m_destination->setText(chosen);
}

void CsvExportDialog::Export() {
    const std::optional<fs::path> target = Target();
    if (!target)
        return;
    std::error_code error;
    Notice replace = CsvReplaceQuestion(*target);
    if (m_setup.operation == Operation::ExportTestLink)
        replace.caption = kTestLinkExportCaption;
    if (fs::exists(*target, error) && !m_port.ask(replace))
        return;
    if (m_setup.exportFolder)
        *m_setup.exportFolder = target->parent_path();
    const CsvExportScope scope = Scope();
    const CsvOptions options = Options();
    const Operation operation = m_setup.operation;
    auto rows = std::make_shared<std::optional<std::size_t>>();
    const bool started = m_jobs.Start(
        [port = &m_port, scope, options, operation, file = *target, rows](std::stop_token stop) {
            if (operation == Operation::ExportTestLink) {
                *rows = ExportTestLink({scope.folder, file, std::move(stop)}, *port);
                return;
            }
            if (operation == Operation::ExportTestListReportCsv) {
                *rows = ExportListReportCsv(scope.folder, file, options, *port, stop);
                return;
            }
            CsvExportRequest request;
            request.source = operation == Operation::ExportTestCasesCsv
                                 ? CsvSource::LibraryTestCases
                                 : CsvSource::ProjectTestCases;
            request.folder = scope.folder;
            request.items = scope.items;
            request.target = file;
            request.options = options;
            request.stop = std::move(stop);
            *rows = ExportTestCasesCsv(request, *port);
        },
        [port = &m_port, rows, operation] {
            if (*rows)
                port->tell(operation == Operation::ExportTestLink ? TestLinkExportDoneNotice(**rows)
                                                                  : CsvExportDoneNotice(**rows));
        });
    if (started)
        accept();
}

void OpenCsvExportDialog(MainWindow& window, UserPort& port, Operation operation) {
    const std::optional<ExchangeTarget> target = ExchangeTargetOrTell(window, port, operation);
    if (!target)
        return;
    CsvExportDialog::Setup setup;
    setup.operation = operation;
    setup.scopes = target->scopes;
    setup.exportFolder = &window.ExportFolder();
    auto* dialog = new CsvExportDialog(port, window.Jobs(), std::move(setup), &window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vantorel
