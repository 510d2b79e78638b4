// Feeds arbitrary bytes to the report pages as a saved report of any kind (its <report_type>
// tells which) and fills the report template with the page as the web export does. Charts are
// handed to a painter that draws nothing but holds each chart to what a painter relies on.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "documents/custom_cfg.h"
#include "fuzz_support.h"
#include "render/charts.h"
#include "render/report_pages.h"
#include "render/template.h"

using namespace vantorel;
using namespace vantorel::fuzzing;

namespace {

// One value per slice or column; no more points on a line than the chart has labels.
class CheckingPainter : public ChartPainter {
public:
    IoResult WriteGif(const Chart& chart, const std::filesystem::path&, int width,
                      int height) override {
        if (width <= 0 || height <= 0)
            std::abort();
        for (const ChartSeries& series : chart.series) {
            const bool drawable = chart.kind == ChartKind::Lines
                                      ? series.values.size() <= chart.labels.size()
                                      : series.values.size() == 1;
            if (!drawable)
                std::abort();
        }
        return IoResult::Success();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const CustomCfg custom;
    const std::filesystem::path file =
        WorkFolder() / "Reports" / "Status report - 2026-11-21-1.vtl";
    WriteWholeFile(file, AsText(data, size));

    const std::optional<ReportPage> report = RenderReportPage(file, custom, "chart");
    if (!report)
        return 0;
    CheckingPainter painter;
    for (const ChartFile& chart : report->charts)
        (void)painter.WriteGif(chart.chart, WorkFolder() / (chart.name + ".gif"), chart.width,
                               chart.height);

    Template page;
    page.LoadText(
        "<html><head><title><!--VT_REPORT_TITLE--></title></head><body><!--VT_REPORT-->"
        "</body></html>");
    (void)page.Fill({}, [&report](std::string_view placeholder) -> std::optional<std::string> {
        if (placeholder == "VT_REPORT_TITLE")
            return report->title;
        if (placeholder == "VT_REPORT")
            return report->body;
        return std::nullopt;
    });
    return 0;
}
