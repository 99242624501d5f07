// The requests that read, add and delete events.

#include <algorithm>

#include "archive/text_encoding.h"
#include "document/data_doc.h"
#include "host/user_numbers.h"
#include "remote/remote_colour.h"
#include "remote/remote_requests.h"
#include "results/number_text.h"

namespace kymora {
namespace {

constexpr int64_t mostInAnswer = 100000;
// Above this number a step for undo keeps the whole channel rather than each event.
constexpr size_t manyEvents = 64;

int ChannelIn(const Json& value) {
    const Json& channel = Member(value, "channel");
    if (channel.is_number()) return static_cast<int>(AsWhole(channel, "channel", 0, maxEventChannels - 1));
    try {
        const std::vector<int> channels = ParseChannelList(AsText(channel, "channel"));
        if (channels.size() == 1 && channels[0] < maxEventChannels) return channels[0];
    } catch (const ListError&) {
    }
    throw RemoteError("\"channel\" must be one channel: a letter, or a number from 0 to 998.");
}

// Places on the time axis in the unit that the request names.
class Places {
  public:
    Places(const CDataDoc& doc, const Json& value) : doc_(doc) {
        const std::string unit = TextMember(value, "unit", "samples");
        if (unit != "samples" && unit != "ms") throw RemoteError("\"unit\" must be \"samples\" or \"ms\".");
        inMs_ = unit == "ms";
    }

    int32_t Read(const Json& value, std::string_view name) const {
        if (!inMs_) return static_cast<int32_t>(AsWhole(value, name, 0, longestRecording));
        const double time = AsNumber(value, name);
        if (!(time >= 0.0) || !(time <= doc_.TimeOf(longestRecording)))
            throw RemoteError("\"" + std::string(name) + "\" must be a time of 0 ms or later.");
        return doc_.PositionOf(time);
    }
    int32_t Read(const Json& object, std::string_view name, int32_t otherwise) const {
        const Json* member = FindMember(object, name);
        return member != nullptr ? Read(*member, name) : otherwise;
    }
    Json Write(int32_t position) const { return inMs_ ? Json(doc_.TimeOf(position)) : Json(position); }

