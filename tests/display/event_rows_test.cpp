#include "display/event_rows.h"

#include "support/recording_device.h"
#include "support/view_fixture.h"

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
        DrawEventRows(*view, device);
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
    view->ToggleSwitch(&ViewSettings::m_bShowEventLabels, "Event labels");
    view->ToggleSwitch(&ViewSettings::m_bShowEventChanLabels, "Event chan labels");
    Draw();
    EXPECT_TRUE(device.texts.empty());
    doc->eventChannels[2].channelVisible = 0;
    Draw();
    EXPECT_TRUE(device.rects.empty());
}

}  // namespace
}  // namespace kymora::test
