#pragma once
// Field types and the conversions of a field's value between its stored form and what an
// editor control or a page shows. Dialogs, reports and templates all use these, so a value
// looks the same wherever it appears.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

enum FieldType {
    FT_HEADER = 1,
    FT_BLOCK_START = 2,
    FT_TEXT = 11,
    FT_RICH_TEXT = 12,
    FT_PLAIN_TEXT = 13,
    FT_DATE = 14,
    FT_LIST_TEXT = 15,
    FT_TIME = 16,
    FT_YES_NO = 17,
    FT_PASSWORD = 18,
};

// One row of an item type's field table. The table order is the field order of documents,
// dialogs, reports and pages alike; a row with controlId -1 ends a table.
struct FieldDescriptor {
    int controlId = -1;
    FieldType type = FT_TEXT;
    std::string_view tag;  // the full opening tag, "<id>"
    std::string_view longHeading = {};
    std::string_view shortHeading = {};
    std::string_view placeholderStem = {};
};

struct CalendarDate {
    int year = 0, month = 0, day = 0;
    bool operator==(const CalendarDate&) const = default;
};

struct ClockTime {
    int hour = 0, minute = 0, second = 0;
    bool operator==(const ClockTime&) const = default;
};

// What an editor control holds for a field, independent of any window system.
struct FieldControl {
    std::string text;                  // text, rich text (lines joined by LF), list, password
    std::optional<CalendarDate> date;  // date picker; none means "N/A"
    std::optional<ClockTime> time;     // time picker; none means "N/A"
    bool checked = false;              // check box
    bool readOnly = false;             // set by LoadMode::ReadOnly
};

inline constexpr std::string_view kNotApplicable = "N/A";
inline constexpr std::string_view kPasswordMask = "********";

// "%04d%02d%02d"; anything else, "N/A" included, is no date.
std::optional<CalendarDate> ParseStoredDate(std::string_view stored);
std::string StoredDate(const std::optional<CalendarDate>& date);
// "%02d:%02d:%02d"; anything else is no time.
std::optional<ClockTime> ParseStoredTime(std::string_view stored);
std::string StoredTime(const std::optional<ClockTime>& time);

// The stored value as a page or report shows it: text and list values unescaped, rich text
// without its CDATA and with its links wrapped, dates as "d-MMM-yyyy"; others unchanged.
std::string DisplayValue(FieldType type, std::string_view stored);

// Puts a stored value into a control: unescaped text, rich text with line breaks, date and
// time pickers, the check box, the password mask.
void ControlFromStored(FieldType type, std::string_view stored, FieldControl& control);

// Turns the password a user typed into the text that is stored.
using PasswordEncoder = std::function<std::string(std::string_view typed)>;

// A control's content as it is stored. previousStored is the value in the document being
// replaced: a password control that still shows the mask, or nothing, keeps it.
std::string StoredFromControl(FieldType type, const FieldControl& control,
                              std::string_view previousStored,
                              const PasswordEncoder& encodePassword);

// A value handed over by code (an import, a conversion) as it is stored: text and list values
// escaped, rich text CDATA-wrapped, everything else raw.
std::string StoredFromValue(FieldType type, std::string_view value);

// The entry a drop-down list selects for a stored value: the first that begins with it,
// ignoring case, searching from the second entry and wrapping round to the first.
std::optional<std::size_t> SelectListEntry(const std::vector<std::string>& entries,
                                           std::string_view value);

}  // namespace vantorel
