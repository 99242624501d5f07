#pragma once
// Markers of a recording: what a user does with them, and where they stand in a view.

#include <optional>

#include "display/kymora_view.h"

namespace kymora {

// The dialog of one marker.
struct CMarkerEntry {
    std::string m_strLabel;
    double m_dTime = 0.0;  // ms

    // Asks for them; false when the user cancels, and then nothing has changed.
    bool DoModal(Session& session, std::string title);
};

// --- operations; each is one step of undo and updates all views ---

// With an empty label in the middle of the viewport.
void AddMarker(CKymoraView& view);
// Asks for label and time first; false when the user cancels.
bool AddMarkerByMouse(CKymoraView& view, double timeMs);
// Without such a marker these do nothing.
bool EditMarker(CKymoraView& view, int marker);
void DeleteMarker(CKymoraView& view, int marker);
void DeleteAllMarkers(CKymoraView& view);
// Keeps the list in the order of time.
void MoveMarker(CKymoraView& view, int marker, double timeMs);
// Asks for a channel, which gets an event of one sample for each marker of the recording, with its label.
void ConvertMarkersToEvents(CKymoraView& view);

// --- geometry ---

// A marker is drawn as a cross; its label stands beside it.
inline constexpr int markerArm = 5, markerRow = 15;  // pixels; the row of the window
inline constexpr int markerLabelGap = 8, markerLabelRow = 20;

// Both ends of the viewport belong to it.
bool IsMarkerShown(const PlotContext& context, const CMarker& marker);
PixelRect MarkerRect(const PlotContext& context, const CMarker& marker);
PixelRect MarkerLabelRect(const PlotContext& context, const CMarker& marker);
// The marker under a pixel, its label included, or -1.
int MarkerAt(const PlotContext& context, int x, int y);
// The font of the labels.
const FontSpec& MarkerFont();

}  // namespace kymora
