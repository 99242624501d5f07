#include "templates/multi_trace_pattern.h"

#include "template_fixture.h"

namespace kymora::test {
namespace {

// The wave on trace 1, and upside down 12 samples later on trace 2: at 100 (where they are captured), at 300
// with 4 samples more between them, at 500 on trace 1 alone, at 700 as at first.
struct MultiTraceTest : TemplateTest {
    MultiTraceTest() {
        Samples one = Noise(1000, 1), two = Noise(1000, 2);
        for (const size_t at : {100u, 300u, 500u, 700u}) Put(one, at, Wave());
        for (const size_t at : {112u, 316u, 712u}) Put(two, at, Wave(-2.0f));
        doc = Named({one, two});
        doc->eventChannels[0].parentTrace = 0;
        doc->eventChannels[1].parentTrace = 1;
        doc->AddEvent(0, CEventKM{100, 121});
        doc->AddEvent(1, CEventKM{112, 133});
    }
    CMultiTracePatternRecognition& Attach(const std::map<std::string, std::string>& settings = {}) {
        block.CheckChangeDoc(doc.get());
        Set(block, {{"channels", "a b"}, {"destination", "c"}, {"allowedError", "12"}, {"slack", "1"}});
        Set(block, settings);
        return block;
    }
    std::unique_ptr<MemoryDoc> doc;
    CMultiTracePatternRecognition block;
};

TEST_F(MultiTraceTest, MakesAnEventWhereAllMatchWithinTheSlack) {
    struct Case {
        const char* slack;
        std::vector<int32_t> onsets;
    };
    // 4 samples are 2 ms.
    const Case cases[] = {{"0", {100, 700}}, {"1.5", {100, 700}}, {"2", {100, 300, 700}}};
    for (const Case& c : cases) {
        ASSERT_TRUE(Attach({{"slack", c.slack}}).Run()) << host.LastMessage();
        EXPECT_EQ(Onsets(*doc, 2), c.onsets) << c.slack;
        EXPECT_EQ(doc->GetParentTrace(2), -1);
        EXPECT_EQ(doc->eventChannels[2].detectionMethod, 16);
        EXPECT_EQ(block.RunSummary(), "of 4 matches to the primary template");
    }
    std::vector<double> lags;
    block.Results()[1].rows([&](std::span<const ResultValue> row) {
        lags.push_back(std::get<double>(row[3]));
        return true;
    });
    EXPECT_EQ(lags, (std::vector<double>{0, 2, 0}));
    // The other way round, the second trace is the primary one, and its places are the events.
    ASSERT_TRUE(
        Attach({{"channels", "b a"}, {"slack", "2"}, {"optimalScaleOffset", "1"}, {"goodnessOfFit", "20"}})
            .Run());
    EXPECT_EQ(Onsets(*doc, 2), (std::vector<int32_t>{112, 316, 712}));
    EXPECT_EQ(doc->eventChannels[2].detectionMethod, 17);
    for (const char* line : {"Template captured from event channels b a\r\n", "\tPrimary template: \tb\r\n",
                             "Search slack:\t2.000000\r\n", "Optimal scale/offset: \ttrue\r\n",
                             "Allowed error:\t12.000000\r\nGoodness-of-fit:\t20.000000\r\n"})
        EXPECT_NE(doc->historyLog.find(line), std::string::npos) << line;
}

// A match without its partner gives way to none: the better primary match has no partner and takes no part.
TEST_F(MultiTraceTest, WhatHasNoPartnerTakesNoPartInOverlaps) {
    Samples one(600), two(600);
    Put(one, 100, Wave());
    Put(one, 300, Wave(0.9f));
    Put(two, 112, Wave(-2.0f));
    Put(two, 312, Wave(-2.0f));
    // A better match of the primary template begins 15 samples before the end of the worse one.
    Put(one, 320, Wave());
    const auto made = Named({one, two});
    made->eventChannels[0].parentTrace = 0;
    made->eventChannels[1].parentTrace = 1;
    made->AddEvent(0, CEventKM{100, 121});
    made->AddEvent(1, CEventKM{112, 133});
    block.CheckChangeDoc(made.get());
    Set(block, {{"channels", "a b"}, {"destination", "c"}, {"allowedError", "30"}, {"slack", "0"}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(Onsets(*made, 2), (std::vector<int32_t>{100, 300}));
}

TEST_F(MultiTraceTest, AWindowThatLeavesTheDataFails) {
    Samples one = Noise(160), two = Noise(160, 4);
    Put(one, 30, Wave());
    Put(two, 42, Wave());
    Put(one, 130, Wave());
    Put(two, 139, Wave());  // ends with the data, one sample before 12 samples later would
    const auto made = Named({one, two});
    made->eventChannels[0].parentTrace = 0;
    made->eventChannels[1].parentTrace = 1;
    made->AddEvent(0, CEventKM{30, 51});
    made->AddEvent(1, CEventKM{42, 63});
    block.CheckChangeDoc(made.get());
    Set(block, {{"channels", "a b"}, {"destination", "c"}, {"allowedError", "15"}, {"slack", "1"}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(Onsets(*made, 2), (std::vector<int32_t>{30}));
    Set(block, {{"slack", "1.5"}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(Onsets(*made, 2), (std::vector<int32_t>{30, 130}));
}

TEST_F(MultiTraceTest, SaysWhyThereAreNoTemplates) {
    EXPECT_EQ(Refusal(Attach({{"channels", ""}})), "No event channels specified to define templates");
    EXPECT_EQ(Refusal(Attach({{"channels", "a d"}})),
              "All event channels specifying templates must have a parent trace. Channel d does not.");
    doc->eventChannels[3].parentTrace = 0;
    EXPECT_EQ(Refusal(Attach({{"channels", "a d"}})),
              "All event channels specifying templates must have at least one event. Channel d does not.");
    doc->AddEvent(3, CEventKM{50, 55});
    EXPECT_EQ(Refusal(Attach({{"channels", "a d"}})),
              "You need at least 5 data points in each template. Event 1 in channel d is shorter.");
    doc->AddEvent(3, CEventKM{4, 30});
    EXPECT_EQ(Refusal(Attach({{"channels", "a d"}})), "The templates must start at least 5.000000 ms after "
                                                      "the start of the record. Channel d starts earlier.");
    EXPECT_EQ(Refusal(Attach({{"channels", "a b"}, {"destination", "b"}})), channelIsSourceText);
    block.m_channels = {0, 0};
    block.m_nDestination = 2;
    EXPECT_EQ(Refusal(block), "Event channel a is named twice.");
}

}  // namespace
}  // namespace kymora::test
