#include "desktop/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QHeaderView>
#include <QPointer>
#include <QPrintDialog>
#include <QPrinter>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <chrono>
#include <ctime>

#include "desktop/dialogs/csv_export_dialog.h"
#include "desktop/dialogs/csv_import_dialog.h"
#include "desktop/dialogs/customize_sheet.h"
#include "desktop/dialogs/deleted_items_dialog.h"
#include "desktop/dialogs/filter_dialogs.h"
#include "desktop/dialogs/find_dialog.h"
#include "desktop/dialogs/item_dialog.h"
#include "desktop/dialogs/item_dialogs.h"
#include "desktop/dialogs/junit_import_dialog.h"
#include "desktop/dialogs/multi_edit_dialog.h"
#include "desktop/dialogs/settings_dialogs.h"
#include "desktop/dialogs/shell_dialogs.h"
#include "desktop/dialogs/web_export_dialog.h"
#include "desktop/exchange_jobs.h"
#include "desktop/help/help_window.h"
#include "desktop/reports/report_wizard_dialog.h"
#include "desktop/tree/tree_actions.h"
#include "desktop/widgets/accessible_names.h"
#include "documents/customize_editor.h"
#include "documents/test_group.h"
#include "filters/filter.h"
#include "reports/report_wizard.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/thread_guard.h"
#include "workspace/exchange_targets.h"
#include "workspace/help.h"
#include "workspace/insert_test_case.h"

