#pragma once
// What a dialog's OK gets back from its editor model when the model refused to save: what the
// user was told (or the question they declined) and the field it concerns, so the dialog can
// put the focus there. The model has already told the user; the dialog only moves the focus.

#include <cstddef>
#include <optional>
#include <utility>

#include "platform/user_port.h"

namespace vantorel {

struct SaveRefusal {
    Notice notice;
    // The field at fault, numbered as its editor numbers its fields (an item's: the row of its
    // field table, which is also its control's position); none when no field is to blame, as
    // when the disk refuses the document.
    std::optional<std::size_t> field;

    bool operator==(const SaveRefusal&) const = default;
};

// Tells notice through port and returns it as the refusal of field.
inline SaveRefusal TellRefusal(UserPort& port, Notice notice, std::optional<std::size_t> field) {
    port.tell(notice);
    return {std::move(notice), field};
}

}  // namespace vantorel
