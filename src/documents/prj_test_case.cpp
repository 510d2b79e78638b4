#include "documents/prj_test_case.h"

#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"
#include "documents/test_case.h"
#include "platform/clock_text.h"

namespace vantorel {
namespace {

constexpr std::string_view kScheme = "vantorel://";
constexpr int kSourceOpenAttempts = 10;
constexpr auto kSourceOpenPause = std::chrono::milliseconds(50);

// The execution fields take their creation values; the rest is copied from the library.
bool IsExecutionField(std::string_view tag) {
    static constexpr std::string_view kExecution[] = {
        "<test_status>",      "<test_attempts>",  "<last_attempt_date>", "<last_attempt_time>",
        "<actual_duration>",  "<testers>",        "<fault_report_id>",   "<change_req_id>",
        "<results_obtained>", "<version_tested>", "<build_tested>",      "<external_link2>",
        "<result_notes>"};
    for (std::string_view execution : kExecution)
        if (execution == tag)
            return true;
    return false;
}

bool HasRewrittenLinks(std::string_view tag) {
    return tag == "<prerequisites>" || tag == "<test_description>" || tag == "<test_result>" ||
           tag == "<notes1>";
}

// The stored creation value of an execution field.
std::string CreationValue(const FieldDescriptor& row, const CustomCfg& custom) {
    if (row.tag == "<test_status>")
        return custom.FirstStatus();
    if (row.tag == "<test_attempts>")
        return "0";
    if (row.type == FT_DATE || row.type == FT_TIME)
        return std::string(kNotApplicable);
    if (row.tag == "<version_tested>")
        return StoredFromValue(FT_TEXT, custom.Tables().defaults.version);
    if (row.tag == "<build_tested>")
        return StoredFromValue(FT_TEXT, custom.Tables().defaults.build);
    return StoredFromValue(row.type, "");
}

// Whether the testers field, names separated by commas, holds user.
bool NamesTester(std::string_view testers, std::string_view user) {
    for (std::size_t start = 0; start <= testers.size();) {
        const std::size_t comma = std::min(testers.find(',', start), testers.size());
        std::string_view name = testers.substr(start, comma - start);
        while (name.starts_with(' '))
            name.remove_prefix(1);
        while (name.ends_with(' '))
            name.remove_suffix(1);
        if (name == user)
            return true;
        start = comma + 1;
    }
    return false;
}

std::string StoredMoment(const LocalMoment& when, FieldType type) {
    return type == FT_DATE ? StoredDate(when.date) : StoredTime(when.time);
}

}  // namespace

std::optional<std::string> ProjectOf(const std::filesystem::path& item) {
    std::vector<std::string> parts;
    for (const auto& part : item.parent_path())
        parts.push_back(part.string());
    for (std::size_t i = 0; i + 2 < parts.size(); ++i)
        if (parts[i] == "Projects" && parts[i + 2] == "Project Test Cases")
            return parts[i + 1];
    return std::nullopt;
}

// The refusals of a library test case, without its notice for an over-long ID on opening, and
// with its own wording for an unreadable document.
static ItemTexts ProjectTestCaseTexts() {
    ItemTexts texts = TestCaseKind().texts;
    texts.openIdTooLong = {};
    texts.openIdTooLongCaption = {};
    texts.openFailure =
        "Unable to open file for editing.\n%sPlease check read, write and create permissions for "
        "database.";
    return texts;
}

const ItemKind& PrjTestCaseKind() {
    static const ItemKind kind{"<project_test_case>",
                               PrjTestCaseFields(),
                               "Project Test Case",
                               1,
                               "TC",
                               ProjectTestCaseTexts(),
                               "Project_Test_Cases.htm",
                               "Vantorel - Project Test Case Properties"};
    return kind;
}

bool ConvertVantorelLinks(std::string& text, std::string_view project) {
    const std::string replacement =
        std::string(kScheme) + std::string(project) + "/Project Test Cases";
    std::string result;
    std::size_t from = 0;
    for (;;) {
        std::size_t link = from;
        while (link + kScheme.size() <= text.size() &&
               strncasecmp(text.c_str() + link, kScheme.data(), kScheme.size()) != 0)
            ++link;
        if (link + kScheme.size() > text.size())
            break;
        std::size_t slash = text.find('/', link + kScheme.size());
        if (slash == std::string::npos)
            break;
        result.append(text, from, link - from);
        result += replacement;
        from = slash;
    }
    result.append(text, from, std::string::npos);
    if (result.size() >= kFieldValueMax)
        return false;
    text = std::move(result);
    return true;
}

bool PrjTestCase::Convert(const std::filesystem::path& source, const std::filesystem::path& target,
                          EditorContext context) {
    const std::string cannot = "Cannot convert test case to project test case";
    std::optional<std::string> project = ProjectOf(target);
    if (!project) {
        context.port.tell({cannot + "\n" + target.string(), cannot, Icon::Warning});
        return false;
    }
    XMLParse library;
    bool opened = false;
    for (int attempt = 0; attempt < kSourceOpenAttempts && !opened; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(kSourceOpenPause);
        opened = library.OpenRead(source) == 0 && library.Load() == 0;
    }
    if (!opened) {
        context.port.tell({"Failed to open file\n" + source.string(), cannot, Icon::Warning});
        return false;
    }

    const LocalMoment now = context.now();
    std::string phase;
    XMLParse doc;
    doc.OpenWrite(target);
    doc.WriteHeader();
    doc.WriteOpenTag("<project_test_case>");
    for (const FieldDescriptor& row : FieldRows(PrjTestCaseFields())) {
        std::string value;
        if (IsExecutionField(row.tag)) {
            value = CreationValue(row, context.custom);
        } else if (row.tag == "<create_date>" || row.tag == "<create_time>" ||
                   row.tag == "<update_date>" || row.tag == "<update_time>") {
            value = StoredMoment(now, row.type);
        } else if (library.GetTag(row.tag, value) != 0) {
            value = StoredFromValue(row.type, "");
        }
        if (HasRewrittenLinks(row.tag))
            ConvertVantorelLinks(value, *project);
        if (row.tag == "<test_phase>")
            phase = value;
        doc.WriteTag(row.tag, value);
    }
    HistoryBlock creation{
        now, false, context.custom.FirstStatus(),       context.custom.FirstStatus(), 0,
        {},  {},    phase.substr(0, kHistoryPhaseWidth)};
    WriteHistoryBlock(doc, creation);
    doc.WriteCloseTag("<project_test_case>");
    IoResult result = doc.Commit();
    if (!result.ok()) {
        context.port.tell(SaveFailure(result));
        return false;
    }
    return true;
}

std::unique_ptr<PrjTestCase> PrjTestCase::Edit(const std::filesystem::path& path,
                                               EditorContext context) {
    auto editor = Opened(
        std::unique_ptr<PrjTestCase>(new PrjTestCase(PrjTestCaseKind(), std::move(context))), path);
    if (editor)
        editor->m_history = LoadHistoryBlocks(editor->Document());
    return editor;
}

std::unique_ptr<PrjTestCase> PrjTestCase::New(const std::filesystem::path& folder,
                                              EditorContext context, bool automaticId) {
    auto editor = Started(
        std::unique_ptr<PrjTestCase>(new PrjTestCase(PrjTestCaseKind(), std::move(context))),
        folder, automaticId);
    if (!editor)
        return nullptr;
    const CustomCfg& custom = editor->m_context.custom;
    const CustomTables& tables = custom.Tables();
    editor->Control("<test_duration>").text =
        StoredDuration(ParseDuration(tables.defaults.expectedDuration).value_or(Duration{}));
    if (!tables.types.empty())
        editor->Control("<test_type>").text = tables.types.front();
    if (!tables.phases.empty())
        editor->Control("<test_phase>").text = tables.phases.front();
    editor->Control("<test_status>").text = custom.FirstStatus();
    editor->Control("<test_attempts>").text = "0";
    editor->Control("<version_tested>").text = tables.defaults.version;
    editor->Control("<build_tested>").text = tables.defaults.build;
    editor->Control("<priority>").text = "Medium";
    editor->AcceptAsLoaded();
    return editor;
}

std::unique_ptr<IdReservation> PrjTestCase::GetIncrementalID(const std::filesystem::path& folder,
                                                             UserPort& port) {
    return vantorel::GetIncrementalID(folder, PrjTestCaseKind().idPrefix, port);
}

std::vector<HistoryRow> PrjTestCase::HistoryRows() const {
    std::vector<HistoryRow> rows;
    for (const HistoryBlock& block : m_history)
        rows.push_back({HistoryMomentText(block.when),
                        block.update ? "Test Update" : "Test Creation", block.oldStatus,
                        block.newStatus, std::to_string(block.tries), block.phase, block.version,
                        block.build});
    return rows;
}

bool PrjTestCase::HistoryUpdateRequired(const HistoryBlock& candidate) const {
    if (m_history.empty())
        return true;
    const HistoryBlock& last = m_history.back();
    return candidate.tries != last.tries || candidate.newStatus != last.newStatus ||
           candidate.build != last.build || candidate.version != last.version ||
           candidate.phase != last.phase;
}

bool PrjTestCase::SetHistoryDate(std::size_t block, const LocalMoment& when) {
    if (block >= m_history.size())
        return false;
    if (block > 0 && when < m_history[block - 1].when) {
        m_context.port.tell(
            {"You cannot set the date for this history item to an earlier date "
             "than the previous item",
             "Unable to change date", Icon::Warning});
        return false;
    }
    if (block + 1 < m_history.size() && m_history[block + 1].when < when) {
        m_context.port.tell(
            {"You cannot set the date for this history item to a later date than "
             "the following item",
             "Unable to change date", Icon::Warning});
        return false;
    }
    m_history[block].when = when;
    return true;
}

std::optional<SaveRefusal> PrjTestCase::CheckCreatedDate(const CalendarDate& date) {
    if (m_history.size() < 2)
        return std::nullopt;
    const CalendarDate& next = m_history[1].when.date;
    if (std::tuple(date.year, date.month, date.day) <= std::tuple(next.year, next.month, next.day))
        return std::nullopt;
    return Refuse(
        {FillMessage("Unable to change \"Created\" date as it would be a later date than the next "
                     "history item.\nThe create date cannot be set to a date after %s.\nSee the "
                     "\"Test History\" section for details",
                     {DisplayDate(next.year, next.month, next.day)}),
         "Unable to change date", Icon::Warning},
        Row("<create_date>"));
}

bool PrjTestCase::SetCreatedDate(const CalendarDate& date) {
    if (CheckCreatedDate(date))
        return false;
    Control("<create_date>").date = date;
    return true;
}

bool PrjTestCase::Reset() {
    if (!m_context.port.ask({"This will reset the \"Execution results\" section of the test case, "
                             "the status, attempts etc and history back to the initial creation. "
                             "Continue",
                             "Reset Test Case?", Icon::Question}))
        return false;
    Control("<test_status>").text = m_context.custom.FirstStatus();
    Control("<test_attempts>").text = "0";
    Control("<last_attempt_date>").date.reset();
    Control("<last_attempt_time>").time.reset();
    for (std::string_view tag : {"<actual_duration>", "<testers>", "<fault_report_id>",
                                 "<change_req_id>", "<results_obtained>", "<result_notes>"})
        Control(tag).text.clear();
    if (m_history.size() > 1)
        m_history.resize(1);
    return true;
}

std::vector<std::size_t> PrjTestCase::StatusChosen() {
    const std::optional<int> meaning = m_context.custom.MeaningOf(Control("<test_status>").text);
    const bool result = meaning == SM_PASS || meaning == SM_FAIL || meaning == SM_OTHER;
    std::vector<std::size_t> changed;
    const auto& loaded = LoadedControls();
    if (!result) {
        for (const AttemptStamp& stamped : m_attemptStamp) {
            FieldControl& control = controls[stamped.row];
            if (control.text == stamped.after.text && control.date == stamped.after.date &&
                control.time == stamped.after.time) {
                control = stamped.before;
                changed.push_back(stamped.row);
            }
        }
        m_attemptStamp.clear();
        return changed;
    }
    const bool firstChoice = m_attemptStamp.empty();
    const LocalMoment now = m_context.now();
    auto stamp = [&](std::string_view tag, auto set) {
        const std::size_t row = Row(tag);
        auto stamped = std::ranges::find(m_attemptStamp, row, &AttemptStamp::row);
        if (stamped == m_attemptStamp.end())
            stamped = m_attemptStamp.insert(stamped, {row, controls[row], {}});
        set(controls[row]);
        stamped->after = controls[row];
        changed.push_back(row);
    };
    stamp("<last_attempt_date>", [&](FieldControl& control) { control.date = now.date; });
    stamp("<last_attempt_time>", [&](FieldControl& control) { control.time = now.time; });
    if (!firstChoice)
        return changed;  // another result instead of the first: still the one attempt
    // Attempts the user typed stay as typed.
    const std::size_t attempts = Row("<test_attempts>");
    if (controls[attempts].text == loaded[attempts].text)
        stamp("<test_attempts>", [&](FieldControl& control) {
            control.text = std::to_string(std::atoi(loaded[attempts].text.c_str()) + 1);
        });
    const std::string user = m_context.UserName();
    if (user.empty() || NamesTester(Control("<testers>").text, user))
        return changed;
    if (!m_context.addUserWithoutAsking &&
        !m_context.port.ask({"Add " + user + " to the testers of this test case?",
                             "Vantorel - Testers", Icon::Question}))
        return changed;
    stamp("<testers>", [&](FieldControl& control) {
        control.text += (control.text.empty() ? "" : ", ") + user;
    });
    return changed;
}

std::optional<SaveRefusal> PrjTestCase::ValidateFields() {
    if (auto refusal =
            CheckDuration("<test_duration>", "Expected Duration", "Invalid Expected Duration"))
        return refusal;
    if (auto refusal =
            CheckDuration("<actual_duration>", "Actual Duration", "Invalid Actual Duration"))
        return refusal;
    if (Control("<version_tested>").text.size() > kHistoryVersionWidth)
        return Refuse({"Version entered in the version tested field is too long, please "
                       "limit to 25 characters.",
                       "Version too long", Icon::Warning},
                      Row("<version_tested>"));
    if (Control("<build_tested>").text.size() > kHistoryVersionWidth)
        return Refuse({"Build entered in the build tested field is too long, please limit "
                       "to 25 characters.",
                       "Build too long", Icon::Warning},
                      Row("<build_tested>"));
    const auto& created = Control("<create_date>").date;
    return created ? CheckCreatedDate(*created) : std::nullopt;
}

HistoryBlock PrjTestCase::Candidate(const LocalMoment& now) const {
    HistoryBlock candidate;
    candidate.when = now;
    candidate.update = !IsNew();
    candidate.oldStatus =
        m_history.empty() ? m_context.custom.FirstStatus() : m_history.back().newStatus;
    candidate.newStatus = Control("<test_status>").text.substr(0, kHistoryStatusWidth);
    candidate.tries = std::atoi(Control("<test_attempts>").text.c_str());
    candidate.phase = Control("<test_phase>").text.substr(0, kHistoryPhaseWidth);
    candidate.version = Control("<version_tested>").text;
    candidate.build = Control("<build_tested>").text;
    return candidate;
}

void PrjTestCase::PrepareSave(const LocalMoment& now) {
    StampAutomaticFields(now);

    // A new attempt stamps the last attempt, unless the user set it by hand.
    const std::size_t attempts = Row("<test_attempts>"), date = Row("<last_attempt_date>"),
                      time = Row("<last_attempt_time>");
    const auto& loaded = LoadedControls();
    if (std::atoi(controls[attempts].text.c_str()) > std::atoi(loaded[attempts].text.c_str()) &&
        controls[date].date == loaded[date].date && controls[time].time == loaded[time].time) {
        controls[date].date = now.date;
        controls[time].time = now.time;
    }

    m_written = m_history;
    // An imported record's creation block is dated when the record was created.
    HistoryBlock candidate =
        Candidate(IsNew() && KeepsGivenCreation()
                      ? LocalMoment{Control("<create_date>").date.value_or(now.date),
                                    Control("<create_time>").time.value_or(now.time)}
                      : now);
    if (!HistoryUpdateRequired(candidate))
        return;
    if (m_written.empty() && !IsNew()) {
        // A record written without history gets its creation first, dated when it was made.
        const std::string first = m_context.custom.FirstStatus();
        LocalMoment created{Control("<create_date>").date.value_or(now.date),
                            Control("<create_time>").time.value_or(now.time)};
        m_written.push_back({created, false, first, first, 0, {}, {}, {}});
    }
    m_written.push_back(std::move(candidate));
}

void PrjTestCase::WriteTail(XMLParse& doc) {
    for (const HistoryBlock& block : m_written)
        WriteHistoryBlock(doc, block);
}

void PrjTestCase::Saved() {
    m_history = std::move(m_written);
}

std::optional<std::filesystem::path> PrjTestCase::IdentifierScope() const {
    return TestCaseIdScope(Folder(), true);
}

}  // namespace vantorel
