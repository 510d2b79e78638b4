#include "platform/clock_text.h"

#include <langinfo.h>

#include <cstdio>

namespace vantorel {

std::string DisplayDate(int year, int month, int day) {
    const char* monthName = "???";
    if (month >= 1 && month <= 12)
        monthName = nl_langinfo(static_cast<nl_item>(ABMON_1 + month - 1));
    char text[64];
    std::snprintf(text, sizeof text, "%d-%s-%04d", day, monthName, year);
    return text;
}

std::string TwentyFourCharacterTime(std::time_t when) {
    static const char* const kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    struct tm local {};
    localtime_r(&when, &local);
    char text[64];
    std::snprintf(text, sizeof text, "%s %s %2d %02d:%02d:%02d %04d", kWeekdays[local.tm_wday % 7],
                  kMonths[local.tm_mon % 12], local.tm_mday, local.tm_hour, local.tm_min,
                  local.tm_sec, local.tm_year + 1900);
    return text;
}

}  // namespace vantorel
