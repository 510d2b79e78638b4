#pragma once
// ExportWeb: a project written as a static web site that any browser reads without the
// program: the project page, one folder per suite with its index page and a page per project
// test case, the reports below "Reports" with their charts, the style sheet and the pictures.
// Pages are the display style's templates filled as in the desktop view, with links that lead
// from page to page inside the site.

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "documents/history.h"
#include "platform/user_port.h"
#include "render/charts.h"

namespace vantorel {

class CustomCfg;

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
};

class ExportWeb {
public:
    // Progress texts may come from the export's page threads, one at a time.
    using ProgressText = std::function<void(const std::string&)>;
    ExportWeb(UserPort& port, const CustomCfg& custom, ChartPainter* charts,
              ProgressText progress = {});

    // Writes the site; the project page's path, or none after telling the user why. Pages
    // written before a failure stay.
    std::optional<std::filesystem::path> Run(const WebExportRequest& request);
    int PagesWritten() const { return m_pages; }

private:
    struct Site;
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
