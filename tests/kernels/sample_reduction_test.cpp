#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "kernels/sample_reduction.h"

namespace kymora {
namespace {

constexpr float infinite = std::numeric_limits<float>::infinity();
const float none = std::numeric_limits<float>::quiet_NaN();

struct Reduced {
    std::vector<uint32_t> runs;
    std::vector<float> values;
};

// Group by group over all samples, as the operation is told in words.
Reduced InWords(const std::vector<float>& values, const std::vector<uint8_t>& valid,
                const ReduceSettings& its) {
    const auto size = static_cast<size_t>(its.Group());
    size_t groups = values.size() / static_cast<size_t>(its.factor);
    if (its.mode == ReduceMode::extremes) groups /= 2;
    Reduced made{{0}, {}};
    bool state = true;
    for (size_t g = 0; g < groups; ++g) {
        const size_t at = g * size;
        if ((valid[at] != 0) != state) {
            state = !state;
            made.runs.push_back(0);
        }
        made.runs.back() += its.mode == ReduceMode::extremes ? 2 : 1;
        if (!state) continue;
        double sum = 0.0, count = 0.0;
        float most = -infinite, least = infinite;
        for (size_t i = at; i < at + size; ++i) {
            if (valid[i] == 0) continue;
            sum += static_cast<double>(values[i]);
            count += 1.0;
            most = std::max(most, values[i]);
            least = std::min(least, values[i]);
        }
        if (its.mode == ReduceMode::average) made.values.push_back(static_cast<float>(sum / count));
        if (its.mode == ReduceMode::skip) made.values.push_back(values[at]);
        if (its.mode == ReduceMode::extremes) {
            made.values.push_back(most);
            made.values.push_back(least);
        }
    }
    return made;
}

TEST(SampleReduction, FollowsTheWordsForAnyRuns) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::vector<uint32_t> runs;
        std::vector<uint8_t> valid;
        for (unsigned i = 0, count = 1 + random() % 8; i < count; ++i) {
            runs.push_back(random() % 4 == 0 ? 0 : random() % 13);
            valid.insert(valid.end(), runs.back(), i % 2 == 0);
        }
        std::vector<float> values;
        for (size_t i = 0; i < valid.size(); ++i)
            values.push_back(static_cast<float>(random() % 1000) / 7.0f);
        const ReduceSettings its{1 + static_cast<int32_t>(random() % 6),
                                 static_cast<ReduceMode>(random() % 3)};
        SCOPED_TRACE(testing::Message() << "round " << round << ", factor " << its.factor << ", mode "
                                        << static_cast<int>(its.mode));
        const Reduced expected = InWords(values, valid, its);
        const RunList reduced = ReducedRuns(RunList(runs), its);
        ASSERT_EQ(std::vector<uint32_t>(reduced.Runs().begin(), reduced.Runs().end()), expected.runs);

        std::vector<float> made;
        const auto size = static_cast<size_t>(its.Group());
        for (int64_t g = 0; g < its.Groups(static_cast<int64_t>(values.size())); ++g) {
            const size_t at = static_cast<size_t>(g) * size;
            if (valid[at] == 0) continue;
            float results[2];
            ReduceGroups(std::span(values).subspan(at, size), std::span(valid).subspan(at, size), its,
                         results);
            made.insert(made.end(), results, results + its.Results());
        }
        ASSERT_EQ(made, expected.values);
    }
}

TEST(SampleReduction, ExtremesPassOverWhatIsNoNumber) {
    const struct {
        std::vector<float> group;
        float most, least;
    } cases[] = {
        {{none, 3.0f, 1.0f, 2.0f}, 3.0f, 1.0f},
        {{5.0f, none, none, none}, 5.0f, 5.0f},
        {{none, none, none, none}, none, none},
        {{-infinite, -infinite, none, -infinite}, -infinite, -infinite},
        {{infinite, 1.0f, -infinite, 0.0f}, infinite, -infinite},
    };
    for (const auto& [group, most, least] : cases) {
        float made[2];
        ReduceGroups(group, {}, {2, ReduceMode::extremes}, made);
        EXPECT_TRUE(made[0] == most || (made[0] != made[0] && most != most)) << made[0];
        EXPECT_TRUE(made[1] == least || (made[1] != made[1] && least != least)) << made[1];
    }
}

}  // namespace
}  // namespace kymora
