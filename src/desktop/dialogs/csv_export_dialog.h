#pragma once
// "Export to CSV...": "Export Test Cases", "Export Project Test Cases" and "Export Test List
// Report" as one dialog over the core's CSV export. It offers what to write (the selection,
// the suite, the project or the library; or the list report), the encoding (UTF-8 with a
// byte-order mark unless ISO-8859-1 is chosen), rich text as plain text or as its HTML, and
// the file, in the export folder; Export hands the writing to the window's exchange jobs.
// "Export to TestLink..." is the same dialog without the encoding and rich-text choices.

#include <QDialog>
#include <filesystem>
#include <optional>
#include <vector>

#include "exchange/csv_export.h"
#include "workspace/commands.h"
#include "workspace/exchange_targets.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace vantorel {

class ExchangeJobs;
class MainWindow;

class CsvExportDialog : public QDialog {
    Q_OBJECT
public:
    struct Setup {
        Operation operation = Operation::ExportTestCasesCsv;
        std::vector<CsvExportScope> scopes;
        std::filesystem::path* exportFolder = nullptr;  // where the file goes; kept
    };

    CsvExportDialog(UserPort& port, ExchangeJobs& jobs, Setup setup, QWidget* parent = nullptr);

    // The file the export would write, as typed or chosen (below the export folder when not
    // absolute); none while the field is empty.
    std::optional<std::filesystem::path> Target() const;
    CsvOptions Options() const;
    const CsvExportScope& Scope() const;
    // Export: asks before replacing a file, then starts the export and closes.
    void Export();

private:
    void ChooseFile();
    void ScopeChosen(int index);

    UserPort& m_port;
    ExchangeJobs& m_jobs;
    Setup m_setup;
    QComboBox* m_scope;
    QComboBox* m_encoding;
    QComboBox* m_richText;
    QLineEdit* m_destination;
    QPushButton* m_export;
};

// Opens the dialog for the command's operation on the selection of window's tree, or tells
// why the selection holds nothing to export.
void OpenCsvExportDialog(MainWindow& window, UserPort& port, Operation operation);

}  // namespace vantorel
