#include "import/foreign_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "document/gap_notice.h"
#include "document/side_car.h"
#include "host/form.h"

namespace kymora {

// --- the pieces of a recording ---

CEventKM MakeEvent(int32_t position, std::string_view label) {
    CEventKM event;
    event.onPosition = position;
    event.offPosition = position < 0x7FFFFFFF ? position + 1 : position;
    event.eventLabel = label;
    return event;
}

ForeignEvents EpisodeMarks(const std::string& text, const std::vector<int64_t>& starts,
                           const std::vector<std::string>& labels) {
    ForeignEvents marks{"trigger", text};
    marks.channel = 0;
    for (size_t i = 0; i < starts.size(); ++i) {
        const bool isLabelled = i < labels.size() && !labels[i].empty();
        marks.events.push_back(
            MakeEvent(static_cast<int32_t>(starts[i]), isLabelled ? text + " " + labels[i] : text));
    }
    return marks;
}

bool IsDate(int year, int month, int day) {
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    return year >= 1980 && year <= 2200 && month >= 1 && month <= 12 && day >= 1 && day <= 31 && date.ok();
}

std::optional<std::chrono::sys_days> DayOf(int year, int month, int day) {
    if (!IsDate(year, month, day)) return {};
    return std::chrono::sys_days(std::chrono::year(year) / month / day);
}

bool IsTime(int hour, int minute, int second) {
    return hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60;
}

// --- the document ---

void CForeignDoc::Load() {
    sampleFile = OpenReadOnly();
    recording_ = ReadRecording(*sampleFile);
    if (!recording_.log.empty()) GetHost().Log(recording_.log);
    if (recording_.traces.size() > maxTraces) throw OpenError(tooManyChannelsText);
    if (!(recording_.interval > 0.0) || !std::isfinite(recording_.interval * longestRecording))
        throw OpenError(fmt::format("The file states a sample interval of {} ms, which none can be.",
                                    recording_.interval));
    SetExtent();
    for (const std::string& warning : recording_.warnings) Tell(warning);
    FillModel();
    const SideCarResult sideCar = ReadOwnSideCar();
    if (sideCar == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (sideCar == SideCarResult::read) ScaleUnknownTraces(*this);
    recording_.events.clear();
    std::vector<ChannelSource> sources;
    for (ForeignTrace& trace : recording_.traces) sources.push_back(std::move(trace.source));
    reader_ = std::make_unique<StoredChannelReader>(*sampleFile, std::move(sources));
}

// The recording ends with the last sample that any channel has; what is drawn out does not reach beyond.
void CForeignDoc::SetExtent() {
    length_ = recording_.lengthWithoutTraces;
    for (const ForeignTrace& trace : recording_.traces)
        length_ = std::max(length_, trace.source.LastPosition() + 1);
    if (length_ <= 0) throw OpenError(fmt::format("{} holds no data.", filePath.filename().string()));
    if (length_ > longestRecording) throw OpenError(tooLongText);
    for (ForeignTrace& trace : recording_.traces) trace.source.Trim(length_);
}

void CForeignDoc::FillModel() {
    sampleInterval = recording_.interval;
    episodic = recording_.episodic;
    episodicStored = episodic ? 1 : 0;
    fileComment = recording_.comment;
    traceSignals = recording_.signals;
    traceCount = std::max(static_cast<int>(recording_.traces.size()), 1);
    for (size_t t = 0; t < recording_.traces.size(); ++t) {
        const ForeignTrace& trace = recording_.traces[t];
        validRuns[t] = trace.source.Runs(length_);
        traces[t].traceLabel = trace.label;
        traces[t].traceUnits = trace.units;
        traces[t].traceAutoscale = 1;
    }
    if (recording_.traces.empty()) {
        validRuns[0] = RunList({0, static_cast<uint32_t>(length_)});
        traces[0].traceLabel = "(no data)";
    }
    UpdateGapFlags();
    FillEvents();
}

void CForeignDoc::FillEvents() {
    const auto startsEarlier = [](const CEventKM& a, const CEventKM& b) {
        return a.onPosition < b.onPosition;
    };
    constexpr size_t mostNamed = 10;
    size_t leftOut = 0, channelsLeftOut = 0;
    std::string names;
    int next = 0;
    for (const ForeignEvents& found : recording_.events) {
        const int place = found.channel >= 0 ? found.channel : next;
        next = std::max(next, place + 1);
        if (!HasChannel(place)) {
            leftOut += found.events.size();
            if (++channelsLeftOut <= mostNamed) names += (names.empty() ? "" : ", ") + found.label;
            continue;
        }
        CEventChan& channel = eventChannels[static_cast<size_t>(place)];
        channel.channelLabel = found.label;
        channel.channelComment = found.comment;
        channel.parentTrace = found.parentTrace;
        std::vector<CEventKM> events = found.events;
        std::stable_sort(events.begin(), events.end(), startsEarlier);
        channel.Splice(0, channel.GetNumEvents(), std::move(events));
    }
    if (leftOut > 0)
        Tell(fmt::format("{} events of {} kinds are left out, since there are {} event channels: {}{}",
                         leftOut, channelsLeftOut, maxEventChannels, names,
                         channelsLeftOut > mostNamed ? ", ..." : ""));
}

// Conversions are staggered, so that some traces end a little before the others; that is no gap to tell of.
bool CForeignDoc::HasInnerGaps() const {
    for (int t = 0; t < traceCount; ++t)
        if (GetNumValidBlocks(t) > 1 || GetRun(t, 0) == 0) return true;
    return false;
}

void CForeignDoc::AfterLoad() {
    const bool showsDetails = GetOpening().request.talk <= OpenTalk::shows;
    if (showsDetails && !noData && HasInnerGaps()) NoticeGaps(GetHost());
    if (GetOpening().Asks() && !wasAsked_ && !GetSession().skipFileDetails && !ShowDetails())
        throw OpenDeclined();
}

bool CForeignDoc::ShowDetails() {
    Session& session = GetSession();
    Form form(DetailsTitle());
    form.AddNote("path", filePath.filename().string(), "File");
    for (size_t i = 0; i < recording_.details.size(); ++i)
        form.AddNote(fmt::format("detail{}", i + 1), recording_.details[i].second,
                     recording_.details[i].first);
    form.AddNote("interval", fmt::format("{:.9g} ms", sampleInterval), "Sample interval");
    form.AddNote("length", fmt::format("{} samples, {:.9g} ms", GetLength(), TimeOf(GetLength())), "Length");
    std::vector<std::vector<std::string>> rows;
    for (size_t t = 0; t < recording_.traces.size(); ++t)
        rows.push_back({std::to_string(t + 1), recording_.traces[t].label, recording_.traces[t].units,
                        std::to_string(GetStoredCount(static_cast<int>(t)))});
    form.AddTable("traces", {"Trace", "Label", "Unit", "Samples"}, std::move(rows));
    form.AddFlag(
        "silence", "Do not show this again", session.skipFileDetails,
        "File details of all types open without this dialog for the rest of the session. The File menu "
        "still shows it.");
    if (!session.host.AskForm(form)) return false;
    session.skipFileDetails = form.Flag("silence");
    return true;
}

void CForeignDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    if (pieces.empty()) return;
    std::vector<ChannelPiece> parts;
    for (const StoredRead& piece : pieces) parts.push_back({piece.trace, piece.values.data()});
    reader_->Read(storedIndex, static_cast<int64_t>(pieces[0].values.size()), parts);
}

}  // namespace kymora
