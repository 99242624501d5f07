#include "display/events/event_rows.h"
#include "display/kymora_view.h"
#include "display/overlays/overlay_drawing.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class GuideTest : public ShownTest {
  protected:
    void SetUp() override {
        Show(Ramp(2, 1000), Viewport{0.0, 500.0}, 560);
        view->SetLimits(1, 0.0, 100.0, "Limits");
    }
    RecordingDevice Draw(std::vector<ViewGuide> guides) {
        view->SetGuides(std::move(guides));
        RecordingDevice device;
        DrawGuides(view->Plot(), device);
        return device;
    }
};

constexpr auto level = ViewGuide::Kind::level;
constexpr auto time = ViewGuide::Kind::time;

TEST_F(GuideTest, LinesStandAtTheirValueAndTime) {
    const PixelRect plot = view->Plot().layout.plot;
    const PixelRect band = view->Plot().BandOf(1);
    const RecordingDevice device = Draw({{level, 1, 25.0, 0x0000FF, "On"}, {time, 0, 250.0, 0xFF0000, {}}});
    // A quarter of the way up the band of its axis, and half way through the viewport.
    const int y = band.bottom - (band.bottom - band.top) / 4;
    const int x = plot.left + plot.Width() / 2;
    ASSERT_EQ(device.lines.size(), 2u);
    EXPECT_NEAR(device.LinesOf(0x0000FF)[0].points[0].y, y, 1);
    EXPECT_EQ(device.LinesOf(0x0000FF)[0].points[0].x, plot.left);
    EXPECT_EQ(device.LinesOf(0x0000FF)[0].points[1].x, plot.right);
    EXPECT_NEAR(device.LinesOf(0xFF0000)[0].points[0].x, x, 1);
    EXPECT_TRUE(device.Wrote("On"));
}

TEST_F(GuideTest, NamesOfLevelsThatLieTogetherCanAllBeRead) {
    const RecordingDevice device =
        Draw({{level, 1, 25.0, 1, "on"}, {level, 1, 25.0, 2, "off"}, {level, 1, 25.1, 3, "limit"}});
    ASSERT_EQ(device.texts.size(), 3u);
    // Six pixels a character, and a gap.
    EXPECT_LT(device.texts[1].x + 18, device.texts[0].x);
    EXPECT_LT(device.texts[2].x + 30, device.texts[1].x);
    // The line of the second one lets the first one's be seen.
    EXPECT_EQ(device.LinesOf(1)[0].pen.style, Pen::Style::solid);
    EXPECT_EQ(device.LinesOf(2)[0].pen.style, Pen::Style::dashed);
}

TEST_F(GuideTest, WhatCannotBeSeenIsNotDrawn) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(Draw({{level, 0, 1e12, 1, {}},
                      {level, 0, nan, 1, {}},
                      {level, 5, 1.0, 1, {}},
                      {level, -1, 1.0, 1, {}},
                      {time, 0, 501.0, 1, {}}})
                    .lines.empty());
    view->ChangeSettings("Select axes", DisplayScope::look,
                         [](ViewSettings& settings) { settings.m_bAxisVisible[1] = false; });
    EXPECT_TRUE(Draw({{level, 1, 25.0, 1, {}}}).lines.empty());
}

// In the row of their channel, or at the top of their trace while the channel is empty.
TEST_F(GuideTest, ProposedEventsAreHollowBoxes) {
    const PlotContext context = view->Plot();
    const PixelRect plot = context.layout.plot;
    struct Case {
        bool holdsEvents;
        std::vector<std::pair<int32_t, int32_t>> spans;
        size_t boxes;
    };
    for (const Case& c : {Case{false, {{100, 120}, {200, 220}, {-50, -20}, {600, 700}}, 2},
                          {true, {{100, 120}}, 1},
                          {true, {{100, 104}, {101, 103}, {102, 110}}, 2},
                          {true, {{-10, 10}}, 1}}) {
        view->SetProposedEvents({{3, 1, c.spans}, {3, 7, {}}});
        doc->eventChannels[3].DeleteAll();
        if (c.holdsEvents) doc->eventChannels[3].AddEvent(400, 410);
        RecordingDevice device;
        DrawProposedEvents(view->Plot(), device);
        ASSERT_FALSE(device.lines.empty());
        const int row = EventRowY(view->Plot(), 3), band = context.BandOf(1).top;
        for (const auto& line : device.lines)
            for (const Point& point : line.points) {
                EXPECT_NEAR(point.y, c.holdsEvents ? row : band + 7, 8);
                EXPECT_GE(point.x, plot.left);
            }
        RecordingDevice one;
        one.Frame({0, 0, 9, 9});
        EXPECT_EQ(device.lines.size(), c.boxes * one.lines.size());
    }
    // Seen on dark paper in any colour, and without a row or a trace nowhere.
    view->m_crBackground = 0x202020;
    doc->eventChannels[3].channelColour = 0x400000;
    for (const bool hasRow : {true, false}) {
        view->SetProposedEvents({{3, -1, {{100, 120}}}});
        if (!hasRow) doc->eventChannels[3].DeleteAll();
        RecordingDevice device;
        DrawProposedEvents(view->Plot(), device);
        EXPECT_EQ(!device.lines.empty(), hasRow);
        for (const auto& line : device.lines) EXPECT_EQ(line.pen.colour, SeenOn(0x400000, 0x202020));
    }
}

