#include "import/intan_header.h"

#include <fmt/format.h>

#include <algorithm>

#include "archive/text_encoding.h"
#include "document/open_request.h"
#include "import/file_fields.h"

namespace kymora {

namespace {

constexpr uint32_t rhdMark = 0xC6912702, rhsMark = 0xD69127AC, nullText = 0xFFFFFFFF;
constexpr uint64_t mostHeaderBytes = 8 << 20;
constexpr int mostGroups = 256, mostChannels = 65536;

class IntanFields {
  public:
    explicit IntanFields(const DataFile& file)
        : fields_(file, 0, std::min<uint64_t>(file.Length(), mostHeaderBytes)) {}
    uint64_t At() const { return at_; }
    uint32_t U32() { return fields_.U32(Step(4)); }
    int I16() { return fields_.I16(Step(2)); }
    double F32() { return fields_.F32(Step(4)); }
    void Skip(size_t bytes) { at_ += bytes; }
    std::string Text() {
        const uint32_t bytes = U32();
        if (bytes == 0 || bytes == nullText) return {};
        const std::string_view raw = fields_.Bytes(Step(bytes), bytes);
        std::u16string units(bytes / 2, u'\0');
        std::copy_n(raw.data(), units.size() * 2, reinterpret_cast<char*>(units.data()));
        return WideToText(units);
    }

  private:
    size_t Step(size_t bytes) {
        const size_t at = at_;
        at_ += bytes;
        return at;
    }
    FileFields fields_;
    size_t at_ = 0;
};

// What a channel's number of its type stands for.
bool SignalOf(const IntanHeader& header, int type, IntanSignal& signal) {
    constexpr IntanSignal rhd[] = {IntanSignal::amplifier, IntanSignal::auxiliary, IntanSignal::supply,
                                   IntanSignal::adc,       IntanSignal::digitalIn, IntanSignal::digitalOut};
    constexpr IntanSignal rhs[] = {IntanSignal::amplifier, IntanSignal::auxiliary, IntanSignal::supply,
                                   IntanSignal::adc,       IntanSignal::dac,       IntanSignal::digitalIn,
                                   IntanSignal::digitalOut};
    const auto kinds = header.isStimulator ? std::span<const IntanSignal>(rhs) : std::span(rhd);
    if (type < 0 || static_cast<size_t>(type) >= kinds.size()) return false;
    signal = kinds[static_cast<size_t>(type)];
    return true;
}

void ReadGroup(IntanFields& fields, IntanHeader& header) {
    fields.Text();
    fields.Text();
    const bool isEnabled = fields.I16() != 0;
    const int channels = fields.I16();
    fields.Skip(2);
    if (!isEnabled) return;
    for (int c = 0; c < channels; ++c) {
        IntanChannel channel;
        channel.native = fields.Text();
        channel.custom = fields.Text();
        channel.order = fields.I16();
        fields.Skip(2);
        const int type = fields.I16();
        const bool isOn = fields.I16() != 0;
        fields.Skip(header.isStimulator ? 6 : 4);
        fields.Skip(8 + 8);  // triggers, impedance
        if (isOn && !SignalOf(header, type, channel.signal))
            throw OpenError(fmt::format("A channel of this Intan file has the unknown type {}.", type));
        if (isOn) header.channels.push_back(std::move(channel));
        if (header.channels.size() > mostChannels)
            throw OpenError("The header of this Intan file is damaged.");
    }
}

// What comes with every amplifier, and sensors that are no channels.
void AddImplied(IntanHeader& header) {
    const std::vector<IntanChannel> own = header.channels;
    for (const IntanChannel& channel : own) {
        if (channel.signal != IntanSignal::amplifier || !header.isStimulator) continue;
        if (header.dcSaved)
            header.channels.push_back(
                {IntanSignal::dc, channel.native, "DC " + channel.Name(), channel.order});
        header.channels.push_back(
            {IntanSignal::stimulation, channel.native, "Stim " + channel.Name(), channel.order});
    }
    for (int i = 0; i < header.temperatureSensors; ++i)
        header.channels.push_back({IntanSignal::temperature, fmt::format("Temperature {}", i + 1), {}, i});
    std::stable_sort(header.channels.begin(), header.channels.end(),
                     [](const IntanChannel& a, const IntanChannel& b) { return a.signal < b.signal; });
}

}  // namespace

int IntanHeader::Count(IntanSignal signal) const {
    return static_cast<int>(std::count_if(channels.begin(), channels.end(),
                                          [&](const IntanChannel& c) { return c.signal == signal; }));
}

IntanHeader ReadIntanHeader(const DataFile& file) {
    IntanFields fields(file);
    IntanHeader header;
    const uint32_t mark = fields.U32();
    if (mark != rhdMark && mark != rhsMark)
        throw OpenError("This file does not begin as an Intan file does.");
    header.isStimulator = mark == rhsMark;
    header.major = fields.I16();
    header.minor = fields.I16();
    const auto isFrom = [&](int major, int minor) {
        return header.isStimulator || header.major > major ||
               (header.major == major && header.minor >= minor);
    };
    header.rate = fields.F32();
    fields.Skip(2 + 4);  // digital filter, its cutoff
    header.lower = fields.F32();
    if (header.isStimulator) fields.Skip(4);
    header.upper = fields.F32();
    fields.Skip(header.isStimulator ? 16 : 12);  // desired ones
    header.notch = fields.I16();
    fields.Skip(8);
    if (header.isStimulator) fields.Skip(2 + 2 + 3 * 4);
    for (int i = 0; i < 3; ++i)
        if (std::string note = fields.Text(); !note.empty()) header.notes.push_back(std::move(note));
    if (header.isStimulator) header.dcSaved = fields.I16() != 0;
    if (!header.isStimulator && isFrom(1, 1)) header.temperatureSensors = fields.I16();
    if (isFrom(1, 3)) header.boardMode = fields.I16();
    if (isFrom(2, 0)) header.reference = fields.Text();
    const int groups = fields.I16();
    if (groups < 0 || groups > mostGroups || header.temperatureSensors < 0 ||
        header.temperatureSensors > mostGroups)
        throw OpenError("The header of this Intan file is damaged.");
    for (int g = 0; g < groups; ++g) ReadGroup(fields, header);
    header.length = fields.At();
    AddImplied(header);
    return header;
}

}  // namespace kymora
