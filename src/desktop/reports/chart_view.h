#pragma once
// A chart of a report in the window: drawn by the one chart renderer at the widget's size, so
// it is sharp at any scale and on high-DPI screens. Its context menu copies it (PNG and SVG)
// or saves it as either. A line chart's series are switched off and on by a click on their
// line of the legend (an off series keeps its line there, greyed), and a tooltip over its plot
// gives the date and the counts there. A click on a pie's slice or on its line of the legend
// chooses that series (a status), for the report view to list its test cases.

#include <QByteArray>
#include <QMimeData>
#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "charts/chart_painter.h"
#include "render/charts.h"

namespace vantorel {

// The picture size a copied or saved chart gets: the size it has on screen, or a size that
// shows it well when it isn't on screen.
inline constexpr QSize kChartFileSize{720, 400};

QByteArray ChartPng(const Chart& chart, QSize size, qreal devicePixelRatio = 2);
QByteArray ChartSvg(const Chart& chart, QSize size);
// What "Copy chart" puts on the clipboard: image/png, image/svg+xml and Qt's own image.
std::unique_ptr<QMimeData> ChartMimeData(const Chart& chart, QSize size);
// Writes the chart to file, as SVG when its name ends in ".svg", else PNG; false on failure.
bool WriteChartFile(const Chart& chart, const QString& file, QSize size);

class ChartView : public QWidget {
    Q_OBJECT
public:
    explicit ChartView(Chart chart, QWidget* parent = nullptr);

    const Chart& TheChart() const { return m_chart; }
    // The chart as shown, without the series switched off; copies and files show this.
    Chart ShownChart() const;
    // Switches a line chart's series off or on.
    void ToggleSeries(std::size_t series);
    bool SeriesShown(std::size_t series) const;
    // The series of a pie chart whose slice or legend line is at point.
    std::optional<std::size_t> PieSeriesAt(const QPoint& point) const;
    // What the tooltip over a line chart's plot says at point: the period's date and each
    // shown status's count; empty elsewhere.
    QString PointText(const QPoint& point) const;
    // Where the last paint put a line chart's points.
    const ChartPoints& Points() const { return m_points; }
    // The size copies and saved files get.
    QSize FileSize() const;
    void CopyToClipboard() const;

    QSize sizeHint() const override { return {560, 320}; }
    QSize minimumSizeHint() const override { return {320, 200}; }

signals:
    // "Save chart as..." of the context menu: the report view asks for the file.
    void saveAsRequested();
    // A pie's slice or legend line was clicked: the series it stands for.
    void seriesChosen(int series);

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    // The series whose legend line is at point; none off the legend or for a chart whose
    // series don't switch.
    std::optional<std::size_t> LegendSeriesAt(const QPoint& point) const;
    // A line chart's label (a period's date) nearest point inside the plot.
    std::optional<std::size_t> LabelAt(const QPoint& point) const;

    Chart m_chart;
    std::vector<bool> m_hidden;
    ChartPoints m_points;
};

}  // namespace vantorel
