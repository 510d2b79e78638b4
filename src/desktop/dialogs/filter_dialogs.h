#pragma once
// The filter dialog in the window: New Filter (the Filter menu's "Create New Filter...", the
// Filters folder's "New filter") and Edit Filter, and Edit, Enter or a double-click on a
// filter through the window's editor registry. The model takes the filter's lock as it opens
// (offering to unlock it when someone else holds it). After OK the Filters folder is read
// again, the filter selected and its page shown, and the Filter menu and the toolbar's
// selector list it.

#include <QObject>
#include <memory>

#include "platform/user_port.h"
#include "workspace/commands.h"
#include "workspace/navigation.h"

class QWidget;

namespace vantorel {

class FilterEditor;
class MainWindow;

class FilterDialogs : public QObject {
    Q_OBJECT
public:
    // Registers the filter's dialog with the window's editor registry.
    FilterDialogs(MainWindow& window, UserPort& port);

    // New Filter and Edit Filter.
    static bool Handles(Operation operation);
    // Runs New Filter or Edit Filter; false for any other operation.
    bool Run(Operation operation);

private:
    void Edit(QWidget* parent, const TreeNode& node);
    void New();
    // Shows the dialog over editor, when the model could open; then shows what it saved.
    void RunDialog(QWidget* parent, std::unique_ptr<FilterEditor> editor);

    MainWindow& m_window;
    UserPort& m_port;
};

}  // namespace vantorel
