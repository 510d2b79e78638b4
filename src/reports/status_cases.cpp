#include "reports/status_cases.h"

#include <strings.h>

#include <algorithm>

#include "documents/test_group.h"
#include "reports/status_report.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

// Which stored statuses a row of the report stands for.
struct StatusMatch {
    const CustomCfg& custom;
    std::string status;      // the row's caption
    bool byMeaning = false;  // a summary-form report's row: a meaning, not a status
    int meaning = 0;

    bool operator()(const std::string& stored) const {
        if (byMeaning) {
            const std::optional<int> storedMeaning = custom.MeaningOf(stored);
            return storedMeaning && *storedMeaning == meaning;
        }
        // A status renamed in the list since the report was made is still found by its text.
        const std::optional<std::size_t> wanted = custom.ResolveStatus(status);
        if (wanted)
            return custom.ResolveStatus(stored) == wanted;
        return strcasecmp(stored.c_str(), status.c_str()) == 0;
    }
};

class CaseTally : public DocumentTally {
public:
    explicit CaseTally(const StatusMatch& match, fs::path cases)
        : m_match(match), m_cases(std::move(cases)) {}

    bool Take(const XMLParse& document, std::size_t, const fs::path& folder,
              std::string_view name) override {
        if (document.GetTag("<test_status>", m_value) != 0)
            return false;
        Unescape(m_value);
        if (!m_match(m_value))
            return false;
        StatusCase found;
        found.document = folder / name;
        found.id = std::string(name.substr(0, name.size() - kItemExtension.size()));
        found.suite = folder.lexically_relative(m_cases).generic_string();
        if (found.suite == ".")
            found.suite.clear();
        if (document.GetTag("<test_title>", found.title) == 0)
            Unescape(found.title);
        else
            found.title.clear();
        cases.push_back(std::move(found));
        return true;
    }

    void Merge(DocumentTally& other) override {
        auto& more = static_cast<CaseTally&>(other).cases;
        cases.insert(cases.end(), std::make_move_iterator(more.begin()),
                     std::make_move_iterator(more.end()));
    }

    std::vector<StatusCase> cases;

private:
    const StatusMatch& m_match;
    fs::path m_cases;
    std::string m_value;
};

// A status report's walk that writes nothing: it keeps the test cases of one status.
class StatusCaseWalk : private ReportBaseClass {
public:
    StatusCaseWalk(ReportContext context, StatusMatch match)
        : ReportBaseClass(ReportKind::Status, std::move(context)), m_match(std::move(match)) {}

    std::optional<std::vector<StatusCase>> List(const ReportRequest& request) {
        m_cases = request.projectFolder / std::string(kProjectTestCasesFolder);
        std::size_t unreadableFolders = 0;
        std::optional<std::unique_ptr<DocumentTally>> tally =
            WalkDocuments(request, true, unreadableFolders);
        if (!tally || request.stop.stop_requested())
            return std::nullopt;
        std::vector<StatusCase> cases = std::move(static_cast<CaseTally&>(**tally).cases);
        // By suite, then by identifier, as the tree shows them; not in the order the disk
        // happened to list them.
        std::ranges::sort(cases, [](const StatusCase& a, const StatusCase& b) {
            if (const int suite = strcasecmp(a.suite.c_str(), b.suite.c_str()); suite != 0)
                return suite < 0;
            return strcasecmp(a.id.c_str(), b.id.c_str()) < 0;
        });
        return cases;
    }

private:
    // Nothing is written: the walk is all this needs of a report.
    void WriteReport(XMLParse&) const override {}
    std::unique_ptr<DocumentTally> NewTally() const override {
        return std::make_unique<CaseTally>(m_match, m_cases);
    }
    void FinishStats(std::unique_ptr<DocumentTally>) override {}

    StatusMatch m_match;
    fs::path m_cases;
};

// The filter a report records as "<id> - <name>", found among the database's filters; an
// identifier may itself hold " - ", so each place is tried.
std::optional<Filter> FilterOfCaption(const fs::path& database, const std::string& caption) {
    for (std::size_t dash = caption.find(" - "); dash != std::string::npos;
         dash = caption.find(" - ", dash + 1)) {
        const std::string id = caption.substr(0, dash);
        if (id.empty() || id.find('/') != std::string::npos || id == "." || id == "..")
            continue;
        std::optional<Filter> filter = Filter::Load(database / std::string(kFiltersFolder) /
                                                    (id + std::string(kItemExtension)));
        if (filter && filter->Caption() == caption)
            return filter;
    }
    return std::nullopt;
}

// A recorded suite stays below the project's test cases.
bool InsideProject(const fs::path& suite) {
    if (suite.empty() || suite.is_absolute())
        return false;
    return std::ranges::none_of(suite, [](const fs::path& part) { return part == ".."; });
}

}  // namespace

std::string StatusCasesCaption(const std::string& status, std::size_t count) {
    if (count == 0)
        return "No test case has the status " + status + " now";
    return std::to_string(count) + (count == 1 ? " test case has" : " test cases have") +
           " the status " + status + " now";
}

std::optional<std::vector<StatusCase>> ListStatusCases(const fs::path& report, std::size_t row,
                                                       ReportContext context,
                                                       std::stop_token stop) {
    UserPort& port = context.port;
    const std::optional<StatusReportData> data = ReadStatusReport(report);
    if (!data || row >= data->statuses.size()) {
        port.tell(UnreadableReport(report));
        return std::nullopt;
    }
    // "<database>/Projects/<project>/Project Reports/<kind>/<report>.vtl"
    const fs::path projectFolder = report.parent_path().parent_path().parent_path();
    const fs::path database = projectFolder.parent_path().parent_path();
    std::error_code error;
    if (!fs::is_directory(projectFolder / std::string(kProjectTestCasesFolder), error)) {
        port.tell({"The project of this report, " + projectFolder.filename().string() +
                       ", is no longer in the database, so its test cases can't be listed.",
                   "Project not found", Icon::Warning});
        return std::nullopt;
    }
    ReportRequest request;
    request.projectFolder = projectFolder;
    request.stop = std::move(stop);
    if (!data->header.filterName.empty()) {
        request.filter = FilterOfCaption(database, data->header.filterName);
        if (!request.filter) {
            port.tell({"The filter \"" + data->header.filterName +
                           "\" this report was made with is no longer in the database, so the "
                           "test cases it chose can't be listed.",
                       "Filter not found", Icon::Warning});
            return std::nullopt;
        }
    }
    const fs::path cases = projectFolder / std::string(kProjectTestCasesFolder);
    request.wholeProject = data->suites.empty();
    for (const ReportSuite& suite : data->suites)
        if (InsideProject(suite.path))
            request.suites.push_back({cases / suite.path, suite.includeSubSuites});
    StatusMatch match{context.custom, data->statuses[row], data->summaryForm,
                      static_cast<int>(row)};
    return StatusCaseWalk(std::move(context), std::move(match)).List(request);
}

}  // namespace vantorel
