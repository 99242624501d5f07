#include "sorting/sort_lists.h"

#include <fmt/format.h>

#include <charconv>

#include "host/user_numbers.h"
#include "operations/operation_job.h"

namespace kymora {

namespace {

constexpr const char* listFaultText = "\"{}\" is no list of {}.";
constexpr const char* groupWords = "groups of clusters such as 1+3";
constexpr const char* editWords = "merged clusters and outlines";
constexpr const char* timesWords = "analysis windows such as 2:-0.4:0.6";
constexpr const char* takenWords = "spikes such as 12 17:2";
constexpr const char* givenWords = "spikes and clusters such as 12:3 17:1+2";
constexpr size_t fewestCorners = 3;

std::vector<std::string_view> Parts(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of(separators), text.size());
        if (end > 0) parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

// Reads one list, whose text and kind a refusal names.
class ListReader {
  public:
    ListReader(std::string_view text, const char* what) : text_(text), what_(what) {}

    [[noreturn]] void Refuse() const { throw JobRefused(fmt::format(listFaultText, text_, what_)); }
    std::vector<std::string_view> Items(std::string_view separators = " ,\t") const {
        return Parts(text_, separators);
    }
    std::vector<std::string_view> Split(std::string_view item, char separator, size_t fewest,
                                        size_t most) const {
        auto parts = Parts(item, std::string_view(&separator, 1));
        if (parts.size() < fewest || parts.size() > most) Refuse();
        return parts;
    }
    int32_t Whole(std::string_view word, int32_t least) const {
        int32_t number = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
        if (error != std::errc() || end != word.data() + word.size() || number < least) Refuse();
        return number;
    }
    double Number(std::string_view word) const {
        const auto number = ParseNumber(word);
        if (!number) Refuse();
        return *number;
    }
    std::vector<int32_t> Wholes(std::string_view item, std::string_view separators) const {
        std::vector<int32_t> numbers;
        for (const std::string_view word : Parts(item, separators)) numbers.push_back(Whole(word, 1));
        return numbers;
    }

