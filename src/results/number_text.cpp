#include "results/number_text.h"

#include <charconv>
#include <cmath>
#include <fmt/format.h>

#include "archive/text_encoding.h"

namespace kymora {
namespace {

template <typename T>
bool AppendSpecial(std::string& to, T value) {
    if (std::isfinite(value)) return false;
    to += std::isnan(value) ? "nan" : value > 0 ? "inf" : "-inf";
    return true;
}

}  // namespace

void AppendNumber(std::string& to, double value) {
    if (AppendSpecial(to, value)) return;
    char digits[32];
    to.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AppendNumber(std::string& to, float value) {
    if (AppendSpecial(to, value)) return;
    char digits[32];
    char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    // Read as f64 and then rounded, a shortest f32 can in rare cases land beside its number.
    double read = 0.0;
    std::from_chars(digits, end, read);
    if (static_cast<float>(read) == value)
        to.append(digits, end);
    else
        AppendNumber(to, static_cast<double>(value));
}

void AppendNumber(std::string& to, int64_t value) {
    char digits[24];
    to.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AppendTime(std::string& to, double ms) {
    if (AppendSpecial(to, ms)) return;
    char text[40];
    to.append(text, std::to_chars(text, text + sizeof text, ms, std::chars_format::general, 12).ptr);
}

std::string TerminalLine(std::string_view text) {
    std::string line = ToDisplayText(text);
    for (size_t i = 0; i < line.size(); ++i) {
        const auto c = static_cast<unsigned char>(line[i]);
        if (c < 0x20 || c == 0x7F) line[i] = ' ';
        // The controls from U+0080 on are commands to some terminals.
        if (c == 0xC2 && i + 1 < line.size() && static_cast<unsigned char>(line[i + 1]) < 0xA0)
            line.replace(i, 2, " ");
    }
    return line;
}

std::string ClockText(double ms) {
    if (!(ms >= 0.0 && ms < 1e15)) return "";
    const auto whole = static_cast<int64_t>(ms + 0.5);
    return fmt::format("{}:{:02}:{:02}.{:03}", whole / 3600000, whole / 60000 % 60, whole / 1000 % 60,
                       whole % 1000);
}

}  // namespace kymora
