#pragma once
// Report pages: a saved report shown as HTML, with its charts. The page's text goes into the
// report templates' <!--VT_REPORT--> placeholder; the charts are handed back to be drawn.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
