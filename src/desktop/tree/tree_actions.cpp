#include "desktop/tree/tree_actions.h"

#include <QMenu>
#include <QStatusBar>

#include <atomic>
#include <utility>

#include "desktop/command_actions.h"
#include "desktop/lists/list_pane_view.h"
#include "desktop/main_window.h"
#include "desktop/qt_text.h"
#include "documents/field_dialog.h"
#include "workspace/multi_edit.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// The selected items a duplicate or delete can take: no root or fixed folder.
std::vector<TreeNode> MovableItems(std::vector<TreeNode> nodes) {
    std::erase_if(
        nodes, [](const TreeNode& node) { return IsFixedKind(node.kind) || node.kind == TV_NONE; });
    return nodes;
}

// The folders the items lie in, each once: what is read again after they changed.
std::vector<fs::path> FoldersHolding(const std::vector<TreeNode>& items) {
    std::vector<fs::path> folders;
    for (const TreeNode& item : items)
        if (std::ranges::find(folders, item.path.parent_path()) == folders.end())
            folders.push_back(item.path.parent_path());
    return folders;
}

// Bursts of changes (a paste of a suite, a save's temporary file and rename) are read in one go.
constexpr int kChangeSettleMs = 150;

fs::path DescriptionOf(const fs::path& folder) {
    fs::path description = folder;
    description += ".tgp";
    return description;
}

}  // namespace

TreeActions::TreeActions(MainWindow& window, UserPort& port)
    : m_window(window),
      m_port(port),
      m_cancelButton(new QPushButton("Cancel")),
      m_inbox(std::make_shared<ChangeInbox>()) {
    QTreeView& tree = window.Tree();
    NavigationModel& model = window.Model();

    m_cancelButton->setObjectName("cancelTransfer");
    m_cancelButton->setAccessibleName("Cancel the copy or move");
    m_cancelButton->setToolTip("Stop the copy or move after the file it is writing");
    m_cancelButton->hide();
    window.statusBar()->addPermanentWidget(m_cancelButton);
    connect(m_cancelButton, &QPushButton::clicked, this, [this] { m_worker.Cancel(); });

    tree.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&tree, &QTreeView::customContextMenuRequested, this, &TreeActions::ShowContextMenu);
    ListPaneView& list = window.List();
    list.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&list, &QTableView::customContextMenuRequested, this,
            &TreeActions::ShowListContextMenu);

    // Queued: the label editor is still committing, and a message box must not open inside it.
    connect(&model, &NavigationModel::renameRequested, this,
            [this](const TreeNode& node, const QString& newName) {
                QMetaObject::invokeMethod(
                    this, [this, node, newName] { Rename(node, newName); }, Qt::QueuedConnection);
            });
    // Queued and gathered: the drag ends first, and the items of one drop make one transfer.
    connect(&model, &NavigationModel::dropRequested, this,
            [this](const TreeNode& item, const TreeNode& target, bool copy) {
                const bool first = m_drops.empty();
                m_drops.push_back({item, target, copy});
                if (first)
                    QMetaObject::invokeMethod(this, &TreeActions::RunDrops, Qt::QueuedConnection);
            });

    // Where the watcher polls (a shared disk), it lists only what the tree and the page show.
    auto watcher = [&window]() -> ChangeWatcher& { return window.TheShell().Database().Watcher(); };
    connect(&tree, &QTreeView::expanded, this, [&model, watcher](const QModelIndex& index) {
        if (const TreeNode* node = model.NodeAt(index))
            watcher().FolderExpanded(node->path);
    });
    connect(&tree, &QTreeView::collapsed, this, [&model, watcher](const QModelIndex& index) {
        if (const TreeNode* node = model.NodeAt(index))
            watcher().FolderCollapsed(node->path);
    });
    connect(tree.selectionModel(), &QItemSelectionModel::currentChanged, this,
            [&model, watcher](const QModelIndex& current) {
                const TreeNode* node = model.NodeAt(current);
                watcher().ShowingFolder(!node                      ? fs::path()
                                        : IsFolderKind(node->kind) ? node->path
                                                                   : node->path.parent_path());
            });

    connect(&model, &NavigationModel::foldersListed, this, &TreeActions::ChangesListed);
    m_changeTimer.setSingleShot(true);
    m_changeTimer.setInterval(kChangeSettleMs);
    connect(&m_changeTimer, &QTimer::timeout, this, &TreeActions::ApplyChanges);
    m_inbox->receiver = this;
    window.TheShell().Database().SetChangeHandler([inbox = m_inbox](const std::string& path, int) {
        const bool shown = ChangeShows(path);
        std::lock_guard lock(inbox->mutex);
        if (!inbox->receiver)
            return;
        const bool first = inbox->paths.empty();
        inbox->paths.emplace_back(path, shown);
        if (first)
            QMetaObject::invokeMethod(
                inbox->receiver, [receiver = inbox->receiver] { receiver->TakeChanges(); },
                Qt::QueuedConnection);
    });
}

