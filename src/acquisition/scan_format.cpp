#include "acquisition/scan_format.h"

#include <cmath>
#include <cstring>

namespace kymora {

double ScanFormat::Volts(std::span<const std::byte> scan, size_t channel) const {
    uint32_t code = 0;
    std::memcpy(&code, scan.data() + channel * bytesPerSample, bytesPerSample);
    const double codes = std::ldexp(1.0, bits);
    double number = code;
    if (encoding == 1) {
        number = code & ((1u << bits) - 1u);
        if (number >= codes / 2.0) number -= codes;
    }
    const double zero = encoding == 1 ? (low + high) / 2.0 : low;
    return (number * (high - low) / codes + zero) / gains[channel];
}

}  // namespace kymora
