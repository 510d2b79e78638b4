#include "workspace/node_pages.h"

#include <strings.h>

#include <algorithm>
#include <memory>

#include "documents/test_group.h"
#include "platform/clock_text.h"
#include "render/item_pages.h"
#include "render/template.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kScheme = "vantorel://";
constexpr std::string_view kLinkPrefix = "vantorel:///";
constexpr std::string_view kFailedLoad = "<!-- Failed to load XML file %s-->";

// The page of a folder when the style has no template for it: the style's sheet, the
// breadcrumbs, the folder's name and its items.
constexpr std::string_view kPlainFolderPage =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"ISO-8859-1\">\n"
    "<title><!--VT_FOLDER_TITLE--> - Vantorel</title>\n<!--VT_STYLE-->\n</head>\n"
    "<body class=\"Item Folder\">\n<!--VT_BREADCRUMBS-->\n<!--VT_HEADER-->\n"
    "<main class=\"Sheet\">\n<h1 class=\"Title\"><!--VT_FOLDER_TITLE--></h1>\n"
    "<section class=\"Contents\"><!--VT_LIST--></section>\n</main>\n</body>\n</html>\n";

Notice UnreadableDocument(const fs::path& document) {
    return {
        "There was an error while trying to display the test case.\nUnable to open the test "
        "case, " +
            document.string() +
            "\nTry using refresh (F5) to check filename hasn't been changed by another user",
        "Error displaying test case", Icon::Warning};
}

// Puts a visible line saying the document can't be read first in the page's body, so the
// pane is never blank whatever the template shows of an empty item.
// Where the body of html begins: just after its <body> tag, or 0 for a page without one.
std::size_t BodyStart(const std::string& html) {
    for (std::size_t tag = html.find('<'); tag != std::string::npos; tag = html.find('<', tag + 1))
        if (strncasecmp(html.c_str() + tag, "<body", 5) == 0 &&
            (html[tag + 5] == '>' || html[tag + 5] == ' ')) {
            const std::size_t close = html.find('>', tag);
            return close == std::string::npos ? html.size() : close + 1;
        }
    return 0;
}

// html with line as the first line of its body.
std::string WithFirstLine(std::string html, const std::string& line) {
    const std::size_t at = BodyStart(html);
    html.insert(at, (at > 0 && html[at - 1] != '\n' ? "\n" : "") + line);
    return html;
}

std::string WithFailureLine(std::string html, const fs::path& document) {
    return WithFirstLine(std::move(html),
                         "<p class=\"LoadFailure\">Unable to open the test case, " +
                             NameHtml(document.string()) + "</p>\n");
}

// The levels of path below the database.
std::vector<std::string> PartsBelow(const fs::path& databaseDir, const fs::path& path) {
    std::vector<std::string> parts;
    for (const fs::path& part :
         path.lexically_normal().lexically_relative(databaseDir.lexically_normal()))
        if (!part.empty() && part != ".")
            parts.push_back(part.string());
    return parts;
}

// What the tree shows for the item at path: a document without ".vtl".
std::string LabelOf(const fs::path& path) {
    std::string name = path.filename().string();
    if (RoleOf(name, FolderEntry::Kind::File) == EntryRole::Document)
        name.resize(name.size() - kItemExtension.size());
    return name;
}

// From the top-level folder down to the item, each level a link to its page.
std::string Breadcrumbs(const NodePageRequest& request) {
    std::vector<BreadcrumbLink> levels;
    fs::path at = request.databaseDir;
    for (const std::string& part : PartsBelow(request.databaseDir, request.node.path)) {
        at /= part;
        levels.push_back({NameHtml(LabelOf(at)), ItemLink(request.databaseDir, at)});
    }
    return BreadcrumbBar(levels, request.imageUrl);
}

PageSettings DesktopSettings(const NodePageRequest& request) {
    PageSettings settings;
    settings.styleFolder = request.styleFolder;
    settings.exported = false;
    settings.inlineStyle = true;
    settings.imagePath = request.imageUrl;
    settings.breadcrumbs = Breadcrumbs(request);
    settings.itemHref = [databaseDir = request.databaseDir](const fs::path& item) {
        return ItemLink(databaseDir, item);
    };
    return settings;
}