  private:
    std::string_view text_;
    const char* what_;
};

std::vector<int32_t> ReadGroup(const ListReader& reader, std::string_view word) {
    std::vector<int32_t> group = reader.Wholes(word, "+");
    if (group.size() < 2) throw JobRefused(noComparisonText);
    for (size_t i = 1; i < group.size(); ++i)
        if (group[i] == group[0]) throw JobRefused(sameTemplatesText);
    return group;
}

template <typename Items, typename Text>
std::string Joined(const Items& items, const Text& textOf, std::string_view separator = " ") {
    std::string text;
    for (const auto& item : items) text += (text.empty() ? "" : std::string(separator)) + textOf(item);
    return text;
}

std::string WholeText(int32_t number) { return std::to_string(number); }

}  // namespace

std::vector<int32_t> ReadNumbers(std::string_view text, const char* what) {
    return ListReader(text, what).Wholes(text, " ,\t");
}

std::string NumbersText(std::span<const int32_t> numbers) { return Joined(numbers, WholeText); }

std::vector<float> ReadThresholds(std::string_view text) {
    const ListReader reader(text, "thresholds");
    std::vector<float> thresholds;
    for (const std::string_view word : reader.Items()) {
        const double number = reader.Number(word);
        if (number < 0.0) reader.Refuse();
        thresholds.push_back(static_cast<float>(number));
    }
    return thresholds;
}

std::string ThresholdsText(std::span<const float> thresholds) {
    return Joined(thresholds, [](float number) { return fmt::format("{}", number); });
}

std::vector<std::vector<int32_t>> ReadGroups(std::string_view text) {
    const ListReader reader(text, groupWords);
    std::vector<std::vector<int32_t>> groups;
    for (const std::string_view word : reader.Items()) groups.push_back(ReadGroup(reader, word));
    return groups;
}

std::vector<ClusterEdit> ReadEdits(std::string_view text) {
    const ListReader reader(text, editWords);
    std::vector<ClusterEdit> edits;
    for (const std::string_view word : reader.Items(" \t")) {
        ClusterEdit edit;
        const size_t at = word.find('@');
        if (at == std::string_view::npos) {
            edit.merged = ReadGroup(reader, word);
            edits.push_back(std::move(edit));
            continue;
        }
        const auto parts = reader.Split(word.substr(at + 1), ':', 2, 2);
        const auto components = reader.Split(parts[0], ',', 2, 2);
        edit.cluster = reader.Whole(word.substr(0, at), 0);
        edit.across = static_cast<size_t>(reader.Whole(components[0], 1)) - 1;
        edit.up = static_cast<size_t>(reader.Whole(components[1], 1)) - 1;
        if (edit.across >= weightCount || edit.up >= weightCount) reader.Refuse();
        for (const std::string_view corner : Parts(parts[1], ";")) {
            const auto place = reader.Split(corner, ',', 2, 2);
            edit.outline.push_back({reader.Number(place[0]), reader.Number(place[1])});
        }
        if (edit.outline.size() < fewestCorners) reader.Refuse();
        edits.push_back(std::move(edit));
    }
    return edits;
}

std::string EditText(const ClusterEdit& edit) {
    if (!edit.merged.empty()) return Joined(edit.merged, WholeText, "+");
    const auto corner = [](const WeightPoint& at) { return fmt::format("{:g},{:g}", at.x, at.y); };
    return fmt::format("{}@{},{}:{}", edit.cluster, edit.across + 1, edit.up + 1,
                       Joined(edit.outline, corner, ";"));
}

std::vector<ClusterTimes> ReadTimes(std::string_view text) {
    const ListReader reader(text, timesWords);
    std::vector<ClusterTimes> times;
    for (const std::string_view word : reader.Items()) {
        const auto parts = reader.Split(word, ':', 3, 3);
        times.push_back({reader.Whole(parts[0], 1), reader.Number(parts[1]), reader.Number(parts[2])});
    }
    return times;
}

std::string TimesText(std::span<const ClusterTimes> times) {
    return Joined(times, [](const ClusterTimes& item) {
        return fmt::format("{}:{:g}:{:g}", item.cluster, item.start, item.end);
    });
}

std::vector<TakenSpike> ReadTaken(std::string_view text) {
    const ListReader reader(text, takenWords);
    std::vector<TakenSpike> spikes;
    for (const std::string_view word : reader.Items()) {
        const auto parts = reader.Split(word, ':', 1, 2);
        spikes.push_back({reader.Whole(parts[0], 1), parts.size() > 1 ? reader.Whole(parts[1], 1) : 0});
    }
    return spikes;
}

std::string TakenText(std::span<const TakenSpike> spikes) {
    return Joined(spikes, [](const TakenSpike& item) {
        return item.cluster == 0 ? WholeText(item.spike) : fmt::format("{}:{}", item.spike, item.cluster);
    });
}

std::vector<GivenSpike> ReadGiven(std::string_view text) {
    const ListReader reader(text, givenWords);
    std::vector<GivenSpike> spikes;
    for (const std::string_view word : reader.Items()) {
        const auto parts = reader.Split(word, ':', 2, 2);
        GivenSpike given{reader.Whole(parts[0], 1), {}};
        if (parts[1] != "0") given.clusters = reader.Wholes(parts[1], "+");
        if (given.clusters.size() > mostMixed) reader.Refuse();
        spikes.push_back(std::move(given));
    }
    return spikes;
}

std::string GivenText(std::span<const GivenSpike> spikes) {
    return Joined(spikes, [](const GivenSpike& item) {
        return fmt::format("{}:{}", item.spike,
                           item.clusters.empty() ? "0" : Joined(item.clusters, WholeText, "+"));
    });
}

}  // namespace kymora
