#include "kernels/fir.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "kernels/run_reader.h"
#include "numerics/window_dots.h"

namespace kymora {

namespace {

using std::numbers::pi;

// The modified Bessel function of the first kind and order 0, by its series.
double BesselI(double x) {
    constexpr int terms = 25;
    double sum = 1.0, term = 1.0;
    for (int j = 1; j <= terms; ++j) {
        term *= x / (2.0 * j);
        sum += term * term;
    }
    return sum;
}

double WindowAt(const FirSettings& settings, int k) {
    const int order = settings.order;
    switch (settings.window) {
    case FirWindow::blackman:
        return 0.42 + 0.5 * std::cos(2.0 * pi * k / order) + 0.08 * std::cos(4.0 * pi * k / order);
    case FirWindow::hann:
        return (std::cos(pi * k / (order / 2 + 1)) + 1.0) * 0.5;
    case FirWindow::kaiser: {
        const int t = 4 * k * k / order / order;
        return BesselI(settings.alpha * std::sqrt(1.0 - t)) / BesselI(settings.alpha);
    }
    }
    return 1.0;
}

// Of the ideal filter.
double IdealAt(const FirSettings& settings, int k) {
    const double wl = 2.0 * pi * settings.lowerCut / settings.SampleFrequency();
    const double wh = 2.0 * pi * settings.upperCut / settings.SampleFrequency();
    const bool isStop = settings.band == FirBand::stop;
    if (k == 0) {
        const double c = (wh - wl) / pi;
        return isStop ? 1.0 - c : c;
    }
    const double c = (std::sin(k * wh) - std::sin(k * wl)) / k / pi;
    return isStop ? -c : c;
}

// From the pass band's ripple to the stop band's, times order / fs; that of the Kaiser window is a
// rectangle's.
double WidthFactor(FirWindow window) {
    switch (window) {
    case FirWindow::blackman:
        return 5.5;
    case FirWindow::hann:
        return 3.1;
    default:
        return 0.9;
    }
}

}  // namespace

std::vector<double> FirCoefficients(const FirSettings& settings) {
    if (settings.order == 0) return {1.0};
    const int half = settings.order / 2;
    std::vector<double> row;
    for (int k = -half; k <= half; ++k) row.push_back(IdealAt(settings, k) * WindowAt(settings, k));
    return row;
}

std::complex<double> FirResponse(std::span<const double> row, double f, double fs) {
    std::complex<double> sum = 0.0;
    for (size_t i = 0; i < row.size(); ++i) {
        const double angle = 2.0 * pi * f * static_cast<double>(i) / fs;
        sum += row[i] * std::complex<double>(std::cos(angle), -std::sin(angle));
    }
    return sum;
}

int FirOrderFor(double transitionWidth, FirWindow window, double fs) {
    const double order = WidthFactor(window) * fs / transitionWidth;
    if (!(order < greatestFirOrder)) return greatestFirOrder;
    return std::max(2, 2 * static_cast<int>(std::ceil(order / 2.0)));
}

double FirTransitionWidth(int order, FirWindow window, double fs) {
    return order == 0 ? fs / 2.0 : std::min(fs / 2.0, WidthFactor(window) * fs / order);
}

void FilterFir(std::span<const float> input, std::span<const double> coefficients, std::span<float> output,
               const KernelPoll& goOn) {
    PolledSource source(input, goOn);
    SpanSink sink(output);
    FilterFir(source, static_cast<int64_t>(input.size()), coefficients, sink);
}

void FilterFir(FloatSource& source, int64_t count, std::span<const double> coefficients, FloatSink& sink) {
    const auto half = static_cast<int64_t>(coefficients.size() / 2);
    ResultBuffer results(sink);
    RunReader reader(source, count);
    if (count > half) {
        // The row is symmetric, so that the newest sample's coefficient is the first of them either way.
        SlidingWindows windows(coefficients.size());
        std::ranges::fill(windows.Append(static_cast<size_t>(half)), 0.0f);
        while (reader.Left() > 0) {
            windows.AppendFrom(reader);
            const size_t whole = windows.Count();
            WindowDots(coefficients, windows.Samples(), 1.0, results.Room(whole), DotOrder::newestFirst);
            windows.Drop(whole);
        }
    }
    results.Fill(0.0f, std::min(half, count));
    results.Flush();
}

}  // namespace kymora
