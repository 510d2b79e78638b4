#include "exchange/command_line_import.h"

#include <iostream>
#include <set>

#include "documents/custom_cfg.h"
#include "exchange/csv_import.h"
#include "exchange/csv_presets.h"
#include "exchange/junit_import.h"
#include "exchange/testlink_import.h"
#include "platform/identity.h"
#include "storage/identifiers.h"
#include "storage/vantorel_database.h"

namespace vantorel {
namespace {

// The database of the command line, opened with its customisation; false after telling why.
bool OpenDatabase(const CommandLine& commandLine, VantorelDatabase& database, CustomCfg& custom,
                  UserPort& port, std::string_view caption) {
    if (!database.Open(commandLine.database, OpenMode::ReadOnly))
        return false;
    if (database.Version() != DatabaseVersion{std::string(kProductVersion), kProductBuild}) {
        port.tell({"Vantorel version out of date", std::string(caption), Icon::Warning});
        return false;
    }
    return custom.Read(database.Directory(), port, CurrentIdentity().computer).read;
}

std::optional<std::filesystem::path> Project(const CommandLine& commandLine,
                                             const VantorelDatabase& database, UserPort& port,
                                             std::string_view caption) {
    const std::optional<std::filesystem::path> project =
        FindProject(database.Directory(), commandLine.project);
    if (!IsItemName(commandLine.project))
        port.tell(
            {"\"" + commandLine.project + "\" is not a project name. " + std::string(kItemNameRule),
             std::string(caption), Icon::Warning});
    else if (!project)
        port.tell({"Project \"" + commandLine.project + "\" was not found in the database",
                   std::string(caption), Icon::Warning});
    return project;
}

// Writes what import holds into request's folder and prints how many test cases it made:
// 0 when every one of them was, else 1. doneNotice: what the user is told once it ran.
int ImportAndPrint(CsvImport& import, const CsvImportRequest& request, const CustomCfg& custom,
                   UserPort& port, bool doneNotice) {
    const std::optional<CsvImportOutcome> outcome = import.Import(request, {port, custom});
    if (!outcome)
        return 1;
    if (doneNotice)
        port.tell(CsvImportDoneNotice(*outcome, import.RowCount()));
    std::cout << outcome->written << (outcome->written == 1 ? " test case" : " test cases")
              << " imported into " << request.folder.string() << "\n";
    return outcome->complete && outcome->refusals.empty() ? 0 : 1;
}

}  // namespace

int RunCommandLineCsvImport(const CommandLine& commandLine, UserPort& port, std::stop_token stop) {
    const CsvPreset* preset = FindCsvPreset(commandLine.csvPreset);
    if (!commandLine.csvPreset.empty() && !preset) {
        port.tell({"\"" + commandLine.csvPreset + "\" is no preset of the CSV import: it takes " +
                       CsvPresetKeys(),
                   "Vantorel Command Line Error", Icon::Warning});
        return 2;
    }
    VantorelDatabase database(port);
    CustomCfg custom;
    if (!OpenDatabase(commandLine, database, custom, port, kCsvImportCaption))
        return 1;
    CsvImportRequest request;
    CsvSource source = CsvSource::LibraryTestCases;
    if (commandLine.librarySuite) {
        request.folder = database.Directory() / "Test Cases" / *commandLine.librarySuite;
    } else {
        const auto project = Project(commandLine, database, port, kCsvImportCaption);
        if (!project)
            return 1;
        source = CsvSource::ProjectTestCases;
        request.folder = *project / "Project Test Cases" / commandLine.projectSuite;
    }
    request.folder = request.folder.lexically_normal();
    request.goodRowsOnly = commandLine.goodRowsOnly;
    request.askAboutIdsElsewhere = false;
    request.stop = stop;
    std::optional<CsvImport> import =
        preset ? OpenCsvImportWithPreset(commandLine.csvImportFile, *preset, source,
                                         database.Directory(), custom, port)
               : CsvImport::Open(commandLine.csvImportFile, source, database.Directory(), custom,
                                 port);
    if (!import)
        return 1;
    if (!preset)
        import->richText = commandLine.csvHtml ? CsvRichText::Html : CsvRichText::PlainText;
    return ImportAndPrint(*import, request, custom, port, true);
}

int RunCommandLineJUnitImport(const CommandLine& commandLine, UserPort& port,
                              std::stop_token stop) {
    VantorelDatabase database(port);
    CustomCfg custom;
    if (!OpenDatabase(commandLine, database, custom, port, kJUnitImportCaption))
        return 1;
    const auto project = Project(commandLine, database, port, kJUnitImportCaption);
    if (!project)
        return 1;
    JUnitImportRequest request;
    request.projectFolder = *project;
    request.resultsFile = commandLine.junitFile;
    request.match = commandLine.matchRule == "requirement" ? JUnitMatch::Requirement
                    : commandLine.matchRule == "title"     ? JUnitMatch::Title
                                                           : JUnitMatch::IdInName;
    request.version = commandLine.testedVersion;
    request.build = commandLine.testedBuild;
    request.dryRun = commandLine.dryRun;
    request.importAgain = commandLine.importAgain;
    request.stop = stop;
    const std::optional<JUnitImportReport> report = ImportJUnitResults(request, {port, custom});
    if (!report)
        return 1;
    for (const std::string& unmatched : report->unmatched)
        port.tell({"No test case of the project matches the result " + unmatched,
                   std::string(kJUnitImportCaption), Icon::Information});
    for (const std::string& locked : report->locked)
        port.tell({"Test case " + locked + " is open for editing; its results were not recorded",
                   std::string(kJUnitImportCaption), Icon::Warning});
    std::cout << JUnitReportText(*report, request.dryRun);
    return report->complete && report->locked.empty() ? 0 : 1;
}

int RunCommandLineTestLinkImport(const CommandLine& commandLine, UserPort& port,
                                 std::stop_token stop) {
    VantorelDatabase database(port);
    CustomCfg custom;
    if (!OpenDatabase(commandLine, database, custom, port, kTestLinkImportCaption))
        return 1;
    const std::filesystem::path folder =
        (database.Directory() / "Test Cases" / commandLine.librarySuite.value_or(""))
            .lexically_normal();
    std::optional<CsvImport> import = OpenTestLinkImport(
        commandLine.testlinkFile, database.Directory(), custom, {commandLine.idPrefix}, port);
    if (!import)
        return 1;
    if (commandLine.dryRun) {
        const std::vector<CsvRefusal> refusals = import->Check(folder);
        for (const CsvRefusal& refusal : refusals)
            port.tell(
                {CsvRefusalText(refusal), std::string(kTestLinkImportCaption), Icon::Warning});
        std::set<std::size_t> refusedLines;
        for (const CsvRefusal& refusal : refusals)
            refusedLines.insert(refusal.line);
        const std::size_t good = import->RowCount() - refusedLines.size();
        std::cout << good << (good == 1 ? " test case" : " test cases") << " of "
                  << import->RowCount() << " would be imported into " << folder.string() << "\n";
        return refusals.empty() ? 0 : 1;
    }
    return ImportAndPrint(*import, {folder, commandLine.goodRowsOnly, false, stop}, custom, port,
                          false);
}

}  // namespace vantorel
