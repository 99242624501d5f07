#include "drawing/svg_device.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace kymora {

namespace {

std::string Hex(uint32_t colour) {
    return fmt::format("#{:02x}{:02x}{:02x}", colour & 0xFF, colour >> 8 & 0xFF, colour >> 16 & 0xFF);
}

std::string FontAttributes(const TextStyle& style) {
    if (!style.font) return style.bold ? " font-weight=\"bold\"" : "";
    const FontSpec& font = *style.font;
    std::string text = fmt::format(" font-family=\"{}\" font-size=\"{}\"", XmlText(OneLine(font.face)),
                                   std::clamp(font.pixelHeight, 1, greatestTextHeight));
    if (font.weight >= 600) text += " font-weight=\"bold\"";
    if (font.italic) text += " font-style=\"italic\"";
    if (font.underline || font.strikeOut)
        text +=
            fmt::format(" text-decoration=\"{}{}{}\"", font.underline ? "underline" : "",
                        font.underline && font.strikeOut ? " " : "", font.strikeOut ? "line-through" : "");
    return text;
}

const char* Anchor(TextStyle::Horizontal horizontal) {
    switch (horizontal) {
    case TextStyle::Horizontal::centre:
        return " text-anchor=\"middle\"";
    case TextStyle::Horizontal::right:
        return " text-anchor=\"end\"";
    default:
        return "";
    }
}

// Whether the way from the first to the second goes on straight along an axis to the third.
bool GoesOn(Point from, Point to, Point next) {
    const auto between = [](int a, int b, int c) { return (a <= b && b <= c) || (a >= b && b >= c); };
    return (from.x == to.x && to.x == next.x && between(from.y, to.y, next.y)) ||
           (from.y == to.y && to.y == next.y && between(from.x, to.x, next.x));
}

// The points as steps from one to the next, which are short numbers.
std::string PathOf(std::span<const Point> points) {
    std::string path = fmt::format("M{} {}", points[0].x, points[0].y);
    // A line needs a length to be seen.
    if (points.size() == 1) return path + "h0";
    Point at = points[0];
    for (size_t i = 1; i < points.size(); ++i) {
        // One step for all that go on along an axis.
        while (i + 1 < points.size() && GoesOn(at, points[i], points[i + 1])) ++i;
        const Point point = points[i];
        const int64_t dx = int64_t{point.x} - at.x, dy = int64_t{point.y} - at.y;
        if (dx == 0)
            path += fmt::format("v{}", dy);
        else if (dy == 0)
            path += fmt::format("h{}", dx);
        else
            path += fmt::format("l{}{}{}", dx, dy < 0 ? "" : " ", dy);
        at = point;
    }
    return path;
}

// In hundredths of a pixel.
std::string PathOf(std::span<const Place> places) {
    std::string path;
    for (const Place& place : places)
        path += fmt::format("{}{:.2f} {:.2f}", path.empty() ? "M" : "L", place.x, place.y);
    return path;
}

}  // namespace

std::string XmlText(std::string_view line) {
    std::string escaped;
    for (size_t i = 0; i < line.size(); ++i) {
        const std::string_view three = line.substr(i, 3);
        if (three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF") {
            escaped += "\xEF\xBF\xBD";
            i += 2;
            continue;
        }
        switch (line[i]) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += line[i];
        }
    }
    return escaped;
}

SvgDevice::SvgDevice(int width, int height) : width_(width), height_(height), clip_{0, 0, width, height} {}

std::vector<std::byte> SvgDevice::Encode(const std::function<bool()>& goOn) {
    ClearClip();
    if (!goOn()) return {};
    std::string file =
        fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"{0}\" height=\"{1}\" "
                    "viewBox=\"0 0 {0} {1}\" font-family=\"{2}, Verdana, sans-serif\" font-size=\"{3}\" "
                    "stroke-linejoin=\"bevel\" stroke-linecap=\"square\" xml:space=\"preserve\">\n",
                    width_, height_, plainTextFace, plainTextHeight);
    if (!clips_.empty()) file += "<defs>\n" + clips_ + "</defs>\n";
    file += body_ + "</svg>\n";
    const auto bytes = std::as_bytes(std::span(file.data(), file.size()));
    return {bytes.begin(), bytes.end()};
}

void SvgDevice::Write(std::string_view element) {
    FlushRects();
    body_ += element;
    body_ += '\n';
}

void SvgDevice::LineTo(int x, int y) {
    const Point points[] = {position_, {x, y}};
    Polyline(points);
}

void SvgDevice::Polyline(std::span<const Point> points) {
    if (points.empty()) return;
    position_ = points.back();
    const LineShape::Kind kind = shape_.Prepare(points, pen_, clip_);
    if (kind == LineShape::Kind::nothing) return;
    // Pixels need the columns of a straight line, shapes only its corners.
    const auto shown = kind == LineShape::Kind::straight ? points : shape_.Points();
    // Through the middle of its pixels, as images have it.
    Write(fmt::format("<path fill=\"none\"{} transform=\"translate(.5 .5)\" d=\"{}\"/>", PenLook(),
                      PathOf(shown)));
}

std::string SvgDevice::PenLook() const {
    const std::string width = pen_.width == 1 ? "" : fmt::format(" stroke-width=\"{}\"", pen_.width);
    const char* dashes =
        pen_.style == Pen::Style::dashed ? " stroke-dasharray=\"3\" stroke-linecap=\"butt\"" : "";
    return fmt::format(" stroke=\"{}\"{}{}", Hex(pen_.colour), width, dashes);
}

