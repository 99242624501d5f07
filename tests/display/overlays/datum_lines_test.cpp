// Cursors: where they stand, what they read, their labels, and what the mouse does with them.

#include "display/overlays/datum_lines.h"

#include <set>

#include "display/overlays/cursor_forms.h"
#include "display/overlays/overlay_drags.h"
#include "display/overlays/overlay_fonts.h"
#include "support/overlay_fixture.h"

namespace kymora::test {
namespace {

class DatumTest : public OverlayTest {
  protected:
    CDatumLines& Lines() { return view->DatumLines(); }
    std::vector<int> VertX() {
        std::vector<int> all;
        for (int i = 0; i < Lines().VertCount(); ++i) all.push_back(Lines().VertX(i));
        return all;
    }
    const DatumLabel& VertLabel(int line, int label) {
        return Lines().VertLabels(line)[static_cast<size_t>(label)];
    }
    uint32_t Ink() const { return InkOn(view->m_crBackground); }
};

TEST_F(DatumTest, LinesKeepTheirPixelsAndReadWhatIsUnderThem) {
    Open();
    ASSERT_EQ(Lines().AddVertLine(470), 0);
    EXPECT_DOUBLE_EQ(Lines().GetVertLineTime(0), 500.0);
    EXPECT_EQ(Lines().GetVertLineSample(0, 0), 500.0f);
    EXPECT_EQ(Lines().GetVertLineSample(0, 1), 10500.0f);
    view->SetStartTime(1000.0);
    EXPECT_EQ(Lines().VertX(0), 470);
    EXPECT_DOUBLE_EQ(Lines().GetVertLineTime(0), 1500.0);
    EXPECT_EQ(Lines().GetVertLineSample(0, 0), 1500.0f);

    Lines().AddHorzLine(135);
    EXPECT_DOUBLE_EQ(Lines().GetHorzLineValue(0, 0), 0.0);
    EXPECT_NEAR(Lines().GetHorzLineValue(0, 1), -1000.0 + 365.0 * 2000.0 / 230.0, 1e-9);

    Lines().AddVertLine(-5);
    Lines().AddVertLine(70000);
    EXPECT_EQ(VertX(), (std::vector<int>{470, 0, 65535}));  // words of 16 bits
}

// A window that is resized, a pixel at a time or to nothing, leaves the lines at their times and values.
TEST_F(DatumTest, LinesFollowThePlot) {
    Open();
    for (const int x : {70, 172, 333, 870}) Lines().AddVertLine(x);
    for (const int y : {11, 222, 509}) Lines().AddHorzLine(y);
    const std::vector<int> before = VertX();
    std::vector<Extent> sizes;
    for (int size = 880; size > 200; size -= 7) sizes.push_back({size, size * 5 / 8});
    for (const Extent& too : {Extent{60, 300}, {0, 0}, {500, 40}}) sizes.push_back(too);
    for (int size = 210; size < 900; size += 3) sizes.push_back({size, size});
    for (const Extent& size : sizes) view->OnSize(size.width, size.height);
    view->OnSize(880, 560);
    EXPECT_EQ(VertX(), before);
    EXPECT_EQ(Lines().HorzY(1), 222);
    // From too small a window to another size.
    view->OnSize(60, 40);
    view->OnSize(480, 310);
    EXPECT_EQ(VertX(), (std::vector<int>{70, 121, 202, 470}));
    Lines().DeleteVertLine(0);
    view->OnSize(880, 560);
    EXPECT_EQ(VertX(), (std::vector<int>{172, 333, 870}));
}

TEST_F(DatumTest, ValuesOfGapsAndOfTheEndAreAbsent) {
    Show(MemoryDoc::MakeWithRuns(session, {std::vector<float>(200, 2.0f), std::vector<float>(600, 3.0f)},
                                 {{100, 300, 100, 100}, {600}}));
    Lines().AddVertLine(view->Plot().TimeToPixel(200.0));
    Lines().AddVertLine(view->Plot().TimeToPixel(900.0));
    const RecordingDevice device = Draw();
    EXPECT_TRUE(device.Wrote("1: -"));
    EXPECT_TRUE(device.Wrote("2: 3.0000"));
    EXPECT_TRUE(device.Wrote("2: -"));
    EXPECT_FALSE(device.Wrote("1: 0.0000"));
}

TEST_F(DatumTest, ValuesFollowTheSamples) {
    float value = 2.0f;
    Show(MemoryDoc::Generate(session, 1, 1000, [&](int, int64_t) { return value; }));
    Lines().AddVertLine(view->Plot().TimeToPixel(200.0));
    EXPECT_TRUE(Draw().Wrote("1: 2.0000"));
    value = 5.0f;
    view->GetDocument().UpdateAllViews(UpdateHint::samples);
    EXPECT_TRUE(Draw().Wrote("1: 5.0000"));
}

TEST_F(DatumTest, LabelsStandWhereTheyBelong) {
    Open();
    Run("cursor-show-ids");
    EXPECT_EQ(window->repaints, 1);
    Lines().AddVertLine(470);
    Lines().AddHorzLine(135);
    const RecordingDevice device = Draw();
    EXPECT_EQ(PlaceOf(device, "V:1", Ink()), (Point{473, 10}));
    EXPECT_EQ(PlaceOf(device, "500.00 ms", Ink()), (Point{473, 28}));
    EXPECT_EQ(PlaceOf(device, "1: 500.0000", Ink()), (Point{473, 50}));
    EXPECT_EQ(PlaceOf(device, "2: 10500.0000", Ink()), (Point{473, 68}));
    // The widest text has 13 characters of 6 pixels.
    EXPECT_EQ(VertLabel(0, 0).rect, (PixelRect{473, 10, 473 + 13 * 6 + 3, 22}));
    EXPECT_EQ(PlaceOf(device, "H:1", Ink()), (Point{73, 122}));
    EXPECT_EQ(PlaceOf(device, "Ax 1: 0.0", Ink()).x, 120) << doc->traces[0].axisLabel;
    EXPECT_EQ(PlaceOf(device, "Ax 2: 2173.9", Ink()).x, 220);
    EXPECT_EQ(device.LinesOf(Ink()).size(), 2u);
    Lines().MoveHorzLine(0, 15);  // no room above it
    EXPECT_EQ(PlaceOf(Draw(), "H:1", Ink()), (Point{73, 17}));
    Lines().MoveHorzLine(0, 135);

    EXPECT_FALSE(IsChecked("cursor-show-none"));
    Run("cursor-show-none");
    EXPECT_TRUE(IsChecked("cursor-show-none"));
    EXPECT_TRUE(Draw().texts.empty());
    EXPECT_EQ(Lines().HitTest(480, 15).state, datumIdle);  // nothing there to take hold of
}

TEST_F(DatumTest, LabelsNeverLieOnOneAnother) {
    Open(128);
    Lines().AddVertLine(300);
    Lines().AddHorzLine(200);
    const int axis = view->Plot().GetNearestAxis(200);
    Draw();
    EXPECT_FALSE(Lines().HorzLabels(0)[static_cast<size_t>(1 + axis)].rect == PixelRect{})
        << "the axis that the line crosses is always told";
    for (const auto* labels : {&Lines().VertLabels(0), &Lines().HorzLabels(0)})
        for (const DatumLabel& a : *labels)
            for (const DatumLabel& b : *labels) {
                if (&a == &b || a.rect == PixelRect{} || b.rect == PixelRect{}) continue;
                EXPECT_TRUE(a.rect.right <= b.rect.left || b.rect.right <= a.rect.left ||
                            a.rect.bottom <= b.rect.top || b.rect.bottom <= a.rect.top);
            }
}

TEST_F(DatumTest, AddedOneAfterTheOtherTheyStandBesideEachOther) {
    Open();
    for (int i = 0; i < 3; ++i) Run("cursor-add-vert"), Run("cursor-add-horz");
    EXPECT_EQ(VertX(), (std::vector<int>{470, 520, 570}));
    std::set<int> rows;
    for (int i = 0; i < 3; ++i) rows.insert(Lines().HorzY(i));
    EXPECT_EQ(rows.size(), 3u);
    EXPECT_EQ(Lines().HorzY(0), 260);
    Lines().DeleteVertLine(0);
    Run("cursor-add-vert");
    EXPECT_EQ(VertX().back(), 470);
}

TEST_F(DatumTest, AHorizontalCursorTellsEveryAxis) {
    Open(6);
    for (int trace = 0; trace < 6; ++trace)
        view->m_axes[static_cast<size_t>(trace)].m_strLabel =
            "membrane potential of cell " + std::to_string(trace);
    for (const int y : {15, 200, 500}) {
        Lines().DeleteAllHorz();
        Lines().AddHorzLine(y);
        const RecordingDevice device = Draw();
        const auto isInk = [&](const DrawnText& text) { return text.style.colour == Ink(); };
        EXPECT_EQ(std::ranges::count_if(device.texts, isInk), 6) << y;
        for (size_t trace = 0; trace < 6; ++trace) {
            const PixelRect& rect = Lines().HorzLabels(0)[1 + trace].rect;
            EXPECT_TRUE(rect.top >= 10 && rect.bottom <= 510 && rect != PixelRect{}) << y << " " << trace;
        }
    }
}

TEST_F(DatumTest, TimesAreInTheUnitOfTheView) {
    Open();
    Lines().AddVertLine(470);
    for (const auto& [unit, text] : {std::pair{0, "500.00 ms"}, {1, "0.50000 s"}, {2, "0.00833 min"}}) {
        view->m_nTimeUnit = unit;
        EXPECT_TRUE(Draw().Wrote(text)) << text;
    }
}

TEST_F(DatumTest, HitsInTheirOrderAndWithinTheirTolerance) {
    Open();
    Lines().AddVertLine(470);
    Lines().AddHorzLine(135);
    Draw();
    session.options.hitMargin = 3;
    EXPECT_EQ(Lines().HitTest(467, 400).state, datumMovesVert);
    EXPECT_EQ(Lines().HitTest(466, 400).state, datumIdle);
    session.options.hitMargin = 0;
    EXPECT_EQ(Lines().HitTest(469, 400).state, datumIdle);
    EXPECT_EQ(Lines().HitTest(470, 135).state, datumMovesVert);  // before the horizontal line
    EXPECT_EQ(Lines().HitTest(300, 137).state, datumMovesHorz);
    EXPECT_EQ(Lines().HitTest(300, 138).state, datumIdle);
    EXPECT_EQ(Lines().HitTest(480, 35).state, datumMovesVertLabel);
    EXPECT_EQ(Lines().HitTest(480, 35).label, 1);
    EXPECT_EQ(Lines().HitTest(125, 125).state, datumMovesHorzLabel);
    EXPECT_EQ(Lines().HitTest(470, 530).state, datumIdle);  // below the plot
    // A label of a vertical line goes before a horizontal line that runs through it.
    Lines().MoveHorzLine(0, 35);
    EXPECT_EQ(Lines().HitTest(480, 35).state, datumMovesVertLabel);
}

TEST_F(DatumTest, ADragTellsItsTimeAndItsRefusal) {
    Open();
    Lines().AddVertLine(470);
    Press(472, 300);
    EXPECT_EQ(Lines().m_nState, datumMovesVert);
    Move(572, 300);
    EXPECT_TRUE(Draw().Wrote("625.00 ms"));
    view->Escape();
    EXPECT_EQ(Lines().m_nState, datumIdle);
    Drag(470, 300, 900, 300);
    EXPECT_EQ(Lines().m_nState, datumIdle);
    EXPECT_EQ(host.LogText(), "not moving cursor, because going off screen\n");
}

TEST_F(DatumTest, LabelsMoveAlongTheirLineAndBack) {
    Open();
    Lines().AddVertLine(470);
    Draw();
    Press(480, 32);
    EXPECT_EQ(Lines().m_nState, datumMovesVertLabel);
    Move(700, 232);
    Draw();
    Release(700, 232);
    EXPECT_EQ(PlaceOf(Draw(), "500.00 ms", Ink()), (Point{473, 228}));
    Drag(480, 230, 480, 900);  // held to the plot
    EXPECT_EQ(PlaceOf(Draw(), "500.00 ms", Ink()), (Point{473, 495}));
    view->OnSize(880, 460);
    EXPECT_EQ(PlaceOf(Draw(), "500.00 ms", Ink()), (Point{473, 395}));
    Run("cursor-reset-labels");
    EXPECT_EQ(PlaceOf(Draw(), "500.00 ms", Ink()), (Point{473, 28}));

    // So they do left of another line that they would lie on, and right where there is no room on either
    // side.
    Lines().AddVertLine(500);
    Draw();
    EXPECT_EQ(VertLabel(0, 1).rect.right, 467);
    EXPECT_EQ(VertLabel(1, 1).rect.left, 503);
    Lines().AddVertLine(450);
    Draw();
    EXPECT_EQ(VertLabel(0, 1).rect.left, 473);
    Lines().DeleteVertLine(2);
    Lines().DeleteVertLine(1);
    // Near the right end of the window they stand to the left of the line.
    Lines().MoveVertLine(0, 860);
    const DatumLabel& time = (Draw(), VertLabel(0, 1));
    EXPECT_EQ(time.rect.right, 857);
}

// Commands can come from elsewhere than this mouse.
TEST_F(DatumTest, LinesThatGoDuringTheirDrag) {
    Open();
    Lines().AddVertLine(470);
    Draw();
    Press(480, 32);
    ASSERT_EQ(Lines().m_nState, datumMovesVertLabel);
    Run("cursor-del-all");
    Move(480, 60);
    Draw();
    Release(480, 60);
    EXPECT_EQ(Lines().m_nState, datumIdle);

    Lines().AddVertLine(470);
    Press(470, 300);
    Run("cursor-del-all");
    Lines().AddVertLine(200);  // has the number of the one that is gone
    Release(500, 300);
    EXPECT_EQ(VertX(), std::vector<int>{200});
}

TEST_F(DatumTest, CoupledLinesKeepTheirDistance) {
    const auto moved = [&](std::vector<int> lines, int from, int to, std::vector<int> choices) {
        Open();
        for (const int x : lines) Lines().AddVertLine(x);
        for (const int choice : choices)
            Fill([choice](Form& form) {
                EXPECT_EQ(form.title, "Coupled Cursor Error");
                form["choice"].choice = choice;
            });
        Drag(from, 300, to, 300);
        EXPECT_TRUE(host.fillForms.empty());
        return VertX();
    };
    const std::vector<int> three{100, 400, 800};
    EXPECT_EQ(moved(three, 400, 500, {}), (std::vector<int>{100, 500, 800}));
    Run("cursor-couple");
    EXPECT_TRUE(IsChecked("cursor-couple"));
    EXPECT_EQ(moved(three, 400, 430, {}), (std::vector<int>{130, 430, 830}));
    EXPECT_TRUE(host.forms.empty());
    EXPECT_EQ(moved(three, 400, 500, {0}), (std::vector<int>{200, 500, 800}));  // uncoupled for once
    EXPECT_EQ(moved(three, 400, 500, {1}), (std::vector<int>{200, 500, 870}));  // at the edge
    EXPECT_EQ(moved(three, 400, 500, {2}), three);                              // abandoned
    EXPECT_EQ(moved(three, 400, 500, {3}), (std::vector<int>{200, 500}));       // deleted
    EXPECT_EQ(moved(three, 400, 500, {}), three);                               // the dialog cancelled
    EXPECT_EQ(moved({820, 100, 850}, 100, 200, {3, 3}), std::vector<int>{200});
}

struct Listener : DatumListener {
    std::vector<int> counts, deleted;
    void OnVertLineCount(int count) override { counts.push_back(count); }
    void OnVertLineDeleted(int line) override { deleted.push_back(line); }
};

TEST_F(DatumTest, DialogsHearOfVerticalLines) {
    Open();
    Listener listener;
    Lines().AddListener(listener);
    Run("cursor-add-vert");
    Run("cursor-add-vert", Point{200, 300});
    Run("cursor-add-horz");
    EXPECT_EQ(VertX(), (std::vector<int>{470, 200}));
    EXPECT_EQ(Lines().HorzY(0), 260);
    EXPECT_EQ(listener.counts, (std::vector<int>{1, 2}));
    Run("cursor-del-vert", Point{201, 300});
    EXPECT_EQ(listener.deleted, std::vector<int>{1});
    EXPECT_EQ(listener.counts.back(), 1);
    Lines().RemoveListener(listener);
    Run("cursor-del-all");
    EXPECT_EQ(listener.deleted.size(), 1u);
    EXPECT_EQ(Lines().VertCount() + Lines().HorzCount(), 0);
    EXPECT_FALSE(IsEnabled("cursor-del-all"));
    EXPECT_FALSE(IsEnabled("cursor-del-vert"));
}

TEST_F(DatumTest, MultiAddStaysInItsMode) {
    Open();
    Run("cursor-multi-add-vert");
    EXPECT_TRUE(IsChecked("cursor-multi-add-vert"));
    for (const int x : {100, 200, 5}) Drag(x, 100, x, 100);
    EXPECT_EQ(VertX(), (std::vector<int>{100, 200}));
    Run("cursor-multi-add-horz");
    Press(100, 100);
    EXPECT_EQ(Lines().HorzCount(), 1);
    view->Escape();
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);

