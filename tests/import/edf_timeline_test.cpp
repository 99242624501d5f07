#include "import/edf_timeline.h"

#include <gtest/gtest.h>

#include "document/data_doc.h"

namespace kymora::test {
namespace {

using Runs = std::vector<uint32_t>;

// Records of 10 samples in 1 s.
EdfTimeline Seconds(std::initializer_list<std::optional<double>> starts, int64_t mostGaps = 100) {
    EdfTimeline timeline(10, 1.0, 100.0, mostGaps);
    for (const auto start : starts) timeline.AddRecord(start);
    return timeline;
}

TEST(EdfTimeline, GapsLieBetweenRecords) {
    const EdfTimeline timeline = Seconds({0.0, 1.0, 4.0, 5.0, 5.96 + 1.0});
    EXPECT_EQ(timeline.Runs(), (Runs{20, 20, 20, 10, 10}));
    EXPECT_EQ(timeline.RunEndRecords(), (std::vector<int64_t>{2, 4, 5}));
    EXPECT_EQ(timeline.Overlaps(), 0);
    // The first record stands at 0, whenever it started.
    EXPECT_EQ(Seconds({0.4, 2.4}).Runs(), (Runs{10, 10, 10}));
}

TEST(EdfTimeline, UnknownStartsFollowOn) {
    const EdfTimeline timeline = Seconds({std::nullopt, 2.0, std::nullopt, 5.0});
    EXPECT_EQ(timeline.Runs(), (Runs{10, 10, 20, 10, 10}));
    EXPECT_EQ(timeline.Unknown(), 2);
}

TEST(EdfTimeline, OverlapsMakeNoGapAndNoDrift) {
    const EdfTimeline overlap = Seconds({0.0, 0.5, 2.0, 3.0});
    EXPECT_EQ(overlap.Runs(), (Runs{40}));
    EXPECT_EQ(overlap.Overlaps(), 1);
    // After the clock was set back the gaps count from there.
    const EdfTimeline back = Seconds({100.0, 101.0, 0.0, 1.0, 4.0});
    EXPECT_EQ(back.Runs(), (Runs{40, 20, 10}));
    EXPECT_EQ(back.Overlaps(), 1);

    // Thirds of a second written with two digits, 10 kHz: no start is ever a sample from its place.
    EdfTimeline thirds(3333, 0.3333, 0.1, 10000);
    for (int i = 0; i < 3000; ++i) thirds.AddRecord(static_cast<int>(i * 33.33) / 100.0);
    EXPECT_NEAR(static_cast<double>(RunList(thirds.Runs()).Length()), 3000 * 3333.0, 200.0);
}

TEST(EdfTimeline, HoldsToTheLongestRecordingAndTheMostGaps) {
    EdfTimeline timeline(1 << 30, 1.0, 1000.0 / (1 << 30), 100);
    timeline.AddContiguous(3);
    EXPECT_TRUE(timeline.IsTooLong());
    EXPECT_EQ(timeline.Runs(), (Runs{0x7FFFFFFF}));

    const EdfTimeline far = Seconds({0.0, 1e300});
    EXPECT_TRUE(far.IsTooLong());
    EXPECT_EQ(far.Runs(), (Runs{10}));

    EXPECT_FALSE(Seconds({0.0, 2.0, 4.0}, 2).HasTooManyGaps());
    EXPECT_TRUE(Seconds({0.0, 2.0, 4.0}, 1).HasTooManyGaps());
}

}  // namespace
}  // namespace kymora::test