TreeActions::~TreeActions() {
    {
        std::lock_guard lock(m_inbox->mutex);
        m_inbox->receiver = nullptr;
    }
    WaitWithWorkersReleased(m_port, [this] { m_worker.StopAndWait(); });
}

bool TreeActions::Run(Operation operation) {
    QTreeView& tree = m_window.Tree();
    switch (operation) {
        case Operation::Copy:
            m_window.TheShell().ItemClipboard().Copy(m_window.SelectedNodes(), m_port);
            return true;
        case Operation::Cut: {
            Clipboard& clipboard = m_window.TheShell().ItemClipboard();
            clipboard.Cut(MovableItems(m_window.SelectedNodes()), m_port);
            if (clipboard.HoldsCut())
                m_window.ShowStatus(Text(clipboard.CutStatus()));
            return true;
        }
        case Operation::Paste:
            Paste();
            return true;
        case Operation::Duplicate:
            Duplicate();
            return true;
        case Operation::Delete:
            Delete();
            return true;
        case Operation::Rename:
            // A list's row is renamed where names are edited: in the tree.
            if (m_window.ListActive())
                if (const std::optional<TreeNode> row = m_window.ActiveNode())
                    m_window.SelectPath(row->path);
            tree.setFocus();
            tree.edit(tree.currentIndex());
            return true;
        case Operation::UnlockAllFiles:
            UnlockAll();
            return true;
        case Operation::Expand:
            tree.expand(tree.currentIndex());
            return true;
        default:
            return false;
    }
}

QMenu* TreeActions::ContextMenuFor(const TreeNode& node, QWidget* parent) {
    auto* menu = new QMenu(parent);
    menu->setObjectName("itemContextMenu");
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const ContextMenuItem& item : ContextMenu(node.kind)) {
        const QString label =
            QString::fromUtf8(item.label.data(), static_cast<qsizetype>(item.label.size()));
        if (item.command == 0 && item.label.empty()) {
            menu->addSeparator();
        } else if (item.command == 0) {
            // "Update all test cases": one command per field the bulk updates set.
            QMenu* updates = menu->addMenu(label);
            for (int command = ID_BULK_UPDATE_FIRST; command <= ID_BULK_UPDATE_LAST; ++command)
                if (const std::optional<FieldDescriptor> field = BulkUpdateField(command)) {
                    QAction* action = updates->addAction(
                        QString::fromStdString(DialogCaption(*field, m_window.TheShell().Custom()) +
                                               "...")
                            .replace('&', "&&"));
                    action->setData(command);
                    connect(action, &QAction::triggered, this,
                            [this, command] { m_window.RunCommand(command); });
                }
        } else {
            QAction* action = menu->addAction(label);
            action->setData(item.command);
            action->setEnabled(m_window.CanRun(item.command));
            connect(action, &QAction::triggered, this,
                    [this, command = item.command] { m_window.RunCommand(command); });
        }
    }
    return menu;
}

namespace {

// The row clicked at position becomes current; a click inside the selection keeps the
// selection. Invalid when nothing was clicked.
QModelIndex MakeClickedCurrent(QAbstractItemView& view, const QPoint& position) {
    const QModelIndex index = view.indexAt(position);
    if (!index.isValid())
        return index;
    if (view.selectionModel()->isSelected(index))
        view.selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    else
        view.setCurrentIndex(index);
    return index;
}

}  // namespace

void TreeActions::ShowContextMenu(const QPoint& position) {
    QTreeView& tree = m_window.Tree();
    const QModelIndex index = MakeClickedCurrent(tree, position);
    if (index.isValid())
        ContextMenuFor(*m_window.Model().NodeAt(index), &tree)
            ->popup(tree.viewport()->mapToGlobal(position));
}

void TreeActions::ShowListContextMenu(const QPoint& position) {
    // The menu's commands act on the list's selection.
    ListPaneView& list = m_window.List();
    if (!MakeClickedCurrent(list, position).isValid())
        return;
    m_window.FocusList();
    if (const std::optional<TreeNode> row = list.CurrentRowNode())
        ContextMenuFor(*row, &list)->popup(list.viewport()->mapToGlobal(position));
}

