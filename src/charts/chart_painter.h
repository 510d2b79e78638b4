#pragma once
// The one chart renderer: draws the core's charts (status pie with its legend, time-figure
// columns, progress lines) with QPainter into any paint device, and writes them as GIF files
// for the web export. Needs Qt Gui only; a run without a display uses the offscreen platform.

#include <QPainter>
#include <QRect>

#include "render/charts.h"

namespace vantorel {

// Draws chart into area of painter's device.
void PaintChart(QPainter& painter, const Chart& chart, const QRect& area);

class QtChartPainter : public ChartPainter {
public:
    std::string WriteGif(const Chart& chart, const std::filesystem::path& file, int width,
                         int height) override;
};

}  // namespace vantorel
