#pragma once
// The dialogs of the Settings and Help menus and the display style: each shows what the core
// offers and hands the user's choice back to it (workspace/options.h, exchange/about.h).

#include <QWidget>
#include <filesystem>

namespace vantorel {

class Config;
class UserPort;

// "Options": the options a user sets. OK keeps them in config and writes its file, unless
// the core refuses a value; Cancel changes nothing. True when they were kept.
bool RunOptionsDialog(QWidget* parent, Config& config, UserPort& port);
// "Spelling Options": the dictionary among those installed (looked for away from the window's
// thread), the words the check skips, and the personal dictionary's words, each of which
// Remove takes out at once. OK keeps the language and the words to skip in config and writes
// its file; the item dialogs opened after it check with them. True when OK kept them.
bool RunSpellingOptionsDialog(QWidget* parent, Config& config,
                              const std::filesystem::path& dataFolder, UserPort& port);
// "Display Style": the styles found in stylesRoot, the one in use selected. True when OK
// chose another one, which config now holds and has written.
bool RunDisplayStyleDialog(QWidget* parent, Config& config, const std::filesystem::path& stylesRoot,
                           UserPort& port);
// "About Vantorel": the version, the licence and the libraries.
void ShowAboutBox(QWidget* parent);

}  // namespace vantorel
