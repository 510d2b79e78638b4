#include "desktop/reports/report_view.h"

#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QScrollArea>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QStandardItemModel>
#include <QStandardPaths>
#include <QTableWidget>
#include <QTextBrowser>
#include <QToolBar>
#include <QVBoxLayout>

#include "desktop/qt_text.h"
#include "desktop/reports/report_printing.h"
#include "desktop/widgets/accessible_names.h"
#include "documents/field_tables.h"
#include "platform/thread_priority.h"
#include "render/report_pages.h"
#include "reports/list_reports.h"
#include "storage/field_values.h"
#include "storage/thread_guard.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

QIcon Swatch(std::uint32_t reportColour) {
    QPixmap swatch(12, 12);
    swatch.fill(QColor::fromRgb(QRgb{RgbOf(reportColour)}));  // alpha ignored: opaque
    return QIcon(swatch);
}

QTableWidgetItem* Figure(const QString& text) {
    auto* item = new QTableWidgetItem(text);
    item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return item;
}

// A table of a report, named for screen readers after the chart whose figures it holds.
QTableWidget* NewTable(const QString& name, const QString& caption, const QStringList& headings,
                       int rows) {
    auto* table = new QTableWidget(rows, static_cast<int>(headings.size()));
    table->setObjectName(name);
    table->setAccessibleName(caption);
    table->setHorizontalHeaderLabels(headings);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->verticalHeader()->hide();
    table->setAlternatingRowColors(true);
    table->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    return table;
}

// A list report's cell sorts by what it stands for: numbers as numbers, dates by their stored
// "yyyymmdd", text ignoring case.
QVariant SortKey(FieldType type, const std::string& stored, const QString& shown) {
    bool number = false;
    const qlonglong value = QString::fromLatin1(stored.c_str()).toLongLong(&number);
    if (number && type != FT_TEXT)
        return value;
    if (type == FT_DATE)
        return QString::fromLatin1(stored.c_str());
    return shown.toLower();
}

}  // namespace

ReportView::ReportView(UserPort& port, QWidget* parent)
    : QWidget(parent), m_port(port), m_heading(new QLabel), m_layout(new QVBoxLayout(this)) {
    setObjectName("reportView");
    setAccessibleName("Report");
    auto* toolbar = new QToolBar;
    toolbar->setObjectName("reportToolbar");
    toolbar->setWindowTitle("Report");
    NameToolbarOverflow(*toolbar);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_print = toolbar->addAction(QIcon(":/desktop/icons/print.svg"), "Print...", this,
                                 &ReportView::Print);
    m_preview = toolbar->addAction("Print Preview...", this, &ReportView::PrintPreview);
    m_pdf = toolbar->addAction("Export as PDF...", this, &ReportView::ExportPdf);
    toolbar->addSeparator();
    m_copyChart = toolbar->addAction("Copy chart", this, &ReportView::CopyChart);
    m_saveChart = toolbar->addAction("Save chart as...", this, [this] { SaveChartAs(); });
    m_heading->setObjectName("reportHeading");
    m_heading->setTextFormat(Qt::RichText);
    m_heading->setContentsMargins(6, 4, 6, 4);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    m_reader.setMaxThreadCount(1);
    m_layout->addWidget(toolbar);
    m_layout->addWidget(m_heading);
    UpdateActions();
}

void ReportView::SetContent(QWidget* content) {
    if (m_content)
        m_content->deleteLater();
    m_content = content;
    if (content)
        m_layout->addWidget(content, 1);
    UpdateActions();
}

void ReportView::UpdateActions() {
    for (QAction* action : {m_print, m_preview, m_pdf})
        action->setEnabled(m_readable);
    m_copyChart->setEnabled(!m_charts.empty());
    m_saveChart->setEnabled(!m_charts.empty());
}

void ReportView::Clear() {
    m_report.clear();
    m_reading.reset();
    m_statusNames.clear();
    // Its listing reads the database being closed.
    if (m_statusCases)
        m_statusCases->close();
    m_readable = false;
    m_charts.clear();
    m_heading->clear();
    SetContent(nullptr);
}

void ReportView::Reshow() {
    if (!m_report.empty() && m_custom)
        Show(m_report, m_custom, m_withFooter);
}

// Everything the pane shows of a report, read on the view's worker.
struct ReportView::ReadReport {
    ReportHeader header;  // before kind, which is read into it
    std::optional<ReportKind> kind;
    std::optional<StatusReportData> status;
    std::optional<ProgressReportData> progress;
    std::optional<ListReportData> list;
    std::optional<std::string> detailsHtml;

