#pragma once
// The line of a trace in a vector file: every sample, as they come. It is cut at the edges of the plot in
// time, and at two rows where it is clipped to them; not-a-numbers and gaps lift the pen.

#include <optional>
#include <utility>

#include "drawing/vector_writer.h"

namespace kymora {

class VectorTraceLine {
  public:
    struct Look {
        std::optional<std::pair<int, int>> rows{};  // top and bottom, units, to which it is clipped
        int dotRadius = -1;                         // units; below 0: a line
        uint32_t dotColour = 0;
    };

    VectorTraceLine(VectorWriter& writer, const AxisScale& values, Look look)
        : writer_(writer), values_(values), look_(look), right_(writer.Page().width) {}
    ~VectorTraceLine() { Break(); }
    VectorTraceLine(const VectorTraceLine&) = delete;
    VectorTraceLine& operator=(const VectorTraceLine&) = delete;

    // The next sample, at a place in units from the left edge.
    void Add(double x, float value) {
        if (value != value) return Break();
        const int y = values_.ToPixel(value);
        const bool isInside = x >= -tolerance && x <= right_ + tolerance &&
                              (!look_.rows || (y >= look_.rows->first && y <= look_.rows->second));
        if (look_.dotRadius >= 0)
            Dot(x, y, isInside);
        else if (isInside && isInside_)
            writer_.LineTo(RoundHalfAway(x), y);
        else
            CutTo({x, static_cast<double>(y)}, isInside);
        last_ = {x, static_cast<double>(y)};
        isInside_ = isInside;
        hasLast_ = true;
    }
    void Break() {
        if (isInside_ && look_.dotRadius < 0) writer_.EndLine();
        isInside_ = hasLast_ = false;
    }

  private:
    static constexpr double tolerance = 1e-6;  // units; of a time that should lie on the edge

    void Dot(double x, int y, bool isInside);
    // A piece that begins or ends outside.
    void CutTo(Place to, bool isInside);

    VectorWriter& writer_;
    AxisScale values_;
    Look look_;
    double right_;
    Place last_;
    bool hasLast_ = false, isInside_ = false;
    std::optional<Point> lastDot_;
};

// Radius of dots by their size, units.
int VectorDotRadius(int dotSize);

}  // namespace kymora
