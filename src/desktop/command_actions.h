#pragma once
// The main window's commands as Qt actions, built from the core's command table: the main
// menu with its labels and accelerators, the recent databases, the filters, and the toolbar.
// Each action carries its command identifier; triggering one hands that identifier to the
// window. A command whose window this program does not have yet is shown greyed.

#include <QAction>
#include <QMenuBar>
#include <QObject>
#include <QThreadPool>
#include <QToolBar>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "filters/filter.h"
#include "workspace/commands.h"
#include "workspace/shell.h"

class QComboBox;

namespace vantorel {

class CommandActions : public QObject {
    Q_OBJECT
public:
    using Runner = std::function<void(int command)>;
    // window: where the window-wide shortcuts live; selectionViews (the tree, the list pane):
    // where the shortcuts of the selection live (Delete, F2, Enter, Ctrl+C...), so they fire
    // nowhere else.
    CommandActions(QWidget* window, std::vector<QWidget*> selectionViews, Runner run);

    void BuildMenus(QMenuBar* bar);
    void BuildToolbar(QToolBar* toolbar);
    // The File menu's recent databases, in slot order.
    void SetRecentDatabases(const std::vector<MenuEntry>& entries);
    // The Filter menu's and the toolbar selector's filters, by ID; the first entry is no
    // filter. Their names are read from filtersFolder on a thread of their own and shown
    // beside the IDs when they come.
    void SetFilters(const std::vector<std::string>& ids,
                    const std::filesystem::path& filtersFolder = {});
    // The ID of the filter chosen in the menu or the selector; empty for none.
    const std::string& ActiveFilter() const { return m_activeFilter; }
    void ChooseFilter(const std::string& filter);
    // Greys or enables a command everywhere it is shown.
    void SetAvailable(int command, bool available);

    QAction* Action(int command) const;
    // True when this program can run the operation (its window exists).
    static bool Available(Operation operation);

signals:
    void filterChosen(const QString& filter);

private:
    QAction* MakeAction(int command, const QString& label, const QString& icon = {});
    void ShowFilters(const std::vector<FilterChoice>& filters);

    QWidget* m_window;
    std::vector<QWidget*> m_selectionViews;
    Runner m_run;
    std::map<int, QAction*> m_actions;
    QMenu* m_recentMenu = nullptr;
    QMenu* m_filterMenu = nullptr;
    QComboBox* m_filterSelector = nullptr;
    std::vector<QAction*> m_filterActions;
    std::string m_activeFilter;
    // Reads the filters' names; its answer is dropped when the filters changed meanwhile.
    QThreadPool m_filterReader;
    int m_filterGeneration = 0;
};

}  // namespace vantorel
