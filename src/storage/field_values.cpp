#include "storage/field_values.h"

#include <strings.h>

#include <charconv>
#include <cstdio>

#include "platform/clock_text.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

bool ParseDigits(std::string_view text, int& value) {
    if (text.empty())
        return false;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::optional<CalendarDate> ParseStoredDate(std::string_view stored) {
    CalendarDate date;
    if (stored.size() != 8 || !ParseDigits(stored.substr(0, 4), date.year) ||
        !ParseDigits(stored.substr(4, 2), date.month) ||
        !ParseDigits(stored.substr(6, 2), date.day))
        return std::nullopt;
    if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31)
        return std::nullopt;
    return date;
}

std::string StoredDate(const std::optional<CalendarDate>& date) {
    if (!date)
        return std::string(kNotApplicable);
    char text[32];
    std::snprintf(text, sizeof text, "%04d%02d%02d", date->year, date->month, date->day);
    return text;
}

std::optional<ClockTime> ParseStoredTime(std::string_view stored) {
    ClockTime time;
    if (stored.size() != 8 || stored[2] != ':' || stored[5] != ':' ||
        !ParseDigits(stored.substr(0, 2), time.hour) ||
        !ParseDigits(stored.substr(3, 2), time.minute) ||
        !ParseDigits(stored.substr(6, 2), time.second))
        return std::nullopt;
    if (time.hour > 23 || time.minute > 59 || time.second > 59)
        return std::nullopt;
    return time;
}

std::string StoredTime(const std::optional<ClockTime>& time) {
    if (!time)
        return std::string(kNotApplicable);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", time->hour, time->minute, time->second);
    return text;
}

std::string DisplayValue(FieldType type, std::string_view stored) {
    std::string value(stored);
    switch (type) {
        case FT_TEXT:
        case FT_LIST_TEXT:
            Unescape(value);
            break;
        case FT_RICH_TEXT:
            StripCData(value);
            WrapLinks(value);
            break;
        case FT_DATE:
            if (auto date = ParseStoredDate(stored))
                value = DisplayDate(date->year, date->month, date->day);
            break;
        default:
            break;
    }
    return value;
}

void ControlFromStored(FieldType type, std::string_view stored, FieldControl& control) {
    switch (type) {
        case FT_TEXT:
        case FT_PLAIN_TEXT:
        case FT_LIST_TEXT:
            control.text = stored;
            Unescape(control.text);
            break;
        case FT_RICH_TEXT:
            control.text = stored;
            StripCData(control.text);
            BreaksToNewlines(control.text);
            break;
        case FT_DATE:
            control.date = ParseStoredDate(stored);
            break;
        case FT_TIME:
            control.time = ParseStoredTime(stored);
            break;
        case FT_YES_NO:
            // Only "Yes" changes the box; anything else leaves it as it was.
            if (stored == "Yes")
                control.checked = true;
            break;
        case FT_PASSWORD:
            control.text = stored.empty() ? "" : std::string(kPasswordMask);
            break;
        default:
            break;
    }
}

std::string StoredFromControl(FieldType type, const FieldControl& control,
                              std::string_view previousStored,
                              const PasswordEncoder& encodePassword) {
    std::string value = control.text;
    switch (type) {
        case FT_TEXT:
        case FT_PLAIN_TEXT:
            Escape(value);
            return value;
        case FT_RICH_TEXT:
            NewlinesToBreaks(value);
            WrapCData(value);
            return value;
        case FT_LIST_TEXT:
            return value;  // a list's text is written as it stands, unescaped
        case FT_DATE:
            return StoredDate(control.date);
        case FT_TIME:
            return StoredTime(control.time);
        case FT_YES_NO:
            return control.checked ? "Yes" : "No";
        case FT_PASSWORD:
            if (value.empty() || value == kPasswordMask)
                return std::string(previousStored);
            return encodePassword(value);
        default:
            return {};
    }
}

std::string StoredFromValue(FieldType type, std::string_view value) {
    std::string stored(value);
    if (type == FT_TEXT || type == FT_LIST_TEXT)
        Escape(stored);
    if (type == FT_RICH_TEXT)
        WrapCData(stored);
    return stored;
}

std::optional<std::size_t> SelectListEntry(const std::vector<std::string>& entries,
                                           std::string_view value) {
    const std::size_t count = entries.size();
    for (std::size_t step = 0; step < count; ++step) {
        std::size_t index = (1 + step) % count;
        const std::string& entry = entries[index];
        if (entry.size() >= value.size() &&
            strncasecmp(entry.c_str(), std::string(value).c_str(), value.size()) == 0)
            return index;
    }
    return std::nullopt;
}

}  // namespace vantorel
