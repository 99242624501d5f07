#include "operations/param.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace kymora {

namespace {

// A float in the digits that a float needs, not in those of the double that holds it.
double InItsDigits(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    double wide = double{value};
    std::from_chars(text, end, wide);
    return wide;
}

template <typename T>
const T& InItsDigits(const T& value) {
    return value;
}

}  // namespace

Field& ParamList::Put(FieldKind kind, std::string key, std::string label) {
    return Add(kind, std::move(key), std::move(label))
        .With(&Field::group, group_)
        .With(&Field::page, std::max(0, static_cast<int>(pages_.size()) - 1));
}

ParamList ParamList::OnPage(int page) const {
    ParamList list;
    std::ranges::copy_if(fields, std::back_inserter(list.fields),
                         [page](const Field& field) { return field.page == page; });
    return list;
}

std::string ParamList::Fault() const {
    for (const Field& field : fields) {
        if (!field.HasValue() || !field.IsEnabled(*this)) continue;
        std::string fault = field.Fault();
        if (!fault.empty()) return fault;
    }
    return {};
}

std::string ParamList::PageFault(int page) const {
    std::string fault = OnPage(page).Fault();
    const auto& asks = pages_[static_cast<size_t>(page)].fault;
    return fault.empty() && asks ? asks() : fault;
}

template <typename Value, typename Member>
Field& ParamList::Bind(Field& field, Value Field::*value, Member& member) {
    field.load = [value, &member](Field& to) { to.*value = InItsDigits(member); };
    field.store = [value, &member](const Field& from) { member = static_cast<Member>(from.*value); };
    field.load(field);
    return field;
}

Field& ParamList::Number(std::string key, std::string label, double& value) {
    return Bind(Put(FieldKind::number, std::move(key), std::move(label)), &Field::number, value);
}

Field& ParamList::Number(std::string key, std::string label, float& value) {
    return Bind(Put(FieldKind::number, std::move(key), std::move(label)), &Field::number, value)
        .With(&Field::isSingle, true)
        .Limits(-mostFloat, mostFloat);
}

Field& ParamList::Integer(std::string key, std::string label, int32_t& value) {
    return Bind(Put(FieldKind::integer, std::move(key), std::move(label)), &Field::number, value);
}

Field& ParamList::Flag(std::string key, std::string label, bool& value) {
    return Bind(Put(FieldKind::flag, std::move(key), std::move(label)), &Field::flag, value);
}

Field& ParamList::Choice(std::string key, std::string label, int32_t& value,
                         std::vector<std::string> choices) {
    return Bind(Put(FieldKind::choice, std::move(key), std::move(label)), &Field::choice, value)
        .With(&Field::choices, std::move(choices));
}

Field& ParamList::Text(std::string key, std::string label, std::string& value) {
    return Bind(Put(FieldKind::text, std::move(key), std::move(label)), &Field::text, value);
}

Field& ParamList::Trace(std::string key, std::string label, int32_t& value) {
    return Bind(Put(FieldKind::trace, std::move(key), std::move(label)), &Field::number, value);
}

Field& ParamList::Channel(std::string key, std::string label, int32_t& value) {
    return Bind(Put(FieldKind::channel, std::move(key), std::move(label)), &Field::number, value);
}

Field& ParamList::Channels(std::string key, std::string label, std::vector<int>& value) {
    return Bind(Put(FieldKind::channels, std::move(key), std::move(label)), &Field::numbers, value);
}

Field& ParamList::Traces(std::string key, std::string label, std::vector<int>& value) {
    return Bind(Put(FieldKind::traces, std::move(key), std::move(label)), &Field::numbers, value);
}

Field& ParamList::Colour(std::string key, std::string label, uint32_t& value) {
    return Bind(Put(FieldKind::colour, std::move(key), std::move(label)), &Field::colour, value);
}

Field& ParamList::Note(std::string key, std::string label, std::function<std::string()> text) {
    return Put(FieldKind::note, std::move(key), std::move(label)).Shows(std::move(text));
}

Field& ParamList::Action(std::string key, std::string label, std::function<void()> does) {
    return Put(FieldKind::action, std::move(key), std::move(label))
        .With(&Field::action, std::function<void(Form&)>([does = std::move(does)](Form&) { does(); }));
}

}  // namespace kymora
