#pragma once
// The codes that outputs play, in the buffers in which a board is given them: of pulses, or of the traces of
// a recording.

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "document/sample_reader.h"
#include "recording/acquisition_settings.h"

namespace kymora {

inline constexpr size_t outputBufferSamples = 10000;

class OutputCodes {
  public:
    virtual ~OutputCodes() = default;
    // The codes of the next buffer, interleaved by channel, at most outputBufferSamples; empty behind the
    // last. They stand until the next call. May throw FileError.
    virtual std::span<const int32_t> Next() = 0;
};

// Of pulses as they stand at a sequence index. Each sample is ToDacCode of ChannelValue; the number of codes
// is that of SizeOfOutput, less one where it is odd.
class PulseCodes : public OutputCodes {
  public:
    // Of one or two channels. `log` gets the multipliers of sequences.
    PulseCodes(std::span<const DacChannel> channels, int64_t index, const DacRange& range,
               const OutputTiming& timing, Host* log = nullptr);
    int64_t Total() const { return total_; }
    std::span<const int32_t> Next() override;

  private:
    // The pulses of a channel, of which those that reach into the buffer are looked at.
    struct Player {
        float level = 0.0f;
        std::vector<COutputPulse> pulses;
        std::vector<uint32_t> byStart;
        size_t nextByStart = 0;
        std::vector<uint32_t> sounding;  // in the order of the pulses, in which they are added

        void Fill(int64_t first, std::span<float> volts);
    };

    std::vector<Player> players_;
    DacRange range_;
    int64_t total_ = 0, done_ = 0;
    std::vector<float> volts_;
    std::vector<int32_t> codes_;
};

// How many units of a trace are a volt: V and uV are told, everything else counts as mV.
double UnitsPerVolt(std::string_view unit);

// Of the samples [first, first + count) of traces, as many as there are outputs. Where a trace has no sample,
// 0 V are played. Boards take an even number of codes: where it is odd, the last one is held for another
// sample.
class FileCodes : public OutputCodes {
  public:
    FileCodes(SampleReader& samples, int64_t first, int64_t count, std::span<const int> traces, int outputs,
              const DacRange& range, std::vector<double> unitsPerVolt = {});
    int64_t Total() const { return (static_cast<int64_t>(traces_.size()) * (end_ - at_) + 1) / 2 * 2; }
    std::span<const int32_t> Next() override;
    // Samples of a channel for each ms, kHz.
    double Frequency() const { return 1.0 / samples_.GetSampleInterval(); }

  private:
    SampleReader& samples_;
    int64_t at_, end_;
    std::vector<int> traces_;
    DacRange range_;
    std::vector<double> unitsPerVolt_;  // of each trace
    std::vector<float> values_;
    std::vector<uint8_t> valid_;
    std::vector<int32_t> codes_;
};

// Hands over one buffer after the other until `put` answers false, and asks every 500 buffers whether more
// memory may be taken. What was handed over stands. False where that is not all, because the user wants no
// more.
bool BuildPulseBuffers(PulseCodes& codes, Host& host,
                       const std::function<bool(std::span<const int32_t>)>& put);

// The same of a file. Asks before a long one; false, with nothing handed over, where the user does not want
// it.
bool BuildFileBuffers(FileCodes& codes, Host& host, const std::function<bool(std::span<const int32_t>)>& put);

}  // namespace kymora
