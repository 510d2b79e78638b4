#include "render/template.h"

#include <strings.h>

#include <cctype>
#include <iterator>

#include "storage/file_reading.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

constexpr std::string_view kOpen = "<!--";
constexpr std::string_view kClose = "-->";

std::optional<std::string> ReadWhole(const std::filesystem::path& file) {
    std::string text;
    if (ReadRegularFile(file, text) != 0)
        return std::nullopt;
    return text;
}

// Just past the first start tag <name ...> of text, ignoring case; npos when there is none.
std::size_t AfterStartTag(std::string_view text, std::string_view name) {
    for (std::size_t at = text.find('<'); at != std::string_view::npos;
         at = text.find('<', at + 1)) {
        const std::size_t end = at + 1 + name.size();
        if (end >= text.size() || strncasecmp(text.data() + at + 1, name.data(), name.size()) != 0)
            continue;
        if (text[end] != '>' && !std::isspace(static_cast<unsigned char>(text[end])))
            continue;  // <header>, not <head>
        const std::size_t close = text.find('>', end);
        return close == std::string_view::npos ? close : close + 1;
    }
    return std::string_view::npos;
}

// The policy goes where a browser takes it: first in the head, or first in the page when the
// head is left implicit.
std::string WithPagePolicy(std::string text) {
    std::size_t at = AfterStartTag(text, "head");
    if (at == std::string::npos)
        at = AfterStartTag(text, "html");
    if (at != std::string::npos)
        text.insert(at, kPagePolicy);
    return text;
}

}  // namespace

bool Template::Load(const std::filesystem::path& file) {
    std::optional<std::string> text = ReadWhole(file);
    m_loaded = text.has_value();
    m_text = m_loaded ? WithPagePolicy(std::move(*text)) : std::string();
    return m_loaded;
}

void Template::LoadText(std::string text) {
    m_text = WithPagePolicy(std::move(text));
    m_loaded = true;
}

std::string UrlPath(std::string_view path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string encoded;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
            encoded += static_cast<char>(c);
        } else {
            encoded += '%';
            encoded += kHex[c >> 4];
            encoded += kHex[c & 0xF];
        }
    }
    return encoded;
}

std::string BreadcrumbBar(const std::vector<BreadcrumbLink>& levels, std::string_view imagePath) {
    std::string html =
        "<div class=\"Breadcrumbs\">\n<table class=VTHeader width=100%><tr "
        "class=VTHeader><td width = 15%><img src=\"" +
        std::string(imagePath) + "vtlogo.gif\"></td><td class=VTHeader valign=\"top\">Location:";
    for (std::size_t level = 0; level < levels.size(); ++level) {
        if (level > 0)
            html += "&raquo;";
        html += "<a href=\"" + levels[level].href + "\">" + levels[level].html + "</a>";
    }
    return html + "</td></tr></table></div>\n";
}

std::string StyleSheetText(const std::filesystem::path& styleFolder, std::string_view imagePath) {
    return ReplaceAll(ReadWhole(styleFolder / kStyleSheetName).value_or(""), "<!--VT_IMAGEPATH-->",
                      imagePath);
}

std::string StyleSheetElement(const PageSettings& page) {
    if (!page.inlineStyle)
        return "<LINK REL=StyleSheet HREF=\"" + page.styleHref + std::string(kStyleSheetName) +
               "\" TYPE=\"text/css\">\n";
    return "<STYLE TYPE=\"text/css\">\n" + StyleSheetText(page.styleFolder, page.imagePath) +
           "</STYLE>\n";
}

std::optional<std::string> Template::PageLevel(std::string_view placeholder,
                                               const PageSettings& page) const {
    if (placeholder == "VT_STYLE") {
        std::string style = StyleSheetElement(page) + std::string(kRichTextContainment);
        // A page shown from the database resolves the style's files from the style folder. The
        // base element is written in the program's long-standing form.
        if (!page.exported)
            style += "<BASE HREF=\"" + page.styleFolder.string() + "/\"</BASE>\n";
        return style;
    }
    if (placeholder == "VT_BREADCRUMBS")
        return page.breadcrumbs;
    if (placeholder == "VT_HEADER")
        return page.header;
    if (placeholder == "VT_EDIT_FORM_START")
        return page.editMode ? "<form action=VantorelCGI.cgi method=post name=VTForm>"
                             : std::string();
    if (placeholder == "VT_EDIT_FORM_END")
        return page.editMode ? "<input type=submit name=submit value=\"Save Changes\"></form>"
                             : std::string();
    if (placeholder == "VT_IMAGEPATH")
        return page.imagePath;
    if (placeholder == "VT_LIST")
        return page.list;
    return std::nullopt;
}

std::string Template::Fill(const PageSettings& page, const Renderer& renderer) const {
    if (!m_loaded)
        return std::string(kTemplateMissingPage);
    std::string out;
    out.reserve(m_text.size() * 2);
    std::size_t at = 0;
    while (at < m_text.size()) {
        const std::size_t open = m_text.find(kOpen, at);
        if (open == std::string::npos)
            break;
        out.append(m_text, at, open - at);
        const std::size_t close = m_text.find(kClose, open + kOpen.size());
        if (close == std::string::npos) {
            at = open;
            break;
        }
        const std::size_t end = close + kClose.size();
        const std::string_view comment(m_text.data() + open, end - open);
        at = end;
        if (comment.size() >= kPlaceholderMax) {
            out += comment;
            continue;
        }
        const std::string_view inside = comment.substr(kOpen.size(), comment.size() - 7);
        if (std::optional<std::string> text = PageLevel(inside, page)) {
            out += *text;
        } else if (std::optional<std::string> field = renderer ? renderer(inside) : std::nullopt) {
            out += *field;
        } else {
            out += kUnmatchedPlaceholder;
        }
    }
    out.append(m_text, at, std::string::npos);
    return out;
}

}  // namespace vantorel
