#pragma once
// What an item dialog shows for each field of its table, decided here so every dialog shows
// the same: the caption over the control, how many characters it takes, which entries its
// drop-down offers, and the refusal of typed text a document can't hold.

#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "storage/field_values.h"

namespace vantorel {

class CustomCfg;

// The caption a dialog puts on the field's control: the rich-text sections by what they hold,
// the notes fields by the database's own names, the ID as "ID" where the table has no heading.
std::string DialogCaption(const FieldDescriptor& row, const CustomCfg& custom);

// The most characters the field's control takes; the identifier and the durations are left
// to the checks of OK, which name the limit.
std::size_t FieldWidth(const FieldDescriptor& row);

// The dates and times a user may leave unset ("N/A"): the last attempt's and the project's;
// the creation and update moments always have one.
bool MomentMayBeUnset(const FieldDescriptor& row);

// The expected and actual durations: an hours box and a minutes box, not a line of text.
bool IsDurationField(const FieldDescriptor& row);

// The entries the customisation itself gives a field: its types, phases and statuses, and the
// five priorities; empty for any other field.
std::vector<std::string> CustomChoices(std::string_view tag, const CustomCfg& custom);

// The entries a field's drop-down offers, in the database's order: the customisation's types,
// phases, statuses, versions and builds, the five priorities, the database's testers (by name,
// else ID), configurations and resources. Empty for a field typed freely.
std::vector<std::string> FieldChoices(std::string_view tag, const CustomCfg& custom,
                                      const std::filesystem::path& databaseDir);

// The entries of every drop-down of a dialog over rows, by tag. The testers, configurations
// and resources are folders of the database, so a dialog's lists are read as it opens, away
// from the window's thread, and never while it shows.
using FieldChoiceLists = std::map<std::string, std::vector<std::string>, std::less<>>;
FieldChoiceLists ChoicesOfFields(std::span<const FieldDescriptor> rows, const CustomCfg& custom,
                                 const std::filesystem::path& databaseDir);

// The drop-downs whose entry may also be typed (versions, builds, testers, configurations,
// resources: a value the lists don't hold yet is still a value). The others take only an entry.
bool ChoiceIsTyped(std::string_view tag);

// What an empty drop-down says instead of entries ("No testers defined"); empty for most.
std::string_view EmptyChoicesText(std::string_view tag);

// Documents are ISO-8859-1: the refusal of the first character of utf8 they can't hold, naming
// it and the field; none when all of it fits.
std::optional<Notice> UnholdableTextNotice(std::string_view fieldCaption, std::string_view utf8);

}  // namespace vantorel
