#pragma once
// Dates and times as the user reads them: "d-MMM-yyyy" with the month abbreviated in the
// user's locale, and the fixed 24-character form of lock times.

#include <ctime>
#include <string>

namespace vantorel {

// "3-Mar-2026": day without leading zero, the locale's abbreviated month, four-digit year.
std::string DisplayDate(int year, int month, int day);

// "Tue Mar  3 14:05:09 2026": weekday, month, day, time and year in exactly 24 characters.
std::string TwentyFourCharacterTime(std::time_t when);

}  // namespace vantorel
