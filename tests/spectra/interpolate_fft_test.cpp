// Stretches at a multiple of their rate: against the rules word by word, with a recursive transform that is
// slow and obvious.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

#include "spectra/interpolate_fft.h"
#include "spectra/radix2_fft.h"

namespace kymora {
namespace {

using Values = std::vector<float>;
using Numbers = std::vector<double>;

Values Wave(size_t count) {
    Values values;
    for (size_t i = 0; i < count; ++i)
        values.push_back(std::sin(0.7f * static_cast<float>(i)) + 0.25f * static_cast<float>(i % 3) - 0.5f);
    return values;
}

// Even and odd values apart, each by itself; sign -1 is the way forward.
void Recurse(Numbers& re, Numbers& im, double sign) {
    const size_t n = re.size();
    if (n == 1) return;
    Numbers re0, im0, re1, im1;
    for (size_t i = 0; i < n; i += 2) {
        re0.push_back(re[i]);
        im0.push_back(im[i]);
        re1.push_back(re[i + 1]);
        im1.push_back(im[i + 1]);
    }
    Recurse(re0, im0, sign);
    Recurse(re1, im1, sign);
    for (size_t k = 0; k < n / 2; ++k) {
        const double angle = std::numbers::pi * static_cast<double>(k) / static_cast<double>(n / 2);
        const double wr = std::cos(angle), wi = sign * std::sin(angle);
        const double real = re1[k] * wr - im1[k] * wi, imaginary = re1[k] * wi + im1[k] * wr;
        re[k] = re0[k] + real;
        im[k] = im0[k] + imaginary;
        re[k + n / 2] = re0[k] - real;
        im[k + n / 2] = im0[k] - imaginary;
    }
}

Values Told(const Values& values, size_t factor) {
    size_t period = 2;
    while (period < values.size()) period *= 2;
    Numbers re(values.begin(), values.end()), im(period);
    re.resize(period);
    Recurse(re, im, -1.0);
    const size_t length = period * factor;
    Numbers wideRe(length), wideIm(length);
    for (size_t k = 0; k <= period / 2; ++k) {
        wideRe[k] = re[k];
        wideIm[k] = im[k];
    }
    for (size_t k = length / 2 + 1; k < length; ++k) {
        wideRe[k] = wideRe[length - k];
        wideIm[k] = -wideIm[length - k];
    }
    Recurse(wideRe, wideIm, 1.0);
    Values raised;
    for (size_t i = 0; i < values.size() * factor; ++i)
        raised.push_back(static_cast<float>(wideRe[i] / static_cast<double>(length)) *
                         static_cast<float>(factor));
    return raised;
}

Values ToldExtended(const Values& values, size_t factor) {
    const auto n = static_cast<float>(values.size());
    Values left, right;
    for (size_t i = 0; i < values.size(); ++i) {
        left.insert(left.begin(), (left.empty() ? values.front() : left.front()) - values.front() / n);
        right.push_back((right.empty() ? values.back() : right.back()) - values.back() / n);
    }
    Values all = left;
    all.insert(all.end(), values.begin(), values.end());
    all.insert(all.end(), right.begin(), right.end());
    const Values raised = Told(all, factor);
    const auto third = static_cast<std::ptrdiff_t>(values.size() * factor);
    return {raised.begin() + third, raised.begin() + 2 * third};
}

TEST(InterpolateFft, BothFormsFollowTheRulesBitByBit) {
    for (const size_t n : {1, 2, 3, 4, 5, 8, 31, 32, 33, 100, 1000})
        for (const int factor : {2, 4, 16}) {
            SCOPED_TRACE(std::to_string(n) + " x " + std::to_string(factor));
            const Values values = Wave(n);
            EXPECT_EQ(InterpolateFFT(values, factor), Told(values, static_cast<size_t>(factor)));
            const Values extended = InterpolateExtended(values, factor);
            EXPECT_EQ(extended, ToldExtended(values, static_cast<size_t>(factor)));
            // Each given value is there again; what is filled up to a power of two has its last bin twice.
            for (size_t i = 0; i < n; ++i)
                EXPECT_NEAR(extended[i * static_cast<size_t>(factor)], values[i], n < 3 ? 1.0 : 0.1) << i;
            Values given(3, -1.0f);
            InterpolateExtended(values, factor, given);
            EXPECT_EQ(given, extended);
        }
}

TEST(InterpolateFft, ConstantsStayConstant) {
    for (const size_t n : {2, 4, 32}) EXPECT_EQ(InterpolateFFT(Values(n, 0.1f), 8), Values(8 * n, 0.1f)) << n;
    // The edges of the wings ring a little into the stretch, and less in its middle.
    const Values raised = InterpolateExtended(Values(64, 1.0f), 4);
    for (size_t i = 64; i < 192; ++i) EXPECT_NEAR(raised[i], 1.0f, 0.01f) << i;
}

TEST(InterpolateFft, WhatCannotBeRaisedIsCopied) {
    const Values values = Wave(5);
    EXPECT_EQ(InterpolateFFT(values, 2).size(), 10u);
    for (const int factor : {-4, 0, 1, 3, 6, 12}) {
        std::string log;
        const auto keep = [&](const char* text) { log += text; };
        EXPECT_EQ(InterpolateFFT(values, factor, keep), values) << factor;
        EXPECT_EQ(log, factor == 1 ? "" : "can only InterpolateFFT with a multiplier power of 2\n") << factor;
        EXPECT_EQ(InterpolateExtended(values, factor), values) << factor;
    }
    EXPECT_TRUE(InterpolateFFT({}, 4).empty());
    EXPECT_TRUE(InterpolateExtended({}, 4).empty());
}

TEST(Radix2Fft, GoesThereAndBack) {
    for (const size_t n : {1, 2, 8, 131072}) {
        Numbers re, im;
        for (size_t i = 0; i < n; ++i) {
            re.push_back(std::cos(static_cast<double>(i * i)));
            im.push_back(std::sin(3.0 * static_cast<double>(i)));
        }
        const Numbers before = re;
        const auto fft = Radix2Fft::Of(n);
        fft->Forward(re, im);
        fft->Inverse(re, im);
        for (size_t i = 0; i < n; i += 1 + n / 100) EXPECT_NEAR(re[i], before[i], 1e-13) << n << " " << i;
    }
}

}  // namespace
}  // namespace kymora
