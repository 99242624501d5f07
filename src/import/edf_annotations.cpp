#include "import/edf_annotations.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "archive/text_encoding.h"

namespace kymora {

namespace {

constexpr char separator = '\x14';
constexpr char durationMark = '\x15';
constexpr size_t pieceBytes = 256 * 1024;   // read at a time
constexpr int64_t smallRecord = 16 * 1024;  // below this a whole record costs no more than a part of it
constexpr int64_t cheapGap = 4096;          // bytes that are sooner read than skipped
constexpr int64_t mostDamaged = 100000;     // searched for good ones behind them
constexpr int64_t recordsBetweenQuestions = 1000;

bool ParseSeconds(std::string_view text, double& value) {
    if (!text.empty() && text[0] == '+') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

// Cuts the text up to the next `mark` off `rest`, and the mark. False when there is no mark.
bool TakeUpTo(char mark, std::string_view& rest, std::string_view& taken) {
    const size_t at = rest.find(mark);
    taken = rest.substr(0, at);
    rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + 1);
    return at != std::string_view::npos;
}

size_t Utf8SequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    if (lead >= 0xF0 && lead < 0xF5) return 4;
    return 0;
}

bool IsUtf8(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const size_t length = Utf8SequenceLength(lead);
        if (length == 0 || text.size() - i < length) return false;
        uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
        for (size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            code = (code << 6) | (next & 0x3Fu);
        }
        const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
        if (overlong || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return false;
        i += length;
    }
    return true;
}

// How many zeros stand at the start.
size_t LeadingZeros(std::string_view bytes) {
    size_t at = 0;
    for (uint64_t word = 0; bytes.size() - at >= sizeof word; at += sizeof word) {
        std::memcpy(&word, bytes.data() + at, sizeof word);
        if (word != 0) break;
    }
    while (at < bytes.size() && bytes[at] == '\0') ++at;
    return at;
}

// The walk over the file. A signal's part of a record is fed in pieces of any size; a TAL that a piece cuts
// is kept and joined with what follows, up to the size of a piece.
class TalWalk {
  public:
    TalWalk(const DataFile& file, const EdfHeader& header, const EdfTalVisitor& visit)
        : file_(file), header_(header), visit_(visit) {
        for (const int index : header.annotationSignals) {
            const EdfSignal& signal = header.Signal(index);
            slices_.push_back(
                {signal.sliceOffset, signal.sliceOffset + header.NumberBytes() * signal.samplesPerRecord, 0});
        }
        // Neighbours are read together.
        for (size_t s = slices_.size(); s-- > 0;) {
            const bool joins = s + 1 < slices_.size() && slices_[s + 1].begin - slices_[s].end <= cheapGap;
            slices_[s].readTo = joins ? slices_[s + 1].readTo : slices_[s].end;
        }
    }

    int64_t damaged = 0;

    // The first record from `record` on that may hold something: those before it have nothing but zeros as
    // far as the buffer shows.
    int64_t SkipEmpty(int64_t record) {
        if (header_.bytesPerRecord > smallRecord) return record;
        const std::string_view seen = View(record * header_.bytesPerRecord, 0);
        const size_t zeros = LeadingZeros(seen);
        return record + static_cast<int64_t>(zeros) / std::max<int64_t>(header_.bytesPerRecord, 1);
    }

    void Record(int64_t record) {
        const int64_t start = record * header_.bytesPerRecord;
        for (size_t s = 0; s < slices_.size(); ++s) {
            place_ = {record, static_cast<int>(s), 0};
            carried_.clear();
            left_ = false;
            for (int64_t at = slices_[s].begin; at < slices_[s].end && !left_;) {
                std::string_view got = View(start + at, start + slices_[s].readTo);
                if (got.empty()) break;
                got = got.substr(0, static_cast<size_t>(slices_[s].end - at));
                Feed(got);
                at += static_cast<int64_t>(got.size());
            }
            Finish();
        }
    }

  private:
    struct Slice {
        int64_t begin = 0;  // bytes in the record
        int64_t end = 0;
        int64_t readTo = 0;  // end of the neighbours that one read takes in
    };

