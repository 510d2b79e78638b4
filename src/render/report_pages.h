#pragma once
// Report pages: a saved report shown as HTML, with its charts. The page's text goes into the
// report templates' <!--VT_REPORT--> placeholder; the charts are handed back to be drawn.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "render/charts.h"

namespace vantorel {

class CustomCfg;

struct ChartFile {
    Chart chart;
    std::string name;  // file name without ".gif", beside the page
    int width = 640, height = 360;
};

struct ReportPage {
    ReportKind kind = ReportKind::Status;
    std::string title;  // the report's name
    std::string body;
    std::vector<ChartFile> charts;
};

// The template each kind of report page is filled into.
std::string_view ReportTemplateName(ReportKind kind);

// The page of the report document at path; none when it is not a report that can be read.
// Chart files are named from baseName.
std::optional<ReportPage> RenderReportPage(const std::filesystem::path& path,
                                           const CustomCfg& custom, const std::string& baseName);

// The report folder's index: one row per report with its creation date.
struct ReportLink {
    std::string name;  // shown
    std::string href;
    std::string created;  // "d-MMM-yyyy"
};
std::string ReportListTable(const std::vector<ReportLink>& reports);

}  // namespace vantorel
