#include "workspace/clipboard.h"

#include <new>

#include "platform/debug_log.h"
#include "workspace/item_transfer.h"

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

void Clipboard::Cut(const std::vector<TreeNode>& selection, UserPort& port) {
    // As with Copy, an empty selection leaves what was held.
    if (selection.empty())
        return;
    Copy(selection, port);
    m_cut = true;
}

void Clipboard::Clear() {
    m_entries.clear();
    m_cut = false;
}

std::string Clipboard::CutStatus() const {
    const std::string what =
        m_entries.size() == 1 ? "1 item" : std::to_string(m_entries.size()) + " items";
    return what + " cut: select a folder and press Ctrl+V to move " +
           (m_entries.size() == 1 ? "it" : "them") + " there";
}

std::optional<Notice> Clipboard::MoveRefusal(NodeKind target) const {
    for (const ClipboardEntry& entry : m_entries)
        if (!CanDrop(entry.kind, target))
            return Notice{"\"" + entry.path.filename().string() +
                              "\" can't be moved into the selected folder. Select a folder "
                              "that holds items of its kind.",
                          "Move", Icon::Information};
    return std::nullopt;
}

}  // namespace vantorel
