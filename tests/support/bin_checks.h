#pragma once
// Comparing bins, and recordings of noise with gaps and not-a-numbers.

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "summaries/bins.h"
#include "support/memory_doc.h"

namespace kymora::test {

inline bool SameValue(float a, float b) { return a == b || (a != a && b != b); }

inline void ExpectSameBins(const Bins& got, const Bins& wanted, const std::string& what) {
    ASSERT_EQ(got.min.size(), wanted.min.size()) << what;
    ASSERT_EQ(got.active.size(), wanted.active.size()) << what;
    for (size_t t = 0; t < wanted.min.size(); ++t)
        for (size_t b = 0; b < binCount; ++b) {
            ASSERT_TRUE(SameValue(got.min[t][b], wanted.min[t][b]))
                << what << ", trace " << t << " bin " << b;
            ASSERT_TRUE(SameValue(got.max[t][b], wanted.max[t][b]))
                << what << ", trace " << t << " bin " << b;
            if (wanted.active.empty()) continue;
            ASSERT_EQ(got.active[t][b], wanted.active[t][b]) << what << ", trace " << t << " bin " << b;
        }
}

struct NoiseRecipe {
    int traces = 3;
    int64_t length = 300000;
    bool gaps = false;         // each trace with its own
    double notANumbers = 0.0;  // chance of each sample but those of trace 0
    int endsOfTrace0 = 0;      // not-a-numbers in trace 0
};

// A random walk, so that neighbouring blocks differ.
inline std::unique_ptr<MemoryDoc> MakeNoise(Session& session, const NoiseRecipe& recipe,
                                            std::mt19937& random) {
    std::vector<std::vector<float>> stored;
    std::vector<std::vector<uint32_t>> runs;
    for (int t = 0; t < recipe.traces; ++t) {
        std::vector<uint32_t> list{static_cast<uint32_t>(recipe.length)};
        if (recipe.gaps) {
            list.clear();
            int64_t left = recipe.length;
            while (left > 0) {
                // Short and long runs of both kinds, now and then none at all.
                const int64_t most = random() % 3 == 0 ? 60000 : random() % 2 == 0 ? 3000 : 40;
                const auto run =
                    static_cast<uint32_t>(std::min<int64_t>(left, static_cast<int64_t>(random()) % most));
                list.push_back(run);
                left -= run;
            }
        }
        int64_t count = 0;
        for (size_t i = 0; i < list.size(); i += 2) count += list[i];
        std::vector<float> samples(static_cast<size_t>(count));
        float value = 0.0f;
        for (float& sample : samples) {
            value += static_cast<float>(static_cast<int>(random() % 2001) - 1000) * 0.01f;
            sample = value;
            if (t > 0 && static_cast<double>(random()) < recipe.notANumbers * 4294967295.0)
                sample = random() % 8 == 0 ? std::numeric_limits<float>::infinity()
                                           : std::numeric_limits<float>::quiet_NaN();
        }
        for (int i = 0; t == 0 && i < recipe.endsOfTrace0 && count > 0; ++i)
            samples[random() % samples.size()] = std::numeric_limits<float>::quiet_NaN();
        stored.push_back(std::move(samples));
        runs.push_back(std::move(list));
    }
    return MemoryDoc::MakeWithRuns(session, std::move(stored), std::move(runs));
}

}  // namespace kymora::test
