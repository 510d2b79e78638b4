#pragma once
// The right pane's page: the selected item's page, made by the core and served to a web view
// under the "vtpage:" scheme, with the style's pictures and a report's charts. No script runs
// in it. A "vantorel://" link selects its item in the tree; web, mail and file links open in
// the desktop's own programs; nothing else is followed.

#include <QPointer>
#include <QThreadPool>
#include <QUrl>
#include <QWebEnginePage>
#include <QWebEngineUrlSchemeHandler>
#include <QWebEngineView>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>

#include "documents/custom_cfg.h"
#include "platform/user_port.h"
#include "render/report_pages.h"
#include "workspace/navigation.h"
#include "workspace/node_pages.h"

class QPrinter;
class QWebEngineProfile;

namespace vantorel {

inline constexpr char kPageScheme[] = "vtpage";

// Registers the page scheme; before the QApplication exists.
void RegisterPageScheme();

// What the pages are made from: the open database, its customisation, the display style.
struct PageSource {
    std::filesystem::path databaseDir;
    CustomSnapshot custom;
    std::filesystem::path styleFolder;
    bool addBugLink = false;  // project test case pages offer "Add Bug"
};

// What a page does with a link it is asked to follow, by who asked: the user clicking a link,
// the program (the tree, Back and Forward, a reload), or the page itself (a refresh, a redirect).
enum class LinkAction { Follow, SelectItem, OpenOutside, Refuse };
enum class LinkOrigin { Clicked, Program, Page };
LinkAction ActionForLink(const QUrl& url, LinkOrigin origin);

// Serves the pages, the style's files and a report's charts. Pages and style files are read
// on a thread of the handler's own, one request at a time, each with the source as it was when
// it was asked for; the answer goes to the page on the window's thread, or is dropped when the
// page no longer wants it.
class PageSchemeHandler : public QWebEngineUrlSchemeHandler {
    Q_OBJECT
public:
    // stillWanted: whether the view still wants a page it asked for; a page that went
    // unwanted while it was made (the user moved on, the item was deleted) tells no failure.
    PageSchemeHandler(UserPort& port, std::function<bool(const QUrl&)> stillWanted,
                      QObject* parent);
    // Waits for the page being made, if any; the ones waiting are dropped.
    ~PageSchemeHandler() override;
    void SetSource(PageSource source);
    void requestStarted(QWebEngineUrlRequestJob* job) override;

private:
    // What a request is answered with: a MIME type and the bytes, or nothing found.
    struct Served {
        QByteArray type, data;
        bool found = false;
        std::vector<ChartFile> charts;  // a page's charts, served when its pictures ask
        std::optional<Notice> failure;  // told once the page is shown
    };
    // The page of the item at path, as the worker makes it; none for no item of the database.
    static std::optional<NodePage> PageOf(const PageSource& source,
                                          const std::filesystem::path& item);
    static Served Html(const std::string& html, std::vector<ChartFile> charts,
                       std::optional<Notice> failure);
    // Makes the answer to job on the worker, then replies on the window's thread.
    void ServeOnWorker(QWebEngineUrlRequestJob* job, std::function<Served()> make);
    void ServeChart(QWebEngineUrlRequestJob* job, const std::string& name);

    UserPort& m_port;
    std::function<bool(const QUrl&)> m_stillWanted;
    PageSource m_source;
    // The charts of the report page served last, by the name its pictures ask for.
    std::map<std::string, ChartFile> m_charts;
    QThreadPool m_worker;
};

class PageView : public QWebEngineView {
    Q_OBJECT
public:
    explicit PageView(UserPort& port, QWidget* parent = nullptr);
    ~PageView() override;

    void SetSource(PageSource source);
    // Shows the page of node; nothing changes when it is already shown.
    void Show(const TreeNode& node);
    // The tree moved to an item whose page is shown later (Show comes after its list's first
    // rows): until then no page asked for before is wanted, and one that can't be read, its
    // item maybe just deleted in this window, is not told.
    void ShowLater() { m_showLater = true; }
    // Shows the node's page again, made anew (its document or the style changed).
    void Reshow();
    // Shows node's page made anew: the page shown or on its way is reshown, another loaded.
    void ShowAnew(const TreeNode& node);
    // A blank pane, with no history (the database closed).
    void Clear();
    // The page's URL for the item at path.
    QUrl UrlOf(const std::filesystem::path& path) const;
    // Prints the page; the printer stays alive until the page is printed (printFinished).
    // With footer, each sheet carries ItemPrintFooter's line at its foot.
    void PrintWith(std::unique_ptr<QPrinter> printer,
                   std::optional<PrintedItems> footer = std::nullopt);
    // Prints the pages of items one after the other, each on sheets of its own, then shows
    // again the page that was shown.
    void PrintPages(const std::vector<TreeNode>& items, std::unique_ptr<QPrinter> printer,
                    std::optional<PrintedItems> footer = std::nullopt);

signals:
    // A "vantorel://" link was clicked, or Back or Forward reached another item's page.
    void itemRequested(const std::filesystem::path& item);
    // A project test case page's "Add Bug" was clicked.
    void addBugRequested(const std::filesystem::path& item);

private:
    class Page;
    class LinkCatcher;
    UserPort& m_port;
    // Does what a link asks for (false: the page itself does not move).
    bool Follow(const QUrl& url, LinkOrigin origin, bool mainFrame);
    // Has the engine lay the page out on the printer's sheets, leaving room for the footer,
    // then draws the sheets and their footers on the printer on m_printing's thread.
    void PrintShown();
    QWebEngineProfile* m_profile;
    PageSchemeHandler* m_handler;
    PageSource m_source;
    // The pages the tree asked for whose address the view has not reported yet. The view
    // reports an address some time after the load was asked for, so a report of an earlier
    // page can come after the tree has moved on: it is no Back or Forward.
    std::deque<QUrl> m_requested;
    // Every page loaded for the tree recently, reported or not: a load asked for again (a
    // page made anew while it was on its way) can be reported after a later page, and is
    // no Back or Forward either. The last the tree asked for is the one to show.
    std::deque<QUrl> m_loaded;
    QUrl m_wanted;
    // The tree's page last asked for again after an earlier page's load ended without it.
    QUrl m_askedAgain;
    // The page on its way was asked to be made anew: it is reloaded once it is in.
    bool m_reloadWhenLoaded = false;
    // The page the tree asked for last while it is on its way, else the page shown.
    QUrl ComingOrShown() const;
    bool m_showLater = false;
    // Loads url for the tree, noting it as loaded and (asked) as asked for.
    void LoadForTree(const QUrl& url, bool asked);
    std::unique_ptr<QPrinter> m_printer;
    std::optional<PrintedItems> m_footer;
    QThreadPool m_printing;
    // While several items' pages are loaded and printed: the page to show again after.
    bool m_printingPages = false;
    bool m_printerBusy = false;
    QUrl m_shownBeforePrint;
};

}  // namespace vantorel
