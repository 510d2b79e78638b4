#pragma once
// The help pages that ship with the program (the "Help" folder of its data) and which page each
// window opens: "Help - Overview" and F1 in the main window the overview; F1 or the Help button
// of a dialog the page of its subject (an item's dialog the page its kind names). The pages are
// shown in the program's own help window, so they need neither a network nor a browser.

#include <filesystem>
#include <string>
#include <string_view>

namespace vantorel {

struct ItemKind;

enum class HelpSubject {
    Overview,  // the main window
    Filter,
    Customize,
    ReportWizard,
    WebExport,
    DisplayStyle,
    Spelling,
};

// The page's file name in the help folder ("overview.htm", "customisation.htm", ...).
std::string_view HelpPageOf(HelpSubject subject);
// An item dialog's page: the one its kind names, else the overview.
std::string_view HelpPageOf(const ItemKind& kind);

// True for a link the help window follows: a page lying in the help folder itself. The pages
// link only to each other, so anything else (another file, a web address) is left alone.
bool FollowedInHelp(const std::filesystem::path& helpFolder, std::string_view scheme,
                    const std::filesystem::path& localFile);

// What the help window shows in place of a page that isn't installed: which page, and where it
// was looked for.
std::string MissingHelpPage(const std::filesystem::path& page);

}  // namespace vantorel
