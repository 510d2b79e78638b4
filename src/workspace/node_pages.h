#pragma once
// The page the desktop window shows for the selected tree node, and the "vantorel://" links
// between such pages. The window only shows what it is given: which renderer and template a
// kind of node takes, the page's settings, and what a page that can't be made says are all
// decided here.
//
// Links. A page of the desktop links to items of the database as "vantorel:///" followed by
// the item's path below the database, percent-encoded ("vantorel:///Projects/Alpha/Project%20
// Test%20Cases/Smoke/P1.vtl"): the authority is empty, so a URL parser keeps the path as it
// is (a "vantorel://Test Cases/..." link would have "Test Cases" read as a host name, which is
// lowered in case and refused for its blank). Links in rich text are written the older way,
// "vantorel://Test Cases/Login/TC12" in the library and "vantorel://<project>/Project Test
// Cases/..." in a project; the page carries each one that leads to an item in the new form,
// and ResolveItemLink reads both.

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "render/report_pages.h"
#include "workspace/navigation.h"

namespace vantorel {

class CustomCfg;

// A style may hold a template for the pages of folders with no item of their own (the roots,
// a project's "Project Test Cases"), with <!--VT_FOLDER_TITLE--> and <!--VT_LIST-->; without
// one, such a page is a plain page with the style's sheet.
inline constexpr std::string_view kFolderTemplate = "FolderTemplate.html";

struct NodePageRequest {
    std::filesystem::path databaseDir;
    TreeNode node;
    const CustomCfg& custom;
    // The display style's folder (Templates/<style>), holding style.css and the templates.
    std::filesystem::path styleFolder;
    // The URL prefix under which the page finds the style's pictures ("vtpage:/.style/images/").
    std::string imageUrl;
    // The URL prefix under which the page finds the charts it shows ("vtpage:/.charts/").
    std::string chartUrl;
    // A project test case's page opens with an "Add Bug" link (the options hold the command
    // that records a fault report).
    bool addBugLink = false;
};

struct NodePage {
    std::string html;
    // A report's charts, to be drawn and served at chartUrl + UrlPath(name) + ".gif", where the
    // page's pictures point.
    std::vector<ChartFile> charts;
    // Set when the item's document could not be read: the window tells it. The page is still
    // made, and says so in a line of its own.
    std::optional<Notice> failure;
};

// The page of request.node: the item's template filled from its document, a report's page
// with its charts, a report folder's list of reports, or for the roots and a project's
// "Project Test Cases" a list of the folder's items. Never fails: a missing template gives
// the fixed page that says so.
NodePage DesktopPage(const NodePageRequest& request);

// The link of a project test case page's "Add Bug", and the item a followed one is for (none
// for any other link).
std::string AddBugLink(const std::filesystem::path& databaseDir, const std::filesystem::path& item);
std::optional<std::filesystem::path> AddBugItem(const std::filesystem::path& databaseDir,
                                                std::string_view url);

// The pages of several items as one document for the printer: the first page's head, then
// each page's body, every one after the first on a sheet of its own.
std::string PagesToPrint(const std::vector<std::string>& pages);

// What the footer of printed item pages names when the options ask for one: what was printed,
// the item's path below the database ("Test Cases/Login/LOG-001") or, for several, how many of
// each kind ("2 test cases and 1 test suite"), and the day ("26-Nov-2026").
struct PrintedItems {
    std::string what;
    std::string day;
};
PrintedItems PrintedItemsOf(const std::filesystem::path& databaseDir,
                            const std::vector<TreeNode>& items, std::chrono::year_month_day day);
// The footer of sheet page of pages, in the form of a printed report's:
// "Test Cases/Login/LOG-001 - 26-Nov-2026 - Page 2 of 3".
std::string ItemPrintFooter(const PrintedItems& printed, int page, int pages);

// The link a desktop page writes for the item at path (a document or a folder of the database
// at databaseDir): "vantorel:///" and the path below the database, percent-encoded.
std::string ItemLink(const std::filesystem::path& databaseDir, const std::filesystem::path& item);

// The item a "vantorel://" link leads to, in any of the forms above, percent-encoded or not
// (any letter case of the scheme; "\" as "/"; a document with or without ".vtl"; a folder).
// Each level is taken as written, else as the one name of its folder that matches it ignoring
// letter case. None for a link that leaves the database ("..", an absolute path, a symbolic
// link on the way), leads to nothing that exists, or to no item (a description, a lock).
std::optional<std::filesystem::path> ResolveItemLink(const std::filesystem::path& databaseDir,
                                                     std::string_view url);

}  // namespace vantorel