// A dialog's line of a parameter is dragged, and the parameter set, when the button is released.
TEST_F(GuideTest, DraggingSetsTheParameter) {
    std::vector<std::pair<std::string, double>> set;
    const PlotContext context = view->Plot();
    const int y = context.ValueToPixel(25.0, 1), x = context.TimeToPixel(250.0);
    struct Drag {
        Point from, to;
        std::vector<std::pair<std::string, double>> sets;
    };
    const int highest = context.BandOf(1).top - context.layout.axisGap;
    const double above = context.GetValueScale(1).ToValue(y - 40);
    const double top = context.GetValueScale(1).ToValue(highest);
    const Drag drags[] = {
        {{300, y + 1}, {400, y - 39}, {{"level", above}}},  // held a pixel beside it
        {{x, 100}, {x + 80, 400}, {{"end", context.PixelToTime(x + 80)}}},
        {{300, y}, {300, -500}, {{"level", top}}},             // stays on its band
        {{300, y}, {500, y}, {}},                              // along the line
        {{300, context.ValueToPixel(75.0, 1)}, {300, y}, {}},  // that one has no parameter
    };
    for (const Drag& drag : drags) {
        view->SetGuides({{level, 1, 25.0, 4, {}, "under"},
                         {level, 1, 25.0, 1, "on", "level"},
                         {time, 0, 250.0, 2, {}, "end"},
                         {level, 1, 75.0, 3, {}}},
                        [&](const ViewGuide& guide, double at) { set.emplace_back(guide.parameter, at); });
        set.clear();
        Press(drag.from.x, drag.from.y);
        Move(drag.to.x, drag.to.y);
        EXPECT_TRUE(set.empty()) << "until the button is released";
        Release(drag.to.x, drag.to.y);
        EXPECT_EQ(set, drag.sets);
        EXPECT_EQ(view->GetViewport(), (Viewport{0.0, 500.0})) << drag.from.y;
        view->ChangeViewport({0.0, 500.0});
    }
    set.clear();
    Press(300, y);
    Move(300, y - 40);
    RecordingDevice device;
    DrawFeedback(view->Plot(), device);
    EXPECT_EQ(device.LinesOf(1).at(0).points, (std::vector<Point>{{70, y - 40}, {870, y - 40}}));
    view->Escape();
    Release(300, y - 40);
    EXPECT_TRUE(set.empty());
}

// A tool that a dialog adds lies on top, and takes its drag with it when it goes.
TEST_F(GuideTest, ToolsComeAndGo) {
    struct Recorded : MouseDrag {
        std::string& heard;
        explicit Recorded(std::string& h) : heard(h) {}
        void Move(CKymoraView&, const MouseEvent&) override { heard += "move "; }
        void Release(CKymoraView&, const MouseEvent&) override { heard += "release "; }
        void Cancel(CKymoraView&) override { heard += "cancel "; }
    };
    std::string heard;
    const auto anywhere = [](const PlotContext&, int, int) { return true; };
    const auto grab = [&](CKymoraView&, const MouseEvent&) { return std::make_unique<Recorded>(heard); };
    const auto press = [&] { Press(300, 100), Move(400, 100); };
    const MouseTool* tool = view->Mouse().Add(
        {{{anywhere, CursorShape::cross, grab}}, {{firstModeOfDialogs, "lasso", CursorShape::cross, grab}}});
    press();
    Release(400, 100);
    EXPECT_EQ(heard, "move release ");
    // In its mode, too, the drag is its own.
    view->SetMouseMode(firstModeOfDialogs);
    press();
    view->Mouse().Remove(tool);
    EXPECT_EQ(heard, "move release move cancel ");
    EXPECT_FALSE(view->Mouse().Drag());
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
    press();  // of the view again
    EXPECT_EQ(heard, "move release move cancel ");
    view->SetMouseMode(firstModeOfDialogs);
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
}

}  // namespace
}  // namespace kymora::test
