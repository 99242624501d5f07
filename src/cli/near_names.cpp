#include "cli/near_names.h"

#include <algorithm>
#include <numeric>

#include "archive/text_encoding.h"

namespace kymora {
namespace {

constexpr size_t mostNames = 3;
// Longer names are no slips of the finger, and comparing them takes their product.
constexpr size_t longestName = 100;

// The least number of letters to insert, delete, replace or swap with the next one.
size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> before2(b.size() + 1), before(b.size() + 1), row(b.size() + 1);
    std::iota(before.begin(), before.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            row[j] =
                std::min({before[j] + 1, row[j - 1] + 1, before[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before2[j - 2] + 1);
        }
        before2.swap(before);
        before.swap(row);
    }
    return before[b.size()];
}

// Too far apart to be worth naming: as many edits as this are another word.
size_t TooFar(std::string_view name) { return name.size() / 3 + 2; }

size_t DistanceOf(std::string_view name, std::string_view known) {
    // A part of a name stands for it: "spikes" for "detect-spikes".
    if (name.size() >= 3 && known.find(name) != std::string_view::npos) return 1;
    return EditDistance(name, known);
}

}  // namespace

std::vector<std::string> NearNames(std::string_view name, const std::vector<std::string>& known) {
    if (name.size() > longestName) return {};
    const std::string folded = FoldCase(std::string(name));
    std::vector<std::pair<size_t, std::string>> near;
    for (const std::string& candidate : known) {
        const size_t distance = DistanceOf(folded, FoldCase(candidate));
        if (distance < TooFar(folded)) near.emplace_back(distance, candidate);
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> names;
    for (size_t i = 0; i < std::min(mostNames, near.size()); ++i) names.push_back(near[i].second);
    return names;
}

std::string DidYouMean(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : i + 1 < names.size() ? ", " : " or ") + names[i];
    return text.empty() ? text : " Did you mean " + text + "?";
}

}  // namespace kymora
