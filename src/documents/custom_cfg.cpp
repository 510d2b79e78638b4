#include "documents/custom_cfg.h"

#include <strings.h>
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "platform/debug_log.h"
#include "storage/identifiers.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

constexpr std::string_view kNotesDefaults[] = {"Notes Field 1", "Notes Field 2", "Result Notes"};
constexpr std::string_view kNotesTags[] = {"<notes_1>", "<notes_2>", "<notes_res>"};
constexpr std::string_view kMeaningNames[] = {"Pass", "Fail", "Not yet attempted", "Other",
                                              "Postponed"};
constexpr int kMeaningSlots[] = {2, 1, 0, 3, 4};

std::string Cut(std::string value, std::size_t width) {
    Unescape(value);
    if (value.size() > width)
        value.resize(width);
    return value;
}

// Every occurrence of a repeated element, in document order; a malformed one ends the list.
std::vector<TagMatch> AllOf(const XMLParse& doc, std::string_view tag) {
    std::vector<TagMatch> found;
    try {
        std::size_t from = 0;
        while (auto match = doc.FindNextTag(tag, from)) {
            from = match->end;
            found.push_back(std::move(*match));
        }
    } catch (const TagError&) {
    }
    return found;
}

unsigned long Number(std::string_view text) {
    return std::strtoul(std::string(text).c_str(), nullptr, 10);
}

bool IsMeaning(int code) {
    return code >= 0 && code < kMeaningCount;
}

// A status's meaning as custom.dat gives it; none for anything but one of the five codes, which
// every table kept per meaning is indexed with.
std::optional<int> ReadMeaning(std::string_view text) {
    int code = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    if (error == std::errc() && end == text.data() + text.size() && IsMeaning(code))
        return code;
    return std::nullopt;
}

void WriteList(XMLParse& doc, std::string_view block, std::string_view element,
               const std::vector<std::string>& entries, std::size_t limit) {
    doc.WriteOpenTag(block);
    for (std::size_t i = 0; i < entries.size() && i < limit && !entries[i].empty(); ++i)
        doc.WriteTag(element, Escaped(entries[i]));
    doc.WriteCloseTag(block);
}

void WriteNotes(XMLParse& doc, const CustomTables& tables) {
    for (std::size_t i = 0; i < 3; ++i)
        doc.WriteTag(kNotesTags[i], Escaped(tables.notesCaptions[i]));
}

void WriteReportColours(XMLParse& doc, const CustomTables& tables) {
    doc.WriteOpenTag("<report_colours>");
    for (ReportColour colour : tables.reportColours)
        doc.WriteTag("<report_colour>", std::to_string(colour));
    doc.WriteCloseTag("<report_colours>");
}

void WriteReportStrings(XMLParse& doc, const CustomTables& tables) {
    doc.WriteOpenTag("<report_strings>");
    for (const std::string& caption : tables.reportStrings)
        doc.WriteTag("<report_string>", Escaped(caption));
    doc.WriteCloseTag("<report_strings>");
}

std::filesystem::path CustomPath(const std::filesystem::path& databaseDir) {
    return databaseDir / kCustomFileName;
}

}  // namespace

CustomTables BuiltInCustomTables() {
    CustomTables tables;
    tables.types = {"[None Selected]", "Acceptance test",  "Alpha",      "Beta",
                    "Component test",  "Integration test", "Pilot test", "Several",
                    "System test",     "Unit test",        "Other"};
    tables.phases = {"[None Selected]",
                     "Documentation",
                     "Fitness for use",
                     "Functionality",
                     "Installability",
                     "Performance",
                     "Maintainability",
                     "Regression",
                     "Reliability",
                     "Service",
                     "Smoke",
                     "Usability",
                     "Other"};
    for (std::size_t i = 0; i < 3; ++i)
        tables.notesCaptions[i] = kNotesDefaults[i];
    tables.statuses = {{"Not yet attempted", SM_NOT_YET_ATTEMPTED},
                       {"Fail", SM_FAIL},
                       {"Pass", SM_PASS},
                       {"Other", SM_OTHER},
                       {"Postponed", SM_POSTPONED}};
    tables.reportStrings = {"Tests not yet attempted",
                            "Tests failed",
                            "Tests passed",
                            "Other status",
                            "Tests postponed",
                            "",
                            "",
                            "",
                            "",
                            "",
                            "Total plan time",
                            "Total extrapolated time",
                            "Planned time for passed tests",
                            "Actual time for passed tests",
                            "Time for failed tests",
                            "Total time for attempted tests"};
    tables.reportColours = {0x00FFFF, 0x0000FF, 0x00FF00, 0xFFFF00, 0xBE7D9B, 0,       0, 0, 0, 0,
                            0xFF0000, 0x00FFFF, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF};
    return tables;
}

