#pragma once
// Recording the results of automated tests (a JUnit XML file) as executions of a project's
// test cases. Each result is matched to a project test case by the rule the user picks; every
// test case with results gets one execution, recorded as its dialog records one: the status by
// what the result means (passed: the first status meaning Pass; a failure or an error: Fail;
// skipped: Postponed), one more attempt, the actual duration from the times, the last attempt
// at the results' timestamp (else now), the version and build given, the failure message as
// the results obtained, and a history block. Several results of one test case (parametrised
// tests) make one execution: it fails when any fails, and its duration is their sum.
//
// Test cases open for editing are skipped and listed, results that match none are listed,
// and a dry run tells what would change without writing. The digest of every imported file is
// kept in the project, in "junit_imports.dat" beside its "Project Test Cases":
//   <import><digest>64 hex digits</digest><file>results.xml</file><date>20261124</date>
//   <time>22:10:00</time><executions>12</executions></import>
// one element per import, so the same file brought again is asked about: importing it twice
// would count its attempts twice.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "documents/item_editor.h"

namespace vantorel {

inline constexpr std::string_view kJUnitImportCaption = "Import JUnit results";
inline constexpr std::string_view kJUnitRecordFileName = "junit_imports.dat";

enum class JUnitMatch {
    IdInName,     // the test's name (class name and name) holds the test case's ID as a word
    Requirement,  // the test case's requirement field is the test's name or class.name
    Title,        // the title is the test's name, ignoring case, "_" as blanks and "test"
};

struct JUnitImportRequest {
    std::filesystem::path projectFolder;  // the project's folder below "Projects"
    std::filesystem::path resultsFile;
    JUnitMatch match = JUnitMatch::IdInName;
    std::string version;  // the version tested; empty keeps the test case's
    std::string build;    // the build tested; empty keeps the test case's
    bool dryRun = false;
    // A file imported before is imported again without asking (a script's explicit choice;
    // no other question of the run is answered Yes with it).
    bool importAgain = false;
    std::stop_token stop = {};
};

// One execution recorded (or, in a dry run, that would be).
struct JUnitChange {
    std::string id;
    std::filesystem::path testCase;
    std::string oldStatus, newStatus;
    int attempts = 0;      // after the execution
    std::string duration;  // "%02d:%02d"
    std::size_t results = 0;
};

struct JUnitImportReport {
    std::vector<JUnitChange> changes;
    std::vector<std::string> unmatched;  // "class.name (line 12)"
    // Results the rule can't tell apart, with the test cases each matches:
    // "class.name (line 12): TC-1 TC-2". None of them is recorded.
    std::vector<std::string> ambiguous;
    std::vector<std::string> locked;  // IDs of test cases open for editing
    // When the same file was imported into the project before: when ("20261124 at ..."), so
    // a dry run can warn that its attempts would count twice.
    std::optional<std::string> importedBefore;
    bool complete = true;  // false when a stop or a failed save ended it early
};

// The whole import; none after telling the user why nothing was recorded (a file that is not
// JUnit XML, with its line and column; a status list without the meanings needed; the same
// file again, when the user says No).
std::optional<JUnitImportReport> ImportJUnitResults(const JUnitImportRequest& request,
                                                    EditorContext context);

// The report as lines for a person: one a change, then the unmatched, the ambiguous and the
// locked ones.
std::string JUnitReportText(const JUnitImportReport& report, bool dryRun);

// Told when an import has ended: how many test cases were recorded, then the results that
// matched none and the test cases open for editing (the first few of each).
Notice JUnitImportDoneNotice(const JUnitImportReport& report);

// The form an attribute's time takes as a duration: minutes rounded, a run of any length at
// least one, at most 999:59.
std::string DurationOfSeconds(double seconds);

}  // namespace vantorel
