#include "display/trace_format.h"

#include <algorithm>

namespace kymora {

namespace {

// Of traceExtraA.
constexpr uint32_t dotsBit = 1;
constexpr uint32_t sizeShift = 1, sizeMask = 3;
constexpr uint32_t clipBit = 8;
constexpr uint32_t knownBits = dotsBit | sizeMask << sizeShift | clipBit;

}  // namespace

TraceFormat FormatOfStored(int32_t extraA, int32_t extraB) {
    const auto bits = static_cast<uint32_t>(extraA);
    TraceFormat format;
    format.drawAsDots = (bits & dotsBit) != 0;
    format.dotSize = static_cast<int>(bits >> sizeShift & sizeMask);
    format.clipToAxis = (bits & clipBit) != 0;
    format.lineWidth = extraB >= 1 && extraB <= mostLineWidth ? extraB : 1;
    return format;
}

void StoreFormat(const TraceFormat& format, int32_t& extraA, int32_t& extraB) {
    uint32_t bits = static_cast<uint32_t>(extraA) & ~knownBits;
    if (format.drawAsDots) bits |= dotsBit;
    bits |= static_cast<uint32_t>(std::clamp(format.dotSize, 0, 3)) << sizeShift;
    if (format.clipToAxis) bits |= clipBit;
    extraA = static_cast<int32_t>(bits);
    if (FormatOfStored(extraA, extraB).lineWidth != format.lineWidth) extraB = format.lineWidth;
}

}  // namespace kymora
