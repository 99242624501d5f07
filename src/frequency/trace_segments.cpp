#include "frequency/trace_segments.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "operations/operation_job.h"

namespace kymora {

namespace {

constexpr int64_t readAhead = 65536;  // samples of a trace at once
constexpr const char* noNumberText =
    "The sample of trace {} at {:.10g} ms is not a number. Choose a region without it.";

}  // namespace

const std::vector<std::string>& OverlapNames() {
    static const std::vector<std::string> names = {"0", "50", "75", "87.5"};
    return names;
}

SegmentGrid GridOver(int64_t first, int64_t samples, size_t bins, int overlapShift) {
    SegmentGrid grid{first, static_cast<int64_t>(2 * bins), 0, 0};
    grid.step = std::max(grid.length >> overlapShift, int64_t{1});
    if (samples >= grid.length) grid.count = (samples - grid.length + grid.step) / grid.step;
    return grid;
}

std::vector<TraceStretch> CommonStretches(const CDataDoc& doc, std::span<const int> traces) {
    std::vector<TraceStretch> common = UnbrokenStretches(doc, traces.front());
    for (const int trace : traces.subspan(1)) {
        const std::vector<TraceStretch> others = UnbrokenStretches(doc, trace);
        std::vector<TraceStretch> both;
        for (size_t i = 0, j = 0; i < common.size() && j < others.size();) {
            const TraceStretch part{std::max(common[i].start, others[j].start),
                                    std::min(common[i].end, others[j].end)};
            if (part.Count() > 0) both.push_back(part);
            common[i].end < others[j].end ? ++i : ++j;
        }
        common = std::move(both);
    }
    return common;
}

SegmentReader::SegmentReader(SampleReader& samples, std::vector<int> traces,
                             std::vector<TraceStretch> stretches, int64_t length, int64_t end)
    : samples_(samples), stretches_(std::move(stretches)), length_(length), end_(end) {
    for (const int trace : traces) ahead_.push_back({trace, {}, 0, -1});
}

bool SegmentReader::IsUnbroken(int64_t from) {
    while (stretch_ < stretches_.size() && stretches_[stretch_].end < from + length_) ++stretch_;
    return stretch_ < stretches_.size() && stretches_[stretch_].start <= from;
}

void SegmentReader::FindFaulty(Ahead& ahead, int64_t from) {
    const auto begin = ahead.values.begin();
    const auto found = std::find_if(begin + (from - ahead.first), ahead.values.end(),
                                    [](float value) { return !std::isfinite(value); });
    ahead.faulty = found == ahead.values.end() ? -1 : ahead.first + (found - begin);
}

std::span<const float> SegmentReader::Read(Ahead& ahead, int64_t from) {
    if (from + length_ > ahead.End()) {
        const int64_t kept = std::clamp<int64_t>(ahead.End() - from, 0, ahead.End() - ahead.first);
        const int64_t more = std::min(end_ - from, std::max(length_, readAhead));
        std::copy(ahead.values.end() - kept, ahead.values.end(), ahead.values.begin());
        ahead.values.resize(static_cast<size_t>(more));
        ahead.first = from;
        samples_.ReadBlock(ahead.trace, from + kept,
                           std::span(ahead.values).subspan(static_cast<size_t>(kept)));
        FindFaulty(ahead, from);
    } else if (ahead.faulty >= 0 && ahead.faulty < from) {
        FindFaulty(ahead, from);
    }
    if (ahead.faulty >= 0 && ahead.faulty < from + length_)
        throw JobRefused(fmt::format(noNumberText, ahead.trace + 1,
                                     static_cast<double>(ahead.faulty) * samples_.GetSampleInterval()));
    return std::span(ahead.values)
        .subspan(static_cast<size_t>(from - ahead.first), static_cast<size_t>(length_));
}

bool SegmentReader::Add(int64_t from, CSpectrumEstimator& estimator) {
    if (!IsUnbroken(from)) return false;
    const auto a = Read(ahead_[0], from);
    if (ahead_.size() == 1)
        estimator.AddSegment(a);
    else
        estimator.AddSegment(a, Read(ahead_[1], from));
    return true;
}

}  // namespace kymora
