#include "import/edf_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "archive/text_encoding.h"
#include "document/side_car.h"
#include "host/form.h"
#include "import/channel_choice.h"
#include "import/edf_dialogs.h"
#include "import/edf_recall.h"
#include "import/edf_timeline.h"
#include "import/foreign_recording.h"

namespace kymora {

namespace {

// What opening may take beside the fixed needs of a document, so that a damaged file of many tiny records
// cannot use up the memory: these bytes and half the file's size, for events and again for gaps.
constexpr uint64_t annotationBytes = 36 << 20;
constexpr uint64_t gapBytes = 12 << 20;
// A gap's entries while the run lists are built, and in the list of each trace.
constexpr uint64_t bytesPerGap = 64;
constexpr uint64_t bytesPerGapOfTrace = 16;

}  // namespace

void CEDFDoc::Load() {
    if (FoldCase(filePath.string()).find(Extension()) == std::string::npos)
        throw OpenError(fmt::format("You must select a {} file", Extension()));
    sampleFile = OpenReadOnly();
    list_.reset();
    header_ = ReadEdfHeader(*sampleFile);
    for (const std::string& note : header_.notes) Note(note);
    if (header_.missingRecords > 0)
        Notify(
            "CEDFDoc::Load: cut off",
            fmt::format(
                "This file is shorter than its header says: it holds {} of {} data records. Was it copied to "
                "its end?",
                header_.dataRecords, header_.dataRecords + header_.missingRecords));
    layoutSetting_ = LayoutSetting();
    SideCarFile sideCar(*this);
    Recalled recalled = RecallSignals(sideCar);
    ChooseSignals(recalled.choice);
    SkipRecords();
    SetTimeBase();
    EdfEventCollector collected(axis_.sampleInterval, annotationBytes + sampleFile->Length() / 2);
    if (firstRecord_ > 0) collected.StartAt(startMark_);
    ReadAnnotations(collected);
    part_ = header_;
    part_.headerLength += firstRecord_ * header_.bytesPerRecord;
    part_.dataRecords -= firstRecord_;
    reader_ = MakeEdfSampleReader(*sampleFile, part_, samplesPerRecord_);
    canFold_ = !chosen_.empty() && std::all_of(chosen_.begin(), chosen_.end(), [this](int signal) {
        return EdfFoldIsExact(header_.Signal(signal).scale);
    });
    Note(fmt::format("{}, {} signals, {} data records of {} s", EdfTypeText(header_), header_.signals.size(),
                     header_.dataRecords, header_.recordDuration));
    FillModel();
    openedReadOnly = firstRecord_ > 0;
    if (openedReadOnly)
        readOnlyReason = "the side-car belongs to its beginning";
    else
        ReadOwnSideCar(sideCar, std::move(recalled), collected);
    const bool isBare = !HoldsEvents();
    layoutSetting_ = AskLayout(collected);
    ProcessAnnots(collected, *layoutSetting_);
    if (isBare && !chosen_.empty()) AddFileEvents();
    if (isBare) Facts().TakeChannels(eventChannels);
}

void CEDFDoc::Note(const std::string& text) const {
    GetHost().Log(fmt::format("{}: {}\n", header_.Name(), text));
}

// The chooser of signals has shown what the file is.
void CEDFDoc::AfterLoad() {
    const bool isToShow = GetOpening().Asks() && !wasChosenByDialog_ && !GetSession().skipFileDetails;
    if (isToShow && !ShowInfo()) throw OpenDeclined();
}

bool CEDFDoc::ShowInfo() {
    Session& session = GetSession();
    Form form = EdfInfoForm(session, header_, [this] { return AnnotationList(); });
    form.AddFlag(
        "silence", "Do not show this again", session.skipFileDetails,
        "File details of all types open without this dialog for the rest of the session. The File menu "
        "still shows it.");
    if (!session.host.AskForm(form)) return false;
    session.skipFileDetails = form.Flag("silence");
    return true;
}

// Nothing when none is given.
std::optional<CEDFDoc::AnnotationLayout> CEDFDoc::LayoutSetting() {
    const std::string* setting = CurrentOpening().Setting("annotations");
    if (!setting) return std::nullopt;
    if (*setting == "same") return AnnotationLayout::same;
    if (*setting == "separate") return AnnotationLayout::separate;
    throw ImportSettingError("annotations", *setting, "\"separate\" or \"same\"");
}

// A person is asked only where there is something to lay out.
CEDFDoc::AnnotationLayout CEDFDoc::AskLayout(const EdfEventCollector& collected) {
    if (layoutSetting_) return *layoutSetting_;
    const int64_t count = collected.TalCount();
    if (!GetOpening().Asks() || collected.Events().empty() || count < 1 || count > mostSeparateTals)
        return AnnotationLayout::same;
    const std::optional<bool> separate = AskSeparateAnnotations(GetSession(), count);
    if (!separate) throw OpenDeclined();
    return *separate ? AnnotationLayout::separate : AnnotationLayout::same;
}

// What was chosen the last time is chosen again, whoever opens the file.
void CEDFDoc::ChooseSignals(const std::vector<int>& remembered) {
    const std::string* setting = CurrentOpening().Setting("signals");
    chosen_.clear();
    if (header_.ordinarySignals.empty()) return;
    if (!setting && GetOpening().Asks()) {
        auto answer = ChooseEdfSignalsByDialog(GetSession(), header_, remembered);
        if (!answer) throw OpenDeclined();
        chosen_ = std::move(*answer);
        wasChosenByDialog_ = true;
        return;
    }
    if (!setting && !remembered.empty()) {
        chosen_ = remembered;
        Note(fmt::format("{} of {} signals are shown, as the side-car tells", chosen_.size(),
                         header_.ordinarySignals.size()));
        return;
    }
    chosen_ = ChooseEdfSignals(header_, setting);
    if (!setting && chosen_.size() < header_.ordinarySignals.size())
        Tell(fmt::format(
            "The first {} of {} signals of {} are shown. File > Open offers the others, and so does the "
            "command line, with --import signals=LIST.",
            chosen_.size(), header_.ordinarySignals.size(), filePath.filename().string()));
}

// Where records tell their starts, gaps count.
void CEDFDoc::SkipRecords() {
    firstRecord_ = 0;
    skippedSeconds_ = startMark_ = 0.0;
    const double seconds = FromSeconds(CurrentOpening().Setting("from")), each = header_.recordDuration;
    if (seconds == 0.0 || chosen_.empty() || !(each > 0.0)) return;
    const double slack = 1e-9 * each;
    const int64_t last = header_.dataRecords - 1;
    firstRecord_ = static_cast<int64_t>(std::min((seconds + slack) / each, static_cast<double>(last)));
    skippedSeconds_ = startMark_ = static_cast<double>(firstRecord_) * each;
    if (!header_.annotationSignals.empty()) {
        double start = 0.0;
        bool isBehind = false;
        const auto visit = [&](const EdfTalPlace& place, const EdfTal& tal) {
            if (!place.IsTimeKeeping()) return true;
            if (place.record == 0) start = tal.start;
            isBehind = isBehind || tal.start - start > seconds + slack;
            if (isBehind) return false;
            firstRecord_ = place.record;
            skippedSeconds_ = tal.start - start;
            startMark_ = tal.start;
            return true;
        };
        std::unique_ptr<Progress> progress;
        const auto goOn = [&](int64_t record) {
            if (!progress)
                progress =
                    GetHost().StartProgress("Finding the part", static_cast<uint64_t>(header_.dataRecords));
            return progress->Update(static_cast<uint64_t>(record));
        };
        int64_t damaged = 0;
        if (!ForEachEdfTal(*sampleFile, header_, visit, goOn, damaged)) throw OpenDeclined();
    }
    if (firstRecord_ == last && seconds >= skippedSeconds_ + each)
        ThrowBehindEnd(seconds, skippedSeconds_ + each);
}

void CEDFDoc::SetTimeBase() {
    axis_ = {};
    samplesPerRecord_ = 0;
    if (chosen_.empty()) return;
    samplesPerRecord_ = ExpandEdfSignals(header_, chosen_);
    axis_.sampleInterval = header_.recordDuration * 1000.0 / static_cast<double>(samplesPerRecord_);
    const double wholeMs = axis_.sampleInterval * static_cast<double>(longestRecording);
    if (!(axis_.sampleInterval > 0.0) || !std::isfinite(wholeMs))
        throw OpenError(
            fmt::format("The data records of this {} file last {} s. No sample interval can be made of it.",
                        header_.Name(), header_.recordDuration));
}

// --- the time axis ---

void CEDFDoc::ReadAnnotations(EdfEventCollector& collected) {
    const uint64_t gapCost = bytesPerGap + bytesPerGapOfTrace * chosen_.size();
    const auto mostGaps = static_cast<int64_t>((gapBytes + sampleFile->Length() / 2) / gapCost);
    EdfTimeline timeline(std::max<int64_t>(samplesPerRecord_, 1), header_.recordDuration,
                         axis_.sampleInterval, mostGaps);
    WalkAnnotations(collected, timeline);
    axis_ = collected.Axis();
    if (chosen_.empty()) {
        runs_ = RunList({0, static_cast<uint32_t>(std::max(collected.LastEnd(), 1))});
        runEndRecords_ = {0};
        return;
    }
    if (timeline.HasTooManyGaps())
        throw OpenError("This file has more gaps between its data records than can be handled.");
    if (timeline.IsTooLong()) {
        const auto end = static_cast<double>(std::min(timeline.End(), longestRecording));
        Tell(
            fmt::format("{}\nIt is shown up to {:.9g} s; the import setting from=SECONDS opens another part.",
                        tooLongText, skippedSeconds_ + end * axis_.sampleInterval / 1000.0));
    }
    if (timeline.Overlaps() != 0)
        Note(fmt::format(
            "{} data records begin before the end of the one before; they follow it without a gap",
            timeline.Overlaps()));
    if (timeline.Unknown() != 0)
        Note(
            fmt::format("{} data records tell no start time; they follow without a gap", timeline.Unknown()));
    runs_ = RunList(timeline.Runs());
    runEndRecords_ = timeline.RunEndRecords();
    collected.HideInGaps(runs_);
}

// Reads all annotations and lays out the records. Only the records of a discontinuous file go by their start
// times.
void CEDFDoc::WalkAnnotations(EdfEventCollector& collected, EdfTimeline& timeline) {
    const bool startsCount = header_.type == EdfType::discontinuous && !header_.annotationSignals.empty();
    int64_t known = firstRecord_;  // the next record for the timeline
    const auto visit = [&](const EdfTalPlace& place, const EdfTal& tal) {
        if (startsCount && place.IsTimeKeeping() && place.record >= firstRecord_) {
            for (; known < place.record; ++known) timeline.AddRecord(std::nullopt);
            timeline.AddRecord(tal.start);
            ++known;
        }
        return collected.Take(place, tal);
    };
    std::unique_ptr<Progress> progress;
    const auto total = static_cast<uint64_t>(header_.dataRecords);
    const auto goOn = [&](int64_t record) {
        if (!progress) progress = GetHost().StartProgress("Reading annotations", total);
        return progress->Update(static_cast<uint64_t>(record));
    };
    int64_t damaged = 0;
    if (!header_.annotationSignals.empty() && !ForEachEdfTal(*sampleFile, header_, visit, goOn, damaged))
        throw OpenDeclined();
    if (damaged != 0) Note(fmt::format("{} annotations are damaged and were left out", damaged));
    if (!startsCount) timeline.AddContiguous(header_.dataRecords - firstRecord_);
    for (; startsCount && known < header_.dataRecords; ++known) timeline.AddRecord(std::nullopt);
}

int64_t CEDFDoc::PositionOfRecord(int64_t record) const {
    const auto run = std::upper_bound(runEndRecords_.begin(), runEndRecords_.end(), record);
    const auto k = static_cast<int>(run - runEndRecords_.begin());
    const int64_t firstOfRun = k == 0 ? 0 : runEndRecords_[static_cast<size_t>(k) - 1];
    return runs_.PlaceOf(2 * k).runStart + (record - firstOfRun) * samplesPerRecord_;
}

// --- the model ---

void CEDFDoc::FillModel() {
    sampleInterval = axis_.sampleInterval;
    traceCount = std::max(static_cast<int>(chosen_.size()), 1);
    episodic = header_.type == EdfType::discontinuous;
    episodicStored = episodic ? 1 : 0;
    for (int t = 0; t < traceCount; ++t) {
        validRuns[static_cast<size_t>(t)] = runs_;
        traces[static_cast<size_t>(t)] = DescribedTrace(t);
    }
    for (const int signal : chosen_) traceSignals.push_back({signal, header_.Signal(signal).label});
    UpdateGapFlags();
    if (header_.is24Bit) fileComment = DescribedFile();
    if (firstRecord_ > 0)
        fileComment += fmt::format("This part begins at {:.9g} s of the recording.\r\n", skippedSeconds_);
}

std::string CEDFDoc::DescribedFile() const {
    std::string text;
    if (!header_.patient.empty()) text += "Patient: " + header_.patient + "\r\n";
    if (!header_.recording.empty()) text += "Recording: " + header_.recording + "\r\n";
    return text + fmt::format("Recorded on {} at {}\r\n", header_.startDate, header_.startTime);
}

TraceSettings CEDFDoc::DescribedTrace(int trace) const {
    TraceSettings settings =
        TraceSettings::Default(trace, static_cast<Palette>(GetSession().options.palette));
    settings.traceAutoscale = 1;
    if (chosen_.empty()) {
        settings.traceLabel = "(no data)";
        return settings;
    }
    const EdfSignal& signal = header_.Signal(chosen_[static_cast<size_t>(trace)]);
    settings.traceLabel = signal.label;
    settings.traceUnits = signal.dimension;
    settings.axisTop = signal.physicalMaximum;
    settings.axisBottom = signal.physicalMinimum;
    return settings;
}

// --- samples ---

void CEDFDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    if (pieces.empty() || chosen_.empty()) return;
    std::array<EdfPiece, maxTraces> reads;
    const size_t wanted = pieces[0].values.size();
    for (size_t done = 0; done < wanted;) {
        const int64_t from = storedIndex + static_cast<int64_t>(done);
        const auto run =
            std::upper_bound(runEndRecords_.begin(), runEndRecords_.end(), from / samplesPerRecord_);
        if (run == runEndRecords_.end()) return;
        const auto count = std::min(*run * samplesPerRecord_ - from, static_cast<int64_t>(wanted - done));
        const size_t used = std::min(pieces.size(), reads.size());
        for (size_t i = 0; i < used; ++i)
            reads[i] = {&header_.Signal(chosen_[static_cast<size_t>(pieces[i].trace)]),
                        pieces[i].values.data() + done};
        reader_->Read(from, count, *run, {reads.data(), used});
        done += static_cast<size_t>(count);
    }
}

