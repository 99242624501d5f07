#include "eventanalysis/event_analysis_fixture.h"
#include "eventanalysis/event_block.h"

namespace kymora {
namespace {

using EventBlock = test::EventAnalysisTest;

TEST_F(EventBlock, HoldsTheEventsThatBeginInEachBlock) {
    doc = test::MemoryDoc::MakeEmpty(session, 1000);
    Fill(0, {{0, 5}, {10, 50}, {19, 20}, {20, 25}, {40, 41}, {99, 120}, {100, 101}});
    Fill(1, {{15, 16}, {60, 61}});
    host.log.clear();
    const CEventBlock block = Block(0, 1, -1, {{10, 10}, {30, 0}, {40, 60}});
    EXPECT_EQ(host.log, std::vector<std::string>{"done CEventBlock::FillEvs()\n"});
    EXPECT_EQ(block.TotalSamples(), 70);
    ASSERT_EQ(block.GetNumBlocks(), 3);
    // The block [10, 20) has the events of index 1 and 2, the empty one none, [40, 100) those of 4 and 5.
    EXPECT_EQ(block.Records()[0].channel1, (EventRange{1, 2, 2}));
    EXPECT_EQ(block.Records()[1].channel1.Count(), 0);
    EXPECT_EQ(block.Records()[2].channel1, (EventRange{4, 5, 4}));
    EXPECT_EQ(block.Records()[0].channel2, (EventRange{0, 0, 1}));
    EXPECT_EQ(block.Records()[2].channel2, (EventRange{1, 1, 2}));
    EXPECT_EQ(block.GetTotalEvents(), 4);
    EXPECT_EQ(std::pair(block.GetOn(0, 1), block.GetOff(2, 1)), std::pair(19, 120));
    EXPECT_EQ(std::pair(block.GetOn2(2, 0), block.GetOff2(0, 0)), std::pair(60, 16));
    EXPECT_EQ(std::pair(block.GetBlockStart(2), block.GetBlockLength(2)), std::pair(40, 60));
    EXPECT_EQ(block.GetIndex(2, 0), 4);
    // What is not there.
    EXPECT_EQ(block.GetOn(0, 2), -1);
    EXPECT_EQ(block.GetOn(0, -1), -1);
    EXPECT_EQ(block.GetIndex(3, 0), -1);
    EXPECT_EQ(block.GetBlockStart(-1), -1);
    EXPECT_EQ(block.GetNumEvents(7), 0);
}

TEST_F(EventBlock, AnEventBelongsToTheFirstOfOverlappingBlocks) {
    doc = test::MemoryDoc::MakeEmpty(session, 1000);
    Fill(0, {{5, 6}, {15, 16}, {25, 26}});
    const CEventBlock block = Block(0, -1, -1, {{0, 20}, {10, 20}, {0, 40}});
    EXPECT_EQ(block.GetNumEvents(0), 2);
    EXPECT_EQ(block.GetNumEvents(1), 1);
    EXPECT_EQ(block.GetOn(1, 0), 25);
    EXPECT_EQ(block.GetNumEvents(2), 0);
    EXPECT_EQ(block.Records()[2].channel1.running, 3);
}

TEST_F(EventBlock, AChannelOutOfOrderIsSeenByOnset) {
    doc = test::MemoryDoc::MakeEmpty(session, 1000);
    for (const int32_t on : {30, 10, -1, 20, 10}) Channel(0).AppendLoaded({on, on + 1});
    ASSERT_FALSE(Channel(0).IsInOrder());
    const CEventBlock block = Block(0, 0, -1, {{0, 15}, {15, 985}});
    ASSERT_EQ(block.GetNumEvents(0), 2);  // the event without a position lies in no block
    EXPECT_EQ(block.GetIndex(0, 0), 1);   // equal onsets stay in the channel's order
    EXPECT_EQ(block.GetIndex(0, 1), 4);
    ASSERT_EQ(block.GetNumEvents(1), 2);
    EXPECT_EQ(block.GetOn(1, 0), 20);
    EXPECT_EQ(block.GetIndex(1, 1), 0);
    EXPECT_EQ(block.GetOn2(1, 1), 30);
}

TEST_F(EventBlock, MissingChannelsAndChangedOnesHaveNoEvents) {
    doc = test::MemoryDoc::MakeEmpty(session, 1000);
    Fill(0, {{5, 6}, {15, 16}});
    CEventBlock block = Block(0, 999, -1, {{-500, 500}, {0, 1000}});
    EXPECT_EQ(block.GetNumEvents2(1), 0);
    EXPECT_EQ(block.GetNumEvents(1), 2);
    Channel(0).DeleteEvent(1);
    EXPECT_EQ(block.GetNumEvents(1), 0);
    EXPECT_EQ(block.GetOn(1, 0), -1);
    block.FillEvs();
    EXPECT_EQ(block.GetNumEvents(1), 1);
    block.ClearBlocks();
    block.AddBlock(10, -4);
    EXPECT_EQ(block.GetBlockLength(0), 0);
    EXPECT_EQ(block.TotalSamples(), 0);
    EXPECT_EQ(block.GetNumEvents(0), 0);
    CEventBlock none;
    none.AddBlock(0, 10);
    none.FillEvs();
    EXPECT_EQ(none.GetTotalEvents(), 0);
}

}  // namespace
}  // namespace kymora
