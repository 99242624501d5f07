#include "import/intan_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace kymora {

namespace {

constexpr double amplifierStep = 0.195, middle = 32768.0;
constexpr uint64_t bytesPerSlice = 4096;  // that a read of a few words costs

struct SignalScale {
    const char* units;
    ValueScale scale;
};

// By the tables of the maker's descriptions.
SignalScale ScaleOfSignal(const IntanHeader& header, IntanSignal signal) {
    const auto centred = [](double step) { return ValueScale{step, -middle * step}; };
    switch (signal) {
    case IntanSignal::amplifier:
        return {"uV", centred(amplifierStep)};
    case IntanSignal::auxiliary:
        return {"V", {37.4e-6}};
    case IntanSignal::supply:
        return {"V", {74.8e-6}};
    case IntanSignal::temperature:
        return {"degC", {0.01}};
    case IntanSignal::dc:
        return {"mV", {-19.23, 512 * 19.23}};
    case IntanSignal::adc:
        if (!header.isStimulator && header.boardMode == 0) return {"V", {50.354e-6}};
        if (!header.isStimulator && header.boardMode == 1) return {"V", centred(152.59e-6)};
        return {"V", centred(312.5e-6)};
    default:
        return {"V", centred(312.5e-6)};
    }
}

bool IsDigital(IntanSignal signal) {
    return signal == IntanSignal::digitalIn || signal == IntanSignal::digitalOut;
}

// Samples of the recording that one of a data block lasts.
int64_t StepsInBlock(const IntanHeader& header, IntanSignal signal) {
    if (signal == IntanSignal::auxiliary) return 4;
    const bool isSlow = signal == IntanSignal::supply || signal == IntanSignal::temperature;
    return isSlow ? header.SamplesPerBlock() : 1;
}

// Of one file for each kind of signal, and of one for each channel.
std::pair<const char*, const char*> FileNames(IntanSignal signal) {
    switch (signal) {
    case IntanSignal::amplifier:
        return {"amplifier.dat", "amp-"};
    case IntanSignal::auxiliary:
        return {"auxiliary.dat", "aux-"};
    case IntanSignal::supply:
        return {"supply.dat", "vdd-"};
    case IntanSignal::dc:
        return {"dcamplifier.dat", "dc-"};
    case IntanSignal::adc:
        return {"analogin.dat", "board-"};
    case IntanSignal::dac:
        return {"analogout.dat", "board-"};
    case IntanSignal::digitalIn:
        return {"digitalin.dat", "board-"};
    case IntanSignal::digitalOut:
        return {"digitalout.dat", "board-"};
    default:
        return {"", ""};
    }
}

std::string FirstOf(const std::vector<std::string>& names) {
    constexpr size_t most = 10;
    std::string text;
    for (size_t i = 0; i < std::min(most, names.size()); ++i) text += (i == 0 ? "" : ", ") + names[i];
    return text + (names.size() > most ? ", ..." : "");
}

}  // namespace

// A stimulation word is no number.
bool CIntanDoc::IsTrace(const IntanChannel& channel) const {
    return !IsDigital(channel.signal) && channel.signal != IntanSignal::stimulation;
}

std::vector<DataStream> CIntanDoc::ReadStreams(const DataFile& file) {
    header_ = ReadIntanHeader(file);
    places_.assign(header_.channels.size(), {});
    traces_.clear();
    lines_.clear();
    warnings_.clear();
    isFolder_ = file.Length() <= header_.length;
    if (isFolder_)
        PlaceInFolder();
    else
        PlaceInBlocks(file.Length());
    for (size_t c = 0; c < header_.channels.size(); ++c) {
        if (!places_[c].isThere) continue;
        if (IsTrace(header_.channels[c])) traces_.push_back(c);
        if (IsDigital(header_.channels[c].signal)) lines_.push_back(c);
    }
    if (blocks_ == 0 || traces_.empty())
        throw OpenError(fmt::format("{} holds no data.", filePath.filename().string()));
    FindRuns(std::min<size_t>(traces_.size(), maxTraces));
    DataStream stream{"Intan", header_.rate, length_};
    for (const size_t c : traces_)
        stream.channels.push_back(
            {header_.channels[c].Name(), ScaleOfSignal(header_, header_.channels[c].signal).units});
    const auto reads = static_cast<uint64_t>(isFolder_ ? blocks_ / 2048 + 1 : blocks_);
    if (!lines_.empty()) stream.digitalBytes = std::min(sampleFile->Length(), 2 * reads * bytesPerSlice);
    return {stream};
}

