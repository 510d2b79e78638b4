#include "workspace/help.h"

#include "documents/item_editor.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kOverview = "overview.htm";

std::string EscapedHtml(std::string_view text) {
    std::string escaped;
    for (char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

}  // namespace

std::string_view HelpPageOf(HelpSubject subject) {
    switch (subject) {
        case HelpSubject::Overview:
            return kOverview;
        case HelpSubject::Filter:
            return "Filters.htm";
        case HelpSubject::Customize:
            return "customisation.htm";
        case HelpSubject::ReportWizard:
            return "Using_the_Report_Wizard.htm";
        case HelpSubject::WebExport:
            return "Exporting_to_Web.htm";
        case HelpSubject::DisplayStyle:
            return "Choosing_a_Display_Style.htm";
        case HelpSubject::Spelling:
            return "Spelling.htm";
    }
    return kOverview;
}

std::string_view HelpPageOf(const ItemKind& kind) {
    return kind.helpPage.empty() ? kOverview : kind.helpPage;
}

bool FollowedInHelp(const fs::path& helpFolder, std::string_view scheme,
                    const fs::path& localFile) {
    if (scheme != "file")
        return false;
    // "../" can't lead the window out of the folder.
    const fs::path page = localFile.lexically_normal();
    return page.extension() == ".htm" &&
           page.parent_path() == (helpFolder / "").lexically_normal().parent_path();
}

std::string MissingHelpPage(const fs::path& page) {
    return "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>Help page missing</title>"
           "</head><body><h1>Help page missing</h1><p>The help page \"" +
           EscapedHtml(page.filename().string()) + "\" is not installed in " +
           EscapedHtml(page.parent_path().string()) +
           ".</p><p>Install the program again, or read the help pages in the \"resources/Help\" "
           "folder of its sources.</p></body></html>";
}

}  // namespace vantorel
