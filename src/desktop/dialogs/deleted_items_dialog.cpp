#include "desktop/dialogs/deleted_items_dialog.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTreeView>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <memory>
#include <set>

#include "desktop/main_window.h"
#include "desktop/off_window_thread.h"
#include "desktop/qt_text.h"
#include "desktop/tree/tree_actions.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// The folder an item whose place is gone goes to, picked from the database's tree; OK only on
// a folder that holds such items.
class RestoreFolderChooser : public QDialog {
public:
    RestoreFolderChooser(MainWindow& window, const DeletedItem& item, QWidget* parent)
        : QDialog(parent), m_model(window.Model()), m_item(item), m_tree(new QTreeView) {
        setObjectName("restoreFolderChooser");
        setWindowTitle("Restore");
        m_tree->setObjectName("restoreFolderTree");
        m_tree->setModel(&m_model);
        m_tree->setHeaderHidden(true);
        m_tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
        m_tree->setDragEnabled(false);
        m_tree->setAcceptDrops(false);
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
        m_ok = buttons->button(QDialogButtonBox::Ok);
        m_ok->setEnabled(false);
        connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this,
                [this](const QModelIndex& current) {
                    const TreeNode* node = m_model.NodeAt(current);
                    m_ok->setEnabled(node && CanRestoreInto(m_item, node->kind));
                });
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new QLabel(Text(ChooseRestoreFolderText(item))));
        layout->addWidget(m_tree, 1);
        layout->addWidget(buttons);
        resize(420, 480);
    }

    fs::path Folder() const {
        const TreeNode* node = m_model.NodeAt(m_tree->currentIndex());
        return node ? node->path : fs::path();
    }

private:
    NavigationModel& m_model;
    DeletedItem m_item;
    QTreeView* m_tree;
    QPushButton* m_ok = nullptr;
};

}  // namespace

DeletedItemsDialog::DeletedItemsDialog(MainWindow& window, UserPort& port)
    : QDialog(&window),
      m_window(window),
      m_port(port),
      m_databaseDir(window.TheShell().Database().Directory()),
      m_list(new QTreeWidget),
      m_restore(new QPushButton("&Restore")),
      m_purge(new QPushButton("&Delete Permanently")),
      m_empty(new QPushButton("&Empty Bin")) {
    setObjectName("deletedItemsDialog");
    setWindowTitle("Deleted Items");

    m_list->setObjectName("deletedItems");
    m_list->setAccessibleName("Deleted items");
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    QStringList headers;
    for (std::string_view column : kDeletedItemColumns)
        headers << Text(std::string(column));
    m_list->setHeaderLabels(headers);
    m_list->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, &DeletedItemsDialog::UpdateButtons);

    m_restore->setObjectName("restoreDeleted");
    m_purge->setObjectName("purgeDeleted");
    m_empty->setObjectName("emptyBin");
    connect(m_restore, &QPushButton::clicked, this, &DeletedItemsDialog::Restore);
    connect(m_purge, &QPushButton::clicked, this, &DeletedItemsDialog::Purge);
    connect(m_empty, &QPushButton::clicked, this, &DeletedItemsDialog::Empty);
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_restore);
    buttons->addWidget(m_purge);
    buttons->addWidget(m_empty);
    buttons->addStretch(1);
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addLayout(buttons);
    resize(720, 360);

    std::vector<DeletedItem> items;
    RunOffWindowThread([&] { items = ListBin(m_databaseDir); });
    Show(std::move(items));
}

void DeletedItemsDialog::Show(std::vector<DeletedItem> items) {
    m_items = std::move(items);
    m_list->clear();
    for (const DeletedItem& item : m_items) {
        auto* row = new QTreeWidgetItem(m_list);
        for (std::size_t column = 0; column < std::size(kDeletedItemColumns); ++column)
            row->setText(static_cast<int>(column), Text(DeletedItemCell(item, column)));
    }
    UpdateButtons();
}

std::vector<DeletedItem> DeletedItemsDialog::Selected() const {
    std::vector<DeletedItem> selected;
    for (int row = 0; row < m_list->topLevelItemCount(); ++row)
        if (m_list->topLevelItem(row)->isSelected())
            selected.push_back(m_items[static_cast<std::size_t>(row)]);
    return selected;
}

void DeletedItemsDialog::UpdateButtons() {
    const bool any = !m_list->selectedItems().isEmpty();
    m_restore->setEnabled(any);
    m_purge->setEnabled(any);
    m_empty->setEnabled(!m_items.empty());
}

void DeletedItemsDialog::Restore() {
    std::vector<DeletedItem> items = Selected();
    std::set<fs::path> folders;
    for (const DeletedItem& item : items)
        folders.insert(m_databaseDir / item.oldPlace.parent_path());
    RunOnWorker([databaseDir = m_databaseDir,
                 items](UserPort& port) { return RestoreDeletedItems(databaseDir, items, port); },
                {folders.begin(), folders.end()});
}

void DeletedItemsDialog::Purge() {
    RunOnWorker(
        [databaseDir = m_databaseDir, items = Selected()](UserPort& port) {
            PurgeDeletedItems(databaseDir, items, port);
            return RestoreResult{};
        },
        {});
}

void DeletedItemsDialog::Empty() {
    RunOnWorker(
        [databaseDir = m_databaseDir](UserPort& port) {
            EmptyBin(databaseDir, port);
            return RestoreResult{};
        },
        {});
}

void DeletedItemsDialog::RunOnWorker(BinWork work, std::vector<fs::path> refresh) {
    struct Outcome {
        std::vector<DeletedItem> bin;
        std::vector<DeletedItem> needPlace;
    };
    auto outcome = std::make_shared<Outcome>();
    setEnabled(false);
    const bool started = m_window.Actions().RunJob(
        [port = &m_port, work = std::move(work), outcome,
         databaseDir = m_databaseDir](std::stop_token) {
            RestoreResult restored = work(*port);
            outcome->needPlace = std::move(restored.needPlace);
            outcome->bin = ListBin(databaseDir);
            TransferResult result;
            result.written = std::move(restored.restored);
            return result;
        },
        std::move(refresh),
        [dialog = QPointer(this), outcome] {
            if (!dialog)
                return;
            dialog->setEnabled(true);
            dialog->Show(std::move(outcome->bin));
            dialog->ChoosePlaces(std::move(outcome->needPlace));
        });
    if (!started)
        setEnabled(true);
}

void DeletedItemsDialog::ChoosePlaces(std::vector<DeletedItem> items) {
    if (items.empty())
        return;
    const DeletedItem item = items.front();
    items.erase(items.begin());
    auto* chooser = new RestoreFolderChooser(m_window, item, this);
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    connect(chooser, &QDialog::finished, this,
            [this, chooser, item, rest = std::move(items)](int result) mutable {
                const fs::path folder = chooser->Folder();
                if (result != QDialog::Accepted || folder.empty()) {
                    ChoosePlaces(std::move(rest));
                    return;
                }
                RunOnWorker(
                    [databaseDir = m_databaseDir, item, folder,
                     rest = std::move(rest)](UserPort& port) {
                        RestoreResult result;
                        if (std::optional<fs::path> restored =
                                RestoreDeletedItemInto(databaseDir, item, folder, port))
                            result.restored.push_back(*restored);
                        result.needPlace = rest;
                        return result;
                    },
                    {folder});
            });
    chooser->open();
}

void OpenDeletedItemsDialog(MainWindow& window, UserPort& port) {
    auto* dialog = new DeletedItemsDialog(window, port);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vantorel
