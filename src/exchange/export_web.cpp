#include "exchange/export_web.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "documents/custom_cfg.h"
#include "documents/test_group.h"
#include "platform/debug_log.h"
#include "render/item_pages.h"
#include "render/report_pages.h"
#include "render/style_images.h"
#include "reports/report_base.h"
#include "storage/atomic_save.h"
#include "storage/file_layer.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr char kHeading[] = "ExportWeb";
// Stands in a rendered frame where a page's long part goes, written apart as it is made; no
// document's text holds a NUL.
constexpr std::string_view kBodyMark("\0VT_BODY\0", 9);
constexpr std::string_view kHomePage = "https://vantorel.example/";
constexpr const char* kMonths[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};

std::string UpLevels(std::size_t depth) {
    std::string up;
    for (std::size_t level = 0; level < depth; ++level)
        up += "../";
    return up;
}

// The documents and the sub-folders of one listed folder, each by name ignoring case. Hidden
// names (unfinished saves and copies among them) and links are left out, so the export never
// publishes what lies outside the project.
struct FolderContents {
    std::vector<std::string> documents;
    std::vector<std::string> folders;
};

FolderContents SortedContents(std::vector<FolderEntry>& entries) {
    ItemListing items;
    SortEntries(entries, items);
    FolderContents contents;
    contents.folders = std::move(items.folders);
    // What is no regular file can't be read, so it has no page.
    for (FolderEntry& document : items.documents)
        if (document.kind == FolderEntry::Kind::File)
            contents.documents.push_back(std::move(document.name));
    for (std::vector<std::string>* list : {&contents.documents, &contents.folders})
        std::ranges::sort(*list, [](const std::string& a, const std::string& b) {
            return strcasecmp(a.c_str(), b.c_str()) < 0;
        });
    return contents;
}

FolderContents SortedContents(const fs::path& folder) {
    std::vector<FolderEntry> entries;
    ListFolder(folder, entries);
    return SortedContents(entries);
}

// Makes folder (below root, which must exist) one level at a time. Each level must then be a
// real folder before the next is made in it: a link planted in an earlier export would lead
// the pages out of it.
bool MakeExportFolder(const fs::path& root, const fs::path& relative) {
    fs::path at = root;
    for (const fs::path& part : relative) {
        at /= part;
        if (::mkdir(at.c_str(), 0777) != 0 && errno != EEXIST)
            return false;
        struct stat info {};
        if (::lstat(at.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            return false;
    }
    return true;
}

// The folder a new site is built in, beside the place it will take. Removed with whatever it
// holds unless it was put in place.
struct StagingFolder {
    explicit StagingFolder(fs::path folder) : path(std::move(folder)) {}
    ~StagingFolder() {
        std::error_code error;
        fs::remove_all(path, error);
    }
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    fs::path path;
};

// Puts the new site in building in place of target at once: an earlier site is swapped into
// building, to be removed with it. 0, or the system's error number, with target as it was.
int PutInPlaceOf(const fs::path& building, const fs::path& target) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (::renameat2(AT_FDCWD, building.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0)
            return 0;
        if (errno == ENOENT && ::renameat2(AT_FDCWD, building.c_str(), AT_FDCWD, target.c_str(),
                                           RENAME_NOREPLACE) == 0)
            return 0;  // nothing stood at target
        if (errno == EINVAL) {
            // A file system that can't swap: the earlier site goes first.
            std::error_code error;
            fs::remove_all(target, error);
            if (::rename(building.c_str(), target.c_str()) == 0)
                return 0;
        }
        // Another export put its site in place at this very moment: swap again.
        if (errno != EEXIST && errno != ENOENT && errno != ENOTEMPTY)
            return errno;
    }
    return errno;
}

// One level of the breadcrumbs: its name and its page, relative to the site's root.
struct Crumb {
    std::string name;
    std::string page;
};

std::string Breadcrumbs(const std::vector<Crumb>& crumbs, const std::string& toRoot) {
    std::vector<BreadcrumbLink> levels;
    for (const Crumb& crumb : crumbs)
        levels.push_back({NameHtml(crumb.name), toRoot + UrlPath(crumb.page)});
    return BreadcrumbBar(levels, toRoot + "images/");
}

std::string Footer(const CalendarDate& date) {
    char when[64];
    std::snprintf(when, sizeof when, "%d %s %04d", date.day,
                  date.month >= 1 && date.month <= 12 ? kMonths[date.month - 1] : "", date.year);
    return "<br><table class=footer>\n<tr class=footer><td class=footer><p class=footer>Exported "
           "from <a href=\"" +
           std::string(kHomePage) + "\">Vantorel</a> on " + when +
           "</p></td></tr>\n</table>\n</body>\n</html>";
}

// The footer takes the place of the template's closing tags.
std::string WithFooter(std::string html, const std::string& footer) {
    const std::size_t body = html.rfind("</body>");
    if (body == std::string::npos)
        return html + footer;
    html.replace(body, std::string::npos, footer);
    return html;
}

// An anchor name for a suite of the project page: its path with only letters and digits kept.
std::string AnchorOf(std::string anchor) {
    for (char& c : anchor)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '-';
    return anchor;
}

// The last level of a "/" separated path.
std::string_view LastPart(std::string_view relative) {
    return relative.substr(relative.rfind('/') + 1);
}

// The crumb of a report kind's index page.
Crumb KindCrumb(const std::string& kind) {
    return {kind, (fs::path("Reports") / kind / (kind + "_index.html")).generic_string()};
}

// A report's charts, as pictures beside its page in folder; one that can't be drawn leaves
// the page without it.
void DrawCharts(ChartPainter* charts, const ReportPage& report, const fs::path& folder) {
    if (!charts)
        return;
    for (const ChartFile& chart : report.charts) {
        const IoResult result = charts->WriteGif(chart.chart, folder / (chart.name + ".gif"),
                                                 chart.width, chart.height);
        if (!result.ok())
            DebugLog::Write(kHeading, "chart %s not drawn: %s\n", chart.name.c_str(),
                            result.message.c_str());
    }
}

}  // namespace

