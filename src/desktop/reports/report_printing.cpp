#include "desktop/reports/report_printing.h"

#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextTable>
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

void KeepHeadingsWithNext(QTextDocument& document) {
    // A table's heading row is repeated on every page it runs onto, so no page of rows goes
    // without it and the row is never left alone at a page's foot.
    for (QTextFrame* frame : document.rootFrame()->childFrames())
        if (auto* table = qobject_cast<QTextTable*>(frame)) {
            QTextTableFormat format = table->format();
            format.setHeaderRowCount(1);
            table->setFormat(format);
        }
    const double pageHeight = document.pageSize().height();
    QAbstractTextDocumentLayout* layout = document.documentLayout();
    auto pageOf = [&](const QTextBlock& block) {
        return static_cast<int>(layout->blockBoundingRect(block).top() / pageHeight);
    };
    // In document order: a heading moved down moves what follows it, which is looked at after.
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QTextBlock next = block.next(), previous = block.previous();
        // A heading that already starts its page has nowhere better to go.
        if (block.blockFormat().headingLevel() == 0 || !next.isValid() || !previous.isValid() ||
            pageOf(next) == pageOf(block) || pageOf(previous) != pageOf(block))
            continue;
        QTextBlockFormat format;
        format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
        QTextCursor(block).mergeBlockFormat(format);
    }
}

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
    KeepHeadingsWithNext(document);
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
