#include "desktop/reports/chart_view.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFile>
#include <QImage>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QSvgGenerator>
#include <QToolTip>
#include <cmath>

namespace vantorel {

QByteArray ChartPng(const Chart& chart, QSize size, qreal devicePixelRatio) {
    QImage image(size * devicePixelRatio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::white);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        PaintChart(painter, chart, QRect(QPoint(0, 0), size));
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

QByteArray ChartSvg(const Chart& chart, QSize size) {
    QByteArray svg;
    QBuffer buffer(&svg);
    buffer.open(QIODevice::WriteOnly);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setSize(size);
    generator.setViewBox(QRect(QPoint(0, 0), size));
    generator.setTitle(QString::fromStdString(chart.title));
    {
        QPainter painter(&generator);
        painter.fillRect(QRect(QPoint(0, 0), size), Qt::white);
        PaintChart(painter, chart, QRect(QPoint(0, 0), size));
    }
    return svg;
}

std::unique_ptr<QMimeData> ChartMimeData(const Chart& chart, QSize size) {
    auto data = std::make_unique<QMimeData>();
    const QByteArray png = ChartPng(chart, size);
    data->setData("image/png", png);
    data->setData("image/svg+xml", ChartSvg(chart, size));
    data->setImageData(QImage::fromData(png, "PNG"));
    return data;
}

bool WriteChartFile(const Chart& chart, const QString& file, QSize size) {
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QByteArray bytes =
        file.endsWith(".svg", Qt::CaseInsensitive) ? ChartSvg(chart, size) : ChartPng(chart, size);
    return out.write(bytes) == bytes.size() && out.flush();
}

namespace {

// The legend swatch of a series switched off.
constexpr std::uint32_t kSwitchedOff = 0xC8C8C8;

}  // namespace

ChartView::ChartView(Chart chart, QWidget* parent)
    : QWidget(parent), m_chart(std::move(chart)), m_hidden(m_chart.series.size(), false) {
    setObjectName("chartView");
    // A screen reader has the chart's figures in words; the table beside it holds them too.
    setAccessibleName(QString::fromLatin1(m_chart.title.c_str()));
    setAccessibleDescription(QString::fromLatin1(ChartText(m_chart).c_str()));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

QSize ChartView::FileSize() const {
    return isVisible() && width() >= kChartFileSize.width() / 2 ? size() : kChartFileSize;
}

Chart ChartView::ShownChart() const {
    Chart shown = m_chart;
    for (std::size_t series = 0; series < shown.series.size(); ++series)
        if (m_hidden[series]) {
            shown.series[series].values.clear();
            shown.series[series].colour = kSwitchedOff;
        }
    return shown;
}

void ChartView::ToggleSeries(std::size_t series) {
    if (m_chart.kind != ChartKind::Lines || series >= m_hidden.size())
        return;
    m_hidden[series] = !m_hidden[series];
    update();
}

bool ChartView::SeriesShown(std::size_t series) const {
    return series < m_hidden.size() && !m_hidden[series];
}

std::optional<std::size_t> ChartView::LegendSeriesAt(const QPoint& point) const {
    if (m_chart.kind != ChartKind::Lines)
        return std::nullopt;
    const std::vector<QRect> boxes = LegendBoxes(m_chart, rect(), font());
    for (std::size_t series = 0; series < boxes.size(); ++series)
        if (boxes[series].contains(point))
            return series;
    return std::nullopt;
}

std::optional<std::size_t> ChartView::PieSeriesAt(const QPoint& point) const {
    if (m_chart.kind != ChartKind::Pie)
        return std::nullopt;
    const std::vector<QRect> boxes = LegendBoxes(m_chart, rect(), font());
    for (std::size_t series = 0; series < boxes.size(); ++series)
        if (boxes[series].contains(point))
            return series;
    return PieSliceAt(m_chart, rect(), font(), point);
}

void ChartView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        if (const std::optional<std::size_t> series = LegendSeriesAt(event->pos())) {
            ToggleSeries(*series);
            return;
        }
        if (const std::optional<std::size_t> series = PieSeriesAt(event->pos())) {
            emit seriesChosen(static_cast<int>(*series));
            return;
        }
    }
    QWidget::mousePressEvent(event);
}

bool ChartView::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        if (const std::optional<std::size_t> series = LegendSeriesAt(help->pos()))
            QToolTip::showText(
                help->globalPos(),
                m_hidden[*series] ? "Click to show this status" : "Click to hide this status",
                this);
        else if (const std::optional<std::size_t> slice = PieSeriesAt(help->pos()))
            QToolTip::showText(help->globalPos(),
                               "Click to list the test cases of " +
                                   QString::fromLatin1(m_chart.series[*slice].name.c_str()),
                               this);
        else if (const QString text = PointText(help->pos()); !text.isEmpty())
            QToolTip::showText(help->globalPos(), text, this);
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

void ChartView::paintEvent(QPaintEvent*) {
    // Drawn at the widget's logical size; the painter maps it onto the device's pixels, so a
    // high-DPI screen gets every line and letter at its own resolution.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), Qt::white);
    m_points = {};
    PaintChart(painter, ShownChart(), rect(), nullptr, &m_points);
}

std::optional<std::size_t> ChartView::LabelAt(const QPoint& point) const {
    if (m_points.xs.empty() || !m_points.plot.adjusted(-8, -8, 8, 8).contains(point))
        return std::nullopt;
    std::size_t nearest = 0;
    for (std::size_t label = 1; label < m_points.xs.size(); ++label)
        if (std::abs(m_points.xs[label] - point.x()) < std::abs(m_points.xs[nearest] - point.x()))
            nearest = label;
    return nearest;
}

QString ChartView::PointText(const QPoint& point) const {
    const std::optional<std::size_t> label = LabelAt(point);
    if (!label || *label >= m_chart.labels.size())
        return {};
    QString text = QString::fromLatin1(m_chart.labels[*label].c_str());
    for (std::size_t series = 0; series < m_chart.series.size(); ++series) {
        const ChartSeries& shown = m_chart.series[series];
        if (m_hidden[series] || *label >= shown.values.size())
            continue;
        text += QString("\n%1: %2")
                    .arg(QString::fromLatin1(shown.name.c_str()))
                    .arg(shown.values[*label], 0, 'f', 0);
    }
    return text;
}

void ChartView::CopyToClipboard() const {
    QApplication::clipboard()->setMimeData(ChartMimeData(ShownChart(), FileSize()).release());
}

void ChartView::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.addAction("Copy chart", this, &ChartView::CopyToClipboard);
    menu.addAction("Save chart as...", this, &ChartView::saveAsRequested);
    menu.exec(event->globalPos());
}

}  // namespace vantorel
