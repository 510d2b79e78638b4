#pragma once
// Names for screen readers where Qt gives a control none of its own: a combo box's list and
// typed text, a toolbar's overflow button.

#include <QString>

class QToolBar;
class QWidget;

namespace vantorel {

// Names control; a combo box's drop-down list and its typed text take the same name.
void NameForScreenReaders(QWidget& control, const QString& name);
// Names the button that shows the toolbar's actions that don't fit.
void NameToolbarOverflow(QToolBar& toolbar);

}  // namespace vantorel
