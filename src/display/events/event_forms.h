#pragma once
// The dialogs of events and event channels. Each asks, checks, and makes its change one step of undo.

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "display/events/event_hits.h"
#include "display/kymora_view.h"

namespace kymora {

// --- single events ---
void AskEventProperties(CKymoraView& view, int channel, int index);
void AskEventLabel(CKymoraView& view, int channel, int index);

// --- insertion ---
// True when it was accepted.
bool AskInsertionDefaults(CKymoraView& view);
void AskEventTimes(CKymoraView& view);
// The colour that the mouse gives to events. True when it was accepted.
bool AskEventPaint(CKymoraView& view);

// Times in ms, separated by blanks, commas, semicolons or line ends. A time outside the recording, or what
// is no number, is named in `fault`.
std::vector<double> ParseEventTimes(const CKymoraView& view, std::string_view text, std::string& fault);

// --- channels ---
// What the chooser of a channel shows and demands beside the channel.
struct EventChannelQuestion {
    std::string title;
    int current = 0;
    std::string note;          // shown above the channel; empty for none
    bool needsEvents = false;  // a channel without events is not taken
};
// A channel by its letter or number; nothing when the user cancels.
std::optional<int> AskEventChannel(CKymoraView& view, const EventChannelQuestion& question);
inline std::optional<int> AskEventChannel(CKymoraView& view, std::string title, int current) {
    return AskEventChannel(view, {std::move(title), current, {}, false});
}
void AskChannelProperties(CKymoraView& view, int channel);
void AskMergeClose(CKymoraView& view, int channel);
void AskCopyChannel(CKymoraView& view, int channel);

}  // namespace kymora
