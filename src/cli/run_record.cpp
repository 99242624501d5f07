#include "cli/run_record.h"

#include "cli/interrupt.h"
#include "cli/operation_tables.h"
#include "document/native_writer.h"
#include "results/result_output.h"

namespace kymora {

namespace {

void WriteSettings(JsonWriter& json, CBatchBaseDlg& block) {
    json.Key("settings");
    json.BeginObject();
    for (const Field& param : block.Params()) {
        if (!param.HasValue()) continue;
        json.Key(param.key);
        WriteParamValue(json, param);
    }
    json.EndObject();
}

}  // namespace

void WriteRunRecord(OutputSink& sink, const Operation& operation, const FileReport& report) {
    const std::unique_ptr<CBatchBaseDlg> unused = report.block ? nullptr : operation.make();
    CBatchBaseDlg& block = report.block ? *report.block : *unused;
    JsonWriter json(sink);
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Member("operation", operation.className);
    json.Member("file", report.planned.file.string());
    WriteSettings(json, block);
    json.Key("output");
    if (report.IsDone() && !report.outputs.empty())
        json.Value(report.outputs.front().string());
    else
        json.Null();
    json.Key("channels");
    json.BeginArray();
    for (const FileReport::Channel& channel : report.channels) {
        json.BeginObject();
        json.Member("number", channel.number);
        json.Member("count", channel.count);
        json.EndObject();
    }
    json.EndArray();
    json.Key("results");
    const bool isWhole = WriteJson(json, report.IsDone() ? block.Results() : std::vector<Result>(),
                                   [] { return !WasInterrupted(); });
    if (!isWhole || WasInterrupted()) throw Cancelled();
    json.Key("messages");
    json.BeginArray();
    for (const RunMessage& message : report.messages) json.Value(message.text);
    json.EndArray();
    json.EndObject();
    json.Finish();
}

}  // namespace kymora
