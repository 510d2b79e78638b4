#include "charts/chart_painter.h"

#include <QFontMetrics>
#include <QImage>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <unordered_map>

#include "render/gif_image.h"

namespace vantorel {
namespace {

const QColor kInk(0x1f, 0x29, 0x33);
const QColor kMuted(0x5f, 0x6b, 0x7a);
const QColor kGrid(0xd9, 0xde, 0xe5);

QColor ColourOf(std::uint32_t rgb) {
    return QColor(static_cast<int>(rgb >> 16 & 0xFF), static_cast<int>(rgb >> 8 & 0xFF),
                  static_cast<int>(rgb & 0xFF));
}

QString Text(const std::string& latin1) {
    return QString::fromLatin1(latin1.data(), static_cast<qsizetype>(latin1.size()));
}

double Total(const Chart& chart) {
    double total = 0;
    for (const ChartSeries& series : chart.series)
        total += series.values.empty() ? 0 : std::max(0.0, series.values[0]);
    return total;
}

// The legend at the right of the chart: a swatch and a line of text per series, each line in
// its box; width is the legend's.
struct Legend {
    int width = 0;
    std::vector<QString> lines;
    std::vector<QRect> boxes;
};

Legend LayOutLegend(const QFontMetrics& metrics, const Chart& chart, const QRect& area,
                    bool withValues) {
    Legend legend;
    const double total = Total(chart);
    int widest = 0;
    for (const ChartSeries& series : chart.series) {
        QString line = Text(series.name);
        if (withValues && !series.values.empty()) {
            line += "  " + Text(ValueText(chart, series.values[0]));
            if (chart.kind == ChartKind::Pie && total > 0)
                line += QString(" (%1 %)").arg(100.0 * series.values[0] / total, 0, 'f', 1);
        }
        widest = std::max(widest, metrics.horizontalAdvance(line));
        legend.lines.push_back(line);
    }
    legend.width = std::min(widest + 28, area.width() / 2);
    const int left = area.right() - legend.width;
    int y = area.top() + 4;
    for (std::size_t index = 0; index < legend.lines.size(); ++index) {
        legend.boxes.emplace_back(left, y, legend.width, metrics.height() + 4);
        y += metrics.height() + 6;
    }
    return legend;
}

int PaintLegend(QPainter& painter, const Chart& chart, const QRect& area, bool withValues) {
    const QFontMetrics metrics(painter.font());
    const Legend legend = LayOutLegend(metrics, chart, area, withValues);
    for (std::size_t index = 0; index < legend.lines.size(); ++index) {
        const QRect& box = legend.boxes[index];
        painter.fillRect(QRect(box.left(), box.top() + 3, 12, 12),
                         ColourOf(chart.series[index].colour));
        painter.setPen(kInk);
        painter.drawText(box.adjusted(18, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         metrics.elidedText(legend.lines[index], Qt::ElideRight, box.width() - 18));
    }
    return legend.width;
}

QFont ChartFont(const QFont& base) {
    QFont font = base;
    font.setFamily("DejaVu Sans");
    font.setPixelSize(13);
    return font;
}

// Where the chart's parts go below its title.
QRect ChartBody(const QRect& area) {
    return area.adjusted(8, 36, -8, -8);
}

// The pie's circle in area, left of a legend of width legend.
QRectF PieCircle(const QRect& area, int legend) {
    const int side = std::min(area.height(), area.width() - legend - 24) - 8;
    return {area.left() + 8.0, area.top() + (area.height() - side) / 2.0, double(side),
            double(side)};
}

// The span of each slice in sixteenths of a degree, clockwise from the top; 0 for a series
// that draws no slice.
std::vector<int> SliceSpans(const Chart& chart, double total) {
    std::vector<int> spans;
    for (const ChartSeries& series : chart.series) {
        const double value = series.values.empty() ? 0 : std::max(0.0, series.values[0]);
        spans.push_back(static_cast<int>(std::lround(-360.0 * 16 * value / total)));
    }
    return spans;
}

void PaintPie(QPainter& painter, const Chart& chart, const QRect& area) {
    const int legend = PaintLegend(painter, chart, area, true);
    const QRectF circle = PieCircle(area, legend);
    const double total = Total(chart);
    painter.setPen(QPen(Qt::white, 2));
    if (total <= 0) {
        painter.setBrush(kGrid);
        painter.drawEllipse(circle);
        painter.setPen(kMuted);
        painter.drawText(circle, Qt::AlignCenter, "No tests");
        return;
    }
    int start = 90 * 16;
    const std::vector<int> spans = SliceSpans(chart, total);
    for (std::size_t index = 0; index < chart.series.size(); ++index) {
        const ChartSeries& series = chart.series[index];
        const double value = series.values.empty() ? 0 : std::max(0.0, series.values[0]);
        const int span = spans[index];
        if (span == 0)
            continue;
        painter.setBrush(ColourOf(series.colour));
        if (value >= total) {
            // A slice of the whole is a disc: a pie's edges would draw a seam to its centre.
            painter.setPen(Qt::NoPen);
            painter.drawEllipse(circle);
            return;
        }
        painter.drawPie(circle, start, span);
        start += span;
    }
}

// The value axis with its ticks and grid; the plot inside it. The labels' room is that of the
// widest of them, so none is cut.
QRect PaintAxes(QPainter& painter, const QRect& plot, const std::vector<double>& ticks,
                const QString& axis, std::vector<AxisText>* axisTexts) {
    const QFontMetrics metrics(painter.font());
    const double step = ticks.size() > 1 ? ticks[1] : 1;
    std::vector<QString> labels;
    int widest = 0;
    for (double tick : ticks) {
        labels.push_back(QString::fromStdString(TickText(tick, step)));
        widest = std::max(widest, metrics.horizontalAdvance(labels.back()));
    }
    const int labelWidth = widest + 8;
    // The axis title sits above the top tick's label.
    const QRect inner(plot.left() + labelWidth, plot.top() + 2 * metrics.height(),
                      plot.width() - labelWidth, plot.height() - 3 * metrics.height() - 8);
    painter.setPen(kMuted);
    painter.drawText(QRect(plot.left(), plot.top(), plot.width(), metrics.height()), Qt::AlignLeft,
                     axis);
    const double top = ticks.back();
    for (std::size_t index = 0; index < ticks.size(); ++index) {
        const int y =
            inner.bottom() - static_cast<int>(std::lround(inner.height() * ticks[index] / top));
        painter.setPen(QPen(kGrid, 1));
        painter.drawLine(inner.left(), y, inner.right(), y);
        painter.setPen(kMuted);
        const QRect box(plot.left(), y - metrics.height() / 2, labelWidth - 6, metrics.height());
        painter.drawText(box, Qt::AlignRight | Qt::AlignVCenter, labels[index]);
        if (axisTexts)
            axisTexts->push_back({box, labels[index]});
    }
    return inner;
}

void PaintColumns(QPainter& painter, const Chart& chart, const QRect& area,
                  std::vector<AxisText>* axisTexts) {
    const int legend = PaintLegend(painter, chart, area, true);
    double largest = 0;
    for (const ChartSeries& series : chart.series)
        if (!series.values.empty())
            largest = std::max(largest, series.values[0]);
    const std::vector<double> ticks = AxisTicks(largest, chart.countAxis);
    const double maximum = ticks.back();
    const QRect inner = PaintAxes(
        painter, QRect(area.left(), area.top(), area.width() - legend - 16, area.height()), ticks,
        Text(chart.valueAxis), axisTexts);
    const int count = static_cast<int>(chart.series.size());
    if (count == 0)
        return;
    const double slot = static_cast<double>(inner.width()) / count;
    for (int index = 0; index < count; ++index) {
        const ChartSeries& series = chart.series[static_cast<std::size_t>(index)];
        const double value = series.values.empty() ? 0 : std::max(0.0, series.values[0]);
        const int height = static_cast<int>(inner.height() * value / maximum);
        const QRectF column(inner.left() + slot * index + slot * 0.2, inner.bottom() - height,
                            slot * 0.6, height);
        painter.fillRect(column, ColourOf(series.colour));
    }
}

void PaintLines(QPainter& painter, const Chart& chart, const QRect& area,
                std::vector<AxisText>* axisTexts, ChartPoints* chartPoints) {
    const int legend = PaintLegend(painter, chart, area, false);
    double largest = 0;
    for (const ChartSeries& series : chart.series)
        for (double value : series.values)
            largest = std::max(largest, value);
    const std::vector<double> ticks = AxisTicks(largest, chart.countAxis);
    const double maximum = ticks.back();
    const QRect inner = PaintAxes(
        painter, QRect(area.left(), area.top(), area.width() - legend - 16, area.height()), ticks,
        Text(chart.valueAxis), axisTexts);
    const std::size_t points = chart.labels.size();
    if (points == 0)
        return;
    // Dates under the axis, as many as fit without touching, measured by the widest; the
    // points keep half a date's width from the ends, so the first and last dates are whole.
    const QFontMetrics metrics(painter.font());
    int widest = 0;
    for (const std::string& label : chart.labels)
        widest = std::max(widest, metrics.horizontalAdvance(Text(label)));
    const double left = inner.left() + widest / 2.0;
    const double span = std::max(1.0, inner.width() - static_cast<double>(widest));
    auto xOf = [&](std::size_t point) {
        return points == 1
                   ? inner.center().x()
                   : left + span * static_cast<double>(point) / static_cast<double>(points - 1);
    };
    if (chartPoints) {
        chartPoints->plot = inner;
        for (std::size_t point = 0; point < points; ++point)
            chartPoints->xs.push_back(xOf(point));
    }
    const std::size_t every = LabelStride(points, span, widest, 12);
    painter.setPen(kMuted);
    for (std::size_t point = 0; point < points; point += every) {
        const QRectF box(xOf(point) - widest / 2.0, inner.bottom() + 4, widest, metrics.height());
        painter.drawText(box, Qt::AlignCenter, Text(chart.labels[point]));
        if (axisTexts)
            axisTexts->push_back({box, Text(chart.labels[point])});
    }
    for (const ChartSeries& series : chart.series) {
        QPainterPath path;
        for (std::size_t point = 0; point < series.values.size() && point < points; ++point) {
            const QPointF at(xOf(point),
                             inner.bottom() - inner.height() * series.values[point] / maximum);
            if (point == 0)
                path.moveTo(at);
            else
                path.lineTo(at);
        }
        painter.setPen(
            QPen(ColourOf(series.colour), 2.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(path);
    }
}

}  // namespace

std::vector<QRect> LegendBoxes(const Chart& chart, const QRect& area, const QFont& font) {
    return LayOutLegend(QFontMetrics(ChartFont(font)), chart, ChartBody(area),
                        chart.kind != ChartKind::Lines)
        .boxes;
}

std::optional<std::size_t> PieSliceAt(const Chart& chart, const QRect& area, const QFont& font,
                                      const QPointF& point) {
    const double total = Total(chart);
    if (chart.kind != ChartKind::Pie || total <= 0)
        return std::nullopt;
    const QRect body = ChartBody(area);
    const QRectF circle =
        PieCircle(body, LayOutLegend(QFontMetrics(ChartFont(font)), chart, body, true).width);
    const QPointF fromCentre = point - circle.center();
    if (std::hypot(fromCentre.x(), fromCentre.y()) > circle.width() / 2)
        return std::nullopt;
    // Clockwise from the top, in sixteenths of a degree, as the slices are drawn.
    const double angle = std::atan2(-fromCentre.y(), fromCentre.x()) * 180.0 / std::numbers::pi;
    const double clockwise = std::fmod(90.0 - angle + 720.0, 360.0) * 16;
    const std::vector<int> spans = SliceSpans(chart, total);
    double end = 0;
    for (std::size_t index = 0; index < spans.size(); ++index) {
        end += -spans[index];
        if (spans[index] != 0 && clockwise < end)
            return index;
    }
    // The last slice takes what rounding left over.
    for (std::size_t index = spans.size(); index-- > 0;)
        if (spans[index] != 0)
            return index;
    return std::nullopt;
}

void PaintChart(QPainter& painter, const Chart& chart, const QRect& area,
                std::vector<AxisText>* axisTexts, ChartPoints* points) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QFont font = ChartFont(painter.font());
    painter.setFont(font);
    QFont title = font;
    title.setBold(true);
    title.setPixelSize(15);
    painter.setFont(title);
    painter.setPen(kInk);
    painter.drawText(QRect(area.left() + 8, area.top() + 6, area.width() - 16, 22),
                     Qt::AlignLeft | Qt::AlignVCenter, Text(chart.title));
    painter.setFont(font);
    const QRect body = ChartBody(area);
    switch (chart.kind) {
        case ChartKind::Pie:
            PaintPie(painter, chart, body);
            break;
        case ChartKind::Columns:
            PaintColumns(painter, chart, body, axisTexts);
            break;
        case ChartKind::Lines:
            PaintLines(painter, chart, body, axisTexts, points);
            break;
    }
    painter.restore();
}

IoResult QtChartPainter::WriteGif(const Chart& chart, const std::filesystem::path& file, int width,
                                  int height) {
    QImage picture(width, height, QImage::Format_RGB32);
    picture.fill(Qt::white);
    {
        QPainter painter(&picture);
        PaintChart(painter, chart, picture.rect());
    }
    // GIF holds 256 colours: the most used ones are kept exactly (backgrounds, slices, lines),
    // the rare edge shades of antialiasing take their nearest kept colour.
    std::unordered_map<QRgb, int> uses;
    for (int y = 0; y < height; ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        for (int x = 0; x < width; ++x)
            ++uses[line[x] & 0xFFFFFF];
    }
    std::vector<std::pair<QRgb, int>> byUse(uses.begin(), uses.end());
    std::sort(byUse.begin(), byUse.end(), [](const auto& a, const auto& b) {
        return a.second > b.second || (a.second == b.second && a.first < b.first);
    });
    if (byUse.size() > 256)
        byUse.resize(256);
    std::vector<std::uint32_t> palette;
    std::unordered_map<QRgb, std::uint8_t> indexOf;
    for (const auto& [colour, count] : byUse) {
        indexOf[colour] = static_cast<std::uint8_t>(palette.size());
        palette.push_back(static_cast<std::uint32_t>(colour));
    }
    auto nearest = [&](QRgb colour) {
        std::size_t best = 0;
        long bestDistance = -1;
        for (std::size_t index = 0; index < palette.size(); ++index) {
            const long dr = qRed(colour) - qRed(palette[index]);
            const long dg = qGreen(colour) - qGreen(palette[index]);
            const long db = qBlue(colour) - qBlue(palette[index]);
            const long distance = dr * dr + dg * dg + db * db;
            if (bestDistance < 0 || distance < bestDistance) {
                bestDistance = distance;
                best = index;
            }
        }
        return static_cast<std::uint8_t>(best);
    };
    IndexedImage image(width, height, palette);
    for (int y = 0; y < height; ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        for (int x = 0; x < width; ++x) {
            const QRgb colour = line[x] & 0xFFFFFF;
            auto found = indexOf.find(colour);
            if (found == indexOf.end())
                found = indexOf.emplace(colour, nearest(colour)).first;
            image.Set(x, y, found->second);
        }
    }
    return vantorel::WriteGif(file, image);
}

}  // namespace vantorel
