#pragma once
// Where the program keeps its own files on Linux. $VANTOREL_DATA_DIR, when set, holds all of
// them (tests and portable use); otherwise the XDG folders are used.

#include <filesystem>

namespace vantorel {

// VantorelDebug.txt, error_log.txt and the copy of the sample database live here.
std::filesystem::path DataFolder();
// Vantorel.cfg lives here.
std::filesystem::path ConfigFolder();
// The folder of the running executable; the display styles are found beside it.
std::filesystem::path ProgramFolder();
// The user's documents folder, where import and export dialogs start; empty when there is none.
std::filesystem::path DocumentsFolder();
// Working files of the program (the external editor's page); not kept between runs.
std::filesystem::path TempFolder();

}  // namespace vantorel
