#include "desktop/pages/page_view.h"

#include <QAction>
#include <QBuffer>
#include <QDesktopServices>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPdfDocument>
#include <QPrinter>
#include <QTemporaryFile>
#include <QWebEngineHistory>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "charts/chart_painter.h"
#include "documents/external_links.h"
#include "workspace/node_pages.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr char kStylePrefix[] = "/.style/";
constexpr char kChartPrefix[] = "/.charts/";
// The pages of several items in one, to be printed: "?item=<path>&item=...", each path below
// the database percent-encoded.
constexpr char kPrintPath[] = "/.print";
constexpr char kItemScheme[] = "vantorel";
// The room the footer takes above the printer's bottom margin.
constexpr double kFooterBandMillimetres = 8;
// The engine's sheets are drawn as pictures of at most this resolution: sharp on paper, and a
// PDF of many pages stays small.
constexpr int kSheetDpi = 300;

QByteArray MimeOf(const QString& file) {
    const QString suffix = file.section('.', -1).toLower();
    if (suffix == "css")
        return "text/css";
    if (suffix == "png")
        return "image/png";
    if (suffix == "jpg" || suffix == "jpeg")
        return "image/jpeg";
    if (suffix == "svg")
        return "image/svg+xml";
    return "image/gif";
}

void Reply(QWebEngineUrlRequestJob* job, const QByteArray& type, QByteArray data) {
    auto* buffer = new QBuffer(job);
    buffer->setData(std::move(data));
    job->reply(type, buffer);
}

// A path below the page's root that stays there: no "..", no absolute part.
bool StaysInside(const fs::path& relative) {
    if (relative.empty() || relative.is_absolute())
        return false;
    for (const fs::path& part : relative)
        if (part == "..")
            return false;
    return true;
}

// Draws the sheets of pdf, laid out by the engine on paper of layout (the printer's), on
// printer, each with its footer in the band above the bottom margin when footer is set.
bool DrawSheets(const QByteArray& pdf, QPrinter& printer, const QPageLayout& layout,
                const std::optional<PrintedItems>& footer) {
    // From a file the document loads at once; from a device, in the background.
    QTemporaryFile file;
    if (pdf.isEmpty() || !file.open() || file.write(pdf) != pdf.size() || !file.flush())
        return false;
    QPdfDocument document;
    if (document.load(file.fileName()) != QPdfDocument::Error::None)
        return false;
    const int resolution = printer.resolution();
    const QRect paper = layout.fullRectPixels(resolution);
    const QMargins margins = layout.marginsPixels(resolution);
    const int band = static_cast<int>(kFooterBandMillimetres / 25.4 * resolution);
    const double scale = std::min(1.0, static_cast<double>(kSheetDpi) / resolution);
    printer.setFullPage(true);
    QPainter painter;
    if (!painter.begin(&printer))
        return false;
    const int pages = document.pageCount();
    for (int page = 0; page < pages; ++page) {
        if (page > 0 && !printer.newPage())
            return false;
        painter.drawImage(paper, document.render(page, (QSizeF(paper.size()) * scale).toSize()));
        if (!footer)
            continue;
        QFont font = painter.font();
        font.setPointSize(8);
        painter.setFont(font);
        painter.setPen(QColor(0x50, 0x50, 0x50));
        painter.drawText(QRect(margins.left(), paper.height() - margins.bottom() - band,
                               paper.width() - margins.left() - margins.right(), band),
                         Qt::AlignHCenter | Qt::AlignBottom,
                         QString::fromStdString(ItemPrintFooter(*footer, page + 1, pages)));
    }
    return painter.end();
}

// Item links are caught as they are followed and never loaded: anything that gets as far as
// a request is refused.
class ItemLinkRefusal : public QWebEngineUrlSchemeHandler {
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
    void requestStarted(QWebEngineUrlRequestJob* job) override {
        job->fail(QWebEngineUrlRequestJob::RequestDenied);
    }
};

}  // namespace

