#pragma once
// Which channels of a file become traces: as an import setting gives them, or a person.

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kymora {

class Session;

// What `setting` lists of `count` channels: numbers from 1, as "1,3", "1-4" or "1:4"; separators are comma,
// semicolon and blank. Like check marks in a list: the order of the numbers and their repetition do not
// count. Answers places from 0, ascending, from 1 to `most` of them. Throws ImportSettingError under `key`.
std::vector<int> ParseChannels(const std::string& key, const std::string& setting, size_t count, size_t most);

// The setting "from": 0 where it is null. Throws ImportSettingError.
double FromSeconds(const std::string* setting);
[[noreturn]] void ThrowBehindEnd(double from, double end);  // s

// The same choice as a setting.
std::string ChannelsText(const std::vector<int>& places);

struct ChannelQuestion {
    std::string key;      // of the list
    std::string summary;  // what the file is
    std::string label;    // of the list
    std::string toolTip;
    std::vector<std::string> names;
    std::vector<int> proposed;  // places; the first ones where it is empty
    size_t most = 128;
    std::function<void()> showDetails{};     // no button where it is empty
    std::string flagLabel{}, flagToolTip{};  // of a choice beside the list; none where they are empty
    bool flag = false;
};

// Nothing when the user cancels; the flag is what the user has left it.
std::optional<std::vector<int>> AskChannels(Session& session, ChannelQuestion& question);

}  // namespace kymora
