#pragma once
// Light and dark windows. The plot keeps the recording's own background in either.

namespace kymora {

enum class Theme { system, light, dark };

// Colours every window of the program, those that are open included.
void ApplyTheme(Theme theme);

}  // namespace kymora
