#include "document/trace_signals.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/data_doc.h"

namespace kymora {

namespace {

int CountOfLabel(std::span<const TraceSignal> signals, const std::string& label) {
    return static_cast<int>(std::count_if(signals.begin(), signals.end(),
                                          [&](const TraceSignal& signal) { return signal.label == label; }));
}

// A slot describes a trace and, apart from it, the axis of its place; a trace may be drawn on another's axis.
void TakeAxis(TraceSettings& to, const TraceSettings& from) {
    to.traceAutoscale = from.traceAutoscale;
    to.axisTop = from.axisTop;
    to.axisBottom = from.axisBottom;
    to.axisLabel = from.axisLabel;
    to.traceUnits = from.traceUnits;
    to.traceVisible = from.traceVisible;
    to.traceExtraA = from.traceExtraA;
    to.traceExtraB = from.traceExtraB;
}

std::string DefaultAxisLabel(size_t slot) { return TraceSettings::Default(static_cast<int>(slot)).axisLabel; }

// What a recording holds of the traces in its slots, before they move.
class Mover {
  public:
    Mover(CDataDoc& doc, const StoredPlaces& places)
        : doc_(doc), places_(places), settings_(doc.traces), annotations_(doc.traceAnnotations) {}

    void Move(std::span<const TraceSettings> fresh) {
        for (size_t t = 0; t < doc_.traces.size(); ++t) {
            doc_.traces[t] = t < fresh.size() ? fresh[t] : TraceSettings::Default(static_cast<int>(t));
            doc_.traceAnnotations[t].clear();
        }
        doc_.absentTraces.clear();
        for (size_t slot = 0; slot < places_.sources.size(); ++slot) MoveSlot(slot);
        MoveBars();
        MoveParents();
        for (int32_t& cell : doc_.grid.gridCells)
            if (cell >= 0) cell = PlaceOf(cell);
        for (size_t i = 0; i < places_.absent.size(); ++i) Return(i);
    }

  private:
    int PlaceOf(int slot) const {
        return slot >= 0 && static_cast<size_t>(slot) < places_.traces.size()
                   ? places_.traces[static_cast<size_t>(slot)]
                   : -1;
    }
    bool WasInUse(int slot) const { return slot >= 0 && static_cast<size_t>(slot) < places_.sources.size(); }
    // The absent trace that a slot has become; its place is -1.
    AbsentTrace& AbsentOf(int slot) {
        const auto before = std::count(places_.traces.begin(), places_.traces.begin() + slot, -1);
        return doc_.absentTraces[static_cast<size_t>(before)];
    }

    void MoveSlot(size_t slot) {
        const TraceSettings& stored = settings_[slot];
        const int axis = WasInUse(stored.traceOrder) ? stored.traceOrder : static_cast<int>(slot);
        TraceSettings moved = stored;
        const int place = places_.traces[slot];
        const bool axisMoves = place >= 0 && PlaceOf(axis) >= 0;
        // Where the trace to whom the axis belongs is absent, it is copied.
        if (!axisMoves) TakeAxis(moved, settings_[static_cast<size_t>(axis)]);
        const size_t labelled = axisMoves ? slot : static_cast<size_t>(axis);
        const bool hasUsualLabel = moved.axisLabel == DefaultAxisLabel(labelled);
        if (place < 0) {
            if (hasUsualLabel) moved.axisLabel.clear();
            doc_.absentTraces.push_back(
                {places_.sources[slot], std::move(moved), annotations_[slot], {}, {}});
            return;
        }
        moved.traceOrder = axisMoves ? PlaceOf(axis) : place;
        if (hasUsualLabel) moved.axisLabel = DefaultAxisLabel(static_cast<size_t>(place));
        doc_.traces[static_cast<size_t>(place)] = std::move(moved);
        Annotate(place, annotations_[slot]);
    }

    void Annotate(int trace, const std::vector<CAnnotation>& annotations) {
        auto& list = doc_.traceAnnotations[static_cast<size_t>(trace)];
        list = annotations;
        for (CAnnotation& annotation : list) annotation.m_nTrace = trace;
    }