// A folder's items as links, in the tree's order.
std::string ItemList(const NodePageRequest& request, const std::vector<TreeNode>& items) {
    std::string html =
        "<table class=List><tr class=ListHeading><td class=ListHeading>Name</td></tr>\n";
    std::size_t row = 0;
    for (const TreeNode& item : items) {
        if (row == kSuiteListLimit) {
            html += "<tr><td>Display limit exceeded</td></tr>\n";
            break;
        }
        const std::string rowClass = row++ % 2 == 0 ? "List" : "ListAlt";
        std::string icon;
        if (IsFolderKind(item.kind))
            icon = "folder.gif";
        else if (item.kind == TV_TEST_TEST_DOC || item.kind == TV_PRJ_TEST_DOC)
            icon = "tc.gif";
        html += "<tr class=" + rowClass + "><td class=" + rowClass + ">" +
                (icon.empty() ? std::string()
                              : "<img src=\"" + request.imageUrl + icon + "\" align=left>") +
                "<a href=\"" + ItemLink(request.databaseDir, item.path) + "\">" +
                NameHtml(item.label) + "</a></td></tr>\n";
    }
    if (items.empty())
        html += "<tr class=List><td class=List>Nothing here yet</td></tr>\n";
    return html + "</table>\n";
}

// The reports of one report folder with their creation dates.
std::string ReportList(const NodePageRequest& request, const TreeNode& folder) {
    std::vector<ReportLink> links;
    for (const TreeNode& report : ChildNodes(request.databaseDir, folder)) {
        if (report.kind != TV_RPT_DOC)
            continue;
        const std::optional<ReportPage> head = ReportPageHead(report.path);
        links.push_back({NameHtml(report.label), ItemLink(request.databaseDir, report.path),
                         head ? head->created : std::string()});
    }
    return ReportListTable(links);
}

// What a link that shows its own address reads as: the identifier of the item it leads to,
// and the item's title when it has one.
std::string ItemCaption(const fs::path& item) {
    static constexpr std::string_view kTitleTags[] = {"<test_title>",    "<suite_title>",
                                                      "<project_title>", "<testcfg_title>",
                                                      "<testres_title>", "<tester_name>"};
    std::error_code error;
    XMLParse document;
    std::string title;
    if (document.OpenFastRead(fs::is_directory(item, error) ? GroupDocumentPath(item) : item) ==
            0 &&
        document.Load() == 0)
        for (std::string_view tag : kTitleTags)
            if (document.GetTag(tag, title) == 0 && !title.empty())
                break;
    return NameHtml(LabelOf(item)) + (title.empty() ? "" : " &ndash; " + PageValue(FT_TEXT, title));
}

// Every link of a rich text that leads to an item, in the form the desktop's pages write, and
// reading as the item when its text was the raw address; one that leads nowhere is left as it
// was written.
std::string DesktopLinks(const std::string& html, const fs::path& databaseDir) {
    static constexpr std::string_view kHref = "href=\"";
    std::string out;
    std::size_t at = 0;
    for (std::size_t link = html.find(kHref); link != std::string::npos;
         link = html.find(kHref, std::max(link + 1, at))) {
        const std::size_t begin = link + kHref.size();
        if (strncasecmp(html.c_str() + begin, kScheme.data(), kScheme.size()) != 0 ||
            html.compare(begin, kLinkPrefix.size(), kLinkPrefix) == 0)
            continue;
        const std::size_t end = html.find('"', begin);
        if (end == std::string::npos)
            break;
        const std::optional<fs::path> item =
            ResolveItemLink(databaseDir, Unescaped(html.substr(begin, end - begin)));
        if (!item)
            continue;
        out.append(html, at, begin - at);
        out += ItemLink(databaseDir, *item);
        at = end;
        const std::size_t textBegin = html.find('>', end);
        const std::size_t textEnd =
            textBegin == std::string::npos ? textBegin : html.find("</a>", textBegin);
        if (textEnd != std::string::npos &&
            strncasecmp(html.c_str() + textBegin + 1, kScheme.data(), kScheme.size()) == 0) {
            out.append(html, at, textBegin + 1 - at);
            out += ItemCaption(*item);
            at = textEnd;
        }
    }
    out.append(html, at, std::string::npos);
    return out;
}

// The renderer and template of an item whose page is its document's (or its folder's
// description's).
struct ItemPage {
    std::unique_ptr<ItemCore> core;
    std::string_view templateName;
    bool read = false;
};

