#pragma once
// Where the item dialogs plug into the window: each kind of item that has a dialog registers
// how to open it, and Edit, Enter and a double-click open the selected item's dialog through
// here. The dialog's core model takes the item's lock as it opens (asking, when someone else
// holds it, whether to unlock it) and releases it when it closes. A kind with no dialog keeps
// its Edit greyed.

#include <QWidget>
#include <functional>
#include <map>

#include "workspace/navigation.h"

namespace vantorel {

class EditorRegistry {
public:
    using Opener = std::function<void(QWidget* parent, const TreeNode& node)>;

    void Register(NodeKind kind, Opener open) { m_openers[kind] = std::move(open); }
    bool CanEdit(NodeKind kind) const { return m_openers.contains(kind); }
    // Opens node's dialog; false when its kind has none.
    bool Open(QWidget* parent, const TreeNode& node) const {
        auto found = m_openers.find(node.kind);
        if (found == m_openers.end())
            return false;
        found->second(parent, node);
        return true;
    }

private:
    std::map<NodeKind, Opener> m_openers;
};

}  // namespace vantorel
