#pragma once
// The item dialogs in the window: an editor for every kind of item that has a dialog, opened
// through the window's editor registry (Edit, Enter, double-click), and the New commands of
// the menus, toolbar and context menus. The core model of each dialog takes the item's lock as
// it opens and decides everything; after OK the item's folder is read again in the tree, the
// item selected and its page shown anew.

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>

#include "documents/item_editor.h"
#include "workspace/commands.h"
#include "workspace/navigation.h"

namespace vantorel {

class MainWindow;

class ItemDialogs : public QObject {
    Q_OBJECT
public:
    // Registers the dialog of every kind that has one with the window's editor registry.
    ItemDialogs(MainWindow& window, UserPort& port);

    // The New commands whose dialog exists.
    static bool Handles(Operation operation);
    // Runs a New command whose dialog exists; false for any other operation.
    bool Run(Operation operation);
    // The clock the models stamp what they save with; tests fix it.
    void SetClock(std::function<LocalMoment()> now) { m_now = std::move(now); }

private:
    void Edit(QWidget* parent, const TreeNode& node);
    void New(Operation operation);
    // Shows the dialog over editor, when the model could open; then shows what it saved.
    void RunDialog(QWidget* parent, std::unique_ptr<ItemEditor> editor, const CustomCfg& custom);
    EditorContext Context(const CustomCfg& custom) const;
    bool AutomaticIds() const;
    // Whether new items can be made in folder, told when not. The answer is kept, so a folder
    // is probed once (a folder that refuses a file later has the save say so).
    bool TakesNewItems(const std::filesystem::path& folder);

    MainWindow& m_window;
    UserPort& m_port;
    std::function<LocalMoment()> m_now = LocalNow;
    std::set<std::filesystem::path> m_foldersTakingItems;
};

}  // namespace vantorel
