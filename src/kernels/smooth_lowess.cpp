#include "kernels/smooth_lowess.h"

#include <fmt/format.h>

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
    KernelOutcome outcome;
    if (count < 2 * settings.halfWindow + 1) {
        outcome = KernelOutcome::Failure();
        outcome.note = runShorterThanWindowText;
        return outcome;
    }
    PolledResults results(sink, host, count);
    if (!FitAll(reader, static_cast<size_t>(settings.halfWindow), settings.fit, results)) {
        host.Log(fmt::format("SmoothLOWESS: write count = {}\n", results.Written()));
        return KernelOutcome::Failure();
    }
    results.Flush();
    return outcome;
}

}  // namespace kymora
