#include "storage/field_values.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

FieldControl Control(std::string text) {
    FieldControl control;
    control.text = std::move(text);
    return control;
}

std::string Store(FieldType type, const FieldControl& control, std::string_view previous = "") {
    return StoredFromControl(type, control, previous,
                             [](std::string_view typed) { return "enc:" + std::string(typed); });
}

TEST(DisplayValue, ShowsDatesAsDayMonthYear) {
    EXPECT_EQ(DisplayValue(FT_DATE, "20261121"), "21-Nov-2026");
    EXPECT_EQ(DisplayValue(FT_DATE, "N/A"), "N/A");
    EXPECT_EQ(DisplayValue(FT_DATE, "20261305"), "20261305") << "not a date: shown as stored";
    EXPECT_EQ(DisplayValue(FT_TIME, "09:00:00"), "09:00:00");
}

TEST(ControlRoundTrip, EachTypeStoresWhatItLoads) {
    // Each row: a type, a stored value, the text its control shows (null: not looked at), and
    // what the control stores back.
    struct Case {
        FieldType type;
        std::string stored;
        const char* shown;
        std::string storedBack;
    };
    for (const Case& c : {Case{FT_RICH_TEXT, "<![CDATA[a<br><br>b]]>", "a\n\nb", ""},
                          Case{FT_TEXT, "R&amp;D", "R&D", ""},
                          Case{FT_DATE, "20260101", nullptr, ""}, Case{FT_TIME, "", nullptr, "N/A"},
                          Case{FT_YES_NO, "No", nullptr, ""}, Case{FT_PASSWORD, "", "", ""}}) {
        FieldControl control;
        ControlFromStored(c.type, c.stored, control);
        if (c.shown) {
            EXPECT_EQ(control.text, c.shown) << c.stored;
        }
        EXPECT_EQ(Store(c.type, control), c.storedBack.empty() ? c.stored : c.storedBack);
    }
    FieldControl blank;
    EXPECT_EQ(Store(FT_DATE, blank), "N/A");
    blank.checked = true;
    EXPECT_EQ(Store(FT_YES_NO, blank), "Yes");
}

TEST(ControlRoundTrip, ListTextIsWrittenUnescapedFromAControlButEscapedFromAValue) {
    EXPECT_EQ(Store(FT_LIST_TEXT, Control("A & B")), "A & B");
    EXPECT_EQ(StoredFromValue(FT_LIST_TEXT, "A & B"), "A &amp; B");
    EXPECT_EQ(StoredFromValue(FT_PLAIN_TEXT, "A & B"), "A & B");
    EXPECT_EQ(StoredFromValue(FT_RICH_TEXT, "x"), "<![CDATA[x]]>");
}

TEST(ControlRoundTrip, PasswordIsEncodedOnlyWhenTyped) {
    EXPECT_EQ(Store(FT_PASSWORD, Control("********"), "stored"), "stored");
    EXPECT_EQ(Store(FT_PASSWORD, Control(""), "stored"), "stored");
    EXPECT_EQ(Store(FT_PASSWORD, Control("secret"), "stored"), "enc:secret");
}

TEST(SelectListEntry, SearchesFromTheSecondEntryAndWrapsIgnoringCase) {
    const std::vector<std::string> entries = {"High", "Medium", "Low", "higher"};
    EXPECT_EQ(SelectListEntry(entries, "hig"), 3u);
    EXPECT_EQ(SelectListEntry(entries, "HIGH"), 3u);
    EXPECT_EQ(SelectListEntry(entries, "High!"), std::nullopt);
    EXPECT_EQ(SelectListEntry({"Only"}, "only"), 0u);
    EXPECT_EQ(SelectListEntry({}, "x"), std::nullopt);
}

}  // namespace
}  // namespace vantorel
