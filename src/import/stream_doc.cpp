#include "import/stream_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/form.h"
#include "import/channel_choice.h"

namespace kymora {

namespace {

constexpr uint64_t bytesSearchedUnasked = uint64_t{1} << 30;
constexpr int streamStep = 1 << 16;  // a trace's index in the file: stream x this + channel

int NumberOf(const std::vector<DataStream>& streams, size_t place) {
    return streams[place].number > 0 ? streams[place].number : static_cast<int>(place) + 1;
}

std::string NamesOf(const std::vector<DataStream>& streams) {
    std::string names;
    for (size_t i = 0; i < streams.size(); ++i)
        names += fmt::format("{}{} ({})", i == 0 ? "" : ", ", NumberOf(streams, i), streams[i].name);
    return names;
}

std::string Summary(const DataStream& stream) {
    return fmt::format("{}: {} channels, {:.9g} Hz, {:.9g} s", stream.name, stream.channels.size(),
                       stream.rate, static_cast<double>(stream.samples) / stream.rate);
}

// The place of a stream that `setting` gives as a number from 1 or by its name.
size_t FindStream(const std::vector<DataStream>& streams, const std::string& setting) {
    for (size_t i = 0; i < streams.size(); ++i)
        if (streams[i].name == setting) return i;
    int number = 0;
    const auto [end, error] = std::from_chars(setting.data(), setting.data() + setting.size(), number);
    if (error == std::errc() && end == setting.data() + setting.size())
        for (size_t i = 0; i < streams.size(); ++i)
            if (NumberOf(streams, i) == number) return i;
    throw ImportSettingError("stream", setting, "the number or the name of a stream: " + NamesOf(streams));
}

}  // namespace

std::unique_ptr<DataFile> FindBeside(FileSystem& files, const std::filesystem::path& path) {
    try {
        return files.Open(path, OpenMode::readOnly);
    } catch (const FileError&) {
        return nullptr;
    }
}

std::unique_ptr<DataFile> OpenBeside(FileSystem& files, const std::filesystem::path& path) {
    try {
        return files.Open(path, OpenMode::readOnly);
    } catch (const FileError& error) {
        throw OpenError(fmt::format("{} belongs to this recording and could not be opened.\n{}",
                                    path.filename().string(), error.what()));
    }
}

std::string ReadTextFile(const DataFile& file, const std::string& name, uint64_t most) {
    if (file.Length() > most)
        throw OpenError(fmt::format("{} is {} bytes long, which no such file is.", name, file.Length()));
    std::string text(static_cast<size_t>(file.Length()), '\0');
    text.resize(file.ReadAt(0, std::as_writable_bytes(std::span(text))));
    return text;
}

ForeignRecording CStreamDoc::ReadRecording(const DataFile& file) {
    streams_ = ReadStreams(file);
    choice_ = {};
    sideCar_.Open(*this);
    ResetModel();
    Choose();
    const DataStream& stream = streams_[choice_.stream];
    ForeignRecording recording = ReadStream(choice_);
    for (const int place : choice_.channels)
        recording.signals.push_back(
            {StreamNumber() * streamStep + place, stream.channels[static_cast<size_t>(place)].label});
    recording.details.insert(recording.details.begin(), {"Stream", Summary(stream)});
    if (stream.digitalBytes > 0 && !choice_.digital)
        recording.log += "The digital lines were not searched for events; the import setting digital=events "
                         "does it.\n";
    Cut(recording);
    return recording;
}

void CStreamDoc::Choose() {
    choice_.stream = ChooseStream();
    const DataStream& stream = streams_[choice_.stream];
    if (!(stream.rate > 0.0) || !std::isfinite(stream.rate) || !std::isfinite(1000.0 / stream.rate))
        throw OpenError(fmt::format("This file states {} samples in a second.", stream.rate));
    fromSeconds_ = FromSeconds(CurrentOpening().Setting("from"));
    choice_.from = std::llround(std::min(fromSeconds_ * stream.rate, 1e15));
    if (choice_.from > 0 && choice_.from >= stream.samples)
        ThrowBehindEnd(fromSeconds_, static_cast<double>(stream.samples) / stream.rate);
    ChooseChannels();
}

int CStreamDoc::StreamNumber() const { return NumberOf(streams_, choice_.stream) - 1 + FirstStreamNumber(); }

size_t CStreamDoc::ChooseStream() {
    const std::string* setting = CurrentOpening().Setting("stream");
    if (setting) return FindStream(streams_, *setting);
    size_t proposed = 0;
    if (sideCar_.Traces().areTold && !sideCar_.Traces().sources.empty()) {
        const int number = sideCar_.Traces().sources[0].index / streamStep - FirstStreamNumber() + 1;
        for (size_t i = 0; i < streams_.size(); ++i)
            if (NumberOf(streams_, i) == number) proposed = i;
    }
    if (streams_.size() < 2) return proposed;
    if (!GetOpening().Asks()) {
        if (sideCar_.Traces().sources.empty())
            Tell(
                fmt::format("{} holds {} streams: {}. The first is shown. File > Open offers the others, and "
                            "so does the command line, with --import stream=NUMBER.",
                            filePath.filename().string(), streams_.size(), NamesOf(streams_)));
        return proposed;
    }
    std::vector<std::string> names;
    for (const DataStream& stream : streams_) names.push_back(Summary(stream));
    Form form("Choose Stream");
    form.AddChoice("stream", "Stream", names, static_cast<int>(proposed),
                   "Streams have sample rates of their own and open as recordings of their own.");
    if (!GetHost().AskForm(form)) throw OpenDeclined();
    return static_cast<size_t>(form.Choice("stream"));
}

// Places in the chosen stream that the side-car knows. Files may have come to a recording of many, so that
// labels count, too.
std::vector<int> CStreamDoc::Remembered() const {
    const SideCarTraces& stored = sideCar_.Traces();
    if (!stored.areTold) return {};
    std::vector<TraceSignal> signals;
    for (const StreamChannel& channel : streams_[choice_.stream].channels)
        signals.push_back({StreamNumber() * streamStep + static_cast<int>(signals.size()), channel.label});
    std::vector<TraceSignal> wanted = stored.sources;
    std::erase_if(wanted, [this](auto& signal) { return signal.index / streamStep != StreamNumber(); });
    std::vector<int> places = FindSignals(wanted, signals);
    std::erase(places, -1);
    std::sort(places.begin(), places.end());
    places.resize(std::min<size_t>(places.size(), maxTraces));
    return places;
}

bool CStreamDoc::IsDigitalWanted() const {
    const uint64_t bytes = streams_[choice_.stream].digitalBytes;
    return bytes > 0 && bytes <= bytesSearchedUnasked;
}

void CStreamDoc::ChooseChannels() {
    const DataStream& stream = streams_[choice_.stream];
    const std::string* setting = CurrentOpening().Setting("channels");
    const std::string* digital = CurrentOpening().Setting("digital");
    if (digital && *digital != "events" && *digital != "none")
        throw ImportSettingError("digital", *digital, "\"events\" or \"none\"");
    choice_.digital = stream.digitalBytes > 0 && (digital ? *digital == "events" : IsDigitalWanted());
    if (stream.channels.empty()) return;
    const std::vector<int> remembered = Remembered();
    if (!setting && GetOpening().Asks()) {
        ChannelQuestion question{"channels", Summary(stream), "Channels to show as traces", {}, {},
                                 remembered, maxTraces};
        for (size_t i = 0; i < stream.channels.size(); ++i)
            question.names.push_back(
                fmt::format("{}: {}{}", i + 1, stream.channels[i].label,
                            stream.channels[i].units.empty() ? "" : "  [" + stream.channels[i].units + "]"));
        if (stream.digitalBytes > 0) {
            question.flagLabel = "Search digital lines for events";
            question.flagToolTip = fmt::format("Reads {:.1f} MB before the recording opens.",
                                               static_cast<double>(stream.digitalBytes) * 1e-6);
            question.flag = choice_.digital;
        }
        auto answer = AskChannels(GetSession(), question);
        if (!answer) throw OpenDeclined();
        choice_.channels = std::move(*answer);
        wasAsked_ = true;
        if (!digital && stream.digitalBytes > 0) choice_.digital = question.flag;
        return;
    }
    if (setting) {
        choice_.channels = ParseChannels("channels", *setting, stream.channels.size(), maxTraces);
        return;
    }
    choice_.channels = remembered;
    if (!remembered.empty()) return;
    for (size_t i = 0; i < std::min<size_t>(stream.channels.size(), maxTraces); ++i)
        choice_.channels.push_back(static_cast<int>(i));
    if (choice_.channels.size() < stream.channels.size())
        Tell(fmt::format(
            "The first {} of {} channels of {} are shown. File > Open offers the others, and so does the "
            "command line, with --import channels=LIST.",
            choice_.channels.size(), stream.channels.size(), filePath.filename().string()));
}

// A recording has at most 2,147,483,647 samples: a longer one opens in part.
void CStreamDoc::Cut(ForeignRecording& recording) const {
    int64_t end = recording.lengthWithoutTraces;
    for (const ForeignTrace& trace : recording.traces) end = std::max(end, trace.source.End());
    if (choice_.from == 0 && end <= longestRecording) return;
    const int64_t length = std::min(end - choice_.from, longestRecording);
    for (ForeignTrace& trace : recording.traces) trace.source = trace.source.Part(choice_.from, length);
    recording.lengthWithoutTraces =
        std::clamp<int64_t>(recording.lengthWithoutTraces - choice_.from, 0, longestRecording);
    if (recording.startClock) {
        const double clock = *recording.startClock + fromSeconds_ * 1000.0;
        if (recording.startDate)
            *recording.startDate += std::chrono::days(static_cast<int64_t>(clock / 86400000.0));
        recording.startClock = std::fmod(clock, 86400000.0);
    }
    if (choice_.from > 0)
        recording.comment += fmt::format("This part begins at {:.9g} s of the recording.\r\n", fromSeconds_);
    if (end - choice_.from > longestRecording)
        recording.warnings.push_back(fmt::format(
            "This recording has {} samples, more than the {} that can be shown at once. It is shown up to "
            "{:.9g} s; the import setting from=SECONDS opens another part.",
            end, longestRecording,
            fromSeconds_ + static_cast<double>(longestRecording) * recording.interval / 1000.0));
}

// Positions in a side-car are those of the stream that it was made with, from its beginning.
SideCarResult CStreamDoc::ReadOwnSideCar() {
    const SideCarTraces& stored = sideCar_.Traces();
    const bool isOther =
        stored.areTold && !stored.sources.empty() && stored.sources[0].index / streamStep != StreamNumber();
    return sideCar_.Read(*this, isOther            ? "the side-car belongs to another stream of the recording"
                                : choice_.from > 0 ? "the side-car belongs to its beginning"
                                                   : "");
}

bool CStreamDoc::GoesOn(std::unique_ptr<Progress>& progress, const char* what, uint64_t done, uint64_t all) {
    if (!progress) progress = GetHost().StartProgress(what, all);
    return progress->Update(done);
}

Reopening CStreamDoc::ToReopen() const {
    Reopening again = CForeignDoc::ToReopen();
    if (streams_.size() > 1) again.settings["stream"] = std::to_string(NumberOf(streams_, choice_.stream));
    if (!choice_.channels.empty()) again.settings["channels"] = ChannelsText(choice_.channels);
    if (choice_.from > 0) again.settings["from"] = fmt::format("{}", fromSeconds_);
    again.settings["digital"] = choice_.digital ? "events" : "none";
    return again;
}

}  // namespace kymora