std::vector<std::string> DisplayStyles(const fs::path& stylesRoot) {
    std::vector<std::string> styles;
    for (const std::string& name : SortedContents(stylesRoot).folders) {
        std::error_code error;
        if (fs::exists(stylesRoot / name / kStyleSheetName, error))
            styles.push_back(name);
    }
    return styles;
}

std::string RewriteInternalLinks(const std::string& html, const fs::path& projectFolder,
                                 const std::string& toRoot) {
    const std::string project = projectFolder.filename().string();
    std::string out;
    std::size_t at = 0;
    for (;;) {
        std::size_t link = std::string::npos;
        std::size_t skip = 0;
        for (std::string_view prefix : {"href=\"vantorel://", "href=\"Projects/"}) {
            const std::size_t found = html.find(prefix, at);
            if (found < link) {
                link = found;
                skip = prefix.size();
            }
        }
        if (link == std::string::npos)
            break;
        const std::size_t end = html.find('"', link + skip);
        if (end == std::string::npos)
            break;
        out.append(html, at, link - at);
        std::string target = PercentDecoded(Unescaped(html.substr(link + skip, end - link - skip)));
        std::replace(target.begin(), target.end(), '\\', '/');
        std::string href = "#";
        std::string title;  // of the test case the link leads to, when it has one
        const std::size_t slash = target.find('/');
        if (slash != std::string::npos &&
            strcasecmp(target.substr(0, slash).c_str(), project.c_str()) == 0) {
            fs::path inside = target.substr(slash + 1);
            if (inside.extension() == kItemExtension)
                inside.replace_extension();
            std::error_code error;
            const fs::path onDisk = projectFolder / inside;
            const std::string relative = inside.generic_string();
            const fs::path document = onDisk.string() + std::string(kItemExtension);
            if (relative.starts_with(kProjectTestCasesFolder)) {
                XMLParse testCase;
                if (fs::is_directory(onDisk, error)) {
                    href = toRoot +
                           UrlPath(relative + "/" + onDisk.filename().string() + "_index.html");
                } else if (testCase.OpenFastRead(document) == 0 && testCase.Load() == 0) {
                    href = toRoot + UrlPath(relative + ".html");
                    testCase.GetTag("<test_title>", title);
                }
            }
        }
        out += "href=\"" + href + "\"";
        at = end + 1;
        // A link that shows its own address reads as the identifier it leads to, and the
        // title of that test case when it has one.
        const std::size_t textBegin = html.find('>', at);
        const std::size_t textEnd =
            textBegin == std::string::npos ? textBegin : html.find("</a>", textBegin);
        if (textEnd != std::string::npos) {
            const std::string_view text(html.data() + textBegin + 1, textEnd - textBegin - 1);
            if (text.starts_with("vantorel://") || text.starts_with("Projects/")) {
                std::string identifier = fs::path(target).filename().string();
                if (identifier.ends_with(kItemExtension))
                    identifier.resize(identifier.size() - kItemExtension.size());
                out.append(html, at, textBegin + 1 - at);
                out += NameHtml(identifier) +
                       (title.empty() ? "" : " &ndash; " + PageValue(FT_TEXT, title));
                at = textEnd;
            }
        }
    }
    out.append(html, at, std::string::npos);
    return out;
}

