#include "drawing/vector_writer.h"

#include <cmath>

namespace kymora {

namespace {

constexpr size_t bufferBytes = size_t{1} << 16;
// Readers of SVG refuse longer attributes, and interpreters of PostScript hold a path in memory.
constexpr uint64_t mostPointsInLine = 500'000;
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

// The last point stays, so that the next one can be told to lie on it.
void VectorWriter::HandOver() {
    const Point last = points_[held_ - 1];
    const bool isFirst = pointsInLine_ == 0;
    Points(std::span(points_.data(), held_).subspan(isFirst ? 0 : 1), isFirst);
    pointsInLine_ += isFirst ? held_ : held_ - 1;
    if (pointsInLine_ >= mostPointsInLine) {
        LineEnded();
        Points({&last, 1}, true);
        pointsInLine_ = 1;
    }
    points_[0] = last;
    held_ = 1;
}

void VectorWriter::EndLine() {
    if (held_ == 0) return;
    const bool isFirst = pointsInLine_ == 0;
    if (isFirst && held_ == 1) points_[held_++] = points_[0];
    const auto rest = std::span(points_.data(), held_).subspan(isFirst ? 0 : 1);
    if (!rest.empty()) Points(rest, isFirst);
    LineEnded();
    held_ = 0;
    pointsInLine_ = 0;
}

void VectorWriter::Line(int x1, int y1, int x2, int y2) {
    BeginLine();
    LineTo(x1, y1);
    LineTo(x2, y2);
    EndLine();
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
