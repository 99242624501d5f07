#include "detection/spike_series.h"

#include <cmath>

namespace kymora {

SpikeSeries::SpikeSeries(const SpikeSeriesSettings& settings, int64_t count, double mean) : mean_(mean) {
    if (settings.rectifies) {
        // With fewer samples than a window all results are one mean, however often it is taken.
        const bool isShort = count < 2 * static_cast<int64_t>(settings.halfWindow) + 1;
        for (int pass = 0; pass < (isShort ? 1 : settings.iterations); ++pass)
            passes_.emplace_back(count, settings.halfWindow);
        last_ = static_cast<float>(mean);
    }
    if (settings.filters) filter_.emplace(settings.sampleInterval, TimeConstantOf(settings.cutoff));
}

void SpikeSeries::Take(std::span<const float> samples, std::vector<float>& series) {
    const size_t from = series.size();
    if (passes_.empty() && !filter_) {
        series.insert(series.end(), samples.begin(), samples.end());
        return;
    }
    std::vector<float> held(samples.begin(), samples.end());
    for (float& sample : held) {
        if (std::isfinite(sample))
            last_ = sample;
        else
            sample = last_;
        if (!passes_.empty()) sample = std::fabs(static_cast<float>(sample - mean_));
    }
    Smooth(held, 0, series);
    Filter(series, from);
}

// Sends samples through the passes from `firstPass` on.
void SpikeSeries::Smooth(std::span<const float> samples, size_t firstPass, std::vector<float>& to) {
    std::vector<float> in(samples.begin(), samples.end());
    for (size_t pass = firstPass; pass < passes_.size(); ++pass) {
        std::vector<float> out;
        passes_[pass].Take(in, out);
        in.swap(out);
    }
    to.insert(to.end(), in.begin(), in.end());
}

void SpikeSeries::Filter(std::vector<float>& series, size_t from) {
    if (!filter_) return;
    for (size_t i = from; i < series.size(); ++i) series[i] = filter_->Next(series[i]);
}

void SpikeSeries::Finish(std::vector<float>& series) {
    for (size_t pass = 0; pass < passes_.size(); ++pass) {
        std::vector<float> rest;
        passes_[pass].Finish(rest);
        const size_t from = series.size();
        Smooth(rest, pass + 1, series);
        Filter(series, from);
    }
}

}  // namespace kymora
