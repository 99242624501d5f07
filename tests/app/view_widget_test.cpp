#include <QLineEdit>
#include <QWheelEvent>

#include "frame_fixture.h"

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
        const PixelRect& plot = View().GetLayout().plot;
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
    ExpectViewport(*child, 0.0, View().GetLayout().plot.Width());
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
    const PixelRect band = View().BandOf(1);
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
    const double under = View().PixelToTime(PlotCentre().x());
    Turn(240, Qt::ControlModifier, PlotCentre());
    EXPECT_NEAR(View().GetViewport().Duration(), 2000.0 / 1.5625, 1e-9);
    EXPECT_NEAR(View().PixelToTime(PlotCentre().x()), under, 1e-6);
}

TEST_F(ViewWidgetTest, SliderPagesAndDrags) {
    Slider slider = View().GetSlider();
    const int y = slider.strip.top + 3;
    QTest::mouseClick(widget, Qt::LeftButton, {}, {slider.thumb.right + 40, y});
    ExpectViewport(*child, 3000.0, 5000.0);
    slider = View().GetSlider();
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
            if (image.pixelColor(x, y) == QColor(128, 0, 0)) ++traced;
    EXPECT_GT(traced, 1000);
}

TEST_F(ViewWidgetTest, MouseShowsTimeAndValue) {
    QString status;
    QObject::connect(widget, &ViewWidget::StatusChanged, [&](const QString& text) { status = text; });
    QTest::mouseMove(widget, PlotCentre());
    EXPECT_TRUE(status.startsWith("t = ")) << status.toStdString();
    QTest::mouseMove(widget, {2, 2});
    EXPECT_TRUE(status.isEmpty());
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
