// The chart renderer as it draws, on Qt's offscreen platform: the texts along the axes are never
// cut and never overlap, and a pie of one status is whole.

#include "charts/chart_painter.h"

#include <gtest/gtest.h>

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>

namespace vantorel {
namespace {

std::vector<AxisText> DrawnAxisTexts(const Chart& chart, int width, int height) {
    QImage picture(width, height, QImage::Format_RGB32);
    picture.fill(Qt::white);
    std::vector<AxisText> texts;
    QPainter painter(&picture);
    PaintChart(painter, chart, picture.rect(), &texts);
    return texts;
}

// Every text fits its box and no two boxes meet.
void ExpectWholeAndApart(const std::vector<AxisText>& texts) {
    QFont font("DejaVu Sans");
    font.setPixelSize(13);
    const QFontMetricsF metrics(font);
    for (std::size_t a = 0; a < texts.size(); ++a) {
        EXPECT_LE(metrics.horizontalAdvance(texts[a].text), texts[a].box.width() + 0.5)
            << texts[a].text.toStdString() << " is cut";
        for (std::size_t b = a + 1; b < texts.size(); ++b)
            EXPECT_FALSE(texts[a].box.intersects(texts[b].box))
                << texts[a].text.toStdString() << " meets " << texts[b].text.toStdString();
    }
}

TEST(ChartPainter, ValueLabelsAreWholeAndDistinct) {
    Chart hours{ChartKind::Columns, "Time figures", "Hours", {}, {}, false};
    for (double value : {2.0, 1.5, 1.0, 0.5, 0.0})
        hours.series.push_back({"Figure", 0x336699, {value}});
    const std::vector<AxisText> texts = DrawnAxisTexts(hours, 640, 360);
    std::vector<std::string> shown;
    for (const AxisText& text : texts)
        shown.push_back(text.text.toStdString());
    EXPECT_EQ(shown, (std::vector<std::string>{"0.0", "0.5", "1.0", "1.5", "2.0"}));
    ExpectWholeAndApart(texts);
}

TEST(ChartPainter, DatesUnderTheAxisNeverRunIntoEachOther) {
    // The first date is the narrowest: spacing measured from it would let the wider ones meet.
    Chart progress{ChartKind::Lines, "Progress", "Tests", {}, {{"Pass", 0x2e8b57, {}}}};
    for (int day = 1; day <= 31; ++day) {
        progress.labels.push_back(std::to_string(day) + "-Oct-2026");
        progress.series[0].values.push_back(day % 7);
    }
    for (int width : {360, 720, 1200}) {
        const std::vector<AxisText> texts = DrawnAxisTexts(progress, width, 380);
        std::size_t dates = 0;
        for (const AxisText& text : texts)
            dates += text.text.endsWith("-2026") ? 1 : 0;
        EXPECT_GE(dates, 2u) << width;
        ExpectWholeAndApart(texts);
    }
}

TEST(ChartPainter, APieOfOneStatusHasNoSeam) {
    const QRgb pass = qRgb(0x2e, 0x8b, 0x57);
    Chart pie{ChartKind::Pie, "Tests by status", "Tests", {}, {{"Pass", 0x2e8b57, {8}}}};
    pie.series.push_back({"Fail", 0xc0392b, {0}});
    QImage picture(640, 360, QImage::Format_RGB32);
    picture.fill(Qt::white);
    {
        QPainter painter(&picture);
        PaintChart(painter, pie, picture.rect());
    }
    // Across every row of the disc, nothing white lies between its first and last pixel.
    int rows = 0;
    for (int y = 0; y < picture.height(); ++y) {
        int first = -1, last = -1;
        for (int x = 0; x < picture.width() / 2; ++x)
            if (picture.pixel(x, y) == pass) {
                if (first < 0)
                    first = x;
                last = x;
            }
        if (first < 0)
            continue;
        ++rows;
        for (int x = first; x <= last; ++x)
            ASSERT_NE(picture.pixel(x, y) & 0xFFFFFF, 0xFFFFFFu) << "white at " << x << "," << y;
    }
    EXPECT_GT(rows, 100);
}

// The legend's boxes are where its lines are drawn: each box starts with its series' swatch.
TEST(ChartPainter, LegendBoxesAreWhereTheLegendIsDrawn) {
    Chart progress{ChartKind::Lines, "Progress", "Tests", {"1-Oct-2026", "2-Oct-2026"}, {}};
    progress.series = {{"Pass", 0x2e8b57, {1, 2}},
                       {"Fail", 0xc0392b, {2, 1}},
                       {"Not yet attempted", 0x8e96a4, {3, 3}}};
    QImage picture(720, 380, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    PaintChart(painter, progress, picture.rect());
    const std::vector<QRect> boxes = LegendBoxes(progress, picture.rect(), painter.font());
    painter.end();
    ASSERT_EQ(boxes.size(), progress.series.size());
    for (std::size_t series = 0; series < boxes.size(); ++series) {
        EXPECT_TRUE(picture.rect().contains(boxes[series]));
        if (series > 0) {
            EXPECT_FALSE(boxes[series].intersects(boxes[series - 1]));
        }
        const QPoint swatch = boxes[series].topLeft() + QPoint(6, 9);
        EXPECT_EQ(picture.pixel(swatch) & 0xFFFFFF, progress.series[series].colour) << series;
    }
}

}  // namespace
}  // namespace vantorel

// Qt and fontconfig keep their caches until the process ends; only the core's tests look for
// leaks (this is read by LeakSanitizer in the sanitizer build, and unused elsewhere).
extern "C" const char* __lsan_default_options() {
    return "detect_leaks=0";
}

int main(int argc, char** argv) {
    // Fonts need a Qt application; the offscreen platform needs no display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
