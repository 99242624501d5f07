#include "fitting/fit_samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/sample_scan.h"

namespace kymora {

FitSamples ReadFitSamples(SampleReader& samples, int trace, SampleSpan span, double interval,
                          double originMs) {
    FitSamples found;
    found.t.reserve(static_cast<size_t>(span.Count()));
    found.y.reserve(static_cast<size_t>(span.Count()));
    std::vector<float> values(static_cast<size_t>(std::clamp<int64_t>(span.Count(), 0, scanBlock)));
    std::vector<uint8_t> valid(values.size());
    for (int64_t done = 0; done < span.Count();) {
        const auto size = static_cast<size_t>(std::min(scanBlock, span.Count() - done));
        samples.ReadBlock(trace, span.first + done, std::span(values).first(size),
                          std::span(valid).first(size));
        for (size_t i = 0; i < size; ++i) {
            if (valid[i] == 0) continue;
            const double t = static_cast<double>(done + static_cast<int64_t>(i)) * interval;
            if (!std::isfinite(values[i]))
                throw JobRefused(fmt::format("Trace {}: the sample at {:.6g} ms is no finite number. Choose "
                                             "a region without it.",
                                             trace + 1, originMs + t));
            found.t.push_back(t);
            found.y.push_back(double{values[i]});
        }
        done += static_cast<int64_t>(size);
    }
    return found;
}

}  // namespace kymora
