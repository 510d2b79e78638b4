#pragma once
// The desktop program: the window, its start-up and its event loop.

#include <filesystem>
#include <string>
#include <vector>

namespace vantorel {

// What must be settled before the QApplication exists: the web view's shared contexts and
// the page scheme.
void PrepareDesktopApplication();

// Draws the web view in software where OpenGL itself is drawn by the processor; called once the
// QApplication exists and before the first window.
void ChooseWebViewRendering();

// Runs the window until it is closed; the program's exit status. databaseMarker, when given,
// is the database the command line names, opened instead of the start-up choice.
int RunDesktop(int& argc, char** argv, const std::filesystem::path& databaseMarker);

}  // namespace vantorel
