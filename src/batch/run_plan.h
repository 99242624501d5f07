#pragma once
// What a run over files does with each of them: settled before the first one is opened.

#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

#include "operations/batch_base_dlg.h"

namespace kymora {

// How what an operation makes is kept.
enum class Keep {
    nowhere,
    inPlace,   // in the recording's file, or in the side-car or the native file beside a foreign one
    writeNew,  // beside it, with "_tr" in its name
    out        // in the one file that was named
};

// What is to be run, and the rules in which those who ask for it differ.
struct RunRequest {
    Affects affects = Affects::events;
    Keep keep = Keep::nowhere;
    std::vector<std::filesystem::path> files;
    std::filesystem::path out{};
    std::vector<std::filesystem::path> alsoRead{};  // no OUT may replace them
    std::string_view extension = ".kymr-dat";       // of the recordings that are made, with the dot
    // In place, the events of a foreign file go to its side-car; else to the native file beside it.
    bool usesSideCars = false;
    // A result that would replace a file named itself makes the request wrong; else its file is left out.
    bool refusesNamed = false;
    // Of a file that is named twice, by links too, the first is run; else the last one of that name.
    bool runsFirst = false;
};

struct PlannedFile {
    enum class Why {
        isRun,
        namedTwice,     // where it stands once more, it is run
        sameTarget,     // the result of `other` goes there
        replacesNamed,  // its result would replace a file that is named itself
        mayNotReplace,  // its result would replace a file, and the user said no
        // Of files that windows show:
        unsaved,         // what stands in the window is not saved, and the file would be replaced
        changedOutside,  // another program has changed the file since the window read it
        targetShown,     // its result would replace what another window shows
        asksHow,         // a text, about whose layout nobody can be asked
    };
    std::filesystem::path file;
    std::filesystem::path target;  // the file itself where it is kept in place
    Why why = Why::isRun;
    std::filesystem::path other{};

    bool IsRun() const { return why == Why::isRun; }
    bool IsInPlace() const { return target == file; }
};

struct RunPlan {
    enum class Fault {
        none,
        severalToOne,   // one OUT for several files
        outIsRead,      // OUT is `at`
        replacesNamed,  // a result would replace `at`
    };
    Affects affects = Affects::events;
    Keep keep = Keep::nowhere;
    std::vector<PlannedFile> files{};  // as they were named
    Fault fault = Fault::none;
    std::filesystem::path at{};

    // Those that are not only named once more.
    size_t CountNamed() const;
    size_t CountRun() const;
};

// Of files with one target only the last counts. Names that differ in case are two files.
RunPlan PlanRun(FileSystem& files, const RunRequest& request);

}  // namespace kymora
