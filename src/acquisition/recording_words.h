#pragma once
// The state of a recording interface in words, and what may be done in it.

#include <span>
#include <string>
#include <string_view>

#include "acquisition/acq_view.h"

namespace kymora {

enum class StateTone { calm, waiting, recording, watching };

struct StateWords {
    std::string text;
    StateTone tone = StateTone::calm;
};

// To be read from afar.
StateWords WordsOf(AcqState state);
// The same where sweeps follow each other too fast to be told apart.
StateWords WordsOf(const CAcqView& view);

// "2:05.3", from an hour on "1:02:05.3".
std::string ElapsedText(double seconds);

// The buttons of a recording window and the keys of its display.
struct RecordingKey {
    std::string_view name;   // of the button; empty: a key of the display
    std::string_view label;  // with & before the access key
    std::string_view key;    // empty: none but the access key
    std::string_view toolTip;
};
std::span<const RecordingKey> RecordingKeys();

// Which controls of a recording window stand ready.
struct RecordingControls {
    bool start = false;  // Start, Arm and Disarm
    bool stop = false;
    bool pause = false;
    bool view = false;  // runs without storage
    bool save = false;  // Save and Append
    bool done = false;
    bool settings = false;  // source, configurations and pages
    bool note = false;

    bool operator==(const RecordingControls&) const = default;
};
// Why settings may not be changed, and what to do for it; empty when they may.
std::string WhyLocked(const CAcqView& view);
RecordingControls ControlsOf(const CAcqView& view);

}  // namespace kymora