std::optional<TreeNode> TreeActions::CurrentFolder() const {
    std::optional<TreeNode> current = m_window.CurrentNode();
    if (!current || IsFolderKind(current->kind))
        return current;
    const fs::path folder = current->path.parent_path();
    return TreeNode{folder, NodeKindOf(m_window.Model().DatabaseDir(), folder),
                    folder.filename().string()};
}

bool TreeActions::ReadyForTransfer() {
    if (!TransferRunning())
        return true;
    m_port.tell(TransferBusyNotice());
    return false;
}

void TreeActions::Paste() {
    const std::optional<TreeNode> target = CurrentFolder();
    if (!target || !ReadyForTransfer())
        return;
    Clipboard& held = m_window.TheShell().ItemClipboard();
    if (held.HoldsCut()) {
        if (const std::optional<Notice> refusal = held.MoveRefusal(target->kind)) {
            m_port.tell(*refusal);
            return;
        }
        // Moved as a drop of the items on the folder would move them, once.
        for (const ClipboardEntry& entry : held.Entries())
            m_drops.push_back(
                {{entry.path, entry.kind, ItemLabel(entry.path, entry.kind)}, *target, false});
        held.Clear();
        RunDrops();
        return;
    }
    // Library test cases and suites pasted on a project's test cases become its project test
    // cases, as a drop makes them; the rest is copied.
    std::vector<ConversionDrop> conversions;
    std::vector<TreeNode> copies;
    for (const ClipboardEntry& entry : m_window.TheShell().ItemClipboard().Entries()) {
        const TreeNode item{entry.path, entry.kind, ItemLabel(entry.path, entry.kind)};
        if (IsConversionDrop(entry.kind, target->kind))
            conversions.push_back({item, *target});
        else
            copies.push_back(item);
    }
    Clipboard clipboard;
    clipboard.Copy(copies, m_port);
    StartTransfer(
        [clipboard = std::move(clipboard), target = *target](UserPort& port) {
            return clipboard.Empty() ? std::optional(TransferPlan{})
                                     : PlanPaste(clipboard, target, port);
        },
        {{target->path, ConversionTarget(*target).path}, true, {}}, std::move(conversions));
}

// A duplicate or delete of a whole suite reads and writes thousands of files: both run on the
// transfer worker, as a paste does.
void TreeActions::Duplicate() {
    const std::vector<TreeNode> items = MovableItems(m_window.SelectedNodes());
    if (items.empty() || !ReadyForTransfer())
        return;
    Shell& shell = m_window.TheShell();
    // The tree goes to a copy made from it; copies of a list's rows stay in the list.
    const bool selectCopies = !m_window.ListActive();
    StartJob(
        [port = &m_port, items, databaseDir = shell.Database().Directory(),
         automaticIds = shell.Configuration().Settings().incrementalDup](std::stop_token stop) {
            TransferResult result;
            if (!ConfirmDuplicates(items, *port))
                return result;
            int total = 0, processed = 0;
            for (const TreeNode& item : items)
                total += FilesToDuplicate(item);
            for (const TreeNode& item : items) {
                if (stop.stop_requested())
                    break;
                const std::optional<TreeNode> copy = vantorel::Duplicate(
                    databaseDir, item, automaticIds, *port,
                    [&] { port->progress(++processed, total); }, stop);
                if (copy && copy->path != item.path)
                    result.written.push_back(copy->path);
            }
            return result;
        },
        {FoldersHolding(items), selectCopies, {}});
}

void TreeActions::Delete() {
    const std::vector<TreeNode> selected = MovableItems(m_window.SelectedNodes());
    if (selected.empty() || !ReadyForTransfer())
        return;
    // The question names what goes (a folder's items are counted on the worker) while the
    // items stay selected; they go in a second job once the user agreed.
    auto confirmed = std::make_shared<std::vector<TreeNode>>();
    StartJob(
        [port = &m_port, selected, confirmed](std::stop_token) {
            *confirmed = ConfirmDeleteItems(selected, *port);
            return TransferResult{};
        },
        {{}, false, [this, confirmed] {
             if (!confirmed->empty())
                 DeleteAgreed(*confirmed);
         }});
}