namespace vantorel {
namespace fs = std::filesystem;

MainWindow::MainWindow(UserPort& port, ShellFolders folders, UserIdentity identity, QWidget* parent)
    : QMainWindow(parent),
      m_port(port),
      m_shell(port, *this, std::move(folders), std::move(identity)),
      m_model(this),
      m_tree(new QTreeView),
      m_rightPane(new QStackedWidget),
      m_pageArea(new QSplitter(Qt::Vertical)),
      m_list(new ListPaneView),
      m_page(new PageView(port)),
      m_reportView(new ReportView(port)),
      m_splitter(new QSplitter(Qt::Horizontal)) {
    setObjectName("mainWindow");
    setWindowIcon(QIcon(":/desktop/icons/vantorel.svg"));

    m_tree->setObjectName("navigationTree");
    m_tree->setAccessibleName("Database tree");
    m_tree->setModel(&m_model);
    m_tree->setHeaderHidden(true);
    m_tree->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_tree->setEditTriggers(QAbstractItemView::EditKeyPressed);
    m_tree->setDragDropMode(QAbstractItemView::DragDrop);
    m_tree->setDefaultDropAction(Qt::MoveAction);
    m_tree->setUniformRowHeights(true);
    connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
        m_commands->SetAvailable(ID_EDIT_PROPERTIES, CanRun(ID_EDIT_PROPERTIES));
        ShowSelected();
    });
    connect(m_tree, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        const TreeNode* node = m_model.NodeAt(index);
        if (node && !IsFolderKind(node->kind))
            RunCommand(ID_EDIT_PROPERTIES);
    });

    auto* blank = new QWidget;
    blank->setObjectName("blankPane");
    m_rightPane->addWidget(blank);
    m_pageArea->setObjectName("pageArea");
    m_pageArea->setAccessibleName("Folder list and item page");
    m_pageArea->addWidget(m_list);
    m_pageArea->addWidget(m_page);
    m_pageArea->setStretchFactor(0, 3);
    m_pageArea->setStretchFactor(1, 2);
    m_pageArea->setChildrenCollapsible(false);
    m_list->hide();
    m_rightPane->addWidget(m_pageArea);
    m_rightPane->addWidget(m_reportView);
    connect(m_list, &ListPaneView::currentRowChanged, this,
            [this](const std::optional<TreeNode>& row) {
                if (row)
                    m_page->Show(*row);
                else if (const std::optional<TreeNode> folder = CurrentNode())
                    m_page->Show(*folder);
                m_commands->SetAvailable(ID_EDIT_PROPERTIES, CanRun(ID_EDIT_PROPERTIES));
            });
    // A double-click: an item's dialog, or into a folder or report.
    connect(m_list, &ListPaneView::rowActivated, this, [this](const TreeNode& node) {
        if (IsFolderKind(node.kind) || node.kind == TV_RPT_DOC)
            SelectPath(node.path);
        else if (m_editors.CanEdit(node.kind))
            m_editors.Open(this, node);
    });
    connect(m_list, &ListPaneView::rowsReplaced, this, [this] {
        if (!std::exchange(m_reshowAfterList, false))
            return;
        std::optional<TreeNode> shown = m_list->CurrentRowNode();
        if (!shown)
            shown = CurrentNode();
        if (shown)
            m_page->ShowAnew(*shown);
    });
    connect(m_list, &ListPaneView::statusChanged, this, [this](const QString& text) {
        m_statusText->setText(text);
        if (std::optional<TreeNode> page = std::exchange(m_pageAfterFirstRows, std::nullopt))
            m_page->Show(*page);
    });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        if (now == m_list)
            m_listFocused = true;
        else if (now == m_tree)
            m_listFocused = false;
    });
    connect(m_page, &PageView::itemRequested, this,
            [this](const fs::path& item) { SelectPath(item); });
    connect(m_page, &PageView::addBugRequested, this, [this](const fs::path& item) {
        RunLinkedCommand(m_shell.Configuration().Settings(), LinkedCommand::AddFaultReport, item,
                         m_port);
    });
    connect(m_reportView, &ReportView::itemRequested, this,
            [this](const fs::path& item) { SelectPath(item); });
    m_splitter->setObjectName("splitter");
    m_splitter->setAccessibleName("Tree and right pane");
    m_splitter->addWidget(m_tree);
    m_splitter->addWidget(m_rightPane);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setChildrenCollapsible(false);
    setCentralWidget(m_splitter);

    m_commands =
        new CommandActions(this, {m_tree, m_list}, [this](int command) { RunCommand(command); });
    m_commands->BuildMenus(menuBar());
    auto* toolbar = addToolBar("Toolbar");
    toolbar->setObjectName("toolbar");
    toolbar->setMovable(false);
    toolbar->setIconSize({20, 20});
    m_commands->BuildToolbar(toolbar);
    NameToolbarOverflow(*toolbar);
    // The toolbar's filter hides the project test cases that fail it in the list.
    connect(m_commands, &CommandActions::filterChosen, this, [this] {
        if (const std::optional<TreeNode> current = CurrentNode();
            current && m_list->isVisible() && m_list->Folder())
            ShowList(*current);
    });

    // Three parts: a quarter of the width for the state, the current user up to three fifths,
    // the progress counter the rest.
    m_statusText = new QLabel("Ready");
    m_statusText->setObjectName("stateText");
    m_statusText->setAccessibleName("State");
    m_importFolder = m_shell.Folders().documents.empty() ? fs::path(QDir::homePath().toStdString())
                                                         : m_shell.Folders().documents;
    m_exportFolder = m_importFolder;
    m_userText = new QLabel;
    m_userText->setObjectName("currentUser");
    m_userText->setAccessibleName("Current user");
    m_progressText = new QLabel;
    m_progressText->setObjectName("progress");
    m_progressText->setAccessibleName("Progress");
    // A long state ("1 item cut: ...") takes room from the user's part: a gap keeps the two
    // apart.
    for (QLabel* part : {m_statusText, m_userText})
        part->setContentsMargins(0, 0, 16, 0);
    statusBar()->addWidget(m_statusText, 25);
    statusBar()->addWidget(m_userText, 35);
    statusBar()->addWidget(m_progressText, 40);

    m_jobs = std::make_unique<ExchangeJobs>(*statusBar(), port);
    m_itemDialogs = new ItemDialogs(*this, port);
    m_filterDialogs = new FilterDialogs(*this, port);
    m_treeActions = std::make_unique<TreeActions>(*this, port);
    // The shown item changed on disk: its page is made anew. This comes once the tree shows
    // the change, so one that went away has left the tree, and the selection that followed
    // showed its own page.
    connect(m_treeActions.get(), &TreeActions::shownItemChanged, this, [this] {
        const std::optional<TreeNode> current = CurrentNode();
        if (!current)
            return;
        // A listed folder's items are read again in place, and its page (or the selected
        // row's) is made anew once they are: a row that went may be the one shown.
        if (m_list->isVisible() && m_list->Folder() && m_list->Folder()->path == current->path) {
            m_reshowAfterList = true;
            ShowList(*current);
            return;
        }
        if (m_rightPane->currentWidget() == m_reportView)
            m_reportView->Reshow();
        else
            m_page->Reshow();
    });
    connect(m_treeActions.get(), &TreeActions::foldersRefreshed, this,
            [this] { AfterDatabaseChange(); });
}

