#pragma once
// How long work asks whether it is still wanted.

#include <functional>

namespace kymora {

// Told how much of the work is done, from 0 to 1, as far as that can be known; false ends the work. An empty
// one is never asked.
using Poll = std::function<bool(double done)>;

inline bool IsWanted(const Poll& poll, double done) { return !poll || poll(done); }

}  // namespace kymora