std::optional<ItemPage> ItemPageOf(const NodePageRequest& request) {
    const fs::path& path = request.node.path;
    const CustomCfg& custom = request.custom;
    auto document = [&](std::unique_ptr<ItemCore> core, std::string_view templateName) {
        const bool read = core->Load(path);
        return ItemPage{std::move(core), templateName, read};
    };
    // A folder's description may be missing: the page then shows the folder with no fields.
    auto described = [&](std::unique_ptr<ItemCore> core, std::string_view templateName) {
        core->Load(GroupDocumentPath(path));
        return ItemPage{std::move(core), templateName, true};
    };
    switch (request.node.kind) {
        case TV_TEST_TEST_DOC:
            return document(std::make_unique<TestCaseCore>(custom), kTestCaseTemplate);
        case TV_PRJ_TEST_DOC: {
            const std::vector<std::string> parts = PartsBelow(request.databaseDir, path);
            return document(std::make_unique<PrjTestCaseCore>(
                                custom, parts.size() > 1 ? parts[1] : std::string()),
                            kPrjTestCaseTemplate);
        }
        case TV_CFG_DOC:
            return document(std::make_unique<TestCfgCore>(custom), kTestCfgTemplate);
        case TV_RES_DOC:
            return document(std::make_unique<TestResourceCore>(custom), kTestResTemplate);
        case TV_TESTER_DOC:
            return document(std::make_unique<TesterCore>(custom), kTesterTemplate);
        case TV_FILTER_DOC: {
            auto filter = std::make_unique<FilterCore>(custom);
            const bool read = filter->LoadFilter(path);
            return ItemPage{std::move(filter), kFilterTemplate, read};
        }
        case TV_TEST_SUITE_FLD:
            return described(std::make_unique<TestGroupCore>(custom), kTestSuiteTemplate);
        case TV_PRJ_SUITE_FLD:
            return described(std::make_unique<PrjTestGroupCore>(custom, path),
                             kPrjTestSuiteTemplate);
        case TV_PRJ_PRJ_FLD:
            return described(std::make_unique<ProjectCore>(custom), kProjectTemplate);
        default:
            return std::nullopt;
    }
}

NodePage ItemNodePage(const NodePageRequest& request, ItemPage item) {
    PageSettings settings = DesktopSettings(request);
    if (request.node.kind == TV_PRJ_PRJ_FLD)
        settings.list = ItemList(request, ChildNodes(request.databaseDir, request.node));
    Template frame;
    frame.Load(request.styleFolder / item.templateName);
    NodePage page;
    page.html = DesktopLinks(item.core->Render(frame, settings), request.databaseDir);
    if (request.addBugLink && request.node.kind == TV_PRJ_TEST_DOC)
        page.html = WithFirstLine(std::move(page.html),
                                  "<p class=\"AddBug\"><a href=\"" +
                                      AddBugLink(request.databaseDir, request.node.path) +
                                      "\">Add Bug</a></p>\n");
    if (!item.read) {
        page.failure = UnreadableDocument(request.node.path);
        page.html = WithFailureLine(std::move(page.html), request.node.path);
    }
    return page;
}

NodePage ReportNodePage(const NodePageRequest& request) {
    PageSettings settings = DesktopSettings(request);
    const fs::path& path = request.node.path;
    Template frame;
    NodePage page;
    if (std::optional<ReportPage> report =
            RenderReportPage(path, request.custom, path.stem().string(), request.chartUrl)) {
        frame.Load(request.styleFolder / ReportTemplateName(report->kind));
        page.html = DesktopLinks(
            frame.Fill(settings, ReportPlaceholders(report->title, std::move(report->body))),
            request.databaseDir);
        page.charts = std::move(report->charts);
        return page;
    }
    // What kind of report it was is unknown: the report folders' page says it can't be read.
    frame.Load(request.styleFolder / kReportRootTemplate);
    settings.list = ReplaceAll(std::string(kFailedLoad), "%s", path.string());
    page.html = WithFailureLine(
        frame.Fill(settings, ReportPlaceholders(NameHtml(request.node.label))), path);
    page.failure = UnreadableDocument(path);
    return page;
}

NodePage ReportFolderPage(const NodePageRequest& request) {
    PageSettings settings = DesktopSettings(request);
    if (request.node.kind == TV_RPT_FLD) {
        settings.list = ReportList(request, request.node);
    } else {
        // "Project Reports": each kind's folder with its reports.
        for (const TreeNode& folder : ChildNodes(request.databaseDir, request.node))
            if (folder.kind == TV_RPT_FLD)
                settings.list += "<h2><a href=\"" + ItemLink(request.databaseDir, folder.path) +
                                 "\">" + NameHtml(folder.label) + "</a></h2>\n" +
                                 ReportList(request, folder);
    }
    Template frame;
    frame.Load(request.styleFolder / kReportRootTemplate);
    return {frame.Fill(settings, ReportPlaceholders(NameHtml(request.node.label))), {}, {}};
}

