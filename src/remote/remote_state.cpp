// What the program shows, as JSON.

#include <optional>

#include "document/data_doc.h"
#include "remote/remote_requests.h"
#include "results/number_text.h"
#include "summaries/summary_service.h"

namespace kymora {
namespace {

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json AxesOf(const CKymoraView& view) {
    Json axes = Json::array();
    const CDataDoc& doc = view.GetDocument();
    for (const int axis : view.Plot().shownAxes) {
        const CVertAxis& vertical = view.m_axes[static_cast<size_t>(axis)];
        Json traces = Json::array();
        for (int t = 0; t < doc.traceCount; ++t)
            if (view.m_nAxisOfTrace[static_cast<size_t>(t)] == axis) traces.push_back(t + 1);
        const PixelRect band = view.Plot().BandOf(axis);
        axes.push_back({{"axis", axis + 1},
                        {"label", vertical.m_strLabel},
                        {"units", vertical.m_strUnits},
                        {"top", vertical.m_dMax},
                        {"bottom", vertical.m_dMin},
                        {"selected", vertical.m_bSelected},
                        {"traces", std::move(traces)},
                        {"topPixel", band.top},
                        {"bottomPixel", band.bottom}});
    }
    return axes;
}

Json TracesOf(const CKymoraView& view) {
    Json traces = Json::array();
    const CDataDoc& doc = view.GetDocument();
    for (int t = 0; t < doc.traceCount; ++t) {
        const TraceSettings& trace = doc.traces[static_cast<size_t>(t)];
        traces.push_back({{"trace", t + 1},
                          {"label", trace.traceLabel},
                          {"units", trace.traceUnits},
                          {"colour", ColourText(trace.traceColour)},
                          {"axis", view.m_nAxisOfTrace[static_cast<size_t>(t)] + 1},
                          {"shown", view.Plot().IsTraceShown(t)}});
    }
    return traces;
}

// Those with events, and the one that the mouse works on.
Json ChannelsOf(const CKymoraView& view) {
    Json channels = Json::array();
    const CDataDoc& doc = view.GetDocument();
    for (int c = 0; c < maxEventChannels; ++c) {
        const CEventChan& chan = doc.eventChannels[static_cast<size_t>(c)];
        if (chan.GetNumEvents() == 0 && c != view.m_nMouseEventChan) continue;
        channels.push_back({{"channel", ChannelName(c)},
                            {"number", c},
                            {"events", chan.GetNumEvents()},
                            {"label", chan.channelLabel},
                            {"locked", chan.channelLocked},
                            {"shown", chan.channelVisible != 0},
                            {"colour", ColourText(chan.channelColour)}});
    }
    return channels;
}

Json SwitchesOf(const CKymoraView& view) {
    return {{"axes", view.m_bShowAxes},
            {"slider", view.m_bShowSlider},
            {"grid", view.m_bShowGrid},
            {"markers", view.m_bShowMarkers},
            {"annotations", view.m_bShowAnnotations},
            {"scaleBars", view.m_bShowScaleBars},
            {"traceLabels", view.m_bShowTraceLabels},
            {"traceIds", view.m_bShowTraceIDs},
            {"events", view.m_bShowEvents},
            {"eventLabels", view.m_bShowEventLabels},
            {"eventChanLabels", view.m_bShowEventChanLabels},
            {"inactiveSections", view.m_bInactiveSections},
            {"dataArea", view.m_fDataArea},
            {"timeUnit", view.m_nTimeUnit}};
}

// How much of the summary is built that makes long views fast; null when the recording gets none.
Json SummaryShare(CDataDoc& doc) {
    const SummaryService* summaries = doc.GetSession().summaries;
    const double share = summaries != nullptr ? summaries->BuiltShare(doc) : -1.0;
    return share < 0.0 ? Json(nullptr) : Json(share);
}

Json DocumentState(CKymoraView& view) {
    CDataDoc& doc = view.GetDocument();
    const PixelRect plot = view.Plot().layout.plot;
    Json json = {
        {"path", doc.filePath.string()},
        {"modified", doc.IsModified()},
        {"readOnly", doc.openedReadOnly},
        {"samples", doc.GetLength()},
        {"sampleInterval", doc.sampleInterval},
        {"endTime", doc.GetEndTime()},
        {"hasGaps", doc.hasGaps},
        {"viewport", {{"start", view.m_StartTime}, {"end", view.m_EndTime}}},
        {"reading", view.IsReloading()},
        {"summary", SummaryShare(doc)},
        {"selection", nullptr},
        {"plot", {{"left", plot.left}, {"top", plot.top}, {"right", plot.right}, {"bottom", plot.bottom}}},
        {"mouseMode", view.m_nMouseMode},
        {"mouseChannel", ChannelName(view.m_nMouseEventChan)},
        {"undo", TextOrNull(doc.Undo().UndoName())},
        {"redo", TextOrNull(doc.Undo().RedoName())}};
    if (const auto& selection = view.m_selection)
        json["selection"] = {{"start", selection->start}, {"end", selection->end}};
    json["switches"] = SwitchesOf(view);
    json["axes"] = AxesOf(view);
    json["traces"] = TracesOf(view);
    json["channels"] = ChannelsOf(view);
    json["markers"] = Json::array();
    for (const CMarker& marker : doc.markers)
        json["markers"].push_back({{"time", marker.m_dTime}, {"label", marker.m_strLabel}});
    return json;
}

}  // namespace

Json StateOf(RemoteTarget& target) {
    const Extent size = target.WindowSize();
    const int active = target.Active();
    Json state = {{"window", {{"width", size.width}, {"height", size.height}}},
                  {"active", active < 0 ? Json(nullptr) : Json(active)},
                  {"dialog", TextOrNull(target.OpenDialog())}};
    state["documents"] = Json::array();
    for (CKymoraView* view : target.Views()) state["documents"].push_back(DocumentState(*view));
    return state;
}

}  // namespace kymora
