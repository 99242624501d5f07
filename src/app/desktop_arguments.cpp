#include "app/desktop_arguments.h"

#include <charconv>
#include <limits>
#include <string_view>

namespace kymora {

namespace {

std::optional<uint64_t> WholeNumber(std::string_view text) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
    return value;
}

void TakeImport(DesktopArguments& taken, const std::string& setting) {
    const size_t equals = setting.find('=');
    if (equals == 0 || equals == std::string::npos)
        taken.fault = "--import takes KEY=VALUE, not \"" + setting + "\".";
    else
        taken.importSettings[setting.substr(0, equals)] = setting.substr(equals + 1);
}

void TakeSeed(DesktopArguments& taken, const std::string& number) {
    taken.seed = WholeNumber(number);
    if (!taken.seed) taken.fault = "--seed takes a whole number from 0, not \"" + number + "\".";
}

void TakeRemote(DesktopArguments& taken, const std::string& number) {
    const std::optional<uint64_t> port = WholeNumber(number);
    if (port && *port <= std::numeric_limits<uint16_t>::max())
        taken.remotePort = static_cast<uint16_t>(*port);
    else
        taken.fault = "--remote takes a port from 0 to 65535, not \"" + number + "\".";
}

// Null for an option that there is not.
using Take = void (*)(DesktopArguments&, const std::string&);
Take FindOption(std::string_view name) {
    if (name == "--import") return TakeImport;
    if (name == "--seed") return TakeSeed;
    if (name == "--remote") return TakeRemote;
    return nullptr;
}

}  // namespace

DesktopArguments ParseDesktopArguments(const std::vector<std::string>& arguments) {
    DesktopArguments taken;
    bool options = true;
    for (size_t i = 0; i < arguments.size() && taken.fault.empty(); ++i) {
        const std::string& argument = arguments[i];
        if (!options || argument.size() < 2 || argument[0] != '-') {
            taken.files.emplace_back(argument);
            continue;
        }
        if (argument == "--") {
            options = false;
            continue;
        }
        const size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const Take take = FindOption(name);
        if (take == nullptr) {
            taken.fault = "There is no option " + name + ".";
        } else if (equals == std::string::npos && i + 1 == arguments.size()) {
            taken.fault = name + " needs a value.";
        } else {
            take(taken, equals == std::string::npos ? arguments[++i] : argument.substr(equals + 1));
        }
    }
    return taken;
}

}  // namespace kymora
