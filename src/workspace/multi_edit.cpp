#include "workspace/multi_edit.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "documents/field_tables.h"
#include "documents/prj_test_case.h"
#include "documents/test_case.h"
#include "platform/debug_log.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "workspace/commands.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// A library test case's fields, in the order of the ten bulk update commands.
constexpr std::array<std::string_view, 10> kLibraryFields = {
    "<test_type>",      "<test_phase>",  "<priority>",      "<test_duration>", "<rec_test_configs>",
    "<test_resources>", "<requirement>", "<external_link>", "<prerequisites>", "<test_result>"};
constexpr std::array<std::string_view, 15> kProjectFields = {
    "<test_status>",     "<testers>",         "<version_tested>", "<build_tested>",
    "<priority>",        "<test_phase>",      "<test_type>",      "<test_duration>",
    "<actual_duration>", "<fault_report_id>", "<change_req_id>",  "<rec_test_configs>",
    "<test_resources>",  "<requirement>",     "<result_notes>"};

std::vector<FieldDescriptor> RowsOf(std::span<const FieldDescriptor> table,
                                    std::span<const std::string_view> tags) {
    std::vector<FieldDescriptor> rows;
    for (std::string_view tag : tags)
        if (const FieldDescriptor* row = FindField(table, tag))
            rows.push_back(*row);
    return rows;
}

bool IsTestCase(NodeKind kind) {
    return kind == TV_TEST_TEST_DOC || kind == TV_PRJ_TEST_DOC;
}

}  // namespace

std::vector<FieldDescriptor> MultiEditFields(NodeKind kind) {
    if (kind == TV_PRJ_TEST_DOC)
        return RowsOf(PrjTestCaseFields(), kProjectFields);
    if (kind == TV_TEST_TEST_DOC)
        return RowsOf(TestCaseFields(), kLibraryFields);
    return {};
}

std::optional<FieldDescriptor> BulkUpdateField(int command) {
    const std::vector<FieldDescriptor> rows = MultiEditFields(TV_TEST_TEST_DOC);
    const int index = command - ID_BULK_UPDATE_FIRST;
    if (index < 0 || index >= static_cast<int>(rows.size()))
        return std::nullopt;
    return rows[static_cast<std::size_t>(index)];
}

std::optional<MultiEditSet> MultiEditSelection(const std::vector<TreeNode>& selected,
                                               UserPort& port) {
    const auto first =
        std::ranges::find_if(selected, [](const TreeNode& node) { return IsTestCase(node.kind); });
    if (first == selected.end())
        return std::nullopt;
    MultiEditSet set{first->kind, {}};
    std::size_t leftOut = 0;
    for (const TreeNode& node : selected) {
        if (node.kind != set.kind)
            continue;
        if (set.items.size() < kMultiEditLimit && !IsLocked(node.path))
            set.items.push_back(node.path);
        else
            ++leftOut;
    }
    if (leftOut > 0)
        port.tell({FillMessage("%s test cases were not added due to being locked or exceeding "
                               "the multi edit limit of 1000",
                               {std::to_string(leftOut)}),
                   "Multi-edit", Icon::Warning});
    if (set.items.empty())
        return std::nullopt;
    return set;
}

MultiEditSet SuiteTestCases(const TreeNode& suite) {
    MultiEditSet set{suite.kind == TV_PRJ_SUITE_FLD ? TV_PRJ_TEST_DOC : TV_TEST_TEST_DOC, {}};
    WalkItems(suite.path, [&](const fs::path& folder, ItemListing& listing) {
        for (const FolderEntry& entry : listing.documents)
            set.items.push_back(folder / entry.name);
        return true;
    });
    return set;
}

MultiEditOutcome ApplyMultiEdit(const MultiEditSet& set, const std::vector<FieldChange>& changes,
                                const EditorContext& context, std::stop_token stop,
                                const std::function<void()>& step) {
    return ApplyMultiEdit(
        set, [&changes](std::size_t) { return changes; }, context, stop, step);
}

