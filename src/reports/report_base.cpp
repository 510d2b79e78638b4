#include "reports/report_base.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <span>
#include <thread>

#include "documents/item_editor.h"
#include "documents/test_group.h"
#include "platform/debug_log.h"
#include "reports/list_reports.h"
#include "reports/progress_report.h"
#include "reports/status_report.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace {

constexpr ReportKindInfo kKinds[] = {
    {"Status Reports", "Status report - %04d-%02d-%02d-%d.vtl", "Status", "<status_report>",
     "Status Report", "status", "StatusReport::create"},
    {"Progress Reports", "Progress report - %04d-%02d-%02d-%d.vtl", "Progress", "<project_report>",
     "Progress Report", "progress", "ProgressReport::create"},
    {"Test List Reports", "List report - %04d-%02d-%02d-%d.vtl", "List", "<list_report>",
     "Test List Report", "list", "TCListReport::create"},
    {"Test Case Reports", "Test Case report - %04d-%02d-%02d-%d.vtl", "Full", "<details_report>",
     "Test Case Details Report", "details", "TCFullReport::create"},
};
constexpr ReportKind kAllKinds[] = {ReportKind::Status, ReportKind::Progress, ReportKind::List,
                                    ReportKind::Details};

// Documents handed to a thread at a time: large enough to keep the threads apart, small
// enough to share the work out evenly.
constexpr std::size_t kChunk = 64;
// Where the kind of a report is read from: its header, and a status summary's counts.
constexpr std::size_t kReportHeadMax = 1 << 16;

}  // namespace

const ReportKindInfo& KindInfo(ReportKind kind) {
    return kKinds[static_cast<int>(kind)];
}

std::optional<ReportKind> ReportKindFromKeyword(std::string_view keyword) {
    for (ReportKind kind : kAllKinds)
        if (KindInfo(kind).keyword == keyword)
            return kind;
    return std::nullopt;
}

// One walk of a report: lists the chosen folders on the calling thread and reads the listed
// documents on worker threads as soon as a folder's listing is complete (its lock files are
// known by then).
class ReportBaseClass::Walk {
public:
    Walk(const ReportBaseClass& report, bool readDocuments, unsigned threads)
        : m_report(report), m_readDocuments(readDocuments) {
        if (threads == 0)
            threads = std::max(1u, std::thread::hardware_concurrency());
        if (!readDocuments)
            threads = 1;
        m_failures.resize(threads);
        m_counts.resize(threads);
        for (unsigned t = 0; t < threads; ++t)
            m_tallies.push_back(readDocuments ? report.NewTally() : nullptr);
        for (unsigned t = 1; t < threads; ++t)
            m_workers.emplace_back([this, t] { Work(t); });
    }

    ~Walk() {
        Close();
        for (std::thread& worker : m_workers)
            worker.join();
    }

    // The recursive walk: goes down into every sub-folder except "Project Reports".
    void CollectStats(const std::filesystem::path& folder) { List(folder, true); }
    // The flat walk: the folder's own documents only.
    void CollectFlat(const std::filesystem::path& folder) { List(folder, false); }

    // Ends the listing, reads what is left on this thread too, and merges the statistics of
    // every thread in thread order.
    std::unique_ptr<DocumentTally> Finish() {
        Close();
        if (m_readDocuments)
            Work(0);
        for (std::thread& worker : m_workers)
            worker.join();
        m_workers.clear();
        // The other threads may have read every document while this one listed: the bar still
        // reaches its end, and a stop asked for there still leaves no report.
        m_report.m_context.port.progress(static_cast<int>(m_processed.load()),
                                         static_cast<int>(listed));
        m_report.m_context.port.progress(0, 0);
        for (const std::exception_ptr& failure : m_failures)
            if (failure)
                std::rethrow_exception(failure);
        for (std::size_t t = 0; t < m_tallies.size(); ++t) {
            if (t > 0 && m_tallies[t])
                m_tallies[0]->Merge(*m_tallies[t]);
            passed += m_counts[t].passed;
            openForEditing += m_counts[t].openForEditing;
            unreadable += m_counts[t].unreadable;
        }
        return std::move(m_tallies[0]);
    }

