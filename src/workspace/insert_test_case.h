#pragma once
// "Insert New Test Case": a new test case right after the selected one, numbered after it. When
// the next number is taken, the test cases that follow without a gap are renumbered one up
// (their file and their <id>), from the last back, so that each takes a free name. The insert
// is all or nothing: it first holds every lock it needs and writes a journal of its renames
// beside them; a failure puts back what was renamed, and a journal that a crash left is
// carried to its end by the next insert in that suite.

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "documents/item_editor.h"
#include "storage/file_layer.h"
#include "workspace/navigation.h"

namespace vantorel {

struct InsertPlan {
    std::string newId;
    std::vector<std::pair<std::string, std::string>> renames;  // old ID to new, in their order
};

// The plan for an insert after selectedId among the IDs of its suite; none when selectedId
// ends in no number.
std::optional<InsertPlan> PlanInsert(const std::vector<std::string>& ids,
                                     std::string_view selectedId);

// Inserts the new test case after selected (a library or project test case) and returns its
// path; none after telling the user why not.
std::optional<std::filesystem::path> InsertTestCase(const TreeNode& selected,
                                                    const EditorContext& context,
                                                    FileLayer& files = SystemFiles());

}  // namespace vantorel
