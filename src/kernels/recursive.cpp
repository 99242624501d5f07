#include "kernels/recursive.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>

#include "document/native_writer.h"
#include "kernels/run_reader.h"

namespace kymora {

namespace {

constexpr size_t mostForward = 202, mostFeedback = 4;
constexpr size_t pollAfter = 1 << 16;  // samples

float Rounded(double value) { return static_cast<float>(value); }

// With lines whose lengths the compiler knows, so that they stay in registers. They hold floats as doubles.
template <size_t forward, size_t feedback>
class ShortRecursion {
  public:
    explicit ShortRecursion(const RecursiveSettings& settings) : divisor_(settings.feedback[0]) {
        std::ranges::copy(settings.forward, b_.begin());
        std::copy(settings.feedback.begin() + 1, settings.feedback.end(), a_.begin());
    }

    float Next(float sample) {
        float y = Rounded(b_[0] * sample);
        for (size_t j = 0; j < forward; ++j) y = Rounded(y + b_[j + 1] * x_[j]);
        for (size_t j = 0; j < feedback; ++j) y = Rounded(y + a_[j] * y_[j]);
        // A division by 1 would change nothing and hold up the next sample.
        if (divisor_ != 1.0) y = Rounded(y / divisor_);
        if constexpr (forward > 0) Push(x_, sample);
        Push(y_, y);
        return y;
    }

  private:
    template <size_t n>
    static void Push(std::array<double, n>& line, float value) {
        for (size_t j = n - 1; j > 0; --j) line[j] = line[j - 1];
        line[0] = value;
    }

    double divisor_;
    std::array<double, forward + 1> b_{};
    std::array<double, feedback> a_{};
    std::array<double, forward> x_{};
    std::array<double, feedback> y_{};
};

class LongRecursion {
  public:
    explicit LongRecursion(const RecursiveSettings& settings)
        : b_(settings.forward),
          a_(settings.feedback),
          x_(settings.forward.size(), 0.0f),
          y_(settings.feedback.size(), 0.0f) {}

    float Next(float sample) {
        std::shift_right(x_.begin(), x_.end(), 1);
        x_[0] = sample;
        float y = Rounded(b_[0] * sample);
        for (size_t j = 1; j < b_.size(); ++j) y = Rounded(y + b_[j] * x_[j]);
        for (size_t j = 1; j < a_.size(); ++j) y = Rounded(y + a_[j] * y_[j - 1]);
        y = Rounded(y / a_[0]);
        std::shift_right(y_.begin(), y_.end(), 1);
        y_[0] = y;
        return y;
    }

  private:
    std::vector<double> b_, a_;
    std::vector<float> x_, y_;
};

template <typename Filter>
class RecursionPass {
  public:
    explicit RecursionPass(const RecursiveSettings& settings) : filter_(settings) {}
    void Take(std::span<const float> samples, ResultBuffer& results) {
        const std::span<float> to = results.Room(samples.size());
        Filter filter = filter_;
        for (size_t i = 0; i < samples.size(); ++i) to[i] = filter.Next(samples[i]);
        filter_ = std::move(filter);
        if (!samples.empty()) last_ = to.back();
    }
    void Finish(ResultBuffer&) { isSpoilt_ = !std::isfinite(last_); }
    bool IsSpoilt() const { return isSpoilt_; }

