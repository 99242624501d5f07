#pragma once
// What kinds of recordings there are.

#include <cstdint>
#include <string_view>

namespace kymora {

enum class RecordingType : uint32_t { microphone, board, refractoryManual, refractoryAutomatic, arduino };
inline constexpr uint32_t recordingTypeCount = 5;

// What a person reads of a type; empty for Arduino, and for a number that is no type. The names of the two
// refractory types stand the other way round from what the types do.
std::string_view RecordingTypeName(RecordingType type);

}  // namespace kymora
