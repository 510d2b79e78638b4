#pragma once
// The report framework. Every report kind derives from ReportBaseClass, which owns what the
// kinds share: the report folder and file, the candidate count, the walk over a project's
// suites, the filter, the count of documents open for editing, and telling the user (or the
// error log of a command-line run) how generation ended. A kind supplies its statistics of
// one document and the writing of its report document.
//
// The walk lists the folders in the order the file system returns their entries, and the
// documents of each listed folder are read on the other threads while the listing goes on.
// Each thread fills statistics of its own; they are merged in a fixed order and every
// document keeps its place in the listing, so a report is the same whatever the number of
// threads.

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "documents/custom_cfg.h"
#include "documents/history.h"
#include "filters/filter.h"
#include "platform/user_port.h"

namespace vantorel {

class PiecewiseSave;
class XMLParse;

enum class ReportKind { Status, Progress, List, Details };

struct ReportKindInfo {
    std::string_view folder;         // below the project's "Project Reports"
    std::string_view fileName;       // the default name: year, month, day, running number
    std::string_view reportType;     // the <report_type> value
    std::string_view rootTag;        // the document's root element
    std::string_view title;          // "Status Report": error-log lines and the wizard
    std::string_view keyword;        // the command line's "/r" value
    std::string_view createHeading;  // the debug-log heading of create
};
const ReportKindInfo& KindInfo(ReportKind kind);
// "status", "progress", "list", "details"; none for another word.
std::optional<ReportKind> ReportKindFromKeyword(std::string_view keyword);

inline constexpr std::size_t kReportNameMax = 64;
inline constexpr std::size_t kListColumnCount = 16;
// Which of the list report's columns are shown, in "/o" order.
using ListColumnFlags = std::array<bool, kListColumnCount>;
inline constexpr ListColumnFlags kAllListColumns = [] {
    ListColumnFlags all{};
    all.fill(true);
    return all;
}();

// A suite chosen for a report and whether its sub-suites count too.
struct SuiteChoice {
    std::filesystem::path folder;
    bool includeSubSuites = true;
};

// The chosen suites without those another choice already takes in: a suite below one chosen
// with its sub-suites, or a suite chosen twice (with its sub-suites if either choice has them).
std::vector<SuiteChoice> CoveringChoices(const std::vector<SuiteChoice>& chosen);

struct ReportRequest {
    std::filesystem::path projectFolder;
    std::string name;  // empty: the default name of the day with the first free number
    std::optional<Filter> filter;
    bool wholeProject = true;  // otherwise only the chosen suites
    std::vector<SuiteChoice> suites;
    ListColumnFlags listColumns = kAllListColumns;
    // A command-line run: messages become the error log's lines and a named report replaces
    // an existing one without asking.
    bool commandLine = false;
    unsigned threads = 0;  // 0: one per core
    // Asked to stop, the walk ends after the documents in hand and no report is written.
    std::stop_token stop;
};

// What a report needs from the program around it.
struct ReportContext {
    UserPort& port;
    const CustomCfg& custom;
    std::function<LocalMoment()> now = LocalNow;
};

// The statistics one thread gathers. Merging must not depend on which thread saw what.
class DocumentTally {
public:
    virtual ~DocumentTally() = default;
    // Takes one project test case in: the document named name in folder, at place order of
    // the walk. Returns whether the document counts, so that its lock is probed.
    virtual bool Take(const XMLParse& document, std::size_t order,
                      const std::filesystem::path& folder, std::string_view name) = 0;
    // Adds the statistics of another thread.
    virtual void Merge(DocumentTally& other) = 0;
    // Every document of the walk from first to end (not included) was taken by this thread:
    // a kind that writes as it goes passes on what it holds of them.
    virtual void EndChunk(std::size_t first, std::size_t end) {
        (void)first;
        (void)end;
    }
    // The walk ends early, a thread having failed: a kind that writes as it goes stops
    // waiting for chunks that will not come.
    virtual void Abandon() {}
};

class ReportBaseClass {
public:
    virtual ~ReportBaseClass();
    ReportBaseClass(const ReportBaseClass&) = delete;
    ReportBaseClass& operator=(const ReportBaseClass&) = delete;

    // The whole generation: folder probe, file name and overwrite question, candidate count,
    // walk, report document, open-for-editing notice. The written file, or none after the
    // user was told why there is no report.
    std::optional<std::filesystem::path> create(const ReportRequest& request);

    // The walk and the kind's statistics alone, for figures shown elsewhere (a list pane's
    // suite totals): no report folder, file or message. False when the walk failed or was
    // stopped.
    bool Measure(const ReportRequest& request);

