#include "exchange/junit_import.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>

#include "documents/custom_cfg.h"
#include "documents/history.h"
#include "documents/prj_test_case.h"
#include "exchange/junit_results.h"
#include "storage/atomic_save.h"
#include "storage/digest.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;

struct ProjectCase {
    fs::path path;
    std::string id, title, requirement;  // as a person reads them (ISO-8859-1)
};

// A title or test name as the title rule compares it: lower case, "_" and runs of blanks as
// one blank, and a leading "test" word dropped (test_user_logs_in is "User logs in").
std::string TitleKey(std::string_view text) {
    std::string key;
    for (const char c : LowerCase(text)) {
        const char blank = c == '_' || std::isspace(static_cast<unsigned char>(c)) ? ' ' : c;
        if (blank == ' ' && (key.empty() || key.back() == ' '))
            continue;
        key += blank;
    }
    if (!key.empty() && key.back() == ' ')
        key.pop_back();
    if (key.starts_with("test "))
        key.erase(0, 5);
    return key;
}

// A name as the ID rule compares it: lower case, with "-" and blanks as "_", since test
// functions can't hold them (test_CART_001_add runs the test case CART-001).
std::string IdKey(std::string_view text) {
    std::string key = LowerCase(text);
    std::replace_if(
        key.begin(), key.end(), [](char c) { return c == '-' || c == ' '; }, '_');
    return key;
}

std::string FullName(const JUnitResult& result) {
    return result.className.empty() ? result.name : result.className + "." + result.name;
}

bool IsWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

std::vector<ProjectCase> ListProjectCases(const fs::path& projectFolder) {
    std::vector<ProjectCase> cases;
    XMLParse document;
    std::string value;
    WalkItems(projectFolder / "Project Test Cases",
              [&](const fs::path& folder, ItemListing& listing) {
                  for (const FolderEntry& entry : listing.documents) {
                      ProjectCase testCase{folder / entry.name, {}, {}, {}};
                      if (document.OpenFastRead(testCase.path) == 0 && document.Load() == 0) {
                          document.GetTag("<id>", value);
                          testCase.id = Unescaped(value);
                          document.GetTag("<test_title>", value);
                          testCase.title = Unescaped(value);
                          document.GetTag("<requirement>", value);
                          testCase.requirement = Unescaped(value);
                      }
                      document.Close();
                      if (testCase.id.empty())
                          testCase.id = testCase.path.stem().string();
                      cases.push_back(std::move(testCase));
                  }
                  return true;
              });
    return cases;
}

// The test cases a result belongs to under rule: one, none, or several when the rule can't
// tell them apart (then none is recorded, and the report names them).
std::vector<const ProjectCase*> Match(const JUnitResult& result, JUnitMatch rule,
                                      const std::vector<ProjectCase>& cases) {
    // A result without a name says too little to be anyone's.
    if (result.name.empty())
        return {};
    const std::string name = Latin1FromName(result.name);
    const std::string full = Latin1FromName(FullName(result));
    std::vector<const ProjectCase*> found;
    if (rule == JUnitMatch::IdInName) {
        const std::string haystack = IdKey(full);
        for (const ProjectCase& testCase : cases) {
            const std::string id = IdKey(testCase.id);
            for (std::size_t at = haystack.find(id); at != std::string::npos;
                 at = haystack.find(id, at + 1)) {
                const bool wordStart = at == 0 || !IsWordCharacter(haystack[at - 1]);
                const std::size_t end = at + id.size();
                const bool wordEnd = end == haystack.size() || !IsWordCharacter(haystack[end]);
                if (!wordStart || !wordEnd)
                    continue;
                // The longest ID a name holds is the one meant: TC-12 in "TC-12-3" and in
                // "TC-12-3b" are different cases' IDs only if both exist.
                if (found.empty() || id.size() > found.front()->id.size())
                    found = {&testCase};
                else if (id.size() == found.front()->id.size())
                    found.push_back(&testCase);
                break;
            }
        }
        return found;
    }
    for (const ProjectCase& testCase : cases) {
        bool fits = false;
        if (rule == JUnitMatch::Requirement) {
            const std::string requirement = LowerCase(testCase.requirement);
            fits = !requirement.empty() &&
                   (requirement == LowerCase(name) || requirement == LowerCase(full));
        } else {
            const std::string title = TitleKey(testCase.title);
            fits = !title.empty() && title == TitleKey(name);
        }
        if (fits)
            found.push_back(&testCase);
    }
    return found;
}

