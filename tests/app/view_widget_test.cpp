#include <QClipboard>
#include <QLineEdit>
#include <QPrinter>
#include <QTemporaryDir>
#include <QWheelEvent>

#include "display/axis_drawing.h"
#include "drawing/windows/painter_device.h"
#include "frame_fixture.h"
#include "host/form.h"

namespace kymora::test {
namespace {

class ViewWidgetTest : public FrameTest {
  protected:
    void SetUp() override {
        FrameTest::SetUp();
        child = &OpenOne();
        widget = &child->Widget();
    }
    void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(widget, key, modifiers);
    }
    void Turn(int eighths, Qt::KeyboardModifiers modifiers, QPoint at) {
        QWheelEvent event(at, widget->mapToGlobal(at), {}, {0, eighths}, Qt::NoButton, modifiers,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(widget, &event);
    }
    void Type(const char* edit, const char* text) {
        auto* line = widget->findChild<QLineEdit*>(edit);
        ASSERT_NE(line, nullptr);
        line->setFocus();
        line->selectAll();
        QTest::keyClicks(line, text);
        QTest::keyClick(line, Qt::Key_Return);
    }
    QString Text(const char* edit) { return widget->findChild<QLineEdit*>(edit)->text(); }
    CKymoraView& View() { return child->View(); }
    QPoint PlotCentre() {
        const PixelRect plot = View().Plot().layout.plot;
        return {(plot.left + plot.right) / 2, (plot.top + plot.bottom) / 2};
    }

    CChildFrame* child = nullptr;
    ViewWidget* widget = nullptr;
};

TEST_F(ViewWidgetTest, KeysNavigateAndZoom) {
    Press(Qt::Key_Right, Qt::ControlModifier);
    ExpectViewport(*child, 3000.0, 5000.0);
    Press(Qt::Key_Left, Qt::ControlModifier);
    ExpectViewport(*child, 1000.0, 3000.0);
    Press(Qt::Key_Right);
    ExpectViewport(*child, 1400.0, 3400.0);
    Press(Qt::Key_Left);
    Press(Qt::Key_Slash);
    ExpectViewport(*child, 0.0, 4000.0);
    Press(Qt::Key_Asterisk, Qt::ShiftModifier);
    ExpectViewport(*child, 1000.0, 3000.0);
    Press(Qt::Key_End);
    ExpectViewport(*child, 97999.0, 99999.0);
    Press(Qt::Key_Home);
    ExpectViewport(*child, 0.0, 2000.0);
    Press(Qt::Key_1, Qt::AltModifier);
    ExpectViewport(*child, 0.0, View().Plot().layout.plot.Width());
    Press(Qt::Key_0, Qt::AltModifier);
    ExpectViewport(*child, 0.0, 99999.0);
}

TEST_F(ViewWidgetTest, KeysScaleTheSelectedAxisOrAll) {
    Press(Qt::Key_Plus, Qt::ShiftModifier);
    EXPECT_EQ(View().m_axes[0].m_dMax, 500.0);
    EXPECT_EQ(View().m_axes[1].m_dMax, 1000.0);
    Press(Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_EQ(View().m_axes[1].m_dMax, 2000.0);
    Press(Qt::Key_0, Qt::ControlModifier);
    EXPECT_EQ(View().m_axes[0].m_dMax, 499.0);
    EXPECT_EQ(View().m_axes[1].m_dMin, -490.0);
    const PixelRect band = View().Plot().BandOf(1);
    QTest::mouseClick(widget, Qt::LeftButton, {}, {20, band.top + 20});
    EXPECT_TRUE(View().m_axes[1].m_bSelected);
    EXPECT_FALSE(View().m_axes[0].m_bSelected);
}

TEST_F(ViewWidgetTest, WheelScrollsAndZoomsAroundThePointer) {
    Turn(-120, Qt::NoModifier, PlotCentre());
    ExpectViewport(*child, 1400.0, 3400.0);
    Turn(60, Qt::NoModifier, PlotCentre());  // half a notch waits for the other half
    ExpectViewport(*child, 1400.0, 3400.0);
    Turn(60, Qt::NoModifier, PlotCentre());
    ExpectViewport(*child, 1000.0, 3000.0);
    const double under = View().Plot().PixelToTime(PlotCentre().x());
    Turn(240, Qt::ControlModifier, PlotCentre());
    EXPECT_NEAR(View().GetViewport().Duration(), 2000.0 / 1.5625, 1e-9);
    EXPECT_NEAR(View().Plot().PixelToTime(PlotCentre().x()), under, 1e-6);
}

TEST_F(ViewWidgetTest, SliderPagesAndDrags) {
    Slider slider = View().Plot().GetSlider();
    const int y = slider.strip.top + 3;
    QTest::mouseClick(widget, Qt::LeftButton, {}, {slider.thumb.right + 40, y});
    ExpectViewport(*child, 3000.0, 5000.0);
    slider = View().Plot().GetSlider();
    const QPoint grip(slider.thumb.left + 2, y);
    QTest::mousePress(widget, Qt::LeftButton, {}, grip);
    QTest::mouseMove(widget, {slider.strip.left + slider.strip.Width() / 2 + 2, y});
    EXPECT_NEAR(View().m_StartTime, 50000.0, 150.0);
    QTest::mouseMove(widget, {slider.strip.right + 500, y});
    EXPECT_DOUBLE_EQ(View().m_EndTime, 99999.0);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, {slider.strip.right + 500, y});
    QTest::mouseMove(widget, {slider.strip.left, y});
    EXPECT_DOUBLE_EQ(View().m_EndTime, 99999.0);  // let go
}

TEST_F(ViewWidgetTest, EditBoxesMoveTheViewport) {
    EXPECT_EQ(Text("startEdit"), "1000");
    EXPECT_EQ(Text("timebaseEdit"), "250");
    Type("startEdit", "2000");
    ExpectViewport(*child, 2000.0, 4000.0);
    EXPECT_EQ(Text("endEdit"), "4000");
    EXPECT_TRUE(widget->hasFocus());
    Type("endEdit", "6000");
    ExpectViewport(*child, 2000.0, 6000.0);
    Type("timebaseEdit", "100");
    ExpectViewport(*child, 3600.0, 4400.0);
    Type("startEdit", "x");
    EXPECT_EQ(host.messages.size(), 1u);  // said once, though the focus moves too
    EXPECT_EQ(Text("startEdit"), "3600");
    ExpectViewport(*child, 3600.0, 4400.0);
}

TEST_F(ViewWidgetTest, EscapeLeavesAnEditBoxAsItWas) {
    auto* line = widget->findChild<QLineEdit*>("endEdit");
    line->setFocus();
    QTest::keyClicks(line, "77");
    QTest::keyClick(line, Qt::Key_Escape);
    EXPECT_EQ(Text("endEdit"), "3000");
    ExpectViewport(*child, 1000.0, 3000.0);
}

TEST_F(ViewWidgetTest, PaperIsWhiteAndTracesAreOnIt) {
    QPalette dark;
    dark.setColor(QPalette::Window, Qt::black);
    dark.setColor(QPalette::Base, Qt::black);
    QApplication::setPalette(dark);
    const QImage image = widget->grab().toImage();
    QApplication::setPalette(QPalette());
    const qreal ratio = image.devicePixelRatio();
    EXPECT_EQ(image.pixelColor(static_cast<int>(3 * ratio), static_cast<int>(3 * ratio)), QColor(Qt::white));
    int traced = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).red() > image.pixelColor(x, y).green() + 64) ++traced;
    EXPECT_GT(traced, 1000);
}