void TreeActions::DeleteAgreed(const std::vector<TreeNode>& items) {
    // The tree and the list leave the doomed items first, so no page of them is asked for
    // while they go; an item that stayed (open for editing) is selected again.
    const std::optional<TreeNode> current = m_window.CurrentNode();
    const auto doomed = std::ranges::find_if(items, [&](const TreeNode& item) {
        return current && (current->path == item.path ||
                           (IsFolderKind(item.kind) && IsBelow(current->path, item.path)));
    });
    const fs::path reselect = doomed == items.end() ? fs::path() : doomed->path;
    if (!reselect.empty())
        m_window.SelectPath(reselect.parent_path());
    m_window.LeaveRows(items);
    auto chooseNewUser = std::make_shared<bool>(false);
    StartJob(
        [port = &m_port, items, databaseDir = m_window.TheShell().Database().Directory(),
         user = m_window.TheShell().CurrentUser(), chooseNewUser](std::stop_token) {
            *chooseNewUser = DeleteConfirmedItems(databaseDir, items, user, *port).chooseNewUser;
            return TransferResult{};
        },
        {FoldersHolding(items), false, [this, reselect, chooseNewUser] {
             if (!reselect.empty())
                 m_window.SelectPath(reselect);
             if (*chooseNewUser)
                 m_window.RunSetUserDialog();
         }});
}

bool TreeActions::RunJob(TransferWorker::Job job, std::vector<fs::path> refresh,
                         std::function<void()> then) {
    if (!ReadyForTransfer())
        return false;
    StartJob(std::move(job), {std::move(refresh), true, std::move(then)});
    return true;
}

// A suite's rename looks for documents open in the whole of it, and unlocking a folder reads
// every lock in it: both on the transfer worker too.
void TreeActions::Rename(const TreeNode& node, const QString& newName) {
    if (!ReadyForTransfer())
        return;
    auto chooseNewUser = std::make_shared<bool>(false);
    StartJob(
        [port = &m_port, node, newName = newName.toStdString(),
         user = m_window.TheShell().CurrentUser(), chooseNewUser](std::stop_token) {
            TransferResult result;
            if (const std::optional<RenameOutcome> outcome =
                    RenameItem(node, newName, user, *port)) {
                result.written.push_back(outcome->newPath);
                *chooseNewUser = outcome->chooseNewUser;
            }
            return result;
        },
        {{node.path.parent_path()}, true, [this, chooseNewUser] {
             if (*chooseNewUser)
                 m_window.RunSetUserDialog();
         }});
}

void TreeActions::UnlockAll() {
    const std::optional<TreeNode> folder = CurrentFolder();
    if (!folder || !ReadyForTransfer())
        return;
    StartJob(
        [port = &m_port, folder = folder->path](std::stop_token) {
            UnlockAllFiles(folder, *port);
            return TransferResult{};
        },
        {{}, false, {}});
}

void TreeActions::RunDrops() {
    std::vector<PendingDrop> drops = std::exchange(m_drops, {});
    if (drops.empty() || !ReadyForTransfer())
        return;
    RunningTransfer transfer{{}, true, {}};
    std::vector<ConversionDrop> conversions;
    std::vector<PendingDrop> transfers;
    for (const PendingDrop& drop : drops) {
        // Test cases dropped on a project become its project test cases, each written through
        // the project test case's editor on the worker, which may ask.
        if (IsConversionDrop(drop.item.kind, drop.target.kind)) {
            conversions.push_back({drop.item, drop.target});
            transfer.refresh.push_back(ConversionTarget(drop.target).path);
        } else {
            transfers.push_back(drop);
            transfer.refresh.push_back(drop.item.path.parent_path());
            transfer.refresh.push_back(drop.target.path);
        }
    }
    StartTransfer(
        [transfers = std::move(transfers)](UserPort& port) {
            TransferPlan plan;
            for (const PendingDrop& drop : transfers) {
                std::optional<TransferPlan> dropPlan =
                    drop.copy ? PlanDropCopy(drop.item, drop.target, port)
                              : PlanMove(drop.item, drop.target, port);
                if (!dropPlan)
                    continue;
                plan.steps.insert(plan.steps.end(), dropPlan->steps.begin(), dropPlan->steps.end());
                plan.files += dropPlan->files;
            }
            return std::optional(std::move(plan));
        },
        std::move(transfer), std::move(conversions));
}

void TreeActions::StartTransfer(Planner planner, RunningTransfer transfer,
                                std::vector<ConversionDrop> conversions) {
    // The conversions' test cases are counted on the worker: a dropped suite may be large.
    // The worker holds its own snapshot: the customisation may be replaced while it runs.
    StartJob(
        [port = &m_port, planner = std::move(planner), conversions = std::move(conversions),
         custom = m_window.TheShell().SharedCustom(),
         identity = m_window.TheShell().Identity()](std::stop_token stop) {
            const std::optional<TransferPlan> plan = planner(*port);
            const EditorContext context{*port, *custom, identity};
            const int total = (plan ? plan->files : 0) + ConvertedTestCaseCount(conversions);
            int processed = 0;
            port->progress(0, total);
            auto step = [&] { port->progress(++processed, total); };
            TransferResult result = RunConversions(conversions, context, step, stop);
            if (!result.stopped && plan && !plan->steps.empty()) {
                TransferResult copied = RunTransfer(*plan, step, stop);
                result.failures.insert(result.failures.end(), copied.failures.begin(),
                                       copied.failures.end());
                result.written.insert(result.written.end(), copied.written.begin(),
                                      copied.written.end());
                result.stopped = copied.stopped;
            }
            return result;
        },
        std::move(transfer));
}

