#include "import/neuralynx_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "document/file_identity.h"
#include "import/digital_lines.h"
#include "import/file_fields.h"

namespace kymora {

namespace {

constexpr uint64_t headerBytes = 16384, recordBytes = 1044, sampleAt = 20, eventBytes = 184;
constexpr int64_t perRecord = 512;
constexpr size_t mostNlxChannels = 4096;
// Of all channels: where there are more, only the times of few tell of gaps.
constexpr int64_t mostRecordsLookedAt = 1 << 17;
constexpr std::string_view nlxMark = "######## Neuralynx";

// The rest of the line behind "-Key".
std::string HeaderText(std::string_view header, std::string_view key) {
    for (size_t at = header.find(key); at != std::string_view::npos; at = header.find(key, at + 1)) {
        const bool isKey = (at == 0 || header[at - 1] < ' ' || header[at - 1] == ' ') &&
                           at + key.size() < header.size() &&
                           (header[at + key.size()] == ' ' || header[at + key.size()] == '\t');
        if (!isKey) continue;
        std::string_view rest = header.substr(at + key.size());
        rest = rest.substr(0, rest.find_first_of(std::string_view("\r\n\0", 3)));
        while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t' || rest.front() == '"'))
            rest.remove_prefix(1);
        while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\t' || rest.back() == '"'))
            rest.remove_suffix(1);
        return TextOfUnknownEncoding(rest);
    }
    return {};
}

double HeaderNumber(std::string_view header, std::string_view key) {
    const std::string text = HeaderText(header, key);
    double value = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return std::isfinite(value) ? value : 0.0;
}

// Of older headers: "## Time Opened (m/d/y): 1/2/2010  (h:m:s.ms) 10:0:0.1"; as newer ones have it.
std::string TimeOpened(std::string_view header) {
    const size_t at = header.find("## Time Opened");
    if (at == std::string_view::npos) return {};
    const std::string line(header.substr(at, std::min<size_t>(header.find_first_of("\r\n", at) - at, 200)));
    int month = 0, day = 0, year = 0, hour = 0, minute = 0, second = 0;
    const bool isTold = std::sscanf(line.c_str(), "%*[^:]: %2d/%2d/%4d %*[^)]) %2d:%2d:%2d", &month, &day,
                                    &year, &hour, &minute, &second) == 6 &&
                        IsDate(year, month, day) && IsTime(hour, minute, second);
    return isTold ? fmt::format("{}/{:02}/{:02} {:02}:{:02}:{:02}", year, month, day, hour, minute, second)
                  : std::string();
}

constexpr int64_t farTime = int64_t{1} << 61;

int64_t TimeOfRecord(const DataFile& file, uint64_t start, int64_t record) {
    int64_t time = 0;
    ReadWhole(file, start + headerBytes + static_cast<uint64_t>(record) * recordBytes,
              std::as_writable_bytes(std::span(&time, 1)));
    // Damaged times may be any; differences of these are numbers all the same.
    return std::clamp(time, -farTime, farTime);
}

// Only the first samples of a record may count.
int64_t ValidInRecord(const DataFile& file, uint64_t start, int64_t record) {
    const FileFields fields(file, start + headerBytes + static_cast<uint64_t>(record) * recordBytes,
                            sampleAt);
    return std::min<int64_t>(fields.U32(16), perRecord);
}

// Numbers in names count as such: CSC2 comes before CSC10.
bool IsBefore(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    while (i < a.size() && j < b.size()) {
        if (!isDigit(a[i]) || !isDigit(b[j])) {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i, ++j;
            continue;
        }
        size_t iEnd = i, jEnd = j;
        while (i < a.size() && a[i] == '0') ++i;
        while (j < b.size() && b[j] == '0') ++j;
        for (iEnd = i; iEnd < a.size() && isDigit(a[iEnd]);) ++iEnd;
        for (jEnd = j; jEnd < b.size() && isDigit(b[jEnd]);) ++jEnd;
        if (iEnd - i != jEnd - j) return iEnd - i < jEnd - j;
        if (const int order = a.compare(i, iEnd - i, b, j, jEnd - j)) return order < 0;
        i = iEnd, j = jEnd;
    }
    return a.size() - i < b.size() - j;
}

}  // namespace

CNeuralynxDoc::Channel CNeuralynxDoc::ReadChannel(const DataFile& file, const std::filesystem::path& path) {
    Channel channel{path};
    const FileFields fields(file, 0, std::min<uint64_t>(file.Length(), headerBytes));
    const std::string_view header = fields.Bytes(0, fields.Length());
    if (!header.starts_with(nlxMark))
        throw OpenError(fmt::format("{} does not begin as a Neuralynx file does.", path.filename().string()));
    channel.name = HeaderText(header, "-AcqEntName");
    if (channel.name.empty()) channel.name = path.stem().string();
    channel.rate = HeaderNumber(header, "-SamplingFrequency");
    channel.voltsPerBit = HeaderNumber(header, "-ADBitVolts");
    channel.isInverted = HeaderText(header, "-InputInverted").starts_with("True");
    channel.created = HeaderText(header, "-TimeCreated");
    channel.fileVersion = HeaderText(header, "-FileVersion");
    if (file.Length() > headerBytes)
        channel.records = static_cast<int64_t>((file.Length() - headerBytes) / recordBytes);
    if (channel.created.empty()) channel.created = TimeOpened(header);
    if (channel.records == 0) return channel;
    channel.isCut = (file.Length() - headerBytes) % recordBytes != 0;
    channel.firstTime = TimeOfRecord(file, 0, 0);
    const FileFields first(file, headerBytes, sampleAt);
    if (!(channel.rate > 0.0)) channel.rate = first.U32(12);
    return channel;
}

bool CNeuralynxDoc::IsTurnedBack() {
    const std::string* setting = CurrentOpening().Setting("polarity");
    if (!setting || *setting == "stored") return false;
    if (*setting == "input") return true;
    throw ImportSettingError("polarity", *setting, "\"stored\" or \"input\"");
}

std::vector<DataStream> CNeuralynxDoc::ReadStreams(const DataFile& file) {
    isTurnedBack_ = IsTurnedBack();
    const Channel own = ReadChannel(file, filePath);
    if (own.records == 0) throw OpenError(fmt::format("{} holds no data.", filePath.filename().string()));
    if (!(own.rate > 0.0) || !std::isfinite(1e6 / own.rate))
        throw OpenError(fmt::format("{} states no sampling frequency.", filePath.filename().string()));
    list_ = {own};
    FileSystem& files = GetSession().files;
    for (const std::filesystem::path& path : files.List(filePath.parent_path())) {
        const bool isOther = FoldedExtension(path) == ".ncs" && path.filename() != filePath.filename();
        if (!isOther || list_.size() >= mostNlxChannels) continue;
        const auto other = FindBeside(files, path);
        if (!other) continue;
        try {
            Channel channel = ReadChannel(*other, path);
            if (channel.records > 0 && channel.rate == own.rate) list_.push_back(std::move(channel));
        } catch (const OpenError& error) {
            GetHost().Log(fmt::format("{}\n", error.what()));
        }
    }
    std::sort(list_.begin(), list_.end(), [](const Channel& a, const Channel& b) {
        return IsBefore(a.path.filename().string(), b.path.filename().string());
    });
    JoinSplitFiles();
    const auto isOpened = [&](const Channel& part) { return part.path.filename() == filePath.filename(); };
    const Channel& opened = *std::find_if(list_.begin(), list_.end(), [&](const Channel& channel) {
        return isOpened(channel) || std::any_of(channel.next.begin(), channel.next.end(), isOpened);
    });
    JoinedFiles whole;
    AddRecords(whole, opened);
    rate_ = RefinedRate(whole, opened);
    firstTime_ = opened.firstTime;
    DataStream stream{"Neuralynx", rate_, 0};
    for (const Channel& channel : list_) {
        firstTime_ = std::min(firstTime_, channel.firstTime);
        stream.channels.push_back({channel.name, channel.voltsPerBit != 0.0 ? "uV" : ""});
    }
    times_ = ClockPlaces(1e6);
    for (const Piece& piece : FindPieces(whole, 0, opened.records, opened.records <= mostRecordsLookedAt)) {
        times_.Add({piece.time, Late(opened) + piece.position, piece.samples, rate_ * 1e-6}, piece.isSetBack);
        stream.samples = Late(opened) + piece.position + piece.samples;
    }
    return {stream};
}

// "name_0001.ncs" and on continue "name.ncs"; the list is in the order of names.
void CNeuralynxDoc::JoinSplitFiles() {
    std::vector<Channel> joined;
    for (Channel& channel : list_) {
        const std::string stem = channel.path.stem().string();
        const size_t mark = stem.size() < 6 ? std::string::npos : stem.size() - 5;
        const bool isNumbered = mark != std::string::npos && stem[mark] == '_' &&
                                stem.find_first_not_of("0123456789", mark + 1) == std::string::npos;
        const auto first = std::find_if(joined.begin(), joined.end(), [&](const Channel& other) {
            return isNumbered && other.path.stem().string() == stem.substr(0, mark) &&
                   (other.name == channel.name || channel.name == stem);
        });
        if (first == joined.end()) {
            joined.push_back(std::move(channel));
            continue;
        }
        first->records += channel.records;
        first->isCut = first->isCut || channel.isCut;
        first->next.push_back(std::move(channel));
    }
    list_ = std::move(joined);
}

uint64_t CNeuralynxDoc::AddRecords(JoinedFiles& joined, const Channel& channel) const {
    FileSystem& files = GetSession().files;
    int64_t own = channel.records;
    for (const Channel& next : channel.next) own -= next.records;
    const auto end = [](int64_t records) {
        return headerBytes + static_cast<uint64_t>(records) * recordBytes;
    };
    const uint64_t start = joined.Add(OpenBeside(files, channel.path), 0, end(own));
    for (const Channel& next : channel.next)
        joined.Add(OpenBeside(files, next.path), headerBytes, end(next.records));
    return start;
}

// The clock of the samples is not that of the times: the rate is what the longest stretch without a gap says.
// Stretches are followed in steps that double, each of which refines the rate for the next.
double CNeuralynxDoc::RefinedRate(const DataFile& file, const Channel& channel) const {
    constexpr int mostStretches = 1000;
    double period = perRecord * 1e6 / channel.rate;  // us, of a record
    const double tolerance = 1.0 + 0.5e6 / channel.rate;
    int64_t longest = 0, from = 0;
    for (int i = 0; i < mostStretches && from + longest < channel.records - 1; ++i) {
        const int64_t start = TimeOfRecord(file, 0, from), most = channel.records - 1 - from;
        double refined = period;
        int64_t good = 0, bad = most + 1;
        const auto take = [&](int64_t reach) {
            const auto elapsed = static_cast<double>(TimeOfRecord(file, 0, from + reach) - start);
            const bool fits = std::fabs(elapsed - static_cast<double>(reach) * refined) <= tolerance;
            if (fits) refined = elapsed / static_cast<double>(reach);
            (fits ? good : bad) = reach;
            return fits;
        };
        for (int64_t reach = 1; good < most && take(std::min(reach, most));) reach *= 2;
        while (bad - good > 1) take(good + (bad - good) / 2);
        if (good > longest) {
            longest = good;
            period = refined;
        }
        from += good + 1;
    }
    return perRecord * 1e6 / period;
}

// A stretch whose ends lie as far apart as its samples say has no gap; one that does not is halved. A record
// that is not full and whose successor stands where it would if it were, is only found where all are looked
// at.
std::vector<CNeuralynxDoc::Piece> CNeuralynxDoc::FindPieces(const DataFile& file, uint64_t start,
                                                            int64_t records, bool looksAtAll) const {
    const double samplesPerUs = rate_ * 1e-6, period = perRecord / samplesPerUs;
    const double tolerance = 1.0 + 0.5 / samplesPerUs;
    const size_t most = MostRuns(static_cast<uint64_t>(records) * recordBytes, 1);
    constexpr double longest = 1e15;
    std::vector<Piece> pieces{{0, TimeOfRecord(file, start, 0)}};
    const auto end = [&](int64_t last, int64_t valid) {
        pieces.back().samples = (last - pieces.back().record) * perRecord + valid;
    };
    const auto part = [&](int64_t last, int64_t lastTime, int64_t valid, int64_t time) {
        end(last, valid);
        const auto elapsed = static_cast<double>(time - lastTime);
        const double late = elapsed * samplesPerUs - static_cast<double>(valid);
        const bool isSetBack = elapsed < 0.0;
        const int64_t behind = pieces.back().position + pieces.back().samples;
        const bool isGap = !isSetBack && late > tolerance * samplesPerUs;
        if (pieces.size() >= most || (isGap && !(late + static_cast<double>(behind) < longest)))
            throw OpenError("This recording has more or longer gaps than can be handled.");
        pieces.push_back({last + 1, time, behind + (isGap ? std::llround(late) : 0), 0, isSetBack});
    };
    if (looksAtAll) {
        constexpr int64_t atOnce = 256;
        int64_t lastTime = 0, lastValid = 0;
        for (int64_t r = 0; r < records; r += atOnce) {
            const int64_t n = std::min(atOnce, records - r);
            const FileFields fields(file, start + headerBytes + static_cast<uint64_t>(r) * recordBytes,
                                    static_cast<uint64_t>(n) * recordBytes);
            for (int64_t i = 0; i < n; ++i) {
                const size_t at = static_cast<size_t>(i) * recordBytes;
                const int64_t time = std::clamp(fields.I64(at), -farTime, farTime);
                const double excess = static_cast<double>(time - lastTime) - period;
                if (r + i > 0 && (lastValid < perRecord || !(std::fabs(excess) <= tolerance)))
                    part(r + i - 1, lastTime, lastValid, time);
                lastTime = time;
                lastValid = std::min<int64_t>(fields.U32(at + 16), perRecord);
            }
        }
        end(records - 1, lastValid);
        return pieces;
    }
    const auto search = [&](auto& again, int64_t from, int64_t fromTime, int64_t to, int64_t toTime) -> void {
        const double excess =
            static_cast<double>(toTime - fromTime) - static_cast<double>(to - from) * period;
        if (std::fabs(excess) <= tolerance) return;
        if (to - from == 1) return part(from, fromTime, ValidInRecord(file, start, from), toTime);
        const int64_t middle = from + (to - from) / 2, time = TimeOfRecord(file, start, middle);
        again(again, from, fromTime, middle, time);
        again(again, middle, time, to, toTime);
    };
    if (records > 1) search(search, 0, pieces[0].time, records - 1, TimeOfRecord(file, start, records - 1));
    end(records - 1, ValidInRecord(file, start, records - 1));
    return pieces;
}

// Samples, behind the first one of any channel.
int64_t CNeuralynxDoc::Late(const Channel& channel) const {
    const double us = static_cast<double>(channel.firstTime - firstTime_);
    return std::llround(std::min(us * 1e-6 * rate_, 1e15));
}

ForeignTrace CNeuralynxDoc::TraceOf(const DataFile& joined, uint64_t start, const Channel& channel,
                                    bool looksAtAll) const {
    ForeignTrace trace{channel.name, channel.voltsPerBit != 0.0 ? "uV" : "", {}};
    ChannelSource& source = trace.source;
    source.perBlock = perRecord;
    source.blockBytes = recordBytes;
    const double sign = isTurnedBack_ && channel.isInverted ? -1.0 : 1.0;
    source.scales = {{channel.voltsPerBit != 0.0 ? sign * channel.voltsPerBit * 1e6 : sign}};
    const int64_t late = Late(channel);
    for (const Piece& piece : FindPieces(joined, start, channel.records, looksAtAll))
        source.Add(late + piece.position, piece.samples,
                   start + headerBytes + sampleAt + static_cast<uint64_t>(piece.record) * recordBytes);
    return trace;
}

ForeignRecording CNeuralynxDoc::ReadStream(const StreamChoice& choice) {
    ForeignRecording recording;
    recording.interval = 1000.0 / rate_;
    auto joined = std::make_unique<JoinedFiles>();
    bool anyInverted = false;
    int64_t records = 0;
    std::string cut;
    for (const int place : choice.channels) records += list_[static_cast<size_t>(place)].records;
    for (const int place : choice.channels) {
        const Channel& channel = list_[static_cast<size_t>(place)];
        const uint64_t start = AddRecords(*joined, channel);
        recording.traces.push_back(TraceOf(*joined, start, channel, records <= mostRecordsLookedAt));
        if (channel.isCut) cut += (cut.empty() ? "" : ", ") + channel.path.filename().string();
        anyInverted = anyInverted || channel.isInverted;
    }
    sampleFile = std::move(joined);
    if (!cut.empty())
        recording.warnings.push_back(
            fmt::format("Files that end within a record, which is left out: {}.", cut));
    AddEvents(recording, choice.from);
    const Channel& first = list_[static_cast<size_t>(choice.channels[0])];
    recording.comment = "Neuralynx" + (first.created.empty() ? "" : ", created " + first.created) + "\r\n";
    if (anyInverted)
        recording.comment +=
            isTurnedBack_ ? "The recorder has inverted its inputs; they are turned back.\r\n"
                          : "The recorder has inverted its inputs, which are shown as stored; the import "
                            "setting polarity=input turns them back.\r\n";
    int date[3] = {}, hour = 0, minute = 0, second = 0;
    if (std::sscanf(first.created.c_str(), "%4d/%2d/%4d %2d:%2d:%2d", &date[0], &date[1], &date[2], &hour,
                    &minute, &second) == 6 &&
        IsTime(hour, minute, second)) {
        recording.startClock = ((hour * 60.0 + minute) * 60.0 + second) * 1000.0;
        recording.startDate =
            date[0] > 31 ? DayOf(date[0], date[1], date[2]) : DayOf(date[2], date[0], date[1]);
    }
    recording.details = {{"File type", "Neuralynx, version " + first.fileVersion},
                         {"Stated rate", fmt::format("{:.9g} Hz", first.rate)},
                         {"Channels of this rate", std::to_string(list_.size())}};
    return recording;
}

// Each file makes a channel; labels are the texts, values the states of the lines.
void CNeuralynxDoc::AddEvents(ForeignRecording& recording, int64_t from) const {
    FileSystem& files = GetSession().files;
    for (const std::filesystem::path& path : files.List(filePath.parent_path())) {
        if (FoldedExtension(path) != ".nev") continue;
        const auto file = FindBeside(files, path);
        if (!file) continue;
        const std::string name = path.filename().string();
        if (FileFields(*file, 0, std::min<uint64_t>(file->Length(), nlxMark.size()))
                .Bytes(0, std::min<size_t>(file->Length(), nlxMark.size())) != nlxMark) {
            recording.warnings.push_back(fmt::format("{} is no Neuralynx event file and is not read.", name));
            continue;
        }
        if (file->Length() > headerBytes && (file->Length() - headerBytes) % eventBytes != 0)
            recording.warnings.push_back(fmt::format("{} ends within an event, which is left out.", name));
        if (file->Length() < headerBytes + eventBytes) continue;
        ClockPlaces::Follower follower;
        uint64_t early = 0;
        ForeignEvents found{path.stem().string(), "Events of " + path.filename().string()};
        const uint64_t held = (file->Length() - headerBytes) / eventBytes;
        const uint64_t count = std::min<uint64_t>(held, mostForeignEvents);
        WarnOfEventsLeftOut(recording, "Events of " + path.filename().string(), count, held);
        constexpr uint64_t atOnce = 4096;
        for (uint64_t i = 0; i < count; i += atOnce) {
            const uint64_t n = std::min(atOnce, count - i);
            const FileFields fields(*file, headerBytes + i * eventBytes, n * eventBytes);
            for (size_t at = 0; at < n * eventBytes; at += eventBytes) {
                const int64_t position = times_.Place(static_cast<double>(fields.I64(at + 6)), follower);
                if (position < 0) ++early;
                const size_t before = found.events.size();
                AddPlaced(found.events, position, position + 1, from, fields.Text(at + 56, 128));
                if (found.events.size() > before)
                    found.events.back().eventValue = static_cast<float>(fields.U16(at + 16));
            }
        }
        if (!found.events.empty()) recording.events.push_back(std::move(found));
        if (early > 0)
            recording.warnings.push_back(
                fmt::format("{} events of {} lie before the first sample and are left out.", early, name));
    }
}

Reopening CNeuralynxDoc::ToReopen() const {
    Reopening again = CStreamDoc::ToReopen();
    again.settings["polarity"] = isTurnedBack_ ? "input" : "stored";
    return again;
}

}  // namespace kymora
