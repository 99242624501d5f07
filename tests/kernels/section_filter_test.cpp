// Runs through second-order sections: the plain recursion over a run that was reflected by hand, both forms,
// and what filtering both ways keeps.

#include "kernels/section_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>

#include "host/memory_file_system.h"
#include "kernels/memory_scratch.h"
#include "kernels/smooth_fixture.h"
#include "kernels/temporary_scratch.h"
#include "support/test_host.h"

namespace kymora {
namespace {

SectionFilterSettings LowPass(bool isBidirectional, double upper = 0.02) {
    return {DesignSections(SectionDesign::butterworth, SectionBand::lowPass, 4, 0.0, upper), isBidirectional};
}

std::vector<float> Filtered(const std::vector<float>& run, const SectionFilterSettings& settings) {
    return InMemory(run, [&](auto in, auto out) { return FilterSections(in, settings, out); }).values;
}

std::vector<float> OneWayFrom(const std::vector<double>& run, const SectionFilterSettings& settings) {
    SectionCascade cascade(settings.sections);
    if (!run.empty()) cascade.Settle(run.front());
    std::vector<float> output;
    for (const double value : run) output.push_back(static_cast<float>(cascade.Next(value)));
    return output;
}

// With all that is reflected written out.
std::vector<float> BothWaysByHand(const std::vector<float>& run, const SectionFilterSettings& settings) {
    if (run.empty()) return {};
    const auto n = static_cast<int64_t>(run.size());
    const int64_t pad = std::min(n - 1, RingingSamples(settings.sections, 1 << 20));
    std::vector<double> extended;
    const auto at = [&](int64_t i) { return run[static_cast<size_t>(i)]; };
    for (int64_t k = pad; k > 0; --k) extended.push_back(2.0 * at(0) - at(k));
    extended.insert(extended.end(), run.begin(), run.end());
    for (int64_t k = 1; k <= pad; ++k) extended.push_back(2.0 * at(n - 1) - at(n - 1 - k));
    std::vector<float> forward = OneWayFrom(extended, settings);
    std::vector<float> back = OneWayFrom({forward.rbegin(), forward.rend() - pad}, settings);
    back.erase(back.begin(), back.begin() + pad);
    std::ranges::reverse(back);
    return back;
}

TEST(SectionFilter, BothFormsAreThePlainRecursion) {
    const SectionFilterSettings cases[] = {
        LowPass(false),     LowPass(true),
        LowPass(true, 0.3), {{NotchSection(0.05, 0.002), NotchSection(0.1, 0.002)}, true},
        {{}, true},         {{}, false}};
    for (const SectionFilterSettings& settings : cases)
        for (const size_t n : runLengths) {
            const std::vector<float> run = NoiseRun(n);
            const std::vector<float> expected = settings.isBidirectional
                                                    ? BothWaysByHand(run, settings)
                                                    : OneWayFrom({run.begin(), run.end()}, settings);
            CountingRoom room;
            EXPECT_TRUE(AreSame(Filtered(run, settings), expected)) << n;
            const auto streamed = Streamed(run, [&](auto& source, int64_t count, auto& sink) {
                return FilterSections(source, count, settings, sink, room);
            });
            EXPECT_TRUE(AreSame(streamed.values, expected)) << n;
            EXPECT_EQ(room.alive, 0);
            EXPECT_TRUE(!settings.sections.empty() || AreSame(expected, run));
        }
}

TEST(SectionFilter, BothWaysShiftNothingAndKeepLevelsAndSlopes) {
    constexpr size_t n = 3000;
    std::vector<float> level(n, -70.0f), slope, sine;
    for (size_t i = 0; i < n; ++i) {
        slope.push_back(static_cast<float>(i) / 10.0f);
        sine.push_back(static_cast<float>(std::sin(2.0 * std::numbers::pi * 0.005 * double(i))));
    }
    for (const bool isBidirectional : {false, true})
        for (const float value : Filtered(level, LowPass(isBidirectional))) EXPECT_NEAR(value, -70.0, 1e-4);
    const std::vector<float> straight = Filtered(slope, LowPass(true));
    for (size_t i = 0; i < n; ++i) EXPECT_NEAR(straight[i], slope[i], 0.02) << i;
    const std::vector<float> same = Filtered(sine, LowPass(true));
    for (size_t i = 500; i + 500 < n; ++i) EXPECT_NEAR(same[i], sine[i], 1e-3) << i;
    EXPECT_GT(std::fabs(Filtered(sine, LowPass(false))[1050] - sine[1050]), 0.1) << "one way it lags";
}

TEST(SectionFilter, TellsWhatIsSpoiltToTheEnd) {
    std::vector<float> run = NoiseRun(9000);
    run[4000] = notANumber;
    const auto made =
        InMemory(run, [&](auto in, auto out) { return FilterSections(in, LowPass(false), out); });
    EXPECT_STRNE(made.outcome.note, "");
    EXPECT_FALSE(std::isnan(made.values[3999]));
    EXPECT_TRUE(std::isnan(made.values[8999]));
    const auto stop = [](int64_t done) { return done < 5000; };
    std::vector<float> output(run.size());
    EXPECT_ANY_THROW(FilterSections(run, LowPass(true), output, stop));
}

// A scratch run is read from its end in whatever pieces, also more than once.
TEST(Scratch, IsReadBackwards) {
    test::TestHost host;
    MemoryFileSystem files;
    TemporaryScratch onDisk(files, host, "/");
    MemoryScratch inMemory;
    for (ScratchRoom* room : {static_cast<ScratchRoom*>(&onDisk), static_cast<ScratchRoom*>(&inMemory)}) {
        const auto run = room->Make();
        run->Sink().Write(std::vector<float>{1, 2, 3});
        run->Sink().Write(std::vector<float>{4, 5});
        for (int times = 0; times < 2; ++times) {
            const auto source = run->Backwards();
            std::vector<float> part(3);
            EXPECT_EQ(source->Read(part), 3u);
            EXPECT_EQ(part, (std::vector<float>{5, 4, 3}));
            EXPECT_EQ(source->Read(part), 2u);
            EXPECT_EQ(part, (std::vector<float>{2, 1, 3}));
            EXPECT_EQ(source->Read(part), 0u);
        }
    }
}

}  // namespace
}  // namespace kymora