    // The bytes of the data from `offset` on, as many as are at hand. Reads up to `to`, or on through the
    // following records when they are small.
    std::string_view View(int64_t offset, int64_t to) {
        if (offset < bufferStart_ || offset >= bufferStart_ + static_cast<int64_t>(filled_)) {
            const int64_t wanted = header_.bytesPerRecord <= smallRecord
                                       ? header_.dataRecords * header_.bytesPerRecord - offset
                                       : to - offset;
            const auto count = static_cast<size_t>(std::min<int64_t>(wanted, pieceBytes));
            if (buffer_.size() < count) buffer_.resize(count);
            bufferStart_ = offset;
            filled_ = file_.ReadAt(static_cast<uint64_t>(header_.headerLength + offset),
                                   std::span(buffer_).first(count));
        }
        const auto skip = static_cast<size_t>(offset - bufferStart_);
        return {reinterpret_cast<const char*>(buffer_.data()) + std::min(skip, filled_),
                filled_ - std::min(skip, filled_)};
    }

    void Feed(std::string_view bytes) {
        while (!bytes.empty() && !left_) {
            const size_t end = bytes.find('\0');
            if (end == std::string_view::npos) {
                const size_t room = pieceBytes - carried_.size();
                carried_.append(bytes.substr(0, room));
                return;
            }
            if (carried_.empty()) {
                Tal(bytes.substr(0, end));
            } else {
                carried_.append(bytes.substr(0, std::min(end, pieceBytes - carried_.size())));
                Finish();
            }
            bytes.remove_prefix(end + 1);
            bytes.remove_prefix(std::min(bytes.find_first_not_of('\0'), bytes.size()));
        }
    }

    // A TAL that the end of its signal cuts off is taken as far as it goes.
    void Finish() {
        Tal(carried_);
        carried_.clear();
    }

    void Tal(std::string_view bytes) {
        if (bytes.empty() || left_) return;
        if (ParseEdfTal(bytes, tal_))
            left_ = !visit_(place_, tal_);
        else
            left_ = ++damaged > mostDamaged;
        ++place_.index;
    }

    const DataFile& file_;
    const EdfHeader& header_;
    const EdfTalVisitor& visit_;
    std::vector<Slice> slices_;
    std::vector<std::byte> buffer_;
    int64_t bufferStart_ = 0;  // place of the buffer in the data
    size_t filled_ = 0;
    std::string carried_;
    EdfTalPlace place_;
    EdfTal tal_;
    bool left_ = false;  // the rest of this part of the record is not wanted
};

}  // namespace

bool ParseEdfTal(std::string_view bytes, EdfTal& tal) {
    std::string_view times;
    if (!TakeUpTo(separator, bytes, times)) return false;
    tal.duration = 0.0;
    tal.texts.clear();
    const bool hasDuration = TakeUpTo(durationMark, times, tal.startText);
    tal.durationText = hasDuration ? times : std::string_view();
    if (!ParseSeconds(tal.startText, tal.start)) return false;
    if (!tal.durationText.empty() && !ParseSeconds(tal.durationText, tal.duration)) return false;
    while (!bytes.empty()) {
        std::string_view text;
        TakeUpTo(separator, bytes, text);
        if (!text.empty()) tal.texts.push_back(text);
    }
    return true;
}

std::string EdfAnnotationText(std::string_view bytes) {
    return IsUtf8(bytes) ? std::string(bytes) : NarrowToText(std::as_bytes(std::span(bytes)));
}

std::string JoinEdfTexts(const EdfTal& tal) {
    std::string all;
    for (const std::string_view text : tal.texts) {
        if (!all.empty()) all += "; ";
        all += EdfAnnotationText(text);
    }
    return all;
}

bool ForEachEdfTal(const DataFile& file, const EdfHeader& header, const EdfTalVisitor& visit,
                   const std::function<bool(int64_t record)>& goOn, int64_t& damaged) {
    TalWalk walk(file, header, visit);
    bool wentOn = true;
    for (int64_t record = 0; record < header.dataRecords && wentOn;) {
        const int64_t before = record / recordsBetweenQuestions;
        record = walk.SkipEmpty(record);
        if (record < header.dataRecords) walk.Record(record++);
        if (record / recordsBetweenQuestions != before) wentOn = goOn(record);
    }
    damaged = walk.damaged;
    return wentOn;
}

}  // namespace kymora