  private:
    const CDataDoc& doc_;
    bool inMs_ = false;
};

// Every event has all members, so that a reader can make a table of them.
Json EventJson(const CEventKM& event, const Places& places) {
    return {{"on", places.Write(event.onPosition)},
            {"off", places.Write(event.offPosition)},
            {"value", event.eventValue},
            {"tag", event.eventTag},
            {"label", event.eventLabel.View()},
            {"colour", event.eventColour == 0 ? Json(nullptr) : Json(ColourText(event.eventColour))}};
}

void Read(RemoteCall& call) {
    CheckMembers(call.value, {"channel", "unit", "from", "to", "first", "count"});
    const CDataDoc& doc = call.View().GetDocument();
    const int channel = ChannelIn(call.value);
    const Places places(doc, call.value);
    const int32_t from = places.Read(call.value, "from", std::numeric_limits<int32_t>::min());
    const int32_t to = places.Read(call.value, "to", std::numeric_limits<int32_t>::max());
    int64_t toSkip = WholeMember(call.value, "first", 0, longestRecording, 0);
    const int64_t first = toSkip;
    const int64_t count = WholeMember(call.value, "count", 0, mostInAnswer, mostInAnswer);

    const CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
    Json events = Json::array();
    bool more = false;
    for (const CEventKM& event : chan.Events()) {
        if (event.onPosition < from || event.onPosition >= to) continue;
        if (toSkip > 0) {
            --toSkip;
        } else if (static_cast<int64_t>(events.size()) < count) {
            events.push_back(EventJson(event, places));
        } else {
            more = true;
            break;
        }
    }
    call.answer["channel"] = ChannelName(channel);
    call.answer["label"] = chan.channelLabel;
    call.answer["total"] = chan.GetNumEvents();
    if (more) call.answer["next"] = first + static_cast<int64_t>(events.size());
    call.answer["events"] = std::move(events);
}

CEventKM EventFrom(const Json& json, const Places& places, int64_t length) {
    CheckMembers(json, {"on", "off", "value", "tag", "label", "colour"});
    CEventKM event;
    event.onPosition = places.Read(Member(json, "on"), "on");
    event.offPosition = places.Read(Member(json, "off"), "off");
    if (event.offPosition < event.onPosition || event.offPosition > length)
        throw RemoteError("An event must not end before it begins, nor behind the end of the recording, " +
                          std::to_string(length) + ".");
    event.eventValue = static_cast<float>(NumberMember(json, "value", 0.0));
    event.eventTag = static_cast<int32_t>(WholeMember(json, "tag", std::numeric_limits<int32_t>::min(),
                                                      std::numeric_limits<int32_t>::max(), 0));
    event.eventLabel = TextMember(json, "label");
    if (const Json* colour = FindMember(json, "colour"); colour != nullptr && !colour->is_null())
        event.eventColour = AsColour(*colour, "colour");
    return event;
}

// All of them, before any is laid.
std::vector<CEventKM> EventsFrom(const Json& list, const Places& places, int64_t length) {
    if (!list.is_array()) throw RemoteError("\"events\" must be a list.");
    std::vector<CEventKM> events;
    for (const Json& entry : list) events.push_back(EventFrom(entry, places, length));
    return events;
}

CEventChan& Unlocked(CDataDoc& doc, int channel) {
    CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
    if (chan.channelLocked) throw RemoteError(lockedChannelText);
    return chan;
}

void Finish(RemoteCall& call, CDataDoc& doc, int channel) {
    doc.UpdateAllViews(UpdateHint::events);
    call.answer["channel"] = ChannelName(channel);
    call.answer["total"] = doc.GetNumEvents(channel);
}

void Add(RemoteCall& call) {
    CheckMembers(call.value, {"channel", "unit", "events"});
    CDataDoc& doc = call.View().GetDocument();
    int channel = -1;
    if (FindMember(call.value, "channel") != nullptr)
        channel = ChannelIn(call.value);
    else if ((channel = doc.FirstFreeChannel()) < 0)
        throw RemoteError("No event channel is free.");
    Unlocked(doc, channel);
    std::vector<CEventKM> events =
        EventsFrom(Member(call.value, "events"), Places(doc, call.value), doc.GetLength());
    {
        UndoScope scope(doc, "Add events");
        if (events.size() > manyEvents) scope.KeepChannel(channel);
        for (CEventKM& event : events) {
            if (events.size() > manyEvents)
                doc.AddEvent(channel, std::move(event));
            else
                scope.AddEvent(channel, std::move(event));
        }
    }
    Finish(call, doc, channel);
}

void Delete(RemoteCall& call) {
    CheckMembers(call.value, {"channel", "unit", "from", "to", "all"});
    CDataDoc& doc = call.View().GetDocument();
    const int channel = ChannelIn(call.value);
    CEventChan& chan = Unlocked(doc, channel);
    const Places places(doc, call.value);
    const bool all = FlagMember(call.value, "all");
    const bool limited = FindMember(call.value, "from") != nullptr || FindMember(call.value, "to") != nullptr;
    if (all == limited) throw RemoteError("Say either \"all\": true, or \"from\" and \"to\".");
    const int32_t from = all ? 0 : places.Read(Member(call.value, "from"), "from");
    const int32_t to = all ? 0 : places.Read(Member(call.value, "to"), "to");
    const int before = chan.GetNumEvents();
    {
        UndoScope scope(doc, "Delete events");
        scope.KeepChannel(channel);
        if (all)
            chan.DeleteAll();
        else
            chan.DeleteRange(from, to);
    }
    call.answer["deleted"] = before - chan.GetNumEvents();
    Finish(call, doc, channel);
}

}  // namespace

// clang-format off
RequestTable EventRequests() {
    return {
        {"events", "an object", "Reads the events of a `channel`, a letter or a number from 0, that begin at `from` or later and before `to`. Answers them as `events`, at most 100000 at a time and `count` of them from number `first` on; `next` is the `first` of the request for the rest. Places are samples, exclusive at the end, or with `\"unit\": \"ms\"` times.", {}, {R"({"events": {"channel": "a", "unit": "ms", "from": 0, "to": 5000}})"}, false, Read},
        {"addEvents", "an object", "Adds events to a `channel`, or to the first free one: `events` is a list of objects with `on` and `off` and, as far as wanted, `value`, `tag`, `label` and `colour` (\"#rrggbb\", or null for the channel's). It is all of them or none, and one step for undo.", {}, {R"({"addEvents": {"channel": "b", "unit": "ms", "events": [{"on": 12.5, "off": 14}, {"on": 40, "off": 41, "label": "spike"}]}})"}, true, Add},
        {"deleteEvents", "an object", "Deletes the events of a `channel` that begin in the stretch from `from` to `to` or end within it, or `all`; one step for undo. Answers how many were `deleted`.", {}, {R"({"deleteEvents": {"channel": "b", "from": 0, "to": 20000}})"}, true, Delete},
    };
}
// clang-format on

}  // namespace kymora
