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

bool WriteResults(JsonWriter& json, CBatchBaseDlg& block, FileReport& report) {
    const size_t depth = json.Depth();
    try {
        const bool isWhole = WriteJson(json, report.IsDone() ? block.Results() : std::vector<Result>(),
                                       [] { return !WasInterrupted(); });
        if (!isWhole || WasInterrupted()) throw Cancelled();
        return true;
    } catch (const FileError& error) {
        json.CloseTo(depth);
        report.messages.push_back({RunMessage::From::run, error.what(), {}});
        return false;
    }
}

}  // namespace

bool WriteRunRecord(OutputSink& sink, FileReport& report, CBatchBaseDlg& tried) {
    CBatchBaseDlg& block = report.block ? *report.block : tried;
    JsonWriter json(sink);
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Member("operation", block.ClassName());
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
    const bool isRead = WriteResults(json, block, report);
    json.Key("messages");
    json.BeginArray();
    for (const RunMessage& message : report.messages) json.Value(message.text);
    json.EndArray();
    json.EndObject();
    json.Finish();
    return isRead;
}

}  // namespace kymora
