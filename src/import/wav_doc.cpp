#include "import/wav_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

#include "archive/text_reader.h"
#include "host/file_names.h"

namespace kymora {

namespace {

constexpr uint64_t mostChunkBytes = 16 << 20;  // of those that hold no samples
constexpr uint32_t sizeElsewhere = 0xFFFFFFFF;
constexpr size_t mostEventLists = 26;
enum WavTag : int { wavPcm = 1, wavFloat = 3, wavALaw = 6, wavMuLaw = 7, wavExtensible = 0xFFFE };

struct Chunk {
    std::string id;
    uint64_t start = 0, length = 0;
};

[[noreturn]] void RefuseWav(const std::string& why) {
    throw OpenError("This audio file cannot be read: " + why);
}

class WavReader {
  public:
    explicit WavReader(const DataFile& file) : file_(file) {}
    ForeignRecording Read();

  private:
    void FindChunks();
    FileFields Fields(const Chunk& chunk) const {
        return {file_, chunk.start, std::min(chunk.length, mostChunkBytes), order_};
    }
    const Chunk* Find(std::string_view id) const;
    void TakeFormat();
    void AddTraces();
    void TakeCues();
    void TakeList(const FileFields& list);
    void TakeInfo(const FileFields& list);
    void TakeAdditional(const FileFields& list);
    void TakeBroadcast();

