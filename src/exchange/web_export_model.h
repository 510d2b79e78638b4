#pragma once
// The export dialog without its window: the display styles it offers and the one it starts
// on, the destination typed or chosen, the export itself (run by the dialog on a worker
// thread, its latest progress text kept for the window to show), the success question, and
// what the user is told when the browser can't show the exported project.

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/export_web.h"

namespace vantorel {

class WebExportModel {
public:
    static constexpr std::string_view kTitle = "Export Project to Web";
    // The destination chooser's caption.
    static constexpr std::string_view kChooserCaption = "Export folder select";
    // What the progress line says before an export starts, and after one that was cancelled
    // or wrote nothing (refused, declined, failed); after a good one it names the page.
    static constexpr std::string_view kReadyText = "Choose a display style and a destination";
    static constexpr std::string_view kCancelledText =
        "Export cancelled: the earlier export, if any, is as it was";
    static constexpr std::string_view kNotExportedText = "The project was not exported";

    struct Setup {
        std::filesystem::path projectFolder;  // the database's "Projects/<project>"
        std::filesystem::path stylesRoot;     // "Templates" beside the program
        std::string preferredStyle;           // the window's display style
        // Where a destination that is no absolute path is taken from (the user's documents).
        std::filesystem::path home;
    };

    WebExportModel(UserPort& port, const CustomCfg& custom, ChartPainter* charts, Setup setup);

    std::string ProjectName() const { return m_setup.projectFolder.filename().string(); }
    // The styles found below the styles folder; reading it is one short listing.
    const std::vector<std::string>& Styles() const { return m_styles; }
    // The window's style when it is one of them, else "default", else the first.
    std::size_t StartingStyle() const;
    // The destination the dialog starts with: the user's documents folder.
    std::string StartingDestination() const { return m_setup.home.string(); }

    // The dialog's Export, on the window's thread: takes the choices and refuses an empty
    // destination ("You must enter the export destination."). False after telling the user.
    bool Prepare(const std::string& style, const std::string& destination);
    // Where the project's folder will be made, once prepared: a leading "~" is the home
    // folder, a relative path lies below the documents folder.
    const std::filesystem::path& Destination() const { return m_destination; }
    // On the worker: writes the site (asking before replacing an earlier one) and tells the
    // user what went wrong or that it was cancelled; a project renamed or removed since the
    // dialog opened is refused. The project page, or none.
    std::optional<std::filesystem::path> Export(std::stop_token stop, const CalendarDate& date);
    // The latest progress text; safe from any thread while Export runs.
    std::string ProgressText() const;
    // Called with each new progress text, on the export's threads: the window wakes to show it.
    void OnProgress(std::function<void()> changed) { m_changed = std::move(changed); }

    // After a successful export, on the window's thread: "Export successful! Do you wish to
    // view the project now?"; true when the project page should be opened.
    bool AskToView();

private:
    void SetProgressText(const std::string& text);

    UserPort& m_port;
    const CustomCfg& m_custom;
    ChartPainter* m_charts;
    Setup m_setup;
    std::vector<std::string> m_styles;
    std::string m_style;
    std::filesystem::path m_destination;
    mutable std::mutex m_textMutex;
    std::string m_text;
    std::function<void()> m_changed;
};

// What the user is told when the browser could not be started on page: the page or its
// folder gone, no program to open web pages with (launcherFound false), or another failure.
// Reads whether the page and its folder exist.
Notice BrowserOpenFailure(const std::filesystem::path& page, bool launcherFound);

}  // namespace vantorel
