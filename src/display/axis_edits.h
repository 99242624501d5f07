#pragma once
// What a user does with the vertical axes and the look of the traces. Each change is one step of undo.

#include <string>
#include <string_view>
#include <vector>

#include "display/kymora_view.h"

namespace kymora {

// --- of the selected axes, or of all ---
void IncreaseGain(CKymoraView& view, bool allAxes);
void DecreaseGain(CKymoraView& view, bool allAxes);
void MoveUp(CKymoraView& view, bool allAxes);
void MoveDown(CKymoraView& view, bool allAxes);
// Gives them the range that holds all of theirs; all axes when only one is selected.
void SameScale(CKymoraView& view, bool allAxes);
void SetDrawAsDots(CKymoraView& view, bool allAxes, bool dots);
void SetDotSize(CKymoraView& view, bool allAxes, int size);
// True when all traces of the selected axes pass the test, and there is one.
bool IsSelectedFormat(const CKymoraView& view, bool (*test)(const TraceFormat&));
// The traces of the selected axes, in ascending order.
std::vector<int> SelectedTraces(const CKymoraView& view);

// --- limits ---
// One limit from a text. What is no number, or would not leave the maximum above the minimum, is told to
// the user and answers false.
bool SetLimitFromText(CKymoraView& view, int axis, bool isMax, std::string_view text);
std::string LimitText(const ViewSettings& settings, int axis, bool isMax);
// Tells the user where the limits of an axis are written alike.
void WarnOfEqualLabels(const CKymoraView& view);
// Zooms so that the value at a pixel stays under it; a factor below 1 makes the traces taller.
void ScaleAxisAround(CKymoraView& view, int axis, int y, double factor);

// --- dialogs ---
// Which axes show and what is drawn on them, the look of the selected traces, and the size of the view in its
// window.
void AskAxes(CKymoraView& view);
void AskFormat(CKymoraView& view);
void AskTraceColour(CKymoraView& view, int trace);
void AskSize(CKymoraView& view);

}  // namespace kymora
