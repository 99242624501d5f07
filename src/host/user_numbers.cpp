#include "host/user_numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "host/options.h"

namespace kymora {
namespace {

constexpr int tooLarge = 1000000;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsSeparator(char c) { return c == '-' || c == ':' || c == ',' || c == ' ' || c == '\t'; }

std::optional<int> LetterChannel(char c) {
    if (c >= 'a' && c <= 'z') return c - 'a';
    if (c >= 'A' && c <= 'Z') return c - 'A';
    return std::nullopt;
}

// Walks over a list entry by entry.
class ListScanner {
  public:
    ListScanner(std::string_view text, bool letters, const char* fault)
        : text_(text), letters_(letters), fault_(fault) {}

    // The next entry, or nothing at the end. `joined` says that a hyphen or colon, and no comma, stands
    // before it.
    std::optional<int> Next(bool& joined) {
        joined = false;
        bool comma = false;
        for (; at_ < text_.size() && IsSeparator(text_[at_]); ++at_) {
            joined = joined || text_[at_] == '-' || text_[at_] == ':';
            comma = comma || text_[at_] == ',';
        }
        joined = joined && !comma;
        if (at_ == text_.size()) return std::nullopt;
        const std::optional<int> entry = letters_ ? LetterChannel(text_[at_]) : std::nullopt;
        const int value = entry ? (++at_, *entry) : Number();
        if (at_ < text_.size() && !IsSeparator(text_[at_])) throw ListError(fault_);
        return value;
    }

  private:
    int Number() {
        if (!IsDigit(text_[at_])) throw ListError(fault_);
        int value = 0;
        for (; at_ < text_.size() && IsDigit(text_[at_]); ++at_)
            value = std::min(value * 10 + (text_[at_] - '0'), tooLarge);
        return value;
    }

    std::string_view text_;
    bool letters_;
    const char* fault_;
    size_t at_ = 0;
};

// What is said of a list that names nothing in range, and of one that also names something outside.
struct RangeFaults {
    const char* nothing;
    const char* some;
};

// Hands on every number of the list in its order.
void ForEachNumber(ListScanner scanner, int first, int last, RangeFaults faults,
                   const std::function<void(int)>& take) {
    bool any = false, anyInside = false, anyOutside = false;
    bool joined = false;
    int previous = 0;
    while (const std::optional<int> entry = scanner.Next(joined)) {
        const int from = joined && any ? previous : *entry;
        anyOutside = anyOutside || std::min(from, *entry) < first || std::max(from, *entry) > last;
        const int begin = std::clamp(from, first - 1, last + 1),
                  end = std::clamp(*entry, first - 1, last + 1);
        const int step = begin <= end ? 1 : -1;
        for (int i = begin; i != end + step; i += step) {
            if (i < first || i > last) continue;
            // The first of a range has been named by the entry before it.
            if (!(joined && any && i == from)) take(i);
            anyInside = true;
        }
        any = true;
        previous = *entry;
    }
    if (!any) throw ListError(emptyListText);
    if (anyOutside) throw ListError(anyInside ? faults.some : faults.nothing);
}

// Distances from the first, ascending and each once.
std::vector<int> Parse(const ListScanner& scanner, int first, int last, RangeFaults faults) {
    std::vector<bool> chosen(static_cast<size_t>(last - first + 1), false);
    ForEachNumber(scanner, first, last, faults,
                  [&](int number) { chosen[static_cast<size_t>(number - first)] = true; });
    std::vector<int> list;
    for (size_t i = 0; i < chosen.size(); ++i)
        if (chosen[i]) list.push_back(static_cast<int>(i));
    return list;
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') return {};
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return {};
    return value;
}

std::string GroupedDigits(int64_t number) {
    std::string digits = std::to_string(number);
    for (auto at = static_cast<int64_t>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<size_t>(at), ",");
    return digits;
}

std::string BytesText(double bytes) {
    constexpr double kilo = 1e3, mega = 1e6, giga = 1e9;
    if (bytes < mega) return fmt::format("{:.0f} kB", std::ceil(bytes / kilo));
    return bytes < giga ? fmt::format("{:.1f} MB", bytes / mega) : fmt::format("{:.1f} GB", bytes / giga);
}

std::string ChannelName(int channel) {
    if (channel >= 0 && channel < letterChannels) return std::string(1, static_cast<char>('a' + channel));
    return std::to_string(channel);
}

std::vector<int> ParseTraceList(std::string_view text, int traceCount, const char* nothingInRange) {
    return Parse(ListScanner(text, false, traceListCharactersText), 1, traceCount,
                 {nothingInRange, noSuchTraceText});
}

std::vector<int> ParseChannelList(std::string_view text) {
    return Parse(ListScanner(text, true, channelListCharactersText), 0, maxEventChannels - 1,
                 {noSuchChannelText, noSuchChannelText});
}

std::vector<int> ParseOrderedChannels(std::string_view text) {
    std::vector<int> list;
    ForEachNumber(ListScanner(text, true, channelListCharactersText), 0, maxEventChannels - 1,
                  {noSuchChannelText, noSuchChannelText}, [&](int channel) { list.push_back(channel); });
    return list;
}

std::string ListText(const std::vector<int>& numbers, const std::function<std::string(int)>& name) {
    std::string text;
    for (size_t i = 0; i < numbers.size();) {
        size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
        if (!text.empty()) text += ' ';
        text += name(numbers[i]);
        if (last > i) text += (last > i + 1 ? "-" : " ") + name(numbers[last]);
        i = last + 1;
    }
    return text;
}

}  // namespace kymora
