// The codes of a stimulus output of 100 million samples, against a memory copy of as many codes and against
// each sample by itself.

#include "bench_files.h"
#include "recording/output_pulse_buffers.h"

namespace kymora::bench {
namespace {

constexpr float seconds = 5000.0f;
constexpr int64_t plainSamples = 200'000;

// Pulses one behind the other, each with ramps, and a long one under all of them.
std::vector<DacChannel> Pulses(int count) {
    std::vector<DacChannel> channels(1);
    const float each = seconds / static_cast<float>(count);
    for (int i = 0; i < count; ++i) {
        COutputPulse& pulse = channels[0].pulses.emplace_back();
        pulse.m_fDelay = static_cast<float>(i) * each;
        pulse.m_fOnRamp = pulse.m_fOffRamp = 0.1f * each;
        pulse.m_fPlateau = 0.3f * each;
        pulse.m_fAmplitude = 3.0f;
    }
    channels[0].pulses.emplace_back().m_fPlateau = seconds - 1.0f;
    return channels;
}

int64_t SumOf(OutputCodes& codes) {
    int64_t sum = 0;
    for (auto next = codes.Next(); !next.empty(); next = codes.Next()) sum += next[0];
    return sum;
}

void Measure(int count, double copySeconds) {
    const OutputTiming timing{20.0, true};
    const DacRange range;
    const auto channels = Pulses(count);
    const auto total = static_cast<double>(PulseCodes(channels, 0, range, timing).Total());
    int64_t sum = 0;
    const double built = Seconds(3, [&] {
        PulseCodes codes(channels, 0, range, timing);
        sum += SumOf(codes);
    });
    auto pulses = channels[0].pulses;
    for (COutputPulse& pulse : pulses) pulse.SetFrequency(timing.SamplesPerTimeUnit());
    const double plain = Seconds(1, [&] {
        for (int64_t i = 0; i < plainSamples; ++i) sum += range.ToDacCode(ChannelValue(0.0f, pulses, i));
    });
    const double perCode = built / total;
    std::printf(
        "%6d pulses: %4.0f million codes a second; %4.1f x a copy; a sample by itself %.1f x as long (%d)\n",
        count, 1e-6 / perCode, perCode / copySeconds, plain / plainSamples / perCode,
        static_cast<int>(sum & 1));
}

void Run() {
    std::vector<int32_t> from(20'000'000, 1), to(from.size());
    const double copied = Seconds(5, [&] { std::copy(from.begin(), from.end(), to.begin()); });
    for (const int count : {1, 20, 1000}) Measure(count, copied / static_cast<double>(from.size()));
}

}  // namespace
}  // namespace kymora::bench

int main() { kymora::bench::Run(); }
