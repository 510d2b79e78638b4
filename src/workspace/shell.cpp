#include "workspace/shell.h"

#include <cstdio>

#include "storage/vantorel_database.h"

namespace vantorel {

std::string MakeTitle(const std::optional<std::filesystem::path>& database, bool evaluation) {
    const std::string where = database ? database->string() : "No database selected";
    std::string title = "Vantorel " + std::string(kProductVersion) +
                        (evaluation ? " Evaluation version  [" : " [") + where + "]";
    if (title.size() > kTitleMax - 1)
        title.resize(kTitleMax - 1);
    return title;
}

void StatusProgress::Show() {
    char text[64];
    std::snprintf(text, sizeof text, "%d / %d processed", m_processed, m_total);
    m_text = text;
}

void StatusProgress::StartProgress(int total) {
    m_active = true;
    m_processed = 0;
    m_total = total;
    Show();
    if (m_processed == m_total)
        m_active = false;
}

void StatusProgress::StepProgress() {
    if (!m_active)
        return;
    ++m_processed;
    Show();
    if (m_processed == m_total)
        m_active = false;
}

void StatusProgress::ResetProgress() {
    m_processed = m_total = 0;
    m_active = false;
    m_text.clear();
}

void StatusProgress::ShowReported(int processed, int total) {
    if (total <= 0) {
        ResetProgress();
        return;
    }
    m_processed = processed;
    m_total = total;
    m_active = processed < total;
    Show();
}

std::vector<MenuEntry> RecentDatabaseMenu(const ConfigSettings& settings) {
    std::vector<MenuEntry> entries;
    for (std::size_t slot = 0; slot < settings.recentDatabases.size(); ++slot)
        if (!settings.recentDatabases[slot].empty())
            entries.push_back({kFirstRecentDatabaseCommand + static_cast<int>(slot),
                               settings.recentDatabases[slot]});
    return entries;
}

StartupResult ChooseStartup(StartupChoice choice, bool showAtStartup, ConfigSettings& settings,
                            const std::filesystem::path& dataFolder) {
    if (choice == StartupChoice::Cancel)
        return {};
    if (!showAtStartup)
        settings.showStartupDialog = false;
    switch (choice) {
        case StartupChoice::LoadLast:
            return {settings.lastDbPath};
        case StartupChoice::Browse:
            return {{}, true};
        case StartupChoice::CreateNew:
            return {std::string(kCreateNewDatabase)};
        case StartupChoice::SampleDatabase:
            return {(dataFolder / "SampleDB").string()};
        default:
            return {};
    }
}

std::string LastDatabaseName(const ConfigSettings& settings) {
    std::string path = settings.lastDbPath;
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return std::filesystem::path(path).filename().string();
}

}  // namespace vantorel
