// Which signals of an EDF file become traces, and what their rates have in common.

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "document/data_doc.h"
#include "import/channel_choice.h"
#include "import/edf_header.h"

namespace kymora {

namespace {

constexpr const char* signalsKey = "signals";

}  // namespace

std::vector<int> ChooseEdfSignals(const EdfHeader& header, const std::string* setting) {
    std::vector<int> chosen = header.ordinarySignals;
    if (!setting) {
        chosen.resize(std::min<size_t>(chosen.size(), header.MostTraces()));
        return chosen;
    }
    chosen.clear();
    const size_t count = header.ordinarySignals.size();
    for (const int place : ParseChannels(signalsKey, *setting, count, header.MostTraces()))
        chosen.push_back(header.ordinarySignals[static_cast<size_t>(place)]);
    return chosen;
}

int64_t ExpandEdfSignals(EdfHeader& header, const std::vector<int>& chosen) {
    int64_t common = 1;
    for (const int index : chosen) {
        const EdfSignal& signal = header.Signal(index);
        if (signal.samplesPerRecord <= 0)
            throw OpenError(fmt::format("Signal \"{}\" of this {} file has {} samples per data record.",
                                        signal.label, header.Name(), signal.samplesPerRecord));
        // Both factors are below 2^31, so the product fits before it is tested.
        common = std::lcm(common, static_cast<int64_t>(signal.samplesPerRecord));
        if (common > longestRecording)
            throw OpenError(
                fmt::format("The sampling rates of the chosen signals of this {} file have no useful common "
                            "multiple. Please choose signals of like rates.",
                            header.Name()));
    }
    for (const int index : chosen) {
        EdfSignal& signal = header.signals[static_cast<size_t>(index)];
        signal.expansionFactor = static_cast<int32_t>(common / signal.samplesPerRecord);
    }
    return common;
}

}  // namespace kymora
