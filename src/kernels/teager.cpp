#include "kernels/teager.h"

#include "kernels/passes.h"

namespace kymora {

namespace {

float Energy(double x, double before, double after) { return static_cast<float>(x * x - before * after); }

// Keeps the samples that results still need: those from k before the next result on.
class TeagerPass {
  public:
    explicit TeagerPass(int64_t k) : k_(static_cast<size_t>(std::max<int64_t>(k, 0))) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        kept_.insert(kept_.end(), samples.begin(), samples.end());
        // The first k samples have no neighbour before them.
        for (; next_ < k_ && next_ + k_ < kept_.size(); ++next_)
            results.Add(Energy(kept_[next_], kept_[next_ + k_], kept_[next_ + k_]));
        if (next_ + k_ >= kept_.size()) return;
        size_t count = kept_.size() - k_ - next_;
        while (count > 0) {
            const std::span<float> to = results.Room(std::min(count, passBlock));
            const float *x = &kept_[next_], *before = x - k_, *after = x + k_;
            for (size_t i = 0; i < to.size(); ++i) to[i] = Energy(x[i], before[i], after[i]);
            next_ += to.size();
            count -= to.size();
        }
        Drop();
    }
    // What is left has no neighbour behind it; where the run is short, some have none before them either.
    void Finish(ResultBuffer& results) {
        for (; next_ < kept_.size(); ++next_) {
            const float neighbour = next_ >= k_ ? kept_[next_ - k_] : kept_[next_];
            results.Add(Energy(kept_[next_], neighbour, neighbour));
        }
    }

  private:
    // Seldom, so that moving costs little for each sample.
    void Drop() {
        const size_t useless = next_ - k_;
        if (useless < 2 * k_ && useless < kept_.size() / 2) return;
        kept_.erase(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(useless));
        next_ = k_;
    }

    size_t k_;
    std::vector<float> kept_;
    size_t next_ = 0;  // index in kept_ of the sample whose result comes next
};

}  // namespace

KernelOutcome TeagerEnergy(std::span<const float> input, int64_t k, std::span<float> output) {
    RunPass(input, output, TeagerPass(k));
    return {};
}

KernelOutcome TeagerEnergy(FloatSource& source, int64_t k, FloatSink& sink) {
    RunPass(source, sink, TeagerPass(k));
    return {};
}

}  // namespace kymora
