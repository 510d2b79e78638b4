#include "render/report_pages.h"

#include <cstdio>

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"
#include "documents/history.h"
#include "platform/clock_text.h"
#include "render/item_pages.h"
#include "render/template.h"
#include "reports/list_reports.h"
#include "storage/field_values.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

std::string Swatch(std::uint32_t reportColour) {
    return "<span class=Swatch style=\"background-color:" + HtmlColour(reportColour) + "\"></span>";
}

std::string Shown(const std::string& value) {
    return value.empty() ? std::string(kEmptyValue) : value;
}

std::string CreatedText(const ReportHeader& header) {
    std::string text = HtmlEscaped(DisplayValue(FT_DATE, header.createDate));
    if (!header.createTime.empty())
        text += ", " + HtmlEscaped(header.createTime);
    if (!header.filterName.empty())
        text += " &middot; filter " + HtmlEscaped(header.filterName);
    return "<p class=Meaning>Created " + text + "</p>\n";
}

// A chart as the page shows it: its picture, found under charts.
std::string Image(std::string_view charts, const std::string& name) {
    return "<img src=\"" + std::string(charts) + UrlPath(name) + ".gif\">\n";
}

std::string StatusBody(const StatusReportData& report, const CustomCfg& custom,
                       const std::string& baseName, std::string_view chartHref,
                       std::vector<ChartFile>& charts) {
    std::string html = CreatedText(report.header);
    charts.push_back({StatusPieChart(report), baseName + "-status"});
    charts.push_back({TimeFiguresChart(report, custom), baseName + "-time"});
    html += "<h2>Tests by status</h2>\n" + Image(chartHref, baseName + "-status");
    html +=
        "<table class=List><tr class=ListHeading><td class=ListHeading>Status</td><td "
        "class=\"ListHeading Figure\">Tests</td><td class=\"ListHeading Figure\">Share</td>"
        "</tr>\n";
    std::size_t row = 0;
    for (const ReportStatusRow& status : StatusRows(report)) {
        const std::string rowClass = row++ % 2 == 0 ? "List" : "ListAlt";
        html += "<tr class=" + rowClass + "><td class=" + rowClass + ">" + Swatch(status.colour) +
                HtmlEscaped(status.status) + "</td><td class=\"" + rowClass + " Figure\">" +
                std::to_string(status.count) + "</td><td class=\"" + rowClass + " Figure\">" +
                status.share + "</td></tr>\n";
    }
    html += "</table>\n<h2>Time figures</h2>\n" + Image(chartHref, baseName + "-time");
    html +=
        "<table class=List><tr class=ListHeading><td class=ListHeading>Figure</td><td "
        "class=\"ListHeading Figure\">Hours</td></tr>\n";
    row = 0;
    for (const FigureRow& figure : TimeFigureRows(report, custom)) {
        const std::string rowClass = row++ % 2 == 0 ? "List" : "ListAlt";
        html += "<tr class=" + rowClass + "><td class=" + rowClass + ">" +
                HtmlEscaped(figure.caption) + "</td><td class=\"" + rowClass + " Figure\">" +
                figure.value + "</td></tr>\n";
    }
    return html + "</table>\n";
}

std::string ProgressBody(const ProgressReportData& report, const std::string& baseName,
                         std::string_view chartHref, std::vector<ChartFile>& charts) {
    const Chart chart = ProgressLineChart(report);
    charts.push_back({chart, baseName + "-progress", 720, 380});
    std::string html = CreatedText(report.header) + Image(chartHref, baseName + "-progress");
    html += "<table class=List><tr class=ListHeading><td class=ListHeading>Period from</td>";
    // Headings of figures sit right, above their numbers.
    for (std::size_t status = 0; status < report.statuses.size(); ++status)
        html += "<td class=\"ListHeading Figure\">" +
                Swatch(status < report.colours.size() ? report.colours[status] : 0x808080) +
                HtmlEscaped(report.statuses[status]) + "</td>";
    html += "</tr>\n";
    for (std::size_t period = 0; period < chart.labels.size(); ++period) {
        const std::string rowClass = period % 2 == 0 ? "List" : "ListAlt";
        html += "<tr class=" + rowClass + "><td class=" + rowClass + ">" + chart.labels[period] +
                "</td>";
        // Counts come from the report itself: the chart's doubles can't hold every int64.
        for (std::size_t status = 0; status < report.statuses.size(); ++status) {
            const bool stored =
                status < report.series.size() && period < report.series[status].size();
            html += "<td class=\"" + rowClass + " Figure\">" +
                    std::to_string(stored ? report.series[status][period] : 0) + "</td>";
        }
        html += "</tr>\n";
    }
    return html + "</table>\n";
}

// One shown column of a list report: the field type of its cells (the suite column, and any
// a report names no field for, is text) and whether its text may wrap. Identifiers, dates,
// figures and short list values stay on one line; titles and free text wrap at word ends.
struct ShownColumn {
    FieldType type = FT_TEXT;
    bool wraps = false;
};

