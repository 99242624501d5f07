#include "acquisition/stimulus_preview.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "host/user_numbers.h"
#include "recording/output_pulse_buffers.h"
#include "recording/pulse_train.h"

namespace kymora {

namespace {

constexpr uint32_t familyColour = 0x00A0A0A0;
constexpr int64_t mostOfFamily = 24;         // more are not told apart
constexpr size_t mostFamilyPoints = 200000;  // of all curves
constexpr double mostPosition = 1e15;

// Volts of a channel at samples that are asked for in ascending order: of many pulses only those are added
// that sound there, in their order.
class ChannelPlayer {
  public:
    ChannelPlayer(const DacChannel& channel, int64_t index, const DacRange& range, double samplesPerTimeUnit)
        : level_(channel.m_fDcLevel) {
        for (const COutputPulse& pulse : channel.pulses) {
            pulses_.push_back(pulse.GetSequencePulse(index, range));
            pulses_.back().SetFrequency(samplesPerTimeUnit);
        }
        byStart_.resize(pulses_.size());
        std::iota(byStart_.begin(), byStart_.end(), size_t{0});
        std::ranges::stable_sort(byStart_, {}, [this](size_t i) { return pulses_[i].m_nStart; });
    }

    // The samples at which something bends, and those before them.
    std::vector<int64_t> Bends() const {
        std::vector<int64_t> bends;
        for (const COutputPulse& pulse : pulses_)
            for (const int32_t at : {pulse.m_nStart, pulse.m_nOnEnd, pulse.m_nPlateauEnd, pulse.m_nEnd})
                for (const int64_t sample : {int64_t{at} - 1, int64_t{at}}) bends.push_back(sample);
        return bends;
    }

    float Value(int64_t sample) {
        while (next_ < byStart_.size() && pulses_[byStart_[next_]].m_nStart <= sample) {
            const size_t pulse = byStart_[next_++];
            sounding_.insert(std::ranges::upper_bound(sounding_, pulse), pulse);
        }
        std::erase_if(sounding_, [&](size_t pulse) { return pulses_[pulse].m_nEnd <= sample; });
        float volts = level_;
        for (const size_t pulse : sounding_) volts += pulses_[pulse].Value(sample);
        return volts;
    }

