#include "desktop/widgets/field_widgets.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QTimeEdit>

#include "desktop/widgets/rich_text_edit.h"
#include "documents/external_links.h"
#include "documents/field_dialog.h"
#include "documents/item_editor.h"

namespace vantorel {

QString FromLatin1(const std::string& text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

std::string ToLatin1(const QString& text) {
    return text.toLatin1().toStdString();
}

namespace {

// The field's own width: for most fields the document's limit, far past the 32,767 a line edit
// keeps by default.
int MaxLength(std::size_t width) {
    return static_cast<int>(std::min<std::size_t>(width, kFieldValueMax));
}

// Shows text whole even where it is longer than the field keeps (a hand edit, another tool):
// OK then refuses it by name instead of the edit cutting it without a word.
void ShowWhole(QLineEdit& edit, std::size_t width, const QString& text) {
    edit.setMaxLength(std::max(MaxLength(width), static_cast<int>(text.size())));
    edit.setText(text);
}

QHBoxLayout* Row(QWidget* owner) {
    auto* layout = new QHBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    return layout;
}

class TextField : public FieldWidget {
public:
    explicit TextField(std::size_t width) : m_edit(new QLineEdit), m_width(width) {
        Row(this)->addWidget(m_edit);
        m_edit->setMaxLength(MaxLength(width));
    }
    void Show(const FieldControl& control) override {
        ShowWhole(*m_edit, m_width, FromLatin1(control.text));
    }
    std::string Typed() const override { return m_edit->text().toStdString(); }
    void Take(FieldControl& control) const override { control.text = ToLatin1(m_edit->text()); }
    void SetReadOnly(bool readOnly) override {
        m_edit->setReadOnly(readOnly);
        // A text that can't be changed looks like it, on the window's background.
        QPalette palette = m_edit->palette();
        palette.setBrush(QPalette::Base, readOnly ? m_edit->palette().window()
                                                  : QApplication::palette(m_edit).base());
        m_edit->setPalette(palette);
    }
    QWidget* FocusTarget() override { return m_edit; }
    QWidget* SpellingTarget() override { return m_edit; }

private:
    QLineEdit* m_edit;
    std::size_t m_width;
};

class ChoiceField : public FieldWidget {
public:
    ChoiceField(const std::vector<std::string>& choices, bool typed, std::size_t width,
                std::string_view tag)
        : m_box(new QComboBox), m_choices(choices), m_width(width) {
        Row(this)->addWidget(m_box);
        m_box->setEditable(typed);
        if (typed && choices.empty())
            m_box->lineEdit()->setPlaceholderText(FromLatin1(std::string(EmptyChoicesText(tag))));
        for (const std::string& choice : choices)
            m_box->addItem(FromLatin1(choice));
        if (typed)
            m_box->lineEdit()->setMaxLength(MaxLength(width));
        m_box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        m_box->setMinimumContentsLength(12);
    }
    void Show(const FieldControl& control) override {
        if (m_box->isEditable()) {
            ShowWhole(*m_box->lineEdit(), m_width, FromLatin1(control.text));
            return;
        }
        std::optional<std::size_t> entry = SelectListEntry(m_choices, control.text);
        if (!entry || m_choices[*entry].size() != control.text.size()) {
            // A value the lists no longer hold stays what it was rather than becoming another.
            if (!control.text.empty()) {
                const int found = m_box->findText(FromLatin1(control.text), Qt::MatchExactly);
                if (found < 0)
                    m_box->addItem(FromLatin1(control.text));
                m_box->setCurrentText(FromLatin1(control.text));
                return;
            }
        }
        m_box->setCurrentIndex(entry ? static_cast<int>(*entry) : -1);
    }
    std::string Typed() const override { return m_box->currentText().toStdString(); }
    void Take(FieldControl& control) const override {
        control.text = ToLatin1(m_box->currentText());
    }
    void SetReadOnly(bool readOnly) override { m_box->setEnabled(!readOnly); }
    QWidget* FocusTarget() override { return m_box; }

private:
    QComboBox* m_box;
    std::vector<std::string> m_choices;
    std::size_t m_width;
};

// Hours 0-999 and minutes 0-59 in two boxes; the model checks them on OK.
class DurationField : public FieldWidget {
public:
    DurationField() : m_hours(new QLineEdit), m_minutes(new QLineEdit) {
        auto* layout = Row(this);
        m_hours->setMaxLength(3);
        m_minutes->setMaxLength(2);
        m_hours->setAccessibleName("Hours");
        m_minutes->setAccessibleName("Minutes");
        const int digit = m_hours->fontMetrics().horizontalAdvance('0');
        m_hours->setFixedWidth(digit * 5 + 12);
        m_minutes->setFixedWidth(digit * 4 + 12);
        layout->addWidget(new QLabel("Hrs"));
        layout->addWidget(m_hours);
        layout->addWidget(new QLabel("Mins"));
        layout->addWidget(m_minutes);
        layout->addStretch();
    }
    void Show(const FieldControl& control) override {
        const QString text = FromLatin1(control.text);
        const qsizetype colon = text.indexOf(':');
        if (const std::optional<Duration> duration = ParseDuration(control.text)) {
            m_hours->setText(QString::number(duration->hours));
            m_minutes->setText(QString::number(duration->minutes));
        } else {
            m_hours->setText(colon < 0 ? text : text.left(colon));
            m_minutes->setText(colon < 0 ? QString() : text.mid(colon + 1));
        }
    }
    std::string Typed() const override {
        return (m_hours->text() + ":" + m_minutes->text()).toStdString();
    }
    void Take(FieldControl& control) const override {
        const QString hours = m_hours->text().trimmed(), minutes = m_minutes->text().trimmed();
        control.text =
            hours.isEmpty() && minutes.isEmpty() ? std::string() : ToLatin1(hours + ":" + minutes);
    }
    void SetReadOnly(bool readOnly) override {
        m_hours->setReadOnly(readOnly);
        m_minutes->setReadOnly(readOnly);
    }
    QWidget* FocusTarget() override { return m_hours; }

private:
    QLineEdit* m_hours;
    QLineEdit* m_minutes;
};

// A date or time picker beside an "N/A" box that stands for no value.
class MomentField : public FieldWidget {
public:
    MomentField(bool date, bool mayBeUnset)
        : m_edit(date ? static_cast<QDateTimeEdit*>(new QDateEdit) : new QTimeEdit),
          m_none(new QCheckBox("N/A")),
          m_isDate(date),
          m_mayBeUnset(mayBeUnset) {
        auto* layout = Row(this);
        m_edit->setDisplayFormat(date ? "d-MMM-yyyy" : "HH:mm:ss");
        m_edit->setCalendarPopup(date);
        layout->addWidget(m_edit);
        layout->addWidget(m_none);
        layout->addStretch();
        // Setting a value is enough to leave "N/A": the box clears itself.
        connect(m_edit, &QDateTimeEdit::dateTimeChanged, this, [this] {
            if (!m_showing)
                m_none->setChecked(false);
        });
    }
    void Show(const FieldControl& control) override {
        const QScopedValueRollback showing(m_showing, true);
        if (m_isDate) {
            m_none->setChecked(!control.date);
            m_edit->setDate(control.date
                                ? QDate(control.date->year, control.date->month, control.date->day)
                                : QDate::currentDate());
        } else {
            m_none->setChecked(!control.time);
            m_edit->setTime(
                control.time ? QTime(control.time->hour, control.time->minute, control.time->second)
                             : QTime::currentTime());
        }
        // A moment that always has a value offers no "N/A", unless a document lacks it: then
        // the box shows, so opening and saving never makes up a value.
        m_none->setVisible(m_mayBeUnset || m_none->isChecked());
    }
    std::string Typed() const override { return {}; }
    void Take(FieldControl& control) const override {
        if (m_isDate) {
            const QDate date = m_edit->date();
            control.date = m_none->isChecked()
                               ? std::nullopt
                               : std::optional(CalendarDate{date.year(), date.month(), date.day()});
        } else {
            const QTime time = m_edit->time();
            control.time =
                m_none->isChecked()
                    ? std::nullopt
                    : std::optional(ClockTime{time.hour(), time.minute(), time.second()});
        }
    }
    void SetReadOnly(bool readOnly) override {
        m_edit->setReadOnly(readOnly);
        m_none->setEnabled(!readOnly);
    }
    QWidget* FocusTarget() override { return m_edit; }

private:
    QDateTimeEdit* m_edit;
    QCheckBox* m_none;
    bool m_isDate;
    bool m_mayBeUnset;
    bool m_showing = false;  // the model's value, not the user's
};

class YesNoField : public FieldWidget {
public:
    YesNoField() : m_box(new QCheckBox("Yes")) { Row(this)->addWidget(m_box); }
    void Show(const FieldControl& control) override { m_box->setChecked(control.checked); }
    std::string Typed() const override { return {}; }
    void Take(FieldControl& control) const override { control.checked = m_box->isChecked(); }
    void SetReadOnly(bool readOnly) override { m_box->setEnabled(!readOnly); }
    QWidget* FocusTarget() override { return m_box; }

private:
    QCheckBox* m_box;
};

class RichField : public FieldWidget {
public:
    RichField() : m_field(new RichTextField) {
        Row(this)->addWidget(m_field);
        m_field->Editor().setMinimumHeight(90);
    }
    void Show(const FieldControl& control) override {
        m_field->Editor().ShowStored(FromLatin1(control.text));
    }
    std::string Typed() const override {
        // Untouched, the control keeps the stored text exactly as it was.
        return m_field->Editor().Changed() ? m_field->Editor().Edited().toStdString()
                                           : std::string();
    }
    void Take(FieldControl& control) const override {
        if (m_field->Editor().Changed())
            control.text = ToLatin1(m_field->Editor().Edited());
    }
    void SetReadOnly(bool readOnly) override { m_field->Editor().setReadOnly(readOnly); }
    QWidget* FocusTarget() override { return &m_field->Editor(); }
    QWidget* SpellingTarget() override { return &m_field->Editor(); }

private:
    RichTextField* m_field;
};

}  // namespace

PasswordField::PasswordField(QWidget* parent)
    : FieldWidget(parent), m_password(new QLineEdit), m_repeat(new QLineEdit) {
    auto* layout = new QFormLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QLineEdit* edit : {m_password, m_repeat})
        edit->setEchoMode(QLineEdit::Password);
    m_repeat->setObjectName("passwordRepeat");
    layout->addRow(m_password);
    layout->addRow("Repeat", m_repeat);
}

void PasswordField::Show(const FieldControl& control) {
    m_password->setText(FromLatin1(control.text));
}

std::string PasswordField::Typed() const {
    return m_password->text().toStdString();
}

std::string PasswordField::RepeatTyped() const {
    return m_repeat->text().toStdString();
}

void PasswordField::Take(FieldControl& control) const {
    control.text = ToLatin1(m_password->text());
}

std::string PasswordField::Repeat() const {
    return ToLatin1(m_repeat->text());
}

void PasswordField::ShowRepeat(const std::string& repeat) {
    m_repeat->setText(FromLatin1(repeat));
}

void PasswordField::SetReadOnly(bool readOnly) {
    m_password->setReadOnly(readOnly);
    m_repeat->setReadOnly(readOnly);
}

QWidget* PasswordField::FocusTarget() {
    return m_password;
}

LinkField::LinkField(QWidget* parent)
    : FieldWidget(parent), m_edit(new QLineEdit), m_browse(new QPushButton("Browse...")) {
    auto* layout = Row(this);
    auto* launchButton = new QPushButton("Launch");
    launchButton->setObjectName("launch");
    m_browse->setObjectName("browse");
    layout->addWidget(m_edit, 1);
    layout->addWidget(m_browse);
    layout->addWidget(launchButton);
    connect(launchButton, &QPushButton::clicked, this, [this] { emit launch(m_edit->text()); });
    connect(m_browse, &QPushButton::clicked, this, [this] {
        const QString chosen = QFileDialog::getOpenFileName(
            this, FromLatin1(std::string(kBrowseLinkTitle)), m_edit->text(),
            FromLatin1(std::string(kBrowseLinkFilter)));
        if (!chosen.isEmpty())
            m_edit->setText(chosen);
    });
}

void LinkField::Show(const FieldControl& control) {
    m_edit->setText(FromLatin1(control.text));
}

std::string LinkField::Typed() const {
    return m_edit->text().toStdString();
}

void LinkField::Take(FieldControl& control) const {
    control.text = ToLatin1(m_edit->text());
}

void LinkField::SetReadOnly(bool readOnly) {
    m_edit->setReadOnly(readOnly);
    m_browse->setEnabled(!readOnly);
}

QWidget* LinkField::FocusTarget() {
    return m_edit;
}

FieldWidget* MakeFieldWidget(const FieldDescriptor& row, const std::vector<std::string>& choices,
                             bool typedChoice, std::size_t width) {
    switch (row.type) {
        case FT_RICH_TEXT:
            return new RichField;
        case FT_DATE:
            return new MomentField(true, MomentMayBeUnset(row));
        case FT_TIME:
            return new MomentField(false, MomentMayBeUnset(row));
        case FT_YES_NO:
            return new YesNoField;
        case FT_PASSWORD:
            return new PasswordField;
        default:
            break;
    }
    if (IsDurationField(row))
        return new DurationField;
    if (IsExternalLinkField(row))
        return new LinkField;
    if (!choices.empty() || row.type == FT_LIST_TEXT)
        return new ChoiceField(choices, typedChoice, width, row.tag);
    return new TextField(width);
}

}  // namespace vantorel
