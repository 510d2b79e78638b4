#pragma once
// The one chart renderer: draws the core's charts (status pie with its legend, time-figure
// columns, progress lines) with QPainter into any paint device, and writes them as GIF files
// for the web export. Needs Qt Gui only; a run without a display uses the offscreen platform.

#include <QFont>
#include <QPainter>
#include <QRect>
#include <QString>
#include <optional>
#include <vector>

#include "render/charts.h"

namespace vantorel {

// A text drawn along an axis and the box it was drawn in.
struct AxisText {
    QRectF box;
    QString text;
};

// Where a line chart's points were drawn: the plot and the x of each label's points.
struct ChartPoints {
    QRect plot;
    std::vector<double> xs;
};

// Draws chart into area of painter's device. The texts along the axes (tick values, dates) go
// to axisTexts too when it is given, so that tests can hold their layout: none cut, none
// overlapping another. A line chart's points go to points when it is given, so that a view
// can tell which the pointer is over.
void PaintChart(QPainter& painter, const Chart& chart, const QRect& area,
                std::vector<AxisText>* axisTexts = nullptr, ChartPoints* points = nullptr);

// The box of each series' line in the legend, as PaintChart lays it out in area when the
// painter's font is font: where a click on the legend lands.
std::vector<QRect> LegendBoxes(const Chart& chart, const QRect& area, const QFont& font);

// The series whose slice of a pie chart drawn in area (with font, as for LegendBoxes) is at
// point; none off the pie, or for another kind of chart.
std::optional<std::size_t> PieSliceAt(const Chart& chart, const QRect& area, const QFont& font,
                                      const QPointF& point);

class QtChartPainter : public ChartPainter {
public:
    IoResult WriteGif(const Chart& chart, const std::filesystem::path& file, int width,
                      int height) override;
};

}  // namespace vantorel
