// Parameters of two channels, by hand and against the plain rules asked of every pair of events.

#include <cmath>
#include <random>

#include "eventanalysis/event_analysis_fixture.h"

namespace kymora {
namespace {

using test::ExpectValues;
using test::MemoryDoc;
using test::nan;
using TwoChannels = test::EventAnalysisTest;

TEST_F(TwoChannels, PhasesAndLatenciesByHand) {
    doc = MemoryDoc::MakeEmpty(session, 1000, 0.5);
    Fill(0, {{4, 5}, {10, 11}, {15, 16}, {25, 26}, {50, 51}, {60, 61}});
    Fill(1, {{10, 11}, {20, 21}, {40, 41}, {60, 61}});
    const CEventBlock block = Block(0, 1);
    ExpectValues(Values(EvParam::phaseIn, block), {nan, 0, 0.5f, 0.25f, 0.5f, nan});
    ExpectValues(Values(EvParam::latencyFromPrevious, block), {nan, 0, 2.5f, 2.5f, 5, 0});
    // 15 is as near to 10 as to 20 and 50 as near to 40 as to 60: the later wins.
    ExpectValues(Values(EvParam::latencyFromNearest, block), {-3, 0, -2.5f, 2.5f, -5, 0});
    ExpectValues(Values(EvParam::latencyFromPair, block), {-3, -5, -12.5f, -17.5f, nan, nan});
    Fill(0, {{35, 36}, {30, 31}, {31, 32}});
    ExpectValues(Values(EvParam::phaseNear, Block(0, 1)), {0.5f, -0.45f, -0.25f});
    // Pairs go by the number in the channel, also where the block begins behind the first event.
    ExpectValues(Values(EvParam::latencyFromPair, Block(0, 1, -1, {{32, 10}})), {-2.5f});
    Fill(1, {{10, 11}});
    ExpectValues(Values(EvParam::phaseIn, Block(0, 1)), {nan, nan, nan});
    Fill(1, {});
    for (const EvParam param : {EvParam::phaseNear, EvParam::latencyFromPrevious, EvParam::latencyFromNearest,
                                EvParam::latencyFromPair})
        ExpectValues(Values(param, Block(0, 1)), {nan, nan, nan}, EvParamName(param));
}

TEST_F(TwoChannels, CountsByHand) {
    doc = MemoryDoc::MakeEmpty(session, 100);
    Fill(0, {{10, 30}, {40, 60}, {70, 80}});
    Fill(1, {{5, 12}, {10, 11}, {29, 30}, {29, 31}, {30, 30}, {45, 50}, {70, 80}, {99, 100}, {200, 201}});
    // The event at 29 to 31 ends behind the first event of channel 1: the count stops there.
    ExpectValues(Values(EvParam::countWithin, Block(0, 1)), {2, 1, 1});
    // The last event counts to the end of the recording, behind which 200 lies.
    ExpectValues(Values(EvParam::countFrom, Block(0, 1)), {4, 1, 2});
    ExpectValues(Values(EvParam::countFrom, Block(0, 1, -1, {{0, 20}, {35, 30}})), {7, 3});
    ExpectValues(Values(EvParam::countWithin, Block(0, 7)), {0, 0, 0});
    ExpectValues(Values(EvParam::countFrom, Block(0, -1)), {0, 0, 0});
    // A short event within a long one, and a longer one after it, count all that lie in each.
    Fill(0, {{0, 90}, {8, 20}, {9, 95}});
    ExpectValues(Values(EvParam::countWithin, Block(0, 1)), {7, 1, 6});
}

// --- the rules once more, plainly ---

struct Plain {
    std::vector<CEventKM> two;  // by onset
    std::vector<CEventKM> stored;
    double dt;
    int64_t length;

