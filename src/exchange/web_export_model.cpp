#include "exchange/web_export_model.h"

#include <algorithm>
#include <cstdlib>

#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;

WebExportModel::WebExportModel(UserPort& port, const CustomCfg& custom, ChartPainter* charts,
                               Setup setup)
    : m_port(port),
      m_custom(custom),
      m_charts(charts),
      m_setup(std::move(setup)),
      m_styles(DisplayStyles(m_setup.stylesRoot)),
      m_text(kReadyText) {}

std::size_t WebExportModel::StartingStyle() const {
    for (const std::string& wanted : {m_setup.preferredStyle, std::string("default")}) {
        const auto found = std::ranges::find(m_styles, wanted);
        if (found != m_styles.end())
            return static_cast<std::size_t>(found - m_styles.begin());
    }
    return 0;
}

bool WebExportModel::Prepare(const std::string& style, const std::string& destination) {
    const std::string typed = Trimmed(destination);
    if (typed.empty()) {
        m_port.tell({"You must enter the export destination.", "Error", Icon::Error});
        return false;
    }
    m_style = style;
    fs::path chosen = typed;
    const char* home = std::getenv("HOME");
    if (home && *home && (typed == "~" || typed.starts_with("~/")))
        chosen = fs::path(home) / typed.substr(std::min<std::size_t>(2, typed.size()));
    else if (chosen.is_relative())
        chosen = m_setup.home / chosen;
    m_destination = chosen.lexically_normal();
    return true;
}

std::optional<fs::path> WebExportModel::Export(std::stop_token stop, const CalendarDate& date) {
    std::error_code error;
    if (!fs::is_directory(m_setup.projectFolder, error)) {
        m_port.tell({"The project \"" + ProjectName() +
                         "\" has been renamed or removed since the export was chosen, so it "
                         "can't be exported. Choose the project again in the tree.",
                     "Project not found", Icon::Warning});
        SetProgressText(std::string(kNotExportedText));
        return std::nullopt;
    }
    ExportWeb exporter(m_port, m_custom, m_charts,
                       [this](const std::string& text) { SetProgressText(text); });
    WebExportRequest request;
    request.projectFolder = m_setup.projectFolder;
    request.stylesRoot = m_setup.stylesRoot;
    request.style = m_style;
    request.destination = m_destination;
    request.askBeforeOverwriting = true;
    request.exportDate = date;
    request.stop = stop;
    std::optional<fs::path> page = exporter.Run(request);
    if (page)
        SetProgressText("Exported to " + page->string());
    else
        SetProgressText(std::string(stop.stop_requested() ? kCancelledText : kNotExportedText));
    return page;
}

std::string WebExportModel::ProgressText() const {
    std::lock_guard lock(m_textMutex);
    return m_text;
}

void WebExportModel::SetProgressText(const std::string& text) {
    {
        std::lock_guard lock(m_textMutex);
        m_text = text;
    }
    if (m_changed)
        m_changed();
}

bool WebExportModel::AskToView() {
    return AskToViewExport(m_port);
}

Notice BrowserOpenFailure(const fs::path& page, bool launcherFound) {
    constexpr char kCaption[] = "Error opening browser";
    std::error_code error;
    if (!fs::exists(page.parent_path(), error))
        return {"The specified path was not found", kCaption, Icon::Warning};
    if (!fs::exists(page, error))
        return {"The specified file was not found\n" + page.string(), kCaption, Icon::Warning};
    if (!launcherFound)
        return {"There is no application associated with the given file name extension", kCaption,
                Icon::Warning};
    return {"An error occured while trying to open the browser", kCaption, Icon::Warning};
}

}  // namespace vantorel
