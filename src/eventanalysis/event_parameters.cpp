#include "eventanalysis/event_parameters.h"

#include <array>

namespace kymora {
namespace {

enum Needs : unsigned { nothing = 0, trace = 1, twoChannels = 2, display = 4 };

struct Description {
    const char* name;
    unsigned needs;
};

constexpr std::array<Description, evParamCount> descriptions = {{
    {"None", nothing},
    {"On time", display},
    {"Time", nothing},
    {"Time (elap)", nothing},
    {"On Dur", nothing},
    {"Gap Dur", nothing},
    {"Freq (inst)", nothing},
    {"Freq in time bin", display},
    {"Interval", nothing},
    {"Duty Cycle", nothing},
    {"Variable", nothing},
    {"P2P amp", trace},
    {"P2P dur", trace},
    {"MaxT - MinT", trace},
    {"Maximum", trace},
    {"Minimum", trace},
    {"Average", trace},
    {"S.D.", trace},
    {"Median", trace},
    {"MAD", trace},
    {"Robust S.D.", trace},
    {"Area", trace},
    {"Area re Base", trace},
    {"Slope", trace},
    {"RMS", trace},
    {"Energy (rel)", trace},
    {"Phase 1 in 2", twoChannels},
    {"Phase 1 near 2", twoChannels},
    {"PSTH 1 from 2", twoChannels | display},
    {"Lat 1 from prev 2", twoChannels},
    {"Lat 1 from near 2", twoChannels},
    {"Lat 1 from pair 2", twoChannels},
    {"Interval 2 pair 1", twoChannels | display},
    {"Count 2 in 1", twoChannels},
    {"Count 2 from 1", twoChannels},
    {"Count in time bin", display},
    {"Distrib count", display},
    {"PC1 wt", trace},
    {"PC2 wt", trace},
    {"PC3 wt", trace},
    {"Val at time A", trace},
    {"Val at time B", trace},
    {"Val at time C", trace},
    {"DWT A", trace},
    {"DWT B", trace},
    {"DWT C", trace},
    {"AutoCorr", display},
    {"CrossCorr 2->1", twoChannels | display},
    {"Auto Rhythm idx", trace},
    {"Auto Rhythm period", trace},
}};

const Description& Describe(EvParam param) { return descriptions[static_cast<size_t>(param)]; }

}  // namespace

const char* EvParamName(EvParam param) { return Describe(param).name; }
bool NeedsParentTrace(EvParam param) { return (Describe(param).needs & trace) != 0; }
bool NeedsTwoChannels(EvParam param) { return (Describe(param).needs & twoChannels) != 0; }
bool HasNoEventValues(EvParam param) { return (Describe(param).needs & display) != 0; }

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
