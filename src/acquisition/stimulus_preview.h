#pragma once
// What outputs will play, before they do: curves from the arithmetic of the output itself (output_pulse.h),
// at the samples that it will have.

#include <optional>
#include <vector>

#include "acquisition/board_facts.h"
#include "graphs/graph.h"
#include "results/result.h"

namespace kymora {

// An output over time. All samples lie on its lines, which begin and end where pulses bend or the range cuts
// them, so that a curve takes no more points for a longer time or a higher rate. Where neighbouring samples
// are points, the first is held until the second.
struct OutputCurve {
    std::vector<double> times;  // of the samples, in the time unit of the stimulus
    std::vector<double> volts;  // held to the range of the board
    bool isHeld = false;        // some of all that is played lie outside of it
};

// From the first sample to the last at or before `span`. Behind the end of what is played the output keeps
// its last value.
OutputCurve CurveOfOutput(const DacChannel& channel, int64_t index, const DacRange& range,
                          const OutputTiming& timing, int64_t playedSamples, double span);

struct PreviewSettings {
    int64_t index = 0;       // of the sequence
    bool hasFamily = false;  // with the other indices of the cycle beneath

    bool operator==(const PreviewSettings&) const = default;
};

// The stimulus of settings on a board. It is worked out when it is made.
class StimulusPreview {
  public:
    StimulusPreview(const AcquisitionSettings& settings, const BoardFacts& board,
                    const PreviewSettings& shown = {});

    // Volts over time, a curve for each output in use. Where there are none its title says so; that of a
    // recording is its name.
    Graph GetGraph() const;
    // The points of the curves at the present index: output, time, volts.
    Result Table() const;
    const std::vector<OutputCurve>& Curves() const { return curves_; }

    double RateKHz() const { return timing_.frequency; }  // that the board answers
    const OutputSize& Size() const { return size_; }
    // What is worth knowing before it is played, in words for the user.
    const std::vector<std::string>& Warnings() const { return warnings_; }

  private:
    void TakeFamily(const AcquisitionSettings& settings, const DacRange& range);
    void Warn(const AcquisitionSettings& settings, const BoardFacts& board);

    OutputTiming timing_;
    double span_;
    int64_t index_;
    OutputSize size_;
    std::vector<OutputCurve> curves_;
    std::vector<OutputCurve> family_;
    std::vector<std::string> warnings_;
    std::string title_;
};

inline constexpr const char* noOutputsDefinedText = "No output channels defined.";
inline constexpr const char* noOutputsUsedText = "Number of output channels to use = 0.";
inline constexpr const char* outputFileMissingText = "No output file defined.";
inline constexpr const char* rateOutsideText =
    "The frequency is outside the allowed range for this number of channels. Setting to closest value.";

// The output rate that the board answers to that of the settings, kHz; that of the settings where it answers
// none.
double OutputRateKHz(const AcquisitionSettings& settings, const BoardFacts& board);

// How many steps a sequence of the outputs in use has, from 1, to the end of its longest cycle.
int64_t SequenceLength(const AcquisitionSettings& settings);

}  // namespace kymora
