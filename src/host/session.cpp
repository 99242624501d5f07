#include "host/session.h"

namespace kymora {

const std::string* Session::ImportSetting(const std::string& key) {
    importSettingsUsed.insert(key);
    const auto found = importSettings.find(key);
    return found == importSettings.end() ? nullptr : &found->second;
}

void Session::Seed(uint64_t newSeed) {
    seed = newSeed;
    std::seed_seq sequence{static_cast<uint32_t>(newSeed), static_cast<uint32_t>(newSeed >> 32)};
    random.seed(sequence);
}

}  // namespace kymora