    ReadReport(const fs::path& report, const CustomCfg& custom)
        : kind(ReadReportKind(report, &header)) {
        switch (kind.value_or(ReportKind::Status)) {
            case ReportKind::Status:
                if (kind)
                    status = ReadShownStatusReport(report, custom);
                break;
            case ReportKind::Progress:
                progress = ReadProgressReport(report);
                break;
            case ReportKind::List:
                list = ReadListReport(report);
                break;
            case ReportKind::Details:
                if (std::optional<ReportPage> page = ReportPageHead(report)) {
                    std::string html;
                    if (WriteReportBody(*page, report, custom, "chart",
                                        [&html](std::string_view piece) { html += piece; }))
                        detailsHtml = std::move(html);
                }
                break;
        }
    }
};

void ReportView::Show(const fs::path& report, CustomSnapshot custom, bool withFooter) {
    m_report = report;
    m_custom = custom;
    m_withFooter = withFooter;
    // Until it is read, nothing of the report before it is printed under its name.
    m_readable = false;
    UpdateActions();
    auto reading = std::make_shared<int>();
    m_reading = reading;
    // The worker holds its own snapshot and path; its answer is dropped when another report
    // was asked for meanwhile, and never reaches a view that has gone (the view's destructor
    // waits for the worker, and a queued call to a deleted object is not made).
    m_reader.start([this, report, custom = std::move(custom), reading] {
        RunBelowTheWindow();
        auto read = std::make_shared<const ReadReport>(report, *custom);
        QMetaObject::invokeMethod(
            this,
            [this, read, reading] {
                if (m_reading != reading)
                    return;
                m_reading.reset();
                ShowRead(*read);
            },
            Qt::QueuedConnection);
    });
}

void ReportView::ShowRead(const ReadReport& read) {
    m_charts.clear();
    m_statusNames.clear();
    QWidget* content = nullptr;
    if (read.status)
        content = StatusContent(*read.status);
    else if (read.progress)
        content = ProgressContent(*read.progress);
    else if (read.list)
        content = ListContent(*read.list);
    else if (read.detailsHtml)
        content = DetailsContent(*read.detailsHtml);
    m_readable = content != nullptr;
    if (content) {
        m_heading->setText(Latin1(PrintHeadingHtml(PrintHeadingOf(m_report, read.header))));
    } else {
        m_heading->setText(Latin1(m_report.stem().string()).toHtmlEscaped());
        content = Unreadable();
    }
    SetContent(content);
}

QWidget* ReportView::Unreadable() {
    const Notice notice = UnreadableReport(m_report);
    auto* label = new QLabel(Latin1(notice.text));
    label->setObjectName("reportUnreadable");
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    label->setContentsMargins(12, 12, 12, 12);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_port.tell(notice);
    return label;
}

ChartView* ReportView::AddChart(Chart chart) {
    auto* view = new ChartView(std::move(chart));
    connect(view, &ChartView::saveAsRequested, this, [this, view] { SaveChartAs(view); });
    m_charts.push_back(view);
    return view;
}

