#include "drawing/cairo_device.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <cmath>
#include <stdexcept>
#include <string>

namespace kymora {

namespace {

constexpr double pointsPerPixel = 0.75;  // 96 pixels to the inch
constexpr double dash[] = {3.0, 3.0};

void Check(cairo_status_t status, const char* what) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(std::string(what) + ": " + cairo_status_to_string(status));
}

uint32_t SwapRedBlue(uint32_t colour) {
    return (colour & 0x00FF00) | (colour & 0xFF) << 16 | (colour >> 16 & 0xFF);
}

// Of the bytes of a PNG's chunk.
uint32_t CheckSum(const std::vector<std::byte>& bytes) {
    uint32_t sum = 0xFFFFFFFF;
    for (const std::byte byte : bytes) {
        sum ^= std::to_integer<uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320 : 0);
    }
    return ~sum;
}

// Says how large the picture is on paper, right behind the head of the file, where the pixels have not begun.
void AddResolution(std::vector<std::byte>& png, double scale) {
    constexpr size_t headEnd = 33;
    constexpr double usualPerMetre = 96.0 / 0.0254;
    const auto perMetre = static_cast<uint32_t>(std::lround(usualPerMetre * scale));
    const auto add = [](std::vector<std::byte>& to, uint32_t value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            to.push_back(static_cast<std::byte>(value >> shift & 0xFF));
    };
    std::vector<std::byte> body;
    for (const char c : {'p', 'H', 'Y', 's'}) body.push_back(static_cast<std::byte>(c));
    add(body, perMetre);
    add(body, perMetre);
    body.push_back(std::byte{1});  // metres
    std::vector<std::byte> chunk;
    add(chunk, static_cast<uint32_t>(body.size() - 4));
    chunk.insert(chunk.end(), body.begin(), body.end());
    add(chunk, CheckSum(body));
    if (png.size() >= headEnd) png.insert(png.begin() + headEnd, chunk.begin(), chunk.end());
}

}  // namespace

struct CairoDevice::Surface {
    cairo_surface_t* image = nullptr;
    cairo_t* cairo = nullptr;
    std::vector<std::byte> written;  // of a vector file
    bool bold = false;
    bool fontSelected = false;

    ~Surface() {
        if (cairo) cairo_destroy(cairo);
        if (image) cairo_surface_destroy(image);
    }
    uint32_t* Row(int y) const {
        unsigned char* bytes = cairo_image_surface_get_data(image);
        return reinterpret_cast<uint32_t*>(bytes +
                                           static_cast<ptrdiff_t>(cairo_image_surface_get_stride(image)) * y);
    }
};

CairoDevice::CairoDevice(int width, int height, Kind kind, double scale)
    : surface_(std::make_unique<Surface>()),
      width_(width),
      height_(height),
      kind_(kind),
      scale_(kind == Kind::page ? 1.0 : scale),
      clip_{0, 0, width, height} {
    MakeSurface();
    Check(cairo_surface_status(surface_->image), "The picture could not be made");
    surface_->cairo = cairo_create(surface_->image);
    Check(cairo_status(surface_->cairo), "The picture could not be made");
    const double pixel = IsVector() ? pointsPerPixel : scale_;
    cairo_scale(surface_->cairo, pixel, pixel);
    cairo_set_line_join(surface_->cairo, CAIRO_LINE_JOIN_BEVEL);
    cairo_set_line_cap(surface_->cairo, CAIRO_LINE_CAP_SQUARE);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_set_font_options(surface_->cairo, options);
    cairo_font_options_destroy(options);
}

CairoDevice::~CairoDevice() = default;

void CairoDevice::MakeSurface() {
    const auto append = [](void* to, const unsigned char* data, unsigned int length) {
        auto& bytes = *static_cast<std::vector<std::byte>*>(to);
        const auto* from = reinterpret_cast<const std::byte*>(data);
        bytes.insert(bytes.end(), from, from + length);
        return CAIRO_STATUS_SUCCESS;
    };
    if (!IsVector()) {
        surface_->image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, std::max(1, Scaled(width_)),
                                                     std::max(1, Scaled(height_)));
    } else {
        surface_->image = cairo_pdf_surface_create_for_stream(
            append, &surface_->written, width_ * pointsPerPixel, height_ * pointsPerPixel);
    }
}

