#pragma once
// What the bytes of a scan mean.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kymora {

struct ScanFormat {
    size_t channels = 1;
    size_t bytesPerSample = 2;
    int encoding = 0;  // 1: two's complement; else offset binary
    int bits = 16;
    double low = -10.0, high = 10.0;        // V
    std::array<double, 16> gains = Ones();  // of amplifiers, by channel

    size_t ScanBytes() const { return channels * bytesPerSample; }
    // What the amplifier of a channel was given, V.
    double Volts(std::span<const std::byte> scan, size_t channel) const;

    static constexpr std::array<double, 16> Ones() {
        std::array<double, 16> ones{};
        ones.fill(1.0);
        return ones;
    }
};

}  // namespace kymora
