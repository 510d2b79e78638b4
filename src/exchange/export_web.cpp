#include "exchange/export_web.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>

#include "documents/custom_cfg.h"
#include "documents/test_group.h"
#include "platform/debug_log.h"
#include "render/item_pages.h"
#include "render/report_pages.h"
#include "render/style_images.h"
#include "reports/report_base.h"
#include "storage/identifiers.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr char kHeading[] = "ExportWeb";
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

std::vector<fs::path> SortedEntries(const fs::path& folder, bool folders) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator list(folder, error), end; !error && list != end;
         list.increment(error)) {
        const std::string name = list->path().filename().string();
        if (name.starts_with("."))
            continue;
        std::error_code typeError;
        const bool isFolder = list->is_directory(typeError);
        if (folders ? isFolder : (!isFolder && list->path().extension() == kItemExtension))
            entries.push_back(list->path());
    }
    std::ranges::sort(entries, [](const fs::path& a, const fs::path& b) {
        return strcasecmp(a.filename().c_str(), b.filename().c_str()) < 0;
    });
    return entries;
}

// One level of the breadcrumbs: its name and its page, relative to the site's root.
struct Crumb {
    std::string name;
    std::string page;
};

std::string Breadcrumbs(const std::vector<Crumb>& crumbs, const std::string& toRoot) {
    std::string html =
        "<div class=\"Breadcrumbs\">\n<table class=VTHeader width=100%><tr "
        "class=VTHeader><td width = 15%><img src=\"" +
        toRoot + "images/vtlogo.gif\"></td><td class=VTHeader valign=\"top\">Location:";
    for (std::size_t level = 0; level < crumbs.size(); ++level) {
        if (level > 0)
            html += "&raquo;";
        html += "<a href=\"" + toRoot + UrlPath(crumbs[level].page) + "\">" +
                Escaped(crumbs[level].name) + "</a>";
    }
    return html + "</td></tr></table></div>\n";
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

std::string PercentDecoded(const std::string& text) {
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%' && at + 2 < text.size() &&
            std::isxdigit(static_cast<unsigned char>(text[at + 1])) &&
            std::isxdigit(static_cast<unsigned char>(text[at + 2]))) {
            out += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            out += text[at];
        }
    }
    return out;
}

// An anchor name for a suite of the project page: its path with only letters and digits kept.
std::string AnchorOf(const fs::path& relative) {
    std::string anchor = relative.generic_string();
    for (char& c : anchor)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '-';
    return anchor;
}

}  // namespace

