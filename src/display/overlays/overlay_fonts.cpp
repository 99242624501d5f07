#include "display/overlays/overlay_fonts.h"

#include <cstdlib>

namespace kymora {

namespace {

constexpr int mostPixels = 400;
constexpr int usualWeight = 400;

bool IsDark(uint32_t colour) {
    const uint32_t red = colour & 0xFF, green = colour >> 8 & 0xFF, blue = colour >> 16 & 0xFF;
    return 299 * red + 587 * green + 114 * blue < 128 * 1000;
}

}  // namespace

int PixelHeightOf(const LogFont& font) {
    const int64_t height = font.height;
    // A line is about a fifth higher than its characters.
    const int64_t pixels = height < 0 ? -height : height > 0 ? height * 5 / 6 : FontSpec().pixelHeight;
    return static_cast<int>(std::clamp<int64_t>(pixels, 1, mostPixels));
}

FontSpec FontSpecOf(const LogFont& font) {
    FontSpec spec;
    spec.face = font.FaceName();
    spec.pixelHeight = PixelHeightOf(font);
    spec.weight = font.weight <= 0 ? usualWeight : std::min(font.weight, 1000);
    spec.italic = font.italic != 0;
    spec.underline = font.underline != 0;
    spec.strikeOut = font.strikeOut != 0;
    return spec;
}

LogFont LogFontOf(const FontSpec& spec, const LogFont& base) {
    const FontSpec before = FontSpecOf(base);
    LogFont font = base;
    if (spec.face != before.face) font.SetFaceName(spec.face);
    if (spec.pixelHeight != before.pixelHeight) font.height = -std::clamp(spec.pixelHeight, 1, mostPixels);
    if (spec.weight != before.weight) font.weight = spec.weight;
    if (spec.italic != before.italic) font.italic = spec.italic;
    if (spec.underline != before.underline) font.underline = spec.underline;
    if (spec.strikeOut != before.strikeOut) font.strikeOut = spec.strikeOut;
    return font;
}

std::string_view SeenPart(std::string_view line, int width) {
    constexpr size_t mostBytes = 4;  // of a character
    line = line.substr(0, mostBytes * static_cast<size_t>(std::max(width, 0)));
    const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    // The last character may be cut; without its tail it would show as another.
    size_t end = line.size();
    while (end > 0 && line.size() - end < mostBytes && isContinuation(line[end - 1])) --end;
    return line.size() == mostBytes * static_cast<size_t>(std::max(width, 0)) && end > 0
               ? line.substr(0, end - 1)
               : line;
}

uint32_t InkOn(uint32_t paper) { return IsDark(paper) ? Rgb(232, 232, 236) : Rgb(40, 40, 48); }

uint32_t TextInk(uint32_t colour, uint32_t paper) {
    return (colour & 0xFFFFFF) == 0 && IsDark(paper) ? InkOn(paper) : colour & 0xFFFFFF;
}

}  // namespace kymora
