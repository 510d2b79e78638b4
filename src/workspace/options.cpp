#include "workspace/options.h"

#include "storage/text_conversions.h"

namespace vantorel {
namespace {

constexpr std::array<FlagOption, 9> kFlagOptions{{
    {"Number a duplicated item with the next free identifier instead of \"copy of\"",
     &ConfigSettings::incrementalDup},
    {"Give new items the next free identifier", &ConfigSettings::incrementalNew},
    {"Show the status of project test cases as their icons in the tree",
     &ConfigSettings::changeIconsInTreeview},
    {"Show the totals of each suite in lists", &ConfigSettings::showExtraTsInfo},
    {"Check spelling while typing", &ConfigSettings::useSpellChecker},
    {"Check spelling as soon as an item's dialog opens", &ConfigSettings::autoSpellOnLoad},
    {"Print a footer on every page", &ConfigSettings::printFooter},
    {"Ask which database to load at start-up", &ConfigSettings::showStartupDialog},
    {"Set the current user without asking", &ConfigSettings::autoAddUser},
}};

constexpr std::array<LinkOption, 4> kLinkOptions{{
    {"Open a requirement with:", "The command that opens a requirement",
     &ConfigSettings::viewReqPath},
    {"Open a fault report with:", "The command that opens a fault report",
     &ConfigSettings::viewBugPath},
    {"File a new fault report with:", "The command that files a new fault report",
     &ConfigSettings::addBugPath},
    {"Edit rich text with:", "The command of the HTML editor", &ConfigSettings::htmlEditorPath},
}};

}  // namespace

const std::array<FlagOption, 9>& FlagOptions() {
    return kFlagOptions;
}

const std::array<LinkOption, 4>& LinkOptions() {
    return kLinkOptions;
}

std::optional<SaveRefusal> SaveOptions(const ConfigSettings& chosen, Config& config,
                                       UserPort& port) {
    // Reading the file cuts a link at its width; refused here, nothing is lost unseen.
    for (std::size_t link = 0; link < kLinkOptions.size(); ++link) {
        const std::size_t length = Utf8ToUtf16(chosen.*kLinkOptions[link].setting).size();
        if (length > kConfigPathWidth)
            return TellRefusal(port,
                               {std::string(kLinkOptions[link].name) + " is too long: it has " +
                                    std::to_string(length) + " characters, and at most " +
                                    std::to_string(kConfigPathWidth) + " can be kept.",
                                std::string(kOptionsCaption), Icon::Warning},
                               link);
    }
    ConfigSettings& settings = config.Settings();
    for (const FlagOption& option : kFlagOptions)
        settings.*option.setting = chosen.*option.setting;
    for (const LinkOption& link : kLinkOptions)
        settings.*link.setting = chosen.*link.setting;
    // A file that can't be written has been told of; the options hold for this run anyway.
    config.Write();
    return std::nullopt;
}

std::optional<StyleOffer> OfferDisplayStyles(std::vector<std::string> styles,
                                             const std::string& current,
                                             const std::filesystem::path& stylesRoot,
                                             UserPort& port) {
    if (styles.empty()) {
        port.tell({"No display styles were found in \"" + stylesRoot.string() +
                       "\".\nA display style is a folder there that holds a \"style.css\".",
                   std::string(kDisplayStyleCaption), Icon::Warning});
        return std::nullopt;
    }
    StyleOffer offer{std::move(styles)};
    for (std::size_t row = 0; row < offer.styles.size(); ++row)
        if (offer.styles[row] == current)
            offer.selected = row;
    return offer;
}

bool ChooseDisplayStyle(const std::string& style, Config& config) {
    if (config.Settings().templatePath == style)
        return false;
    config.Settings().templatePath = style;
    config.Write();
    return true;
}

}  // namespace vantorel
