#pragma once
// The Spelling Options dialog without its window: the dictionaries it offers, the words the
// check may pass over, and keeping the choice with the user's other options in "Vantorel.cfg".
// The personal dictionary's words are the checker's own (documents/spelling.h).

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "documents/spelling.h"
#include "workspace/config.h"

namespace vantorel {

inline constexpr std::string_view kSpellingOptionsCaption = "Spelling Options";

// A kind of word the check passes over when ticked: the check box's words and its option.
struct SkipOption {
    std::string_view label;
    bool SpellingOptions::*setting;
};
// The check boxes, in the order the dialog shows them.
const std::array<SkipOption, 3>& SkipOptions();

// One entry of the language list: the option's value and how it is shown.
struct LanguageChoice {
    std::string language;  // empty: the language of the user's locale
    std::string label;
    bool operator==(const LanguageChoice&) const = default;
};
struct LanguageOffer {
    std::vector<LanguageChoice> choices;
    std::size_t selected = 0;  // the language in use
};
// The locale's language first, then each installed dictionary. A kept language that is no
// longer installed stays on the list, said so, so OK doesn't change it unseen.
LanguageOffer OfferLanguages(const std::vector<std::string>& installed, const std::string& current,
                             std::string_view localeLanguage);

// Keeps chosen in config and writes its file, which tells the user when it can't; the options
// hold for this run either way.
void SaveSpellingOptions(const SpellingOptions& chosen, Config& config);

}  // namespace vantorel
