#pragma once
// Edits of whole channels from the menu, each one step of undo under its label. More than one event goes only
// after a question; a locked channel refuses.

#include "display/kymora_view.h"

namespace kymora {

void DeleteAllEvents(CKymoraView& view, int channel);
void DeleteTaggedEvents(CKymoraView& view, int channel);
void KeepTaggedEvents(CKymoraView& view, int channel);
// Events that start in the stretch, or end strictly within it, as CEventChan::DeleteRange has it.
void DeleteEventsInSelection(CKymoraView& view, int channel);
void DeleteEventsInViewport(CKymoraView& view, int channel);
// The same for each stretch of an analysis region that the user is asked for.
void AskDeleteInRegion(CKymoraView& view, int channel);

void UnhideEvents(CKymoraView& view);
void ResetEventPositions(CKymoraView& view);
// The rows shown keep their order from top to bottom.
void DistributeEventRows(CKymoraView& view);

}  // namespace kymora