void RegisterPageScheme() {
    QWebEngineUrlScheme page(kPageScheme);
    page.setSyntax(QWebEngineUrlScheme::Syntax::Path);
    // Local: a page may show pictures its rich text takes from files.
    page.setFlags(QWebEngineUrlScheme::SecureScheme | QWebEngineUrlScheme::LocalScheme |
                  QWebEngineUrlScheme::LocalAccessAllowed);
    QWebEngineUrlScheme::registerScheme(page);
    // Links between items: never loaded, only caught when followed.
    QWebEngineUrlScheme items(kItemScheme);
    items.setSyntax(QWebEngineUrlScheme::Syntax::Path);
    QWebEngineUrlScheme::registerScheme(items);
}

LinkAction ActionForLink(const QUrl& url, LinkOrigin origin) {
    const QString scheme = url.scheme().toLower();
    // A page never moves by itself: a refresh or redirect in a value goes nowhere.
    if (origin == LinkOrigin::Page)
        return LinkAction::Refuse;
    if (scheme == kPageScheme || url.toString() == "about:blank")
        return LinkAction::Follow;
    if (origin != LinkOrigin::Clicked)
        return LinkAction::Refuse;
    if (scheme == kItemScheme)
        return LinkAction::SelectItem;
    const bool outside = scheme == "http" || scheme == "https" || scheme == "ftp" ||
                         scheme == "mailto" || scheme == "file";
    return outside ? LinkAction::OpenOutside : LinkAction::Refuse;
}

PageSchemeHandler::PageSchemeHandler(UserPort& port, std::function<bool(const QUrl&)> stillWanted,
                                     QObject* parent)
    : QWebEngineUrlSchemeHandler(parent), m_port(port), m_stillWanted(std::move(stillWanted)) {
    m_worker.setMaxThreadCount(1);
}

PageSchemeHandler::~PageSchemeHandler() {
    m_worker.clear();
    m_worker.waitForDone();
}

void PageSchemeHandler::SetSource(PageSource source) {
    m_source = std::move(source);
    m_charts.clear();
}

void PageSchemeHandler::requestStarted(QWebEngineUrlRequestJob* job) {
    const std::string path = job->requestUrl().path().toStdString();
    if (path.starts_with(kChartPrefix)) {
        ServeChart(job, path.substr(sizeof kChartPrefix - 1));
        return;
    }
    // The worker reads with copies of what the source is now: the source may change, or the
    // view go, before the answer comes.
    if (path.starts_with(kStylePrefix)) {
        const fs::path relative = path.substr(sizeof kStylePrefix - 1);
        if (!StaysInside(relative) || m_source.styleFolder.empty()) {
            job->fail(QWebEngineUrlRequestJob::UrlNotFound);
            return;
        }
        ServeOnWorker(job, [file = m_source.styleFolder / relative] {
            QFile style(QString::fromStdString(file.string()));
            if (!style.open(QIODevice::ReadOnly))
                return Served{};
            return Served{MimeOf(style.fileName()), style.readAll(), true, {}, {}};
        });
        return;
    }
    if (m_source.databaseDir.empty() || !m_source.custom || !path.starts_with('/') ||
        !StaysInside(fs::path(path.substr(1)))) {
        job->fail(QWebEngineUrlRequestJob::UrlNotFound);
        return;
    }
    if (path == kPrintPath) {
        std::vector<fs::path> items;
        for (const QString& pair : job->requestUrl().query(QUrl::FullyEncoded).split('&')) {
            const fs::path relative =
                QUrl::fromPercentEncoding(pair.section('=', 1).toLatin1()).toStdString();
            if (pair.startsWith("item=") && StaysInside(relative))
                items.push_back(m_source.databaseDir / relative);
        }
        ServeOnWorker(job, [source = m_source, items] {
            std::vector<std::string> pages;
            std::vector<ChartFile> charts;
            for (const fs::path& item : items)
                if (std::optional<NodePage> page = PageOf(source, item)) {
                    pages.push_back(std::move(page->html));
                    std::ranges::move(page->charts, std::back_inserter(charts));
                }
            return Html(PagesToPrint(pages), std::move(charts), std::nullopt);
        });
        return;
    }
    ServeOnWorker(job, [source = m_source, item = m_source.databaseDir / path.substr(1)] {
        std::optional<NodePage> page = PageOf(source, item);
        if (!page)
            return Served{};
        return Html(page->html, std::move(page->charts), std::move(page->failure));
    });
}

