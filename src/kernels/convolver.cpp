#include "kernels/convolver.h"

#include "kernels/run_reader.h"
#include "numerics/window_dots.h"

namespace kymora {

void Convolve(FloatSource& source, int64_t count, std::span<const float> coefficients, FloatSink& sink) {
    const size_t length = coefficients.size();
    if (length == 0 || count == 0) return;
    RunReader reader(source, count);
    ResultBuffer results(sink);
    SlidingWindows windows(length);
    std::ranges::fill(windows.Append(length - 1 - length / 2), 0.0f);
    for (size_t padding = length / 2; reader.Left() > 0 || padding > 0;) {
        if (reader.Left() > 0) {
            windows.AppendFrom(reader);
        } else {
            const size_t zeros = std::min(padding, windows.Room());
            std::ranges::fill(windows.Append(zeros), 0.0f);
            padding -= zeros;
        }
        const size_t whole = windows.Count();
        WindowDots(coefficients, windows.Samples(), results.Room(whole));
        windows.Drop(whole);
    }
    results.Flush();
}

void Convolve(std::span<const float> input, std::span<const float> coefficients, std::span<float> output) {
    SpanSource source(input);
    SpanSink sink(output);
    Convolve(source, static_cast<int64_t>(input.size()), coefficients, sink);
}

}  // namespace kymora
