#pragma once
// Edit / Find... and Find && Replace...: one non-modal dialog over the core's search. The
// search runs on a thread of the dialog's own, its hits streaming into the table as they are
// found; a double-click shows the item. In its replace form each hit says what replaces it and
// has a box to keep it; Replace hands the kept ones to the core's replace, which runs on the
// transfer worker with its count and Cancel in the status bar.

#include <QDialog>
#include <memory>
#include <thread>
#include <vector>

#include "workspace/find_replace.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;

namespace vantorel {

class MainWindow;

class FindDialog : public QDialog {
    Q_OBJECT
public:
    FindDialog(MainWindow& window, UserPort& port);
    ~FindDialog() override;

    // Shows the dialog in its find or replace form, looking in the window's current folder
    // when one is selected.
    void Open(bool replace);
    // Stops the search and closes, forgetting what was found: the database closed.
    void Forget();
    // Hits beyond this many are counted, not listed.
    static constexpr int kRowsShown = 5000;

private:
    void StartSearch();
    void StopSearch();
    void AddHits(std::vector<FindHit> hits);
    void SearchEnded(FindOutcome outcome);
    void ShowHit(int row);
    void Replace();
    void UpdateButtons();

    MainWindow& m_window;
    UserPort& m_port;
    bool m_replace = false;
    QLineEdit* m_text;
    QLabel* m_replaceLabel;
    QLineEdit* m_replacement;
    QCheckBox* m_matchCase;
    QCheckBox* m_wholeWord;
    QCheckBox* m_regex;
    QComboBox* m_scope;
    QComboBox* m_field;
    QTableWidget* m_results;
    QLabel* m_status;
    QPushButton* m_find;
    QPushButton* m_stop;
    QPushButton* m_replaceButton;
    // What the hits listed were found with, for their replace.
    std::shared_ptr<const FindPattern> m_pattern;
    std::string m_replacementText;
    std::vector<FindHit> m_hits;
    std::size_t m_found = 0;
    // Hits of an earlier search still on their way are dropped.
    unsigned m_generation = 0;
    std::jthread m_search;
};

}  // namespace vantorel
