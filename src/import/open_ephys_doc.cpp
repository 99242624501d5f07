#include "import/open_ephys_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>
#include <nlohmann/json.hpp>

#include "archive/npy.h"
#include "import/digital_lines.h"
#include "import/file_fields.h"

namespace kymora {

namespace {

using nlohmann::json;

constexpr size_t mostStreams = 256, mostStreamChannels = 65536, mostLines = 256;
constexpr int64_t mostMessages = 100000;
constexpr uint64_t mostOebinBytes = 16 << 20;

std::string OebinText(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

double OebinNumber(const json& object, const char* key, double otherwise) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number() ? found->get<double>() : otherwise;
}

// The objects of an array; none where there is no such array.
std::vector<const json*> OebinList(const json& object, const char* key) {
    std::vector<const json*> list;
    const auto found = object.find(key);
    if (found == object.end() || !found->is_array()) return list;
    for (const json& item : *found)
        if (item.is_object()) list.push_back(&item);
    return list;
}

std::string OebinFolder(const json& object) {
    std::string folder = OebinText(object, "folder_name");
    while (folder.ends_with('/')) folder.pop_back();
    return folder;
}

// A name that leads out of the recording's folder is not followed.
bool IsInside(const std::string& folder) {
    return !folder.empty() && folder[0] != '/' && folder.find("..") == std::string::npos;
}

// An array with its file.
struct NpyBeside {
    explicit NpyBeside(std::unique_ptr<DataFile> opened) : file(std::move(opened)), array(*file) {}
    std::unique_ptr<DataFile> file;
    NpyArray array;
};

// Null where there is no such array.
std::unique_ptr<NpyBeside> FindNpy(FileSystem& files, const std::filesystem::path& path) {
    try {
        if (auto file = FindBeside(files, path)) return std::make_unique<NpyBeside>(std::move(file));
    } catch (const ArchiveError&) {  // it holds something else
    }
    return nullptr;
}

std::unique_ptr<NpyBeside> SampleNumbers(FileSystem& files, const std::filesystem::path& folder) {
    auto numbers = FindNpy(files, folder / "sample_numbers.npy");
    if (!numbers) numbers = FindNpy(files, folder / "timestamps.npy");
    const bool isUsed = numbers && numbers->array.Kind() == 'i' && numbers->array.Count() > 0;
    return isUsed ? std::move(numbers) : nullptr;  // others are seconds
}

// The whole numbers of an array; none where it holds other ones.
std::vector<int64_t> WholesOf(const NpyBeside* numbers, int64_t most) {
    try {
        if (numbers) return numbers->array.Wholes(most);
    } catch (const ArchiveError&) {  // as if it were not there
    }
    return {};
}

// From the first sample of a stream on; 0 before it. Damaged numbers may differ by anything.
int64_t Behind(int64_t number, int64_t first) {
    constexpr int64_t furthest = 1000000000000000;
    const auto apart = static_cast<int64_t>(static_cast<uint64_t>(number) - static_cast<uint64_t>(first));
    return std::clamp<int64_t>(apart, 0, furthest);
}

// The place of what happened at a moment; -1 before the stream's first sample.
int64_t PlaceOf(int64_t number, int64_t first) { return number < first ? -1 : Behind(number, first); }

std::string_view FirstPart(const std::string& folder) {
    return std::string_view(folder).substr(0, folder.find('/'));
}

}  // namespace

std::filesystem::path COpenEphysDoc::FileOf(const char* kind, const std::string& folder,
                                            const char* name) const {
    return filePath.parent_path() / kind / folder / name;
}

std::vector<DataStream> COpenEphysDoc::ReadStreams(const DataFile& file) {
    const std::string text = ReadTextFile(file, filePath.filename().string(), mostOebinBytes);
    const json tree = json::parse(text, nullptr, false);
    if (!tree.is_object()) throw OpenError("This structure.oebin is damaged: it is no JSON text.");
    version_ = OebinText(tree, "GUI version");
    list_.clear();
    events_.clear();
    missing_.clear();
    std::vector<DataStream> streams;
    int number = 0;
    for (const json* entry : OebinList(tree, "continuous")) {
        Stream stream = StreamOf(*entry);
        ++number;
        if (stream.samples == 0) missing_ += (missing_.empty() ? "" : ", ") + stream.folder;
        const bool hasRate = stream.rate > 0.0 && std::isfinite(1000.0 / stream.rate);
        if (stream.samples == 0 || !hasRate || list_.size() >= mostStreams) continue;
        FindRuns(stream);
        DataStream& shown = streams.emplace_back(DataStream{stream.folder, stream.rate, stream.length});
        shown.number = number;
        for (const Channel& channel : stream.channels)
            shown.channels.push_back({channel.label, channel.units});
        list_.push_back(std::move(stream));
    }
    if (streams.empty())
        throw OpenError(
            fmt::format("{} names no stream that holds data. Its folder \"continuous\" has to stand "
                        "beside it.",
                        filePath.filename().string()));
    for (const bool isSpikes : {false, true})
        for (const json* entry : OebinList(tree, isSpikes ? "spikes" : "events"))
            if (EventFolder events{OebinFolder(*entry), OebinText(*entry, "stream_name"),
                                   OebinText(*entry, isSpikes ? "name" : "channel_name"), isSpikes};
                IsInside(events.folder) && events_.size() < mostStreams)
                events_.push_back(std::move(events));
    return streams;
}

COpenEphysDoc::Stream COpenEphysDoc::StreamOf(const json& entry) const {
    Stream stream{OebinFolder(entry), OebinText(entry, "stream_name"),
                  OebinNumber(entry, "sample_rate", 0.0)};
    if (!IsInside(stream.folder)) return stream;
    for (const json* channel : OebinList(entry, "channels")) {
        const double factor = OebinNumber(*channel, "bit_volts", 1.0);
        Channel& made = stream.channels.emplace_back(
            Channel{OebinText(*channel, "channel_name"), OebinText(*channel, "units"), factor});
        if (made.label.empty()) made.label = fmt::format("CH{}", stream.channels.size());
        if (!(std::isfinite(factor) && factor != 0.0)) made.factor = 1.0;
        const bool isWord = made.label.find("SYNC") != std::string::npos;
        if (made.units.empty() && !isWord)
            made.units = made.label.find("ADC") != std::string::npos ? "V" : "uV";
        if (stream.channels.size() > mostStreamChannels)
            throw OpenError("This structure.oebin is damaged: it lists too many channels.");
    }
    const auto data = FindBeside(GetSession().files, FileOf("continuous", stream.folder, "continuous.dat"));
    if (data && !stream.channels.empty())
        stream.samples = static_cast<int64_t>(data->Length() / (2 * stream.channels.size()));
    return stream;
}

void COpenEphysDoc::FindRuns(Stream& stream) const {
    const auto numbers = SampleNumbers(GetSession().files, FileOf("continuous", stream.folder, ""));
    if (numbers) stream.firstNumber = numbers->array.Whole(0);
    // A crash may have left fewer numbers than samples; the rest follows without a gap.
    const int64_t known = numbers ? std::min(stream.samples, numbers->array.Count()) : 0;
    const auto time = [&](int64_t sample) { return numbers->array.Whole(sample); };
    const uint64_t bytes = 2 * static_cast<uint64_t>(stream.samples) * stream.channels.size();
    stream.runs = {{0, 0}};
    if (known > 0) {
        const size_t channels = std::min<size_t>(stream.channels.size(), maxTraces);
        stream.runs = BlockTimes(known, 1, {}, MostRuns(bytes, channels), time).Runs();
    }
    stream.length = PositionOfBlock(stream.runs, stream.samples - 1, 1) + 1;
}

ForeignRecording COpenEphysDoc::ReadStream(const StreamChoice& choice) {
    const Stream& stream = list_[choice.stream];
    sampleFile = OpenBeside(GetSession().files, FileOf("continuous", stream.folder, "continuous.dat"));
    ForeignRecording recording;
    recording.interval = 1000.0 / stream.rate;
    const auto stride = static_cast<uint32_t>(2 * stream.channels.size());
    for (const int place : choice.channels) {
        const Channel& channel = stream.channels[static_cast<size_t>(place)];
        ForeignTrace& trace = recording.traces.emplace_back(ForeignTrace{channel.label, channel.units, {}});
        trace.source.stride = stride;
        trace.source.scales = {{channel.factor}};
        for (size_t r = 0; r < stream.runs.size(); ++r) {
            const int64_t first = stream.runs[r].block;
            const int64_t end = r + 1 < stream.runs.size() ? stream.runs[r + 1].block : stream.samples;
            trace.source.Add(stream.runs[r].position, end - first,
                             static_cast<uint64_t>(first) * stride + 2 * static_cast<uint64_t>(place));
        }
    }
    if (!missing_.empty())
        recording.warnings.push_back(fmt::format("{} names streams whose samples are not here: {}.",
                                                 filePath.filename().string(), missing_));
    for (const EventFolder& events : events_) {
        const Stream& counted = CountedBy(events);
        if (FindNpy(GetSession().files, FileOf("events", events.folder, "text.npy")))
            AddMessages(recording, events, stream, choice.from);
        else if (&counted == &stream && events.isSpikes)
            AddSpikes(recording, events, stream, choice.from);
        else if (&counted == &stream)
            AddLines(recording, events, stream, choice.from);
    }
    recording.comment = "Open Ephys" + (version_.empty() ? "" : ", GUI version " + version_) + "\r\n";
    AddTime(recording);
    recording.details = {{"File type", "Open Ephys binary"},
                         {"Streams", std::to_string(list_.size())},
                         {"First sample number", std::to_string(stream.firstNumber)}};
    return recording;
}

// The stream of its name, else that whose folder begins alike, else the first.
const COpenEphysDoc::Stream& COpenEphysDoc::CountedBy(const EventFolder& events) const {
    const std::string_view folder = FirstPart(events.folder);
    for (const Stream& stream : list_)
        if (stream.folder == folder) return stream;
    for (const Stream& stream : list_)
        if (!events.streamName.empty() && stream.streamName == events.streamName) return stream;
    return list_[0];
}

void COpenEphysDoc::AddLines(ForeignRecording& recording, const EventFolder& events, const Stream& stream,
                             int64_t from) const {
    FileSystem& files = GetSession().files;
    const std::filesystem::path folder = FileOf("events", events.folder, "");
    auto states = FindNpy(files, folder / "states.npy");
    if (!states) states = FindNpy(files, folder / "channel_states.npy");
    const auto numbers = SampleNumbers(files, folder);
    if (!states || !numbers) return;
    // A line that has fallen has risen before.
    constexpr int64_t mostChanges = 2 * mostForeignEvents;
    const auto changes = WholesOf(states.get(), mostChanges), at = WholesOf(numbers.get(), mostChanges);
    const auto held = static_cast<uint64_t>(std::min(states->array.Count(), numbers->array.Count()));
    WarnOfEventsLeftOut(recording, "Changes of the digital lines of " + events.folder,
                        std::min(changes.size(), at.size()), held);
    uint64_t beyond = 0;
    std::vector<std::string> names;
    for (size_t line = 1; line <= mostLines; ++line)
        names.push_back(fmt::format("{} {}", events.name.empty() ? "Line" : events.name, line));
    DigitalLines lines(std::move(names), from);
    for (size_t i = 0; i < std::min(changes.size(), at.size()); ++i) {
        const auto line = static_cast<uint64_t>(std::abs(std::clamp<int64_t>(changes[i], -1000, 1000)));
        if (line >= 1 && line <= mostLines)
            lines.TakeLine(Behind(at[i], stream.firstNumber), static_cast<size_t>(line - 1), changes[i] > 0);
        else
            ++beyond;
    }
    if (beyond > 0)
        recording.warnings.push_back(
            fmt::format("{} changes of digital lines of {} that have no number from 1 to {} are left out.",
                        beyond, events.folder, mostLines));
    lines.Finish(recording, stream.length, "Digital line of " + stream.folder,
                 "The digital lines of " + events.folder);
}

// Messages count the samples of the main stream; in another one they lie at the same time.
void COpenEphysDoc::AddMessages(ForeignRecording& recording, const EventFolder& events, const Stream& shown,
                                int64_t from) const {
    FileSystem& files = GetSession().files;
    const std::filesystem::path folder = FileOf("events", events.folder, "");
    const auto texts = FindNpy(files, folder / "text.npy");
    const auto numbers = SampleNumbers(files, folder);
    if (!texts || !numbers) return;
    const Stream& main = list_[0];
    ForeignEvents found{"Messages", "Messages of the recording"};
    const int64_t held = std::min(texts->array.Count(), numbers->array.Count());
    const int64_t count = std::min(held, mostMessages);
    WarnOfEventsLeftOut(recording, "Messages of " + events.folder, static_cast<uint64_t>(count),
                        static_cast<uint64_t>(held));
    for (int64_t i = 0; i < count; ++i) {
        const int64_t place = PlaceOf(numbers->array.Whole(i), main.firstNumber);
        if (place < 0) continue;
        const double seconds = static_cast<double>(place) / main.rate;
        const double position = std::clamp(seconds * shown.rate, 0.0, 1e15);
        AddPlaced(found.events, std::llround(position), std::llround(position) + 1, from,
                  TextOfUnknownEncoding(texts->array.Text(i)));
    }
    if (!found.events.empty()) recording.events.push_back(std::move(found));
}

void COpenEphysDoc::AddSpikes(ForeignRecording& recording, const EventFolder& events, const Stream& stream,
                              int64_t from) const {
    FileSystem& files = GetSession().files;
    const std::filesystem::path folder = FileOf("spikes", events.folder, "");
    const auto numbers = SampleNumbers(files, folder);
    if (!numbers) return;
    const auto clusters = FindNpy(files, folder / "clusters.npy");
    const auto at = WholesOf(numbers.get(), mostForeignEvents);
    const auto units = WholesOf(clusters.get(), mostForeignEvents);
    WarnOfEventsLeftOut(recording, "Spikes of " + events.folder, at.size(),
                        static_cast<uint64_t>(numbers->array.Count()));
    ForeignEvents found{events.name.empty() ? "Spikes" : events.name, "Spikes; the value is the unit"};
    for (size_t i = 0; i < at.size(); ++i) {
        const int64_t position = PlaceOf(at[i], stream.firstNumber);
        const size_t before = found.events.size();
        AddPlaced(found.events, position, position + 1, from);
        if (found.events.size() > before && i < units.size())
            found.events.back().eventValue = static_cast<float>(units[i]);
    }
    if (!found.events.empty()) recording.events.push_back(std::move(found));
}

// "Software Time (milliseconds since midnight Jan 1st 1970 UTC): 1667663435000".
void COpenEphysDoc::AddTime(ForeignRecording& recording) const {
    const auto file = FindBeside(GetSession().files, filePath.parent_path() / "sync_messages.txt");
    if (!file || file->Length() > mostOebinBytes) return;
    const std::string text = ReadTextFile(*file, "sync_messages.txt", mostOebinBytes);
    constexpr std::string_view words = "1970 UTC): ";
    const size_t at = text.find(words);
    if (at == std::string::npos) return;
    int64_t ms = 0;
    std::from_chars(text.data() + at + words.size(), text.data() + text.size(), ms);
    const std::time_t seconds = ms / 1000;
    std::tm clock{};
    if (ms <= 0 || ms > int64_t{1} << 50 || !gmtime_r(&seconds, &clock)) return;
    recording.comment +=
        fmt::format("Recorded on {}-{:02}-{:02} at {:02}:{:02}:{:02} GMT\r\n", clock.tm_year + 1900,
                    clock.tm_mon + 1, clock.tm_mday, clock.tm_hour, clock.tm_min, clock.tm_sec);
    recording.startClock = static_cast<double>(ms % 86400000);
    recording.startDate = DayOf(clock.tm_year + 1900, clock.tm_mon + 1, clock.tm_mday);
}

}  // namespace kymora
