#pragma once
// The lists of traces and channels that a user writes: entries separated by any of "-:, \t", where a hyphen
// or colon between two entries makes an inclusive range.

#include <stdexcept>
#include <string_view>
#include <vector>

namespace kymora {

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

}  // namespace kymora