TEST_F(ViewWidgetTest, MouseShowsTimeAndValue) {
    QString status;
    QObject::connect(widget, &ViewWidget::StatusChanged, [&](const QString& text) { status = text; });
    QTest::mouseMove(widget, {200, 100});  // on the screen at every ratio
    EXPECT_TRUE(status.startsWith("t = ")) << status.toStdString();
    QTest::mouseMove(widget, {2, 2});
    EXPECT_TRUE(status.isEmpty());
}

TEST_F(ViewWidgetTest, WheelPagesWithShiftAndScalesOverAnAxis) {
    Turn(-120, Qt::ShiftModifier, PlotCentre());
    ExpectViewport(*child, 3000.0, 5000.0);
    Turn(120, Qt::ShiftModifier, PlotCentre());
    ExpectViewport(*child, 1000.0, 3000.0);
    const PixelRect band = View().Plot().BandOf(1);
    Turn(120, Qt::NoModifier, {20, (band.top + band.bottom) / 2});
    EXPECT_NEAR(View().m_axes[1].m_dMax - View().m_axes[1].m_dMin, 2000.0 / 1.25, 1e-6);
    EXPECT_EQ(View().m_axes[0].m_dMax, 1000.0);
    ExpectViewport(*child, 1000.0, 3000.0);
}

