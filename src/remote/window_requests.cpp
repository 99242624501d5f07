// The requests for the viewport, the state and the picture of the window.

#include <fmt/format.h>

#include <span>

#include "remote/base64.h"
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

void WriteFile(RemoteCall& call, const std::filesystem::path& path, std::span<const std::byte> bytes) {
    FileSystem& files = call.target.GetSession().files;
    const bool exists = files.Stamp(path).has_value();
    const Json* yes = FindMember(call.request, "yes");
    if (exists && (yes == nullptr || *yes != true))
        throw RemoteError("The file " + path.string() + " exists; \"yes\": true replaces it.");
    const auto file = files.Open(path, exists ? OpenMode::readWrite : OpenMode::createNew);
    file->WriteAt(0, bytes);
    file->Truncate(bytes.size());
}

void TakePicture(RemoteCall& call) {
    const bool viewOnly = call.value == "view";
    if (!viewOnly && call.value != true && call.value != "window")
        throw RemoteError("\"png\" must be true, \"window\" or \"view\".");
    const std::vector<std::byte> png = call.target.Picture(viewOnly ? call.Document() : -1);
    if (png.empty()) throw RemoteError("There is no picture.");
    call.answer["bytes"] = png.size();
    if (const Json* file = FindMember(call.request, "file"))
        WriteFile(call, AsPath(*file, "file"), png);
    else
        call.answer["png"] = ToBase64(png);
}

void Wait(RemoteCall& call) {
    call.timeoutMs = static_cast<int>(WholeMember(call.request, "timeoutMs", 0, longestWaitMs, usualWaitMs));
    call.coarse = FlagMember(call.request, "coarse");
    call.document = FindMember(call.request, "document") != nullptr ? call.Document() : call.target.Active();
    call.waits = true;
}

void TellState(RemoteCall& call) { call.answer.update(StateOf(call.target)); }

}  // namespace

// clang-format off
RequestTable WindowRequests() {
    return {
        {"viewport", "an object", "Shows the time from `start` to `end`, in milliseconds. Answers the `viewport` that is shown.", {}, {R"({"viewport": {"start": 0, "end": 1000}})"}, true, SetViewport},
        {"state", "true", "Answers what the program shows: `window`, `active`, and as `documents` each recording with its path, length, viewport, axes, traces, event channels, mouse mode, switches and what can be undone. `reading` tells whether a long stretch is being read while a coarse picture stands, `summary` the part, up to 1, of what is prepared in the background to show long stretches at once (null for a recording that needs none).", {}, {R"({"state": true})"}, false, TellState},
        {"wait", "true", "Answers when the window has been painted with everything that was asked before, and its recording is not being read any more. `painted` is false when there was nothing to paint, as in a hidden window, or when the time ran out.",
            {{"timeoutMs", "The longest wait, 10000 without it."}, {"coarse", "true to be content with the coarse picture that stands while a long stretch is read."}}, {R"({"wait": true})"}, false, Wait},
        {"png", "true, \"window\" or \"view\"", "Answers a picture of the main window as it is now, or of one recording's view alone, as `png`, in base64; with `file` it is written there.", {}, {R"({"png": true})", R"({"png": "view", "file": "/tmp/view.png", "yes": true})"}, false, TakePicture},
        {"resize", "an object", "Gives the main window a `width` and `height` in pixels. Answers the size that it has as `window`.", {}, {R"({"resize": {"width": 1600, "height": 900}})"}, true, Resize},
    };
}
// clang-format on

}  // namespace kymora
