#include "import/wav_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>

#include "archive/text_reader.h"
#include "host/file_names.h"

namespace kymora {

namespace {

constexpr uint64_t mostChunkBytes = 2 << 20;  // of those that hold neither samples nor cue points
constexpr uint64_t mostCueBytes = 8 << 20,
                   mostCueTextBytes = 24 << 20;  // of the cue points, and of their names
constexpr uint64_t mostListBytes = 4 << 20;      // of the events beside the file
constexpr size_t mostWavComment = 1 << 16, mostChunks = 20000;
constexpr uint32_t sizeElsewhere = 0xFFFFFFFF;
constexpr size_t mostEventLists = 26;
enum WavTag : int { wavPcm = 1, wavFloat = 3, wavALaw = 6, wavMuLaw = 7, wavExtensible = 0xFFFE };

struct Chunk {
    std::string id;
    uint64_t start = 0, length = 0;
};

void TellOutside(ForeignRecording& recording, int64_t count, const char* what) {
    if (count > 0)
        recording.warnings.push_back(
            fmt::format("{} {} lie behind the end of the recording and are left out.", count, what));
}

[[noreturn]] void RefuseWav(const std::string& why) {
    throw OpenError("This audio file cannot be read: " + why);
}

class WavReader {
  public:
    explicit WavReader(const DataFile& file) : file_(file) {}
    ForeignRecording Read();

  private:
    void FindChunks();
    FileFields Fields(const Chunk& chunk, uint64_t most = mostChunkBytes) {
        isPartial_ = isPartial_ || chunk.length > most;
        return {file_, chunk.start, std::min(chunk.length, most), order_};
    }
    const Chunk* Find(std::string_view id) const;
    void TakeFormat();
    void AddTraces();
    void FindCues();
    void TakeCues();
    void TakeList(const FileFields& list);
    void TakeInfo(const FileFields& list);
    void TakeAdditional(const FileFields& list);
    void TakeBroadcast();
    void AddToComment(const std::string& line);

