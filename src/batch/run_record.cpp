#include "batch/run_record.h"

#include "document/native_writer.h"
#include "operations/settings_json.h"
#include "results/result_output.h"

namespace kymora {

namespace {

bool WriteResults(JsonWriter& json, CBatchBaseDlg& block, FileReport& report,
                  const std::function<bool()>& goesOn) {
    const size_t depth = json.Depth();
    try {
        const bool isWhole =
            WriteJson(json, report.IsDone() ? block.Results() : std::vector<Result>(), goesOn);
        if (!isWhole || !goesOn()) throw Cancelled();
        return true;
    } catch (const FileError& error) {
        json.CloseTo(depth);
        report.messages.push_back({RunMessage::From::run, error.what(), {}});
        return false;
    }
}

}  // namespace

void WriteChannels(JsonWriter& json, const FileReport& report) {
    json.Key("channels");
    json.BeginArray();
    for (const FileReport::Channel& channel : report.channels) {
        json.BeginObject();
        json.Member("number", channel.number);
        json.Member("count", channel.count);
        json.EndObject();
    }
    json.EndArray();
}

void WriteMessages(JsonWriter& json, const RunMessages& messages) {
    json.Key("messages");
    json.BeginArray();
    for (const RunMessage& message : messages) json.Value(message.text);
    json.EndArray();
}

bool WriteRunRecord(OutputSink& sink, FileReport& report, CBatchBaseDlg& tried,
                    const std::function<bool()>& goesOn) {
    CBatchBaseDlg& block = report.block ? *report.block : tried;
    JsonWriter json(sink);
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Member("operation", block.ClassName());
    json.Member("file", report.planned.file.string());
    json.Key("settings");
    WriteUsedSettings(json, block);
    json.Key("output");
    if (report.IsDone() && !report.outputs.empty())
        json.Value(report.outputs.front().string());
    else
        json.Null();
    WriteChannels(json, report);
    json.Key("results");
    const bool isRead = WriteResults(json, block, report, goesOn);
    WriteMessages(json, report.messages);
    json.EndObject();
    json.Finish();
    return isRead;
}

}  // namespace kymora