bool AskToViewExport(UserPort& port) {
    return port.ask({"Export successful! Do you wish to view the project now?", "Export Success",
                     Icon::Question});
}

ExportWeb::ExportWeb(UserPort& port, const CustomCfg& custom, ChartPainter* charts,
                     ProgressText progress)
    : m_port(port), m_custom(custom), m_charts(charts), m_progress(std::move(progress)) {}

void ExportWeb::Progress(const std::string& text) {
    DebugLog::Write(kHeading, "%s\n", text.c_str());
    if (m_progress)
        m_progress(text);
}

ExportWeb::PageWriter::PageWriter(const fs::path& file) : m_file(file) {
    // Pages are made in a new, empty folder: no page of an earlier export stands there, so
    // none is truncated (a truncated file is flushed at once when it is closed). A page is
    // never opened through a link that stands in its place.
    m_fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (m_fd < 0)
        m_error = errno;
}

ExportWeb::PageWriter::~PageWriter() {
    // A page that was begun and not finished is no page.
    if (m_fd >= 0) {
        ::close(m_fd);
        ::unlink(m_file.c_str());
    }
}

void ExportWeb::PageWriter::Write(std::string_view text) {
    m_buffer += text;
    if (m_buffer.size() >= kFlushSize)
        Flush();
}

void ExportWeb::PageWriter::Flush() {
    if (m_fd >= 0 && m_error == 0)
        m_error = SystemFiles().WriteAll(m_fd, m_buffer);
    m_buffer.clear();
}

std::optional<ExportWeb::PageFailure> ExportWeb::PageWriter::Close() {
    if (m_fd < 0)
        return PageFailure{{"Web Export Error: Unable to create file!", "Error", Icon::Error},
                           m_file,
                           std::strerror(m_error)};
    Flush();
    if (::close(m_fd) != 0 && m_error == 0)
        m_error = errno;
    m_fd = -1;
    if (m_error != 0)
        return PageFailure{{"Web Export Error: Error writing to file!", "Error", Icon::Error},
                           m_file,
                           std::strerror(m_error)};
    return std::nullopt;
}

std::optional<ExportWeb::PageFailure> ExportWeb::WritePageFile(const fs::path& file,
                                                               const std::string& html) {
    PageWriter writer(file);
    writer.Write(html);
    return writer.Close();
}

void ExportWeb::TellReason(const fs::path& file, const std::string& reason) {
    m_port.tell({file.string() + ": " + reason, "Error", Icon::Error});
}

void ExportWeb::Tell(const PageFailure& failure) {
    m_port.tell(failure.notice);
    // A page is named where the user will look for it, not in the folder it was built in.
    const fs::path inside = failure.file.lexically_relative(m_building);
    const bool built = !m_building.empty() && !inside.empty() && *inside.begin() != "..";
    TellReason(built ? m_site / inside : failure.file, failure.reason);
}

bool ExportWeb::WritePage(const fs::path& file, const std::string& html) {
    if (std::optional<PageFailure> failure = WritePageFile(file, html)) {
        Tell(*failure);
        return false;
    }
    ++m_pages;
    return true;
}

// Everything one export shares while it writes its pages.
struct ExportWeb::Site {
    const WebExportRequest& request;
    fs::path style;
    fs::path root;  // the project's folder in the destination
    std::string project;
    std::string footer;
    Crumb projectCrumb;

    // The breadcrumbs of a suite's page, from the page's folder below the site's root: the
    // project, then each suite down to this one.
    std::vector<Crumb> Trail(const fs::path& relative) const {
        std::vector<Crumb> crumbs{projectCrumb};
        fs::path at;
        for (const fs::path& part : relative) {
            at /= part;
            const std::string name = part.string();
            crumbs.push_back({name, (at / (name + "_index.html")).generic_string()});
        }
        return crumbs;
    }

