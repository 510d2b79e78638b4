#pragma once
// The report wizard as a model: the pages in order, what each offers, the checks made when
// the user leaves a page, and the generation on the last page. The property sheet of the
// desktop program only shows this.

#include <array>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "reports/report_base.h"

namespace vantorel {

// The pages in the order the wizard shows them.
enum class WizardPage { Intro, Project, ReportType, Filter, Suites, Columns, Generate };

class ReportWizard {
public:
    ReportWizard(std::filesystem::path databaseDir, ReportContext context);

    // "Select a Project", "Select a Report type", ...; empty for the introduction.
    static std::string_view Title(WizardPage page);
    // What the introduction says.
    static std::string_view IntroText();
    WizardPage Page() const { return m_page; }
    // Leaves the current page when its checks pass (telling the user otherwise). The columns
    // page is shown for the test list report only.
    bool Next();
    void Back();

    // What the pages offer.
    std::vector<std::string> Projects() const;
    std::vector<std::string> Filters() const;
    // The suites of the chosen project, "/" separated below its "Project Test Cases".
    std::vector<std::string> Suites() const;

    // The choices the ticked suites make, in the order of suites (Suites(), sorted so a suite
    // comes before its sub-suites): a suite ticked with every suite below it is taken with its
    // sub-suites in one choice; a ticked one with some below it left out is taken alone, and the
    // ticked ones below it come on their own.
    static std::vector<std::pair<std::string, bool>> SuiteChoices(
        const std::vector<std::string>& suites, const std::vector<std::string>& ticked);

    // What the user chose.
    std::string project;
    std::optional<ReportKind> kind;
    std::string filter;                                // empty: no filter
    std::vector<std::pair<std::string, bool>> suites;  // suite, with its sub-suites
    ListColumnFlags columns = kAllListColumns;
    std::string name;

    // What the last page shows: the hint, the patience text while generating, the outcome.
    const std::string& PageText() const { return m_pageText; }
    // The patience text the last page shows while the chosen kind is generated: a view that
    // generates on another thread shows it before it starts, since PageText belongs to that
    // thread until the generation ends.
    std::string GeneratingText() const;
    // Makes the stop of the next generation fresh, so that a generation after a cancelled one
    // runs. Called on the thread that calls Cancel, before the generation starts on another
    // thread; arriving at the last page does it too.
    void ReadyToGenerate() { m_stop = {}; }
    // Asks a generation running on another thread (the last Next) to stop between documents;
    // it then ends with no report. Safe on any thread while that generation runs.
    void Cancel() { m_stop.request_stop(); }
    // The written report after a successful generation.
    const std::optional<std::filesystem::path>& Report() const { return m_report; }

private:
    WizardPage Step(int direction) const;
    bool CheckPage();
    bool CheckName();
    void Generate();
    std::filesystem::path ProjectFolder() const;

    std::filesystem::path m_databaseDir;
    ReportContext m_context;
    WizardPage m_page = WizardPage::Intro;
    std::string m_pageText;
    std::optional<std::filesystem::path> m_report;
    std::stop_source m_stop;
};

// "Status Report - All" and its siblings: the report of the whole project at projectFolder,
// made at once without the wizard. A filtered one goes through the filter named filterName
// (the toolbar's), and is refused when none is chosen. The report is named by
// the date and time ("Status Report 2026-11-26 09.41.05"), so it never replaces an earlier
// one. The written file, or none after telling the user why not.
std::optional<std::filesystem::path> MakeReportNow(const std::filesystem::path& databaseDir,
                                                   const std::filesystem::path& projectFolder,
                                                   ReportKind kind, bool filtered,
                                                   const std::string& filterName,
                                                   ReportContext context, std::stop_token stop);

}  // namespace vantorel
