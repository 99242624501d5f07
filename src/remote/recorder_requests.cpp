// The requests that use the window in which one records.

#include <algorithm>

#include "archive/text_encoding.h"
#include "remote/base64.h"
#include "remote/remote_requests.h"

namespace kymora {
namespace {

constexpr int mostRecorderPixels = 10000;

double Quantile(std::vector<double> values, double share) {
    if (values.empty()) return 0.0;
    const auto at = static_cast<size_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
    return values[at];
}

Json Spread(const std::vector<double>& values) {
    return {
        {"median", Quantile(values, 0.5)}, {"p99", Quantile(values, 0.99)}, {"max", Quantile(values, 1.0)}};
}

Json OptionalNumber(const std::optional<double>& number) { return number ? Json(*number) : Json(nullptr); }

Json RefractoryOf(const RefractoryState& state) {
    Json curve = Json::array();
    for (const RefractoryState::Point& point : state.curve)
        curve.push_back({{"delay", point.delay}, {"threshold", point.threshold}, {"sweeps", point.sweeps}});
    return {{"type", state.isAutomatic ? "refractory-auto" : "refractory-manual"},
            {"sweeps", state.sweeps},
            {"accepted", state.accepted},
            {"amplitude", state.amplitude},
            {"delay", state.delay},
            {"sweep", state.selected},
            {"storedDelta", OptionalNumber(state.stored)},
            {"delta", OptionalNumber(state.delta)},
            {"curve", curve}};
}

Json StateOfRecorder(const RecorderState& state) {
    Json notes = Json::array();
    for (const CMarker& note : state.notes)
        notes.push_back({{"time", note.m_dTime}, {"text", ToDisplayText(note.m_strLabel)}});
    Json told = {{"source", state.source},
                 {"state", state.state},
                 {"status", state.status},
                 {"running", state.running},
                 {"unsaved", state.unsaved},
                 {"scans", state.scans},
                 {"scansAtMost", state.scansAtMost},
                 {"sampleInterval", state.sampleInterval},
                 {"appended", state.appended},
                 {"pipeFill", state.pipeFill},
                 {"diskSeconds", state.diskSeconds ? Json(*state.diskSeconds) : Json(nullptr)},
                 {"frames", state.frames},
                 {"framesPerSecond", state.framesPerSecond},
                 {"droppedScans", state.droppedScans},
                 {"latencyMs", Spread(state.latencies)},
                 {"paintMs", Spread(state.paintTimes)},
                 {"notes", notes},
                 {"notice", ToDisplayText(state.notice)}};
    told["spikes"] = state.spikes ? Json{{"count", *state.spikes}, {"rate", state.spikeRate}} : Json(nullptr);
    if (state.refractory) told["refractory"] = RefractoryOf(*state.refractory);
    return told;
}

RemoteRecorder& Recorder(RemoteCall& call, bool makes) {
    RemoteRecorder* const recorder = call.target.Recorder(makes);
    if (!recorder) throw RemoteError("The window to record in is not open.");
    return *recorder;
}

std::string RecorderValue(const Json& value, std::string_view key) {
    return value.is_string() ? AsText(value, key) : value.dump();
}

void Prepare(RemoteCall& call, RemoteRecorder& recorder) {
    if (const Json* source = FindMember(call.request, "source"))
        if (!recorder.OpenSource(AsText(*source, "source"))) call.Fail("The board was not opened.");
    if (const Json* config = FindMember(call.request, "config"))
        if (!recorder.Load(AsPath(*config, "config"))) call.Fail("It was not loaded.");
    if (const Json* settings = FindMember(call.request, "set")) {
        if (!settings->is_object()) throw RemoteError("\"set\" must be an object of keys and values.");
        for (const auto& [key, value] : settings->items())
            if (const std::string fault = recorder.Set(key, RecorderValue(value, key)); !fault.empty())
                throw RemoteError(fault);
    }
    if (const Json* review = FindMember(call.request, "review"))
        if (!recorder.Review(AsPath(*review, "review"))) call.Fail("It was not loaded.");
    if (const Json* sweep = FindMember(call.request, "sweep"))
        if (!recorder.SelectSweep(static_cast<int>(AsWhole(*sweep, "sweep", 1, 1 << 30))))
            throw RemoteError("There is no such sweep to review now.");
    if (const Json* page = FindMember(call.request, "page")) {
        const std::string title = AsText(*page, "page");
        if (!recorder.ShowPage(title))
            throw RemoteError("There is no page \"" + ToDisplayText(title) + "\".");
    }
    if (const Json* detect = FindMember(call.request, "detect")) {
        CheckMembers(*detect, {"trace", "level", "falling"});
        recorder.Detect(static_cast<int>(WholeMember(*detect, "trace", 0, 16, 1)),
                        NumberMember(*detect, "level", 0.5), FlagMember(*detect, "falling"));
    }
    if (const Json* size = FindMember(call.request, "size")) {
        CheckMembers(*size, {"width", "height"});
        recorder.Resize(static_cast<int>(AsWhole(Member(*size, "width"), "width", 1, mostRecorderPixels)),
                        static_cast<int>(AsWhole(Member(*size, "height"), "height", 1, mostRecorderPixels)));
    }
}

void UseRecorder(RemoteCall& call) {
    const std::string what = AsText(call.value, "recorder");
    RemoteRecorder& recorder = Recorder(call, what == "open");
    if (what == "close") {
        if (!recorder.Close(FlagMember(call.request, "discard"))) call.Fail("The window stays open.");
        return;
    }
    Prepare(call, recorder);
    const auto press = [&] {
        if (what != "note") return recorder.Press(what);
        const Json* const text = FindMember(call.request, "text");
        return recorder.Note(text ? AsText(*text, "text") : std::string());
    };
    if (what != "open" && what != "state" && !press())
        throw RemoteError("There is no \"" + ToDisplayText(what) +
                          "\" to press, or it cannot be used as things stand.");
    call.answer["recorder"] = StateOfRecorder(recorder.State());
    if (FlagMember(call.request, "picture")) call.AnswerFile("png", recorder.Picture());
    if (!call.host.Fault().empty()) call.Fail("It was not done.");
}

}  // namespace

// clang-format off
RequestTable RecorderRequests() {
    return {
        {"recorder", "\"open\", \"state\", \"start\", \"stop\", \"pause\", \"view\", \"save\", \"done\", \"note\", \"autoscale\", \"settings\", \"accept\", \"clear\", \"deleteAll\", \"recalculate\", \"deleteSweep\" or \"close\"", "Opens the window in which one records, or brings it to the front (\"open\"), presses one of its buttons, or closes it. Answers as `recorder` how it stands: `source`, `state`, `status`, `running`, `unsaved`, `scans` that are stored and `scansAtMost`, `sampleInterval` (ms), recordings `appended` to the present file, `pipeFill` (0 to 1), `diskSeconds`, pictures painted as `frames` and `framesPerSecond`, `droppedScans` that the display left out, `latencyMs` from a buffer to its picture and `paintMs` of the last 2000 pictures, `spikes` (`count`, and `rate` in Hz; null where they are not shown), `notes`, and what the window says as `notice`. Of the refractory protocol `refractory` has the number of its `sweeps` and of those `accepted`, `amplitude` (V) and `delay` (ms) of the trial pulse now, the `sweep` under review with its change as it counts (`storedDelta`) and with the window as it is set (`delta`), and the `curve` of its accepted sweeps. A recording goes on behind the answer.",
            {{"source", "a source, as `kymora sources` names it; of several ports or devices that which is set (`port`, `device`). `refractory:` before the name of a board is its refractory protocol."}, {"config", "an ADC-DAC configuration that is loaded."}, {"set", "an object of keys and values, as `kymora record --set` takes them; of the refractory protocol also `type`."}, {"review", "a saved refractory search whose sweeps are reviewed."}, {"sweep", "the number (from 1) of the sweep under review."}, {"page", "a page of the settings by its title (`Channels`, `Recording`, `Trigger`, `Stimulus`, `Pulses`, `Monitor`, `Simulated board`, `Sound`, `Serial board`), which comes to the front."}, {"detect", "an object: shows spikes of a `trace` (from 1; 0 for none) above a `level` in V, or with `falling` below it."}, {"size", "an object: gives the window a `width` and `height` in pixels."}, {"text", "of a note."}, {"discard", "true closes the window and gives up what was not saved."}, {"picture", "true for a picture of the window as `png`, in base64; with `file` it is written there."}},
            {R"({"recorder": "open", "source": "simulated", "set": {"input": "preparation", "timeLimit": 10}})", R"({"recorder": "start"})", R"({"recorder": "note", "text": "drug on"})", R"({"recorder": "save", "file": "/data/cell7.kymr-rec", "answers": {"comment": "cell 7"}})", R"({"recorder": "open", "source": "refractory:simulated", "config": "/data/search.kymr-cfg"})"}, true, UseRecorder},
    };
}
// clang-format on

}  // namespace kymora
