#include "recording/adc_dac_configuration_layout.h"

#include <fmt/format.h>

namespace kymora {

namespace {

constexpr uint32_t boardSectionVersion = 3;
constexpr uint32_t otherSectionVersion = 1;

// Landmarks for those who look at the bytes; they are not compared.
constexpr const char* savingPage = "CAcqPropPageRecGen";
constexpr const char* channelsPage = "CAcqPropPage16Chan";
constexpr const char* triggerPage = "CAcqPropPageTrig";
constexpr const char* stimulusPage = "CAcqPropPageStim";
constexpr const char* refractoryPage = "CAcqPropPageRefrStim";
constexpr const char* monitorPage = "CAcqPropPageRefrAutoMon";

// Reads or writes values in the order of the file, so that the layout stands in one place.
class Exchange {
  public:
    explicit Exchange(CArchive& archive) : archive_(archive) {}
    bool IsStoring() const { return archive_.IsStoring(); }
    CArchive& Archive() { return archive_; }

    template <typename Stored, typename T>
    void As(T& value) {
        if (archive_.IsStoring())
            archive_.Write<Stored>(static_cast<Stored>(value));
        else if constexpr (std::is_same_v<T, bool>)
            value = archive_.Read<Stored>() != 0;
        else
            value = static_cast<T>(archive_.Read<Stored>());
    }
    template <typename... T>
    void U32(T&... values) {
        (As<uint32_t>(values), ...);
    }
    template <typename... T>
    void Own(T&... values) {
        (As<T>(values), ...);
    }
    void Text(std::string& text) {
        if (archive_.IsStoring())
            archive_.WriteString(text);
        else
            text = archive_.ReadString();
    }
    void Landmark(const char* text) {
        std::string landmark = text;
        Text(landmark);
    }

