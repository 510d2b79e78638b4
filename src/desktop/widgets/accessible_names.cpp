#include "desktop/widgets/accessible_names.h"

#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>
#include <QToolBar>
#include <QToolButton>
#include <QWizardPage>

namespace vantorel {

void NameForScreenReaders(QWidget& control, const QString& name) {
    control.setAccessibleName(name);
    // On Linux a combo box reads as its current text; its parts are named after the field.
    if (auto* box = qobject_cast<QComboBox*>(&control)) {
        box->view()->setAccessibleName(name);
        if (QLineEdit* typed = box->lineEdit())
            typed->setAccessibleName(name);
    }
}

void NameToolbarOverflow(QToolBar& toolbar) {
    // The toolbar makes the button itself, under this name, and shows it only when needed.
    if (auto* more = toolbar.findChild<QToolButton*>("qt_toolbar_ext_button"))
        more->setAccessibleName("More buttons of " + toolbar.windowTitle());
}

namespace {

QString LabelText(const QLabel& label) {
    QString text = label.text();
    text.remove('&');
    if (text.endsWith(':'))
        text.chop(1);
    return text.trimmed();
}

// What a user reads beside control: its buddy label, its form label, the label before it, its
// tooltip, or the title of the box or wizard page around it.
QString SeenLabel(QWidget& window, QWidget& control) {
    for (const QLabel* label : window.findChildren<QLabel*>())
        if (label->buddy() == &control)
            return LabelText(*label);
    // A form's row labels its field, or each control of a row of several.
    for (const QFormLayout* form : window.findChildren<QFormLayout*>())
        for (int row = 0; row < form->rowCount(); ++row) {
            QLayoutItem* field = form->itemAt(row, QFormLayout::FieldRole);
            const QLayoutItem* label = form->itemAt(row, QFormLayout::LabelRole);
            if (!field || !label || !qobject_cast<const QLabel*>(label->widget()))
                continue;
            if (field->widget() == &control ||
                (field->layout() && field->layout()->indexOf(&control) >= 0))
                return LabelText(*qobject_cast<const QLabel*>(label->widget()));
        }
    // A label just above or before it in the same row or column.
    for (const QLayout* layout : window.findChildren<QLayout*>())
        if (const int at = layout->indexOf(&control); at > 0)
            if (const auto* label = qobject_cast<const QLabel*>(layout->itemAt(at - 1)->widget()))
                return LabelText(*label);
    if (!control.toolTip().isEmpty())
        return control.toolTip();
    for (QWidget* above = control.parentWidget(); above && above != &window;
         above = above->parentWidget())
        if (const auto* box = qobject_cast<const QGroupBox*>(above); box && !box->title().isEmpty())
            return QString(box->title()).remove('&');
        else if (const auto* page = qobject_cast<const QWizardPage*>(above);
                 page && !page->title().isEmpty())
            return page->title();
    return {};
}

bool TakesText(const QWidget& control) {
    return qobject_cast<const QAbstractItemView*>(&control) ||
           qobject_cast<const QLineEdit*>(&control) ||
           qobject_cast<const QAbstractSpinBox*>(&control) ||
           qobject_cast<const QTextEdit*>(&control) ||
           qobject_cast<const QPlainTextEdit*>(&control);
}

}  // namespace

void NameUnlabelledControls(QWidget& window) {
    for (QComboBox* box : window.findChildren<QComboBox*>()) {
        const QString name =
            box->accessibleName().isEmpty() ? SeenLabel(window, *box) : box->accessibleName();
        if (!name.isEmpty() && box->view()->accessibleName().isEmpty())
            NameForScreenReaders(*box, name);
    }
    for (QWidget* control : window.findChildren<QWidget*>()) {
        if (!TakesText(*control) || !control->accessibleName().isEmpty() ||
            qobject_cast<QComboBox*>(control->parentWidget()))
            continue;
        if (const QString name = SeenLabel(window, *control); !name.isEmpty())
            control->setAccessibleName(name);
    }
}

bool UnlabelledControlsNamer::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show)
        if (auto* window = qobject_cast<QWidget*>(watched); window && window->isWindow())
            NameUnlabelledControls(*window);
    return QObject::eventFilter(watched, event);
}

}  // namespace vantorel