void SvgDevice::Curve(std::span<const Place> places) {
    if (places.empty() || pen_.style == Pen::Style::null) return;
    Write(fmt::format("<path fill=\"none\"{} d=\"{}\"/>", PenLook(), PathOf(places)));
}

void SvgDevice::FillPolygon(std::span<const Place> corners, uint32_t colour) {
    if (corners.size() < 3) return;
    Write(fmt::format("<path fill=\"{}\" fill-rule=\"evenodd\" d=\"{}z\"/>", Hex(colour), PathOf(corners)));
}

void SvgDevice::FillEllipse(const PixelRect& bounds, uint32_t colour) {
    if (bounds.Width() <= 0 || bounds.Height() <= 0) return;
    Write(fmt::format("<ellipse cx=\"{}\" cy=\"{}\" rx=\"{}\" ry=\"{}\" fill=\"{}\"/>",
                      (bounds.left + bounds.right + 1) / 2.0, (bounds.top + bounds.bottom + 1) / 2.0,
                      (bounds.Width() + 1) / 2.0, (bounds.Height() + 1) / 2.0, Hex(colour)));
}

// Those of one colour that follow each other make one element: dots of a trace are thousands.
void SvgDevice::FillRect(const PixelRect& area, uint32_t colour) {
    const int left = std::max(area.left, clip_.left), right = std::min(area.right, clip_.right);
    const int top = std::max(area.top, clip_.top), bottom = std::min(area.bottom, clip_.bottom);
    if (left >= right || top >= bottom) return;
    if (colour != rectColour_) FlushRects();
    rectColour_ = colour;
    rects_ += fmt::format("M{} {}h{}v{}h{}z", left, top, right - left, bottom - top, left - right);
}

void SvgDevice::FlushRects() {
    if (rects_.empty()) return;
    body_ += fmt::format("<path fill=\"{}\" d=\"{}\"/>\n", Hex(rectColour_), rects_);
    rects_.clear();
}

void SvgDevice::SetClip(const PixelRect& area) {
    ClearClip();
    clip_ = {std::max(0, area.left), std::max(0, area.top), std::min(width_, area.right),
             std::min(height_, area.bottom)};
    const int width = std::max(0, clip_.Width()), height = std::max(0, clip_.Height());
    const auto [found, isNew] = clipNumbers_.try_emplace({clip_.left, clip_.top, width, height},
                                                         static_cast<int>(clipNumbers_.size()) + 1);
    if (isNew)
        clips_ += fmt::format("<clipPath id=\"clip{}\"><rect x=\"{}\" y=\"{}\" width=\"{}\" "
                              "height=\"{}\"/></clipPath>\n",
                              found->second, clip_.left, clip_.top, width, height);
    Write(fmt::format("<g clip-path=\"url(#clip{})\">", found->second));
    isClipped_ = true;
}

void SvgDevice::ClearClip() {
    FlushRects();
    if (isClipped_) body_ += "</g>\n";
    isClipped_ = false;
    clip_ = {0, 0, width_, height_};
}

Extent SvgDevice::TextExtent(std::string_view text, bool bold) { return measure_.TextExtent(text, bold); }

Extent SvgDevice::FontExtent(std::string_view text, const FontSpec& font) {
    return measure_.FontExtent(text, font);
}

void SvgDevice::WriteText(int x, int y, std::string_view text, const TextStyle& style,
                          std::string_view look) {
    const std::string line = OneLine(text);
    if (line.empty()) return;
    // Anchored as it is aligned: it stays in its place when an editor has another font, or another text.
    const int across = static_cast<int>(measure_.PlaceText(text, style).across);
    const double turn = (style.upward ? 90.0 : 0.0) + style.escapement / 10.0;
    const std::string turned = turn == 0.0 ? "" : fmt::format(" transform=\"rotate({} {} {})\"", -turn, x, y);
    Write(fmt::format("<text x=\"{}\" y=\"{}\"{}{}{}{}>{}</text>", x, int64_t{y} + across,
                      Anchor(style.horizontal), FontAttributes(style), turned, look, XmlText(line)));
}

void SvgDevice::Text(int x, int y, std::string_view text, const TextStyle& style) {
    WriteText(x, y, text, style, fmt::format(" fill=\"{}\"", Hex(style.colour)));
}

// The rim is one stroked text beneath: an editor has two to change and not nine.
void SvgDevice::RimmedText(int x, int y, std::string_view text, const TextStyle& style, uint32_t paper) {
    const std::string rim = Hex(paper);
    WriteText(
        x, y, text, style,
        fmt::format(" fill=\"{}\" stroke=\"{}\" stroke-width=\"2\" stroke-linejoin=\"round\"", rim, rim));
    Text(x, y, text, style);
}

std::unique_ptr<PictureDevice> MakePictureDevice(int width, int height, PictureFormat format, double scale) {
    if (format == PictureFormat::svg) return std::make_unique<SvgDevice>(width, height);
    const auto kind = format == PictureFormat::pdf ? CairoDevice::Kind::page : CairoDevice::Kind::image;
    return std::make_unique<CairoDevice>(width, height, kind, scale);
}

}  // namespace kymora
