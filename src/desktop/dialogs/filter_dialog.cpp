#include "desktop/dialogs/filter_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTabWidget>
#include <QVBoxLayout>
#include <memory>

#include "desktop/help/help_window.h"
#include "desktop/qt_text.h"
#include "desktop/widgets/accessible_names.h"
#include "desktop/widgets/field_widgets.h"
#include "documents/custom_cfg.h"
#include "storage/identifiers.h"
#include "storage/thread_guard.h"
#include "workspace/help.h"

namespace vantorel {
namespace {

QString Numbered(const char* name, std::size_t condition) {
    return QString("%1%2").arg(name).arg(condition);
}

const FilterCondition& ConditionAt(std::size_t condition) {
    return FilterConditions()[condition];
}

// The notes conditions test the fields the database names in its own words.
QString CaptionTip(std::size_t condition, const CustomCfg& custom) {
    if (condition == 19 || condition == 20)
        return FromLatin1(custom.Tables().notesCaptions[condition - 19]);
    return {};
}

std::vector<std::size_t> ConditionsOfPage(int page, bool lists) {
    std::vector<std::size_t> found;
    for (std::size_t index = 0; index < kFilterConditionCount; ++index)
        if (ConditionAt(index).page == page &&
            (ConditionAt(index).kind == FilterKind::List) == lists)
            found.push_back(index);
    return found;
}

}  // namespace

FilterDialog::FilterDialog(std::unique_ptr<FilterEditor> editor, const CustomCfg& custom,
                           const std::filesystem::path& databaseDir, QWidget* parent)
    : QDialog(parent), m_editor(std::move(editor)) {
    WindowThreadMayRead mayRead(kDialogReads);
    setObjectName("filterDialog");
    setWindowTitle(Text(m_editor->WindowTitle()));
    auto* layout = new QVBoxLayout(this);

    auto* names = new QFormLayout;
    m_id = new QLineEdit;
    m_id->setObjectName("filterId");
    // One over the limit can't be typed; the path limit is the model's to tell.
    m_id->setMaxLength(static_cast<int>(kIdentifierMax));
    m_name = new QLineEdit;
    m_name->setObjectName("filterName");
    names->addRow("ID", m_id);
    names->addRow("Name", m_name);
    layout->addLayout(names);

    for (std::size_t index = 0; index < kFilterConditionCount; ++index)
        MakeControls(index, custom, databaseDir);
    m_pages = new QTabWidget;
    m_pages->setObjectName("pages");
    m_pages->setAccessibleName("Pages");
    m_pages->addTab(ConditionsPage(1), "Filter Options");
    m_pages->addTab(ConditionsPage(2), "More Options");
    layout->addWidget(m_pages, 1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &FilterDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &FilterDialog::reject);
    layout->addWidget(buttons);
    OfferHelp(*this, HelpPageOf(HelpSubject::Filter));

    ShowSettings();
    resize(860, 600);
}

FilterDialog::~FilterDialog() = default;

void FilterDialog::MakeControls(std::size_t condition, const CustomCfg& custom,
                                const std::filesystem::path& databaseDir) {
    const FilterCondition& about = ConditionAt(condition);
    ConditionControls& controls = m_conditions[condition];
    controls.switchedOn = new QCheckBox(Text(about.caption));
    controls.switchedOn->setObjectName(Numbered("conditionSwitch", condition));
    controls.switchedOn->setToolTip(CaptionTip(condition, custom));

    if (const auto operators = OperatorChoices(about); !operators.empty()) {
        controls.op = new QComboBox;
        controls.op->setObjectName(Numbered("conditionOperator", condition));
        for (std::string_view choice : operators)
            controls.op->addItem(Text(choice));
        NameForScreenReaders(*controls.op, Text(about.caption) + " operator");
    }
    QWidget* value = nullptr;
    switch (about.kind) {
        case FilterKind::List: {
            controls.list = new QListWidget;
            for (const std::string& choice : ConditionChoices(condition, databaseDir, custom)) {
                auto* item = new QListWidgetItem(FromLatin1(choice), controls.list);
                item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
                item->setCheckState(Qt::Unchecked);
            }
            // A click anywhere on an entry ticks it, not only on its box. A click on the box
            // has ticked it already by the time the click ends (and such a press is not
            // reported as one), so the click leaves it as it is.
            auto boxTicked = std::make_shared<bool>(false);
            connect(controls.list, &QListWidget::itemPressed, this,
                    [boxTicked] { *boxTicked = false; });
            connect(controls.list, &QListWidget::itemChanged, this,
                    [boxTicked] { *boxTicked = true; });
            connect(controls.list, &QListWidget::itemClicked, this,
                    [boxTicked](QListWidgetItem* item) {
                        if (!*boxTicked)
                            item->setCheckState(item->checkState() == Qt::Checked ? Qt::Unchecked
                                                                                  : Qt::Checked);
                        *boxTicked = false;
                    });
            value = controls.list;
            break;
        }
        case FilterKind::Date:
            controls.date = new QDateEdit;
            controls.date->setDisplayFormat("d-MMM-yyyy");
            controls.date->setCalendarPopup(true);
            value = controls.date;
            break;
        case FilterKind::Priority:
            controls.priority = new QComboBox;
            for (const std::string& choice : ConditionChoices(condition, databaseDir, custom))
                controls.priority->addItem(FromLatin1(choice));
            value = controls.priority;
            break;
        case FilterKind::ActualAgainstExpected:
            break;
        default:
            controls.text = new QLineEdit;
            if (about.kind == FilterKind::Duration) {
                controls.text->setPlaceholderText("HHH:MM");
                controls.text->setMaxLength(7);
            } else if (about.kind == FilterKind::Number) {
                controls.text->setMaxLength(9);
            }
            value = controls.text;
    }
    if (value) {
        value->setObjectName(Numbered("conditionValue", condition));
        NameForScreenReaders(*value, Text(about.caption));
    }
    // A condition's operator and value are set only while it is switched on.
    auto follow = [controls](bool on) {
        for (QWidget* widget : std::initializer_list<QWidget*>{
                 controls.op, controls.list, controls.text, controls.date, controls.priority})
            if (widget)
                widget->setEnabled(on);
    };
    connect(controls.switchedOn, &QCheckBox::toggled, this, follow);
    follow(false);
}

QWidget* FilterDialog::ConditionsPage(int page) {
    auto* widget = new QWidget;
    auto* columns = new QHBoxLayout(widget);

    const std::vector<std::size_t> single = ConditionsOfPage(page, false);
    if (!single.empty()) {
        auto* rows = new QGridLayout;
        rows->setColumnStretch(2, 1);
        int row = 0;
        for (std::size_t index : single) {
            const ConditionControls& controls = m_conditions[index];
            rows->addWidget(controls.switchedOn, row, 0);
            const FilterKind kind = ConditionAt(index).kind;
            if (controls.op)
                rows->addWidget(controls.op, row, 1);
            else if (kind == FilterKind::Text)
                rows->addWidget(new QLabel("contains"), row, 1);
            if (kind == FilterKind::ActualAgainstExpected)
                rows->addWidget(new QLabel("the expected duration"), row, 2);
            for (QWidget* value :
                 std::initializer_list<QWidget*>{controls.text, controls.date, controls.priority})
                if (value)
                    rows->addWidget(value, row, 2);
            ++row;
        }
        rows->setRowStretch(row, 1);
        columns->addLayout(rows, 3);
    }

    // The lists, two to a row, each under its switch.
    auto* lists = new QGridLayout;
    const std::vector<std::size_t> listed = ConditionsOfPage(page, true);
    const int perRow = single.empty() ? 3 : 2;
    for (std::size_t n = 0; n < listed.size(); ++n) {
        const ConditionControls& controls = m_conditions[listed[n]];
        auto* cell = new QVBoxLayout;
        cell->addWidget(controls.switchedOn);
        cell->addWidget(controls.list, 1);
        lists->addLayout(cell, static_cast<int>(n) / perRow, static_cast<int>(n) % perRow);
    }
    columns->addLayout(lists, single.empty() ? 1 : 2);
    return widget;
}

void FilterDialog::ShowSettings() {
    m_id->setText(FromLatin1(m_editor->id));
    m_name->setText(FromLatin1(m_editor->name));
    for (std::size_t index = 0; index < kFilterConditionCount; ++index) {
        const ConditionSetting& setting = m_editor->conditions[index];
        ConditionControls& controls = m_conditions[index];
        controls.switchedOn->setChecked(setting.enabled);
        if (controls.op && setting.op >= 0 && setting.op < controls.op->count())
            controls.op->setCurrentIndex(setting.op);
        if (controls.list) {
            for (const std::string& selection : setting.selections) {
                const QString text = FromLatin1(selection);
                const auto found = controls.list->findItems(text, Qt::MatchExactly);
                QListWidgetItem* item = found.value(0);
                if (!item) {
                    // An entry the database no longer offers stays chosen rather than vanish.
                    item = new QListWidgetItem(text, controls.list);
                    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
                }
                item->setCheckState(Qt::Checked);
            }
        }
        if (controls.text)
            controls.text->setText(FromLatin1(setting.text));
        if (controls.date) {
            const QDate date(setting.date.year, setting.date.month, setting.date.day);
            controls.date->setDate(date.isValid() ? date : QDate::currentDate());
        }
        if (controls.priority)
            controls.priority->setCurrentIndex(
                setting.priority < controls.priority->count() ? setting.priority : -1);
    }
}

void FilterDialog::TakeSettings() {
    m_editor->id = ToLatin1(m_id->text());
    m_editor->name = ToLatin1(m_name->text());
    for (std::size_t index = 0; index < kFilterConditionCount; ++index) {
        ConditionSetting& setting = m_editor->conditions[index];
        const ConditionControls& controls = m_conditions[index];
        setting.enabled = controls.switchedOn->isChecked();
        if (controls.op)
            setting.op = controls.op->currentIndex();
        if (controls.list) {
            setting.selections.clear();
            for (int row = 0; row < controls.list->count(); ++row)
                if (const QListWidgetItem* item = controls.list->item(row);
                    item->checkState() == Qt::Checked)
                    setting.selections.push_back(ToLatin1(item->text()));
        }
        if (controls.text)
            setting.text = ToLatin1(controls.text->text());
        if (controls.date) {
            const QDate date = controls.date->date();
            setting.date = {date.year(), date.month(), date.day()};
        }
        if (controls.priority && controls.priority->currentIndex() >= 0)
            setting.priority = controls.priority->currentIndex();
    }
}

bool FilterDialog::TypedTextFits() {
    auto fits = [this](std::size_t field, const QLineEdit* edit) {
        if (!m_editor->CheckTyped(field, edit->text().toStdString()))
            return true;
        FocusField(field);
        return false;
    };
    if (!fits(kFilterIdField, m_id) || !fits(kFilterNameField, m_name))
        return false;
    for (std::size_t index = 0; index < kFilterConditionCount; ++index)
        if (const QLineEdit* text = m_conditions[index].text;
            text && !fits(FilterConditionField(index), text))
            return false;
    return true;
}

void FilterDialog::FocusField(std::size_t field) {
    if (field == kFilterIdField || field == kFilterNameField) {
        (field == kFilterIdField ? m_id : m_name)->setFocus(Qt::OtherFocusReason);
        return;
    }
    const std::size_t condition = field - FilterConditionField(0);
    if (condition >= kFilterConditionCount)
        return;
    m_pages->setCurrentIndex(ConditionAt(condition).page - 1);
    const ConditionControls& controls = m_conditions[condition];
    for (QWidget* widget :
         std::initializer_list<QWidget*>{controls.list, controls.text, controls.date,
                                         controls.priority, controls.op, controls.switchedOn})
        if (widget) {
            widget->setFocus(Qt::OtherFocusReason);
            return;
        }
}

void FilterDialog::accept() {
    WindowThreadMayRead mayRead(kDialogReads);
    if (!m_editor || !TypedTextFits())
        return;
    TakeSettings();
    if (const std::optional<SaveRefusal> refusal = m_editor->Save()) {
        if (refusal->field)
            FocusField(*refusal->field);
        return;
    }
    m_savedPath = m_editor->Path();
    QDialog::accept();
}

void FilterDialog::done(int result) {
    QDialog::done(result);
    // The lock goes with the model, however the dialog was closed.
    m_editor.reset();
}

}  // namespace vantorel
