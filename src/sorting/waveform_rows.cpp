#include "sorting/waveform_rows.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr int64_t longestRead = 1 << 16;  // samples of each trace, unless one window is longer
constexpr int64_t widestHole = 4096;      // samples between windows that are read rather than stepped over

bool LiesWithin(std::span<const TraceStretch> stretches, int64_t first, int64_t end) {
    auto behind =
        std::ranges::upper_bound(stretches, first, {}, [](const TraceStretch& one) { return one.start; });
    return behind != stretches.begin() && end <= (--behind)->end;
}

// The samples of all traces in a stretch that holds several windows.
class SharedRead {
  public:
    SharedRead(SampleReader& samples, std::span<const WaveformTrace> traces)
        : samples_(samples), traces_(traces), values_(traces.size()) {}

    // Goes to the first of these windows, and takes along those behind it that lie close.
    void Load(std::span<const int64_t> starts, int64_t count) {
        const int64_t first = starts.front();
        if (first >= first_ && first + count <= end_) return;
        int64_t end = first + count;
        for (const int64_t start : starts) {
            const bool isFar =
                start < first || start - end > widestHole || start + count - first > longestRead;
            if (isFar && start + count > end) break;
            end = std::max(end, start + count);
        }
        first_ = end_ = 0;  // nothing is there if the read fails
        std::vector<TraceBlock> blocks;
        for (size_t i = 0; i < traces_.size(); ++i) {
            values_[i].resize(static_cast<size_t>(end - first));
            blocks.push_back({traces_[i].trace, values_[i], {}});
        }
        samples_.ReadBlocks(first, blocks);
        first_ = first;
        end_ = end;
    }
    std::span<const float> Window(size_t trace, int64_t start, int64_t count) const {
        return std::span(values_[trace])
            .subspan(static_cast<size_t>(start - first_), static_cast<size_t>(count));
    }

  private:
    SampleReader& samples_;
    std::span<const WaveformTrace> traces_;
    std::vector<std::vector<float>> values_;
    int64_t first_ = 0, end_ = 0;
};

}  // namespace

WaveformRows ReadWaveformRows(SampleReader& samples, std::span<const WaveformTrace> traces,
                              std::span<const int64_t> starts, int64_t count,
                              const std::function<void(uint64_t)>& windowsDone) {
    constexpr size_t toldEvery = 64;
    WaveformRows rows;
    rows.columns = static_cast<size_t>(count) * traces.size();
    rows.values.reserve(starts.size() * rows.columns);
    SharedRead shared(samples, traces);
    for (size_t i = 0; i < starts.size(); ++i) {
        if (windowsDone && i % toldEvery == 0) windowsDone(i);
        const int64_t start = starts[i];
        const auto holds = [&](const WaveformTrace& one) {
            return LiesWithin(one.stretches, start, start + count);
        };
        if (!std::ranges::all_of(traces, holds)) continue;
        shared.Load(starts.subspan(i), count);
        const size_t before = rows.values.size();
        bool isFinite = true;
        for (size_t t = 0; t < traces.size(); ++t) {
            const auto window = shared.Window(t, start, count);
            isFinite = isFinite && std::ranges::all_of(window, [](float x) { return std::isfinite(x); });
            rows.values.insert(rows.values.end(), window.begin(), window.end());
        }
        if (isFinite)
            rows.read.push_back(i);
        else
            rows.values.resize(before);
    }
    return rows;
}

}  // namespace kymora
