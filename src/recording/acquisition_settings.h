#pragma once
// What a recording session is set to: sampling, channels, trigger, saving and stimulus. An ADC-DAC
// configuration keeps it (adc_dac_configuration.h); names, texts and limits of its parts stand in
// acquisition_settings_fields.h.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "recording/output_pulse.h"
#include "recording/recording_type.h"

namespace kymora {

// "microphone", "general", "refractory-manual", "refractory-auto", "arduino": as a command line writes it.
std::string_view RecordingTypeWord(RecordingType type);

inline constexpr size_t acquisitionChannels = 16;
inline constexpr size_t outputChannels = 2;
// So many pulses a channel can have; no stimulus needs as many.
inline constexpr uint32_t mostPulses = 100000;

// Sample intervals of the Arduino's rates, ms.
inline constexpr std::array<double, 12> arduinoIntervals = {1000.0, 500.0, 200.0, 100.0, 50.0, 20.0,
                                                            10.0,   5.0,   2.0,   1.0,   0.5,  0.2};

struct AcquisitionChannel {
    bool m_nChanOn = false;
    double m_dChanGain = 1.0;  // of the amplifier
    double axisA = 1000.0;     // of the display
    double axisB = -1000.0;
    std::string label;
    uint32_t colour = 0;  // 0x00BBGGRR
    std::string note;

    bool operator==(const AcquisitionChannel&) const = default;
};

// One output.
struct DacChannel {
    float m_fDcLevel = 0.0f;  // volts
    std::vector<COutputPulse> pulses;

    bool operator==(const DacChannel&) const = default;
};

// Times in ms, amplitudes in volts.
struct RefractorySettings {
    float m_fPreDur = 0.0f;
    float m_fTrialDur = 0.0f;
    float m_fPreDelay = 0.0f;
    float m_fPreAmp = 0.0f;
    float m_fTrialAmp0 = 0.0f;
    float m_fTrialAmpMax = 0.0f;
    float m_fAmpStep = 0.0f;
    float m_fTrialDelayMin = 0.0f;
    float m_fTrialDelay0 = 0.0f;
    float m_fDelayStep = 0.0f;
    float m_fSearchRate = 0.0f;  // Hz
    uint32_t m_nChecksPerDelay = 0;
    float m_fSweepDur = 0.0f;
    bool m_bStepOnAccept = false;
    // Of the automatic search.
    uint32_t m_nMonitorTrace = 0;
    float m_fWinStart = 0.0f;
    float m_fWinEnd = 0.0f;
    float m_fSpikeThreshold = 0.0f;

    bool operator==(const RefractorySettings&) const = default;
};

struct AcquisitionSettings {
    // As a new session has them: the first channel on, with the colours and labels of traces.
    explicit AcquisitionSettings(RecordingType type = RecordingType::board);

    RecordingType m_eRecordingType;
    std::string notes;  // of the protocol

    // The board that they were saved with.
    std::string m_strBoardName;    // empty: none
    int32_t boardValue = 0;        // kept as it was read
    int32_t boardDacChannels = 2;  // without one there is no stimulus

    double displaySpan = 2000.0;         // ms
    double m_dSampleInterval = 0.05;     // ms
    uint32_t m_nInputMode = 0xFFFFFFFF;  // of the board; this one: its own
    std::array<AcquisitionChannel, acquisitionChannels> channels;

    double m_dTimeLimit = 60.0;  // s
    uint32_t m_nSweepMode = 2;   // 0 one span, 1 restart, 2 scroll
    uint32_t m_nSaveMode = 0;    // 0 by hand, 1 append by hand, 2 append by itself, 3 a file each
    bool m_bAutoLoad = true;
    bool m_bPresetName = false;
    bool m_bFollowLatest = true;
    std::string m_strAutoSaveBase;

    uint32_t m_nTrigMode = 0;         // 0 at once, 1 repeated, 2 external, 3 internal
    uint32_t m_nRepeatInterval = 20;  // s
    uint32_t m_nRepeatCount = 5;
    bool m_bDigitalTrigOut = false;
    bool m_bRearm = false;

    uint32_t m_nStimMode = 0;  // 0 simple, 1 advanced, 2 file
    bool m_bTimeInSeconds = false;
    double m_dPreviewSpan = 100.0;  // in the time unit of the stimulus
    double m_dOutputFreqKHz = 20.0;
    uint32_t m_nDacInUse = 0;
    std::array<DacChannel, outputChannels> dac;  // those in use count
    std::string m_strOutputFile;
    uint32_t outputTraceSource = 0;
    uint32_t m_nOutputSourceTrace = 0;

    RefractorySettings refractory;

    int32_t m_nResolutionBits = 16;  // of the microphone
    uint32_t arduinoRate = 9;        // index of arduinoIntervals

    int32_t BytesPerSample() const { return m_nResolutionBits / 8; }  // of the microphone
    // The type has a board, with its settings.
    bool HasBoard() const;
    bool IsRefractory() const;
    // An Arduino records its first channels: sets which are on, and answers how many are on.
    void SetChannelsOn(uint32_t count);
    uint32_t ChannelsOn() const;
    // Sets the index and the sample interval. An index that is none changes only the index.
    void SetArduinoRate(uint32_t rate);

    bool operator==(const AcquisitionSettings&) const = default;
};

}  // namespace kymora
