#pragma once
// The shell's own dialogs: the start-up options, the choice of a database to open, the new
// database's folder and the current user. Each shows the choices and hands the answer back;
// what the answer leads to is the shell's.

#include <QWidget>
#include <filesystem>
#include <optional>
#include <string>

#include "workspace/startup.h"

namespace vantorel {

class CustomCfg;
class UserPort;

// "Load Database": what to open at start-up, and whether to ask again next time.
ShellView::StartupAnswer RunStartupDialog(QWidget* parent, const std::string& lastDatabaseName);
// "Select a database file": a database's marker file (or its folder).
std::optional<std::filesystem::path> ChooseDatabaseFile(QWidget* parent,
                                                        const std::filesystem::path& startFolder);
// The new database's folder, typed or browsed for.
std::optional<std::filesystem::path> RunNewDatabaseDialog(QWidget* parent);
// "Set User": one of the database's testers becomes the current user of computer. True when
// the current user changed.
bool RunSetUserDialog(QWidget* parent, const std::filesystem::path& databaseDir, CustomCfg& custom,
                      const std::string& computer, const std::string& currentUser, UserPort& port);

}  // namespace vantorel
