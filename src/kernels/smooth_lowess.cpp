#include "kernels/smooth_lowess.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "kernels/run_reader.h"

namespace kymora {

namespace {

// Takes results and asks at times whether to go on.
class PolledResults {
  public:
    PolledResults(FloatSink& sink, Host& host, int64_t count)
        : results_(sink), progress_(host, lowessProgressText, static_cast<uint64_t>(count)) {}

    int64_t Written() const { return written_; }
    // False ends the work.
    bool Add(double value) {
        results_.Add(static_cast<float>(value));
        return ++written_ % lowessPollInterval != 0 || progress_.GoesOn(static_cast<uint64_t>(written_));
    }
    void Flush() { results_.Flush(); }

  private:
    ResultBuffer results_;
    ProgressScope progress_;
    int64_t written_ = 0;
};

// False when the user has cancelled.
bool FitPlaces(std::span<const float> window, size_t from, size_t to, const LocalFitSettings& settings,
               PolledResults& results) {
    for (size_t place = from; place < to; ++place)
        if (!results.Add(LocalFit(window.size(), place, settings).Value(window))) return false;
    return true;
}

bool FitAll(RunReader& reader, size_t half, const LocalFitSettings& settings, PolledResults& results) {
    const size_t window = 2 * half + 1;
    SlidingWindows windows(window);
    reader.Fill(windows.Append(window));
    if (!FitPlaces(windows.Window(0), 0, half, settings, results)) return false;
    // The last sample once more.
    const float last = windows.Window(0).back();
    windows.Drop(1);
    windows.Append(1)[0] = last;
    LocalFit middle(window, half, settings);
    for (;;) {
        const size_t whole = windows.Count();
        for (size_t i = 0; i < whole; ++i)
            if (!results.Add(middle.Value(windows.Window(i)))) return false;
        windows.Drop(whole - 1);
        if (reader.Left() == 0) break;
        windows.AppendFrom(reader);
        windows.Drop(1);
    }
    return FitPlaces(windows.Window(0), half + 1, window, settings, results);
}

KernelOutcome TooShort() {
    KernelOutcome outcome = KernelOutcome::Failure();
    outcome.note = runShorterThanWindowText;
    return outcome;
}

KernelOutcome CancelledAfter(int64_t written, Host& host) {
    host.Log(fmt::format("SmoothLOWESS: write count = {}\n", written));
    return KernelOutcome::Failure();
}

}  // namespace

KernelOutcome SmoothLOWESS(std::span<const float> input, const LowessSettings& settings,
                           std::span<float> output, Host& host) {
    SpanSource source(input);
    SpanSink sink(output);
    return SmoothLOWESS(source, static_cast<int64_t>(input.size()), settings, sink, host);
}

KernelOutcome SmoothLOWESS(FloatSource& source, int64_t count, const LowessSettings& settings,
                           FloatSink& sink, Host& host) {
    if (count == 0) return {};
    RunReader reader(source, count);
    if (settings.halfWindow <= 0) {
        while (reader.Left() > 0) sink.Write(reader.NextBlock());
        return {};
    }
    if (count < 2 * settings.halfWindow + 1) return TooShort();
    PolledResults results(sink, host, count);
    if (!FitAll(reader, static_cast<size_t>(settings.halfWindow), settings.fit, results))
        return CancelledAfter(results.Written(), host);
    results.Flush();
    return {};
}

KernelOutcome SmoothLOWESS(std::span<const double> input, const LowessSettings& settings,
                           std::span<double> output, Host& host) {
    if (settings.halfWindow <= 0) {
        std::copy(input.begin(), input.end(), output.begin());
        return {};
    }
    const auto half = static_cast<size_t>(settings.halfWindow);
    const size_t count = input.size(), window = 2 * half + 1;
    if (count == 0) return {};
    if (count < window) return TooShort();
    // In the order in which windows take them.
    std::vector<double> samples(input.begin(), input.end());
    samples.insert(samples.begin() + static_cast<std::ptrdiff_t>(window), input[window - 1]);
    const size_t lastFirst = samples.size() - window;
    ProgressScope progress(host, lowessProgressText, count);
    LocalFit middle(window, half, settings.fit);
    for (size_t i = 0; i < count; ++i) {
        const size_t first = i < half ? 0 : std::min(i - half + 1, lastFirst);
        const size_t place = i < half ? i : i < count - half ? half : i + window - count;
        const auto around = std::span<const double>(samples).subspan(first, window);
        output[i] =
            place == half ? middle.Value(around) : LocalFit(window, place, settings.fit).Value(around);
        if ((i + 1) % lowessPollInterval == 0 && !progress.GoesOn(i + 1))
            return CancelledAfter(static_cast<int64_t>(i) + 1, host);
    }
    return {};
}

}  // namespace kymora
