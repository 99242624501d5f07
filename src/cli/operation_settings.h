#pragma once
// The settings of an operation as a command line gives them.

#include <string>
#include <string_view>
#include <vector>

#include "operations/batch_base_dlg.h"

namespace kymora {

struct Setting {
    std::string key, value;
};

// Takes "KEY=VALUE" apart; throws CommandError.
std::vector<Setting> ParseSettings(const std::vector<std::string>& texts);

// Sets the parameters in the order given, each with what follows it. Throws CommandError for a key that the
// operation does not have, with those that were probably meant, and for a value that the parameter does not
// take, in the parameter's own words.
void ApplySettings(CBatchBaseDlg& block, const std::vector<Setting>& settings);

// What a user should hear of settings that were applied: those that do not count with the others as they
// stand, and those that a later one has moved.
std::vector<std::string> SettingsWithoutEffect(CBatchBaseDlg& block, const std::vector<Setting>& settings);

}  // namespace kymora
