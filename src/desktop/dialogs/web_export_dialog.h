#pragma once
// "Export Project to Web": a view over the core's WebExportModel. It offers the display
// styles and the destination (typed, or chosen with "Export folder select"), runs the export
// on a worker thread while the dialog shows its progress texts, and Cancel then stops the
// export before its next page, leaving the earlier site as it was. A finished export asks
// whether to view the project, and opens its page in the user's browser.

#include <QDialog>
#include <atomic>
#include <filesystem>
#include <optional>
#include <thread>

#include "charts/chart_painter.h"
#include "exchange/web_export_model.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace vantorel {

class MainWindow;

class WebExportDialog : public QDialog {
    Q_OBJECT
public:
    WebExportDialog(UserPort& port, CustomSnapshot custom, WebExportModel::Setup setup,
                    QWidget* parent = nullptr);
    ~WebExportDialog() override;

    WebExportModel& Model() { return m_model; }
    bool Running() const { return m_worker.joinable(); }
    // The Export button: checks the choices, then exports on the worker.
    void Export();
    // Cancel, Escape or the close button: while an export runs, it is stopped and the dialog
    // stays to say so; otherwise the dialog closes.
    void reject() override;

signals:
    // The export ended, with the site written or not; before the success question.
    void exportEnded(bool written);

private:
    void ExportDone(const std::optional<std::filesystem::path>& page);
    void ShowProgressText();
    void SetRunning(bool running);
    void ChooseDestination();
    // Opens page in the user's browser, telling the user when that fails.
    void OpenInBrowser(const std::filesystem::path& page);

    UserPort& m_port;  // released while the dialog waits for the worker to end
    QtChartPainter m_charts;
    const CustomSnapshot m_custom;  // what the model and its worker read
    WebExportModel m_model;
    std::jthread m_worker;
    std::atomic<bool> m_textPosted{false};
    QComboBox* m_styles;
    QLineEdit* m_destination;
    QPushButton* m_browse;
    QLabel* m_progressText;
    QProgressBar* m_busy;
    QPushButton* m_export;
    QPushButton* m_cancel;
};

// Opens the export dialog on the project selected in window's tree (the command's check made
// sure one is).
void OpenWebExportDialog(MainWindow& window, UserPort& port);

}  // namespace vantorel
