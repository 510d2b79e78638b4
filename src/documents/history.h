#pragma once
// The execution history of a project test case: one <history_entry> block per event, oldest
// first. ET_NEW marks the creation in the project, ET_UPDATE every later change of status,
// attempts, phase, version or build. The progress report replays these blocks.

#include <compare>
#include <string>
#include <tuple>
#include <vector>

#include "storage/field_values.h"

namespace vantorel {

class XMLParse;

// A local date and time, as items record events.
struct LocalMoment {
    CalendarDate date;
    ClockTime time;
    bool operator==(const LocalMoment&) const = default;
    auto operator<=>(const LocalMoment& other) const {
        auto key = [](const LocalMoment& m) {
            return std::tuple(m.date.year, m.date.month, m.date.day, m.time.hour, m.time.minute,
                              m.time.second);
        };
        return key(*this) <=> key(other);
    }
};

LocalMoment LocalNow();

inline constexpr std::size_t kHistoryStatusWidth = 63;
inline constexpr std::size_t kHistoryPhaseWidth = 127;
inline constexpr std::size_t kHistoryVersionWidth = 25;
inline constexpr std::size_t kCompactHistoryMax = 1024;

struct HistoryBlock {
    LocalMoment when;
    bool update = false;  // false: ET_NEW
    std::string oldStatus;
    std::string newStatus;
    int tries = 0;
    std::string build;
    std::string version;
    std::string phase;
    bool operator==(const HistoryBlock&) const = default;
};

// How much of each block to read: everything, or only what a replay of the status changes
// needs (moment, type, old and new status), which is much quicker over a large project.
enum class HistoryDetail { Full, Statuses };

// Every <history_entry> of the loaded document, in file order. A <type> other than exactly
// "ET_NEW" is an update; statuses are cut at 63 characters; a phase of 128 or more, and a
// version or build of 26 or more characters, read as empty; a missing child stays zero.
std::vector<HistoryBlock> LoadHistoryBlocks(const XMLParse& doc,
                                            HistoryDetail detail = HistoryDetail::Full);

// The children of a block in their order, without the enclosing <history_entry> tags: the
// compact form bulk operations insert, at most 1024 characters.
std::string CompactHistoryText(const HistoryBlock& block);

// Writes the whole block, one child a line, as an editor saves it.
void WriteHistoryBlock(XMLParse& doc, const HistoryBlock& block);

// The children of the creation block a bulk operation writes first for a project test case
// that has no history, dated now.
std::string BulkCreationBlockText(const LocalMoment& now);

// "d-MMM-yyyy, HH:mm:ss", how the history table and its date editor show a block's moment.
std::string HistoryMomentText(const LocalMoment& when);

}  // namespace vantorel