MainWindow::~MainWindow() {
    // The shell, the model and the editor registry are members, which C++ destroys before
    // QWidget's destructor deletes the child widgets. So the workers stop and every child
    // widget goes here, first, while everything they read still stands: a dialog joining its
    // worker, or a page view whose engine serves one more request as it goes, finds the shell
    // whole.
    m_jobs.reset();
    m_treeActions.reset();
    disconnect(qApp, &QApplication::focusChanged, this, nullptr);
    QList<QPointer<QWidget>> children;
    for (QWidget* child : findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        children.push_back(child);
    // A child's destructor may take a sibling with it; the pointer then reads null.
    for (const QPointer<QWidget>& child : children)
        delete child.data();
}

// The configuration is read by the shell's start-up, after the window is made: the window
// takes its rectangle and the tree's width when it is first shown.
void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (m_shown)
        return;
    m_shown = true;
    const ConfigSettings& settings = m_shell.Configuration().Settings();
    if (settings.width > 0 && settings.height > 0) {
        setGeometry(settings.xPos, settings.yPos, settings.width, settings.height);
    } else if (!testAttribute(Qt::WA_Resized)) {
        // A first start: two thirds of the screen, centred, rather than the layout's least.
        const QRect available = screen()->availableGeometry();
        QRect first(0, 0, available.width() * 2 / 3, available.height() * 2 / 3);
        first.moveCenter(available.center());
        setGeometry(first);
    }
    const int treeWidth = settings.treeWidth > 0 ? settings.treeWidth : width() / 3;
    m_splitter->setSizes({treeWidth, std::max(1, width() - treeWidth)});
}

void MainWindow::SaveWindowState() {
    // A window never shown has no rectangle worth keeping.
    if (!m_shown)
        return;
    ConfigSettings& settings = m_shell.Configuration().Settings();
    const QRect frame = geometry();
    settings.xPos = frame.x();
    settings.yPos = frame.y();
    settings.width = frame.width();
    settings.height = frame.height();
    settings.treeWidth = m_splitter->sizes().value(0);
    KeepListLayout();
    m_shell.Configuration().Write();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    m_jobs->StopAndWait();
    m_treeActions->StopTransfer();
    SaveWindowState();
    event->accept();
}

void MainWindow::SetCaption(const std::string& title) {
    setWindowTitle(QString::fromStdString(title));
}

void MainWindow::RebuildTree() {
    // Whatever the database changed to, a copy, move, import or export into the old one ends
    // here.
    m_jobs->StopAndWait();
    m_treeActions->StopTransfer();
    // What it found belongs to the database before.
    if (m_findDialog)
        m_findDialog->Forget();
    VantorelDatabase& database = m_shell.Database();
    const bool open = database.IsOpen();
    m_model.SetDatabase(open ? database.Directory() : fs::path(), m_shell.SharedCustom(),
                        m_shell.Configuration().Settings().changeIconsInTreeview);
    AfterDatabaseChange();
}

PageSource MainWindow::CurrentPageSource() {
    VantorelDatabase& database = m_shell.Database();
    if (!database.IsOpen())
        return {};
    const ConfigSettings& settings = m_shell.Configuration().Settings();
    return {database.Directory(), m_shell.SharedCustom(),
            m_shell.Folders().StylesFolder() / settings.templatePath, !settings.addBugPath.empty()};
}

// The renumbering and the new document are made on the transfer worker; the new test case's
// dialog opens once its folder is read again.
void MainWindow::InsertNewTestCase(const TreeNode& selected) {
    auto made = std::make_shared<std::optional<fs::path>>();
    m_treeActions->RunJob(
        [port = &m_port, selected, made, custom = m_shell.SharedCustom(),
         identity = m_shell.Identity()](std::stop_token) {
            *made = InsertTestCase(selected, {*port, *custom, identity});
            TransferResult result;
            if (*made)
                result.written.push_back(**made);
            return result;
        },
        {selected.path.parent_path()},
        [this, made, kind = selected.kind] {
            if (*made)
                m_editors.Open(this, {**made, kind, ItemLabel(**made, kind)});
        });
}

