#include "kernels/resample_run.h"

#include <algorithm>

namespace kymora {

ResamplePass::ResamplePass(const RationalResampler& filter, int64_t start)
    : filter_(filter),
      place_(FirstResultFrom(start, filter.Factor()) * filter.Factor().down - start * filter.Factor().up),
      window_(static_cast<size_t>(2 * filter.Reach())) {}

void ResamplePass::Take(std::span<const float> samples, ResultBuffer& results) {
    if (samples.empty()) return;
    if (seen_ == 0) first_ = samples[0];
    held_.insert(held_.end(), samples.begin(), samples.end());
    seen_ += static_cast<int64_t>(samples.size());
    while (Index() + filter_.Reach() < seen_) AddResult(results);
    Drop();
}

void ResamplePass::Finish(ResultBuffer& results) {
    while (Index() < seen_) AddResult(results);
}

// One sample more than the next result looks at: its mirror image at the end reaches so far.
void ResamplePass::Drop() {
    const auto unused = static_cast<size_t>(
        std::clamp<int64_t>(Index() - filter_.Reach() - heldFrom_, 0, static_cast<int64_t>(held_.size())));
    if (2 * unused < held_.size()) return;
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(unused));
    heldFrom_ += static_cast<int64_t>(unused);
}

float ResamplePass::Extended(int64_t index) const {
    const auto mirrored = [](float end, float image) {
        return static_cast<float>(2.0 * static_cast<double>(end) - static_cast<double>(image));
    };
    const int64_t last = seen_ - 1;
    if (index < 0) return mirrored(first_, Sample(std::min(-index, last)));
    if (index > last) return mirrored(Sample(last), Sample(std::max<int64_t>(2 * last - index, 0)));
    return Sample(index);
}

void ResamplePass::AddResult(ResultBuffer& results) {
    const int64_t from = Index() + 1 - filter_.Reach();
    const bool isInside = from >= 0 && Index() + filter_.Reach() < seen_;
    const float* window = window_.data();
    if (isInside)
        window = held_.data() + (from - heldFrom_);
    else
        for (size_t i = 0; i < window_.size(); ++i) window_[i] = Extended(from + static_cast<int64_t>(i));
    results.Add(filter_.At(Phase(), window));
    place_ += filter_.Factor().down;
}

}  // namespace kymora
