// Which signals of an EDF file become traces, and what their rates have in common.

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

#include "document/data_doc.h"
#include "import/edf_header.h"

namespace kymora {

namespace {

constexpr const char* signalsKey = "signals";
constexpr std::string_view separators = ",; \t";

struct NumberRange {
    int first = 0;
    int last = 0;
};

std::optional<int> WholeNumber(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// "3" or "1-4", within 1 to `greatest`.
std::optional<NumberRange> ParseRange(std::string_view item, int greatest) {
    const size_t dash = item.find_first_of("-:");
    const auto first = WholeNumber(item.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : WholeNumber(item.substr(dash + 1));
    if (!first || !last) return std::nullopt;
    const auto [least, most] = std::minmax(*first, *last);
    if (least < 1 || most > greatest) return std::nullopt;
    return NumberRange{least, most};
}

// Like check marks in a list: the order of the numbers and their repetition do not count.
std::vector<int> ParseChoice(const std::string& setting, const std::vector<int>& ordinary) {
    const int greatest = static_cast<int>(ordinary.size());
    std::vector<bool> checked(ordinary.size());
    std::string_view rest = setting;
    while (true) {
        rest.remove_prefix(std::min(rest.find_first_not_of(separators), rest.size()));
        if (rest.empty()) break;
        const std::string_view item = rest.substr(0, rest.find_first_of(separators));
        rest.remove_prefix(item.size());
        const auto range = ParseRange(item, greatest);
        if (!range)
            throw ImportSettingError(
                signalsKey, setting,
                fmt::format("numbers from 1 to {}, such as \"1,3\" or \"1-4\"", greatest));
        std::fill(checked.begin() + (range->first - 1), checked.begin() + range->last, true);
    }
    std::vector<int> chosen;
    for (size_t i = 0; i < checked.size(); ++i)
        if (checked[i]) chosen.push_back(ordinary[i]);
    return chosen;
}

}  // namespace

std::vector<int> ChooseEdfSignals(const EdfHeader& header, const std::string* setting) {
    std::vector<int> chosen = header.ordinarySignals;
    if (!setting) {
        chosen.resize(std::min<size_t>(chosen.size(), maxEdfTraces));
        return chosen;
    }
    chosen = ParseChoice(*setting, header.ordinarySignals);
    if (chosen.empty()) throw ImportSettingError(signalsKey, "You need at least 1 data trace selected.");
    if (chosen.size() > maxEdfTraces)
        throw ImportSettingError(
            signalsKey,
            fmt::format(
                "Kymora can handle a maximum of 16 data traces. Please deselect at least {} channels.",
                chosen.size() - maxEdfTraces));
    return chosen;
}

int64_t ExpandEdfSignals(EdfHeader& header, const std::vector<int>& chosen) {
    int64_t common = 1;
    for (const int index : chosen) {
        const EdfSignal& signal = header.Signal(index);
        if (signal.samplesPerRecord <= 0)
            throw OpenError(fmt::format("Signal \"{}\" of this EDF file has {} samples per data record.",
                                        signal.label, signal.samplesPerRecord));
        // Both factors are below 2^31, so the product fits before it is tested.
        common = std::lcm(common, static_cast<int64_t>(signal.samplesPerRecord));
        if (common > longestRecording)
            throw OpenError("The sampling rates of the chosen signals of this EDF file have no useful common "
                            "multiple. Please choose signals of like rates.");
    }
    for (const int index : chosen) {
        EdfSignal& signal = header.signals[static_cast<size_t>(index)];
        signal.expansionFactor = static_cast<int32_t>(common / signal.samplesPerRecord);
    }
    return common;
}

}  // namespace kymora
