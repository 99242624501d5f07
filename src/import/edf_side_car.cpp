// Which signals an EDF recording had when its side-car was saved, and the way of what it holds to the traces
// that there are now.

#include <fmt/format.h>

#include <algorithm>

#include "import/edf_recall.h"

namespace kymora {

namespace {

std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

std::vector<TraceSignal> CEDFDoc::OrdinarySignals() const {
    std::vector<TraceSignal> signals;
    for (const int index : header_.ordinarySignals) signals.push_back({index, header_.Signal(index).label});
    return signals;
}

// Leaves the model as it was.
CEDFDoc::Recalled CEDFDoc::RecallSignals(SideCarFile& sideCar) {
    Recalled recalled;
    recalled.stored = sideCar.Traces();
    ResetModel();
    const SideCarTraces& stored = recalled.stored;
    const std::vector<TraceSignal> signals = OrdinarySignals();
    if (stored.areTold) {
        std::vector<TraceSignal> all = stored.sources;
        for (const AbsentTrace& absent : stored.absent) all.push_back(absent.signal);
        recalled.slots = FindSignals(all, signals);
        const auto firstAbsent = recalled.slots.begin() + static_cast<std::ptrdiff_t>(stored.sources.size());
        recalled.absent.assign(firstAbsent, recalled.slots.end());
        recalled.slots.erase(firstAbsent, recalled.slots.end());
    } else {
        std::vector<std::string> labels;
        for (const TraceSignal& signal : stored.sources) labels.push_back(signal.label);
        recalled.slots = FindInOrder(labels, signals);
    }
    for (const int place : recalled.slots)
        if (place >= 0) recalled.choice.push_back(signals[static_cast<size_t>(place)].index);
    std::sort(recalled.choice.begin(), recalled.choice.end());
    recalled.choice.resize(std::min<size_t>(recalled.choice.size(), header_.MostTraces()));
    return recalled;
}

void CEDFDoc::ReadOwnSideCar(SideCarFile& sideCar, Recalled recalled, EdfEventCollector& collected) {
    const size_t slots = recalled.stored.sources.size();
    const SideCarResult result = sideCar.Load(slots > 0 ? static_cast<int>(slots) : traceCount);
    if (result == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (result != SideCarResult::read) return;
    if (!chosen_.empty()) PlaceTraces(recalled);
    // The user may have edited or deleted the events of the file: what was saved stands.
    if (HoldsEvents()) NoteAnnotations(collected);
}

void CEDFDoc::PlaceTraces(Recalled& recalled) {
    const std::vector<TraceSignal> signals = OrdinarySignals();
    const auto traceOf = [&](int place) {
        if (place < 0) return -1;
        const auto found =
            std::find(chosen_.begin(), chosen_.end(), signals[static_cast<size_t>(place)].index);
        return found == chosen_.end() ? -1 : static_cast<int>(found - chosen_.begin());
    };
    if (recalled.slots.empty()) recalled.slots = GuessSlots(recalled.stored.sources);
    StoredPlaces places{recalled.stored.sources, {}, recalled.stored.absent, {}};
    for (size_t slot = 0; slot < recalled.slots.size(); ++slot) {
        const int place = recalled.slots[slot];
        places.traces.push_back(traceOf(place));
        if (place >= 0) places.sources[slot] = signals[static_cast<size_t>(place)];
    }
    for (const int place : recalled.absent) places.absentTraces.push_back(traceOf(place));
    std::vector<TraceSettings> fresh;
    for (int t = 0; t < traceCount; ++t) fresh.push_back(DescribedTrace(t));
    MoveToTraces(*this, places, fresh);
    TellUnplaced(recalled, static_cast<size_t>(std::count(places.traces.begin(), places.traces.end(), -1)));
}

// For a side-car that does not tell its signals, and whose labels alone do not say it: the only signal of a
// label; and where there are as many traces as there were, the same place, unless the label is another
// signal's.
std::vector<int> CEDFDoc::GuessSlots(const std::vector<TraceSignal>& slots) const {
    const std::vector<TraceSignal> signals = OrdinarySignals();
    std::vector<int> found = FindSignals(slots, signals);
    if (slots.size() != chosen_.size()) return found;
    for (size_t slot = 0; slot < slots.size(); ++slot) {
        if (found[slot] >= 0) continue;
        const auto& ordinary = header_.ordinarySignals;
        const auto place =
            static_cast<int>(std::find(ordinary.begin(), ordinary.end(), chosen_[slot]) - ordinary.begin());
        const std::string& label = slots[slot].label;
        const bool isOthers = label != signals[static_cast<size_t>(place)].label &&
                              std::any_of(signals.begin(), signals.end(),
                                          [&](const TraceSignal& signal) { return signal.label == label; });
        if (!isOthers && std::find(found.begin(), found.end(), place) == found.end()) found[slot] = place;
    }
    return found;
}

// Says what belongs to no trace, once: what the side-car kept apart already was told before.
void CEDFDoc::TellUnplaced(const Recalled& recalled, size_t newlyAbsent) {
    std::vector<std::string> unknown, parents, channels;
    for (size_t slot = 0; slot < recalled.slots.size(); ++slot)
        if (recalled.slots[slot] < 0) unknown.push_back(recalled.stored.sources[slot].Name());
    for (size_t i = 0; i < newlyAbsent; ++i) {
        const size_t before = channels.size();
        for (const int32_t c : absentTraces[i].channels)
            if (GetNumEvents(c) > 0) channels.push_back(ChannelName(c));
        if (channels.size() > before) parents.push_back(absentTraces[i].signal.Name());
    }
    std::vector<std::string> said;
    if (!unknown.empty() && recalled.stored.areTold)
        said.push_back(
            fmt::format("The side-car holds settings of signals that this file does not have: {}. They "
                        "are kept in it, and no other signal takes them.",
                        Joined(unknown)));
    if (!unknown.empty() && !recalled.stored.areTold)
        said.push_back(fmt::format("The side-car does not tell which signals it was made with, and its "
                                   "labels do not fit the traces: "
                                   "{}. No other signal takes their settings. To see them, open the file "
                                   "with the signals that it had "
                                   "when it was saved.",
                                   Joined(unknown)));
    if (!channels.empty())
        said.push_back(fmt::format("Events in channels {} were made from signals that are no traces now: {}. "
                                   "They have no parent trace until these signals are chosen again.",
                                   Joined(channels), Joined(parents)));
    if (said.empty()) return;
    std::string text;
    for (const std::string& part : said) text += (text.empty() ? "" : "\n\n") + part;
    Notify("EDF side-car of other signals", text);
}

bool CEDFDoc::HoldsEvents() const {
    return eventChannels[0].channelComment == startMarkComment ||
           std::any_of(eventChannels.begin(), eventChannels.end(),
                       [](const CEventChan& channel) { return channel.GetNumEvents() != 0; });
}

}  // namespace kymora
