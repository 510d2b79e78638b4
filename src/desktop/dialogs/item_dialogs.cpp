#include "desktop/dialogs/item_dialogs.h"

#include <QTimer>
#include <algorithm>

#include "desktop/dialogs/item_dialog.h"
#include "desktop/main_window.h"
#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "storage/locks.h"
#include "storage/thread_guard.h"

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

EditorContext ItemDialogs::Context(const CustomCfg& custom) const {
    return {m_port, custom, m_window.TheShell().Identity(), m_now};
}

bool ItemDialogs::TakesNewItems(const fs::path& folder) {
    if (m_foldersTakingItems.contains(folder))
        return true;
    // The probe's answer comes at once; its file stays its quarter of a second on a timer
    // instead of the window waiting for it.
    auto probe = std::make_shared<const WriteProbe>(folder);
    if (const std::optional<Notice> refusal = NewItemsRefusal(folder, probe->Error())) {
        m_port.tell(*refusal);
        return false;
    }
    QTimer::singleShot(kWriteProbeLife, this, [probe] {});
    m_foldersTakingItems.insert(folder);
    return true;
}

bool ItemDialogs::AutomaticIds() const {
    return m_window.TheShell().Configuration().Settings().incrementalNew;
}

void ItemDialogs::Edit(QWidget* parent, const TreeNode& node) {
    // The editor and its dialog read this snapshot to their end.
    const CustomSnapshot custom = m_window.TheShell().SharedCustom();
    std::unique_ptr<ItemEditor> editor;
    switch (node.kind) {
        case TV_TEST_TEST_DOC:
            editor = TestCase::Edit(node.path, Context(*custom));
            break;
        case TV_PRJ_TEST_DOC:
            editor = PrjTestCase::Edit(node.path, Context(*custom));
            break;
        case TV_TEST_SUITE_FLD:
            editor = TestGroup::Edit(node.path, Context(*custom));
            break;
        case TV_PRJ_SUITE_FLD:
            editor = PrjTestGroup::Edit(node.path, Context(*custom));
            break;
        case TV_PRJ_PRJ_FLD:
            editor = Project::Edit(node.path, Context(*custom));
            break;
        case TV_CFG_DOC:
            editor = TestCfg::Edit(node.path, Context(*custom));
            break;
        case TV_RES_DOC:
            editor = TestResource::Edit(node.path, Context(*custom));
            break;
        case TV_TESTER_DOC: {
            const std::vector<TreeNode> selected = m_window.SelectedNodes();
            if (!Tester::CanEditSelection(
                    std::ranges::count(selected, TV_TESTER_DOC, &TreeNode::kind), m_port))
                return;
            editor = Tester::Edit(node.path, Context(*custom));
            break;
        }
        default:
            return;
    }
    RunDialog(parent, std::move(editor), *custom);
}

void ItemDialogs::New(Operation operation) {
    WindowThreadMayRead editing(kDialogReads);
    Shell& shell = m_window.TheShell();
    if (!shell.Database().IsOpen())
        return;
    const fs::path database = shell.Database().Directory();
    const TreeNode selected = m_window.CurrentNode().value_or(TreeNode{});
    std::optional<fs::path> folder;
    switch (operation) {
        case Operation::NewTestCase:
            folder = NewTestCaseFolder(selected, m_port);
            break;
        case Operation::NewTestSuite:
            folder = NewSuiteFolder(selected, m_port);
            break;
        case Operation::NewProject:
            folder = database / "Projects";
            break;
        case Operation::NewTester:
            folder = database / "Testers";
            break;
        case Operation::NewTestResource:
            folder = database / "Resources";
            break;
        case Operation::NewTestConfiguration:
            folder = database / "Test Configurations";
            break;
        default:
            return;
    }
    if (!folder || !TakesNewItems(*folder))
        return;
    const bool automatic = AutomaticIds();
    const CustomSnapshot custom = shell.SharedCustom();
    EditorContext context = Context(*custom);
    context.folderChecked = true;
    const NodeKind kind = NodeKindOf(database, *folder);
    const bool inProject = kind == TV_PRJ_TEST_FLD || kind == TV_PRJ_SUITE_FLD;
    std::unique_ptr<ItemEditor> editor;
    switch (operation) {
        case Operation::NewTestCase:
            if (kind == TV_PRJ_SUITE_FLD)
                editor = PrjTestCase::New(*folder, context, automatic);
            else
                editor = TestCase::New(*folder, context, automatic);
            break;
        case Operation::NewTestSuite:
            if (inProject)
                editor = PrjTestGroup::New(*folder, context);
            else
                editor = TestGroup::New(*folder, context);
            break;
        case Operation::NewProject:
            editor = Project::New(*folder, context);
            break;
        case Operation::NewTester:
            editor = Tester::New(*folder, context, automatic);
            break;
        case Operation::NewTestResource:
            editor = TestResource::New(*folder, context, automatic);
            break;
        default:
            editor = TestCfg::New(*folder, context, automatic);
            break;
    }
    RunDialog(&m_window, std::move(editor), *custom);
}

void ItemDialogs::RunDialog(QWidget* parent, std::unique_ptr<ItemEditor> editor,
                            const CustomCfg& custom) {
    if (!editor)
        return;  // the model told why
    Shell& shell = m_window.TheShell();
    ItemDialog dialog(std::move(editor), custom, shell.Database().Directory(),
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
