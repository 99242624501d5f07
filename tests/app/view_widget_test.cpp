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
    const auto width = static_cast<double>(View().Plot().layout.plot.Width());
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        double start, end;
    } presses[] = {
        {Qt::Key_Right, Qt::ControlModifier, 3000.0, 5000.0},
        {Qt::Key_Left, Qt::ControlModifier, 1000.0, 3000.0},
        {Qt::Key_Right, {}, 1400.0, 3400.0},
        {Qt::Key_Left, {}, 1000.0, 3000.0},
        {Qt::Key_Slash, {}, 0.0, 4000.0},
        {Qt::Key_Asterisk, Qt::ShiftModifier, 1000.0, 3000.0},
        {Qt::Key_End, {}, 97999.0, 99999.0},
        {Qt::Key_Home, {}, 0.0, 2000.0},
        {Qt::Key_Left, {}, 0.0, 2000.0},  // there is nothing before it
        {Qt::Key_F5, {}, 0.0, 2000.0},
        {Qt::Key_1, Qt::AltModifier, 0.0, width},
        {Qt::Key_0, Qt::AltModifier, 0.0, 99999.0},
    };
    for (const auto& [key, modifiers, start, end] : presses) {
        SCOPED_TRACE(QKeySequence(key | modifiers).toString().toStdString());
        Press(key, modifiers);
        ExpectViewport(*child, start, end);
    }
}

TEST_F(ViewWidgetTest, WheelScrollsZoomsAndScales) {
    Turn(-120, Qt::NoModifier, PlotCentre());
    ExpectViewport(*child, 1400.0, 3400.0);
    Turn(60, Qt::NoModifier, PlotCentre());  // half a notch waits for the other half
    ExpectViewport(*child, 1400.0, 3400.0);
    Turn(60, Qt::NoModifier, PlotCentre());
    ExpectViewport(*child, 1000.0, 3000.0);
    Turn(-120, Qt::ShiftModifier, PlotCentre());
    ExpectViewport(*child, 3000.0, 5000.0);
    const PixelRect band = View().Plot().BandOf(1);
    Turn(120, Qt::NoModifier, {20, (band.top + band.bottom) / 2});
    EXPECT_NEAR(View().m_axes[1].m_dMax - View().m_axes[1].m_dMin, 2000.0 / 1.25, 1e-6);
    EXPECT_EQ(View().m_axes[0].m_dMax, 1000.0);
    ExpectViewport(*child, 3000.0, 5000.0);
    const double under = View().Plot().PixelToTime(PlotCentre().x());
    Turn(240, Qt::ControlModifier, PlotCentre());
    EXPECT_NEAR(View().GetViewport().Duration(), 2000.0 / 1.5625, 1e-9);
    EXPECT_NEAR(View().Plot().PixelToTime(PlotCentre().x()), under, 1e-6);
}

TEST_F(ViewWidgetTest, ADragGoesBeyondTheWindow) {
    const Slider slider = View().Plot().GetSlider();
    const QPoint grip(slider.thumb.left + 2, slider.strip.top + 3);
    const QPoint beyond(slider.strip.right + 500, grip.y());
    QTest::mousePress(widget, Qt::LeftButton, {}, grip);
    QTest::mouseMove(widget, {slider.strip.left + slider.strip.Width() / 2 + 2, grip.y()});
    EXPECT_NEAR(View().m_StartTime, 50000.0, 150.0);
    QTest::mouseMove(widget, beyond);
    EXPECT_DOUBLE_EQ(View().m_EndTime, 99999.0);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, beyond);
    QTest::mouseMove(widget, {slider.strip.left, grip.y()});
    EXPECT_DOUBLE_EQ(View().m_EndTime, 99999.0);  // let go
}

