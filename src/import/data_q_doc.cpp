#include "import/data_q_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ctime>

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
    void AddTraces();
    void AddMarkers();
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
    AddTraces();
    if (dataBytes_ > 0 && dataBytes_ <= held) {
        AddMarkers();
        NameTraces();
    }
    const std::time_t opened = head_.I32(36);
    std::tm clock{};
    if (opened > 0 && gmtime_r(&opened, &clock)) {
        recording_.comment +=
            fmt::format("Recorded on {}-{:02}-{:02} at {:02}:{:02}:{:02} GMT\r\n", clock.tm_year + 1900,
                        clock.tm_mon + 1, clock.tm_mday, clock.tm_hour, clock.tm_min, clock.tm_sec);
        recording_.startClock = ((clock.tm_hour * 60.0 + clock.tm_min) * 60.0 + clock.tm_sec) * 1000.0;
    }
    recording_.details = {
        {"File type", isFine_ ? "WinDaq, 16 bits" : "WinDaq, 14 bits"},
        {"Channels", std::to_string(channels_)},
        {"Markers", std::to_string(recording_.events.empty() ? 0 : recording_.events[0].events.size())}};
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
        trace.source.Add(0, scans_, head_.Length() + 2 * static_cast<uint64_t>(c));
    }
}

// Markers of both signs; those from zero on have the second of their time behind them. What follows as a far
// negative number leads to a comment.
void WdqReader::AddMarkers() {
    const uint64_t bytes =
        std::min({uint64_t{head_.U32(12)}, mostTrailerBytes, file_.Length() - trailerAt_}) / 4 * 4;
    if (bytes == 0) return;
    const FileFields list(file_, trailerAt_, bytes);
    const auto leastPointer = -static_cast<int64_t>(dataBytes_ / (2 * static_cast<uint64_t>(channels_)));
    ForeignEvents markers{"Markers", "Event markers of the file"};
    for (size_t at = 0; at < bytes;) {
        const int32_t mark = list.I32(at);
        at += 4;
        int64_t position = std::abs(int64_t{mark});
        if (mark >= 0) at += 4;
        if (isFine_) position /= channels_;
        std::string text;
        if (at + 4 <= bytes && list.I32(at) <= leastPointer) {
            text = CommentAt(list.I32(at));
            at += 4;
        }
        if (position < scans_) markers.events.push_back(MakeEvent(static_cast<int32_t>(position), text));
    }
    if (!markers.events.empty()) recording_.events.push_back(std::move(markers));
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
