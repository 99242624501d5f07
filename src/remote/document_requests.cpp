// The requests that open, save and close recordings.

#include <algorithm>

#include "document/data_doc.h"
#include "remote/remote_recorder.h"
#include "remote/remote_requests.h"

namespace kymora {
namespace {

void Open(RemoteCall& call) {
    const std::filesystem::path path = AsPath(call.value, "open");
    const int index = call.target.Open(path, FindMember(call.request, "answers") != nullptr);
    if (index < 0) call.Fail("The file did not open.");
    call.answer["document"] = index;
}

// `true` stands for the recording that "document" names.
int Chosen(const RemoteCall& call) {
    if (call.value == true) return call.Document();
    return call.DocumentOf(call.value);
}

// Changes are given up with the last window of a recording only.
bool IsLastOf(const std::vector<CKymoraView*>& views, const CDataDoc& doc) {
    return std::count_if(views.begin(), views.end(),
                         [&doc](const CKymoraView* view) { return &view->GetDocument() == &doc; }) == 1;
}

void Close(RemoteCall& call) {
    const int index = Chosen(call);
    const std::vector<CKymoraView*> views = call.target.Views();
    CDataDoc& doc = views[static_cast<size_t>(index)]->GetDocument();
    if (FlagMember(call.request, "discard") && IsLastOf(views, doc)) doc.SetModifiedFlag(false);
    if (!call.target.Close(index)) call.Fail("The recording stays open.");
}

void Activate(RemoteCall& call) { call.target.Activate(call.DocumentOf(call.value)); }

void Save(RemoteCall& call) {
    const int index = Chosen(call);
    const bool saveAs = FindMember(call.request, "file") != nullptr;
    const bool saved = saveAs ? call.target.SaveAs(index) : call.target.Save(index);
    if (!saved) call.Fail("The recording was not saved.");
}

void Quit(RemoteCall& call) {
    if (FlagMember(call.request, "discard")) {
        for (CKymoraView* view : call.target.Views()) view->GetDocument().SetModifiedFlag(false);
        if (RemoteRecorder* const recorder = call.target.Recorder(false)) recorder->Close(true);
    }
    if (!call.target.Quit()) call.Fail("The program goes on.");
    call.ends = true;
}

constexpr RemoteMember discard{"discard", "true gives up changes that were not saved. Without it a changed "
                                          "recording is asked about, which \"yes\": true answers too."};

}  // namespace

// clang-format off
RequestTable DocumentRequests() {
    return {
        {"open", "a path", "Opens a file in a window of its own, or brings it to the front. Answers its number as `document`. What a format asks when a file is opened takes its defaults, or `answers`; `\"answers\": []` tells what that is.", {}, {R"({"open": "/data/cell7.edf"})", R"({"open": "/data/cell7.edf", "answers": {"signals": [0, 2, 3]}})"}, true, Open},
        {"activate", "a number or path", "Brings a recording to the front; requests without `document` then work on it.", {}, {R"({"activate": 0})"}, true, Activate},
        {"save", "true, a number or a path", "Saves a recording in its place; with `file` as a native file under that name, which is then shown instead.", {}, {R"({"save": true})", R"({"save": true, "file": "/data/cell7.kymr-dat"})"}, true, Save},
        {"close", "true, a number or a path", "Closes a recording. The numbers of those behind it move down.", {discard}, {R"({"close": true, "discard": true})"}, true, Close},
        {"quit", "true", "Ends the program, and the connection with it.", {discard}, {R"({"quit": true})"}, true, Quit},
    };
}
// clang-format on

}  // namespace kymora