void MainWindow::AfterDatabaseChange() {
    VantorelDatabase& database = m_shell.Database();
    m_page->SetSource(CurrentPageSource());
    m_commands->SetRecentDatabases(RecentDatabaseMenu(m_shell.Configuration().Settings()));
    // The filters the tree lists: read once, then kept by the watcher's refreshes.
    std::vector<std::string> filters;
    const fs::path filtersFolder = database.Directory() / std::string(kFiltersFolder);
    if (database.IsOpen())
        for (const TreeNode& node : m_model.ChildrenOf(filtersFolder))
            if (node.kind == TV_FILTER_DOC)
                filters.push_back(node.label);
    std::ranges::sort(filters);
    m_commands->SetFilters(filters, database.IsOpen() ? filtersFolder : fs::path());
    m_statusText->setText(QString::fromStdString(m_shell.StateText()));
}

void MainWindow::ClearRightPane() {
    m_page->Clear();
    m_reportView->Clear();
    m_rightPane->setCurrentIndex(0);
}

void MainWindow::ShowCurrentUser(const std::string& text) {
    m_userText->setText(QString::fromStdString(text));
}

void MainWindow::ShowProgress(const std::string& text) {
    m_progressText->setText(QString::fromStdString(text));
}

void MainWindow::ShowStatus(const QString& text) {
    m_statusText->setText(text);
}

void MainWindow::ShowReportedProgress(int processed, int total) {
    m_shell.ReportProgress(processed, total);
}

void MainWindow::ShowNewCustomisation() {
    m_model.SetCustom(m_shell.SharedCustom());
    m_page->SetSource(CurrentPageSource());
}

void MainWindow::ApplyOptions() {
    m_model.SetStatusIcons(m_shell.Configuration().Settings().changeIconsInTreeview);
    // "Add Bug" comes or goes with the fault report command.
    m_page->SetSource(CurrentPageSource());
    m_page->Reshow();
}

void MainWindow::RunSetUserDialog() {
    if (!m_shell.Database().IsOpen())
        return;
    // The dialog changes a copy; the shell takes it as its new snapshot.
    CustomCfg custom = m_shell.Custom();
    if (vantorel::RunSetUserDialog(this, m_shell.Database().Directory(), custom,
                                   m_shell.Identity().computer, m_shell.CurrentUser(), m_port)) {
        m_shell.ReplaceCustom(std::move(custom));
        m_shell.RefreshCurrentUser();
    }
}

void MainWindow::SetCurrentUserTo(const TreeNode& tester) {
    CustomCfg custom = m_shell.Custom();
    if (ChooseCurrentUser(m_shell.Database().Directory(), custom, m_shell.Identity().computer,
                          {tester.label}, 0, m_port)) {
        m_shell.ReplaceCustom(std::move(custom));
        m_shell.RefreshCurrentUser();
    }
}

void MainWindow::RunCustomizeSheet() {
    VantorelDatabase& database = m_shell.Database();
    const fs::path* databaseDir = database.IsOpen() ? &database.Directory() : nullptr;
    CustomCfg custom = m_shell.Custom();
    if (!vantorel::RunCustomizeSheet(this, databaseDir, custom, m_shell.Identity(), m_port))
        return;
    // The tree's status icons, the page and the dialogs opened from now on all read the new
    // customisation; workers still running keep the one they started with.
    m_shell.ReplaceCustom(std::move(custom));
    if (m_rightPane->currentWidget() == m_reportView)
        m_reportView->Show(m_reportView->Report(), m_shell.SharedCustom(),
                           m_shell.Configuration().Settings().printFooter);
    else if (m_rightPane->currentWidget() == m_pageArea)
        m_page->Reshow();
}

ShellView::StartupAnswer MainWindow::AskStartupOptions(const std::string& lastDatabaseName) {
    return RunStartupDialog(this, lastDatabaseName);
}

