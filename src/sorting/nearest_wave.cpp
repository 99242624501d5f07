#include "sorting/nearest_wave.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

#include "sorting/principal_components.h"

namespace kymora {

namespace {

constexpr size_t mostAxes = 8;
constexpr size_t rowsForAxes = 2000, fewRowsForAxes = 500;  // the latter of waveforms that are longer
constexpr uint32_t leafRows = 16;
constexpr size_t rowsToPoll = 4096;
// A bound from rounded places is held to be so much smaller.
constexpr double boundSlack = 1.0 - 1e-4;

double SquaredDistance(const float* a, const float* b, size_t count) {
    float sums[4] = {};
    size_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (size_t lane = 0; lane < 4; ++lane) {
            const float away = a[i + lane] - b[i + lane];
            sums[lane] += away * away;
        }
    double sum = double{sums[0]} + sums[1] + sums[2] + sums[3];
    for (; i < count; ++i) sum += (double{a[i]} - b[i]) * (double{a[i]} - b[i]);
    return sum;
}

}  // namespace

struct NearestWave::Search {
    const float* wave;
    std::array<float, mostAxes + 1> key{};
    std::array<double, mostAxes + 1> offsets{};  // of the key from the cell at hand, squared
    double best = std::numeric_limits<double>::infinity();
    uint32_t row = UINT32_MAX;
};

NearestWave::NearestWave(std::vector<float> waves, size_t length, const std::function<void()>& poll)
    : length_(length), waves_(std::move(waves)), poll_(poll) {
    const size_t count = waves_.size() / length_;
    FindAxes();
    const size_t keyLength = axisCount_ + 1;
    std::vector<float> keys(count * keyLength);
    for (size_t row = 0; row < count; ++row) {
        if (poll_ && row % rowsToPoll == 0) poll_();
        Project(std::span(waves_).subspan(row * length_, length_),
                std::span(keys).subspan(row * keyLength, keyLength));
    }
    rows_.resize(count);
    std::iota(rows_.begin(), rows_.end(), uint32_t{0});
    Divide(0, static_cast<uint32_t>(count), rows_, keys);
    std::vector<float> ordered(waves_.size());
    keys_.resize(keys.size());
    for (size_t place = 0; place < count; ++place) {
        const size_t row = rows_[place];
        std::copy_n(waves_.begin() + static_cast<std::ptrdiff_t>(row * length_), length_,
                    ordered.begin() + static_cast<std::ptrdiff_t>(place * length_));
        std::copy_n(keys.begin() + static_cast<std::ptrdiff_t>(row * keyLength), keyLength,
                    keys_.begin() + static_cast<std::ptrdiff_t>(place * keyLength));
    }
    waves_ = std::move(ordered);
    poll_ = {};
}

size_t NearestWave::BytesOfOne(size_t length) {
    return (length + std::min(mostAxes, length) + 1) * sizeof(float) * 2 + 2 * sizeof(Node) / leafRows +
           sizeof(uint32_t);
}

size_t NearestWave::Bytes() const {
    return (waves_.size() + keys_.size()) * sizeof(float) + rows_.size() * sizeof(uint32_t) +
           nodes_.size() * sizeof(Node);
}

// Of rows in even steps.
void NearestWave::FindAxes() {
    const size_t count = waves_.size() / length_;
    const size_t most = length_ > fewRowsForAxes ? fewRowsForAxes : rowsForAxes;
    const size_t step = (count + most - 1) / most;
    axisCount_ = std::min(mostAxes, length_);
    axes_.assign(axisCount_ * length_, 0.0f);
    centre_.assign(length_, 0.0f);
    std::vector<float> some;
    for (size_t row = 0; row < count; row += step)
        some.insert(some.end(), waves_.begin() + static_cast<std::ptrdiff_t>(row * length_),
                    waves_.begin() + static_cast<std::ptrdiff_t>((row + 1) * length_));
    if (some.size() < 2 * length_) {
        axisCount_ = 0;
        return;
    }
    const PrincipalComponents found = FindComponentsByCovariance(some, length_, axisCount_);
    std::ranges::transform(found.loadings, axes_.begin(), [](double x) { return static_cast<float>(x); });
    std::ranges::transform(found.means, centre_.begin(), [](double x) { return static_cast<float>(x); });
}

void NearestWave::Project(std::span<const float> wave, std::span<float> to) const {
    double left = 0.0;
    for (size_t i = 0; i < length_; ++i) left += (double{wave[i]} - centre_[i]) * (wave[i] - centre_[i]);
    for (size_t axis = 0; axis < axisCount_; ++axis) {
        const float* loading = axes_.data() + axis * length_;
        double sum = 0.0;
        for (size_t i = 0; i < length_; ++i) sum += double{loading[i]} * (wave[i] - centre_[i]);
        to[axis] = static_cast<float>(sum);
        left -= sum * sum;
    }
    to[axisCount_] = static_cast<float>(std::sqrt(std::max(0.0, left)));
}

void NearestWave::Divide(uint32_t first, uint32_t end, std::vector<uint32_t>& order,
                         const std::vector<float>& keys) {
    const size_t keyLength = axisCount_ + 1;
    const auto keyOf = [&](uint32_t row, size_t axis) { return keys[row * keyLength + axis]; };
    const auto node = static_cast<uint32_t>(nodes_.size());
    nodes_.push_back({0.0f, first, end, leaf, 0});
    if (end - first <= leafRows) return;
    if (poll_ && end - first > rowsToPoll) poll_();
    uint32_t widest = 0;
    float width = 0.0f;
    for (size_t axis = 0; axis < keyLength; ++axis) {
        float low = keyOf(order[first], axis), high = low;
        for (uint32_t i = first + 1; i < end; ++i) {
            low = std::min(low, keyOf(order[i], axis));
            high = std::max(high, keyOf(order[i], axis));
        }
        if (!(high - low > width)) continue;
        width = high - low;
        widest = static_cast<uint32_t>(axis);
    }
    if (!(width > 0.0f)) return;  // all the same
    const uint32_t middle = first + (end - first) / 2;
    std::nth_element(order.begin() + first, order.begin() + middle, order.begin() + end,
                     [&](uint32_t a, uint32_t b) {
                         return std::pair(keyOf(a, widest), a) < std::pair(keyOf(b, widest), b);
                     });
    nodes_[node].split = keyOf(order[middle], widest);
    nodes_[node].axis = widest;
    Divide(first, middle, order, keys);
    nodes_[node].right = static_cast<uint32_t>(nodes_.size());
    Divide(middle, end, order, keys);
}

void NearestWave::LookAt(uint32_t place, Search& search) const {
    const size_t keyLength = axisCount_ + 1;
    const float* key = keys_.data() + place * keyLength;
    if (SquaredDistance(key, search.key.data(), keyLength) * boundSlack > search.best) return;
    const double distance = SquaredDistance(waves_.data() + place * length_, search.wave, length_);
    if (distance > search.best || (distance == search.best && rows_[place] > search.row)) return;
    search.best = distance;
    search.row = rows_[place];
}

void NearestWave::Descend(uint32_t at, Search& search, double bound) const {
    const Node& node = nodes_[at];
    if (node.axis == leaf) {
        for (uint32_t place = node.first; place < node.end; ++place) LookAt(place, search);
        return;
    }
    const double away = double{search.key[node.axis]} - node.split;
    Descend(away < 0.0 ? at + 1 : node.right, search, bound);
    const double offset = search.offsets[node.axis];
    const double farther = bound - offset + away * away;
    if (farther * boundSlack > search.best) return;
    search.offsets[node.axis] = away * away;
    Descend(away < 0.0 ? node.right : at + 1, search, farther);
    search.offsets[node.axis] = offset;
}

NearestWave::Answer NearestWave::Find(std::span<const float> wave) const {
    Search search{wave.data()};
    Project(wave, search.key);
    Descend(0, search, 0.0);
    return {search.row, search.best};
}

}  // namespace kymora