std::optional<NodePage> PageSchemeHandler::PageOf(const PageSource& source, const fs::path& item) {
    const NodeKind kind = NodeKindOf(source.databaseDir, item);
    if (kind == TV_NONE)
        return std::nullopt;
    const TreeNode node{item, kind, ItemLabel(item, kind)};
    return DesktopPage({source.databaseDir, node, *source.custom, source.styleFolder,
                        std::string(kPageScheme) + ":" + kStylePrefix + "images/",
                        std::string(kPageScheme) + ":" + kChartPrefix, source.addBugLink});
}

PageSchemeHandler::Served PageSchemeHandler::Html(const std::string& html,
                                                  std::vector<ChartFile> charts,
                                                  std::optional<Notice> failure) {
    return {"text/html;charset=ISO-8859-1",
            QByteArray(html.data(), static_cast<qsizetype>(html.size())), true, std::move(charts),
            std::move(failure)};
}

void PageSchemeHandler::ServeOnWorker(QWebEngineUrlRequestJob* job, std::function<Served()> make) {
    // A request the page stops wanting (the user moved on) is dropped: not made when it has
    // not started, not answered when it is done.
    auto wanted = std::make_shared<std::atomic<bool>>(true);
    connect(job, &QObject::destroyed, this, [wanted] { *wanted = false; });
    m_worker.start([this, job = QPointer(job), wanted, make = std::move(make)] {
        std::optional<Served> served;
        if (*wanted)
            served = make();
        // The handler outlives its worker's tasks (its destructor waits for them), and a
        // queued call to it is dropped if it goes first.
        QMetaObject::invokeMethod(
            this,
            [this, job, served = std::move(served)]() mutable {
                if (!served || !job)
                    return;
                if (!served->found) {
                    job->fail(QWebEngineUrlRequestJob::UrlNotFound);
                    return;
                }
                if (served->type.startsWith("text/html")) {
                    m_charts.clear();
                    for (ChartFile& chart : served->charts)
                        m_charts[chart.name + ".gif"] = std::move(chart);
                }
                const QUrl asked = job->requestUrl();
                Reply(job, served->type, std::move(served->data));
                if (served->failure && m_stillWanted(asked))
                    m_port.tell(*served->failure);
            },
            Qt::QueuedConnection);
    });
}

