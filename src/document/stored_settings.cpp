#include "document/stored_settings.h"

#include <array>
#include <cstddef>

namespace kymora {

uint32_t DefaultTraceColour(size_t trace, Palette palette) {
    static constexpr std::array<uint32_t, 5> system = {0x000080, 0x008000, 0x800000, 0x008080, 0x808000};
    // Black, orange, sky blue, bluish green, blue, vermillion, reddish purple, and yellow, which is hard to
    // see on white paper.
    static constexpr std::array<uint32_t, 8> okabeIto = {0x000000, 0x009FE6, 0xE9B456, 0x739E00,
                                                         0xB27200, 0x005ED5, 0xA779CC, 0x42E4F0};
    // Blue, vermillion, teal, purple and slate: at least 16 apart (CIE 1976) for every kind of colour vision.
    static constexpr std::array<uint32_t, 5> even = {0xAF5F00, 0x0055C8, 0x7D8C00, 0x80289B, 0x50423C};
    if (palette == Palette::even) return even[trace % even.size()];
    if (palette == Palette::okabeIto) return okabeIto[trace % okabeIto.size()];
    return trace < system.size() ? system[trace] : 0;
}

TraceSettings TraceSettings::Default(int trace, Palette palette) {
    TraceSettings settings;
    settings.traceOrder = trace;
    settings.axisLabel = "Ax " + std::to_string(trace + 1);
    settings.traceColour = DefaultTraceColour(static_cast<size_t>(trace), palette);
    return settings;
}

}  // namespace kymora
