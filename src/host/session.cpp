#include "host/session.h"

namespace kymora {

const std::string* Session::ImportSetting(const std::string& key) {
    importSettingsUsed.insert(key);
    const auto found = importSettings.find(key);
    return found == importSettings.end() ? nullptr : &found->second;
}

}  // namespace kymora
