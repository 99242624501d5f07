#include "trains/trains_base.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/session.h"
#include "host/user_numbers.h"

namespace kymora {

std::vector<int64_t> OnsetsOf(const CDataDoc& doc, int channel) {
    const EventsByOnset events(doc.eventChannels[static_cast<size_t>(channel)]);
    std::vector<int64_t> onsets;
    onsets.reserve(static_cast<size_t>(events.Size()));
    for (int rank = 0; rank < events.Size(); ++rank) onsets.push_back(events.On(rank));
    return onsets;
}

std::string NameByMode(const CDataDoc& doc, int channel) {
    const bool byLetter = doc.GetSession().options.eventChannelMode <= letterChannels;
    return byLetter ? ChannelName(channel) : std::to_string(channel);
}

std::vector<TrainStretch> CTrainsBase::TakeStretches() {
    // A region that was turned round has been put right, and the user told.
    if (!RetrieveData() && !RetrieveData()) return {};
    if (const std::string fault = EmptyGateFault(); !fault.empty()) {
        Refuse(fault);
        return {};
    }
    std::vector<TrainStretch> stretches;
    for (const SampleBlock& block : Block().Blocks())
        stretches.push_back({block.first, int64_t{block.first} + block.length});
    stretches = JoinStretches(std::move(stretches));
    if (stretches.empty()) Refuse(emptyRegionText);
    return stretches;
}

Field& CTrainsBase::DescribeChannel(ParamList& list, const char* key, const char* label, int32_t& value,
                                    const char* tip) {
    return list.Channel(key, label, value).Tip(tip).Shows([this, &value] {
        return EventCountText(Document(), value);
    });
}

int64_t CTrainsBase::InSamples(double ms) const {
    constexpr double farthest = 1e12;
    return std::llround(std::clamp(ms / Document()->sampleInterval, -farthest, farthest));
}

}  // namespace kymora
