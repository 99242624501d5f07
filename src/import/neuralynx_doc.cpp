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
    if (!header.starts_with("######## Neuralynx"))
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
    if (channel.records == 0) return channel;
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
    rate_ = RefinedRate(file, own);
    firstTime_ = own.firstTime;
    DataStream stream{"Neuralynx", rate_, own.records * perRecord};
    for (const Channel& channel : list_) {
        firstTime_ = std::min(firstTime_, channel.firstTime);
        stream.channels.push_back({channel.name, channel.voltsPerBit != 0.0 ? "uV" : ""});
    }
    const auto span = static_cast<double>(TimeOfRecord(file, 0, own.records - 1) - own.firstTime);
    stream.samples =
        std::max<int64_t>(stream.samples, std::llround(std::clamp(span * 1e-6 * rate_, 0.0, 1e15)));
    return {stream};
}

// The clock of the samples is not that of the times: the rate is what the longest stretch from the beginning
// without a gap says, in steps that double.
double CNeuralynxDoc::RefinedRate(const DataFile& file, const Channel& channel) const {
    double period = perRecord * 1e6 / channel.rate;  // us, of a record
    const double tolerance = 1.0 + 0.5e6 / channel.rate;
    for (int64_t reach = 1; reach < channel.records; reach *= 2) {
        const auto elapsed = static_cast<double>(TimeOfRecord(file, 0, reach) - channel.firstTime);
        if (!(std::fabs(elapsed - static_cast<double>(reach) * period) <= tolerance)) break;
        period = elapsed / static_cast<double>(reach);
    }
    return perRecord * 1e6 / period;
}

ForeignTrace CNeuralynxDoc::TraceOf(const DataFile& joined, uint64_t start, const Channel& channel) const {
    ForeignTrace trace{channel.name, channel.voltsPerBit != 0.0 ? "uV" : "", {}};
    ChannelSource& source = trace.source;
    source.perBlock = perRecord;
    source.blockBytes = recordBytes;
    const double sign = isTurnedBack_ && channel.isInverted ? -1.0 : 1.0;
    source.scales = {{channel.voltsPerBit != 0.0 ? sign * channel.voltsPerBit * 1e6 : sign}};
    const auto time = [&](int64_t record) { return TimeOfRecord(joined, start, record); };
    const double samplesPerUs = rate_ * 1e-6;
    const BlockClock clock{perRecord / samplesPerUs, samplesPerUs, 1.0 + 0.5 / samplesPerUs};
    const auto runs = BlockTimes(channel.records, perRecord, clock,
                                 MostRuns(static_cast<uint64_t>(channel.records) * recordBytes, 1), time)
                          .Runs();
    const int64_t late =
        std::llround(std::min(static_cast<double>(channel.firstTime - firstTime_) * samplesPerUs, 1e15));
    for (size_t r = 0; r < runs.size(); ++r) {
        const int64_t end = r + 1 < runs.size() ? runs[r + 1].block : channel.records;
        const int64_t samples = (end - runs[r].block - 1) * perRecord + ValidInRecord(joined, start, end - 1);
        source.Add(late + runs[r].position, samples,
                   start + headerBytes + sampleAt + static_cast<uint64_t>(runs[r].block) * recordBytes);
    }
    return trace;
}

ForeignRecording CNeuralynxDoc::ReadStream(const StreamChoice& choice) {
    ForeignRecording recording;
    recording.interval = 1000.0 / rate_;
    auto joined = std::make_unique<JoinedFiles>();
    bool anyInverted = false;
    for (const int place : choice.channels) {
        const Channel& channel = list_[static_cast<size_t>(place)];
        const uint64_t start = joined->Add(OpenBeside(GetSession().files, channel.path));
        recording.traces.push_back(TraceOf(*joined, start, channel));
        anyInverted = anyInverted || channel.isInverted;
    }
    sampleFile = std::move(joined);
    AddEvents(recording, choice.from);
    const Channel& first = list_[static_cast<size_t>(choice.channels[0])];
    recording.comment = "Neuralynx" + (first.created.empty() ? "" : ", created " + first.created) + "\r\n";
    if (anyInverted)
        recording.comment +=
            isTurnedBack_ ? "The recorder has inverted its inputs; they are turned back.\r\n"
                          : "The recorder has inverted its inputs, which are shown as stored; the import "
                            "setting polarity=input turns them back.\r\n";
    int hour = 0, minute = 0, second = 0;
    if (std::sscanf(first.created.c_str(), "%*d/%*d/%*d %2d:%2d:%2d", &hour, &minute, &second) == 3 &&
        IsTime(hour, minute, second))
        recording.startClock = ((hour * 60.0 + minute) * 60.0 + second) * 1000.0;
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
        if (!file || file->Length() < headerBytes + eventBytes) continue;
        ForeignEvents found{path.stem().string(), "Events of " + path.filename().string()};
        const uint64_t held = (file->Length() - headerBytes) / eventBytes;
        const uint64_t count = std::min<uint64_t>(held, mostForeignEvents);
        WarnOfEventsLeftOut(recording, "Events of " + path.filename().string(), count, held);
        constexpr uint64_t atOnce = 4096;
        for (uint64_t i = 0; i < count; i += atOnce) {
            const uint64_t n = std::min(atOnce, count - i);
            const FileFields fields(*file, headerBytes + i * eventBytes, n * eventBytes);
            for (size_t at = 0; at < n * eventBytes; at += eventBytes) {
                const double us = static_cast<double>(fields.I64(at + 6)) - static_cast<double>(firstTime_);
                if (us < 0.0) continue;
                const int64_t position = std::llround(std::min(us * 1e-6 * rate_, 1e15));
                const size_t before = found.events.size();
                AddPlaced(found.events, position, position + 1, from, fields.Text(at + 56, 128));
                if (found.events.size() > before)
                    found.events.back().eventValue = static_cast<float>(fields.U16(at + 16));
            }
        }
        if (!found.events.empty()) recording.events.push_back(std::move(found));
    }
}

Reopening CNeuralynxDoc::ToReopen() const {
    Reopening again = CStreamDoc::ToReopen();
    again.settings["polarity"] = isTurnedBack_ ? "input" : "stored";
    return again;
}

}  // namespace kymora
