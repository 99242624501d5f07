#pragma once
// What the bytes of a scan mean.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

namespace kymora {

struct ScanFormat {
    size_t channels = 1;
    size_t bytesPerSample = 2;
    int encoding = 0;  // 1: two's complement; else offset binary
    int bits = 16;
    double low = -10.0, high = 10.0;        // V
    std::array<double, 16> gains = Ones();  // of amplifiers, by channel

    size_t ScanBytes() const { return channels * bytesPerSample; }
    // The number that a sample's bytes are: from 0, or around 0 where codes are two's complement.
    int32_t Code(const std::byte* sample) const {
        uint32_t code = 0;
        std::memcpy(&code, sample, bytesPerSample);
        if (encoding != 1) return static_cast<int32_t>(code);
        const uint32_t sign = 1u << (bits - 1);
        code &= (sign << 1) - 1u;
        return static_cast<int32_t>(code) - ((code & sign) != 0 ? static_cast<int32_t>(sign << 1) : 0);
    }
    // What the amplifier of a channel was given, V: the code times the first, plus the second.
    std::pair<double, double> ToVolts(size_t channel) const;
    double Volts(std::span<const std::byte> scan, size_t channel) const;

    bool operator==(const ScanFormat&) const = default;

    static constexpr std::array<double, 16> Ones() {
        std::array<double, 16> ones{};
        ones.fill(1.0);
        return ones;
    }
};

}  // namespace kymora
