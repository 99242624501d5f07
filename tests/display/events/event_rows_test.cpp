#include "display/events/event_rows.h"

#include "display/events/event_view_fixture.h"

namespace kymora::test {
namespace {

class EventRowsTest : public EventViewTest {
  protected:
    static constexpr uint32_t red = 0x0000FF, blue = 0xFF0000, green = 0x00FF00;
    void Draw(int shape = shapeUsual) {
        Chan().channelColour = red;
        Chan().channelColourAlt = blue;
        Chan().channelDrawMode = shape;
        doc->UpdateAllViews(UpdateHint::events);
        device = {};
        DrawEventNames(view->Plot(), device);
        DrawEventRows(view->Plot(), device);
    }
    std::vector<DrawnShape> Rects(uint32_t colour) { return device.RectsOf(colour); }
    static DrawnShape Rect(int from, int top, int to, int bottom, uint32_t colour = red) {
        return {{X(from), rowY + top, X(to), rowY + bottom}, colour};
    }
    RecordingDevice device;
};

TEST_F(EventRowsTest, EventIsATickAtItsStartAndABarToItsEnd) {
    Open();
    Add(1100, 1150);
    Chan().AddEvent({1200, 1200, 0.0f, 0, blue});
    Add(5000, 5100);  // not in sight
    Draw();
    EXPECT_EQ(Rects(red), (std::vector<DrawnShape>{Rect(1100, -1, 1150, 2), Rect(1100, -5, 1101, 6)}));
    EXPECT_EQ(Rects(blue), std::vector<DrawnShape>{Rect(1200, -5, 1201, 6, blue)});
}

TEST_F(EventRowsTest, LongEventReachesInFromBefore) {
    Open();
    Add(10, 1020);
    for (int i = 20; i < 900; ++i) Chan().AddEvent(i, i + 1);
    Add(1790, 900000);
    Draw();
    EXPECT_EQ(Rects(red), (std::vector<DrawnShape>{Rect(1000, -1, 1020, 2), Rect(1790, -1, 1800, 2),
                                                   Rect(1790, -5, 1791, 6)}));
}

TEST_F(EventRowsTest, DisorderedChannelShowsAllItsEvents) {
    Open();
    for (const int on : {1700, 1100, 1500, 1300}) Chan().AppendLoaded({on, on + 10});
    Chan().CheckOrder();
    ASSERT_FALSE(Chan().IsInOrder());
    Draw();
    EXPECT_EQ(Rects(red).size(), 8u);
}

TEST_F(EventRowsTest, LabelsStandWhereTheyDoNotCollide) {
    Open();
    Add(1100, 1101, 0, "wake"), Add(1110, 1111, 0, "hidden"), Add(1400, 1401, 0, "sleep");
    Draw();
    EXPECT_TRUE(device.Wrote("wake") && device.Wrote("sleep"));
    EXPECT_FALSE(device.Wrote("hidden"));
    view->Set(&ViewSettings::m_bShowEventLabels, false, "Event labels");
    view->Set(&ViewSettings::m_bShowEventChanLabels, false, "Event chan labels");
    Draw();
    EXPECT_TRUE(device.texts.empty());
    Chan().channelVisible = 0;
    Draw();
    EXPECT_TRUE(device.rects.empty());
}

TEST_F(EventRowsTest, FollowTheDrawMode) {
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

TEST_F(EventRowsTest, ShadeLiesBehindTheWholeHeight) {
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

TEST_F(EventRowsTest, TagsShowByColourAndMark) {
    Open();
    Add(1100, 1150, 1);
    Add(1300, 1310);
    Draw();
    EXPECT_EQ(Rects(blue),
              (std::vector<DrawnShape>{Rect(1100, -1, 1150, 2, blue), Rect(1100, -5, 1101, 6, blue),
                                       Rect(1098, -9, 1103, -6, blue)}));
    EXPECT_EQ(Rects(red).size(), 2u);
}

TEST_F(EventRowsTest, NoneOfAMillionIsLost) {
    Open(0.0, 10000000.0, 10000000);
    for (int i = 0; i < 1000000; ++i) {
        CEventKM event{10 * i, 10 * i + 4};
        if (i == 654321) event.eventTag = 1, event.eventLabel = "here";  // at pixel 523
        if (i == 123457) event.eventColour = green;                      // at pixel 99
        if (i == 500) event.offPosition = 4000000;                       // from pixel 0 to 320
        Chan().AddEvent(std::move(event));
    }
    Draw();
    EXPECT_EQ(Rects(blue),
              (std::vector<DrawnShape>{{{593, 205, 594, 216}, blue}, {{591, 201, 596, 204}, blue}}));
    EXPECT_EQ(Rects(green), (std::vector<DrawnShape>{{{169, 205, 170, 216}, green}}));
    EXPECT_TRUE(device.Wrote("here"));
    EXPECT_EQ(Rects(red)[0].rect, (PixelRect{70, 209, 390, 212}));
    EXPECT_LT(device.rects.size(), 20u);
    int columns = 0;
    for (const DrawnShape& shape : device.rects)
        if (shape.rect.Height() == 11) columns += shape.rect.Width();
    EXPECT_EQ(columns, 800) << "each has its tick";
}

TEST_F(EventRowsTest, LaterEventLiesOnTheLongOne) {
    Open();
    Chan().AddEvent({1100, 1500});
    Chan().AddEvent({1200, 1300, 0.0f, 0, green});
    Draw(shapeBars);
    EXPECT_EQ(Rects(green).back(), Rect(1200, -4, 1300, 5, green));
    EXPECT_EQ(Rects(red), (std::vector<DrawnShape>{Rect(1100, -4, 1101, 5), Rect(1100, -4, 1200, 5),
                                                   Rect(1300, -4, 1500, 5)}));
}

// Beside the row they name, left of the plot; the selected one is framed.
TEST_F(EventRowsTest, NamesStandBesideThePlot) {
    withNames = true;
    Open();
    Chan().channelLabel = "spikes";
    Chan(4).SetDisplayPosition(0.25);
    for (const int channel : {c, 4, 4}) Add(1000, 1100, 0, "", channel);
    Draw();
    for (const char* text : {"c: spikes", "e", "1", "2"}) EXPECT_TRUE(device.Wrote(text)) << text;
    const int left = view->Plot().layout.plot.left;
    for (const auto& [channel, box] : view->Plot().drawn.eventRows.names) EXPECT_LT(box.right, left);
    for (const DrawnText& text : device.texts) EXPECT_LT(text.x, left) << text.text;
    DrawSelectedChannel(view->Plot(), device);
    ASSERT_EQ(device.lines.size(), 1u);
    EXPECT_EQ(device.lines[0].points.front(), (Point{4, EventRowY(view->Plot(), c) - 6}));
    session.options.eventChannelMode = maxEventChannels;
    Draw();
    EXPECT_TRUE(device.Wrote("2: spikes"));
    // A channel without events has a row while events are inserted into it.
    view->m_nMouseEventChan = 7;
    view->SetMouseMode(mouseInsertFirst);
    Draw();
    EXPECT_TRUE(device.Wrote("7"));
}

TEST_F(EventRowsTest, SenselessEventsAndWindowsDrawSafely) {
    Open();
    for (const CEventKM& event : {CEventKM{INT32_MIN, INT32_MAX}, CEventKM{1200, 1100},
                                  CEventKM{INT32_MAX, INT32_MIN}, CEventKM{-1, -1}})
        Chan().AppendLoaded(event);
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
