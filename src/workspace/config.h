#pragma once
// Config: the program's settings on this computer, kept in "Vantorel.cfg": the database opened
// last and the recent ones, the display style, options, the column order and widths of every
// list pane, the main window's rectangle, the commands that open requirement and fault
// report links and the external HTML editor. The file is the one UTF-16 document of the program.

#include <array>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "documents/spelling.h"
#include "platform/user_port.h"

namespace vantorel {

inline constexpr std::string_view kConfigFileName = "Vantorel.cfg";
inline constexpr std::size_t kRecentDatabases = 5;
inline constexpr std::size_t kConfigPathWidth = 512;
inline constexpr std::size_t kConfigFileNameWidth = 256;

// The list panes whose columns can be ordered and sized, in the file's order.
enum ListPane {
    LP_PROJECT_ROOT,
    LP_PROJECT_REPORTS,
    LP_TEST_LIST_REPORTS,
    LP_PRJ_TEST_CASES_ROOT,
    LP_PRJ_TEST_CASES_LIST,
    LP_TEST_CASES_ROOT,
    LP_TEST_CASES_LIST,
    LP_TEST_CONFIGS,
    LP_RESOURCES,
    LP_TESTERS,
    LP_FILTERS,
};
inline constexpr std::size_t kListPaneCount = 11;

struct ListPaneTags {
    std::string_view orderList, orderElement, widthList, widthElement;
    std::size_t columns;
};
const std::array<ListPaneTags, kListPaneCount>& ListPanes();

struct ColumnLayout {
    std::vector<int> order;   // a permutation of the column indexes
    std::vector<int> widths;  // pixels
    bool operator==(const ColumnLayout&) const = default;
};

// Whether layout fits the pane: a permutation of its slots and a width each between 10 and
// 4000 pixels. Reading resets a pane whose layout doesn't.
bool LayoutFits(ListPane pane, const ColumnLayout& layout);

struct ConfigSettings {
    std::string lastDbPath;
    std::string lastDbFileName = "VantorelDatabase.vdb";
    std::string templatePath = "default";
    std::array<std::string, kRecentDatabases> recentDatabases;
    bool incrementalDup = false;
    bool incrementalNew = false;
    bool changeIconsInTreeview = true;
    bool showExtraTsInfo = true;
    bool useSpellChecker = true;
    bool autoSpellOnLoad = false;
    bool printFooter = true;
    bool showStartupDialog = true;
    bool autoAddUser = false;
    std::string viewReqPath;
    std::string viewBugPath;
    std::string addBugPath;
    // The external HTML editor of the rich-text fields, given the working file after it.
    std::string htmlEditorPath;
    // The main window; a width or height of 0 leaves size and place to the window system.
    int xPos = 0, yPos = 0, width = 0, height = 0;
    // The navigation tree's width; 0 gives it a third of the window.
    int treeWidth = 0;
    // Milliseconds between two listings of the shown folders of a database on a file server
    // or a FUSE mount, where the system can't tell this computer of other users' changes.
    int pollInterval = 2000;
    // The spelling check's dictionary and the words it passes over.
    SpellingOptions spelling;
    std::array<ColumnLayout, kListPaneCount> columns;
    bool operator==(const ConfigSettings&) const = default;
};

// The settings of a first start: the last database is the sample database in dataFolder.
ConfigSettings DefaultSettings(const std::filesystem::path& dataFolder);

class Config {
public:
    // Fixes the file (configFolder/Vantorel.cfg, the folder made when missing), fills the
    // defaults, then reads the file, or writes it with the defaults when there is none.
    Config(const std::filesystem::path& configFolder, const std::filesystem::path& dataFolder,
           UserPort& port);

    // Reads the file over the current settings. A file that can't be opened resets them
    // quietly; one that is not a configuration resets them and tells the user.
    bool Read();
    // Writes the whole file anew; false after telling the user.
    bool Write();

    ConfigSettings& Settings() { return m_settings; }
    const ConfigSettings& Settings() const { return m_settings; }
    const std::filesystem::path& File() const { return m_file; }

    // Puts databaseFolder at the top of the recent list, once.
    void AddRecentDatabase(const std::string& databaseFolder);

private:
    void Reset() { m_settings = DefaultSettings(m_dataFolder); }

    std::filesystem::path m_file;
    std::filesystem::path m_dataFolder;
    UserPort& m_port;
    ConfigSettings m_settings;
};

}  // namespace vantorel
