#pragma once
// The main window: menus and toolbar from the command table, the navigation tree on the left,
// the selected item's page on the right, the status bar with the current user and the
// progress counter. It is the shell's view: the shell decides, the window shows and runs the
// dialogs the shell asks for. Commands on the tree's selection go to TreeActions.

#include <QLabel>
#include <QMainWindow>
#include <QSplitter>
#include <QStackedWidget>
#include <QTreeView>
#include <memory>
#include <optional>

#include "desktop/command_actions.h"
#include "desktop/editor_registry.h"
#include "desktop/lists/list_pane_view.h"
#include "desktop/pages/page_view.h"
#include "desktop/reports/report_view.h"
#include "desktop/tree/navigation_model.h"
#include "workspace/startup.h"

namespace vantorel {

class ExchangeJobs;
class FilterDialogs;
class FindDialog;
class ItemDialogs;
class TreeActions;

class MainWindow : public QMainWindow, public ShellView {
    Q_OBJECT
public:
    // identity: who the window's locks name (two windows in one process may be two testers).
    MainWindow(UserPort& port, ShellFolders folders, UserIdentity identity = CurrentIdentity(),
               QWidget* parent = nullptr);
    ~MainWindow() override;

    Shell& TheShell() { return m_shell; }
    NavigationModel& Model() { return m_model; }
    QTreeView& Tree() { return *m_tree; }
    CommandActions& Commands() { return *m_commands; }
    PageView& Page() { return *m_page; }
    ListPaneView& List() { return *m_list; }
    ReportView& Reports() { return *m_reportView; }
    EditorRegistry& Editors() { return m_editors; }
    ItemDialogs& Dialogs() { return *m_itemDialogs; }
    // True when the command can run here now: its window exists, and for Edit the current
    // item has a dialog.
    bool CanRun(int command) const;
    TreeActions& Actions() { return *m_treeActions; }
    // The imports and exports running after their dialogs closed.
    ExchangeJobs& Jobs() { return *m_jobs; }
    // Where the import and the export file choosers start: the user's documents folder, then
    // the folder of the last file chosen, each kept apart.
    std::filesystem::path& ImportFolder() { return m_importFolder; }
    std::filesystem::path& ExportFolder() { return m_exportFolder; }
    // Reads again folder and every folder below it the tree has shown, then the page shown.
    void RefreshBelow(const std::filesystem::path& folder);

    // Runs a command of a menu, accelerator, toolbar button or context menu: its operation,
    // or the message that refuses it.
    void RunCommand(int command);
    // The selected items: the list pane's rows when the list has the user's attention (it
    // had the focus last and has rows selected), else the tree's, in the order they were
    // selected; the current one when none is.
    std::vector<TreeNode> SelectedNodes() const;
    // The tree's current node.
    std::optional<TreeNode> CurrentNode() const;
    // The list pane's rows are what the user acts on: the list had the focus last.
    bool ListActive() const;
    // Gives the list pane the focus, and the user's attention even while the window is not
    // the active one (a context menu of its rows).
    void FocusList();
    // The item commands on one item act on: the list's current row when the list has the
    // user's attention, else the tree's current node.
    std::optional<TreeNode> ActiveNode() const;
    // The page leaves the list's row about to go, for the folder's page, so no page of it is
    // asked for while it goes.
    void LeaveRows(const std::vector<TreeNode>& doomed);
    // Selects and shows the item at path, or the nearest folder above it that still exists.
    void SelectPath(const std::filesystem::path& path);
    // Says text in the status bar's first part, until the tree's selection or list changes.
    void ShowStatus(const QString& text);
    // Numbers a worker reported through the port.
    void ShowReportedProgress(int processed, int total);
    // Shows what the options in the configuration ask of the window (the tree's status icons),
    // after they changed.
    void ApplyOptions();
    // Prints the pages of items (the page shown when there are none) on printer, with the
    // footer when the options ask for one; the page view says when it is done.
    void PrintPages(const std::vector<TreeNode>& items, std::unique_ptr<QPrinter> printer);

    // ShellView
    void SetCaption(const std::string& title) override;
    void RebuildTree() override;
    void ShowNewCustomisation() override;
    void ClearRightPane() override;
    void ShowCurrentUser(const std::string& text) override;
    void ShowProgress(const std::string& text) override;
    void RunSetUserDialog() override;
    StartupAnswer AskStartupOptions(const std::string& lastDatabaseName) override;
    std::optional<std::filesystem::path> AskDatabaseFile() override;
    std::optional<std::filesystem::path> AskNewDatabaseFolder() override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    CommandState State();
    void ShowSelected();
    // Shows folder's items in the list pane, through the toolbar's filter.
    void ShowList(const TreeNode& folder);
    // The list pane shown keeps its columns as the user left them, for the configuration.
    void KeepListLayout();
    void Print();
    // The report wizard, on the selected project. The new report is shown when the wizard
    // finishes.
    void StartReportWizard();
    // "Status Report - All" and its siblings: the selected project's report at once.
    void MakeReportNow(int command);
    // "Set as current user" on a tester: that tester is the current user of this computer.
    void SetCurrentUserTo(const TreeNode& tester);
    void InsertNewTestCase(const TreeNode& selected);
    // The customisation sheet; after OK the window shows what the new customisation says.
    void RunCustomizeSheet();
    void ShowNewReport(const std::filesystem::path& report);
    PageSource CurrentPageSource();
    void RefreshAll();
    void AfterDatabaseChange();
    void SaveWindowState();

    UserPort& m_port;
    Shell m_shell;
    NavigationModel m_model;
    QTreeView* m_tree;
    QStackedWidget* m_rightPane;
    // A folder's list above its page (or the selected row's); an item's page alone.
    QSplitter* m_pageArea;
    ListPaneView* m_list;
    PageView* m_page;
    ReportView* m_reportView;
    QSplitter* m_splitter;
    CommandActions* m_commands;
    EditorRegistry m_editors;
    QLabel* m_statusText;
    QLabel* m_userText;
    QLabel* m_progressText;
    bool m_shown = false;
    std::optional<TreeNode> m_pageAfterFirstRows;  // the folder page waiting for its list
    bool m_listFocused = false;      // the list, rather than the tree, had the focus last
    bool m_reshowAfterList = false;  // the page is made anew once the list is read again
    std::filesystem::path m_importFolder, m_exportFolder;
    ItemDialogs* m_itemDialogs;
    FilterDialogs* m_filterDialogs;
    FindDialog* m_findDialog = nullptr;  // made at the first Find, a child of the window
    // Last, so they end (and stop their workers) while the tree and the shell still stand.
    std::unique_ptr<ExchangeJobs> m_jobs;
    std::unique_ptr<TreeActions> m_treeActions;
};

}  // namespace vantorel