std::vector<std::string> DisplayStyles(const fs::path& stylesRoot) {
    std::vector<std::string> styles;
    for (const fs::path& folder : SortedEntries(stylesRoot, true)) {
        std::error_code error;
        if (fs::exists(folder / kStyleSheetName, error))
            styles.push_back(folder.filename().string());
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
        const std::size_t slash = target.find('/');
        if (slash != std::string::npos &&
            strcasecmp(target.substr(0, slash).c_str(), project.c_str()) == 0) {
            fs::path inside = target.substr(slash + 1);
            if (inside.extension() == kItemExtension)
                inside.replace_extension();
            std::error_code error;
            const fs::path onDisk = projectFolder / inside;
            const std::string relative = inside.generic_string();
            if (relative.starts_with(kProjectTestCasesFolder)) {
                if (fs::is_directory(onDisk, error))
                    href = toRoot +
                           UrlPath(relative + "/" + onDisk.filename().string() + "_index.html");
                else if (fs::exists(fs::path(onDisk.string() + std::string(kItemExtension)), error))
                    href = toRoot + UrlPath(relative + ".html");
            }
        }
        out += "href=\"" + href + "\"";
        at = end + 1;
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

std::optional<Notice> ExportWeb::WritePageFile(const fs::path& file, const std::string& html) {
    // A page of an earlier export is removed, not truncated: file systems flush a truncated
    // file at once when it is closed, which would make a second export many times slower.
    std::error_code ignored;
    fs::remove(file, ignored);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    if (!out)
        return Notice{"Web Export Error: Unable to create file!", "Error", Icon::Error};
    out.write(html.data(), static_cast<std::streamsize>(html.size()));
    out.close();
    if (!out)
        return Notice{"Web Export Error: Error writing to file!", "Error", Icon::Error};
    return std::nullopt;
}

bool ExportWeb::WritePage(const fs::path& file, const std::string& html) {
    if (std::optional<Notice> failure = WritePageFile(file, html)) {
        m_port.tell(*failure);
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
    Crumb casesCrumb;

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
    mutable std::map<std::string, Template> templates;
    std::string Finish(const std::string& html, std::size_t depth) const {
        return WithFooter(RewriteInternalLinks(html, request.projectFolder, UpLevels(depth)),
                          footer);
    }
};

std::optional<fs::path> ExportWeb::Run(const WebExportRequest& request) {
    m_pages = 0;
    if (request.destination.empty()) {
        m_port.tell({"You must enter the export destination.", "Error", Icon::Error});
        return std::nullopt;
    }
    std::error_code error;
    const fs::path style = request.stylesRoot / request.style;
    if (!fs::exists(style / kStyleSheetName, error)) {
        m_port.tell({"The display style \"" + request.style + "\" was not found in " +
                         request.stylesRoot.string(),
                     "Error", Icon::Error});
        return std::nullopt;
    }
    const std::string project = request.projectFolder.filename().string();
    const fs::path root = request.destination / project;
    if (fs::exists(root, error)) {
        if (request.askBeforeOverwriting &&
            !m_port.ask({"Directory " + root.string() + " already exists, overwrite contents?",
                         "Overwrite Contents", Icon::Question}))
            return std::nullopt;
    } else if (!fs::create_directories(root, error)) {
        m_port.tell(
            {"Unable to create main directory for export: " + root.string(), "Error", Icon::Error});
        return std::nullopt;
    }

    // The style sheet and the pictures; the status icons take the database's report colours.
    if (std::optional<Notice> failure =
            WritePageFile(root / kStyleSheetName, StyleSheetText(style, "images/"))) {
        m_port.tell(*failure);
        return std::nullopt;
    }
    const fs::path images = root / "images";
    const bool imagesThere = fs::exists(images, error);
    if (!imagesThere || !request.askBeforeOverwriting ||
        m_port.ask({"Images folder already exists, overwrite contents?",
                    "Overwrite existing folder", Icon::Question})) {
        fs::create_directories(images, error);
        fs::copy(style / "images", images,
                 fs::copy_options::overwrite_existing | fs::copy_options::recursive, error);
        std::array<std::uint32_t, 5> colours{};
        for (int meaning = 0; meaning < kMeaningCount; ++meaning)
            colours[static_cast<std::size_t>(meaning)] =
                RgbOf(m_custom.ReportColourOf(static_cast<std::size_t>(MeaningSlot(meaning))));
        if (const std::string failed = WriteStatusImages(images, colours); !failed.empty())
            DebugLog::Write(kHeading, "status icons not written: %s\n", failed.c_str());
    }

    Progress("Export progress - Gathering test case information");
    const fs::path cases = request.projectFolder / kProjectTestCasesFolder;
    const std::string casesName(kProjectTestCasesFolder);
    const Site site{request,
                    style,
                    root,
                    project,
                    Footer(request.exportDate),
                    {project, project + ".html"},
                    {casesName, casesName + "/" + casesName + "_index.html"},
                    {}};

    // The suites below "Project Test Cases", each with its index page and its test cases.
    // The suites below "Project Test Cases", each with its index page and its test cases:
    // the folders are made here, the pages written by one thread per core.
    struct PageJob {
        fs::path source;    // the suite's folder or the test case's document
        fs::path relative;  // the page's folder below the site's root
        std::string name;
        std::vector<Crumb> crumbs;
        bool suite = false;
        std::string status;  // a test case's, kept for the project page
    };
    std::vector<PageJob> jobs;
    std::function<void(const fs::path&, const fs::path&, std::vector<Crumb>)> gather =
        [&](const fs::path& folder, const fs::path& relative, std::vector<Crumb> crumbs) {
            fs::create_directories(root / relative, error);
            jobs.push_back({folder, relative, folder.filename().string(), crumbs, true, {}});
            for (const fs::path& document : SortedEntries(folder, false)) {
                const std::string id = document.stem().string();
                std::vector<Crumb> trail = crumbs;
                trail.push_back({id, (relative / (id + ".html")).generic_string()});
                jobs.push_back({document, relative, id, std::move(trail), false, {}});
            }
            for (const fs::path& sub : SortedEntries(folder, true)) {
                const std::string subName = sub.filename().string();
                std::vector<Crumb> trail = crumbs;
                trail.push_back(
                    {subName, (relative / subName / (subName + "_index.html")).generic_string()});
                gather(sub, relative / subName, std::move(trail));
            }
        };
    if (fs::is_directory(cases, error))
        gather(cases, casesName, {site.projectCrumb, site.casesCrumb});

    const Template& suitePage = site.Load(kPrjTestSuiteTemplate);
    const Template& casePage = site.Load(kPrjTestCaseTemplate);
    std::atomic<std::size_t> next{0};
    std::atomic<bool> failed{false};
    std::mutex reporting;
    std::optional<Notice> failure;
    auto work = [&] {
        for (std::size_t index = next++; index < jobs.size() && !failed; index = next++) {
            PageJob& job = jobs[index];
            {
                std::lock_guard lock(reporting);
                Progress("Export progress - Now exporting: " + job.name);
            }
            const std::size_t depth =
                static_cast<std::size_t>(std::distance(job.relative.begin(), job.relative.end()));
            std::string html;
            if (job.suite) {
                PrjTestGroupCore suite(m_custom, job.source);
                if (job.source == cases)
                    suite.LoadText("<test_suite><id>" + Escaped(casesName) +
                                   "</id><suite_title>Every suite and test case of " +
                                   Escaped(project) + "</suite_title></test_suite>");
                else
                    suite.Load(GroupDocumentPath(job.source));
                html = suite.Render(suitePage, site.Settings(depth, job.crumbs));
            } else {
                PrjTestCaseCore testCase(m_custom, project);
                testCase.Load(job.source);
                job.status = testCase.Stored("<test_status>");
                html = testCase.Render(casePage, site.Settings(depth, job.crumbs));
            }
            const fs::path file =
                root / job.relative / (job.name + (job.suite ? "_index.html" : ".html"));
            if (std::optional<Notice> problem = WritePageFile(file, site.Finish(html, depth))) {
                std::lock_guard lock(reporting);
                if (!failure)
                    failure = std::move(problem);
                failed = true;
            } else {
                ++m_pages;
            }
        }
    };
    {
        const unsigned threads = std::max(1u, std::min(4u, std::thread::hardware_concurrency()));
        std::vector<std::jthread> workers;
        for (unsigned thread = 1; thread < threads; ++thread)
            workers.emplace_back(work);
        work();
    }
    if (failure) {
        m_port.tell(*failure);
        return std::nullopt;
    }

    // The reports: one folder per kind with its index page, one page per report.
    std::string reportsPart = "<h2>Project Reports</h2>\n";
    for (std::string_view kindFolder : kReportFolders) {
        const std::string kind(kindFolder);
        const fs::path relative = fs::path("Reports") / kind;
        fs::create_directories(root / relative, error);
        std::vector<ReportLink> links;
        const Crumb kindCrumb{kind, (relative / (kind + "_index.html")).generic_string()};
        reportsPart +=
            "<a name=\"" + Escaped(kind) + "\"></a><p><h3>" + Escaped(kind) + "</h3></p>\n";
        for (const fs::path& document :
             SortedEntries(request.projectFolder / kProjectReportsFolder / kind, false)) {
            const std::string name = document.stem().string();
            Progress("Export progress - Now exporting: " + name);
            std::optional<ReportPage> report = RenderReportPage(document, m_custom, name);
            if (!report)
                continue;
            for (const ChartFile& chart : report->charts)
                if (m_charts) {
                    const std::string failed =
                        m_charts->WriteGif(chart.chart, root / relative / (chart.name + ".gif"),
                                           chart.width, chart.height);
                    if (!failed.empty())
                        DebugLog::Write(kHeading, "chart %s not drawn: %s\n", chart.name.c_str(),
                                        failed.c_str());
                }
            const Template& page = site.Load(ReportTemplateName(report->kind));
            PageSettings settings =
                site.Settings(2, {site.projectCrumb,
                                  kindCrumb,
                                  {name, (relative / (name + ".html")).generic_string()}});
            const std::string html = page.Fill(settings, [&](std::string_view placeholder) {
                if (placeholder == "VT_REPORT_TITLE")
                    return std::optional<std::string>(report->title);
                if (placeholder == "VT_REPORT")
                    return std::optional<std::string>(report->body);
                return std::optional<std::string>();
            });
            if (!WritePage(root / relative / (name + ".html"), site.Finish(html, 2)))
                return std::nullopt;
            const std::string href = UrlPath(name + ".html");
            std::string created;
            if (const std::size_t dash = name.find(" - "); dash != std::string::npos)
                created = name.substr(dash + 3, 10);
            links.push_back({Escaped(name), href, created});
            reportsPart += "<p><a href=\"" +
                           UrlPath((relative / (name + ".html")).generic_string()) + "\">" +
                           Escaped(name) + "</a></p>\n";
        }
        const Template& index = site.Load("ReportRootTemplate.html");
        PageSettings settings = site.Settings(2, {site.projectCrumb, kindCrumb});
        settings.list = ReportListTable(links);
        const std::string html = index.Fill(settings, [&](std::string_view placeholder) {
            return placeholder == "VT_REPORT_TITLE" ? std::optional<std::string>(Escaped(kind))
                                                    : std::nullopt;
        });
        if (!WritePage(root / relative / (kind + "_index.html"), site.Finish(html, 2)))
            return std::nullopt;
    }

    // The project page, with the whole project on one page: its suites with their test cases
    // and its reports.
    Progress("Export progress - Now exporting: " + project);
    std::string list = "<h2><a name=\"proj_suites\"></a>Test Suites</h2>\n<p><table class=List>\n";
    std::string sections;
    std::map<fs::path, std::string> statuses;
    const std::string noStatus;
    for (PageJob& job : jobs)
        if (!job.suite)
            statuses.emplace(job.source, std::move(job.status));
    std::function<void(const fs::path&, const fs::path&)> describe = [&](const fs::path& folder,
                                                                         const fs::path& relative) {
        const std::string name = folder.filename().string();
        const std::string anchor = AnchorOf(relative);
        XMLParse description;
        std::string title;
        if (description.OpenFastRead(GroupDocumentPath(folder)) == 0 && description.Load() == 0)
            description.GetTag("<suite_title>", title);
        list += "<tr class=List><td class=List><a href=\"#" + anchor + "\">" + Escaped(name) +
                "</a></td>\n<td class=List>" + (title.empty() ? "&nbsp;" : title) + "</td></tr>\n";
        sections += "<a name=\"" + anchor + "\"></a><h2>" + Escaped(name) + "</h2>\n";
        const std::vector<fs::path> subs = SortedEntries(folder, true);
        if (!subs.empty()) {
            sections += "<br><p><b>Test Suites</b></p><table class=List>";
            for (const fs::path& sub : subs)
                sections += "<tr class=List><td class=List><a href=\"#" +
                            AnchorOf(relative / sub.filename()) + "\">" +
                            Escaped(sub.filename().string()) + "</a></td></tr>\n";
            sections += "</table\n";
        }
        sections += "<br><p><b>Test Cases</b></p><table class=List>";
        for (const fs::path& document : SortedEntries(folder, false)) {
            const auto known = statuses.find(document);
            const std::string& status = known == statuses.end() ? noStatus : known->second;
            const std::string id = document.stem().string();
            sections += "<tr class=List><td class=List><a href=\"" +
                        UrlPath((relative / (id + ".html")).generic_string()) + "\">" +
                        Escaped(id) + "</a></td><td class=List>" +
                        (status.empty() ? "&nbsp;" : status) + "</td></tr>\n";
        }
        sections += "</table>\n<hr>\n";
        for (const fs::path& sub : subs)
            describe(sub, relative / sub.filename());
    };
    if (fs::is_directory(cases, error))
        describe(cases, casesName);
    list += "</table>\n" + sections + reportsPart;

    ProjectCore projectPage(m_custom);
    projectPage.Load(GroupDocumentPath(request.projectFolder));
    PageSettings settings = site.Settings(0, {site.projectCrumb});
    settings.list = list;
    const fs::path page = root / (project + ".html");
    if (!WritePage(page, site.Finish(projectPage.Render(site.Load(kProjectTemplate), settings), 0)))
        return std::nullopt;
    DebugLog::Write(kHeading, "exported %d pages to %s\n", m_pages.load(), root.c_str());
    return page;
}

}  // namespace vantorel