// Each kind of signal for all its channels, one channel behind the other; all lines of a kind share words.
void CIntanDoc::PlaceInBlocks(uint64_t fileLength) {
    perBlock_ = header_.SamplesPerBlock();
    uint64_t at = 4 * static_cast<uint64_t>(perBlock_);
    IntanSignal lineKind = IntanSignal::amplifier;
    uint64_t lineAt = 0;
    for (size_t c = 0; c < header_.channels.size(); ++c) {
        const IntanSignal signal = header_.channels[c].signal;
        const int64_t steps = StepsInBlock(header_, signal);
        const uint64_t bytes = 2 * static_cast<uint64_t>(perBlock_ / steps);
        if (IsDigital(signal)) {
            if (signal != lineKind) {
                lineKind = signal;
                lineAt = at;
                at += bytes;
            }
            places_[c] = {lineAt, 2, 1, true};
            continue;
        }
        places_[c] = {at, 2, steps, true};
        at += bytes;
    }
    blockBytes_ = at;
    dataAt_ = timeAt_ = header_.length;
    hasTimes_ = true;
    blocks_ = timed_ = static_cast<int64_t>((fileLength - dataAt_) / blockBytes_);
    if (const uint64_t rest = (fileLength - dataAt_) % blockBytes_; rest != 0)
        warnings_.push_back(
            fmt::format("{} ends within a data block: {} of its {} bytes are there. It is left "
                        "out.",
                        filePath.filename().string(), rest, blockBytes_));
}

// In these files every signal has the amplifiers' rate.
void CIntanDoc::PlaceInFolder() {
    FileSystem& files = GetSession().files;
    const std::filesystem::path folder = filePath.parent_path();
    auto joined = std::make_unique<JoinedFiles>();
    perBlock_ = 1;
    blockBytes_ = 4;
    struct Taken {
        uint64_t start = 0;
        int64_t rows = 0;
        std::string name;
    };
    std::vector<Taken> all;
    const auto take = [&](const std::string& name, uint64_t rowBytes) -> std::optional<Taken> {
        auto file = FindBeside(files, folder / name);
        if (!file || file->Length() < rowBytes) return {};
        const auto rows = static_cast<int64_t>(file->Length() / rowBytes);
        return all.emplace_back(Taken{joined->Add(std::move(file)), rows, name});
    };
    const auto times = take("time.dat", 4);
    hasTimes_ = times.has_value();
    timeAt_ = hasTimes_ ? times->start : 0;
    std::vector<std::string> missing;
    for (size_t c = 0; c < header_.channels.size();) {
        const IntanSignal signal = header_.channels[c].signal;
        const auto count = static_cast<size_t>(header_.Count(signal));
        const auto [together, prefix] = FileNames(signal);
        const size_t columns = IsDigital(signal) ? 1 : count;
        const auto taken = *together ? take(together, 2 * columns) : std::nullopt;
        if (taken && hasTimes_) {
            const uint64_t bytes = joined->Length() - taken->start;
            const uint64_t column = 2 * static_cast<uint64_t>(times->rows);
            if (bytes % column == 0 && bytes != columns * column)
                throw OpenError(fmt::format(
                    "{} holds {} channels for the {} times of time.dat, where {} names "
                    "{}: they do not belong together.",
                    together, bytes / column, times->rows, filePath.filename().string(), columns));
        }
        for (size_t i = 0; i < count; ++i, ++c) {
            Place& place = places_[c];
            if (taken) {
                place = {taken->start + 2 * (IsDigital(signal) ? 0 : i),
                         static_cast<uint32_t>(2 * columns),
                         1,
                         true,
                         false,
                         taken->rows};
            } else if (*prefix) {
                const std::string name = fmt::format("{}{}.dat", prefix, header_.channels[c].native);
                if (const auto alone = take(name, 2))
                    place = {alone->start, 2, 1, true, true, alone->rows};
                else
                    missing.push_back(name);
            }
        }
    }
    std::vector<std::string> shorter;
    blocks_ = 0;
    for (const Taken& taken : all) blocks_ = std::max(blocks_, taken.rows);
    if (all.size() == 1 && hasTimes_) blocks_ = 0;
    for (const Taken& taken : all)
        if (taken.rows < blocks_) shorter.push_back(taken.name);
    timed_ = hasTimes_ ? times->rows : blocks_;
    if (!missing.empty() && blocks_ > 0)
        warnings_.push_back(
            fmt::format("{} files of this recording are not here: {}.", missing.size(), FirstOf(missing)));
    if (!shorter.empty())
        warnings_.push_back(fmt::format("{} files of this recording end before the others: {}.",
                                        shorter.size(), FirstOf(shorter)));
    sampleFile = std::move(joined);
}