    int LatestBefore(int32_t t) const {
        int latest = -1;
        for (size_t j = 0; j < two.size(); ++j)
            if (two[j].onPosition <= t) latest = static_cast<int>(j);
        return latest;
    }
    double PhaseIn(int32_t t) const {
        const int j = LatestBefore(t);
        if (j < 0 || j + 1 >= static_cast<int>(two.size())) return nan;
        const double start = two[static_cast<size_t>(j)].onPosition;
        return (t - start) / (two[static_cast<size_t>(j) + 1].onPosition - start);
    }
    double Nearest(int32_t t) const {
        double best = nan;
        for (const CEventKM& e : two)
            if (std::isnan(best) || std::abs(t - e.onPosition) <= std::abs(best)) best = t - e.onPosition;
        return best * dt;
    }
    int CountWithin(int32_t on, int32_t off) const {
        int count = 0;
        for (const CEventKM& e : two) {
            if (e.onPosition < on) continue;
            if (e.offPosition > off) break;
            ++count;
        }
        return count;
    }
    int CountFrom(int64_t from, int64_t to) const {
        int count = 0;
        for (const CEventKM& e : two) count += e.onPosition >= from && e.onPosition < to ? 1 : 0;
        return count;
    }
    double Value(EvParam param, const CEventKM& event, int index, int64_t nextOn) const {
        const int32_t t = event.onPosition;
        switch (param) {
        case EvParam::phaseIn:
            return PhaseIn(t);
        case EvParam::phaseNear: {  // from the phase as it stands in single precision
            const double phase = static_cast<float>(PhaseIn(t));
            return phase > 0.5 ? phase - 1.0 : phase;
        }
        case EvParam::latencyFromPrevious:
            return LatestBefore(t) < 0 ? nan
                                       : (t - two[static_cast<size_t>(LatestBefore(t))].onPosition) * dt;
        case EvParam::latencyFromNearest:
            return Nearest(t);
        case EvParam::latencyFromPair:
            return index >= static_cast<int>(stored.size())
                       ? nan
                       : (t - stored[static_cast<size_t>(index)].onPosition) * dt;
        case EvParam::countWithin:
            return CountWithin(t, event.offPosition);
        default:
            return CountFrom(t, nextOn < 0 ? length : nextOn);
        }
    }
};

// Events in blocks that do not overlap, in the order of the values.
std::vector<float> PlainValues(EvParam param, const Plain& plain, std::vector<CEventKM> one,
                               const std::vector<int>& indices, const std::vector<SampleBlock>& blocks) {
    std::vector<float> values;
    for (const SampleBlock& block : blocks) {
        std::vector<size_t> inside;
        for (size_t i = 0; i < one.size(); ++i)
            if (one[i].onPosition >= block.first && one[i].onPosition < block.first + block.length)
                inside.push_back(i);
        for (size_t k = 0; k < inside.size(); ++k)
            values.push_back(
                static_cast<float>(plain.Value(param, one[inside[k]], indices[inside[k]],
                                               k + 1 < inside.size() ? one[inside[k + 1]].onPosition : -1)));
    }
    return values;
}

TEST_F(TwoChannels, AgreeWithThePlainRulesOnRandomChannels) {
    std::mt19937 random(7);
    const auto below = [&](int n) { return static_cast<int32_t>(random() % static_cast<unsigned>(n)); };
    const auto byOnset = [](const CEventKM& a, const CEventKM& b) { return a.onPosition < b.onPosition; };
    for (int round = 0; round < 300; ++round) {
        const bool shuffled = round % 10 == 9;
        doc = MemoryDoc::MakeEmpty(session, 400, 0.25);
        for (int channel = 0; channel < 2; ++channel) {
            std::vector<CEventKM> events;
            for (int n = below(round % 3 == 0 ? 4 : 60); n > 0; --n) {
                const int32_t on = below(440);  // some lie behind the end, many at one onset
                events.push_back({on, on + below(round % 2 == 0 ? 12 : 90)});
            }
            if (!shuffled) std::stable_sort(events.begin(), events.end(), byOnset);
            for (const CEventKM& event : events) Channel(channel).AppendLoaded(event);
        }
        CEventBlock block(*doc, 0, 1, -1);
        for (int32_t at = below(20); at < 400; at += below(30)) {
            const int32_t length = below(200);
            block.AddBlock(at, length);
            at += length;
        }
        block.FillEvs();
        std::vector<CEventKM> one;
        std::vector<int> indices;
        for (int rank = 0; rank < block.Channel1().Size(); ++rank) {
            one.push_back(block.Channel1()[rank]);
            indices.push_back(block.Channel1().IndexOf(rank));
        }
        ASSERT_TRUE(std::is_sorted(one.begin(), one.end(), byOnset));
        Plain plain{Channel(1).Events(), Channel(1).Events(), 0.25, 400};
        std::stable_sort(plain.two.begin(), plain.two.end(), byOnset);
        for (const EvParam param :
             {EvParam::phaseIn, EvParam::phaseNear, EvParam::latencyFromPrevious, EvParam::latencyFromNearest,
              EvParam::latencyFromPair, EvParam::countWithin, EvParam::countFrom})
            ExpectValues(Values(param, block), PlainValues(param, plain, one, indices, block.Blocks()),
                         (std::string(EvParamName(param)) + " round " + std::to_string(round)).c_str());
        if (HasFailure()) return;
    }
}

}  // namespace
}  // namespace kymora
