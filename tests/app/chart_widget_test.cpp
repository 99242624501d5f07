#include "widgets/chart_widget.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <limits>

#include "drawing/ticks.h"
#include "widgets/chart_painter.h"

namespace kymora::test {
namespace {

constexpr uint32_t red = 0x0000FF;  // 0x00BBGGRR

ChartSeries Wave(size_t count, float value) {
    ChartSeries series;
    series.colour = red;
    for (size_t i = 0; i < count; ++i) {
        series.x.push_back(static_cast<double>(i));
        series.y.push_back(value);
    }
    return series;
}

class ChartWidgetTest : public ::testing::Test {
  protected:
    void SetUp() override {
        widget.resize(500, 300);
        widget.show();
    }
    QImage Picture() { return widget.grab().toImage(); }
    // Pixels in the colour of the curve within a column of the plot.
    int RedIn(const QImage& image, int x, int top, int bottom) {
        const QColor wanted = VisibleOn(red, widget.palette().color(QPalette::Base));
        int count = 0;
        for (int y = std::max(0, top); y <= std::min(bottom, image.height() - 1); ++y) {
            const QColor pixel = image.pixelColor(x, y);
            count += std::abs(pixel.red() - wanted.red()) < 60 &&
                     std::abs(pixel.green() - wanted.green()) < 60 &&
                     std::abs(pixel.blue() - wanted.blue()) < 60;
        }
        return count;
    }
    ChartWidget widget;
};

TEST_F(ChartWidgetTest, APeakOfOneSampleAmongMillionsIsDrawn) {
    for (const size_t count : {size_t{50}, size_t{900}, size_t{100000}, size_t{1000000}}) {
        Chart chart;
        chart.series.push_back(Wave(count, 0.0f));
        const size_t at = count / 3 + 1;
        chart.series[0].y[at] = 10.0f;
        widget.SetChart(std::move(chart));
        const QPointF peak = widget.PixelOf(static_cast<double>(at), 10.0);
        const QPointF half = widget.PixelOf(static_cast<double>(at), 5.0);
        const QImage image = Picture();
        // At half its height the flanks of a peak are half a sample away.
        const int reach = 2 + widget.PlotRect().width() / (2 * static_cast<int>(count));
        int reached = 0, through = 0;
        for (int x = static_cast<int>(peak.x()) - reach; x <= static_cast<int>(peak.x()) + reach; ++x) {
            reached += RedIn(image, x, static_cast<int>(peak.y()) - 2, static_cast<int>(peak.y()) + 6);
            through += RedIn(image, x, static_cast<int>(half.y()) - 2, static_cast<int>(half.y()) + 2);
        }
        EXPECT_GT(reached, 0) << count;
        EXPECT_GT(through, 0) << count;
        EXPECT_GT(
            RedIn(image, widget.PlotRect().left() + 5, widget.PlotRect().top(), widget.PlotRect().bottom()),
            0)
            << "the rest of the curve, of " << count;
    }
}

TEST_F(ChartWidgetTest, MissingValuesBreakTheLine) {
    for (const size_t count : {size_t{100}, size_t{100000}}) {
        Chart chart;
        chart.series.push_back(Wave(count, 1.0f));
        auto& y = chart.series[0].y;
        for (size_t i = count / 4; i < count / 2; ++i) y[i] = std::numeric_limits<float>::quiet_NaN();
        y[0] = std::numeric_limits<float>::infinity();
        y[1] = 0.0f;
        widget.SetChart(std::move(chart));
        const QImage image = Picture();
        for (const auto& [part, isThere] : {std::pair{0.125, true}, {0.375, false}, {0.75, true}}) {
            const QPoint at = widget.PixelOf(part * static_cast<double>(count), 1.0).toPoint();
            EXPECT_EQ(RedIn(image, at.x(), at.y() - 3, at.y() + 3) > 0, isThere) << part << " of " << count;
        }
    }
}

TEST_F(ChartWidgetTest, AxesHaveReadableTicks) {
    EXPECT_EQ(TickStep(0.0, 10.0, 5), 2.0);
    EXPECT_EQ(TickStep(0.0, 10.1, 5), 5.0);
    EXPECT_DOUBLE_EQ(TickStep(-0.03, 0.04, 7), 0.01);
    EXPECT_EQ(Ticks(-1.0, 2.2, 1.0), (std::vector<double>{-1.0, 0.0, 1.0, 2.0}));
    EXPECT_EQ(TickText(0.30000000000000004, 0.1), "0.3");
    EXPECT_EQ(TickText(0.0, 0.05), "0.00");
    EXPECT_EQ(TickText(1500.0, 500.0), "1500");
    EXPECT_EQ(TickText(2e9, 1e9), "2e+09");
    // Neighbours far from zero do not become the same text.
    EXPECT_EQ(TickText(10800100.0, 100.0), "10800100");
    EXPECT_EQ(TickText(12e6, 2e6), "1.2e+07");
    EXPECT_EQ(TickText(3.0000002, 1e-7), "3.0000002");
    // Numbers that a step can no longer tell apart neither hang nor overflow.
    EXPECT_EQ(ClockStep(0.0, 8000.0, 5), 2000.0);
    EXPECT_EQ(ClockStep(0.0, 8000.0, 500), 20.0);
    EXPECT_EQ(ClockStep(0.0, 4.0 * 3600e3, 5), 3600e3);
    EXPECT_EQ(ClockText(50600e3, 1000.0), "14:03:20");
    EXPECT_EQ(ClockText(86400e3 + 500.0, 100.0), "00:00:00.5");
    EXPECT_EQ(ClockText(59999.9999999, 1000.0), "00:01:00");
    EXPECT_LE(Ticks(1e300, 1.0000000001e300, 1.0).size(), 1000u);
    EXPECT_LE(Ticks(-1.7e308, 1.7e308, 1e-5).size(), 1000u);
}

TEST_F(ChartWidgetTest, TheExtentIsNeverEmpty) {
    Chart one, huge, levels;
    one.series.push_back(Wave(1, 5.0f));
    huge.series.push_back(Wave(100, 1e30f));
    levels.series.push_back(Wave(10, 0.0f));
    levels.series[0].y[3] = 2.0f;
    levels.lines = {{false, 4.0, 0, "near"}, {false, 1e9, 0, "far"}};
    for (const Chart& chart : {Chart(), one, huge, levels}) {
        const ChartBox box = WholeChart(chart);
        EXPECT_TRUE(std::isfinite(box.left) && std::isfinite(box.top));
        EXPECT_TRUE(box.left < box.right && box.bottom < box.top);
        widget.SetChart(chart);
        Picture();
    }
    EXPECT_GT(WholeChart(levels).top, 4.0);
    EXPECT_LT(WholeChart(levels).top, 10.0) << "a level far away does not flatten the curve";
}

TEST_F(ChartWidgetTest, WheelDragAndKeysZoom) {
    Chart chart;
    chart.series.push_back(Wave(1000, 0.0f));
    chart.series[0].y[10] = 100.0f;
    widget.SetChart(chart);
    const ChartBox whole = widget.Shown();
    const QPointF at = widget.PixelOf(250.0, 50.0);
    QWheelEvent wheel(at, widget.mapToGlobal(at), {}, {0, 240}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &wheel);
    EXPECT_NEAR(widget.Shown().Width(), whole.Width() * 0.64, 1e-6);
    EXPECT_EQ(widget.Shown().top, whole.top);
    EXPECT_NEAR(widget.PixelOf(250.0, 50.0).x(), at.x(), 1.5) << "about the pointer";
    // New data of the same place leave what the user looks at.
    const ChartBox zoomed = widget.Shown();
    widget.SetChart(chart);
    EXPECT_EQ(widget.Shown(), zoomed);
    QTest::mouseDClick(&widget, Qt::LeftButton, {}, at.toPoint());
    EXPECT_EQ(widget.Shown(), whole);
    widget.setFocus();
    QTest::keyClick(&widget, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_NEAR(widget.Shown().Height(), whole.Height() * 0.8, 1e-6);
    EXPECT_NEAR(widget.Shown().top + widget.Shown().bottom, whole.top + whole.bottom, 1e-6);
    QTest::keyClick(&widget, Qt::Key_Home);

    const QPoint from = widget.PixelOf(100.0, 80.0).toPoint(), to = widget.PixelOf(300.0, 20.0).toPoint();
    QTest::mousePress(&widget, Qt::LeftButton, {}, from);
    QTest::mouseMove(&widget, to);
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, to);
    EXPECT_NEAR(widget.Shown().left, 100.0, 4.0);
    EXPECT_NEAR(widget.Shown().right, 300.0, 4.0);
    EXPECT_NEAR(widget.Shown().top, 80.0, 2.0);
    EXPECT_NEAR(widget.Shown().bottom, 20.0, 2.0);
    QTest::keyClick(&widget, Qt::Key_Minus);
    EXPECT_NEAR(widget.Shown().Width(), 250.0, 8.0);
    for (int i = 0; i < 50; ++i) QTest::keyClick(&widget, Qt::Key_Minus);
    EXPECT_EQ(widget.Shown().left, whole.left) << "no further than all";
    for (int i = 0; i < 400; ++i) QTest::keyClick(&widget, Qt::Key_Plus);
    EXPECT_LT(widget.Shown().left, widget.Shown().right);
    Picture();
    QTest::keyClick(&widget, Qt::Key_Home);
    EXPECT_EQ(widget.Shown(), whole);
}

TEST_F(ChartWidgetTest, EveryColourCanBeSeenOnEitherPaper) {
    const auto part = [](double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    const auto light = [&](const QColor& c) {
        return 0.2126 * part(c.redF()) + 0.7152 * part(c.greenF()) + 0.0722 * part(c.blueF()) + 0.05;
    };
    for (const QColor& paper : {QColor(Qt::white), QColor(32, 34, 38)})
        for (const uint32_t colour : {0x0000FFu, 0xFF0000u, 0x00FF00u, 0xFF00FFu, 0xFFFF00u, 0x00A5FFu,
                                      0x000000u, 0xFFFFFFu, 0x808080u}) {
            const double a = light(VisibleOn(colour, paper)), b = light(paper);
            EXPECT_GE(std::max(a, b) / std::min(a, b), 3.0) << std::hex << colour;
        }
    EXPECT_EQ(VisibleOn(0x0000FF, Qt::white), QColor(255, 0, 0)) << "as it is where it can be seen";
}

}  // namespace
}  // namespace kymora::test
