#pragma once
// Folds of a recording, held against the values that it reads.

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <random>
#include <vector>

#include "document/data_doc.h"

namespace kymora::test {

inline void CompareFold(CDataDoc& doc, int64_t from, int64_t count, FoldSlots slots) {
    const auto traces = static_cast<size_t>(doc.traceCount);
    const auto used = static_cast<size_t>((slots.into + count - 1) / slots.length + 1);
    std::vector<std::vector<float>> low(traces, std::vector<float>(used, FLT_MAX)), high = low;
    for (auto& row : high) row.assign(used, -FLT_MAX);
    std::vector<std::vector<uint8_t>> active(traces, std::vector<uint8_t>(used, 0));
    std::vector<TraceFold> folds(traces);
    for (size_t t = 0; t < traces; ++t) folds[t] = {static_cast<int>(t), low[t], high[t], active[t]};
    ASSERT_TRUE(doc.FoldBlocks(from, count, slots, folds));
    std::vector<float> values(static_cast<size_t>(count));
    std::vector<uint8_t> valid(values.size());
    for (size_t t = 0; t < traces; ++t) {
        std::vector<float> plainLow(used, FLT_MAX), plainHigh(used, -FLT_MAX);
        std::vector<uint8_t> plainActive(used, 0);
        doc.ReadBlock(static_cast<int>(t), from, values, valid);
        for (size_t i = 0; i < values.size(); ++i) {
            if (!valid[i]) continue;
            const auto slot = static_cast<size_t>((slots.into + static_cast<int64_t>(i)) / slots.length);
            plainLow[slot] = std::min(plainLow[slot], values[i]);
            plainHigh[slot] = std::max(plainHigh[slot], values[i]);
            plainActive[slot] = 1;
        }
        ASSERT_EQ(low[t], plainLow) << "trace " << t << " from " << from << " count " << count;
        ASSERT_EQ(high[t], plainHigh) << "trace " << t << " from " << from << " count " << count;
        ASSERT_EQ(active[t], plainActive) << "trace " << t << " from " << from << " count " << count;
    }
}

// Compares random stretches and slots.
inline void ExpectFolds(CDataDoc& doc, int rounds) {
    std::mt19937 random(11);
    for (int round = 0; round < rounds; ++round) {
        const int64_t from = static_cast<int64_t>(random()) % doc.GetLength();
        const int64_t count = 1 + static_cast<int64_t>(random()) % (doc.GetLength() - from);
        const int64_t length = 1 + static_cast<int64_t>(random()) % (round % 2 == 0 ? 10 : 3000);
        CompareFold(doc, from, count, {static_cast<int64_t>(random()) % length, length});
        if (::testing::Test::HasFatalFailure()) return;
    }
}

}  // namespace kymora::test