std::vector<std::byte> CairoDevice::Encode(const std::function<bool()>& goOn) {
    if (!IsVector()) return EncodePng(goOn);
    cairo_show_page(surface_->cairo);
    cairo_surface_finish(surface_->image);
    Check(cairo_surface_status(surface_->image), "The picture could not be written");
    if (!goOn()) return {};
    return std::move(surface_->written);
}

std::vector<std::byte> CairoDevice::EncodePng(const std::function<bool()>& goOn) const {
    struct Target {
        std::vector<std::byte> bytes;
        const std::function<bool()>& goOn;
        bool stopped = false;
    } target{{}, goOn};
    const auto append = [](void* to, const unsigned char* data, unsigned int length) {
        auto& target = *static_cast<Target*>(to);
        target.stopped = target.stopped || !target.goOn();
        if (target.stopped) return CAIRO_STATUS_WRITE_ERROR;
        const auto* from = reinterpret_cast<const std::byte*>(data);
        target.bytes.insert(target.bytes.end(), from, from + length);
        return CAIRO_STATUS_SUCCESS;
    };
    const auto status = cairo_surface_write_to_png_stream(surface_->image, append, &target);
    if (target.stopped) return {};
    Check(status, "The picture could not be written");
    if (scale_ != 1.0) AddResolution(target.bytes, scale_);
    return std::move(target.bytes);
}

int CairoDevice::Scaled(int position) const { return static_cast<int>(std::lround(position * scale_)); }

uint32_t CairoDevice::PixelAt(int x, int y) const {
    cairo_surface_flush(surface_->image);
    return SwapRedBlue(surface_->Row(y)[x] & 0xFFFFFF);
}

void CairoDevice::SetPen(const Pen& pen) {
    pen_ = pen;
    cairo_set_line_width(surface_->cairo, pen.width);
    cairo_set_dash(surface_->cairo, dash, pen.style == Pen::Style::dashed ? 2 : 0, 0.0);
}

void CairoDevice::MoveTo(int x, int y) { position_ = {x, y}; }

void CairoDevice::LineTo(int x, int y) {
    const Point points[] = {position_, {x, y}};
    Polyline(points);
}

void CairoDevice::Polyline(std::span<const Point> points) {
    if (points.empty()) return;
    position_ = points.back();
    const LineShape::Kind kind = shape_.Prepare(points, pen_, clip_);
    if (kind == LineShape::Kind::nothing) return;
    const bool isCrisp = kind == LineShape::Kind::straight || kind == LineShape::Kind::envelope;
    // Crisp columns are as wide as a pixel that is drawn; a finer image shows a finer line.
    const bool isFiner = scale_ > 1.0 && kind == LineShape::Kind::envelope;
    if (!isCrisp || isFiner || IsVector())
        Stroke(shape_.Points(), kind != LineShape::Kind::dashes);
    else if (kind == LineShape::Kind::straight)
        FillSegments();
    else
        FillSpans();
}

void CairoDevice::FillSegments() {
    const auto points = shape_.Points();
    const int before = (pen_.width - 1) / 2, behind = pen_.width / 2 + 1;
    for (size_t i = points.size() == 1 ? 0 : 1; i < points.size(); ++i) {
        const Point from = points[i == 0 ? 0 : i - 1], to = points[i];
        const auto [left, right] = std::minmax(from.x, to.x);
        const auto [top, bottom] = std::minmax(from.y, to.y);
        FillRect({left - before, top - before, right + behind, bottom + behind}, pen_.colour);
    }
}

void CairoDevice::FillSpans() {
    const int before = (pen_.width - 1) / 2, behind = pen_.width / 2 + 1;
    for (const ColumnSpan& span : shape_.Spans())
        FillRect({span.x - before, span.top - before, span.x + behind, span.bottom + behind}, pen_.colour);
}

Canvas CairoDevice::ToCanvas() const {
    cairo_surface_flush(surface_->image);
    return {surface_->Row(0),
            cairo_image_surface_get_stride(surface_->image) / static_cast<int>(sizeof(uint32_t)),
            {Scaled(clip_.left), Scaled(clip_.top), Scaled(clip_.right), Scaled(clip_.bottom)}};
}

