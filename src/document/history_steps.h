#pragma once
// What doing the operations of a recording's history again needs beyond its text, which rounds parameters: a
// step for each entry that an operation wrote. The steps stand in a file beside the recording
// ("cell7.kymr-dat.steps"), belong to the entries with the same texts in the same order, and mean nothing
// beside any other history. Without the file nothing is missing but the way to do it all again.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/session.h"

namespace kymora {

class CDataDoc;

struct HistoryStep {
    enum class Draws : uint8_t {
        none,
        fromSeed,  // they began where the seed begins
        furtherOn  // others had drawn before, so that no seed gives the same ones
    };
    std::string entry;                  // as it stands in the history
    std::string title;                  // of the operation
    std::vector<std::byte> settings{};  // its record; empty where no record does the same again
    uint64_t seed = 0;                  // of the session
    Draws draws = Draws::none;
    bool operator==(const HistoryStep&) const = default;
};
using HistorySteps = std::vector<HistoryStep>;

// Watches the random draws of a session from its making on.
class DrawWatch {
  public:
    explicit DrawWatch(const Session& session) : session_(session), before_(session.random) {}
    HistoryStep::Draws Draws() const;

  private:
    const Session& session_;
    std::mt19937 before_;
};

struct HistoryEntry {
    std::string text;   // with its line ends
    std::string title;  // of the operation, or the line that tells what was done
    const HistoryStep* step = nullptr;
    bool isUndone = false;  // and was not done again
    bool isNote = false;    // tells that another one was undone or done again
};

// The entries of a history, as far as possible with their steps, which are to live as long.
std::vector<HistoryEntry> ReadHistory(std::string_view history, const HistorySteps& steps);

// Of the recording `doc`, or of a native file.
std::filesystem::path StepsPath(const CDataDoc& doc);
std::filesystem::path StepsPath(FileSystem& files, const std::filesystem::path& native);

// None where the file is missing, damaged, of a later version or no such file.
HistorySteps ReadSteps(FileSystem& files, const std::filesystem::path& path);

// Both keep those of the steps that belong to the history, in the place of what stood there. What is no such
// file, or of a later version, stays; what goes wrong is only logged.
// For a recording that was written anew: where none belong to it, there is no file.
void WriteSteps(Session& session, const std::filesystem::path& path, std::string_view history,
                const HistorySteps& steps);
// For one that is saved in its place: a file that holds them already, and those of a version that undo or
// redo may yet bring back, stays as it is.
void SaveSteps(CDataDoc& doc);

}  // namespace kymora
