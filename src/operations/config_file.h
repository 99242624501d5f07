#pragma once
// The configuration file of one dialog (".kymr-cfg").

#include <filesystem>
#include <string>

#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr const char* configFilter = "config (*.kymr-cfg)|*.kymr-cfg||";
inline constexpr const char* configExtension = "kymr-cfg";
inline constexpr const char* saveConfigTitle = "Save dialog configuration file";
inline constexpr const char* loadConfigTitle = "Load configuration file";
inline constexpr const char* dropConfigText =
    "You can only drop a configuration file (.kymr-cfg) onto this dialog.";

// Each tells the user what goes wrong and answers false; the operation, and a file of that name, are then as
// they were. A load takes only files of the operation's own class whose every value is within its limits.
bool SaveConfig(Session& session, CBatchBaseDlg& operation, const std::filesystem::path& path);
bool LoadConfig(Session& session, CBatchBaseDlg& operation, const std::filesystem::path& path);
// The same for a file that was dropped on the operation's window.
bool DropConfig(Session& session, CBatchBaseDlg& operation, const std::filesystem::path& path);
// The same with the system's file dialogs. False also when the user cancels.
bool AskSaveConfig(Session& session, CBatchBaseDlg& operation);
bool AskLoadConfig(Session& session, CBatchBaseDlg& operation);

// Why settings that were read may not be used: a value outside its limits, in parameters that are switched
// off too, since a file that was damaged may hold any number. Empty when all may. To be asked without a
// recording.
std::string SettingsFault(CBatchBaseDlg& operation);

// The class name with which a configuration file begins, or empty. Throws FileError.
std::string ConfigClassName(Session& session, const std::filesystem::path& path);

}  // namespace kymora