std::string_view MeaningName(int meaning) {
    return IsMeaning(meaning) ? kMeaningNames[meaning] : std::string_view();
}

int MeaningSlot(int meaning) {
    return IsMeaning(meaning) ? kMeaningSlots[meaning] : 3;
}

CustomCfg::CustomCfg() {
    SetDefaults();
}

void CustomCfg::SetDefaults() {
    m_tables = BuiltInCustomTables();
    m_losses = {};
}

IoResult CustomCfg::WriteDefaultDocument(const std::filesystem::path& databaseDir) {
    const CustomTables defaults = BuiltInCustomTables();
    XMLParse doc;
    doc.OpenWrite(CustomPath(databaseDir));
    doc.WriteHeader();
    WriteList(doc, "<test_types>", "<type>", defaults.types, kMaxTypes);
    WriteList(doc, "<test_phases>", "<phase>", defaults.phases, kMaxPhases);
    WriteNotes(doc, defaults);
    WriteReportColours(doc, defaults);
    WriteReportStrings(doc, defaults);
    doc.WriteOpenTag("<default_vals>");
    doc.WriteTag("<expected>", defaults.defaults.expectedDuration);
    doc.WriteTag("<autoDigits>", std::to_string(defaults.defaults.autoDigits));
    doc.WriteTag("<auto_step>", std::to_string(defaults.defaults.autoStep));
    doc.WriteCloseTag("<default_vals>");
    return doc.Commit();
}

CustomReadOutcome CustomCfg::Read(const std::filesystem::path& databaseDir, UserPort& port,
                                  std::string_view computer) {
    SetDefaults();
    const std::filesystem::path path = CustomPath(databaseDir);
    XMLParse doc;
    if (doc.OpenRead(path) != 0) {
        (void)WriteDefaultDocument(databaseDir);
        if (doc.OpenRead(path) != 0) {
            port.tell(
                {"Unable to open custom.dat, please check file permissions on database "
                 "directory and files",
                 "Unable to open custom.dat", Icon::Warning});
            return {};
        }
    }
    doc.Load();
    Parse(doc.Text());
    doc.Close();

    CustomReadOutcome outcome{true, false};
    const std::string user = CurrentUser(computer);
    if (!user.empty() && !IdentifierTaken(databaseDir / "Testers", user)) {
        char question[600];
        std::snprintf(question, sizeof question,
                      "The currently logged in tester (%s) does not exist in this database.\n"
                      "Do you want to select a new one?",
                      user.c_str());
        outcome.chooseNewUser = port.ask({question, "Vantorel - Tester Missing", Icon::Question});
        // Writing back changes nothing the tables hold, so it must not lose what they don't.
        if (m_losses.NothingLost())
            (void)Write(databaseDir);
    }
    return outcome;
}

