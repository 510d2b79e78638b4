#pragma once
// "Import JUnit Results...": a view over the core's JUnit results import into a project. The
// user picks the results file, the rule that matches a result to a test case, and the version
// and build tested (offered from the customisation's lists); a dry run on a worker lists what
// would be recorded, what matches nothing and what is open for editing. Import, offered once a
// dry run of the same choices has run, hands the import to the window's exchange jobs; the
// core asks there when the file was imported before.

#include <QDialog>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "documents/custom_cfg.h"
#include "exchange/junit_import.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace vantorel {

class ExchangeJobs;
class MainWindow;

class JUnitImportDialog : public QDialog {
    Q_OBJECT
public:
    struct Setup {
        std::filesystem::path projectFolder;
        std::filesystem::path* startFolder = nullptr;  // where the chooser starts; kept
        std::function<void()> afterImport;             // on the window's thread, at the end
    };

    JUnitImportDialog(UserPort& port, CustomSnapshot custom, ExchangeJobs& jobs, Setup setup,
                      QWidget* parent = nullptr);
    ~JUnitImportDialog() override;

    void SetFile(const std::filesystem::path& file);
    // The choices as the import takes them.
    JUnitImportRequest Request() const;
    // Runs the dry run on the worker; Import is offered when it found something to record.
    void DryRun();
    bool Busy() const { return m_worker.joinable(); }
    // The last dry run of the choices shown; none before one, or after a choice changed.
    const std::optional<JUnitImportReport>& DryRunReport() const { return m_report; }
    // Starts the import as an exchange job and closes the dialog.
    void Import();

signals:
    void dryRunEnded(bool ran);

private:
    void ChooseFile();
    void ChoicesChanged();
    void DryRunDone(std::optional<JUnitImportReport> report, unsigned generation);

    UserPort& m_port;
    const CustomSnapshot m_custom;
    ExchangeJobs& m_jobs;
    Setup m_setup;
    std::jthread m_worker;
    std::optional<JUnitImportReport> m_report;
    // Each change of a choice makes a dry run still running stale.
    unsigned m_generation = 0;

    QLineEdit* m_file;
    QPushButton* m_browse;
    QComboBox* m_match;
    QComboBox* m_version;
    QComboBox* m_build;
    QPushButton* m_dryRun;
    QPlainTextEdit* m_reportText;
    QPushButton* m_import;
};

// Opens the dialog on the project of the selection in window's tree (the command's check made
// sure there is one).
void OpenJUnitImportDialog(MainWindow& window, UserPort& port);

}  // namespace vantorel