    ReportKind Kind() const { return m_kind; }
    std::size_t Candidates() const { return m_candidates; }
    std::size_t PassedFilter() const { return m_passed; }
    std::size_t OpenForEditing() const { return m_openForEditing; }
    // Candidates that could not be read (a folder or file the user may not read, a file that
    // is no document); the user is told how many.
    std::size_t Unreadable() const { return m_unreadable; }

protected:
    ReportBaseClass(ReportKind kind, ReportContext context);

    // Writes the kind's tags after the common header.
    virtual void WriteReport(XMLParse& document) const = 0;
    // Writes what follows those tags straight into the save, for a kind too large to write
    // through a document in memory.
    virtual void WriteBody(PiecewiseSave& save) const { (void)save; }
    // Fresh statistics for one thread of the walk.
    virtual std::unique_ptr<DocumentTally> NewTally() const = 0;
    // Gets ready for the walk. A refusal is told only after the candidates were counted, so
    // that an empty project is reported as such.
    virtual std::optional<Notice> InitStats() { return std::nullopt; }
    // Takes the merged statistics of the walk.
    virtual void FinishStats(std::unique_ptr<DocumentTally> tally) = 0;
    // The filter's "%s - %s" for <filter_name>; empty without a filter.
    virtual std::string FilterCaption() const;

    // The walk of create alone: the request's suites (or its whole project) read through its
    // filter into the kind's tallies on several threads, then merged; the counts above are
    // set. None after telling the user the walk failed; a stopped walk gives what it had read.
    // Without readDocuments the documents are only listed and counted, and the tally is null.
    std::optional<std::unique_ptr<DocumentTally>> WalkDocuments(const ReportRequest& request,
                                                                bool readDocuments,
                                                                std::size_t& unreadableFolders);

    const ReportRequest& Request() const { return *m_request; }
    // The folder of the kind's reports in the project.
    std::filesystem::path ReportFolder() const;
    const ReportContext& Context() const { return m_context; }
    // The notice for the user, or in a command-line run the kind's line for the error log.
    Notice KindNotice(std::string interactive, std::string logLine, std::string caption,
                      Icon icon) const;

private:
    class Walk;

    // True, after telling the user, when the request was asked to stop.
    bool ToldCancelled();
    // Tells the user why no file can be made in folder; false then.
    bool CheckProbe(const std::filesystem::path& folder, int error);
    std::optional<std::filesystem::path> ReportFile(const std::filesystem::path& folder);
    bool WriteDocument(const std::filesystem::path& file);

    ReportKind m_kind;
    ReportContext m_context;
    const ReportRequest* m_request = nullptr;
    LocalMoment m_created;
    std::string m_reportId;
    std::size_t m_candidates = 0;
    std::size_t m_passed = 0;
    std::size_t m_openForEditing = 0;
    std::size_t m_unreadable = 0;
};

// The report kind's generator.
std::unique_ptr<ReportBaseClass> MakeReport(ReportKind kind, ReportContext context);

// Report documents grow with the project (a details report holds every field of every test
// case), so they are read with a cap of their own instead of an item document's.
inline constexpr std::size_t kReportDocumentSizeMax = std::size_t{1} << 30;

// The header every report document starts with.
struct ReportHeader {
    std::string id;
    std::string createDate;  // "%04d%02d%02d"
    std::string createTime;  // "%02d:%02d:%02d"; "00:00:00" when the document has none
    std::string filterName;
    std::string reportType;
};
ReportHeader ReadReportHeader(const XMLParse& document);
// The caption (<report_string>) and colour (<report_colours>) of each status's series.
void ReadSeriesCaptions(const XMLParse& document, std::vector<std::string>& statuses,
                        std::vector<ReportColour>& colours);
// Loads the report document at path when it is a report of kind; its header goes to header.
bool LoadReportDocument(const std::filesystem::path& path, ReportKind kind, XMLParse& document,
                        ReportHeader& header);
// True when the loaded document holds a readable tag.
bool HoldsTag(const XMLParse& document, std::string_view tag);
// What the user is told of a report document at path that can't be shown: not a report, or
// cut short, or changed by hand.
Notice UnreadableReport(const std::filesystem::path& path);
// The kind of the report document at path, by its <report_type> (a status summary by its
// per-meaning counts), and its header when asked; none when it can't be read.
std::optional<ReportKind> ReadReportKind(const std::filesystem::path& path,
                                         ReportHeader* header = nullptr);

}  // namespace vantorel
