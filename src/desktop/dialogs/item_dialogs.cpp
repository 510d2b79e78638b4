#include "desktop/dialogs/item_dialogs.h"

#include <QTimer>
#include <algorithm>

#include "desktop/dialogs/item_dialog.h"
#include "desktop/main_window.h"
#include "desktop/off_window_thread.h"
#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "storage/locks.h"

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
    EditorContext context{m_port, custom, m_window.TheShell().Identity(), m_now};
    context.addUserWithoutAsking = m_window.TheShell().Configuration().Settings().autoAddUser;
    return context;
}

namespace {

// Opens the item at path in an editor of its kind.
template <typename Editor>
ItemDialogs::Opener Editing(const fs::path& path) {
    return [path](const EditorContext& context) -> std::unique_ptr<ItemEditor> {
        return Editor::Edit(path, context);
    };
}

}  // namespace

void ItemDialogs::Edit(QWidget* parent, const TreeNode& node) {
    Opener open;
    switch (node.kind) {
        case TV_TEST_TEST_DOC:
            open = Editing<TestCase>(node.path);
            break;
        case TV_PRJ_TEST_DOC:
            open = Editing<PrjTestCase>(node.path);
            break;
        case TV_TEST_SUITE_FLD:
            open = Editing<TestGroup>(node.path);
            break;
        case TV_PRJ_SUITE_FLD:
            open = Editing<PrjTestGroup>(node.path);
            break;
        case TV_PRJ_PRJ_FLD:
            open = Editing<Project>(node.path);
            break;
        case TV_CFG_DOC:
            open = Editing<TestCfg>(node.path);
            break;
        case TV_RES_DOC:
            open = Editing<TestResource>(node.path);
            break;
        case TV_TESTER_DOC: {
            const std::vector<TreeNode> selected = m_window.SelectedNodes();
            if (!Tester::CanEditSelection(
                    std::ranges::count(selected, TV_TESTER_DOC, &TreeNode::kind), m_port))
                return;
            open = Editing<Tester>(node.path);
            break;
        }
        default:
            return;
    }
    OpenDialog(parent, open);
}

void ItemDialogs::New(Operation operation) {
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
    if (!folder)
        return;
    const bool automatic = shell.Configuration().Settings().incrementalNew;
    const bool probed = m_foldersTakingItems.contains(*folder);
    const NodeKind kind = NodeKindOf(database, *folder);
    const bool inProject = kind == TV_PRJ_TEST_FLD || kind == TV_PRJ_SUITE_FLD;
    const bool opened =
        OpenDialog(&m_window, [&](EditorContext context) -> std::unique_ptr<ItemEditor> {
            if (!probed && !TakesNewItems(*folder))
                return nullptr;
            context.folderChecked = true;
            switch (operation) {
                case Operation::NewTestCase:
                    if (kind == TV_PRJ_SUITE_FLD)
                        return PrjTestCase::New(*folder, context, automatic);
                    return TestCase::New(*folder, context, automatic);
                case Operation::NewTestSuite:
                    if (inProject)
                        return PrjTestGroup::New(*folder, context);
                    return TestGroup::New(*folder, context);
                case Operation::NewProject:
                    return Project::New(*folder, context);
                case Operation::NewTester:
                    return Tester::New(*folder, context, automatic);
                case Operation::NewTestResource:
                    return TestResource::New(*folder, context, automatic);
                default:
                    return TestCfg::New(*folder, context, automatic);
            }
        });
    if (opened)
        m_foldersTakingItems.insert(*folder);
}

bool ItemDialogs::TakesNewItems(const fs::path& folder) {
    // The probe's answer comes at once; its file stays its quarter of a second on a timer
    // instead of the window waiting for it.
    auto probe = std::make_shared<const WriteProbe>(folder);
    if (const std::optional<Notice> refusal = NewItemsRefusal(folder, probe->Error())) {
        m_port.tell(*refusal);
        return false;
    }
    QMetaObject::invokeMethod(
        this, [this, probe] { QTimer::singleShot(kWriteProbeLife, this, [probe] {}); });
    return true;
}

bool ItemDialogs::OpenDialog(QWidget* parent, const Opener& open) {
    Shell& shell = m_window.TheShell();
    // The editor and its dialog read this snapshot to their end.
    const CustomSnapshot custom = shell.SharedCustom();
    const fs::path database = shell.Database().Directory();
    const EditorContext context = Context(*custom);
    std::unique_ptr<ItemEditor> editor;
    FieldChoiceLists choices;
    // The document, its lock and the lists of the dialog's drop-downs are read while the
    // window goes on painting.
    RunOffWindowThread([&] {
        editor = open(context);
        if (!editor)
            return;
        choices = ChoicesOfFields(editor->Fields(), *custom, database);
        if (&editor->Kind() == &PrjTestCaseKind())
            choices.merge(ChoicesOfFields(PrjTestCaseDialogFields(), *custom, database));
    });
    if (!editor)
        return false;  // the model told why
    ItemDialog dialog(std::move(editor), *custom, choices, shell.Configuration().Settings(),
                      shell.Folders(), m_port, parent);
    if (dialog.exec() == QDialog::Accepted && dialog.SavedPath()) {
        const fs::path& saved = *dialog.SavedPath();
        const fs::path item = saved.extension() == kGroupExtension ? GroupFolderOf(saved) : saved;
        m_window.Model().RefreshFolder(item.parent_path());
        m_window.SelectPath(item);
        m_window.Page().Reshow();
    }
    return true;
}

}  // namespace vantorel
