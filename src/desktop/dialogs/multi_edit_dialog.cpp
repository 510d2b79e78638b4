#include "desktop/dialogs/multi_edit_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QVBoxLayout>
#include <set>

#include "desktop/main_window.h"
#include "desktop/off_window_thread.h"
#include "desktop/pages/page_view.h"
#include "desktop/qt_text.h"
#include "desktop/tree/tree_actions.h"
#include "desktop/widgets/accessible_names.h"
#include "desktop/widgets/field_widgets.h"
#include "workspace/config.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// Runs the engine over the items make gives (read on the worker) with the changes changesFor
// gives them, then reads the folders again and shows the page anew.
using ChangesFor = std::function<ChangesOf(const MultiEditSet& set)>;
void StartMultiEdit(MainWindow& window, UserPort& port, std::function<MultiEditSet()> make,
                    ChangesFor changesFor, std::vector<fs::path> refresh) {
    Shell& shell = window.TheShell();
    window.Actions().RunJob(
        [port = &port, make = std::move(make), changesFor = std::move(changesFor),
         custom = shell.SharedCustom(), identity = shell.Identity(),
         autoAddUser = shell.Configuration().Settings().autoAddUser](std::stop_token stop) {
            const MultiEditSet set = make();
            EditorContext context{*port, *custom, identity};
            context.addUserWithoutAsking = autoAddUser;
            const int total = static_cast<int>(set.items.size());
            int done = 0;
            port->progress(0, total);
            TransferResult result;
            result.failures.push_back(MultiEditSummary(ApplyMultiEdit(
                set, changesFor(set), context, stop, [&] { port->progress(++done, total); })));
            return result;
        },
        std::move(refresh), [&window] { window.Page().Reshow(); });
}

ChangesFor Same(std::vector<FieldChange> changes) {
    return [changes = std::move(changes)](const MultiEditSet&) -> ChangesOf {
        return [changes](std::size_t) { return changes; };
    };
}

}  // namespace

MultiEditDialog::MultiEditDialog(const std::vector<FieldDescriptor>& rows, const CustomCfg& custom,
                                 const FieldChoiceLists& choices, const QString& title,
                                 UserPort& port, QWidget* parent, std::size_t ticked)
    : QDialog(parent), m_port(port) {
    setObjectName("multiEditDialog");
    setWindowTitle(title);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    for (const FieldDescriptor& row : rows) {
        const auto listed = choices.find(row.tag);
        FieldWidget* widget = MakeFieldWidget(
            row, listed != choices.end() ? listed->second : std::vector<std::string>{},
            ChoiceIsTyped(row.tag), FieldWidth(row));
        const std::string caption = DialogCaption(row, custom);
        const QString name = Text(std::string(row.tag.substr(1, row.tag.size() - 2)));
        widget->setObjectName(name);
        widget->Show({});
        // The row's tick box stands where a label would: the field takes its caption.
        NameForScreenReaders(*widget->FocusTarget(), Text(caption));
        auto* tick = new QCheckBox(Text(caption).replace("&", "&&"));
        tick->setObjectName("tick_" + name);
        tick->setToolTip("Tick to set this field on every item; left unticked, each keeps its own");
        const bool on = m_rows.size() < ticked;
        tick->setChecked(on);
        widget->setEnabled(on);
        connect(tick, &QCheckBox::toggled, widget, &QWidget::setEnabled);
        form->addRow(tick, widget);
        m_rows.push_back({row, caption, tick, widget});
    }
    auto* fields = new QWidget;
    fields->setLayout(form);
    auto* scroll = new QScrollArea;
    scroll->setWidget(fields);
    scroll->setWidgetResizable(true);
    // Tab goes from field to field and the area scrolls to the one with the focus.
    scroll->setFocusPolicy(Qt::NoFocus);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &MultiEditDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &MultiEditDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(scroll);
    layout->addWidget(buttons);
    resize(640, std::min(720, 120 + 40 * static_cast<int>(rows.size())));
}

void MultiEditDialog::accept() {
    m_changes.clear();
    for (const Row& row : m_rows) {
        if (!row.tick->isChecked())
            continue;
        // Documents are ISO-8859-1: a character they can't hold is refused here, once, rather
        // than on every item.
        if (std::optional<Notice> refusal =
                UnholdableTextNotice(row.caption, row.widget->Typed())) {
            m_port.tell(*refusal);
            row.widget->FocusTarget()->setFocus();
            return;
        }
        FieldChange change{std::string(row.field.tag), {}};
        row.widget->Take(change.value);
        m_changes.push_back(std::move(change));
    }
    if (m_changes.empty()) {
        reject();  // nothing ticked: nothing to change
        return;
    }
    QDialog::accept();
}

