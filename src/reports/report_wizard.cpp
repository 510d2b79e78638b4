#include "reports/report_wizard.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <new>
#include <set>

#include "documents/test_group.h"
#include "filters/filter.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"

namespace vantorel {
namespace {

constexpr std::string_view kGenerateHint = "Click the \"Next\" button to generate report";

// The folders directly in folder, in name order.
std::vector<std::string> FolderNames(const std::filesystem::path& folder) {
    ItemListing items;
    ListItems(folder, items);
    std::sort(items.folders.begin(), items.folders.end());
    return items.folders;
}

// Walks the project's test case folders below root, its reports left out.
void WalkTestCases(const std::filesystem::path& root, const ItemVisitor& visit) {
    WalkItems(root, [&](const std::filesystem::path& folder, ItemListing& listing) {
        std::erase(listing.folders, std::string(kProjectReportsFolder));
        return visit(folder, listing);
    });
}

bool HoldsTestCases(const std::filesystem::path& folder) {
    bool found = false;
    WalkTestCases(folder, [&found](const std::filesystem::path&, const ItemListing& listing) {
        found = !listing.documents.empty();
        return !found;
    });
    return found;
}

}  // namespace

ReportWizard::ReportWizard(std::filesystem::path databaseDir, ReportContext context)
    : m_databaseDir(std::move(databaseDir)), m_context(std::move(context)) {}

std::string_view ReportWizard::Title(WizardPage page) {
    switch (page) {
        case WizardPage::Project:
            return "Select a Project";
        case WizardPage::ReportType:
            return "Select a Report type";
        case WizardPage::Filter:
            return "Select a Filter";
        case WizardPage::Suites:
            return "Select Test Suite(s)";
        case WizardPage::Columns:
            return "Select Columns";
        case WizardPage::Generate:
            return "Generate Report";
        default:
            return {};
    }
}

std::string_view ReportWizard::IntroText() {
    return "This wizard makes a report of one project: how its test cases stand by status, how "
           "they progressed over the project's time, a list of them, or every detail of each.\n\n"
           "Choose the project, the kind of report, a filter if you want one, the suites to "
           "include and, for a test list, its columns. The report is then generated and kept "
           "under the project's \"Project Reports\".";
}

std::string ReportWizard::GeneratingText() const {
    return "Please be patient while report is being generated:\n" +
           std::string(kind ? KindInfo(*kind).title : std::string_view());
}

std::filesystem::path ReportWizard::ProjectFolder() const {
    return m_databaseDir / "Projects" / project;
}

std::vector<std::string> ReportWizard::Projects() const {
    return FolderNames(m_databaseDir / "Projects");
}

std::vector<std::string> ReportWizard::Filters() const {
    return ItemIdsIn(m_databaseDir / std::string(kFiltersFolder));
}

std::vector<std::string> ReportWizard::Suites() const {
    const std::filesystem::path root = ProjectFolder() / std::string(kProjectTestCasesFolder);
    std::vector<std::string> suites;
    WalkTestCases(root, [&](const std::filesystem::path& folder, const ItemListing&) {
        if (folder != root)
            suites.push_back(folder.lexically_relative(root).generic_string());
        return true;
    });
    std::sort(suites.begin(), suites.end());
    return suites;
}

bool ReportWizard::CheckName() {
    if (name.size() > kReportNameMax) {
        m_context.port.tell({"Please limit name of report to 64 characters.",
                             "Report name too long", Icon::Warning});
        return false;
    }
    if (name.find_first_of(kForbiddenIdCharacters) != std::string::npos) {
        std::string text =
            "Error: Report name contains invalid characters.\nThe following characters are not "
            "allowed ";
        for (std::size_t i = 0; i < kForbiddenIdCharacters.size(); ++i) {
            if (i > 0)
                text += ' ';
            text += kForbiddenIdCharacters[i];
        }
        m_context.port.tell(
            {text + "\n", "Report name contains invalid characters", Icon::Warning});
        return false;
    }
    return true;
}

bool ReportWizard::CheckPage() {
    auto refuse = [this](std::string text, std::string caption) {
        m_context.port.tell({std::move(text), std::move(caption), Icon::Warning});
        return false;
    };
    switch (m_page) {
        case WizardPage::Project:
            if (project.empty() ||
                !HoldsTestCases(ProjectFolder() / std::string(kProjectTestCasesFolder)))
                return refuse(
                    "There are no test cases in this project. Please add some before attempting "
                    "to create a report.\nYou will need to close this wizard or go back and "
                    "select a project with test cases",
                    "Empty Project");
            return true;
        case WizardPage::ReportType:
            return kind ? true : refuse("Please select a report type.", "No report selection");
        case WizardPage::Suites:
            return suites.empty() ? refuse("Please select 1 or more suites to use for the report.",
                                           "No Suites Selected")
                                  : true;
        default:
            return true;
    }
}

WizardPage ReportWizard::Step(int direction) const {
    // The pages in order; the columns page belongs to the test list report alone.
    auto page = static_cast<int>(m_page) + direction;
    if (static_cast<WizardPage>(page) == WizardPage::Columns && kind != ReportKind::List)
        page += direction;
    return static_cast<WizardPage>(std::clamp(page, static_cast<int>(WizardPage::Intro),
                                              static_cast<int>(WizardPage::Generate)));
}

bool ReportWizard::Next() {
    if (!CheckPage())
        return false;
    if (m_page == WizardPage::Generate) {
        if (!CheckName())
            return false;
        Generate();
        return m_report.has_value();
    }
    m_page = Step(1);
    if (m_page == WizardPage::Generate) {
        m_pageText = kGenerateHint;
        ReadyToGenerate();
    }
    return true;
}

void ReportWizard::Back() {
    m_page = Step(-1);
}

std::vector<std::pair<std::string, bool>> ReportWizard::SuiteChoices(
    const std::vector<std::string>& suites, const std::vector<std::string>& ticked) {
    const std::set<std::string> isTicked(ticked.begin(), ticked.end());
    const auto parentOf = [](const std::string& suite) {
        const std::size_t slash = suite.rfind('/');
        return slash == std::string::npos ? std::string() : suite.substr(0, slash);
    };
    // Whole: ticked with everything below it. Settled from the deepest suites up, since "A B"
    // sorts between "A" and "A/B".
    std::vector<const std::string*> deepestFirst;
    for (const std::string& suite : suites)
        deepestFirst.push_back(&suite);
    std::ranges::stable_sort(deepestFirst, std::greater{}, [](const std::string* suite) {
        return std::ranges::count(*suite, '/');
    });
    std::map<std::string, bool> whole;
    for (const std::string* suite : deepestFirst) {
        auto [place, added] = whole.try_emplace(*suite, true);
        place->second = place->second && isTicked.contains(*suite);
        if (!parentOf(*suite).empty()) {
            auto [parent, unused] = whole.try_emplace(parentOf(*suite), true);
            parent->second = parent->second && place->second;
        }
    }
    const auto inWholeAncestor = [&](std::string suite) {
        while (!(suite = parentOf(suite)).empty())
            if (whole[suite])
                return true;
        return false;
    };
    std::vector<std::pair<std::string, bool>> choices;
    for (const std::string& suite : suites)
        if (isTicked.contains(suite) && !inWholeAncestor(suite))
            choices.emplace_back(suite, whole[suite]);
    return choices;
}

void ReportWizard::Generate() {
    m_pageText = GeneratingText();
    // The project was chosen pages ago; another user may have renamed or removed it since.
    std::error_code error;
    if (!std::filesystem::is_directory(ProjectFolder(), error)) {
        m_context.port.tell({"The project \"" + project +
                                 "\" is no longer in the database: it was renamed or removed "
                                 "since it was chosen. Go back and choose the project again.",
                             "Project not found", Icon::Warning});
        m_pageText = "Error! Report has not been created.";
        return;
    }
    ReportRequest request;
    request.projectFolder = ProjectFolder();
    request.name = name;
    request.wholeProject = false;
    for (const auto& [suite, withSubSuites] : suites)
        request.suites.push_back(
            {request.projectFolder / std::string(kProjectTestCasesFolder) / suite, withSubSuites});
    request.listColumns = columns;
    request.stop = m_stop.get_token();
    if (!filter.empty()) {
        request.filter =
            Filter::Load(m_databaseDir / std::string(kFiltersFolder) / (filter + ".vtl"));
        if (!request.filter) {
            m_context.port.tell({"The filter \"" + filter + "\" could not be read.",
                                 "Cannot open file", Icon::Warning});
            m_pageText = "Error! Report has not been created.";
            return;
        }
    }
    try {
        m_report = MakeReport(*kind, m_context)->create(request);
    } catch (const std::bad_alloc&) {
        m_context.port.tell({"Out of free memory.", "Memory error", Icon::Error});
        m_report.reset();
    }
    if (!m_report && request.stop.stop_requested())
        m_pageText = "Cancelled! Report has not been created.";
    else
        m_pageText = m_report ? "Success! Report has been created. Click the \"Finish\" button to "
                                "view report"
                              : "Error! Report has not been created.";
}

std::optional<std::filesystem::path> MakeReportNow(const std::filesystem::path& databaseDir,
                                                   const std::filesystem::path& projectFolder,
                                                   ReportKind kind, bool filtered,
                                                   const std::string& filterName,
                                                   ReportContext context, std::stop_token stop) {
    const std::string title(KindInfo(kind).title);
    ReportRequest request;
    request.projectFolder = projectFolder;
    request.stop = std::move(stop);
    if (filtered) {
        if (filterName.empty()) {
            context.port.tell(
                {"No filter is selected. Please select a filter before using this "
                 "report shortcut.",
                 "No Filter", Icon::Warning});
            return std::nullopt;
        }
        request.filter =
            Filter::Load(databaseDir / std::string(kFiltersFolder) / (filterName + ".vtl"));
        if (!request.filter) {
            context.port.tell({"The filter \"" + filterName + "\" could not be read.",
                               "Cannot open file", Icon::Warning});
            return std::nullopt;
        }
    }
    // Two reports in the same second take a number after the time.
    const LocalMoment now = context.now();
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d.%02d.%02d", now.date.year,
                  now.date.month, now.date.day, now.time.hour, now.time.minute, now.time.second);
    const std::filesystem::path folder =
        projectFolder / std::string(kProjectReportsFolder) / std::string(KindInfo(kind).folder);
    request.name = title + " " + stamp;
    std::error_code error;
    for (int number = 2; std::filesystem::exists(folder / (request.name + ".vtl"), error); ++number)
        request.name = title + " " + stamp + " " + std::to_string(number);
    try {
        return MakeReport(kind, context)->create(request);
    } catch (const std::bad_alloc&) {
        context.port.tell({"Out of free memory.", "Memory error", Icon::Error});
        return std::nullopt;
    }
}

}  // namespace vantorel
