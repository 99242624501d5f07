#pragma once
// How a file keeps the look of a trace: traceExtraB is the width of its line, and bits of traceExtraA are the
// rest. A file that knows nothing of them holds 0 and 1, which mean a plain line of one pixel.

#include <cstdint>

#include "display/view_settings.h"

namespace kymora {

inline constexpr int mostLineWidth = 20;

// A width that no command could have made means one pixel.
TraceFormat FormatOfStored(int32_t extraA, int32_t extraB);

// Bits without a known meaning, and a width that reads as the same one, stay as they are.
void StoreFormat(const TraceFormat& format, int32_t& extraA, int32_t& extraB);

}  // namespace kymora
