#pragma once
// "Import Test Case" and "Import Project Test Case": a view over the core's CsvImport. The
// file is read on a worker; the dialog shows where each column goes (matched by caption, as
// this database last chose) with a preview of the first rows, and checks every row on a
// worker after each change, listing the refusals with their line and column. Import hands the
// import to the window's exchange jobs and closes; with refusals it is offered only when the
// user chooses to import the good rows alone. A preset reads the columns of another test
// manager's spreadsheet (exchange/csv_presets.h) without a mapping by hand.

#include <QDialog>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "documents/custom_cfg.h"
#include "exchange/csv_import.h"
#include "workspace/commands.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTableWidget;

namespace vantorel {

class ExchangeJobs;
class MainWindow;

class CsvImportDialog : public QDialog {
    Q_OBJECT
public:
    struct Setup {
        CsvSource source = CsvSource::LibraryTestCases;
        std::filesystem::path folder;  // the suite the rows go into
        std::filesystem::path databaseDir;
        // Where the file chooser starts; the chosen file's folder is kept there.
        std::filesystem::path* startFolder = nullptr;
        // Runs on the window's thread once the import has ended, whatever it wrote.
        std::function<void()> afterImport;
        // Another test manager's export read as a table of fields, instead of a CSV file.
        bool testLink = false;
    };

    CsvImportDialog(UserPort& port, CustomSnapshot custom, ExchangeJobs& jobs, Setup setup,
                    QWidget* parent = nullptr);
    ~CsvImportDialog() override;

    // Reads file on the worker, then shows its columns and checks its rows.
    void Read(const std::filesystem::path& file);
    // Sends column to the field of that index (of the model's Fields()), or nowhere.
    void MapColumn(std::size_t column, std::optional<std::size_t> field);
    // The file is being read or its rows checked.
    bool Busy() const { return m_worker.joinable(); }
    // The last check, of the mapping shown; empty before one.
    const std::vector<CsvRefusal>& Refusals() const { return m_refusals; }
    bool Checked() const { return m_checked; }
    const CsvImport* Model() const { return m_model.get(); }
    // Import: starts the import as an exchange job and closes the dialog.
    void Import();

signals:
    // The file was read (or refused), and the check of its rows ended.
    void fileRead(bool ok);
    void checkEnded();

private:
    void ChooseFile();
    void Opened(std::shared_ptr<CsvImport> model);
    void ShowMapping();
    void StartCheck();
    void CheckDone(std::vector<CsvRefusal> refusals, unsigned generation);
    void UpdateImportButton();

    UserPort& m_port;
    const CustomSnapshot m_custom;
    ExchangeJobs& m_jobs;
    Setup m_setup;
    std::shared_ptr<CsvImport> m_model;
    std::jthread m_worker;
    // Each mapping change makes the last check stale; a check tells which one it was of.
    unsigned m_generation = 0;
    bool m_checked = false;
    std::vector<CsvRefusal> m_refusals;

    QLineEdit* m_file;
    QPushButton* m_browse;
    QLabel* m_fileInfo;
    QTableWidget* m_mapping;
    QTableWidget* m_preview;
    QComboBox* m_preset;  // another test manager's columns, or none
    QCheckBox* m_html;
    QLabel* m_checkSummary;
    QListWidget* m_refusalList;
    QCheckBox* m_goodRowsOnly;
    QPushButton* m_import;
};

// Opens the dialog for the command's operation (ImportTestCases or ImportProjectTestCases) on
// the selection of window's tree, or tells why the selection can't take test cases.
void OpenCsvImportDialog(MainWindow& window, UserPort& port, Operation operation);

}  // namespace vantorel
