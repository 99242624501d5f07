#pragma once
// Everything that is global in the program, in one object that is handed down: two documents, two tests or
// two runs never meet by accident.

#include <array>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "host/file_system.h"
#include "host/host.h"

namespace kymora {

inline constexpr int maxTraces = 128;
inline constexpr int maxEventChannels = 999;
inline constexpr int letterChannels = 26;

// Options that the user keeps between sessions.
struct Options {
    int expandContractFocus = 1;  // "Expand-Contract focus"; 1 keeps the left edge of the view when zooming
    int cancelSelectionAfterAction = 0;     // "Cancel selection after action"
    int hitMargin = 3;                      // "Hit margin", pixels, 0 to 20
    int eventChannelMode = letterChannels;  // "Event channel number": 26 letters or 999 numbers
    int bootstrapReps = 1000;               // "Bootstrap reps"
};

class Session {
  public:
    Session(Host& host, FileSystem& files) : host(host), files(files) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Host& host;
    FileSystem& files;
    Options options;

    bool skipFileDetails = false;  // the details dialog is not shown when a file opens
    bool gapNoticeShown = false;   // the notice about gaps was seen
    std::array<bool, maxTraces>
        pendingReset{};  // a transform asked that the extra event tables of a trace be dropped

    // What the details dialogs of foreign formats would have asked: KEY to VALUE of --import.
    std::map<std::string, std::string> importSettings;
    std::set<std::string> importSettingsUsed;  // keys that some reader looked at

    bool importSettingRefused = false;  // a file did not open because of what one of them says

    // Answers the value of an import setting, or nothing, and notes that it was asked for.
    const std::string* ImportSetting(const std::string& key);

    uint64_t seed = 0;  // of the session's random draws
    // The date of history entries; tests set their own.
    std::function<std::time_t()> now = [] { return std::time(nullptr); };
};

}  // namespace kymora
