#pragma once
// Digital lines as event channels: an event begins where its line rises and ends where it falls.

#include <cstdint>
#include <string>
#include <vector>

#include "import/foreign_recording.h"

namespace kymora {

inline constexpr size_t mostForeignEvents = 4000000;  // of a kind; what comes behind is left out, and told

// Positions count from `from`, and what ends before it is left out.
class DigitalLines {
  public:
    // One name for each line, from bit 0 of the first word on.
    DigitalLines(std::vector<std::string> names, int64_t from);

    // The state of 16 lines from `position` on, in ascending order for each word. A line that is high at its
    // first state has been so from there.
    void TakeWord(int64_t position, size_t word, uint16_t bits) {
        if (words_[word] == bits) return;
        Change(position, word, bits);
    }
    void TakeLine(int64_t position, size_t line, bool isHigh);
    // Whether one was left out.
    bool IsFull() const { return count_ > mostForeignEvents; }

    // Adds a channel for each line that has an event; what still stands ends at `end`. Warns of what is left
    // out: `what` are the lines, "The digital lines" for one.
    void Finish(ForeignRecording& recording, int64_t end, const std::string& comment,
                const std::string& what);

  private:
    struct Line {
        ForeignEvents found;
        int64_t rose = -1;
    };
    void Change(int64_t position, size_t word, uint16_t bits);
    void Close(Line& line, int64_t end);

    std::vector<Line> lines_;
    std::vector<uint16_t> words_;
    int64_t from_;
    size_t count_ = 0;
    int64_t lastEnd_ = 0;  // of those that are there
};

// An event from `on` to `off`, which count from `from`. Adds nothing outside what a recording can have.
void AddPlaced(std::vector<CEventKM>& events, int64_t on, int64_t off, int64_t from,
               std::string_view label = {});

// Warns where only the first `shown` of `all` are there; `what` is "Spikes of probe.nev" for one.
void WarnOfEventsLeftOut(ForeignRecording& recording, const std::string& what, uint64_t shown, uint64_t all);

}  // namespace kymora
