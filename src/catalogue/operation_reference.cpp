#include "catalogue/operation_reference.h"

#include <algorithm>
#include <fmt/format.h>

namespace kymora {

namespace {

constexpr std::string_view introduction =
    R"(<!-- Written by scripts/reference from the program's own tables; changes belong there. -->
# Operations

Each operation is a dialog in the menu of the window and a name for `kymora run` ([command-line.md](command-line.md)). The
keys below are those of `--set KEY=VALUE`; `kymora operations NAME --json` tells the same to programs.

- Traces count from 1. Channels are letters or numbers from 0. Lists are written as `1-3 5` or `a-c 30`.
- A choice takes its number or its words, a flag takes 0, 1, true or false. Times are milliseconds unless the unit says
  otherwise.
- Defaults are those of a fresh dialog; limits may be narrower beside a recording.
)";

// In a table, a bar would end the cell and a line end the row.
std::string Cell(std::string_view text) {
    std::string cell;
    for (const char c : text)
        if (c == '|')
            cell += "\\|";
        else
            cell += c == '\n' || c == '\r' ? ' ' : c;
    return cell;
}

std::string Code(std::string_view text) { return text.empty() ? std::string() : fmt::format("`{}`", text); }

// What a parameter takes.
std::string Takes(const Field& param) {
    std::string text = FieldKindName(param.kind);
    if (!param.choices.empty()) text.clear();
    for (size_t i = 0; i < param.choices.size(); ++i)
        text += fmt::format("{}{} {}", i == 0 ? "" : "<br>", i, param.choices[i]);
    const bool isCounted = param.kind == FieldKind::trace || param.kind == FieldKind::channel;
    if (const std::string limits = param.LimitsText(); !limits.empty() && !isCounted) text += ", " + limits;
    if (!param.unit.empty()) text += " (" + param.unit + ")";
    return text;
}

// As a sentence, whether or not the text has its stop.
std::string Sentence(std::string text) {
    if (!text.empty() && text.back() != '.') text += '.';
    return text;
}

std::string Means(const Field& param) {
    std::string text = Sentence(param.toolTip.empty() ? param.label : param.label + ": " + param.toolTip);
    for (size_t i = 0; i < param.linked.size(); ++i)
        text += (i == 0 ? " Sets also " : ", ") + Code(param.linked[i]);
    if (!param.linked.empty()) text += '.';
    for (size_t i = 0; i < param.aliases.size(); ++i)
        text += (i == 0 ? " Other key: " : ", ") + Code(param.aliases[i]);
    return param.aliases.empty() ? text : text + ".";
}

void AppendParams(std::string& to, const ParamList& params) {
    if (std::none_of(params.begin(), params.end(), [](const Field& param) { return param.HasValue(); }))
        return;
    to += "\n| key | takes | default | what it is |\n|---|---|---|---|\n";
    std::string group;
    for (const Field& param : params) {
        if (!param.HasValue()) continue;
        if (param.group != group && !param.group.empty())
            to += fmt::format("| **{}** | | | |\n", Cell(param.group));
        group = param.group;
        to += fmt::format("| {} | {} | {} | {} |\n", Code(param.key), Cell(Takes(param)),
                          Cell(Code(param.ValueText())), Cell(Means(param)));
    }
}

std::string ExampleLine(const Operation& operation, CBatchBaseDlg& block) {
    if (block.WhatItAffects() == Affects::newRecording)
        return fmt::format("kymora run {} FILE -o new.kymr-dat", operation.className);
    if (!block.NeedsRecording()) return fmt::format("kymora run {} FILE -o result.txt", operation.className);
    std::string line = fmt::format("kymora run {} rec.kymr-dat", operation.className);
    ParamList params = block.Params();
    if (params.Find("file") && block.WhatItAffects() != Affects::nothing) line += " --set file=FILE";
    for (const char* key : {"channel1", "trace"})
        if (const Field* param = params.Find(key); param && param->HasValue())
            line += fmt::format(" --set {}={}", key, param->ValueText());
    // A text that has to be given.
    if (params.Find("search")) line += " --set search=TEXT";
    // Not one of the sources.
    if (const Field* param = params.Find("destination"); param && param->HasValue())
        line += params.Find("channel2") ? " --set destination=c" : " --set destination=b";
    return line + (block.WhatItAffects() != Affects::nothing ? " --in-place" : " -o result.txt");
}

std::string_view WithoutDots(std::string_view label) {
    if (label.ends_with("...")) label.remove_suffix(3);
    return label;
}

std::string MenuPath(const OperationEntry& entry) {
    std::string label(WithoutDots(entry.Label()));
    std::erase(label, '&');
    return PlainMenuPath(entry.operation->menu) + " > " + label;
}

// What each entry of the menu sets.
void AppendVariants(std::string& to, const Operation& operation) {
    if (operation.variants.empty()) return;
    to += "\n| in the menu | sets | what it does |\n|---|---|---|\n";
    for (const OperationVariant& variant : operation.variants)
        to += fmt::format("| {} | `{}={}` | {} |\n", MenuPath({&operation, &variant}), variant.key,
                          variant.value, Cell(Sentence(std::string(variant.toolTip))));
}

void AppendOperation(std::string& to, const Operation& operation) {
    const auto block = operation.make();
    // The title of one that stands in the menu several times may be that of one entry.
    const std::string heading =
        operation.variants.empty() ? block->Title() : PlainMenuPath(WithoutDots(operation.label));
    to += fmt::format("\n## {}\n\n{}\n\nOn the command line `{}` or `{}`", heading,
                      Sentence(std::string(operation.toolTip)), operation.className, operation.KebabName());
    if (operation.variants.empty() && !operation.label.empty())
        to += fmt::format("; in the menu {}", MenuPath({&operation, nullptr}));
    to += ".\n";
    AppendVariants(to, operation);
    AppendParams(to, block->Params());
    to += fmt::format("\n    {}\n", ExampleLine(operation, *block));
}

}  // namespace

std::string OperationReference(std::span<const Operation> operations) {
    std::string text(introduction);
    for (const Operation& operation : operations) AppendOperation(text, operation);
    return text;
}

}  // namespace kymora