  private:
    Filter filter_;
    float last_ = 0.0f;
    bool isSpoilt_ = false;
};

// Calls with(filter) for a filter of these rows.
template <typename With>
KernelOutcome WithFilter(const RecursiveSettings& settings, With with) {
    const size_t forward = settings.forward.size(), feedback = settings.feedback.size();
    if (forward == 0 || forward > mostForward || feedback == 0 || feedback > mostFeedback)
        throw std::invalid_argument("bad rows of a recursive filter");
    if (forward == 1 && feedback == 2) return with(ShortRecursion<0, 1>(settings));
    if (forward == 2 && feedback == 2) return with(ShortRecursion<1, 1>(settings));
    if (forward == 3 && feedback == 3) return with(ShortRecursion<2, 2>(settings));
    return with(LongRecursion(settings));
}

KernelOutcome Outcome(bool isSpoilt) {
    KernelOutcome outcome;
    if (isSpoilt) outcome.note = spoiltToTheEndText;
    return outcome;
}

}  // namespace

KernelOutcome FilterRecursive(std::span<const float> input, const RecursiveSettings& settings,
                              std::span<float> output, const KernelPoll& goOn) {
    return WithFilter(settings, [&](auto filter) {
        const auto ask = [&](size_t done) {
            if (goOn && !goOn(static_cast<int64_t>(done))) throw Cancelled();
        };
        auto forward = filter;
        for (size_t from = 0; from < input.size(); from += pollAfter) {
            ask(from);
            const size_t end = std::min(input.size(), from + pollAfter);
            for (size_t i = from; i < end; ++i) output[i] = forward.Next(input[i]);
        }
        bool isSpoilt = !input.empty() && !std::isfinite(output[input.size() - 1]);
        if (!settings.isBidirectional) return Outcome(isSpoilt);
        auto backward = filter;
        for (size_t end = input.size(); end > 0;) {
            ask(input.size());
            const size_t from = end > pollAfter ? end - pollAfter : 0;
            for (; end > from; --end) output[end - 1] = backward.Next(output[end - 1]);
        }
        return Outcome(isSpoilt);
    });
}

KernelOutcome FilterRecursive(FloatSource& source, const RecursiveSettings& settings, FloatSink& sink,
                              ScratchRoom& room) {
    return WithFilter(settings, [&]<typename Filter>(const Filter&) {
        bool isSpoilt = false;
        const auto run = [&](FloatSource& from, FloatSink& to) {
            ResultBuffer results(to);
            RecursionPass<Filter> pass(settings);
            ForEachBlock(from, [&](std::span<const float> samples) { pass.Take(samples, results); });
            pass.Finish(results);
            results.Flush();
            isSpoilt = isSpoilt || pass.IsSpoilt();
        };
        if (!settings.isBidirectional) {
            run(source, sink);
            return Outcome(isSpoilt);
        }
        const std::unique_ptr<ScratchRun> reversed = room.Make();
        {
            const std::unique_ptr<ScratchRun> forward = room.Make();
            run(source, forward->Sink());
            run(*forward->Backwards(), reversed->Sink());
        }
        ForEachBlock(*reversed->Backwards(), [&](std::span<const float> samples) { sink.Write(samples); });
        return Outcome(isSpoilt);
    });
}

std::complex<double> RecursiveResponse(const RecursiveSettings& settings, double f, double fs) {
    const double angle = 2.0 * std::numbers::pi * f / fs;
    const auto delay = [angle](size_t j) { return std::polar(1.0, -angle * static_cast<double>(j)); };
    std::complex<double> above = 0.0, below = settings.feedback[0];
    for (size_t j = 0; j < settings.forward.size(); ++j) above += settings.forward[j] * delay(j);
    for (size_t j = 1; j < settings.feedback.size(); ++j) below -= settings.feedback[j] * delay(j);
    const std::complex<double> response = above / below;
    return settings.isBidirectional ? std::complex<double>(std::norm(response)) : response;
}

RecursiveSettings RcFilter(RcType type, double tau, double sampleInterval, bool isBidirectional) {
    const double x = std::exp(-sampleInterval / tau);
    if (type == RcType::lowPass) return {{1.0 - x}, {1.0, x}, isBidirectional};
    return {{(1.0 + x) / 2.0, -(1.0 + x) / 2.0}, {1.0, x}, isBidirectional};
}

RecursiveSettings NarrowBand(NarrowBandType type, double centre, float bandWidth, double sampleInterval) {
    const double f = centre / (1000.0 / sampleInterval);
    const double R = 1.0 - 3.0 * bandWidth;
    const double c = std::cos(2.0 * std::numbers::pi * f);
    const double K = (1.0 - 2.0 * R * c + R * R) / (2.0 - 2.0 * c);
    const std::vector<double> feedback = {1.0, 2.0 * R * c, -R * R};
    if (type == NarrowBandType::pass) return {{1.0 - K, 2.0 * (K - R) * c, R * R - K}, feedback};
    return {{K, -2.0 * K * c, K}, feedback};
}

}  // namespace kymora
