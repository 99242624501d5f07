#include "document/sample_statistics.h"

#include "document/sample_scan.h"
#include "numerics/least_active_window.h"

namespace kymora {

namespace {

// The samples of a stretch that the recording holds, gaps not counted.
int64_t CountStored(const SampleReader& reader, int trace, int64_t from, int64_t count) {
    if (reader.HasNoData() || count <= 0) return 0;
    const int64_t length = reader.GetTraceLength(trace);
    const int64_t first = std::clamp<int64_t>(from, 0, length);
    return reader.CountValid(trace, first, std::clamp<int64_t>(from + count, first, length));
}

}  // namespace

MeanSd GetMeanSd(SampleReader& reader, int trace, int64_t from, int64_t count, ProgressScope* progress) {
    MeanSdSum sum;
    ScanValidSamples(reader, trace, from, count, [&](std::span<const float> samples) {
        sum.Add(samples);
        if (progress) progress->Step(samples.size());
        return true;
    });
    return sum.Result();
}

MedianRobustSd GetMedianRobustSd(SampleReader& reader, int trace, int64_t from, int64_t count) {
    std::vector<float> kept;
    kept.reserve(static_cast<size_t>(CountStored(reader, trace, from, count)));
    ScanValidSamples(reader, trace, from, count, [&kept](std::span<const float> samples) {
        AppendFinite(samples, kept);
        return true;
    });
    return GetMedianRobustSd(std::move(kept));
}

PercentileValues GetPercentileValues(SampleReader& reader, int trace, int64_t from, int64_t count,
                                     double percent) {
    PercentileSearch search(CountStored(reader, trace, from, count), percent);
    ScanValidSamples(reader, trace, from, count, [&search](std::span<const float> samples) {
        search.Add(samples);
        return true;
    });
    return search.Result();
}

int64_t FindLeastActiveWindow(SampleReader& reader, int trace, int64_t from, int64_t count, int64_t length,
                              Progress* progress) {
    if (count < length) return from;
    LeastActiveWindow search(length);
    LeastActiveWindow::Poll goOn;
    if (progress != nullptr)
        goOn = [progress](int64_t done) { return progress->Update(static_cast<uint64_t>(done)); };
    const bool finished = ScanValidSamples(reader, trace, from, count, [&](std::span<const float> samples) {
        return search.Add(samples, goOn);
    });
    if (!finished) return noWindow;
    return search.Start() < 0 ? from : from + search.Start();
}

}  // namespace kymora
