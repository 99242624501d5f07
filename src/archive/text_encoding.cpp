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

std::string MacRomanToText(std::string_view bytes) {
    static constexpr char16_t upper[128] = {
        0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
        0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
        0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
        0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
        0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
        0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
        0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
        0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
        0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
        0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
        0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};
    std::u16string units;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        units += code < 128 ? static_cast<char16_t>(code) : upper[code - 128];
    }
    return WideToText(units);
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
