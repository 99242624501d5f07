#include "display/events/event_forms.h"

#include <cmath>

#include <fmt/format.h>

#include "display/events/event_editing.h"
#include "display/events/event_text.h"
#include "drawing/number_labels.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr double mostMs = 1e12;

Field& AddMs(Form& form, std::string key, std::string label, double value, double step, std::string toolTip) {
    return form.AddNumber(std::move(key), std::move(label), value, std::move(toolTip))
        .Limits(0.0, mostMs)
        .Step(step);
}

// A colour of its own, or the channel's.
void AddOwnColour(Form& form, uint32_t colour, uint32_t otherwise) {
    form.AddFlag("ownColour", "Colour of its own", colour != 0, "Else it has the colour of its channel");
    form.AddColour("colour", "Colour", colour != 0 ? colour : otherwise, "The colour of its own").enabled =
        [](const Form& f) { return f.Flag("ownColour"); };
}

// Black of one's own is told apart from 0, which stands for the channel's colour.
uint32_t OwnColour(const Form& form) {
    constexpr uint32_t nearBlack = 0x010101;
    if (!form.Flag("ownColour")) return 0;
    const uint32_t colour = form["colour"].colour;
    return colour != 0 ? colour : nearBlack;
}

// A time as it is read by people: 140.45, not 140.45000000000002. It is the same sample.
double WithoutNoise(double timeMs) { return std::round(timeMs * 1e9) / 1e9; }

bool Ask(const CKymoraView& view, Form& form) { return view.GetSession().host.AskForm(form); }

}  // namespace

// --- single events ---

void AskEventProperties(CKymoraView& view, int channel, int index) {
    CDataDoc& doc = view.GetDocument();
    const CEventChan& chan = EventChannel(view.GetDocument(), channel);
    const CEventKM* event = doc.GetEvent(channel, index);
    if (!event || chan.IsLocked()) return;
    Form form("Event properties");
    form.AddNote("which", fmt::format("Event {} of {} in channel {}", index + 1, chan.GetNumEvents(),
                                      EventChannelTitle(view.Plot(), channel)));
    const double on = WithoutNoise(doc.TimeOf(event->onPosition));
    const double duration = WithoutNoise(doc.TimeOf(int64_t{event->offPosition} - event->onPosition));
    Field& onset = AddMs(form, "onset", "Onset (ms)", on, doc.sampleInterval, "Where the event starts");
    onset.least = std::min(0.0, on);
    onset.greatest = std::max(on, doc.TimeOf(std::max<int64_t>(0, doc.GetLength() - 1)));
    Field& length = AddMs(form, "duration", "Duration (ms)", duration, doc.sampleInterval,
                          "At least one sample; it ends with the recording at the latest");
    length.least = std::min(0.0, duration);
    form.AddNumber("value", chan.GetValueName(), event->eventValue, "The value of the event");
    form.AddInteger("tag", "Tag", event->eventTag, "Any number but 0 tags the event");
    form.AddText("label", "Label", std::string(event->eventLabel.View()), "Text shown at the event");
    AddOwnColour(form, event->eventColour, chan.channelColour);
    const CEventKM before = *event;
    if (!Ask(view, form)) return;
    event = doc.GetEvent(channel, index);
    if (!event || *event != before) return;  // a script was here meanwhile

    CEventKM changed = before;
    const int32_t newOn = doc.PositionOf(form.Number("onset"));
    const int32_t newDuration = doc.PositionOf(form.Number("duration"));
    // What was not touched stays as it is, also in an event that no edit could have made.
    if (newOn != before.onPosition || newDuration != int64_t{before.offPosition} - before.onPosition) {
        changed.onPosition = newOn;
        changed =
            StretchedEvent(view.GetDocument(), changed, EventPart::offset, int64_t{newOn} + newDuration);
    }
    if (const auto value = static_cast<float>(form.Number("value")); std::isfinite(value))
        changed.eventValue = value;
    changed.eventTag = form.Integer("tag");
    changed.eventLabel = form.Text("label");
    changed.eventColour = OwnColour(form);
    const int indices[] = {index};
    if (changed.onPosition != before.onPosition)
        ExchangeEvents(doc, channel, indices, {changed}, form.title);
    else
        ChangeEvents(
            doc, channel, indices, [&](CEventKM& one) { one = changed; }, form.title);
}

