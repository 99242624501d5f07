#include "display/events/event_hits.h"

#include <random>

#include "display/events/event_view_fixture.h"

namespace kymora::test {
namespace {

class EventHitsTest : public EventViewTest {
  protected:
    std::optional<EventHit> At(int sample, int y = rowY) { return EventAt(view->Plot(), X(sample), y); }
    EventHit Hit(int index, EventPart part, int channel = c) { return {channel, index, part}; }
};

TEST_F(EventHitsTest, EdgesReachTheMarginAndTheBodyLiesBetween) {
    Open();
    Add(1100, 1150);
    session.options.hitMargin = 3;
    EXPECT_FALSE(At(1096));
    EXPECT_EQ(At(1097), Hit(0, EventPart::onset));
    EXPECT_EQ(At(1103), Hit(0, EventPart::onset));
    EXPECT_EQ(At(1104), Hit(0, EventPart::body));
    EXPECT_EQ(At(1146), Hit(0, EventPart::body));
    EXPECT_EQ(At(1147), Hit(0, EventPart::offset));
    EXPECT_EQ(At(1153), Hit(0, EventPart::offset));
    EXPECT_FALSE(At(1154));
    // The row reaches 5 pixels, and the margin.
    EXPECT_TRUE(At(1120, rowY - 8));
    EXPECT_FALSE(At(1120, rowY - 9));
    session.options.hitMargin = 0;
    EXPECT_EQ(At(1100), Hit(0, EventPart::onset));
    EXPECT_EQ(At(1101), Hit(0, EventPart::body));
    EXPECT_FALSE(At(1151));
}

TEST_F(EventHitsTest, NearestEventCountsAndOfPointsTheLast) {
    Open();
    Add(1100, 1500);
    Add(1200, 1201);
    Add(1300, 1300);  // without a duration
    Add(1300, 1300);
    EXPECT_EQ(At(1250), Hit(0, EventPart::body));
    EXPECT_EQ(At(1202)->index, 1);
    EXPECT_EQ(At(1199), Hit(1, EventPart::onset));
    EXPECT_EQ(At(1300), Hit(3, EventPart::offset));
    EXPECT_EQ(At(1299), Hit(3, EventPart::onset));
    // Only the wide event can be stretched by a press in the normal mode.
    EXPECT_FALSE(WideEventEdgeAt(view->Plot(), X(1200), rowY));
    EXPECT_EQ(WideEventEdgeAt(view->Plot(), X(1498), rowY), Hit(0, EventPart::offset));
}

TEST_F(EventHitsTest, RowsInOnePlaceAreReachedBySelecting) {
    Open();
    Add(1100, 1150);
    Add(1100, 1150, 0, "", 4);
    Chan(4).SetDisplayPosition(0.5);
    EXPECT_EQ(At(1120)->channel, c);
    view->m_nMouseEventChan = 4;
    EXPECT_EQ(At(1120)->channel, 4);
    view->m_nMouseEventChan = 0;  // neither: the one on top
    EXPECT_EQ(At(1120)->channel, 4);
    Chan(4).channelVisible = 0;
    EXPECT_EQ(At(1120)->channel, c);
    view->m_bShowEvents = false;
    EXPECT_FALSE(At(1120));
}

TEST_F(EventHitsTest, NothingLiesOutsideThePlot) {
    Open(0.0, 800.0);
    Add(0, 100);
    Chan().SetDisplayPosition(0.01);
    EXPECT_TRUE(EventAt(view->Plot(), 75, 14));
    EXPECT_FALSE(EventAt(view->Plot(), 69, 14));
    EXPECT_FALSE(EventAt(view->Plot(), 75, 9));
    view->OnSize(40, 30);  // no plot at all
    EXPECT_FALSE(EventAt(view->Plot(), 10, 10));
}

// The plain rule: every event is looked at.
std::vector<int> Plain(const CEventChan& chan, int64_t from, int64_t to) {
    std::vector<int> found;
    for (int i = 0; i < chan.GetNumEvents(); ++i) {
        const CEventKM& event = chan.Events()[static_cast<size_t>(i)];
        const int64_t end = std::max<int64_t>(event.offPosition, int64_t{event.onPosition} + 1);
        if (event.onPosition < to && end > from) found.push_back(i);
    }
    return found;
}

TEST_F(EventHitsTest, StretchesFindWhatAScanFindsAmongAMillion) {
    Open(0.0, 10000.0, 20000000);
    std::mt19937 random(5);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int i = 0; i < 1000000; ++i) {
        const int on = 19 * i + below(9);
        Chan().AddEvent(on, on + (i % 99999 == 7 ? below(5000000) : below(40) - 5));
    }
    doc->UpdateAllViews(UpdateHint::events);
    for (int round = 0; round < 30; ++round) {
        const int from = below(19000000);
        const int to = from + 1 + below(round < 15 ? 300 : 3000000);
        const auto expected = Plain(Chan(), from, to);
        EXPECT_EQ(EventsTouching(view->Plot(), c, {from, to}), expected);
        const EventSummary& summary = view->Plot().drawn.eventRows.SummaryOf(Chan(), c);
        size_t first = 0;
        while (first < 1000000 && Chan().Events()[first].onPosition < from) ++first;
        EXPECT_EQ(summary.FirstFrom(from), first);
        EXPECT_EQ(summary.FirstFrom(from, first + 1), first);
        EXPECT_EQ(summary.FirstFrom(from, first / 2), first / 2);
        const size_t end = std::min<size_t>(1000000, first + 1 + static_cast<size_t>(below(5000)));
        const auto farthest =
            std::max_element(Chan().Events().begin() + static_cast<long>(first),
                             Chan().Events().begin() + static_cast<long>(end),
                             [](const auto& a, const auto& b) { return ReachOf(a) < ReachOf(b); });
        EXPECT_EQ(ReachOf(Chan().Events()[summary.Farthest(first, end)]), ReachOf(*farthest));
    }
}

TEST_F(EventHitsTest, DisorderedEventsAreFoundWhereTheyLie) {
    Open();
    for (const int on : {1700, 1100, 1500, -20, 1300, 20000}) Chan().AppendLoaded({on, on + 10});
    Chan().AppendLoaded({1600, 1500});  // ends before it starts
    doc->UpdateAllViews(UpdateHint::events);
    EXPECT_EQ(EventsTouching(view->Plot(), c, {1100, 1501}), (std::vector<int>{1, 2, 4}));
    EXPECT_EQ(EventsTouching(view->Plot(), c, {-15, 0}), (std::vector<int>{3}));
    EXPECT_EQ(EventsTouching(view->Plot(), c, {1600, 1601}), (std::vector<int>{6}));
    EXPECT_EQ(At(1505), Hit(2, EventPart::body));
}

TEST_F(EventHitsTest, SamplesAreHeldToTheRecording) {
    Open(9500.0, 10300.0);
    EXPECT_EQ(SampleAt(view->Plot(), 70), 9500);
    EXPECT_EQ(SampleAt(view->Plot(), 700), 10000);  // behind the last sample
    EXPECT_EQ(StretchBetween(view->Plot(), 100, 90), (RowStretch{9520, 9530}));
    EXPECT_EQ(StretchBetween(view->Plot(), 90, 90), (RowStretch{9520, 9521}));
}

}  // namespace
}  // namespace kymora::test
