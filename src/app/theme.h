#pragma once
// Light and dark windows, and the paper of plots in them.

#include <cstdint>

namespace kymora {

enum class Theme { system, light, dark };

// Colours every window of the program, those that are open included.
void ApplyTheme(Theme theme);

// What plots are drawn on, 0x00BBGGRR, unless the user has chosen another colour.
uint32_t ThemePaper(Theme theme);

}  // namespace kymora