void CEDFDoc::FoldStored(int64_t storedIndex, int64_t count, FoldSlots slots,
                         std::span<const TraceFold> folds) {
    std::vector<EdfFold> parts;
    parts.reserve(folds.size());
    for (const TraceFold& fold : folds) {
        const auto trace = static_cast<size_t>(fold.trace);
        parts.push_back({&header_.Signal(chosen_[trace]), traces[trace].traceGain, fold.low, fold.high});
    }
    for (int64_t done = 0; done < count;) {
        const int64_t from = storedIndex + done;
        const auto run =
            std::upper_bound(runEndRecords_.begin(), runEndRecords_.end(), from / samplesPerRecord_);
        if (run == runEndRecords_.end()) return;
        const int64_t n = std::min(*run * samplesPerRecord_ - from, count - done);
        reader_->Fold(from, n, *run, slots.into + done, slots.length, parts);
        done += n;
    }
}

void CEDFDoc::FoldStoredStretches(int trace, std::span<const FoldStretch> stretches) {
    const EdfSignal& signal = header_.Signal(chosen_[static_cast<size_t>(trace)]);
    if (signal.expansionFactor == 1)
        return reader_->FoldStretches(signal, traces[static_cast<size_t>(trace)].traceGain, stretches);
    for (const FoldStretch& stretch : stretches) {
        const TraceFold fold{trace, {stretch.low, 1}, {stretch.high, 1}, {}};
        FoldStored(stretch.from, stretch.count, {0, stretch.count}, {&fold, 1});
    }
}

