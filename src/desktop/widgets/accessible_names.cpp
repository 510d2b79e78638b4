#include "desktop/widgets/accessible_names.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QLineEdit>
#include <QToolBar>
#include <QToolButton>

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

}  // namespace vantorel