    Run("cursor-del-horz");  // the only one
    EXPECT_EQ(Lines().HorzCount(), 0);
}

TEST_F(DatumTest, PlacesByNumbers) {
    Open();
    for (const double time : {1000.0, 1001.0}) {
        Fill([time](Form& form) { form["time"].number = time; });
        Run("cursor-place-at-time");
    }
    EXPECT_EQ(VertX(), std::vector<int>{870});
    EXPECT_EQ(host.LastMessage(), "Specified time off screen: abandoned");

    Fill([](Form& form) {
        EXPECT_EQ(form.Integer("trace"), 1);
        form["value"].number = -500.0;
        form["trace"].number = 2;
    });
    Run("cursor-place-at-voltage");
    EXPECT_EQ(Lines().HorzY(0), 442);  // 500 - 500 / (2000 / 230) = 442.5, rounded by the rule to -58 + 500
    Fill([](Form& form) { form["trace"].number = 3; });
    Run("cursor-place-at-voltage");
    EXPECT_FALSE(host.formFault.empty());
    Fill([](Form& form) { form["value"].number = 1e9; });
    Run("cursor-place-at-voltage");
    EXPECT_EQ(host.LastMessage(), "Specified value off screen: abandoned");
    EXPECT_EQ(Lines().HorzCount(), 1);
}

TEST_F(DatumTest, RelativeLevelsAreThoseOfTheSamples) {
    // 5, 1, 3, 3 between the cursors; a gap in the midst of them does not count.
    std::vector<float> samples(1000, 100.0f);
    const float inside[] = {5.0f, 1.0f, 3.0f, 3.0f};
    std::copy(std::begin(inside), std::end(inside), samples.begin() + 250);
    Show(MemoryDoc::MakeWithRuns(session, {samples}, {{252, 50, 748}}));
    const LevelStats stats = *MeasureLevel(*doc, 0, 250, 304);
    EXPECT_EQ(stats.count, 4);
    EXPECT_DOUBLE_EQ(stats.mean, 3.0);
    EXPECT_DOUBLE_EQ(stats.sd, std::sqrt((4.0 + 4.0) / 3.0));
    EXPECT_EQ(stats.least, 1.0);
    EXPECT_EQ(stats.greatest, 5.0);

    CDatumHorzRel dialog;
    dialog.m_dSdMultiplier = -2.0, dialog.m_dPosMultiplier = 0.25, dialog.m_dNegMultiplier = 2.0;
    EXPECT_DOUBLE_EQ(LevelOf(dialog, stats), 3.0 - 2.0 * std::sqrt(8.0 / 3.0));
    dialog.m_level = CDatumHorzRel::Level::positivePeak;
    EXPECT_DOUBLE_EQ(LevelOf(dialog, stats), 3.5);
    dialog.m_level = CDatumHorzRel::Level::negativePeak;
    EXPECT_DOUBLE_EQ(LevelOf(dialog, stats), -1.0);
}

TEST_F(DatumTest, AddsALineAtARelativeLevel) {
    Open();
    SetAxis(0, 0.0, 2300.0);  // 10 to the pixel
    const auto ask = [&](int trace, int start, int end) {
        host.Forget();
        Fill([=](Form& form) {
            form["trace"].number = trace;
            form["startCursor"].number = start;
            form["endCursor"].number = end;
            form["level"].choice = 1;
            form["posMultiplier"].number = 1.0;
        });
        Run("cursor-add-horz-relative");
    };
    ask(1, 1, 2);  // without cursors: the samples 0 to 999 in view
    ASSERT_EQ(Lines().HorzCount(), 1);
    EXPECT_EQ(Lines().HorzY(0), 150);  // 250 - 99.9
    Lines().AddVertLine(view->Plot().TimeToPixel(100.0));
    Lines().AddVertLine(view->Plot().TimeToPixel(500.0));
    ask(1, 1, 2);
    ASSERT_EQ(Lines().HorzCount(), 2);
    EXPECT_EQ(Lines().HorzY(1), 200);  // 499
    const struct {
        int trace, start, end;
        const char* message;
    } refusals[] = {
        {1, 2, 1, "Start cursor should be before end cursor."},
        {1, 1, 1, "Start cursor should be before end cursor."},
        {3, 1, 2, "The selected data trace does not exist"},
        {0, 1, 2, "The selected data trace does not exist"},
        {2, 1, 2, "Specified value off screen: abandoned"},  // 10499 is far above its axis
    };
    for (const auto& [trace, start, end, message] : refusals) {
        ask(trace, start, end);
        EXPECT_EQ(host.LastMessage(), message) << trace << " " << start << " " << end;
    }
    ask(1, 1, 3);
    EXPECT_FALSE(host.formFault.empty());  // there is no third cursor
    EXPECT_EQ(Lines().HorzCount(), 2);
}

TEST_F(DatumTest, PositionsAreStoredAsTwoArraysOfWords) {
    Open();
    for (const int x : {300, 70}) Lines().AddVertLine(x);
    Lines().AddHorzLine(258);
    const auto file = files.Open("/cursors", OpenMode::createNew);
    CArchive out(*file, CArchive::Mode::store);
    Lines().Serialize(out);
    out.Close();
    std::vector<std::byte> bytes(static_cast<size_t>(file->Length()));
    file->ReadAt(0, bytes);
    std::vector<int> stored;
    for (const std::byte b : bytes) stored.push_back(static_cast<int>(b));
    EXPECT_EQ(stored, (std::vector<int>{2, 0, 0x2C, 1, 70, 0, 1, 0, 2, 1}));

    Lines().DeleteAll();
    Lines().AddVertLine(99);
    CArchive in(*file, CArchive::Mode::load);
    Lines().Serialize(in);
    EXPECT_EQ(VertX(), (std::vector<int>{300, 70}));
    EXPECT_EQ(Lines().HorzY(0), 258);
}

}  // namespace
}  // namespace kymora::test
