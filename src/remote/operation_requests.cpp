// The requests that use the windows of operations.

#include "archive/text_encoding.h"
#include "catalogue/operations.h"
#include "display/plot_recording.h"
#include "graphs/graph_output.h"
#include "operations/config_file.h"
#include "remote/base64.h"
#include "remote/remote_requests.h"
#include "results/result_output.h"

namespace kymora {
namespace {

constexpr size_t mostResultBytes = size_t{1} << 20;
constexpr size_t mostTableBytes = size_t{16} << 20;

const Operation& Named(const Json& value) {
    const std::string name = AsText(value, "operation");
    const Operation* operation = FindOperation(name);
    if (!operation) throw RemoteError("There is no operation \"" + ToDisplayText(name) + "\".");
    return *operation;
}

// Numbers and truth values may be written as such.
std::string SettingText(const Json& value, std::string_view key) {
    if (value.is_string()) return AsText(value, key);
    if (value.is_boolean() || value.is_number()) return value.dump();
    throw RemoteError("\"" + std::string(key) + "\" must be a text, a number or a truth value.");
}

void SetParameters(CBatchBaseDlg& block, const Json& settings) {
    if (!settings.is_object()) throw RemoteError("\"set\" must be an object of keys and values.");
    for (const auto& [key, value] : settings.items()) {
        // What is set may change what the next may be.
        ParamList params = block.Params();
        Field* param = params.Find(key);
        if (!param || !param->HasValue())
            throw RemoteError("The operation has no parameter \"" + ToDisplayText(key) + "\".");
        if (const std::string fault = param->SetForGood(SettingText(value, key), params); !fault.empty())
            throw RemoteError(fault);
    }
}

void PressButton(CBatchBaseDlg& block, const std::string& key) {
    ParamList params = block.Params();
    const Field* param = params.Find(key);
    if (!param || param->kind != FieldKind::action)
        throw RemoteError("The operation has no button \"" + ToDisplayText(key) + "\".");
    if (!param->IsEnabled(params))
        throw RemoteError("The button \"" + key + "\" cannot be used as things stand.");
    param->action(params);
}

std::string ResultText(CBatchBaseDlg& block) {
    std::string text;
    block.WriteResult([&](std::string_view piece) {
        text += piece;
        return text.size() < mostResultBytes;
    });
    return ToDisplayText(text);
}

// Keeps a text that is to be short.
class ShortText : public OutputSink {
  public:
    void Write(std::string_view piece) override {
        if (text.size() < mostTableBytes) text += piece;
    }
    bool IsShort() const { return text.size() < mostTableBytes; }
    std::string text;
};

// The results as data, as `kymora run --json` has them.
Json ResultTables(CBatchBaseDlg& block) {
    ShortText sink;
    JsonWriter json(sink);
    if (!WriteJson(json, block.Results(), [&] { return sink.IsShort(); }))
        throw RemoteError("The tables are too long for an answer. Use \"result\", or kymora run --json.");
    json.Finish();
    return Json::parse(sink.text);
}

std::string Picture(const std::vector<std::byte>& png) {
    if (png.empty()) throw RemoteError("There is no picture.");
    return ToBase64(png);
}

// The graph of the window as it stands, or the pane of it that is asked for.
Graph AskedGraph(const RemoteCall& call, CBatchBaseDlg& block) {
    std::optional<Graph> graph = block.GetGraph();
    if (!graph) throw RemoteError("The operation draws no graph.");
    const Json* pane = FindMember(call.request, "pane");
    return pane ? OnlyPane(graph->Named(AsText(*pane, "pane"))) : std::move(*graph);
}

Json GraphData(const Graph& graph) {
    ShortText sink;
    JsonWriter json(sink);
    WriteGraphJson(json, graph);
    json.Finish();
    if (!sink.IsShort()) throw RemoteError("The graph is too long for an answer. Use \"graphPicture\".");
    return Json::parse(sink.text);
}

PictureFormat AsPictureFormat(const Json& value) {
    const std::string name = AsText(value, "graphPicture");
    const std::optional<PictureFormat> format = PictureFormatOf("graph." + name);
    if (!format) throw RemoteError("\"graphPicture\" must be \"png\", \"svg\" or \"pdf\".");
    return *format;
}

std::vector<std::byte> GraphPictureOf(const RemoteCall& call, const Graph& graph, PictureFormat format) {
    constexpr int64_t most = std::numeric_limits<int32_t>::max(), usualDpi = 96;
    GraphPictureOptions options;
    const int64_t width = WholeMember(call.request, "width", 1, most, options.width);
    const int64_t height = WholeMember(call.request, "height", 1, most, options.height);
    const int64_t dpi = WholeMember(call.request, "dpi", 1, most, usualDpi);
    if (const std::string fault = PictureSizeFault(width, height, dpi); !fault.empty())
        throw RemoteError(fault);
    options.width = static_cast<int>(width);
    options.height = static_cast<int>(height);
    options.scale = static_cast<double>(dpi) / usualDpi;
    return GraphPicture(graph, format, options);
}

void TellGraph(RemoteCall& call, CBatchBaseDlg& block) {
    const bool isAsked = FlagMember(call.request, "graph");
    const Json* const picture = FindMember(call.request, "graphPicture");
    if (!isAsked && !picture) return;
    const Graph graph = AskedGraph(call, block);
    if (isAsked) call.answer["graph"] = GraphData(graph);
    if (picture) call.AnswerFile("graphPicture", GraphPictureOf(call, graph, AsPictureFormat(*picture)));
}

void Use(RemoteCall& call) {
    const Operation& operation = Named(call.value);
    const auto fresh = operation.make();
    if (fresh->WhatItAffects() == Affects::newRecording)
        throw RemoteError("It makes a recording and works on none: use the commands new-contiguous-data and "
                          "new-sparse-data.");
    if (FindMember(call.request, "document") != nullptr) call.target.Activate(call.Document());
    if (call.target.Active() < 0 && fresh->NeedsRecording()) throw RemoteError("No recording is open.");
    CBatchBaseDlg& block = call.target.OpenOperation(operation);
    if (const Json* config = FindMember(call.request, "config"))
        if (!LoadConfig(call.target.GetSession(), block, AsPath(*config, "config")))
            call.Fail("It was not loaded.");
    if (const Json* settings = FindMember(call.request, "set")) SetParameters(block, *settings);
    if (const Json* button = FindMember(call.request, "press")) PressButton(block, AsText(*button, "press"));
    call.target.OperationChanged(operation);
    if (FlagMember(call.request, "preview"))
        call.answer["previewPng"] = Picture(call.target.PreviewPicture(operation));
    if (FlagMember(call.request, "run")) {
        if (!call.target.RunOperation(operation)) {
            const std::string fault = block.Validate();
            call.Fail(fault.empty() ? "The operation was not done." : fault);
        }
        if (block.HasResultText()) call.answer["result"] = ResultText(block);
        if (FlagMember(call.request, "tables")) call.answer["results"] = ResultTables(block);
    }
    Json& parameters = call.answer["parameters"] = Json::object();
    for (const Field& param : block.Params())
        if (param.HasValue()) parameters[param.key] = ToDisplayText(param.ValueText());
    TellGraph(call, block);
    if (FlagMember(call.request, "picture"))
        call.answer["png"] = Picture(call.target.OperationPicture(operation));
    if (FlagMember(call.request, "shut")) call.target.CloseOperation(operation);
}

}  // namespace

// clang-format off
RequestTable OperationRequests() {
    return {
        {"operation", "a class name or its short form", "Opens the window of an operation on the active recording (an operation on numbers needs none), or takes the one that is open. A `document` comes to the front first. Answers the `parameters` as `--set` takes them and, after a run, the `result` of operations that tell something.",
            {{"config", "a configuration file that is loaded first."}, {"set", "an object of keys and values, set in its order of writing."}, {"press", "the key of a button of the window."}, {"run", "true to run it."}, {"tables", "true for the results of the run as data, as `results`: named values and tables, as `kymora run --json` writes them."}, {"preview", "true to open the preview of a transform, for a picture of it as `previewPng`, in base64."}, {"graph", "true for the graph of the window as it stands, or as the run has left it, as `graph`: `panes`, each with its `name`, axes, `layers` of numbers and `lines`."}, {"graphPicture", "\"png\", \"svg\" or \"pdf\" for a picture of the graph as `graphPicture`, in base64; with `file` it is written there."}, {"pane", "the name of one pane of the graph, which is then told or drawn alone."}, {"width", "of the picture of the graph, pixels (800)."}, {"height", "the same (600)."}, {"dpi", "the resolution of a png (96)."}, {"picture", "true for a picture of its window as `png`, in base64."}, {"shut", "true to close it afterwards."}},
            {R"({"operation": "event-threshold", "set": {"trace": 1, "thresholdSource": 2, "destination": "b"}, "run": true})", R"({"operation": "event-hist", "set": {"channel1": "b"}, "run": true, "graphPicture": "svg", "file": "/tmp/intervals.svg", "yes": true})"}, true, Use},
    };
}
// clang-format on

}  // namespace kymora