    struct Cue {
        std::string name;
        uint32_t length = 0;
    };
    const DataFile& file_;
    ByteOrder order_ = ByteOrder::little;
    bool isLarge_ = false;
    std::vector<Chunk> chunks_;
    ForeignRecording recording_;
    int tag_ = 0, channels_ = 0, bits_ = 0, bytes_ = 0;
    uint32_t rate_ = 0;
    int64_t blocks_ = 0;
    bool isPartial_ = false;        // more of the texts and cues than are read
    std::map<uint32_t, Cue> cues_;  // of those that have a place
};

// Of a chunk "ds64": that of the samples, and a table of others.
std::map<std::string, uint64_t> LargeSizes(const FileFields& ds64) {
    constexpr size_t tableAt = 28, entryBytes = 12;
    std::map<std::string, uint64_t> sizes{{"data", static_cast<uint64_t>(ds64.I64(8))}};
    if (ds64.Length() < tableAt) return sizes;
    for (size_t i = 0, at = tableAt; i < ds64.U32(24) && at + entryBytes <= ds64.Length();
         ++i, at += entryBytes)
        sizes[std::string(ds64.Bytes(at, 4))] = static_cast<uint64_t>(ds64.I64(at + 4));
    return sizes;
}

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
    FindCues();
    for (const Chunk& chunk : chunks_)
        if (chunk.id == "LIST") TakeList(Fields(chunk, mostCueTextBytes));
    TakeCues();
    TakeBroadcast();
    if (isPartial_)
        recording_.warnings.push_back(
            "This audio file holds more texts and cue points than Kymora reads. The last ones are left out.");
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
    std::map<std::string, uint64_t> large;  // sizes that are told elsewhere
    for (uint64_t at = 12; at + 8 <= size;) {
        const FileFields head(file_, at, 8, order_);
        Chunk chunk{std::string(head.Bytes(0, 4)), at + 8, head.U32(4)};
        if (chunk.id == "ds64" && chunk.length >= 16) large = LargeSizes(Fields(chunk));
        if (const auto told = large.find(chunk.id); chunk.length == sizeElsewhere && told != large.end())
            chunk.length = told->second;
        const bool isOpen = chunk.id == "data" && (chunk.length == 0 || chunk.length == sizeElsewhere);
        if (chunk.id == "data" && !isOpen && chunk.length > size - chunk.start)
            recording_.warnings.push_back(
                "This audio file is cut off: it holds fewer samples than its header says.");
        if (isOpen) chunk.length = size - chunk.start;
        chunk.length = std::min(chunk.length, size - chunk.start);
        at = chunk.start + chunk.length + chunk.length % 2;
        chunks_.push_back(std::move(chunk));
        if (chunks_.size() > mostChunks) RefuseWav("it has too many parts.");
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

void WavReader::AddToComment(const std::string& line) {
    if (recording_.comment.size() + line.size() <= mostWavComment)
        recording_.comment += line + "\r\n";
    else
        isPartial_ = true;
}

void WavReader::TakeInfo(const FileFields& list) {
    constexpr std::pair<std::string_view, const char*> names[] = {
        {"INAM", "Title"},     {"IART", "Artist"},   {"ICMT", "Comment"}, {"ICRD", "Date"},
        {"IKEY", "Keywords"},  {"ISFT", "Software"}, {"ISBJ", "Subject"}, {"IENG", "Engineer"},
        {"ICOP", "Copyright"}, {"IGNR", "Genre"}};
    ForParts(list, [&](std::string_view id, size_t at, size_t length) {
        if (recording_.comment.size() >= mostWavComment) return;
        const auto* const known = std::find_if(std::begin(names), std::end(names),
                                               [&](const auto& name) { return name.first == id; });
        const std::string name = known != std::end(names) ? known->second : TextOfUnknownEncoding(id);
        const std::string text = list.Text(at, std::min(length, mostWavComment));
        if (!text.empty()) AddToComment(name + ": " + text);
    });
}

// What a cue is called, noted and its stretch is called, in the order of the file.
void WavReader::TakeAdditional(const FileFields& list) {
    constexpr size_t mostNameBytes = 10000, textOfStretch = 20;
    ForParts(list, [&](std::string_view id, size_t at, size_t length) {
        if (length < 4) return;
        const auto found = cues_.find(list.U32(at));
        if (found == cues_.end()) return;
        Cue& cue = found->second;
        const auto add = [&](size_t from) {
            const std::string text = list.Text(at + from, std::min(length - from, mostNameBytes));
            if (!text.empty() && cue.name.size() < mostNameBytes)
                cue.name += (cue.name.empty() ? "" : ". ") + text;
        };
        if (id == "labl" || id == "note") add(4);
        if (id == "ltxt" && length >= 8) cue.length = list.U32(at + 4);
        if (id == "ltxt" && length > textOfStretch) add(textOfStretch);
    });
}

constexpr size_t cueBytes = 24;

void WavReader::FindCues() {
    const Chunk* chunk = Find("cue ");
    if (!chunk || chunk->length < 4) return;
    const FileFields cues = Fields(*chunk, mostCueBytes);
    const size_t count = std::min<size_t>(cues.U32(0), (cues.Length() - 4) / cueBytes);
    for (size_t i = 0; i < count; ++i) cues_[cues.U32(4 + cueBytes * i)];
}

void WavReader::TakeCues() {
    const Chunk* chunk = Find("cue ");
    if (cues_.empty()) return;
    const FileFields cues = Fields(*chunk, mostCueBytes);
    ForeignEvents found{"Cues", "Cue points of the file"};
    const size_t count = std::min<size_t>(cues.U32(0), (cues.Length() - 4) / cueBytes);
    int64_t outside = 0;
    for (size_t i = 0; i < count; ++i) {
        const size_t at = 4 + cueBytes * i;
        const uint32_t position = cues.U32(at + 20);
        const Cue& cue = cues_[cues.U32(at)];
        if (position >= blocks_) {
            ++outside;
            continue;
        }
        CEventKM event = MakeEvent(static_cast<int32_t>(position), cue.name);
        if (const int64_t end = int64_t{position} + cue.length; end > event.offPosition)
            event.offPosition = static_cast<int32_t>(std::min(end, blocks_));
        found.events.push_back(std::move(event));
    }
    TellOutside(recording_, outside, "cue points");
    if (!found.events.empty()) recording_.events.push_back(std::move(found));
}

// The recording starts at its time reference; a reference of 0 is that of a writer who knows none, if it has
// told a time in words.
void WavReader::TakeBroadcast() {
    constexpr size_t bextBytes = 346;
    const Chunk* chunk = Find("bext");
    if (!chunk || chunk->length < bextBytes) return;
    const FileFields bext = Fields(*chunk);
    const std::string text = bext.Text(0, 256), time = bext.Text(330, 8);
    if (!text.empty()) AddToComment(text);
    AddToComment(fmt::format("Recorded on {} at {}", bext.Text(320, 10), time));
    int year = 0, month = 0, day = 0;
    if (std::sscanf(bext.Text(320, 10).c_str(), "%4d%*[^0-9]%2d%*[^0-9]%2d", &year, &month, &day) == 3)
        recording_.startDate = DayOf(year, month, day);
    const double ms = static_cast<double>(bext.I64(338)) * 1000.0 / rate_;
    int hour = 0, minute = 0, second = 0;
    const bool isTold =
        std::sscanf(time.c_str(), "%2d%*[^0-9]%2d%*[^0-9]%2d", &hour, &minute, &second) == 3 &&
        IsTime(hour, minute, second);
    if (ms > 0.0 && ms < 86400e3)
        recording_.startClock = ms;
    else if (ms == 0.0)
        recording_.startClock = isTold ? ((hour * 60.0 + minute) * 60.0 + second) * 1000.0 : 0.0;
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
    const std::string name = path.filename().string();
    std::unique_ptr<DataFile> file;
    try {
        file = GetSession().files.Open(path, OpenMode::readOnly);
    } catch (const FileError& error) {
        recording.warnings.push_back(
            fmt::format("The events in {} could not be read.\n{}", name, error.what()));
        return;
    }
    if (file->Length() > mostListBytes) {
        recording.warnings.push_back(
            fmt::format("The events in {} are left out: it is {} bytes long, and Kymora "
                        "reads {} of such a list.",
                        name, file->Length(), mostListBytes));
        return;
    }
    int64_t length = 0, outside = 0;
    for (const ForeignTrace& trace : recording.traces) length = std::max(length, trace.source.End());
    TextReader reader(*file);
    std::string line;
    std::vector<ForeignEvents> lists;
    while (reader.NextLine(line)) {
        const auto found = EventLineOf(line);
        if (!found) continue;
        const double position = std::round(found->second * 1000.0 / recording.interval);
        if (position >= static_cast<double>(length)) {
            ++outside;
            continue;
        }
        auto list = std::find_if(lists.begin(), lists.end(),
                                 [&](const ForeignEvents& l) { return l.label == found->first; });
        if (list == lists.end()) {
            if (lists.size() < mostEventLists) lists.push_back({found->first, "Events of " + name});
            list = std::prev(lists.end());
        }
        const bool isOthers = list->label != found->first;
        list->events.push_back(
            MakeEvent(static_cast<int32_t>(position), isOthers ? found->first : std::string()));
    }
    TellOutside(recording, outside, ("events of " + name).c_str());
    for (ForeignEvents& list : lists) recording.events.push_back(std::move(list));
}

}  // namespace kymora
