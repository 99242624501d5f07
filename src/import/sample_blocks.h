#pragma once
// The samples of a table that is read row by row, each held once as f32. They lie in blocks that never move,
// so that reading takes no more memory than they need.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kymora {

// A table that grows by whole rows.
class SampleBlocks {
  public:
    // `expectedRows` keeps the last block from being larger than needed; 0 where nothing is known.
    explicit SampleBlocks(int columns = 1, int64_t expectedRows = 0);

    int Columns() const { return static_cast<int>(columns_); }
    int64_t Rows() const { return rows_; }
    // Adds values row by row; their number is a multiple of the columns.
    void Append(std::span<const double> values);
    // Copies values of one column from row `from` on, all of which there are.
    void Read(int column, int64_t from, std::span<float> to) const;
    // The values of one column in their order, for `take(std::span<const float>)`.
    template <typename Take>
    void ForBlocks(int column, Take take) const {
        size_t left = static_cast<size_t>(rows_);
        for (const auto& block : blocks_) {
            const size_t rows = std::min(left, blockRows_);
            take(std::span<const float>(block.get() + static_cast<size_t>(column) * blockRows_, rows));
            left -= rows;
        }
    }

  private:
    size_t columns_;
    size_t blockRows_;
    int64_t rows_ = 0;
    size_t inBlock_ = 0;                            // rows of the last block
    std::vector<std::unique_ptr<float[]>> blocks_;  // columns_ x blockRows_, column by column
};

}  // namespace kymora
