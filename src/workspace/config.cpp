#include "workspace/config.h"

#include <algorithm>
#include <cstdlib>

#include "storage/file_reading.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"
#include "storage/thread_guard.h"

namespace vantorel {
namespace {

constexpr std::array<ListPaneTags, kListPaneCount> kPanes{{
    {"<ProjectRootColOrder>", "<ProjectRootOrder>", "<ProjectRootWidths>", "<ProjectRootWidth>",
     12},
    {"<ProjectReportsColOrder>", "<ProjectReportsOrder>", "<ProjectReportsWidths>",
     "<ProjectReportsWidth>", 12},
    {"<TestListReportsColOrder>", "<TestListReportsOrder>", "<TestListReportsWidths>",
     "<TestListReportsWidth>", 20},
    {"<PrjTestCasesRootColOrder>", "<PrjTestCasesRootOrder>", "<PrjTestCasesRootWidths>",
     "<PrjTestCasesRootWidth>", 12},
    {"<PrjTestCasesListColOrder>", "<PrjTestCasesListOrder>", "<PrjTestCasesListWidths>",
     "<PrjTestCasesListWidth>", 20},
    {"<TestCasesRootColOrder>", "<TestCasesRootOrder>", "<TestCasesRootWidths>",
     "<TestCasesRootWidth>", 12},
    {"<TestCasesListColOrder>", "<TestCasesListOrder>", "<TestCasesListWidths>",
     "<TestCasesListWidth>", 20},
    {"<TestConfigsColOrder>", "<TestConfigsOrder>", "<TestConfigsWidths>", "<TestConfigsWidth>",
     12},
    {"<ResourcesColOrder>", "<ResourcesOrder>", "<ResourcesWidths>", "<ResourcesWidth>", 12},
    {"<TestersColOrder>", "<TestersOrder>", "<TestersWidths>", "<TestersWidth>", 12},
    {"<FiltersColOrder>", "<FiltersOrder>", "<FiltersWidths>", "<FiltersWidth>", 12},
}};

// Identifier, title and the first descriptive columns get 100 pixels; counts, dates and the
// like further right get 85.
constexpr std::size_t kWideColumns = 4;
constexpr int kWideColumn = 100, kNarrowColumn = 85;

constexpr std::string_view kRoot = "<vantorel_config>";
constexpr std::string_view kOldRecordMagic = "VantorelConfig";

// A decimal number, 0 for anything else.
int Number(const std::string& text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

// Cuts a UTF-8 text at width characters.
std::string CutAt(const std::string& text, std::size_t width) {
    std::u16string wide = Utf8ToUtf16(text);
    if (wide.size() <= width)
        return text;
    wide.resize(width);
    return Utf16ToUtf8(wide);
}

// The writer's text, one element a line, lists on one line.
class ConfigText {
public:
    void Element(std::string_view tag, const std::string& value) {
        xml += std::string(tag) + value + ClosingTag(tag) + "\r\n";
    }
    void Text(std::string_view tag, const std::string& value) { Element(tag, Escaped(value)); }
    void Flag(std::string_view tag, bool value) { Element(tag, value ? "1" : "0"); }
    void Number(std::string_view tag, int value) { Element(tag, std::to_string(value)); }
    template <typename Values, typename Format>
    void List(std::string_view list, std::string_view element, const Values& values,
              Format format) {
        xml += list;
        for (const auto& value : values)
            xml += std::string(element) + format(value) + ClosingTag(element);
        xml += ClosingTag(list) + "\r\n";
    }
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n";
};

// Reads the loaded configuration, one setting at a time, each from the first occurrence of
// its tag; a missing element leaves its setting as it is.
class ConfigReader {
public:
    explicit ConfigReader(const XMLParse& document) : m_document(document) {}

    bool Present(std::string_view tag, std::string& raw) const {
        raw.clear();
        m_document.GetTagWide(tag, raw);
        return !raw.empty();
    }
    void Text(std::string_view tag, std::string& setting, std::size_t width) const {
        std::string raw;
        if (Present(tag, raw)) {
            Unescape(raw);
            setting = CutAt(raw, width);
        }
    }
    void Flag(std::string_view tag, bool& setting) const {
        std::string raw;
        if (Present(tag, raw))
            setting = vantorel::Number(raw) != 0;
    }
    void Number(std::string_view tag, int& setting) const {
        std::string raw;
        if (Present(tag, raw))
            setting = vantorel::Number(raw);
    }
    // The n-th element of the list fills entry n; surplus elements are ignored.
    std::vector<std::string> List(std::string_view list, std::string_view element,
                                  std::size_t entries) const {
        std::string raw;
        std::vector<std::string> values;
        if (!Present(list, raw))
            return values;
        XMLParse items;
        items.LoadText(raw);
        values = ReadRepeated(items, element);
        if (values.size() > entries)
            values.resize(entries);
        return values;
    }

private:
    const XMLParse& m_document;
};

// Whether the file begins with the magic word of the older record form, in single or
// two-byte characters.
bool BeginsWithOldRecord(const std::filesystem::path& file) {
    std::string start;
    if (ReadRegularFile(file, start) != 0)
        return false;
    std::string wide;
    for (char c : kOldRecordMagic) {
        wide += c;
        wide += '\0';
    }
    return start.starts_with(kOldRecordMagic) || start == wide;
}

}  // namespace

const std::array<ListPaneTags, kListPaneCount>& ListPanes() {
    return kPanes;
}

bool LayoutFits(ListPane pane, const ColumnLayout& layout) {
    const std::size_t slots = kPanes[pane].columns;
    if (layout.order.size() != slots || layout.widths.size() != slots)
        return false;
    std::vector<bool> seen(slots, false);
    for (int column : layout.order) {
        if (column < 0 || static_cast<std::size_t>(column) >= slots || seen[column])
            return false;
        seen[column] = true;
    }
    return std::ranges::all_of(layout.widths,
                               [](int width) { return width >= 10 && width <= 4000; });
}

ConfigSettings DefaultSettings(const std::filesystem::path& dataFolder) {
    ConfigSettings settings;
    settings.lastDbPath = (dataFolder / "SampleDB").string();
    for (std::size_t pane = 0; pane < kListPaneCount; ++pane) {
        ColumnLayout& layout = settings.columns[pane];
        for (std::size_t column = 0; column < kPanes[pane].columns; ++column) {
            layout.order.push_back(static_cast<int>(column));
            layout.widths.push_back(column < kWideColumns ? kWideColumn : kNarrowColumn);
        }
    }
    return settings;
}

Config::Config(const std::filesystem::path& configFolder, const std::filesystem::path& dataFolder,
               UserPort& port)
    : m_dataFolder(dataFolder), m_port(port), m_settings(DefaultSettings(dataFolder)) {
    std::error_code error;
    std::filesystem::create_directories(configFolder, error);
    m_file = configFolder / std::string(kConfigFileName);
    if (std::filesystem::exists(m_file, error))
        Read();
    else
        Write();
}

bool Config::Read() {
    WindowThreadMayRead local("the user's own options, on the local disk");
    XMLParse document;
    if (document.OpenWide(m_file) != 0 || document.LoadWide() != 0) {
        Reset();
        return false;
    }
    std::string root;
    document.GetTagWide(kRoot, root, 8);
    if (root.empty()) {
        // Older programs kept a fixed-size record that begins with a magic word; its layouts
        // are not known to us, so such a file is treated as unreadable.
        const bool oldRecord = BeginsWithOldRecord(m_file);
        Reset();
        m_port.tell(
            {std::string(oldRecord ? "Error: Unable to read config file, may be an old "
                                     "version - Config has been reset"
                                   : "Error: Corrupt configuration file - Invalid content") +
                 "\n" + m_file.string(),
             "Error", Icon::Warning});
        return false;
    }

    const ConfigReader read(document);
    ConfigSettings& s = m_settings;
    read.Text("<LastDBPath>", s.lastDbPath, kConfigPathWidth);
    read.Text("<LastDBFileName>", s.lastDbFileName, kConfigFileNameWidth);
    read.Text("<TemplatePath>", s.templatePath, kConfigPathWidth);
    const auto recent = read.List("<RecentDatabases>", "<RecentDB>", kRecentDatabases);
    for (std::size_t i = 0; i < kRecentDatabases; ++i) {
        std::string path = i < recent.size() ? recent[i] : std::string();
        Unescape(path);
        s.recentDatabases[i] = CutAt(path, kConfigPathWidth);
    }
    read.Flag("<IncrementalDup>", s.incrementalDup);
    read.Flag("<IncrementalNew>", s.incrementalNew);
    read.Flag("<ChangeIconsInTreeview>", s.changeIconsInTreeview);
    for (std::size_t pane = 0; pane < kListPaneCount; ++pane) {
        const ListPaneTags& tags = kPanes[pane];
        const auto order = read.List(tags.orderList, tags.orderElement, tags.columns);
        for (std::size_t i = 0; i < order.size(); ++i)
            s.columns[pane].order[i] = Number(order[i]);
        const auto widths = read.List(tags.widthList, tags.widthElement, tags.columns);
        for (std::size_t i = 0; i < widths.size(); ++i)
            s.columns[pane].widths[i] = Number(widths[i]);
        // A pane whose columns don't make sense (a column twice, one missing, a width of
        // nothing) takes its defaults; the other panes and settings keep what was read.
        if (!LayoutFits(static_cast<ListPane>(pane), s.columns[pane]))
            s.columns[pane] = DefaultSettings(m_dataFolder).columns[pane];
    }
    read.Flag("<ShowExtraTSInfo>", s.showExtraTsInfo);
    read.Flag("<UseSpellChecker>", s.useSpellChecker);
    read.Flag("<AutoSpellOnLoad>", s.autoSpellOnLoad);
    read.Flag("<PrintFooter>", s.printFooter);
    read.Flag("<ShowStartupDialog>", s.showStartupDialog);
    read.Flag("<AutoAddUser>", s.autoAddUser);
    read.Text("<ViewReqPath>", s.viewReqPath, kConfigPathWidth);
    read.Text("<ViewBugPath>", s.viewBugPath, kConfigPathWidth);
    read.Text("<AddBugPath>", s.addBugPath, kConfigPathWidth);
    read.Number("<XPos>", s.xPos);
    read.Number("<YPos>", s.yPos);
    read.Number("<Width>", s.width);
    read.Number("<Height>", s.height);
    read.Number("<TreeWidth>", s.treeWidth);
    read.Text("<HTMLEditorPath>", s.htmlEditorPath, kConfigPathWidth);
    read.Number("<PollInterval>", s.pollInterval);
    read.Text("<SpellLanguage>", s.spelling.language, kConfigFileNameWidth);
    read.Flag("<SpellSkipDigits>", s.spelling.skipWithDigits);
    read.Flag("<SpellSkipCapitals>", s.spelling.skipCapitals);
    read.Flag("<SpellSkipAddresses>", s.spelling.skipAddresses);
    return true;
}

bool Config::Write() {
    const ConfigSettings& s = m_settings;
    ConfigText text;
    text.xml += std::string(kRoot) + "\r\n";
    text.Text("<LastDBPath>", s.lastDbPath);
    text.Text("<LastDBFileName>", s.lastDbFileName);
    text.Text("<TemplatePath>", s.templatePath);
    std::vector<std::string> recent;
    for (const std::string& path : s.recentDatabases)
        if (!path.empty())
            recent.push_back(path);
    text.List("<RecentDatabases>", "<RecentDB>", recent, Escaped);
    text.Flag("<IncrementalDup>", s.incrementalDup);
    text.Flag("<IncrementalNew>", s.incrementalNew);
    text.Flag("<ChangeIconsInTreeview>", s.changeIconsInTreeview);
    auto decimal = [](int value) { return std::to_string(value); };
    for (std::size_t pane = 0; pane < kListPaneCount; ++pane)
        text.List(kPanes[pane].orderList, kPanes[pane].orderElement, s.columns[pane].order,
                  decimal);
    for (std::size_t pane = 0; pane < kListPaneCount; ++pane)
        text.List(kPanes[pane].widthList, kPanes[pane].widthElement, s.columns[pane].widths,
                  decimal);
    text.Flag("<ShowExtraTSInfo>", s.showExtraTsInfo);
    text.Flag("<UseSpellChecker>", s.useSpellChecker);
    text.Flag("<AutoSpellOnLoad>", s.autoSpellOnLoad);
    text.Flag("<PrintFooter>", s.printFooter);
    text.Flag("<ShowStartupDialog>", s.showStartupDialog);
    text.Flag("<AutoAddUser>", s.autoAddUser);
    text.Text("<ViewReqPath>", s.viewReqPath);
    text.Text("<ViewBugPath>", s.viewBugPath);
    text.Text("<AddBugPath>", s.addBugPath);
    text.Number("<XPos>", s.xPos);
    text.Number("<YPos>", s.yPos);
    text.Number("<Width>", s.width);
    text.Number("<Height>", s.height);
    // After the window's rectangle, where a reader that doesn't know it passes over it.
    text.Number("<TreeWidth>", s.treeWidth);
    text.Text("<HTMLEditorPath>", s.htmlEditorPath);
    text.Number("<PollInterval>", s.pollInterval);
    text.Text("<SpellLanguage>", s.spelling.language);
    text.Flag("<SpellSkipDigits>", s.spelling.skipWithDigits);
    text.Flag("<SpellSkipCapitals>", s.spelling.skipCapitals);
    text.Flag("<SpellSkipAddresses>", s.spelling.skipAddresses);
    text.xml += ClosingTag(kRoot) + "\r\n";

    XMLParse document;
    document.OpenWrite(m_file);
    document.WriteWide(text.xml, true);
    if (!document.Commit().ok()) {
        m_port.tell(
            {"Error: Could not create new Vantorel configuration file", "Error", Icon::Warning});
        return false;
    }
    return true;
}

void Config::AddRecentDatabase(const std::string& databaseFolder) {
    auto& recent = m_settings.recentDatabases;
    std::vector<std::string> kept{databaseFolder};
    for (const std::string& path : recent)
        if (!path.empty() && path != databaseFolder && kept.size() < kRecentDatabases)
            kept.push_back(path);
    kept.resize(kRecentDatabases);
    std::copy(kept.begin(), kept.end(), recent.begin());
}

}  // namespace vantorel
