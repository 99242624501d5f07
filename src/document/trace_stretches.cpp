#include "document/trace_stretches.h"

namespace kymora {

std::vector<TraceStretch> StretchesOf(const CDataDoc& doc, int trace) {
    if (!doc.hasGaps)
        return doc.episodic ? Episodes(doc) : std::vector<TraceStretch>{{0, doc.GetTraceLength(trace)}};
    std::vector<TraceStretch> stretches;
    for (int i = 0; i < doc.GetNumRuns(trace); ++i) {
        TraceStretch stretch;
        if (doc.GetRunSpan(trace, i, stretch.start, stretch.end) && stretch.start < stretch.end)
            stretches.push_back(stretch);
    }
    return stretches;
}

std::vector<TraceStretch> UnbrokenStretches(const CDataDoc& doc, int trace) {
    std::vector<TraceStretch> stretches = StretchesOf(doc, trace);
    if (!doc.hasGaps || !doc.episodic) return stretches;
    const std::vector<TraceStretch> episodes = Episodes(doc);
    auto episode = episodes.begin();
    std::vector<TraceStretch> unbroken;
    for (TraceStretch stretch : stretches) {
        for (; episode != episodes.end() && episode->start < stretch.end; ++episode) {
            if (episode->start <= stretch.start) continue;
            unbroken.push_back({stretch.start, episode->start});
            stretch.start = episode->start;
        }
        unbroken.push_back(stretch);
    }
    return unbroken;
}

std::vector<TraceStretch> Episodes(const CDataDoc& doc) {
    std::vector<TraceStretch> episodes;
    const int64_t length = doc.GetLength();
    int64_t start = 0;
    for (const CEventKM& boundary : doc.eventChannels[0].Events()) {
        if (boundary.onPosition <= start || boundary.onPosition >= length) continue;
        episodes.push_back({start, boundary.onPosition});
        start = boundary.onPosition;
    }
    episodes.push_back({start, length});
    return episodes;
}

}  // namespace kymora
