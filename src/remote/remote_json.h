#pragma once
// Reading the values of a request. What is missing, of another kind or outside its limits throws RemoteError
// with a text for the sender. For the sources of the remote control only: it takes in the whole JSON library.

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kymora {

using Json = nlohmann::ordered_json;

// The request cannot be done; the connection goes on.
class RemoteError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The object of a line; null for everything else. Nothing nested deeper than 32 levels is read.
Json ParseRequest(std::string_view line);
// One line of text, without its end. Numbers that are not finite become null, broken characters U+FFFD.
std::string ToLine(const Json& json);

// `name` is what the error calls the value.
double AsNumber(const Json& value, std::string_view name);
int64_t AsWhole(const Json& value, std::string_view name, int64_t least, int64_t greatest);
std::string AsText(const Json& value, std::string_view name);
bool AsFlag(const Json& value, std::string_view name);
// A file's name: a text that is not empty and has no zero in it.
std::filesystem::path AsPath(const Json& value, std::string_view name);

// Null when there is no such member.
const Json* FindMember(const Json& object, std::string_view name);
// Throws when there is none.
const Json& Member(const Json& object, std::string_view name);
bool FlagMember(const Json& object, std::string_view name, bool otherwise = false);
double NumberMember(const Json& object, std::string_view name, double otherwise);
int64_t WholeMember(const Json& object, std::string_view name, int64_t least, int64_t greatest,
                    int64_t otherwise);
std::string TextMember(const Json& object, std::string_view name, std::string_view otherwise = {});

// Throws when the object has a member that is not listed, so that a misspelt one is not passed over.
void CheckMembers(const Json& object, std::initializer_list<std::string_view> names);

}  // namespace kymora
