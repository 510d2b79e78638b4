#include "desktop/tree/navigation_model.h"

#include <QMimeData>

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>

#include "documents/custom_cfg.h"
#include "storage/thread_guard.h"
#include "workspace/item_transfer.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// Dragged items travel as their paths, one per line; only this program's trees read them.
constexpr char kItemPathsMime[] = "application/x-vantorel-item-paths";

const char* IconName(NodeKind kind) {
    switch (kind) {
        case TV_TEST_ROOT:
            return "library";
        case TV_TEST_SUITE_FLD:
            return "suite";
        case TV_TEST_TEST_DOC:
            return "test-case";
        case TV_PRJ_ROOT:
            return "projects";
        case TV_PRJ_PRJ_FLD:
            return "project";
        case TV_PRJ_TEST_FLD:
        case TV_PRJ_SUITE_FLD:
            return "project-suite";
        case TV_PRJ_TEST_DOC:
            return "project-test-case";
        case TV_PRJ_RPTS_FLD:
        case TV_RPT_FLD:
            return "reports";
        case TV_RPT_DOC:
            return "report";
        case TV_CFG_ROOT:
        case TV_CFG_DOC:
            return "configuration";
        case TV_RES_ROOT:
        case TV_RES_DOC:
            return "resource";
        case TV_TESTER_ROOT:
        case TV_TESTER_DOC:
            return "tester";
        case TV_FILTER_ROOT:
        case TV_FILTER_DOC:
            return "filter";
        case TV_NONE:
            break;
    }
    return "test-case";
}

// A folder opened in the tree lists its names on the window's thread, as the user waits for
// its rows; no document in it is read there.
constexpr char kTreeListing[] = "a folder of the tree lists its names";

constexpr int kIconUnread = -1;
constexpr int kIconAsked = -2;

const QIcon& CachedIcon(const QString& name) {
    static std::map<QString, QIcon> icons;
    auto [place, added] = icons.try_emplace(name);
    if (added)
        place->second = QIcon(":/desktop/icons/" + name + ".svg");
    return place->second;
}

}  // namespace

struct NavigationModel::Node {
    TreeNode item;
    Node* parent = nullptr;
    std::vector<std::unique_ptr<Node>> children;
    bool populated = false;
    // When its children were last listed on the window's thread (m_listings then).
    int listedAt = 0;
    // The status icon's number once read (0 the plain document); kIconUnread, or kIconAsked
    // while a worker reads it.
    mutable int statusIcon = kIconUnread;

    int Row() const {
        const auto& siblings = parent->children;
        auto found =
            std::ranges::find_if(siblings, [this](const auto& c) { return c.get() == this; });
        return static_cast<int>(found - siblings.begin());
    }
};

NavigationModel::NavigationModel(QObject* parent)
    : QAbstractItemModel(parent), m_root(std::make_unique<Node>()) {
    m_root->populated = true;
    m_reader.setMaxThreadCount(1);
}

NavigationModel::~NavigationModel() {
    m_reader.clear();
    m_reader.waitForDone();
}

void NavigationModel::SetDatabase(const fs::path& databaseDir, CustomSnapshot custom,
                                  bool statusIcons) {
    beginResetModel();
    m_databaseDir = databaseDir;
    m_custom = std::move(custom);
    m_statusIcons = statusIcons;
    m_root = std::make_unique<Node>();
    m_root->populated = true;
    if (!databaseDir.empty()) {
        for (TreeNode& top : TopLevelNodes(databaseDir)) {
            auto node = std::make_unique<Node>();
            node->item = std::move(top);
            node->parent = m_root.get();
            m_root->children.push_back(std::move(node));
        }
    }
    endResetModel();
}

NavigationModel::Node* NavigationModel::NodeOf(const QModelIndex& index) const {
    return index.isValid() ? static_cast<Node*>(index.internalPointer()) : m_root.get();
}

