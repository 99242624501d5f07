#pragma once
// Offset, scale and rectification of single samples, in an order that the user sets.

#include <array>
#include <span>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

enum UnitaryStep { stepNone = 0, stepOffset = 1, stepScale = 2, stepRectify = 3 };
enum class RectifyType { fullWave = 0, halfWave = 1 };

struct UnitarySettings {
    std::array<int, 3> order{stepNone, stepNone, stepNone};  // UnitaryStep, the first step first
    float scale = 1.0f;
    float offset = 0.0f;
    RectifyType rectify = RectifyType::fullWave;  // a negative value becomes its opposite, or 0
};

inline constexpr const char* duplicateOrderText = "You have duplicate numbers in the order list";

// Whether a step stands in the list twice; "none" may.
bool HasDuplicateSteps(const std::array<int, 3>& order);

// Single precision throughout. A step of no known code is a failure. `output` has the length of `input` and
// may be the same array.
KernelOutcome Unitary(std::span<const float> input, const UnitarySettings& settings, std::span<float> output);
KernelOutcome Unitary(FloatSource& source, const UnitarySettings& settings, FloatSink& sink);

}  // namespace kymora
