#include "import/data_q_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <optional>

namespace kymora {

namespace {

constexpr size_t tableAt = 110, entryBytes = 36, leastHeaderBytes = 1156;
constexpr uint16_t headerEnd = 0x8001;
constexpr uint64_t mostTrailerBytes = 16 << 20;

[[noreturn]] void RefuseWdq(const std::string& why) {
    throw OpenError("This WinDaq file cannot be read: " + why);
}

class WdqReader {
  public:
    explicit WdqReader(const DataFile& file) : file_(file), head_(Head(file)) {}
    ForeignRecording Read();

  private:
    static FileFields Head(const DataFile& file);
    struct Marker {
        int64_t position = 0;            // scan
        std::optional<int32_t> stamp{};  // s
        std::string text{};
    };

    void AddTraces();
    void ReadMarkers();
    void FindGaps();
    int64_t PlaceOf(int64_t scan) const;
    void AddMarkers();
    void AddMarks();
    std::string CommentAt(int32_t pointer) const;
    void NameTraces();

    const DataFile& file_;
    FileFields head_;
    ForeignRecording recording_;
    int channels_ = 0;
    bool isFine_ = false;  // 16 bits
    int64_t scans_ = 0;
    uint64_t dataBytes_ = 0;  // as the header states them
    uint64_t trailerAt_ = 0;
    std::vector<Marker> markers_;
    // Runs of scans without a gap between: the first scan, and its place in the recording.
    std::vector<std::pair<int64_t, int64_t>> runs_{{0, 0}};
};

FileFields WdqReader::Head(const DataFile& file) {
    if (file.Length() < leastHeaderBytes) RefuseWdq("it is too short.");
    const FileFields start(file, 0, tableAt);
    const int length = start.I16(6);
    if (start.U8(4) != tableAt || start.U8(5) != entryBytes || length < static_cast<int>(leastHeaderBytes) ||
        static_cast<uint64_t>(length) > file.Length())
        RefuseWdq("it does not begin as such files do.");
    FileFields head(file, 0, static_cast<uint64_t>(length));
    if (head.U16(head.Length() - 2) != headerEnd) RefuseWdq("its header is damaged.");
    return head;
}

ForeignRecording WdqReader::Read() {
    const bool isLong = head_.Length() > leastHeaderBytes;
    channels_ = head_.U16(0) & (isLong ? 0xFF : 0x1F);
    const uint16_t flags = head_.U16(100);
    isFine_ = (flags & 2u) != 0;
    if ((flags & 0x4000u) != 0)
        RefuseWdq("it is packed, so that its channels have rates of their own. Save it unpacked in WinDaq.");
    if (channels_ < 1) RefuseWdq("it states no channels.");
    const double seconds = head_.F64(28);
    if (!(seconds > 0.0) || !std::isfinite(seconds)) RefuseWdq("it states no sample interval.");
    recording_.interval = seconds * 1000.0;
    dataBytes_ = head_.U32(8);
    const uint64_t held = file_.Length() - head_.Length();
    // A file that was not closed states nothing, or too much.
    const uint64_t bytes = dataBytes_ == 0 ? held : std::min(dataBytes_, held);
    scans_ = static_cast<int64_t>(bytes / (2 * static_cast<uint64_t>(channels_)));
    if (dataBytes_ > held)
        recording_.warnings.push_back("This file is cut off: it holds fewer samples than its header says.");
    trailerAt_ = head_.Length() + dataBytes_;
    const bool isClosed = dataBytes_ > 0 && dataBytes_ <= held;
    if (isClosed) ReadMarkers();
    FindGaps();
    AddTraces();
    if (isClosed) NameTraces();
    AddMarkers();
    const std::time_t opened = head_.I32(36);
    std::tm clock{};
    if (opened > 0 && gmtime_r(&opened, &clock)) {
        recording_.comment +=
            fmt::format("Recorded on {}-{:02}-{:02} at {:02}:{:02}:{:02} GMT\r\n", clock.tm_year + 1900,
                        clock.tm_mon + 1, clock.tm_mday, clock.tm_hour, clock.tm_min, clock.tm_sec);
        recording_.startDate = DayOf(clock.tm_year + 1900, clock.tm_mon + 1, clock.tm_mday);
        recording_.startClock = ((clock.tm_hour * 60.0 + clock.tm_min) * 60.0 + clock.tm_sec) * 1000.0;
    }
    recording_.details = {{"File type", isFine_ ? "WinDaq, 16 bits" : "WinDaq, 14 bits"},
                          {"Channels", std::to_string(channels_)},
                          {"Markers", std::to_string(markers_.size())}};
    return std::move(recording_);
}

void WdqReader::AddTraces() {
    for (int c = 0; c < channels_; ++c) {
        const size_t at = tableAt + entryBytes * static_cast<size_t>(c);
        const double m = head_.F64(at + 8), b = head_.F64(at + 16);
        if (m == 0.0 || !std::isfinite(m) || !std::isfinite(b))
            RefuseWdq(fmt::format("channel {} states a scale of {} and an offset of {}.", c + 1, m, b));
        ForeignTrace& trace = recording_.traces.emplace_back();
        trace.label = fmt::format("Channel {}", c + 1);
        trace.units = head_.Text(at + 24, 5);
        trace.source.type = isFine_ ? NumberType::i16 : NumberType::i14;
        trace.source.stride = 2 * static_cast<uint32_t>(channels_);
        trace.source.scales = {{isFine_ ? m * 0.25 : m, b}};
        for (size_t r = 0; r < runs_.size(); ++r) {
            const auto [first, place] = runs_[r];
            const int64_t end = r + 1 < runs_.size() ? runs_[r + 1].first : scans_;
            trace.source.Add(place, end - first,
                             head_.Length() + static_cast<uint64_t>(first) * trace.source.stride +
                                 2 * static_cast<uint64_t>(c));
        }
    }
}

// Markers of both signs; those from zero on have the second of their time behind them. What follows as a far
// negative number leads to a comment. With 16 bits their positions count words.
void WdqReader::ReadMarkers() {
    const uint64_t bytes =
        std::min({uint64_t{head_.U32(12)}, mostTrailerBytes, file_.Length() - trailerAt_}) / 4 * 4;
    if (bytes == 0) return;
    const FileFields list(file_, trailerAt_, bytes);
    const int64_t perScan = isFine_ ? channels_ : 1;
    const auto leastPointer =
        -static_cast<int64_t>(dataBytes_ / (2 * static_cast<uint64_t>(channels_))) * perScan;
    for (size_t at = 0; at < bytes;) {
        const int32_t mark = list.I32(at);
        at += 4;
        Marker marker{std::abs(int64_t{mark}) / perScan};
        if (mark >= 0 && at + 4 <= bytes) {
            marker.stamp = list.I32(at);
            at += 4;
        }
        if (at + 4 <= bytes && list.I32(at) <= leastPointer) {
            marker.text = CommentAt(list.I32(at));
            at += 4;
        }
        if (marker.position < scans_) markers_.push_back(std::move(marker));
    }
}

// Each restart of the storage has written a marker with its second: where more time has gone by between two
// of them than there are samples, the recording has paused. Seconds are whole, and clocks differ a little.
void WdqReader::FindGaps() {
    constexpr double resolution = 1.0, mostDrift = 1e-3;
    std::vector<const Marker*> stamped;
    for (const Marker& marker : markers_)
        if (marker.stamp) stamped.push_back(&marker);
    std::stable_sort(stamped.begin(), stamped.end(),
                     [](const Marker* a, const Marker* b) { return a->position < b->position; });
    const double seconds = recording_.interval / 1000.0;
    int64_t gaps = 0;
    for (size_t i = 1; i < stamped.size(); ++i) {
        const Marker &before = *stamped[i - 1], &here = *stamped[i];
        const double recorded = static_cast<double>(here.position - before.position) * seconds;
        const double paused = static_cast<double>(int64_t{*here.stamp} - *before.stamp) - recorded;
        if (here.position == before.position || paused <= resolution + mostDrift * recorded) continue;
        const double length = std::round(paused / seconds);
        if (length + static_cast<double>(gaps + scans_) > static_cast<double>(longestRecording)) {
            recording_.warnings.push_back(
                "The recording paused for longer than can be shown: what follows stands without a gap.");
            return;
        }
        gaps += static_cast<int64_t>(length);
        runs_.emplace_back(here.position, here.position + gaps);
    }
}

int64_t WdqReader::PlaceOf(int64_t scan) const {
    const auto behind = std::upper_bound(runs_.begin(), runs_.end(), scan,
                                         [](int64_t s, const auto& run) { return s < run.first; });
    const auto& run = *std::prev(behind);
    return run.second + scan - run.first;
}

void WdqReader::AddMarkers() {
    ForeignEvents found{"Markers", "Event markers of the file"};
    for (const Marker& marker : markers_)
        found.events.push_back(MakeEvent(static_cast<int32_t>(PlaceOf(marker.position)), marker.text));
    if (!found.events.empty()) recording_.events.push_back(std::move(found));
    if (!isFine_) AddMarks();
}

// The lower bits of a word of 14 bits: 2 marks an event that goes down, 3 one that goes up. Bits that are set
// all over are no marks.
void WdqReader::AddMarks() {
    constexpr uint64_t mostBytes = 128 << 20, bytesAtOnce = 1 << 20;
    constexpr int64_t wordsPerMark = 50;
    const uint64_t scanBytes = 2 * static_cast<uint64_t>(channels_);
    const uint64_t bytes = static_cast<uint64_t>(scans_) * scanBytes;
    if (bytes > mostBytes) {
        recording_.log +=
            "The event marks within the samples were not searched: there are too many samples.\n";
        return;
    }
    std::vector<ForeignEvents> found(static_cast<size_t>(channels_));
    int64_t left = scans_ * channels_ / wordsPerMark + 1;
    std::vector<uint16_t> words;
    for (uint64_t word = 0; word < bytes / 2 && left >= 0; word += words.size()) {
        words.resize(static_cast<size_t>(std::min(bytesAtOnce, bytes - 2 * word) / 2));
        ReadWhole(file_, head_.Length() + 2 * word, std::as_writable_bytes(std::span(words)));
        for (size_t i = 0; i < words.size() && left >= 0; ++i) {
            if ((words[i] & 2u) == 0) continue;
            --left;
            const auto at = static_cast<int64_t>(word + i);
            found[static_cast<size_t>(at % channels_)].events.push_back(MakeEvent(
                static_cast<int32_t>(PlaceOf(at / channels_)), (words[i] & 1u) != 0 ? "rising" : "falling"));
        }
    }
    if (left < 0) {
        recording_.log +=
            "The lowest bits of the samples are set all over: they are not taken for event marks.\n";
        return;
    }
    for (size_t c = 0; c < found.size(); ++c) {
        if (found[c].events.empty()) continue;
        found[c].label = recording_.traces[c].label + " marks";
        found[c].comment = "Event marks within the samples";
        found[c].parentTrace = static_cast<int>(c);
        recording_.events.push_back(std::move(found[c]));
    }
}

std::string WdqReader::CommentAt(int32_t pointer) const {
    constexpr uint64_t mostCommentBytes = 256;
    const uint64_t at = (static_cast<uint32_t>(pointer) & 0x7FFFFFFFu) + trailerAt_ + head_.U32(12);
    if (at >= file_.Length()) return {};
    const uint64_t length = std::min(mostCommentBytes, file_.Length() - at);
    return FileFields(file_, at, length).Text(0, static_cast<size_t>(length));
}

// The annotations of the channels, each ended by a zero.
void WdqReader::NameTraces() {
    const uint64_t at = trailerAt_ + head_.U32(12), length = head_.U16(16);
    if (length == 0 || at + length > file_.Length()) return;
    const FileFields names(file_, at, length);
    size_t place = 0;
    for (ForeignTrace& trace : recording_.traces) {
        if (place >= names.Length()) break;
        const std::string_view rest = names.Bytes(place, names.Length() - place);
        const size_t end = std::min(rest.find('\0'), rest.size());
        if (const std::string name = TextOfUnknownEncoding(rest.substr(0, end)); !name.empty())
            trace.label = name;
        place += end + 1;
    }
}

}  // namespace

ForeignRecording CDataQDoc::ReadRecording(const DataFile& file) { return WdqReader(file).Read(); }

}  // namespace kymora