    std::size_t listed = 0;
    std::size_t passed = 0;
    std::size_t openForEditing = 0;
    std::size_t unreadable = 0;
    std::size_t unreadableFolders = 0;

private:
    struct Folder {
        std::filesystem::path path;
        std::vector<std::string> locks;  // names ending in ".lck", sorted
    };
    struct Document {
        std::size_t order;  // place in the listing
        const Folder* folder;
        std::string name;
    };
    using Chunk = std::vector<Document>;
    struct Counts {
        std::size_t passed = 0, openForEditing = 0, unreadable = 0;
    };

    // Lists one folder and hands its documents to the readers, then goes down into its
    // sub-folders. The folder is closed before the walk descends, so one folder is open at a
    // time whatever the depth; a folder already on the way down (reached again through a
    // mount, or a name the system cuts short) is not entered twice, and links are never
    // followed.
    void List(const std::filesystem::path& path, bool recursive) {
        if (Cancelled())
            return;
        std::vector<FolderEntry> entries;
        switch (m_trail.Enter(path, entries)) {
            case WalkTrail::Outcome::Entered:
                break;
            case WalkTrail::Outcome::Unreadable:
                DebugLog::Write(KindInfo(m_report.m_kind).createHeading.data(),
                                "Failed to open folder %s\n", path.c_str());
                ++unreadableFolders;
                return;
            case WalkTrail::Outcome::AlreadyOnTrail:
                return;
        }
        // A deque keeps every folder where it is while the workers read through pointers.
        Folder& folder = m_folders.emplace_back(Folder{path, {}});
        Chunk documents;
        std::vector<std::string> subFolders;
        const char* heading = KindInfo(m_report.m_kind).createHeading.data();
        ItemListing items;
        SortEntries(entries, items);
        entries = {};
        for (FolderEntry& entry : items.documents) {
            // A link, FIFO, device or socket under a document's name is a test case that can't
            // be read: the reader refuses it without blocking or leaving the tree.
            if (DebugLog::Enabled())
                DebugLog::Write(heading, "Found file: %s - Calling GetStatsFromFile\n",
                                (path / entry.name).c_str());
            documents.push_back({listed++, &folder, std::move(entry.name)});
        }
        folder.locks = std::move(items.locks);
        std::sort(folder.locks.begin(), folder.locks.end());
        if (recursive)
            for (std::string& name : items.folders)
                if (name != kProjectReportsFolder)
                    subFolders.push_back(std::move(name));
        if (m_readDocuments && !documents.empty())
            Publish(std::move(documents));
        m_report.m_context.port.progress(static_cast<int>(m_processed), static_cast<int>(listed));
        for (const std::string& name : subFolders) {
            const std::filesystem::path sub = path / name;
            if (DebugLog::Enabled())
                DebugLog::Write(heading, "Found dir: %s - Calling CollectStats\n", sub.c_str());
            List(sub, true);
        }
        m_trail.Leave();
    }

    void Publish(Chunk&& documents) {
        std::lock_guard lock(m_mutex);
        for (std::size_t begin = 0; begin < documents.size(); begin += kChunk) {
            const auto first = documents.begin() + static_cast<std::ptrdiff_t>(begin);
            const auto last = documents.begin() + static_cast<std::ptrdiff_t>(
                                                      std::min(begin + kChunk, documents.size()));
            m_queue.emplace_back(std::make_move_iterator(first), std::make_move_iterator(last));
        }
        m_ready.notify_all();
    }

    void Close() {
        std::lock_guard lock(m_mutex);
        m_closed = true;
        m_ready.notify_all();
    }

    // Waits for a chunk; false once the listing is over and nothing is left.
    bool Pop(Chunk& chunk) {
        std::unique_lock lock(m_mutex);
        m_ready.wait(lock, [this] { return !m_queue.empty() || m_closed; });
        if (m_queue.empty())
            return false;
        chunk = std::move(m_queue.front());
        m_queue.pop_front();
        return true;
    }

    bool Cancelled() const { return m_report.m_request->stop.stop_requested(); }

    void Work(unsigned thread) {
        try {
            XMLParse buffer;
            HeldFolder folder;
            BatchDocumentReader batch;
            Chunk chunk;
            while (Pop(chunk)) {
                const bool whole =
                    ReadInBatches(batch, folder, std::span<const Document>(chunk),
                                  [&](std::size_t at, std::optional<std::string_view> read) {
                                      if (Cancelled())
                                          return false;
                                      GetStatsFromFile(chunk[at], folder, read, buffer,
                                                       *m_tallies[thread], m_counts[thread]);
                                      return true;
                                  });
                if (!whole) {
                    EndEarly(thread);
                    return;
                }
                m_tallies[thread]->EndChunk(chunk.front().order, chunk.back().order + 1);
                const std::size_t done = m_processed += chunk.size();
                // The port belongs to the calling thread; only it reports progress.
                if (thread == 0)
                    m_report.m_context.port.progress(static_cast<int>(done),
                                                     static_cast<int>(listed));
            }
        } catch (...) {
            m_failures[thread] = std::current_exception();
            EndEarly(thread);
        }
    }

