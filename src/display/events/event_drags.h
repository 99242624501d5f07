#pragma once
// What the mouse does with events while its button is held. Nothing changes before the release, except that a
// row follows the mouse; ESC leaves everything as it was.

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "display/events/event_hits.h"
#include "display/kymora_view.h"

namespace kymora {

std::unique_ptr<MouseDrag> DragEventRow(const PlotContext& context, int channel, const MouseEvent& press);
std::unique_ptr<MouseDrag> DragEventEdge(const EventHit& edge, const MouseEvent& press,
                                         std::string_view name);
// Moves events together. `withSelection` moves the selected stretch along.
std::unique_ptr<MouseDrag> DragEvents(int channel, std::vector<int> indices, const MouseEvent& press,
                                      bool withSelection, std::string_view name);
// Runs `act` on the event that is clicked, or on all that the drag touches in the row that was pressed.
using EventAction = void (*)(CKymoraView& view, int channel, std::span<const int> indices);
std::unique_ptr<MouseDrag> DragOverEvents(int channel, const MouseEvent& press, EventAction act);
// Selects the stretch of time between press and release.
std::unique_ptr<MouseDrag> DragEventSelection(const PlotContext& context, int channel,
                                              const MouseEvent& press);
// Inserts an event from press to release.
std::unique_ptr<MouseDrag> DragNewEvent(int channel, const MouseEvent& press, std::string_view name);

}  // namespace kymora
