#pragma once
// Report pages: a saved report shown as HTML, with its charts. The page's text goes into the
// report templates' <!--VT_REPORT--> placeholder; the charts are handed back to be drawn.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/user_port.h"
#include "render/charts.h"
#include "render/template.h"

namespace vantorel {

class CustomCfg;

struct ChartFile {
    Chart chart;
    std::string name;  // file name without ".gif", beside the page
    int width = 640, height = 360;
};

struct ReportPage {
    ReportKind kind = ReportKind::Status;
    std::string title;    // the report's name
    std::string created;  // its creation date, "d-MMM-yyyy"
    std::string body;
    std::vector<ChartFile> charts;
};

// A status report as its page and the report window show it: one row per status with its
// report colour (0x00BBGGRR), count and share of the tests ("12.5 %"), and the time figures
// captioned from the report slots.
struct ReportStatusRow {
    std::string status;
    std::uint32_t colour = 0;
    std::int64_t count = 0;
    std::string share;
};
std::vector<ReportStatusRow> StatusRows(const StatusReportData& report);
struct FigureRow {
    std::string caption;
    std::string value;  // "HHH:MM", or a per cent
};
std::vector<FigureRow> TimeFigureRows(const StatusReportData& report, const CustomCfg& custom);
// The status report at path as it is shown: a summary-form report takes its colours from the
// report slots of the meanings. None when it can't be read.
std::optional<StatusReportData> ReadShownStatusReport(const std::filesystem::path& path,
                                                      const CustomCfg& custom);

// What a printed report says above its first page: the project, the report's name and when
// it was created (a report lies in "<project>/Project Reports/<kind>/<name>.vtl").
struct PrintHeading {
    std::string project;
    std::string report;
    std::string created;  // "d-MMM-yyyy hh:mm:ss"
    std::string filter;   // "ID - name" of the filter the report went through; empty without
};
PrintHeading PrintHeadingOf(const std::filesystem::path& path, const ReportHeader& header);
// The heading as HTML, above the report's body.
std::string PrintHeadingHtml(const PrintHeading& heading);
// The footer of a printed page, when the options ask for one.
std::string PrintFooterText(const PrintHeading& heading, int page, int pages);

// What the user is told when a report could not be printed (the printer or the PDF file
// refused it) or a chart could not be saved.
Notice ReportNotPrinted(const PrintHeading& heading);
Notice ChartNotSaved(const std::string& file);

// The template each kind of report page is filled into.
std::string_view ReportTemplateName(ReportKind kind);

// Receives a page's text piece by piece.
using PageOutput = std::function<void(std::string_view)>;

// The kind and title of the page of the report document at path, read from its header; none
// when it is not a report.
std::optional<ReportPage> ReportPageHead(const std::filesystem::path& path);
// Writes the body of the report's page to out as the report is read, so a list or details
// report of any size is shown holding one test case; the charts go to page.charts, named from
// baseName, and the page shows each as the picture chartHref + its name + ".gif" (beside the
// page by default). False when the report can't be read (a cut-short list or details report
// ends where it was cut).
bool WriteReportBody(ReportPage& page, const std::filesystem::path& path, const CustomCfg& custom,
                     const std::string& baseName, const PageOutput& out,
                     std::string_view chartHref = "./");
// Both, with the body in page.body.
std::optional<ReportPage> RenderReportPage(const std::filesystem::path& path,
                                           const CustomCfg& custom, const std::string& baseName,
                                           std::string_view chartHref = "./");

// What a report template holds beyond the page-level placeholders: <!--VT_REPORT_TITLE-->
// (HTML) and, on a report's page, <!--VT_REPORT-->, its body.
Template::Renderer ReportPlaceholders(std::string title,
                                      std::optional<std::string> body = std::nullopt);

// The page of a report folder: its title and <!--VT_LIST-->, the table of its reports.
inline constexpr std::string_view kReportRootTemplate = "ReportRootTemplate.html";

// The report folder's index: one row per report with its creation date.
struct ReportLink {
    std::string name;  // shown
    std::string href;
    std::string created;  // "d-MMM-yyyy"
};
std::string ReportListTable(const std::vector<ReportLink>& reports);

}  // namespace vantorel
