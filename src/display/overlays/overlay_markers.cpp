#include "display/overlays/overlay_markers.h"

#include <fmt/format.h>

#include <cmath>

#include "display/overlays/datum_lines.h"
#include "document/form_choices.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr const char* outsideText =
    "{} of the markers lie outside of the recording and were not converted to events.";

// Changes the list as one step of undo.
template <typename Change>
void ChangeMarkers(CKymoraView& view, const char* name, Change change) {
    CDataDoc& doc = view.GetDocument();
    {
        UndoScope scope(doc, name);
        scope.KeepMarkers();
        change(doc.markers);
    }
    doc.UpdateAllViews(UpdateHint::events);
}

bool Exists(const CKymoraView& view, int marker) {
    return marker >= 0 && marker < static_cast<int>(view.GetDocument().markers.size());
}

// Puts another marker in the place of one, where its time wants it.
void Replace(CKymoraView& view, const char* name, int index, const CMarker& marker) {
    CDataDoc& doc = view.GetDocument();
    ChangeMarkers(view, name, [&](std::vector<CMarker>& markers) {
        if (markers[static_cast<size_t>(index)].m_dTime == marker.m_dTime) {
            markers[static_cast<size_t>(index)] = marker;
            return;
        }
        markers.erase(markers.begin() + index);
        doc.InsertMarker(marker);
    });
}

constexpr int mostLabelHeight = 64;  // pixels, whatever font stands in for the usual one

// Whether a label could cover a column of pixels; no byte of a text is wider than four lines are high.
bool LabelMayReach(const PlotContext& context, const CMarker& marker, int x) {
    const auto most = static_cast<int64_t>(marker.m_strLabel.size()) * 4 * MarkerFont().pixelHeight;
    return std::abs(x - context.TimeToPixel(marker.m_dTime)) < most + markerLabelGap;
}

// A sample of the recording stands at its time.
bool IsInRecording(const CDataDoc& doc, const CMarker& marker) {
    const double position = marker.m_dTime / doc.sampleInterval;
    return position > -0.5 && position < static_cast<double>(doc.GetLength()) - 0.5;
}

}  // namespace

bool CMarkerEntry::DoModal(Session& session, std::string title) {
    Form form(std::move(title));
    form.AddText("label", "Label", m_strLabel, "The text beside the marker; it may be empty");
    form.AddNumber("time", "Time (ms)", m_dTime, "Where the marker stands, from the start of the recording");
    if (!session.host.AskForm(form)) return false;
    m_strLabel = form.Text("label");
    m_dTime = form.Number("time");
    return true;
}

// --- operations ---

void AddMarker(CKymoraView& view) {
    ChangeMarkers(view, "Add marker", [&](auto&) {
        view.GetDocument().InsertMarker({(view.m_StartTime + view.m_EndTime) / 2.0, {}});
    });
}

bool AddMarkerByMouse(CKymoraView& view, double timeMs) {
    CMarkerEntry entry{{}, timeMs};
    if (!entry.DoModal(view.GetSession(), "Add marker")) return false;
    ChangeMarkers(view, "Add marker", [&](auto&) {
        view.GetDocument().InsertMarker({entry.m_dTime, entry.m_strLabel});
    });
    return true;
}

bool EditMarker(CKymoraView& view, int marker) {
    if (!Exists(view, marker)) return false;
    const CMarker& old = view.GetDocument().markers[static_cast<size_t>(marker)];
    CMarkerEntry entry{old.m_strLabel, old.m_dTime};
    if (!entry.DoModal(view.GetSession(), "Edit marker") || !Exists(view, marker)) return false;
    Replace(view, "Edit marker", marker, {entry.m_dTime, entry.m_strLabel});
    return true;
}

void DeleteMarker(CKymoraView& view, int marker) {
    if (!Exists(view, marker)) return;
    ChangeMarkers(view, "Delete marker",
                  [&](std::vector<CMarker>& markers) { markers.erase(markers.begin() + marker); });
}

void DeleteAllMarkers(CKymoraView& view) {
    ChangeMarkers(view, "Delete all markers", [](std::vector<CMarker>& markers) { markers.clear(); });
}

