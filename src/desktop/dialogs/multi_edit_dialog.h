#pragma once
// The dialog of multi-edit and of a suite's bulk updates: one row per field the core offers,
// each a box to tick and the field's own widget, which takes a value only once ticked. OK
// hands the ticked fields to the core's engine, which runs on the transfer worker with its
// count and Cancel in the status bar, and ends with the summary of what changed.

#include <QDialog>
#include <vector>

#include "documents/field_dialog.h"
#include "workspace/multi_edit.h"

class QCheckBox;

namespace vantorel {

class FieldWidget;
class MainWindow;

class MultiEditDialog : public QDialog {
    Q_OBJECT
public:
    // rows: the fields offered; ticked: how many of the first rows start ticked (a bulk
    // update's one field).
    MultiEditDialog(const std::vector<FieldDescriptor>& rows, const CustomCfg& custom,
                    const FieldChoiceLists& choices, const QString& title, UserPort& port,
                    QWidget* parent = nullptr, std::size_t ticked = 0);

    // The ticked fields with the values shown; valid after OK.
    const std::vector<FieldChange>& Changes() const { return m_changes; }

    void accept() override;

private:
    struct Row {
        FieldDescriptor field;
        std::string caption;
        QCheckBox* tick;
        FieldWidget* widget;
    };
    std::vector<Row> m_rows;
    UserPort& m_port;
    std::vector<FieldChange> m_changes;
};

// Properties on several selected items: the test cases among them in one dialog.
void RunMultiEdit(MainWindow& window, UserPort& port, const std::vector<TreeNode>& selected);
// A command of a library suite's "Update all test cases": its one field on every test case
// of the suite and its sub-suites.
void RunBulkUpdate(MainWindow& window, UserPort& port, const TreeNode& suite, int command);
// "Set total expected duration...": a total shared out among the test cases of the suite and
// its sub-suites, or given to each.
void RunSetTotalDuration(MainWindow& window, UserPort& port, const TreeNode& suite);

}  // namespace vantorel
