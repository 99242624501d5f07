#include "eventanalysis/event_parameters.h"

#include <array>

namespace kymora {
namespace {

enum Needs : unsigned { nothing = 0, ofTrace = 1, ofTwoChannels = 2, forDisplay = 4 };

struct Description {
    const char* name;
    unsigned needs;
};

constexpr std::array<Description, evParamCount> descriptions = {{
    {"None", nothing},
    {"On time", forDisplay},
    {"Time", nothing},
    {"Time (elap)", nothing},
    {"On Dur", nothing},
    {"Gap Dur", nothing},
    {"Freq (inst)", nothing},
    {"Freq in time bin", forDisplay},
    {"Interval", nothing},
    {"Duty Cycle", nothing},
    {"Variable", nothing},
    {"P2P amp", ofTrace},
    {"P2P dur", ofTrace},
    {"MaxT - MinT", ofTrace},
    {"Maximum", ofTrace},
    {"Minimum", ofTrace},
    {"Average", ofTrace},
    {"S.D.", ofTrace},
    {"Median", ofTrace},
    {"MAD", ofTrace},
    {"Robust S.D.", ofTrace},
    {"Area", ofTrace},
    {"Area re Base", ofTrace},
    {"Slope", ofTrace},
    {"RMS", ofTrace},
    {"Energy (rel)", ofTrace},
    {"Phase 1 in 2", ofTwoChannels},
    {"Phase 1 near 2", ofTwoChannels},
    {"PSTH 1 from 2", ofTwoChannels | forDisplay},
    {"Lat 1 from prev 2", ofTwoChannels},
    {"Lat 1 from near 2", ofTwoChannels},
    {"Lat 1 from pair 2", ofTwoChannels},
    {"Interval 2 pair 1", ofTwoChannels | forDisplay},
    {"Count 2 in 1", ofTwoChannels},
    {"Count 2 from 1", ofTwoChannels},
    {"Count in time bin", forDisplay},
    {"Distrib count", forDisplay},
    {"PC1 wt", ofTrace},
    {"PC2 wt", ofTrace},
    {"PC3 wt", ofTrace},
    {"Val at time A", ofTrace},
    {"Val at time B", ofTrace},
    {"Val at time C", ofTrace},
    {"DWT A", ofTrace},
    {"DWT B", ofTrace},
    {"DWT C", ofTrace},
    {"AutoCorr", forDisplay},
    {"CrossCorr 2->1", ofTwoChannels | forDisplay},
    {"Auto Rhythm idx", ofTrace},
    {"Auto Rhythm period", ofTrace},
}};

const Description& Describe(EvParam param) { return descriptions[static_cast<size_t>(param)]; }

}  // namespace

const char* EvParamName(EvParam param) { return Describe(param).name; }
bool NeedsParentTrace(EvParam param) { return (Describe(param).needs & ofTrace) != 0; }
bool NeedsTwoChannels(EvParam param) { return (Describe(param).needs & ofTwoChannels) != 0; }
bool HasNoEventValues(EvParam param) { return (Describe(param).needs & forDisplay) != 0; }

std::vector<std::string> CEvParamCombo::Names() {
    std::vector<std::string> names;
    for (const Description& description : descriptions) names.emplace_back(description.name);
    return names;
}

std::optional<EvParam> CEvParamCombo::FromStoredValue(int32_t stored) {
    if (stored < 2 || stored >= evParamCount + 2) return std::nullopt;
    return static_cast<EvParam>(stored - 2);
}

}  // namespace kymora
