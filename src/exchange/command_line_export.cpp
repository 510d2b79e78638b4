#include "exchange/command_line_export.h"

#include <iostream>

#include "documents/custom_cfg.h"
#include "exchange/csv_export.h"
#include "exchange/export_web.h"
#include "exchange/testlink_export.h"
#include "platform/identity.h"
#include "storage/identifiers.h"
#include "storage/vantorel_database.h"

namespace vantorel {

int RunCommandLineWebExport(const CommandLine& commandLine, UserPort& port, ChartPainter* charts,
                            const std::filesystem::path& stylesRoot, const CalendarDate& today,
                            std::stop_token stop) {
    auto fail = [&port](const std::string& reason) {
        if (!reason.empty())
            port.tell({reason, "Web export", Icon::Warning});
        port.tell({"Error during web export, project has not been exported", "Web export",
                   Icon::Warning});
        return 1;
    };
    VantorelDatabase database(port);
    if (!database.Open(commandLine.database, OpenMode::ReadOnly))
        return fail({});
    if (database.Version() != DatabaseVersion{std::string(kProductVersion), kProductBuild})
        return fail("Vantorel version out of date");
    CustomCfg custom;
    if (!custom.Read(database.Directory(), port, CurrentIdentity().computer).read)
        return fail({});
    if (!IsItemName(commandLine.project))
        return fail("\"" + commandLine.project + "\" is not a project name. " +
                    std::string(kItemNameRule));
    if (!IsItemName(commandLine.templateName))
        return fail("\"" + commandLine.templateName + "\" is not a display style's name. " +
                    std::string(kItemNameRule));
    const std::optional<std::filesystem::path> project =
        FindProject(database.Directory(), commandLine.project);
    if (!project)
        return fail("Project \"" + commandLine.project + "\" was not found in the database");

    WebExportRequest request;
    request.projectFolder = *project;
    request.stylesRoot = stylesRoot;
    request.style = commandLine.templateName;
    request.destination = commandLine.exportDirectory;
    request.askBeforeOverwriting = false;
    request.exportDate = today;
    request.stop = stop;
    ExportWeb exporter(port, custom, charts);
    const std::optional<std::filesystem::path> page = exporter.Run(request);
    if (!page)
        return fail({});
    port.tell({"Web export completed successfully", "Web export", Icon::Information});
    std::cout << page->string() << "\n";
    return 0;
}

namespace {

// A written CSV file is told with its count of rows and its path printed, for a script to take.
int Succeeded(std::size_t rows, const std::filesystem::path& target, UserPort& port) {
    port.tell(CsvExportDoneNotice(rows));
    std::cout << target.string() << "\n";
    return 0;
}

// Opens the database of an export to be read; false after telling why it can't be.
bool OpenToExport(const CommandLine& commandLine, VantorelDatabase& database, UserPort& port,
                  std::string_view caption) {
    if (!database.Open(commandLine.database, OpenMode::ReadOnly))
        return false;
    if (database.Version() != DatabaseVersion{std::string(kProductVersion), kProductBuild}) {
        port.tell({"Vantorel version out of date", std::string(caption), Icon::Warning});
        return false;
    }
    return true;
}

}  // namespace

int RunCommandLineCsvExport(const CommandLine& commandLine, UserPort& port, std::stop_token stop) {
    auto fail = [&port](const std::string& reason) {
        port.tell({reason, std::string(kCsvExportCaption), Icon::Warning});
        return 1;
    };
    VantorelDatabase database(port);
    if (!OpenToExport(commandLine, database, port, kCsvExportCaption))
        return 1;

    const CsvOptions options{commandLine.csvLatin1 ? CsvEncoding::Latin1 : CsvEncoding::Utf8WithBom,
                             commandLine.csvHtml ? CsvRichText::Html : CsvRichText::PlainText};
    CsvExportRequest request;
    if (commandLine.librarySuite) {
        request.source = CsvSource::LibraryTestCases;
        request.folder = database.Directory() / "Test Cases";
        if (!commandLine.librarySuite->empty())
            request.folder /= *commandLine.librarySuite;
    } else {
        if (!IsItemName(commandLine.project))
            return fail("\"" + commandLine.project + "\" is not a project name. " +
                        std::string(kItemNameRule));
        const std::optional<std::filesystem::path> project =
            FindProject(database.Directory(), commandLine.project);
        if (!project)
            return fail("Project \"" + commandLine.project + "\" was not found in the database");
        if (!commandLine.listReport.empty()) {
            if (!IsItemName(commandLine.listReport))
                return fail("\"" + commandLine.listReport + "\" is not a report name. " +
                            std::string(kItemNameRule));
            const std::filesystem::path report = *project / "Project Reports" /
                                                 KindInfo(ReportKind::List).folder /
                                                 (commandLine.listReport + ".vtl");
            const std::optional<std::size_t> rows =
                ExportListReportCsv(report, commandLine.csvFile, options, port, stop);
            return rows ? Succeeded(*rows, commandLine.csvFile, port) : 1;
        }
        request.source = CsvSource::ProjectTestCases;
        request.folder = *project / "Project Test Cases";
        if (!commandLine.projectSuite.empty())
            request.folder /= commandLine.projectSuite;
    }
    request.target = commandLine.csvFile;
    request.options = options;
    request.stop = stop;
    const std::optional<std::size_t> written = ExportTestCasesCsv(request, port);
    return written ? Succeeded(*written, request.target, port) : 1;
}

int RunCommandLineTestLinkExport(const CommandLine& commandLine, UserPort& port,
                                 std::stop_token stop) {
    VantorelDatabase database(port);
    if (!OpenToExport(commandLine, database, port, kTestLinkExportCaption))
        return 1;
    const TestLinkExportRequest request{
        database.Directory() / "Test Cases" / commandLine.librarySuite.value_or(""),
        commandLine.testlinkExportFile, stop};
    const std::optional<std::size_t> written = ExportTestLink(request, port);
    if (!written)
        return 1;
    port.tell(TestLinkExportDoneNotice(*written));
    std::cout << request.target.string() << "\n";
    return 0;
}

}  // namespace vantorel
