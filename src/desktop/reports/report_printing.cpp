#include "desktop/reports/report_printing.h"

#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QPainter>
#include <QTextDocument>
#include <QUrl>

#include "charts/chart_painter.h"
#include "render/report_pages.h"
#include "render/template.h"

namespace vantorel {
namespace {

constexpr char kChartHref[] = "chart:/";
// The document is laid out in pixels of a 96 dpi screen, so its fonts and pictures keep the
// sizes they have in the window; the painter scales that onto the printer's resolution.
constexpr double kLayoutDpi = 96.0;
// Charts are drawn at three times their size: sharp on paper, small in a PDF.
constexpr qreal kChartPrintRatio = 3;

constexpr char kReportStyle[] =
    "h1 { font-size: 16pt; margin-bottom: 2px; }"
    "h2 { font-size: 12pt; margin-top: 14px; }"
    "table.List { border-collapse: collapse; margin-top: 6px; }"
    "td { padding: 2px 6px; border: 1px solid #b0b0b0; }"
    "tr.ListHeading td { font-weight: bold; background-color: #e8e8e8; }"
    "td.Figure { text-align: right; }"
    ".Meaning { color: #505050; }";

QImage PrintedChart(const ChartFile& chart) {
    const QSize size(chart.width, chart.height);
    QImage image(size * kChartPrintRatio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(kChartPrintRatio);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    PaintChart(painter, chart.chart, QRect(QPoint(0, 0), size));
    return image;
}

}  // namespace

QString ReportStyleSheet() {
    return kReportStyle;
}

bool PrintReport(QPrinter& printer, const std::filesystem::path& report, const CustomCfg& custom,
                 bool withFooter) {
    ReportHeader header;
    if (!ReadReportKind(report, &header))
        return false;
    std::optional<ReportPage> page = ReportPageHead(report);
    if (!page)
        return false;
    const PrintHeading heading = PrintHeadingOf(report, header);
    std::string html = PrintHeadingHtml(heading);
    if (!WriteReportBody(
            *page, report, custom, "chart", [&html](std::string_view piece) { html += piece; },
            kChartHref))
        return false;

    QTextDocument document;
    document.setDefaultStyleSheet(kReportStyle);
    // Report documents are ISO-8859-1, and so is the text of their pages.
    QString text = QString::fromLatin1(html.data(), static_cast<qsizetype>(html.size()));
    for (const ChartFile& chart : page->charts) {
        const QString source = QString::fromStdString(kChartHref + UrlPath(chart.name) + ".gif");
        document.addResource(QTextDocument::ImageResource, QUrl(source), PrintedChart(chart));
        // A paragraph of its own at the chart's own size: inline after a heading, the picture
        // would make the heading's line as tall as itself.
        text.replace("<img src=\"" + source + "\">",
                     QString("<p><img src=\"%1\" width=\"%2\" height=\"%3\"></p>")
                         .arg(source)
                         .arg(chart.width)
                         .arg(chart.height));
    }
    document.setHtml(text);

    const QRectF paper = printer.pageLayout().paintRect(QPageLayout::Inch);
    const QSizeF area(paper.width() * kLayoutDpi, paper.height() * kLayoutDpi);
    const double footerHeight = withFooter ? 28 : 0;
    const QSizeF body(area.width(), area.height() - footerHeight);
    document.setPageSize(body);
    const int pages = document.pageCount();

    QPainter painter;
    if (!painter.begin(&printer))
        return false;
    const double scale = printer.resolution() / kLayoutDpi;
    painter.scale(scale, scale);
    for (int index = 0; index < pages; ++index) {
        if (index > 0 && !printer.newPage())
            return false;
        painter.save();
        painter.translate(0, -index * body.height());
        document.drawContents(&painter, QRectF(QPointF(0, index * body.height()), body));
        painter.restore();
        if (withFooter) {
            // In pixels of the layout, which the painter scales: a point size would be taken
            // in the printer's own resolution and scaled again.
            QFont font = painter.font();
            font.setPixelSize(11);
            painter.setFont(font);
            painter.setPen(QColor(0x50, 0x50, 0x50));
            painter.drawText(
                QRectF(0, body.height(), body.width(), footerHeight),
                Qt::AlignHCenter | Qt::AlignBottom,
                QString::fromLatin1(PrintFooterText(heading, index + 1, pages).c_str()));
        }
    }
    return painter.end();
}

}  // namespace vantorel