NodePage FolderPage(const NodePageRequest& request) {
    std::error_code error;
    if (!fs::is_regular_file(request.styleFolder / kStyleSheetName, error))
        return {std::string(kTemplateMissingPage), {}, {}};
    PageSettings settings = DesktopSettings(request);
    if (IsFolderKind(request.node.kind))
        settings.list = ItemList(request, ChildNodes(request.databaseDir, request.node));
    Template frame;
    if (!frame.Load(request.styleFolder / kFolderTemplate))
        frame.LoadText(std::string(kPlainFolderPage));
    const std::string title = NameHtml(request.node.label);
    return {frame.Fill(settings,
                       [&](std::string_view placeholder) -> std::optional<std::string> {
                           if (placeholder == "VT_FOLDER_TITLE")
                               return title;
                           return std::nullopt;
                       }),
            {},
            {}};
}

// The entry named name in folder, taken as written, else as the one entry whose name matches
// it ignoring letter case; none when there is no such entry or several.
std::optional<FolderEntry> EntryIn(const fs::path& folder, const std::string& name) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(folder / name, error);
    if (fs::is_directory(status))
        return FolderEntry{name, FolderEntry::Kind::Folder};
    if (fs::is_regular_file(status))
        return FolderEntry{name, FolderEntry::Kind::File};
    if (fs::exists(status))
        return FolderEntry{name, FolderEntry::Kind::Other};
    std::vector<FolderEntry> entries;
    if (ListFolder(folder, entries) != 0)
        return std::nullopt;
    std::optional<FolderEntry> found;
    for (FolderEntry& entry : entries)
        if (strcasecmp(entry.name.c_str(), name.c_str()) == 0) {
            if (found)
                return std::nullopt;
            found = std::move(entry);
        }
    return found;
}

// The item at parts below the database: each level a real folder (never a link), the last a
// folder or a document, named with or without ".vtl".
std::optional<fs::path> LocateItem(const fs::path& databaseDir,
                                   const std::vector<std::string>& parts) {
    fs::path at = databaseDir;
    for (std::size_t level = 0; level < parts.size(); ++level) {
        const bool last = level + 1 == parts.size();
        std::optional<FolderEntry> entry = EntryIn(at, parts[level]);
        if (last && (!entry || entry->kind == FolderEntry::Kind::File) &&
            !parts[level].ends_with(kItemExtension))
            if (std::optional<FolderEntry> document =
                    EntryIn(at, parts[level] + std::string(kItemExtension)))
                entry = document;
        if (!entry)
            return std::nullopt;
        const EntryRole role = RoleOf(entry->name, entry->kind);
        const bool isItem = role == EntryRole::Folder || (last && role == EntryRole::Document &&
                                                          entry->kind == FolderEntry::Kind::File);
        if (!isItem)
            return std::nullopt;
        at /= entry->name;
    }
    return at;
}

}  // namespace

NodePage DesktopPage(const NodePageRequest& request) {
    switch (request.node.kind) {
        case TV_RPT_DOC:
            return ReportNodePage(request);
        case TV_PRJ_RPTS_FLD:
        case TV_RPT_FLD:
            return ReportFolderPage(request);
        default:
            if (std::optional<ItemPage> item = ItemPageOf(request))
                return ItemNodePage(request, std::move(*item));
            // The roots and "Project Test Cases": their items.
            return FolderPage(request);
    }
}

namespace {

// An "Add Bug" link is an item link with this first level, which no item of a database has.
constexpr std::string_view kAddBugLevel = ".addbug/";

}  // namespace

std::string AddBugLink(const fs::path& databaseDir, const fs::path& item) {
    std::string link = ItemLink(databaseDir, item);
    return link.insert(link.find(":///") + 4, kAddBugLevel);
}

