#include "desktop/lists/list_pane_view.h"

#include <QHeaderView>
#include <QScrollBar>
#include <algorithm>

#include "desktop/tree/navigation_model.h"
#include "platform/thread_priority.h"

namespace vantorel {

ListPaneModel::ListPaneModel(QObject* parent) : QAbstractTableModel(parent) {}

void ListPaneModel::Reset(ListPane pane) {
    beginResetModel();
    m_pane = pane;
    m_rows.clear();
    m_order.clear();
    m_rowOf.clear();
    m_byPath.clear();
    m_sortColumn = -1;
    endResetModel();
}

void ListPaneModel::Append(std::vector<ListRow> rows) {
    if (rows.empty())
        return;
    const int first = rowCount();
    beginInsertRows({}, first, first + static_cast<int>(rows.size()) - 1);
    for (ListRow& row : rows) {
        m_byPath.emplace(row.node.path.native(), m_rows.size());
        m_order.push_back(m_rows.size());
        m_rowOf.push_back(static_cast<int>(m_order.size()) - 1);
        m_rows.push_back(std::move(row));
    }
    endInsertRows();
    if (m_sortColumn >= 0)
        Arrange();
}

void ListPaneModel::Replace(std::vector<ListRow> rows) {
    beginResetModel();
    m_rows = std::move(rows);
    m_order.resize(m_rows.size());
    m_byPath.clear();
    for (std::size_t i = 0; i < m_order.size(); ++i) {
        m_order[i] = i;
        m_byPath.emplace(m_rows[i].node.path.native(), i);
    }
    IndexRows();
    endResetModel();
    if (m_sortColumn >= 0)
        Arrange();
}

void ListPaneModel::SetFigures(const FolderFigures& figures) {
    const int row = RowOf(figures.folder);
    if (row < 0)
        return;
    ListRow& shown = m_rows[m_order[row]];
    for (const auto& [column, cell] : figures.cells)
        if (column >= 0 && static_cast<std::size_t>(column) < shown.cells.size())
            shown.cells[column] = cell;
    emit dataChanged(index(row, 0), index(row, columnCount() - 1), {Qt::DisplayRole});
    if (m_sortColumn >= 0 && PaneColumns(*m_pane)[m_sortColumn].figure != SuiteFigure::None)
        Arrange();
}

const ListRow* ListPaneModel::RowAt(int row) const {
    if (row < 0 || row >= rowCount())
        return nullptr;
    return &m_rows[m_order[row]];
}

int ListPaneModel::RowOf(const std::filesystem::path& path) const {
    const auto found = m_byPath.find(path.native());
    if (found == m_byPath.end())
        return -1;
    return m_rowOf[found->second];
}

ListCounts ListPaneModel::Counts(std::size_t filteredOut) const {
    ListCounts counts{m_rows.size(), filteredOut};
    for (const ListRow& row : m_rows) {
        counts.suites += row.node.kind == TV_TEST_SUITE_FLD || row.node.kind == TV_PRJ_SUITE_FLD;
        counts.testCases += row.node.kind == TV_TEST_TEST_DOC || row.node.kind == TV_PRJ_TEST_DOC;
        counts.unreadable += row.unreadable;
    }
    return counts;
}

int ListPaneModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_order.size());
}

int ListPaneModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_pane ? 0 : static_cast<int>(PaneColumns(*m_pane).size());
}

QVariant ListPaneModel::data(const QModelIndex& index, int role) const {
    const ListRow* row = RowAt(index.row());
    if (!row || index.column() < 0 || index.column() >= static_cast<int>(row->cells.size()))
        return {};
    switch (role) {
        case Qt::DisplayRole:
            return QString::fromStdString(row->cells[index.column()].text);
        case Qt::DecorationRole:
            if (index.column() == 0)
                return ItemIcon(row->node.kind, row->statusIcon);
            return {};
        case Qt::ToolTipRole:
            if (row->unreadable)
                return QStringLiteral("This document could not be read");
            return {};
        case Qt::TextAlignmentRole:
            if (PaneColumns(*m_pane)[index.column()].order == CellOrder::Number)
                return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
            return {};
        default:
            return {};
    }
}

QVariant ListPaneModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || !m_pane ||
        section >= columnCount())
        return QAbstractTableModel::headerData(section, orientation, role);
    const std::string_view caption = PaneColumns(*m_pane)[section].caption;
    return QString::fromUtf8(caption.data(), static_cast<qsizetype>(caption.size()));
}

