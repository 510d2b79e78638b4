#include "workspace/spelling_options.h"

#include <algorithm>

namespace vantorel {
namespace {

constexpr std::array<SkipOption, 3> kSkipOptions{{
    {"Words with digits (\"TC42\", \"3rd\")", &SpellingOptions::skipWithDigits},
    {"Words in capitals only (\"HTTP\")", &SpellingOptions::skipCapitals},
    {"Internet and e-mail addresses, paths and file names", &SpellingOptions::skipAddresses},
}};

}  // namespace

const std::array<SkipOption, 3>& SkipOptions() {
    return kSkipOptions;
}

LanguageOffer OfferLanguages(const std::vector<std::string>& installed, const std::string& current,
                             std::string_view localeLanguage) {
    LanguageOffer offer;
    offer.choices.push_back({"", localeLanguage.empty() ? std::string("The desktop's language")
                                                        : "The desktop's language (" +
                                                              std::string(localeLanguage) + ")"});
    for (const std::string& name : installed)
        offer.choices.push_back({name, name});
    if (!current.empty() && std::ranges::find(installed, current) == installed.end())
        offer.choices.push_back({current, current + " (not installed)"});
    for (std::size_t row = 0; row < offer.choices.size(); ++row)
        if (offer.choices[row].language == current)
            offer.selected = row;
    return offer;
}

void SaveSpellingOptions(const SpellingOptions& chosen, Config& config) {
    config.Settings().spelling = chosen;
    config.Write();
}

}  // namespace vantorel