    const DataFile& file_;
    ByteOrder order_ = ByteOrder::little;
    bool isLarge_ = false;
    std::vector<Chunk> chunks_;
    ForeignRecording recording_;
    int tag_ = 0, channels_ = 0, bits_ = 0, bytes_ = 0;
    uint32_t rate_ = 0;
    int64_t blocks_ = 0;
    std::map<uint32_t, std::string> cueNames_;
    std::map<uint32_t, uint32_t> cueLengths_;
};

ForeignRecording WavReader::Read() {
    if (file_.Length() < 12) RefuseWav("it is too short.");
    const FileFields head(file_, 0, 12);
    const std::string_view mark = head.Bytes(0, 4);
    isLarge_ = mark == "RF64" || mark == "BW64";
    if (mark == "RIFX") order_ = ByteOrder::big;
    if ((mark != "RIFF" && mark != "RIFX" && !isLarge_) || head.Bytes(8, 4) != "WAVE")
        RefuseWav("it does not begin as such files do.");
    FindChunks();
    TakeFormat();
    AddTraces();
    for (const Chunk& chunk : chunks_)
        if (chunk.id == "LIST") TakeList(Fields(chunk));
    TakeCues();
    TakeBroadcast();
    recording_.details = {{"File type", "Wave audio"},
                          {"Samples", fmt::format("{} bits, {}", bits_, tag_ == wavFloat ? "float" : "PCM")},
                          {"Sample rate", fmt::format("{} Hz", rate_)},
                          {"Channels", std::to_string(channels_)}};
    return std::move(recording_);
}

// Their order is free. The size of the whole is not relied on; samples of which the size is not known, or is
// more than the file holds, go to its end.
void WavReader::FindChunks() {
    const uint64_t size = file_.Length();
    uint64_t largeData = 0;
    for (uint64_t at = 12; at + 8 <= size;) {
        const FileFields head(file_, at, 8, order_);
        Chunk chunk{std::string(head.Bytes(0, 4)), at + 8, head.U32(4)};
        if (chunk.id == "ds64" && chunk.length >= 16) {
            const auto stated = static_cast<uint64_t>(Fields(chunk).I64(8));
            largeData = stated;
        }
        if (chunk.id == "data" && chunk.length == sizeElsewhere && isLarge_) chunk.length = largeData;
        const bool isUnfinished =
            chunk.id == "data" && (chunk.length == 0 || chunk.length > size - chunk.start);
        if (isUnfinished) chunk.length = size - chunk.start;
        chunk.length = std::min(chunk.length, size - chunk.start);
        at = chunk.start + chunk.length + chunk.length % 2;
        chunks_.push_back(std::move(chunk));
        if (chunks_.size() > 100000) RefuseWav("it has too many parts.");
    }
}

const Chunk* WavReader::Find(std::string_view id) const {
    const auto found =
        std::find_if(chunks_.begin(), chunks_.end(), [&](const Chunk& c) { return c.id == id; });
    return found == chunks_.end() ? nullptr : &*found;
}

void WavReader::TakeFormat() {
    const Chunk* chunk = Find("fmt ");
    if (!chunk) RefuseWav("it does not tell its format.");
    const FileFields format = Fields(*chunk);
    tag_ = format.U16(0);
    channels_ = format.U16(2);
    rate_ = format.U32(4);
    const int blockBytes = format.U16(12);
    bits_ = format.U16(14);
    if (tag_ == wavExtensible) tag_ = format.U16(24);
    if (channels_ < 1 || rate_ < 1) RefuseWav("it states no channels, or no sample rate.");
    if (channels_ > maxTraces) throw OpenError(tooManyChannelsText);
    bytes_ = blockBytes > 0 ? blockBytes / channels_ : (bits_ + 7) / 8;
    const bool isPcm = tag_ == wavPcm && bytes_ >= 1 && bytes_ <= 4;
    const bool isFloat = tag_ == wavFloat && (bytes_ == 4 || bytes_ == 8);
    if (tag_ == wavALaw || tag_ == wavMuLaw)
        RefuseWav("its samples are compressed (A-law or mu-law). Convert it to linear PCM.");
    if (!(isPcm || isFloat) || (blockBytes > 0 && blockBytes % channels_ != 0))
        RefuseWav(fmt::format("its samples have a form ({}, {} bits) that is not known.", tag_, bits_));
}

void WavReader::AddTraces() {
    const Chunk* data = Find("data");
    if (!data) RefuseWav("it holds no samples.");
    const auto blockBytes = static_cast<uint64_t>(bytes_) * static_cast<uint64_t>(channels_);
    blocks_ = static_cast<int64_t>(data->length / blockBytes);
    if (blocks_ == 0) RefuseWav("it holds no samples.");
    if (blocks_ > longestRecording) throw OpenError(tooLongText);
    recording_.interval = 1000.0 / rate_;
    constexpr NumberType pcm[] = {NumberType::u8, NumberType::i16, NumberType::i24, NumberType::i32};
    const NumberType type = tag_ == wavPcm ? pcm[bytes_ - 1]
                            : bytes_ == 4  ? NumberType::f32
                                           : NumberType::f64;
    for (int c = 0; c < channels_; ++c) {
        ForeignTrace& trace = recording_.traces.emplace_back();
        trace.label = fmt::format("Channel {}", c + 1);
        trace.source.type = type;
        trace.source.order = order_;
        trace.source.stride = static_cast<uint32_t>(blockBytes);
        if (type == NumberType::u8) trace.source.scales = {{1.0, -128.0}};
        trace.source.Add(0, blocks_, data->start + static_cast<uint64_t>(bytes_) * static_cast<uint64_t>(c));
    }
}

void WavReader::TakeList(const FileFields& list) {
    if (list.Length() < 4) return;
    if (list.Bytes(0, 4) == "INFO") TakeInfo(list);
    if (list.Bytes(0, 4) == "adtl") TakeAdditional(list);
}

// Calls take(id, place of the body, its length) for each part of a list.
template <typename Take>
void ForParts(const FileFields& list, Take take) {
    for (size_t at = 4; at + 8 <= list.Length();) {
        const size_t length = std::min<size_t>(list.U32(at + 4), list.Length() - at - 8);
        take(list.Bytes(at, 4), at + 8, length);
        at += 8 + length + length % 2;
    }
}

void WavReader::TakeInfo(const FileFields& list) {
    constexpr std::pair<std::string_view, const char*> names[] = {
        {"INAM", "Title"},    {"IART", "Artist"},  {"ICMT", "Comment"},  {"ICRD", "Date"},
        {"ISFT", "Software"}, {"ISBJ", "Subject"}, {"IENG", "Engineer"}, {"ICOP", "Copyright"}};
    ForParts(list, [&](std::string_view id, size_t at, size_t length) {
        for (const auto& [known, name] : names)
            if (id == known) recording_.comment += fmt::format("{}: {}\r\n", name, list.Text(at, length));
    });
}

void WavReader::TakeAdditional(const FileFields& list) {
    ForParts(list, [&](std::string_view id, size_t at, size_t length) {
        if (length < 4) return;
        if (id == "labl" || (id == "note" && !cueNames_.contains(list.U32(at))))
            cueNames_[list.U32(at)] = list.Text(at + 4, length - 4);
        if (id == "ltxt" && length >= 8) cueLengths_[list.U32(at)] = list.U32(at + 4);
    });
}

void WavReader::TakeCues() {
    constexpr size_t cueBytes = 24;
    const Chunk* chunk = Find("cue ");
    if (!chunk || chunk->length < 4) return;
    const FileFields cues = Fields(*chunk);
    ForeignEvents found{"Cues", "Cue points of the file"};
    const size_t count = std::min<size_t>(cues.U32(0), (cues.Length() - 4) / cueBytes);
    for (size_t i = 0; i < count; ++i) {
        const size_t at = 4 + cueBytes * i;
        const uint32_t id = cues.U32(at), position = cues.U32(at + 20);
        if (position > longestRecording) continue;
        CEventKM event = MakeEvent(static_cast<int32_t>(position), cueNames_[id]);
        if (const int64_t end = int64_t{position} + cueLengths_[id]; end > event.offPosition)
            event.offPosition = static_cast<int32_t>(std::min(end, longestRecording));
        found.events.push_back(std::move(event));
    }
    if (!found.events.empty()) recording_.events.push_back(std::move(found));
}

void WavReader::TakeBroadcast() {
    constexpr size_t bextBytes = 346;
    const Chunk* chunk = Find("bext");
    if (!chunk || chunk->length < bextBytes) return;
    const FileFields bext = Fields(*chunk);
    const std::string text = bext.Text(0, 256);
    if (!text.empty()) recording_.comment += text + "\r\n";
    recording_.comment += fmt::format("Recorded on {} at {}\r\n", bext.Text(320, 10), bext.Text(330, 8));
    const double ms = static_cast<double>(bext.I64(338)) * 1000.0 / rate_;
    if (ms >= 0.0 && ms < 86400e3) recording_.startClock = ms;
}

// "1, 0.3520" of a line: what, and when (s).
std::optional<std::pair<std::string, double>> EventLineOf(std::string_view line) {
    const size_t comma = line.find_first_of(",\t;");
    if (line.empty() || line[0] == '#' || comma == std::string_view::npos) return {};
    std::string_view time = line.substr(comma + 1);
    time.remove_prefix(std::min(time.find_first_not_of(" \t"), time.size()));
    double seconds = 0.0;
    const auto [end, error] = std::from_chars(time.data(), time.data() + time.size(), seconds);
    if (error != std::errc() || !std::isfinite(seconds) || seconds < 0.0) return {};
    return std::pair(TextOfUnknownEncoding(line.substr(0, comma)), seconds);
}

}  // namespace

ForeignRecording CWavDoc::ReadRecording(const DataFile& file) {
    ForeignRecording recording = WavReader(file).Read();
    AddEventList(recording);
    return recording;
}

// One channel for each name, up to as many as have letters; all others share the last.
void CWavDoc::AddEventList(ForeignRecording& recording) {
    const std::filesystem::path path = NameInstead(filePath, "-events.txt");
    if (!GetSession().files.Stamp(path)) return;
    const auto file = GetSession().files.Open(path, OpenMode::readOnly);
    TextReader reader(*file);
    std::string line;
    std::vector<ForeignEvents> lists;
    while (reader.NextLine(line)) {
        const auto found = EventLineOf(line);
        if (!found) continue;
        const double position = std::round(found->second * 1000.0 / recording.interval);
        if (position >= static_cast<double>(longestRecording)) continue;
        auto list = std::find_if(lists.begin(), lists.end(),
                                 [&](const ForeignEvents& l) { return l.label == found->first; });
        if (list == lists.end()) {
            if (lists.size() < mostEventLists)
                lists.push_back({found->first, "Events of " + path.filename().string()});
            list = std::prev(lists.end());
        }
        const bool isOthers = list->label != found->first;
        list->events.push_back(
            MakeEvent(static_cast<int32_t>(position), isOthers ? found->first : std::string()));
    }
    for (ForeignEvents& list : lists) recording.events.push_back(std::move(list));
}

}  // namespace kymora
