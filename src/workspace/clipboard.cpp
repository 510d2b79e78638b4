#include "workspace/clipboard.h"

#include <new>

#include "platform/debug_log.h"

namespace vantorel {

void Clipboard::Copy(const std::vector<TreeNode>& selection, UserPort& port) {
    static constexpr char kHeading[] = "CClipboard::Copy";
    if (selection.empty()) {
        DebugLog::Write(kHeading, "No items selected\n");
        return;
    }
    Clear();
    DebugLog::Write(kHeading, "Deleted old clipboard data\n");
    try {
        for (const TreeNode& node : selection)
            m_entries.push_back({node.path, node.kind});
    } catch (const std::bad_alloc&) {
        port.tell({"An error occured and not all items could be copied", "Error", Icon::Error});
    }
}

void Clipboard::Clear() {
    m_entries.clear();
}

}  // namespace vantorel
