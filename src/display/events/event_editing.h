#pragma once
// Edits of events as a user makes them: each is one step of undo under the name of its command, and told to
// all views. Where the channel is locked the user is told and nothing changes; the answer is false then.
// Indices ascend.

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "display/events/event_hits.h"
#include "display/kymora_view.h"

namespace kymora {

CEventChan& EventChannel(CDataDoc& doc, int channel);
void SelectEventChannel(CKymoraView& view, int channel);

// True when the user agrees, or when there is nothing to ask: at most one event goes. `what` is what the
// events are, " of channel c" or the like.
bool ConfirmDeletion(const CKymoraView& view, int64_t count, std::string_view what);

// Takes events out and sorts others in, each behind those that start no later.
bool ExchangeEvents(CDataDoc& doc, int channel, std::span<const int> out, std::vector<CEventKM> in,
                    std::string_view name);
// Changes events in their places; their onsets stay.
bool ChangeEvents(CDataDoc& doc, int channel, std::span<const int> indices,
                  const std::function<void(CEventKM&)>& change, std::string_view name);

// Asks when there are several.
bool DeleteEvents(CKymoraView& view, int channel, std::span<const int> indices, std::string_view name);
// One event from the first onset to the last end takes their place. It has the value and colour of the first,
// and the first tag and label that any of them has.
bool MergeEvents(CKymoraView& view, int channel, std::span<const int> indices, std::string_view name);

// The largest shift towards `shift` that takes none of the events out of the recording. One that lies outside
// already is not moved further out.
int64_t HeldShift(CDataDoc& doc, int channel, std::span<const int> indices, int64_t shift);
bool MoveEvents(CKymoraView& view, int channel, std::span<const int> indices, int64_t shift,
                std::string_view name);

// The event with its onset or offset at a sample, held to the recording; at least one sample stays.
CEventKM StretchedEvent(CDataDoc& doc, CEventKM event, EventPart part, int64_t sample);
bool StretchEvent(CKymoraView& view, const EventHit& hit, int64_t sample, std::string_view name);

// The stretch of an event of the fixed duration for a click at a sample. Only for recordings with a sample.
RowStretch FixedStretch(CDataDoc& doc, double timeMs);
// Adds events with what is set for insertion, and shows their channel if it is hidden.
bool InsertEvents(CKymoraView& view, int channel, std::span<const RowStretch> stretches,
                  std::string_view name);

// Changes the settings of a channel, as one step. A lock is the caller's to ask.
void ChangeChannel(CKymoraView& view, int channel, const std::function<void(CEventChan&)>& change,
                   std::string_view name);

}  // namespace kymora
