#include "document/lists.h"

#include <algorithm>
#include <optional>

#include "host/session.h"

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

std::vector<int> Parse(ListScanner scanner, int first, int last, RangeFaults faults) {
    std::vector<bool> chosen(static_cast<size_t>(last - first + 1), false);
    bool any = false, anyInside = false, anyOutside = false;
    bool joined = false;
    int previous = 0;
    while (const std::optional<int> entry = scanner.Next(joined)) {
        const int from = joined && any ? previous : *entry;
        const int low = std::min(from, *entry), high = std::max(from, *entry);
        anyOutside = anyOutside || low < first || high > last;
        for (int i = std::max(low, first); i <= std::min(high, last); ++i) {
            chosen[static_cast<size_t>(i - first)] = true;
            anyInside = true;
        }
        any = true;
        previous = *entry;
    }
    if (!any) throw ListError(emptyListText);
    if (anyOutside) throw ListError(anyInside ? faults.some : faults.nothing);
    std::vector<int> list;
    for (size_t i = 0; i < chosen.size(); ++i)
        if (chosen[i]) list.push_back(static_cast<int>(i));
    return list;
}

}  // namespace

std::vector<int> ParseTraceList(std::string_view text, int traceCount, const char* nothingInRange) {
    return Parse(ListScanner(text, false, traceListCharactersText), 1, traceCount,
                 {nothingInRange, noSuchTraceText});
}

std::vector<int> ParseChannelList(std::string_view text) {
    return Parse(ListScanner(text, true, channelListCharactersText), 0, maxEventChannels - 1,
                 {noSuchChannelText, noSuchChannelText});
}

}  // namespace kymora
