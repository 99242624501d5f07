#include "import/axon_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/open_request.h"

namespace kymora {

namespace {

constexpr uint64_t segmentBytes = 8, tagBytes = 64;
constexpr size_t tagTextBytes = 56;
constexpr int64_t mostTags = 1000000;

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

// Segments whose lengths make up the file's samples; of others nothing can be said.
bool TakeSegments(AxonHeader& header, const FileFields& list, int64_t total, double clock,
                  double lengthUnit) {
    const auto channels = static_cast<double>(header.channels.size());
    std::vector<AxonSegment> segments;
    int64_t first = 0;
    for (size_t at = 0; at + segmentBytes <= list.Length(); at += segmentBytes) {
        const double length = list.I32(at + 4) / lengthUnit / channels;
        if (!(length >= 0.0) || length > static_cast<double>(total)) return false;
        segments.push_back({list.I32(at) * clock, first, std::llround(length)});
        first += segments.back().length;
    }
    if (first != total) return false;
    std::erase_if(segments, [](const AxonSegment& segment) { return segment.length == 0; });
    header.segments = std::move(segments);
    return true;
}

void ReadSegments(const DataFile& file, AxonHeader& header, const AxonPlaces& places) {
    const int64_t total = places.samples / static_cast<int64_t>(header.channels.size());
    if (header.mode == AxonMode::gapFree) return;
    bool isTaken = false;
    if (places.segments != 0 && places.segmentCount > 0) {
        const FileFields list(file, places.segments,
                              segmentBytes * static_cast<uint64_t>(places.segmentCount), header.order);
        isTaken = TakeSegments(header, list, total, places.clock, 1.0) ||
                  (places.clockUs > 0.0 && TakeSegments(header, list, total, places.clock, places.clockUs));
    }
    // Old files, and those whose list does not fit, have episodes of one length.
    const int64_t episodes = std::clamp<int64_t>(places.episodes, 1, total);
    const int64_t length = total / episodes;
    for (int64_t e = 0; !isTaken && e < episodes; ++e)
        header.segments.push_back(
            {static_cast<double>(e * length) * header.interval * 1e-6, e * length, length});
    if (!isTaken) header.segments.back().length = total - header.segments.back().first;
    // What the file lost at its end.
    std::erase_if(header.segments, [&](const AxonSegment& s) { return s.first >= header.samples; });
    AxonSegment& last = header.segments.back();
    last.length = std::min(last.length, header.samples - last.first);
}

void ReadTags(const DataFile& file, AxonHeader& header, const AxonPlaces& places) {
    if (places.tags == 0 || places.tagCount <= 0) return;
    if (places.tagCount > mostTags) RefuseAxon("it states more tags than there can be.");
    const FileFields list(file, places.tags, tagBytes * static_cast<uint64_t>(places.tagCount), header.order);
    for (size_t at = 0; at < list.Length(); at += tagBytes)
        header.tags.push_back({list.I32(at) * places.clock, list.Text(at + 4, tagTextBytes)});
}

}  // namespace

void RefuseAxon(const std::string& why) { throw OpenError("ABF_ReadOpen error\nABF Error: " + why); }

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
