#include "recording/acquisition_settings.h"

#include <algorithm>

#include "document/stored_settings.h"

namespace kymora {

std::string_view RecordingTypeWord(RecordingType type) {
    constexpr std::string_view words[recordingTypeCount] = {"microphone", "general", "refractory-manual",
                                                            "refractory-auto", "arduino"};
    const auto number = static_cast<uint32_t>(type);
    return number < recordingTypeCount ? words[number] : std::string_view();
}

AcquisitionSettings::AcquisitionSettings(RecordingType type) : m_eRecordingType(type) {
    for (size_t i = 0; i < channels.size(); ++i) {
        const TraceSettings trace = TraceSettings::Default(static_cast<int>(i));
        channels[i] = {i == 0, 1.0, trace.axisTop, trace.axisBottom, trace.traceLabel, trace.traceColour, {}};
    }
    if (type == RecordingType::arduino) SetArduinoRate(arduinoRate);
}

bool AcquisitionSettings::IsRefractory() const {
    return m_eRecordingType == RecordingType::refractoryManual ||
           m_eRecordingType == RecordingType::refractoryAutomatic;
}

bool AcquisitionSettings::HasBoard() const {
    return m_eRecordingType == RecordingType::board || IsRefractory();
}

void AcquisitionSettings::SetChannelsOn(uint32_t count) {
    for (size_t i = 0; i < channels.size(); ++i) channels[i].m_nChanOn = i < count;
}

uint32_t AcquisitionSettings::ChannelsOn() const {
    return static_cast<uint32_t>(std::count_if(channels.begin(), channels.end(),
                                               [](const AcquisitionChannel& one) { return one.m_nChanOn; }));
}

void AcquisitionSettings::SetArduinoRate(uint32_t rate) {
    arduinoRate = rate;
    if (rate < arduinoIntervals.size()) m_dSampleInterval = arduinoIntervals[rate];
}

}  // namespace kymora
