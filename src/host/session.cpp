#include "host/session.h"

namespace kymora {

std::mt19937 RandomOf(uint64_t seed) {
    std::seed_seq sequence{static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32)};
    return std::mt19937(sequence);
}

void Session::Seed(uint64_t newSeed) {
    seed = newSeed;
    random = RandomOf(newSeed);
}

}  // namespace kymora