    PageSettings Settings(std::size_t depth, std::vector<Crumb> crumbs) const {
        PageSettings settings;
        settings.styleFolder = style;
        settings.exported = true;
        settings.inlineStyle = false;
        settings.styleHref = UpLevels(depth);
        settings.imagePath = UpLevels(depth) + "images/";
        settings.breadcrumbs = Breadcrumbs(crumbs, UpLevels(depth));
        return settings;
    }
    // Each template is read once per export.
    const Template& Load(std::string_view name) const {
        auto [entry, added] = templates.try_emplace(std::string(name));
        if (added)
            entry->second.Load(style / name);
        return entry->second;
    }
    mutable std::map<std::string, Template> templates = {};
    std::string Finish(const std::string& html, std::size_t depth) const {
        return WithFooter(Linked(html, depth), footer);
    }
    // A page, or a part of one holding whole elements, with its links into the database
    // made relative.
    std::string Linked(const std::string& html, std::size_t depth) const {
        return RewriteInternalLinks(html, request.projectFolder, UpLevels(depth));
    }
};

// The suites below "Project Test Cases" in the order of the walk, and the pages in the same
// order: each suite's page, then its test cases' pages, then its sub-suites. A page keeps
// only its name and its suite, so an export of a large project holds little per test case;
// its breadcrumbs follow from its suite when it is written. Paths are kept as plain text: a
// path object keeps every level of itself apart, which costs a deep tree far more than its
// characters.
struct ExportWeb::ProjectTree {
    struct Suite {
        std::string relative;  // the suite's folder below the site's root, "/" separated
        std::vector<std::size_t> children;
    };
    struct Page {
        std::string name;
        std::uint32_t suite = 0;  // its place in suites
        bool isSuite = false;
        std::string status;  // a test case's, kept for the project page
    };

    // Adds the suite in folder, its test cases and everything below it, making each folder
    // below root; false when one can't be made.
    bool Add(const std::string& folder, const std::string& relative, const fs::path& root,
             WalkTrail& trail) {
        std::vector<FolderEntry> entries;
        if (trail.Enter(folder, entries) != WalkTrail::Outcome::Entered)
            return true;
        if (!MakeExportFolder(root, relative)) {
            trail.Leave();
            return false;
        }
        const auto place = static_cast<std::uint32_t>(suites.size());
        suites.push_back({relative, {}});
        pages.push_back({fs::path(folder).filename().string(), place, true, {}});
        const FolderContents contents = SortedContents(entries);
        entries = {};
        for (const std::string& document : contents.documents)
            pages.push_back(
                {document.substr(0, document.size() - kItemExtension.size()), place, false, {}});
        for (const std::string& sub : contents.folders) {
            const std::size_t child = suites.size();
            if (!Add(folder + "/" + sub, relative + "/" + sub, root, trail)) {
                trail.Leave();
                return false;
            }
            if (suites.size() > child)
                suites[place].children.push_back(child);
        }
        trail.Leave();
        return true;
    }

    // The project page's table of every suite with its title.
    void WriteSuiteTable(PageWriter& writer, const fs::path& projectFolder) const {
        writer.Write("<h2><a name=\"proj_suites\"></a>Test Suites</h2>\n<p><table class=List>\n");
        // "Project Test Cases" holds the suites; it is no suite of its own.
        for (std::size_t place = 1; place < suites.size(); ++place) {
            const Suite& suite = suites[place];
            XMLParse description;
            std::string title;
            if (description.OpenFastRead(GroupDocumentPath(projectFolder / suite.relative)) == 0 &&
                description.Load() == 0)
                description.GetTag("<suite_title>", title);
            writer.Write("<tr class=List><td class=List><a href=\"#" + AnchorOf(suite.relative) +
                         "\">" + NameHtml(LastPart(suite.relative)) + "</a></td>\n<td class=List>" +
                         (title.empty() ? "&nbsp;" : PageValue(FT_TEXT, title)) + "</td></tr>\n");
        }
        writer.Write("</table>\n");
    }

