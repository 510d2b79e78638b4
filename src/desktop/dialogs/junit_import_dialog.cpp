#include "desktop/dialogs/junit_import_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "desktop/dialogs/exchange_dialogs.h"
#include "desktop/exchange_jobs.h"
#include "desktop/main_window.h"
#include "desktop/widgets/field_widgets.h"
#include "documents/custom_cfg.h"
#include "documents/test_group.h"
#include "workspace/exchange_targets.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// The version or build list: empty first, which keeps each test case's own.
QComboBox* ListChoice(const char* name, const std::vector<std::string>& entries) {
    auto* box = new QComboBox;
    box->setObjectName(name);
    box->setEditable(true);
    box->addItem(QString());
    for (const std::string& entry : entries)
        box->addItem(FromLatin1(entry));
    box->lineEdit()->setPlaceholderText("each test case's own");
    box->lineEdit()->setMaxLength(25);
    return box;
}

}  // namespace

JUnitImportDialog::JUnitImportDialog(UserPort& port, CustomSnapshot custom, ExchangeJobs& jobs,
                                     Setup setup, QWidget* parent)
    : QDialog(parent),
      m_port(port),
      m_custom(custom),
      m_jobs(jobs),
      m_setup(std::move(setup)),
      m_file(new QLineEdit),
      m_browse(new QPushButton("Browse...")),
      m_match(new QComboBox),
      m_version(ListChoice("junitVersion", custom->Tables().versions)),
      m_build(ListChoice("junitBuild", custom->Tables().builds)),
      m_dryRun(new QPushButton("Dry Run")),
      m_reportText(new QPlainTextEdit),
      m_import(new QPushButton("Import")) {
    setObjectName("junitImportDialog");
    setWindowTitle("Import JUnit Results");

    auto* project = new QLabel(QString::fromStdString(m_setup.projectFolder.filename().string()));
    project->setObjectName("junitProject");
    m_file->setObjectName("junitFile");
    m_file->setReadOnly(true);
    m_file->setPlaceholderText("Choose the JUnit XML file of a test run");
    m_file->setMinimumWidth(380);
    m_browse->setObjectName("junitBrowse");
    connect(m_browse, &QPushButton::clicked, this, &JUnitImportDialog::ChooseFile);
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(m_file, 1);
    fileRow->addWidget(m_browse);

    m_match->setObjectName("junitMatch");
    m_match->addItem("The test's name holds the test case's ID",
                     static_cast<int>(JUnitMatch::IdInName));
    m_match->addItem("The test case's requirement is the test's name",
                     static_cast<int>(JUnitMatch::Requirement));
    m_match->addItem("The test case's title is the test's name",
                     static_cast<int>(JUnitMatch::Title));

    auto* form = new QFormLayout;
    form->addRow("Project:", project);
    form->addRow("Results file:", fileRow);
    form->addRow("Match results by:", m_match);
    form->addRow("Version tested:", m_version);
    form->addRow("Build tested:", m_build);
    for (QComboBox* box : {m_match, m_version, m_build})
        connect(box, &QComboBox::currentTextChanged, this, &JUnitImportDialog::ChoicesChanged);

    m_dryRun->setObjectName("junitDryRun");
    m_dryRun->setEnabled(false);
    m_dryRun->setToolTip("List what the import would record, writing nothing");
    connect(m_dryRun, &QPushButton::clicked, this, &JUnitImportDialog::DryRun);
    auto* dryRunRow = new QHBoxLayout;
    dryRunRow->addWidget(
        new QLabel("A dry run lists what would be recorded before anything is written."), 1);
    dryRunRow->addWidget(m_dryRun);
    m_reportText->setObjectName("junitReport");
    m_reportText->setReadOnly(true);
    m_reportText->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_reportText->setPlaceholderText("The dry run's list of executions appears here");
    m_reportText->setAccessibleName("Dry run");

    m_import->setObjectName("junitImport");
    m_import->setEnabled(false);
    auto* cancel = new QPushButton("Cancel");
    cancel->setObjectName("junitCancel");
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(m_import, QDialogButtonBox::AcceptRole);
    buttons->addButton(cancel, QDialogButtonBox::RejectRole);
    connect(m_import, &QPushButton::clicked, this, &JUnitImportDialog::Import);
    connect(cancel, &QPushButton::clicked, this, &JUnitImportDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addSpacing(6);
    layout->addLayout(dryRunRow);
    layout->addWidget(m_reportText, 1);
    layout->addWidget(buttons);
    resize(640, 520);
}

JUnitImportDialog::~JUnitImportDialog() {
    if (!m_worker.joinable())
        return;
    WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
}

void JUnitImportDialog::ChooseFile() {
    if (const auto file =
            ChooseFileToImport(this, "JUnit XML files (*.xml);;All files (*)", m_setup.startFolder))
        SetFile(*file);
}

void JUnitImportDialog::SetFile(const fs::path& file) {
    m_file->setText(QString::fromStdString(file.string()));
    ChoicesChanged();
}

void JUnitImportDialog::ChoicesChanged() {
    ++m_generation;
    m_report.reset();
    m_reportText->clear();
    m_dryRun->setEnabled(!Busy() && !m_file->text().isEmpty());
    m_import->setEnabled(false);
}

JUnitImportRequest JUnitImportDialog::Request() const {
    JUnitImportRequest request;
    request.projectFolder = m_setup.projectFolder;
    request.resultsFile = m_file->text().toStdString();
    request.match = static_cast<JUnitMatch>(m_match->currentData().toInt());
    request.version = ToLatin1(m_version->currentText().trimmed());
    request.build = ToLatin1(m_build->currentText().trimmed());
    return request;
}

void JUnitImportDialog::DryRun() {
    if (Busy() || m_file->text().isEmpty())
        return;
    JUnitImportRequest request = Request();
    request.dryRun = true;
    m_dryRun->setEnabled(false);
    m_import->setEnabled(false);
    m_reportText->setPlainText("Reading the results...");
    m_worker = std::jthread([this, request, custom = m_custom, generation = m_generation] {
        std::optional<JUnitImportReport> report = ImportJUnitResults(request, {m_port, *custom});
        QMetaObject::invokeMethod(
            this,
            [this, report = std::move(report), generation]() mutable {
                DryRunDone(std::move(report), generation);
            },
            Qt::QueuedConnection);
    });
}

void JUnitImportDialog::DryRunDone(std::optional<JUnitImportReport> report, unsigned generation) {
    m_worker.join();
    m_worker = {};
    m_dryRun->setEnabled(true);
    if (generation != m_generation) {
        m_reportText->setPlainText("The choices changed: run the dry run again.");
        emit dryRunEnded(false);
        return;
    }
    m_report = std::move(report);
    m_reportText->setPlainText(m_report ? QString::fromStdString(JUnitReportText(*m_report, true))
                                        : QString("Nothing would be recorded."));
    m_import->setEnabled(m_report && !m_report->changes.empty());
    emit dryRunEnded(m_report.has_value());
}

void JUnitImportDialog::Import() {
    if (Busy() || !m_report || m_report->changes.empty())
        return;
    auto report = std::make_shared<std::optional<JUnitImportReport>>();
    const bool started = m_jobs.Start(
        // The job outlives the dialog: it holds its own snapshot.
        [request = Request(), port = &m_port, custom = m_custom,
         report](std::stop_token stop) mutable {
            request.stop = std::move(stop);
            *report = ImportJUnitResults(request, {*port, *custom});
        },
        [port = &m_port, report, after = m_setup.afterImport] {
            if (*report && (*report)->complete)
                port->tell(JUnitImportDoneNotice(**report));
            if (after)
                after();
        });
    if (started)
        accept();
}

void OpenJUnitImportDialog(MainWindow& window, UserPort& port) {
    Shell& shell = window.TheShell();
    const std::optional<ExchangeTarget> target =
        ExchangeTargetOrTell(window, port, Operation::ImportJUnitResults);
    if (!target)
        return;
    JUnitImportDialog::Setup setup;
    setup.projectFolder = target->folder;
    setup.startFolder = &window.ImportFolder();
    setup.afterImport = [&window, folder = setup.projectFolder] {
        window.RefreshBelow(folder / std::string(kProjectTestCasesFolder));
    };
    auto* dialog =
        new JUnitImportDialog(port, shell.SharedCustom(), window.Jobs(), std::move(setup), &window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vantorel
