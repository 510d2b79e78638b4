#pragma once
// The test cases behind a status of a status report, in a window beside the main one: the
// core's ListStatusCases walks the report's suites through its filter on a worker thread
// (its count in the status bar) while the window says it is listing; a double-click or Enter
// on a test case asks for its page. Choosing another status lists that one instead; closing
// the window stops a listing under way.

#include <QDialog>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include "reports/status_cases.h"

class QLabel;
class QTreeWidget;

namespace vantorel {

class StatusCasesDialog : public QDialog {
    Q_OBJECT
public:
    StatusCasesDialog(UserPort& port, QWidget* parent = nullptr);
    ~StatusCasesDialog() override;

    // Lists the test cases of the report's status row (StatusRows order), named status.
    void List(const std::filesystem::path& report, std::size_t row, const std::string& status,
              CustomSnapshot custom);
    bool Listing() const { return m_worker.joinable(); }
    QTreeWidget& Cases() { return *m_cases; }

signals:
    // A test case of the list was chosen: its document.
    void itemRequested(const std::filesystem::path& document);
    // A listing ended, with a list or not.
    void listed(bool found);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void Stop();
    void Show(const std::optional<std::vector<StatusCase>>& cases);

    UserPort& m_port;  // released while the window waits for the worker to end
    std::jthread m_worker;
    unsigned m_listing = 0;  // which listing is under way; an earlier one's result is dropped
    std::string m_status;
    QLabel* m_caption;
    QTreeWidget* m_cases;
};

}  // namespace vantorel
