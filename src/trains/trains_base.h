#pragma once
// What the analyses of trains against each other share: the region as stretches that do not overlap, the
// onsets of whole channels, and channels by the names that the user has chosen for them.

#include <optional>

#include "eventanalysis/event_anal_rgn_graph_base.h"
#include "trains/train_coverage.h"

namespace kymora {

// The onsets of a channel, ascending.
std::vector<int64_t> OnsetsOf(const CDataDoc& doc, int channel);
// "a", or "0" where channels go by numbers ("Event channel number").
std::string NameByMode(const CDataDoc& doc, int channel);

class CTrainsBase : public CEventAnalRgnGraphBase {
  public:
    explicit CTrainsBase(unsigned uses = 0) : CEventAnalRgnGraphBase(uses) {}

  protected:
    // Empty where there is none: the user was told.
    std::vector<TrainStretch> TakeStretches();
    // A channel with the number of its events behind it.
    Field& DescribeChannel(ParamList& list, const char* key, const char* label, int32_t& value,
                           const char* tip);
    double InMs(int64_t samples) const { return static_cast<double>(samples) * Document()->sampleInterval; }
    // Rounded; times beyond what positions can be are held to that.
    int64_t InSamples(double ms) const;
};

}  // namespace kymora
