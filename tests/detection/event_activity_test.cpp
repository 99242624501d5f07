// The most and the least active stretch of a trace, worked out by hand.

#include "detection/event_activity.h"

#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class EventActivityTest : public ViewTest {
  protected:
    void Use(std::unique_ptr<MemoryDoc> made) {
        doc = std::move(made);
        doc->filePath = "/data/cell.kymr-dat";
        operation.CheckChangeDoc(doc.get());
        operation.m_nDestination = 1;
        operation.m_dTimeWindow = 5.0;
    }
    CEventChan& Channel() { return doc->eventChannels[1]; }
    // "Min 3, Max 10": labels and onsets.
    std::string Found() {
        std::string text;
        for (const CEventKM& event : Channel().Events()) {
            text += (text.empty() ? "" : ", ") + std::string(event.eventLabel.View()) + " " +
                    std::to_string(event.onPosition);
            EXPECT_EQ(event.offPosition - event.onPosition, 5);
            EXPECT_EQ(event.eventTag, 1);
            EXPECT_EQ(event.eventValue, 0.0f);
        }
        return text;
    }

    std::unique_ptr<MemoryDoc> doc;
    CEventActivity operation;
};

TEST_F(EventActivityTest, MarksTheExtremesOfTheMeasure) {
    // Deviations are greatest over 5 .. 9, sums over 10 .. 14; nothing happens over 15 .. 19.
    Use(MemoryDoc::Make(session,
                        {{0, 1, 0, 1, 0, 9, -9, 9, -9, 9, 6, 7, 6, 7, 6, 1, 1, 1, 1, 1, 0, 2, 0, 2, 0}}));
    struct Case {
        int32_t kind, measure;
        const char* found;
    };
    for (const Case& one :
         {Case{CEventActivity::highAndLow, CEventActivity::squaredDeviations, "Max 5, Min 15"},
          {CEventActivity::high, CEventActivity::squaredDeviations, "Max 5"},
          {CEventActivity::low, CEventActivity::squaredDeviations, "Min 15"},
          {CEventActivity::highAndLow, CEventActivity::sumOfValues, "Min 4, Max 9"}}) {
        operation.m_nKind = one.kind;
        operation.m_nMeasure = one.measure;
        ASSERT_TRUE(operation.Run());
        EXPECT_EQ(Found(), one.found);
    }
    EXPECT_EQ(Channel().detectionMethod, methodActivityLevel);
    std::string report;
    operation.GetParamText(report);
    EXPECT_NE(report.find("Activity type: High + Low\r\n"), std::string::npos);
    EXPECT_NE(report.find("Time window = 5.000000\r\n"), std::string::npos);
}

TEST_F(EventActivityTest, EqualWindowsAreTheFirstAndNoneSpansAGap) {
    Use(MemoryDoc::Make(session, {std::vector<float>(50, 3.0f)}));
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), "Min 0, Max 0");
    // A jump across the gap, and one beside a sample that is no number, would be the most active ones.
    std::vector<float> stored;
    for (int i = 0; i < 40; ++i)
        stored.push_back(i == 10 ? nan32 : i < 10 ? -90.0f : i < 20 ? 90.0f : static_cast<float>(i));
    Use(MemoryDoc::MakeWithRuns(session, {stored}, {{20, 30, 20}}));
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), "Min 0, Max 50");
}

TEST_F(EventActivityTest, WindowsThatDoNotFitLeaveTheChannelAlone) {
    Use(MemoryDoc::MakeWithRuns(session, {std::vector<float>(40, 1.0f)}, {{20, 30, 20}}));
    Channel().AddEvent(1, 2);
    struct Case {
        double window;
        std::string words;
    };
    for (const Case& one :
         {Case{4.4, "/data/cell.kymr-dat\r\n\tActivity level: Time window contains fewer than 5 "
                    "samples. Abandoned analysis.\r\n"},
          {70.6, longActivityWindowText},
          {21.0, noActivityWindowText}}) {
        operation.m_dTimeWindow = one.window;
        EXPECT_FALSE(operation.Run());
        EXPECT_EQ(host.messages.back().text, one.words);
        EXPECT_EQ(Channel().GetNumEvents(), 1);
    }
    operation.m_dTimeWindow = 20.0;
    EXPECT_TRUE(operation.Run());
}

TEST_F(EventActivityTest, CanBeCancelled) {
    Use(MemoryDoc::Generate(session, 1, 5000, [](int, int64_t i) { return static_cast<float>(i % 7); }));
    host.cancelAtCall = 2;
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(host.progress.back().label, "Searching for max and/or min active regions");
    EXPECT_EQ(Channel().GetNumEvents(), 0);
}

}  // namespace
}  // namespace kymora::test