std::optional<fs::path> AddBugItem(const fs::path& databaseDir, std::string_view url) {
    const std::size_t level = url.find(":///");
    if (level == std::string_view::npos ||
        url.substr(level + 4, kAddBugLevel.size()) != kAddBugLevel)
        return std::nullopt;
    std::string itemUrl(url);
    itemUrl.erase(level + 4, kAddBugLevel.size());
    std::optional<fs::path> item = ResolveItemLink(databaseDir, itemUrl);
    if (!item || NodeKindOf(databaseDir, *item) != TV_PRJ_TEST_DOC)
        return std::nullopt;
    return item;
}

std::string PagesToPrint(const std::vector<std::string>& pages) {
    std::string printed;
    for (const std::string& page : pages) {
        const std::size_t begin = BodyStart(page);
        std::size_t end = page.size();
        for (std::size_t tag = page.find("</", begin); tag != std::string::npos;
             tag = page.find("</", tag + 1))
            if (strncasecmp(page.c_str() + tag, "</body", 6) == 0) {
                end = tag;
                break;
            }
        if (printed.empty())
            printed = page.substr(0, begin);
        else
            printed += "<div style=\"break-before: page\"></div>\n";
        printed.append(page, begin, end - begin);
    }
    return printed + "</body></html>\n";
}

PrintedItems PrintedItemsOf(const fs::path& databaseDir, const std::vector<TreeNode>& items,
                            std::chrono::year_month_day day) {
    PrintedItems printed{CountedItems(items),
                         DisplayDate(static_cast<int>(day.year()),
                                     static_cast<int>(static_cast<unsigned>(day.month())),
                                     static_cast<int>(static_cast<unsigned>(day.day())))};
    if (items.size() == 1) {
        std::vector<std::string> parts = PartsBelow(databaseDir, items.front().path);
        if (!parts.empty())
            parts.back() = LabelOf(items.front().path);
        printed.what.clear();
        for (const std::string& part : parts)
            printed.what += (printed.what.empty() ? "" : "/") + part;
    }
    return printed;
}

std::string ItemPrintFooter(const PrintedItems& printed, int page, int pages) {
    std::string footer = printed.what.empty() ? "" : printed.what + " - ";
    return footer + printed.day + " - Page " + std::to_string(page) + " of " +
           std::to_string(pages);
}

std::string ItemLink(const fs::path& databaseDir, const fs::path& item) {
    std::string relative;
    for (const std::string& part : PartsBelow(databaseDir, item))
        relative += (relative.empty() ? "" : "/") + part;
    return std::string(kLinkPrefix) + UrlPath(relative);
}

std::optional<fs::path> ResolveItemLink(const fs::path& databaseDir, std::string_view url) {
    if (url.size() < kScheme.size() || strncasecmp(url.data(), kScheme.data(), kScheme.size()) != 0)
        return std::nullopt;
    std::string_view rest = url.substr(kScheme.size());
    // "vantorel:///<path below the database>", else the older forms of rich text.
    const bool belowDatabase = rest.starts_with('/');
    if (belowDatabase)
        rest.remove_prefix(1);
    std::string path = PercentDecoded(rest);
    std::ranges::replace(path, '\\', '/');
    if (path.starts_with('/'))
        return std::nullopt;  // absolute
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        std::string part = path.substr(begin, end - begin);
        begin = end + 1;
        if (part.empty())
            continue;
        if (part == "." || part == ".." ||
            std::ranges::any_of(part, [](char c) { return static_cast<unsigned char>(c) < 0x20; }))
            return std::nullopt;
        parts.push_back(std::move(part));
    }
    if (parts.empty())
        return std::nullopt;

    // "vantorel://Test Cases/..." is below the database, "vantorel://<project>/..." below
    // "Projects"; a project may bear a root folder's name.
    std::vector<std::vector<std::string>> readings;
    const std::vector<TreeNode> roots = TopLevelNodes(databaseDir);
    if (belowDatabase || std::ranges::any_of(roots, [&](const TreeNode& root) {
            return strcasecmp(root.label.c_str(), parts[0].c_str()) == 0;
        }))
        readings.push_back(parts);
    if (!belowDatabase)
        for (const TreeNode& root : roots)
            if (root.kind == TV_PRJ_ROOT) {
                std::vector<std::string> inProjects = parts;
                inProjects.insert(inProjects.begin(), root.path.filename().string());
                readings.push_back(std::move(inProjects));
            }
    for (const std::vector<std::string>& reading : readings)
        if (std::optional<fs::path> item = LocateItem(databaseDir, reading))
            if (NodeKindOf(databaseDir, *item) != TV_NONE)
                return item;
    return std::nullopt;
}

}  // namespace vantorel