const TreeNode* NavigationModel::NodeAt(const QModelIndex& index) const {
    return index.isValid() ? &NodeOf(index)->item : nullptr;
}

QModelIndex NavigationModel::IndexOfNode(const Node* node) const {
    if (!node || node == m_root.get())
        return {};
    return createIndex(node->Row(), 0, const_cast<Node*>(node));
}

QModelIndex NavigationModel::index(int row, int column, const QModelIndex& parent) const {
    const Node* folder = NodeOf(parent);
    if (column != 0 || row < 0 || row >= static_cast<int>(folder->children.size()))
        return {};
    return createIndex(row, 0, folder->children[static_cast<std::size_t>(row)].get());
}

QModelIndex NavigationModel::parent(const QModelIndex& child) const {
    if (!child.isValid())
        return {};
    return IndexOfNode(NodeOf(child)->parent);
}

int NavigationModel::rowCount(const QModelIndex& parent) const {
    if (parent.column() > 0)
        return 0;
    return static_cast<int>(NodeOf(parent)->children.size());
}

int NavigationModel::columnCount(const QModelIndex&) const {
    return 1;
}

bool NavigationModel::hasChildren(const QModelIndex& parent) const {
    const Node* node = NodeOf(parent);
    if (node == m_root.get())
        return !node->children.empty();
    // An unread folder shows its arrow; reading it tells whether anything is inside.
    return IsFolderKind(node->item.kind) && (!node->populated || !node->children.empty());
}

bool NavigationModel::canFetchMore(const QModelIndex& parent) const {
    const Node* node = NodeOf(parent);
    return !node->populated && IsFolderKind(node->item.kind);
}

void NavigationModel::fetchMore(const QModelIndex& parent) {
    Node* node = NodeOf(parent);
    if (!node->populated)
        Populate(node, parent);
}

void NavigationModel::Populate(Node* folder, const QModelIndex& folderIndex) {
    // Marked first, so a view that asks again while the rows arrive reads nothing twice.
    folder->populated = true;
    folder->listedAt = ++m_listings;
    WindowThreadMayRead listing(kTreeListing);
    std::vector<TreeNode> children = ChildNodes(m_databaseDir, folder->item);
    if (children.empty()) {
        // The arrow of a folder found empty goes away.
        emit dataChanged(folderIndex, folderIndex);
        return;
    }
    beginInsertRows(folderIndex, 0, static_cast<int>(children.size()) - 1);
    folder->children.reserve(children.size());
    for (TreeNode& child : children) {
        auto node = std::make_unique<Node>();
        node->item = std::move(child);
        node->parent = folder;
        folder->children.push_back(std::move(node));
    }
    endInsertRows();
}

void NavigationModel::RefreshFolder(const fs::path& folder) {
    Node* node = FindNode(folder, false);
    if (!node || !node->populated)
        return;
    node->listedAt = ++m_listings;
    WindowThreadMayRead listing(kTreeListing);
    ShowListing(*node, node == m_root.get() ? TopLevelNodes(m_databaseDir)
                                            : ChildNodes(m_databaseDir, node->item));
}

void NavigationModel::RefreshFoldersLater(const std::vector<fs::path>& folders) {
    std::vector<TreeNode> read;
    for (const fs::path& folder : folders) {
        const Node* node = FindNode(folder, false);
        // The six roots never change; a folder not read yet is read when it is expanded.
        if (node && node->populated && node != m_root.get())
            read.push_back(node->item);
    }
    m_reader.start(
        [this, databaseDir = m_databaseDir, asked = ++m_listings, read = std::move(read)] {
            std::vector<std::pair<fs::path, std::vector<TreeNode>>> listings;
            listings.reserve(read.size());
            for (const TreeNode& folder : read)
                listings.emplace_back(folder.path, ChildNodes(databaseDir, folder));
            QMetaObject::invokeMethod(
                this,
                [this, asked, listings = std::move(listings)] {
                    // A folder listed on the window's thread since (after the user's own
                    // rename, or in a database opened since) may be newer than this listing:
                    // it stays, and a change after it comes with a listing of its own.
                    for (const auto& [folder, now] : listings) {
                        Node* node = FindNode(folder, false);
                        if (node && node->populated && node->listedAt < asked)
                            ShowListing(*node, now);
                    }
                    emit foldersListed();
                },
                Qt::QueuedConnection);
        });
}

