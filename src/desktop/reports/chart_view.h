#pragma once
// A chart of a report in the window: drawn by the one chart renderer at the widget's size, so
// it is sharp at any scale and on high-DPI screens. Its context menu copies it (PNG and SVG)
// or saves it as either.

#include <QByteArray>
#include <QMimeData>
#include <QWidget>
#include <memory>

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
    // The size copies and saved files get.
    QSize FileSize() const;
    void CopyToClipboard() const;

    QSize sizeHint() const override { return {560, 320}; }
    QSize minimumSizeHint() const override { return {320, 200}; }

signals:
    // "Save chart as..." of the context menu: the report view asks for the file.
    void saveAsRequested();

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    Chart m_chart;
};

}  // namespace vantorel
