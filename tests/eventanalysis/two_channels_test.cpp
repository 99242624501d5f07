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

TEST_F(TwoChannels, ByHandWhereThereIsNoPartner) {
    doc = MemoryDoc::MakeEmpty(session, 100);
    Fill(0, {{35, 36}, {30, 31}, {31, 32}});
    Fill(1, {{10, 11}, {20, 21}, {40, 41}, {60, 61}});
    ExpectValues(Values(EvParam::phaseNear, Block(0, 1)), {0.5f, -0.45f, -0.25f});
    // Pairs go by the number in the channel, also where the block begins behind the first event.
    ExpectValues(Values(EvParam::latencyFromPair, Block(0, 1, -1, {{32, 10}})), {-5});
    Fill(1, {{10, 11}});
    ExpectValues(Values(EvParam::phaseIn, Block(0, 1)), {nan, nan, nan});
    for (const int channel : {7, -1}) {
        for (const EvParam param : {EvParam::phaseNear, EvParam::latencyFromPrevious,
                                    EvParam::latencyFromNearest, EvParam::latencyFromPair})
            ExpectValues(Values(param, Block(0, channel)), {nan, nan, nan}, EvParamName(param));
        for (const EvParam param : {EvParam::countWithin, EvParam::countFrom})
            ExpectValues(Values(param, Block(0, channel)), {0, 0, 0}, EvParamName(param));
    }
}

// --- the rules once more, plainly ---

// Of one event on its own: `two` are the events of channel 2 by onset, `stored` those of its list.
double PlainValue(EvParam param, const std::vector<CEventKM>& two, const std::vector<CEventKM>& stored,
                  const CEventKM& event, int index, int64_t nextOn, double dt) {
    const int32_t t = event.onPosition;
    const auto begins = [](const CEventKM& e) { return e.onPosition; };
    const auto after = std::ranges::upper_bound(two, t, {}, begins);
    const double previous = after == two.begin() ? nan : after[-1].onPosition;
    // From the phase as it stands in single precision.
    const auto phase =
        static_cast<float>(after == two.end() ? nan : (t - previous) / (after->onPosition - previous));
    double nearest = nan;
    int within = 0, from = 0;
    bool counts = true;
    for (const CEventKM& e : two) {
        if (!(std::abs(t - e.onPosition) > std::abs(nearest))) nearest = t - e.onPosition;
        from += e.onPosition >= t && e.onPosition < nextOn ? 1 : 0;
        counts = counts && (e.onPosition < t || e.offPosition <= event.offPosition);
        within += e.onPosition >= t && counts ? 1 : 0;
    }
    switch (param) {
    case EvParam::phaseIn:
        return phase;
    case EvParam::phaseNear:
        return phase > 0.5f ? phase - 1.0f : phase;
    case EvParam::latencyFromPrevious:
        return (t - previous) * dt;
    case EvParam::latencyFromNearest:
        return nearest * dt;
    case EvParam::latencyFromPair:
        return index < static_cast<int>(stored.size())
                   ? (t - stored[static_cast<size_t>(index)].onPosition) * dt
                   : nan;
    case EvParam::countWithin:
        return within;
    default:
        return from;
    }
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
        std::vector<CEventKM> two = Channel(1).Events();
        std::stable_sort(two.begin(), two.end(), byOnset);
        for (const EvParam param :
             {EvParam::phaseIn, EvParam::phaseNear, EvParam::latencyFromPrevious, EvParam::latencyFromNearest,
              EvParam::latencyFromPair, EvParam::countWithin, EvParam::countFrom}) {
            std::vector<float> expected;
            for (int b = 0; b < block.GetNumBlocks(); ++b)
                for (int k = 0; k < block.GetNumEvents(b); ++k) {
                    const bool isLast = k + 1 == block.GetNumEvents(b);
                    expected.push_back(static_cast<float>(
                        PlainValue(param, two, Channel(1).Events(), {block.GetOn(b, k), block.GetOff(b, k)},
                                   block.GetIndex(b, k), isLast ? 400 : block.GetOn(b, k + 1), 0.25)));
                }
            ExpectValues(Values(param, block), expected,
                         (std::string(EvParamName(param)) + " round " + std::to_string(round)).c_str());
        }
        if (HasFailure()) return;
    }
}

}  // namespace
}  // namespace kymora
