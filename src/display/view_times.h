#pragma once
// The times of a view as the user reads and writes them: the edit boxes, the texts of a picture's time axis,
// and the dialogs of the viewport and the selection.

#include <string>
#include <string_view>

#include "display/kymora_view.h"

namespace kymora {

// In the current unit.
std::string StartText(const PlotContext& context);
std::string EndText(const PlotContext& context);
std::string TimebaseText(const PlotContext& context);
// "ms/div" and its like.
std::string TimebaseUnitText(const PlotContext& context);

// The same from a text. A bad one is told to the user and answers false.
bool SetStartFromText(CKymoraView& view, std::string_view text);
bool SetEndFromText(CKymoraView& view, std::string_view text);
bool SetTimebaseFromText(CKymoraView& view, std::string_view text);

void AskTimebase(CKymoraView& view);
// The step of Navigation's LeftPercent and RightPercent.
void AskStep(CKymoraView& view);
// The two ends of a selection.
void AskSelection(CKymoraView& view);
void ZoomToSelection(CKymoraView& view);

}  // namespace kymora
