#pragma once
// The right pane's report window: a saved report of any kind, shown the way its kind reads
// best. Status: the pie chart with its legend beside the status table (colour swatches,
// counts, shares), the time-figure columns beside their table. Progress: the line chart of
// every status over the periods, and the period table. Test list: a sortable table of the
// report's columns. Details: each test case's fields and history as a page that can be
// searched. Its toolbar prints, previews, exports as PDF, and copies or saves the chart. A
// click on a status (a slice of the pie, its legend line, its row of the table) lists the test
// cases of that status in a window of their own.
//
// It stands in the right pane rather than in a window of its own, as the item pages do: a
// report is chosen in the tree like any item, the window's Print prints what the pane shows,
// and moving through the reports of a folder needs no windows closed.

#include <QAction>
#include <QLabel>
#include <QPointer>
#include <QThreadPool>
#include <QWidget>
#include <filesystem>
#include <optional>
#include <vector>

#include "desktop/reports/chart_view.h"
#include "desktop/reports/status_cases_dialog.h"
#include "platform/user_port.h"

class QPrinter;
class QVBoxLayout;

namespace vantorel {
struct StatusReportData;
struct ProgressReportData;
struct ListReportData;
}  // namespace vantorel

namespace vantorel {

class ReportView : public QWidget {
    Q_OBJECT
public:
    explicit ReportView(UserPort& port, QWidget* parent = nullptr);

    // Shows the report at path once a worker has read it. One that can't be read shows the
    // core's message in the pane, and the user is told it. withFooter: printed pages get the
    // footer.
    void Show(const std::filesystem::path& report, CustomSnapshot custom, bool withFooter);
    // Shows the same report read again (it changed on disk).
    void Reshow();
    void Clear();
    const std::filesystem::path& Report() const { return m_report; }
    // The report asked for is still being read.
    bool Reading() const { return m_reading != nullptr; }
    // The report could be read and is shown.
    bool Readable() const { return m_readable; }
    // The charts shown, the main one first; none for a list or details report.
    const std::vector<ChartView*>& Charts() const { return m_charts; }

    // The print dialog, the print preview, "Export as PDF".
    void Print();
    void PrintPreview();
    void ExportPdf();
    // Prints to printer (a PDF file when it is set so), telling the user when it fails.
    bool PrintTo(QPrinter& printer);
    // "Copy chart" and "Save chart as" of the main chart (or of chart).
    void CopyChart();
    void SaveChartAs(ChartView* chart = nullptr);
    // Writes the chart to file, telling the user when it fails.
    bool SaveChartTo(const ChartView& chart, const QString& file);
    // Lists the test cases of a status report's status row; the window they show in.
    void ListStatusCases(std::size_t row);
    StatusCasesDialog* StatusCases() const { return m_statusCases; }

signals:
    // A test case of a listed status was chosen: its document.
    void itemRequested(const std::filesystem::path& document);

private:
    struct ReadReport;
    void ShowRead(const ReadReport& read);
    void SetContent(QWidget* content);
    QWidget* StatusContent(const StatusReportData& report);
    QWidget* ProgressContent(const ProgressReportData& report);
    QWidget* ListContent(const ListReportData& report);
    QWidget* DetailsContent(const std::string& html);
    QWidget* Unreadable();
    ChartView* AddChart(Chart chart);
    void UpdateActions();

    UserPort& m_port;
    CustomSnapshot m_custom;
    std::filesystem::path m_report;
    bool m_withFooter = true;
    bool m_readable = false;
    QLabel* m_heading;
    QVBoxLayout* m_layout;
    QWidget* m_content = nullptr;
    std::vector<ChartView*> m_charts;
    std::vector<std::string> m_statusNames;  // the shown status report's rows
    QPointer<StatusCasesDialog> m_statusCases;
    // The read in progress: the worker's answer counts only while it is the latest asked for.
    std::shared_ptr<const void> m_reading;
    // Its tasks end before the view goes.
    QThreadPool m_reader;
    QAction* m_print;
    QAction* m_preview;
    QAction* m_pdf;
    QAction* m_copyChart;
    QAction* m_saveChart;
};

}  // namespace vantorel
