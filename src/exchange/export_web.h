#pragma once
// ExportWeb: a project written as a static web site that any browser reads without the
// program: the project page, one folder per suite with its index page and a page per project
// test case, the reports below "Reports" with their charts, the style sheet and the pictures.
// Pages are the display style's templates filled as in the desktop view, with links that lead
// from page to page inside the site.

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "documents/history.h"
#include "platform/user_port.h"
#include "render/charts.h"

namespace vantorel {

class CustomCfg;
class Template;
struct ReportLink;

// The display styles found below stylesRoot: folders holding a style sheet, by name.
std::vector<std::string> DisplayStyles(const std::filesystem::path& stylesRoot);

struct WebExportRequest {
    std::filesystem::path projectFolder;  // the database's "Projects/<project>"
    std::filesystem::path stylesRoot;     // "Templates" beside the program
    std::string style = "default";
    std::filesystem::path destination;  // the project's folder is made in here
    // The desktop asks before writing over an earlier export; the command line, asked to
    // export there, writes over it.
    bool askBeforeOverwriting = true;
    CalendarDate exportDate;  // the footer's date
    // Asked to stop, the export ends before its next page, removes the new site and leaves
    // the earlier one as it was.
    std::stop_token stop;
};

class ExportWeb {
public:
    // Progress texts may come from the export's page threads, one at a time.
    using ProgressText = std::function<void(const std::string&)>;
    ExportWeb(UserPort& port, const CustomCfg& custom, ChartPainter* charts,
              ProgressText progress = {});

    // Writes the site; the project page's path, or none after telling the user why, with an
    // earlier site in its place as it was.
    std::optional<std::filesystem::path> Run(const WebExportRequest& request);
    int PagesWritten() const { return m_pages; }

private:
    struct Site;
    struct ProjectTree;
    class KnownCells;
    // A page that could not be written: what the user is told, and the file and the system's
    // reason, told on a line of their own.
    struct PageFailure {
        Notice notice;
        std::filesystem::path file;
        std::string reason;
    };
    // One page written as it is made, in pieces of kFlushSize bytes; a page dropped before
    // Close is removed.
    class PageWriter {
    public:
        explicit PageWriter(const std::filesystem::path& file);
        ~PageWriter();
        PageWriter(const PageWriter&) = delete;
        PageWriter& operator=(const PageWriter&) = delete;
        void Write(std::string_view text);
        // Writes what is left and closes the page: the failure to tell, if any.
        std::optional<PageFailure> Close();

    private:
        static constexpr std::size_t kFlushSize = 64 * 1024;
        void Flush();
        std::filesystem::path m_file;
        int m_fd = -1;
        int m_error = 0;  // of the first failed step
        std::string m_buffer;
    };
    // The steps of Run, in order; each false, or none, after telling the user.

    // The request names a destination and a style, and an earlier site may be replaced.
    bool CheckRequest(const WebExportRequest& request);
    // The hidden folder the new site is built in, beside where it will go.
    std::optional<std::string> MakeStagingFolder(const std::filesystem::path& destination);
    // The style sheet and the pictures; the status icons take the database's report colours.
    bool CopyStyle(const Site& site);
    // Walks "Project Test Cases", making the site's folder of each suite.
    std::optional<ProjectTree> GatherProject(const Site& site);
    // The page of every suite and project test case, written by one thread per core.
    bool WriteItemPages(const Site& site, ProjectTree& tree);
    // One folder per kind of report with its index page and a page per report; the project
    // page's part that lists them.
    std::optional<std::string> WriteReports(const Site& site);
    // The whole project on one page: its suites with their test cases, and its reports.
    bool WriteProjectPage(const Site& site, const ProjectTree& tree,
                          const std::string& reportsPart);
    // The new site takes the place of the earlier one at once.
    bool PutSiteInPlace();

    // One page of a suite or test case, filled into frame, on a page thread: what went wrong.
    // A test case's page keeps its suite list's cells in known, and a suite's page takes them.
    std::optional<PageFailure> WriteItemPage(const Site& site, ProjectTree& tree, std::size_t page,
                                             const Template& frame, KnownCells& known);
    // One kind's folder: its reports' pages, then its index; adds the kind to projectPart.
    bool WriteReportKind(const Site& site, const std::string& kind, std::string& projectPart);
    // The page of a report document with its charts: the index's entry for it, or none when
    // the report can't be read or its page failed.
    std::optional<ReportLink> WriteReportPage(const Site& site, const std::string& kind,
                                              const std::filesystem::path& document);

    // Keeps the first failure of a page and makes every page loop stop: safe on any thread.
    void Fail(PageFailure failure);
    // Asked before each page, by every page thread and by the loop over reports.
    bool Stopping() const { return m_stopping || m_stop.stop_requested(); }
    // Tells the failure a page loop stopped at, or that the export was cancelled; false when
    // there was neither.
    bool TellFailure();
    void TellFolderFailure();
    // Writes a page; false after telling the user.
    bool WritePage(const std::filesystem::path& file, const std::string& html);
    // The same for the page threads: the failure, told later by the calling thread.
    static std::optional<PageFailure> WritePageFile(const std::filesystem::path& file,
                                                    const std::string& html);
    void Tell(const PageFailure& failure);
    // Tells the file and the system's text for error, after a failure was told.
    void TellReason(const std::filesystem::path& file, const std::string& reason);
    void Progress(const std::string& text);

    UserPort& m_port;
    const CustomCfg& m_custom;
    ChartPainter* m_charts;
    ProgressText m_progress;
    // The folder the new site is built in, and where it goes when whole.
    std::filesystem::path m_building;
    std::filesystem::path m_site;
    std::atomic<int> m_pages{0};
    std::mutex m_reporting;  // progress texts and failures from the page threads
    std::atomic<bool> m_stopping{false};
    std::optional<PageFailure> m_failure;
    std::stop_token m_stop;
};

// "Export successful! Do you wish to view the project now?": true when the user wants the
// project page opened.
bool AskToViewExport(UserPort& port);

// Rewrites links of a page that point into the database ("vantorel://<project>/..." and
// "Projects/<project>/...") into relative links between the exported pages. toRoot leads from
// the page's folder to the site's root; a link to anything not exported becomes "#".
std::string RewriteInternalLinks(const std::string& html,
                                 const std::filesystem::path& projectFolder,
                                 const std::string& toRoot);

}  // namespace vantorel
