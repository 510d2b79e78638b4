#include "documents/external_links.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "documents/item_editor.h"
#include "storage/field_values.h"

namespace vantorel {
namespace {

bool StartsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

bool IsExternalLinkField(const FieldDescriptor& row) {
    return row.tag == "<external_link>" || row.tag == "<external_link2>";
}

std::optional<LinkLaunch> PlanLinkLaunch(std::string_view link, UserPort& port) {
    const auto first = link.find_first_not_of(" \t");
    link = first == std::string_view::npos ? std::string_view() : link.substr(first);
    link = link.substr(0, link.find_last_not_of(" \t") + 1);
    if (link.empty()) {
        port.tell(
            {"An external document link must be entered before\nthe launch button can be "
             "used, e.g.\nC:\\My Documents\\TestCase1234.doc\n",
             "Info: Enter an external link", Icon::Information});
        return std::nullopt;
    }
    for (std::string_view scheme : {"http://", "https://", "ftp://", "file:///"})
        if (StartsWith(link, scheme))
            return LinkLaunch{true, std::string(link)};
    if (StartsWith(link, "www."))
        return LinkLaunch{true, "http://" + std::string(link)};

    // A quoted path may be followed by options; the file is what the quotes hold.
    std::string_view file = link;
    if (file.front() == '"') {
        const auto close = file.find('"', 1);
        file = file.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1);
    }
    const std::string path(file);
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        port.tell({FillMessage("The external document link does not point to a valid file.\n"
                               "[%s]\nIf you want to use command line options then encase the "
                               "path in \"\", eg \"c:\\test.exe\" -1",
                               {link}),
                   "Error: Could not find file", Icon::Warning});
        return std::nullopt;
    }
    if (access(path.c_str(), R_OK) != 0) {
        port.tell({FillMessage("You can not open the external document because you do\nnot have "
                               "read permission for this file\n[%s]\n",
                               {link}),
                   "Error: Could not open file", Icon::Warning});
        return std::nullopt;
    }
    return LinkLaunch{false, path};
}

Notice LinkOpenFailure(std::string_view target) {
    return {FillMessage("There was an error while trying to open the external document\n[%s]\n"
                        "There is no application associated with the document type entered.\n"
                        "Use Windows Explorer to make a new association\n",
                        {target}),
            "Error while opening file", Icon::Warning};
}

std::optional<Notice> OutsideLinkQuestion(std::string_view url) {
    const auto lower = [](std::string_view text) {
        std::string result(text);
        std::ranges::transform(result, result.begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return result;
    };
    const std::string scheme = lower(url.substr(0, url.find(':')));
    if (scheme == "http" || scheme == "https" || scheme == "mailto")
        return std::nullopt;
    return Notice{
        FillMessage("This link opens\n\n%s\n\noutside Vantorel. Open it?", {std::string(url)}),
        "Open link", Icon::Question};
}

}  // namespace vantorel
