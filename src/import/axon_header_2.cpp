// Axon binary files of version 2: a table of sections.

#include <fmt/format.h>

#include <algorithm>

#include "document/open_request.h"
#include "import/axon_header.h"

namespace kymora {

namespace {

constexpr uint64_t block2 = 512;  // bytes, of pointers
constexpr size_t fixedBytes2 = 512, stringHead = 44;
constexpr int64_t mostEntries = 1000000;
constexpr uint64_t mostEntryBytes = 1024, mostStringBytes = 16 << 20;
constexpr size_t mostProtocolLines = 200;
enum SectionAt : size_t {
    protocolAt = 76,
    adcAt = 92,
    dacAt = 108,
    epochPerDacAt = 156,
    userListAt = 172,
    stringsAt = 220,
    dataAt = 236,
    tagAt = 252,
    synchAt = 316,
};

struct Section2 {
    uint64_t offset = 0, entryBytes = 0;
    int64_t count = 0;
};

class AxonReader2 {
  public:
    explicit AxonReader2(const DataFile& file) : file_(file), fixed_(file, 0, fixedBytes2) {}
    AxonHeader Read(AxonPlaces& places);

  private:
    Section2 SectionOf(SectionAt at) const;
    FileFields Entry(const Section2& section, int64_t i) const;
    void CheckApart() const;
    void ReadStrings();
    std::string String(int64_t index) const;
    void ReadChannels(const FileFields& protocol);
    void ReadEpochs();
    void ReadUserLists();