    // The project page's part of each suite: its sub-suites and its test cases with their
    // statuses.
    void WriteSuiteParts(PageWriter& writer) const {
        std::size_t at = 0;
        while (at < pages.size()) {
            const std::uint32_t place = pages[at++].suite;
            const Suite& suite = suites[place];
            const std::size_t firstCase = at;
            while (at < pages.size() && !pages[at].isSuite)
                ++at;
            // "Project Test Cases" gets a part only for test cases of its own: its suites are
            // listed above. Empty tables are left out.
            if (place == 0 && at == firstCase)
                continue;
            writer.Write("<a name=\"" + AnchorOf(suite.relative) + "\"></a><h2>" +
                         NameHtml(LastPart(suite.relative)) + "</h2>\n");
            if (place != 0 && !suite.children.empty()) {
                writer.Write("<br><p><b>Test Suites</b></p><table class=List>");
                for (std::size_t child : suite.children)
                    writer.Write("<tr class=List><td class=List><a href=\"#" +
                                 AnchorOf(suites[child].relative) + "\">" +
                                 NameHtml(LastPart(suites[child].relative)) + "</a></td></tr>\n");
                // The sub-suite table has always been closed without its angle bracket.
                writer.Write("</table\n");
            }
            if (at > firstCase)
                writer.Write("<br><p><b>Test Cases</b></p><table class=List>");
            for (std::size_t page = firstCase; page < at; ++page) {
                const Page& testCase = pages[page];
                writer.Write("<tr class=List><td class=List><a href=\"" +
                             UrlPath(suite.relative + "/" + testCase.name + ".html") + "\">" +
                             NameHtml(testCase.name) + "</a></td><td class=List>" +
                             (testCase.status.empty() ? "&nbsp;"
                                                      : PageValue(FT_LIST_TEXT, testCase.status)) +
                             "</td></tr>\n");
            }
            writer.Write(at > firstCase ? "</table>\n<hr>\n" : "<hr>\n");
        }
    }

    std::vector<Suite> suites;
    std::vector<Page> pages;
};

std::optional<fs::path> ExportWeb::Run(const WebExportRequest& request) {
    m_pages = 0;
    m_stopping = false;
    m_stop = request.stop;
    m_failure.reset();
    m_building.clear();
    const std::string project = request.projectFolder.filename().string();
    // The new site is built beside the old one and put in its place only when it is whole, so
    // an export that fails half-way leaves the earlier site as it was.
    m_site = request.destination / project;
    if (!CheckRequest(request))
        return std::nullopt;
    const std::optional<std::string> building = MakeStagingFolder(request.destination);
    if (!building)
        return std::nullopt;
    const StagingFolder staging(*building);
    m_building = staging.path;
    const Site site{.request = request,
                    .style = request.stylesRoot / request.style,
                    .root = m_building,
                    .project = project,
                    .footer = Footer(request.exportDate),
                    .projectCrumb = {project, project + ".html"}};

    if (!CopyStyle(site))
        return std::nullopt;
    std::optional<ProjectTree> tree = GatherProject(site);
    if (!tree || !WriteItemPages(site, *tree))
        return std::nullopt;
    const std::optional<std::string> reports = WriteReports(site);
    if (!reports || !WriteProjectPage(site, *tree, *reports) || TellFailure() || !PutSiteInPlace())
        return std::nullopt;
    DebugLog::Write(kHeading, "exported %d pages to %s\n", m_pages.load(), m_site.c_str());
    return m_site / (project + ".html");
}

bool ExportWeb::CheckRequest(const WebExportRequest& request) {
    if (request.destination.empty()) {
        m_port.tell({"You must enter the export destination.", "Error", Icon::Error});
        return false;
    }
    std::error_code error;
    if (!fs::exists(request.stylesRoot / request.style / kStyleSheetName, error)) {
        m_port.tell({"The display style \"" + request.style + "\" was not found in " +
                         request.stylesRoot.string(),
                     "Error", Icon::Error});
        return false;
    }
    return !fs::exists(fs::symlink_status(m_site, error)) || !request.askBeforeOverwriting ||
           m_port.ask({"Directory " + m_site.string() + " already exists, overwrite contents?",
                       "Overwrite Contents", Icon::Question});
}

std::optional<std::string> ExportWeb::MakeStagingFolder(const fs::path& destination) {
    // Another export may make the same folder at the same moment: only a failure to have it
    // counts.
    std::error_code made, error;
    fs::create_directories(destination, made);
    std::string name = (destination / (std::string(kSaveTempPrefix) + "export-XXXXXX")).string();
    int reason = 0;
    if (!fs::is_directory(destination, error))
        reason = made ? made.value() : error ? error.value() : ENOTDIR;
    else if (::mkdtemp(name.data()) == nullptr)
        reason = errno;
    if (reason) {
        m_port.tell({"Unable to create main directory for export: " + m_site.string(), "Error",
                     Icon::Error});
        TellReason(destination, std::strerror(reason));
        return std::nullopt;
    }
    ::chmod(name.c_str(), 0755);
    return name;
}

