#pragma once
// A recording with a few event channels, and blocks over it.

#include <initializer_list>
#include <utility>

#include "eventanalysis/event_parameters.h"
#include "support/session_fixture.h"

namespace kymora::test {

struct EventAnalysisTest : SessionTest {
    using Spans = std::vector<std::pair<int32_t, int32_t>>;

    std::unique_ptr<MemoryDoc> doc;

    CEventChan& Channel(int channel) { return doc->eventChannels[static_cast<size_t>(channel)]; }

    void Fill(int channel, const Spans& events) {
        Channel(channel).Clear();
        for (const auto& [on, off] : events) Channel(channel).AddEvent(on, off);
    }

    // A filled block over (first, length) pairs; the whole recording where there are none.
    CEventBlock Block(int channel1, int channel2 = -1, int trace = -1, const Spans& stretches = {}) {
        CEventBlock block(*doc, channel1, channel2, trace);
        if (stretches.empty()) block.AddBlock(0, static_cast<int32_t>(doc->GetLength()));
        for (const auto& [first, length] : stretches) block.AddBlock(first, length);
        block.FillEvs();
        return block;
    }

    std::vector<float> Values(EvParam param, const CEventBlock& block) {
        std::vector<float> values;
        CollateEventData(*doc, param, block, values);
        return values;
    }
};

inline constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// Equal, where a not-a-number equals another one.
inline void ExpectValues(const std::vector<float>& found, const std::vector<float>& expected,
                         const char* what = "") {
    ASSERT_EQ(found.size(), expected.size()) << what;
    for (size_t i = 0; i < found.size(); ++i) {
        if (expected[i] != expected[i])
            EXPECT_TRUE(found[i] != found[i]) << what << " value " << i << " is " << found[i];
        else
            EXPECT_FLOAT_EQ(found[i], expected[i]) << what << " value " << i;
    }
}

}  // namespace kymora::test
