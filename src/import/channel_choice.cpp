#include "import/channel_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "document/data_doc.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr std::string_view channelSeparators = ",; \t";

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

// What is wrong with so many channels, or empty.
std::string FaultOfCount(size_t count, size_t most) {
    if (count == 0) return "You need at least 1 data trace selected.";
    if (count > most)
        return fmt::format(
            "Kymora can handle a maximum of {} data traces. Please deselect at least {} channels.", most,
            count - most);
    return {};
}

size_t CountOfChecks(const Form& form, const std::string& key) {
    const auto& checks = form[key].checks;
    return static_cast<size_t>(
        std::count_if(checks.begin(), checks.end(), [](uint8_t check) { return check != 0; }));
}

}  // namespace

std::vector<int> ParseChannels(const std::string& key, const std::string& setting, size_t count,
                               size_t most) {
    std::vector<bool> checked(count);
    std::string_view rest = setting;
    while (true) {
        rest.remove_prefix(std::min(rest.find_first_not_of(channelSeparators), rest.size()));
        if (rest.empty()) break;
        const std::string_view item = rest.substr(0, rest.find_first_of(channelSeparators));
        rest.remove_prefix(item.size());
        const auto range = ParseRange(item, static_cast<int>(count));
        if (!range)
            throw ImportSettingError(key, setting,
                                     fmt::format("numbers from 1 to {}, such as \"1,3\" or \"1-4\"", count));
        std::fill(checked.begin() + (range->first - 1), checked.begin() + range->last, true);
    }
    std::vector<int> chosen;
    for (size_t i = 0; i < checked.size(); ++i)
        if (checked[i]) chosen.push_back(static_cast<int>(i));
    if (const std::string fault = FaultOfCount(chosen.size(), most); !fault.empty())
        throw ImportSettingError(key, fault);
    return chosen;
}

double FromSeconds(const std::string* setting) {
    if (!setting) return 0.0;
    double seconds = -1.0;
    const auto [end, error] = std::from_chars(setting->data(), setting->data() + setting->size(), seconds);
    if (error != std::errc() || end != setting->data() + setting->size() || !(seconds >= 0.0) ||
        seconds > 1e12)
        throw ImportSettingError("from", *setting, "seconds from the start of the recording, from 0 on");
    return seconds;
}

void ThrowBehindEnd(double from, double end) {
    throw ImportSettingError(
        "from", fmt::format("{:.9g}", from),
        fmt::format("seconds before the end of the recording, which is at {:.9g} s", end));
}

std::string ChannelsText(const std::vector<int>& places) {
    std::string list;
    for (const int place : places) list += (list.empty() ? "" : ",") + std::to_string(place + 1);
    return list;
}

std::optional<std::vector<int>> AskChannels(Session& session, ChannelQuestion& question) {
    const std::string key = question.key;
    const size_t most = question.most, count = question.names.size();
    const auto showCount = [key, most](Form& form) {
        form["count"].text = fmt::format("{} of {} {} are checked. At most {} can be traces.",
                                         CountOfChecks(form, key), form[key].checks.size(), key, most);
    };
    Form form("Choose Channels");
    form.AddNote("file", question.summary);
    std::vector<uint8_t> checks(count, 0);
    if (question.proposed.empty()) std::fill_n(checks.begin(), std::min(count, most), uint8_t{1});
    for (const int place : question.proposed) checks[static_cast<size_t>(place)] = 1;
    form.AddCheckList(key, question.label, question.names, std::move(checks), question.toolTip).Search();
    form.AddNote("count", {});
    showCount(form);
    form.onChange = showCount;
    form.AddAction(
        "clearChecks", "Clear checks from all channels",
        [key, showCount](Form& asked) {
            auto& marks = asked[key].checks;
            std::fill(marks.begin(), marks.end(), uint8_t{0});
            showCount(asked);
        },
        "Takes all check marks away.");
    if (question.showDetails)
        form.AddAction(
            "details", "File details...", [&](Form&) { question.showDetails(); },
            "Shows the header of the file: patient, recording, date, and each signal with its filter and "
            "transducer.");
    if (!question.flagLabel.empty())
        form.AddFlag("flag", question.flagLabel, question.flag, question.flagToolTip);
    form.validate = [key, most](const Form& asked) { return FaultOfCount(CountOfChecks(asked, key), most); };
    if (!session.host.AskForm(form)) return {};
    if (!question.flagLabel.empty()) question.flag = form.Flag("flag");
    std::vector<int> chosen;
    const auto& marks = form[key].checks;
    for (size_t i = 0; i < count; ++i)
        if (marks[i] != 0) chosen.push_back(static_cast<int>(i));
    return chosen;
}

}  // namespace kymora