    // Ends the walk for every thread: nothing more is handed out, and a kind that writes as
    // it goes stops waiting for chunks that will not come.
    void EndEarly(unsigned thread) {
        m_tallies[thread]->Abandon();
        std::lock_guard lock(m_mutex);
        m_queue.clear();
        m_closed = true;
        m_ready.notify_all();
    }

    // Takes one project test case into a thread's statistics: read it (unless its batch did),
    // test it against the filter, hand it to the kind, and count it as open for editing when
    // its lock exists.
    void GetStatsFromFile(const Document& document, HeldFolder& folder,
                          std::optional<std::string_view> batchRead, XMLParse& buffer,
                          DocumentTally& tally, Counts& counts) const {
        const ReportRequest& request = *m_report.m_request;
        const char* heading = KindInfo(m_report.m_kind).createHeading.data();
        const int folderFd = folder.Descriptor(document.folder, document.folder->path);
        if (batchRead) {
            buffer.LoadText(*batchRead);
        } else if (folderFd < 0 || buffer.OpenFastRead(folderFd, document.name.c_str()) != 0 ||
                   buffer.Load() != 0) {
            DebugLog::Write(heading, "Failed to open file %s\n",
                            (document.folder->path / document.name).c_str());
            ++counts.unreadable;
            // It still counts, as a test case none of whose fields can be read: no status, 0
            // minutes, and no condition of a filter excludes it.
            buffer.LoadText({});
        }
        if (request.filter && !request.filter->Passes(buffer, kProjectTestCaseDocument)) {
            DebugLog::Write(heading, "Did not pass filter\n");
        } else {
            ++counts.passed;
            if (tally.Take(buffer, document.order, document.folder->path, document.name) &&
                HasLock(document))
                ++counts.openForEditing;
        }
        buffer.Close();
    }

    // Editors lock "<name>.vtl.lck"; a lock named from the path without its extension counts
    // as well, as older programs made them.
    static bool HasLock(const Document& document) {
        const std::vector<std::string>& locks = document.folder->locks;
        if (locks.empty())
            return false;
        const std::string withExtension = document.name + std::string(kLockExtension);
        const std::string withoutExtension =
            document.name.substr(0, document.name.size() - kItemExtension.size()) +
            std::string(kLockExtension);
        return std::binary_search(locks.begin(), locks.end(), withExtension) ||
               std::binary_search(locks.begin(), locks.end(), withoutExtension);
    }

    const ReportBaseClass& m_report;
    const bool m_readDocuments;
    WalkTrail m_trail;
    std::deque<Folder> m_folders;
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<Chunk> m_queue;
    bool m_closed = false;
    std::vector<std::unique_ptr<DocumentTally>> m_tallies;
    std::vector<Counts> m_counts;
    std::vector<std::exception_ptr> m_failures;
    std::atomic<std::size_t> m_processed{0};
    std::vector<std::thread> m_workers;
};

ReportBaseClass::ReportBaseClass(ReportKind kind, ReportContext context)
    : m_kind(kind), m_context(std::move(context)) {}

ReportBaseClass::~ReportBaseClass() = default;

std::filesystem::path ReportBaseClass::ReportFolder() const {
    return m_request->projectFolder / std::string(kProjectReportsFolder) /
           std::string(KindInfo(m_kind).folder);
}

std::string ReportBaseClass::FilterCaption() const {
    return m_request->filter ? m_request->filter->Caption() : std::string();
}

Notice ReportBaseClass::KindNotice(std::string interactive, std::string logLine,
                                   std::string caption, Icon icon) const {
    return {m_request->commandLine ? std::move(logLine) : std::move(interactive),
            std::move(caption), icon};
}