bool ExportWeb::CopyStyle(const Site& site) {
    if (std::optional<PageFailure> failure =
            WritePageFile(site.root / kStyleSheetName, StyleSheetText(site.style, "images/"))) {
        Tell(*failure);
        return false;
    }
    const fs::path images = site.root / "images";
    if (!MakeExportFolder(site.root, "images")) {
        TellFolderFailure();
        return false;
    }
    // Pictures the user chose to keep are taken from the earlier site.
    std::error_code error;
    const bool keepImages = fs::is_directory(m_site / "images", error) &&
                            site.request.askBeforeOverwriting &&
                            !m_port.ask({"Images folder already exists, overwrite contents?",
                                         "Overwrite existing folder", Icon::Question});
    const fs::path pictureSource = keepImages ? m_site / "images" : site.style / "images";
    std::vector<FolderEntry> pictures;
    if (ListFolder(pictureSource, pictures) == 0)
        for (const FolderEntry& picture : pictures)
            if (picture.kind == FolderEntry::Kind::File)
                fs::copy_file(pictureSource / picture.name, images / picture.name, error);
    if (!keepImages) {
        std::array<std::uint32_t, 5> colours{};
        for (int meaning = 0; meaning < kMeaningCount; ++meaning)
            colours[static_cast<std::size_t>(meaning)] =
                RgbOf(m_custom.ReportColourOf(static_cast<std::size_t>(MeaningSlot(meaning))));
        if (const IoResult result = WriteStatusImages(images, colours); !result.ok())
            DebugLog::Write(kHeading, "status icons not written: %s\n", result.message.c_str());
    }
    return true;
}

std::optional<ExportWeb::ProjectTree> ExportWeb::GatherProject(const Site& site) {
    Progress("Export progress - Gathering test case information");
    ProjectTree tree;
    const fs::path cases = site.request.projectFolder / kProjectTestCasesFolder;
    std::error_code error;
    WalkTrail trail;
    if (fs::is_directory(cases, error) &&
        !tree.Add(cases.string(), std::string(kProjectTestCasesFolder), site.root, trail)) {
        TellFolderFailure();
        return std::nullopt;
    }
    return tree;
}

// The cells of each suite's list, kept as the pages of its test cases are made, until the
// suite's page, made after them, has taken them: only the suites being made hold any.
class ExportWeb::KnownCells {
public:
    explicit KnownCells(std::size_t suites) : m_bySuite(suites) {}

    void Keep(std::uint32_t suite, const std::string& name, SuiteCells cells) {
        std::lock_guard lock(m_mutex);
        m_bySuite[suite].insert_or_assign(name, std::move(cells));
    }
    std::optional<SuiteCells> Take(std::uint32_t suite, const std::string& name) {
        std::lock_guard lock(m_mutex);
        auto& kept = m_bySuite[suite];
        const auto found = kept.find(name);
        if (found == kept.end())
            return std::nullopt;
        SuiteCells cells = std::move(found->second);
        kept.erase(found);
        return cells;
    }
    // The suite's page is made: what it did not show (past its list's limit) goes.
    void Forget(std::uint32_t suite) {
        std::lock_guard lock(m_mutex);
        std::unordered_map<std::string, SuiteCells>().swap(m_bySuite[suite]);
    }

private:
    std::mutex m_mutex;
    std::vector<std::unordered_map<std::string, SuiteCells>> m_bySuite;
};

bool ExportWeb::WriteItemPages(const Site& site, ProjectTree& tree) {
    // The templates are read before the threads start; the threads only fill them.
    const Template& suitePage = site.Load(kPrjTestSuiteTemplate);
    const Template& casePage = site.Load(kPrjTestCaseTemplate);
    // Each suite's page is made after its test cases' pages, whose cells its list shows.
    std::vector<std::size_t> order;
    order.reserve(tree.pages.size());
    for (std::size_t at = 0; at < tree.pages.size();) {
        const std::size_t suite = at++;
        while (at < tree.pages.size() && !tree.pages[at].isSuite)
            order.push_back(at++);
        order.push_back(suite);
    }
    KnownCells known(tree.suites.size());
    std::atomic<std::size_t> next{0};
    auto work = [&] {
        for (std::size_t turn = next++; turn < order.size() && !Stopping(); turn = next++) {
            const std::size_t page = order[turn];
            const Template& frame = tree.pages[page].isSuite ? suitePage : casePage;
            if (std::optional<PageFailure> failure = WriteItemPage(site, tree, page, frame, known))
                Fail(std::move(*failure));
            else
                ++m_pages;
        }
    };
    {
        const unsigned threads = std::max(1u, std::min(4u, std::thread::hardware_concurrency()));
        std::vector<std::jthread> workers;
        for (unsigned thread = 1; thread < threads; ++thread)
            workers.emplace_back(work);
        work();
    }
    return !TellFailure();
}

