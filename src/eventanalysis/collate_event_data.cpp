// The values of all events of a block for one parameter.

#include <cmath>
#include <limits>
#include <string>

#include "eventanalysis/event_samples.h"
#include "eventanalysis/event_trace_values.h"
#include "eventanalysis/event_values.h"

namespace kymora {
namespace {

// A width that is a whole number of samples but for the rounding of decimal fractions is that number.
constexpr double wholeTolerance = 1e-12;

constexpr float noSample = std::numeric_limits<float>::quiet_NaN();

bool IsTraceValue(EvParam param) {
    return (param >= EvParam::peakToPeak && param <= EvParam::energy) || param == EvParam::rhythmIndex ||
           param == EvParam::rhythmPeriod;
}
bool IsWeight(EvParam param) { return param >= EvParam::pcWeight1 && param <= EvParam::pcWeight3; }

// Appends what `valueOf` answers for every event.
template <typename ValueOf>
void Append(const CEventBlock& block, std::vector<float>& out, ValueOf valueOf) {
    ForEachEvent(block, [&](const EventPlace& place) {
        out.push_back(static_cast<float>(valueOf(place)));
        return true;
    });
}

void CollateTraceValues(CDataDoc& doc, EvParam param, const CEventBlock& block, std::vector<float>& out) {
    EventSampleReader reader(doc, block, {block.parentTrace});
    Append(block, out, [&, event = size_t{0}](const EventPlace&) mutable {
        reader.Load(event++);
        return EventTraceValues(reader.Samples(0), doc.sampleInterval).Value(param);
    });
}

void CollateWeights(EvParam param, const CEventBlock& block, std::vector<float>& out) {
    const CEventChan* chan = block.Channel1().Channel();
    const auto component = static_cast<size_t>(param) - static_cast<size_t>(EvParam::pcWeight1);
    Append(block, out, [&](const EventPlace& place) {
        const auto& rows = chan->EventExtra();
        const auto i = static_cast<size_t>(place.index);
        return i < rows.size() ? rows[i][component] : noSample;
    });
}

void Collate(CDataDoc& doc, EvParam param, const CEventBlock& block, std::vector<float>& out) {
    if (HasNoEventValues(param)) return;
    if (NeedsParentTrace(param) && (block.parentTrace < 0 || block.parentTrace >= doc.traceCount)) return;
    out.reserve(out.size() + static_cast<size_t>(block.GetTotalEvents()));
    if (IsTraceValue(param)) {
        CollateTraceValues(doc, param, block, out);
    } else if (IsWeight(param)) {
        CollateWeights(param, block, out);
    } else if (param == EvParam::variable) {
        const CEventChan* chan = block.Channel1().Channel();
        Append(block, out, [&](const EventPlace& place) {
            return chan->Events()[static_cast<size_t>(place.index)].eventValue;
        });
    } else if (NeedsTwoChannels(param)) {
        PartnerEvents partner(block.Channel2());
        Append(block, out, [&](const EventPlace& place) { return PartnerValue(doc, param, partner, place); });
    } else {
        Append(block, out, [&](const EventPlace& place) { return TimingValue(doc, param, place); });
    }
}

}  // namespace

void CollateEventData(CDataDoc& doc, EvParam param, const CEventBlock& block, std::vector<float>& out) {
    doc.GetHost().Log("CDataDoc::CollateEventData with CEventBlock\n");
    const size_t before = out.size();
    Collate(doc, param, block, out);
    doc.GetHost().Log("num vals in CollateEventData = " + std::to_string(out.size() - before) + "\r\n");
}

double SamplesInBin(double binWidth, double sampleInterval) {
    return std::floor(binWidth / sampleInterval * (1.0 + wholeTolerance));
}

void CalcEventDistrib(const CDataDoc& doc, const CEventBlock& block, double binWidth,
                      std::vector<float>& out) {
    const double wide = SamplesInBin(binWidth, doc.sampleInterval);
    if (!(wide >= 1.0) || wide > static_cast<double>(longestRecording)) return;
    const auto width = static_cast<int32_t>(wide);
    for (int b = 0; b < block.GetNumBlocks(); ++b) {
        const int32_t bins = block.GetBlockLength(b) / width;
        const int count = block.GetNumEvents(b);
        int64_t start = block.GetBlockStart(b);
        int k = 0;
        for (int32_t bin = 0; bin < bins; ++bin, start += width) {
            const int before = k;
            while (k < count && block.GetOn(b, k) >= start && block.GetOn(b, k) < start + width) ++k;
            out.push_back(static_cast<float>(k - before));
        }
    }
}

}  // namespace kymora
