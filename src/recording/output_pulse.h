#pragma once
// A pulse of a stimulus, what becomes of it from one acquisition to the next, its samples, and the codes that
// an output converter takes for volts.

#include <cstdint>
#include <span>
#include <vector>

#include "archive/archive.h"
#include "host/host.h"

namespace kymora {

// What a pulse does at the end of a sequence cycle.
enum class SequenceMode : int32_t { stay, restart, reverse, reverseAndRepeat, reset };
inline constexpr const char* sequenceModeTexts[] = {
    "Leave in final state at end of sequence cycle", "Restart sequence after each cycle",
    "Reverse sequence at end of cycle until arrive at starting condition",
    "Reverse sequence at end of cycle and then repeat cycle",
    "Reset parameters to starting conditions at end of cycle"};

// Range and codes of an output converter. `m_fDacHigh` lies above `m_fDacLow`.
struct DacRange {
    float m_fDacHigh = 10.0f;  // volts
    float m_fDacLow = -10.0f;
    int32_t m_nDacCodes = 65536;  // 2 to the power of the resolution, up to 2^30
    int32_t m_nDacEncoding = 0;   // 1: two's complement about the middle; else offset binary

    float Span() const { return m_fDacHigh - m_fDacLow; }
    float Mid() const { return static_cast<float>((m_fDacHigh + m_fDacLow) / 2.0); }
    // Held to the range; what is no number becomes its lower end.
    float Held(float volts) const;
    // The code below or at a value (towards 0 with two's complement), worked out in f64. Negative codes are
    // those of two's complement below the middle.
    int32_t ToDacCode(float volts) const;
    // The value of a code, of which only the bits of the resolution count.
    float ToVolts(int32_t code) const;
};

class COutputPulse {
  public:
    // The record, in the time unit of its stimulus and in volts.
    float m_fDelay = 0.0f;
    float m_fOnRamp = 0.0f;
    float m_fOffRamp = 0.0f;
    float m_fPlateau = 0.0f;
    float m_fAmplitude = 0.0f;
    // What each gains with every index of the sequence.
    float m_fStepDelay = 0.0f;
    float m_fStepOnRamp = 0.0f;
    float m_fStepPlateau = 0.0f;
    float m_fStepOffRamp = 0.0f;
    float m_fStepAmplitude = 0.0f;
    int32_t m_nSeqCount = 1;  // acquisitions in a cycle; below 1 it counts as 1
    int32_t m_eSeqMode = 0;   // SequenceMode; a pulse of another mode stays as it is

    // Bytes of a pulse in a file.
    static constexpr size_t storedBytes = 48;
    // The record, the steps in its order, count and mode.
    void Serialize(CArchive& archive);

    bool HasSequence() const;
    // How often the steps are added at an index from 0.
    int64_t SequenceMultiplier(int64_t index) const;
    // The pulse as it stands at a sequence index: times are held to 0 from below, the amplitude to the range.
    // `log` gets the multiplier of a pulse that has a sequence.
    COutputPulse GetSequencePulse(int64_t index, const DacRange& range, Host* log = nullptr) const;

    // Sets the sample positions below from a frequency in samples for each time unit. Positions beyond those
    // that a sample can have are held to the last.
    void SetFrequency(double samplesPerTimeUnit);
    int32_t m_nStart = 0, m_nOnSamples = 0, m_nOnEnd = 0, m_nPlateauSamples = 0;
    int32_t m_nPlateauEnd = 0, m_nOffSamples = 0, m_nEnd = 0;
    float m_fOnSlope = 0.0f, m_fOffSlope = 0.0f;  // volts a sample; 0 without such samples

    // Volts at a sample, in f32.
    float Value(int64_t sample) const;

    bool operator==(const COutputPulse&) const = default;
};

// Volts of a channel at a sample: its level and all its pulses, added in their order in f32.
float ChannelValue(float dcLevel, std::span<const COutputPulse> pulses, int64_t sample);

// How many samples an output takes.
struct OutputSize {
    int64_t samplesPerChannel = 0;
    int64_t total = 8;

    static constexpr const char* manyBytesText =
        "With these settings you will need to allocate more than 10 million memory bytes for the output "
        "buffer.";
    // Whether the page warns by that text.
    bool TakesManyBytes(size_t channels) const;
};

// When the pulses of a stimulus are played.
struct OutputTiming {
    double frequency = 20.0;  // kHz
    bool timeInSeconds = false;

    double UnitsPerMs() const { return timeInSeconds ? 1000.0 : 1.0; }
    double SamplesPerTimeUnit() const { return frequency * UnitsPerMs(); }
};

// The size for the pulses of the channels in use at a sequence index. A size beyond all memory is held to
// 2^60.
OutputSize SizeOfOutput(std::span<const std::vector<COutputPulse>> channels, int64_t index,
                        const DacRange& range, const OutputTiming& timing);

}  // namespace kymora