std::optional<ExportWeb::PageFailure> ExportWeb::WriteItemPage(const Site& site, ProjectTree& tree,
                                                               std::size_t page,
                                                               const Template& frame,
                                                               KnownCells& known) {
    ProjectTree::Page& job = tree.pages[page];
    const std::string& suiteFolder = tree.suites[job.suite].relative;
    try {
        {
            std::lock_guard lock(m_reporting);
            Progress("Export progress - Now exporting: " + job.name);
        }
        const fs::path relative = suiteFolder;
        const fs::path folder = site.request.projectFolder / relative;
        const std::size_t depth =
            static_cast<std::size_t>(std::distance(relative.begin(), relative.end()));
        std::string html;
        if (job.isSuite) {
            PrjTestGroupCore suite(m_custom, folder);
            if (job.suite == 0)
                suite.LoadText("<test_suite><id>" + Escaped(std::string(kProjectTestCasesFolder)) +
                               "</id><suite_title>Every suite and test case of " +
                               Escaped(Latin1FromName(site.project)) +
                               "</suite_title></test_suite>");
            else
                suite.Load(GroupDocumentPath(folder));
            PageSettings settings = site.Settings(depth, site.Trail(relative));
            settings.knownCells = [&known, &job](const fs::path& document) {
                return known.Take(job.suite, document.stem().string());
            };
            html = suite.Render(frame, settings);
            known.Forget(job.suite);
        } else {
            PrjTestCaseCore testCase(m_custom, site.project);
            testCase.Load(folder / (job.name + std::string(kItemExtension)));
            SuiteCells cells;
            for (std::size_t cell = 0; cell < kSuiteCellCount; ++cell)
                cells[cell] = testCase.Stored(kSuiteCellTags[cell]);
            job.status = cells[kSuiteStatusCell];
            known.Keep(job.suite, job.name, std::move(cells));
            std::vector<Crumb> crumbs = site.Trail(relative);
            crumbs.push_back({job.name, (relative / (job.name + ".html")).generic_string()});
            html = testCase.Render(frame, site.Settings(depth, std::move(crumbs)));
        }
        const fs::path file =
            site.root / relative / (job.name + (job.isSuite ? "_index.html" : ".html"));
        return WritePageFile(file, site.Finish(html, depth));
    } catch (const std::exception& error) {
        // Nothing may leave a page thread (it would end the program): the page fails the
        // export like one that can't be written.
        return PageFailure{
            {"Web Export Error: Unable to make the page of " + job.name, "Error", Icon::Error},
            site.root / suiteFolder,
            error.what()};
    }
}

std::optional<std::string> ExportWeb::WriteReports(const Site& site) {
    std::string projectPart = "<h2>Project Reports</h2>\n";
    for (std::string_view kind : kReportFolders)
        if (!WriteReportKind(site, std::string(kind), projectPart))
            return std::nullopt;
    return projectPart;
}

bool ExportWeb::WriteReportKind(const Site& site, const std::string& kind,
                                std::string& projectPart) {
    const fs::path relative = fs::path("Reports") / kind;
    if (!MakeExportFolder(site.root, relative)) {
        TellFolderFailure();
        return false;
    }
    projectPart += "<a name=\"" + Escaped(kind) + "\"></a><p><h3>" + Escaped(kind) + "</h3></p>\n";
    std::vector<ReportLink> links;
    const fs::path reports = site.request.projectFolder / kProjectReportsFolder / kind;
    for (const std::string& fileName : SortedContents(reports).documents) {
        if (Stopping())
            break;
        const fs::path document = reports / fileName;
        std::optional<ReportLink> link = WriteReportPage(site, kind, document);
        if (!link)
            continue;
        const std::string name = document.stem().string();
        projectPart += "<p><a href=\"" + UrlPath((relative / (name + ".html")).generic_string()) +
                       "\">" + NameHtml(name) + "</a></p>\n";
        links.push_back(std::move(*link));
    }
    if (TellFailure())
        return false;

    const Template& index = site.Load(kReportRootTemplate);
    PageSettings settings = site.Settings(2, {site.projectCrumb, KindCrumb(kind)});
    settings.list = ReportListTable(links);
    const std::string html = index.Fill(settings, ReportPlaceholders(Escaped(kind)));
    return WritePage(site.root / relative / (kind + "_index.html"), site.Finish(html, 2));
}

