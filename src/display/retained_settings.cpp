#include "display/retained_settings.h"

#include <algorithm>

#include "display/trace_format.h"
#include "host/form.h"

namespace kymora {

namespace {

struct Pair {
    const CDataDoc& front;
    const DisplaySettings& shown;
    CDataDoc& opened;

    template <typename Does>
    void ForTraces(Does does) const {
        const int count = std::min(front.traceCount, opened.traceCount);
        for (size_t t = 0; t < static_cast<size_t>(count); ++t) does(t);
    }
    template <typename Does>
    void ForChannels(Does does) const {
        for (size_t i = 0; i < static_cast<size_t>(maxEventChannels); ++i)
            does(front.eventChannels[i], opened.eventChannels[i]);
    }
    // For what a lock protects beside the events.
    template <typename Does>
    void ForUnlockedChannels(Does does) const {
        ForChannels([&](const CEventChan& from, CEventChan& to) {
            if (!to.channelLocked) does(from, to);
        });
    }
};

template <auto member>
void TakeView(const Pair& pair) {
    pair.opened.view.*member = pair.shown.view.*member;
}
template <auto member>
void TakeTrace(const Pair& pair) {
    pair.ForTraces([&](size_t t) { pair.opened.traces[t].*member = pair.front.traces[t].*member; });
}
template <auto member>
void TakeShownTrace(const Pair& pair, int32_t TraceSettings::*to) {
    pair.ForTraces([&](size_t t) { pair.opened.traces[t].*to = pair.shown.traces[t].*member; });
}
template <auto member>
void TakeChannel(const Pair& pair) {
    pair.ForChannels([](const CEventChan& from, CEventChan& to) { to.*member = from.*member; });
}
template <auto member>
void TakeProtected(const Pair& pair) {
    pair.ForUnlockedChannels([](const CEventChan& from, CEventChan& to) { to.*member = from.*member; });
}

void TakeTimebase(const Pair& pair) {
    TakeView<&StoredView::timebaseMode>(pair);
    TakeView<&StoredView::timeUnit>(pair);
}
void TakeTimes(const Pair& pair) {
    TakeView<&StoredView::viewStart>(pair);
    TakeView<&StoredView::viewEnd>(pair);
}
void TakeLimits(const Pair& pair) {
    pair.ForTraces([&](size_t t) {
        TraceSettings& to = pair.opened.traces[t];
        to.axisTop = pair.shown.traces[t].axisTop;
        to.axisBottom = pair.shown.traces[t].axisBottom;
        to.traceAutoscale = 0;
    });
}
void TakeAxisOfTrace(const Pair& pair) {
    TakeShownTrace<&DisplaySettings::Trace::traceOrder>(pair, &TraceSettings::traceOrder);
}
void TakeAxisShown(const Pair& pair) {
    TakeShownTrace<&DisplaySettings::Trace::traceVisible>(pair, &TraceSettings::traceVisible);
}
void TakeFormat(const Pair& pair, const std::function<void(TraceFormat&, const TraceFormat&)>& take) {
    pair.ForTraces([&](size_t t) {
        const DisplaySettings::Trace& from = pair.shown.traces[t];
        TraceSettings& to = pair.opened.traces[t];
        TraceFormat format = FormatOfStored(to.traceExtraA, to.traceExtraB);
        take(format, FormatOfStored(from.traceExtraA, from.traceExtraB));
        StoreFormat(format, to.traceExtraA, to.traceExtraB);
    });
}
void TakeLineOrDot(const Pair& pair) {
    TakeFormat(pair, [](TraceFormat& to, const TraceFormat& from) {
        to.drawAsDots = from.drawAsDots;
        to.lineWidth = from.lineWidth;
    });
}
void TakeDotSize(const Pair& pair) {
    TakeFormat(pair, [](TraceFormat& to, const TraceFormat& from) { to.dotSize = from.dotSize; });
}
void TakePosition(const Pair& pair) {
    pair.ForChannels(
        [](const CEventChan& from, CEventChan& to) { to.SetDisplayPosition(from.GetDisplayPosition()); });
}
// A trace that the other recording does not have is no parent.
void TakeParent(const Pair& pair) {
    pair.ForUnlockedChannels([&](const CEventChan& from, CEventChan& to) {
        if (from.parentTrace < pair.opened.traceCount) to.parentTrace = from.parentTrace;
    });
}
void TakeNothing(const Pair&) {}

struct Choice {
    const char* group;
    const char* label;
    void (*take)(const Pair&);
};

constexpr Choice choices[retainedChoices] = {
    {"Time axis", "timebase type", TakeTimebase},
    {"Time axis", "start and end times", TakeTimes},
    {"Traces", "experimental gain", TakeTrace<&TraceSettings::traceGain>},
    {"Traces", "gain and position", TakeLimits},
    {"Traces", "axis on which each trace displays", TakeAxisOfTrace},
    {"Traces", "hide/show of each axis", TakeAxisShown},
    {"Traces", "trace colours", TakeTrace<&TraceSettings::traceColour>},
    {"Traces", "labels of traces", TakeTrace<&TraceSettings::traceLabel>},
    {"Traces", "labels of axes", TakeTrace<&TraceSettings::axisLabel>},
    {"Traces", "line or dot setting", TakeLineOrDot},
    {"Event channels", "hide/show", TakeChannel<&CEventChan::channelVisible>},
    {"Event channels", "position", TakePosition},
    {"Event channels", "base colour", TakeChannel<&CEventChan::channelColour>},
    {"Event channels", "label", TakeProtected<&CEventChan::channelLabel>},
    {"Event channels", "hide/show channel label", TakeView<&StoredView::showEventChanLabels>},
    {"Event channels", "description", TakeProtected<&CEventChan::channelComment>},
    {"Event channels", "parent trace", TakeParent},
    {"View", "size", TakeNothing},
    {"View", "dot size", TakeDotSize},
    {"View", "show events", TakeView<&StoredView::showEvents>},
    {"View", "show markers", TakeView<&StoredView::showMarkers>},
    {"View", "show axes", TakeView<&StoredView::showAxes>},
    {"View", "show slider", TakeView<&StoredView::showSlider>},
    {"View", "show trace labels", TakeView<&StoredView::showTraceLabels>},
    {"View", "show trace IDs", TakeView<&StoredView::showTraceIds>},
    {"View", "show trace annotations", TakeView<&StoredView::showTraceAnnotations>},
    {"View", "show scale bars", TakeView<&StoredView::showScaleBars>},
    {"View", "show grid", TakeView<&StoredView::showGrid>},
};
constexpr int sizeChoice = 17;

bool Has(uint32_t chosen, int choice) { return (chosen >> choice & 1) != 0; }

void SetAll(Form& form, uint8_t value) {
    auto& checks = form["settings"].checks;
    std::fill(checks.begin(), checks.end(), value);
}

}  // namespace

bool CRetainSettings::RetainsSize() const { return Has(m_choices, sizeChoice); }

bool CRetainSettings::Ask(Host& host) {
    Form form("Retain current settings");
    form.AddNote("what", "A file that is opened takes what is checked here from the view in front, and not "
                         "from its own header.");
    std::vector<std::string> labels;
    std::vector<uint8_t> checks;
    for (int i = 0; i < retainedChoices; ++i) {
        labels.push_back(std::string(choices[i].group) + ": " + choices[i].label);
        checks.push_back(Has(m_choices, i));
    }
    form.AddCheckList("settings", "Settings", std::move(labels), std::move(checks),
                      "What the next file takes from the view in front");
    form.AddAction(
        "all", "Retain all", [](Form& asked) { SetAll(asked, 1); }, "Checks all of them");
    form.AddAction(
        "none", "Retain none", [](Form& asked) { SetAll(asked, 0); }, "Clears all of them");
    if (!host.AskForm(form)) return false;
    m_choices = 0;
    for (int i = 0; i < retainedChoices; ++i)
        if (form["settings"].checks[static_cast<size_t>(i)] != 0) m_choices |= uint32_t{1} << i;
    return true;
}

void CRetainSettings::Apply(const CDataDoc& front, const DisplaySettings& shown, CDataDoc& opened) const {
    const Pair pair{front, shown, opened};
    for (int i = 0; i < retainedChoices; ++i)
        if (Has(m_choices, i)) choices[i].take(pair);
}

}  // namespace kymora
