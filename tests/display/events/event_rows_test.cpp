#include "display/events/event_rows.h"

#include "display/events/event_view_fixture.h"

namespace kymora::test {
namespace {

class EventRowsTest : public ViewTest {
  protected:
    void Open(double start, double end) {
        doc = Ramp(1, 2000000);
        doc->view.viewStart = start;
        doc->view.viewEnd = end;
        doc->eventChannels[2].SetDisplayPosition(0.5);  // y = 10 + 200
        doc->eventChannels[2].channelColour = red;
        view = std::make_unique<CKymoraView>(*doc);
        view->OnSize(880, 460);  // 800 pixels from 70
        view->OnInitialUpdate();
    }
    void TearDown() override { view.reset(); }
    void Draw() {
        device = {};
        DrawEventRows(view->Plot(), device);
    }
    static constexpr uint32_t red = 0x0000FF, blue = 0xFF0000;
    std::unique_ptr<MemoryDoc> doc;
    std::unique_ptr<CKymoraView> view;
    RecordingDevice device;
};

TEST_F(EventRowsTest, EventIsATickAtItsStartAndABarToItsEnd) {
    Open(1000.0, 1800.0);  // a pixel a sample
    doc->AddEvent(2, {1100, 1150});
    doc->AddEvent(2, {1200, 1200, 0.0f, 0, blue});
    doc->AddEvent(2, {5000, 5100});  // not in sight
    doc->UpdateAllViews(UpdateHint::events);
    Draw();
    EXPECT_EQ(device.RectsOf(red),
              (std::vector<DrawnShape>{{{170, 209, 220, 212}, red}, {{170, 205, 171, 216}, red}}));
    EXPECT_EQ(device.RectsOf(blue), (std::vector<DrawnShape>{{{270, 205, 271, 216}, blue}}));
    EXPECT_TRUE(device.Wrote("c"));
}

TEST_F(EventRowsTest, LongEventReachesInFromBefore) {
    Open(1000.0, 1800.0);
    doc->AddEvent(2, {10, 1020});
    for (int i = 20; i < 900; ++i) doc->AddEvent(2, {i, i + 1});
    doc->AddEvent(2, {1790, 900000});
    doc->UpdateAllViews(UpdateHint::events);
    Draw();
    EXPECT_EQ(device.RectsOf(red),
              (std::vector<DrawnShape>{
                  {{70, 209, 90, 212}, red}, {{860, 209, 870, 212}, red}, {{860, 205, 861, 216}, red}}));
}

TEST_F(EventRowsTest, AMillionEventsCostPixels) {
    Open(0.0, 2000000.0);
    for (int i = 0; i < 1000000; ++i) doc->AddEvent(2, {2 * i, 2 * i + 1});
    doc->UpdateAllViews(UpdateHint::events);
    Draw();
    const auto rects = device.RectsOf(red);
    EXPECT_LE(rects.size(), 1600u);
    int columns = 0;  // none of them is missing
    for (const DrawnShape& shape : rects)
        if (shape.rect.Height() == 11) columns += shape.rect.Width();
    EXPECT_EQ(columns, 800);
}

TEST_F(EventRowsTest, DisorderedChannelShowsAllItsEvents) {
    Open(1000.0, 1800.0);
    for (const int on : {1700, 1100, 1500, 1300}) doc->eventChannels[2].AppendLoaded({on, on + 10});
    doc->eventChannels[2].CheckOrder();
    ASSERT_FALSE(doc->eventChannels[2].IsInOrder());
    doc->UpdateAllViews(UpdateHint::events);
    Draw();
    EXPECT_EQ(device.RectsOf(red).size(), 8u);
}

TEST_F(EventRowsTest, LabelsStandWhereTheyDoNotCollide) {
    Open(1000.0, 1800.0);
    doc->eventChannels[2].channelLabel = "stages";
    const auto add = [&](int on, const char* label) {
        CEventKM event{on, on + 1};
        event.eventLabel = label;
        doc->AddEvent(2, event);
    };
    add(1100, "wake");
    add(1110, "hidden");
    add(1400, "sleep");
    doc->UpdateAllViews(UpdateHint::events);
    Draw();
    EXPECT_TRUE(device.Wrote("wake"));
    EXPECT_FALSE(device.Wrote("hidden"));
    EXPECT_TRUE(device.Wrote("sleep"));
    EXPECT_TRUE(device.Wrote("c: stages"));
    view->Set(&ViewSettings::m_bShowEventLabels, !view->m_bShowEventLabels, "Event labels");
    view->Set(&ViewSettings::m_bShowEventChanLabels, !view->m_bShowEventChanLabels, "Event chan labels");
    Draw();
    EXPECT_TRUE(device.texts.empty());
    doc->eventChannels[2].channelVisible = 0;
    Draw();
    EXPECT_TRUE(device.rects.empty());
}

// --- shapes ---

class EventShapesTest : public EventViewTest {
  protected:
    static constexpr uint32_t red = 0x0000FF, blue = 0xFF0000, green = 0x00FF00;
    void Draw(int shape) {
        Chan().channelColour = red;
        Chan().channelColourAlt = blue;
        Chan().channelDrawMode = shape;
        device = {};
        DrawEventRows(view->Plot(), device);
    }
    std::vector<DrawnShape> Rects(uint32_t colour) { return device.RectsOf(colour); }
    static DrawnShape Rect(int from, int top, int to, int bottom, uint32_t colour = red) {
        return {{X(from), rowY + top, X(to), rowY + bottom}, colour};
    }
    RecordingDevice device;
};

TEST_F(EventShapesTest, FollowTheDrawMode) {
    Open();
    Add(1100, 1150);
    const DrawnShape tick = Rect(1100, -5, 1101, 6);
    const std::vector<DrawnShape> usual{Rect(1100, -1, 1150, 2), tick};
    Draw(shapeTicks);
    EXPECT_EQ(Rects(red), std::vector<DrawnShape>{tick});
    Draw(shapeBars);
    EXPECT_EQ(Rects(red), (std::vector<DrawnShape>{Rect(1100, -4, 1101, 5), Rect(1100, -4, 1150, 5)}));
    Draw(shapeBoxes);
    EXPECT_EQ(Rects(red), (std::vector<DrawnShape>{Rect(1100, -5, 1150, -4), Rect(1100, 5, 1150, 6),
                                                   Rect(1150, -5, 1151, 6), tick}));
    Draw(shapeDots);
    EXPECT_TRUE(Rects(red).empty());
    EXPECT_EQ(device.ellipses, (std::vector<DrawnShape>{Rect(1097, -3, 1104, 4)}));
    for (const int shape : {2, 5, 6, -1, 12345}) {
        Draw(shape);
        EXPECT_EQ(Rects(red), usual) << shape;
        EXPECT_EQ(Chan().channelDrawMode, shape);
    }
}

TEST_F(EventShapesTest, ShadeLiesBehindTheWholeHeight) {
    Open();
    Add(1100, 1150);
    Draw(shapeShades);
    device = {};
    DrawEventShades(view->Plot(), device);
    // An eighth of red on white.
    ASSERT_EQ(device.rects.size(), 2u);
    EXPECT_EQ(device.rects[0], (DrawnShape{{X(1100), 10, X(1150), 410}, Rgb(255, 223, 223)}));
    Chan().channelDrawMode = shapeUsual;
    device = {};
    DrawEventShades(view->Plot(), device);
    EXPECT_TRUE(device.rects.empty());
}

TEST_F(EventShapesTest, TagsShowByColourAndMark) {
    Open();
    Add(1100, 1150, 1);
    Add(1300, 1310);
    Draw(shapeUsual);
    EXPECT_EQ(Rects(blue),
              (std::vector<DrawnShape>{Rect(1100, -1, 1150, 2, blue), Rect(1100, -5, 1101, 6, blue),
                                       Rect(1098, -9, 1103, -6, blue)}));
    EXPECT_EQ(Rects(red).size(), 2u);
}

TEST_F(EventShapesTest, NoneOfAMillionIsLost) {
    Open(0.0, 10000000.0, 10000000);
    for (int i = 0; i < 1000000; ++i) {
        CEventKM event{10 * i, 10 * i + 4};
        if (i == 654321) event.eventTag = 1, event.eventLabel = "here";  // at pixel 523
        if (i == 123457) event.eventColour = green;                      // at pixel 99
        if (i == 500) event.offPosition = 4000000;                       // from pixel 0 to 320
        Chan().AddEvent(std::move(event));
    }
    doc->UpdateAllViews(UpdateHint::events);
    Draw(shapeUsual);
    EXPECT_EQ(Rects(blue),
              (std::vector<DrawnShape>{{{593, 205, 594, 216}, blue}, {{591, 201, 596, 204}, blue}}));
    EXPECT_EQ(Rects(green), (std::vector<DrawnShape>{{{169, 205, 170, 216}, green}}));
    EXPECT_TRUE(device.Wrote("here"));
    EXPECT_EQ(Rects(red)[0].rect, (PixelRect{70, 209, 390, 212}));
    EXPECT_LT(device.rects.size(), 20u);
}

TEST_F(EventShapesTest, LaterEventLiesOnTheLongOne) {
    Open();
    Chan().AddEvent({1100, 1500});
    Chan().AddEvent({1200, 1300, 0.0f, 0, green});
    doc->UpdateAllViews(UpdateHint::events);
    Draw(shapeBars);
    EXPECT_EQ(Rects(green).back(), Rect(1200, -4, 1300, 5, green));
    EXPECT_EQ(Rects(red), (std::vector<DrawnShape>{Rect(1100, -4, 1101, 5), Rect(1100, -4, 1200, 5),
                                                   Rect(1300, -4, 1500, 5)}));
}

TEST_F(EventShapesTest, NameStandsOnPaperAndTheSelectedOneIsFramed) {
    Open();
    Chan().channelLabel = "spikes";
    Chan(4).SetDisplayPosition(0.25);
    Add(1000, 1100);
    Add(1000, 1100, 0, "", 4);
    view->m_crBackground = Rgb(1, 2, 3);
    Draw(shapeUsual);
    // "c: spikes" is 9 characters of 6 pixels, 12 high.
    EXPECT_EQ(Rects(Rgb(1, 2, 3)).at(0), (DrawnShape{{71, 204, 131, 216}, Rgb(1, 2, 3)}));
    EXPECT_TRUE(device.lines.empty());
    DrawSelectedChannel(view->Plot(), device);
    ASSERT_EQ(device.lines.size(), 1u);
    EXPECT_EQ(device.lines[0].points.front(), (Point{71, 204}));
    session.options.eventChannelMode = maxEventChannels;
    Draw(shapeUsual);
    EXPECT_TRUE(device.Wrote("2: spikes"));
    // A channel without events has a row while events are inserted into it.
    view->m_nMouseEventChan = 7;
    view->SetMouseMode(mouseInsertFirst);
    Draw(shapeUsual);
    EXPECT_TRUE(device.Wrote("7"));
}

TEST_F(EventShapesTest, SenselessEventsAndWindowsDrawSafely) {
    Open();
    for (const CEventKM& event : {CEventKM{INT32_MIN, INT32_MAX}, CEventKM{1200, 1100},
                                  CEventKM{INT32_MAX, INT32_MIN}, CEventKM{-1, -1}})
        Chan().AppendLoaded(event);
    doc->UpdateAllViews(UpdateHint::events);
    for (int shape = 0; shape < shapeCount; ++shape)
        for (const int size : {0, 3, 90, 880}) {
            view->OnSize(size, size / 2);
            Draw(shape);
            DrawEventShades(view->Plot(), device);
            DrawSelectedChannel(view->Plot(), device);
        }
    EXPECT_FALSE(Rects(red).empty());
}

}  // namespace
}  // namespace kymora::test