std::optional<fs::path> MainWindow::AskDatabaseFile() {
    const fs::path start = m_shell.Database().IsOpen()
                               ? m_shell.Database().Directory().parent_path()
                               : m_shell.Folders().documents;
    return ChooseDatabaseFile(this, start);
}

std::optional<fs::path> MainWindow::AskNewDatabaseFolder() {
    return RunNewDatabaseDialog(this);
}

std::vector<TreeNode> MainWindow::SelectedNodes() const {
    if (ListActive())
        if (std::vector<TreeNode> rows = m_list->SelectedNodes(); !rows.empty())
            return rows;
    std::vector<TreeNode> nodes;
    for (const QModelIndex& index : m_tree->selectionModel()->selectedIndexes())
        if (const TreeNode* node = m_model.NodeAt(index))
            nodes.push_back(*node);
    if (nodes.empty())
        if (std::optional<TreeNode> current = CurrentNode())
            nodes.push_back(*current);
    return nodes;
}

std::optional<TreeNode> MainWindow::ActiveNode() const {
    if (ListActive())
        if (std::optional<TreeNode> row = m_list->CurrentRowNode())
            return row;
    return CurrentNode();
}

std::optional<TreeNode> MainWindow::CurrentNode() const {
    if (const TreeNode* node = m_model.NodeAt(m_tree->currentIndex()))
        return *node;
    return std::nullopt;
}

void MainWindow::LeaveRows(const std::vector<TreeNode>& doomed) {
    const std::optional<TreeNode> row = m_list->CurrentRowNode();
    if (!row || !m_list->isVisible() || std::ranges::find(doomed, *row) == doomed.end())
        return;
    m_list->selectionModel()->setCurrentIndex({}, QItemSelectionModel::NoUpdate);
}

void MainWindow::SelectPath(const fs::path& path) {
    if (!m_shell.Database().IsOpen())
        return;
    const QModelIndex index = m_model.IndexOf(ReselectPath(m_shell.Database().Directory(), path));
    if (!index.isValid())
        return;
    m_tree->setCurrentIndex(index);
    m_tree->scrollTo(index);
}

CommandState MainWindow::State() {
    CommandState state;
    VantorelDatabase& database = m_shell.Database();
    state.databaseOpen = database.IsOpen();
    const std::vector<TreeNode> selection = SelectedNodes();
    if (!selection.empty()) {
        const NodeKind kind = selection.front().kind;
        state.projectSelected = kind == TV_PRJ_PRJ_FLD;
        state.projectReportsSelected =
            kind == TV_PRJ_PRJ_FLD || kind == TV_PRJ_RPTS_FLD || kind == TV_RPT_FLD;
    }
    // From the tree's rows, not a listing of the folder at every command.
    if (state.databaseOpen) {
        const std::vector<TreeNode> projects =
            m_model.ChildrenOf(database.Directory() / "Projects");
        state.anyProject = std::ranges::any_of(
            projects, [](const TreeNode& node) { return node.kind == TV_PRJ_PRJ_FLD; });
    }
    for (const TreeNode& node : selection)
        state.testersSelected += node.kind == TV_TESTER_DOC;
    state.insideProject = state.databaseOpen && !selection.empty() &&
                          ProjectOf(database.Directory(), selection.front().path).has_value();
    return state;
}

bool MainWindow::CanRun(int command) const {
    const Operation operation = OperationOf(command);
    if (operation == Operation::Properties) {
        const std::optional<TreeNode> current = ActiveNode();
        return current && m_editors.CanEdit(current->kind);
    }
    return CommandActions::Available(operation);
}