void ListPaneModel::sort(int column, Qt::SortOrder order) {
    if (!m_pane || column < 0 || column >= columnCount())
        return;
    m_sortColumn = column;
    m_sortOrder = order;
    Arrange();
}

void ListPaneModel::Arrange() {
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<std::size_t> stored;
    for (const QModelIndex& index : before)
        stored.push_back(m_order[index.row()]);
    const PaneColumn& column = PaneColumns(*m_pane)[m_sortColumn];
    const int c = m_sortColumn;
    std::ranges::stable_sort(m_order, [&](std::size_t a, std::size_t b) {
        return m_sortOrder == Qt::AscendingOrder
                   ? CellBefore(column, m_rows[a].cells[c], m_rows[b].cells[c])
                   : CellBefore(column, m_rows[b].cells[c], m_rows[a].cells[c]);
    });
    IndexRows();
    QModelIndexList after;
    for (int i = 0; i < before.size(); ++i)
        after.push_back(index(m_rowOf[stored[i]], before[i].column()));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void ListPaneModel::IndexRows() {
    m_rowOf.resize(m_rows.size());
    for (std::size_t row = 0; row < m_order.size(); ++row)
        m_rowOf[m_order[row]] = static_cast<int>(row);
}

ListPaneView::ListPaneView(QWidget* parent) : QTableView(parent), m_model(this) {
    setObjectName("listPane");
    setAccessibleName("Folder contents");
    setModel(&m_model);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSortingEnabled(true);
    setWordWrap(false);
    setAlternatingRowColors(true);
    setShowGrid(false);
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setSectionsMovable(true);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSortIndicatorShown(true);
    horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    m_reader.setMaxThreadCount(1);
    connect(this, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const ListRow* row = m_model.RowAt(index.row()))
            emit rowActivated(row->node);
    });
    connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                const ListRow* row = m_model.RowAt(current.row());
                emit currentRowChanged(row ? std::optional(row->node) : std::nullopt);
            });
}

ListPaneView::~ListPaneView() {
    m_stop.request_stop();
    m_reader.waitForDone();
}

void ListPaneView::Show(ListRequest request, std::optional<std::filesystem::path> filterFile,
                        const ColumnLayout& layout) {
    const bool inPlace = m_folder && m_folder->path == request.folder.path &&
                         m_model.Pane() == PaneOfFolder(request.folder.kind);
    if (!inPlace) {
        m_model.Reset(*PaneOfFolder(request.folder.kind));
        horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
        ApplyLayout(layout);
        m_filteredOut = 0;
    }
    m_folder = request.folder;
    Start(std::move(request), std::move(filterFile), inPlace);
}

void ListPaneView::Clear() {
    m_stop.request_stop();
    ++m_generation;
    m_folder.reset();
    m_reading = false;
    m_staged.clear();
    if (m_model.Pane())
        m_model.Reset(*m_model.Pane());
}

void ListPaneView::Start(ListRequest request, std::optional<std::filesystem::path> filterFile,
                         bool inPlace) {
    m_stop.request_stop();
    m_stop = std::stop_source();
    request.stop = m_stop.get_token();
    const int generation = ++m_generation;
    m_reading = true;
    m_inPlace = inPlace;
    m_staged.clear();
    m_stagedFilteredOut = 0;
    // The task holds its own copy of the request; what it reads reaches the view through
    // queued calls, which are dropped once the view has gone.
    m_reader.start([this, request = std::move(request), filterFile, generation]() mutable {
        RunBelowTheWindow();
        // A filter that can't be read hides nothing.
        if (filterFile)
            request.filter = Filter::Load(*filterFile);
        std::vector<TreeNode> folders;
        const bool listed = ReadListRows(request, [&](ListBatch batch) {
            for (const ListRow& row : batch.rows)
                if (IsFolderKind(row.node.kind))
                    folders.push_back(row.node);
            QMetaObject::invokeMethod(
                this,
                [this, generation, batch = std::move(batch)]() mutable {
                    TakeBatch(generation, std::move(batch));
                },
                Qt::QueuedConnection);
        });
        QMetaObject::invokeMethod(
            this, [this, generation, listed] { RowsDone(generation, listed); },
            Qt::QueuedConnection);
        ReadSuiteFigures(request, folders, [&](FolderFigures figures) {
            QMetaObject::invokeMethod(
                this,
                [this, generation, figures = std::move(figures)] {
                    if (generation == m_generation)
                        m_model.SetFigures(figures);
                },
                Qt::QueuedConnection);
        });
        QMetaObject::invokeMethod(
            this,
            [this, generation] {
                if (generation != m_generation)
                    return;
                m_reading = false;
                emit readingDone();
            },
            Qt::QueuedConnection);
    });
}

