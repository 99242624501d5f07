// Cursors, markers and annotations with real keys and the real mouse, and fonts on the window's device.

#include <QImage>
#include <QMouseEvent>

#include "drawing/windows/painter_device.h"
#include "frame_fixture.h"
#include "host/form.h"

namespace kymora::test {
namespace {

class OverlayWidgetTest : public FrameTest {
  protected:
    void SetUp() override {
        FrameTest::SetUp();
        child = &OpenOne();
        widget = &child->Widget();
    }
    CKymoraView& View() { return child->View(); }
    void DragMouse(QPoint from, QPoint to) {
        QTest::mousePress(widget, Qt::LeftButton, {}, from);
        QTest::mouseMove(widget, to);
        QTest::mouseRelease(widget, Qt::LeftButton, {}, to);
    }

    CChildFrame* child = nullptr;
    ViewWidget* widget = nullptr;
};

TEST_F(OverlayWidgetTest, KeysAddAndTheMouseMoves) {
    QTest::keyClick(widget, Qt::Key_V);
    QTest::keyClick(widget, Qt::Key_H);
    QTest::keyClick(widget, Qt::Key_M);
    CDatumLines& lines = View().DatumLines();
    ASSERT_EQ(lines.VertCount(), 1);
    ASSERT_EQ(lines.HorzCount(), 1);
    ASSERT_EQ(View().GetDocument().markers.size(), 1u);
    QTest::qWait(1);  // painted

    const int x = lines.VertX(0), y = View().Plot().layout.plot.bottom - 30;
    DragMouse({x, y}, {x + 50, y});
    EXPECT_EQ(lines.VertX(0), x + 50);
    DragMouse({x, 15}, {x - 50, 15});
    EXPECT_EQ(View().Plot().TimeToPixel(View().GetDocument().markers[0].m_dTime), x - 50);
    QTest::keyClick(widget, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(View().GetDocument().markers[0].m_dTime, 2000.0);

    host.fillForms.push_back([](Form& form) {
        form["text"].text = "seen";
        return true;
    });
    QTest::keyClick(widget, Qt::Key_A);
    ASSERT_EQ(View().GetDocument().traceAnnotations[0].size(), 1u);
    QTest::qWait(1);
    host.fillForms.push_back([](Form& form) {
        form["text"].text = "changed";
        return true;
    });
    const QPoint on(View().Plot().TimeToPixel(2000.0) + 5, View().Plot().BandOf(0).top + 5);
    QTest::mouseDClick(widget, Qt::LeftButton, {}, on);
    EXPECT_EQ(View().GetDocument().traceAnnotations[0][0].m_strLabel, "changed");
}

// A message that comes up while the button is held takes the release of the button with it.
TEST_F(OverlayWidgetTest, ADragWhoseReleaseIsLostIsAbandoned) {
    QTest::keyClick(widget, Qt::Key_V);
    const int x = View().DatumLines().VertX(0);
    const QPoint from(x, 300), to(x + 50, 300);
    QTest::mousePress(widget, Qt::LeftButton, {}, from);
    ASSERT_TRUE(View().Mouse().Drag());
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::NoButton, {});
    QApplication::sendEvent(widget, &move);
    EXPECT_FALSE(View().Mouse().Drag());
    EXPECT_EQ(View().DatumLines().m_nState, datumIdle);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, to);
    EXPECT_EQ(View().DatumLines().VertX(0), x);
}

TEST(PainterText, FontsThatDoNotExistStillDraw) {
    QImage image(200, 80, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    PainterDevice device(painter);
    TextStyle style;
    style.font = FontSpec{"No such font", 30, 700, true, true, true};
    style.escapement = -100;
    device.Text(5, 5, "wide", style);
    int dark = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) dark += qGray(image.pixel(x, y)) < 128;
    EXPECT_GT(dark, 200);
    EXPECT_GT(device.FontExtent("wide", *style.font).height, 25);
    style.font = FontSpec{"\xFF\xFE", -5, -100, false, false, false};
    device.Text(5, 5, "small", style);
}

}  // namespace
}  // namespace kymora::test
