#include "operations/operations.h"

#include <algorithm>

namespace kymora {

namespace {

template <typename T>
std::unique_ptr<CBatchBaseDlg> Make() {
    return std::make_unique<T>();
}

constexpr std::string_view detectMenu = "&Detect";
constexpr std::string_view listMenu = "&Analyse";

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }

}  // namespace

const char* OperationKindName(OperationKind kind) {
    switch (kind) {
    case OperationKind::trace:
        return "trace";
    case OperationKind::event:
        return "event";
    case OperationKind::listing:
        return "listing";
    }
    return "";
}

// A capital begins a word when a small letter stands before it, or behind it; a row of capitals is one word.
std::string Operation::KebabName() const {
    const std::string_view name = className.substr(1);
    std::string kebab;
    for (size_t i = 0; i < name.size(); ++i) {
        const bool startsWord = i > 0 && IsUpper(name[i]) &&
                                (!IsUpper(name[i - 1]) || (i + 1 < name.size() && IsLower(name[i + 1])));
        if (startsWord) kebab += '-';
        kebab += IsUpper(name[i]) ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    }
    return kebab;
}

std::span<const Operation> Operations() {
    // clang-format off
    static const std::vector<Operation> table = {
    };
    // clang-format on
    return table;
}

const Operation* FindOperation(std::string_view name) {
    const auto operations = Operations();
    const auto found = std::find_if(operations.begin(), operations.end(), [&](const Operation& operation) {
        return operation.className == name || operation.KebabName() == name;
    });
    return found == operations.end() ? nullptr : &*found;
}

}  // namespace kymora
