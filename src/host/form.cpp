#include "host/form.h"

#include <fmt/format.h>

#include <cmath>
#include <stdexcept>

namespace kymora {

FormField& Form::Add(FieldKind kind, std::string key, std::string label, std::string toolTip) {
    FormField field;
    field.kind = kind;
    field.key = std::move(key);
    field.label = std::move(label);
    field.toolTip = std::move(toolTip);
    fields.push_back(std::move(field));
    return fields.back();
}

FormField& Form::AddNumber(std::string key, std::string label, double value, std::string toolTip) {
    FormField& field = Add(FieldKind::number, std::move(key), std::move(label), std::move(toolTip));
    field.number = value;
    return field;
}

FormField& Form::AddInteger(std::string key, std::string label, int64_t value, std::string toolTip) {
    FormField& field = Add(FieldKind::integer, std::move(key), std::move(label), std::move(toolTip));
    field.number = static_cast<double>(value);
    field.least = std::numeric_limits<int32_t>::min();
    field.greatest = std::numeric_limits<int32_t>::max();
    return field;
}

FormField& Form::AddText(std::string key, std::string label, std::string value, std::string toolTip) {
    FormField& field = Add(FieldKind::text, std::move(key), std::move(label), std::move(toolTip));
    field.text = std::move(value);
    return field;
}

FormField& Form::AddLongText(std::string key, std::string label, std::string value, std::string toolTip) {
    FormField& field = Add(FieldKind::longText, std::move(key), std::move(label), std::move(toolTip));
    field.text = std::move(value);
    return field;
}

FormField& Form::AddFlag(std::string key, std::string label, bool value, std::string toolTip) {
    FormField& field = Add(FieldKind::flag, std::move(key), std::move(label), std::move(toolTip));
    field.flag = value;
    return field;
}

FormField& Form::AddChoice(std::string key, std::string label, std::vector<std::string> choices, int value,
                           std::string toolTip) {
    FormField& field = Add(FieldKind::choice, std::move(key), std::move(label), std::move(toolTip));
    field.choices = std::move(choices);
    field.choice = value;
    return field;
}

FormField& Form::AddRadio(std::string key, std::string label, std::vector<std::string> choices, int value,
                          std::string toolTip) {
    FormField& field =
        AddChoice(std::move(key), std::move(label), std::move(choices), value, std::move(toolTip));
    field.kind = FieldKind::radio;
    return field;
}

FormField& Form::AddColour(std::string key, std::string label, uint32_t value, std::string toolTip) {
    FormField& field = Add(FieldKind::colour, std::move(key), std::move(label), std::move(toolTip));
    field.colour = value;
    return field;
}

FormField& Form::AddFont(std::string key, std::string label, FontSpec value, std::string toolTip) {
    FormField& field = Add(FieldKind::font, std::move(key), std::move(label), std::move(toolTip));
    field.font = std::move(value);
    return field;
}

FormField& Form::AddCheckList(std::string key, std::string label, std::vector<std::string> choices,
                              std::vector<uint8_t> checks, std::string toolTip) {
    FormField& field = Add(FieldKind::checkList, std::move(key), std::move(label), std::move(toolTip));
    field.choices = std::move(choices);
    field.checks = std::move(checks);
    field.checks.resize(field.choices.size());
    return field;
}

FormField& Form::AddNote(std::string key, std::string text, std::string label) {
    FormField& field = Add(FieldKind::note, std::move(key), std::move(label), {});
    field.text = std::move(text);
    return field;
}

FormField& Form::AddTable(std::string key, std::vector<std::string> headings,
                          std::vector<std::vector<std::string>> rows, std::string label) {
    FormField& field = Add(FieldKind::table, std::move(key), std::move(label), {});
    field.choices = std::move(headings);
    field.rows = std::move(rows);
    return field;
}

FormField& Form::AddTextView(std::string key, std::string text, std::string label) {
    FormField& field = Add(FieldKind::textView, std::move(key), std::move(label), {});
    field.text = std::move(text);
    return field;
}

FormField& Form::AddAction(std::string key, std::string label, std::function<void(Form&)> action,
                           std::string toolTip) {
    FormField& field = Add(FieldKind::action, std::move(key), std::move(label), std::move(toolTip));
    field.action = std::move(action);
    return field;
}

FormField& Form::operator[](std::string_view key) {
    for (FormField& field : fields)
        if (field.key == key) return field;
    throw std::out_of_range("The form has no field " + std::string(key));
}

const FormField& Form::operator[](std::string_view key) const { return const_cast<Form&>(*this)[key]; }

std::string NumberFault(std::string_view label, double value, double least, double greatest, bool whole) {
    if ((!whole || std::trunc(value) == value) && value >= least && value <= greatest) return {};
    // The limits of the type are none to speak of.
    const double unlimited =
        whole ? std::numeric_limits<int32_t>::max() : double{std::numeric_limits<float>::max()};
    const auto written = [whole](double limit) {
        return whole ? fmt::format("{:.0f}", limit) : fmt::format("{:.9g}", limit);
    };
    if (least > -unlimited && greatest < unlimited)
        return fmt::format("\"{}\" must be {} from {} to {}.", label, whole ? "a whole number" : "a number",
                           written(least), written(greatest));
    const bool isNumber = std::isfinite(value) && (!whole || std::trunc(value) == value);
    if (isNumber && value < least && (whole || least > -unlimited))
        return fmt::format("\"{}\" must be at least {}.", label, written(least));
    if (isNumber && value > greatest && (whole || greatest < unlimited))
        return fmt::format("\"{}\" must be at most {}.", label, written(greatest));
    return fmt::format("\"{}\" needs {}.", label, whole ? "a whole number" : "a number");
}

std::string Form::Check() const {
    for (const FormField& field : fields) {
        const bool whole = field.kind == FieldKind::integer;
        if ((field.kind != FieldKind::number && !whole) || (field.enabled && !field.enabled(*this))) continue;
        std::string fault = NumberFault(field.label, field.number, field.least, field.greatest, whole);
        if (!fault.empty()) return fault;
    }
    return validate ? validate(*this) : std::string();
}

}  // namespace kymora
