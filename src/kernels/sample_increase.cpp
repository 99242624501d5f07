#include "kernels/sample_increase.h"

#include <type_traits>

namespace kymora {

namespace {

// `multiplier` may be a constant of the compiler, for which it unrolls the inner loop.
template <typename Multiplier>
void FillLines(std::span<const float> samples, Multiplier multiplier, const double* parts, float* to) {
    for (size_t i = 0; i + 1 < samples.size(); ++i, to += multiplier) {
        const float sample = samples[i], next = samples[i + 1];
        // Two infinite ones have no difference.
        if (sample == next) {
            std::fill_n(to, static_cast<size_t>(multiplier), sample);
            continue;
        }
        const double from = static_cast<double>(sample), step = static_cast<double>(next) - from;
        to[0] = sample;
        for (size_t part = 1; part < multiplier; ++part)
            to[part] = static_cast<float>(from + step * parts[part]);
    }
}

}  // namespace

LinearFill::LinearFill(int32_t multiplier) : parts_(static_cast<size_t>(multiplier)) {
    for (size_t i = 0; i < parts_.size(); ++i)
        parts_[i] = static_cast<double>(i) / static_cast<double>(multiplier);
}

void LinearFill::operator()(std::span<const float> samples, std::span<float> to) const {
    const auto fill = [&](auto multiplier) { FillLines(samples, multiplier, parts_.data(), to.data()); };
    switch (parts_.size()) {
    case 2:
        return fill(std::integral_constant<size_t, 2>());
    case 4:
        return fill(std::integral_constant<size_t, 4>());
    case 5:
        return fill(std::integral_constant<size_t, 5>());
    case 8:
        return fill(std::integral_constant<size_t, 8>());
    case 10:
        return fill(std::integral_constant<size_t, 10>());
    default:
        return fill(parts_.size());
    }
}

void ZeroFill::operator()(std::span<const float> samples, std::span<float> to) const {
    const size_t multiplier = to.size() / (samples.size() - 1);
    std::ranges::fill(to, 0.0f);
    for (size_t i = 0; i + 1 < samples.size(); ++i)
        to[i * multiplier] = samples[i] * static_cast<float>(multiplier);
}

}  // namespace kymora
