// The requests for the viewport, the state and the picture of the window.

#include <fmt/format.h>

#include "archive/text_encoding.h"
#include "catalogue/operations.h"
#include "display/commands/context_menu.h"
#include "display/overlays/cursor_table.h"
#include "remote/remote_requests.h"

namespace kymora {
namespace {

constexpr int mostPixels = 10000;  // of a window, each way
constexpr int longestWaitMs = 600000;
constexpr int usualWaitMs = 10000;

void SetViewport(RemoteCall& call) {
    CheckMembers(call.value, {"start", "end"});
    CKymoraView& view = call.View();
    const Viewport wanted{AsNumber(Member(call.value, "start"), "start"),
                          AsNumber(Member(call.value, "end"), "end")};
    if (!(wanted.start >= 0.0) || !(wanted.end > wanted.start))
        throw RemoteError("A viewport begins at 0 or later and ends behind its start.");
    if (!view.ChangeViewport(wanted))
        call.Fail(
            "The viewport stays as it is: it is longer or shorter than zooming goes, or the reading was "
            "cancelled.");
    call.answer["viewport"] = {{"start", view.m_StartTime}, {"end", view.m_EndTime}};
}

void Resize(RemoteCall& call) {
    CheckMembers(call.value, {"width", "height"});
    const int width = static_cast<int>(AsWhole(Member(call.value, "width"), "width", 1, mostPixels));
    const int height = static_cast<int>(AsWhole(Member(call.value, "height"), "height", 1, mostPixels));
    call.target.Resize({width, height});
    const Extent size = call.target.WindowSize();
    call.answer["window"] = {{"width", size.width}, {"height", size.height}};
}

void TakePicture(RemoteCall& call) {
    const bool viewOnly = call.value == "view";
    if (!viewOnly && call.value != true && call.value != "window")
        throw RemoteError("\"png\" must be true, \"window\" or \"view\".");
    const std::vector<std::byte> png = call.target.Picture(viewOnly ? call.Document() : -1);
    if (png.empty()) throw RemoteError("There is no picture.");
    call.AnswerFile("png", png);
}

void Wait(RemoteCall& call) {
    call.timeoutMs = static_cast<int>(WholeMember(call.request, "timeoutMs", 0, longestWaitMs, usualWaitMs));
    call.coarse = FlagMember(call.request, "coarse");
    call.document = FindMember(call.request, "document") != nullptr ? call.Document() : call.target.Active();
    call.waits = true;
}

Json Numbers(const std::vector<double>& values) { return Json(values); }

Json Readings(bool isVert, const std::vector<CursorReading>& cursors) {
    Json list = Json::array();
    for (const CursorReading& cursor : cursors) {
        Json reading = {{"cursor", CursorName(isVert, cursor.line)}};
        if (isVert) reading["time"] = cursor.time;
        reading["values"] = Numbers(cursor.values);
        list.push_back(std::move(reading));
    }
    return list;
}

Json Differences(bool isVert, const std::vector<CursorDifference>& steps) {
    Json list = Json::array();
    for (const CursorDifference& step : steps) {
        Json difference = {{"from", CursorName(isVert, step.from)}, {"to", CursorName(isVert, step.to)}};
        if (isVert) {
            difference["time"] = step.time;
            difference["frequency"] = step.frequency;
        }
        difference["values"] = Numbers(step.values);
        list.push_back(std::move(difference));
    }
    return list;
}

void TellCursors(RemoteCall& call) {
    const CKymoraView& view = call.View();
    const CursorMeasures measures = MeasureCursors(view);
    Json traces = Json::array();
    for (const int trace : measures.traces) traces.push_back(trace + 1);
    call.answer["traces"] = std::move(traces);
    call.answer["vertical"] = Readings(true, measures.vertical);
    call.answer["verticalDifferences"] = Differences(true, measures.verticalSteps);
    call.answer["horizontal"] = Readings(false, measures.horizontal);
    call.answer["horizontalDifferences"] = Differences(false, measures.horizontalSteps);
    call.answer["text"] = TabSeparated(TableOf(view.Plot(), measures));
}

Point PlaceOf(const Json& value) {
    if (!value.is_array() || value.size() != 2) throw RemoteError("\"under\" must be [x, y].");
    const auto pixel = [&](size_t i) {
        return static_cast<int>(AsWhole(value[i], "under", -farthestPixel, farthestPixel));
    };
    return {pixel(0), pixel(1)};
}

void RunEntry(RemoteCall& call, const MenuEntry& entry) {
    if (entry.run) return entry.run(call.View());
    if (const Operation* operation = FindOperation(entry.id)) {
        if (FindMember(call.request, "document") != nullptr) call.target.Activate(call.Document());
        CBatchBaseDlg& block = call.target.OpenOperation(*operation);
        for (const auto& [key, text] : entry.parameters) {
            ParamList params = block.Params();
            if (Field* param = params.Find(key)) param->SetFromText(text);
        }
        return call.target.OperationChanged(*operation);
    }
    if (call.target.RunFrameCommand(entry.id) != CommandResult::done)
        throw RemoteError("The entry \"" + entry.id + "\" cannot be used as things stand.");
}

void TellWhatIsUnder(RemoteCall& call) {
    CKymoraView& view = call.View();
    const Point at = PlaceOf(call.value);
    const PlaceMenu menu = MenuAt(view, at);
    if (const Json* run = FindMember(call.request, "run")) {
        const std::string id = AsText(*run, "run");
        const auto entry = std::ranges::find(menu.entries, id, &MenuEntry::id);
        if (entry == menu.entries.end() || !entry->enabled)
            throw RemoteError("There is no entry \"" + ToDisplayText(id) + "\" that can be used there.");
        return RunEntry(call, *entry);
    }
    call.answer["object"] = KindName(menu.object.kind);
    call.answer["title"] = menu.title;
    call.answer["text"] = HoverText(view, at);
    call.answer["menu"] = Json::array();
    for (const MenuEntry& entry : menu.entries) {
        const size_t tab = entry.label.find('\t');
        call.answer["menu"].push_back(
            {{"id", entry.id},
             {"label", PlainLabel(entry.label)},
             {"key", tab == std::string::npos ? std::string() : entry.label.substr(tab + 1)},
             {"toolTip", entry.toolTip},
             {"enabled", entry.enabled},
             {"checked", entry.checked ? Json(*entry.checked) : Json(nullptr)}});
    }
}

void TellState(RemoteCall& call) { call.answer.update(StateOf(call.target)); }

}  // namespace

// clang-format off
RequestTable WindowRequests() {
    return {
        {"viewport", "an object", "Shows the time from `start` to `end`, in milliseconds. Answers the `viewport` that is shown.", {}, {R"({"viewport": {"start": 0, "end": 1000}})"}, true, SetViewport},
        {"state", "true", "Answers what the program shows: `window`, `active`, and as `documents` each recording with its path, length, viewport, axes, traces, event channels, mouse mode, switches and what can be undone. `reading` tells whether a long stretch is being read while a coarse picture stands, `summary` the part, up to 1, of what is prepared in the background to show long stretches at once (null for a recording that needs none).", {}, {R"({"state": true})"}, false, TellState},
        {"cursors", "true", "Answers what the cursors of the view measure. `vertical` has the time (ms) and the values of each vertical cursor in the order of time, `verticalDifferences` time, frequency (Hz) and differences of the values between them; `horizontal` and `horizontalDifferences` the same without times. `traces` says whose values they are; a value that is not there is null. `text` is the table as it is copied, with tabs.", {}, {R"({"cursors": true})"}, false, TellCursors},
        {"under", "[x, y]", "Answers what lies under a pixel of the view: `object` (plot, event, eventRow, marker, annotation, scaleBar, vertCursor, horzCursor, axis, traceName, timeAxis, slider or nothing), the `text` that a resting mouse would show, and the `title` and entries of the context menu there as `menu`: `id`, `label`, `key`, `toolTip`, `enabled`, `checked`.", {{"run", "the id of an entry, which is run instead."}}, {R"({"under": [300, 200]})", R"({"under": [300, 200], "run": "cursor-add-vert-here"})"}, true, TellWhatIsUnder},
        {"wait", "true", "Answers when the window has been painted with everything that was asked before, and its recording is not being read any more. `painted` is false when there was nothing to paint, as in a hidden window, or when the time ran out.",
            {{"timeoutMs", "The longest wait, 10000 without it."}, {"coarse", "true to be content with the coarse picture that stands while a long stretch is read."}}, {R"({"wait": true})"}, false, Wait},
        {"png", "true, \"window\" or \"view\"", "Answers a picture of the main window as it is now, or of one recording's view alone, as `png`, in base64; with `file` it is written there.", {}, {R"({"png": true})", R"({"png": "view", "file": "/tmp/view.png", "yes": true})"}, false, TakePicture},
        {"resize", "an object", "Gives the main window a `width` and `height` in pixels. Answers the size that it has as `window`.", {}, {R"({"resize": {"width": 1600, "height": 900}})"}, true, Resize},
    };
}
// clang-format on

}  // namespace kymora
