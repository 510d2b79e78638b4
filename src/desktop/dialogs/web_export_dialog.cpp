#include "desktop/dialogs/web_export_dialog.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrl>
#include <QVBoxLayout>

#include "desktop/help/help_window.h"
#include "desktop/main_window.h"
#include "desktop/qt_text.h"
#include "storage/thread_guard.h"
#include "workspace/help.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

QString Local(const fs::path& path) {
    return QString::fromStdString(path.string());
}

}  // namespace

WebExportDialog::WebExportDialog(UserPort& port, CustomSnapshot custom, WebExportModel::Setup setup,
                                 QWidget* parent)
    : QDialog(parent),
      m_port(port),
      m_custom(std::move(custom)),
      m_model(port, *m_custom, &m_charts, std::move(setup)),
      m_styles(new QComboBox),
      m_destination(new QLineEdit),
      m_browse(new QPushButton("Browse...")),
      m_progressText(new QLabel),
      m_busy(new QProgressBar),
      m_export(new QPushButton("Export")),
      m_cancel(new QPushButton("Cancel")) {
    setObjectName("webExportDialog");
    setWindowTitle(Text(WebExportModel::kTitle));
    m_styles->setObjectName("exportStyles");
    for (const std::string& style : m_model.Styles())
        m_styles->addItem(QString::fromStdString(style));
    m_styles->setCurrentIndex(static_cast<int>(m_model.StartingStyle()));
    m_destination->setObjectName("exportDestination");
    m_destination->setText(QString::fromStdString(m_model.StartingDestination()));
    m_destination->setMinimumWidth(360);
    m_browse->setObjectName("exportBrowse");
    connect(m_browse, &QPushButton::clicked, this, &WebExportDialog::ChooseDestination);

    auto* project = new QLabel(QString::fromStdString(m_model.ProjectName()));
    project->setObjectName("exportProject");
    auto* destinationRow = new QHBoxLayout;
    destinationRow->addWidget(m_destination, 1);
    destinationRow->addWidget(m_browse);
    auto* form = new QFormLayout;
    form->addRow("Project:", project);
    form->addRow("Display style:", m_styles);
    form->addRow("Destination:", destinationRow);
    auto* hint =
        new QLabel("The project's pages go to a folder named after it in the destination.");
    hint->setWordWrap(true);
    hint->setEnabled(false);

    m_progressText->setObjectName("exportProgress");
    m_progressText->setWordWrap(true);
    m_progressText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_progressText->setMinimumHeight(m_progressText->fontMetrics().lineSpacing() * 2);
    m_progressText->setText(Text(WebExportModel::kReadyText));
    m_busy->setObjectName("exportBusy");
    m_busy->setRange(0, 0);  // the export does not know its page count ahead
    m_busy->setTextVisible(false);
    m_busy->hide();

    m_export->setObjectName("exportStart");
    m_export->setDefault(true);
    m_cancel->setObjectName("exportCancel");
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(m_export, QDialogButtonBox::ActionRole);
    buttons->addButton(m_cancel, QDialogButtonBox::RejectRole);
    connect(m_export, &QPushButton::clicked, this, &WebExportDialog::Export);
    connect(m_cancel, &QPushButton::clicked, this, &WebExportDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(hint);
    layout->addSpacing(8);
    layout->addWidget(m_progressText);
    layout->addWidget(m_busy);
    layout->addStretch(1);
    layout->addWidget(buttons);
    OfferHelp(*this, HelpPageOf(HelpSubject::WebExport));

    m_model.OnProgress([this] {
        // One wake-up at a time: the window shows the latest text when it gets to it, so a
        // fast export never floods the window's queue.
        if (!m_textPosted.exchange(true))
            QMetaObject::invokeMethod(this, &WebExportDialog::ShowProgressText,
                                      Qt::QueuedConnection);
    });
}

WebExportDialog::~WebExportDialog() {
    if (m_worker.joinable()) {
        m_worker.request_stop();
        WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
    }
}

void WebExportDialog::ShowProgressText() {
    m_textPosted = false;
    m_progressText->setText(QString::fromStdString(m_model.ProgressText()));
}

void WebExportDialog::SetRunning(bool running) {
    for (QWidget* control : {static_cast<QWidget*>(m_styles), static_cast<QWidget*>(m_destination),
                             static_cast<QWidget*>(m_browse), static_cast<QWidget*>(m_export)})
        control->setEnabled(!running);
    m_busy->setVisible(running);
}

void WebExportDialog::ChooseDestination() {
    const QString chosen = QFileDialog::getExistingDirectory(
        this, Text(WebExportModel::kChooserCaption), m_destination->text());
    if (!chosen.isEmpty())
        m_destination->setText(chosen);
}

void WebExportDialog::Export() {
    if (Running() || !m_model.Prepare(m_styles->currentText().toStdString(),
                                      m_destination->text().toStdString()))
        return;
    SetRunning(true);
    const CalendarDate today = LocalNow().date;
    m_worker = std::jthread([this, today](std::stop_token stop) {
        std::optional<fs::path> page = m_model.Export(std::move(stop), today);
        QMetaObject::invokeMethod(
            this, [this, page] { ExportDone(page); }, Qt::QueuedConnection);
    });
}

void WebExportDialog::ExportDone(const std::optional<fs::path>& page) {
    m_worker.join();
    m_worker = {};
    SetRunning(false);
    ShowProgressText();
    emit exportEnded(page.has_value());
    if (!page)
        return;  // the user was told why; the choices stay for another try
    if (m_model.AskToView())
        OpenInBrowser(*page);
    accept();
}

void WebExportDialog::OpenInBrowser(const fs::path& page) {
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(Local(page))))
        return;
    const bool launcherFound = !QStandardPaths::findExecutable("xdg-open").isEmpty();
    m_port.tell(BrowserOpenFailure(page, launcherFound));
}

void WebExportDialog::reject() {
    if (Running()) {
        m_worker.request_stop();
        m_progressText->setText("Cancelling...");
        return;
    }
    QDialog::reject();
}

void OpenWebExportDialog(MainWindow& window, UserPort& port) {
    WindowThreadMayRead mayRead(kDialogReads);
    const std::vector<TreeNode> selection = window.SelectedNodes();
    if (selection.empty())
        return;
    Shell& shell = window.TheShell();
    WebExportModel::Setup setup;
    setup.projectFolder = selection.front().path;
    setup.stylesRoot = shell.Folders().StylesFolder();
    setup.preferredStyle = shell.Configuration().Settings().templatePath;
    setup.home = shell.Folders().documents.empty() ? fs::path(QDir::homePath().toStdString())
                                                   : shell.Folders().documents;
    auto* dialog = new WebExportDialog(port, shell.SharedCustom(), std::move(setup), &window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vantorel
