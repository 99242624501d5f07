#include "operations/param.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "document/lists.h"
#include "events/event_chan.h"
#include "host/form.h"
#include "host/session.h"

namespace kymora {

namespace {

std::string Folded(std::string_view text) {
    std::string folded;
    for (const char c : text) folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return folded;
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

std::optional<double> ParseNumber(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return {};
    return value;
}

// The numbers of an ascending list in the words of the list syntax, "1-3 5".
std::string ListText(const std::vector<int>& numbers, const std::function<std::string(int)>& name) {
    std::string text;
    for (size_t i = 0; i < numbers.size();) {
        size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
        if (!text.empty()) text += ' ';
        text += name(numbers[i]);
        if (last > i) text += (last > i + 1 ? "-" : " ") + name(numbers[last]);
        i = last + 1;
    }
    return text;
}

// A float is held to the limits as a float: at a limit that no float meets exactly, it may lie either side.
std::string LimitFault(const Param& param, double value) {
    if (std::holds_alternative<float*>(param.target)) {
        const auto single = static_cast<float>(value);
        if (single >= static_cast<float>(param.least) && single <= static_cast<float>(param.greatest))
            return {};
    }
    return NumberFault(param.label, value, param.least, param.greatest, param.kind == ParamKind::integer);
}

std::string FlagFault(const Param& param) {
    return fmt::format("\"{}\" takes 0, 1, true or false.", param.label);
}

std::optional<bool> ParseFlag(std::string_view text) {
    const std::string word = Folded(text);
    if (word == "1" || word == "true") return true;
    if (word == "0" || word == "false") return false;
    return {};
}

std::optional<int> FindChoice(const Param& param, std::string_view text) {
    if (const auto number = ParseNumber(text))
        if (*number == std::trunc(*number) && *number >= 0 &&
            *number < static_cast<double>(param.choices.size()))
            return static_cast<int>(*number);
    for (size_t i = 0; i < param.choices.size(); ++i)
        if (Folded(param.choices[i]) == Folded(text)) return static_cast<int>(i);
    return {};
}

std::string ChoiceFault(const Param& param) {
    std::string words;
    for (size_t i = 0; i < param.choices.size(); ++i)
        words += fmt::format("{}{} ({})", i == 0 ? "" : ", ", i, param.choices[i]);
    return fmt::format("\"{}\" takes one of {}.", param.label, words);
}

}  // namespace

const char* ParamKindName(ParamKind kind) {
    switch (kind) {
    case ParamKind::number:
        return "number";
    case ParamKind::integer:
        return "integer";
    case ParamKind::flag:
        return "flag";
    case ParamKind::choice:
        return "choice";
    case ParamKind::text:
        return "text";
    case ParamKind::trace:
        return "trace";
    case ParamKind::channel:
        return "channel";
    case ParamKind::channels:
        return "channel list";
    case ParamKind::traces:
        return "trace list";
    case ParamKind::note:
        return "note";
    case ParamKind::action:
        return "action";
    }
    return "";
}

// --- description ---

Param& Param::Tip(std::string text) {
    toolTip = std::move(text);
    return *this;
}
Param& Param::Unit(std::string text) {
    unit = std::move(text);
    return *this;
}
Param& Param::Limits(double from, double to) {
    least = from;
    greatest = to;
    return *this;
}
Param& Param::Step(double by) {
    step = by;
    return *this;
}
Param& Param::Buttons() {
    asButtons = true;
    return *this;
}
Param& Param::Lines() {
    hasLines = true;
    return *this;
}
Param& Param::Settable() {
    isSettable = true;
    return *this;
}
Param& Param::Linked(std::vector<std::string> keys) {
    linked = std::move(keys);
    return *this;
}
Param& Param::Alias(std::string name) {
    aliases.push_back(std::move(name));
    return *this;
}
Param& Param::Cell(std::string row, std::string column) {
    tableRow = std::move(row);
    tableColumn = std::move(column);
    return *this;
}
Param& Param::EnabledIf(std::function<bool()> test) {
    isEnabled = std::move(test);
    return *this;
}
Param& Param::OnChange(std::function<void()> does) {
    changed = std::move(does);
    return *this;
}
Param& Param::Shows(std::function<std::string()> text) {
    shown = std::move(text);
    return *this;
}

bool Param::IsCalled(std::string_view name) const {
    return key == name || std::find(aliases.begin(), aliases.end(), name) != aliases.end();
}

// --- values ---

double Param::Number() const {
    if (const auto* value = std::get_if<double*>(&target)) return **value;
    if (const auto* value = std::get_if<float*>(&target)) return static_cast<double>(**value);
    return *std::get<int32_t*>(target);
}

void Param::Store(double number) {
    if (auto* value = std::get_if<double*>(&target))
        **value = number;
    else if (auto* single = std::get_if<float*>(&target))
        **single = static_cast<float>(number);
    else
        *std::get<int32_t*>(target) = static_cast<int32_t>(number);
}

std::string Param::ValueText() const {
    switch (kind) {
    case ParamKind::number:
        // A float in the digits that a float needs.
        if (const auto* value = std::get_if<float*>(&target)) return fmt::format("{}", **value);
        return fmt::format("{}", Number());
    case ParamKind::integer:
    case ParamKind::choice:
        return fmt::format("{}", static_cast<int>(Number()));
    case ParamKind::trace:
        return fmt::format("{}", static_cast<int>(Number()) + 1);
    case ParamKind::flag:
        return Flag() ? "true" : "false";
    case ParamKind::text:
        return *std::get<std::string*>(target);
    case ParamKind::channel:
        return ChannelName(static_cast<int>(Number()));
    case ParamKind::channels:
        return ListText(*std::get<std::vector<int>*>(target), ChannelName);
    case ParamKind::traces:
        return ListText(*std::get<std::vector<int>*>(target),
                        [](int trace) { return std::to_string(trace + 1); });
    case ParamKind::note:
    case ParamKind::action:
        break;
    }
    return {};
}

std::string Param::Fault() const {
    switch (kind) {
    case ParamKind::number:
    case ParamKind::integer:
        return LimitFault(*this, Number());
    case ParamKind::choice:
        return Number() >= 0 && Number() < static_cast<double>(choices.size()) ? std::string()
                                                                               : ChoiceFault(*this);
    case ParamKind::trace:
        return Number() >= 0 && Number() < maxTraces ? std::string() : noSuchTraceText;
    case ParamKind::channel:
        return Number() >= 0 && Number() < maxEventChannels ? std::string() : noSuchChannelText;
    case ParamKind::channels:
    case ParamKind::traces: {
        const bool isTraces = kind == ParamKind::traces;
        const auto& numbers = *std::get<std::vector<int>*>(target);
        const int most = isTraces ? maxTraces : maxEventChannels;
        const bool inside =
            std::all_of(numbers.begin(), numbers.end(), [most](int n) { return n >= 0 && n < most; });
        return inside ? std::string() : isTraces ? noSuchTraceText : noSuchChannelText;
    }
    case ParamKind::flag:
    case ParamKind::text:
    case ParamKind::note:
    case ParamKind::action:
        break;
    }
    return {};
}

namespace {

// Each sets the value or answers why the text is none.

std::string SetNumber(Param& param, std::string_view text) {
    const auto number = ParseNumber(text);
    const double value = number.value_or(std::numeric_limits<double>::quiet_NaN());
    std::string fault = LimitFault(param, value);
    if (fault.empty()) param.Store(value);
    return fault;
}

std::string SetTrace(Param& param, std::string_view text) {
    const auto number = ParseNumber(text);
    if (!number || *number != std::trunc(*number) || *number < 1 || *number > maxTraces)
        return fmt::format("\"{}\" takes a trace number from 1 to {}.", param.label, maxTraces);
    param.Store(*number - 1);
    return {};
}

std::string SetChannel(Param& param, std::string_view text) {
    const std::string fault = fmt::format("\"{}\" takes a channel: a letter, or a number from 0 to {}.",
                                          param.label, maxEventChannels - 1);
    try {
        const std::vector<int> channels = ParseChannelList(text);
        if (channels.size() != 1) return fault;
        param.Store(channels[0]);
    } catch (const ListError&) {
        return fault;
    }
    return {};
}

std::string SetList(Param& param, std::string_view text) {
    auto& numbers = *std::get<std::vector<int>*>(param.target);
    // No list is a list of none.
    if (text.empty()) {
        numbers.clear();
        return {};
    }
    try {
        numbers =
            param.kind == ParamKind::channels ? ParseChannelList(text) : ParseTraceList(text, maxTraces);
    } catch (const ListError& error) {
        return error.what();
    }
    return {};
}

std::string SetValue(Param& param, std::string_view text) {
    switch (param.kind) {
    case ParamKind::number:
    case ParamKind::integer:
        return SetNumber(param, text);
    case ParamKind::trace:
        return SetTrace(param, text);
    case ParamKind::channel:
        return SetChannel(param, text);
    case ParamKind::channels:
    case ParamKind::traces:
        return SetList(param, text);
    case ParamKind::flag:
        if (const auto flag = ParseFlag(text))
            *std::get<bool*>(param.target) = *flag;
        else
            return FlagFault(param);
        return {};
    case ParamKind::choice:
        if (const auto choice = FindChoice(param, text))
            param.Store(*choice);
        else
            return ChoiceFault(param);
        return {};
    case ParamKind::text:
        *std::get<std::string*>(param.target) = text;
        return {};
    case ParamKind::note:
    case ParamKind::action:
        break;
    }
    return fmt::format("\"{}\" has no value.", param.label);
}

}  // namespace

std::string Param::SetFromText(std::string_view text) {
    std::string fault = SetValue(*this, kind == ParamKind::text ? text : Trimmed(text));
    if (fault.empty() && changed) changed();
    return fault;
}

// --- the list ---

Param& ParamList::Add(ParamKind kind, std::string key, std::string label) {
    Param& param = params_.emplace_back();
    param.kind = kind;
    param.key = std::move(key);
    param.label = std::move(label);
    param.group = group_;
    param.page = std::max(0, static_cast<int>(pages_.size()) - 1);
    return param;
}

ParamList ParamList::OnPage(int page) const {
    ParamList list;
    std::ranges::copy_if(params_, std::back_inserter(list.params_),
                         [page](const Param& param) { return param.page == page; });
    return list;
}

std::string ParamList::Fault() const {
    for (const Param& param : params_) {
        if (!param.HasValue() || !param.IsEnabled()) continue;
        std::string fault = param.Fault();
        if (!fault.empty()) return fault;
    }
    return {};
}

std::string ParamList::PageFault(int page) const {
    std::string fault = OnPage(page).Fault();
    const auto& asks = pages_[static_cast<size_t>(page)].fault;
    return fault.empty() && asks ? asks() : fault;
}

Param& ParamList::Number(std::string key, std::string label, double& value) {
    Param& param = Add(ParamKind::number, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Number(std::string key, std::string label, float& value) {
    Param& param = Add(ParamKind::number, std::move(key), std::move(label));
    param.target = &value;
    param.least = std::numeric_limits<float>::lowest();
    param.greatest = std::numeric_limits<float>::max();
    return param;
}

Param& ParamList::Integer(std::string key, std::string label, int32_t& value) {
    Param& param = Add(ParamKind::integer, std::move(key), std::move(label));
    param.target = &value;
    param.least = std::numeric_limits<int32_t>::min();
    param.greatest = std::numeric_limits<int32_t>::max();
    return param;
}

Param& ParamList::Flag(std::string key, std::string label, bool& value) {
    Param& param = Add(ParamKind::flag, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Choice(std::string key, std::string label, int32_t& value,
                         std::vector<std::string> choices) {
    Param& param = Add(ParamKind::choice, std::move(key), std::move(label));
    param.target = &value;
    param.choices = std::move(choices);
    return param;
}

Param& ParamList::Text(std::string key, std::string label, std::string& value) {
    Param& param = Add(ParamKind::text, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Trace(std::string key, std::string label, int32_t& value) {
    Param& param = Add(ParamKind::trace, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Channel(std::string key, std::string label, int32_t& value) {
    Param& param = Add(ParamKind::channel, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Channels(std::string key, std::string label, std::vector<int>& value) {
    Param& param = Add(ParamKind::channels, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Traces(std::string key, std::string label, std::vector<int>& value) {
    Param& param = Add(ParamKind::traces, std::move(key), std::move(label));
    param.target = &value;
    return param;
}

Param& ParamList::Note(std::string key, std::string label, std::function<std::string()> text) {
    return Add(ParamKind::note, std::move(key), std::move(label)).Shows(std::move(text));
}

Param& ParamList::Action(std::string key, std::string label, std::function<void()> does) {
    Param& param = Add(ParamKind::action, std::move(key), std::move(label));
    param.action = std::move(does);
    return param;
}

Param* ParamList::Find(std::string_view name) {
    const auto found =
        std::find_if(params_.begin(), params_.end(), [&](const Param& p) { return p.IsCalled(name); });
    return found == params_.end() ? nullptr : &*found;
}

}  // namespace kymora
