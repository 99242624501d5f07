#include "host/field.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/colour_text.h"
#include "host/form.h"
#include "host/options.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::string Folded(std::string_view text) {
    std::string folded;
    for (const char c : text) folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return folded;
}

std::string_view WithoutBlanks(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

bool IsIndex(double number, double count) {
    return number >= 0 && number < count && number == std::trunc(number);
}

std::optional<bool> ParseFlag(std::string_view text) {
    const std::string word = Folded(text);
    if (word == "1" || word == "true") return true;
    if (word == "0" || word == "false") return false;
    return {};
}

std::string TraceName(int trace) { return std::to_string(trace + 1); }

}  // namespace

const char* FieldKindName(FieldKind kind) {
    constexpr const char* names[] = {"number",  "integer",      "flag",       "choice", "text", "trace",
                                     "channel", "channel list", "trace list", "colour", "font", "checkList",
                                     "note",    "table",        "textView",   "button"};
    return names[static_cast<size_t>(kind)];
}

// --- description ---

Field& Field::Alias(std::string name) {
    aliases.push_back(std::move(name));
    return *this;
}

Field& Field::Cell(std::string row, std::string column) {
    return With(&Field::tableRow, std::move(row)).With(&Field::tableColumn, std::move(column));
}

Field& Field::EnabledIf(std::function<bool()> test) {
    if (test) enabled = [test = std::move(test)](const Form&) { return test(); };
    return *this;
}

bool Field::IsCalled(std::string_view name) const {
    return key == name || std::find(aliases.begin(), aliases.end(), name) != aliases.end();
}

// --- limits ---

FieldLimits Field::UserLimits() const {
    if (!IsNumeric() && kind != FieldKind::trace && kind != FieldKind::channel) return {};
    const bool whole = kind != FieldKind::number;
    const double lowest =
        whole ? std::numeric_limits<int32_t>::min() : double{std::numeric_limits<float>::lowest()};
    const double highest =
        whole ? std::numeric_limits<int32_t>::max() : double{std::numeric_limits<float>::max()};
    FieldLimits limits;
    if (least > lowest) limits.least = least;
    if (greatest < highest) limits.greatest = greatest;
    return limits;
}

std::string Field::LimitsText() const {
    const auto [from, to] = UserLimits();
    if (from && to) return fmt::format("{:.9g} to {:.9g}", *from, *to);
    if (from) return fmt::format("from {:.9g}", *from);
    return to ? fmt::format("up to {:.9g}", *to) : std::string();
}

std::string Field::NumberFault() const {
    const bool whole = kind == FieldKind::integer;
    const bool isNumber = std::isfinite(number) && (!whole || std::trunc(number) == number);
    // A float is held to the limits as a float: at a limit that no float meets exactly, it may lie either
    // side.
    const auto kept = [this](double value) { return isSingle ? double{static_cast<float>(value)} : value; };
    if (isNumber && kept(number) >= kept(least) && kept(number) <= kept(greatest)) return {};
    const auto [from, to] = UserLimits();
    const auto written = [whole](double limit) {
        return whole ? fmt::format("{:.0f}", limit) : fmt::format("{:.9g}", limit);
    };
    if (from && to)
        return fmt::format("\"{}\" must be {} from {} to {}.", label, whole ? "a whole number" : "a number",
                           written(least), written(greatest));
    if (isNumber && number < least && (whole || from))
        return fmt::format("\"{}\" must be at least {}.", label, written(least));
    if (isNumber && number > greatest && (whole || to))
        return fmt::format("\"{}\" must be at most {}.", label, written(greatest));
    return fmt::format("\"{}\" needs {}.", label, whole ? "a whole number" : "a number");
}

std::string Field::Fault() const {
    switch (kind) {
    case FieldKind::number:
    case FieldKind::integer:
        return NumberFault();
    case FieldKind::choice: {
        if (IsIndex(choice, static_cast<double>(choices.size()))) return {};
        std::string words;
        for (size_t i = 0; i < choices.size(); ++i)
            words += fmt::format("{}{} ({})", i == 0 ? "" : ", ", i, choices[i]);
        return fmt::format("\"{}\" takes one of {}.", label, words);
    }
    case FieldKind::trace:
        return IsIndex(number, maxTraces) ? std::string() : noSuchTraceText;
    case FieldKind::channel:
        return IsIndex(number, maxEventChannels) ? std::string() : noSuchChannelText;
    case FieldKind::traces:
    case FieldKind::channels: {
        const bool isTraces = kind == FieldKind::traces;
        const int count = isTraces ? maxTraces : maxEventChannels;
        if (std::all_of(numbers.begin(), numbers.end(), [count](int n) { return IsIndex(n, count); }))
            return {};
        return isTraces ? noSuchTraceText : noSuchChannelText;
    }
    default:
        return {};
    }
}

