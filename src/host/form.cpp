#include "host/form.h"

#include <algorithm>
#include <stdexcept>

#include "host/options.h"

namespace kymora {

Field& Form::Add(FieldKind kind, std::string key, std::string label, std::string toolTip) {
    Field& field = fields.emplace_back();
    field.kind = kind;
    field.key = std::move(key);
    field.label = std::move(label);
    field.toolTip = std::move(toolTip);
    if (kind == FieldKind::integer)
        field.Limits(std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max());
    if (kind == FieldKind::trace) field.Limits(1, maxTraces);
    if (kind == FieldKind::channel) field.Limits(0, maxEventChannels - 1);
    return field;
}

Field& Form::AddNumber(std::string key, std::string label, double value, std::string toolTip) {
    return Add(FieldKind::number, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::number, value);
}

Field& Form::AddInteger(std::string key, std::string label, int64_t value, std::string toolTip) {
    return Add(FieldKind::integer, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::number, static_cast<double>(value));
}

Field& Form::AddText(std::string key, std::string label, std::string value, std::string toolTip) {
    return Add(FieldKind::text, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::text, std::move(value));
}

Field& Form::AddLongText(std::string key, std::string label, std::string value, std::string toolTip) {
    return AddText(std::move(key), std::move(label), std::move(value), std::move(toolTip)).Lines();
}

Field& Form::AddFlag(std::string key, std::string label, bool value, std::string toolTip) {
    return Add(FieldKind::flag, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::flag, value);
}

Field& Form::AddChoice(std::string key, std::string label, std::vector<std::string> choices, int value,
                       std::string toolTip) {
    return Add(FieldKind::choice, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::choices, std::move(choices))
        .With(&Field::choice, value);
}

Field& Form::AddRadio(std::string key, std::string label, std::vector<std::string> choices, int value,
                      std::string toolTip) {
    return AddChoice(std::move(key), std::move(label), std::move(choices), value, std::move(toolTip))
        .Buttons();
}

Field& Form::AddColour(std::string key, std::string label, uint32_t value, std::string toolTip) {
    return Add(FieldKind::colour, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::colour, value);
}

Field& Form::AddFont(std::string key, std::string label, FontSpec value, std::string toolTip) {
    return Add(FieldKind::font, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::font, std::move(value));
}

Field& Form::AddCheckList(std::string key, std::string label, std::vector<std::string> choices,
                          std::vector<uint8_t> checks, std::string toolTip) {
    checks.resize(choices.size());
    return Add(FieldKind::checkList, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::choices, std::move(choices))
        .With(&Field::checks, std::move(checks));
}

Field& Form::AddNote(std::string key, std::string text, std::string label) {
    return Add(FieldKind::note, std::move(key), std::move(label)).With(&Field::text, std::move(text));
}

Field& Form::AddTable(std::string key, std::vector<std::string> headings,
                      std::vector<std::vector<std::string>> rows, std::string label) {
    return Add(FieldKind::table, std::move(key), std::move(label))
        .With(&Field::choices, std::move(headings))
        .With(&Field::rows, std::move(rows));
}

Field& Form::AddTextView(std::string key, std::string text, std::string label) {
    return Add(FieldKind::textView, std::move(key), std::move(label)).With(&Field::text, std::move(text));
}

Field& Form::AddAction(std::string key, std::string label, std::function<void(Form&)> action,
                       std::string toolTip) {
    return Add(FieldKind::action, std::move(key), std::move(label), std::move(toolTip))
        .With(&Field::action, std::move(action));
}

Field* Form::Find(std::string_view name) {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [name](const Field& field) { return field.IsCalled(name); });
    return found == fields.end() ? nullptr : &*found;
}

Field& Form::operator[](std::string_view key) {
    if (Field* field = Find(key)) return *field;
    throw std::out_of_range("The form has no field " + std::string(key));
}

const Field& Form::operator[](std::string_view key) const { return const_cast<Form&>(*this)[key]; }

std::string Form::Check() const {
    for (const Field& field : fields) {
        if (!field.IsNumeric() || !field.IsEnabled(*this)) continue;
        std::string fault = field.Fault();
        if (!fault.empty()) return fault;
    }
    return validate ? validate(*this) : std::string();
}

}  // namespace kymora
