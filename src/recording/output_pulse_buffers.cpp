#include "recording/output_pulse_buffers.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace kymora {

namespace {

constexpr int64_t buffersOfAQuestion = 500;
constexpr int64_t buffersOfAMegabyte = 50;
constexpr int64_t longFileSamples = 50000000;

// Adds `value(samples since `start`)` in what of [start, end) lies within the buffer.
template <typename Value>
void AddPart(int64_t start, int64_t end, int64_t first, std::span<float> volts, const Value& value) {
    const int64_t from = std::max(start, first);
    const int64_t to = std::min(end, first + static_cast<int64_t>(volts.size()));
    for (int64_t i = from; i < to; ++i)
        volts[static_cast<size_t>(i - first)] += value(static_cast<float>(static_cast<uint32_t>(i - start)));
}

// What COutputPulse::Value gives for each sample.
void AddPulse(const COutputPulse& pulse, int64_t first, std::span<float> volts) {
    AddPart(pulse.m_nStart, pulse.m_nOnEnd, first, volts, [&](float at) { return at * pulse.m_fOnSlope; });
    AddPart(pulse.m_nOnEnd, pulse.m_nPlateauEnd, first, volts, [&](float) { return pulse.m_fAmplitude; });
    AddPart(pulse.m_nPlateauEnd, pulse.m_nEnd, first, volts,
            [&](float at) { return pulse.m_fAmplitude - at * pulse.m_fOffSlope; });
}

// False where it may not go on.
bool HandOver(OutputCodes& codes, const std::function<bool(std::span<const int32_t>)>& put,
              const std::function<bool(int64_t)>& mayGoOn) {
    int64_t buffers = 0;
    for (auto next = codes.Next(); !next.empty(); next = codes.Next()) {
        if (!put(next)) return true;
        if (++buffers % buffersOfAQuestion == 0 && !mayGoOn(buffers)) return false;
    }
    return true;
}

}  // namespace

// --- pulses ---

PulseCodes::PulseCodes(std::span<const DacChannel> channels, int64_t index, const DacRange& range,
                       const OutputTiming& timing, Host* log)
    : range_(range) {
    std::vector<std::vector<COutputPulse>> stored;
    for (const DacChannel& channel : channels) {
        Player& player = players_.emplace_back();
        player.level = channel.m_fDcLevel;
        for (const COutputPulse& pulse : channel.pulses) {
            player.pulses.push_back(pulse.GetSequencePulse(index, range, log));
            player.pulses.back().SetFrequency(timing.SamplesPerTimeUnit());
        }
        player.byStart.resize(player.pulses.size());
        std::iota(player.byStart.begin(), player.byStart.end(), 0u);
        std::stable_sort(player.byStart.begin(), player.byStart.end(), [&](uint32_t a, uint32_t b) {
            return player.pulses[a].m_nStart < player.pulses[b].m_nStart;
        });
        stored.push_back(channel.pulses);
    }
    total_ = SizeOfOutput(stored, index, range, timing).total / 2 * 2;
}

void PulseCodes::Player::Fill(int64_t first, std::span<float> volts) {
    const int64_t end = first + static_cast<int64_t>(volts.size());
    std::erase_if(sounding, [&](uint32_t pulse) { return pulses[pulse].m_nEnd <= first; });
    while (nextByStart < byStart.size() && pulses[byStart[nextByStart]].m_nStart < end)
        sounding.push_back(byStart[nextByStart++]);
    std::sort(sounding.begin(), sounding.end());
    std::fill(volts.begin(), volts.end(), level);
    for (const uint32_t pulse : sounding) AddPulse(pulses[pulse], first, volts);
}

std::span<const int32_t> PulseCodes::Next() {
    const size_t channels = players_.size();
    codes_.resize(static_cast<size_t>(std::min<int64_t>(total_ - done_, outputBufferSamples)));
    volts_.resize(codes_.size() / channels);
    for (size_t c = 0; c < channels; ++c) {
        players_[c].Fill(done_ / static_cast<int64_t>(channels), volts_);
        for (size_t i = 0; i < volts_.size(); ++i) codes_[i * channels + c] = range_.ToDacCode(volts_[i]);
    }
    done_ += static_cast<int64_t>(codes_.size());
    return codes_;
}

// --- files ---

double UnitsPerVolt(std::string_view unit) {
    if (unit == "V") return 1.0;
    return unit == "uV" || unit == "µV" || unit == "μV" ? 1e6 : 1000.0;
}

FileCodes::FileCodes(SampleReader& samples, int64_t first, int64_t count, std::span<const int> traces,
                     int outputs, const DacRange& range, std::vector<double> unitsPerVolt)
    : samples_(samples),
      at_(first),
      end_(first + count),
      traces_(traces.begin(), traces.end()),
      range_(range),
      unitsPerVolt_(std::move(unitsPerVolt)) {
    unitsPerVolt_.resize(traces_.size(), UnitsPerVolt("mV"));
    traces_.resize(std::min(traces_.size(), static_cast<size_t>(outputs)));
}

std::span<const int32_t> FileCodes::Next() {
    const size_t channels = traces_.size();
    if (channels == 0) return {};
    const auto most = static_cast<int64_t>(outputBufferSamples / channels);
    const auto count = static_cast<size_t>(std::min(end_ - at_, most));
    codes_.resize(count * channels);
    values_.resize(codes_.size());
    valid_.resize(codes_.size());
    std::vector<TraceBlock> blocks;
    for (size_t c = 0; c < channels; ++c)
        blocks.push_back({traces_[c], std::span(values_).subspan(c * count, count),
                          std::span(valid_).subspan(c * count, count)});
    if (count > 0) samples_.ReadBlocks(at_, blocks);
    for (size_t c = 0; c < channels; ++c)
        for (size_t i = 0; i < count; ++i) {
            const double value = valid_[c * count + i] != 0 ? double{values_[c * count + i]} : 0.0;
            codes_[i * channels + c] = range_.ToDacCode(static_cast<float>(value / unitsPerVolt_[c]));
        }
    at_ += static_cast<int64_t>(count);
    if (codes_.size() % 2 != 0) codes_.push_back(codes_.back());
    return codes_;
}

// --- buffers ---

bool BuildPulseBuffers(PulseCodes& codes, Host& host,
                       const std::function<bool(std::span<const int32_t>)>& put) {
    return HandOver(codes, put, [&host](int64_t buffers) {
        return host.Confirm(fmt::format("You have allocated {} MB of output buffer. Continue?",
                                        buffers / buffersOfAMegabyte));
    });
}

bool BuildFileBuffers(FileCodes& codes, Host& host,
                      const std::function<bool(std::span<const int32_t>)>& put) {
    if (codes.Total() > longFileSamples &&
        !host.Confirm("You will need to allocate more than 100MB of memory to output this length of "
                      "buffer.\nThis may cause problems. Continue?"))
        return false;
    HandOver(codes, put, [](int64_t) { return true; });
    return true;
}

}  // namespace kymora