std::optional<LocalMoment> ParseTimestamp(std::string_view stamp) {
    if (stamp.size() < 19 || stamp[4] != '-' || stamp[7] != '-' ||
        (stamp[10] != 'T' && stamp[10] != ' '))
        return std::nullopt;
    const auto date =
        ParseStoredDate(std::string(stamp.substr(0, 4)) + std::string(stamp.substr(5, 2)) +
                        std::string(stamp.substr(8, 2)));
    const auto time = ParseStoredTime(stamp.substr(11, 8));
    if (!date || !time)
        return std::nullopt;
    return LocalMoment{*date, *time};
}

// Plain text for a rich-text field: markup characters as entities, line breaks kept.
std::string AsRichText(std::string_view text) {
    std::string html;
    for (const char c : text)
        html += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    return html;
}

// What a tester wrote in "Results Obtained" stays: each import adds a dated line naming the
// result and its file, and the result's messages under it. Only the added text is cut when
// the field would overflow.
std::string WithImportedResult(const std::string& written, const LocalMoment& attempted,
                               std::string_view status, std::string_view file,
                               std::string_view message) {
    std::string added = (written.empty() ? "" : "\n") + HistoryMomentText(attempted) + " - " +
                        std::string(status) + " (" + std::string(file) + ")";
    if (!message.empty())
        added += "\n" + AsRichText(message);
    const std::size_t room = kFieldValueMax / 2;
    if (written.size() >= room)
        return written;
    return written + added.substr(0, room - written.size());
}

struct Execution {
    const ProjectCase* testCase = nullptr;
    std::vector<const JUnitResult*> results;
};

struct ImportRecord {
    std::string text;                     // the file as it stands
    std::optional<std::string> previous;  // "on <date> at <time>" of this digest's import
};

ImportRecord ReadRecord(const fs::path& file, const std::string& digest) {
    ImportRecord record;
    (void)ReadRegularFile(file, record.text);
    std::string_view entry;
    std::size_t end = 0;
    for (std::size_t from = 0; FindTagValue(record.text, "<import>", entry, from, &end) == 0;
         from = end) {
        std::string_view value, date, time;
        if (FindTagValue(entry, "<digest>", value) != 0 || value != digest)
            continue;
        FindTagValue(entry, "<date>", date);
        FindTagValue(entry, "<time>", time);
        const auto day = ParseStoredDate(date);
        record.previous =
            (day ? DisplayValue(FT_DATE, date) : std::string(date)) + " at " + std::string(time);
    }
    return record;
}

}  // namespace

std::string DurationOfSeconds(double seconds) {
    // A run that took any time at all took at least a minute of the tester's plan.
    const long minutes = seconds > 0 ? std::max(1L, std::lround(seconds / 60.0)) : 0;
    if (minutes >= 1000 * 60)
        return "999:59";
    return StoredDuration({static_cast<int>(minutes / 60), static_cast<int>(minutes % 60)});
}