void CustomCfg::Parse(const std::string& text) {
    XMLParse doc;
    doc.LoadText(text);
    CustomTables& t = m_tables;

    // An empty entry takes no place: the writer stops at the first one, and would lose every
    // entry after it.
    const auto readList = [&doc](std::string_view tag, std::vector<std::string>& kept,
                                 std::size_t limit, std::vector<std::string>& lost) {
        kept.clear();
        for (const TagMatch& match : AllOf(doc, tag)) {
            std::string entry = Cut(match.value, kListEntryWidth);
            if (!entry.empty())
                (kept.size() < limit ? kept : lost).push_back(std::move(entry));
        }
    };
    readList("<type>", t.types, kMaxTypes, m_losses.types);
    readList("<phase>", t.phases, kMaxPhases, m_losses.phases);

    t.builds.clear();
    for (const TagMatch& match : AllOf(doc, "<build>"))
        t.builds.push_back(Cut(match.value, kVersionWidth));
    t.versions.clear();
    for (const TagMatch& match : AllOf(doc, "<version>"))
        t.versions.push_back(Cut(match.value, kVersionWidth));

    for (std::size_t i = 0; i < 3; ++i) {
        std::string caption;
        t.notesCaptions[i] = doc.GetTag(kNotesTags[i], caption, kNotesCaptionWidth + 1) == 0
                                 ? Cut(caption, kNotesCaptionWidth)
                                 : std::string(kNotesDefaults[i]);
    }

    std::size_t slot = 0;
    for (const TagMatch& match : AllOf(doc, "<report_colour>"))
        if (slot < kReportSlots)
            t.reportColours[slot++] = static_cast<ReportColour>(Number(match.value));

    t.currentUsers.clear();
    try {
        std::size_t from = 0;
        while (auto computer = doc.FindNextTag("<computer_name>", from)) {
            from = computer->end;
            CurrentUserPair pair{Cut(computer->value, kComputerNameWidth), {}};
            if (auto user = doc.FindNextTag("<user_name>", from)) {
                pair.tester = Cut(user->value, kComputerNameWidth);
                from = user->end;
            }
            // A pair without a computer is written as the end of the table.
            if (pair.computer.empty())
                continue;
            if (t.currentUsers.size() < kMaxCurrentUsers)
                t.currentUsers.push_back(std::move(pair));
            else
                ++m_losses.currentUsers;
        }
    } catch (const TagError&) {
    }

    std::string value;
    if (doc.GetTag("<expected>", value, 256) == 0)
        t.defaults.expectedDuration = Cut(value, 255);
    t.defaults.autoDigits = doc.GetTag("<autoDigits>", value) == 0 ? Number(value) : 3;
    t.defaults.autoStep = doc.GetTag("<auto_step>", value) == 0 ? Number(value) : 1;
    if (doc.GetTag("<def_version>", value) == 0)
        t.defaults.version = Cut(value, kVersionWidth);
    if (doc.GetTag("<def_build>", value) == 0)
        t.defaults.build = Cut(value, kVersionWidth);

    std::vector<StatusEntry> statuses;
    try {
        std::size_t from = 0;
        while (auto status = doc.FindNextTag("<status_text>", from)) {
            from = status->end;
            StatusEntry entry{Cut(status->value, kStatusTextWidth), SM_NOT_YET_ATTEMPTED};
            if (statuses.size() == kMaxStatuses) {
                m_losses.statuses.push_back(std::move(entry.text));
                continue;
            }
            if (auto meaning = doc.FindNextTag("<status>", from)) {
                from = meaning->end;
                if (const std::optional<int> code = ReadMeaning(meaning->value)) {
                    entry.meaning = *code;
                } else {
                    DebugLog::Write("CustomCfg::Read",
                                    "status %s: meaning \"%s\" is none of the five, read as %s\n",
                                    entry.text.c_str(), meaning->value.c_str(),
                                    kMeaningNames[SM_NOT_YET_ATTEMPTED].data());
                    m_losses.meanings.emplace_back(entry.text, meaning->value);
                }
            }
            statuses.push_back(std::move(entry));
        }
    } catch (const TagError&) {
    }
    if (!statuses.empty())
        t.statuses = std::move(statuses);

    slot = 0;
    for (const TagMatch& match : AllOf(doc, "<report_string>"))
        if (slot < kReportSlots)
            t.reportStrings[slot++] = Cut(match.value, kReportStringWidth);
}

