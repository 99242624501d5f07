#include "archive/text_encoding.h"

#include <cstdint>

namespace kymora {
namespace {

constexpr char32_t replacement = 0xFFFD;

// Windows-1252, 0x80 to 0x9F.
constexpr char16_t upperControls[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                        0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                        0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                        0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void AppendUtf8(std::string& text, char32_t c) {
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xC0 | (c >> 6));
        text += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        text += static_cast<char>(0xE0 | (c >> 12));
        text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | (c >> 18));
        text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Takes one code point (a lone surrogate counts as one) from `text` at `at`, which it advances by at least
// one byte.
char32_t NextCodePoint(std::string_view text, size_t& at) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(at++);
    if (lead < 0x80) return lead;
    int more = 0;
    char32_t c = 0;
    char32_t least = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        more = 1, c = lead & 0x1F, least = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        more = 2, c = lead & 0x0F, least = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        more = 3, c = lead & 0x07, least = 0x10000;
    } else {
        return replacement;
    }
    size_t end = at;
    for (int i = 0; i < more; ++i, ++end) {
        if (end >= text.size() || (byte(end) & 0xC0) != 0x80) return replacement;
        c = (c << 6) | (byte(end) & 0x3F);
    }
    if (c < least || c > 0x10FFFF) return replacement;
    at = end;
    return c;
}

}  // namespace

std::string WideToText(std::u16string_view units) {
    std::string text;
    text.reserve(units.size());
    for (size_t i = 0; i < units.size(); ++i) {
        const char32_t unit = units[i];
        if (IsHighSurrogate(unit) && i + 1 < units.size() && IsLowSurrogate(units[i + 1])) {
            AppendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (units[i + 1] - 0xDC00));
            ++i;
        } else {
            AppendUtf8(text, unit);
        }
    }
    return text;
}

std::u16string TextToWide(std::string_view text) {
    std::u16string units;
    units.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const char32_t c = NextCodePoint(text, at);
        if (c < 0x10000) {
            units += static_cast<char16_t>(c);
        } else {
            units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return units;
}

std::string NarrowToText(std::span<const std::byte> bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const std::byte b : bytes) {
        const auto c = static_cast<uint8_t>(b);
        AppendUtf8(text, c >= 0x80 && c <= 0x9F ? upperControls[c - 0x80] : c);
    }
    return text;
}

std::string ToDisplayText(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const char32_t c = NextCodePoint(text, at);
        AppendUtf8(shown, IsHighSurrogate(c) || IsLowSurrogate(c) ? replacement : c);
    }
    return shown;
}

std::string FoldCase(std::string_view text) {
    std::string folded(text);
    for (char& c : folded)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return folded;
}

}  // namespace kymora
