#include "import/sample_blocks.h"

namespace kymora {

namespace {

constexpr size_t blockValues = 256 << 10;
constexpr size_t lineValues = 16;  // of a line of the processor's cache

// Columns must not lie a power of two apart, or their ends would compete for the same lines of the cache.
size_t BlockRows(size_t columns, int64_t expectedRows) {
    const size_t rows = ((blockValues / std::max<size_t>(1, columns) / lineValues) | 1) * lineValues;
    return expectedRows > 0 ? std::min(rows, static_cast<size_t>(expectedRows)) : rows;
}

}  // namespace

SampleBlocks::SampleBlocks(int columns, int64_t expectedRows)
    : columns_(static_cast<size_t>(columns)), blockRows_(BlockRows(columns_, expectedRows)) {}

void SampleBlocks::Append(std::span<const double> values) {
    for (size_t done = 0; done < values.size();) {
        if (inBlock_ == blockRows_ || blocks_.empty()) {
            blocks_.emplace_back(new float[columns_ * blockRows_]);
            inBlock_ = 0;
        }
        float* const block = blocks_.back().get() + inBlock_;
        const size_t left = values.size() - done;
        const size_t n = left == columns_ ? 1 : std::min(blockRows_ - inBlock_, left / columns_);
        for (size_t column = 0; column < columns_; ++column)
            for (size_t row = 0; row < n; ++row)
                block[column * blockRows_ + row] = static_cast<float>(values[done + row * columns_ + column]);
        inBlock_ += n;
        rows_ += static_cast<int64_t>(n);
        done += n * columns_;
    }
}

void SampleBlocks::Read(int column, int64_t from, std::span<float> to) const {
    auto at = static_cast<size_t>(from);
    while (!to.empty()) {
        const size_t row = at % blockRows_;
        const size_t n = std::min(blockRows_ - row, to.size());
        const float* values = blocks_[at / blockRows_].get() + static_cast<size_t>(column) * blockRows_;
        std::copy_n(values + row, n, to.begin());
        to = to.subspan(n);
        at += n;
    }
}

}  // namespace kymora
