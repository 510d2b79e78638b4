#pragma once
// What the import and export dialogs share: finding their target in the window's selection
// before they open, and choosing the file to read.

#include <QString>
#include <filesystem>
#include <optional>

#include "platform/user_port.h"
#include "workspace/commands.h"
#include "workspace/exchange_targets.h"

class QWidget;

namespace vantorel {

class MainWindow;

// The target of operation on the window's selection; none after the user was told why not
// (the selection doesn't fit, or another import or export still runs).
std::optional<ExchangeTarget> ExchangeTargetOrTell(MainWindow& window, UserPort& port,
                                                   Operation operation);

// The file the user chose to import, starting in startFolder (when given), which then follows
// the choice; none when the user cancelled.
std::optional<std::filesystem::path> ChooseFileToImport(QWidget* parent, const QString& filter,
                                                        std::filesystem::path* startFolder);

}  // namespace vantorel
