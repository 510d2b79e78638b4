#pragma once
// CustomCfg: the customisation of the open database, kept in "custom.dat" in its root. It holds
// the vocabularies items refer to (types, phases, versions, builds), the notes captions, the
// defaults for new items, the statuses and what each means to the reports, the report captions
// and colours, and which tester is the current user on each computer.

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/user_port.h"
#include "storage/io_result.h"

namespace vantorel {

inline constexpr std::string_view kCustomFileName = "custom.dat";

// The closed set every report and filter counts by; a status is a name bound to one of these.
enum StatusMeaning {
    SM_PASS = 0,
    SM_FAIL = 1,
    SM_NOT_YET_ATTEMPTED = 2,
    SM_OTHER = 3,
    SM_POSTPONED = 4
};
inline constexpr int kMeaningCount = 5;

inline constexpr std::size_t kMaxTypes = 20;
inline constexpr std::size_t kMaxPhases = 20;
inline constexpr std::size_t kListEntryWidth = 127;
inline constexpr std::size_t kVersionWidth = 25;
inline constexpr std::size_t kNotesCaptionWidth = 74;
inline constexpr std::size_t kMaxStatuses = 10;
inline constexpr std::size_t kStatusTextWidth = 32;
inline constexpr std::size_t kReportSlots = 16;
inline constexpr std::size_t kReportStringWidth = 63;
inline constexpr std::size_t kMaxCurrentUsers = 250;
inline constexpr std::size_t kComputerNameWidth = 256;

// Report slots of the time figures of the status report.
enum ReportSlot {
    RS_TOTAL_PLAN_TIME = 10,
    RS_EXTRAPOLATED_TIME = 11,
    RS_PLANNED_PASSED_TIME = 12,
    RS_ACTUAL_PASSED_TIME = 13,
    RS_FAILED_TIME = 14,
    RS_ATTEMPTED_TIME = 15,
};

// Colours are 0x00BBGGRR: red in the low byte.
using ReportColour = std::uint32_t;

struct StatusEntry {
    std::string text;
    int meaning = SM_NOT_YET_ATTEMPTED;
    bool operator==(const StatusEntry&) const = default;
};

struct DefaultValues {
    std::string expectedDuration = "0:0";  // as the user typed it, "HHH:MM"
    unsigned long autoDigits = 3;
    unsigned long autoStep = 1;
    std::string version;
    std::string build;
    bool operator==(const DefaultValues&) const = default;
};

struct CurrentUserPair {
    std::string computer;
    std::string tester;
    bool operator==(const CurrentUserPair&) const = default;
};

// Everything custom.dat holds; the customisation editor works on a copy of it.
struct CustomTables {
    std::vector<std::string> types;
    std::vector<std::string> phases;
    std::vector<std::string> versions;
    std::vector<std::string> builds;
    std::array<std::string, 3> notesCaptions;  // notes 1, notes 2, result notes
    DefaultValues defaults;
    std::vector<StatusEntry> statuses;
    std::array<std::string, kReportSlots> reportStrings;
    std::array<ReportColour, kReportSlots> reportColours{};
    std::vector<CurrentUserPair> currentUsers;
    bool operator==(const CustomTables&) const = default;
};

// The tables as the program ships them.
CustomTables BuiltInCustomTables();

// The name a meaning shows in lists and drop-downs; empty for a code outside the set.
std::string_view MeaningName(int meaning);
// The report slot that captions and colours a meaning's series (slot order is not code order).
int MeaningSlot(int meaning);

// The five priorities every database offers; they are not customisable.
inline constexpr std::string_view kPriorities[] = {"Highest", "High", "Medium", "Low", "Lowest"};

// What the last reading found in custom.dat that the tables can't hold. Every save writes the
// tables, so the next one loses all of this; the user is told first.
struct CustomReadLosses {
    std::vector<std::string> types;     // after the first 20
    std::vector<std::string> phases;    // after the first 20
    std::vector<std::string> statuses;  // after the first 10
    std::size_t currentUsers = 0;       // pairs after the first 250
    // Statuses whose meaning in the file is none of the five, with that meaning as written;
    // they are read, and saved, as Not yet attempted.
    std::vector<std::pair<std::string, std::string>> meanings;
    bool NothingLost() const {
        return types.empty() && phases.empty() && statuses.empty() && currentUsers == 0 &&
               meanings.empty();
    }
};

struct CustomReadOutcome {
    bool read = false;           // false when custom.dat could be neither read nor made
    bool chooseNewUser = false;  // the user asked to pick a new current user
};

class CustomCfg {
public:
    CustomCfg();

    void SetDefaults();

    // Loads databaseDir/custom.dat, writing the short default document first when there is
    // none. Empty types, phases and current users take no place in the tables (writing stops
    // at the first empty one); what the tables can't hold is kept in ReadLosses. When the
    // current user recorded for computer is not a tester of the database, asks whether to
    // choose another and writes the document back, unless that would lose something.
    CustomReadOutcome Read(const std::filesystem::path& databaseDir, UserPort& port,
                           std::string_view computer);
    // Writes the whole document in its standard order.
    [[nodiscard]] IoResult Write(const std::filesystem::path& databaseDir) const;
    // The shorter document a database without custom.dat receives, from the built-in tables.
    [[nodiscard]] static IoResult WriteDefaultDocument(const std::filesystem::path& databaseDir);

    const CustomTables& Tables() const { return m_tables; }
    // Takes the tables confirmed in the customisation editor, once written.
    void Replace(CustomTables tables);
    // What the last Read could not keep; empty once the tables have been written since.
    const CustomReadLosses& ReadLosses() const { return m_losses; }

    std::size_t StatusCount() const { return m_tables.statuses.size(); }
    const StatusEntry& Status(std::size_t index) const { return m_tables.statuses[index]; }
    const std::string& FirstStatus() const { return m_tables.statuses.front().text; }
    // The status a stored status text stands for: the first whose text matches, ignoring case,
    // else the first whose meaning name matches; none when the text fits neither.
    std::optional<std::size_t> ResolveStatus(std::string_view text) const;
    // The meaning of the status at index, always one of the five codes, so that every table
    // kept per meaning (names, report slots, icons, counts) can be indexed with it. Reading
    // lets no other code in; one in tables handed to Replace reads as Not yet attempted, as a
    // bad value in custom.dat does.
    int MeaningAt(std::size_t index) const;
    // The meaning of the status a stored status text stands for, through MeaningAt.
    std::optional<int> MeaningOf(std::string_view statusText) const;

    const std::string& ReportString(std::size_t slot) const;
    ReportColour ReportColourOf(std::size_t slot) const;

    // The tester recorded as the current user of computer; empty when there is none.
    std::string CurrentUser(std::string_view computer) const;
    // Records tester as the current user of computer (its pair, else a new one) and writes
    // custom.dat, losing what ReadLosses names.
    [[nodiscard]] IoResult SetCurrentUser(const std::filesystem::path& databaseDir,
                                          std::string_view computer, std::string_view tester);

private:
    void Parse(const std::string& text);

    CustomTables m_tables;
    CustomReadLosses m_losses;
};

// A customisation nothing changes any more: what a worker, a page being made or an open dialog
// reads, kept alive as long as one of them holds it.
using CustomSnapshot = std::shared_ptr<const CustomCfg>;

}  // namespace vantorel
