#include "desktop/dialogs/filter_dialogs.h"

#include "desktop/dialogs/filter_dialog.h"
#include "desktop/main_window.h"
#include "filters/filter_editor.h"
#include "storage/identifiers.h"
#include "storage/thread_guard.h"

namespace vantorel {
namespace fs = std::filesystem;

FilterDialogs::FilterDialogs(MainWindow& window, UserPort& port)
    : QObject(&window), m_window(window), m_port(port) {
    window.Editors().Register(
        TV_FILTER_DOC, [this](QWidget* parent, const TreeNode& node) { Edit(parent, node); });
}

bool FilterDialogs::Handles(Operation operation) {
    return operation == Operation::NewFilter || operation == Operation::EditFilter;
}

bool FilterDialogs::Run(Operation operation) {
    if (!Handles(operation))
        return false;
    if (operation == Operation::NewFilter) {
        New();
    } else if (const std::optional<TreeNode> current = m_window.CurrentNode();
               current && current->kind == TV_FILTER_DOC) {
        m_window.Editors().Open(&m_window, *current);
    }
    return true;
}

void FilterDialogs::Edit(QWidget* parent, const TreeNode& node) {
    RunDialog(parent, FilterEditor::Edit(node.path, m_port, m_window.TheShell().Identity()));
}

void FilterDialogs::New() {
    WindowThreadMayRead editing(kDialogReads);
    VantorelDatabase& database = m_window.TheShell().Database();
    const fs::path databaseDir = database.IsOpen() ? database.Directory() : fs::path();
    if (!NewFilterFolder(databaseDir, database.IsOpen(), m_port))
        return;
    RunDialog(&m_window, FilterEditor::New(databaseDir, m_port));
}

void FilterDialogs::RunDialog(QWidget* parent, std::unique_ptr<FilterEditor> editor) {
    if (!editor)
        return;  // the model told why
    const std::optional<fs::path> before = editor->Path();
    Shell& shell = m_window.TheShell();
    const fs::path databaseDir = shell.Database().Directory();
    const CustomSnapshot custom = shell.SharedCustom();
    FilterDialog dialog(std::move(editor), *custom, databaseDir, parent);
    if (dialog.exec() != QDialog::Accepted || !dialog.SavedPath())
        return;
    const fs::path& saved = *dialog.SavedPath();
    const fs::path folder = saved.parent_path();

    CommandActions& commands = m_window.Commands();
    const bool wasActive = before && commands.ActiveFilter() == before->stem().string();
    commands.SetFilters(ItemIdsIn(folder), folder);
    // A filter in use that was renamed stays in use under its new name.
    if (wasActive && commands.ActiveFilter().empty())
        commands.ChooseFilter(saved.stem().string());

    // The Filters folder may be new: the database's top level is read again first.
    m_window.Model().RefreshFolder(databaseDir);
    m_window.Model().RefreshFolder(folder);
    m_window.SelectPath(saved);
    m_window.Page().Reshow();
}

}  // namespace vantorel
