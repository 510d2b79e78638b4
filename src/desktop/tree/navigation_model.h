#pragma once
// The navigation tree as a Qt model over the core's tree rules: the six roots of the open
// database, a folder's children read only when it is first expanded, icons by kind and, for
// project test cases, by status. Renames and drops are not done here: the model hands them to
// whoever runs the core's rename and transfers, and shows the result when told to refresh.

#include <QAbstractItemModel>
#include <QIcon>
#include <QThreadPool>
#include <filesystem>
#include <map>
#include <memory>
#include <vector>

#include "documents/custom_cfg.h"
#include "workspace/navigation.h"

namespace vantorel {

// The icon of an item of kind; a project test case's by its status icon (StatusIconOf),
// 0 the plain one.
const QIcon& ItemIcon(NodeKind kind, int statusIcon = 0);

class NavigationModel : public QAbstractItemModel {
    Q_OBJECT
public:
    explicit NavigationModel(QObject* parent = nullptr);
    ~NavigationModel() override;

    // Shows the database at databaseDir, or nothing when it is empty. custom gives the status
    // icons of project test cases when statusIcons is on.
    void SetDatabase(const std::filesystem::path& databaseDir, CustomSnapshot custom,
                     bool statusIcons);
    // Reads the status icons against a new customisation from now on (every row again).
    void SetCustom(CustomSnapshot custom);
    const std::filesystem::path& DatabaseDir() const { return m_databaseDir; }

    // The node of an index; null for the invisible root.
    const TreeNode* NodeAt(const QModelIndex& index) const;
    // The index of the item at path, reading the folders on the way; invalid when the path is
    // not in the tree.
    QModelIndex IndexOf(const std::filesystem::path& path);
    // The rows of folder as the tree keeps them (read once, then kept up to date by the
    // refreshes the change watcher asks for), in the tree's order.
    std::vector<TreeNode> ChildrenOf(const std::filesystem::path& folder);
    // Whether the tree has a row for path now, without reading any folder to find out.
    bool Shows(const std::filesystem::path& path) { return FindNode(path, false) != nullptr; }
    // Reads the folder's children again when they were read, keeping the nodes that remain
    // (so their expansion and selection stay), and forgets the status icons below it. A folder
    // not read yet is left for its expansion: nothing on the way to it is read.
    void RefreshFolder(const std::filesystem::path& folder);
    // The same for changes made elsewhere, which the window doesn't wait for: the folders are
    // listed on the model's reader, and foldersListed follows once their rows are shown.
    void RefreshFoldersLater(const std::vector<std::filesystem::path>& folders);
    // Shows project test cases with the icon of their status, or all alike; the rows read so
    // far are repainted, and a status is read again when its row is next painted.
    void SetStatusIcons(bool statusIcons);
    // Forgets the status icons read so far, so each is read again against the customisation
    // as it is now when its row is next painted.
    void ForgetStatusIcons();

    QModelIndex index(int row, int column, const QModelIndex& parent) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent) const override;
    int columnCount(const QModelIndex& parent) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool hasChildren(const QModelIndex& parent) const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

signals:
    // The listings RefreshFoldersLater asked for are shown.
    void foldersListed();
    // The user typed a new name for node; the tree shows it once the rename is done.
    void renameRequested(const vantorel::TreeNode& node, const QString& newName);
    // The user dropped item on the folder target; copy when Ctrl was held.
    void dropRequested(const vantorel::TreeNode& item, const vantorel::TreeNode& target, bool copy);

private:
    struct Node;
    Node* NodeOf(const QModelIndex& index) const;
    QModelIndex IndexOfNode(const Node* node) const;
    // readOnTheWay: folders on the way to path that weren't read yet are read; else the
    // search ends at them.
    Node* FindNode(const std::filesystem::path& path, bool readOnTheWay = true);
    void Populate(Node* folder, const QModelIndex& folderIndex);
    // Makes node's rows those of the listing now, keeping the nodes that remain.
    void ShowListing(Node& node, const std::vector<TreeNode>& now);
    QIcon IconOf(const Node& node) const;
    // Reads the status icons asked for since the last time, one task per folder.
    void ReadAskedIcons();
    void ShowReadIcons(const std::filesystem::path& folder,
                       const std::vector<std::pair<std::filesystem::path, int>>& icons);
    std::vector<TreeNode> DraggedNodes(const QMimeData* data) const;

    std::unique_ptr<Node> m_root;
    std::filesystem::path m_databaseDir;
    CustomSnapshot m_custom;
    bool m_statusIcons = false;
    // The project test cases whose status icon a paint asked for, by folder; a worker reads
    // their documents, so painting a large suite reads nothing on the window's thread.
    mutable std::map<std::filesystem::path, std::vector<std::filesystem::path>> m_askedIcons;
    // Counts the listings asked for, so a folder's rows are never replaced by an older one.
    int m_listings = 0;
    // Reads status icons and lists changed folders, one task after the other; its tasks end
    // before the model goes.
    QThreadPool m_reader;
};

}  // namespace vantorel
