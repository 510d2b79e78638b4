#pragma once
// Filters: a saved set of conditions on the fields of a project test case, kept as one ".vtl"
// document in the database's "Filters" folder. Reports count only the documents that pass the
// chosen filter; a library test case is tested only on the conditions whose field it has.

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/io_result.h"

namespace vantorel {

class XMLParse;

inline constexpr std::string_view kFiltersFolder = "Filters";

// The document kinds Filter::Compare tells apart: every kind other than a project test case is
// tested as a library test case.
inline constexpr int kTestCaseDocument = 7;
inline constexpr int kProjectTestCaseDocument = 8;

// The codes the condition table stores for the kind of value a condition tests.
enum class FilterKind {
    List = 1,
    Number = 3,
    Duration = 4,
    Text = 5,
    ActualAgainstExpected = 6,
    Date = 14,
    Priority = 15,
};

// The <match> codes; the dialog's operator lists are in this order too.
enum FilterOperator {
    FO_LESS_THAN = 0,
    FO_EQUAL_TO = 1,
    FO_GREATER_THAN = 2,
    FO_NOT_EQUAL_TO = 3,
    FO_CONTAINS = 4,
};

struct FilterCondition {
    std::string_view caption;
    int page;  // the dialog page it sits on, 1 or 2
    FilterKind kind;
    bool hasOperator;
    int projectField;  // row in PrjTestCaseFields()
    int libraryField;  // row in TestCaseFields(), -1 when a library test case lacks the field
};

inline constexpr std::size_t kFilterConditionCount = 22;
// The fixed condition table; a condition's position is its <CBMapIndex>.
const std::array<FilterCondition, kFilterConditionCount>& FilterConditions();

// The operators the dialog offers for a condition, in <match> order: "Before", "Equal to",
// "After" for dates; "Less than", "Equal to", "Greater than", "Not Equal to" otherwise; none
// for conditions without an operator.
std::vector<std::string_view> OperatorChoices(const FilterCondition& condition);

// One switched-on condition as the document holds it, values unescaped.
struct FilterClause {
    int condition = 0;
    std::vector<std::string> data;
    int match = FO_EQUAL_TO;
    bool operator==(const FilterClause&) const = default;
};

struct FilterDocument {
    std::string id;
    std::string name;
    std::vector<FilterClause> clauses;  // in table order
    bool operator==(const FilterDocument&) const = default;
};

// The document text: declaration, <filter>, <id>, <name>, one <conditional> per clause.
std::string FilterDocumentText(const FilterDocument& filter);
// None when the file can't be read or is not a filter; a clause whose index is outside the
// table is dropped.
std::optional<FilterDocument> ReadFilterDocument(const std::filesystem::path& path);
IoResult WriteFilterDocument(const std::filesystem::path& path, const FilterDocument& filter);

// The conditions as the filter page lists them: "<br>or<br>" between a condition's values,
// "<br><br>and<br>" between conditions, dates as "d-MMM-yyyy"; values are HTML-escaped.
std::string FilterConditionsHtml(const FilterDocument& filter);

// Minutes of a stored duration "H:M"; a text without a colon counts as 0.
int DurationMinutes(std::string_view text);

class Filter {
public:
    explicit Filter(FilterDocument document) : m_document(std::move(document)) {}
    // The filter stored at path; none when it can't be read.
    static std::optional<Filter> Load(const std::filesystem::path& path);

    // Opens the document and tests it; a document that can't be read does not pass.
    bool Compare(const std::filesystem::path& documentPath, int documentKind) const;
    // Tests a loaded document: the first failing condition ends the test. A condition whose
    // field can't be read does not exclude the document. Safe to call from several threads.
    bool Passes(const XMLParse& document, int documentKind) const;

    // "%s - %s": identifier and name, as report documents record the filter used.
    std::string Caption() const;
    const FilterDocument& Document() const { return m_document; }

private:
    FilterDocument m_document;
};

// A filter as the toolbar's selector and the Filter menu offer it: chosen by its ID, shown as
// "ID - name" (the ID alone when it has no name or can't be read).
struct FilterChoice {
    std::string id;
    std::string caption;
    bool operator==(const FilterChoice&) const = default;
};
// Reads the filters named by ids in filtersFolder, in the order given.
std::vector<FilterChoice> FilterChoices(const std::filesystem::path& filtersFolder,
                                        const std::vector<std::string>& ids);

}  // namespace vantorel
