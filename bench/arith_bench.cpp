// The kernels of trace arithmetic, normalisation, derivative and integral, each against a memory copy of the
// same floats: 5 million samples in memory, 50 million on streams.

#include <cmath>
#include <random>

#include "bench_files.h"
#include "kernels/derivative.h"
#include "kernels/integral.h"
#include "kernels/normalize.h"
#include "kernels/run_reader.h"
#include "kernels/teager.h"
#include "kernels/trace_arithmetic.h"
#include "kernels/unitary.h"

namespace kymora::bench {
namespace {

constexpr size_t shortLength = 5'000'000;
constexpr int64_t longLength = 50'000'000;

std::vector<float> Noise(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 3.0f);
    std::vector<float> samples(count);
    for (float& value : samples) value = uniform(random);
    return samples;
}

// The samples of a run, `times` times over without memory for them, and results that go to a small buffer:
// what streaming itself costs, without a disk.
class CyclingSource : public FloatSource {
  public:
    CyclingSource(std::span<const float> samples, int64_t count) : samples_(samples), left_(count) {}
    size_t Read(std::span<float> to) override {
        const auto count = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(to.size()), left_));
        for (size_t done = 0; done < count;) {
            const size_t part = std::min(count - done, samples_.size() - at_);
            std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(at_), part,
                        to.begin() + static_cast<std::ptrdiff_t>(done));
            done += part;
            at_ = (at_ + part) % samples_.size();
        }
        left_ -= static_cast<int64_t>(count);
        return count;
    }

  private:
    std::span<const float> samples_;
    int64_t left_;
    size_t at_ = 0;
};

class LastBlockSink : public FloatSink {
  public:
    void Write(std::span<const float> values) override { last_.assign(values.begin(), values.end()); }

  private:
    std::vector<float> last_;
};

class Kernels {
  public:
    Kernels() : input_(Noise(shortLength, 1)), output_(shortLength) {
        copyTime_ = Seconds(5, [&] { std::copy(input_.begin(), input_.end(), output_.begin()); });
        std::printf("memory copy of 5 million floats: %.2f ms\n", copyTime_ * 1e3);
    }

    // `inMemory(in, out)` and `streamed(makeSource, sink)` run the same kernel.
    template <typename InMemory, typename Streamed>
    void Report(const char* what, InMemory inMemory, Streamed streamed) {
        const double memory =
            Seconds(3, [&] { inMemory(std::span<const float>(input_), std::span(output_)); });
        const SourceMaker make = [&] { return std::make_unique<CyclingSource>(input_, longLength); };
        const double stream = Seconds(1, [&] {
            LastBlockSink sink;
            streamed(make, sink);
        });
        const double perSample = stream / static_cast<double>(longLength) * shortLength;
        std::printf("%-28s %6.1f x the copy, %5.0f million a second; streamed %.2f x as long\n", what,
                    memory / copyTime_, shortLength / 1e6 / memory, perSample / memory);
    }

  private:
    std::vector<float> input_, output_;
    double copyTime_;
};

void Pointwise(Kernels& kernels) {
    UnitarySettings unitary;
    unitary.order = {stepOffset, stepScale, stepRectify};
    unitary.scale = 1.5f;
    unitary.offset = -1.0f;
    kernels.Report(
        "three steps", [&](auto in, auto out) { Unitary(in, unitary, out); },
        [&](const SourceMaker& make, FloatSink& sink) { Unitary(*make(), unitary, sink); });
    IntegralSettings settings;
    const auto integral = [&](const char* what) {
        kernels.Report(
            what, [&](auto in, auto out) { Integrate(in, settings, out); },
            [&](const SourceMaker& make, FloatSink& sink) { Integrate(*make(), settings, sink); });
    };
    integral("cumulative integral");
    settings.reset = IntegralReset::afterTime;
    integral("integral, reset after time");
    settings.mode = IntegralMode::binned;
    settings.binWidth = 100;
    integral("integral of bins of 100");
}

void Neighbours(Kernels& kernels) {
    DerivativeSettings settings;
    const auto derivative = [&](const char* what, DerivativeType type) {
        settings.type = type;
        kernels.Report(
            what, [&](auto in, auto out) { Derivative(in, settings, out); },
            [&](const SourceMaker& make, FloatSink& sink) {
                Derivative(*make(), longLength, settings, sink);
            });
    };
    derivative("adjacent difference", DerivativeType::adjacentPre);
    derivative("first derivative, order 4", DerivativeType::firstOrder4);
    derivative("third derivative, order 4", DerivativeType::thirdOrder4);
    for (const int64_t k : {1, 5000})
        kernels.Report(
            k == 1 ? "Teager energy, k = 1" : "Teager energy, k = 5000",
            [&](auto in, auto out) { TeagerEnergy(in, k, out); },
            [&](const SourceMaker& make, FloatSink& sink) { TeagerEnergy(*make(), k, sink); });
}

void Normalisation(Kernels& kernels) {
    NormalizeSettings settings;
    const auto normalize = [&](const char* what) {
        kernels.Report(
            what, [&](auto in, auto out) { Normalize(in, settings, out); },
            [&](const SourceMaker& make, FloatSink& sink) { Normalize(make, longLength, settings, sink); });
    };
    normalize("min : max -> 0 : 1");
    settings.type = NormType::deltaF;
    normalize("F0 of the whole run");
    settings.halfWindow = 50;
    settings.method = F0Method::percentile;
    normalize("F0 by percentile, h = 50");
    settings.method = F0Method::lowestAverage;
    normalize("F0 of the lowest average");
}

void Arithmetic() {
    std::vector<std::vector<float>> traces;
    for (unsigned i = 0; i < 4; ++i) traces.push_back(Noise(shortLength, i));
    const TracesReader read = [&](int64_t from, std::span<const int> wanted,
                                  std::span<const std::span<float>> to) {
        for (size_t n = 0; n < wanted.size(); ++n)
            std::copy_n(traces[static_cast<size_t>(wanted[n])].begin() + from, to[n].size(), to[n].begin());
    };
    std::mt19937 random(1);
    std::vector<float> output(shortLength);
    TraceArithmetic arithmetic(random, 4, 0.1);
    for (const char* text : {"x1 + 2*x2 - x3*x4", "(x1 + x2 + x3 + x4)/4", "x1 > x2 ? x3 : -x4",
                             "sqrt(x1^2 + x2^2) + abs(x3)*x4", "sin(xt/10)*x1 + exp(-x2^2)*x3/(1 + x4^2)",
                             "x1 + x2*x3*rndn()/x4"}) {
        if (!arithmetic.Parse(text).empty()) std::abort();
        const double took = Seconds(3, [&] { arithmetic.Run(0, read, output); });
        std::printf("%-42s %4.0f million samples a second (goal: 20)\n", text, shortLength / 1e6 / took);
    }
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora::bench;
    Kernels kernels;
    Pointwise(kernels);
    Neighbours(kernels);
    Normalisation(kernels);
    Arithmetic();
    return 0;
}
