#pragma once
// Numbers, traces and channels as a user writes them. In a list, entries are separated by any of "-:, \t",
// where a hyphen or colon between two entries makes an inclusive range.

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kymora {

// A whole text that is a finite number, blanks around it aside.
std::optional<double> ParseNumber(std::string_view text);

// "1,234,567".
std::string GroupedDigits(int64_t number);
// "240 kB", "1.2 MB", "3.4 GB".
std::string BytesText(double bytes);

// "a" to "z" for channels 0 to 25, the plain number for those above.
std::string ChannelName(int channel);

// The text makes no list, or names what does not exist.
class ListError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr const char* traceListCharactersText =
    "The list should only contain digits, spaces or hyphens; e.g. \"1-5 7 10-12\".";
inline constexpr const char* channelListCharactersText =
    "The list should only contain letters or numbers, spaces or hyphens; e.g. \"a-c 5 30-40\".";
inline constexpr const char* emptyListText = "The list is empty or only contains out-of-range values.";
inline constexpr const char* noSuchTraceText = "The selected data trace does not exist";
inline constexpr const char* noSuchChannelText = "The selected event channel does not exist";

// Slots from 0, ascending and each once, of numbers from 1 to traceCount. Throws ListError, which says
// `nothingInRange` of a list that names no trace of the recording.
std::vector<int> ParseTraceList(std::string_view text, int traceCount,
                                const char* nothingInRange = noSuchTraceText);

// Channels from 0, ascending and each once, of letters or numbers from 0. Throws ListError.
std::vector<int> ParseChannelList(std::string_view text);

// The same in the order of the list, where a channel may stand more than once; "e-c" counts down.
std::vector<int> ParseOrderedChannels(std::string_view text);

// The list of numbers in their order, "1-3 5" of what `name` calls each.
std::string ListText(const std::vector<int>& numbers, const std::function<std::string(int)>& name);

}  // namespace kymora