void NavigationModel::ShowListing(Node& node, const std::vector<TreeNode>& now) {
    const QModelIndex folderIndex = IndexOfNode(&node);
    auto& children = node.children;
    // A suite may hold thousands of test cases: each row is looked up by its path, not by a
    // search of the whole listing.
    std::unordered_map<std::string_view, std::size_t> listed;
    listed.reserve(now.size());
    for (std::size_t place = 0; place < now.size(); ++place)
        listed.emplace(now[place].path.native(), place);
    auto gone = [&](std::size_t row) {
        const TreeNode& item = children[row]->item;
        const auto still = listed.find(item.path.native());
        return still == listed.end() || !(now[still->second] == item);
    };
    // Rows that went away, a run of neighbours at once and from the last, so the rows before
    // keep their numbers and a view hears of a thousand rows gone as one change.
    for (std::size_t end = children.size(); end > 0;) {
        if (!gone(end - 1)) {
            --end;
            continue;
        }
        std::size_t first = end - 1;
        while (first > 0 && gone(first - 1))
            --first;
        beginRemoveRows(folderIndex, static_cast<int>(first), static_cast<int>(end - 1));
        children.erase(children.begin() + static_cast<std::ptrdiff_t>(first),
                       children.begin() + static_cast<std::ptrdiff_t>(end));
        endRemoveRows();
        end = first;
    }
    // What remains is in the order of the listing, so the new rows before each remaining one
    // go in together where the listing has them.
    for (std::size_t place = 0; place < now.size();) {
        if (place < children.size() && children[place]->item == now[place]) {
            children[place]->statusIcon = kIconUnread;
            ++place;
            continue;
        }
        const std::size_t end =
            place < children.size()
                ? std::max(place + 1, listed.at(children[place]->item.path.native()))
                : now.size();
        beginInsertRows(folderIndex, static_cast<int>(place), static_cast<int>(end - 1));
        std::vector<std::unique_ptr<Node>> added;
        added.reserve(end - place);
        for (std::size_t next = place; next < end; ++next) {
            added.push_back(std::make_unique<Node>());
            added.back()->item = now[next];
            added.back()->parent = &node;
        }
        children.insert(children.begin() + static_cast<std::ptrdiff_t>(place),
                        std::make_move_iterator(added.begin()),
                        std::make_move_iterator(added.end()));
        endInsertRows();
        place = end;
    }
    if (!children.empty())
        emit dataChanged(index(0, 0, folderIndex),
                         index(static_cast<int>(children.size()) - 1, 0, folderIndex),
                         {Qt::DecorationRole});
}

void NavigationModel::SetStatusIcons(bool statusIcons) {
    if (statusIcons == m_statusIcons)
        return;
    m_statusIcons = statusIcons;
    ForgetStatusIcons();
}

void NavigationModel::SetCustom(CustomSnapshot custom) {
    m_custom = std::move(custom);
    ForgetStatusIcons();
}

void NavigationModel::ForgetStatusIcons() {
    std::vector<Node*> folders{m_root.get()};
    while (!folders.empty()) {
        Node* folder = folders.back();
        folders.pop_back();
        if (folder->children.empty())
            continue;
        for (const auto& child : folder->children) {
            child->statusIcon = kIconUnread;
            folders.push_back(child.get());
        }
        const QModelIndex folderIndex = IndexOfNode(folder);
        emit dataChanged(index(0, 0, folderIndex),
                         index(static_cast<int>(folder->children.size()) - 1, 0, folderIndex),
                         {Qt::DecorationRole});
    }
}

