#pragma once
// The dialogs of events and event channels. Each asks, checks, and makes its change one step of undo.

#include <optional>
#include <string>
#include <string_view>

#include "display/events/event_hits.h"

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
// A channel by its letter or number; nothing when the user cancels.
std::optional<int> AskEventChannel(CKymoraView& view, std::string title, int current);
void AskChannelProperties(CKymoraView& view, int channel);
void AskMergeClose(CKymoraView& view, int channel);
void AskCopyChannel(CKymoraView& view, int channel);

}  // namespace kymora
