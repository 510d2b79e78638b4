#pragma once
// The field table of every item type. The order of a table is the order of the fields in the
// document, in the editor, in reports and on pages, so everything that shows or writes fields
// walks one of these. Each table ends with a row whose controlId is -1.
//
// A row's controlId is the row's position in its item's table: an editor keeps one control
// per position, and the shorter dialog table of the project test case points at the same
// controls as the full one.

#include <span>

#include "storage/field_values.h"

namespace vantorel {

inline constexpr FieldDescriptor kEndOfTable{-1, FT_TEXT, {}};

std::span<const FieldDescriptor> TestCaseFields();
std::span<const FieldDescriptor> PrjTestCaseFields();
// The execution fields and the requirement, an end row, then the creation and update fields
// with the captions the dialog shows for them, and a final end row.
std::span<const FieldDescriptor> PrjTestCaseDialogFields();
std::span<const FieldDescriptor> TestSuiteFields();
std::span<const FieldDescriptor> ProjectFields();
std::span<const FieldDescriptor> TestCfgFields();
std::span<const FieldDescriptor> TestResourceFields();
std::span<const FieldDescriptor> TesterFields();

// The rows of a table up to its first end row.
std::span<const FieldDescriptor> FieldRows(std::span<const FieldDescriptor> table);

// The row of a table that holds tag, or null.
const FieldDescriptor* FindField(std::span<const FieldDescriptor> table, std::string_view tag);

}  // namespace vantorel
