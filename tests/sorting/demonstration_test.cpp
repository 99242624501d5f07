// The demonstration recording sorted, against the truth that it holds.

#include <algorithm>
#include <cmath>

#include "demo/demo_recordings.h"
#include "eventedit/event_edit_fixture.h"
#include "kernels/section_filter.h"
#include "sorting/compare_sortings.h"
#include "sorting/find_shapes.h"
#include "statistics/statistics.h"

namespace kymora::test {
namespace {

class DemonstrationTest : public EventEditTest {
  protected:
    static constexpr int candidates = 4, firstUnit = 10;

    // Both electrodes between 300 and 3000 Hz; the truth stays in channels a to c.
    void SetUp() override {
        const auto demo = MakeDemoSpikes(session);
        const SectionFilterSettings band{DesignSections(SectionDesign::butterworth, SectionBand::bandPass, 3,
                                                        300.0 / 20000.0, 3000.0 / 20000.0),
                                         true};
        for (int t = 0; t < 2; ++t)
            FilterSections(demo->Stored(t), band, electrodes_.emplace_back(demo->Stored(t).size()));
        doc = MemoryDoc::Make(session, electrodes_, 0.05);
        for (int unit = 0; unit < 3; ++unit)
            FillEvents(unit, demo->eventChannels[static_cast<size_t>(unit)].Events());
    }
    // The peaks of |x| above 4.5 robust s.d.; of several electrodes none within 0.2 ms of one before it.
    void FindCandidates(const std::vector<int>& traces) {
        std::vector<int> peaks;
        for (const int trace : traces) {
            const std::vector<float>& x = electrodes_[static_cast<size_t>(trace)];
            const double limit = 4.5 * GetMedianRobustSd(x).robustSd;
            for (size_t i = 1; i + 1 < x.size(); ++i)
                if (std::abs(x[i]) > limit && std::abs(x[i]) > std::abs(x[i - 1]) &&
                    std::abs(x[i]) >= std::abs(x[i + 1]))
                    peaks.push_back(static_cast<int>(i));
        }
        std::ranges::sort(peaks);
        std::vector<CEventKM> events;
        for (const int peak : peaks)
            if (traces.size() == 1 || events.empty() || peak - events.back().onPosition >= 4)
                events.push_back({peak, peak + 10});
        FillEvents(candidates, events);
    }
    struct Score {
        double meanF1 = 0.0, overlaps = 0.0, worstPrecision = 1.0;
    };
    Score Sort(Settings settings) {
        Score score;
        for (int channel = firstUnit; channel < firstUnit + 15; ++channel) Chan(channel).DeleteAll();
        // The channel comes first: the trace follows it.
        settings.insert(settings.begin(), {{"channel1", "e"}, {"destination", "k"}});
        CFindShapes sorter;
        EXPECT_EQ(Run(sorter, settings), "");
        CCompareSortings compare;
        EXPECT_EQ(Run(compare, {{"truth", "a-c"}, {"sorted", "k-y"}, {"tolerance", "0.5"}}), "");
        const std::vector<Result> results = compare.Results();
        score.meanF1 = std::get<double>(results[0].values[0].second);
        int64_t known = 0, recovered = 0;
        results[1].rows([&](auto row) {
            const int unit = std::get<std::string>(row[0])[0] - 'a';
            const int channel = std::get<std::string>(row[3])[0] - 'a';
            const auto events = Chan(channel).GetNumEvents();
            const double matched =
                std::get<double>(row[4]) * (static_cast<double>(std::get<int64_t>(row[1])) + events) / 2.0;
            score.worstPrecision = std::min(score.worstPrecision, matched / events);
            for (const CEventKM& spike : Chan(unit).Events()) {
                if (unit == 1 || !HasOther(unit, spike.onPosition)) continue;
                ++known;
                recovered += HasNear(channel, spike.onPosition, 10);
            }
            return true;
        });
        score.overlaps = static_cast<double>(recovered) / static_cast<double>(known);
        return score;
    }
    bool HasNear(int channel, int place, int within) {
        return std::ranges::any_of(Chan(channel).Events(), [&](const CEventKM& event) {
            return std::abs(event.onPosition - place) <= within;
        });
    }
    // A spike of another unit within a millisecond.
    bool HasOther(int unit, int place) {
        for (int other = 0; other < 3; ++other)
            if (other != unit && HasNear(other, place, 20)) return true;
        return false;
    }

    std::vector<std::vector<float>> electrodes_;
};

TEST_F(DemonstrationTest, UnitsAreFound) {
    struct Case {
        const char* what;
        std::vector<int> traces;
        Settings settings;
        double meanF1, overlaps;
    };
    const Settings either{
        {"polarity", "either"}, {"frequencyMultiplier", "2"}, {"minimumClusterShare", "10"}};
    const auto with = [&](const char* key, const char* value) {
        Settings more = either;
        more.emplace_back(key, value);
        return more;
    };
    const Case cases[] = {
        {"electrode 1, as detected",
         {0},
         {{"polarity", "up"}, {"alignPeaks", "0"}, {"minimumClusterShare", "5"}},
         0.945,
         0.5},
        {"electrode 1", {0}, either, 0.975, 0.80},
        {"electrode 2", {1}, with("trace", "2"), 0.95, 0.80},
        {"both", {0, 1}, with("traces", "1-2"), 0.985, 0.80},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        FindCandidates(one.traces);
        const Score score = Sort(one.settings);
        EXPECT_GE(score.meanF1, one.meanF1);
        EXPECT_GE(score.overlaps, one.overlaps);
        EXPECT_GE(score.worstPrecision, 0.88);
    }
}

}  // namespace
}  // namespace kymora::test