void CairoDevice::Stroke(std::span<const Point> points, bool smooth) {
    if (smooth && !IsVector()) {
        mask_.Draw(points, pen_, scale_, ToCanvas());
        return cairo_surface_mark_dirty(surface_->image);
    }
    cairo_t* cairo = surface_->cairo;
    SetColour(pen_.colour);
    cairo_set_antialias(cairo, smooth ? CAIRO_ANTIALIAS_FAST : CAIRO_ANTIALIAS_NONE);
    cairo_move_to(cairo, points.front().x + 0.5, points.front().y + 0.5);
    for (const Point& point : points.subspan(1)) cairo_line_to(cairo, point.x + 0.5, point.y + 0.5);
    cairo_stroke(cairo);
}

void CairoDevice::Trace(std::span<const Place> places) {
    cairo_move_to(surface_->cairo, places.front().x, places.front().y);
    for (const Place& place : places.subspan(1)) cairo_line_to(surface_->cairo, place.x, place.y);
}

void CairoDevice::Curve(std::span<const Place> places) {
    if (places.empty() || pen_.style == Pen::Style::null) return;
    if (!IsVector() && pen_.style == Pen::Style::solid) {
        mask_.DrawThrough(places, pen_, scale_, ToCanvas());
        return cairo_surface_mark_dirty(surface_->image);
    }
    SetColour(pen_.colour);
    cairo_set_antialias(surface_->cairo, CAIRO_ANTIALIAS_GOOD);
    Trace(places);
    cairo_stroke(surface_->cairo);
}

void CairoDevice::FillPolygon(std::span<const Place> corners, uint32_t colour) {
    if (corners.size() < 3) return;
    SetColour(colour);
    cairo_set_antialias(surface_->cairo, CAIRO_ANTIALIAS_GOOD);
    cairo_set_fill_rule(surface_->cairo, CAIRO_FILL_RULE_EVEN_ODD);
    Trace(corners);
    cairo_close_path(surface_->cairo);
    cairo_fill(surface_->cairo);
}

void CairoDevice::SetPixel(int x, int y, uint32_t colour) { FillRect({x, y, x + 1, y + 1}, colour); }

void CairoDevice::FillEllipse(const PixelRect& bounds, uint32_t colour) {
    if (bounds.Width() <= 0 || bounds.Height() <= 0) return;
    cairo_t* cairo = surface_->cairo;
    SetColour(colour);
    cairo_set_antialias(cairo, CAIRO_ANTIALIAS_GOOD);
    cairo_save(cairo);
    cairo_translate(cairo, (bounds.left + bounds.right + 1) / 2.0, (bounds.top + bounds.bottom + 1) / 2.0);
    cairo_scale(cairo, (bounds.Width() + 1) / 2.0, (bounds.Height() + 1) / 2.0);
    cairo_arc(cairo, 0.0, 0.0, 1.0, 0.0, 2.0 * M_PI);
    cairo_restore(cairo);
    cairo_fill(cairo);
}

void CairoDevice::FillRect(const PixelRect& area, uint32_t colour) {
    const int left = std::max(area.left, clip_.left), right = std::min(area.right, clip_.right);
    const int top = std::max(area.top, clip_.top), bottom = std::min(area.bottom, clip_.bottom);
    if (left >= right || top >= bottom) return;
    if (IsVector()) {
        SetColour(colour);
        cairo_rectangle(surface_->cairo, left, top, right - left, bottom - top);
        return cairo_fill(surface_->cairo);
    }
    cairo_surface_flush(surface_->image);
    const uint32_t pixel = SwapRedBlue(colour);
    // In a coarser image what is drawn thinner than a pixel is one pixel wide, and not gone.
    const int first = std::max(0, std::min(Scaled(left), Scaled(width_) - 1));
    const int end = std::max(Scaled(right), first + 1);
    const int firstRow = std::max(0, std::min(Scaled(top), Scaled(height_) - 1));
    for (int y = firstRow; y < std::max(Scaled(bottom), firstRow + 1); ++y)
        std::fill(surface_->Row(y) + first, surface_->Row(y) + end, pixel);
    cairo_surface_mark_dirty(surface_->image);
}

void CairoDevice::SetClip(const PixelRect& area) {
    ClearClip();
    clip_ = {std::max(0, area.left), std::max(0, area.top), std::min(width_, area.right),
             std::min(height_, area.bottom)};
    cairo_rectangle(surface_->cairo, area.left, area.top, std::max(0, area.Width()),
                    std::max(0, area.Height()));
    cairo_clip(surface_->cairo);
}