    const DataFile& file_;
    FileFields fixed_;
    AxonHeader header_;
    std::vector<std::string> strings_;
};

Section2 AxonReader2::SectionOf(SectionAt at) const {
    const Section2 section{fixed_.U32(at) * block2, fixed_.U32(at + 4), fixed_.I64(at + 8)};
    return section.offset == 0 || section.count < 0 ? Section2{} : section;
}

FileFields AxonReader2::Entry(const Section2& section, int64_t i) const {
    return {file_, section.offset + static_cast<uint64_t>(i) * section.entryBytes,
            std::min<uint64_t>(section.entryBytes, mostEntryBytes)};
}

void AxonReader2::CheckApart() const {
    std::vector<std::pair<double, double>> extents;  // bytes; damaged ones may be beyond any file
    for (const SectionAt at :
         {protocolAt, adcAt, dacAt, epochPerDacAt, userListAt, stringsAt, dataAt, tagAt, synchAt}) {
        const Section2 section = SectionOf(at);
        if (section.offset == 0 || section.count == 0) continue;
        const double entries = at == stringsAt ? 1.0 : static_cast<double>(section.count);
        const auto begin = static_cast<double>(section.offset);
        extents.emplace_back(begin, begin + entries * static_cast<double>(section.entryBytes));
    }
    std::sort(extents.begin(), extents.end());
    for (size_t i = 1; i < extents.size(); ++i)
        if (extents[i].first < extents[i - 1].second) RefuseAxon("its sections lie upon each other.");
}

// A head that counts them, and then texts that end with a zero.
void AxonReader2::ReadStrings() {
    const Section2 section = SectionOf(stringsAt);
    if (section.offset == 0 || section.entryBytes < stringHead) return;
    const FileFields blob(file_, section.offset, std::min(section.entryBytes, mostStringBytes));
    if (blob.Bytes(0, 4) != "SSCH") return;
    const int64_t count = blob.U32(8);
    for (size_t at = stringHead; at < blob.Length() && static_cast<int64_t>(strings_.size()) < count;) {
        const std::string_view rest = blob.Bytes(at, blob.Length() - at);
        const size_t length = std::min(rest.find('\0'), rest.size());
        strings_.push_back(TextOfUnknownEncoding(rest.substr(0, length)));
        at += length + 1;
    }
}

// Counted from 1; 0 is none.
std::string AxonReader2::String(int64_t index) const {
    const bool isThere = index >= 1 && index <= static_cast<int64_t>(strings_.size());
    return isThere ? strings_[static_cast<size_t>(index) - 1] : std::string();
}

void AxonReader2::ReadChannels(const FileFields& protocol) {
    constexpr int64_t mostChannels2 = 128;
    const Section2 section = SectionOf(adcAt);
    const bool hasConditioner = protocol.I16(138) != 0;
    if (section.count < 1 || section.count > mostChannels2)
        throw OpenError("Sampling sequence out of range. Please inform the author.");
    for (int64_t i = 0; i < section.count; ++i) {
        const FileFields adc = Entry(section, i);
        double product = double{adc.F32(40)} * adc.F32(28);
        if (adc.I16(2) != 0) product *= adc.F32(6);
        if (hasConditioner) product *= adc.F32(48);
        AxonChannel channel{String(adc.I32(74)), String(adc.I32(78))};
        if (!header_.isFloat) channel.gain = AxonGain(protocol.F32(110), protocol.I32(118), product);
        channel.offset = double{adc.F32(44)} - (hasConditioner ? adc.F32(52) : 0.0f);
        header_.channels.push_back(std::move(channel));
    }
}

// What the output did.
void AxonReader2::ReadEpochs() {
    const Section2 dacs = SectionOf(dacAt), epochs = SectionOf(epochPerDacAt);
    constexpr size_t dacBytes = 44, epochBytes = 30;
    if (dacs.entryBytes < dacBytes || epochs.entryBytes < epochBytes || epochs.count > mostEntries) return;
    for (int64_t e = 0; e < epochs.count && header_.protocolLines.size() < mostProtocolLines; ++e) {
        const FileFields entry = Entry(epochs, e);
        for (int64_t d = 0; d < std::min<int64_t>(dacs.count, 16); ++d) {
            const FileFields dac = Entry(dacs, d);
            if (dac.I16(0) != entry.I16(2) || dac.I16(40) == 0 || dac.I16(42) != 1) continue;
            const AxonEpoch epoch{String(dac.I32(24)), String(dac.I32(28)), entry.I16(0),  entry.I16(4),
                                  entry.F32(6),        entry.F32(10),       entry.I32(14), entry.I32(18)};
            if (std::string line = EpochText(epoch); !line.empty())
                header_.protocolLines.push_back(std::move(line));
        }
    }
}

void AxonReader2::ReadUserLists() {
    const Section2 lists = SectionOf(userListAt);
    constexpr size_t listBytes = 12;
    if (lists.entryBytes < listBytes) return;
    for (int64_t i = 0; i < std::min<int64_t>(lists.count, 16); ++i) {
        const FileFields list = Entry(lists, i);
        const std::string values = String(list.I32(8));
        if (list.I16(2) != 0 && !values.empty())
            header_.protocolLines.push_back(fmt::format("User list {}: {}", i + 1, values));
    }
}

AxonHeader AxonReader2::Read(AxonPlaces& places) {
    header_.version = 2;
    header_.versionText = fmt::format("{}.{}.{}.{}", fixed_.U8(7), fixed_.U8(6), fixed_.U8(5), fixed_.U8(4));
    CheckApart();
    ReadStrings();
    const Section2 protocols = SectionOf(protocolAt);
    if (protocols.offset == 0) RefuseAxon("it has no section of its protocol.");
    const FileFields protocol = Entry(protocols, 0);
    header_.mode = static_cast<AxonMode>(protocol.I16(0));
    header_.interval = protocol.F32(2);
    header_.isFloat = fixed_.U16(30) == 1;
    ReadChannels(protocol);
    header_.preTrigger = std::max(protocol.I32(26), 0) / static_cast<int32_t>(header_.channels.size());
    if (const uint32_t date = fixed_.U32(16); date < 100000000) header_.date = static_cast<int>(date);
    if (const uint32_t time = fixed_.U32(20); time < 86400000) header_.timeMs = time;
    header_.creator = String(fixed_.U32(60));
    header_.protocol = String(fixed_.U32(72));
    header_.comment = String(protocol.I32(132));
    ReadEpochs();
    ReadUserLists();
    const Section2 data = SectionOf(dataAt), synch = SectionOf(synchAt), tags = SectionOf(tagAt);
    header_.dataStart = data.offset;
    places.samples = data.count;
    places.episodes = fixed_.U32(12);
    places.clockUs = protocol.F32(14);
    places.segments = synch.offset;
    places.segmentCount = synch.count;
    places.segmentBytes = synch.entryBytes;
    places.tagBytes = tags.entryBytes;
    places.episodeSamples = protocol.I32(22);
    places.tags = tags.offset;
    places.tagCount = tags.count;
    return std::move(header_);
}

}  // namespace

AxonHeader ReadAxonHeader2(const DataFile& file, AxonPlaces& places) {
    return AxonReader2(file).Read(places);
}

}  // namespace kymora
