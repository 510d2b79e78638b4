#pragma once
// Dates and times as the user reads them: "d-MMM-yyyy" with the month abbreviated in the
// user's locale, and the fixed 24-character form of lock times.

#include <ctime>
#include <string>
#include <string_view>

namespace vantorel {

inline constexpr std::size_t kMonthAbbreviationMax = 4;

// Reads the twelve abbreviated month names of the user's locale once, at start-up; until then,
// and for a name that ISO-8859-1 can't hold, the English names are used.
void LoadMonthAbbreviations();
// One locale month name as the program keeps it: converted from the locale's codeset to
// ISO-8859-1 and cut to four characters; empty when it can't be held.
std::string MonthAbbreviationFromLocale(std::string_view name, std::string_view codeset);

// The abbreviated name of month 1-12 as dates show it; "???" outside.
std::string_view MonthAbbreviation(int month);

// "3-Mar-2026": day without leading zero, the abbreviated month, four-digit year.
std::string DisplayDate(int year, int month, int day);

// "Tue Mar  3 14:05:09 2026": weekday, month, day, time and year in exactly 24 characters.
std::string TwentyFourCharacterTime(std::time_t when);

}  // namespace vantorel