void TreeActions::StartJob(TransferWorker::Job job, RunningTransfer transfer) {
    m_transfer = std::move(transfer);
    m_cancelButton->show();
    m_worker.Start(std::move(job), [this](TransferResult result) {
        {
            std::lock_guard lock(m_finishedMutex);
            m_finished = std::move(result);
        }
        QMetaObject::invokeMethod(this, &TreeActions::EndTransfer, Qt::QueuedConnection);
    });
}

void TreeActions::StopTransfer() {
    WaitWithWorkersReleased(m_port, [this] { m_worker.StopAndWait(); });
    EndTransfer();
}

void TreeActions::EndTransfer() {
    std::optional<TransferResult> result;
    {
        std::lock_guard lock(m_finishedMutex);
        result.swap(m_finished);
    }
    if (!result || !m_transfer)
        return;
    const RunningTransfer transfer = *std::exchange(m_transfer, std::nullopt);
    m_cancelButton->hide();
    m_port.progress(0, 0);
    RefreshFolders(transfer.refresh);
    if (transfer.selectWritten)
        SelectPaths(result->written);
    if (transfer.then)
        transfer.then();
    emit shownItemChanged();
    for (const Notice& failure : result->failures)
        m_port.tell(failure);
}

void TreeActions::RefreshFolders(const std::vector<fs::path>& folders) {
    if (folders.empty())
        return;
    for (const fs::path& folder : folders)
        m_window.Model().RefreshFolder(folder);
    emit foldersRefreshed();
}

void TreeActions::SelectPaths(const std::vector<fs::path>& paths) {
    NavigationModel& model = m_window.Model();
    QItemSelection selection;
    QModelIndex first;
    for (const fs::path& path : paths) {
        const QModelIndex index = model.IndexOf(path);
        if (!index.isValid())
            continue;
        selection.select(index, index);
        if (!first.isValid())
            first = index;
    }
    if (!first.isValid())
        return;
    QTreeView& tree = m_window.Tree();
    tree.selectionModel()->setCurrentIndex(first, QItemSelectionModel::ClearAndSelect);
    tree.selectionModel()->select(selection, QItemSelectionModel::Select);
    tree.scrollTo(first);
}

void TreeActions::TakeChanges() {
    std::vector<std::pair<fs::path, bool>> paths;
    {
        std::lock_guard lock(m_inbox->mutex);
        paths.swap(m_inbox->paths);
    }
    const std::optional<TreeNode> current = m_window.CurrentNode();
    for (const auto& [path, shown] : paths) {
        // A removed folder can't be told from a lock of its name but by the tree's own row.
        if (!shown && !m_window.Model().Shows(path))
            continue;
        m_changedFolders.insert(path.parent_path());
        // The page shows the item, its description, or a folder's list of children.
        if (current && (path == current->path || path == DescriptionOf(current->path) ||
                        path.parent_path() == current->path))
            m_shownChanged = true;
    }
    if (!m_changeTimer.isActive())
        m_changeTimer.start();
}

void TreeActions::ApplyChanges() {
    const std::set<fs::path> folders = std::exchange(m_changedFolders, {});
    const bool shownChanged = std::exchange(m_shownChanged, false);
    Shell& shell = m_window.TheShell();
    if (shell.DatabaseGone()) {
        shell.CloseGoneDatabase();
        return;
    }
    if (!shell.Database().IsOpen())
        return;
    // Listed on the model's reader: a burst of changes in a large suite, or a slow file
    // server, doesn't hold the window.
    m_refreshShown = m_refreshShown || shownChanged;
    m_window.Model().RefreshFoldersLater(std::vector<fs::path>(folders.begin(), folders.end()));
}

void TreeActions::ChangesListed() {
    emit foldersRefreshed();
    // While the window's own job runs, the changes may be its steps (a rename rewrites the
    // document, then moves it): the page waits for the job's end, which shows it anew.
    if (std::exchange(m_refreshShown, false) && !TransferRunning())
        emit shownItemChanged();
}

}  // namespace vantorel
