#include "platform/clock_text.h"

#include <langinfo.h>
#include <locale.h>

#include <array>
#include <cstdio>

namespace vantorel {
namespace {

constexpr const char* kEnglishMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::array<std::string, 12> g_months = [] {
    std::array<std::string, 12> months;
    for (int month = 0; month < 12; ++month)
        months[month] = kEnglishMonths[month];
    return months;
}();

// Appends the ISO-8859-1 form of UTF-8 text; false on a character outside it or a broken
// sequence.
bool AppendLatin1FromUtf8(std::string_view text, std::string& out) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned char lead = static_cast<unsigned char>(text[at]);
        if (lead < 0x80) {
            out += static_cast<char>(lead);
            continue;
        }
        if ((lead & 0xE0) != 0xC0 || lead > 0xC3 || at + 1 >= text.size())
            return false;
        unsigned char next = static_cast<unsigned char>(text[++at]);
        if ((next & 0xC0) != 0x80)
            return false;
        out += static_cast<char>(((lead & 0x1F) << 6) | (next & 0x3F));
    }
    return true;
}

}  // namespace

std::string MonthAbbreviationFromLocale(std::string_view name, std::string_view codeset) {
    std::string latin1;
    if (codeset == "UTF-8" || codeset == "utf8") {
        if (!AppendLatin1FromUtf8(name, latin1))
            return {};
    } else if (codeset == "ISO-8859-1" || codeset == "ANSI_X3.4-1968") {
        latin1 = name;
    } else {
        return {};
    }
    if (latin1.size() > kMonthAbbreviationMax)
        latin1.resize(kMonthAbbreviationMax);
    return latin1;
}

void LoadMonthAbbreviations() {
    locale_t user = newlocale(LC_TIME_MASK | LC_CTYPE_MASK, "", nullptr);
    if (!user)
        return;
    const std::string_view codeset = nl_langinfo_l(CODESET, user);
    for (int month = 0; month < 12; ++month) {
        std::string name = MonthAbbreviationFromLocale(
            nl_langinfo_l(static_cast<nl_item>(ABMON_1 + month), user), codeset);
        g_months[month] = name.empty() ? kEnglishMonths[month] : name;
    }
    freelocale(user);
}

std::string_view MonthAbbreviation(int month) {
    return month >= 1 && month <= 12 ? std::string_view(g_months[month - 1]) : "???";
}

std::string DisplayDate(int year, int month, int day) {
    char text[64];
    std::snprintf(text, sizeof text, "%d-%s-%04d", day, MonthAbbreviation(month).data(), year);
    return text;
}

std::string TwentyFourCharacterTime(std::time_t when) {
    static const char* const kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    struct tm local {};
    localtime_r(&when, &local);
    char text[64];
    std::snprintf(text, sizeof text, "%s %s %2d %02d:%02d:%02d %04d", kWeekdays[local.tm_wday % 7],
                  kEnglishMonths[local.tm_mon % 12], local.tm_mday, local.tm_hour, local.tm_min,
                  local.tm_sec, local.tm_year + 1900);
    return text;
}

}  // namespace vantorel
