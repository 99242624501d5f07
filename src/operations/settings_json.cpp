#include "operations/settings_json.h"

namespace kymora {

namespace {

void WriteNumbers(JsonWriter& json, const std::vector<int>& numbers, int countsFrom) {
    json.BeginArray(JsonWriter::Form::oneLine);
    for (const int number : numbers) json.Value(number + countsFrom);
    json.EndArray();
}

}  // namespace

void WriteParamValue(JsonWriter& json, const Field& param) {
    switch (param.kind) {
    case FieldKind::number:
        return param.isSingle ? json.Value(static_cast<float>(param.number)) : json.Value(param.number);
    case FieldKind::integer:
    case FieldKind::channel:
        return json.Value(static_cast<int>(param.number));
    case FieldKind::choice:
        return json.Value(param.choice);
    case FieldKind::trace:
        return json.Value(static_cast<int>(param.number) + 1);
    case FieldKind::flag:
        return json.Value(param.flag);
    case FieldKind::channels:
        return WriteNumbers(json, param.numbers, 0);
    case FieldKind::traces:
        return WriteNumbers(json, param.numbers, 1);
    default:
        return json.Value(param.ValueText());
    }
}

void WriteSettings(JsonWriter& json, CBatchBaseDlg& block) {
    json.BeginObject();
    for (const Field& param : block.Params()) {
        if (!param.HasValue()) continue;
        json.Key(param.key);
        WriteParamValue(json, param);
    }
    json.EndObject();
}

void WriteUsedSettings(JsonWriter& json, CBatchBaseDlg& block) {
    const std::vector<std::byte> left = block.Settings();
    block.TakeSettings(block.UsedSettings());
    WriteSettings(json, block);
    block.TakeSettings(left);
}

}  // namespace kymora