IoResult CustomCfg::Write(const std::filesystem::path& databaseDir) const {
    const CustomTables& t = m_tables;
    XMLParse doc;
    doc.OpenWrite(CustomPath(databaseDir));
    doc.WriteHeader();
    WriteList(doc, "<test_types>", "<type>", t.types, kMaxTypes);
    WriteList(doc, "<test_phases>", "<phase>", t.phases, kMaxPhases);
    doc.WriteOpenTag("<builds>");
    for (const std::string& build : t.builds)
        doc.WriteTag("<build>", Escaped(build));
    doc.WriteCloseTag("<builds>");
    doc.WriteOpenTag("<versions>");
    for (const std::string& version : t.versions)
        doc.WriteTag("<version>", Escaped(version));
    doc.WriteCloseTag("<versions>");
    WriteNotes(doc, t);
    for (std::size_t i = 0; i < t.currentUsers.size() && i < kMaxCurrentUsers; ++i) {
        if (t.currentUsers[i].computer.empty())
            break;
        doc.WriteTag("<computer_name>", Escaped(t.currentUsers[i].computer));
        doc.WriteTag("<user_name>", Escaped(t.currentUsers[i].tester));
    }
    doc.WriteOpenTag("<default_vals>");
    doc.WriteTag("<expected>", Escaped(t.defaults.expectedDuration));
    doc.WriteTag("<autoDigits>", std::to_string(t.defaults.autoDigits));
    doc.WriteTag("<auto_step>", std::to_string(t.defaults.autoStep));
    doc.WriteTag("<def_version>", Escaped(t.defaults.version));
    doc.WriteTag("<def_build>", Escaped(t.defaults.build));
    doc.WriteCloseTag("<default_vals>");
    doc.WriteOpenTag("<status_vals>");
    for (const StatusEntry& status : t.statuses) {
        doc.WriteTag("<status_text>", Escaped(status.text));
        doc.WriteTag("<status>", std::to_string(status.meaning));
    }
    doc.WriteCloseTag("<status_vals>");
    WriteReportStrings(doc, t);
    WriteReportColours(doc, t);
    return doc.Commit();
}

void CustomCfg::Replace(CustomTables tables) {
    m_tables = std::move(tables);
    m_losses = {};
}

std::optional<std::size_t> CustomCfg::ResolveStatus(std::string_view text) const {
    const std::string wanted(text);
    const auto& statuses = m_tables.statuses;
    for (std::size_t i = 0; i < statuses.size(); ++i)
        if (strcasecmp(statuses[i].text.c_str(), wanted.c_str()) == 0)
            return i;
    for (std::size_t i = 0; i < statuses.size(); ++i)
        if (strcasecmp(std::string(MeaningName(MeaningAt(i))).c_str(), wanted.c_str()) == 0)
            return i;
    return std::nullopt;
}

int CustomCfg::MeaningAt(std::size_t index) const {
    const int meaning = m_tables.statuses.at(index).meaning;
    return IsMeaning(meaning) ? meaning : SM_NOT_YET_ATTEMPTED;
}

std::optional<int> CustomCfg::MeaningOf(std::string_view statusText) const {
    if (auto index = ResolveStatus(statusText))
        return MeaningAt(*index);
    return std::nullopt;
}

const std::string& CustomCfg::ReportString(std::size_t slot) const {
    return m_tables.reportStrings.at(slot);
}

ReportColour CustomCfg::ReportColourOf(std::size_t slot) const {
    return m_tables.reportColours.at(slot);
}

std::string CustomCfg::CurrentUser(std::string_view computer) const {
    for (const CurrentUserPair& pair : m_tables.currentUsers)
        if (pair.computer == computer)
            return pair.tester;
    return {};
}

IoResult CustomCfg::SetCurrentUser(const std::filesystem::path& databaseDir,
                                   std::string_view computer, std::string_view tester) {
    auto& pairs = m_tables.currentUsers;
    auto pair = std::find_if(pairs.begin(), pairs.end(),
                             [&](const CurrentUserPair& p) { return p.computer == computer; });
    if (pair != pairs.end())
        pair->tester = tester;
    else if (pairs.size() < kMaxCurrentUsers)
        pairs.push_back({std::string(computer), std::string(tester)});
    IoResult result = Write(databaseDir);
    if (result.ok())
        m_losses = {};
    return result;
}

}  // namespace vantorel