QWidget* ReportView::StatusContent(const StatusReportData& report) {
    auto* sheet = new QWidget;
    auto* grid = new QGridLayout(sheet);
    ChartView* pie = AddChart(StatusPieChart(report));
    pie->setObjectName("statusChart");
    const std::vector<ReportStatusRow> rows = StatusRows(report);
    QTableWidget* statuses = NewTable("statusTable", pie->accessibleName(),
                                      {"Status", "Tests", "Share"}, static_cast<int>(rows.size()));
    statuses->setToolTip("Click a status to list its test cases");
    m_statusNames.clear();
    for (const ReportStatusRow& row : rows)
        m_statusNames.push_back(row.status);
    connect(pie, &ChartView::seriesChosen, this,
            [this](int row) { ListStatusCases(static_cast<std::size_t>(row)); });
    connect(statuses, &QTableWidget::cellClicked, this,
            [this](int row) { ListStatusCases(static_cast<std::size_t>(row)); });
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        const ReportStatusRow& status = rows[static_cast<std::size_t>(row)];
        statuses->setItem(row, 0,
                          new QTableWidgetItem(Swatch(status.colour), Latin1(status.status)));
        statuses->setItem(row, 1, Figure(QString::number(status.count)));
        statuses->setItem(row, 2, Figure(QString::fromStdString(status.share)));
    }
    ChartView* time = AddChart(TimeFiguresChart(report, *m_custom));
    time->setObjectName("timeChart");
    const std::vector<FigureRow> figureRows = TimeFigureRows(report, *m_custom);
    QTableWidget* figures = NewTable("timeTable", time->accessibleName(), {"Figure", "Hours"},
                                     static_cast<int>(figureRows.size()));
    for (int row = 0; row < static_cast<int>(figureRows.size()); ++row) {
        const FigureRow& figure = figureRows[static_cast<std::size_t>(row)];
        figures->setItem(row, 0, new QTableWidgetItem(Latin1(figure.caption)));
        figures->setItem(row, 1, Figure(QString::fromStdString(figure.value)));
    }
    // The short tables stand whole beside their charts; the sheet scrolls, not they.
    for (QTableWidget* table : {statuses, figures}) {
        table->resizeColumnsToContents();
        table->resizeRowsToContents();
        table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        int height = table->horizontalHeader()->height() + 2 * table->frameWidth();
        for (int row = 0; row < table->rowCount(); ++row)
            height += table->rowHeight(row);
        int width = 2 * table->frameWidth();
        for (int column = 0; column < table->columnCount(); ++column)
            width += table->columnWidth(column);
        table->setFixedSize(width, height);
    }
    grid->addWidget(pie, 0, 0);
    grid->addWidget(statuses, 0, 1, Qt::AlignTop);
    grid->addWidget(time, 1, 0);
    grid->addWidget(figures, 1, 1, Qt::AlignTop);
    grid->setColumnStretch(0, 1);
    auto* scroll = new QScrollArea;
    scroll->setAccessibleName("Charts and tables");
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    grid->setRowMinimumHeight(0, std::max(300, statuses->height()));
    grid->setRowMinimumHeight(1, std::max(300, figures->height()));
    scroll->setWidget(sheet);
    return scroll;
}

QWidget* ReportView::ProgressContent(const ProgressReportData& report) {
    const Chart chart = ProgressLineChart(report);
    auto* splitter = new QSplitter(Qt::Vertical);
    ChartView* lines = AddChart(chart);
    lines->setObjectName("progressChart");
    QStringList headings{"Period from"};
    for (const std::string& status : report.statuses)
        headings << Latin1(status);
    QTableWidget* periods = NewTable("periodTable", Latin1(chart.title), headings,
                                     static_cast<int>(chart.labels.size()));
    for (std::size_t status = 0; status < report.statuses.size(); ++status)
        periods->horizontalHeaderItem(static_cast<int>(status) + 1)
            ->setIcon(Swatch(status < report.colours.size() ? report.colours[status] : 0x808080));
    for (std::size_t period = 0; period < chart.labels.size(); ++period) {
        const int row = static_cast<int>(period);
        periods->setItem(row, 0, new QTableWidgetItem(Latin1(chart.labels[period])));
        // The counts come from the report itself, not from the chart's doubles.
        for (std::size_t status = 0; status < report.statuses.size(); ++status) {
            const bool stored =
                status < report.series.size() && period < report.series[status].size();
            periods->setItem(row, static_cast<int>(status) + 1,
                             Figure(QString::number(stored ? report.series[status][period] : 0)));
        }
    }
    periods->resizeColumnsToContents();
    splitter->addWidget(lines);
    splitter->addWidget(periods);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    return splitter;
}

QWidget* ReportView::ListContent(const ListReportData& report) {
    std::vector<FieldType> types;
    for (std::size_t column = 0; column < report.columns.size() && column < kListColumnCount;
         ++column)
        if (report.columns[column] == '1') {
            const FieldDescriptor* field =
                FindField(PrjTestCaseFields(), ListColumns()[column].tag);
            types.push_back(field ? field->type : FT_TEXT);
        }
    auto* model = new QStandardItemModel(static_cast<int>(report.rows.size()),
                                         static_cast<int>(report.headings.size()));
    for (std::size_t column = 0; column < report.headings.size(); ++column)
        model->setHeaderData(static_cast<int>(column), Qt::Horizontal,
                             Latin1(report.headings[column]));
    for (std::size_t row = 0; row < report.rows.size(); ++row) {
        const std::vector<std::string>& values = report.rows[row].values;
        for (std::size_t cell = 0; cell < values.size() && cell < report.headings.size(); ++cell) {
            const FieldType type = cell < types.size() ? types[cell] : FT_TEXT;
            const QString shown = Latin1(DisplayValue(type, values[cell]));
            auto* item = new QStandardItem(shown);
            item->setData(SortKey(type, values[cell], shown), Qt::UserRole);
            item->setEditable(false);
            model->setItem(static_cast<int>(row), static_cast<int>(cell), item);
        }
    }
    auto* sorted = new QSortFilterProxyModel(model);
    sorted->setSourceModel(model);
    sorted->setSortRole(Qt::UserRole);
    auto* table = new QTableView;
    table->setObjectName("listTable");
    table->setAccessibleName("Test cases");
    model->setParent(table);
    table->setModel(sorted);
    table->setSortingEnabled(true);
    table->sortByColumn(-1, Qt::AscendingOrder);  // the report's own order until one is chosen
    table->setAlternatingRowColors(true);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setSectionsMovable(true);
    table->resizeColumnsToContents();
    for (int column = 0; column < model->columnCount(); ++column)
        table->setColumnWidth(column, std::min(table->columnWidth(column), 320));
    return table;
}

