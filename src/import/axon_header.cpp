#include "import/axon_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/open_request.h"

namespace kymora {

namespace {

constexpr size_t leastSegmentBytes = 8, tagTextAt = 4, tagTextBytes = 56;
constexpr int64_t mostTags = 1000000;
// Of sweeps that no list tells: what a header states of them may be anything.
constexpr int64_t mostStatedSweeps = 100000, leastSweep = 16;

void ClipSamples(const DataFile& file, AxonHeader& header, const AxonPlaces& places) {
    const auto channels = static_cast<int64_t>(header.channels.size());
    if (places.samples <= 0 || header.dataStart == 0) throw OpenError("This file does not contain any data.");
    const uint64_t size = file.Length();
    const uint64_t bytes = size > header.dataStart ? size - header.dataStart : 0;
    const auto held = static_cast<int64_t>(bytes / (header.isFloat ? 4 : 2));
    header.isCut = held < places.samples;
    header.samples = std::min(held, places.samples) / channels;
    if (header.samples == 0) throw OpenError("This file does not contain any data.");
}

// As many whole entries of a list as the file holds.
FileFields WholeEntries(const DataFile& file, const AxonHeader& header, uint64_t offset, uint64_t bytes,
                        int64_t count) {
    const uint64_t size = file.Length();
    const uint64_t held = offset < size ? (size - offset) / bytes : 0;
    const uint64_t taken = std::min(held, static_cast<uint64_t>(count));
    return {file, taken == 0 ? 0 : offset, taken * bytes, header.order};
}

// Segments whose lengths make up the file's samples, or of a list that lost its end no more than these; of
// others nothing can be said.
bool TakeSegments(AxonHeader& header, const FileFields& list, const AxonPlaces& places, double lengthUnit) {
    const auto channels = static_cast<int64_t>(header.channels.size());
    const int64_t total = places.samples / channels;
    const bool isWhole = list.Length() / places.segmentBytes == static_cast<uint64_t>(places.segmentCount);
    std::vector<AxonSegment> segments;
    int64_t first = 0;
    for (size_t at = 0; at < list.Length(); at += places.segmentBytes) {
        const double length = list.I32(at + 4) / lengthUnit / static_cast<double>(channels);
        if (!(length >= 0.0) || length > static_cast<double>(total)) return false;
        segments.push_back({list.I32(at) * places.clock, first, std::llround(length)});
        first += segments.back().length;
    }
    if (isWhole ? first != total : first > total) return false;
    std::erase_if(segments, [](const AxonSegment& segment) { return segment.length == 0; });
    header.segments = std::move(segments);
    return true;
}

// Sweeps of one length behind those that are known, one after another. The last takes what is left over
// where `joinsRest`.
void AddEqualSweeps(AxonHeader& header, int64_t total, int64_t length, bool joinsRest) {
    const AxonSegment known = header.segments.empty() ? AxonSegment{} : header.segments.back();
    for (int64_t first = known.first + known.length; first < total;) {
        const int64_t left = total - first;
        const int64_t taken = joinsRest && left < 2 * length ? left : std::min(length, left);
        header.segments.push_back(
            {known.start + static_cast<double>(first - known.first) * header.interval * 1e-6, first, taken});
        first += taken;
    }
}

bool CanBeSweeps(int64_t count, int64_t length) {
    return count == 1 || (count > 1 && count <= mostStatedSweeps && length >= leastSweep);
}

void ReadSegments(const DataFile& file, AxonHeader& header, const AxonPlaces& places) {
    if (header.mode == AxonMode::gapFree) return;
    const auto channels = static_cast<int64_t>(header.channels.size());
    const int64_t total = places.samples / channels;
    bool isTaken = false, isLost = false;
    if (places.segments != 0 && places.segmentCount > 0 && places.segmentBytes >= leastSegmentBytes) {
        const FileFields list =
            WholeEntries(file, header, places.segments, places.segmentBytes, places.segmentCount);
        isLost = list.Length() / places.segmentBytes < static_cast<uint64_t>(places.segmentCount);
        isTaken = TakeSegments(header, list, places, 1.0) ||
                  (places.clockUs > 0.0 && TakeSegments(header, list, places, places.clockUs));
    }
    if (isLost)
        header.warnings.push_back("The end of this file is missing, and with it times of its sweeps. Those "
                                  "sweeps are shown one after another, in the length that "
                                  "its header states.");
    // Old files, and those whose list does not fit, have episodes of one length.
    if (!isTaken || isLost) {
        const int64_t stated = std::max<int64_t>(places.episodes, 1),
                      length = places.episodeSamples / channels;
        const bool hasLength = header.mode != AxonMode::variableLength && length > 0 && length <= total &&
                               CanBeSweeps((total + length - 1) / length, length);
        const bool hasCount = stated <= total && CanBeSweeps(stated, total / stated);
        const bool hasRest = isLost && (header.mode == AxonMode::variableLength || !header.segments.empty());
        if (!hasCount && !isLost)
            header.warnings.push_back(
                fmt::format("The header states {} sweeps, which {} samples cannot be.", stated, total));
        if (hasLength && (isLost || !hasCount))
            AddEqualSweeps(header, total, length, false);
        else
            AddEqualSweeps(header, total, hasCount && !hasRest ? total / stated : total, true);
    }
    // What the file lost at its end.
    std::erase_if(header.segments, [&](const AxonSegment& s) { return s.first >= header.samples; });
    AxonSegment& last = header.segments.back();
    last.length = std::min(last.length, header.samples - last.first);
}

void ReadTags(const DataFile& file, AxonHeader& header, const AxonPlaces& places) {
    if (places.tags == 0 || places.tagCount <= 0 || places.tagBytes < tagTextAt) return;
    const FileFields list =
        WholeEntries(file, header, places.tags, places.tagBytes, std::min(places.tagCount, mostTags));
    const size_t textBytes = std::min<size_t>(places.tagBytes - tagTextAt, tagTextBytes);
    for (size_t at = 0; at < list.Length(); at += places.tagBytes)
        header.tags.push_back({list.I32(at) * places.clock, list.Text(at + tagTextAt, textBytes)});
    if (const auto held = static_cast<int64_t>(header.tags.size()); held < places.tagCount)
        header.warnings.push_back(
            fmt::format("This file holds {} of the {} tags that its header states.", held, places.tagCount));
}

}  // namespace

void RefuseAxon(const std::string& why) { throw OpenError("ABF_ReadOpen error\nABF Error: " + why); }

std::string EpochText(const AxonEpoch& epoch) {
    constexpr const char* types[] = {"off",         "step",           "ramp",
                                     "pulse train", "triangle train", "cosine train",
                                     "resistance",  "biphasic train"};
    if (epoch.type < 1 || epoch.type >= static_cast<int>(std::size(types))) return {};
    return fmt::format("{}, epoch {}: {} to {:.6g} {}, {:+.6g} each sweep, {} samples{}", epoch.output,
                       static_cast<char>('A' + std::clamp(epoch.number, 0, 25)), types[epoch.type],
                       epoch.level, epoch.units, epoch.levelStep, epoch.samples,
                       epoch.samplesStep == 0 ? std::string()
                                              : fmt::format(", {:+} each sweep", epoch.samplesStep));
}

double AxonGain(double range, double resolution, double product) {
    if (resolution == 0.0 || range == 0.0 || !std::isfinite(range))
        RefuseAxon("it states no range of the converter.");
    return range / resolution / (product == 0.0 || !std::isfinite(product) ? 1.0 : product);
}

AxonHeader ReadAxonHeader(const DataFile& file) {
    constexpr size_t markBytes = 4;
    const std::string_view known[] = {"ABF ", " FBA", "ABF2"};
    const FileFields start(file, 0, std::min<uint64_t>(file.Length(), markBytes));
    const auto mark = std::find(std::begin(known), std::end(known), start.Bytes(0, start.Length()));
    AxonPlaces places;
    AxonHeader header;
    if (mark == std::end(known)) RefuseAxon("it does not begin as Axon binary files do.");
    if (*mark == "ABF2")
        header = ReadAxonHeader2(file, places);
    else
        header = ReadAxonHeader1(file, *mark == "ABF " ? ByteOrder::little : ByteOrder::big, places);
    if (header.mode < AxonMode::variableLength || header.mode > AxonMode::episodic)
        RefuseAxon(fmt::format("its mode of acquisition, {}, is not known.", static_cast<int>(header.mode)));
    if (!(header.interval > 0.0) || !std::isfinite(header.interval))
        RefuseAxon(fmt::format("it states a sample interval of {} us.", header.interval));
    ClipSamples(file, header, places);
    const double multiplexed = header.interval / static_cast<double>(header.channels.size());
    places.clock = (places.clockUs > 0.0 ? places.clockUs : multiplexed) * 1e-6;
    ReadSegments(file, header, places);
    ReadTags(file, header, places);
    return header;
}

}  // namespace kymora