void CIntanDoc::FindRuns(size_t channels) {
    const auto time = [this](int64_t block) {
        int32_t number = 0;
        if (!hasTimes_) return block * perBlock_;
        ReadWhole(*sampleFile, timeAt_ + static_cast<uint64_t>(block) * blockBytes_,
                  std::as_writable_bytes(std::span(&number, 1)));
        return int64_t{number};
    };
    const BlockTimes times(timed_, perBlock_, {static_cast<double>(perBlock_)},
                           MostRuns(sampleFile->Length(), channels), time);
    runs_ = times.Runs();
    overlaps_ = times.Overlaps();
    length_ = PositionOfBlock(runs_, blocks_ - 1, perBlock_) + perBlock_;
}

ForeignTrace CIntanDoc::TraceOf(const IntanChannel& channel, const Place& place) const {
    const auto [units, scale] = ScaleOfSignal(header_, channel.signal);
    ForeignTrace trace{channel.Name(), units, {}};
    ChannelSource& source = trace.source;
    const bool isCentred = isFolder_ && channel.signal == IntanSignal::amplifier;
    const bool isSigned = isCentred || channel.signal == IntanSignal::temperature;
    source.type = isSigned ? NumberType::i16 : NumberType::u16;
    source.scales = {isCentred ? ValueScale{amplifierStep} : scale};
    source.stride = place.stride;
    source.steps = place.steps;
    const int64_t inBlock = perBlock_ / place.steps;
    if (!isFolder_) {
        source.perBlock = inBlock;
        source.blockBytes = blockBytes_;
    }
    const uint64_t step = isFolder_ ? place.stride : blockBytes_;
    for (size_t r = 0; r < runs_.size(); ++r) {
        const int64_t end = r + 1 < runs_.size() ? runs_[r + 1].block : blocks_;
        source.Add(runs_[r].position, (std::min(end, place.rows) - runs_[r].block) * inBlock,
                   dataAt_ + place.offset + static_cast<uint64_t>(runs_[r].block) * step);
    }
    return trace;
}