TEST_F(ViewWidgetTest, MousePansAndSelects) {
    const int width = View().Plot().layout.plot.Width();
    const QPoint centre = PlotCentre();
    QTest::mousePress(widget, Qt::LeftButton, {}, centre);
    QTest::mouseMove(widget, centre + QPoint(50, 0));
    QTest::mouseRelease(widget, Qt::LeftButton, {}, centre + QPoint(100, 3));
    EXPECT_NEAR(View().m_StartTime, 1000.0 - 2000.0 * 100 / width, 1e-6);
    QTest::keyClick(widget, Qt::Key_Left, Qt::AltModifier);
    ExpectViewport(*child, 1000.0, 3000.0);
    QTest::mousePress(widget, Qt::LeftButton, Qt::ShiftModifier, centre);
    QTest::mouseRelease(widget, Qt::LeftButton, Qt::ShiftModifier, centre + QPoint(60, 0));
    ASSERT_TRUE(View().m_selection);
    EXPECT_NEAR(View().m_selection->Duration(), 2000.0 * 60 / width, 1e-6);
    const QImage shaded = widget->grab().toImage();
    const qreal ratio = shaded.devicePixelRatio();
    const QPoint inside = (centre + QPoint(31, 1 - centre.y() + View().Plot().layout.plot.top)) * ratio;
    EXPECT_NE(shaded.pixelColor(inside), QColor(Qt::white));
    Press(Qt::Key_Escape);
    EXPECT_FALSE(View().m_selection);
}

TEST_F(ViewWidgetTest, LimitsAreWrittenInTheirPlace) {
    auto* edit = widget->findChild<QLineEdit*>("limitEdit");
    ASSERT_NE(edit, nullptr);
    EXPECT_FALSE(edit->isVisible());
    const PixelRect top = LimitRect(View().Plot(), 0, true);
    QTest::mouseClick(widget, Qt::LeftButton, {}, {30, top.top + 6});
    ASSERT_TRUE(edit->isVisible());
    EXPECT_TRUE(edit->hasFocus());
    EXPECT_EQ(edit->text(), "1000");
    EXPECT_FALSE(edit->accessibleName().isEmpty());
    QTest::keyClicks(edit, "50");
    QTest::keyClick(edit, Qt::Key_Tab);
    EXPECT_EQ(View().m_axes[0].m_dMax, 50.0);
    EXPECT_EQ(edit->text(), "-1000");
    QTest::keyClicks(edit, "60");
    QTest::keyClick(edit, Qt::Key_Tab);  // refused: it stays
    EXPECT_EQ(host.LastMessage(),
              "Maximum value should be greater than minimum value.\nPlease change one of them.");
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(View().m_axes[0].m_dMin, -1000.0);
    EXPECT_TRUE(edit->isVisible());
    edit->selectAll();
    QTest::keyClicks(edit, "-60");
    QTest::keyClick(edit, Qt::Key_Tab);
    EXPECT_EQ(View().m_axes[0].m_dMin, -60.0);
    EXPECT_TRUE(View().m_axes[1].m_bSelected);  // and on to the next axis
    QTest::keyClick(edit, Qt::Key_Backtab);
    EXPECT_EQ(edit->text(), "-60");
    QTest::keyClicks(edit, "-70");
    QTest::keyClick(edit, Qt::Key_Escape);
    EXPECT_EQ(View().m_axes[0].m_dMin, -60.0);
    EXPECT_FALSE(edit->isVisible());
    EXPECT_TRUE(widget->hasFocus());
    RunCommand(*FindCommand("axis-limits"), {View()});  // by keys alone
    EXPECT_TRUE(edit->hasFocus());
    QTest::keyClicks(edit, "80");
    QTest::keyClick(edit, Qt::Key_Return);
    EXPECT_EQ(View().m_axes[0].m_dMax, 80.0);
    RunCommand(*FindCommand("axis-limits"), {View()});
    RunCommand(*FindCommand("axes"), {View()});  // its axis goes
    EXPECT_FALSE(edit->isVisible());
}

TEST_F(ViewWidgetTest, EditBoxesHaveThePaperOfTheView) {
    View().Set(&ViewSettings::m_crBackground, 0x201010, "Background colour");
    const QImage image = widget->grab().toImage();
    EXPECT_EQ(image.pixelColor(1, 1), QColor(0x10, 0x10, 0x20));
    const auto* edit = widget->findChild<QLineEdit*>("startEdit");
    const QImage box = const_cast<QLineEdit*>(edit)->grab().toImage();
    EXPECT_EQ(box.pixelColor(box.width() / 2, box.height() / 2), QColor(0x10, 0x10, 0x20));
    for (const char* name : {"startEdit", "endEdit", "timebaseEdit"})
        EXPECT_FALSE(widget->findChild<QLineEdit*>(name)->accessibleName().isEmpty());
}

