#pragma once
// Template: an item page is a template of the chosen display style with its placeholders
// filled. Placeholders are HTML comments; the page-level ones are filled here from the page's
// settings, every other comment is offered to the item's renderer, and a comment nobody
// knows becomes a fixed remark, so a page is always produced.

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

inline constexpr std::string_view kTemplateMissingPage =
    "<b>Vantorel: Couldn't load template file - Please select a template to use from the "
    "Display Style option under the Edit menu (Vantorel standalone) or the Configuration link "
    "(Vantorel CGI)<b>";
inline constexpr std::string_view kUnmatchedPlaceholder = "<!--Vantorel: Couldn't match tag-->";
// A comment this long or longer is text, never a placeholder.
inline constexpr std::size_t kPlaceholderMax = 1024;
inline constexpr std::string_view kEmptyValue = "&nbsp;";
inline constexpr std::string_view kStyleSheetName = "style.css";
// The policy every page carries: no script of any kind runs in it. Pages need none, and rich
// text is HTML that anyone who can write to the database may have typed or pasted. Style
// sheets come only from the style itself or the page; pictures from wherever a rich text
// shows them.
inline constexpr std::string_view kPagePolicy =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
    "'self' file: 'unsafe-inline'; img-src * data: file:\">\n";

// After a page's style sheet, so no style undoes it: rich text stays inside its box. A value's
// own style can neither take it out of the page's flow nor paint it over the page's heading
// and breadcrumbs ("every test passed" over a failing page).
inline constexpr std::string_view kRichTextContainment =
    "<STYLE TYPE=\"text/css\">.RichText{position:relative;overflow:auto;contain:paint}"
    ".RichText *{position:static!important}</STYLE>\n";

// Where a page will be read, and what the page-level placeholders hold.
// What a project suite's list shows of one test case: the stored values of its title, status,
// priority, testers and date of last attempt.
inline constexpr std::size_t kSuiteCellCount = 5;
using SuiteCells = std::array<std::string, kSuiteCellCount>;

struct PageSettings {
    std::filesystem::path styleFolder;  // the display style's folder, holding style.css
    bool exported = false;              // a file of the web export, not the desktop view
    bool inlineStyle = true;            // style.css written into the page, else linked
    std::string styleHref;              // where a linked style sheet is, "../../" and the like
    std::string imagePath = "images/";  // how the page reaches the style's images
    bool editMode = false;
    std::string breadcrumbs;
    std::string header;
    std::string list;  // <!--VT_LIST-->: a folder's contents
    // The href of a link to an item of the database (a document or a folder), where a page's
    // own lists link to items (the project suite's list); unset, the web export's page names
    // relative to the page.
    std::function<std::string(const std::filesystem::path& item)> itemHref;
    // A project suite's list: the cells of the test case in document as the page of that test
    // case found them moments ago (the web export makes a suite's page after its test cases'),
    // so its document is not read a second time. Unset, or none for it, and it is read.
    std::function<std::optional<SuiteCells>(const std::filesystem::path& document)> knownCells;
};

class Template {
public:
    // Loads the template at file; false when it can't be read, and the page is then the fixed
    // text that says so. A template of a whole page (one with <head> or <html>) gets
    // kPagePolicy first thing in its head; one with neither is a piece of a page and is kept
    // as it is.
    bool Load(const std::filesystem::path& file);
    void LoadText(std::string text);
    bool Loaded() const { return m_loaded; }

    // The renderer's part: the text for a placeholder (the comment's inside, "VT_ID_DATA"),
    // or none when the placeholder is not its own.
    using Renderer = std::function<std::optional<std::string>(std::string_view placeholder)>;
    std::string Fill(const PageSettings& page, const Renderer& renderer) const;

private:
    std::optional<std::string> PageLevel(std::string_view placeholder,
                                         const PageSettings& page) const;

    std::string m_text;
    bool m_loaded = false;
};

// href paths: every byte outside the unreserved set is percent-encoded, "/" kept.
std::string UrlPath(std::string_view path);

// One level of a page's breadcrumbs: what it shows (HTML) and where it leads (a ready href).
struct BreadcrumbLink {
    std::string html;
    std::string href;
};
// The breadcrumb bar: the style's logo (from imagePath) and the levels as links, the first
// level first.
std::string BreadcrumbBar(const std::vector<BreadcrumbLink>& levels, std::string_view imagePath);

// The style's style.css with its images paths filled in; empty when it can't be read.
std::string StyleSheetText(const std::filesystem::path& styleFolder, std::string_view imagePath);

// The style sheet as a page carries it: inlined with the images path put in, or linked.
std::string StyleSheetElement(const PageSettings& page);

}  // namespace vantorel
