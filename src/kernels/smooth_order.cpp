#include "kernels/smooth_order.h"

#include "kernels/run_reader.h"
#include "numerics/running_order.h"

namespace kymora {

namespace {

int64_t WindowOf(const OrderSettings& settings) { return 2 * std::max<int64_t>(0, settings.halfWindow) + 1; }

RunningOrder OrderFor(const OrderSettings& settings) {
    return {static_cast<size_t>(WindowOf(settings)), static_cast<size_t>(OrderRank(settings))};
}

constexpr size_t pollInterval = 65536;  // samples

// Calls take(i) from `first` up to but not including `end`; false when it was ended before.
template <typename Take>
bool ForEachPolled(size_t first, size_t end, const KernelPoll& goOn, Take take) {
    for (size_t i = first; i < end;) {
        if (goOn && !goOn(static_cast<int64_t>(i))) return false;
        for (const size_t pause = std::min(end, i + pollInterval); i < pause; ++i) take(i);
    }
    return true;
}

// `order` keeps its window from pass to pass. False when it was ended.
bool HeapPass(std::span<const float> input, RunningOrder& order, size_t half, std::span<float> output,
              const KernelPoll& goOn) {
    float value = 0.0f;
    if (!ForEachPolled(0, 2 * half + 1, goOn, [&](size_t i) { value = order.Push(input[i]); })) return false;
    std::fill_n(output.begin(), half + 1, value);
    if (!ForEachPolled(2 * half, input.size(), goOn,
                       [&](size_t i) { output[i - half] = value = order.Push(input[i]); }))
        return false;
    std::fill(output.end() - static_cast<std::ptrdiff_t>(half), output.end(), value);
    return true;
}

void HeapPass(FloatSource& source, int64_t count, RunningOrder& order, int64_t half, FloatSink& sink) {
    RunReader reader(source, count);
    ResultBuffer results(sink);
    float value = 0.0f;
    int64_t taken = 0;
    while (reader.Left() > 0) {
        std::span<const float> block = reader.NextBlock();
        for (; !block.empty() && taken <= 2 * half; block = block.subspan(1)) {
            value = order.Push(block[0]);
            if (++taken <= 2 * half) continue;
            results.Fill(value, half + 1);
            results.Add(value = order.Push(block[0]));
        }
        const std::span<float> to = results.Room(block.size());
        for (size_t i = 0; i < block.size(); ++i) to[i] = value = order.Push(block[i]);
    }
    results.Fill(value, half - 1);
    results.Flush();
}

void ExplicitPass(FloatSource& source, int64_t count, const OrderSettings& settings, FloatSink& sink) {
    const auto half = static_cast<size_t>(std::max<int64_t>(0, settings.halfWindow));
    const auto rank = static_cast<size_t>(OrderRank(settings));
    RunReader reader(source, count);
    ResultBuffer results(sink);
    SortedWindow window(2 * half + 1);
    std::vector<float> margin(half);
    reader.Fill(margin);
    for (size_t i = half; i-- > 0;) window.Push(margin[i]);
    for (const float sample : margin) window.Push(sample);
    while (reader.Left() > 0)
        for (const float sample : reader.NextBlock()) {
            window.Push(sample);
            results.Add(window.At(rank));
        }
    for (size_t i = 0; i < half; ++i) margin[i] = window.Newest(i);
    for (const float sample : margin) {
        window.Push(sample);
        results.Add(window.At(rank));
    }
    results.Flush();
}

KernelOutcome TooShort() {
    KernelOutcome outcome = KernelOutcome::Failure();
    outcome.note = runShorterThanWindowText;
    return outcome;
}

}  // namespace

int64_t OrderRank(const OrderSettings& settings) {
    const int64_t window = WindowOf(settings);
    if (settings.mode == OrderMode::median) return window / 2 + 1;
    const bool isExplicit = settings.mode == OrderMode::explicitPercentile;
    const auto percent = static_cast<float>(isExplicit ? settings.percentile : 100 - settings.percentile);
    const float share = static_cast<float>(window) * percent / 100.0f;
    const auto rank = static_cast<int64_t>(share + 0.5f);
    return isExplicit ? std::clamp<int64_t>(rank, 0, window - 1) : std::clamp<int64_t>(rank, 1, window);
}

KernelOutcome SmoothOrder(std::span<const float> input, const OrderSettings& settings,
                          std::span<float> output, const KernelPoll& goOn) {
    if (input.empty()) return {};
    const auto count = static_cast<int64_t>(input.size());
    if (count < WindowOf(settings)) {
        std::copy(input.begin(), input.end(), output.begin());
        return TooShort();
    }
    if (settings.mode == OrderMode::explicitPercentile) {
        PolledSource source(input, goOn);
        SpanSink sink(output);
        ExplicitPass(source, count, settings, sink);
        return {};
    }
    RunningOrder order = OrderFor(settings);
    const auto half = static_cast<size_t>(WindowOf(settings) / 2);
    if (!HeapPass(input, order, half, output, goOn)) return KernelOutcome::Failure();
    std::vector<float> from(settings.iterations > 1 ? input.size() : 0);
    for (int pass = 1; pass < settings.iterations; ++pass) {
        std::copy(output.begin(), output.end(), from.begin());
        if (!HeapPass(from, order, half, output, goOn)) return KernelOutcome::Failure();
    }
    return {};
}

KernelOutcome SmoothOrder(FloatSource& source, int64_t count, const OrderSettings& settings, FloatSink& sink,
                          ScratchRoom& room) {
    if (count == 0) return {};
    if (count < WindowOf(settings)) return TooShort();
    if (settings.halfWindow <= 0) {
        RunReader reader(source, count);
        while (reader.Left() > 0) sink.Write(reader.NextBlock());
    } else if (settings.mode == OrderMode::explicitPercentile) {
        ExplicitPass(source, count, settings, sink);
    } else {
        RunningOrder order = OrderFor(settings);
        RepeatPass(source, sink, room, settings.iterations, [&](FloatSource& from, FloatSink& to) {
            HeapPass(from, count, order, settings.halfWindow, to);
        });
    }
    return {};
}

}  // namespace kymora
