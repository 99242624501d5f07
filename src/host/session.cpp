#include "host/session.h"

namespace kymora {

void Session::Seed(uint64_t newSeed) {
    seed = newSeed;
    std::seed_seq sequence{static_cast<uint32_t>(newSeed), static_cast<uint32_t>(newSeed >> 32)};
    random.seed(sequence);
}

}  // namespace kymora
