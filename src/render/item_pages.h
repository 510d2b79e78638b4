#pragma once
// One renderer per item type. A renderer reads the item's document and answers the field
// placeholders of its field table, three per field: VT_<STEM>_HEADING (the long heading),
// VT_<STEM>_DATA (the value as the page shows it) and VT_<STEM>_EDIT (an input control holding
// the value); some types answer placeholders of their own (history, status meaning, the suite
// list). VT_<STEM>_STATE is "Empty" when the value shows nothing and "Filled" otherwise, for a
// template's class attribute: a style shows an empty group as a quiet line, not a blank box.

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "filters/filter.h"
#include "render/template.h"
#include "storage/field_values.h"
#include "storage/tagged_document.h"

namespace vantorel {

class CustomCfg;

inline constexpr std::size_t kSuiteListLimit = 500;
// The tags of SuiteCells, in their order.
inline constexpr std::array<std::string_view, kSuiteCellCount> kSuiteCellTags = {
    "<test_title>", "<test_status>", "<priority>", "<testers>", "<last_attempt_date>"};
inline constexpr std::size_t kSuiteStatusCell = 1;
static_assert(kSuiteCellTags[kSuiteStatusCell] == "<test_status>");

class ItemCore {
public:
    ItemCore(std::span<const FieldDescriptor> fields, const CustomCfg& custom,
             std::string_view failedLoad);
    virtual ~ItemCore() = default;

    // Reads the item's document; false when it can't be read, and the page then says so.
    bool Load(const std::filesystem::path& document);
    // Takes the document's text as it is.
    void LoadText(std::string text);
    // Every field with a heading as a two-column table of headings and values.
    std::string FieldTable() const;
    // The page: the template filled for this item.
    std::string Render(const Template& page, const PageSettings& settings) const;
    // The text for one placeholder ("VT_ID_DATA"), or none when it is not this item's.
    std::optional<std::string> Placeholder(std::string_view placeholder,
                                           const PageSettings& settings) const;

protected:
    virtual std::optional<std::string> OwnPlaceholder(std::string_view /*placeholder*/,
                                                      const PageSettings& /*settings*/) const {
        return std::nullopt;
    }
    // A field's value as the page shows it; empty for "&nbsp;".
    virtual std::string Data(const FieldDescriptor& row, const std::string& stored) const;

public:
    // A field's value as the document stores it; empty when it can't be read.
    std::string Stored(std::string_view tag) const;

protected:
    std::span<const FieldDescriptor> m_fields;
    const CustomCfg& m_custom;
    std::filesystem::path m_document;
    XMLParse m_doc;
    bool m_loaded = false;
    // The fields' stored values in table order, when the item came from a report rather
    // than from its document.
    std::optional<std::vector<std::string>> m_values;

private:
    std::string Edit(const FieldDescriptor& row, const std::string& stored) const;
    std::string m_failedLoad;
    // Where each field's tags lie in the loaded document, found in one pass at the first
    // value asked for: a page asks for some forty fields.
    mutable std::optional<TagIndex> m_index;
};

// A report colour (0x00BBGGRR) as CSS writes it, "#rrggbb".
std::string HtmlColour(std::uint32_t colour);

// A field's value as every page shows it (items, reports, the web export), from its stored
// form: rich text is HTML and goes in as it is; every other value is text. Single-line text
// is stored entity-escaped and list text as typed, so the value is unescaped first and then
// escaped for HTML: "&amp;" shows as "&", and no "<" of a value reaches a page as markup.
std::string PageValue(FieldType type, std::string_view stored);

// True when a value as a page shows it shows nothing: only blanks, "&nbsp;" and line breaks.
bool ShowsNothing(std::string_view html);

// "<a href="...">link</a>" for a link as the user typed it: web addresses as they are,
// anything else as a file.
std::string LinkValue(std::string_view link);

class TestCaseCore : public ItemCore {
public:
    explicit TestCaseCore(const CustomCfg& custom);
};

class PrjTestCaseCore : public ItemCore {
public:
    // project: the project's name, put into links that ask for it.
    PrjTestCaseCore(const CustomCfg& custom, std::string project);

    // Takes the test case as a details report keeps it: the stored value of every field of
    // the table, in table order, then its history blocks without their enclosing tags.
    void LoadKept(const std::vector<std::string>& kept);

protected:
    std::optional<std::string> OwnPlaceholder(std::string_view placeholder,
                                              const PageSettings& settings) const override;
    std::string Data(const FieldDescriptor& row, const std::string& stored) const override;

private:
    std::string HistoryTable() const;
    std::string m_project;
};

// A library suite and a project suite; the project suite answers the suite list.
class TestGroupCore : public ItemCore {
public:
    explicit TestGroupCore(const CustomCfg& custom);
};

class PrjTestGroupCore : public ItemCore {
public:
    // folder: the suite's folder, whose test cases and sub-suites the list shows.
    PrjTestGroupCore(const CustomCfg& custom, std::filesystem::path folder);

protected:
    std::optional<std::string> OwnPlaceholder(std::string_view placeholder,
                                              const PageSettings& settings) const override;

private:
    std::string SuiteList(const PageSettings& settings) const;
    std::filesystem::path m_folder;
};

class ProjectCore : public ItemCore {
public:
    explicit ProjectCore(const CustomCfg& custom);
};

class TestCfgCore : public ItemCore {
public:
    explicit TestCfgCore(const CustomCfg& custom);
};

class TestResourceCore : public ItemCore {
public:
    explicit TestResourceCore(const CustomCfg& custom);
};

// The filter page: its identifier, name and conditions.
class FilterCore : public ItemCore {
public:
    explicit FilterCore(const CustomCfg& custom);
    bool LoadFilter(const std::filesystem::path& document);

protected:
    std::optional<std::string> OwnPlaceholder(std::string_view placeholder,
                                              const PageSettings& settings) const override;

private:
    std::optional<FilterDocument> m_filter;
};

class TesterCore : public ItemCore {
public:
    explicit TesterCore(const CustomCfg& custom);

protected:
    std::string Data(const FieldDescriptor& row, const std::string& stored) const override;
};

// The template file of each item type, in the style's folder.
inline constexpr std::string_view kTestCaseTemplate = "TestCaseTemplate.html";
inline constexpr std::string_view kPrjTestCaseTemplate = "PrjTestCaseTemplate.html";
inline constexpr std::string_view kTestSuiteTemplate = "TestSuiteTemplate.html";
inline constexpr std::string_view kPrjTestSuiteTemplate = "PrjTestSuiteTemplate.html";
inline constexpr std::string_view kProjectTemplate = "ProjectTemplate.html";
inline constexpr std::string_view kTestCfgTemplate = "TestCfgTemplate.html";
inline constexpr std::string_view kTestResTemplate = "TestResTemplate.html";
inline constexpr std::string_view kTesterTemplate = "TesterTemplate.html";
inline constexpr std::string_view kFilterTemplate = "FilterTemplate.html";

}  // namespace vantorel
