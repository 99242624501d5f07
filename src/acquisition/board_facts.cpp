#include "acquisition/board_facts.h"

#include <fmt/format.h>

namespace kymora {

namespace {

constexpr const char* fromFirstText = "The {} board requires that active channels start with channel 1.";
constexpr const char* inSequenceText =
    "The {} board requires that active channels should be in unbroken numerical sequence.";
constexpr const char* unknownListText =
    "Kymora did not recognize the AD channel list structure. Please inform author.";

}  // namespace

DacRange BoardFacts::OutputRange() const {
    return {outputs.voltHigh, outputs.voltLow, 1 << outputs.resolutionBits, outputs.encoding};
}

BoardFacts UnknownBoard() {
    BoardFacts facts;
    facts.inputs.channels = acquisitionChannels;
    facts.outputs.channels = facts.outputChannels = outputChannels;
    facts.hasDigitalOutput = true;
    return facts;
}

std::string ChannelFault(const AcquisitionSettings& settings, const SubsystemCapabilities& inputs,
                         const std::string& board) {
    int first = -1, last = -1;
    for (size_t i = 0; i < settings.channels.size(); ++i) {
        if (!settings.channels[i].m_nChanOn) continue;
        if (first < 0) first = static_cast<int>(i);
        last = static_cast<int>(i);
    }
    if (first < 0) return "No channel is on. Switch one on to record it.";
    if (last >= inputs.channels)
        return fmt::format("Channel {} is on. The {} board has {} channels.", last + 1, board,
                           inputs.channels);
    if (inputs.channelList == ChannelListRule::inSequenceFromFirst && first != 0)
        return fmt::format(fromFirstText, board);
    const bool isBroken = last - first + 1 != static_cast<int>(settings.ChannelsOn());
    if (inputs.channelList != ChannelListRule::any && isBroken) return fmt::format(inSequenceText, board);
    const bool isKnown = inputs.channelList >= ChannelListRule::any &&
                         inputs.channelList <= ChannelListRule::inSequenceFromFirst;
    return isKnown ? std::string() : unknownListText;
}

double BytesPerSecond(const AcquisitionSettings& settings, const SubsystemCapabilities& inputs, double kHz) {
    return static_cast<double>(settings.ChannelsOn()) * inputs.BytesPerSample() * kHz * 1000.0;
}

}  // namespace kymora
