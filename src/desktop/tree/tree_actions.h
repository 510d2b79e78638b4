#pragma once
// What the user does to the items of the navigation tree: the context menu of each node, copy,
// paste, duplicate, delete, rename, unlock and expand, drag and drop; and the tree kept up to
// date with the disk. The core decides and asks; this runs its plans, long copies and moves on
// the transfer worker with a Cancel button in the status bar, and reads again the folders
// that changed, whoever changed them.

#include <QObject>
#include <QPushButton>
#include <QTimer>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "workspace/commands.h"
#include "workspace/item_transfer.h"

class QMenu;

namespace vantorel {

class MainWindow;

class TreeActions : public QObject {
    Q_OBJECT
public:
    // Takes over the window's tree: its and the list pane's context menus, its renames and drops,
    // and the change handler of the databases the window's shell opens from now on.
    TreeActions(MainWindow& window, UserPort& port);
    ~TreeActions() override;

    // Runs operation on the tree's selection; false when it is not one of the tree's.
    bool Run(Operation operation);
    // The context menu of a tree node or a list row, deleted once closed; its commands run
    // through the window on the selection the node is current in.
    QMenu* ContextMenuFor(const TreeNode& node, QWidget* parent);
    // Ends a running copy or move between two files, waits for it and tells how it ended, so
    // a closing database or window leaves no half-copied item.
    void StopTransfer();
    bool TransferRunning() const { return m_transfer.has_value(); }
    // Runs job on the transfer worker like the tree's own copies (one at a time, with the
    // status bar's count and Cancel): then the folders in refresh are read again, the items
    // the job wrote are selected, and then runs on the window's thread. False, after telling
    // the user, while another job runs.
    bool RunJob(TransferWorker::Job job, std::vector<std::filesystem::path> refresh,
                std::function<void()> then);

signals:
    // The item whose page is shown changed on disk: its page should be shown again.
    void shownItemChanged();
    // Folders were read again: what lists their items (the filters) may have changed.
    void foldersRefreshed();

private:
    // Changes reported on the watcher's thread, waiting for the window's thread.
    struct ChangeInbox {
        std::mutex mutex;
        TreeActions* receiver = nullptr;  // null once the tree actions are gone
        // Each changed path, and whether it is of a kind the tree shows (told on the watcher's
        // thread, which may ask the disk).
        std::vector<std::pair<std::filesystem::path, bool>> paths;
    };
    struct PendingDrop {
        TreeNode item, target;
        bool copy = false;
    };
    struct RunningTransfer {
        std::vector<std::filesystem::path> refresh;  // folders to read again when it ends
        bool selectWritten = false;
        std::function<void()> then;  // on the window's thread, after the folders were read
    };

    void ShowContextMenu(const QPoint& position);
    void ShowListContextMenu(const QPoint& position);
    std::optional<TreeNode> CurrentFolder() const;
    void Paste();
    void Duplicate();
    void Delete();
    void Rename(const TreeNode& node, const QString& newName);
    void UnlockAll();
    // Delete's second job, once the user agreed to the items going.
    void DeleteAgreed(const std::vector<TreeNode>& items);
    // The items of one drop: conversions now, the moves or copies as one transfer.
    void RunDrops();
    // False, after telling the user, while another copy or move runs.
    bool ReadyForTransfer();
    // Plans on the transfer worker (a plan walks the folders it copies or moves, and asks
    // through the port), then runs the plan and the conversions there.
    using Planner = std::function<std::optional<TransferPlan>(UserPort& port)>;
    void StartTransfer(Planner plan, RunningTransfer transfer,
                       std::vector<ConversionDrop> conversions = {});
    // Runs job on the transfer worker, with the status bar's count and Cancel.
    void StartJob(TransferWorker::Job job, RunningTransfer transfer);
    void EndTransfer();
    void RefreshFolders(const std::vector<std::filesystem::path>& folders);
    void SelectPaths(const std::vector<std::filesystem::path>& paths);

    void TakeChanges();
    void ApplyChanges();
    // The changed folders' rows are shown: the window follows, and the shown page when it
    // changed.
    void ChangesListed();

    MainWindow& m_window;
    UserPort& m_port;
    QPushButton* m_cancelButton;

    std::vector<PendingDrop> m_drops;
    TransferWorker m_worker;
    std::optional<RunningTransfer> m_transfer;
    std::mutex m_finishedMutex;
    std::optional<TransferResult> m_finished;

    std::shared_ptr<ChangeInbox> m_inbox;
    QTimer m_changeTimer;
    std::set<std::filesystem::path> m_changedFolders;
    bool m_shownChanged = false;
    // The shown item changed in a batch whose folders are still being listed.
    bool m_refreshShown = false;
};

}  // namespace vantorel