TEST_F(ViewWidgetTest, EditBoxesMoveTheViewport) {
    EXPECT_EQ(Text("timebaseEdit"), "250");
    const struct {
        const char *edit, *text;
        double start, end;
    } typed[] = {{"startEdit", "2000", 2000.0, 4000.0},
                 {"endEdit", "6000", 2000.0, 6000.0},
                 {"timebaseEdit", "100", 3600.0, 4400.0},
                 {"startEdit", "x", 3600.0, 4400.0},
                 {"timebaseEdit", "0", 3600.0, 4400.0}};
    for (const auto& [edit, text, start, end] : typed) {
        SCOPED_TRACE(std::string(edit) + " " + text);
        Type(edit, text);
        ExpectViewport(*child, start, end);
        EXPECT_EQ(Text("startEdit").toDouble(), start);
        EXPECT_EQ(Text("endEdit").toDouble(), end);
        EXPECT_TRUE(widget->hasFocus());
    }
    EXPECT_EQ(host.messages.size(), 2u);  // each said once, though the focus moves too
    auto* line = widget->findChild<QLineEdit*>("endEdit");
    line->setFocus();
    QTest::keyClicks(line, "77");
    View().ChangeViewport({1000.0, 3000.0});
    EXPECT_NE(line->text(), "3000") << "what is being typed stays";
    QTest::keyClick(line, Qt::Key_Escape);
    EXPECT_EQ(line->text(), "3000");
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

TEST_F(ViewWidgetTest, ShiftSelectsAndTheSelectionIsShaded) {
    const QPoint centre = PlotCentre();
    QTest::mousePress(widget, Qt::LeftButton, Qt::ShiftModifier, centre);
    QTest::mouseRelease(widget, Qt::LeftButton, Qt::ShiftModifier, centre + QPoint(60, 0));
    ASSERT_TRUE(View().m_selection);
    EXPECT_NEAR(View().m_selection->Duration(), 2000.0 * 60 / View().Plot().layout.plot.Width(), 1e-6);
    const QImage shaded = widget->grab().toImage();
    const QPoint inside(centre.x() + 31, 1 + View().Plot().layout.plot.top);
    EXPECT_NE(shaded.pixelColor(inside * shaded.devicePixelRatio()), QColor(Qt::white));
    Press(Qt::Key_Escape);
    EXPECT_FALSE(View().m_selection);
}

TEST_F(ViewWidgetTest, LimitsAreWrittenInTheirPlace) {
    auto* edit = widget->findChild<QLineEdit*>("limitEdit");
    ASSERT_NE(edit, nullptr);
    const auto& axis = View().m_axes[0];
    const auto type = [&](const char* text, Qt::Key key) {
        edit->selectAll();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, key);
    };
    const PixelRect limit = LimitRect(View().Plot(), 0, true);
    QTest::mouseClick(widget, Qt::LeftButton, {}, {limit.left + 30, limit.top + 6});
    ASSERT_TRUE(edit->hasFocus());
    EXPECT_EQ(edit->text(), "1000");
    type("50", Qt::Key_Tab);
    EXPECT_EQ(axis.m_dMax, 50.0);
    EXPECT_EQ(edit->text(), "-1000");
    type("60", Qt::Key_Tab);  // refused: it stays
    EXPECT_EQ(host.LastMessage(),
              "Maximum value should be greater than minimum value.\nPlease change one of them.");
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(axis.m_dMin, -1000.0);
    EXPECT_TRUE(edit->isVisible());
    type("-60", Qt::Key_Tab);
    EXPECT_EQ(axis.m_dMin, -60.0);
    EXPECT_TRUE(View().m_axes[1].m_bSelected);  // and on to the next axis
    QTest::keyClick(edit, Qt::Key_Backtab);
    EXPECT_EQ(edit->text(), "-60");
    type("-70", Qt::Key_Escape);
    EXPECT_EQ(axis.m_dMin, -60.0);
    EXPECT_FALSE(edit->isVisible());
    EXPECT_TRUE(widget->hasFocus());
    RunCommand(*FindCommand("axis-limits"), {View()});  // by keys alone
    type("80", Qt::Key_Return);
    EXPECT_EQ(axis.m_dMax, 80.0);
    RunCommand(*FindCommand("axis-limits"), {View()});
    RunCommand(*FindCommand("axes"), {View()});  // its axis goes
    EXPECT_FALSE(edit->isVisible());
}

