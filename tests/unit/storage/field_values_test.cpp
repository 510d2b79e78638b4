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
    FieldControl rich;
    ControlFromStored(FT_RICH_TEXT, "<![CDATA[a<br><br>b]]>", rich);
    EXPECT_EQ(rich.text, "a\n\nb");
    EXPECT_EQ(Store(FT_RICH_TEXT, rich), "<![CDATA[a<br><br>b]]>");

    FieldControl text;
    ControlFromStored(FT_TEXT, "R&amp;D", text);
    EXPECT_EQ(text.text, "R&D");
    EXPECT_EQ(Store(FT_TEXT, text), "R&amp;D");

    FieldControl date;
    ControlFromStored(FT_DATE, "20260101", date);
    EXPECT_EQ(Store(FT_DATE, date), "20260101");
    date.date.reset();
    EXPECT_EQ(Store(FT_DATE, date), "N/A");

    FieldControl time;
    ControlFromStored(FT_TIME, "", time);
    EXPECT_EQ(Store(FT_TIME, time), "N/A");

    FieldControl check;
    ControlFromStored(FT_YES_NO, "No", check);
    EXPECT_EQ(Store(FT_YES_NO, check), "No");
    check.checked = true;
    EXPECT_EQ(Store(FT_YES_NO, check), "Yes");
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
    FieldControl shown;
    ControlFromStored(FT_PASSWORD, "", shown);
    EXPECT_EQ(shown.text, "");
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