// --- values ---

std::string Field::ValueText() const {
    switch (kind) {
    case FieldKind::number:
        return isSingle ? fmt::format("{}", static_cast<float>(number)) : fmt::format("{}", number);
    case FieldKind::integer:
        return std::to_string(static_cast<int>(number));
    case FieldKind::flag:
        return flag ? "true" : "false";
    case FieldKind::choice:
        return std::to_string(choice);
    case FieldKind::text:
        return text;
    case FieldKind::trace:
        return TraceName(static_cast<int>(number));
    case FieldKind::channel:
        return ChannelName(static_cast<int>(number));
    case FieldKind::channels:
        return ListText(numbers, ChannelName);
    case FieldKind::traces:
        return ListText(numbers, TraceName);
    case FieldKind::colour:
        return ColourText(colour);
    default:
        return {};
    }
}

std::string Field::ParseList(std::string_view from) {
    try {
        if (from.empty())  // no list is a list of none
            numbers.clear();
        else if (kind == FieldKind::traces)
            numbers = ParseTraceList(from, maxTraces);
        else
            numbers = isOrdered ? ParseOrderedChannels(from) : ParseChannelList(from);
    } catch (const ListError& error) {
        return error.what();
    }
    return {};
}

int Field::FindChoice(std::string_view from) const {
    if (const double index = ParseNumber(from).value_or(notANumber);
        IsIndex(index, static_cast<double>(choices.size())))
        return static_cast<int>(index);
    const auto found =
        std::find_if(choices.begin(), choices.end(),
                     [word = Folded(from)](const std::string& name) { return Folded(name) == word; });
    return found == choices.end() ? -1 : static_cast<int>(found - choices.begin());
}

std::string Field::Parse(std::string_view from) {
    if (kind != FieldKind::text) from = WithoutBlanks(from);
    switch (kind) {
    case FieldKind::number:
    case FieldKind::integer:
        number = ParseNumber(from).value_or(notANumber);
        return Fault();
    case FieldKind::choice:
        choice = FindChoice(from);
        return Fault();
    case FieldKind::text:
        text = from;
        return {};
    case FieldKind::flag:
        if (const auto parsed = ParseFlag(from))
            flag = *parsed;
        else
            return fmt::format("\"{}\" takes 0, 1, true or false.", label);
        return {};
    case FieldKind::trace:
        number = ParseNumber(from).value_or(notANumber) - 1;
        if (Fault().empty()) return {};
        return fmt::format("\"{}\" takes a trace number from 1 to {}.", label, maxTraces);
    case FieldKind::channel:
        // One alone: a list of one may have a hyphen before or behind it.
        if (from.find_first_of("-:, \t") != from.npos || !ParseList(from).empty() || numbers.size() != 1)
            return fmt::format("\"{}\" takes a channel: a letter, or a number from 0 to {}.", label,
                               maxEventChannels - 1);
        number = numbers[0];
        return {};
    case FieldKind::channels:
    case FieldKind::traces:
        return ParseList(from);
    case FieldKind::colour:
        if (const auto parsed = ParseColour(from))
            colour = *parsed;
        else
            return fmt::format("\"{}\" takes a colour, \"#rrggbb\".", label);
        return {};
    default:
        return fmt::format("\"{}\" has no value.", label);
    }
}

void Field::Commit() {
    if (store) store(*this);
    if (changed) changed();
    // What follows may have set it, too.
    if (load) load(*this);
}

std::string Field::SetFromText(std::string_view from) {
    Field entered = *this;
    std::string fault = entered.Parse(from);
    if (!fault.empty()) return fault;
    *this = std::move(entered);
    Commit();
    return {};
}

std::string Field::SetForGood(std::string_view from, Form& form) {
    std::vector<Field> before = {*this};
    for (const std::string& follower : linked)
        if (const Field* other = form.Find(follower); other && other->store) before.push_back(*other);
    std::string fault = SetFromText(from);
    if (fault.empty() && putBack) fault = putBack();
    if (!fault.empty())
        for (const Field& value : before)
            if (value.store) value.store(value);
    return fault;
}

}  // namespace kymora
