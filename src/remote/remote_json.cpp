#include "remote/remote_json.h"

#include <algorithm>
#include <cmath>

#include "archive/text_encoding.h"

namespace kymora {
namespace {

constexpr int deepest = 32;

// The library takes any depth when it reads, but not when it writes.
bool IsTooDeep(std::string_view line) {
    int depth = 0;
    bool inText = false;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (inText) {
            if (c == '\\') ++i;
            if (c == '"') inText = false;
        } else if (c == '"') {
            inText = true;
        } else if (c == '{' || c == '[') {
            if (++depth > deepest) return true;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

[[noreturn]] void Refuse(std::string_view name, std::string_view what) {
    throw RemoteError("\"" + ToDisplayText(name) + "\" must be " + std::string(what) + ".");
}

}  // namespace

Json ParseRequest(std::string_view line) {
    if (IsTooDeep(line)) return nullptr;
    Json json = Json::parse(line, nullptr, false);
    return json.is_object() ? json : Json(nullptr);
}

std::string ToLine(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

double AsNumber(const Json& value, std::string_view name) {
    if (!value.is_number()) Refuse(name, "a number");
    const auto number = value.get<double>();
    if (!std::isfinite(number)) Refuse(name, "a finite number");
    return number;
}

int64_t AsWhole(const Json& value, std::string_view name, int64_t least, int64_t greatest) {
    // A sender like MATLAB knows only one kind of number, so 3.0 is whole too.
    const double number = value.is_number() ? value.get<double>() : std::nan("");
    if (std::trunc(number) != number || !(number >= static_cast<double>(least)) ||
        !(number <= static_cast<double>(greatest)))
        Refuse(name, "a whole number from " + std::to_string(least) + " to " + std::to_string(greatest));
    return static_cast<int64_t>(number);
}

std::string AsText(const Json& value, std::string_view name) {
    if (!value.is_string()) Refuse(name, "a text");
    return value.get<std::string>();
}

bool AsFlag(const Json& value, std::string_view name) {
    if (!value.is_boolean()) Refuse(name, "true or false");
    return value.get<bool>();
}

std::filesystem::path AsPath(const Json& value, std::string_view name) {
    const std::string text = AsText(value, name);
    if (text.empty() || text.find('\0') != std::string::npos) Refuse(name, "the name of a file");
    return text;
}

const Json* FindMember(const Json& object, std::string_view name) {
    if (!object.is_object()) return nullptr;
    const auto found = object.find(std::string(name));
    return found == object.end() ? nullptr : &*found;
}

const Json& Member(const Json& object, std::string_view name) {
    const Json* member = FindMember(object, name);
    if (member == nullptr) throw RemoteError("\"" + std::string(name) + "\" is missing.");
    return *member;
}

bool FlagMember(const Json& object, std::string_view name, bool otherwise) {
    const Json* member = FindMember(object, name);
    return member != nullptr ? AsFlag(*member, name) : otherwise;
}

double NumberMember(const Json& object, std::string_view name, double otherwise) {
    const Json* member = FindMember(object, name);
    return member != nullptr ? AsNumber(*member, name) : otherwise;
}

int64_t WholeMember(const Json& object, std::string_view name, int64_t least, int64_t greatest,
                    int64_t otherwise) {
    const Json* member = FindMember(object, name);
    return member != nullptr ? AsWhole(*member, name, least, greatest) : otherwise;
}

std::string TextMember(const Json& object, std::string_view name, std::string_view otherwise) {
    const Json* member = FindMember(object, name);
    return member != nullptr ? AsText(*member, name) : std::string(otherwise);
}

void CheckMembers(const Json& object, std::initializer_list<std::string_view> names) {
    if (!object.is_object()) throw RemoteError("An object is wanted here.");
    for (const auto& [key, value] : object.items())
        if (std::find(names.begin(), names.end(), key) == names.end())
            throw RemoteError("There is no member \"" + ToDisplayText(key) + "\" here.");
}

}  // namespace kymora