void CairoDevice::ClearClip() {
    clip_ = {0, 0, width_, height_};
    cairo_reset_clip(surface_->cairo);
}

void CairoDevice::SetColour(uint32_t colour) {
    cairo_set_source_rgb(surface_->cairo, (colour & 0xFF) / 255.0, (colour >> 8 & 0xFF) / 255.0,
                         (colour >> 16 & 0xFF) / 255.0);
}

void CairoDevice::SelectFont(bool bold) {
    if (surface_->fontSelected && surface_->bold == bold) return;
    cairo_select_font_face(surface_->cairo, plainTextFace, CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(surface_->cairo, plainTextHeight);
    surface_->bold = bold;
    surface_->fontSelected = true;
}

// The nearest font stands in for one that does not exist.
void CairoDevice::SelectFont(const FontSpec& font) {
    cairo_select_font_face(surface_->cairo, OneLine(font.face).c_str(),
                           font.italic ? CAIRO_FONT_SLANT_ITALIC : CAIRO_FONT_SLANT_NORMAL,
                           font.weight >= 600 ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(surface_->cairo, std::clamp(font.pixelHeight, 1, greatestTextHeight));
    surface_->fontSelected = false;
}

Extent CairoDevice::ExtentOf(const std::string& line) {
    cairo_text_extents_t extents;
    cairo_text_extents(surface_->cairo, line.c_str(), &extents);
    cairo_font_extents_t font;
    cairo_font_extents(surface_->cairo, &font);
    return {static_cast<int>(std::ceil(extents.x_advance)),
            static_cast<int>(std::ceil(font.ascent + font.descent))};
}

Extent CairoDevice::TextExtent(std::string_view text, bool bold) {
    SelectFont(bold);
    return ExtentOf(OneLine(text));
}

Extent CairoDevice::FontExtent(std::string_view text, const FontSpec& font) {
    SelectFont(font);
    return ExtentOf(OneLine(text));
}

void CairoDevice::StrokeUnder(const FontSpec& font, double along, double baseline, int width) {
    cairo_t* cairo = surface_->cairo;
    const double height = std::clamp(font.pixelHeight, 1, greatestTextHeight);
    cairo_save(cairo);
    cairo_set_dash(cairo, nullptr, 0, 0.0);
    cairo_set_line_width(cairo, std::max(1.0, height / 14.0));
    for (const auto& [wanted, rise] : {std::pair(font.underline, -0.12), std::pair(font.strikeOut, 0.3)}) {
        if (!wanted) continue;
        cairo_move_to(cairo, along, baseline - rise * height);
        cairo_rel_line_to(cairo, width, 0.0);
        cairo_stroke(cairo);
    }
    cairo_restore(cairo);
}

CairoDevice::TextPlace CairoDevice::PlaceText(std::string_view text, const TextStyle& style) {
    TextPlace place;
    const Extent extent = style.font ? FontExtent(text, *style.font) : TextExtent(text, style.bold);
    place.extent = extent;
    cairo_font_extents_t font;
    cairo_font_extents(surface_->cairo, &font);
    place.across = font.ascent;
    if (style.horizontal == TextStyle::Horizontal::centre) place.along = -extent.width / 2;
    if (style.horizontal == TextStyle::Horizontal::right) place.along = -extent.width;
    if (style.vertical == TextStyle::Vertical::centre) place.across = font.ascent - extent.height / 2;
    if (style.vertical == TextStyle::Vertical::bottom) place.across = font.ascent - extent.height;
    place.across = std::round(place.across);
    return place;
}

void CairoDevice::Text(int x, int y, std::string_view text, const TextStyle& style) {
    const TextPlace place = PlaceText(text, style);
    cairo_t* cairo = surface_->cairo;
    cairo_save(cairo);
    SetColour(style.colour);
    cairo_translate(cairo, x, y);
    if (style.upward) cairo_rotate(cairo, -M_PI / 2.0);
    if (style.escapement != 0) cairo_rotate(cairo, -style.escapement * M_PI / 1800.0);
    cairo_move_to(cairo, place.along, place.across);
    cairo_show_text(cairo, OneLine(text).c_str());
    if (style.font) StrokeUnder(*style.font, place.along, place.across, place.extent.width);
    cairo_restore(cairo);
}

}  // namespace kymora
