#pragma once
// The shell's own state and rules that need no window: the main window's caption, the status
// bar's progress counter, the recent-database entries of the File menu and the start-up
// options. The desktop window shows what these decide.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workspace/config.h"

namespace vantorel {

inline constexpr std::size_t kTitleMax = 310;
inline constexpr int kFirstRecentDatabaseCommand = 40245;
// The start-up dialog's path that asks for a new database instead of opening one.
inline constexpr std::string_view kCreateNewDatabase = "__CREATE_NEW_DB__";

// "Vantorel V3.2 [path]", "Vantorel V3.2 [No database selected]" without a database, with
// "Evaluation version" and two blanks before the bracket in evaluation mode; at most 309
// characters.
std::string MakeTitle(const std::optional<std::filesystem::path>& database,
                      bool evaluation = false);

// The status bar's progress counter: "%d / %d processed" while a long operation runs.
class StatusProgress {
public:
    void StartProgress(int total);
    // Counts one more item while the counter is active.
    void StepProgress();
    void ResetProgress();
    // Shows the numbers a long operation reported through the port; a total of 0 clears the
    // counter.
    void ShowReported(int processed, int total);

    bool Active() const { return m_active; }
    const std::string& Text() const { return m_text; }

private:
    void Show();

    int m_total = 0;
    int m_processed = 0;
    bool m_active = false;
    std::string m_text;
};

struct MenuEntry {
    int command;
    std::string text;
    bool operator==(const MenuEntry&) const = default;
};
// One entry per recent database that is set, in slot order; slot n has command 40245 + n, so
// an empty slot leaves its command out.
std::vector<MenuEntry> RecentDatabaseMenu(const ConfigSettings& settings);

// The start-up options dialog.
enum class StartupChoice { LoadLast, Browse, CreateNew, SampleDatabase, NoDatabase, Cancel };
struct StartupResult {
    std::string path;     // database folder, kCreateNewDatabase, or empty for none
    bool browse = false;  // the shell runs the open-database file dialog
};
// What the dialog leads to; unticking "Show this dialog at startup" clears that option.
StartupResult ChooseStartup(StartupChoice choice, bool showAtStartup, ConfigSettings& settings,
                            const std::filesystem::path& dataFolder);
// The dialog's text for the last database: its path's final component.
std::string LastDatabaseName(const ConfigSettings& settings);

}  // namespace vantorel
