#include "operations/operations.h"

#include <algorithm>

#include "detection/detect_spikes.h"
#include "detection/event_threshold.h"
#include "detection/spike_detect_thresh.h"
#include "eventanalysis/event_list.h"

namespace kymora {

namespace {

template <typename T>
std::unique_ptr<CBatchBaseDlg> Make() {
    return std::make_unique<T>();
}

constexpr std::string_view detectMenu = "Anal&yse/&Detect events";
constexpr std::string_view listMenu = "Anal&yse";

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
        {"CEventThreshold", detectMenu, "&Threshold Event...",
         "Make an event of each stretch of a trace that lies beyond an onset level",
         OperationKind::event, Make<CEventThreshold>},
        {"CDetectSpikes", detectMenu, "Detect &Outliers...",
         "Make an event of each run of samples that lie far from the mean of a stretch of noise",
         OperationKind::event, Make<CDetectSpikes>},
        {"CSpikeDetectThresh", detectMenu, "Detect &Spikes by Threshold...",
         "Tune a rule for spikes on a short stretch of data, and run it over the analysis region",
         OperationKind::event, Make<CSpikeDetectThresh>},
        {"CEventList", listMenu, "&List event parameters...",
         "Lists the parameters of events as a table", OperationKind::listing, Make<CEventList>},
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
