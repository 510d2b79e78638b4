#pragma once
// Names for screen readers where Qt gives a control none of its own: a combo box's list and
// typed text, a toolbar's overflow button.

#include <QObject>
#include <QString>

class QToolBar;
class QWidget;

namespace vantorel {

// Names control; a combo box's drop-down list and its typed text take the same name.
void NameForScreenReaders(QWidget& control, const QString& name);
// Names the button that shows the toolbar's actions that don't fit.
void NameToolbarOverflow(QToolBar& toolbar);

// Names each control of window that takes the focus and that Qt leaves nameless: after the
// label given it as buddy or in a form, else the label just before it, else its tooltip, else
// the box or wizard page it is in. A combo box's list and typed text take the combo's label.
void NameUnlabelledControls(QWidget& window);

// Names the controls of every window as it first shows (NameUnlabelledControls), so a dialog
// need not name by hand what its layout already labels.
class UnlabelledControlsNamer : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace vantorel