std::vector<ShownColumn> ShownColumns(const std::string& columns) {
    std::vector<ShownColumn> shown;
    for (std::size_t column = 0; column < columns.size() && column < kListColumnCount; ++column)
        if (columns[column] == '1') {
            const std::string_view tag = ListColumns()[column].tag;
            const FieldDescriptor* field = FindField(PrjTestCaseFields(), tag);
            shown.push_back({field ? field->type : FT_TEXT,
                             tag == "<test_title>" || tag == "<fault_report_id>" ||
                                 tag == "<requirement>" || tag == "<testers>"});
        }
    return shown;
}

// The rows of a list report, written as they are read. A table wider than the page scrolls
// inside its own box, not the page.
void WriteListBody(ReportRowReader& reader, const PageOutput& out) {
    std::string html = CreatedText(reader.Header()) +
                       "<div class=TableScroll><table class=\"List Wide\"><tr class=ListHeading>";
    for (const std::string& heading : ReadRepeated(reader.Head(), "<column_heading>"))
        html += "<td class=ListHeading>" + HtmlEscaped(heading) + "</td>";
    html += "</tr>\n";
    out(html);
    std::string flags;
    reader.Head().GetTag("<columns>", flags);
    const std::vector<ShownColumn> columns = ShownColumns(flags);
    for (ReportedTestCase testCase; reader.Next(testCase);) {
        const std::string rowClass = testCase.order % 2 == 0 ? "List" : "ListAlt";
        html = "<tr class=" + rowClass + ">";
        for (std::size_t cell = 0; cell < testCase.values.size(); ++cell) {
            const ShownColumn column = cell < columns.size() ? columns[cell] : ShownColumn{};
            html += "<td class=\"" + rowClass + (column.wraps ? " Wraps" : "") + "\">" +
                    Shown(PageValue(column.type, testCase.values[cell])) + "</td>";
        }
        out(html + "</tr>\n");
    }
    out("</table></div>\n");
}

// Every test case of a details report, written as it is read.
void WriteDetailsBody(ReportRowReader& reader, const CustomCfg& custom, const PageOutput& out) {
    out(CreatedText(reader.Header()));
    Template history;
    history.LoadText("<!--VT_TEST_HISTORY-->");
    for (ReportedTestCase kept; reader.Next(kept);) {
        PrjTestCaseCore testCase(custom, {});
        testCase.LoadKept(kept.values);
        // Headed by what a tester knows it by: identifier and title, then its suite.
        const std::string title = testCase.Stored("<test_title>");
        const std::string suite = SuiteOfPath(kept.path);
        out("<h2>" + PageValue(FT_TEXT, testCase.Stored("<id>")) +
            (title.empty() ? "" : " &ndash; " + PageValue(FT_TEXT, title)) + "</h2>\n" +
            (suite.empty() ? "" : "<p class=Meaning>Suite " + HtmlEscaped(suite) + "</p>\n") +
            testCase.FieldTable() + testCase.Render(history, {}));
    }
}

}  // namespace

std::vector<ReportStatusRow> StatusRows(const StatusReportData& report) {
    std::vector<ReportStatusRow> rows;
    for (std::size_t status = 0; status < report.statuses.size(); ++status) {
        const std::int64_t count = status < report.counts.size() ? report.counts[status] : 0;
        char share[32];
        std::snprintf(share, sizeof share, "%.1f %%",
                      report.totalTests > 0 ? 100.0 * static_cast<double>(count) /
                                                  static_cast<double>(report.totalTests)
                                            : 0.0);
        rows.push_back({report.statuses[status],
                        status < report.colours.size() ? report.colours[status] : 0x808080, count,
                        share});
    }
    return rows;
}

std::vector<FigureRow> TimeFigureRows(const StatusReportData& report, const CustomCfg& custom) {
    return {
        {custom.ReportString(RS_TOTAL_PLAN_TIME), HoursAndMinutes(report.totalTestTime)},
        {custom.ReportString(RS_EXTRAPOLATED_TIME), HoursAndMinutes(report.predictedTime)},
        {custom.ReportString(RS_PLANNED_PASSED_TIME), HoursAndMinutes(report.expectedPassedTime)},
        {custom.ReportString(RS_ACTUAL_PASSED_TIME), HoursAndMinutes(report.expendedTime)},
        {custom.ReportString(RS_FAILED_TIME), HoursAndMinutes(report.failedTime)},
        {custom.ReportString(RS_ATTEMPTED_TIME), HoursAndMinutes(report.totalAttemptedTime)},
        {"Average time per attempted test", HoursAndMinutes(report.averagePerAttemptedTest)},
        {"Average time per planned test", HoursAndMinutes(report.averagePerPlannedTest)},
        {"Tests complete", report.perCentComplete + " %"},
        {"Planned time used", report.perCentTimeUsed + " %"},
    };
}

std::optional<StatusReportData> ReadShownStatusReport(const std::filesystem::path& path,
                                                      const CustomCfg& custom) {
    std::optional<StatusReportData> report = ReadStatusReport(path);
    if (report && report->summaryForm)
        for (int meaning = 0; meaning < kMeaningCount; ++meaning)
            report->colours.push_back(
                custom.ReportColourOf(static_cast<std::size_t>(MeaningSlot(meaning))));
    return report;
}

