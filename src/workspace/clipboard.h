#pragma once
// The program's own clipboard of items: "Copy" fills it with the selected items' paths and
// kinds, "Paste" copies them into a folder. A cut (Ctrl+X) fills it for a move instead: the
// next paste moves the items as dropping them on the folder would, the keyboard's way to drag
// and drop. It is not the system clipboard: what it holds are files of the open database, so
// closing the database empties it.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/user_port.h"
#include "workspace/navigation.h"

namespace vantorel {

struct ClipboardEntry {
    std::filesystem::path path;
    NodeKind kind = TV_NONE;
    bool operator==(const ClipboardEntry&) const = default;
};

class Clipboard {
public:
    // Discards what was held, then keeps the selected items in selection order. Nothing is
    // kept from an empty selection. When memory runs out the user is told and what could be
    // kept stays.
    void Copy(const std::vector<TreeNode>& selection, UserPort& port);
    // As Copy, for the next paste to move the items.
    void Cut(const std::vector<TreeNode>& selection, UserPort& port);
    void Clear();

    const std::vector<ClipboardEntry>& Entries() const { return m_entries; }
    bool Empty() const { return m_entries.empty(); }
    bool HoldsCut() const { return m_cut; }
    // What the status bar says while items are cut.
    std::string CutStatus() const;
    // Why the items cut can't go into a folder of kind target, where a drop of them would be
    // refused; nothing when they can.
    std::optional<Notice> MoveRefusal(NodeKind target) const;

private:
    std::vector<ClipboardEntry> m_entries;
    bool m_cut = false;
};

}  // namespace vantorel
