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

void WriteChannels(JsonWriter& json, const CBatchBaseDlg& block) {
    for (const int channel : block.WrittenChannels()) {
        json.BeginObject();
        json.Member("number", channel);
        json.Member("count", block.Document()->GetNumEvents(channel));
        json.EndObject();
    }
}

}  // namespace

void WriteRunRecord(OutputSink& sink, const RunRecord& record, CBatchBaseDlg& block) {
    JsonWriter json(sink);
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Member("operation", record.operation);
    json.Member("file", record.file);
    WriteSettings(json, block);
    json.Key("output");
    if (record.isDone && record.output)
        json.Value(record.output->string());
    else
        json.Null();
    json.Key("channels");
    json.BeginArray();
    if (record.isDone && block.Document()) WriteChannels(json, block);
    json.EndArray();
    json.Key("results");
    const bool isWhole = WriteJson(json, record.isDone ? block.Results() : std::vector<Result>(),
                                   [] { return !WasInterrupted(); });
    if (!isWhole || WasInterrupted()) throw Cancelled();
    json.Key("messages");
    json.BeginArray();
    for (const std::string& message : record.messages) json.Value(message);
    json.EndArray();
    json.EndObject();
    json.Finish();
}

}  // namespace kymora
