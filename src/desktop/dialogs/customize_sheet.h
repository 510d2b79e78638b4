#pragma once
// "Vantorel - Customize": the database's customisation as a sheet of eight pages (test types,
// test phases, notes captions, default values, report captions and colours, versions, builds,
// statuses), a view over CustomizeEditor. The model takes the lock of custom.dat as it opens,
// decides every refusal and writes custom.dat once on OK; the sheet shows its lists and hands
// it what was typed. The model, and with it the lock, goes when the sheet closes, whichever
// way it closes.

#include <QDialog>
#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "documents/customize_editor.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTabWidget;
class QTreeWidget;

namespace vantorel {

class CustomizeSheet : public QDialog {
    Q_OBJECT
public:
    explicit CustomizeSheet(std::unique_ptr<CustomizeEditor> editor, QWidget* parent = nullptr);
    ~CustomizeSheet() override;

    void accept() override;
    void done(int result) override;

private:
    QWidget* ListPage(CustomList list, const QString& name, const QString& entryCaption);
    QWidget* NotesPage();
    QWidget* DefaultsPage();
    QWidget* ReportPage();
    QWidget* StatusPage();

    void ShowList(CustomList list, std::optional<std::size_t> selected = std::nullopt);
    // The default-version and default-build drop-downs, from the version and build lists as
    // they stand, keeping what was chosen while it is still offered.
    void ShowDefaultChoices();
    void ShowReportSlots();
    void ShowChosenSlot();
    void ShowStatuses(std::optional<std::size_t> selected = std::nullopt);
    // The status dialog, filled with draft; store is the model's Add or Edit, and the dialog
    // stays open while it refuses.
    void RunStatusDialog(StatusDraft draft, const std::function<bool(const StatusDraft&)>& store);
    void FocusField(CustomizeField field);

    std::unique_ptr<CustomizeEditor> m_editor;
    QTabWidget* m_pages = nullptr;
    std::map<CustomList, QListWidget*> m_lists;
    std::array<QLineEdit*, 3> m_notes{};
    QLineEdit* m_expected = nullptr;
    QLineEdit* m_digits = nullptr;
    QLineEdit* m_step = nullptr;
    QComboBox* m_defaultVersion = nullptr;
    QComboBox* m_defaultBuild = nullptr;
    QComboBox* m_reportSlots = nullptr;
    QLineEdit* m_reportString = nullptr;
    QLabel* m_reportSwatch = nullptr;
    QPushButton* m_reportColour = nullptr;
    QTreeWidget* m_statuses = nullptr;
};

// Settings / Customize Fields: opens the sheet over the database at databaseDir (none when no
// database is open) when the model could open. True when OK wrote custom.dat and custom holds
// the new customisation. The lock of custom.dat names identity.
bool RunCustomizeSheet(QWidget* parent, const std::filesystem::path* databaseDir, CustomCfg& custom,
                       const UserIdentity& identity, UserPort& port);

}  // namespace vantorel