  private:
    float level_;
    std::vector<COutputPulse> pulses_;
    std::vector<size_t> byStart_, sounding_;
    size_t next_ = 0;
};

void SortOut(std::vector<int64_t>& positions) {
    std::ranges::sort(positions);
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
}

std::vector<int64_t> PositionsIn(std::vector<int64_t> bends, int64_t played, int64_t last) {
    bends.insert(bends.end(), {0, played - 1, last});
    const int64_t end = std::max(played - 1, last);
    std::erase_if(bends, [&](int64_t sample) { return sample < 0 || sample > end; });
    SortOut(bends);
    return bends;
}

// The samples around which the lines between these points cross an end of the range. `volts` are not held.
std::vector<int64_t> CutsOf(const std::vector<int64_t>& positions, const std::vector<float>& volts,
                            const DacRange& range) {
    std::vector<int64_t> cuts;
    for (size_t i = 1; i < positions.size(); ++i) {
        const int64_t from = positions[i - 1], to = positions[i];
        const double left = volts[i - 1], right = volts[i];
        if (to - from < 2) continue;
        for (const double end : {double{range.m_fDacLow}, double{range.m_fDacHigh}}) {
            if ((left > end) == (right > end)) continue;
            const double share = (end - left) / (right - left);
            const auto sample = from + static_cast<int64_t>(share * static_cast<double>(to - from));
            for (const int64_t cut : {sample, sample + 1})
                if (cut > from && cut < to) cuts.push_back(cut);
        }
    }
    return cuts;
}

std::string FileText(const AcquisitionSettings& settings) {
    return std::filesystem::path(settings.m_strOutputFile).filename().string();
}

std::span<const DacChannel> InUse(const AcquisitionSettings& settings, int outputs) {
    const auto count = std::min<size_t>(settings.m_nDacInUse, static_cast<size_t>(std::max(outputs, 0)));
    return std::span(settings.dac).first(std::min(count, settings.dac.size()));
}

}  // namespace

OutputCurve CurveOfOutput(const DacChannel& channel, int64_t index, const DacRange& range,
                          const OutputTiming& timing, int64_t playedSamples, double span) {
    const double perUnit = timing.SamplesPerTimeUnit();
    const auto last = static_cast<int64_t>(std::clamp(std::floor(span * perUnit), 0.0, mostPosition));
    const ChannelPlayer channelPlayer(channel, index, range, perUnit);
    std::vector<int64_t> positions = PositionsIn(channelPlayer.Bends(), playedSamples, last);
    const auto play = [&] {
        ChannelPlayer player = channelPlayer;
        std::vector<float> volts;
        for (const int64_t sample : positions)
            volts.push_back(player.Value(std::min(sample, std::max<int64_t>(playedSamples - 1, 0))));
        return volts;
    };
    std::vector<float> volts = play();
    if (const auto cuts = CutsOf(positions, volts, range); !cuts.empty()) {
        positions.insert(positions.end(), cuts.begin(), cuts.end());
        SortOut(positions);
        volts = play();
    }
    OutputCurve curve;
    int64_t before = -1;
    for (size_t i = 0; i < positions.size(); ++i) {
        const int64_t sample = positions[i];
        const float held = range.Held(volts[i]);
        curve.isHeld |= held != volts[i];
        if (sample > last) continue;
        const double time = static_cast<double>(sample) / perUnit;
        // A converter holds each value until the next one.
        if (!curve.volts.empty() && before + 1 == sample && curve.volts.back() != double{held}) {
            curve.times.push_back(time);
            curve.volts.push_back(curve.volts.back());
        }
        curve.times.push_back(time);
        curve.volts.push_back(held);
        before = sample;
    }
    return curve;
}

double OutputRateKHz(const AcquisitionSettings& settings, const BoardFacts& board) {
    const int channels = std::min(static_cast<int>(settings.m_nDacInUse), board.outputChannels);
    const auto answered = board.rate && channels > 0
                              ? board.rate(Subsystem::dac, channels, settings.m_dOutputFreqKHz)
                              : std::nullopt;
    return answered.value_or(settings.m_dOutputFreqKHz);
}

int64_t SequenceLength(const AcquisitionSettings& settings) {
    int64_t length = 1;
    for (size_t i = 0; i < settings.dac.size() && i < settings.m_nDacInUse; ++i)
        for (const COutputPulse& pulse : settings.dac[i].pulses)
            if (pulse.HasSequence()) length = std::max(length, int64_t{pulse.m_nSeqCount});
    return length;
}

StimulusPreview::StimulusPreview(const AcquisitionSettings& settings, const BoardFacts& board,
                                 const PreviewSettings& shown)
    : timing_{OutputRateKHz(settings, board), settings.m_bTimeInSeconds},
      span_(settings.m_dPreviewSpan),
      index_(shown.index) {
    const auto channels = InUse(settings, board.outputChannels);
    const DacRange range = board.OutputRange();
    if (!channels.empty() && settings.m_nStimMode != 2) {
        std::vector<std::vector<COutputPulse>> pulses;
        for (const DacChannel& channel : channels) pulses.push_back(channel.pulses);
        size_ = SizeOfOutput(pulses, index_, range, timing_);
        const int64_t played =
            PulseCodes(channels, index_, range, timing_).Total() / static_cast<int64_t>(channels.size());
        for (const DacChannel& channel : channels)
            curves_.push_back(CurveOfOutput(channel, index_, range, timing_, played, span_));
        if (shown.hasFamily) TakeFamily(settings, range);
    }
    Warn(settings, board);
    if (settings.m_nStimMode == 2)
        title_ = warnings_.empty() ? FileText(settings) : warnings_.front();
    else if (curves_.empty())
        title_ = noOutputsDefinedText;
    else if (index_ > 0)
        title_ = "sequence index " + GroupedDigits(index_);
}

// Of long cycles, indices at even distances.
void StimulusPreview::TakeFamily(const AcquisitionSettings& settings, const DacRange& range) {
    const auto channels = std::span(settings.dac).first(curves_.size());
    const int64_t length = SequenceLength(settings);
    if (length < 2) return;
    const int64_t count = std::min(length, mostOfFamily);
    size_t points = 0;
    for (int64_t i = 0; i < count; ++i) {
        const int64_t index = i * (length - 1) / (count - 1);
        if (index == index_) continue;
        const int64_t played =
            PulseCodes(channels, index, range, timing_).Total() / static_cast<int64_t>(channels.size());
        for (size_t output = 0; output < channels.size() && points < mostFamilyPoints; ++output) {
            if (std::ranges::none_of(channels[output].pulses, &COutputPulse::HasSequence)) continue;
            family_.push_back(CurveOfOutput(channels[output], index, range, timing_, played, span_));
            points += family_.back().times.size();
        }
    }
}

void StimulusPreview::Warn(const AcquisitionSettings& settings, const BoardFacts& board) {
    if (settings.m_nStimMode == 2) {
        if (settings.m_nDacInUse == 0)
            warnings_.emplace_back(noOutputsUsedText);
        else if (settings.m_strOutputFile.empty())
            warnings_.emplace_back(outputFileMissingText);
        return;
    }
    if (static_cast<int>(settings.m_nDacInUse) > board.outputChannels)
        warnings_.push_back(fmt::format("The board has {} outputs; {} are in use.", board.outputChannels,
                                        settings.m_nDacInUse));
    if (curves_.empty()) return;
    const auto range =
        board.rates ? board.rates(Subsystem::dac, static_cast<int>(curves_.size())) : std::nullopt;
    const double hertz = settings.m_dOutputFreqKHz * 1000.0;
    if (range && !(hertz >= range->least && hertz <= range->greatest))
        warnings_.emplace_back(rateOutsideText);
    const DacRange volts = board.OutputRange();
    for (size_t i = 0; i < curves_.size(); ++i)
        if (curves_[i].isHeld)
            warnings_.push_back(fmt::format("Output {} is cut at the board's range of {:g} to {:g} V.", i + 1,
                                            volts.m_fDacLow, volts.m_fDacHigh));
    if (size_.TakesManyBytes(curves_.size())) warnings_.emplace_back(OutputSize::manyBytesText);
}

Graph StimulusPreview::GetGraph() const {
    const char* unit = timing_.timeInSeconds ? "s" : "ms";
    GraphPane pane;
    pane.name = "stimulus";
    pane.x = {"time", unit};
    if (span_ > 0.0) pane.x.limits = {0.0, span_};
    pane.y = {"output", "V"};
    for (const OutputCurve& curve : family_) {
        GraphLayer layer;
        layer.name = pane.layers.empty() ? "sequence" : "";
        layer.colour = familyColour;
        layer.x = curve.times;
        layer.y = curve.volts;
        layer.isSilent = true;
        pane.layers.push_back(std::move(layer));
    }
    for (size_t i = 0; i < curves_.size(); ++i) {
        GraphLayer layer;
        layer.name = fmt::format("output {}", i + 1);
        layer.colour = GraphColour(i);
        layer.x = curves_[i].times;
        layer.y = curves_[i].volts;
        pane.layers.push_back(std::move(layer));
    }
    pane.title = title_;
    return {{std::move(pane)}};
}

Result StimulusPreview::Table() const {
    Result result;
    result.name = "stimulus";
    result.columns = {{"output", ""}, {"time", timing_.timeInSeconds ? "s" : "ms"}, {"value", "V"}};
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < curves_.size(); ++i)
        for (size_t k = 0; k < curves_[i].times.size(); ++k)
            rows.push_back(
                {static_cast<int64_t>(i + 1), curves_[i].times[k], static_cast<float>(curves_[i].volts[k])});
    result.SetRows(std::move(rows));
    return result;
}

}  // namespace kymora
