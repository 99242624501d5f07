#pragma once
// Fonts between what a file keeps and what a user chooses, and the inks of what lies over the traces.

#include "document/overlays.h"
#include "drawing/draw_device.h"

namespace kymora {

// A negative height of a stored font is that of its characters in pixels, a positive one that of a whole
// line, and 0 is the usual one; sizes and weights that no font has are held to sensible ones.
FontSpec FontSpecOf(const LogFont& font);
int PixelHeightOf(const LogFont& font);

// What the user chose, with all that `base` holds besides. The same font gives `base` back bit by bit.
LogFont LogFontOf(const FontSpec& spec, const LogFont& base);

// What is seen best on a paper of that colour: near black or near white.
uint32_t InkOn(uint32_t paper);

// A colour of an object's text: black, which every new one has, is the ink of a dark paper; any other is the
// user's choice and stays.
uint32_t TextInk(uint32_t colour, uint32_t paper);

// As much of a line as a width of pixels can show, for texts of any length: a character takes a pixel at
// least.
std::string_view SeenPart(std::string_view line, int width);

}  // namespace kymora