std::optional<std::filesystem::path> ReportBaseClass::create(const ReportRequest& request) {
    m_request = &request;
    const ReportKindInfo& info = KindInfo(m_kind);
    const std::string title(info.title);
    m_candidates = m_passed = m_openForEditing = m_unreadable = 0;
    m_created = m_context.now();

    const std::filesystem::path folder = ReportFolder();
    // A project copied by a tool that drops empty folders lacks its report folders; they are
    // the project's own, so a project that has its test case folder gets them back.
    std::error_code missing;
    if (std::filesystem::is_directory(request.projectFolder / std::string(kProjectTestCasesFolder),
                                      missing) &&
        !std::filesystem::exists(folder, missing))
        std::filesystem::create_directories(folder, missing);
    // The probe's file stays for a moment; the walk need not wait for it to go.
    const WriteProbe probe(folder);
    if (!CheckProbe(folder, probe.Error()))
        return std::nullopt;
    const std::optional<std::filesystem::path> file = ReportFile(folder);
    if (!file)
        return std::nullopt;

    // The kind gets ready before the walk, so that documents are read while the folders are
    // still being listed.
    const std::optional<Notice> refusal = InitStats();
    std::size_t unreadableFolders = 0;
    std::optional<std::unique_ptr<DocumentTally>> tally =
        WalkDocuments(request, !refusal, unreadableFolders);
    if (!tally || ToldCancelled())
        return std::nullopt;
    if (m_unreadable > 0 || unreadableFolders > 0) {
        // Unreadable documents still count as candidates, but no figure of theirs can be
        // taken, and a folder that can't be listed hides its test cases; the user must know
        // what the report leaves out.
        std::string text;
        if (m_unreadable > 0)
            text = std::to_string(m_unreadable) + " test cases";
        if (unreadableFolders > 0)
            text += (text.empty() ? "" : " and ") + std::to_string(unreadableFolders) + " folders";
        text +=
            " could not be read (the debug log names them); the report counts no figures "
            "of theirs";
        m_context.port.tell(
            KindNotice(text, title + " - " + text, "Unreadable test cases", Icon::Warning));
    }

    if (m_candidates == 0) {
        const std::string text = "There are no test cases from which a report can be generated";
        m_context.port.tell(KindNotice(
            text,
            m_kind == ReportKind::Status
                ? title + " - " + text + " - " + request.projectFolder.filename().string()
                : title + " - " + text + "!",
            "No test cases", Icon::Warning));
        return std::nullopt;
    }
    if (refusal) {
        DebugLog::Write(info.createHeading.data(), "InitStats failed\n");
        m_context.port.tell(*refusal);
        return std::nullopt;
    }
    FinishStats(std::move(*tally));

    if (m_passed == 0) {
        const std::string text =
            "No Test Cases passed the filter, so the report will not be generated!";
        m_context.port.tell(KindNotice(text + " Please Select another filter or 'No Filter'",
                                       title + " - " + text, "No test cases passed",
                                       Icon::Warning));
        return std::nullopt;
    }
    if (ToldCancelled() || !WriteDocument(*file))
        return std::nullopt;
    if (m_openForEditing > 0) {
        char text[200];
        std::snprintf(text, sizeof text,
                      "%zu test cases were open for editing when generating this report. The "
                      "report was created but the data may be out of date",
                      m_openForEditing);
        m_context.port.tell(
            KindNotice(text, title + " - " + text, "Open test cases", Icon::Warning));
    }
    return file;
}

std::vector<SuiteChoice> CoveringChoices(const std::vector<SuiteChoice>& chosen) {
    // A suite chosen with its sub-suites already holds every suite below it, and a suite
    // chosen twice is one suite: each test case is counted once however the list was made.
    const auto covers = [](const SuiteChoice& outer, const std::filesystem::path& folder) {
        if (!outer.includeSubSuites)
            return false;
        const auto [end, unused] =
            std::mismatch(outer.folder.begin(), outer.folder.end(), folder.begin(), folder.end());
        return end == outer.folder.end();
    };
    std::vector<SuiteChoice> kept;
    for (const SuiteChoice& choice : chosen) {
        SuiteChoice normal{choice.folder.lexically_normal(), choice.includeSubSuites};
        if (!normal.folder.has_filename())  // "Suite/." became "Suite/"
            normal.folder = normal.folder.parent_path();
        if (std::ranges::any_of(kept,
                                [&](const SuiteChoice& k) { return covers(k, normal.folder); }))
            continue;
        std::erase_if(kept, [&](const SuiteChoice& k) {
            return covers(normal, k.folder) || k.folder == normal.folder;
        });
        kept.push_back(std::move(normal));
    }
    return kept;
}