void MainWindow::RunCommand(int command) {
    const Operation operation = OperationOf(command);
    if (!CanRun(command))
        return;
    if (std::optional<Notice> refusal = CommandRefusal(operation, State())) {
        m_port.tell(*refusal);
        return;
    }
    if (m_treeActions->Run(operation) || m_itemDialogs->Run(operation) ||
        m_filterDialogs->Run(operation))
        return;
    switch (operation) {
        case Operation::NewDatabase:
            m_shell.OnNewDatabase();
            break;
        case Operation::OpenDatabase:
            if (std::optional<fs::path> marker = AskDatabaseFile())
                m_shell.OpenDatabase(*marker);
            break;
        case Operation::OpenRecentDatabase: {
            const auto& recent = m_shell.Configuration().Settings().recentDatabases;
            const std::size_t slot = static_cast<std::size_t>(command - ID_FILE_RECENT_FIRST);
            if (slot < recent.size() && !recent[slot].empty())
                m_shell.OpenDatabase(fs::path(recent[slot]));
            break;
        }
        case Operation::CloseDatabase:
            m_shell.OnCloseDatabase();
            break;
        case Operation::Refresh:
            RefreshAll();
            break;
        case Operation::Exit:
            close();
            break;
        case Operation::View:
            ShowSelected();
            break;
        case Operation::Properties: {
            // Several test cases selected: one dialog for all of them.
            const std::vector<TreeNode> selected = SelectedNodes();
            if (selected.size() > 1 && std::ranges::any_of(selected, [](const TreeNode& node) {
                    return node.kind == TV_TEST_TEST_DOC || node.kind == TV_PRJ_TEST_DOC;
                }))
                RunMultiEdit(*this, m_port, selected);
            else
                m_editors.Open(this, *ActiveNode());
            break;
        }
        case Operation::InsertNewTestCase:
            if (const std::optional<TreeNode> node = ActiveNode();
                node && (node->kind == TV_TEST_TEST_DOC || node->kind == TV_PRJ_TEST_DOC))
                InsertNewTestCase(*node);
            break;
        case Operation::Find:
        case Operation::FindReplace:
            if (!m_findDialog)
                m_findDialog = new FindDialog(*this, m_port);
            m_findDialog->Open(operation == Operation::FindReplace);
            break;
        case Operation::BulkUpdate:
            if (const std::optional<TreeNode> suite = ActiveNode())
                RunBulkUpdate(*this, m_port, *suite, command);
            break;
        case Operation::SetTotalExpectedDuration:
            if (const std::optional<TreeNode> suite = ActiveNode())
                RunSetTotalDuration(*this, m_port, *suite);
            break;
        case Operation::Back:
            m_page->back();
            break;
        case Operation::Forward:
            m_page->forward();
            break;
        case Operation::SelectAll:
            // The page selects its text, the list all its rows; elsewhere the key does nothing.
            if (m_page->hasFocus() || m_page->isAncestorOf(QApplication::focusWidget()))
                m_page->triggerPageAction(QWebEnginePage::SelectAll);
            else if (ListActive())
                m_list->selectAll();
            break;
        case Operation::Print:
            Print();
            break;
        case Operation::ReportWizard:
            StartReportWizard();
            break;
        case Operation::Report:
            MakeReportNow(command);
            break;
        case Operation::ExportWeb:
            OpenWebExportDialog(*this, m_port);
            break;
        case Operation::ImportTestCases:
        case Operation::ImportProjectTestCases:
        case Operation::ImportTestLink:
            OpenCsvImportDialog(*this, m_port, operation);
            break;
        case Operation::ImportJUnitResults:
            OpenJUnitImportDialog(*this, m_port);
            break;
        case Operation::DeletedItems:
            OpenDeletedItemsDialog(*this, m_port);
            break;
        case Operation::ExportTestCasesCsv:
        case Operation::ExportProjectTestCasesCsv:
        case Operation::ExportTestListReportCsv:
        case Operation::ExportTestLink:
            OpenCsvExportDialog(*this, m_port, operation);
            break;
        case Operation::ClearFilter:
            m_commands->ChooseFilter({});
            break;
        case Operation::SetUser:
            RunSetUserDialog();
            break;
        case Operation::SetAsCurrentUser:
            if (const std::optional<TreeNode> tester = ActiveNode();
                tester && tester->kind == TV_TESTER_DOC)
                SetCurrentUserTo(*tester);
            else
                RunSetUserDialog();
            break;
        case Operation::CustomizeFields:
            RunCustomizeSheet();
            break;
        case Operation::Options:
            if (RunOptionsDialog(this, m_shell.Configuration(), m_port))
                ApplyOptions();
            break;
        case Operation::SpellingOptions:
            RunSpellingOptionsDialog(this, m_shell.Configuration(), m_shell.Folders().data, m_port);
            break;
        case Operation::DisplayStyle:
            if (RunDisplayStyleDialog(this, m_shell.Configuration(),
                                      m_shell.Folders().StylesFolder(), m_port)) {
                m_page->SetSource(CurrentPageSource());
                m_page->Reshow();
            }
            break;
        case Operation::About:
            ShowAboutBox(this);
            break;
        case Operation::HelpOverview:
            ShowHelp(*this, HelpPageOf(HelpSubject::Overview));
            break;
        default:
            break;
    }
}