void PageSchemeHandler::ServeChart(QWebEngineUrlRequestJob* job, const std::string& name) {
    auto found =
        m_charts.find(QUrl::fromPercentEncoding(QByteArray::fromStdString(name)).toStdString());
    if (found == m_charts.end()) {
        job->fail(QWebEngineUrlRequestJob::UrlNotFound);
        return;
    }
    const ChartFile& chart = found->second;
    QImage image(chart.width, chart.height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    {
        QPainter painter(&image);
        PaintChart(painter, chart.chart, image.rect());
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    Reply(job, "image/png", std::move(png));
}

namespace {

LinkOrigin OriginOf(QWebEnginePage::NavigationType type) {
    switch (type) {
        case QWebEnginePage::NavigationTypeLinkClicked:
            return LinkOrigin::Clicked;
        case QWebEnginePage::NavigationTypeTyped:
        case QWebEnginePage::NavigationTypeBackForward:
        case QWebEnginePage::NavigationTypeReload:
            return LinkOrigin::Program;
        default:
            return LinkOrigin::Page;
    }
}

}  // namespace

// Without script, only a clicked link asks for a new window: its one navigation is the click's.
class PageView::LinkCatcher : public QWebEnginePage {
public:
    LinkCatcher(QWebEngineProfile* profile, PageView& view)
        : QWebEnginePage(profile, &view), m_view(view) {}

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType, bool) override {
        if (!m_caught) {
            m_caught = true;
            m_view.Follow(url, LinkOrigin::Clicked, true);
            deleteLater();
        }
        return false;
    }

private:
    PageView& m_view;
    bool m_caught = false;
};

class PageView::Page : public QWebEnginePage {
public:
    Page(QWebEngineProfile* profile, PageView& view)
        : QWebEnginePage(profile, &view), m_view(view) {}

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool mainFrame) override {
        return m_view.Follow(url, OriginOf(type), mainFrame);
    }
    // The rich text's links ask for a window of their own ("_blank"): a page that only catches
    // where the link leads, and goes.
    QWebEnginePage* createWindow(WebWindowType) override {
        return new LinkCatcher(profile(), m_view);
    }

private:
    PageView& m_view;
};

bool PageView::Follow(const QUrl& url, LinkOrigin origin, bool mainFrame) {
    switch (ActionForLink(url, origin)) {
        case LinkAction::Follow:
            return true;
        case LinkAction::SelectItem:
            if (mainFrame && !m_source.databaseDir.empty()) {
                const std::string link = url.toString(QUrl::FullyEncoded).toStdString();
                if (std::optional<fs::path> item = AddBugItem(m_source.databaseDir, link))
                    emit addBugRequested(*item);
                else if ((item = ResolveItemLink(m_source.databaseDir, link)))
                    emit itemRequested(*item);
            }
            return false;
        case LinkAction::OpenOutside: {
            const std::string target = url.toString().toStdString();
            if (const std::optional<Notice> question = OutsideLinkQuestion(target))
                if (!m_port.ask(*question))
                    return false;
            if (!QDesktopServices::openUrl(url))
                m_port.tell(LinkOpenFailure(target));
            return false;
        }
        case LinkAction::Refuse:
            break;
    }
    return false;
}