TEST_F(ViewWidgetTest, SizeIsThatOfTheView) {
    RunCommand(*FindCommand("set-size"), {View()});  // cancelled
    host.fillForms.push_back([](Form& form) {
        form["width"].number = 613;
        form["height"].number = 347;
        return true;
    });
    RunCommand(*FindCommand("set-size"), {View()});
    QApplication::processEvents();
    EXPECT_EQ(widget->size(), QSize(613, 347));
    RunCommand(*FindCommand("copy-bitmap"), {View()});
    EXPECT_EQ(QApplication::clipboard()->image().size(), QSize(613, 347) * widget->devicePixelRatioF());
}

TEST_F(ViewWidgetTest, PrintsOnAPage) {
    QTemporaryDir folder;
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(folder.filePath("view.pdf"));
    EXPECT_TRUE(widget->PrintOn(printer));
    QFile pdf(folder.filePath("view.pdf"));
    ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
    const QByteArray bytes = pdf.readAll();
    EXPECT_TRUE(bytes.startsWith("%PDF"));
    EXPECT_GT(bytes.size(), 3000);
    printer.setOutputFileName("/nowhere/view.pdf");
    EXPECT_FALSE(widget->PrintOn(printer));
}

TEST_F(ViewWidgetTest, SmallestWindowsAndManyTracesPaint) {
    auto doc = MemoryDoc::Generate(session, maxTraces, 5000,
                                   [](int trace, int64_t i) { return static_cast<float>(i % 7 + trace); });
    doc->traces[3].traceLabel = std::string(3000, 'x');
    CKymoraView view(*doc);
    ViewWidget small(view);
    view.OnInitialUpdate();
    small.setMinimumSize(1, 1);
    for (const QSize size : {QSize(1, 1), QSize(5, 400), QSize(300, 7), QSize(81, 61), QSize(640, 480)}) {
        small.resize(size);
        EXPECT_EQ(small.grab().size(), size * small.devicePixelRatioF());
    }
}

// How many pixels of a row, or of a column, have a colour.
int CountInRow(const QImage& image, int y, QRgb colour) {
    int count = 0;
    for (int x = 0; x < image.width(); ++x) count += image.pixel(x, y) == colour;
    return count;
}

TEST(PainterDevice, LinesAreCrispAtEveryRatio) {
    for (const double ratio : {1.0, 1.5, 2.0}) {
        QImage image(QSize(80, 40) * ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(ratio);
        image.fill(Qt::white);
        QPainter painter(&image);
        PainterDevice device(painter);
        device.SetPen({0x0000FF});  // red
        for (int x = 0; x < 60; x += 3) device.Line(x, 2, x, 30);
        device.SetPen({0x00FF00, 3});
        device.Line(0, 35, 79, 35);
        std::vector<Point> noise;
        for (int x = 62; x < 78; ++x)
            for (int i = 0; i < 4; ++i) noise.push_back({x, i % 2 == 0 ? 3 + x % 5 : 28});
        device.SetPen({0xFF0000});
        device.Polyline(noise);
        painter.end();
        const int row = static_cast<int>(10 * ratio);
        EXPECT_EQ(CountInRow(image, row, qRgb(255, 0, 0)), 20 * static_cast<int>(ratio)) << ratio;
        // The envelope has no seam.
        for (int x = static_cast<int>(62 * ratio); x < static_cast<int>(78 * ratio); ++x)
            EXPECT_EQ(image.pixel(x, row), qRgb(0, 0, 255)) << x << " at " << ratio;
        int thick = 0;
        for (int y = 0; y < image.height(); ++y) thick += image.pixel(5, y) == qRgb(0, 255, 0);
        EXPECT_EQ(thick, static_cast<int>(3 * ratio)) << ratio;
    }
}

TEST_F(ViewWidgetTest, RefusedCommandsDoNothing) {
    Press(Qt::Key_Home);
    Press(Qt::Key_Left);
    Press(Qt::Key_F5);
    Press(Qt::Key_Q);
    ExpectViewport(*child, 0.0, 2000.0);
}

}  // namespace
}  // namespace kymora::test