std::optional<JUnitImportReport> ImportJUnitResults(const JUnitImportRequest& request,
                                                    EditorContext context) {
    UserPort& port = context.port;
    const std::string file = request.resultsFile.string();
    auto refuse = [&port, &file](const std::string& reason) -> std::optional<JUnitImportReport> {
        port.tell({"The results file \"" + file + "\" can't be imported: " + reason +
                       ". Nothing has been recorded.",
                   std::string(kJUnitImportCaption), Icon::Warning});
        return std::nullopt;
    };
    std::string bytes;
    if (const int code = ReadRegularFile(request.resultsFile, bytes, kJUnitResultsMax); code != 0)
        return refuse("it can't be read (" + ReadFailureText(code) + ")");
    auto parsed = ParseJUnit(bytes);
    if (const XmlFault* fault = std::get_if<XmlFault>(&parsed))
        return refuse(XmlFaultText(*fault));
    const std::vector<JUnitResult>& results = std::get<std::vector<JUnitResult>>(parsed);

    // The status each meaning records: the first of the list that carries it.
    std::map<int, std::string> statusFor;
    for (std::size_t i = context.custom.StatusCount(); i-- > 0;)
        statusFor[context.custom.MeaningAt(i)] = context.custom.Status(i).text;
    auto wanted = [](const JUnitResult& result) {
        return result.outcome == JUnitOutcome::Passed   ? SM_PASS
               : result.outcome == JUnitOutcome::Failed ? SM_FAIL
                                                        : SM_POSTPONED;
    };
    for (const JUnitResult& result : results)
        if (!statusFor.contains(wanted(result)))
            return refuse("no status of the database means \"" +
                          std::string(MeaningName(wanted(result))) + "\", which the result \"" +
                          FullName(result) + "\" needs");

    const std::string digest = ContentDigest(bytes);
    const fs::path recordFile = request.projectFolder / kJUnitRecordFileName;
    ImportRecord record = ReadRecord(recordFile, digest);
    if (record.previous && !request.dryRun && !request.importAgain &&
        !port.ask({"The results file \"" + file + "\" was imported into this project on " +
                       *record.previous +
                       ".\nImporting it again counts every attempt in it a second time.\n"
                       "Import it again?",
                   "Results already imported", Icon::Question}))
        return refuse("it was imported before");

    // Match, keeping the test cases in the order their first result comes.
    const std::vector<ProjectCase> cases = ListProjectCases(request.projectFolder);
    JUnitImportReport report;
    report.importedBefore = record.previous;
    std::vector<Execution> executions;
    std::map<const ProjectCase*, std::size_t> executionOf;
    for (const JUnitResult& result : results) {
        const std::vector<const ProjectCase*> matches = Match(result, request.match, cases);
        const std::string where =
            (result.name.empty() ? "a <testcase> without a name" : FullName(result)) + " (line " +
            std::to_string(result.line) + ")";
        if (matches.size() != 1) {
            if (matches.empty()) {
                report.unmatched.push_back(where);
                continue;
            }
            // Named by their suites, since the same ID may stand in two of them.
            std::string several = where + ":";
            for (const ProjectCase* match : matches)
                several +=
                    " " +
                    match->path.lexically_relative(request.projectFolder / "Project Test Cases")
                        .replace_extension()
                        .string();
            report.ambiguous.push_back(std::move(several));
            continue;
        }
        const ProjectCase* testCase = matches.front();
        auto [entry, added] = executionOf.try_emplace(testCase, executions.size());
        if (added)
            executions.push_back({testCase, {}});
        executions[entry->second].results.push_back(&result);
    }

    const LocalMoment now = context.now();
    int done = 0;
    for (const Execution& execution : executions) {
        if (request.stop.stop_requested()) {
            report.complete = false;
            break;
        }
        int meaning = SM_PASS;
        double seconds = 0;
        std::string message;
        bool allSkipped = true;
        for (const JUnitResult* result : execution.results) {
            seconds += result->seconds;
            if (result->outcome == JUnitOutcome::Failed)
                meaning = SM_FAIL;
            if (result->outcome != JUnitOutcome::Skipped)
                allSkipped = false;
            if (!result->message.empty() && result->outcome != JUnitOutcome::Passed)
                message += (message.empty() ? "" : "\n") +
                           (execution.results.size() > 1 ? result->name + ": " : std::string()) +
                           result->message;
        }
        if (meaning != SM_FAIL && allSkipped)
            meaning = SM_POSTPONED;
        const LocalMoment attempted =
            ParseTimestamp(execution.results.front()->timestamp).value_or(now);

        JUnitChange change{
            execution.testCase->id,     execution.testCase->path, {}, statusFor[meaning], 0,
            DurationOfSeconds(seconds), execution.results.size()};
        if (IsLocked(execution.testCase->path)) {
            report.locked.push_back(execution.testCase->id);
            continue;
        }
        if (request.dryRun) {
            XMLParse document;
            std::string value;
            if (document.OpenFastRead(change.testCase) == 0 && document.Load() == 0) {
                document.GetTag("<test_status>", change.oldStatus);
                document.GetTag("<test_attempts>", value);
            }
            change.attempts = std::atoi(value.c_str()) + 1;
            report.changes.push_back(std::move(change));
            continue;
        }
        std::unique_ptr<PrjTestCase> editor = PrjTestCase::Edit(change.testCase, context);
        if (!editor) {
            // Locked since it was looked at, or unreadable: the user was told which.
            report.locked.push_back(execution.testCase->id);
            continue;
        }
        change.oldStatus = editor->Control("<test_status>").text;
        change.attempts = std::atoi(editor->Control("<test_attempts>").text.c_str()) + 1;
        editor->Control("<test_status>").text = change.newStatus;
        editor->Control("<test_attempts>").text = std::to_string(change.attempts);
        editor->Control("<actual_duration>").text = change.duration;
        editor->Control("<last_attempt_date>").date = attempted.date;
        editor->Control("<last_attempt_time>").time = attempted.time;
        if (!request.version.empty())
            editor->Control("<version_tested>").text = Latin1FromName(request.version);
        if (!request.build.empty())
            editor->Control("<build_tested>").text = Latin1FromName(request.build);
        FieldControl& results = editor->Control("<results_obtained>");
        results.text = WithImportedResult(results.text, attempted, change.newStatus,
                                          Latin1FromName(request.resultsFile.filename().string()),
                                          Latin1FromName(message));
        if (editor->Save()) {
            report.complete = false;
            break;
        }
        report.changes.push_back(std::move(change));
        port.progress(++done, static_cast<int>(executions.size()));
    }
    port.progress(0, 0);

    if (!request.dryRun && !report.changes.empty()) {
        std::string entry = "<import><digest>" + digest + "</digest><file>" +
                            Escaped(Latin1FromName(request.resultsFile.filename().string())) +
                            "</file><date>" + StoredDate(now.date) + "</date><time>" +
                            StoredTime(now.time) + "</time><executions>" +
                            std::to_string(report.changes.size()) + "</executions></import>\r\n";
        const std::string text =
            record.text.empty() ? std::string(kDocumentDeclaration) + "<junit_imports>\r\n" +
                                      entry + "</junit_imports>\r\n"
                                : record.text.substr(0, record.text.rfind("</junit_imports>")) +
                                      entry + "</junit_imports>\r\n";
        if (const IoResult saved = SaveWholeFile(recordFile, text); !saved.ok())
            port.tell(
                {"The results were recorded, but the record of imported files could not "
                 "be written, so importing this file again will not be noticed: " +
                     saved.message,
                 std::string(kJUnitImportCaption), Icon::Warning});
    }
    return report;
}

