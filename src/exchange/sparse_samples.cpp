#include "exchange/sparse_samples.h"

#include <cmath>
#include <limits>

namespace kymora {

namespace {

constexpr int64_t samplesInBlock = 1 << 16;

std::vector<uint32_t> RunsOfPoints(const std::vector<double>& times, double interval, int64_t length) {
    std::vector<uint32_t> runs{0};
    int64_t next = 0;  // behind the last point
    for (const double time : times) {
        const int64_t position = SparsePosition(time, interval);
        AddRun(runs, false, position - next);
        AddRun(runs, true, 1);
        next = position + 1;
    }
    AddRun(runs, false, length - next);
    return runs;
}

}  // namespace

int64_t SparsePosition(double timeMs, double interval) {
    constexpr double beyondAll = 1e18;
    const double samples = timeMs / interval;
    // 0.35 / 0.1 comes as 3.4999999999999996, and 0.25 / 0.1 as 2.5.
    const double error = 1e-9 + 1e-15 * samples;
    return static_cast<int64_t>(std::min(std::floor(samples + 0.5 + error), beyondAll));
}

SparseSamples::SparseSamples(std::vector<double> times, std::vector<float> values, double interval,
                             int64_t length, const FillSettings& fill)
    : values_(std::move(values)), interval_(interval) {
    if (!fill.IsCurve()) {
        runs_ = RunList(RunsOfPoints(times, interval, length));
        return;
    }
    curve_ = MakeInterpolator(fill.Kind(), times, std::vector<double>(values_.begin(), values_.end()));
    first_ = fill.extrapolates ? 0 : SparsePosition(times.front(), interval);
    const int64_t end = fill.extrapolates ? length : SparsePosition(times.back(), interval) + 1;
    std::vector<uint32_t> runs{0};
    AddRun(runs, false, first_);
    AddRun(runs, true, end - first_);
    AddRun(runs, false, length - end);
    runs_ = RunList(std::move(runs));
}

void SparseSamples::Read(int64_t from, std::span<float> to) const {
    std::ranges::fill(to, std::numeric_limits<float>::quiet_NaN());
    const int64_t end = from + std::ssize(to);
    int64_t start = 0, stored = 0;  // of the run
    for (int i = 0; i < runs_.Size() && start < end; ++i) {
        const int64_t run = runs_[i], first = std::max(start, from), last = std::min(start + run, end);
        if (i % 2 == 0 && first < last) {
            const std::span<float> part =
                to.subspan(static_cast<size_t>(first - from), static_cast<size_t>(last - first));
            if (curve_)
                curve_->Fill(first, interval_, part);
            else
                std::copy_n(values_.begin() + stored + (first - start), part.size(), part.begin());
        }
        if (i % 2 == 0) stored += run;
        start += run;
    }
}

void SparseSamples::ForBlocks(const std::function<void(std::span<const float>)>& take) const {
    if (!curve_) return take(values_);
    std::vector<float> block(static_cast<size_t>(std::min(runs_.StoredCount(), samplesInBlock)));
    for (int64_t done = 0; done < runs_.StoredCount();) {
        const int64_t count = std::min(runs_.StoredCount() - done, samplesInBlock);
        const std::span<float> part(block.data(), static_cast<size_t>(count));
        curve_->Fill(first_ + done, interval_, part);
        take(part);
        done += count;
    }
}

}  // namespace kymora
