#include "workspace/linked_commands.h"

#include "documents/item_editor.h"
#include "storage/text_conversions.h"
#include "workspace/config.h"

namespace vantorel {

const std::string& CommandOf(const ConfigSettings& settings, LinkedCommand command) {
    switch (command) {
        case LinkedCommand::ViewRequirement:
            return settings.viewReqPath;
        case LinkedCommand::ViewFaultReport:
            return settings.viewBugPath;
        case LinkedCommand::AddFaultReport:
            break;
    }
    return settings.addBugPath;
}

std::string_view UnsetCommandHint(LinkedCommand command) {
    switch (command) {
        case LinkedCommand::ViewRequirement:
            return "No command opens requirements: set one in Settings / Options";
        case LinkedCommand::ViewFaultReport:
            return "No command opens fault reports: set one in Settings / Options";
        case LinkedCommand::AddFaultReport:
            break;
    }
    return "No command files fault reports: set one in Settings / Options";
}

CommandLaunch PlanCommandLaunch(std::string_view command, std::string_view project,
                                const std::filesystem::path& testCase) {
    std::string target = ReplaceAll(std::string(command), "%VT_PROJECT%", project);
    target = ReplaceAll(std::move(target), "%TESTCASE_PATH%", testCase.string());
    const std::string_view text = target;
    if (text.starts_with("http://") || text.starts_with("https://"))
        return {true, target};
    if (text.starts_with("www."))
        return {true, "http://" + target};
    return {false, target};
}

Notice CommandLaunchFailure(const CommandLaunch& launch) {
    if (launch.isUrl)
        return {"An error occured while trying to open the browser", "Error opening browser",
                Icon::Warning};
    return {FillMessage("An error occured while trying to open the application\nThe specified "
                        "file was not found\n%s",
                        {launch.target}),
            "Error opening application", Icon::Warning};
}

}  // namespace vantorel
