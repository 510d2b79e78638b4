#include "desktop/dialogs/item_dialogs.h"

#include <algorithm>

#include "desktop/dialogs/item_dialog.h"
#include "desktop/main_window.h"
#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"

namespace vantorel {
namespace fs = std::filesystem;

ItemDialogs::ItemDialogs(MainWindow& window, UserPort& port)
    : QObject(&window), m_window(window), m_port(port) {
    for (NodeKind kind : {TV_TEST_TEST_DOC, TV_PRJ_TEST_DOC, TV_TEST_SUITE_FLD, TV_PRJ_SUITE_FLD,
                          TV_PRJ_PRJ_FLD, TV_CFG_DOC, TV_RES_DOC, TV_TESTER_DOC})
        window.Editors().Register(
            kind, [this](QWidget* parent, const TreeNode& node) { Edit(parent, node); });
}

bool ItemDialogs::Handles(Operation operation) {
    switch (operation) {
        case Operation::NewTestCase:
        case Operation::NewTestSuite:
        case Operation::NewProject:
        case Operation::NewTester:
        case Operation::NewTestResource:
        case Operation::NewTestConfiguration:
            return true;
        default:
            return false;
    }
}

bool ItemDialogs::Run(Operation operation) {
    if (!Handles(operation))
        return false;
    New(operation);
    return true;
}

EditorContext ItemDialogs::Context() const {
    return {m_port, m_window.TheShell().Custom(), m_window.TheShell().Identity(), m_now};
}

bool ItemDialogs::AutomaticIds() const {
    return m_window.TheShell().Configuration().Settings().incrementalNew;
}

void ItemDialogs::Edit(QWidget* parent, const TreeNode& node) {
    std::unique_ptr<ItemEditor> editor;
    switch (node.kind) {
        case TV_TEST_TEST_DOC:
            editor = TestCase::Edit(node.path, Context());
            break;
        case TV_PRJ_TEST_DOC:
            editor = PrjTestCase::Edit(node.path, Context());
            break;
        case TV_TEST_SUITE_FLD:
            editor = TestGroup::Edit(node.path, Context());
            break;
        case TV_PRJ_SUITE_FLD:
            editor = PrjTestGroup::Edit(node.path, Context());
            break;
        case TV_PRJ_PRJ_FLD:
            editor = Project::Edit(node.path, Context());
            break;
        case TV_CFG_DOC:
            editor = TestCfg::Edit(node.path, Context());
            break;
        case TV_RES_DOC:
            editor = TestResource::Edit(node.path, Context());
            break;
        case TV_TESTER_DOC: {
            const std::vector<TreeNode> selected = m_window.SelectedNodes();
            if (!Tester::CanEditSelection(
                    std::ranges::count(selected, TV_TESTER_DOC, &TreeNode::kind), m_port))
                return;
            editor = Tester::Edit(node.path, Context());
            break;
        }
        default:
            return;
    }
    RunDialog(parent, std::move(editor));
}

void ItemDialogs::New(Operation operation) {
    Shell& shell = m_window.TheShell();
    if (!shell.Database().IsOpen())
        return;
    const fs::path database = shell.Database().Directory();
    const TreeNode selected = m_window.CurrentNode().value_or(TreeNode{});
    const bool automatic = AutomaticIds();
    std::unique_ptr<ItemEditor> editor;
    switch (operation) {
        case Operation::NewTestCase: {
            const std::optional<fs::path> folder = NewTestCaseFolder(selected, m_port);
            if (!folder)
                return;
            if (NodeKindOf(database, *folder) == TV_PRJ_SUITE_FLD)
                editor = PrjTestCase::New(*folder, Context(), automatic);
            else
                editor = TestCase::New(*folder, Context(), automatic);
            break;
        }
        case Operation::NewTestSuite: {
            const std::optional<fs::path> folder = NewSuiteFolder(selected, m_port);
            if (!folder)
                return;
            const NodeKind kind = NodeKindOf(database, *folder);
            if (kind == TV_PRJ_TEST_FLD || kind == TV_PRJ_SUITE_FLD)
                editor = PrjTestGroup::New(*folder, Context());
            else
                editor = TestGroup::New(*folder, Context());
            break;
        }
        case Operation::NewProject:
            editor = Project::New(database / "Projects", Context());
            break;
        case Operation::NewTester:
            editor = Tester::New(database / "Testers", Context(), automatic);
            break;
        case Operation::NewTestResource:
            editor = TestResource::New(database / "Resources", Context(), automatic);
            break;
        case Operation::NewTestConfiguration:
            editor = TestCfg::New(database / "Test Configurations", Context(), automatic);
            break;
        default:
            return;
    }
    RunDialog(&m_window, std::move(editor));
}

void ItemDialogs::RunDialog(QWidget* parent, std::unique_ptr<ItemEditor> editor) {
    if (!editor)
        return;  // the model told why
    Shell& shell = m_window.TheShell();
    ItemDialog dialog(std::move(editor), shell.Custom(), shell.Database().Directory(),
                      shell.Configuration().Settings(), shell.Folders(), m_port, parent);
    if (dialog.exec() != QDialog::Accepted || !dialog.SavedPath())
        return;
    const fs::path& saved = *dialog.SavedPath();
    const fs::path item = saved.extension() == kGroupExtension ? GroupFolderOf(saved) : saved;
    m_window.Model().RefreshFolder(item.parent_path());
    m_window.SelectPath(item);
    m_window.Page().Reshow();
}

}  // namespace vantorel