NavigationModel::Node* NavigationModel::FindNode(const fs::path& path, bool readOnTheWay) {
    if (m_databaseDir.empty())
        return nullptr;
    const fs::path below =
        path.lexically_normal().lexically_relative(m_databaseDir.lexically_normal());
    if (below.empty() || *below.begin() == "..")
        return nullptr;
    Node* node = m_root.get();
    // Each step matches a row by its last name alone: a suite of thousands of rows is searched
    // without a path made or normalised per row.
    for (const fs::path& step : below) {
        if (step.empty() || step == ".")  // a trailing separator, or the database itself
            continue;
        if (!node->populated) {
            if (!readOnTheWay)
                return nullptr;
            Populate(node, IndexOfNode(node));
        }
        const std::string_view name = step.native();
        const auto found = std::ranges::find_if(node->children, [name](const auto& child) {
            const std::string_view childPath = child->item.path.native();
            return childPath.ends_with(name) && childPath.size() > name.size() &&
                   childPath[childPath.size() - name.size() - 1] == '/';
        });
        if (found == node->children.end())
            return nullptr;
        node = found->get();
    }
    return node;
}

std::vector<TreeNode> NavigationModel::ChildrenOf(const fs::path& folder) {
    std::vector<TreeNode> children;
    Node* node = FindNode(folder);
    if (!node)
        return children;
    if (!node->populated)
        Populate(node, IndexOfNode(node));
    for (const auto& child : node->children)
        children.push_back(child->item);
    return children;
}

QModelIndex NavigationModel::IndexOf(const fs::path& path) {
    return IndexOfNode(FindNode(path));
}

QIcon NavigationModel::IconOf(const Node& node) const {
    if (node.item.kind == TV_PRJ_TEST_DOC && m_statusIcons && m_custom) {
        // Asked for when the row is first painted, so expanding a large suite reads nothing;
        // the plain icon stands until the worker's answer comes.
        if (node.statusIcon == kIconUnread) {
            node.statusIcon = kIconAsked;
            auto& asked = m_askedIcons[node.item.path.parent_path()];
            if (m_askedIcons.size() == 1 && asked.empty())
                QMetaObject::invokeMethod(const_cast<NavigationModel*>(this),
                                          &NavigationModel::ReadAskedIcons, Qt::QueuedConnection);
            asked.push_back(node.item.path);
        }
        return ItemIcon(TV_PRJ_TEST_DOC, node.statusIcon);
    }
    return ItemIcon(node.item.kind);
}

const QIcon& ItemIcon(NodeKind kind, int statusIcon) {
    static constexpr const char* kStatusIcons[] = {
        "project-test-case", "status-pass", "status-fail", "status-not-run", "status-postponed"};
    if (kind == TV_PRJ_TEST_DOC)
        return CachedIcon(kStatusIcons[std::clamp(statusIcon, 0, 4)]);
    return CachedIcon(IconName(kind));
}

void NavigationModel::ReadAskedIcons() {
    for (auto& asked : m_askedIcons) {
        m_reader.start([this, folder = asked.first, documents = std::move(asked.second),
                        custom = m_custom] {
            std::vector<std::pair<fs::path, int>> icons;
            icons.reserve(documents.size());
            for (const fs::path& document : documents)
                icons.emplace_back(document, StatusIconOf(document, *custom));
            // The model waits for its tasks as it goes, and a queued call to it is dropped
            // once it has gone.
            QMetaObject::invokeMethod(
                this, [this, folder, icons = std::move(icons)] { ShowReadIcons(folder, icons); },
                Qt::QueuedConnection);
        });
    }
    m_askedIcons.clear();
}

