// What the mouse does with cursors, markers, annotations and scale bars.

#include "display/kymora_view.h"

namespace kymora {

std::span<const HitTarget> OverlayTargets() { return {}; }
std::span<const MouseMode> OverlayModes() { return {}; }

}  // namespace kymora
