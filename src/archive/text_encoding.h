#pragma once
// Text inside the program is UTF-8; archives hold UTF-16 or, in old files, Windows-1252. The conversions lose
// nothing: a lone UTF-16 surrogate becomes its three-byte form ("WTF-8", Simon Sapin) and comes back as the
// same unit.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kymora {

// UTF-16 units, valid or not, to text.
std::string WideToText(std::u16string_view units);

// Text to UTF-16 units; the exact reverse of WideToText. Bytes that are no UTF-8 at all become U+FFFD.
std::u16string TextToWide(std::string_view text);

// Windows-1252 bytes to text. The five bytes without a character become the control code of their number.
std::string NarrowToText(std::span<const std::byte> bytes);

// Mac OS Roman bytes to text (table of the Unicode consortium, ROMAN.TXT; DB is the currency sign's place,
// which is the euro since Mac OS 8.5).
std::string MacRomanToText(std::string_view bytes);

// Valid UTF-8 for a screen, a terminal or JSON: whatever is no character becomes U+FFFD.
std::string ToDisplayText(std::string_view text);

// Lower case for comparing paths and extensions (ASCII letters only).
std::string FoldCase(std::string_view text);

}  // namespace kymora
