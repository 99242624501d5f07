#include "cli/operation_tables.h"

#include <algorithm>
#include <array>

#include "operations/settings_json.h"
#include "results/number_text.h"

namespace kymora {
namespace {

// --- JSON ---

void WriteLimits(JsonWriter& json, const Field& param) {
    const auto [least, greatest] = param.UserLimits();
    json.Key("limits");
    json.BeginArray(JsonWriter::Form::oneLine);
    least ? json.Value(*least) : json.Null();
    greatest ? json.Value(*greatest) : json.Null();
    json.EndArray();
}

void WriteTexts(JsonWriter& json, std::string_view key, const std::vector<std::string>& texts) {
    json.Key(key);
    json.BeginArray(JsonWriter::Form::oneLine);
    for (const std::string& text : texts) json.Value(text);
    json.EndArray();
}

void WriteParam(JsonWriter& json, const Field& param, const ParamList& params) {
    json.BeginObject();
    json.Member("key", param.key);
    WriteTexts(json, "otherKeys", param.aliases);
    json.Member("label", param.label);
    json.Member("type", FieldKindName(param.kind));
    json.Key("default");
    WriteParamValue(json, param);
    WriteLimits(json, param);
    WriteTexts(json, "choices", param.choices);
    json.Key("step");
    param.IsNumeric() ? json.Value(param.step) : json.Null();
    json.Member("unit", param.unit);
    json.Member("group", param.group);
    WriteTexts(json, "linked", param.linked);
    json.Member("enabled", param.IsEnabled(params));
    json.Member("toolTip", param.toolTip);
    json.EndObject();
}

void WriteOperation(JsonWriter& json, const Operation& operation) {
    const auto block = operation.make();
    json.BeginObject();
    json.Member("className", operation.className);
    json.Member("name", operation.KebabName());
    json.Member("title", block->Title());
    json.Member("kind", OperationKind(*block));
    json.Member("menu", PlainMenuPath(operation.menu));
    json.Member("toolTip", operation.toolTip);
    json.Member("changesRecording", block->WhatItAffects() != Affects::nothing);
    json.Member("needsRecording", block->NeedsRecording());
    json.Member("drawsGraph", block->GetGraph().has_value());
    json.Key("parameters");
    json.BeginArray();
    const ParamList params = block->Params();
    for (const Field& param : params)
        if (param.HasValue()) WriteParam(json, param, params);
    json.EndArray();
    json.EndObject();
}

// --- text ---

constexpr size_t columnCount = 5;
using Row = std::array<std::string, columnCount>;

// Characters, not bytes.
size_t WidthOf(std::string_view text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

Row RowOf(const Field& param) {
    return {param.key, FieldKindName(param.kind), TerminalLine(param.ValueText()), param.LimitsText(),
            param.unit};
}

class OperationTable {
  public:
    explicit OperationTable(const ParamList& params) : params_(params) {
        Widen(heading);
        for (const Field& param : params)
            if (param.HasValue()) Widen(RowOf(param));
    }

    std::string Text() const {
        std::string text = Line(heading, "what it is");
        std::string group;
        for (const Field& param : params_) {
            if (!param.HasValue()) continue;
            if (param.group != group && !param.group.empty()) text += "  [" + param.group + "]\n";
            group = param.group;
            text += Line(RowOf(param), What(param));
            for (size_t i = 0; i < param.choices.size(); ++i)
                text += std::string(WidthBefore(2), ' ') + std::to_string(i) + " " +
                        TerminalLine(param.choices[i]) + "\n";
        }
        return text;
    }

  private:
    static inline const Row heading = {"key", "type", "default", "limits", "unit"};

    void Widen(const Row& row) {
        for (size_t c = 0; c < columnCount; ++c) widths_[c] = std::max(widths_[c], WidthOf(row[c]));
    }
    // Where a column begins.
    size_t WidthBefore(size_t column) const {
        size_t width = 2;
        for (size_t c = 0; c < column; ++c) width += widths_[c] + 2;
        return width;
    }
    std::string Line(const Row& row, const std::string& what) const {
        std::string line = "  ";
        for (size_t c = 0; c < columnCount; ++c)
            line += row[c] + std::string(widths_[c] - WidthOf(row[c]) + 2, ' ');
        line += what;
        while (line.ends_with(' ')) line.pop_back();
        return line + "\n";
    }
    static std::string What(const Field& param) {
        std::string what =
            TerminalLine(param.toolTip.empty() ? param.label : param.label + ": " + param.toolTip);
        for (size_t i = 0; i < param.linked.size(); ++i)
            what += (i == 0 ? " (sets also " : ", ") + param.linked[i];
        if (!param.linked.empty()) what += ")";
        for (size_t i = 0; i < param.aliases.size(); ++i)
            what += (i == 0 ? " (other key: " : ", ") + param.aliases[i];
        return what + (param.aliases.empty() ? "" : ")");
    }

    const ParamList& params_;
    std::array<size_t, columnCount> widths_{};
};

}  // namespace

void WriteOperationsJson(OutputSink& sink, std::span<const Operation> operations) {
    JsonWriter json(sink);
    json.BeginObject();
    json.Key("operations");
    json.BeginArray();
    for (const Operation& operation : operations) WriteOperation(json, operation);
    json.EndArray();
    json.EndObject();
    json.Finish();
}

void WriteOperationsText(OutputSink& sink, std::span<const Operation> operations) {
    for (const Operation& operation : operations) {
        const auto block = operation.make();
        const ParamList params = block->Params();
        sink.Write(&operation == operations.data() ? "" : "\n");
        sink.Write(std::string(operation.className) + " (" + operation.KebabName() + ")  " + block->Title() +
                   "\n");
        sink.Write("  " + std::string(operation.toolTip) + "\n");
        sink.Write(OperationTable(params).Text());
    }
}

}  // namespace kymora
