#pragma once
// A view on a recording of 10,000 samples of 1 ms, with a sample on each of the 800 pixels from x = 70 on,
// and channel 'c' as a row at y = 210.

#include "display/events/event_editing.h"
#include "display/events/event_rows.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {

using Spans = std::vector<std::pair<int, int>>;

// A channel as it stands, to the last bit.
struct ChannelState {
    CEventChan settings;
    std::vector<CEventKM> events;
    std::vector<std::array<float, 3>> extra;
    bool operator==(const ChannelState& other) const {
        return settings.HasSameSettings(other.settings) && events == other.events && extra == other.extra;
    }
};

class EventViewTest : public ShownTest {
  protected:
    static constexpr int c = 2;
    static constexpr int rowY = 210;

    void Open(double start = 1000.0, double end = 1800.0, int64_t length = 10000) {
        Show(Ramp(1, length), Viewport{start, end});
        Chan().SetDisplayPosition(0.5);  // 10 + 400 / 2
        view->m_nMouseEventChan = c;
    }

    CEventChan& Chan(int channel = c) { return doc->eventChannels[static_cast<size_t>(channel)]; }
    void Add(int on, int off, int tag = 0, const char* label = "", int channel = c) {
        doc->AddEvent(channel, {on, off, 0.0f, tag, 0, EventLabel(label)});
        doc->UpdateAllViews(UpdateHint::events);
    }
    Spans SpansOf(int channel = c) {
        Spans spans;
        for (const CEventKM& event : Chan(channel).Events())
            spans.emplace_back(event.onPosition, event.offPosition);
        return spans;
    }
    ChannelState State(int channel = c) {
        return {Chan(channel).WithoutEvents(), Chan(channel).Events(), Chan(channel).EventExtra()};
    }

    static int X(int sample) { return 70 + sample - 1000; }
    void Press(int sample, int y = rowY) { view->Mouse().Down({X(sample), y}); }
    void MoveTo(int sample, int y = rowY) { view->Mouse().Move({X(sample), y}); }
    void Release(int sample, int y = rowY) { view->Mouse().Up({X(sample), y}); }
    void Click(int sample, int y = rowY) { Press(sample, y), Release(sample, y); }
    void Drag(int from, int to, int y = rowY) {
        Press(from, y), MoveTo((from + to) / 2, y), MoveTo(to, y), Release(to, y);
    }
    // The last action changed the channel from `before`; it can be taken back and made again to the last bit.
    void ExpectUndone(const ChannelState& before, std::string_view name, int channel = c) {
        const ChannelState after = State(channel);
        EXPECT_FALSE(after == before);
        EXPECT_EQ(doc->Undo().UndoName(), name);
        EXPECT_TRUE(doc->IsModified());
        ASSERT_TRUE(doc->Undo().Undo());
        EXPECT_TRUE(State(channel) == before);
        ASSERT_TRUE(doc->Undo().Redo());
        EXPECT_TRUE(State(channel) == after);
    }
    // Nothing changed and nothing can be taken back.
    void ExpectUntouched(const ChannelState& before, int channel = c) {
        EXPECT_TRUE(State(channel) == before);
        EXPECT_FALSE(doc->Undo().CanUndo());
        EXPECT_FALSE(doc->IsModified());
    }
};

}  // namespace kymora::test