    void MoveBars() {
        auto& bars = doc_.scaleBars[1].list;
        std::erase_if(bars, [&](ScaleBar& bar) {
            if (!WasInUse(bar.m_nTrace)) return false;
            if (PlaceOf(bar.m_nTrace) < 0) {
                AbsentOf(bar.m_nTrace).bars.push_back(bar);
                return true;
            }
            bar.m_nTrace = PlaceOf(bar.m_nTrace);
            return false;
        });
    }

    void MoveParents() {
        for (size_t c = 0; c < doc_.eventChannels.size(); ++c) {
            int32_t& parent = doc_.eventChannels[c].parentTrace;
            if (!WasInUse(parent)) continue;
            if (PlaceOf(parent) < 0) AbsentOf(parent).channels.push_back(static_cast<int32_t>(c));
            parent = PlaceOf(parent);
        }
    }

    // What was absent may be a trace again.
    void Return(size_t i) {
        const AbsentTrace& absent = places_.absent[i];
        const int place = places_.absentTraces[i];
        if (place < 0) return doc_.absentTraces.push_back(absent);
        TraceSettings& trace = doc_.traces[static_cast<size_t>(place)];
        trace = absent.settings;
        trace.traceOrder = place;
        if (trace.axisLabel.empty()) trace.axisLabel = DefaultAxisLabel(static_cast<size_t>(place));
        Annotate(place, absent.annotations);
        for (ScaleBar bar : absent.bars) {
            bar.m_nTrace = place;
            doc_.scaleBars[1].list.push_back(std::move(bar));
        }
        for (const int32_t channel : absent.channels)
            if (doc_.HasChannel(channel) && doc_.GetParentTrace(channel) < 0)
                doc_.eventChannels[static_cast<size_t>(channel)].parentTrace = place;
    }

    CDataDoc& doc_;
    const StoredPlaces& places_;
    const std::array<TraceSettings, maxTraces> settings_;
    const std::array<std::vector<CAnnotation>, maxTraces> annotations_;
};

}  // namespace

std::string TraceSignal::Name() const {
    return index < 0 ? fmt::format("\"{}\"", label) : fmt::format("{} \"{}\"", index + 1, label);
}

std::vector<int> FindSignals(std::span<const TraceSignal> wanted, std::span<const TraceSignal> signals) {
    std::vector<int> found(wanted.size(), -1);
    std::vector<bool> taken(signals.size());
    const auto take = [&](size_t which, auto fits) {
        const auto at = std::find_if(signals.begin(), signals.end(), fits) - signals.begin();
        if (static_cast<size_t>(at) == signals.size() || taken[static_cast<size_t>(at)]) return;
        taken[static_cast<size_t>(at)] = true;
        found[which] = static_cast<int>(at);
    };
    for (size_t i = 0; i < wanted.size(); ++i)
        take(i, [&](const TraceSignal& signal) { return signal == wanted[i]; });
    for (size_t i = 0; i < wanted.size(); ++i) {
        const std::string& label = wanted[i].label;
        if (found[i] >= 0 || label.empty()) continue;
        if (CountOfLabel(wanted, label) == 1 && CountOfLabel(signals, label) == 1)
            take(i, [&](const TraceSignal& signal) { return signal.label == label; });
    }
    return found;
}

std::vector<int> FindInOrder(std::span<const std::string> labels, std::span<const TraceSignal> signals) {
    // As far to the front as they go, and as far to the back: the same where there is one way only.
    std::vector<int> front, back;
    for (size_t at = 0; at < signals.size() && front.size() < labels.size(); ++at)
        if (signals[at].label == labels[front.size()]) front.push_back(static_cast<int>(at));
    for (size_t at = signals.size(); at-- > 0 && back.size() < labels.size();)
        if (signals[at].label == labels[labels.size() - 1 - back.size()])
            back.push_back(static_cast<int>(at));
    std::reverse(back.begin(), back.end());
    return front.size() == labels.size() && front == back ? front : std::vector<int>();
}

void MoveToTraces(CDataDoc& doc, const StoredPlaces& places, std::span<const TraceSettings> fresh) {
    Mover(doc, places).Move(fresh);
}

}  // namespace kymora
