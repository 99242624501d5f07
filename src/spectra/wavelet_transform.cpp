#include "spectra/wavelet_transform.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "numerics/unfilled.h"
#include "spectra/wavelet_filters.h"

namespace kymora {

namespace {

constexpr size_t sumsAtOnce = 8;
constexpr size_t valuesBetween = 1 << 16;

// Two filters over two rows: first[i] = sum of a1[j] x1[i + j] + a2[j] x2[i + j], second[i] the same with b1
// and b2.
struct FilterPair {
    std::span<const double> a1, a2, b1, b2;

    template <typename Value, size_t count>
    void Sums(const Value* x1, const Value* x2, double (&first)[count], double (&second)[count]) const {
        for (size_t u = 0; u < count; ++u) first[u] = second[u] = 0.0;
        for (size_t j = 0; j < a1.size(); ++j)
            for (size_t u = 0; u < count; ++u) {
                const double v1 = x1[j + u], v2 = x2[j + u];
                first[u] += a1[j] * v1 + a2[j] * v2;
                second[u] += b1[j] * v1 + b2[j] * v2;
            }
    }
    // `put(i, first, second)` takes the results.
    template <typename Value, typename Put>
    void Run(const Value* x1, const Value* x2, size_t from, size_t to, Put put) const {
        size_t i = from;
        double first[sumsAtOnce], second[sumsAtOnce];
        for (; i + sumsAtOnce <= to; i += sumsAtOnce) {
            Sums(x1 + i, x2 + i, first, second);
            for (size_t u = 0; u < sumsAtOnce; ++u) put(i + u, first[u], second[u]);
        }
        double one[1], other[1];
        for (; i < to; ++i) {
            Sums(x1 + i, x2 + i, one, other);
            put(i, one[0], other[0]);
        }
    }
};

// In pieces, between which is asked.
template <typename Work>
void InPieces(size_t count, const CWaveletTransform::Between& between, Work work) {
    for (size_t from = 0; from < count; from += valuesBetween) {
        const size_t to = std::min(count, from + valuesBetween);
        work(from, to);
        if (between) between(to - from);
    }
}

template <typename Value>
void Down(std::span<Value> values, int levels, const WaveletTaps& taps,
          const CWaveletTransform::Between& between) {
    const size_t reach = taps.lowEven.size();
    UnfilledVector<Value> even(values.size() / 2 + reach), odd(values.size() / 2 + reach);
    const FilterPair filters{taps.lowEven, taps.lowOdd, taps.highEven, taps.highOdd};
    size_t n = values.size();
    for (int level = 0; level < levels; ++level, n /= 2) {
        const size_t half = n / 2;
        InPieces(half, between, [&](size_t from, size_t to) {
            for (size_t i = from; i < to; ++i) {
                even[i] = values[2 * i];
                odd[i] = values[2 * i + 1];
            }
        });
        for (size_t i = 0; i < reach; ++i) {
            even[half + i] = even[i];
            odd[half + i] = odd[i];
        }
        InPieces(half, between, [&](size_t from, size_t to) {
            filters.Run(even.data(), odd.data(), from, to, [&](size_t i, double smooth, double detail) {
                values[i] = static_cast<Value>(smooth);
                values[half + i] = static_cast<Value>(detail);
            });
        });
    }
}

// x(2m) is the sum over j of low(2j) s(m - j) + high(2j) d(m - j), x(2m + 1) that with the odd values.
template <typename Value>
void Up(std::span<Value> coefficients, int levels, const WaveletTaps& taps,
        const CWaveletTransform::Between& between) {
    const size_t reach = taps.lowEven.size();
    UnfilledVector<Value> smooth(coefficients.size() / 2 + reach), detail(coefficients.size() / 2 + reach);
    const auto reversed = [](std::vector<double> row) {
        std::reverse(row.begin(), row.end());
        return row;
    };
    const auto lowEven = reversed(taps.lowEven), highEven = reversed(taps.highEven);
    const auto lowOdd = reversed(taps.lowOdd), highOdd = reversed(taps.highOdd);
    const FilterPair filters{lowEven, highEven, lowOdd, highOdd};
    for (int level = levels; level > 0; --level) {
        const size_t half = coefficients.size() >> level, before = reach - 1;
        InPieces(half, between, [&](size_t from, size_t to) {
            for (size_t i = from; i < to; ++i) {
                smooth[before + i] = coefficients[i];
                detail[before + i] = coefficients[half + i];
            }
        });
        for (size_t i = 0; i < before; ++i) {
            smooth[i] = smooth[half + i];
            detail[i] = detail[half + i];
        }
        InPieces(half, between, [&](size_t first, size_t last) {
            filters.Run(smooth.data(), detail.data(), first, last, [&](size_t i, double even, double odd) {
                coefficients[2 * i] = static_cast<Value>(even);
                coefficients[2 * i + 1] = static_cast<Value>(odd);
            });
        });
    }
}

}  // namespace

CWaveletTransform::CWaveletTransform(int wavelet, size_t length) : length_(length) {
    const std::span<const double> low = ScalingFilter(wavelet);
    if (!std::has_single_bit(length))
        throw std::invalid_argument("A wavelet transform takes a power of two.");
    for (size_t n = length; n >= std::max<size_t>(2, low.size()); n /= 2) ++levels_;
    const size_t last = low.size() - 1;
    for (size_t k = 0; k < low.size(); k += 2) {
        taps_.lowEven.push_back(low[k]);
        taps_.lowOdd.push_back(low[k + 1]);
        taps_.highEven.push_back(low[last - k]);
        taps_.highOdd.push_back(-low[last - k - 1]);
    }
}

std::vector<WaveletBand> CWaveletTransform::Bands() const {
    std::vector<WaveletBand> bands;
    size_t half = length_;
    for (int level = 1; level <= levels_; ++level) {
        half /= 2;
        bands.push_back({level, false, half, half});
    }
    bands.push_back({levels_, true, 0, half});
    return bands;
}

void CWaveletTransform::Forward(std::span<double> values, const Between& between) const {
    Down(values, levels_, taps_, between);
}
void CWaveletTransform::Forward(std::span<float> values, const Between& between) const {
    Down(values, levels_, taps_, between);
}
void CWaveletTransform::Inverse(std::span<double> values, const Between& between) const {
    Up(values, levels_, taps_, between);
}
void CWaveletTransform::Inverse(std::span<float> values, const Between& between) const {
    Up(values, levels_, taps_, between);
}

size_t WaveletLength(size_t values) { return std::bit_ceil(values); }

void ExtendByMirroring(std::span<float> values, size_t run, const CWaveletTransform::Between& between) {
    const size_t period = run > 1 ? 2 * (run - 1) : 1;
    InPieces(values.size() - run, between, [&](size_t from, size_t to) {
        for (size_t i = run + from; i < run + to; ++i) {
            const size_t at = i % period;
            values[i] = values[at < run ? at : period - at];
        }
    });
}

}  // namespace kymora
