#include "kernels/smooth_savgol.h"

#include "curves/savgol.h"
#include "kernels/run_reader.h"
#include "numerics/window_dots.h"

namespace kymora {

namespace {

const char* FaultOf(int64_t count, const SavgolSettings& settings) {
    if (settings.halfWindow < settings.polyDegree) return degreeAboveHalfWindowText;
    if (count < 3 * settings.halfWindow) return insufficientDataText;
    if (settings.polyDegree < settings.derivative) return derivativeAboveDegreeText;
    return nullptr;
}

double TimeScale(const SavgolSettings& settings) {
    const double dt = settings.sampleInterval;
    switch (settings.derivative) {
    case 1:
        return 1.0 / dt;
    case 2:
        return 1.0 / (dt * dt);
    case 3:
        return 1.0 / (dt * dt * dt);
    default:
        return 1.0;
    }
}

void Run(FloatSource& source, int64_t count, const SavgolSettings& settings, double scale, FloatSink& sink) {
    const int64_t half = settings.halfWindow;
    const auto window = static_cast<size_t>(2 * half + 1);
    const auto row = [&](int64_t at) {
        return SavgolRow(at, 2 * half - at, settings.derivative, settings.polyDegree);
    };
    RunReader reader(source, count);
    ResultBuffer results(sink);
    SlidingWindows windows(window);
    reader.Fill(windows.Append(window));
    for (int64_t at = 0; at < half; ++at) WindowDots(row(at), windows.Window(0), scale, results.Room(1));
    const std::vector<double> symmetric = row(half);
    WindowDots(symmetric, windows.Window(0), scale, results.Room(1));
    while (reader.Left() > 0) {
        windows.Drop(1);
        windows.AppendFrom(reader);
        const size_t whole = windows.Count();
        WindowDots(symmetric, windows.Samples(), scale, results.Room(whole));
        windows.Drop(whole - 1);
    }
    for (int64_t at = half + 1; at <= 2 * half; ++at)
        WindowDots(row(at), windows.Window(0), scale, results.Room(1));
    results.Flush();
}

KernelOutcome Checked(FloatSource& source, int64_t count, const SavgolSettings& settings, double scale,
                      FloatSink& sink) {
    if (count == 0) return {};
    if (const char* fault = FaultOf(count, settings)) return KernelOutcome::Failure(fault);
    Run(source, count, settings, scale, sink);
    return {};
}

}  // namespace

KernelOutcome SmoothSavgol(std::span<const float> input, const SavgolSettings& settings,
                           std::span<float> output, const KernelPoll& goOn) {
    PolledSource source(input, goOn);
    SpanSink sink(output);
    return Checked(source, static_cast<int64_t>(input.size()), settings, TimeScale(settings), sink);
}

KernelOutcome SmoothSavgol(FloatSource& source, int64_t count, const SavgolSettings& settings,
                           FloatSink& sink) {
    return Checked(source, count, settings, 1.0, sink);
}

}  // namespace kymora
