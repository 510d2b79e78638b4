#pragma once
// Changing many test cases at once: Properties on several selected test cases (multi-edit) and
// a suite's "Update all test cases" (bulk updates) set the fields the user ticked to one value
// on every item. Each item is locked, changed and saved whole through its own editor, as its
// dialog would save it (a project test case's history gets its block where execution data
// changed); an item someone holds, or that refuses the change, is left as it was and named in
// the summary.

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "documents/item_editor.h"
#include "workspace/navigation.h"

namespace vantorel {

inline constexpr std::size_t kMultiEditLimit = 1000;

// The fields multi-edit offers for a kind of test case, in the order the dialog shows them:
// those that make sense for many items at once (no ID, title or description, no automatic
// creation or update field). A library test case's are also the ten bulk updates, in the
// order of their commands.
std::vector<FieldDescriptor> MultiEditFields(NodeKind kind);

// The bulk update of command (ID_BULK_UPDATE_FIRST...): its field, or none.
std::optional<FieldDescriptor> BulkUpdateField(int command);

struct MultiEditSet {
    NodeKind kind = TV_NONE;  // TV_TEST_TEST_DOC or TV_PRJ_TEST_DOC
    std::vector<std::filesystem::path> items;
};

// The selected test cases multi-edit takes: those of the first selected one's kind that no
// one holds, at most kMultiEditLimit; the others are counted in the message told. None when
// the selection holds no test case to edit.
std::optional<MultiEditSet> MultiEditSelection(const std::vector<TreeNode>& selected,
                                               UserPort& port);

// Every test case of a suite and its sub-suites (library test cases for a library suite,
// project test cases for a project's), for a bulk update.
MultiEditSet SuiteTestCases(const TreeNode& suite);

struct FieldChange {
    std::string tag;
    FieldControl value;
};

struct MultiEditOutcome {
    std::size_t changed = 0;
    std::size_t unchanged = 0;         // already held the values
    std::vector<std::string> skipped;  // "LOG-001: <why>", each left as it was
    std::size_t locked = 0;            // of the skipped, those someone else holds
    bool stopped = false;
};

// Sets changes on every item of set, one after the other, calling step after each; stops
// between items when stop is requested. context's port is never used: what an item's editor
// would have told or asked is kept as the reason it was skipped.
MultiEditOutcome ApplyMultiEdit(const MultiEditSet& set, const std::vector<FieldChange>& changes,
                                const EditorContext& context, std::stop_token stop,
                                const std::function<void()>& step);
// The same with changes of their own for each item, by its place in set.
using ChangesOf = std::function<std::vector<FieldChange>(std::size_t item)>;
MultiEditOutcome ApplyMultiEdit(const MultiEditSet& set, const ChangesOf& changesOf,
                                const EditorContext& context, std::stop_token stop,
                                const std::function<void()>& step);
// The most general form: edit changes the controls of the item at its place in set, as read
// under its lock, or gives the reason to leave it as it was.
using EditOf = std::function<std::optional<std::string>(std::size_t item, ItemEditor& editor)>;
MultiEditOutcome ApplyMultiEdit(const MultiEditSet& set, const EditOf& edit,
                                const EditorContext& context, std::stop_token stop,
                                const std::function<void()>& step);

// "Set total expected duration...": count expected durations ("HH:MM") that add up to
// totalMinutes, shared out evenly with the first ones a minute longer where it doesn't divide;
// or, not spread, each the whole total.
std::vector<std::string> ExpectedDurations(int totalMinutes, std::size_t count, bool spread);
// Told instead of the dialog when the suite holds no test case.
Notice EmptySuiteNotice(const std::string& suite);

// What the user is told once it has run.
Notice MultiEditSummary(const MultiEditOutcome& outcome);

}  // namespace vantorel