  private:
    CArchive& archive_;
};

void ChannelBlocks(Exchange& file, AcquisitionSettings& s) {
    file.Landmark(channelsPage);
    for (AcquisitionChannel& channel : s.channels) {
        file.U32(channel.m_nChanOn);
        file.Own(channel.m_dChanGain, channel.axisA, channel.axisB);
        file.Text(channel.label);
        file.U32(channel.colour);
        file.Text(channel.note);
    }
    file.Own(s.m_dSampleInterval);
}

void Pulses(Exchange& file, std::vector<COutputPulse>& pulses) {
    auto count = static_cast<uint32_t>(pulses.size());
    file.U32(count);
    if (!file.IsStoring()) {
        file.Archive().CheckRoom(count, COutputPulse::storedBytes, "pulses");
        if (count > mostPulses)
            throw ArchiveError(fmt::format("The file states {} pulses for a channel, which can have {}.",
                                           count, mostPulses));
        pulses.assign(count, {});
    }
    for (COutputPulse& pulse : pulses) pulse.Serialize(file.Archive());
}

void Stimulus(Exchange& file, AcquisitionSettings& s, uint32_t version) {
    file.Landmark(stimulusPage);
    file.Own(s.boardDacChannels);
    if (s.boardDacChannels == 0) return;
    file.U32(s.outputTraceSource, s.m_bTimeInSeconds);
    file.Own(s.m_dPreviewSpan, s.m_dOutputFreqKHz);
    file.U32(s.m_nDacInUse);
    file.Text(s.m_strOutputFile);
    file.U32(s.m_nOutputSourceTrace);
    if (s.m_nDacInUse > outputChannels)
        throw ArchiveError(
            fmt::format("The file uses {} output channels; there can be {}.", s.m_nDacInUse, outputChannels));
    for (size_t i = 0; i < s.m_nDacInUse; ++i) Pulses(file, s.dac[i].pulses);
    s.m_nStimMode = version > 1 ? s.m_nStimMode : 1;
    if (version < 2) return;
    file.U32(s.m_nStimMode);
    for (size_t i = 0; i < s.m_nDacInUse; ++i) file.Own(s.dac[i].m_fDcLevel);
}

void BoardHead(Exchange& file, AcquisitionSettings& s) {
    file.Text(s.m_strBoardName);
    file.Own(s.displaySpan, s.boardValue);
}

void GeneralSection(Exchange& file, AcquisitionSettings& s, uint32_t version) {
    BoardHead(file, s);
    file.Landmark(savingPage);
    file.U32(s.m_nSweepMode);
    file.Own(s.m_dTimeLimit);
    file.U32(s.m_nSaveMode, s.m_bAutoLoad, s.m_bPresetName, s.m_bFollowLatest);
    file.Text(s.m_strAutoSaveBase);
    ChannelBlocks(file, s);
    if (version > 2) file.U32(s.m_nInputMode);
    file.Landmark(triggerPage);
    file.U32(s.m_nTrigMode, s.m_nRepeatInterval, s.m_nRepeatCount);
    file.As<uint8_t>(s.m_bDigitalTrigOut);
    file.U32(s.m_bRearm);
    Stimulus(file, s, version);
}

void RefractorySection(Exchange& file, AcquisitionSettings& s) {
    RefractorySettings& r = s.refractory;
    BoardHead(file, s);
    ChannelBlocks(file, s);
    file.Landmark(refractoryPage);
    file.Own(r.m_fPreDur, r.m_fTrialDur, r.m_fPreDelay, r.m_fPreAmp, r.m_fTrialAmp0, r.m_fTrialAmpMax,
             r.m_fAmpStep, r.m_fTrialDelayMin, r.m_fTrialDelay0, r.m_fDelayStep, r.m_fSearchRate);
    file.U32(r.m_nChecksPerDelay);
    file.Own(r.m_fSweepDur);
    file.As<uint8_t>(s.m_bDigitalTrigOut);
    file.U32(r.m_bStepOnAccept);
    if (s.m_eRecordingType != RecordingType::refractoryAutomatic) return;
    file.Landmark(monitorPage);
    file.U32(r.m_nMonitorTrace);
    file.Own(r.m_fWinStart, r.m_fWinEnd, r.m_fSpikeThreshold);
}

void MicrophoneSection(Exchange& file, AcquisitionSettings& s) {
    file.Own(s.displaySpan, s.m_dTimeLimit);
    file.U32(s.m_nSweepMode, s.m_bAutoLoad);
    file.Own(s.m_dSampleInterval);
    file.U32(s.channels[1].m_nChanOn);
    file.Own(s.m_nResolutionBits);
}

void ArduinoSection(Exchange& file, AcquisitionSettings& s) {
    uint32_t count = s.ChannelsOn();
    file.Own(s.displaySpan, s.m_dTimeLimit);
    file.U32(s.m_nSweepMode, s.m_bAutoLoad, s.arduinoRate, count);
    if (file.IsStoring()) return;
    s.SetArduinoRate(s.arduinoRate);
    if (count > acquisitionChannels)
        throw ArchiveError(
            fmt::format("The file states {} channels; there can be {}.", count, acquisitionChannels));
    s.SetChannelsOn(count);
}

}  // namespace

uint32_t LatestSectionVersion(RecordingType type) {
    return type == RecordingType::board ? boardSectionVersion : otherSectionVersion;
}

void ExchangeAxes(CArchive& archive, AcquisitionSettings& s) {
    Exchange file(archive);
    for (AcquisitionChannel& channel : s.channels) file.Own(channel.axisA, channel.axisB);
}

void ExchangeSection(CArchive& archive, AcquisitionSettings& s, uint32_t version) {
    Exchange file(archive);
    switch (s.m_eRecordingType) {
    case RecordingType::board:
        return GeneralSection(file, s, version);
    case RecordingType::microphone:
        return MicrophoneSection(file, s);
    case RecordingType::arduino:
        return ArduinoSection(file, s);
    default:
        return RefractorySection(file, s);
    }
}

}  // namespace kymora