void AskEventLabel(CKymoraView& view, int channel, int index) {
    const CEventKM* event = view.GetDocument().GetEvent(channel, index);
    if (!event || EventChannel(view.GetDocument(), channel).IsLocked()) return;
    const CEventKM before = *event;
    Form form("Edit event label");
    form.AddText("label", "Label", std::string(before.eventLabel.View()),
                 "Text shown at the event; an empty one takes the label away");
    if (!Ask(view, form)) return;
    event = view.GetDocument().GetEvent(channel, index);
    if (!event || *event != before) return;  // a script was here meanwhile
    const int indices[] = {index};
    ChangeEvents(
        view.GetDocument(), channel, indices, [&](CEventKM& one) { one.eventLabel = form.Text("label"); },
        form.title);
}

// --- insertion ---

bool AskInsertionDefaults(CKymoraView& view) {
    EventInsertion& insertion = view.GetSession().eventInsertion;
    Form form("Defaults for insertion");
    form.AddRadio(
        "kind", "From mouse",
        {"Fixed duration, at a click", "From press to release of the mouse", "One sample, at a click"},
        insertion.kind, "What a click or drag in the mode \"From mouse\" inserts");
    Field& duration = AddMs(form, "duration", "Duration (ms)", insertion.durationMs, 1.0,
                            "Of events of a fixed duration, and of those at given times");
    duration.enabled = [](const Form& f) { return f.Choice("kind") != 2; };
    form.AddFlag("centred", "Centred on the click", insertion.centred,
                 "The event lies around the click; else it starts there");
    form.AddNumber("value", "Value", insertion.value, "The value of the events");
    form.AddInteger("tag", "Tag", insertion.tag, "Any number but 0 tags the events");
    form.AddText("label", "Label", insertion.label, "Text shown at the events");
    AddOwnColour(form, insertion.ownColour ? insertion.colour : 0, insertion.colour);
    if (!Ask(view, form)) return false;
    insertion.kind = std::clamp(form.Choice("kind"), 0, 2);
    insertion.durationMs = form.Number("duration");
    insertion.centred = form.Flag("centred");
    const auto value = static_cast<float>(form.Number("value"));
    insertion.value = std::isfinite(value) ? value : 0.0f;
    insertion.tag = form.Integer("tag");
    insertion.label = form.Text("label");
    insertion.ownColour = form.Flag("ownColour");
    if (insertion.ownColour) insertion.colour = OwnColour(form);
    return true;
}

std::vector<double> ParseEventTimes(const CKymoraView& view, std::string_view text, std::string& fault) {
    constexpr std::string_view separators = " \t\r\n,;";
    const double end = view.GetDocument().TimeOf(view.GetDocument().GetLength());
    std::vector<double> times;
    fault.clear();
    for (size_t at = text.find_first_not_of(separators); at != std::string_view::npos;) {
        const size_t behind = std::min(text.find_first_of(separators, at), text.size());
        const std::string_view word = text.substr(at, behind - at);
        const std::optional<double> time = ParseNumber(word);
        if (!time)
            fault = fmt::format("\"{}\" is not a time.", word);
        else if (*time < 0.0 || *time >= end)
            fault = fmt::format("The time {} ms lies outside the recording.", word);
        if (!fault.empty()) return {};
        times.push_back(*time);
        at = text.find_first_not_of(separators, behind);
    }
    if (times.empty()) fault = "There is no time in the list.";
    return times;
}

void AskEventTimes(CKymoraView& view) {
    const int channel = view.m_nMouseEventChan;
    if (EventChannel(view.GetDocument(), channel).IsLocked()) return;
    const EventInsertion& insertion = view.GetSession().eventInsertion;
    Form form("Insert events at times");
    form.AddNote("which",
                 fmt::format("Events of {} in channel {}", TimeText(view.Plot(), insertion.durationMs),
                             EventChannelTitle(view.Plot(), channel)));
    form.AddLongText("times", "Times (ms)", "",
                     "Times of the onsets, separated by blanks, commas, semicolons or line ends");
    form.validate = [&view](const Form& f) {
        std::string fault;
        ParseEventTimes(view, f.Text("times"), fault);
        return fault;
    };
    if (!Ask(view, form)) return;
    std::string fault;
    std::vector<RowStretch> stretches;
    for (const double time : ParseEventTimes(view, form.Text("times"), fault))
        stretches.push_back(FixedStretch(view.GetDocument(), time));
    if (fault.empty()) InsertEvents(view, channel, stretches, form.title);
}

bool AskEventPaint(CKymoraView& view) {
    uint32_t& paint = view.GetSession().eventPaint;
    Form form("Set event colour");
    AddOwnColour(form, paint, EventChannel(view.GetDocument(), view.m_nMouseEventChan).channelColour);
    if (!Ask(view, form)) return false;
    paint = OwnColour(form);
    return true;
}

}  // namespace kymora
