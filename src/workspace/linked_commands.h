#pragma once
// The commands the options hold for requirements and fault reports, as the item dialogs'
// buttons run them: "%VT_PROJECT%" and "%TESTCASE_PATH%" filled in, a web address opened in
// the browser, anything else started as a program; and what the user is told when that fails.

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/user_port.h"

namespace vantorel {

struct ConfigSettings;

enum class LinkedCommand { ViewRequirement, ViewFaultReport, AddFaultReport };

// The command the options hold for it; empty when none is set.
const std::string& CommandOf(const ConfigSettings& settings, LinkedCommand command);
// Why the button of an unset command is greyed: where to set it.
std::string_view UnsetCommandHint(LinkedCommand command);

struct CommandLaunch {
    bool isUrl = false;  // an address for the browser, else a command line to start
    std::string target;
};

// The command with its placeholders filled; one beginning "http://", "https://" or "www." is an
// address ("http://" put before "www.").
CommandLaunch PlanCommandLaunch(std::string_view command, std::string_view project,
                                const std::filesystem::path& testCase);

// What the user is told when the browser or the program could not be started.
Notice CommandLaunchFailure(const CommandLaunch& launch);

}  // namespace vantorel
