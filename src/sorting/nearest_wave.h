#pragma once
// The nearest of many waveforms, by Euclidean distance: a k-d tree (J. L. Bentley, Commun. ACM 18, 1975, with
// the search of S. Arya and D. M. Mount, Proc. Data Compression Conf., 1993) over the leading principal axes
// of the waveforms and the length of what these leave over. A distance there is never above the true one, so
// that a search finds what looking at every waveform would find, the first of equals.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace kymora {

class NearestWave {
  public:
    // `waves` holds rows of `length` values each, at least one row. The poll is asked now and then, and ends
    // the building by an exception.
    NearestWave(std::vector<float> waves, size_t length, const std::function<void()>& poll = {});

    struct Answer {
        size_t row = 0;
        double squaredDistance = 0.0;
    };
    Answer Find(std::span<const float> wave) const;

    size_t Count() const { return rows_.size(); }
    size_t Bytes() const;
    // About so much memory is taken for each waveform.
    static size_t BytesOfOne(size_t length);

  private:
    struct Node {
        float split = 0.0f;
        uint32_t first = 0, end = 0;  // places of what lies below it
        uint32_t axis = 0;            // by which it is parted; `leaf` for none
        uint32_t right = 0;           // node; the left one follows its parent
    };
    struct Search;
    static constexpr uint32_t leaf = UINT32_MAX;

    void FindAxes();
    void Project(std::span<const float> wave, std::span<float> to) const;
    void Divide(uint32_t first, uint32_t end, std::vector<uint32_t>& order, const std::vector<float>& keys);
    void Descend(uint32_t node, Search& search, double bound) const;
    void LookAt(uint32_t place, Search& search) const;

    size_t length_, axisCount_ = 0;
    std::vector<float> waves_;  // in the order of the tree
    std::vector<float> keys_;   // their places on the axes, in the same order
    std::vector<uint32_t> rows_;
    std::vector<float> axes_, centre_;
    std::vector<Node> nodes_;
    std::function<void()> poll_;
};

}  // namespace kymora
