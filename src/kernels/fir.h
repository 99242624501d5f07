#pragma once
// The windowed filter of finite impulse response: its coefficients, and a run without the filter's delay.

#include <complex>
#include <span>
#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

enum class FirBand { pass = 0, stop = 1 };
enum class FirWindow { blackman = 0, hann = 1, kaiser = 2 };

inline constexpr int greatestFirOrder = 200;

struct FirSettings {
    double lowerCut = 0.0, upperCut = 100.0;  // Hz
    int order = 200;                          // even; the filter has one coefficient more
    FirBand band = FirBand::pass;
    FirWindow window = FirWindow::blackman;
    double alpha = 0.0;           // of the Kaiser window
    double sampleInterval = 1.0;  // ms

    double SampleFrequency() const { return 1000.0 / sampleInterval; }  // Hz
};

// Of the differences of two sinc functions, weighted by the window; as they come, and not brought to a gain
// of 1. The row is symmetric. The quotient inside the Kaiser window is a whole number and 1 at the two ends
// alone: that window is flat but for its end coefficients. Order 0 has the coefficient 1.
std::vector<double> FirCoefficients(const FirSettings& settings);

// The sum of the row's terms c exp(-j 2 pi f i / fs), i from 0; `f` and `fs` in Hz.
std::complex<double> FirResponse(std::span<const double> row, double f, double fs);

// The smallest even order whose transition from pass band to stop band is not wider than so many Hz, and the
// width that an order gives. Orders go up to greatestFirOrder.
int FirOrderFor(double transitionWidth, FirWindow window, double fs);
double FirTransitionWidth(int order, FirWindow window, double fs);

// Result m is the sum, in double and from the newest sample to the oldest, of coefficient i times sample m +
// order / 2 - i; what lies before the run counts as 0. The last order / 2 results of a run are 0, and all of
// a run that is shorter than that. `output` has the length of `input` and is another array.
void FilterFir(std::span<const float> input, std::span<const double> coefficients, std::span<float> output,
               const KernelPoll& goOn = {});
// The same results. `count` is the number of samples of the run.
void FilterFir(FloatSource& source, int64_t count, std::span<const double> coefficients, FloatSink& sink);

}  // namespace kymora