void MainWindow::RefreshAll() {
    if (!m_shell.Database().IsOpen())
        return;
    const std::optional<TreeNode> current = CurrentNode();
    // Every folder read so far is read again; the rest is read when it is expanded.
    std::vector<fs::path> folders{m_shell.Database().Directory()};
    for (std::size_t next = 0; next < folders.size(); ++next) {
        const QModelIndex index = m_model.IndexOf(folders[next]);
        m_model.RefreshFolder(folders[next]);
        for (int row = 0; row < m_model.rowCount(index); ++row) {
            const QModelIndex child = m_model.index(row, 0, index);
            if (m_model.rowCount(child) > 0)
                folders.push_back(m_model.NodeAt(child)->path);
        }
    }
    AfterDatabaseChange();
    if (current)
        SelectPath(current->path);
    ShowSelected();
}

void MainWindow::RefreshBelow(const fs::path& folder) {
    if (!m_shell.Database().IsOpen())
        return;
    std::vector<fs::path> folders{folder};
    for (std::size_t next = 0; next < folders.size(); ++next) {
        m_model.RefreshFolder(folders[next]);
        const QModelIndex index = m_model.IndexOf(folders[next]);
        for (int row = 0; row < m_model.rowCount(index); ++row) {
            const QModelIndex child = m_model.index(row, 0, index);
            if (m_model.rowCount(child) > 0)
                folders.push_back(m_model.NodeAt(child)->path);
        }
    }
    m_tree->expand(m_model.IndexOf(folder));
    ShowSelected();
}

void MainWindow::ShowSelected() {
    const std::optional<TreeNode> current = CurrentNode();
    const bool listed = current && m_shell.Database().IsOpen() && PaneOfFolder(current->kind);
    if (!listed) {
        KeepListLayout();
        m_list->Clear();
        m_list->hide();
        m_statusText->setText(QString::fromStdString(m_shell.StateText()));
    }
    if (!current || !m_shell.Database().IsOpen()) {
        m_rightPane->setCurrentIndex(0);
        return;
    }
    if (current->kind == TV_RPT_DOC) {
        m_reportView->Show(current->path, m_shell.SharedCustom(),
                           m_shell.Configuration().Settings().printFooter);
        m_rightPane->setCurrentWidget(m_reportView);
        return;
    }
    if (listed) {
        ShowList(*current);
        m_list->show();
    }
    const std::optional<TreeNode> row = listed ? m_list->CurrentRowNode() : std::nullopt;
    // A folder listed afresh shows its table first: its page (for a project suite a table of
    // its own, read from the same documents) follows the first rows, so on a small machine the
    // two don't compete for the processor while the user waits for the list.
    m_pageAfterFirstRows.reset();
    if (listed && !row && m_list->Model().rowCount() == 0) {
        m_pageAfterFirstRows = *current;
        m_page->ShowLater();
    } else {
        m_page->Show(row ? *row : *current);
    }
    m_rightPane->setCurrentWidget(m_pageArea);
}

void MainWindow::ShowList(const TreeNode& folder) {
    const ListPane pane = *PaneOfFolder(folder.kind);
    if (m_list->Folder() && m_list->Folder()->path != folder.path)
        KeepListLayout();
    const fs::path database = m_shell.Database().Directory();
    const ConfigSettings& settings = m_shell.Configuration().Settings();
    std::optional<fs::path> filterFile;
    if (const std::string& filter = m_commands->ActiveFilter(); !filter.empty())
        filterFile =
            database / std::string(kFiltersFolder) / (filter + std::string(kItemExtension));
    m_list->Show({database, folder, m_shell.SharedCustom(), {}, settings.showExtraTsInfo},
                 std::move(filterFile), settings.columns[pane]);
}

