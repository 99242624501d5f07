#pragma once
// Event channels as sets of samples, and what becomes of them by logic. A sample belongs to the set of a
// channel when it lies in one of its events; events may overlap and stand in any order.

#include <cstdint>
#include <span>
#include <vector>

#include "events/event.h"
#include "operations/operation_job.h"

namespace kymora {

// The numbers of configuration files.
enum class EventLogic : int32_t {
    logicAnd = 0,
    logicOr = 1,
    logicXor = 2,
    logicNot = 3,
    equals = 4,
    andNot = 5
};
inline constexpr int eventLogicCount = 6;

using EventSpan = std::span<const CEventKM>;

// The set of a channel as ascending stretches that neither overlap nor touch, held to [0, length).
std::vector<SampleSpan> StretchesOf(EventSpan events, int32_t length);

// The samples of [0, length) that lie in all sources (AND), in any (OR), in an odd number of them (XOR), in
// none (NOT), or in all or none (EQUALS), as such stretches. Each source is what StretchesOf answers.
std::vector<SampleSpan> Combine(std::span<const std::vector<SampleSpan>> sources, EventLogic logic,
                                int32_t length);

// What lies in both.
std::vector<SampleSpan> Common(std::span<const SampleSpan> a, std::span<const SampleSpan> b);

// AND NOT works on whole events: for each of them, 1 when it lies in none of the others from its first sample
// to its end.
std::vector<uint8_t> LieInNone(EventSpan events, std::span<const EventSpan> others);

}  // namespace kymora