std::optional<double> CEDFDoc::GetStartClock() const {
    int hours = 0, minutes = 0, seconds = 0;
    char after = 0;
    if (std::sscanf(header_.startTime.c_str(), "%2d%*1[.:]%2d%*1[.:]%2d%c", &hours, &minutes, &seconds,
                    &after) < 3)
        return {};
    const bool isTime =
        hours >= 0 && hours < 24 && minutes >= 0 && minutes < 60 && seconds >= 0 && seconds < 60;
    if (!isTime) return {};
    return std::fmod(1000.0 * (3600.0 * hours + 60.0 * minutes + seconds + skippedSeconds_), 86400000.0);
}

std::optional<std::chrono::sys_days> CEDFDoc::GetStartDate() const {
    int day = 0, month = 0, year = 0;
    if (header_.recording.starts_with("Startdate X") ||
        std::sscanf(header_.startDate.c_str(), "%2d%*1[^0-9]%2d%*1[^0-9]%2d", &day, &month, &year) != 3)
        return {};
    auto date = DayOf(year + (year < 85 ? 2000 : 1900), month, day);
    int hours = 0, minutes = 0, seconds = 0;
    std::sscanf(header_.startTime.c_str(), "%2d%*1[.:]%2d%*1[.:]%2d", &hours, &minutes, &seconds);
    const double passed = (3600.0 * hours + 60.0 * minutes + seconds + skippedSeconds_) / 86400.0;
    if (date && passed < 1e5) *date += std::chrono::days(static_cast<int>(passed));
    return date;
}

// The choice as a list of numbers from 1 over the signals that are no annotations.
Reopening CEDFDoc::ToReopen() const {
    Reopening again = CDataDoc::ToReopen();
    std::string list;
    for (size_t i = 0; i < header_.ordinarySignals.size(); ++i)
        if (std::find(chosen_.begin(), chosen_.end(), header_.ordinarySignals[i]) != chosen_.end())
            list += (list.empty() ? "" : ",") + std::to_string(i + 1);
    if (!list.empty()) again.settings["signals"] = list;
    again.settings["annotations"] = layoutSetting_ == AnnotationLayout::separate ? "separate" : "same";
    return again;
}

}  // namespace kymora
