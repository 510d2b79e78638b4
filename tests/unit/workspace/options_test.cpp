#include "workspace/options.h"
#include "workspace/spelling_options.h"

#include <gtest/gtest.h>

#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel::testing {
namespace {

class OptionsTest : public ::testing::Test {
protected:
    TempDir dir;
    RecordingPort port;
    Config config{dir.path() / "config", dir.path() / "data", port};
};

TEST_F(OptionsTest, SavingKeepsEveryOptionAndNothingElse) {
    ConfigSettings chosen = config.Settings();
    for (const FlagOption& option : FlagOptions())
        chosen.*option.setting = !(chosen.*option.setting);
    chosen.viewReqPath = "https://req.example/?id=%TESTCASE_PATH%";
    chosen.viewBugPath = "bugs --open \"<id>\" & wait";
    chosen.addBugPath = "tracker --project '%VT_PROJECT%'";
    // Settings the dialog doesn't show are left as the window last set them.
    chosen.templatePath = "night";
    chosen.width = 999;

    ASSERT_EQ(SaveOptions(chosen, config, port), std::nullopt);
    const ConfigSettings defaults = DefaultSettings(dir.path() / "data");
    const Config reread(dir.path() / "config", dir.path() / "data", port);
    for (const ConfigSettings* kept :
         std::initializer_list<const ConfigSettings*>{&config.Settings(), &reread.Settings()}) {
        // Each row of the table reaches a setting of its own.
        EXPECT_NE(kept->incrementalDup, defaults.incrementalDup);
        EXPECT_NE(kept->incrementalNew, defaults.incrementalNew);
        EXPECT_NE(kept->changeIconsInTreeview, defaults.changeIconsInTreeview);
        EXPECT_NE(kept->showExtraTsInfo, defaults.showExtraTsInfo);
        EXPECT_NE(kept->useSpellChecker, defaults.useSpellChecker);
        EXPECT_NE(kept->autoSpellOnLoad, defaults.autoSpellOnLoad);
        EXPECT_NE(kept->printFooter, defaults.printFooter);
        EXPECT_NE(kept->showStartupDialog, defaults.showStartupDialog);
        EXPECT_NE(kept->autoAddUser, defaults.autoAddUser);
        EXPECT_EQ(kept->viewReqPath, chosen.viewReqPath);
        EXPECT_EQ(kept->viewBugPath, chosen.viewBugPath);
        EXPECT_EQ(kept->addBugPath, chosen.addBugPath);
        EXPECT_EQ(kept->templatePath, "default");
        EXPECT_EQ(kept->width, 0);
    }
    EXPECT_TRUE(port.notices.empty());
}

TEST_F(OptionsTest, ALinkLongerThanTheFileKeepsIsRefusedAndNothingIsWritten) {
    ConfigSettings chosen = config.Settings();
    // The width counts characters, not bytes.
    chosen.viewReqPath = std::string(512 * 2, '\0');
    for (std::size_t i = 0; i < chosen.viewReqPath.size(); i += 2)
        chosen.viewReqPath.replace(i, 2, "\xC3\xA9");
    chosen.addBugPath = std::string(513, 'x');
    chosen.printFooter = !chosen.printFooter;
    const std::string before = ReadFile(config.File());

    const std::optional<SaveRefusal> refusal = SaveOptions(chosen, config, port);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->field, 2u);
    EXPECT_TRUE(Has(refusal->notice.text, "513"));
    EXPECT_EQ(port.notices, std::vector<Notice>{refusal->notice});
    EXPECT_EQ(config.Settings(), DefaultSettings(dir.path() / "data"));
    EXPECT_EQ(ReadFile(config.File()), before);

    chosen.addBugPath.pop_back();
    EXPECT_EQ(SaveOptions(chosen, config, port), std::nullopt);
    EXPECT_EQ(config.Settings().viewReqPath, chosen.viewReqPath);
}

TEST_F(OptionsTest, TheStyleInUseIsOfferedSelectedAndNoStyleIsSaidSo) {
    const std::vector<std::string> styles{"default", "night", "print"};
    EXPECT_EQ(OfferDisplayStyles(styles, "night", "/opt/vantorel/Templates", port)->selected, 1u);
    // A style that went away: the first one is offered instead.
    EXPECT_EQ(OfferDisplayStyles(styles, "dark", "/opt/vantorel/Templates", port)->selected, 0u);
    EXPECT_TRUE(port.notices.empty());

    EXPECT_EQ(OfferDisplayStyles({}, "default", "/opt/vantorel/Templates", port), std::nullopt);
    ASSERT_EQ(port.notices.size(), 1u);
    EXPECT_TRUE(Has(port.notices[0].text, "\"/opt/vantorel/Templates\""));
}

TEST_F(OptionsTest, TheLanguageInUseIsOfferedSelectedEvenWhenItWentAway) {
    const std::vector<std::string> installed{"de_DE", "en_US"};
    const LanguageOffer locale = OfferLanguages(installed, "", "en_GB");
    EXPECT_EQ(locale.choices.front().language, "");
    EXPECT_TRUE(Has(locale.choices.front().label, "en_GB"));
    EXPECT_EQ(locale.choices.size(), 3u);
    EXPECT_EQ(locale.selected, 0u);
    EXPECT_EQ(OfferLanguages(installed, "en_US", "").selected, 2u);
    const LanguageOffer gone = OfferLanguages(installed, "fr_FR", "");
    ASSERT_EQ(gone.selected, 3u);
    EXPECT_EQ(gone.choices[3].language, "fr_FR");
    EXPECT_TRUE(Has(gone.choices[3].label, "not installed"));
}

}  // namespace
}  // namespace vantorel::testing
