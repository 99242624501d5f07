#include "remote/form_answers.h"

#include <algorithm>
#include <cmath>

#include "remote/remote_colour.h"
#include "results/number_text.h"

namespace kymora {
namespace {

Json FontValue(const FontSpec& font) {
    return {{"face", font.face},     {"pixelHeight", font.pixelHeight}, {"weight", font.weight},
            {"italic", font.italic}, {"underline", font.underline},     {"strikeOut", font.strikeOut}};
}

Json ValueOf(const Field& field) {
    switch (field.kind) {
    case FieldKind::number:
        return field.number;
    case FieldKind::integer:
        return static_cast<int64_t>(field.number);
    case FieldKind::flag:
        return field.flag;
    case FieldKind::choice:
        return field.choice;
    case FieldKind::colour:
        return ColourText(field.colour);
    case FieldKind::font:
        return FontValue(field.font);
    case FieldKind::checkList: {
        Json checked = Json::array();
        for (size_t i = 0; i < field.checks.size(); ++i)
            if (field.checks[i] != 0) checked.push_back(i);
        return checked;
    }
    case FieldKind::table:
        return field.rows;
    default:
        return field.text;
    }
}

Json DescribeField(const Field& field) {
    Json json = {{"key", field.key}, {"kind", FieldKindName(field.kind)}, {"label", field.label}};
    if (field.kind != FieldKind::action) json["value"] = ValueOf(field);
    constexpr double unlimited = std::numeric_limits<double>::max();
    if (field.IsNumeric() && field.least != -unlimited) json["least"] = field.least;
    if (field.IsNumeric() && field.greatest != unlimited) json["greatest"] = field.greatest;
    if (!field.choices.empty()) json["choices"] = field.choices;
    return json;
}

// A choice by its number, or by its text.
size_t ChoiceIn(const Field& field, const Json& value) {
    const auto count = static_cast<int64_t>(field.choices.size());
    if (!value.is_string()) return static_cast<size_t>(AsWhole(value, field.key, 0, count - 1));
    const auto found = std::find(field.choices.begin(), field.choices.end(), value.get<std::string>());
    if (found == field.choices.end()) throw RemoteError("\"" + field.key + "\" has no such choice.");
    return static_cast<size_t>(found - field.choices.begin());
}

void CheckOnly(Field& field, const Json& value) {
    if (!value.is_array()) throw RemoteError("\"" + field.key + "\" must be a list of choices.");
    std::fill(field.checks.begin(), field.checks.end(), uint8_t{0});
    for (const Json& choice : value) field.checks[ChoiceIn(field, choice)] = 1;
}

void SetFont(FontSpec& font, const Json& value) {
    CheckMembers(value, {"face", "pixelHeight", "weight", "italic", "underline", "strikeOut"});
    font.face = TextMember(value, "face", font.face);
    font.pixelHeight = static_cast<int>(WholeMember(value, "pixelHeight", 1, 1000, font.pixelHeight));
    font.weight = static_cast<int>(WholeMember(value, "weight", 1, 1000, font.weight));
    font.italic = FlagMember(value, "italic", font.italic);
    font.underline = FlagMember(value, "underline", font.underline);
    font.strikeOut = FlagMember(value, "strikeOut", font.strikeOut);
}

void SetField(Field& field, const Json& value) {
    switch (field.kind) {
    case FieldKind::number:
    case FieldKind::integer:
        field.number = AsNumber(value, field.key);
        break;
    case FieldKind::flag:
        field.flag = AsFlag(value, field.key);
        break;
    case FieldKind::choice:
        field.choice = static_cast<int>(ChoiceIn(field, value));
        break;
    case FieldKind::colour:
        field.colour = AsColour(value, field.key);
        break;
    case FieldKind::font:
        SetFont(field.font, value);
        break;
    case FieldKind::checkList:
        CheckOnly(field, value);
        break;
    case FieldKind::text:
        field.text = AsText(value, field.key);
        break;
    default:
        throw RemoteError("\"" + field.key + "\" cannot be set.");
    }
}

}  // namespace

Json DescribeForm(const Form& form) {
    Json fields = Json::array();
    for (const Field& field : form.fields) fields.push_back(DescribeField(field));
    Json described = {{"title", form.title}, {"fields", std::move(fields)}};
    if (!form.fault.empty()) described["fault"] = form.fault;
    return described;
}

std::string FillForm(Form& form, const Json& answers) {
    if (!answers.is_object()) return "Its answers must be an object.";
    try {
        for (const auto& [key, value] : answers.items()) {
            Field* field = form.Find(key);
            if (!field) return "It has no field \"" + key + "\".";
            if (field->kind != FieldKind::action) {
                SetField(*field, value);
                if (form.onChange) form.onChange(form);
            } else if (AsFlag(value, key) && field->action) {
                // A copy: the button may change the fields.
                std::function<void(Form&)>(field->action)(form);
            }
        }
    } catch (const RemoteError& error) {
        return error.what();
    }
    return form.Check();
}

}  // namespace kymora
