// The dialogs of event channels.

#include <fmt/format.h>

#include "display/events/event_editing.h"
#include "display/events/event_forms.h"
#include "display/events/event_rows.h"
#include "display/events/event_text.h"
#include "host/form.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

bool Ask(const CKymoraView& view, Form& form) { return view.GetSession().host.AskForm(form); }

// The one channel that a text names by its letter or number, or why it names none.
std::optional<int> ParseChannel(const std::string& text, std::string& fault) {
    fault.clear();
    try {
        const std::vector<int> channels = ParseChannelList(text);
        if (channels.size() == 1) return channels.front();
        fault = "Only one channel can be chosen.";
    } catch (const ListError& error) {
        fault = error.what();
    }
    return {};
}

void AddChannelField(Form& form, const CKymoraView& view, int current) {
    form.AddText("channel", "Channel", EventChannelText(view.GetSession(), current),
                 "A letter from a to z, or a number from 0 to 998");
}

// The shapes; a stored number beyond them is offered as it is.
std::vector<std::string> ShapeNames(int32_t stored) {
    std::vector<std::string> names{"Line at the onset", "Filled bar",
                                   "Line and thin bar", "Outlined box",
                                   "Dot at the onset",  "Line, thin bar and a shade behind the traces"};
    if (stored < 0 || stored >= shapeCount) names.push_back(fmt::format("As stored ({})", stored));
    return names;
}

std::vector<std::string> ParentNames(const CDataDoc& doc) {
    std::vector<std::string> names{"None"};
    for (int t = 0; t < doc.traceCount; ++t)
        names.push_back(fmt::format("{}: {}", t + 1, doc.traces[static_cast<size_t>(t)].traceLabel));
    return names;
}

bool IsUnlocked(const Form& form) { return !form.Flag("locked"); }

Form PropertiesForm(const CKymoraView& view, int channel) {
    const CEventChan& chan = EventChannel(view.GetDocument(), channel);
    Form form("Event channel properties");
    form.AddNote("about",
                 fmt::format("Channel {}: {}, {} tagged. Made by: {}.",
                             EventChannelText(view.GetSession(), channel), CountText(chan.GetNumEvents()),
                             chan.GetCount(EventKind::tagged), chan.GetDetectionMethodName()));
    form.AddText("label", "Label", chan.channelLabel, "Shown behind the channel's letter").enabled =
        IsUnlocked;
    form.AddLongText("comment", "Description", chan.channelComment, "How the events were made").enabled =
        IsUnlocked;
    form.AddChoice("parent", "Parent trace", ParentNames(view.GetDocument()), chan.parentTrace + 1,
                   "The trace from which the events were made")
        .enabled = IsUnlocked;
    form.AddColour("colour", "Colour", chan.channelColour, "Of the row and its events");
    form.AddColour("alternative", "Colour of tagged events", chan.channelColourAlt,
                   "Of tagged events without a colour of their own");
    const auto shapes = ShapeNames(chan.channelDrawMode);
    const bool known = chan.channelDrawMode >= 0 && chan.channelDrawMode < shapeCount;
    form.AddChoice("shape", "Drawn as", shapes, known ? chan.channelDrawMode : shapeCount,
                   "The shape of the events");
    form.AddNumber("position", "Position", chan.GetDisplayPosition(),
                   "Of the row, from the plot's top (0) to its bottom (1)")
        .Limits(std::min(leastDisplayPosition, chan.GetDisplayPosition()),
                std::max(greatestDisplayPosition, chan.GetDisplayPosition()))
        .Step(0.01);
    form.AddFlag("visible", "Visible", chan.channelVisible != 0, "The channel has a row in the view");
    form.AddFlag("locked", "Locked", chan.channelLocked, "Protects events and description from changes");
    return form;
}

void TakeProperties(const Form& form, CEventChan& chan) {
    chan.channelLocked = form.Flag("locked");
    if (!chan.channelLocked) {
        chan.channelLabel = form.Text("label");
        chan.channelComment = form.Text("comment");
        chan.parentTrace = form.Choice("parent") - 1;
    }
    chan.channelColour = form["colour"].colour;
    chan.channelColourAlt = form["alternative"].colour;
    if (form.Choice("shape") >= 0 && form.Choice("shape") < shapeCount)
        chan.channelDrawMode = form.Choice("shape");
    if (form.Number("position") != chan.GetDisplayPosition())
        chan.SetDisplayPosition(form.Number("position"));
    if (form.Flag("visible") != (chan.channelVisible != 0)) chan.channelVisible = form.Flag("visible");
}

}  // namespace

std::optional<int> AskEventChannel(CKymoraView& view, const EventChannelQuestion& question) {
    Form form(question.title);
    if (!question.note.empty()) form.AddNote("about", question.note);
    AddChannelField(form, view, question.current);
    form.validate = [&](const Form& f) {
        std::string fault;
        const auto channel = ParseChannel(f.Text("channel"), fault);
        if (channel && question.needsEvents && EventChannel(view.GetDocument(), *channel).GetNumEvents() == 0)
            fault = fmt::format("Channel {} holds no events.", EventChannelText(view.GetSession(), *channel));
        return fault;
    };
    if (!Ask(view, form)) return {};
    std::string fault;
    return ParseChannel(form.Text("channel"), fault);
}

void AskChannelProperties(CKymoraView& view, int channel) {
    Form form = PropertiesForm(view, channel);
    if (!Ask(view, form)) return;
    ChangeChannel(
        view, channel, [&form](CEventChan& chan) { TakeProperties(form, chan); }, form.title);
}

void AskMergeClose(CKymoraView& view, int channel) {
    CDataDoc& doc = view.GetDocument();
    CEventChan& chan = EventChannel(view.GetDocument(), channel);
    if (chan.IsLocked()) return;
    Form form("Merge close events");
    const auto add = [&](const char* key, const char* label, const char* toolTip) {
        form.AddNumber(key, label, 0.0, toolTip)
            .Limits(0.0, doc.TimeOf(longestRecording))
            .Step(doc.sampleInterval);
    };
    add("gap", "Merge gaps shorter than (ms)", "Events closer than this become one; 0 joins what overlaps");
    add("shortest", "Then drop events shorter than (ms)", "0 drops none");
    add("longest", "Then drop events longer than (ms)", "0 drops none");
    if (!Ask(view, form)) return;
    const double longest = form.Number("longest");
    {
        UndoScope scope(doc, form.title);
        scope.KeepChannel(channel);
        chan.FilterByGap(doc.PositionOf(form.Number("gap")), doc.PositionOf(form.Number("shortest")),
                         longest > 0.0 ? doc.PositionOf(longest) : INT32_MAX);
    }
    doc.UpdateAllViews(UpdateHint::events);
}

void AskCopyChannel(CKymoraView& view, int channel) {
    CDataDoc& doc = view.GetDocument();
    const int free = doc.FirstFreeChannel();
    const auto target = AskEventChannel(view, "Copy channel to", free >= 0 ? free : channel);
    if (!target || *target == channel) return;
    CEventChan& chan = EventChannel(view.GetDocument(), *target);
    if (chan.IsLocked()) return;
    const int count = chan.GetNumEvents();
    if (count > 0 && !view.GetSession().host.Confirm(fmt::format("Channel {} holds {}. Replace them?",
                                                                 EventChannelText(view.GetSession(), *target),
                                                                 CountText(count))))
        return;
    {
        UndoScope scope(doc, "Copy channel to");
        scope.KeepChannel(*target);
        chan.Copy(EventChannel(view.GetDocument(), channel));
    }
    doc.UpdateAllViews(UpdateHint::events);
}

}  // namespace kymora
