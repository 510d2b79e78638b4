#pragma once
// The program's own clipboard of items: "Copy" fills it with the selected items' paths and
// kinds, "Paste" copies them into a folder. It is not the system clipboard: what it holds are
// files of the open database, so closing the database empties it.

#include <filesystem>
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
    void Clear();

    const std::vector<ClipboardEntry>& Entries() const { return m_entries; }
    bool Empty() const { return m_entries.empty(); }

private:
    std::vector<ClipboardEntry> m_entries;
};

}  // namespace vantorel