MultiEditOutcome ApplyMultiEdit(const MultiEditSet& set, const ChangesOf& changesOf,
                                const EditorContext& context, std::stop_token stop,
                                const std::function<void()>& step) {
    const EditOf edit = [&changesOf](std::size_t item,
                                     ItemEditor& editor) -> std::optional<std::string> {
        auto* project = dynamic_cast<PrjTestCase*>(&editor);
        for (const FieldChange& change : changesOf(item)) {
            FieldControl& control = editor.Control(change.tag);
            control.text = change.value.text;
            control.date = change.value.date;
            control.time = change.value.time;
            control.checked = change.value.checked;
            // A result chosen for many counts one attempt on each, as in its dialog.
            if (project && change.tag == "<test_status>")
                project->StatusChosen();
        }
        return std::nullopt;
    };
    return ApplyMultiEdit(set, edit, context, stop, step);
}

MultiEditOutcome ApplyMultiEdit(const MultiEditSet& set, const EditOf& edit,
                                const EditorContext& context, std::stop_token stop,
                                const std::function<void()>& step) {
    MultiEditOutcome outcome;
    for (std::size_t index = 0; index < set.items.size(); ++index) {
        const fs::path& item = set.items[index];
        if (stop.stop_requested()) {
            outcome.stopped = true;
            break;
        }
        KeepingPort quiet;
        EditorContext itemContext{quiet,
                                  context.custom,
                                  context.identity,
                                  context.now,
                                  context.folderChecked,
                                  context.knownIds,
                                  context.addUserWithoutAsking};
        std::unique_ptr<ItemEditor> editor;
        if (set.kind == TV_PRJ_TEST_DOC)
            editor = PrjTestCase::Edit(item, itemContext);
        else
            editor = TestCase::Edit(item, itemContext);
        auto skip = [&](std::string why) {
            outcome.skipped.push_back(ItemLabel(item, set.kind) + ": " + std::move(why));
        };
        if (!editor) {
            const bool locked = IsLocked(item);
            outcome.locked += locked;
            skip(locked ? "open for editing by someone else"
                 : quiet.told.empty()
                     ? "could not be opened"
                     : quiet.told.front().text.substr(0, quiet.told.front().text.find('\n')));
        } else if (std::optional<std::string> why = edit(index, *editor)) {
            skip(std::move(*why));
        } else if (!editor->UpdateRequired()) {
            ++outcome.unchanged;
        } else if (editor->Save()) {
            skip(quiet.told.empty() ? "refused the change" : quiet.told.back().text);
        } else {
            ++outcome.changed;
            // Should the run be killed, the debug log tells which items it had saved.
            DebugLog::Write("ApplyMultiEdit", "Saved %s\n", item.c_str());
        }
        if (step)
            step();
    }
    return outcome;
}

std::vector<std::string> ExpectedDurations(int totalMinutes, std::size_t count, bool spread) {
    std::vector<std::string> durations;
    const int items = static_cast<int>(count);
    for (int item = 0; item < items; ++item) {
        const int minutes =
            spread ? totalMinutes / items + (item < totalMinutes % items ? 1 : 0) : totalMinutes;
        durations.push_back(StoredDuration({minutes / 60, minutes % 60}));
    }
    return durations;
}

Notice EmptySuiteNotice(const std::string& suite) {
    return {"The suite " + suite + " holds no test cases, in itself or in its sub-suites.",
            "No test cases", Icon::Information};
}

Notice MultiEditSummary(const MultiEditOutcome& outcome) {
    std::string text = Counted(outcome.changed, "test case") + " changed";
    if (outcome.unchanged > 0)
        text += ", " + std::to_string(outcome.unchanged) + " already held the values";
    text += ".";
    if (outcome.stopped)
        text += " Cancelled: the rest were not changed.";
    if (!outcome.skipped.empty()) {
        constexpr std::size_t kListed = 20;
        text += "\n" + std::to_string(outcome.skipped.size()) + " were left as they were:";
        for (std::size_t i = 0; i < outcome.skipped.size() && i < kListed; ++i)
            text += "\n" + outcome.skipped[i];
        if (outcome.skipped.size() > kListed)
            text += "\nand " + std::to_string(outcome.skipped.size() - kListed) + " more";
    }
    return {text, "Multi-edit",
            outcome.skipped.empty() && !outcome.stopped ? Icon::Information : Icon::Warning};
}

}  // namespace vantorel