void MainWindow::KeepListLayout() {
    if (const std::optional<ListPane> pane = m_list->Model().Pane(); pane && m_list->Folder())
        m_shell.Configuration().Settings().columns[*pane] = m_list->Layout();
}

void MainWindow::FocusList() {
    m_list->setFocus();
    m_listFocused = true;
}

bool MainWindow::ListActive() const {
    return m_listFocused && m_list->isVisible() && m_list->Folder().has_value();
}

void MainWindow::StartReportWizard() {
    WindowThreadMayRead mayRead(kDialogReads);
    const fs::path database = m_shell.Database().Directory();
    ReportWizardDialog::Start start;
    start.filter = m_commands->ActiveFilter();
    // The project of the selected node, whatever lies below it.
    if (const std::optional<TreeNode> current = CurrentNode()) {
        const fs::path below = current->path.lexically_relative(database / "Projects");
        if (!below.empty() && *below.begin() != "..")
            start.project = below.begin()->string();
    }
    auto* wizard = new ReportWizardDialog(database, m_port, m_shell.SharedCustom(), start, this);
    wizard->setAttribute(Qt::WA_DeleteOnClose);
    connect(wizard, &QDialog::accepted, this, [this, wizard] {
        if (wizard->Report())
            ShowNewReport(*wizard->Report());
    });
    wizard->open();
}

void MainWindow::MakeReportNow(int command) {
    const std::optional<ReportShortcut> shortcut = ReportShortcutOf(command);
    const std::optional<TreeNode> current = CurrentNode();
    const fs::path database = m_shell.Database().Directory();
    const std::optional<fs::path> project =
        current ? ProjectOf(database, current->path) : std::nullopt;
    if (!shortcut || !project)
        return;
    // Made on the transfer worker with the status bar's count and Cancel; the written report
    // is then selected, which shows it.
    const fs::path folder = *project / std::string(kProjectReportsFolder) /
                            std::string(KindInfo(shortcut->kind).folder);
    m_treeActions->RunJob(
        [port = &m_port, database, project = *project, shortcut = *shortcut,
         filter = m_commands->ActiveFilter(),
         custom = m_shell.SharedCustom()](std::stop_token stop) {
            TransferResult result;
            if (std::optional<fs::path> report =
                    vantorel::MakeReportNow(database, project, shortcut.kind, shortcut.filtered,
                                            filter, {*port, *custom}, std::move(stop)))
                result.written.push_back(std::move(*report));
            return result;
        },
        {folder}, {});
}

void MainWindow::ShowNewReport(const fs::path& report) {
    // A report written over the one selected is shown anew; any other is shown as it is
    // selected.
    const std::optional<TreeNode> before = CurrentNode();
    m_model.RefreshFolder(report.parent_path());
    SelectPath(report);
    if (before && before->path == report)
        ShowSelected();
}

void MainWindow::Print() {
    if (m_rightPane->currentWidget() == m_reportView) {
        m_reportView->Print();
        return;
    }
    if (m_rightPane->currentWidget() != m_pageArea)
        return;
    // Several selected items print their pages one after the other, after one question.
    const std::vector<TreeNode> items = SelectedNodes();
    if (!ConfirmPrints(items, m_port))
        return;
    auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
    QPrintDialog dialog(printer.get(), this);
    if (dialog.exec() == QDialog::Accepted)
        PrintPages(items, std::move(printer));
}

void MainWindow::PrintPages(const std::vector<TreeNode>& items, std::unique_ptr<QPrinter> printer) {
    std::optional<PrintedItems> footer;
    if (m_shell.Configuration().Settings().printFooter) {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        const std::optional<TreeNode> shown = CurrentNode();
        footer = PrintedItemsOf(
            m_shell.Database().Directory(), items.empty() && shown ? std::vector{*shown} : items,
            std::chrono::year_month_day{std::chrono::year(local.tm_year + 1900),
                                        std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)),
                                        std::chrono::day(static_cast<unsigned>(local.tm_mday))});
    }
    if (items.size() > 1)
        m_page->PrintPages(items, std::move(printer), std::move(footer));
    else
        m_page->PrintWith(std::move(printer), std::move(footer));
}

}  // namespace vantorel
