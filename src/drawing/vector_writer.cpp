#include "drawing/vector_writer.h"

#include <cmath>

namespace kymora {

namespace {

constexpr size_t bufferBytes = size_t{1} << 16;
constexpr int mostUnits = 1'000'000;

}  // namespace

std::optional<VectorFormat> VectorFormatOf(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (extension == ".eps") return VectorFormat::eps;
    if (extension == ".svg") return VectorFormat::svg;
    if (extension == ".plt") return VectorFormat::hpgl;
    return {};
}

VectorPage PageOf(VectorFormat format, int plotWidth, int plotHeight, double widthMm, int resolution) {
    const double wanted = format == VectorFormat::hpgl ? plotterUnits : widthMm / mmPerInch * resolution;
    VectorPage page;
    page.widthMm = widthMm;
    page.width = std::clamp(RoundHalfAway(wanted), 1, mostUnits);
    page.unitsPerPixel = static_cast<double>(page.width) / std::max(1, plotWidth);
    page.height = std::clamp(RoundHalfAway(plotHeight * page.unitsPerPixel), 1, mostUnits);
    return page;
}

double TextWidthOf(std::string_view utf8, double size) {
    constexpr double letterShare = 0.56;
    return static_cast<double>(LettersOf(utf8)) * letterShare * size;
}

VectorWriter::VectorWriter(const VectorPage& page, Sink sink)
    : page_(page), sink_(std::move(sink)), buffer_(bufferBytes, '\0') {}

void VectorWriter::Flush() {
    if (at_ == 0) return;
    const std::string_view full(buffer_.data(), at_);
    flushed_ += at_;
    at_ = 0;
    sink_(full);
}

void VectorWriter::Put(std::string_view text) {
    while (!text.empty()) {
        if (at_ == buffer_.size()) Flush();
        const size_t part = std::min(text.size(), buffer_.size() - at_);
        text.copy(buffer_.data() + at_, part);
        at_ += part;
        text.remove_prefix(part);
    }
}

// The first of the points that are held was written before, unless the line begins with it. A line that is as
// long as one may be goes on in another one, which has a second point, too.
void VectorWriter::WriteHeld() {
    size_t from = pointsInLine_ == 0 ? 0 : 1;
    while (from < held_) {
        if (pointsInLine_ == MostPointsInLine()) {
            LineEnded();
            Points({&points_[from - 1], 1}, true);
            pointsInLine_ = 1;
        }
        const size_t part = std::min<size_t>(held_ - from, MostPointsInLine() - pointsInLine_);
        Points(std::span(points_).subspan(from, part), pointsInLine_ == 0);
        pointsInLine_ += part;
        from += part;
    }
}

// The last point stays, so that the next one can be told to lie on it.
void VectorWriter::HandOver() {
    WriteHeld();
    points_[0] = points_[held_ - 1];
    held_ = 1;
}

void VectorWriter::EndLine() {
    if (held_ == 0) return;
    if (pointsInLine_ == 0 && held_ == 1) points_[held_++] = points_[0];
    WriteHeld();
    LineEnded();
    held_ = 0;
    pointsInLine_ = 0;
}

int VectorWriter::OnPage(int x, double textWidth) const {
    return std::max(0, std::min(x, page_.width - static_cast<int>(std::ceil(textWidth))));
}

void VectorWriter::Line(int x1, int y1, int x2, int y2) {
    BeginLine();
    LineTo(x1, y1);
    LineTo(x2, y2);
    EndLine();
}

void VectorWriter::Frame(const PixelRect& area, const VectorPen& pen) {
    const int inset = RoundHalfAway(pen.width / 2.0);
    const int left = area.left + inset, top = area.top + inset;
    const int right = area.right - inset, bottom = area.bottom - inset;
    BeginPart(VectorPart::frame, 0, pen);
    BeginLine();
    for (const Point& corner : {Point{left, top}, {right, top}, {right, bottom}, {left, bottom}, {left, top}})
        LineTo(corner.x, corner.y);
    EndLine();
    EndPart();
}

std::unique_ptr<VectorWriter> MakeVectorWriter(VectorFormat format, const VectorPage& page,
                                               VectorWriter::Sink sink) {
    switch (format) {
    case VectorFormat::svg:
        return MakeSvgWriter(page, std::move(sink));
    case VectorFormat::hpgl:
        return MakeHpglWriter(page, std::move(sink));
    default:
        return MakeEpsWriter(page, std::move(sink));
    }
}

}  // namespace kymora