TEST_F(ViewWidgetTest, ALimitIsAsWideAsItsNumber) {
    View().m_axes[0].m_dMax = 1234.56789012;
    View().m_axes[0].m_dMin = -1234.56789012;
    widget->EditLimit(0, true);
    auto* edit = widget->findChild<QLineEdit*>("limitEdit");
    for (const char* typed : {"", "-12345678.901234567"}) {
        QTest::keyClicks(edit, typed);
        EXPECT_GT(edit->width(), edit->fontMetrics().horizontalAdvance(edit->text()));
    }
}

TEST_F(ViewWidgetTest, ACardTellsWhatLiesUnderAMouseThatRests) {
    auto* card = widget->findChild<QLabel*>("hoverCard");
    View().DatumLines().AddVertLine(PlotCentre().x());
    const auto rest = [&](QPoint at) {
        QMouseEvent move(QEvent::MouseMove, at, widget->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QApplication::sendEvent(widget, &move);
    };
    rest(PlotCentre());
    EXPECT_FALSE(card->isVisible());  // not at once
    QTRY_VERIFY(card->isVisible());
    EXPECT_TRUE(card->text().startsWith("V:1: 2000.000 ms")) << card->text().toStdString();
    EXPECT_FALSE(card->geometry().contains(PlotCentre()));
    EXPECT_TRUE(widget->rect().contains(card->geometry()));
    Press(Qt::Key_F5);
    EXPECT_FALSE(card->isVisible());
    session.options.hoverCard = 0;
    rest(PlotCentre() + QPoint(0, 1));
    QTest::qWait(700);
    EXPECT_FALSE(card->isVisible());
}

TEST_F(ViewWidgetTest, EditBoxesHaveThePaperOfTheView) {
    View().Set(&ViewSettings::m_crBackground, 0x201010, "Background colour");
    const QImage image = widget->grab().toImage();
    EXPECT_EQ(image.pixelColor(1, 1), QColor(0x10, 0x10, 0x20));
    const auto* edit = widget->findChild<QLineEdit*>("startEdit");
    const QImage box = const_cast<QLineEdit*>(edit)->grab().toImage();
    EXPECT_EQ(box.pixelColor(box.width() / 2, box.height() / 2), QColor(0x10, 0x10, 0x20));
}

TEST_F(ViewWidgetTest, KeysAddOverlaysAndTheMouseMovesThem) {
    QTest::keyClick(widget, Qt::Key_V);
    CDatumLines& lines = View().DatumLines();
    ASSERT_EQ(lines.VertCount(), 1);
    QTest::qWait(1);  // painted
    const int x = lines.VertX(0), y = View().Plot().layout.plot.bottom - 30;
    QTest::mousePress(widget, Qt::LeftButton, {}, {x, y});
    QTest::mouseMove(widget, {x + 50, y});
    QTest::mouseRelease(widget, Qt::LeftButton, {}, {x + 50, y});
    EXPECT_EQ(lines.VertX(0), x + 50);

    const auto write = [this](const char* text) {
        host.fillForms.push_back([text](Form& form) {
            form["text"].text = text;
            return true;
        });
    };
    const auto& annotations = View().GetDocument().traceAnnotations[0];
    write("seen");
    QTest::keyClick(widget, Qt::Key_A);
    ASSERT_EQ(annotations.size(), 1u);
    QTest::qWait(1);
    write("changed");
    QTest::mouseDClick(widget, Qt::LeftButton, {},
                       {View().Plot().TimeToPixel(2000.0) + 5, View().Plot().BandOf(0).top + 5});
    EXPECT_EQ(annotations[0].m_strLabel, "changed");
}

// A message that comes up while the button is held takes the release of the button with it.
TEST_F(ViewWidgetTest, ADragWhoseReleaseIsLostIsAbandoned) {
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

TEST(PainterDevice, FontsThatDoNotExistStillDraw) {
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

}  // namespace
}  // namespace kymora::test
