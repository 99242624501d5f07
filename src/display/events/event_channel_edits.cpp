#include "display/events/event_channel_edits.h"

#include <algorithm>

#include "display/events/event_editing.h"
#include "display/events/event_rows.h"
#include "operations/analysis_rgn.h"

namespace kymora {

namespace {

template <typename IsChosen>
void DeleteChosen(CKymoraView& view, int channel, std::string_view name, IsChosen isChosen) {
    const auto& events = EventChannel(view.GetDocument(), channel).Events();
    std::vector<int> chosen;
    for (size_t i = 0; i < events.size(); ++i)
        if (isChosen(events[i])) chosen.push_back(static_cast<int>(i));
    DeleteEvents(view, channel, chosen, name);
}

// Whether an event goes with a stretch, as CEventChan::DeleteRange has it.
bool IsWithin(const CEventKM& event, const SampleSpan& span) {
    return (event.onPosition >= span.first && event.onPosition < span.end) ||
           (event.offPosition > span.first && event.offPosition < span.end);
}

void DeleteWithin(CKymoraView& view, int channel, const Viewport& stretch, std::string_view name) {
    const CDataDoc& doc = view.GetDocument();
    const SampleSpan span{doc.PositionOf(stretch.start), doc.PositionOf(stretch.end)};
    DeleteChosen(view, channel, name, [&](const CEventKM& event) { return IsWithin(event, span); });
}

// Changes the settings of many channels as one step.
void ChangeChannels(CKymoraView& view, std::string_view name, std::span<const int> channels,
                    const std::function<void(CEventChan&, int)>& change) {
    CDataDoc& doc = view.GetDocument();
    {
        UndoScope scope(doc, std::string(name));
        for (const int channel : channels) {
            scope.KeepChannelSettings(channel);
            change(EventChannel(view.GetDocument(), channel), channel);
        }
    }
    doc.UpdateAllViews(UpdateHint::events);
}

template <typename IsChosen>
std::vector<int> ChannelsWhere(const CKymoraView& view, IsChosen isChosen) {
    std::vector<int> channels;
    for (int channel = 0; channel < maxEventChannels; ++channel)
        if (isChosen(EventChannel(view.GetDocument(), channel), channel)) channels.push_back(channel);
    return channels;
}

}  // namespace

void DeleteAllEvents(CKymoraView& view, int channel) {
    DeleteChosen(view, channel, "All events in channel", [](const CEventKM&) { return true; });
}

void DeleteTaggedEvents(CKymoraView& view, int channel) {
    DeleteChosen(view, channel, "Tagged events", [](const CEventKM& event) { return event.eventTag != 0; });
}

void KeepTaggedEvents(CKymoraView& view, int channel) {
    DeleteChosen(view, channel, "Keep tagged", [](const CEventKM& event) { return event.eventTag == 0; });
}

void DeleteEventsInSelection(CKymoraView& view, int channel) {
    if (!view.m_selection) return;
    DeleteWithin(view, channel, *view.m_selection, "Events in selection");
    view.SelectionUsed();
}

void DeleteEventsInViewport(CKymoraView& view, int channel) {
    DeleteWithin(view, channel, view.GetViewport(), "Events in viewport");
}

// The stretches are marked first, so that a gate of a million events costs no more than its length.
void AskDeleteInRegion(CKymoraView& view, int channel) {
    CDataDoc& doc = view.GetDocument();
    CAnalysisRgn region;
    if (!region.Ask(doc, "Delete events in region", "Delete")) return;
    std::vector<SampleSpan> spans = region.GetSpans(doc, &view);
    std::sort(spans.begin(), spans.end(),
              [](const SampleSpan& a, const SampleSpan& b) { return a.first < b.first; });
    std::vector<SampleSpan> joined;
    for (const SampleSpan& span : spans) {
        if (joined.empty() || span.first >= joined.back().end)
            joined.push_back(span);
        else
            joined.back().end = std::max(joined.back().end, span.end);
    }
    // The first stretch that ends behind a position is the only one that can hold it.
    const auto goes = [&joined](const CEventKM& event, int32_t position) {
        const auto span = std::upper_bound(joined.begin(), joined.end(), position,
                                           [](int32_t at, const SampleSpan& s) { return at < s.end; });
        return span != joined.end() && IsWithin(event, *span);
    };
    DeleteChosen(view, channel, "Events in region", [&goes](const CEventKM& event) {
        return goes(event, event.onPosition) || goes(event, event.offPosition);
    });
}

void UnhideEvents(CKymoraView& view) {
    const auto hidden =
        ChannelsWhere(view, [](const CEventChan& chan, int) { return chan.channelVisible == 0; });
    ChangeChannels(view, "Unhide events", hidden, [](CEventChan& chan, int) { chan.channelVisible = 1; });
}

void ResetEventPositions(CKymoraView& view) {
    const auto moved = ChannelsWhere(view, [](const CEventChan& chan, int channel) {
        return chan.GetDisplayPosition() != CDataDoc::DefaultDisplayPosition(channel);
    });
    ChangeChannels(view, "Reset to default positions", moved, [](CEventChan& chan, int channel) {
        chan.SetDisplayPosition(CDataDoc::DefaultDisplayPosition(channel));
    });
}

void DistributeEventRows(CKymoraView& view) {
    std::vector<int> rows = ChannelsWhere(view, [](const CEventChan& chan, int) {
        return chan.channelVisible != 0 && chan.GetNumEvents() > 0;
    });
    std::stable_sort(rows.begin(), rows.end(), [&view](int a, int b) {
        return EventChannel(view.GetDocument(), a).GetDisplayPosition() <
               EventChannel(view.GetDocument(), b).GetDisplayPosition();
    });
    size_t place = 0;
    ChangeChannels(view, "Distribute evenly", rows, [&](CEventChan& chan, int) {
        chan.SetDisplayPosition(static_cast<double>(++place) / static_cast<double>(rows.size() + 1));
    });
}

}  // namespace kymora