PageView::PageView(UserPort& port, QWidget* parent)
    : QWebEngineView(parent),
      m_port(port),
      m_profile(new QWebEngineProfile(this)),
      m_handler(new PageSchemeHandler(
          port,
          [this](const QUrl& url) {
              if (m_showLater)
                  return false;
              return m_requested.empty() ? url.path() == this->url().path()
                                         : url.path() == m_requested.back().path();
          },
          this)) {
    setObjectName("pageView");
    setAccessibleName("Item page");
    // A profile of its own, kept in memory: pages leave nothing on disk, and no script,
    // plugin or remote request runs in them.
    m_profile->installUrlSchemeHandler(kPageScheme, m_handler);
    // Without a handler of its own, a clicked item link is no navigation the page is asked
    // about: the engine blanks the page instead.
    m_profile->installUrlSchemeHandler(kItemScheme, new ItemLinkRefusal(this));
    QWebEngineSettings* settings = m_profile->settings();
    settings->setAttribute(QWebEngineSettings::JavascriptEnabled, false);
    settings->setAttribute(QWebEngineSettings::PluginsEnabled, false);
    settings->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
    settings->setAttribute(QWebEngineSettings::AutoLoadIconsForPage, false);
    setPage(new Page(m_profile, *this));
    m_printing.setMaxThreadCount(1);
    connect(this, &QWebEngineView::urlChanged, this, [this](const QUrl& url) {
        // Back and Forward move the tree's selection along with the page. A page loaded for
        // the tree is no Back or Forward, even when it is reported after the tree moved on.
        const auto loaded = std::ranges::find(m_loaded, url);
        if (loaded == m_loaded.end()) {
            if (url.scheme() == kPageScheme && !m_source.databaseDir.empty()) {
                const std::string path = url.path().toStdString();
                if (path.size() > 1 && path != kPrintPath && StaysInside(fs::path(path.substr(1))))
                    emit itemRequested(m_source.databaseDir / path.substr(1));
            }
            return;
        }
        m_loaded.erase(loaded);
        if (const auto asked = std::ranges::find(m_requested, url); asked != m_requested.end()) {
            m_requested.erase(m_requested.begin(), asked + 1);
            if (m_requested.empty())
                m_askedAgain.clear();
        } else if (m_requested.empty() && url != m_wanted && m_wanted.isValid())
            // Reported after the tree's own page came: that page comes back.
            LoadForTree(m_wanted, true);
    });
    connect(this, &QWebEngineView::printFinished, this, [this] {
        m_printer.reset();
        // After the items' pages, the page that was shown comes back.
        if (std::exchange(m_printingPages, false) && m_shownBeforePrint.isValid()) {
            LoadForTree(m_shownBeforePrint, true);
        }
    });
    connect(this, &QWebEngineView::loadFinished, this, [this](bool loaded) {
        if (!m_printingPages && !m_requested.empty()) {
            const QUrl wanted = m_requested.back();
            // An earlier page whose answer was already on its way when the tree moved on can
            // end the later load in the engine as it comes in: the tree's page is asked for
            // again, once, or the pane would stay on the earlier item.
            if (url() != wanted && m_askedAgain != wanted) {
                m_askedAgain = wanted;
                LoadForTree(wanted, false);
                return;
            }
            // Settled, shown or given up: the tree asking for the page again loads it anew.
            m_requested.clear();
            m_askedAgain.clear();
            if (std::exchange(m_reloadWhenLoaded, false) && url() == wanted) {
                triggerPageAction(QWebEnginePage::ReloadAndBypassCache);
                return;
            }
        }
        if (!m_printingPages || m_printerBusy)
            return;
        // The pages are printed once they are in; the user moving on meanwhile prints nothing.
        if (loaded && url().path() == kPrintPath) {
            m_printerBusy = true;
            PrintShown();
        } else {
            m_printingPages = false;
            m_printer.reset();
        }
    });

    // Zoom as in a browser, while the page has the focus: larger, smaller, back to 100 %.
    struct Zoom {
        QKeySequence keys;
        double factor;  // 0 for 100 %
    };
    for (const Zoom& zoom : {Zoom{QKeySequence::ZoomIn, 1.25}, Zoom{QKeySequence("Ctrl+="), 1.25},
                             Zoom{QKeySequence::ZoomOut, 0.8}, Zoom{QKeySequence("Ctrl+0"), 0}}) {
        auto* action = new QAction(this);
        action->setShortcut(zoom.keys);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        connect(action, &QAction::triggered, this, [this, factor = zoom.factor] {
            setZoomFactor(factor == 0 ? 1.0 : std::clamp(zoomFactor() * factor, 0.25, 5.0));
        });
        addAction(action);
    }
}

PageView::~PageView() {
    // The sheets being drawn are drawn on the view's printer.
    m_printing.waitForDone();
    // Deleting the profile runs the engine's pending tasks, which may still ask for a page:
    // with the handler gone first, such a request fails instead of being served.
    m_profile->removeAllUrlSchemeHandlers();
    // The page goes before the profile it was made with.
    delete page();
}

void PageView::SetSource(PageSource source) {
    m_source = source;
    m_handler->SetSource(std::move(source));
}

QUrl PageView::UrlOf(const fs::path& path) const {
    QUrl url;
    url.setScheme(kPageScheme);
    url.setPath("/" + QString::fromStdString(
                          path.lexically_relative(m_source.databaseDir).generic_string()));
    return url;
}