bool ReportBaseClass::Measure(const ReportRequest& request) {
    m_request = &request;
    m_candidates = m_passed = m_openForEditing = m_unreadable = 0;
    m_created = m_context.now();
    if (InitStats())
        return false;
    std::size_t unreadableFolders = 0;
    std::optional<std::unique_ptr<DocumentTally>> tally =
        WalkDocuments(request, true, unreadableFolders);
    if (!tally || request.stop.stop_requested())
        return false;
    FinishStats(std::move(*tally));
    return true;
}

std::optional<std::unique_ptr<DocumentTally>> ReportBaseClass::WalkDocuments(
    const ReportRequest& request, bool readDocuments, std::size_t& unreadableFolders) {
    m_request = &request;
    try {
        Walk walk(*this, readDocuments, request.threads);
        if (request.wholeProject) {
            walk.CollectStats(request.projectFolder / std::string(kProjectTestCasesFolder));
        } else {
            for (const SuiteChoice& suite : CoveringChoices(request.suites)) {
                if (suite.includeSubSuites)
                    walk.CollectStats(suite.folder);
                else
                    walk.CollectFlat(suite.folder);
            }
        }
        std::unique_ptr<DocumentTally> tally = walk.Finish();
        m_candidates = walk.listed;
        m_passed = walk.passed;
        m_openForEditing = walk.openForEditing;
        m_unreadable = walk.unreadable;
        unreadableFolders = walk.unreadableFolders;
        return tally;
    } catch (const std::exception& error) {
        // A failure on one of the walk's threads ends the walk; the user is told why, and no
        // report is written.
        const std::string title(KindInfo(m_kind).title);
        const std::string text = std::string("The report could not be made: ") + error.what();
        m_context.port.tell(KindNotice(text, title + " - " + text, "Report error", Icon::Error));
        return std::nullopt;
    }
}

bool ReportBaseClass::ToldCancelled() {
    if (!m_request->stop.stop_requested())
        return false;
    const std::string title(KindInfo(m_kind).title);
    const std::string text = "The report was cancelled; no report was written.";
    m_context.port.tell(KindNotice(text, title + " - " + text, title, Icon::Information));
    return true;
}

bool ReportBaseClass::CheckProbe(const std::filesystem::path& folder, int error) {
    if (error == 0)
        return true;
    // Named with this system's separator, as the user will look for it.
    const std::string kindFolder = "Project Reports/" + std::string(KindInfo(m_kind).folder);
    if (folder.string().size() >= kPathMax) {
        m_context.port.tell(
            {"The current path is longer than the Windows limit of 260 "
             "characters. No new files can be created in this folder",
             "Path length exceeds limit", Icon::Warning});
    } else if (error == ENOENT || error == ENOTDIR) {
        m_context.port.tell(
            {"Unable to create new file, the directory could not be accessed. "
             "Please check that the \"" +
                 kindFolder + "\" directory exists for your database.",
             "Invalid Directory Name", Icon::Warning});
    } else {
        m_context.port.tell(
            {"Unable to create new file. Access is denied.\nPlease check read, "
             "write and create permissions for the \"" +
                 kindFolder + "\" folder on disk",
             "Access Denied", Icon::Warning});
    }
    return false;
}

std::optional<std::filesystem::path> ReportBaseClass::ReportFile(
    const std::filesystem::path& folder) {
    std::error_code error;
    if (m_request->name.empty()) {
        // The first running number of the day that gives a new name.
        for (int number = 1;; ++number) {
            char name[160];
            std::snprintf(name, sizeof name, KindInfo(m_kind).fileName.data(), m_created.date.year,
                          m_created.date.month, m_created.date.day, number);
            if (!std::filesystem::exists(folder / name, error)) {
                m_reportId =
                    std::string(name, std::string_view(name).size() - kItemExtension.size());
                return folder / name;
            }
        }
    }
    m_reportId = m_request->name;
    std::filesystem::path file = folder / (m_request->name + std::string(kItemExtension));
    if (std::filesystem::exists(file, error) && !m_request->commandLine &&
        !m_context.port.ask(
            {"There is already a report with that name, overwrite?", "Error", Icon::Warning}))
        return std::nullopt;
    return file;
}

