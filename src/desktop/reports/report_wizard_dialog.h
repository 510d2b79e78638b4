#pragma once
// The report wizard: a QWizard over the core's ReportWizard. Each page shows what the model
// offers and hands the user's choice back; the model checks the page when the user leaves it
// and tells any refusal through the port. Every step of the model runs on a worker thread,
// since the checks and the suite list read the project's folders: the buttons wait while it
// runs and the wizard moves on when it ends. The last page generates there, its progress going
// through the port to the status bar; Cancel then stops the generation between documents, and
// the wizard stays open to say it was cancelled.

#include <QWizard>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "reports/report_wizard.h"
#include "workspace/commands.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QTreeWidget;

namespace vantorel {

class ReportWizardDialog : public QWizard {
    Q_OBJECT
public:
    // Where the wizard starts: a project chosen in the tree and the filter chosen in the window.
    struct Start {
        std::string project;
        std::string filter;  // the filter chosen in the window; empty for none
    };

    ReportWizardDialog(const std::filesystem::path& databaseDir, UserPort& port,
                       CustomSnapshot custom, const Start& start, QWidget* parent = nullptr);
    ~ReportWizardDialog() override;

    ReportWizard& Model() { return m_model; }
    // A step of the model runs on the worker (a page check, the suite list, a generation).
    bool Busy() const { return m_worker.joinable(); }
    bool Generating() const { return m_generating; }
    // The written report, once the generation succeeded.
    const std::optional<std::filesystem::path>& Report() const { return m_model.Report(); }
    // The last page's Next: checks the name and generates on the worker.
    void Generate();

    int nextId() const override;
    bool validateCurrentPage() override;
    void initializePage(int id) override;
    void reject() override;

signals:
    // The generation ended, with a report written or not.
    void generationEnded(bool written);

private:
    void BuildPages();
    void TakeChoices();
    void FillSuites();
    void GenerationDone(bool written);
    void PageChanged(int id);
    // Runs work on the worker with the buttons off, then done on the window's thread.
    void OnWorker(std::function<bool()> work, std::function<void(bool)> done);
    // The current page's check passed on the worker: the wizard moves on.
    void PageChecked(bool passed);

    UserPort& m_port;               // released while the window waits for the worker
    const CustomSnapshot m_custom;  // what the model and its worker read
    ReportWizard m_model;
    std::thread m_worker;
    bool m_generating = false;
    bool m_written = false;                // the generation wrote a report
    int m_nextPage = -1;                   // where the model let the user go from the current page
    bool m_pageChecked = false;            // the next validateCurrentPage lets the user go on
    bool m_rejectWhenDone = false;         // Cancel came during a page check
    std::vector<std::string> m_suiteList;  // the chosen project's suites, read on the worker
    QListWidget* m_projects = nullptr;
    QButtonGroup* m_kinds = nullptr;
    QComboBox* m_filters = nullptr;
    QTreeWidget* m_suites = nullptr;
    std::vector<QCheckBox*> m_columns;
    QLineEdit* m_name = nullptr;
    QLabel* m_generateText = nullptr;
    std::string m_suitesOf;  // the project the suite tree was filled for
};

}  // namespace vantorel
