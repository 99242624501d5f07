#pragma once
// The pixel columns of a row. A column keeps the colour that it was given first, and filling a column again
// costs nothing, however many events lie on it.

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace kymora {

class PixelColumns {
  public:
    PixelColumns(int left, int right)
        : left_(left), colours_(static_cast<size_t>(std::max(0, right - left))) {
        next_.resize(colours_.size() + 1);
        std::iota(next_.begin(), next_.end(), size_t{0});
    }

    // The columns [from, to) that are still free.
    void Fill(int from, int to, uint32_t colour) {
        const auto width = static_cast<int>(colours_.size());
        const auto end = static_cast<size_t>(std::clamp(to - left_, 0, width));
        for (size_t c = Free(static_cast<size_t>(std::clamp(from - left_, 0, width))); c < end; c = Free(c)) {
            colours_[c] = colour;
            next_[c] = c + 1;
        }
    }

    // Calls `use(from, to, colour)` for each stretch [from, to) of one colour, from the left.
    template <typename Use>
    void ForRuns(Use use) const {
        for (size_t c = 0; c < colours_.size();) {
            if (next_[c] == c) {
                ++c;
                continue;
            }
            const size_t from = c;
            while (c < colours_.size() && next_[c] != c && colours_[c] == colours_[from]) ++c;
            use(left_ + static_cast<int>(from), left_ + static_cast<int>(c), colours_[from]);
        }
    }

  private:
    // The first column from `c` on that has no colour yet.
    size_t Free(size_t c) {
        size_t free = c;
        while (next_[free] != free) free = next_[free];
        while (next_[c] != free && next_[c] != c) c = std::exchange(next_[c], free);
        return free;
    }

    int left_;
    std::vector<uint32_t> colours_;
    std::vector<size_t> next_;  // of a free column itself, of a filled one a column further on
};

}  // namespace kymora