void MoveMarker(CKymoraView& view, int marker, double timeMs) {
    if (!Exists(view, marker)) return;
    Replace(view, "Move marker", marker,
            {timeMs, view.GetDocument().markers[static_cast<size_t>(marker)].m_strLabel});
}

void ConvertMarkersToEvents(CKymoraView& view) {
    CDataDoc& doc = view.GetDocument();
    Session& session = view.GetSession();
    const int offered = session.options.eventChannelMode;
    const int free = doc.FirstFreeChannel();
    Form form("Convert markers to events");
    form.AddChoice("channel", "Event channel", ChannelChoices(session),
                   free >= 0 && free < offered ? free : 0,
                   "The channel to which the events are added; it keeps those that it has");
    form.AddFlag("deleteMarkers", "Delete the markers afterwards", false, "Check to leave only the events");
    if (!session.host.AskForm(form)) return;
    const int channel = form.Choice("channel");
    if (!doc.HasChannel(channel) || doc.eventChannels[static_cast<size_t>(channel)].IsLocked()) return;

    const size_t all = doc.markers.size();
    size_t inside = 0;
    {
        UndoScope scope(doc, "Convert markers to events");
        scope.KeepChannel(channel);
        scope.KeepMarkers();
        for (const CMarker& marker : doc.markers) {
            if (!IsInRecording(doc, marker)) continue;
            CEventKM event;
            event.onPosition = doc.PositionOf(marker.m_dTime);
            event.offPosition = event.onPosition + 1;
            event.eventLabel = marker.m_strLabel;
            doc.eventChannels[static_cast<size_t>(channel)].AddEvent(std::move(event));
            ++inside;
        }
        if (form.Flag("deleteMarkers"))
            std::erase_if(doc.markers, [&](const CMarker& marker) { return IsInRecording(doc, marker); });
    }
    doc.UpdateAllViews(UpdateHint::events);
    if (inside < all) session.host.Message(fmt::format(fmt::runtime(outsideText), all - inside));
}

// --- geometry ---

const FontSpec& MarkerFont() { return DatumFont(); }

bool IsMarkerShown(const PlotContext& context, const CMarker& marker) {
    return marker.m_dTime >= context.viewport.start && marker.m_dTime <= context.viewport.end &&
           context.layout.plot.Width() > 0 && context.layout.plot.Height() > 0;
}

PixelRect MarkerRect(const PlotContext& context, const CMarker& marker) {
    const int x = context.TimeToPixel(marker.m_dTime);
    return {x - markerArm, markerRow - markerArm, x + markerArm + 1, markerRow + markerArm + 1};
}

PixelRect MarkerLabelRect(const PlotContext& context, const CMarker& marker) {
    if (marker.m_strLabel.empty()) return {};
    const int x = context.TimeToPixel(marker.m_dTime);
    const Extent size = context.drawn.textSizes.Of(marker.m_strLabel, MarkerFont());
    // To the left where it would leave the plot and there is room.
    const bool leaves = x + markerLabelGap + size.width > context.layout.plot.right;
    const int before = x - markerLabelGap - size.width;
    const int left = leaves && before >= context.layout.plot.left ? before : x + markerLabelGap;
    return {left, markerLabelRow, left + size.width, markerLabelRow + size.height};
}

int MarkerAt(const PlotContext& context, int x, int y) {
    // The mouse moves far more often than it meets one of a hundred thousand markers: labels are measured
    // only where they could reach.
    const bool onCrosses = y >= markerRow - markerArm && y <= markerRow + markerArm;
    const bool onLabels = y >= markerLabelRow && y < markerLabelRow + mostLabelHeight;
    if (!context.settings.m_bShowMarkers || (!onCrosses && !onLabels)) return -1;
    const auto& markers = context.doc.markers;
    for (int i = static_cast<int>(markers.size()) - 1; i >= 0; --i) {
        const CMarker& marker = markers[static_cast<size_t>(i)];
        if (!IsMarkerShown(context, marker)) continue;
        if (onCrosses && MarkerRect(context, marker).Contains(x, y)) return i;
        if (onLabels && LabelMayReach(context, marker, x) && MarkerLabelRect(context, marker).Contains(x, y))
            return i;
    }
    return -1;
}

}  // namespace kymora
