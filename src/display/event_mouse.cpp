// What the mouse does with events and their rows.

#include "display/kymora_view.h"

namespace kymora {

std::span<const HitTarget> EventTargets() { return {}; }
std::span<const MouseMode> EventModes() { return {}; }

}  // namespace kymora
