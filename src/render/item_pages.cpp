#include "render/item_pages.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "documents/custom_cfg.h"
#include "documents/field_dialog.h"
#include "documents/field_tables.h"
#include "documents/history.h"
#include "documents/test_group.h"
#include "filters/filter.h"
#include "platform/clock_text.h"
#include "render/style_images.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// printf-style formatting into a string of whatever length the result needs.
std::string Format(const char* format, auto... values) {
    const int length = std::snprintf(nullptr, 0, format, values...);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::snprintf(text.data(), text.size() + 1, format, values...);
    return text;
}

bool IsLinkField(std::string_view tag) {
    return tag == "<external_link>" || tag == "<external_link2>";
}

bool IsDurationField(std::string_view tag) {
    return tag == "<test_duration>" || tag == "<actual_duration>";
}

std::string DateEdit(std::string_view stem, std::string_view stored) {
    const std::optional<CalendarDate> date = ParseStoredDate(stored);
    const std::string name(stem);
    std::string html = "<select name=\"" + name + "day\" class =\"" + name + "day\">";
    for (int day = 1; day <= 31; ++day)
        html += Format(date && date->day == day ? "<option selected value=%d>%d</option>"
                                                : "<option value=%d>%d</option>",
                       day, day);
    html += "</select><select name=\"" + name + "month\" class =\"" + name + "month\">";
    for (int month = 1; month <= 12; ++month) {
        html += Format("<option %s value=%d>%s</option>",
                       date && date->month == month ? "selected" : "", month,
                       MonthAbbreviation(month).data());
    }
    html += "</select><input name=\"" + name + "year\" type=\"text\" class=\"" + name +
            "year\" value=\"" + (date ? std::to_string(date->year) : std::string()) + "\">";
    return html;
}

}  // namespace

