#include "desktop/command_actions.h"

#include <QActionGroup>
#include <QComboBox>
#include <QMenu>

#include <algorithm>

#include "desktop/dialogs/filter_dialogs.h"
#include "desktop/dialogs/item_dialogs.h"
#include "desktop/widgets/accessible_names.h"

namespace vantorel {
namespace {

// The commands whose shortcut belongs to the selection in the tree or the list: Delete in a
// dialog or Ctrl+C in the page must not act on them.
bool SelectionCommand(int command) {
    switch (command) {
        case ID_EDIT_COPY:
        case ID_EDIT_CUT:
        case ID_EDIT_PASTE:
        case ID_EDIT_DELETE:
        case ID_EDIT_DUPLICATE:
        case ID_EDIT_RENAME:
        case ID_EDIT_PROPERTIES:
            return true;
        default:
            return false;
    }
}

constexpr char kNoFilter[] = "--No Filter--";

}  // namespace

CommandActions::CommandActions(QWidget* window, std::vector<QWidget*> selectionViews, Runner run)
    : QObject(window),
      m_window(window),
      m_selectionViews(std::move(selectionViews)),
      m_run(std::move(run)) {}

bool CommandActions::Available(Operation operation) {
    switch (operation) {
        case Operation::NewDatabase:
        case Operation::OpenDatabase:
        case Operation::CloseDatabase:
        case Operation::OpenRecentDatabase:
        case Operation::Refresh:
        case Operation::Exit:
        case Operation::View:
        case Operation::Back:
        case Operation::Forward:
        case Operation::SelectAll:
        case Operation::Print:
        case Operation::Expand:
        case Operation::Copy:
        case Operation::Cut:
        case Operation::Paste:
        case Operation::Rename:
        case Operation::Duplicate:
        case Operation::Delete:
        case Operation::DeletedItems:
        case Operation::UnlockAllFiles:
        case Operation::ClearFilter:
        case Operation::SetUser:
        case Operation::SetAsCurrentUser:
        case Operation::CustomizeFields:
        case Operation::Options:
        case Operation::SpellingOptions:
        case Operation::DisplayStyle:
        case Operation::About:
        case Operation::HelpOverview:
        case Operation::ReportWizard:
        case Operation::Report:
        case Operation::ExportWeb:
        case Operation::ImportTestCases:
        case Operation::ImportProjectTestCases:
        case Operation::ImportJUnitResults:
        case Operation::ImportTestLink:
        case Operation::ExportTestCasesCsv:
        case Operation::ExportProjectTestCasesCsv:
        case Operation::ExportTestListReportCsv:
        case Operation::ExportTestLink:
        case Operation::BulkUpdate:
        case Operation::SetTotalExpectedDuration:
        case Operation::Find:
        case Operation::FindReplace:
        case Operation::InsertNewTestCase:
            return true;
        default:
            return ItemDialogs::Handles(operation) || FilterDialogs::Handles(operation);
    }
}

QAction* CommandActions::Action(int command) const {
    auto found = m_actions.find(command);
    return found == m_actions.end() ? nullptr : found->second;
}

QAction* CommandActions::MakeAction(int command, const QString& label, const QString& icon) {
    if (QAction* existing = Action(command))
        return existing;
    auto* action = new QAction(label, this);
    if (!icon.isEmpty())
        action->setIcon(QIcon(":/desktop/icons/" + icon + ".svg"));
    action->setData(command);
    action->setEnabled(Available(OperationOf(command)));
    connect(action, &QAction::triggered, this, [this, command] { m_run(command); });
    QList<QKeySequence> keys;
    for (const Accelerator& accelerator : Accelerators()) {
        if (accelerator.id != command)
            continue;
        if (accelerator.key == "Enter")
            keys << QKeySequence(Qt::Key_Return) << QKeySequence(Qt::Key_Enter);
        else
            keys << QKeySequence(QString::fromUtf8(accelerator.key.data(),
                                                   static_cast<qsizetype>(accelerator.key.size())));
    }
    action->setShortcuts(keys);
    if (SelectionCommand(command)) {
        action->setShortcutContext(Qt::WidgetShortcut);
        for (QWidget* view : m_selectionViews)
            view->addAction(action);
    } else {
        action->setShortcutContext(Qt::WindowShortcut);
        m_window->addAction(action);
    }
    m_actions[command] = action;
    return action;
}

void CommandActions::BuildMenus(QMenuBar* bar) {
    std::map<std::string, QMenu*> menus;
    // The keyboard letters taken in each menu, the menu bar's under "".
    std::map<std::string, std::string, std::less<>> taken;
    auto marked = [&](std::string_view caption, std::string_view inMenu) {
        const std::string text = WithMnemonic(caption, taken[std::string(inMenu)]);
        return QString::fromStdString(text);
    };
    auto menuOf = [&](std::string_view path) {
        const std::string key(path);
        if (auto found = menus.find(key); found != menus.end())
            return found->second;
        const auto cut = path.rfind(" / ");
        QMenu* menu = nullptr;
        if (cut == std::string_view::npos) {
            menu = bar->addMenu(marked(path, ""));
        } else {
            const std::string_view parent = path.substr(0, cut);
            menu = menus.at(std::string(parent))->addMenu(marked(path.substr(cut + 3), parent));
        }
        menus[key] = menu;
        return menu;
    };
    for (const MenuCommand& command : MainMenu()) {
        if (!ShownInMenus(command.id))
            continue;
        const std::string_view label = command.label.substr(0, command.label.find('\t'));
        QMenu* menu = menuOf(command.menu);
        QAction* action = MakeAction(command.id, marked(label, command.menu));
        menu->addAction(action);
        if (command.id == ID_FILE_CLOSE_DB) {
            m_recentMenu = menu->addMenu(marked("Recent Databases", command.menu));
            m_recentMenu->setEnabled(false);
        }
        if (command.id == ID_FILTER_NONE)
            m_filterMenu = menu;
    }
    // F10 takes the keyboard to the menu bar, as on other desktops.
    auto* menuKey = new QAction(this);
    menuKey->setShortcut(Qt::Key_F10);
    connect(menuKey, &QAction::triggered, bar,
            [bar] { bar->setActiveAction(bar->actions().value(0)); });
    m_window->addAction(menuKey);
    // The accelerators with no menu item: F5 refreshes, Ctrl+A selects the whole page, Ctrl+X
    // cuts items for a move.
    MakeAction(ID_REFRESH_KEY, "Refresh");
    MakeAction(ID_SELECT_ALL, "Select All");
    MakeAction(ID_EDIT_CUT, "Cut");
}

void CommandActions::BuildToolbar(QToolBar* toolbar) {
    struct Button {
        int command;
        const char* label;
        const char* icon;
    };
    static constexpr Button kButtons[] = {
        {ID_FILE_OPEN_DB, "Open Database", "open"},
        {ID_CREATE_TEST_CASE, "New Test Case", "new-item"},
        {ID_EDIT_PROPERTIES, "Edit", "edit"},
        {0, nullptr, nullptr},
        {ID_EDIT_COPY, "Copy", "copy"},
        {ID_EDIT_PASTE, "Paste", "paste"},
        {ID_EDIT_DELETE, "Delete", "delete"},
        {0, nullptr, nullptr},
        {ID_FILE_REFRESH, "Refresh", "refresh"},
        {ID_EDIT_BACK, "Back", "back"},
        {ID_EDIT_FORWARD, "Forward", "forward"},
        {0, nullptr, nullptr},
        {ID_REPORT_WIZARD, "Report Wizard", "report-wizard"},
        {ID_FILE_PRINT, "Print", "print"},
    };
    for (const Button& button : kButtons) {
        if (!button.label) {
            toolbar->addSeparator();
            continue;
        }
        QAction* action = MakeAction(button.command, button.label);
        action->setIcon(QIcon(QString(":/desktop/icons/") + button.icon + ".svg"));
        toolbar->addAction(action);
    }
    toolbar->addSeparator();
    m_filterSelector = new QComboBox(toolbar);
    m_filterSelector->setObjectName("filterSelector");
    NameForScreenReaders(*m_filterSelector, "Filter");
    m_filterSelector->setMinimumContentsLength(16);
    m_filterSelector->setToolTip("The filter of filtered reports");
    toolbar->addWidget(m_filterSelector);
    connect(m_filterSelector, &QComboBox::activated, this, [this](int index) {
        ChooseFilter(m_filterSelector->itemData(index).toString().toStdString());
    });
    SetFilters({});
}

void CommandActions::SetRecentDatabases(const std::vector<MenuEntry>& entries) {
    if (!m_recentMenu)
        return;
    m_recentMenu->clear();
    for (const MenuEntry& entry : entries) {
        QAction* action = m_recentMenu->addAction(QString::fromStdString(entry.text));
        action->setData(entry.command);
        connect(action, &QAction::triggered, this,
                [this, command = entry.command] { m_run(command); });
    }
    m_recentMenu->setEnabled(!entries.empty());
}

void CommandActions::SetFilters(const std::vector<std::string>& ids,
                                const std::filesystem::path& filtersFolder) {
    std::vector<FilterChoice> filters;
    for (const std::string& id : ids)
        filters.push_back({id, id});
    ShowFilters(filters);
    const int generation = ++m_filterGeneration;
    if (filtersFolder.empty() || ids.empty())
        return;
    m_filterReader.start([this, ids, filtersFolder, generation] {
        QMetaObject::invokeMethod(
            this,
            [this, generation, filters = FilterChoices(filtersFolder, ids)] {
                if (generation == m_filterGeneration)
                    ShowFilters(filters);
            },
            Qt::QueuedConnection);
    });
}

void CommandActions::ShowFilters(const std::vector<FilterChoice>& filters) {
    if (std::ranges::find(filters, m_activeFilter, &FilterChoice::id) == filters.end())
        m_activeFilter.clear();
    for (QAction* action : m_filterActions)
        delete action;
    m_filterActions.clear();
    if (m_filterMenu) {
        for (const FilterChoice& filter : filters) {
            // An ampersand of the name is shown, not taken for a keyboard letter.
            QAction* action =
                m_filterMenu->addAction(QString::fromStdString(filter.caption).replace('&', "&&"));
            action->setData(QString::fromStdString(filter.id));
            action->setCheckable(true);
            action->setChecked(filter.id == m_activeFilter);
            connect(action, &QAction::triggered, this,
                    [this, id = filter.id] { ChooseFilter(id); });
            m_filterActions.push_back(action);
        }
    }
    if (m_filterSelector) {
        m_filterSelector->clear();
        m_filterSelector->addItem(kNoFilter, QString());
        for (const FilterChoice& filter : filters)
            m_filterSelector->addItem(QString::fromStdString(filter.caption),
                                      QString::fromStdString(filter.id));
        m_filterSelector->setCurrentIndex(
            std::max(0, m_filterSelector->findData(QString::fromStdString(m_activeFilter))));
    }
}

void CommandActions::ChooseFilter(const std::string& filter) {
    m_activeFilter = filter;
    const QString id = QString::fromStdString(filter);
    for (QAction* action : m_filterActions)
        action->setChecked(action->data().toString() == id);
    if (m_filterSelector)
        m_filterSelector->setCurrentIndex(std::max(0, m_filterSelector->findData(id)));
    emit filterChosen(id);
}

void CommandActions::SetAvailable(int command, bool available) {
    if (QAction* action = Action(command))
        action->setEnabled(available);
}

}  // namespace vantorel
