#include "document/open_request.h"

#include <fmt/format.h>

namespace kymora {

const std::string* Opening::Setting(const std::string& key) {
    settingsUsed.insert(key);
    const auto found = request.settings.find(key);
    return found == request.settings.end() ? nullptr : &found->second;
}

ImportSettingError::ImportSettingError(const std::string& key, const std::string& value,
                                       const std::string& takes)
    : ImportSettingError(
          key, fmt::format("The import setting \"{}\" is \"{}\". It takes {}.", key, value, takes)) {}

}  // namespace kymora