Notice JUnitImportDoneNotice(const JUnitImportReport& report) {
    // A message box lists a few of each; the dry run showed them all.
    constexpr std::size_t kListed = 10;
    std::string text = "JUnit results imported: " + Counted(report.changes.size(), "test case") +
                       " recorded, " + Counted(report.unmatched.size(), "result") + " unmatched, " +
                       Counted(report.locked.size(), "test case") + " open for editing";
    auto list = [&text](const std::vector<std::string>& names, const std::string& heading) {
        if (names.empty())
            return;
        text += "\n\n" + heading + ":";
        for (std::size_t i = 0; i < names.size() && i < kListed; ++i)
            text += "\n" + names[i];
        if (names.size() > kListed)
            text += "\nand " + std::to_string(names.size() - kListed) + " more";
    };
    list(report.unmatched, "Unmatched");
    list(report.ambiguous, "Matching several test cases, not recorded");
    list(report.locked, "Open for editing, not recorded");
    return {text, std::string(kJUnitImportCaption),
            report.locked.empty() ? Icon::Information : Icon::Warning};
}

std::string JUnitReportText(const JUnitImportReport& report, bool dryRun) {
    std::string text;
    for (const JUnitChange& change : report.changes)
        text += change.id + ": " + change.oldStatus + " -> " + change.newStatus + ", attempt " +
                std::to_string(change.attempts) + ", " + change.duration + " (" +
                Counted(change.results, "result") + ")\n";
    text +=
        Counted(report.changes.size(), "test case") + (dryRun ? " would be recorded" : " recorded");
    text += ", " + Counted(report.unmatched.size(), "result") + " unmatched, " +
            Counted(report.locked.size(), "test case") + " open for editing\n";
    for (const std::string& unmatched : report.unmatched)
        text += "unmatched: " + unmatched + "\n";
    for (const std::string& several : report.ambiguous)
        text += "matches several test cases, skipped: " + several + "\n";
    for (const std::string& locked : report.locked)
        text += "open for editing, skipped: " + locked + "\n";
    if (report.importedBefore)
        text += "this file was imported into the project before, on " + *report.importedBefore +
                ": importing it again counts every attempt in it a second time\n";
    return text;
}

}  // namespace vantorel
