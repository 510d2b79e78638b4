#pragma once
// One widget per field type of the field tables, moving a field's value between the editor
// model's control (ISO-8859-1 text, date, time, check) and what the user sees and types. The
// dialog asks the model to check what was typed (Typed) before it is taken into the control.

#include <QWidget>
#include <memory>
#include <string>
#include <vector>

#include "storage/field_values.h"

class QLineEdit;
class QPushButton;

namespace vantorel {

class FieldWidget : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

    // Shows the control's value.
    virtual void Show(const FieldControl& control) = 0;
    // What the user typed, as UTF-8, for the model's character check; empty for a field that
    // holds no typed text or whose text is unchanged from the control's.
    virtual std::string Typed() const = 0;
    // Puts the value shown into control, as documents hold it.
    virtual void Take(FieldControl& control) const = 0;
    virtual void SetReadOnly(bool readOnly) = 0;
    // The widget a refusal puts the focus on.
    virtual QWidget* FocusTarget() = 0;
    // The line or text edit whose words are spell checked; none for a field of codes, numbers,
    // dates or choices.
    virtual QWidget* SpellingTarget() { return nullptr; }
};

// The widget of row: a line of text, the hours and minutes of a duration, a drop-down of
// choices (typed as well where the model takes any text), a date or time with "N/A", a Yes/No
// box, a password with its repetition, or a rich-text editor. width limits typed text.
FieldWidget* MakeFieldWidget(const FieldDescriptor& row, const std::vector<std::string>& choices,
                             bool typedChoice, std::size_t width);

// The password and its repetition; the dialog hands the repetition to the tester's model.
class PasswordField : public FieldWidget {
    Q_OBJECT
public:
    explicit PasswordField(QWidget* parent = nullptr);
    void Show(const FieldControl& control) override;
    std::string Typed() const override;
    void Take(FieldControl& control) const override;
    void SetReadOnly(bool readOnly) override;
    QWidget* FocusTarget() override;
    std::string RepeatTyped() const;
    std::string Repeat() const;
    void ShowRepeat(const std::string& repeat);

private:
    QLineEdit* m_password;
    QLineEdit* m_repeat;
};

// A link to an external document with its browse and launch buttons; what launch does is the
// dialog's (launch), given the link as typed.
class LinkField : public FieldWidget {
    Q_OBJECT
public:
    explicit LinkField(QWidget* parent = nullptr);
    void Show(const FieldControl& control) override;
    std::string Typed() const override;
    void Take(FieldControl& control) const override;
    void SetReadOnly(bool readOnly) override;
    QWidget* FocusTarget() override;

signals:
    void launch(const QString& link);

private:
    QLineEdit* m_edit;
    QPushButton* m_browse;
};

// Latin-1 bytes of a document as text, and back; the dialog refuses what can't go back first.
QString FromLatin1(const std::string& text);
std::string ToLatin1(const QString& text);

}  // namespace vantorel
