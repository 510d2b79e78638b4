#pragma once
// The external links of test cases (the description's and the result's): what the launch
// button beside one does with what was typed, and what the user is told when it can't. The
// dialog only hands the result to the system.

#include <optional>
#include <string>
#include <string_view>

#include "platform/user_port.h"

namespace vantorel {

struct FieldDescriptor;

// The chooser of the browse button.
inline constexpr std::string_view kBrowseLinkTitle = "Select an external file";
inline constexpr std::string_view kBrowseLinkFilter = "All files (*)";

// True for the fields that hold an external link and get browse and launch buttons.
bool IsExternalLinkField(const FieldDescriptor& row);

struct LinkLaunch {
    bool isUrl = false;  // else a file of this computer
    std::string target;  // the URL, "http://" added to a "www." one, or the file's path
};

// The launch button: a web, FTP or file URL is opened as such; anything else must name a file
// that exists and can be read, its path in quotes when options follow it. None after telling
// the user why not (nothing typed, no such file, no permission to read it).
std::optional<LinkLaunch> PlanLinkLaunch(std::string_view link, UserPort& port);

// What the user is told when the system could open nothing for target.
Notice LinkOpenFailure(std::string_view target);

// A link clicked in a page that opens something other than a web page or a mail (a file of
// this computer, an FTP server) is opened only after this question, which shows the link's real
// target: its text on the page may say anything. None for web and mail links.
std::optional<Notice> OutsideLinkQuestion(std::string_view url);

}  // namespace vantorel
