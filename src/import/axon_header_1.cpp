// Axon binary files of version 1: one header of fixed places.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "document/open_request.h"
#include "import/axon_header.h"

namespace kymora {

namespace {

constexpr uint64_t block1 = 512;  // bytes, of pointers
constexpr size_t leastHeader1 = 2048, longHeader1 = 6144;
constexpr size_t outputs1 = 2, epochs1 = 10;
constexpr int ports1 = 16;
constexpr uint64_t endOfTelegraphs = 4640;
constexpr const char* sequenceText1 = "Sampling sequence out of range. Please inform the author.";

// Some programs have written one port for all channels: then they lie in order.
std::vector<int> PortsOf(const FileFields& head, int channels) {
    std::vector<int> ports;
    for (int i = 0; i < channels; ++i) ports.push_back(head.I16(410 + 2 * static_cast<size_t>(i)));
    if (std::any_of(ports.begin(), ports.end(), [](int port) { return port < 0 || port >= ports1; }))
        throw OpenError(sequenceText1);
    if (std::set<int>(ports.begin(), ports.end()).size() != ports.size())
        for (int i = 0; i < channels; ++i) ports[static_cast<size_t>(i)] = i;
    return ports;
}

AxonChannel ChannelOf1(const FileFields& head, int port, bool hasTelegraphs) {
    const auto p = static_cast<size_t>(port);
    const bool hasConditioner = head.I16(1410) != 0;
    double product = double{head.F32(922 + 4 * p)} * head.F32(730 + 4 * p);
    if (hasTelegraphs && head.I16(4512 + 2 * p) != 0) product *= head.F32(4576 + 4 * p);
    if (hasConditioner) product *= head.F32(1050 + 4 * p);
    AxonChannel channel{head.Text(442 + 10 * p, 10), head.Text(602 + 8 * p, 8)};
    if (head.I16(100) != 1) channel.gain = AxonGain(head.F32(244), head.I32(252), product);
    channel.offset = double{head.F32(986 + 4 * p)} - (hasConditioner ? head.F32(1114 + 4 * p) : 0.0f);
    return channel;
}

// Six digits are of the years 1980 to 2079.
int DateOf(int32_t stored) {
    if (stored <= 0) return 0;
    if (stored >= 1000000) return stored;
    return stored + (stored >= 800000 ? 19000000 : 20000000);
}

// The epochs of the outputs that have any.
std::vector<std::string> EpochsOf(const FileFields& head) {
    std::vector<std::string> lines;
    for (size_t output = 0; output < outputs1; ++output) {
        if (head.I16(2296 + 2 * output) == 0 || head.I16(2300 + 2 * output) != 1) continue;
        for (size_t e = 0; e < epochs1; ++e) {
            const size_t i = epochs1 * output + e;
            const AxonEpoch epoch{head.Text(1306 + 10 * output, 10),
                                  head.Text(1346 + 8 * output, 8),
                                  static_cast<int>(e),
                                  head.I16(2308 + 2 * i),
                                  head.F32(2348 + 4 * i),
                                  head.F32(2428 + 4 * i),
                                  head.I32(2508 + 4 * i),
                                  head.I32(2588 + 4 * i)};
            if (std::string line = EpochText(epoch); !line.empty()) lines.push_back(std::move(line));
        }
    }
    return lines;
}

}  // namespace

AxonHeader ReadAxonHeader1(const DataFile& file, ByteOrder order, AxonPlaces& places) {
    if (file.Length() < leastHeader1) RefuseAxon("the file is too short.");
    const FileFields head(file, 0, std::min<uint64_t>(file.Length(), longHeader1), order);
    AxonHeader header;
    header.order = order;
    const double version = std::round(double{head.F32(4)} * 1000.0) / 1000.0;
    header.versionText = fmt::format("{:.4g}", version);
    if (head.I16(38) == 1) RefuseAxon("its numbers have a form that is no longer used.");
    header.mode = static_cast<AxonMode>(head.I16(8));
    header.isFloat = head.I16(100) == 1;
    const int channels = head.I16(120);
    if (channels < 1 || channels > ports1) throw OpenError(sequenceText1);
    const float second = head.F32(126);
    if (second != 0.0f && second != head.F32(122)) RefuseAxon("it has two sample intervals.");
    header.interval = std::round(double{head.F32(122)} * channels * 10.0) / 10.0;
    if (header.interval == 0.0) header.interval = double{head.F32(122)} * channels;
    const int64_t data = head.I32(40);
    const int sampleBytes = header.isFloat ? 4 : 2;
    header.dataStart = static_cast<uint64_t>(std::max<int64_t>(data, 0)) * block1;
    if (data > 0 && header.dataStart < leastHeader1) RefuseAxon("its data lie in its header.");
    const bool hasTelegraphs =
        version >= 1.6 && header.dataStart > endOfTelegraphs && head.Length() >= longHeader1;
    for (const int port : PortsOf(head, channels))
        header.channels.push_back(ChannelOf1(head, port, hasTelegraphs));
    if (data > 0) header.dataStart += static_cast<uint64_t>(std::max<int>(head.I16(14), 0)) * sampleBytes;
    header.preTrigger = std::max(head.I32(142), 0) / channels;
    header.date = DateOf(head.I32(20));
    if (head.I32(24) >= 0)
        header.timeMs = int64_t{head.I32(24)} * 1000 + std::clamp<int>(head.I16(366), 0, 999);
    header.creator = head.Text(294, 16);
    header.comment = head.Text(310, 56);
    if (head.Length() >= longHeader1 && version >= 1.6) {
        header.protocol = head.Text(4898, 256);
        header.protocolLines = EpochsOf(head);
        if (const std::string longer = head.Text(5154, 128); !longer.empty()) header.comment = longer;
    }
    places.samples = head.I32(10);
    places.episodes = head.I32(16);
    places.episodeSamples = head.I32(138);
    places.clockUs = head.F32(130);
    places.segments = static_cast<uint64_t>(std::max(head.I32(92), 0)) * block1;
    places.segmentCount = head.I32(96);
    places.tags = static_cast<uint64_t>(std::max(head.I32(44), 0)) * block1;
    places.tagCount = head.I32(48);
    return header;
}

}  // namespace kymora
