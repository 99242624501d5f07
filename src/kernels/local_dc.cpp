#include "kernels/local_dc.h"

#include "kernels/run_reader.h"
#include "numerics/window_mean.h"

namespace kymora {

namespace {

double MeanOfRun(FloatSource& source, int64_t count) {
    RunReader reader(source, count);
    double sum = 0.0;
    while (reader.Left() > 0)
        for (const float sample : reader.NextBlock()) sum += sample;
    return sum / static_cast<double>(count);
}

void SubtractMean(const SourceMaker& makeSource, int64_t count, FloatSink& sink) {
    const double mean = MeanOfRun(*makeSource(), count);
    const auto source = makeSource();
    RunReader reader(*source, count);
    ResultBuffer results(sink);
    while (reader.Left() > 0) {
        const std::span<const float> samples = reader.NextBlock();
        const std::span<float> to = results.Room(samples.size());
        for (size_t i = 0; i < samples.size(); ++i) to[i] = static_cast<float>(samples[i] - mean);
    }
    results.Flush();
}

void SubtractMeans(FloatSource& source, int64_t count, size_t half, FloatSink& sink) {
    RunReader reader(source, count);
    ResultBuffer results(sink);
    WindowMean means(half);
    const auto subtract = [&](double mean, float sample) { results.Add(static_cast<float>(sample - mean)); };
    while (reader.Left() > 0) means.Take(reader.NextBlock(), subtract);
    means.Finish(subtract);
    results.Flush();
}

}  // namespace

KernelOutcome RemoveLocalDC(const SourceMaker& makeSource, int64_t count, int64_t halfWindow,
                            FloatSink& sink) {
    const int64_t half = std::max<int64_t>(halfWindow, 0);
    if (count == 0) return {};
    if (half >= count / 2)
        SubtractMean(makeSource, count, sink);
    else
        SubtractMeans(*makeSource(), count, static_cast<size_t>(half), sink);
    return {};
}

KernelOutcome RemoveLocalDC(std::span<const float> input, int64_t halfWindow, std::span<float> output,
                            const KernelPoll& goOn) {
    SpanSink sink(output);
    const SourceMaker source = [&] { return std::make_unique<PolledSource>(input, goOn); };
    return RemoveLocalDC(source, static_cast<int64_t>(input.size()), halfWindow, sink);
}

}  // namespace kymora
