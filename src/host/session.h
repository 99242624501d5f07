#pragma once
// Everything that is global in the program, in one object that is handed down: two documents, two tests or
// two runs never meet by accident.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/file_system.h"
#include "host/host.h"
#include "host/options.h"

namespace kymora {

class SummaryService;

class Session {
  public:
    Session(Host& host, FileSystem& files) : host(host), files(files) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Host& host;
    FileSystem& files;
    Options options;
    // What new views start with; no file keeps these two.
    uint32_t defaultBackground = 0xFFFFFF;  // 0x00BBGGRR
    bool showInactiveSections = false;

    // Where views get the bins of long stretches without waiting; null where there is no window.
    SummaryService* summaries = nullptr;

    bool skipFileDetails = false;  // the details dialog is not shown when a file opens
    bool gapNoticeShown = false;   // the notice about gaps was seen
    // A recording needed numbers for its channels; the user's own choice, which is kept, was letters.
    bool numbersForSession = false;
    // Recordings open for a batch: what readers would show goes to the log.
    bool opensForBatch = false;
    bool coupledCursors = false;  // vertical cursors keep their distances when one of them is moved
    // Readers of foreign formats show the dialogs in which they ask for details. Without them they take what
    // the import settings say, and the defaults.
    bool askForDetails = false;
    // Keys of dialogs that the user does not want to see again in this session, and what was answered last.
    std::map<std::string, int, std::less<>> silencedDialogs;

    // What the details dialogs of foreign formats would have asked: KEY to VALUE of --import.
    std::map<std::string, std::string> importSettings;
    std::set<std::string> importSettingsUsed;  // keys that some reader looked at

    bool importSettingRefused = false;  // a file did not open because of what one of them says

    // Answers the value of an import setting, or nothing, and notes that it was asked for.
    const std::string* ImportSetting(const std::string& key);

    // The settings that each operation had when it was last used, by class name.
    std::map<std::string, std::vector<std::byte>, std::less<>> operationSettings;

    TextFileDefaults textFile;
    BinaryFileDefaults binaryFile;
    char decimalSeparator = '.';  // of the user's locale, in text that is read

    EventInsertion eventInsertion;
    uint32_t eventPaint = 0x0080FF;  // the colour that "Set event colour" gives; 0 is the channel's

    uint64_t seed = 0;  // of the session's random draws
    std::mt19937 random{0};
    // Starts the random draws anew.
    void Seed(uint64_t newSeed);
    // The date of history entries; tests set their own.
    std::function<std::time_t()> now = [] { return std::time(nullptr); };
};

}  // namespace kymora