void NavigationModel::ShowReadIcons(const fs::path& folder,
                                    const std::vector<std::pair<fs::path, int>>& icons) {
    Node* node = FindNode(folder, false);
    if (!node)
        return;
    std::unordered_map<std::string_view, int> rows;
    rows.reserve(node->children.size());
    for (std::size_t row = 0; row < node->children.size(); ++row)
        rows.emplace(node->children[row]->item.path.native(), static_cast<int>(row));
    const QModelIndex folderIndex = IndexOfNode(node);
    for (const auto& [document, icon] : icons) {
        const auto row = rows.find(document.native());
        if (row == rows.end())
            continue;
        Node& child = *node->children[static_cast<std::size_t>(row->second)];
        // A row forgotten since it was asked for (the customisation or the document changed)
        // is asked for again when next painted.
        if (child.statusIcon != kIconAsked)
            continue;
        child.statusIcon = icon;
        const QModelIndex changed = index(row->second, 0, folderIndex);
        emit dataChanged(changed, changed, {Qt::DecorationRole});
    }
}

QVariant NavigationModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const Node& node = *NodeOf(index);
    switch (role) {
        case Qt::DisplayRole:
        case Qt::EditRole:
            return QString::fromStdString(node.item.label);
        case Qt::DecorationRole:
            return IconOf(node);
        case Qt::ToolTipRole:
            return QString::fromStdString(node.item.path.string());
        default:
            return {};
    }
}

bool NavigationModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || role != Qt::EditRole)
        return false;
    const TreeNode& node = NodeOf(index)->item;
    if (value.toString().toStdString() != node.label)
        emit renameRequested(node, value.toString());
    // The label changes when the item on disk has been renamed and the folder refreshed.
    return false;
}

Qt::ItemFlags NavigationModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    const NodeKind kind = NodeOf(index)->item.kind;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (!IsFixedKind(kind))
        flags |= Qt::ItemIsEditable | Qt::ItemIsDragEnabled;
    if (IsFolderKind(kind))
        flags |= Qt::ItemIsDropEnabled;
    return flags;
}

Qt::DropActions NavigationModel::supportedDragActions() const {
    return Qt::MoveAction | Qt::CopyAction;
}

Qt::DropActions NavigationModel::supportedDropActions() const {
    return Qt::MoveAction | Qt::CopyAction;
}

QStringList NavigationModel::mimeTypes() const {
    return {kItemPathsMime};
}

QMimeData* NavigationModel::mimeData(const QModelIndexList& indexes) const {
    QStringList paths;
    for (const QModelIndex& index : indexes)
        if (index.isValid())
            paths << QString::fromStdString(NodeOf(index)->item.path.string());
    auto* data = new QMimeData;
    data->setData(kItemPathsMime, paths.join('\n').toUtf8());
    return data;
}

std::vector<TreeNode> NavigationModel::DraggedNodes(const QMimeData* data) const {
    std::vector<TreeNode> nodes;
    if (!data || m_databaseDir.empty())
        return nodes;
    for (const QString& line : QString::fromUtf8(data->data(kItemPathsMime)).split('\n')) {
        if (line.isEmpty())
            continue;
        const fs::path path = line.toStdString();
        const NodeKind kind = NodeKindOf(m_databaseDir, path);
        if (kind == TV_NONE)
            continue;
        nodes.push_back({path, kind, ItemLabel(path, kind)});
    }
    return nodes;
}

bool NavigationModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int,
                                      const QModelIndex& parent) const {
    if (!parent.isValid())
        return false;
    const NodeKind target = NodeOf(parent)->item.kind;
    const std::vector<TreeNode> items = DraggedNodes(data);
    return !items.empty() && std::ranges::all_of(items, [target](const TreeNode& item) {
        return CanDrop(item.kind, target);
    });
}

bool NavigationModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row,
                                   int column, const QModelIndex& parent) {
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const TreeNode target = NodeOf(parent)->item;
    for (const TreeNode& item : DraggedNodes(data))
        emit dropRequested(item, target, action == Qt::CopyAction);
    // False: the view removes no rows; the tree shows the move once it is done.
    return false;
}

}  // namespace vantorel