ForeignRecording CIntanDoc::ReadStream(const StreamChoice& choice) {
    ForeignRecording recording;
    recording.interval = 1000.0 / header_.rate;
    for (const int place : choice.channels) {
        const size_t c = traces_[static_cast<size_t>(place)];
        recording.traces.push_back(TraceOf(header_.channels[c], places_[c]));
    }
    recording.lengthWithoutTraces = length_;
    recording.warnings = warnings_;
    if (choice.digital) ReadDigital(recording, choice.from);
    recording.comment = Comment();
    if (overlaps_ > 0)
        recording.log += fmt::format("{} data blocks begin before the end of the one before; they follow it "
                                     "without a gap\n",
                                     overlaps_);
    recording.details = {
        {"File type", fmt::format("Intan {}, version {}.{}", header_.isStimulator ? "RHS" : "RHD",
                                  header_.major, header_.minor)},
        {"Amplifier channels", std::to_string(header_.Count(IntanSignal::amplifier))},
        {"Amplifier bandwidth", fmt::format("{:.6g} to {:.6g} Hz", header_.lower, header_.upper)},
        {"Data", isFolder_ ? "files beside it" : fmt::format("{} blocks", blocks_)}};
    return recording;
}

// A word holds all lines of its kind, in a file of one channel that line alone.
void CIntanDoc::ReadDigital(ForeignRecording& recording, int64_t from) {
    for (size_t i = 0; i < lines_.size();) {
        const Place& place = places_[lines_[i]];
        const bool isInput = header_.channels[lines_[i]].signal == IntanSignal::digitalIn;
        std::vector<std::string> names(16);
        uint16_t mask = 0;  // a word holds lines that are not recorded, too
        for (; i < lines_.size() && places_[lines_[i]].offset == place.offset; ++i) {
            const IntanChannel& channel = header_.channels[lines_[i]];
            const int bit = place.isAlone ? 0 : channel.order;
            if (bit < 0 || bit >= 16) continue;
            names[static_cast<size_t>(bit)] = channel.Name();
            mask = static_cast<uint16_t>(mask | 1u << bit);
        }
        DigitalLines lines(std::move(names), from);
        ReadWords(place, mask, lines);
        lines.Finish(recording, length_, "Digital line",
                     isInput ? "The digital inputs" : "The digital outputs");
    }
}

void CIntanDoc::ReadWords(const Place& place, uint16_t mask, DigitalLines& lines) {
    const int64_t blocks = std::min(blocks_, place.rows);
    const int64_t blocksAtOnce = isFolder_ ? 1 << 16 : 1;
    const uint64_t step = isFolder_ ? 2 : blockBytes_;
    std::vector<uint16_t> words(static_cast<size_t>(blocksAtOnce * perBlock_));
    std::unique_ptr<Progress> progress;
    size_t run = 0;
    for (int64_t block = 0; block < blocks && !lines.IsFull();) {
        if (run + 1 < runs_.size() && runs_[run + 1].block <= block) ++run;
        const int64_t runEnd = run + 1 < runs_.size() ? runs_[run + 1].block : blocks;
        const int64_t n = std::min({blocksAtOnce, runEnd - block, blocks - block});
        const auto part = std::span(words).first(static_cast<size_t>(n * perBlock_));
        ReadWhole(*sampleFile, dataAt_ + place.offset + static_cast<uint64_t>(block) * step,
                  std::as_writable_bytes(part));
        const int64_t position = runs_[run].position + (block - runs_[run].block) * perBlock_;
        for (size_t s = 0; s < part.size(); ++s)
            lines.TakeWord(position + static_cast<int64_t>(s), 0, static_cast<uint16_t>(part[s] & mask));
        const int64_t before = block >> 14;
        block += n;
        if (block >> 14 != before && !GoesOn(progress, "Reading digital lines", static_cast<uint64_t>(block),
                                             static_cast<uint64_t>(blocks)))
            throw OpenDeclined();
    }
}

std::string CIntanDoc::Comment() const {
    std::string comment =
        fmt::format("Intan {} version {}.{}\r\n", header_.isStimulator ? "RHS2000" : "RHD2000", header_.major,
                    header_.minor);
    for (const std::string& note : header_.notes) comment += note + "\r\n";
    if (!header_.reference.empty()) comment += "Reference: " + header_.reference + "\r\n";
    if (header_.notch == 1 || header_.notch == 2)
        comment += fmt::format("A notch filter of {} Hz was shown while recording.\r\n",
                               header_.notch == 1 ? 50 : 60);
    return comment;
}

}  // namespace kymora