std::string HtmlColour(std::uint32_t colour) {
    return Format("#%02x%02x%02x", colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
}

std::string PageValue(FieldType type, std::string_view stored) {
    switch (type) {
        case FT_RICH_TEXT:
            return DisplayValue(type, stored);
        case FT_DATE:
            return HtmlEscaped(DisplayValue(type, stored));
        default:
            return HtmlEscaped(Unescaped(std::string(stored)));
    }
}

bool ShowsNothing(std::string_view html) {
    static constexpr std::string_view kNothing[] = {" ",      "\t",   "\r",    "\n",
                                                    "&nbsp;", "<br>", "<br/>", "<br />"};
    for (std::size_t at = 0; at < html.size();) {
        const auto blank = std::ranges::find_if(kNothing, [&](std::string_view nothing) {
            return html.size() - at >= nothing.size() &&
                   strncasecmp(html.data() + at, nothing.data(), nothing.size()) == 0;
        });
        if (blank == std::end(kNothing))
            return false;
        at += blank->size();
    }
    return true;
}

std::string LinkValue(std::string_view link) {
    const std::string text = HtmlEscaped(link);
    for (std::string_view web : {"http://", "www.", "https://"})
        if (link.starts_with(web)) {
            // "www." addresses need a scheme to leave the page's own folder.
            const std::string prefix = web == "www." ? "http://" : "";
            return "<a href=\"" + prefix + text + "\">" + text + "</a>";
        }
    return "<a href=\"file://" + text + "\">" + text + "</a>";
}

ItemCore::ItemCore(std::span<const FieldDescriptor> fields, const CustomCfg& custom,
                   std::string_view failedLoad)
    : m_fields(FieldRows(fields)), m_custom(custom), m_failedLoad(failedLoad) {}

bool ItemCore::Load(const fs::path& document) {
    m_document = document;
    m_values.reset();
    m_index.reset();
    m_loaded = m_doc.OpenFastRead(document) == 0 && m_doc.Load() == 0;
    return m_loaded;
}

void ItemCore::LoadText(std::string text) {
    m_values.reset();
    m_index.reset();
    m_doc.LoadText(std::move(text));
    m_loaded = true;
}

std::string ItemCore::FieldTable() const {
    std::string html = "<table class=\"Fields\">\n";
    for (const FieldDescriptor& row : m_fields) {
        const std::string_view heading =
            row.longHeading.empty() ? row.shortHeading : row.longHeading;
        if (heading.empty() || row.type == FT_PASSWORD)
            continue;
        const std::string value = Data(row, Stored(row.tag));
        html += "<tr><th>" + std::string(heading) + "</th><td>" +
                (value.empty() ? std::string(kEmptyValue) : value) + "</td></tr>\n";
    }
    return html + "</table>\n";
}

std::string ItemCore::Stored(std::string_view tag) const {
    if (m_values) {
        for (std::size_t row = 0; row < m_fields.size() && row < m_values->size(); ++row)
            if (m_fields[row].tag == tag)
                return (*m_values)[row];
        return {};
    }
    if (!m_loaded)
        return {};
    if (!m_index) {
        std::vector<std::string_view> tags;
        for (const FieldDescriptor& row : m_fields)
            tags.push_back(row.tag);
        m_index.emplace(tags);
        m_index->Scan(m_doc.Text());
    }
    for (std::size_t row = 0; row < m_fields.size(); ++row)
        if (m_fields[row].tag == tag)
            return std::string(m_index->Stored(row));
    std::string value;
    if (m_doc.GetTag(tag, value) != 0)
        return {};
    return value;
}

std::string ItemCore::Render(const Template& page, const PageSettings& settings) const {
    std::string html = page.Fill(
        settings, [&](std::string_view placeholder) { return Placeholder(placeholder, settings); });
    if (!m_loaded && !m_document.empty() && page.Loaded())
        html.insert(0, ReplaceAll(m_failedLoad, "%s", m_document.string()));
    return html;
}

std::optional<std::string> ItemCore::Placeholder(std::string_view placeholder,
                                                 const PageSettings& settings) const {
    if (std::optional<std::string> own = OwnPlaceholder(placeholder, settings))
        return own;
    // "VT_<stem>_<part>"; the stems hold no "_".
    const std::size_t split = placeholder.rfind('_');
    if (!placeholder.starts_with("VT_") || split < 3)
        return std::nullopt;
    const std::string_view stemOfPlaceholder = placeholder.substr(3, split - 3);
    const std::string_view part = placeholder.substr(split + 1);
    for (const FieldDescriptor& row : m_fields) {
        if (row.placeholderStem != stemOfPlaceholder)
            continue;
        if (part == "HEADING")
            return std::string(row.longHeading.empty() ? row.shortHeading : row.longHeading);
        const std::string stored = Stored(row.tag);
        if (part == "DATA") {
            std::string value = Data(row, stored);
            return value.empty() ? std::string(kEmptyValue) : value;
        }
        if (part == "EDIT")
            return Edit(row, stored);
        if (part == "STATE")
            return std::string(ShowsNothing(Data(row, stored)) ? "Empty" : "Filled");
    }
    return std::nullopt;
}

std::string ItemCore::Data(const FieldDescriptor& row, const std::string& stored) const {
    switch (row.type) {
        case FT_YES_NO:
            return stored.empty() ? std::string() : (stored == "1" ? "Yes" : "No");
        case FT_PASSWORD:
            return stored.empty() ? std::string() : std::string(kPasswordMask);
        default:
            if (IsLinkField(row.tag) && !stored.empty())
                return LinkValue(Unescaped(stored));
            return PageValue(row.type, stored);
    }
}

std::string ItemCore::Edit(const FieldDescriptor& row, const std::string& stored) const {
    const std::string stem(row.placeholderStem);
    const std::string named = "name=\"" + stem + "\" ";
    switch (row.type) {
        case FT_RICH_TEXT:
            // The box shows the HTML as text to be edited.
            return "<textarea " + named + "class=\"" + stem + "\" maxlength=\"" +
                   std::to_string(kFieldValueMax) + "\" wrap=soft>" +
                   HtmlEscaped(DisplayValue(row.type, stored)) + "</textarea>";
        case FT_LIST_TEXT: {
            std::string html = "<select " + named + "class =\"" + stem + "\">";
            for (const std::string& entry : CustomChoices(row.tag, m_custom))
                html +=
                    (strcasecmp(entry.c_str(), Unescaped(stored).c_str()) == 0 ? "<option selected>"
                                                                               : "<option>") +
                    HtmlEscaped(entry) + "</option>";
            return html + "</select>";
        }
        case FT_DATE:
            return DateEdit(stem, stored);
        case FT_TIME: {
            const std::optional<ClockTime> time = ParseStoredTime(stored);
            return "<input " + named + "type=\"text\" class=\"" + stem + "\" value=\"" +
                   (time ? Format("%02d:%02d:%02d", time->hour, time->minute, time->second)
                         : std::string()) +
                   "\">";
        }
        case FT_PLAIN_TEXT: {
            std::string value = PageValue(row.type, stored);
            if (IsDurationField(row.tag) && value.empty())
                value = "00:00";
            return "<input " + named + "type=\"text\" class=\"" + stem + "\" value=\"" + value +
                   "\">";
        }
        default:
            if (stored.empty())
                return "<input " + named + "type=\"text\" class=\"" + stem + "\">";
            return "<input " + named + "type=\"text\" class=\"" + stem + "\" value=\"" +
                   PageValue(row.type, stored) + "\">";
    }
}

TestCaseCore::TestCaseCore(const CustomCfg& custom)
    : ItemCore(TestCaseFields(), custom, "<!-- Failed to load XML file %s-->") {}

PrjTestCaseCore::PrjTestCaseCore(const CustomCfg& custom, std::string project)
    : ItemCore(PrjTestCaseFields(), custom, "<!-- Failed to load XML file %s-->"),
      m_project(std::move(project)) {}

void PrjTestCaseCore::LoadKept(const std::vector<std::string>& kept) {
    const std::size_t fields = std::min(kept.size(), m_fields.size());
    m_values.emplace(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(fields));
    // The history blocks are read as the document's own would be; each came out of a
    // document whole, so none holds the closing tag of its block.
    std::string history;
    for (std::size_t block = fields; block < kept.size(); ++block)
        history += "<history_entry>" + kept[block] + "</history_entry>";
    m_doc.LoadText(std::move(history));
    m_loaded = true;
}

std::string PrjTestCaseCore::Data(const FieldDescriptor& row, const std::string& stored) const {
    if (IsLinkField(row.tag) && !stored.empty())
        return LinkValue(ReplaceAll(ReplaceAll(Unescaped(stored), "%VT_PROJECT%", m_project),
                                    "%TESTCASE_PATH%", m_document.string()));
    return ItemCore::Data(row, stored);
}

std::optional<std::string> PrjTestCaseCore::OwnPlaceholder(std::string_view placeholder,
                                                           const PageSettings&) const {
    if (placeholder == "VT_STATUS_MEANING") {
        const std::optional<int> meaning = m_custom.MeaningOf(Unescaped(Stored("<test_status>")));
        return meaning ? std::string(MeaningName(*meaning)) : std::string(kEmptyValue);
    }
    if (placeholder == "VT_STATUS_MEANING_NOTE") {
        // "counts as Pass" beside a status "Pass" says nothing: the note is only for a status
        // of the team's own, or one that counts as no meaning at all.
        const std::string status = Unescaped(Stored("<test_status>"));
        const std::optional<int> meaning = m_custom.MeaningOf(status);
        if (!meaning)
            return std::string(status.empty() ? "" : "counts as no status of this database");
        if (strcasecmp(status.c_str(), std::string(MeaningName(*meaning)).c_str()) == 0)
            return std::string();
        return "counts as " + std::string(MeaningName(*meaning));
    }
    if (placeholder == "VT_STATUS_STYLE") {
        // The status's report colour, with text dark or light as the colour needs.
        const std::optional<int> meaning = m_custom.MeaningOf(Unescaped(Stored("<test_status>")));
        const std::uint32_t colour =
            meaning ? m_custom.ReportColourOf(MeaningSlot(*meaning)) : 0xA6948A;
        const int luminance = static_cast<int>((colour & 0xFF) * 299 + (colour >> 8 & 0xFF) * 587 +
                                               (colour >> 16 & 0xFF) * 114) /
                              1000;
        return "background-color:" + HtmlColour(colour) +
               (luminance > 150 ? ";color:#111111" : ";color:#ffffff");
    }
    if (placeholder == "VT_TEST_HISTORY")
        return HistoryTable();
    return std::nullopt;
}

std::string PrjTestCaseCore::HistoryTable() const {
    std::string html =
        "<h1>Test Case History</h1><table class=List><tr class=ListHeading>"
        "<td class=ListHeading>Date</td><td class=ListHeading>Type</td><td "
        "class=ListHeading>Old Status</td><td class=ListHeading>New Status</td>"
        "<td class=ListHeading>Attempts</td><td class=ListHeading>Phase</td><td "
        "class=ListHeading>Version</td><td class=ListHeading>Build</td></tr>";
    if (m_loaded)
        for (const HistoryBlock& block : LoadHistoryBlocks(m_doc)) {
            const LocalMoment& when = block.when;
            html += "<tr class=List><td class=List>" +
                    DisplayDate(when.date.year, when.date.month, when.date.day) + " " +
                    Format("%02d:%02d:%02d", when.time.hour, when.time.minute, when.time.second) +
                    "</td><td class=List>" +
                    (block.update ? "Test Update</td><td class=List>"
                                  : "Test Creation</td><td class=List>") +
                    HtmlEscaped(block.oldStatus) + "</td><td class=List>" +
                    HtmlEscaped(block.newStatus) + "</td><td class=List>" +
                    Format("%d</td><td class=List>", block.tries) + HtmlEscaped(block.phase) +
                    "</td><td class=List>" + HtmlEscaped(block.version) + "</td><td class=List>" +
                    HtmlEscaped(block.build) + "</td></tr>";
        }
    return html + "</table>\n";
}

TestGroupCore::TestGroupCore(const CustomCfg& custom)
    : ItemCore(TestSuiteFields(), custom, "<!--Vantorel: Couldn't load test suite-->") {}

PrjTestGroupCore::PrjTestGroupCore(const CustomCfg& custom, fs::path folder)
    : ItemCore(TestSuiteFields(), custom, "<!--Vantorel: Couldn't load test suite-->"),
      m_folder(std::move(folder)) {}

std::optional<std::string> PrjTestGroupCore::OwnPlaceholder(std::string_view placeholder,
                                                            const PageSettings& settings) const {
    // "<!--VT_TGLIST:...-->" takes no parameters here; the columns are fixed.
    if (placeholder == "VT_TGLIST" || placeholder.starts_with("VT_TGLIST:"))
        return SuiteList(settings);
    return std::nullopt;
}

std::string PrjTestGroupCore::SuiteList(const PageSettings& settings) const {
    static constexpr std::string_view kColumns[] = {"Test Case", "Title",   "Status",
                                                    "Priority",  "Testers", "Last Attempt"};
    static const auto kCellTypes = [] {
        std::array<FieldType, kSuiteCellCount> types{};
        for (std::size_t cell = 0; cell < types.size(); ++cell)
            types[cell] = FindField(PrjTestCaseFields(), kSuiteCellTags[cell])->type;
        return types;
    }();
    std::string html =
        "<h3>Project Test Cases and Sub Suites</h3>\n<table class=List><tr "
        "class=ListHeading>";
    for (std::string_view column : kColumns)
        html += "<td class=ListHeading>" + std::string(column) + "</td>";
    html += "</tr>";

    struct Entry {
        std::string name;
        bool folder;
    };
    std::vector<Entry> entries;
    ItemListing items;
    ListItems(m_folder, items);
    for (std::string& name : items.folders)
        entries.push_back({std::move(name), true});
    for (const FolderEntry& document : items.documents)
        entries.push_back(
            {document.name.substr(0, document.name.size() - kItemExtension.size()), false});
    std::ranges::sort(entries, [](const Entry& a, const Entry& b) {
        if (a.folder != b.folder)
            return a.folder;
        return strcasecmp(a.name.c_str(), b.name.c_str()) < 0;
    });

    TagIndex index(kSuiteCellTags);
    std::size_t rows = 0;
    for (const Entry& entry : entries) {
        if (rows == kSuiteListLimit) {
            html += "<tr><td>Display limit exceeded</td></tr>";
            break;
        }
        const std::string rowClass = rows++ % 2 == 0 ? "List" : "ListAlt";
        const std::string shown = NameHtml(entry.name);
        if (entry.folder) {
            html += "<tr class=" + rowClass + "><td class=" + rowClass + "><img src=\"" +
                    settings.imagePath + "folder.gif\" align=left><a href=\"" +
                    (settings.itemHref ? settings.itemHref(m_folder / entry.name)
                                       : UrlPath(entry.name + "/" + entry.name + "_index.html")) +
                    "\">" + shown + "</a></td>";
            for (std::size_t cell = 0; cell < kSuiteCellCount; ++cell)
                html += "<td class=" + rowClass + ">&nbsp;</td>";
            html += "</tr> \n";
            continue;
        }
        const fs::path document = m_folder / (entry.name + std::string(kItemExtension));
        std::optional<SuiteCells> cells =
            settings.knownCells ? settings.knownCells(document) : std::nullopt;
        if (!cells) {
            XMLParse doc;
            const bool read = doc.OpenFastRead(document) == 0 && doc.Load() == 0;
            index.Scan(read ? std::string_view(doc.Text()) : std::string_view());
            cells.emplace();
            for (std::size_t cell = 0; cell < kSuiteCellCount; ++cell)
                (*cells)[cell] = index.Stored(cell);
        }
        const std::optional<int> meaning =
            m_custom.MeaningOf(Unescaped((*cells)[kSuiteStatusCell]));
        const std::string_view icon = meaning ? kStatusIconFiles[*meaning] : "tc.gif";
        html += "<tr class=" + rowClass + "><td class=" + rowClass + "><img src=\"" +
                settings.imagePath + std::string(icon) + "\" align=left><a href=\"" +
                (settings.itemHref ? settings.itemHref(document) : UrlPath(entry.name + ".html")) +
                "\">" + shown + "</a></td>";
        for (std::size_t cell = 0; cell < kSuiteCellCount; ++cell) {
            const std::string value = PageValue(kCellTypes[cell], (*cells)[cell]);
            html += "<td class=" + rowClass + ">" + (value.empty() ? "&nbsp;" : value) + "</td>";
        }
        html += "</tr> \n";
    }
    return html + "</table>";
}

ProjectCore::ProjectCore(const CustomCfg& custom)
    : ItemCore(ProjectFields(), custom, "<!--Vantorel: Couldn't load test suite-->") {}

TestCfgCore::TestCfgCore(const CustomCfg& custom)
    : ItemCore(TestCfgFields(), custom, "<!-- Failed to load XML file %s-->") {}

TestResourceCore::TestResourceCore(const CustomCfg& custom)
    : ItemCore(TestResourceFields(), custom, "<!-- Failed to load XML file %s-->") {}

FilterCore::FilterCore(const CustomCfg& custom) : ItemCore({}, custom, {}) {}

bool FilterCore::LoadFilter(const fs::path& document) {
    m_filter = ReadFilterDocument(document);
    return m_filter.has_value();
}

std::optional<std::string> FilterCore::OwnPlaceholder(std::string_view placeholder,
                                                      const PageSettings&) const {
    auto shown = [](const std::string& value) {
        return value.empty() ? std::string(kEmptyValue) : HtmlEscaped(value);
    };
    if (placeholder == "VT_FILTERID_HEADING")
        return "Filter ID";
    if (placeholder == "VT_FILTERNAME_HEADING")
        return "Filter Name";
    if (placeholder == "VT_FILTERID_DATA")
        return m_filter ? shown(m_filter->id) : std::string(kEmptyValue);
    if (placeholder == "VT_FILTERNAME_DATA")
        return m_filter ? shown(m_filter->name) : std::string(kEmptyValue);
    if (placeholder == "VT_FILTER_DATA")
        return m_filter ? FilterConditionsHtml(*m_filter) : std::string(kEmptyValue);
    return std::nullopt;
}

TesterCore::TesterCore(const CustomCfg& custom)
    : ItemCore(TesterFields(), custom, "<!-- Failed to load XML file %s-->") {}

std::string TesterCore::Data(const FieldDescriptor& row, const std::string& stored) const {
    std::string value = ItemCore::Data(row, stored);
    if (row.type == FT_RICH_TEXT)
        return value + "</pre>";
    if (row.tag == "<remote_user>" && stored == "1")
        return value + (Stored("<readwrite_access>") == "1" ? " - Read/Write" : " - Read Only");
    return value;
}

}  // namespace vantorel
