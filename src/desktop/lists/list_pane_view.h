#pragma once
// A folder's items as a table: the list pane of the right pane. The rows and the suites'
// totals are read on the pane's own worker (workspace/list_panes.h) and appear as they come;
// sorting any column, many rows selected, the columns' order and widths kept for the
// configuration. Showing another folder cancels the read under way.

#include <QAbstractTableModel>
#include <QTableView>
#include <QThreadPool>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <unordered_map>
#include <vector>

#include "workspace/list_panes.h"

namespace vantorel {

class ListPaneModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit ListPaneModel(QObject* parent = nullptr);

    // No rows, the pane's columns.
    void Reset(ListPane pane);
    // Rows read so far go at the end, or into their place when a column is sorted.
    void Append(std::vector<ListRow> rows);
    // All rows at once, in place of the shown ones (a folder read again), sorted as before.
    void Replace(std::vector<ListRow> rows);
    void SetFigures(const FolderFigures& figures);

    std::optional<ListPane> Pane() const { return m_pane; }
    const ListRow* RowAt(int row) const;
    // The view row of the item at path, or -1.
    int RowOf(const std::filesystem::path& path) const;
    // The counts of the status text; filteredOut as the read counted it.
    ListCounts Counts(std::size_t filteredOut) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

private:
    // Puts m_order in the sort order, keeping the persistent indexes (the selection) on their
    // rows.
    void Arrange();
    // m_rowOf from m_order.
    void IndexRows();

    std::optional<ListPane> m_pane;
    std::vector<ListRow> m_rows;       // in the order read
    std::vector<std::size_t> m_order;  // view row -> m_rows index
    std::vector<int> m_rowOf;          // m_rows index -> view row
    std::unordered_map<std::string, std::size_t> m_byPath;
    int m_sortColumn = -1;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;
};

class ListPaneView : public QTableView {
    Q_OBJECT
public:
    explicit ListPaneView(QWidget* parent = nullptr);
    // Stops the read under way and waits for it.
    ~ListPaneView() override;

    // Shows the items of request.folder, read on the worker through the filter stored at
    // filterFile (none: no filter), with the columns of layout. The same folder again is read
    // again in place: the selection and the scroll position stay.
    void Show(ListRequest request, std::optional<std::filesystem::path> filterFile,
              const ColumnLayout& layout);
    // Stops reading and shows nothing.
    void Clear();
    // The folder shown, if any.
    std::optional<TreeNode> Folder() const { return m_folder; }
    ListPaneModel& Model() { return m_model; }
    // The columns as the user left them, for the configuration.
    ColumnLayout Layout() const;
    // The selected rows' items, in view order; the current row's when none is selected.
    std::vector<TreeNode> SelectedNodes() const;
    std::optional<TreeNode> CurrentRowNode() const;
    // True until the rows and totals of the last Show are all read.
    bool Reading() const { return m_reading; }

signals:
    // A double-click on a row (Enter is the window's Properties, as in the tree).
    void rowActivated(const vantorel::TreeNode& node);
    // The current row changed; none when the table has no current row.
    void currentRowChanged(const std::optional<vantorel::TreeNode>& node);
    // The status text changed ("%d displayed (%d filtered out) - ...").
    void statusChanged(const QString& text);
    // The rows of a folder read again in place are shown.
    void rowsReplaced();
    // The rows and totals of the last Show are read.
    void readingDone();

private:
    void ApplyLayout(const ColumnLayout& layout);
    void Start(ListRequest request, std::optional<std::filesystem::path> filterFile, bool inPlace);
    void TakeBatch(int generation, ListBatch batch);
    void RowsDone(int generation, bool listed);
    void ShowStatus();

    ListPaneModel m_model;
    std::optional<TreeNode> m_folder;
    ColumnLayout m_layout;
    int m_generation = 0;
    bool m_reading = false;
    bool m_inPlace = false;
    bool m_fitColumns = false;      // the layout's widths are the defaults: fit the first rows
    std::vector<ListRow> m_staged;  // the rows of a read in place, shown when all are read
    std::size_t m_filteredOut = 0, m_stagedFilteredOut = 0;
    std::stop_source m_stop;
    // Reads rows, then totals; its task ends before the view goes.
    QThreadPool m_reader;
};

}  // namespace vantorel
