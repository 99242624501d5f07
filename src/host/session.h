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

// A generator at the beginning of the draws of a seed.
std::mt19937 RandomOf(uint64_t seed);

class Session {
  public:
    Session(Host& host, FileSystem& files) : host(host), files(files) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Host& host;
    FileSystem& files;
    Options options;
    ViewHabits viewHabits;

    // Where views get the bins of long stretches without waiting; null where there is no window.
    SummaryService* summaries = nullptr;

    // The program's own file, which batches start for their work; empty: they do it themselves.
    std::filesystem::path program;

    bool skipFileDetails = false;  // the user does not want to see the details of files that open
    // A recording needed numbers for its channels; the user's own choice, which is kept, was letters.
    bool numbersForSession = false;
    bool coupledCursors = false;  // vertical cursors keep their distances when one of them is moved
    // Keys of dialogs that the user does not want to see again in this session, and what was answered last.
    std::map<std::string, int, std::less<>> silencedDialogs;

    // The settings that each operation had when it was last used, by class name.
    std::map<std::string, std::vector<std::byte>, std::less<>> operationSettings;
    // The headings of the parameters that are folded away in its window, by class name.
    std::map<std::string, std::set<std::string>, std::less<>> foldedGroups;
    // How large the parts of its window are, by class name and the splitter's: pixels of each.
    std::map<std::string, std::map<std::string, std::vector<int>>, std::less<>> partSizes;

    TextFileDefaults textFile;
    BinaryFileDefaults binaryFile;
    char decimalSeparator = '.';  // of the user's locale, in text that is read

    EventInsertion eventInsertion;
    PictureOptions picture;
    GraphHabits graphs;
    uint32_t eventPaint = 0x0080FF;  // the colour that "Set event colour" gives; 0 is the channel's

    // The state of the one interface that may record (acquisition/acq_view.h), and which it is.
    int acquisitionState = 7;
    const void* recordingInterface = nullptr;

    uint64_t keptBytes = 0;  // of replaced recordings that undo could bring back

    uint64_t seed = 0;  // of the session's random draws
    std::mt19937 random{0};
    // Starts the random draws anew.
    void Seed(uint64_t newSeed);
    // The date of history entries; tests set their own.
    std::function<std::time_t()> now = [] { return std::time(nullptr); };
};

}  // namespace kymora
