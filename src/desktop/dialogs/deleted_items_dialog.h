#pragma once
// Edit / "Deleted Items...": the database's bin (workspace/deleted_items.h) as a list, with
// Restore, Delete Permanently and Empty Bin. The list is read away from the window's thread;
// restores and removals run on the tree's transfer worker, one at a time like its copies, and
// the folders they touch are read again when they end. An item whose folder is gone is
// restored into a folder the user picks from the database's tree.

#include <QDialog>
#include <filesystem>
#include <vector>

#include "workspace/deleted_items.h"

class QPushButton;
class QTreeWidget;

namespace vantorel {

class MainWindow;

class DeletedItemsDialog : public QDialog {
    Q_OBJECT
public:
    DeletedItemsDialog(MainWindow& window, UserPort& port);

private:
    void Show(std::vector<DeletedItem> items);
    std::vector<DeletedItem> Selected() const;
    void UpdateButtons();
    void Restore();
    void Purge();
    void Empty();
    // Runs work on the transfer worker, then shows the bin as work left it; the items that
    // need a folder chosen come back in needPlace.
    using BinWork = std::function<RestoreResult(UserPort& port)>;
    void RunOnWorker(BinWork work, std::vector<std::filesystem::path> refresh);
    // Asks for a folder for the first of items, restores it there, then goes on with the rest.
    void ChoosePlaces(std::vector<DeletedItem> items);

    MainWindow& m_window;
    UserPort& m_port;
    std::filesystem::path m_databaseDir;
    QTreeWidget* m_list;
    QPushButton* m_restore;
    QPushButton* m_purge;
    QPushButton* m_empty;
    std::vector<DeletedItem> m_items;
};

// Opens the dialog on the window's open database.
void OpenDeletedItemsDialog(MainWindow& window, UserPort& port);

}  // namespace vantorel