PrintHeading PrintHeadingOf(const std::filesystem::path& path, const ReportHeader& header) {
    // <project>/Project Reports/<kind's folder>/<name>.vtl
    PrintHeading heading{path.parent_path().parent_path().parent_path().filename().string(),
                         path.stem().string(), DisplayValue(FT_DATE, header.createDate),
                         header.filterName};
    if (!header.createTime.empty())
        heading.created += " " + header.createTime;
    return heading;
}

std::string PrintHeadingHtml(const PrintHeading& heading) {
    std::string html = "<h1>" + HtmlEscaped(heading.project) + "</h1>\n<p><b>" +
                       HtmlEscaped(heading.report) + "</b> &middot; created " +
                       HtmlEscaped(heading.created);
    if (!heading.filter.empty())
        html += " &middot; filter " + HtmlEscaped(heading.filter);
    return html + "</p>\n";
}

std::string PrintFooterText(const PrintHeading& heading, int page, int pages) {
    return heading.project + " - " + heading.report + " - Page " + std::to_string(page) + " of " +
           std::to_string(pages);
}

Notice ReportNotPrinted(const PrintHeading& heading) {
    return {"The report \"" + heading.report +
                "\" could not be printed: the printer or the file "
                "refused it.\nCheck the printer, or that the folder of the file can be written to.",
            "Print error", Icon::Warning};
}

Notice ChartNotSaved(const std::string& file) {
    return {"The chart could not be saved as " + file +
                ".\nCheck that the folder can be written to and the disk is not full.",
            "Save error", Icon::Warning};
}

std::string_view ReportTemplateName(ReportKind kind) {
    switch (kind) {
        case ReportKind::Status:
            return "StatusReportTemplate.html";
        case ReportKind::Progress:
            return "ProgressReportTemplate.html";
        case ReportKind::List:
            return "ListReportTemplate.html";
        case ReportKind::Details:
            return "TestCaseReportTemplate.html";
    }
    return {};
}

std::optional<ReportPage> ReportPageHead(const std::filesystem::path& path) {
    ReportHeader header;
    const std::optional<ReportKind> kind = ReadReportKind(path, &header);
    if (!kind)
        return std::nullopt;
    ReportPage page;
    page.kind = *kind;
    page.title = NameHtml(path.stem().string());
    page.created = DisplayValue(FT_DATE, header.createDate);
    return page;
}

bool WriteReportBody(ReportPage& page, const std::filesystem::path& path, const CustomCfg& custom,
                     const std::string& baseName, const PageOutput& out,
                     std::string_view chartHref) {
    switch (page.kind) {
        case ReportKind::Status: {
            const auto report = ReadShownStatusReport(path, custom);
            if (!report)
                return false;
            out(StatusBody(*report, custom, baseName, chartHref, page.charts));
            return true;
        }
        case ReportKind::Progress: {
            auto report = ReadProgressReport(path);
            if (!report)
                return false;
            out(ProgressBody(*report, baseName, chartHref, page.charts));
            return true;
        }
        case ReportKind::List:
        case ReportKind::Details: {
            ReportRowReader reader;
            if (!reader.Open(path, page.kind))
                return false;
            if (page.kind == ReportKind::List)
                WriteListBody(reader, out);
            else
                WriteDetailsBody(reader, custom, out);
            return true;
        }
    }
    return false;
}

std::optional<ReportPage> RenderReportPage(const std::filesystem::path& path,
                                           const CustomCfg& custom, const std::string& baseName,
                                           std::string_view chartHref) {
    std::optional<ReportPage> page = ReportPageHead(path);
    if (!page || !WriteReportBody(
                     *page, path, custom, baseName,
                     [&page](std::string_view piece) { page->body += piece; }, chartHref))
        return std::nullopt;
    return page;
}

Template::Renderer ReportPlaceholders(std::string title, std::optional<std::string> body) {
    return [title = std::move(title),
            body = std::move(body)](std::string_view placeholder) -> std::optional<std::string> {
        if (placeholder == "VT_REPORT_TITLE")
            return title;
        if (placeholder == "VT_REPORT" && body)
            return body;
        return std::nullopt;
    };
}

std::string ReportListTable(const std::vector<ReportLink>& reports) {
    std::string html =
        "<table class=List><tr class=ListHeading><td class=ListHeading>Report</td>"
        "<td class=ListHeading>Created</td></tr>\n";
    std::size_t row = 0;
    for (const ReportLink& report : reports) {
        const std::string rowClass = row++ % 2 == 0 ? "List" : "ListAlt";
        html += "<tr class=" + rowClass + "><td class=" + rowClass + "><a href=\"" + report.href +
                "\">" + report.name + "</a></td><td class=" + rowClass + ">" +
                Shown(HtmlEscaped(report.created)) + "</td></tr>\n";
    }
    if (reports.empty())
        html +=
            "<tr class=List><td class=List>No reports yet</td><td class=List>&nbsp;</td></tr>\n";
    return html + "</table>\n";
}

}  // namespace vantorel