QWidget* ReportView::DetailsContent(const std::string& html) {
    auto* box = new QWidget;
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* find = new QLineEdit;
    find->setObjectName("detailsFind");
    find->setPlaceholderText("Find in report (Enter: next)");
    find->setClearButtonEnabled(true);
    auto* text = new QTextBrowser;
    text->setObjectName("detailsText");
    text->setOpenLinks(false);
    text->document()->setDefaultStyleSheet(ReportStyleSheet());
    text->setHtml(Latin1(html));
    connect(find, &QLineEdit::returnPressed, text, [find, text] {
        if (!text->find(find->text())) {
            // Past the last match: on from the top.
            text->moveCursor(QTextCursor::Start);
            text->find(find->text());
        }
    });
    layout->addWidget(find);
    layout->addWidget(text, 1);
    return box;
}

void ReportView::ListStatusCases(std::size_t row) {
    if (row >= m_statusNames.size() || !m_custom)
        return;
    if (!m_statusCases) {
        // A window of its own beside the main one, so it stays while a test case's page is
        // shown in the right pane.
        m_statusCases = new StatusCasesDialog(m_port, window());
        m_statusCases->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_statusCases, &StatusCasesDialog::itemRequested, this, &ReportView::itemRequested);
    }
    m_statusCases->List(m_report, row, m_statusNames[row], m_custom);
    m_statusCases->show();
    m_statusCases->raise();
}

bool ReportView::PrintTo(QPrinter& printer) {
    if (!m_readable || !m_custom)
        return false;
    WindowThreadMayRead printing("printing lays out the one report it prints");
    if (PrintReport(printer, m_report, *m_custom, m_withFooter))
        return true;
    ReportHeader header;
    ReadReportKind(m_report, &header);
    m_port.tell(ReportNotPrinted(PrintHeadingOf(m_report, header)));
    return false;
}

void ReportView::Print() {
    QPrinter printer(QPrinter::HighResolution);
    QPrintDialog dialog(&printer, this);
    if (dialog.exec() == QDialog::Accepted)
        PrintTo(printer);
}

void ReportView::PrintPreview() {
    QPrinter printer(QPrinter::HighResolution);
    QPrintPreviewDialog preview(&printer, this);
    preview.setObjectName("reportPrintPreview");
    connect(&preview, &QPrintPreviewDialog::paintRequested, this,
            [this](QPrinter* pages) { PrintTo(*pages); });
    preview.exec();
}

void ReportView::ExportPdf() {
    // Offered in the user's documents, not inside the database among its reports.
    const QString start = QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
                              .filePath(Latin1(m_report.stem().string()) + ".pdf");
    QString file = QFileDialog::getSaveFileName(this, "Export as PDF", start, "PDF (*.pdf)");
    if (file.isEmpty())
        return;
    if (!file.endsWith(".pdf", Qt::CaseInsensitive))
        file += ".pdf";
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(file);
    PrintTo(printer);
}

void ReportView::CopyChart() {
    if (!m_charts.empty())
        m_charts.front()->CopyToClipboard();
}

void ReportView::SaveChartAs(ChartView* chart) {
    if (!chart && !m_charts.empty())
        chart = m_charts.front();
    if (!chart)
        return;
    QString filter = "PNG picture (*.png)";
    QString file = QFileDialog::getSaveFileName(
        this, "Save chart as", QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
        "PNG picture (*.png);;SVG drawing (*.svg)", &filter);
    if (file.isEmpty())
        return;
    const bool svg = filter.contains("svg");
    if (!file.endsWith(svg ? ".svg" : ".png", Qt::CaseInsensitive))
        file += svg ? ".svg" : ".png";
    SaveChartTo(*chart, file);
}

bool ReportView::SaveChartTo(const ChartView& chart, const QString& file) {
    if (WriteChartFile(chart.ShownChart(), file, chart.FileSize()))
        return true;
    m_port.tell(ChartNotSaved(file.toStdString()));
    return false;
}

}  // namespace vantorel
