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

    // Opens an item's editor model, or starts a new one: null after the model told why.
    using Opener = std::function<std::unique_ptr<ItemEditor>(const EditorContext&)>;

private:
    void Edit(QWidget* parent, const TreeNode& node);
    void New(Operation operation);
    // Opens the editor and reads the dialog's lists away from the window's thread, then shows
    // the dialog and, after OK, what it saved. False when the model could not open.
    bool OpenDialog(QWidget* parent, const Opener& open);
    EditorContext Context(const CustomCfg& custom) const;
    // Whether new items can be made in folder, told when not; called away from the window's
    // thread. A folder whose dialog opened is not probed again (a folder that refuses a file
    // later has the save say so).
    bool TakesNewItems(const std::filesystem::path& folder);

    MainWindow& m_window;
    UserPort& m_port;
    std::function<LocalMoment()> m_now = LocalNow;
    std::set<std::filesystem::path> m_foldersTakingItems;
};

}  // namespace vantorel
