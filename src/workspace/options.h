#pragma once
// The Options and Display Style dialogs without their windows: which settings of the
// configuration a user sets there, the words the dialogs show for them, and the checks made
// before the choice is kept and written to "Vantorel.cfg".

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "documents/save_refusal.h"
#include "platform/user_port.h"
#include "workspace/config.h"

namespace vantorel {

inline constexpr std::string_view kOptionsCaption = "Options";
inline constexpr std::string_view kDisplayStyleCaption = "Display Style";

// An option the user turns on or off: the check box's words and the setting it sets.
struct FlagOption {
    std::string_view label;
    bool ConfigSettings::*setting;
};
// The check boxes, in the order the dialog shows them.
const std::array<FlagOption, 9>& FlagOptions();

// A command or web address that opens links of project test cases, or the HTML editor's command.
struct LinkOption {
    std::string_view label;  // beside its field
    std::string_view name;   // in a message about it
    std::string ConfigSettings::*setting;
};
// The link fields, in the order the dialog shows them.
const std::array<LinkOption, 4>& LinkOptions();
// Said under the link fields.
inline constexpr std::string_view kLinkHint =
    "A command or a web address. %VT_PROJECT% is replaced by the project's name and "
    "%TESTCASE_PATH% by the test case's path. The HTML editor is given the page to edit after "
    "its command.";

// Keeps the options of chosen (FlagOptions and LinkOptions, nothing else) in config and writes
// its file, which tells the user when it can't. A link longer than the file keeps is refused
// first, told through port; the refusal's field is the link's position in LinkOptions.
std::optional<SaveRefusal> SaveOptions(const ConfigSettings& chosen, Config& config,
                                       UserPort& port);

// What the Display Style dialog offers: the styles found, and the row selected at first.
struct StyleOffer {
    std::vector<std::string> styles;
    std::size_t selected = 0;  // the style in use; the first when it is not among them
};
// The offer of the styles found in stylesRoot (their names, as listed there); none, after
// telling the user, when there are none.
std::optional<StyleOffer> OfferDisplayStyles(std::vector<std::string> styles,
                                             const std::string& current,
                                             const std::filesystem::path& stylesRoot,
                                             UserPort& port);
// Makes style the display style and writes the configuration. False when it already was.
bool ChooseDisplayStyle(const std::string& style, Config& config);

}  // namespace vantorel