void RunMultiEdit(MainWindow& window, UserPort& port, const std::vector<TreeNode>& selected) {
    Shell& shell = window.TheShell();
    const CustomSnapshot custom = shell.SharedCustom();
    const fs::path database = shell.Database().Directory();
    std::optional<MultiEditSet> set;
    FieldChoiceLists choices;
    // The locks and the drop-downs' lists are read while the window goes on painting.
    RunOffWindowThread([&] {
        set = MultiEditSelection(selected, port);
        if (set)
            choices = ChoicesOfFields(MultiEditFields(set->kind), *custom, database);
    });
    if (!set)
        return;
    MultiEditDialog dialog(MultiEditFields(set->kind), *custom, choices,
                           QString("Vantorel - Edit %1 Test Cases").arg(set->items.size()), port,
                           &window);
    if (dialog.exec() != QDialog::Accepted)
        return;
    std::set<fs::path> folders;
    for (const fs::path& item : set->items)
        folders.insert(item.parent_path());
    StartMultiEdit(window, port, [set = *set] { return set; }, Same(dialog.Changes()),
                   {folders.begin(), folders.end()});
}

void RunBulkUpdate(MainWindow& window, UserPort& port, const TreeNode& suite, int command) {
    const std::optional<FieldDescriptor> field = BulkUpdateField(command);
    if (!field || suite.kind != TV_TEST_SUITE_FLD)
        return;
    Shell& shell = window.TheShell();
    const CustomSnapshot custom = shell.SharedCustom();
    FieldChoiceLists choices;
    RunOffWindowThread([&] {
        choices = ChoicesOfFields({field.operator->(), 1}, *custom, shell.Database().Directory());
    });
    MultiEditDialog dialog({*field}, *custom, choices,
                           Text("Vantorel - Update all test cases [" + suite.label + "]"), port,
                           &window, 1);
    if (dialog.exec() != QDialog::Accepted)
        return;
    StartMultiEdit(window, port, [suite] { return SuiteTestCases(suite); }, Same(dialog.Changes()),
                   {suite.path});
}

void RunSetTotalDuration(MainWindow& window, UserPort& port, const TreeNode& suite) {
    if (suite.kind != TV_TEST_SUITE_FLD && suite.kind != TV_PRJ_SUITE_FLD)
        return;
    std::size_t count = 0;
    RunOffWindowThread([&] { count = SuiteTestCases(suite).items.size(); });
    if (count == 0) {
        port.tell(EmptySuiteNotice(suite.label));
        return;
    }
    QDialog dialog(&window);
    dialog.setObjectName("totalDurationDialog");
    dialog.setWindowTitle(Text("Vantorel - Set total expected duration [" + suite.label + "]"));
    auto* hours = new QSpinBox;
    hours->setObjectName("totalHours");
    hours->setRange(0, 999);
    auto* minutes = new QSpinBox;
    minutes->setObjectName("totalMinutes");
    minutes->setRange(0, 59);
    auto* spread =
        new QRadioButton(QString("&Share it out evenly among the %1 test cases").arg(count));
    spread->setObjectName("shareTotal");
    spread->setChecked(true);
    auto* each = new QRadioButton("&Give each test case this duration");
    auto* time = new QHBoxLayout;
    time->addWidget(new QLabel("&Hours"));
    time->addWidget(hours);
    time->addWidget(new QLabel("&Minutes"));
    time->addWidget(minutes);
    time->addStretch();
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel(QString("Expected duration of the suite and its sub-suites "
                                         "(%1 test cases):")
                                     .arg(count)));
    layout->addLayout(time);
    layout->addWidget(spread);
    layout->addWidget(each);
    layout->addWidget(buttons);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const int total = hours->value() * 60 + minutes->value();
    StartMultiEdit(
        window, port, [suite] { return SuiteTestCases(suite); },
        [total, share = spread->isChecked()](const MultiEditSet& set) -> ChangesOf {
            return
                [durations = ExpectedDurations(total, set.items.size(), share)](std::size_t item) {
                    FieldChange change{"<test_duration>", {}};
                    change.value.text = durations[item];
                    return std::vector{change};
                };
        },
        {suite.path});
}

}  // namespace vantorel