void ListPaneView::TakeBatch(int generation, ListBatch batch) {
    if (generation != m_generation)
        return;
    if (m_inPlace) {
        std::ranges::move(batch.rows, std::back_inserter(m_staged));
        m_stagedFilteredOut += batch.filteredOut;
        return;
    }
    m_filteredOut += batch.filteredOut;
    m_model.Append(std::move(batch.rows));
    // Columns nobody sized yet fit their caption and the first rows, within reason.
    if (std::exchange(m_fitColumns, false) && m_model.rowCount() > 0) {
        constexpr int kWidest = 320;
        resizeColumnsToContents();
        for (int column = 0; column < m_model.columnCount(); ++column)
            horizontalHeader()->resizeSection(
                column, std::min(horizontalHeader()->sectionSize(column), kWidest));
    }
    ShowStatus();
}

void ListPaneView::RowsDone(int generation, bool listed) {
    if (generation != m_generation)
        return;
    if (m_inPlace) {
        // The rows that remain keep their selection, the current row and the scroll position.
        const int scroll = verticalScrollBar()->value();
        const std::vector<TreeNode> selected =
            selectionModel()->selectedRows().isEmpty() ? std::vector<TreeNode>() : SelectedNodes();
        const std::optional<TreeNode> current = CurrentRowNode();
        m_model.Replace(std::exchange(m_staged, {}));
        m_filteredOut = m_stagedFilteredOut;
        QItemSelection selection;
        for (const TreeNode& node : selected)
            if (const int row = m_model.RowOf(node.path); row >= 0)
                selection.select(m_model.index(row, 0),
                                 m_model.index(row, m_model.columnCount() - 1));
        if (current)
            if (const int row = m_model.RowOf(current->path); row >= 0)
                selectionModel()->setCurrentIndex(m_model.index(row, 0),
                                                  QItemSelectionModel::NoUpdate);
        selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
        verticalScrollBar()->setValue(scroll);
        emit rowsReplaced();
    }
    if (!listed)
        emit statusChanged(QStringLiteral("The folder could not be read"));
    else
        ShowStatus();
}

void ListPaneView::ShowStatus() {
    emit statusChanged(QString::fromStdString(ListStatusText(m_model.Counts(m_filteredOut))));
}

void ListPaneView::ApplyLayout(const ColumnLayout& layout) {
    const ListPane pane = *m_model.Pane();
    m_layout = layout;
    QHeaderView* header = horizontalHeader();
    const std::vector<int> shown = ShownColumns(pane, layout);
    const bool fits = LayoutFits(pane, layout);
    m_fitColumns = !fits || layout.widths == DefaultSettings({}).columns[pane].widths;
    for (int visual = 0; visual < static_cast<int>(shown.size()); ++visual) {
        header->moveSection(header->visualIndex(shown[visual]), visual);
        header->resizeSection(shown[visual], fits ? layout.widths[shown[visual]] : 100);
    }
}

ColumnLayout ListPaneView::Layout() const {
    if (!m_model.Pane())
        return m_layout;
    const QHeaderView* header = horizontalHeader();
    std::vector<int> shown, widths;
    for (int visual = 0; visual < header->count(); ++visual)
        shown.push_back(header->logicalIndex(visual));
    for (int logical = 0; logical < header->count(); ++logical)
        widths.push_back(header->sectionSize(logical));
    return ArrangedLayout(*m_model.Pane(), m_layout, shown, widths);
}

std::vector<TreeNode> ListPaneView::SelectedNodes() const {
    QModelIndexList rows = selectionModel()->selectedRows();
    std::ranges::sort(rows, {}, &QModelIndex::row);
    std::vector<TreeNode> nodes;
    for (const QModelIndex& index : rows)
        if (const ListRow* row = m_model.RowAt(index.row()))
            nodes.push_back(row->node);
    if (nodes.empty())
        if (std::optional<TreeNode> current = CurrentRowNode())
            nodes.push_back(*current);
    return nodes;
}

std::optional<TreeNode> ListPaneView::CurrentRowNode() const {
    if (const ListRow* row = m_model.RowAt(currentIndex().row()))
        return row->node;
    return std::nullopt;
}

}  // namespace vantorel
