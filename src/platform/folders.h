#pragma once
// Where the program keeps its own files on Linux. $VANTOREL_DATA_DIR, when set, holds all of
// them (tests and portable use); otherwise the XDG folders are used.

#include <filesystem>

namespace vantorel {

// VantorelDebug.txt, error_log.txt and the copy of the sample database live here.
std::filesystem::path DataFolder();
// Vantorel.cfg lives here.
std::filesystem::path ConfigFolder();
// The folder of the running executable.
std::filesystem::path ProgramFolder();
// The folder of the program's own data: the display styles ("Templates"), the sample database
// ("SampleDB") and the help pages ("Help"). In a build tree they lie beside the program; an
// installed program (<prefix>/bin) finds them in <prefix>/share/vantorel (the install's own
// layout, fixed when the program is built).
std::filesystem::path ProgramDataFolderOf(const std::filesystem::path& program);
std::filesystem::path ProgramDataFolder();
// The user's documents folder, where import and export dialogs start; empty when there is none.
std::filesystem::path DocumentsFolder();
// Working files of the program (the external editor's page); not kept between runs.
std::filesystem::path TempFolder();

}  // namespace vantorel
