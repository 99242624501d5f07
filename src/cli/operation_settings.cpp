#include "cli/operation_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "cli/command.h"
#include "cli/near_names.h"

namespace kymora {
namespace {

Param& ParamOf(ParamList& params, const CBatchBaseDlg& block, const std::string& key) {
    Param* param = params.Find(key);
    const auto isSettable = [](const Param& any) { return any.HasValue() || any.isSettable; };
    if (param && isSettable(*param)) return *param;
    std::vector<std::string> known;
    for (const Param& candidate : params)
        if (isSettable(candidate)) {
            known.push_back(candidate.key);
            known.insert(known.end(), candidate.aliases.begin(), candidate.aliases.end());
        }
    throw CommandError(
        exitUsage, fmt::format("{} has no parameter \"{}\".{} \"kymora operations {}\" lists all.",
                               block.ClassName(), key, DidYouMean(NearNames(key, known)), block.ClassName()));
}

// The value that a setting alone would give; `param` stays as it is but for what follows it.
bool IsStill(Param& param, const std::string& value) {
    const std::string now = param.ValueText();
    Param alone = param;
    alone.changed = nullptr;
    double number = 0.0;
    float single = 0.0f;
    int32_t whole = 0;
    bool flag = false;
    std::string text;
    std::vector<int> list;
    std::visit(
        [&](auto target) {
            using T = decltype(target);
            if constexpr (std::is_same_v<T, double*>) alone.target = &number;
            if constexpr (std::is_same_v<T, float*>) alone.target = &single;
            if constexpr (std::is_same_v<T, int32_t*>) alone.target = &whole;
            if constexpr (std::is_same_v<T, bool*>) alone.target = &flag;
            if constexpr (std::is_same_v<T, std::string*>) alone.target = &text;
            if constexpr (std::is_same_v<T, std::vector<int>*>) alone.target = &list;
        },
        param.target);
    if (!alone.SetFromText(value).empty()) return true;
    // A button may have appended to a text.
    const bool isText = std::holds_alternative<std::string*>(param.target);
    return isText ? now.starts_with(alone.ValueText()) : alone.ValueText() == now;
}

// A button is pressed by a truth value. Nothing is there to be pressed on before a recording is.
std::string Press(const CBatchBaseDlg& block, const Param& param, const std::string& value) {
    bool pressed = false;
    ParamList flag;
    if (const std::string fault = flag.Flag(param.key, param.label, pressed).SetFromText(value);
        !fault.empty())
        return fault;
    if (pressed && block.Document() && param.IsEnabled()) param.action();
    return {};
}

// Whether one of the settings behind this one, by whatever name, is of the same parameter.
bool IsSetAgain(const Param& param, std::span<const Setting> later) {
    return std::any_of(later.begin(), later.end(),
                       [&](const Setting& setting) { return param.IsCalled(setting.key); });
}

}  // namespace

std::vector<Setting> ParseSettings(const std::vector<std::string>& texts) {
    std::vector<Setting> settings;
    for (const std::string& text : texts) {
        const size_t equals = text.find('=');
        if (equals == 0 || equals == std::string::npos)
            throw CommandError(exitUsage, "--set takes KEY=VALUE, not \"" + text + "\".");
        settings.push_back({text.substr(0, equals), text.substr(equals + 1)});
    }
    return settings;
}

void ApplySettings(CBatchBaseDlg& block, const std::vector<Setting>& settings) {
    for (const Setting& setting : settings) {
        // Described anew, since limits may follow from what was set before.
        ParamList params = block.Params();
        Param& param = ParamOf(params, block, setting.key);
        const std::string fault = param.kind == ParamKind::action ? Press(block, param, setting.value)
                                                                  : param.SetFromText(setting.value);
        if (!fault.empty())
            throw CommandError(exitUsage, fmt::format("--set {}={}: {}", setting.key, setting.value, fault));
    }
}

std::vector<std::string> SettingsWithoutEffect(CBatchBaseDlg& block, const std::vector<Setting>& settings) {
    std::vector<std::string> texts;
    ParamList params = block.Params();
    for (size_t i = 0; i < settings.size(); ++i) {
        const auto& [key, value] = settings[i];
        Param& param = ParamOf(params, block, key);
        if (IsSetAgain(param, std::span(settings).subspan(i + 1))) continue;
        if (!param.IsEnabled())
            texts.push_back(
                fmt::format("--set {}={} has no effect with the other settings as they are.", key, value));
        else if (param.HasValue() && !IsStill(param, value))
            texts.push_back(
                fmt::format("--set {}={}: other settings have made it {}.", key, value, param.ValueText()));
    }
    return texts;
}

}  // namespace kymora