std::optional<ReportLink> ExportWeb::WriteReportPage(const Site& site, const std::string& kind,
                                                     const fs::path& document) {
    const fs::path relative = fs::path("Reports") / kind;
    const std::string name = document.stem().string();
    Progress("Export progress - Now exporting: " + name);
    std::optional<ReportPage> report = ReportPageHead(document);
    if (!report)
        return std::nullopt;
    const Template& page = site.Load(ReportTemplateName(report->kind));
    PageSettings settings =
        site.Settings(2, {site.projectCrumb,
                          KindCrumb(kind),
                          {name, (relative / (name + ".html")).generic_string()}});
    // The report is written into its page as it is read: a list or details report of a large
    // project is far larger than what should be held at once.
    const std::string frame = site.Finish(
        page.Fill(settings, ReportPlaceholders(report->title, std::string(kBodyMark))), 2);
    const std::size_t mark = frame.find(kBodyMark);
    PageWriter writer(site.root / relative / (name + ".html"));
    writer.Write(std::string_view(frame).substr(0, mark));
    if (mark != std::string::npos) {
        if (!WriteReportBody(*report, document, m_custom, name, [&](std::string_view piece) {
                writer.Write(site.Linked(std::string(piece), 2));
            })) {
            DebugLog::Write(kHeading, "report %s can't be read\n", document.c_str());
            return std::nullopt;  // the writer removes the page it began
        }
        writer.Write(std::string_view(frame).substr(mark + kBodyMark.size()));
    }
    if (std::optional<PageFailure> failure = writer.Close()) {
        Fail(std::move(*failure));
        return std::nullopt;
    }
    ++m_pages;
    DrawCharts(m_charts, *report, site.root / relative);
    return ReportLink{NameHtml(name), UrlPath(name + ".html"), report->created};
}

bool ExportWeb::WriteProjectPage(const Site& site, const ProjectTree& tree,
                                 const std::string& reportsPart) {
    Progress("Export progress - Now exporting: " + site.project);
    ProjectCore projectPage(m_custom);
    projectPage.Load(GroupDocumentPath(site.request.projectFolder));
    PageSettings settings = site.Settings(0, {site.projectCrumb});
    settings.list = kBodyMark;
    const std::string frame =
        site.Finish(projectPage.Render(site.Load(kProjectTemplate), settings), 0);
    const std::size_t mark = frame.find(kBodyMark);
    PageWriter writer(site.root / (site.project + ".html"));
    writer.Write(std::string_view(frame).substr(0, mark));
    if (mark != std::string::npos) {
        tree.WriteSuiteTable(writer, site.request.projectFolder);
        tree.WriteSuiteParts(writer);
        writer.Write(reportsPart);
        writer.Write(std::string_view(frame).substr(mark + kBodyMark.size()));
    }
    if (std::optional<PageFailure> failure = writer.Close()) {
        Tell(*failure);
        return false;
    }
    ++m_pages;
    return true;
}

bool ExportWeb::PutSiteInPlace() {
    if (const int failed = PutInPlaceOf(m_building, m_site)) {
        m_port.tell({"Web Export Error: Unable to put the new pages in place of " +
                         m_site.string() + "; the earlier pages are kept",
                     "Error", Icon::Error});
        TellReason(m_site, std::strerror(failed));
        return false;
    }
    return true;
}

void ExportWeb::TellFolderFailure() {
    m_port.tell({"Web Export Error: Unable to create a folder below " + m_site.string() +
                     " (a folder can't be made, or a link stands in its place)",
                 "Error", Icon::Error});
}

void ExportWeb::Fail(PageFailure failure) {
    std::lock_guard lock(m_reporting);
    if (!m_failure)
        m_failure = std::move(failure);
    m_stopping = true;
}

bool ExportWeb::TellFailure() {
    if (m_failure) {
        Tell(*m_failure);
        return true;
    }
    if (!m_stop.stop_requested())
        return false;
    m_port.tell({"The web export was cancelled. The earlier export, if any, is as it was.",
                 "Export cancelled", Icon::Information});
    return true;
}

}  // namespace vantorel
