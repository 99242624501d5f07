#include "import/nwb_times.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr int64_t timesAtOnce = 1 << 16;

double Median(std::vector<double> steps) {
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return *middle;
}

// A whole number of samples in a second, or of microseconds between them, that fits to a tenth of a sample
// over all.
double PlainRate(double rate, int64_t count) {
    const double whole = std::round(rate), micro = 1e6 / std::round(1e6 / rate);
    const double off = 0.1 * rate / static_cast<double>(count);
    if (whole > 0.0 && std::fabs(whole - rate) <= off) return whole;
    if (std::isfinite(micro) && std::fabs(micro - rate) <= off) return micro;
    return rate;
}

struct TimedRun {
    int64_t first = 0;
    double time = 0.0;
};

}  // namespace

NwbTimes FindNwbTimes(int64_t count, size_t mostRuns,
                      const std::function<void(int64_t, std::span<double>)>& read,
                      const std::function<void(int64_t)>& goesOn) {
    NwbTimes times;
    times.isEven = false;
    if (count < 2) return times;
    std::vector<double> block(static_cast<size_t>(std::min(count, timesAtOnce)));
    std::vector<TimedRun> runs;
    double usual = 0.0, last = 0.0, inRuns = 0.0;
    int64_t odd = 0;
    for (int64_t at = 0; at < count;) {
        const auto piece = std::span(block).first(static_cast<size_t>(std::min(count - at, timesAtOnce)));
        read(at, piece);
        if (at == 0) {
            std::vector<double> steps;
            for (size_t i = 1; i < piece.size(); ++i)
                if (const double step = piece[i] - piece[i - 1]; std::isfinite(step)) steps.push_back(step);
            if (steps.empty()) return times;
            usual = Median(std::move(steps));
            if (!(usual > 0.0) || !std::isfinite(piece[0])) return times;
            runs.push_back({0, piece[0]});
            last = piece[0];
        }
        for (size_t i = at == 0 ? 1 : 0; i < piece.size(); ++i) {
            const double step = piece[i] - last;
            if (step > 1.5 * usual && std::isfinite(piece[i]))
                runs.push_back({at + static_cast<int64_t>(i), piece[i]});
            else if (!(step >= 0.5 * usual))
                ++odd;
            else
                inRuns += step;
            if (std::isfinite(piece[i])) last = piece[i];
        }
        at += static_cast<int64_t>(piece.size());
        if (runs.size() > mostRuns || (odd + static_cast<int64_t>(runs.size())) * 10 > at + 100) return times;
        goesOn(at);
    }
    const int64_t inside = count - static_cast<int64_t>(runs.size()) - odd;
    if (inside < 1 || (odd + static_cast<int64_t>(runs.size()) - 1) * 10 > count) return times;
    times.rate = PlainRate(static_cast<double>(inside) / inRuns, count);
    times.start = runs[0].time;
    times.runs.clear();
    int64_t end = 0, before = 0;
    for (const TimedRun& run : runs) {
        const double position = std::clamp(times.PositionOf(run.time), 0.0, 1e15);
        end += run.first - before;
        before = run.first;
        times.runs.push_back({run.first, std::max<int64_t>(std::llround(position), end)});
        end = times.runs.back().position;
    }
    times.isEven = true;
    return times;
}

}  // namespace kymora