bool ReportBaseClass::WriteDocument(const std::filesystem::path& file) {
    const ReportKindInfo& info = KindInfo(m_kind);
    XMLParse document;
    document.OpenWrite(file);
    document.WriteHeader();
    document.WriteOpenTag(info.rootTag);
    char date[16], time[16];
    std::snprintf(date, sizeof date, "%04d%02d%02d", m_created.date.year, m_created.date.month,
                  m_created.date.day);
    std::snprintf(time, sizeof time, "%02d:%02d:%02d", m_created.time.hour, m_created.time.minute,
                  m_created.time.second);
    document.WriteTag("<id>", Escaped(m_reportId));
    document.WriteTag("<create_date>", date);
    document.WriteTag("<create_time>", time);
    document.WriteTag("<filter_name>", Escaped(FilterCaption()));
    document.WriteTag("<report_type>", info.reportType);
    WriteReport(document);
    // The save is written in pieces: the header and the kind's tags, the body, the end.
    PiecewiseSave save(file);
    save.Write(document.TakeWritten());
    WriteBody(save);
    document.WriteCloseTag(info.rootTag);
    save.Write(document.TakeWritten());
    const IoResult result = save.Commit();
    if (!result.ok()) {
        m_context.port.tell(SaveFailure(result));
        return false;
    }
    return true;
}

std::unique_ptr<ReportBaseClass> MakeReport(ReportKind kind, ReportContext context) {
    switch (kind) {
        case ReportKind::Status:
            return std::make_unique<StatusReport>(std::move(context));
        case ReportKind::Progress:
            return std::make_unique<ProgressReport>(std::move(context));
        case ReportKind::List:
            return std::make_unique<TCListReport>(std::move(context));
        case ReportKind::Details:
            return std::make_unique<TCFullReport>(std::move(context));
    }
    return nullptr;
}

ReportHeader ReadReportHeader(const XMLParse& document) {
    ReportHeader header;
    auto text = [&document](std::string_view tag) {
        std::string value;
        document.GetTag(tag, value);
        return value;
    };
    header.id = Unescaped(text("<id>"));
    header.createDate = text("<create_date>");
    header.createTime = text("<create_time>");
    if (header.createTime.empty())
        header.createTime = "00:00:00";
    header.filterName = Unescaped(text("<filter_name>"));
    header.reportType = text("<report_type>");
    return header;
}

void ReadSeriesCaptions(const XMLParse& document, std::vector<std::string>& statuses,
                        std::vector<ReportColour>& colours) {
    for (std::string& text : ReadRepeated(document, "<report_string>")) {
        Unescape(text);
        statuses.push_back(std::move(text));
    }
    for (const std::string& colour : ReadRepeated(document, "<report_colours>"))
        colours.push_back(static_cast<ReportColour>(std::strtoul(colour.c_str(), nullptr, 10)));
}

bool LoadReportDocument(const std::filesystem::path& path, ReportKind kind, XMLParse& document,
                        ReportHeader& header) {
    if (document.OpenFastRead(path, kReportDocumentSizeMax) != 0 || document.Load() != 0)
        return false;
    header = ReadReportHeader(document);
    return header.reportType == KindInfo(kind).reportType;
}

bool HoldsTag(const XMLParse& document, std::string_view tag) {
    std::string value;
    return document.GetTag(tag, value) == 0;
}

Notice UnreadableReport(const std::filesystem::path& path) {
    return {"The report \"" + path.stem().string() + "\" can't be shown: " + path.string() +
                " is not a report document that can be read. It may have been cut short or "
                "changed by hand.\nTry using refresh (F5) to check it hasn't been changed by "
                "another user",
            "Error displaying report", Icon::Warning};
}

std::optional<ReportKind> ReadReportKind(const std::filesystem::path& path, ReportHeader* header) {
    // The header lies at the start; the rest of a large report is not read for it.
    int fd = -1;
    if (OpenRegularFile(path, fd, kReportDocumentSizeMax) != 0)
        return std::nullopt;
    std::string head;
    const int error = ReadOpenFile(fd, head, kReportHeadMax);
    ::close(fd);
    if (error)
        return std::nullopt;
    std::replace(head.begin(), head.end(), '\0', ' ');
    XMLParse document;
    document.LoadText(std::move(head));
    const ReportHeader read = ReadReportHeader(document);
    if (header)
        *header = read;
    const std::string& type = read.reportType;
    for (ReportKind kind : kAllKinds)
        if (KindInfo(kind).reportType == type)
            return kind;
    // The status summary form names no type; its per-meaning counts tell it.
    if (type.empty() && HoldsTag(document, "<tests_passed>"))
        return ReportKind::Status;
    return std::nullopt;
}

}  // namespace vantorel
