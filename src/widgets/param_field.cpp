#include "widgets/param_field.h"

#include <algorithm>
#include <charconv>

#include "events/event_chan.h"
#include "host/session.h"

namespace kymora {

namespace {

// Buttons of so many letters stand beside each other, or two by two.
constexpr size_t mostBeside = 40, mostOfTwo = 16;

// A float in the digits that a float needs, not in those of the double that holds it.
double ShownNumber(const Param& param) {
    const std::string text = param.ValueText();
    double value = param.Number();
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

void FillNumber(FormField& field, const Param& param) {
    field.kind = param.kind == ParamKind::number ? FieldKind::number : FieldKind::integer;
    field.number = ShownNumber(param);
    field.least = param.least;
    field.greatest = param.greatest;
    field.step = param.step;
}

void FillTrace(FormField& field, const Param& param, int traceCount) {
    field.kind = FieldKind::integer;
    field.number = param.Number() + 1.0;
    field.least = 1.0;
    field.greatest = traceCount > 0 ? traceCount : maxTraces;
}

// By letter a list of all; a channel that has none, as a configuration file may name it, joins them.
void FillChannel(FormField& field, const Param& param, int eventChannelMode) {
    const int channel = static_cast<int>(param.Number());
    if (eventChannelMode > letterChannels) {
        field.kind = FieldKind::integer;
        field.number = channel;
        field.least = 0.0;
        field.greatest = maxEventChannels - 1;
        return;
    }
    field.kind = FieldKind::choice;
    for (int letter = 0; letter < letterChannels; ++letter) field.choices.push_back(ChannelName(letter));
    field.choice = channel;
    if (channel < letterChannels) return;
    field.choice = letterChannels;
    field.choices.push_back(ChannelName(channel));
}

// A list of channels names those that have a letter by it; a user of numbers sees their numbers.
std::string ListText(const Param& param, int eventChannelMode) {
    std::string text = param.ValueText();
    if (param.kind != ParamKind::channels || eventChannelMode <= letterChannels) return text;
    std::string numbers;
    for (const char c : text)
        if (c >= 'a' && c <= 'z')
            numbers += std::to_string(c - 'a');
        else
            numbers += c;
    return numbers;
}

int ButtonColumns(const std::vector<std::string>& choices) {
    size_t letters = 0, longest = 0;
    for (const std::string& choice : choices) {
        letters += choice.size() + 2;
        longest = std::max(longest, choice.size());
    }
    if (letters <= mostBeside) return static_cast<int>(choices.size());
    return choices.size() > 3 && longest <= mostOfTwo ? 2 : 1;
}

void FillChoice(FormField& field, const Param& param) {
    field.kind = param.asButtons ? FieldKind::radio : FieldKind::choice;
    field.choices = param.choices;
    field.choice = static_cast<int>(param.Number());
    field.buttonColumns = ButtonColumns(param.choices);
    // Its label stands before it, as that of any other.
    if (param.asButtons) field.label.clear();
}

}  // namespace

FormField FieldOf(const Param& param, const ParamSurroundings& surroundings) {
    FormField field;
    field.key = param.key;
    field.label = param.label;
    field.toolTip = param.toolTip;
    field.unit = param.unit;
    switch (param.kind) {
    case ParamKind::number:
    case ParamKind::integer:
        FillNumber(field, param);
        break;
    case ParamKind::trace:
        FillTrace(field, param, surroundings.traceCount);
        break;
    case ParamKind::channel:
        FillChannel(field, param, surroundings.eventChannelMode);
        break;
    case ParamKind::flag:
        field.kind = FieldKind::flag;
        field.flag = param.Flag();
        break;
    case ParamKind::choice:
        FillChoice(field, param);
        break;
    case ParamKind::text:
    case ParamKind::channels:
    case ParamKind::traces:
        field.kind = param.hasLines ? FieldKind::longText : FieldKind::text;
        field.text = ListText(param, surroundings.eventChannelMode);
        break;
    case ParamKind::note:
    case ParamKind::action:
        field.kind = FieldKind::note;
        field.text = param.shown ? param.shown() : std::string();
        break;
    }
    return field;
}

std::string EnteredText(const Param& param, const FormField& field, const std::string& typed) {
    switch (param.kind) {
    case ParamKind::flag:
        return field.flag ? "true" : "false";
    case ParamKind::choice:
        return std::to_string(field.choice);
    case ParamKind::channel: {
        const auto choice = static_cast<size_t>(field.choice);
        if (field.kind == FieldKind::choice)
            return choice < field.choices.size() ? field.choices[choice] : std::string();
        return typed;
    }
    default:
        return typed;
    }
}

std::vector<std::string> ChoiceTips(const Param& param) {
    std::vector<std::string> tips;
    for (size_t from = 0; from <= param.toolTip.size();) {
        const size_t end = std::min(param.toolTip.find("; ", from), param.toolTip.size());
        tips.push_back(param.toolTip.substr(from, end - from));
        from = end + 2;
    }
    if (tips.size() != param.choices.size()) tips.assign(param.choices.size(), param.toolTip);
    return tips;
}

}  // namespace kymora