void PageView::Show(const TreeNode& node) {
    m_showLater = false;
    const QUrl url = UrlOf(node.path);
    if (url == ComingOrShown())
        return;
    // Another page is made anew anyway: a reload asked for the one before it is not due.
    m_reloadWhenLoaded = false;
    m_wanted = url;
    LoadForTree(url, true);
}

void PageView::LoadForTree(const QUrl& url, bool asked) {
    if (asked)
        m_requested.push_back(url);
    // Loads of the page shown, which the view never reports, leave their note here; a few
    // dozen are enough for the reports that may still come.
    m_loaded.push_back(url);
    if (m_loaded.size() > 32)
        m_loaded.pop_front();
    load(url);
}

void PageView::ShowAnew(const TreeNode& node) {
    if (UrlOf(node.path) == ComingOrShown())
        Reshow();
    else
        Show(node);
}

QUrl PageView::ComingOrShown() const {
    return m_requested.empty() ? url() : m_requested.back();
}

void PageView::Reshow() {
    // While the tree's page is still on its way, a reload would reload the page before it and
    // cancel the one wanted, and a second load of the wanted one can leave the engine with
    // neither: the page is reloaded once it is in.
    if (!m_requested.empty()) {
        m_reloadWhenLoaded = true;
        return;
    }
    if (url().scheme() == kPageScheme)
        triggerPageAction(QWebEnginePage::ReloadAndBypassCache);
}

void PageView::Clear() {
    m_requested.clear();
    m_loaded.clear();
    m_wanted.clear();
    m_askedAgain.clear();
    m_reloadWhenLoaded = false;
    setUrl(QUrl("about:blank"));
    history()->clear();
}

void PageView::PrintWith(std::unique_ptr<QPrinter> printer, std::optional<PrintedItems> footer) {
    if (m_printer)
        return;
    m_printer = std::move(printer);
    m_footer = std::move(footer);
    PrintShown();
}

void PageView::PrintShown() {
    const QPageLayout layout = m_printer->pageLayout();
    QPageLayout laidOut = layout;
    if (m_footer) {
        QMarginsF margins = layout.margins(QPageLayout::Millimeter);
        margins.setBottom(margins.bottom() + kFooterBandMillimetres);
        laidOut.setUnits(QPageLayout::Millimeter);
        laidOut.setMargins(margins);
    }
    // The engine's own printing draws its sheets with no room for anything of ours: it lays
    // them out as PDF, and the sheets are drawn here instead.
    page()->printToPdf(
        [view = QPointer(this), layout](const QByteArray& pdf) {
            if (!view)
                return;
            view->m_printing.start([view = view.data(), pdf, layout,
                                    printer = view->m_printer.get(), footer = view->m_footer] {
                const bool printed = DrawSheets(pdf, *printer, layout, footer);
                // The view waits for this thread as it goes, so it is there for the call.
                QMetaObject::invokeMethod(
                    view, [view, printed] { emit view->printFinished(printed); },
                    Qt::QueuedConnection);
            });
        },
        laidOut);
}

void PageView::PrintPages(const std::vector<TreeNode>& items, std::unique_ptr<QPrinter> printer,
                          std::optional<PrintedItems> footer) {
    if (m_printer)
        return;
    m_printer = std::move(printer);
    m_footer = std::move(footer);
    m_printingPages = true;
    m_printerBusy = false;
    m_shownBeforePrint = url();
    QStringList query;
    for (const TreeNode& item : items)
        query << "item=" +
                     QString::fromLatin1(QUrl::toPercentEncoding(QString::fromStdString(
                         item.path.lexically_relative(m_source.databaseDir).generic_string())));
    QUrl pages;
    pages.setScheme(kPageScheme);
    pages.setPath(kPrintPath);
    pages.setQuery(query.join('&'), QUrl::StrictMode);
    LoadForTree(pages, true);
}

}  // namespace vantorel
