#include "desktop/reports/status_cases_dialog.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QLabel>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "desktop/qt_text.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr int kDocumentRole = Qt::UserRole;

}  // namespace

StatusCasesDialog::StatusCasesDialog(UserPort& port, QWidget* parent)
    : QDialog(parent), m_port(port), m_caption(new QLabel), m_cases(new QTreeWidget) {
    setObjectName("statusCasesDialog");
    setWindowTitle("Test cases of a status");
    m_caption->setObjectName("statusCasesCaption");
    m_caption->setWordWrap(true);
    m_cases->setObjectName("statusCases");
    m_cases->setHeaderLabels({"ID", "Title", "Suite"});
    m_cases->setRootIsDecorated(false);
    m_cases->setUniformRowHeights(true);
    m_cases->setAlternatingRowColors(true);
    // The core's order until a column's heading is clicked. The tree's own sorting would put
    // every list in the order of its sort indicator as it is filled.
    QHeaderView* header = m_cases->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    connect(header, &QHeaderView::sortIndicatorChanged, m_cases,
            [this](int column, Qt::SortOrder order) {
                if (column >= 0)
                    m_cases->sortItems(column, order);
            });
    header->setStretchLastSection(true);
    m_cases->setToolTip("Double-click a test case to show its page");
    connect(m_cases, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        emit itemRequested(item->data(0, kDocumentRole).toByteArray().toStdString());
    });
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_caption);
    layout->addWidget(m_cases, 1);
    resize(620, 420);
}

StatusCasesDialog::~StatusCasesDialog() {
    Stop();
}

void StatusCasesDialog::Stop() {
    if (!m_worker.joinable())
        return;
    m_worker.request_stop();
    WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
}

void StatusCasesDialog::closeEvent(QCloseEvent* event) {
    Stop();
    event->accept();
}

void StatusCasesDialog::List(const fs::path& report, std::size_t row, const std::string& status,
                             CustomSnapshot custom) {
    Stop();
    const unsigned listing = ++m_listing;
    m_status = status;
    setWindowTitle("Test cases: " + Latin1(status));
    m_caption->setText("Listing the test cases of " + Latin1(status).toHtmlEscaped() + "...");
    m_cases->clear();
    m_cases->header()->setSortIndicator(-1, Qt::AscendingOrder);
    // The worker holds its own snapshot: the customisation may be replaced while it lists.
    m_worker = std::jthread(
        [this, report, row, custom = std::move(custom), listing](std::stop_token stop) {
            std::optional<std::vector<StatusCase>> cases =
                ListStatusCases(report, row, {m_port, *custom}, std::move(stop));
            QMetaObject::invokeMethod(
                this,
                [this, cases = std::move(cases), listing] {
                    if (listing != m_listing)
                        return;
                    m_worker.join();
                    m_worker = {};
                    Show(cases);
                },
                Qt::QueuedConnection);
        });
}

void StatusCasesDialog::Show(const std::optional<std::vector<StatusCase>>& cases) {
    if (!cases) {
        m_caption->setText("The test cases of " + Latin1(m_status).toHtmlEscaped() +
                           " could not be listed.");
        emit listed(false);
        return;
    }
    m_caption->setText(Latin1(StatusCasesCaption(m_status, cases->size())).toHtmlEscaped());
    QList<QTreeWidgetItem*> items;
    items.reserve(static_cast<qsizetype>(cases->size()));
    for (const StatusCase& testCase : *cases) {
        auto* item = new QTreeWidgetItem(
            QStringList{Latin1(testCase.id), Latin1(testCase.title), Latin1(testCase.suite)});
        // The path as its bytes: a name need not be UTF-8.
        item->setData(0, kDocumentRole, QByteArray::fromStdString(testCase.document.string()));
        items.push_back(item);
    }
    m_cases->addTopLevelItems(items);
    m_cases->resizeColumnToContents(0);
    m_cases->resizeColumnToContents(1);
    m_cases->setColumnWidth(1, std::min(m_cases->columnWidth(1), 320));
    emit listed(true);
}

}  // namespace vantorel
