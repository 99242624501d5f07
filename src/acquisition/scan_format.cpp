#include "acquisition/scan_format.h"

#include <cmath>

namespace kymora {

std::pair<double, double> ScanFormat::ToVolts(size_t channel) const {
    const double zero = encoding == 1 ? (low + high) / 2.0 : low;
    return {(high - low) / std::ldexp(1.0, bits) / gains[channel], zero / gains[channel]};
}

double ScanFormat::Volts(std::span<const std::byte> scan, size_t channel) const {
    const auto [step, zero] = ToVolts(channel);
    return Code(scan.data() + channel * bytesPerSample) * step + zero;
}

}  // namespace kymora
