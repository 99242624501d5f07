// Annotations and scale bars in a view.

#include <cmath>

#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_fonts.h"
#include "display/overlays/overlay_scale_bars.h"
#include "display/picture.h"
#include "drawing/cairo_device.h"
#include "support/overlay_fixture.h"

namespace kymora::test {
namespace {

class AnnotationTest : public OverlayTest {
  protected:
    CAnnotation& Put(int trace, double time, float value, std::string text) {
        CAnnotation annotation;
        annotation.m_dTime = time;
        annotation.m_fValue = value;
        annotation.m_strLabel = std::move(text);
        auto& list = doc->traceAnnotations[static_cast<size_t>(trace)];
        list.push_back(annotation);
        return list.back();
    }
    const std::vector<CAnnotation>& List(int trace) const {
        return doc->traceAnnotations[static_cast<size_t>(trace)];
    }
};

TEST(OverlayFonts, StoredFontsAndTheUsers) {
    LogFont stored;
    stored.SetFaceName("Arial");
    stored.height = -24;
    stored.weight = 700;
    stored.italic = 255;  // true, in another way
    stored.charSet = 161;
    FontSpec spec = FontSpecOf(stored);
    EXPECT_EQ(spec, (FontSpec{"Arial", 24, 700, true, false, false}));
    EXPECT_EQ(LogFontOf(spec, stored), stored);  // bit by bit
    spec.face = "A font of no one";
    spec.pixelHeight = 30;
    const LogFont changed = LogFontOf(spec, stored);
    EXPECT_EQ(changed.height, -30);
    EXPECT_EQ(changed.FaceName(), "A font of no one");
    EXPECT_EQ(changed.italic, 255);
    EXPECT_EQ(changed.charSet, 161);

    const struct {
        int32_t height, weight;
        int pixelHeight, usedWeight;
    } odd[] = {
        {18, 700, 15, 700},  // of a line
        {0, 700, 11, 700},
        {std::numeric_limits<int32_t>::min(), -7, 400, 400},
    };
    for (const auto& [height, weight, pixelHeight, usedWeight] : odd) {
        stored.height = height;
        stored.weight = weight;
        EXPECT_EQ(FontSpecOf(stored).pixelHeight, pixelHeight) << height;
        EXPECT_EQ(FontSpecOf(stored).weight, usedWeight) << height;
        EXPECT_EQ(LogFontOf(FontSpecOf(stored), stored), stored) << height;
    }
}

TEST_F(AnnotationTest, DrawnAtTimeAndValue) {
    Open();
    Put(0, 500.0, 0.0f, "first\r\nsecond").m_crColour = 0x2233FF;
    Put(1, 1000.0, 1000.0f, "end");
    Put(0, 1000.5, 0.0f, "behind");
    Put(0, -0.5, 0.0f, "before");
    const RecordingDevice device = Draw();
    EXPECT_EQ(PlaceOf(device, "first", 0x2233FF), (Point{470, 135}));
    EXPECT_EQ(PlaceOf(device, "second", 0x2233FF), (Point{470, 147}));
    EXPECT_EQ(PlaceOf(device, "end", 0), (Point{870, 270}));
    EXPECT_FALSE(device.Wrote("behind") || device.Wrote("before"));
    EXPECT_EQ(device.texts.back().style.font->face, "Ms Sans Serif");
    EXPECT_EQ(device.texts.back().style.font->pixelHeight, 11);

    view->m_crBackground = 0;  // black on black would not be seen; a chosen colour stays
    const RecordingDevice dark = Draw();
    EXPECT_EQ(PlaceOf(dark, "end", InkOn(0)), (Point{870, 270}));
    EXPECT_EQ(PlaceOf(dark, "first", 0x2233FF), (Point{470, 135}));
    view->m_bShowAnnotations = false;
    EXPECT_TRUE(Draw().texts.empty());
    view->m_bShowAnnotations = true;
    view->Set(&ViewSettings::m_fDataArea, 0.0f, "Data area");  // no axis is shown
    EXPECT_TRUE(Draw().texts.empty());
}

TEST_F(AnnotationTest, TurnedTextsTurnAboutTheirPlace) {
    Open();
    CAnnotation& annotation = Put(0, 500.0, 0.0f, "ab\nc");
    annotation.m_logFont.escapement = 900;  // upward: the lines go to the right
    const RecordingDevice device = Draw();
    EXPECT_EQ(PlaceOf(device, "ab", 0), (Point{470, 135}));
    EXPECT_EQ(PlaceOf(device, "c", 0), (Point{482, 135}));
    EXPECT_EQ(device.texts.back().style.escapement, 900);
    EXPECT_EQ(AnnotationRect(view->Plot(), 0, annotation), (PixelRect{470, 123, 494, 135}));
}

TEST_F(AnnotationTest, AddedAtTheTopOfTheFirstAxis) {
    Open();
    EXPECT_TRUE(Run("annotation-add"));  // cancelled
    EXPECT_FALSE(doc->IsModified());
    Fill([](Form& form) {
        EXPECT_EQ(form.Number("time"), 500.0);
        EXPECT_EQ(form.Number("value"), 1000.0);
        EXPECT_EQ(form.Choice("trace"), 0);
        form["text"].text = "";
    });
    Run("annotation-add");
    EXPECT_EQ(host.formFault, "Please enter the text of the annotation.");
    Fill([](Form& form) {
        form["text"].text = "spike";
        form["trace"].choice = 1;
        form["font"].font.pixelHeight = 20;
    });
    Run("annotation-add");
    ASSERT_EQ(List(1).size(), 1u);
    EXPECT_EQ(List(1)[0].m_strLabel, "spike");
    EXPECT_EQ(List(1)[0].m_nTrace, 1);
    EXPECT_EQ(List(1)[0].m_logFont.height, -20);
    EXPECT_TRUE(doc->IsModified());
    doc->Undo().Undo();
    EXPECT_TRUE(List(1).empty());

    Fill([](Form& form) {
        EXPECT_EQ(form.Number("time"), 250.0);
        EXPECT_EQ(form.Number("value"), 1000.0);
        EXPECT_EQ(form.Choice("trace"), 1);
        form["text"].text = "by mouse";
    });
    Run("annotation-add-by-mouse");
    Press(270, 270);
    EXPECT_EQ(List(1).size(), 1u);
    Press(270, 300);
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);  // cancelled
}

TEST_F(AnnotationTest, EditedIntoAnotherTraceAndDeleted) {
    Open();
    Put(0, 500.0, 0.0f, "text");
    Put(0, 250.0, 0.25f, "other");
    Fill([](Form& form) {
        EXPECT_EQ(form.Text("text"), "text");
        form["trace"].choice = 1;
        form["colour"].colour = 0xFF;
    });
    Run("annotation-edit");
    Press(480, 140);
    ASSERT_EQ(List(1).size(), 1u);
    EXPECT_EQ(List(1)[0].m_crColour, 0xFFu);
    EXPECT_EQ(List(0).size(), 1u);
    doc->Undo().Undo();
    EXPECT_EQ(List(0).size(), 2u);
    EXPECT_TRUE(List(1).empty());
    Run("annotation-del-all");
    EXPECT_TRUE(List(0).empty());
    EXPECT_FALSE(IsEnabled("annotation-del-all"));
}

// A damaged or foreign file may hold texts of any length.
TEST_F(AnnotationTest, LongTextsAreMeasuredAndDrawnAsFarAsTheyShow) {
    Open();
    Put(0, 500.0, 0.0f, std::string(3000000, 'x'));
    std::string many;
    for (int i = 0; i < 100000; ++i) many += "line\n";
    Put(1, 500.0, 0.0f, many);
    doc->markers.push_back({500.0, std::string(3000000, 'm')});
    const RecordingDevice device = Draw();
    EXPECT_LT(device.texts.size(), 1000u);
    for (const DrawnText& text : device.texts) EXPECT_LT(text.text.size(), 10000u);
    EXPECT_EQ(SeenPart("\u20AC\u20AC", 1), "\u20AC");  // never a part of a character
    EXPECT_EQ(SeenPart("abc", 1), "abc");
}

TEST_F(AnnotationTest, AnUntouchedTextKeepsItsLineEnds) {
    Open();
    Put(0, 500.0, 0.0f, "a\nb");
    Fill([](Form& form) { form["time"].number = 400.0; });
    EditAnnotation(*view, {0, 0});
    EXPECT_EQ(List(0)[0].m_strLabel, "a\nb");
    Fill([](Form& form) { form["text"].text = "a\nb\n"; });
    EditAnnotation(*view, {0, 0});
    EXPECT_EQ(List(0)[0].m_strLabel, "a\r\nb\r\n");
}

class ScaleBarTest : public OverlayTest {
  protected:
    ScaleBar& Horz() { return doc->scaleBars[0].single; }
    std::vector<ScaleBar>& Vert() { return doc->scaleBars[1].list; }
    static ScaleBar Bar(float x, float y, float length, int width = 1, int trace = 0) {
        ScaleBar bar;
        bar.m_fXFrac = x, bar.m_fYFrac = y, bar.m_fLength = length, bar.m_nWidth = width,
        bar.m_nTrace = trace;
        return bar;
    }
};

TEST_F(ScaleBarTest, DrawnByFractionsOfThePlot) {
    Open();
    doc->traces[1].traceUnits = "mV";
    Horz() = Bar(0.5f, 0.8f, 250.0f, 3);
    Vert() = {Bar(0.25f, 0.5f, 500.0f, 2, 1), Bar(0.25f, 0.5f, 500.0f, 2, 7), Bar(0.75f, 0.5f, 250.0f)};
    Vert()[2].m_strUnits = "V";
    const auto horz = *ShapeOf(view->Plot(), {true, 0});
    EXPECT_EQ(horz.from, (Point{470, 410}));
    EXPECT_EQ(horz.to, (Point{670, 410}));
    EXPECT_EQ(horz.rect, (PixelRect{468, 407, 673, 414}));  // 3 pixels high, and 2 more on each side
    EXPECT_EQ(horz.text, "250 ms");
    const auto vert = *ShapeOf(view->Plot(), {false, 0});
    EXPECT_EQ(vert.from, (Point{270, 260}));
    EXPECT_EQ(vert.to, (Point{270, 202}));  // 57.5 pixels from 0 to 500
    EXPECT_EQ(vert.text, "500: mV");
    EXPECT_FALSE(ShapeOf(view->Plot(), {false, 1}));  // there is no trace 8
    EXPECT_EQ(ShapeOf(view->Plot(), {false, 2})->text, "250: V");

    const RecordingDevice device = Draw();
    EXPECT_EQ(PlaceOf(device, "250 ms", 0), (Point{470, 398}));
    EXPECT_EQ(PlaceOf(device, "500: mV", 0), (Point{274, 202}));
    EXPECT_EQ(device.lines.size(), 3u);
    view->m_nTimeUnit = 1;
    EXPECT_TRUE(Draw().Wrote("0.25 s"));
    view->m_nTimeUnit = 2;
    EXPECT_TRUE(Draw().Wrote("0.004167 min"));
    view->m_bAxisVisible[1] = false;
    view->OnSize(880, 560);
    EXPECT_FALSE(Draw().Wrote("500: mV"));
    Horz().m_bShowText = 0;
    EXPECT_FALSE(Draw().Wrote("0.004167 min"));
    view->m_bShowScaleBars = false;
    EXPECT_TRUE(Draw().lines.empty());
    EXPECT_FALSE(ScaleBarAt(view->Plot(), 500, 410));
}

TEST_F(ScaleBarTest, OneOfNoLengthCanStillBeTakenHoldOf) {
    Open();
    Horz() = Bar(0.5f, 0.5f, 0.0f);
    EXPECT_TRUE(Draw().lines.empty());
    EXPECT_TRUE(ScaleBarAt(view->Plot(), 472, 262));
    EXPECT_FALSE(ScaleBarAt(view->Plot(), 473, 260));
}

TEST_F(ScaleBarTest, AddedWithARoundLength) {
    Open();
    Fill([](Form& form) {
        EXPECT_EQ(form.Number("length"), 100.0);
        form["showText"].flag = false;
    });
    Run("scale-bar-add-horz");
    EXPECT_EQ(Horz().m_nWidth, 2);
    EXPECT_EQ(Horz().m_bShowText, 0);
    Fill([](Form& form) { form["width"].number = 5; });
    Run("scale-bar-add-horz");  // changes the one that is there
    EXPECT_EQ(Horz().m_nWidth, 5);
    EXPECT_EQ(Horz().m_bShowText, 0);
    Fill([](Form& form) {
        EXPECT_EQ(form.Number("length"), 200.0);  // of the 2000 of its axis
        form["width"].number = 0;
    });
    Run("scale-bar-add-vert");
    EXPECT_FALSE(host.formFault.empty());
    for (const int trace : {0, 1}) {
        Fill([trace](Form& form) { form["trace"].choice = trace; });
        Run("scale-bar-add-vert");
    }
    ASSERT_EQ(Vert().size(), 2u);
    EXPECT_EQ(Vert()[1].m_nTrace, 1);
    EXPECT_TRUE(view->Plot().BandOf(0).Contains(100, ShapeOf(view->Plot(), {false, 0})->from.y));

    Fill([](Form& form) { form["textColour"].colour = 0xFF; });
    Run("scale-bar-options");
    EXPECT_EQ(Horz().m_crText, 0xFFu);
    EXPECT_EQ(Vert()[1].m_crText, 0xFFu);
    doc->Undo().Undo();
    EXPECT_EQ(Vert()[1].m_crText, 0u);
}

TEST_F(ScaleBarTest, AnotherTraceBringsItsUnitsUnlessTheUserWroteSome) {
    Open();
    doc->traces[1].traceUnits = "mV";
    for (const char* written : {"", "pA"}) {
        Vert() = {Bar(0.25f, 0.5f, 500.0f)};
        Fill([written](Form& form) {
            form["trace"].choice = 1;
            form["units"].text = written;
        });
        EditScaleBar(*view, {false, 0});
        EXPECT_EQ(Vert()[0].m_nTrace, 1);
        EXPECT_EQ(Vert()[0].m_strUnits, *written ? written : "mV");
    }
}

TEST_F(ScaleBarTest, DeletedEachByItsOwnCommand) {
    Open();
    Horz() = Bar(0.5f, 0.8f, 250.0f);
    Vert() = {Bar(0.25f, 0.5f, 500.0f), Bar(0.75f, 0.5f, 500.0f)};
    Run("scale-bar-del-vert");
    Press(500, 410);  // on the horizontal one
    EXPECT_EQ(Horz().m_fLength, 250.0f);
    EXPECT_EQ(view->m_nMouseMode, mouseDeleteScaleBar);
    view->Escape();
    view->m_bShowScaleBars = false;
    EXPECT_FALSE(IsEnabled("scale-bar-del-vert"));
    Vert().pop_back();
    Run("scale-bar-del-vert");  // the only one needs no click
    Run("scale-bar-del-horz");
    EXPECT_TRUE(Vert().empty());
    EXPECT_FALSE(IsEnabled("scale-bar-del-horz") || IsEnabled("scale-bar-options"));
    doc->Undo().Undo();
    EXPECT_EQ(Horz().m_fLength, 250.0f);
}

TEST_F(ScaleBarTest, ItsPlaceFollowsThePlotAndStaysOnIt) {
    Open();
    Horz() = Bar(0.55f, 0.7f, 250.0f);
    view->OnSize(480, 310);  // the plot is half as wide and half as high
    EXPECT_EQ(ShapeOf(view->Plot(), {true, 0})->from, (Point{290, 185}));
    view->OnSize(880, 560);
    Drag(520, 360, 2000, 2000);
    EXPECT_EQ(ShapeOf(view->Plot(), {true, 0})->from, (Point{870, 510}));
    doc->Undo().Undo();
    Fill([](Form& form) { form["length"].number = 100.0; });
    view->Mouse().DoubleClick({520, 360});
    EXPECT_EQ(Horz().m_fLength, 100.0f);
}

TEST(ScaleBars, RoundLengths) {
    EXPECT_EQ(RoundTenth(1000.0), 100.0);
    EXPECT_EQ(RoundTenth(1300.0), 100.0);
    EXPECT_EQ(RoundTenth(1700.0), 200.0);
    EXPECT_EQ(RoundTenth(8000.0), 1000.0);
    EXPECT_NEAR(RoundTenth(0.05), 0.005, 1e-12);
    for (const double senseless : {0.0, -5.0, std::nan(""), HUGE_VAL}) EXPECT_EQ(RoundTenth(senseless), 1.0);
}

// Whatever the window, the recording and the numbers in the file: nothing breaks.
TEST_F(ScaleBarTest, SenselessObjectsAndWindows) {
    const float numbers[] = {0.0f, -1.0f, 1e30f, -1e30f, NAN, INFINITY};
    for (const auto make : {0, 1, 128}) {
        if (make == 0)
            Show(MemoryDoc::MakeEmpty(session, 1000));
        else
            Open(make, make == 1 ? 1 : 5000);
        for (const float n : numbers) {
            doc->markers.push_back({n, "m"});
            CAnnotation annotation;
            annotation.m_dTime = n > 0 ? 5.0 : n;
            annotation.m_fValue = n;
            annotation.m_strLabel = std::string("\n\xFF\xFE\n");
            annotation.m_logFont.escapement = 123456789;
            annotation.m_logFont.height = -1000000;
            doc->traceAnnotations[0].push_back(annotation);
            Vert().push_back(Bar(n, n, n, 1000000, 0));
            Horz() = Bar(n, n, n, 1);
        }
        for (const auto& [width, height] :
             {std::pair(0, 0), {1, 1}, {30, 70}, {79, 61}, {880, 560}, {90, 4000}}) {
            view->OnSize(width, height);
            for (const int at : {0, 35, 500}) {
                view->DatumLines().AddVertLine(at);
                view->DatumLines().AddHorzLine(at);
            }
            Draw();
            CairoDevice device(std::max(1, width), std::max(1, height));
            PaintRecording(view->Plot(), device, PictureTarget::window);
            PaintRecording(view->Plot(), device, PictureTarget::file);
            for (int x = 0; x < width; x += 13)
                for (int y = 0; y < height; y += 17) {
                    Drag(x, y, x + 5, y + 5);
                    if (view->m_nMouseMode != mouseNormal) view->Escape();
                }
        }
    }
}

TEST(CairoText, FontsThatDoNotExistStillDraw) {
    CairoDevice device(200, 60);
    device.FillRect({0, 0, 200, 60}, 0xFFFFFF);
    TextStyle style;
    style.font = FontSpec{"No such font", 30, 700, true, true, true};
    device.Text(5, 5, "wide", style);
    int dark = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 200; ++x) dark += (device.PixelAt(x, y) & 0xFF) < 128;
    EXPECT_GT(dark, 200);
    EXPECT_GT(device.FontExtent("wide", *style.font).height, 25);
    const Extent usual = device.TextExtent("wide");  // the device's own font is back
    EXPECT_LT(usual.height, 20);
}

}  // namespace
}  // namespace kymora::test
